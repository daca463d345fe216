#include "commstest/commstest_lib_mgr.h"

#include <android/log.h>

#include <cstring>
#include <exception>
#include <utility>

#include "commstest/ct_trace.h"

std::vector<char> gCtLastErrorBuffer(kLastErrorMax + 1, '\0');
CountedPointer<CWlanLiteClient> gWlanLiteClient;

#define MGR_FILE "commstest_lib_mgr"
#define MGR_TRACE(...) CT_TRACE_GROUP(kGroupCommstest, MGR_FILE, 3, __VA_ARGS__)

namespace {

CWlanLiteClient& Client() {
    if (!gWlanLiteClient) throw CCommstestError("Not connected to device", COMMSTEST_NOT_CONNECTED);
    return *gWlanLiteClient;
}

// Runs `call` on the client and turns any std::exception into a code and a
// last-error text named after `operation`.
template <typename Call>
commstest_error Guard(const char* operation, Call&& call) {
    try {
        call(Client());
        return COMMSTEST_OK;
    } catch (const CCommstestError& e) {
        ct_set_error(operation, e.what());
        return e.code();
    } catch (const std::exception& e) {
        ct_set_error(operation, e.what());
        return COMMSTEST_GENERAL;
    }
}

// Copies a string MIB into the caller's buffer: at most `length`
// characters, always terminated, so a string that fills the buffer loses
// its last character.
void CopyOut(const std::string& value, char* buffer, size_t length) {
    const size_t copied = value.size() < length ? value.size() : length;
    std::memcpy(buffer, value.data(), copied);
    buffer[copied < length - 1 ? copied : length - 1] = '\0';
}

commstest_error GetMibString(const char* operation, uint16_t psid, char* buffer, size_t length,
                             std::vector<unsigned char> indices) {
    // A zero length asks for nothing: no request, no error, buffer untouched.
    if (length == 0) return COMMSTEST_OK;
    if (buffer == nullptr) {
        ct_set_error(operation, "Invalid output buffer");
        return COMMSTEST_INVALID_PARAMETER;
    }
    return Guard(operation, [&](CWlanLiteClient& c) {
        CopyOut(c.ctlib_get_string_mib(psid, std::move(indices)), buffer, length);
    });
}

}  // namespace

void ct_set_error(const std::string& operation, const std::string& message) {
    MGR_TRACE("%s(%s, %s)", "ct_set_error", operation.c_str(), message.c_str());
    std::string text = operation + ": " + message;
    if (text.size() > kLastErrorMax) text.resize(kLastErrorMax);
    // Within the capacity made at load time: the buffer never moves, so a
    // pointer handed out earlier stays valid.
    gCtLastErrorBuffer.assign(text.begin(), text.end());
    gCtLastErrorBuffer.push_back('\0');
}

char* commstest_get_last_error() {
    MGR_TRACE("%s()", "commstest_get_last_error");
    return gCtLastErrorBuffer.data();
}

void commstest_get_version_info(uint16_t* major, uint16_t* minor, uint16_t* release, uint16_t* build) {
    MGR_TRACE("<%s>", "commstest_get_version_info");
    if (major != nullptr) *major = 0;
    if (minor != nullptr) *minor = 0;
    if (release != nullptr) *release = 0;
    if (build != nullptr) *build = 4;
    MGR_TRACE("<%s>", "commstest_get_version_info");
}

commstest_error commstest_connect() {
    commstest_error result = COMMSTEST_GENERAL;
    CT_SENTRY_RET(kGroupCommstest, MGR_FILE, int, result);
    MGR_TRACE("%s()", "commstest_connect");
    if (gWlanLiteClient) {
        __android_log_print(ANDROID_LOG_ERROR, "WLANCOMMSTEST_LIB_MGR", "Device already connected");
        MGR_TRACE("Device already connected");
        ct_set_error("wlan_open_device", "Already connected");
        result = COMMSTEST_NOT_CONNECTED;
        return result;
    }
    try {
        gWlanLiteClient = new CWlanLiteClient();
        MGR_TRACE("Connected to device endpoint");
        result = COMMSTEST_OK;
    } catch (const CCommstestError& e) {
        ct_set_error("wlan_open_device", e.what());
        result = e.code();
    } catch (const std::exception& e) {
        ct_set_error("wlan_open_device", e.what());
        result = COMMSTEST_GENERAL;
    }
    return result;
}

commstest_error commstest_disconnect() {
    commstest_error result = COMMSTEST_OK;
    CT_SENTRY_RET(kGroupCommstest, MGR_FILE, int, result);
    MGR_TRACE("%s()", "commstest_disconnect");
    if (!gWlanLiteClient) {
        ct_set_error("wlan_close_device", "Must call wlan_open_device first");
        result = COMMSTEST_NOT_CONNECTED;
        return result;
    }
    // The last reference closes the device; no stop signal is sent.
    gWlanLiteClient.clr();
    return result;
}

commstest_error commstest_get_fw_build_id(char* buffer, size_t length) {
    commstest_error result = COMMSTEST_GENERAL;
    CT_SENTRY_RET(kGroupCommstest, MGR_FILE, int, result);
    result = GetMibString("wlan_get_fw_build_id", kMibFwBuildId, buffer, length, {});
    return result;
}

commstest_error commstest_get_mib_string(uint16_t psid, char* buffer, size_t length,
                                         std::vector<unsigned char> indices) {
    commstest_error result = COMMSTEST_GENERAL;
    CT_SENTRY_RET(kGroupCommstest, MGR_FILE, int, result);
    result = GetMibString("wlan_get_mib_string", psid, buffer, length, std::move(indices));
    return result;
}

commstest_error commstest_get_mib_uint(uint16_t psid, uint64_t* value, std::vector<unsigned char> indices) {
    commstest_error result = COMMSTEST_GENERAL;
    CT_SENTRY_RET(kGroupCommstest, MGR_FILE, int, result);
    if (value == nullptr) {
        ct_set_error("wlan_get_mib_uint", "Invalid output buffer");
        result = COMMSTEST_INVALID_PARAMETER;
        return result;
    }
    result = Guard("wlan_get_mib_uint",
                   [&](CWlanLiteClient& c) { *value = c.ctlib_get_uint_mib(psid, std::move(indices)); });
    return result;
}

commstest_error commstest_get_chip_id(uint16_t* id) {
    commstest_error result = COMMSTEST_GENERAL;
    CT_SENTRY_RET(kGroupCommstest, MGR_FILE, int, result);
    result = Guard("wlan_get_chip_id", [&](CWlanLiteClient& c) {
        const uint64_t value = c.ctlib_get_uint_mib(kMibChipId, {});
        if (id != nullptr) *id = static_cast<uint16_t>(value);
    });
    return result;
}

commstest_error commstest_bist_get_tx_gain(uint16_t freq, uint16_t txGain, uint16_t rxGain, uint32_t* gain) {
    commstest_error result = COMMSTEST_GENERAL;
    CT_SENTRY_RET(kGroupCommstest, MGR_FILE, int, result);
    result = Guard("wlan_bist_get_tx_gain", [&](CWlanLiteClient& c) {
        const TestBistGetTxGainResults r = c.ctlib_bist_get_tx_gain(freq, txGain, rxGain);
        if (gain != nullptr) *gain = r.gain;
    });
    return result;
}

commstest_error commstest_select_radio(uint16_t bitmap) {
    commstest_error result = COMMSTEST_GENERAL;
    CT_SENTRY_RET(kGroupCommstest, MGR_FILE, int, result);
    result = Guard("wlan_select_radio", [&](CWlanLiteClient& c) { c.ctlib_select_radio(bitmap); });
    return result;
}

commstest_error commstest_cw_start(uint16_t freq, int freqOffset, signed char power, uint16_t amplitude) {
    commstest_error result = COMMSTEST_GENERAL;
    CT_SENTRY_RET(kGroupCommstest, MGR_FILE, int, result);
    result = Guard("wlan_cw_start", [&](CWlanLiteClient& c) { c.ctlib_cw_start(freq, freqOffset, power, amplitude); });
    return result;
}

commstest_error commstest_cw_stop() {
    commstest_error result = COMMSTEST_GENERAL;
    CT_SENTRY_RET(kGroupCommstest, MGR_FILE, int, result);
    result = Guard("wlan_cw_stop", [&](CWlanLiteClient& c) { c.ctlib_cw_stop(); });
    return result;
}

commstest_error commstest_set_tx_params(uint8_t bandwidth, uint8_t position, uint16_t rate, uint16_t freq,
                                        int8_t power, uint16_t length, uint32_t interval, uint16_t flags,
                                        uint16_t regDomain, uint16_t flags2, uint16_t heMode,
                                        uint8_t heRuAllocation, uint8_t heLtf) {
    commstest_error result = COMMSTEST_GENERAL;
    CT_SENTRY_RET(kGroupCommstest, MGR_FILE, int, result);
    // The client takes frequency before rate.
    result = Guard("wlan_set_tx_params", [&](CWlanLiteClient& c) {
        c.ctlib_set_tx_params(bandwidth, position, freq, rate, power, 1, length, interval, flags, regDomain, flags2,
                              heMode, heRuAllocation, heLtf);
    });
    return result;
}

commstest_error commstest_tx_start(uint32_t frames, uint16_t dataType, uint16_t dataParam, CommstestMacAddress dest,
                                   CommstestMacAddress src, CommstestMacAddress bssId) {
    commstest_error result = COMMSTEST_GENERAL;
    CT_SENTRY_RET(kGroupCommstest, MGR_FILE, int, result);
    result = Guard("wlan_tx_start",
                   [&](CWlanLiteClient& c) { c.ctlib_tx_start(frames, dataType, dataParam, dest, src, bssId); });
    return result;
}

commstest_error commstest_tx_read(uint32_t* numFramesLeftToSend) {
    commstest_error result = COMMSTEST_GENERAL;
    CT_SENTRY_RET(kGroupCommstest, MGR_FILE, int, result);
    result = Guard("wlan_tx_read", [&](CWlanLiteClient& c) {
        const WlanLiteTxReadResults r = c.ctlib_tx_read();
        if (numFramesLeftToSend != nullptr) *numFramesLeftToSend = r.numFramesLeftToSend;
    });
    return result;
}

commstest_error commstest_tx_stop() {
    commstest_error result = COMMSTEST_GENERAL;
    CT_SENTRY_RET(kGroupCommstest, MGR_FILE, int, result);
    result = Guard("wlan_tx_stop", [&](CWlanLiteClient& c) { c.ctlib_tx_stop(); });
    return result;
}

commstest_error commstest_rx_start(uint8_t bandwidth, uint8_t position, uint16_t freq, uint16_t flags,
                                   CommstestMacAddress address) {
    commstest_error result = COMMSTEST_GENERAL;
    CT_SENTRY_RET(kGroupCommstest, MGR_FILE, int, result);
    result = Guard("wlan_rx_start",
                   [&](CWlanLiteClient& c) { c.ctlib_rx_start(bandwidth, position, freq, flags, address); });
    return result;
}

commstest_error commstest_rx_read(uint32_t* total, uint32_t* good, uint32_t* interval, int32_t* freqErrAv,
                                  int16_t* rssiAv, int16_t* rssiMin, int16_t* rssiMax, int16_t* rssiCur,
                                  int16_t* snrAv, int16_t* snrMin, int16_t* snrMax, int16_t* snrCur) {
    commstest_error result = COMMSTEST_GENERAL;
    CT_SENTRY_RET(kGroupCommstest, MGR_FILE, int, result);
    WlanLiteRxReadResults r;
    result = Guard("wlan_rx_read",
                   [&](CWlanLiteClient& c) { r = c.ctlib_rx_read({kCounterTotalFrames, kCounterGoodFrames}); });
    if (result != COMMSTEST_OK) return result;
    // Fewer counters than asked for: the missing one is an error, and the
    // other outputs are still filled.
    if (total != nullptr) {
        if (!r.counters.empty()) {
            *total = r.counters[0];
        } else {
            ct_set_error("wlan_rx_read", "Failed to read total number of frames");
            result = COMMSTEST_PROTOCOL;
        }
    }
    if (good != nullptr) {
        if (r.counters.size() >= 2) {
            *good = r.counters[1];
        } else {
            ct_set_error("wlan_rx_read", "Failed to read number of good frames");
            result = COMMSTEST_PROTOCOL;
        }
    }
    if (interval != nullptr) *interval = r.interval;
    if (freqErrAv != nullptr) *freqErrAv = r.freqErrAv;
    if (rssiAv != nullptr) *rssiAv = r.rssiAv;
    if (rssiMin != nullptr) *rssiMin = r.rssiMin;
    if (rssiMax != nullptr) *rssiMax = r.rssiMax;
    if (rssiCur != nullptr) *rssiCur = r.rssiCur;
    if (snrAv != nullptr) *snrAv = r.snrAv;
    if (snrMin != nullptr) *snrMin = r.snrMin;
    if (snrMax != nullptr) *snrMax = r.snrMax;
    if (snrCur != nullptr) *snrCur = r.snrCur;
    return result;
}

commstest_error commstest_rx_stop() {
    commstest_error result = COMMSTEST_GENERAL;
    CT_SENTRY_RET(kGroupCommstest, MGR_FILE, int, result);
    result = Guard("wlan_rx_stop", [&](CWlanLiteClient& c) { c.ctlib_rx_stop(); });
    return result;
}
