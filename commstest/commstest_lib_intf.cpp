// The exported wlan_ functions: thin, fully traced wrappers around the
// commstest_ layer. They validate nothing: bad values go to the firmware,
// which answers with a result code.
#include <cinttypes>
#include <vector>

#include "commstest/commstest_lib_mgr.h"
#include "commstest/ct_trace.h"
#include "wlan_interface.h"

#define INTF_FILE "commstest_lib_intf"
#define T(...) CT_TRACE_GROUP(kGroupCommstest, INTF_FILE, 3, __VA_ARGS__)
#define RESULT_SENTRY(var) CT_SENTRY_RET(kGroupCommstest, INTF_FILE, int, var)
#define MAC_ARGS(m) (m).bytes[0], (m).bytes[1], (m).bytes[2], (m).bytes[3], (m).bytes[4], (m).bytes[5]

// The bodies of the eight MIB wrappers. Macros rather than functions, so
// that the sentry and the trace lines name the exported wrapper itself.
#define MIB_UINT_BODY(psid, value, ...)                                          \
    int32_t result = 0;                                                              \
    RESULT_SENTRY(result);                                                           \
    result = commstest_get_mib_uint(psid, value, std::vector<unsigned char>{__VA_ARGS__}); \
    T("%s() -> %d", __func__, result);                                               \
    if ((value) != nullptr) T("... aValue:%" PRIu64 " (0x%" PRIx64 ")", *(value), *(value)); \
    return result

#define MIB_STRING_BODY(psid, buffer, length, ...)                                          \
    int32_t result = 0;                                                                         \
    RESULT_SENTRY(result);                                                                      \
    result = commstest_get_mib_string(psid, buffer, length, std::vector<unsigned char>{__VA_ARGS__}); \
    T("%s() -> %d", __func__, result);                                                          \
    if ((buffer) != nullptr) T("... %s", buffer);                                               \
    return result

extern "C" {

WLBT_API void wlan_get_version_info(uint16_t* major, uint16_t* minor, uint16_t* release, uint16_t* build) {
    T("%s()", __func__);
    CT_SENTRY(kGroupCommstest, INTF_FILE);
    commstest_get_version_info(major, minor, release, build);
    T("%s() ->", __func__);
    if (major != nullptr) T("... major: %u", *major);
    if (minor != nullptr) T("... minor: %u", *minor);
    if (release != nullptr) T("... release: %u", *release);
    if (build != nullptr) T("... build: %u", *build);
}

WLBT_API char const* wlan_get_last_error(void) {
    T("%s()", __func__);
    const char* result = nullptr;
    CT_SENTRY_RET(kGroupCommstest, INTF_FILE, char const*, result);
    result = commstest_get_last_error();
    T("%s() ->", __func__);
    T("... :'%s'", result);
    return result;
}

WLBT_API int32_t wlan_open_device(void) {
    T("%s()", __func__);
    int32_t result = 0;
    RESULT_SENTRY(result);
    result = commstest_connect();
    T("%s() -> %d", __func__, result);
    return result;
}

WLBT_API int32_t wlan_close_device(void) {
    T("%s()", __func__);
    int32_t result = 0;
    RESULT_SENTRY(result);
    result = commstest_disconnect();
    T("%s() -> %d", __func__, result);
    return result;
}

WLBT_API int32_t wlan_get_fw_build_id(char* buffer, size_t bufferLength) {
    T("%s()", __func__);
    T("... bufferLength: %d", static_cast<int>(bufferLength));
    int32_t result = 0;
    RESULT_SENTRY(result);
    result = commstest_get_fw_build_id(buffer, bufferLength);
    T("%s() -> %d", __func__, result);
    // Printed even without a buffer; a null one shows as "(null)".
    T("... buildId: %s", buffer != nullptr ? buffer : "(null)");
    return result;
}

WLBT_API int32_t wlan_get_chip_id(uint16_t* chipId) {
    T("%s()", __func__);
    int32_t result = 0;
    RESULT_SENTRY(result);
    result = commstest_get_chip_id(chipId);
    T("%s() -> %d", __func__, result);
    if (chipId != nullptr) T("... chipId: 0x%04x", *chipId);
    return result;
}

WLBT_API int32_t wlan_bist_get_tx_gain(uint16_t freq, uint16_t tx_gain, uint16_t rx_gain, uint32_t* gain) {
    T("%s()", __func__);
    T("... freq: %d", freq);
    T("... tx_gain: %d", tx_gain);
    T("... rx_gain: %d", rx_gain);
    int32_t result = 0;
    RESULT_SENTRY(result);
    result = commstest_bist_get_tx_gain(freq, tx_gain, rx_gain, gain);
    T("%s() -> %d", __func__, result);
    if (gain != nullptr) T("... gain: %u", *gain);
    return result;
}

WLBT_API int32_t wlan_select_radio(CommstestRadioBitmap radio_mask) {
    T("%s()", __func__);
    T("... radio_mask: 0x%04x", static_cast<unsigned int>(radio_mask));
    int32_t result = 0;
    RESULT_SENTRY(result);
    result = commstest_select_radio(static_cast<uint16_t>(radio_mask));
    T("%s() -> %d", __func__, result);
    return result;
}

WLBT_API int32_t wlan_cw_start(uint16_t freq, int32_t freqOffset, int8_t power, uint16_t amplitude) {
    T("%s()", __func__);
    T("... freq: %d", freq);
    T("... freqOffset: %d", freqOffset);
    T("... power: %d", power);
    T("... amplitude: %d", amplitude);
    int32_t result = 0;
    RESULT_SENTRY(result);
    result = commstest_cw_start(freq, freqOffset, power, amplitude);
    T("%s() -> %d", __func__, result);
    return result;
}

WLBT_API int32_t wlan_cw_stop(void) {
    T("%s()", __func__);
    int32_t result = 0;
    RESULT_SENTRY(result);
    result = commstest_cw_stop();
    T("%s() -> %d", __func__, result);
    return result;
}

WLBT_API int32_t wlan_set_tx_params(CommstestChannelBandwidth bandwidth, CommstestPrimaryChannelPosition position,
                                    CommstestDataRate rate, uint16_t freq, int8_t power, uint16_t length,
                                    uint32_t interval, CommstestTxSetParamsFlags flags,
                                    CommstestDFSRegulatory regDomain, CommstestTxSetParamsFlags2 flags2,
                                    CommstestTxHEMode heMode, uint8_t heRuAllocation, uint8_t heLtf) {
    T("%s()", __func__);
    T("... bandwidth: %d", static_cast<int>(bandwidth));
    T("... position: %d", static_cast<int>(position));
    T("... rate: 0x%04x", static_cast<unsigned int>(rate));
    T("... freq: %d", freq);
    T("... power: %d", power);
    T("... length: %d", length);
    T("... interval: %d", static_cast<int>(interval));
    T("... flags: %04x", static_cast<unsigned int>(flags));
    T("... regDomain: %04x", static_cast<unsigned int>(regDomain));
    T("... flags2: %04x", static_cast<unsigned int>(flags2));
    T("... heMode: %04x", static_cast<unsigned int>(heMode));
    T("... heRuAllocation: %02x", heRuAllocation);
    T("... heLtf: %d", heLtf);
    int32_t result = 0;
    RESULT_SENTRY(result);
    result = commstest_set_tx_params(static_cast<uint8_t>(bandwidth), static_cast<uint8_t>(position),
                                     static_cast<uint16_t>(rate), freq, power, length, interval,
                                     static_cast<uint16_t>(flags), static_cast<uint16_t>(regDomain),
                                     static_cast<uint16_t>(flags2), static_cast<uint16_t>(heMode), heRuAllocation,
                                     heLtf);
    T("%s() -> %d", __func__, result);
    return result;
}

WLBT_API int32_t wlan_tx_start(uint32_t num_frames_to_send, CommstestTxDataType data_type, uint16_t data_param,
                               CommstestMacAddress destAddr, CommstestMacAddress srcAddr, CommstestMacAddress bssId) {
    T("%s()", __func__);
    T("... num_frames_to_send: %d", static_cast<int>(num_frames_to_send));
    T("... data_type: %d", static_cast<int>(data_type));
    T("... data_param: 0x%04x", data_param);
    T("... destAddr: %02x:%02x:%02x:%02x:%02x:%02x", MAC_ARGS(destAddr));
    T("... srcAddr: %02x:%02x:%02x:%02x:%02x:%02x", MAC_ARGS(srcAddr));
    T("... bssId: %02x:%02x:%02x:%02x:%02x:%02x", MAC_ARGS(bssId));
    int32_t result = 0;
    RESULT_SENTRY(result);
    result = commstest_tx_start(num_frames_to_send, static_cast<uint16_t>(data_type), data_param, destAddr, srcAddr,
                                bssId);
    T("%s() -> %d", __func__, result);
    return result;
}

WLBT_API int32_t wlan_tx_read(uint32_t* numFramesLeftToSend) {
    T("%s()", __func__);
    int32_t result = 0;
    RESULT_SENTRY(result);
    result = commstest_tx_read(numFramesLeftToSend);
    T("%s() -> %d", __func__, result);
    if (numFramesLeftToSend != nullptr) T("numFramesLeftToSend: %u", *numFramesLeftToSend);
    return result;
}

WLBT_API int32_t wlan_tx_stop(void) {
    T("%s()", __func__);
    int32_t result = 0;
    RESULT_SENTRY(result);
    result = commstest_tx_stop();
    T("%s() -> %d", __func__, result);
    return result;
}

WLBT_API int32_t wlan_rx_start(CommstestChannelBandwidth bandwidth, CommstestPrimaryChannelPosition channelPosition,
                               uint16_t freq, CommstestRxStartFlags flags, CommstestMacAddress macAddress) {
    T("%s()", __func__);
    T("... bandwidth: %d", static_cast<int>(bandwidth));
    T("... channelPosition: %d", static_cast<int>(channelPosition));
    T("... freq: %d", freq);
    // The line has always carried a stray conversion; the flags are given
    // for both so that printing it never reads past the arguments.
    if (CTheMsgHnd::IsDebugEngineRunning()) {
        CT_HANDLER(kGroupCommstest)
            ->DebugOutputInHandler(3, false, false, __PRETTY_FUNCTION__, INTF_FILE, __LINE__, "... flags%0x%04x",
                                   static_cast<unsigned int>(flags), static_cast<unsigned int>(flags));
    }
    T("... macAddress: %02x:%02x:%02x:%02x:%02x:%02x", MAC_ARGS(macAddress));
    int32_t result = 0;
    RESULT_SENTRY(result);
    result = commstest_rx_start(static_cast<uint8_t>(bandwidth), static_cast<uint8_t>(channelPosition), freq,
                                static_cast<uint16_t>(flags), macAddress);
    T("%s() -> %d", __func__, result);
    return result;
}

WLBT_API int32_t wlan_rx_read_extended(uint32_t* totalNumFramesOut, uint32_t* numGoodFramesOut,
                                       uint32_t* intervalOut, int32_t* freqErrAvOut, int16_t* rssiAvOut,
                                       int16_t* rssiMinOut, int16_t* rssiMaxOut, int16_t* rssiCurOut,
                                       int16_t* snrAvOut, int16_t* snrMinOut, int16_t* snrMaxOut,
                                       int16_t* snrCurOut) {
    T("%s()", __func__);
    int32_t result = 0;
    RESULT_SENTRY(result);
    result = commstest_rx_read(totalNumFramesOut, numGoodFramesOut, intervalOut, freqErrAvOut, rssiAvOut, rssiMinOut,
                               rssiMaxOut, rssiCurOut, snrAvOut, snrMinOut, snrMaxOut, snrCurOut);
    T("%s() -> %d", __func__, result);
    if (totalNumFramesOut != nullptr) T("... totalNumFramesOut: %u", *totalNumFramesOut);
    if (numGoodFramesOut != nullptr) T("... numGoodFramesOut: %u", *numGoodFramesOut);
    if (intervalOut != nullptr) T("... intervalOut: %u", *intervalOut);
    if (freqErrAvOut != nullptr) T("... freqErrAvOut: %d", *freqErrAvOut);
    if (rssiAvOut != nullptr) T("... rssiAvOut: %d", *rssiAvOut);
    if (rssiMinOut != nullptr) T("... rssiMinOut: %d", *rssiMinOut);
    if (rssiMaxOut != nullptr) T("... rssiMaxOut: %d", *rssiMaxOut);
    if (rssiCurOut != nullptr) T("... rssiCurOut: %d", *rssiCurOut);
    if (snrAvOut != nullptr) T("... snrAvOut: %d", *snrAvOut);
    if (snrMinOut != nullptr) T("... snrMinOut: %d", *snrMinOut);
    if (snrMaxOut != nullptr) T("... snrMaxOut: %d", *snrMaxOut);
    if (snrCurOut != nullptr) T("... snrCurOut: %d", *snrCurOut);
    return result;
}

WLBT_API int32_t wlan_rx_read(uint32_t* totalNumFramesOut, uint32_t* numGoodFramesOut, uint32_t* intervalOut,
                              int32_t* freqErrAvOut, int32_t* rssiAvOut, int32_t* snrAvOut) {
    T("%s()", __func__);
    // The published signature declares the last two as 32-bit, yet they get
    // 16-bit stores: only the low half of each is written.
    return wlan_rx_read_extended(totalNumFramesOut, numGoodFramesOut, intervalOut, freqErrAvOut,
                                 reinterpret_cast<int16_t*>(rssiAvOut), nullptr, nullptr, nullptr,
                                 reinterpret_cast<int16_t*>(snrAvOut), nullptr, nullptr, nullptr);
}

WLBT_API int32_t wlan_rx_stop(void) {
    T("%s()", __func__);
    int32_t result = 0;
    RESULT_SENTRY(result);
    result = commstest_rx_stop();
    T("%s() -> %d", __func__, result);
    return result;
}

WLBT_API int32_t wlan_get_mib_uint(uint16_t psid, uint64_t* value) {
    T("%s() psid: %d", __func__, psid);
    MIB_UINT_BODY(psid, value);
}

WLBT_API int32_t wlan_get_mib_uint1(uint16_t psid, uint8_t i1, uint64_t* value) {
    T("%s() psid: %d.%d", __func__, psid, i1);
    MIB_UINT_BODY(psid, value, i1);
}

WLBT_API int32_t wlan_get_mib_uint2(uint16_t psid, uint8_t i1, uint8_t i2, uint64_t* value) {
    T("%s() psid: %d.%d.%d", __func__, psid, i1, i2);
    MIB_UINT_BODY(psid, value, i1, i2);
}

WLBT_API int32_t wlan_get_mib_uint3(uint16_t psid, uint8_t i1, uint8_t i2, uint8_t i3, uint64_t* value) {
    T("%s() psid: %d.%d.%d.%d", __func__, psid, i1, i2, i3);
    MIB_UINT_BODY(psid, value, i1, i2, i3);
}

WLBT_API int32_t wlan_get_mib_string(uint16_t psid, char* buffer, size_t length) {
    T("%s() psid: %d", __func__, psid);
    MIB_STRING_BODY(psid, buffer, length);
}

WLBT_API int32_t wlan_get_mib_string1(uint16_t psid, uint8_t i1, char* buffer, size_t length) {
    T("%s() psid: %d.%d", __func__, psid, i1);
    MIB_STRING_BODY(psid, buffer, length, i1);
}

WLBT_API int32_t wlan_get_mib_string2(uint16_t psid, uint8_t i1, uint8_t i2, char* buffer, size_t length) {
    T("%s() psid: %d.%d.%d", __func__, psid, i1, i2);
    MIB_STRING_BODY(psid, buffer, length, i1, i2);
}

WLBT_API int32_t wlan_get_mib_string3(uint16_t psid, uint8_t i1, uint8_t i2, uint8_t i3, char* buffer,
                                      size_t length) {
    T("%s() psid: %d.%d.%d.%d", __func__, psid, i1, i2, i3);
    MIB_STRING_BODY(psid, buffer, length, i1, i2, i3);
}

}  // extern "C"
