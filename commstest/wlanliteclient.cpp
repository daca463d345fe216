#include "commstest/wlanliteclient.h"

#include <fcntl.h>
#include <sys/select.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>

#include "commstest/CommstestError.h"
#include "commstest/ct_trace.h"
#include "commstest/vldata.h"
#include "enginefw/capture.h"
#include "platform/platform.h"

#define WLC_SENTRY() CT_SENTRY(kGroupCommstest, "wlanliteclient")
#define WLC_TRACE(...) CT_TRACE_GROUP(kGroupCommstest, "wlanliteclient", 3, __VA_ARGS__)

namespace {

// The one filter setup of the device; the request number belongs to the
// kernel driver.
constexpr unsigned long kFilterIoctl = 0x40047502UL;
constexpr size_t kReadSize = 4096;

}  // namespace

// File-local functions are static rather than in an unnamed namespace, so
// that their sentries name them plainly ("-> WaitFor").
static std::string formatHexByte(unsigned char byte) {
    WLC_SENTRY();
    char text[4];
    std::snprintf(text, sizeof text, " %02x", byte);
    return text;
}

static std::string HexText(const unsigned char* bytes, size_t length) {
    std::string text;
    text.reserve(length * 3);
    for (size_t i = 0; i < length; ++i) text += formatHexByte(bytes[i]);
    return text;
}

static void DumpRequest(uint8_t* bytes, size_t length) {
    WLC_SENTRY();
    if (CTheMsgHnd::IsDebugEngineRunning()) WLC_TRACE("Request:  %s", HexText(bytes, length).c_str());
}

static void CopyMacAddress(uint8_t* buffer, size_t offset, const CommstestMacAddress& address) {
    WLC_SENTRY();
    std::memcpy(buffer + offset, address.bytes, sizeof address.bytes);
}

static std::vector<unsigned char> NewSignal(TavoSignalId id, size_t size) {
    std::vector<unsigned char> signal(size, 0);
    PutU16(signal, 0, id);
    PutU16(signal, 4, kClientSenderId);
    return signal;
}

static void ThrowErrorIfFailure(TavoResultCode code) {
    WLC_SENTRY();
    switch (code) {
        case 0:
            return;
        case 1:
            throw CCommstestError(
                "Can be either: command not handled in the current state and ignored or unable to setup RAM data "
                "capture.",
                COMMSTEST_GENERAL);
        case 38:
            throw CCommstestError(
                "One of the supplied parameters is not valid (i.e out of range or conflicts with another parameter).",
                COMMSTEST_INVALID_PARAMETER);
        case 48:
            throw CCommstestError("Not permitted at this time; Wlanlite could be in the wrong state.",
                                  COMMSTEST_NOT_PERMITTED);
        case 79:
            // Reported as a failure although the transmission has started.
            throw CCommstestError(
                "The firmware was unable to select a row from the power table, so there will be no TX output, but a "
                "TX will have been started regardless; make sure the power level is high enough to remove the "
                "warning. It will also occur if freq is out of range 2412-2484 or 4900-5900 MHz.",
                COMMSTEST_NOT_PERMITTED);
        case 0x8003:
            throw CCommstestError("The requested operation is not supported by the firmware", COMMSTEST_NOT_SUPPORTED);
        case 0x8006:
            throw CCommstestError("The firmware failed to allocate memory.", COMMSTEST_NOT_PERMITTED);
        default:
            throw CCommstestError("Firmware error code " + std::to_string(code), COMMSTEST_GENERAL);
    }
}

// One request frame, one write. A failed or short write is not looked at:
// it shows up as the time-out of the wait.
static void WriteRequest(int fd, const std::vector<unsigned char>& request) {
    const ssize_t written = write(fd, request.data(), request.size());
    if (written > 0) capture::WlanFrame(capture::kSent, request.data(), static_cast<size_t>(written));
}

// Waits for the confirm `id`, dropping every other frame. Each wait for a
// frame has its own 2 seconds, so unrelated traffic postpones the time-out.
static UdiPayload WaitFor(int fd, TavoSignalId id) {
    WLC_SENTRY();
    for (;;) {
        fd_set set;
        FD_ZERO(&set);
        FD_SET(fd, &set);
        struct timeval timeout = {CWlanLiteClient::kWaitSeconds, 0};
        const int ready = select(fd + 1, &set, nullptr, nullptr, &timeout);
        if (ready == -1) throw CCommstestError(std::strerror(errno), COMMSTEST_PROTOCOL);
        if (ready == 0) {
            throw CCommstestError("No response received in " + std::to_string(CWlanLiteClient::kWaitSeconds) + " secs",
                                  COMMSTEST_NO_RESPONSE);
        }
        uint8_t buffer[kReadSize];
        const ssize_t got = read(fd, buffer, sizeof buffer);
        if (got < 0) throw CCommstestError(std::strerror(errno), COMMSTEST_PROTOCOL);
        // As it came, before the decoder rewrites the bulk length in it.
        if (got > 0) capture::WlanFrame(capture::kReceived, buffer, static_cast<size_t>(got));
        UdiPayload payload = DecodeUdiMessage(buffer, buffer + got);
        if (CTheMsgHnd::IsDebugEngineRunning()) {
            WLC_TRACE("Response: %s", HexText(payload.signal.data(), payload.signal.size()).c_str());
        }
        // A frame too short to carry an id cannot be ours: dropped like any
        // other unrelated frame.
        if (payload.signal.size() >= 2 && GetU16(payload.signal, 0) == id) return payload;
    }
}

// The result code of a confirm; a confirm too short to hold one is a
// protocol failure rather than a silent success.
static TavoResultCode ResultCode(const UdiPayload& payload) {
    if (payload.signal.size() < 12) throw CCommstestError("Insufficient data in response", COMMSTEST_PROTOCOL);
    return GetU16(payload.signal, 10);
}

static UdiPayload Exchange(int fd, std::vector<unsigned char>& request, TavoSignalId confirm) {
    DumpRequest(request.data(), request.size());
    WriteRequest(fd, request);
    UdiPayload payload = WaitFor(fd, confirm);
    ThrowErrorIfFailure(ResultCode(payload));
    return payload;
}

static std::vector<unsigned char> GetMibData(int fd, uint16_t psid, std::vector<unsigned char> indices) {
    WLC_SENTRY();
    std::vector<unsigned char> request = NewSignal(MIB_GET_REQ, 24);
    const size_t count = indices.size();
    request.push_back(static_cast<unsigned char>(psid & 0xFF));
    request.push_back(static_cast<unsigned char>(psid >> 8));
    request.push_back(static_cast<unsigned char>(count & 0xFF));
    request.push_back(static_cast<unsigned char>((count >> 8) & 0xFF));
    std::string indexText = std::to_string(psid);
    for (const unsigned char index : indices) {
        const unsigned char masked = index & 0x7F;
        request.push_back(masked);
        indexText += "." + std::to_string(masked);
    }
    WLC_TRACE("%s(%d, %s)", "GetMibData", fd, indexText.c_str());
    if (count % 2 != 0) request.push_back(0);  // padding, not counted
    PutU16(request, 6, 0);
    PutU16(request, 8, static_cast<uint16_t>(count + 4));
    if (CTheMsgHnd::IsDebugEngineRunning()) WLC_TRACE("Request:  %s", HexText(request.data(), request.size()).c_str());
    WriteRequest(fd, request);
    const UdiPayload payload = WaitFor(fd, MIB_GET_CFM);
    if (CTheMsgHnd::IsDebugEngineRunning()) WLC_TRACE("Rsp bulk: %s", HexText(payload.bulk.data(), payload.bulk.size()).c_str());
    if (GetU16(payload.signal, 8) < 4) throw CCommstestError("Insufficient data in response", COMMSTEST_PROTOCOL);
    const uint16_t answered = GetU16(payload.bulk, 0);
    if (answered != psid) {
        throw CCommstestError("Unexpected identifier " + std::to_string(answered) + " in response", COMMSTEST_PROTOCOL);
    }
    const size_t valueStart = 4 + count;
    if (valueStart >= payload.bulk.size()) return {};
    return std::vector<unsigned char>(payload.bulk.begin() + static_cast<std::ptrdiff_t>(valueStart), payload.bulk.end());
}


WlanLiteClientPrivateInternals::WlanLiteClientPrivateInternals() : m_fd(-1) {
    WLC_SENTRY();
    m_fd = plat::Open(CWlanLiteClient::kDevice, O_RDWR);
    if (m_fd == -1) throw CCommstestError(std::strerror(errno), COMMSTEST_OPEN_FAILED);
    int32_t one = 1;
    plat::Ioctl(m_fd, kFilterIoctl, &one);  // its result does not matter
}

WlanLiteClientPrivateInternals::~WlanLiteClientPrivateInternals() {
    if (m_fd >= 0) close(m_fd);
}

CWlanLiteClient::CWlanLiteClient() : m_internals(new WlanLiteClientPrivateInternals()) {
    WLC_SENTRY();
}

CWlanLiteClient::~CWlanLiteClient() {
    m_internals.clr();
}

void CWlanLiteClient::ctlib_cw_start(uint16_t freq, int32_t freqOffset, int8_t power, uint16_t amplitude) {
    WLC_SENTRY();
    std::vector<unsigned char> s = NewSignal(CW_START_REQ, 42);
    PutU16(s, 10, freq);
    s[12] = static_cast<unsigned char>(power);
    s[13] = 1;
    PutU16(s, 18, amplitude);
    PutU32(s, 20, static_cast<uint32_t>(freqOffset));
    Exchange(m_internals->fd(), s, CW_START_CFM);
}

void CWlanLiteClient::ctlib_cw_stop() {
    WLC_SENTRY();
    std::vector<unsigned char> s = NewSignal(CW_STOP_REQ, 22);
    Exchange(m_internals->fd(), s, CW_STOP_CFM);
}

void CWlanLiteClient::ctlib_set_tx_params(uint8_t bandwidth, uint8_t position, uint16_t freq, uint16_t rate,
                                          int8_t power, uint8_t constantOne, uint16_t length, uint32_t interval,
                                          uint32_t flags, uint16_t regDomain, uint16_t flags2, uint16_t heMode,
                                          uint8_t heRuAllocation, uint8_t heLtf) {
    WLC_SENTRY();
    std::vector<unsigned char> s = NewSignal(SET_TX_PARAMS_REQ, 46);
    PutU16(s, 10, freq);
    PutU16(s, 12, rate);
    s[14] = bandwidth;
    s[15] = position;
    s[16] = static_cast<unsigned char>(power);
    s[17] = constantOne;
    PutU16(s, 18, length);
    PutU32(s, 20, interval);
    PutU16(s, 24, static_cast<uint16_t>(flags & 0xFFFF));
    PutU16(s, 28, 0x00FF);
    PutU16(s, 30, regDomain);
    PutU16(s, 32, flags2);
    PutU16(s, 34, heMode);
    s[36] = heRuAllocation;
    s[37] = heLtf;
    Exchange(m_internals->fd(), s, SET_TX_PARAMS_CFM);
}

void CWlanLiteClient::ctlib_tx_start(uint32_t frames, uint16_t dataType, uint16_t dataParam,
                                     const CommstestMacAddress& dest, const CommstestMacAddress& src,
                                     const CommstestMacAddress& bssId) {
    WLC_SENTRY();
    std::vector<unsigned char> s = NewSignal(TX_START_REQ, 50);
    PutU32(s, 10, frames);
    PutU16(s, 14, dataType);
    PutU16(s, 16, dataParam);
    CopyMacAddress(s.data(), 18, dest);
    CopyMacAddress(s.data(), 24, src);
    CopyMacAddress(s.data(), 30, bssId);
    Exchange(m_internals->fd(), s, TX_START_CFM);
}

WlanLiteTxReadResults CWlanLiteClient::ctlib_tx_read() {
    WLC_SENTRY();
    std::vector<unsigned char> s = NewSignal(TX_READ_REQ, 22);
    const UdiPayload p = Exchange(m_internals->fd(), s, TX_READ_CFM);
    WlanLiteTxReadResults r;
    r.first = GetU16(p.signal, 12);
    r.numFramesLeftToSend = GetU32(p.signal, 14);
    r.second = GetU32(p.signal, 18);
    for (size_t i = 0; i < 8; ++i) r.values[i] = GetU16(p.signal, 22 + 2 * i);
    return r;
}

void CWlanLiteClient::ctlib_tx_stop() {
    WLC_SENTRY();
    std::vector<unsigned char> s = NewSignal(TX_STOP_REQ, 22);
    Exchange(m_internals->fd(), s, TX_STOP_CFM);
}

void CWlanLiteClient::ctlib_rx_start(uint8_t bandwidth, uint8_t position, uint16_t freq, uint16_t flags,
                                     const CommstestMacAddress& address) {
    WLC_SENTRY();
    std::vector<unsigned char> s = NewSignal(RX_START_REQ, 44);
    PutU16(s, 10, freq);
    s[12] = bandwidth;
    s[13] = position;
    PutU16(s, 14, flags);
    CopyMacAddress(s.data(), 16, address);
    Exchange(m_internals->fd(), s, RX_START_CFM);
}

WlanLiteRxReadResults CWlanLiteClient::ctlib_rx_read(const std::vector<unsigned short>& counters) {
    WLC_SENTRY();
    std::vector<unsigned char> s = NewSignal(RX_READ_REQ, 22);
    // The dump shows the signal alone, before its bulk length is filled in.
    DumpRequest(s.data(), s.size());
    std::vector<unsigned char> request = s;
    request.push_back(static_cast<unsigned char>(counters.size() & 0xFF));
    request.push_back(static_cast<unsigned char>((counters.size() >> 8) & 0xFF));
    uint16_t length = 2;
    for (const unsigned short id : counters) {
        request.push_back(static_cast<unsigned char>(id & 0xFF));
        request.push_back(static_cast<unsigned char>(id >> 8));
        length = static_cast<uint16_t>(length + 2);
    }
    PutU16(request, 6, 0);
    PutU16(request, 8, length);
    WriteRequest(m_internals->fd(), request);
    const UdiPayload p = WaitFor(m_internals->fd(), RX_READ_CFM);
    ThrowErrorIfFailure(ResultCode(p));

    WlanLiteRxReadResults r;
    r.first = GetU32(p.signal, 12);
    r.freqErrAv = static_cast<int32_t>(GetU32(p.signal, 16));
    r.rssiCur = static_cast<int16_t>(GetU16(p.signal, 20));
    r.rssiAv = static_cast<int16_t>(GetU16(p.signal, 22));
    r.rssiMin = static_cast<int16_t>(GetU16(p.signal, 24));
    r.rssiMax = static_cast<int16_t>(GetU16(p.signal, 26));
    r.snrCur = static_cast<int16_t>(GetU16(p.signal, 28));
    r.snrAv = static_cast<int16_t>(GetU16(p.signal, 30));
    r.snrMin = static_cast<int16_t>(GetU16(p.signal, 32));
    r.snrMax = static_cast<int16_t>(GetU16(p.signal, 34));
    r.interval = GetU32(p.signal, 36);
    // A bulk without even its count is as wrong as a count that does not
    // match the values.
    if (p.bulk.size() < 2) throw CCommstestError("Invalid counters list", COMMSTEST_PROTOCOL);
    const uint16_t count = GetU16(p.bulk, 0);
    for (size_t offset = 2; offset + 4 <= p.bulk.size(); offset += 4) r.counters.push_back(GetU32(p.bulk, offset));
    if (count != r.counters.size()) throw CCommstestError("Invalid counters list", COMMSTEST_PROTOCOL);
    return r;
}

void CWlanLiteClient::ctlib_rx_stop() {
    WLC_SENTRY();
    std::vector<unsigned char> s = NewSignal(RX_STOP_REQ, 22);
    Exchange(m_internals->fd(), s, RX_STOP_CFM);
}

void CWlanLiteClient::ctlib_select_radio(uint16_t bitmap) {
    WLC_SENTRY();
    std::vector<unsigned char> s = NewSignal(SELECT_RADIO_REQ, 24);
    PutU16(s, 10, bitmap);
    Exchange(m_internals->fd(), s, SELECT_RADIO_CFM);
}

TestBistGetTxGainResults CWlanLiteClient::ctlib_bist_get_tx_gain(uint16_t freq, uint16_t txGain, uint16_t rxGain) {
    WLC_SENTRY();
    std::vector<unsigned char> s = NewSignal(BIST_GET_TX_GAIN_REQ, 28);
    PutU16(s, 10, freq);
    PutU16(s, 12, txGain);
    PutU16(s, 14, rxGain);
    const UdiPayload p = Exchange(m_internals->fd(), s, BIST_GET_TX_GAIN_CFM);
    TestBistGetTxGainResults r;
    r.gain = GetU32(p.signal, 12);
    return r;
}

uint64_t CWlanLiteClient::ctlib_get_uint_mib(uint16_t psid, std::vector<unsigned char> indices) {
    WLC_SENTRY();
    const std::vector<unsigned char> value = GetMibData(m_internals->fd(), psid, std::move(indices));
    return CommstestVldata::ReadVlDataEncodedUnsigned(value.begin(), value.end());
}

std::string CWlanLiteClient::ctlib_get_string_mib(uint16_t psid, std::vector<unsigned char> indices) {
    WLC_SENTRY();
    const std::vector<unsigned char> value = GetMibData(m_internals->fd(), psid, std::move(indices));
    return CommstestVldata::ReadVlDataEncodedString(value.begin(), value.end());
}
