// The JNI facade of connectivity.norvane.com.test.WlanDutLib: one native
// method per fixed WLAN command, plus getters that hand back what was last
// asked for. The statics remember requests, not what the chip took.
#include <jni.h>

#include <cstdio>

#include "WiFiBtFactoryService.h"
#include "factory/JniInternal.h"
#include "factory/factory_log.h"

#define TAG_JNI "WLBT_JNI"

namespace {

char jni_result[WLBT_RESULT_BUFFER_SIZE] = {};
int jni_channel = 1;
int jni_ant = 1;
int jni_data_rate = 1;
int jni_preamble = 0;
int jni_tx_gain = 20;
int jni_burst_interval = 100;
int jni_payload_length = 1024;
int jni_band = 1;  // remembered, but no method reads it
int jni_bandwidth = 1;
int jni_good_frame = 0;
int jni_error_frame = 0;

constexpr int kJniTimeout = 3000;

int Send(const char* command) {
    return ForwardCMD_WiFiBT(command, jni_result, kJniTimeout);
}

int SendNumbers(int attr, int param1, int param2, int data) {
    char command[WLBT_MAX_COMMAND_LENGTH + 1];
    std::snprintf(command, sizeof command, "AT+WIFIRF=%d,%d,%d,%d", attr, param1, param2, data);
    return Send(command);
}

}  // namespace

const char* JniResultBuffer() {
    return jni_result;
}

#define JNI_NAME(method) Java_connectivity_norvane_com_test_WlanDutLib_##method
#define JNI_SIGNATURE(method, args) "int Java_connectivity_norvane_com_test_WlanDutLib_" #method "(" args ")"
#define JNI_LOG(method, args) FLOG(TAG_JNI, "%s", JNI_SIGNATURE(method, args))

// A setter stores its argument first, so a refused value stays remembered,
// then sends attr,param1,param2 with the argument as the data.
#define JNI_SETTER(method, field, attr, param1, param2)                                   \
    extern "C" JNIEXPORT jint JNICALL JNI_NAME(method)(JNIEnv*, jobject, jint n) {       \
        JNI_LOG(method, "JNIEnv*, jobject, jint");                                      \
        field = n;                                                                        \
        return SendNumbers(attr, param1, param2, n);                                      \
    }

// A command with no argument of its own.
#define JNI_COMMAND(method, attr, param1, param2)                   \
    extern "C" JNIEXPORT jint JNICALL JNI_NAME(method)(JNIEnv*, jobject) { \
        JNI_LOG(method, "JNIEnv*, jobject");                        \
        return SendNumbers(attr, param1, param2, 0);                \
    }

// A getter of a remembered value, asking nothing of the chip.
#define JNI_GETTER(method, field)                                   \
    extern "C" JNIEXPORT jint JNICALL JNI_NAME(method)(JNIEnv*, jobject) { \
        JNI_LOG(method, "JNIEnv*, jobject");                        \
        return field;                                               \
    }

#define JNI_GETTER_WITH_ARG(method, field)                                 \
    extern "C" JNIEXPORT jint JNICALL JNI_NAME(method)(JNIEnv*, jobject, jint) { \
        JNI_LOG(method, "JNIEnv*, jobject, jint");                         \
        return field;                                                      \
    }

extern "C" JNIEXPORT jint JNICALL JNI_NAME(openTestMode)(JNIEnv*, jobject) {
    JNI_LOG(openTestMode, "JNIEnv*, jobject");
    return OpenWiFiBtFactoryService();
}

extern "C" JNIEXPORT jint JNICALL JNI_NAME(closeTestMode)(JNIEnv*, jobject) {
    JNI_LOG(closeTestMode, "JNIEnv*, jobject");
    return CloseWiFiBtFactoryService();
}

extern "C" JNIEXPORT jint JNICALL JNI_NAME(openDut)(JNIEnv*, jobject) {
    JNI_LOG(openDut, "JNIEnv*, jobject");
    return Send("AT+WIFIRF=0,1,1,0");
}

extern "C" JNIEXPORT jint JNICALL JNI_NAME(closeDut)(JNIEnv*, jobject) {
    JNI_LOG(closeDut, "JNIEnv*, jobject");
    return Send("AT+WIFIRF=0,1,0,0");
}

JNI_SETTER(selectChannel, jni_channel, 0, 0, 0)
JNI_SETTER(setDataRate, jni_data_rate, 0, 0, 1)
JNI_SETTER(setPreamble, jni_preamble, 0, 0, 2)
JNI_SETTER(setTxGain, jni_tx_gain, 0, 0, 3)
JNI_SETTER(setPayloadLength, jni_payload_length, 0, 0, 4)
JNI_SETTER(setBurstInterval, jni_burst_interval, 0, 0, 5)
JNI_SETTER(setBandwidth, jni_bandwidth, 0, 0, 7)
// Sends the bandwidth command, not the band command: no path through this
// facade sets the band.
JNI_SETTER(selectBand, jni_band, 0, 0, 7)
JNI_SETTER(selectAnt, jni_ant, 0, 7, 0)

JNI_COMMAND(startTx, 0, 2, 1)
JNI_COMMAND(stopTx, 0, 2, 0)
JNI_COMMAND(startRx, 0, 3, 1)
JNI_COMMAND(stopRx, 0, 3, 0)

// Both hand back the public return code, not a frame count: the count is
// only in the reply text, which stays in jni_result.
extern "C" JNIEXPORT jint JNICALL JNI_NAME(getRxErrorFrame)(JNIEnv*, jobject) {
    JNI_LOG(getRxErrorFrame, "JNIEnv*, jobject");
    jni_error_frame = SendNumbers(0, 4, 0, 0);
    return jni_error_frame;
}

extern "C" JNIEXPORT jint JNICALL JNI_NAME(getRxGoodFrame)(JNIEnv*, jobject) {
    JNI_LOG(getRxGoodFrame, "JNIEnv*, jobject");
    jni_good_frame = SendNumbers(0, 4, 1, 0);
    return jni_good_frame;
}

JNI_GETTER_WITH_ARG(getSelectChannel, jni_channel)
JNI_GETTER_WITH_ARG(getPayloadLength, jni_payload_length)
JNI_GETTER(getBandwidth, jni_bandwidth)
JNI_GETTER(getSelectAnt, jni_ant)
JNI_GETTER(getDataRate, jni_data_rate)
JNI_GETTER(getBurstInterval, jni_burst_interval)
// The pair is crossed: the gain getter gives the preamble and the other way
// round. Callers depend on it.
JNI_GETTER(getTxGain, jni_preamble)
JNI_GETTER(getPreamble, jni_tx_gain)
