// The library's end of the conversation with the radio-test firmware: one
// synchronous exchange per operation on the device node. No queue, no
// thread, no state beyond the open descriptor. Every operation throws
// CCommstestError on failure.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "commstest/udipayload.h"
#include "enginefw/counted.h"
#include "wlan_interface.h"

using TavoSignalId = uint16_t;
using TavoResultCode = uint16_t;

struct WlanLiteTxReadResults {
    uint16_t first = 0;
    uint32_t numFramesLeftToSend = 0;
    uint32_t second = 0;
    uint16_t values[8] = {};
};

struct WlanLiteRxReadResults {
    uint32_t first = 0;
    int32_t freqErrAv = 0;
    int16_t rssiCur = 0, rssiAv = 0, rssiMin = 0, rssiMax = 0;
    int16_t snrCur = 0, snrAv = 0, snrMin = 0, snrMax = 0;
    uint32_t interval = 0;
    std::vector<unsigned int> counters;
};

struct TestBistGetTxGainResults {
    uint32_t gain = 0;
};

// Owns the descriptor of the device node; closes it when the last reference
// goes. Closing sends nothing: a running test goes on in the firmware.
class WlanLiteClientPrivateInternals : public Counter {
public:
    WlanLiteClientPrivateInternals();
    ~WlanLiteClientPrivateInternals() override;
    int fd() const { return m_fd; }

private:
    int32_t m_fd;
};

class CWlanLiteClient : public Counter {
public:
    // The device node the firmware is reached through.
    static constexpr const char* kDevice = "/dev/q7c3310udi0";
    // How long one wait for a frame may be silent.
    static constexpr int kWaitSeconds = 2;

    CWlanLiteClient();
    ~CWlanLiteClient() override;

    void ctlib_cw_start(uint16_t freq, int32_t freqOffset, int8_t power, uint16_t amplitude);
    void ctlib_cw_stop();
    void ctlib_set_tx_params(uint8_t bandwidth, uint8_t position, uint16_t freq, uint16_t rate, int8_t power,
                             uint8_t constantOne, uint16_t length, uint32_t interval, uint32_t flags,
                             uint16_t regDomain, uint16_t flags2, uint16_t heMode, uint8_t heRuAllocation,
                             uint8_t heLtf);
    void ctlib_tx_start(uint32_t frames, uint16_t dataType, uint16_t dataParam, const CommstestMacAddress& dest,
                        const CommstestMacAddress& src, const CommstestMacAddress& bssId);
    WlanLiteTxReadResults ctlib_tx_read();
    void ctlib_tx_stop();
    void ctlib_rx_start(uint8_t bandwidth, uint8_t position, uint16_t freq, uint16_t flags,
                        const CommstestMacAddress& address);
    WlanLiteRxReadResults ctlib_rx_read(const std::vector<unsigned short>& counters);
    void ctlib_rx_stop();
    void ctlib_select_radio(uint16_t bitmap);
    TestBistGetTxGainResults ctlib_bist_get_tx_gain(uint16_t freq, uint16_t txGain, uint16_t rxGain);
    uint64_t ctlib_get_uint_mib(uint16_t psid, std::vector<unsigned char> indices);
    std::string ctlib_get_string_mib(uint16_t psid, std::vector<unsigned char> indices);

private:
    CountedPointer<WlanLiteClientPrivateInternals> m_internals;
};

// Signal ids of the requests and their confirms.
enum : TavoSignalId {
    MIB_GET_REQ = 0x2001, MIB_GET_CFM = 0x2101,
    CW_START_REQ = 0x9005, CW_START_CFM = 0x9101,
    CW_STOP_REQ = 0x9006, CW_STOP_CFM = 0x9103,
    SET_TX_PARAMS_REQ = 0x9007, SET_TX_PARAMS_CFM = 0x9102,
    TX_START_REQ = 0x9008, TX_START_CFM = 0x9104,
    TX_READ_REQ = 0x9009, TX_READ_CFM = 0x9105,
    TX_STOP_REQ = 0x900A, TX_STOP_CFM = 0x9106,
    RX_START_REQ = 0x900B, RX_START_CFM = 0x9107,
    RX_READ_REQ = 0x900C, RX_READ_CFM = 0x9108,
    RX_STOP_REQ = 0x900D, RX_STOP_CFM = 0x9109,
    SELECT_RADIO_REQ = 0x901A, SELECT_RADIO_CFM = 0x9112,
    BIST_GET_TX_GAIN_REQ = 0x901F, BIST_GET_TX_GAIN_CFM = 0x9116,
};

constexpr uint16_t kClientSenderId = 0xC001;
