// The radio tests of the WLAN DUT: frame streams, tones, the receiver, the
// transmit self test and the chip temperature.
#include <complex>
#include <cmath>
#include <cstdio>

#include "wlan/WlanDutLib.h"
#include "wlan/wlandut_log.h"
#include "wlan_interface.h"

namespace {

const CommstestMacAddress kBroadcast = {{0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF}};
const CommstestMacAddress kTestSource = {{0x00, 0x11, 0x22, 0x33, 0x44, 0x55}};
const CommstestMacAddress kRxAddress = {{0x11, 0x22, 0x33, 0x44, 0x55, 0x66}};
const uint16_t kTempMib = 5062;

void LogValue(const char* name, int value) {
    DLOG("%s : %d", name, value);
}

int SelectRadioFor(int ant, bool allowBoth) {
    LogValue("m_ant", ant);
    CommstestRadioBitmap bitmap;
    if (ant == 0 && allowBoth) {
        bitmap = COMMSTEST_RADIO_BOTH;
    } else if (ant == 1) {
        bitmap = COMMSTEST_RADIO_1;
    } else if (ant == 2) {
        bitmap = COMMSTEST_RADIO_2;
    } else {
        DLOG("incorrect ant config : %d\n", ant);
        return CWlanDutLib::kInvalid;
    }
    // A failed selection is logged and the test goes on.
    const int rc = wlan_select_radio(bitmap);
    if (rc != 0) {
        DLOG("Set Antenna Fail : %d(%d - %s) or not supporeted feature", ant, rc, wlan_get_last_error());
    }
    return CWlanDutLib::kOk;
}

}  // namespace

int CWlanDutLib::SelectRadio() {
    return SelectRadioFor(m_ant, true);
}

uint16_t CWlanDutLib::Frequency(bool transmit) const {
    const int base = m_band == 1 ? 2407 : 5000;
    const uint16_t channel = const_cast<CWlanDutLib*>(this)->GetChannelCorrected(m_channel, m_bandwidth);
    uint16_t freq = static_cast<uint16_t>(channel * 5 + base);
    // Channel 14 sits 7 MHz higher for transmission only: received at 2477,
    // transmitted at 2484 MHz.
    if (transmit && channel == 14) freq = static_cast<uint16_t>(freq + 7);
    return freq;
}

int CWlanDutLib::TxStartWithMod() {
    if (SelectRadio() != kOk) return kInvalid;
    const uint16_t code =
        GetDataRate(m_data_rate, m_sgi, m_vht_enabled, m_11ax_gi, m_he_enabled, m_bandwidth, m_ant);
    if (code == 0) {
        DLOG("incorrect Tx param(bps : %d, sg : %d, vht : %d, he : %d, bw : %d, ant : %d)", m_data_rate, m_sgi,
             m_vht_enabled, m_he_enabled, m_bandwidth, m_ant);
        return kInvalid;
    }
    const uint16_t freq = Frequency(true);
    LogValue("m_channel", m_channel);
    LogValue("freq", freq);
    DLOG("data rate : %d - 0x%04X\n", m_data_rate, code);
    if (m_he_enabled != 0) {
        LogValue("m_he_enabled", m_he_enabled);
        LogValue("m_resource_unit", m_resource_unit);
        LogValue("m_11ax_gi", m_11ax_gi);
    } else {
        LogValue("m_vht_enabled", m_vht_enabled);
        LogValue("m_long_preamble", m_long_preamble);
        LogValue("m_sgi", m_sgi);
    }
    LogValue("m_tx_gain", m_tx_gain);
    LogValue("m_burst_interval", m_burst_interval);
    LogValue("m_payload_size", m_payload_size);
    LogValue("m_band", m_band);
    LogValue("m_bandwidth", m_bandwidth);
    LogValue("m_dut_is_open", m_dut_is_open);
    LogValue("m_ant", m_ant);

    unsigned int flags = COMMSTEST_TX_FLAG_BASE;
    if (m_long_preamble == 0 && code >= 2 && code <= 11) flags |= COMMSTEST_TX_FLAG_SHORT_PREAMBLE;
    if (m_channel_encoding == 1) flags |= COMMSTEST_TX_FLAG_CODING;
    LogValue("m_channel_encoding", m_channel_encoding);

    int heLtf = 0;
    if (m_he_enabled != 0) {
        if (m_bandwidth >= 2 || (m_bandwidth == 1 && (code & 0xF) > 9)) flags |= COMMSTEST_TX_FLAG_CODING;
        if (m_11ax_gi == 0) {
            heLtf = 1;
        } else if (m_11ax_gi == 1) {
            heLtf = 2;
        } else if (m_11ax_gi == 2) {
            heLtf = 4;
        }
        LogValue("he_ltf", heLtf);
        int maxPayload = 4096;
        if (m_resource_unit != -1) {
            maxPayload = m_resource_unit <= 36 ? 512 : m_resource_unit <= 52 ? 1024 : m_resource_unit <= 60 ? 2048 : 4096;
        }
        if (m_payload_size > maxPayload) {
            DLOG("incorrect payload length : %d (max : %d)", m_payload_size, maxPayload);
            return kInvalid;
        }
    } else {
        m_resource_unit = -1;  // stays so in the object
    }
    LogValue("flag", static_cast<int>(flags));
    const int interval = CalculateInterval(m_bandwidth, m_data_rate, code, m_long_preamble, m_sgi, m_he_enabled,
                                           m_11ax_gi, m_resource_unit, m_burst_interval, m_payload_size, m_ant);
    LogValue("interval", interval);
    // Two-stream rates send twice the payload.
    const int payloadRatio = ((code >> 7) & 7) + 1;
    LogValue("payload_ratio", payloadRatio);
    const int heMode = m_resource_unit >= 0 ? COMMSTEST_HE_MODE_RU : COMMSTEST_HE_MODE_NONE;

    int rc = wlan_set_tx_params(
        static_cast<CommstestChannelBandwidth>(m_bandwidth - 1), COMMSTEST_POSITION_0,
        static_cast<CommstestDataRate>(code), freq, static_cast<int8_t>(static_cast<uint8_t>((m_tx_gain & 0xFF) * 4)),
        static_cast<uint16_t>(m_payload_size * payloadRatio), static_cast<uint32_t>(interval),
        static_cast<CommstestTxSetParamsFlags>(flags), COMMSTEST_REGDOMAIN_0, COMMSTEST_TX_FLAGS2_NONE,
        static_cast<CommstestTxHEMode>(heMode), heMode != 0 ? static_cast<uint8_t>(m_resource_unit & 0xFF) : 0,
        static_cast<uint8_t>(heLtf));
    if (rc != 0) {
        DLOG("wlan_set_tx_params error code %d, error string: %s ", rc, wlan_get_last_error());
        return kWlanCallFailed;
    }
    rc = wlan_tx_start(static_cast<uint32_t>(m_packet_count), COMMSTEST_TX_DATA_0, 0x1234, kBroadcast, kTestSource,
                       kTestSource);
    if (rc != 0) {
        DLOG("wlan_tx_start error code %d, error string: %s ", rc, wlan_get_last_error());
        return kWlanCallFailed;
    }
    return kOk;
}

int CWlanDutLib::TxStop() {
    DLOG("%s \n", "TxStop");
    int result = kOk;
    if (wlan_tx_stop() != 0) {
        // The code printed here has always been 0, whatever the call returned.
        DLOG("wlan_tx_stop error code %d, error string: %s ", 0, wlan_get_last_error());
        result = kWlanCallFailed;
    }
    m_resource_unit = -1;
    m_channel_encoding = 0;
    return result;
}

int CWlanDutLib::TxStartWoMod(int channel) {
    const int base = m_band == 1 ? 2407 : 5000;
    const uint16_t corrected = GetChannelCorrected(channel, m_bandwidth);
    uint16_t freq = static_cast<uint16_t>(corrected * 5 + base);
    if (corrected == 14) freq = static_cast<uint16_t>(freq + 7);
    DLOG("%s - freq %u\n", "TxStartWoMod", freq);
    if (SelectRadio() != kOk) return kInvalid;
    static const int kOffsets[4] = {0, 5000, 10000, 20000};
    const int offset = m_cw_tone >= 0 && m_cw_tone <= 3 ? kOffsets[m_cw_tone] : 0;
    const uint16_t amplitude = static_cast<uint16_t>(m_tx_gain > 16 ? 16 : m_tx_gain);
    const int rc = wlan_cw_start(freq, offset, 20, amplitude);
    if (rc != 0) {
        DLOG("wlan_cw_start error code %d, error string: %s ", rc, wlan_get_last_error());
        return kWlanCallFailed;
    }
    return kOk;
}

int CWlanDutLib::TxStopWoMod() {
    DLOG("%s", "TxStopWoMod");
    if (wlan_cw_stop() != 0) {
        DLOG("wlan_cw_stop error code %d, error string: %s ", 0, wlan_get_last_error());
        return kWlanCallFailed;
    }
    return kOk;
}

uint16_t CWlanDutLib::BeginReceive() {
    const uint16_t freq = Frequency(false);
    m_good_frames = 0;
    m_error_frames = 0;
    LogValue("m_bandwidth", m_bandwidth);
    LogValue("freq", freq);
    return freq;
}

int CWlanDutLib::RxStart() {
    const uint16_t freq = BeginReceive();
    if (SelectRadio() != kOk) return kInvalid;
    const int rc = wlan_rx_start(static_cast<CommstestChannelBandwidth>(m_bandwidth - 1), COMMSTEST_POSITION_0, freq,
                                 COMMSTEST_RX_FLAGS_NONE, kRxAddress);
    if (rc != 0) {
        DLOG("wlan_rx_start error code %d, error string: %s ", rc, wlan_get_last_error());
        return kWlanCallFailed;
    }
    return kOk;
}

int CWlanDutLib::RxStartWithFlag(int flag) {
    const uint16_t freq = BeginReceive();
    if (SelectRadio() != kOk) return kInvalid;
    // Tested only now: the counts are cleared and the radio chosen already.
    if (flag != 1 && flag != 2 && flag != 4 && flag != 8 && flag != 16 && flag != 32) {
        DLOG("Invalid Flag for Rx Start : %d\n", flag);
        return kInvalid;
    }
    const int rc = wlan_rx_start(static_cast<CommstestChannelBandwidth>(m_bandwidth - 1), COMMSTEST_POSITION_0, freq,
                                 static_cast<CommstestRxStartFlags>(flag), kRxAddress);
    if (rc != 0) {
        DLOG("wlan_rx_start (flag: %d) error code %d, error string: %s ", flag, rc, wlan_get_last_error());
        return kWlanCallFailed;
    }
    return kOk;
}

int CWlanDutLib::RxCWStartFromFreq(int freq) {
    LogValue("freq", freq);
    if (SelectRadio() != kOk) return kInvalid;
    const int rc = wlan_rx_start(COMMSTEST_BW_20MHZ, COMMSTEST_POSITION_0, static_cast<uint16_t>(freq),
                                 static_cast<CommstestRxStartFlags>(32), kRxAddress);
    if (rc != 0) {
        DLOG("wlan_rx_start (flag: %d) error code %d, error string: %s ", 32, rc, wlan_get_last_error());
        return kWlanCallFailed;
    }
    return kOk;
}

int CWlanDutLib::rx_read_(unsigned int* total, unsigned int* good, short* rssi) {
    DLOG("%s \n", "rx_read_");
    uint32_t t = 0, g = 0, interval = 0;
    int32_t freqErr = 0;
    int16_t rssiAv = 0, rssiMin = 0, rssiMax = 0, rssiCur = 0, snrAv = 0, snrMin = 0, snrMax = 0, snrCur = 0;
    const int rc = wlan_rx_read_extended(&t, &g, &interval, &freqErr, &rssiAv, &rssiMin, &rssiMax, &rssiCur, &snrAv,
                                         &snrMin, &snrMax, &snrCur);
    if (rc != 0) return rc;
    DLOG("total : %u, good : %u, interval : %u, freq err : %d, rssi (cur : %d, avg : %d, min : %d, max : %d), SNR "
         "(cur : %d, avg : %d, min : %d, max : %d)",
         t, g, interval, freqErr, rssiCur, rssiAv, rssiMin, rssiMax, snrCur, snrAv, snrMin, snrMax);
    // The firmware reports -1 for average and maximum until it has a
    // history; the current value is the better answer then.
    if (rssiMin < -1 && rssiAv == -1 && rssiMax == -1) rssiAv = rssiCur;
    if (total != nullptr) *total = t;
    if (good != nullptr) *good = g;
    if (rssi != nullptr) *rssi = rssiAv;
    return 0;
}

int CWlanDutLib::ReadRx() {
    DLOG("%s \n", "ReadRx");
    unsigned int total = 0, good = 0;
    short rssi = 0;
    const int rc = rx_read_(&total, &good, &rssi);
    if (rc != 0) {
        DLOG("wlan_rx_read error code %d, error string: %s ", rc, wlan_get_last_error());
        return kWlanCallFailed;
    }
    DLOG("ReadRx : total %d, good %d, rssiAvg %d\n", total, good, rssi);
    // No error counter is asked for: errors are what the good count leaves.
    m_good_frames = static_cast<int32_t>(good);
    m_error_frames = static_cast<int32_t>(total - good);
    m_rssi_avg = rssi;
    DLOG("Rx Result: GOOD  %d, ERROR %d\n", m_good_frames, m_error_frames);
    return kOk;
}

int CWlanDutLib::RxStop() {
    DLOG("%s \n", "RxStop");
    unsigned int total = 0, good = 0;
    short rssi = 0;
    const int rc = rx_read_(&total, &good, &rssi);
    if (rc != 0) {
        m_good_frames = 0;
        m_error_frames = 0;
        DLOG("wlan_rx_read error code %d, error string: %s ", rc, wlan_get_last_error());
    } else {
        m_good_frames = static_cast<int32_t>(good);
        m_error_frames = static_cast<int32_t>(total - good);
        DLOG("Rx Result: GOOD  %d, ERROR %d\n", m_good_frames, m_error_frames);
    }
    // The receiver is stopped whether or not the read worked.
    const int stop = wlan_rx_stop();
    if (stop != 0) {
        DLOG("wlan_rx_stop error code %d, error string: %s ", stop, wlan_get_last_error());
        return kWlanCallFailed;
    }
    return kOk;
}

int CWlanDutLib::GetGoodFrame(int* value) {
    DLOG("%s \n", "GetGoodFrame");
    if (value != nullptr) *value = m_good_frames;
    DLOG("Rx GoodFrame : %d\n", m_good_frames);
    return kOk;
}

int CWlanDutLib::GetErrorFrame(int* value) {
    DLOG("%s \n", "GetErrorFrame");
    if (value != nullptr) *value = m_error_frames;
    DLOG("Rx ErrorFrame : %d\n", m_error_frames);
    return kOk;
}

int CWlanDutLib::GetRSSI(int* value) {
    DLOG("%s \n", "GetRSSI");
    unsigned int total = 0, good = 0;
    short rssi = 0;
    const int rc = rx_read_(&total, &good, &rssi);
    if (rc != 0) {
        DLOG("wlan_rx_read error code %d, error string: %s ", rc, wlan_get_last_error());
        return kWlanCallFailed;
    }
    if (value != nullptr) *value = rssi;
    DLOG("RSSI : %d\n", rssi);
    return kOk;
}

int CWlanDutLib::GetBIST(int rxGain, int* abs, int* phase) {
    // Its own frequency rule: by channel number alone, band not consulted.
    const uint16_t freq = static_cast<uint16_t>((m_channel <= 35 ? 2407 : 5000) + m_channel * 5);
    const uint16_t txGain = static_cast<uint16_t>(m_tx_gain);
    // Both radios at once cannot run the self test.
    if (SelectRadioFor(m_ant, false) != kOk) return kInvalid;
    if (rxGain == 0) rxGain = 2;
    DLOG("%s freq[%d] tx gain[%d] rx gain[%d] \n", "GetBIST", freq, txGain, rxGain);
    uint32_t raw = 0;
    const int rc = wlan_bist_get_tx_gain(freq, txGain, static_cast<uint16_t>(rxGain), &raw);
    if (rc != 0) {
        DLOG("wlan_bist_get_tx_gain error code %d, error string: %s ", rc, wlan_get_last_error());
        return kWlanCallFailed;
    }
    // The word is a complex gain: real part high, imaginary part low.
    const int r = static_cast<int16_t>(static_cast<uint16_t>(raw >> 16));
    const int i = static_cast<int16_t>(static_cast<uint16_t>(raw & 0xFFFF));
    const unsigned int magnitude =
        static_cast<unsigned int>(std::abs(std::complex<double>(static_cast<double>(r), static_cast<double>(i))));
    const int angle = static_cast<int>(std::atan2(static_cast<double>(i), static_cast<double>(r)) * 100.0);
    if (abs != nullptr) *abs = static_cast<int>(magnitude);
    if (phase != nullptr) *phase = angle;
    DLOG("%x -> r : %d, i : %d -> abs : %d, phase : %d", raw, r, i, magnitude, angle);
    return kOk;
}

int CWlanDutLib::GetPacketCount(char* text) {
    uint32_t left = 0;
    const int rc = wlan_tx_read(&left);
    if (rc == 0 && text != nullptr) std::snprintf(text, 16, "%d", static_cast<int>(left));
    DLOG("%s - %d\n", "GetPacketCount", static_cast<int>(left));
    return rc == 0 ? kOk : kWlanCallFailed;
}

int CWlanDutLib::GetChipTemperature(int* value) {
    uint64_t raw = 0;
    const int rc = wlan_get_mib_uint(kTempMib, &raw);
    if (rc != 0) {
        DLOG("%s - error[%d]\n", "GetChipTemperature", rc);
        return kWlanCallFailed;
    }
    const int temperature = static_cast<uint16_t>(raw & 0xFFFF);
    if (value != nullptr) *value = temperature;
    DLOG("%s - %d\n", "GetChipTemperature", temperature);
    return kOk;
}
