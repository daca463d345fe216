// The public entry points, the worker ring and the JNI facade, through the
// exported API without a chip: the commands used need no firmware. The
// facade's remembered values and crossed getters are checked from a real
// JVM in java/tests.
#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

#include "WiFiBtFactoryService.h"
#include "factory/CommandHandler.h"
#include "factory/JniInternal.h"
#include "factory/ServiceInternal.h"
#include "handler_peer.h"
#include "support/log_capture.h"

// The JVM passes JNIEnv* and jobject; the facade uses neither.
#define J(method) Java_connectivity_norvane_com_test_WlanDutLib_##method
#define DECLARE(method) extern "C" int J(method)(void*, void*)
#define DECLARE_INT(method) extern "C" int J(method)(void*, void*, int)
DECLARE(openTestMode);
DECLARE(closeTestMode);
DECLARE(openDut);
DECLARE(getRxGoodFrame);
DECLARE_INT(selectAnt);
DECLARE_INT(setBurstInterval);

namespace {

constexpr char kHandler[] = "COMMAND_HANDLER";

class Service : public ::testing::Test {
protected:
    void SetUp() override { ASSERT_EQ(OpenWiFiBtFactoryService(), 0); }
    void TearDown() override { CloseWiFiBtFactoryService(); }

    // The reply in a buffer of the size callers must provide, pre-filled so
    // that an untouched buffer is recognisable.
    static std::string Forward(const std::string& command, int* rc = nullptr, int timeout = 3000) {
        std::vector<char> result(WLBT_RESULT_BUFFER_SIZE, '\0');
        std::strcpy(result.data(), "untouched");
        const int code = ForwardCMD_WiFiBT(command.c_str(), result.data(), timeout);
        if (rc != nullptr) *rc = code;
        return result.data();
    }
    static CCommandHandler& Handler() { return *GetServiceCommandHandler(); }
};

TEST(ServiceLifecycle, OpenCloseCodes) {
    // A command before open, and many cycles, are tests/stress's.
    EXPECT_EQ(CloseWiFiBtFactoryService(), 6);
    EXPECT_EQ(OpenWiFiBtFactoryService(), 0);
    CCommandHandler* first = GetServiceCommandHandler();
    ASSERT_NE(first, nullptr);
    EXPECT_EQ(OpenWiFiBtFactoryService(), 7);
    EXPECT_EQ(GetServiceCommandHandler(), first) << "a second open keeps the first graph";
    EXPECT_EQ(CloseWiFiBtFactoryService(), 0);
    EXPECT_EQ(GetServiceCommandHandler(), nullptr);
    EXPECT_EQ(CloseWiFiBtFactoryService(), 6);
}

TEST_F(Service, FamiliesByPrefix) {
    struct Case { const char* command; int rc; const char* reply, *dispatchLine; } const cases[] = {
        // The commands of no family are tests/stress's; this is their line.
        {"foo", 2, "NG", nullptr},
        {"AT+WIFIRF=0,6,0,0\r\n", 0, "+WIFIRF:0,OK", "WIFI Command: AT+WIFIRF=0,6,0,0\n"},  // line end cut
        // "+WIFIRF=" anywhere makes the reply form; the numbers read 1,0,0,0.
        {"AT+WIFIX=1,+WIFIRF=9", 0, "+WIFIRF:0,OK,1\n", "WIFI Command: AT+WIFIX=1,+WIFIRF=9\n"},
        {"AT+WIFIRF=", 0, "+WIFIRF:6,NG", "WIFI Command: AT+WIFIRF=\n"},  // channel 0 is refused
        {"ATA+WIFI=7", 0, "NG", "ATA WIFI Command: ATA+WIFI=7\n"},
        {"AT+BTRF=0,0,0,0", 0, "+BTRF:0,OK", "BT Command: AT+BTRF=0,0,0,0\n"},
        {"ATA+BT=7", 0, "OK", "ATA BT Command: ATA+BT=7\n"},  // no row: "OK", unlike its WLAN sibling
        {"UNIT=99", 0, "+UNIT:000000,OK", "UNIT Test Command: UNIT=99\n"},
    };
    for (const Case& c : cases) {
        testsupport::LogCapture log;
        int rc = -1;
        EXPECT_EQ(Forward(c.command, &rc), c.reply) << '"' << c.command << '"';
        EXPECT_EQ(rc, c.rc) << c.command;
        const std::string line = c.dispatchLine ? c.dispatchLine : std::string("Unkonw Command: ") + c.command + "\n";
        EXPECT_TRUE(log.Contains(kHandler, line)) << line;
    }
}

TEST_F(Service, CommandsGoRoundTheRingOfTenPastABusySlot) {
    // A worker that answered early still owns slot 1, where the first
    // command goes: that command is dropped.
    THREAD_INFO* busy = new THREAD_INFO();
    busy->running = true;
    CCommandHandlerTestPeer::Slot(Handler(), 1) = busy;
    int rc = -1;
    EXPECT_EQ(Forward("AT+WIFIRF=0,6,0,0", &rc), "untouched");
    EXPECT_EQ(rc, 0) << "a busy slot is not told to the caller";
    EXPECT_EQ(Forward("AT+WIFIRF=0,6,0,0"), "+WIFIRF:0,OK");
    EXPECT_EQ(Handler().GetThreadIndex(), 2) << "the next command takes the next slot";
    // Once the worker has ended, its slot is reclaimed when the ring comes
    // round again: past 9 and 0 to 1.
    busy->running = false;
    for (int i = 0; i < 9; ++i) EXPECT_EQ(Forward("AT+WIFIRF=0,6,0,0"), "+WIFIRF:0,OK");
    EXPECT_EQ(Handler().GetThreadIndex(), 1);
    for (int slot = 0; slot < 10; ++slot) EXPECT_EQ(CCommandHandlerTestPeer::Slot(Handler(), slot), nullptr) << slot;
}

TEST_F(Service, RepliesStayWithinTheResultBufferAndNullsAreRefused) {
    // A guard region behind the 1024 bytes must never change.
    std::vector<char> buffer(WLBT_RESULT_BUFFER_SIZE + 64, '\x5a');
    for (const char* c : {"AT+WIFIRF=1,0,0,0", "AT+WIFIX=1,0,0,0", "AT+WIFIABCDEFGHIJKLMNOPQRSTUVWXYZ=1,0,0,0",
                          "ATA+WIFI=2", "foo"}) {
        ForwardCMD_WiFiBT(c, buffer.data(), 0);
        EXPECT_EQ(std::string(buffer.begin() + WLBT_RESULT_BUFFER_SIZE, buffer.end()), std::string(64, '\x5a')) << c;
    }
    char result[16] = "untouched";
    EXPECT_EQ(ForwardCMD_WiFiBT(nullptr, result, 0), 2);
    EXPECT_STREQ(result, "untouched");
    EXPECT_EQ(ForwardCMD_WiFiBT("AT+WIFIRF=0,6,0,0", nullptr, 0), 2);
}

TEST(JniFacade, EachMethodSendsItsFixedCommand) {
    testsupport::LogCapture log;
    ASSERT_EQ(J(openTestMode)(nullptr, nullptr), 0);
    struct Case { int (*call)(); const char* command; } const cases[] = {
        {[] { return J(openDut)(nullptr, nullptr); }, "AT+WIFIRF=0,1,1,0"},
        {[] { return J(selectAnt)(nullptr, nullptr, -1); }, "AT+WIFIRF=0,7,0,-1"},
        {[] { return J(setBurstInterval)(nullptr, nullptr, 2500); }, "AT+WIFIRF=0,0,5,2500"},
        {[] { return J(getRxGoodFrame)(nullptr, nullptr); }, "AT+WIFIRF=0,4,1,0"},
    };
    for (const Case& c : cases) {
        EXPECT_EQ(c.call(), 0) << c.command;
        EXPECT_TRUE(log.Contains(kHandler, std::string("WIFI Command: ") + c.command + "\n")) << c.command;
    }
    // The frame read returns the return code; the count stays in the reply.
    EXPECT_STREQ(JniResultBuffer(), "+WIFIRF:0,OK,0");
    EXPECT_EQ(J(closeTestMode)(nullptr, nullptr), 0);
}

}  // namespace
