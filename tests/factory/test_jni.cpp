// The JNI facade called as the JVM would, checked through the service's log
// and the facade's result buffer.
#include <gtest/gtest.h>

#include <string>

#include "factory/JniInternal.h"
#include "support/log_capture.h"

// The JVM passes JNIEnv* and jobject; the facade uses neither.
#define DECLARE_JNI(method) extern "C" int Java_connectivity_norvane_com_test_WlanDutLib_##method(void*, void*)
#define DECLARE_JNI_INT(method) \
    extern "C" int Java_connectivity_norvane_com_test_WlanDutLib_##method(void*, void*, int)
DECLARE_JNI(openTestMode);
DECLARE_JNI(closeTestMode);
DECLARE_JNI(openDut);
DECLARE_JNI(closeDut);
DECLARE_JNI(startTx);
DECLARE_JNI(stopRx);
DECLARE_JNI(getRxGoodFrame);
DECLARE_JNI(getBandwidth);
DECLARE_JNI_INT(selectBand);
DECLARE_JNI_INT(selectAnt);
DECLARE_JNI_INT(setBandwidth);
DECLARE_JNI_INT(setBurstInterval);
DECLARE_JNI_INT(getSelectChannel);

namespace {

#define J(method) Java_connectivity_norvane_com_test_WlanDutLib_##method

TEST(JniFacade, EachMethodSendsItsFixedCommandAndLogsItsSignature) {
    testsupport::LogCapture log;
    ASSERT_EQ(J(openTestMode)(nullptr, nullptr), 0);
    struct Case {
        int (*call)();
        const char* signature;
        const char* command;
    } const cases[] = {
        {[] { return J(openDut)(nullptr, nullptr); }, "int Java_connectivity_norvane_com_test_WlanDutLib_openDut(JNIEnv*, jobject)",
         "AT+WIFIRF=0,1,1,0"},
        {[] { return J(closeDut)(nullptr, nullptr); }, "int Java_connectivity_norvane_com_test_WlanDutLib_closeDut(JNIEnv*, jobject)",
         "AT+WIFIRF=0,1,0,0"},
        {[] { return J(startTx)(nullptr, nullptr); }, "int Java_connectivity_norvane_com_test_WlanDutLib_startTx(JNIEnv*, jobject)",
         "AT+WIFIRF=0,2,1,0"},
        {[] { return J(stopRx)(nullptr, nullptr); }, "int Java_connectivity_norvane_com_test_WlanDutLib_stopRx(JNIEnv*, jobject)",
         "AT+WIFIRF=0,3,0,0"},
        {[] { return J(selectBand)(nullptr, nullptr, 2); },
         "int Java_connectivity_norvane_com_test_WlanDutLib_selectBand(JNIEnv*, jobject, jint)", "AT+WIFIRF=0,0,7,2"},
        {[] { return J(selectAnt)(nullptr, nullptr, -1); },
         "int Java_connectivity_norvane_com_test_WlanDutLib_selectAnt(JNIEnv*, jobject, jint)", "AT+WIFIRF=0,7,0,-1"},
        {[] { return J(setBurstInterval)(nullptr, nullptr, 2500); },
         "int Java_connectivity_norvane_com_test_WlanDutLib_setBurstInterval(JNIEnv*, jobject, jint)", "AT+WIFIRF=0,0,5,2500"},
        {[] { return J(getRxGoodFrame)(nullptr, nullptr); },
         "int Java_connectivity_norvane_com_test_WlanDutLib_getRxGoodFrame(JNIEnv*, jobject)", "AT+WIFIRF=0,4,1,0"},
    };
    for (const Case& c : cases) {
        log.Clear();
        EXPECT_EQ(c.call(), 0) << c.signature;
        const auto jni = log.Texts("WLBT_JNI");
        ASSERT_EQ(jni.size(), 1u) << c.signature;
        EXPECT_EQ(jni[0], c.signature);
        EXPECT_TRUE(log.Contains("COMMAND_HANDLER", std::string("WIFI Command: ") + c.command + "\n")) << c.command;
    }
    EXPECT_EQ(J(closeTestMode)(nullptr, nullptr), 0);
}

TEST(JniFacade, ReplyStaysInTheFacadeBuffer) {
    ASSERT_EQ(J(openTestMode)(nullptr, nullptr), 0);
    EXPECT_EQ(J(getRxGoodFrame)(nullptr, nullptr), 0) << "the return code, not a count";
    // No receive test ran: the stored count is 0.
    EXPECT_STREQ(JniResultBuffer(), "+WIFIRF:0,OK,0");
    J(closeTestMode)(nullptr, nullptr);
}

TEST(JniFacade, SelectBandLeavesTheRememberedBandwidth) {
    EXPECT_EQ(J(setBandwidth)(nullptr, nullptr, 3), 6) << "service not open";
    EXPECT_EQ(J(selectBand)(nullptr, nullptr, 2), 6);
    EXPECT_EQ(J(getBandwidth)(nullptr, nullptr), 3);
    EXPECT_EQ(J(getSelectChannel)(nullptr, nullptr, 99), 1) << "the argument is not used";
}

}  // namespace
