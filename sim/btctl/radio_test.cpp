#include "sim/btctl/radio_test.h"

#include <cstdio>

#include "sim/btctl/vendor_answer.h"

namespace tavo::sim::btctl {
namespace {

std::string Hex16(std::uint16_t value) {
    char text[8];
    std::snprintf(text, sizeof text, "0x%04x", value);
    return text;
}

std::string Field(const char* name, unsigned long value) {
    return std::string(" ") + name + "=" + std::to_string(value);
}

// The test ids that start something, with the name of their log line.
const char* RunningTestName(std::uint16_t id) {
    switch (id) {
        case radiotest::kTxStart: return "tx_start";
        case radiotest::kRxStart2: return "rx_start2";
        case radiotest::kTxData1: return "tx_data1";
        case radiotest::kTxData2: return "tx_data2";
        case radiotest::kTxData3: return "tx_data3";
        case radiotest::kTxData4: return "tx_data4";
        case radiotest::kBer1: return "ber1";
        default: return nullptr;
    }
}

std::optional<std::string> TrackTest(const Bytes& pdu, RadioState& s) {
    if (pdu.size() < 12) return std::nullopt;  // no test id
    const auto word = [&pdu](std::size_t at) { return VendorWord(pdu, at); };
    const std::uint16_t id = word(10);
    std::string text = "radio test ";
    if (const char* name = RunningTestName(id)) {
        s.running = id;
        s.loFreq = word(12);
        text += name + Field(id == radiotest::kTxData2 ? "cc" : "lo_freq", s.loFreq);
        if (id == radiotest::kTxStart) {
            s.txMode = word(14);
            s.txPattern = word(16);
            text += Field("mode", s.txMode) + Field("pattern", s.txPattern);
        }
        return text;
    }
    switch (id) {
        case radiotest::kPause:
            s.running.reset();
            return text + "pause";
        case radiotest::kCfgFreq:
            s.txrxFreq = word(12);
            s.lbOffs = word(14);
            s.reportFreq = word(16);
            return text + "cfg_freq" + Field("txrx_freq", s.txrxFreq) + Field("lb_offs", s.lbOffs) +
                   Field("report_freq", s.reportFreq);
        case radiotest::kCfgPkt:
            s.pktType = word(12);
            s.pktSize = word(14);
            return text + "cfg_pkt" + Field("pkt_type", s.pktType) + Field("pkt_size", s.pktSize);
        case radiotest::kCfgUapLap:
            s.uap = word(12);
            s.lap = static_cast<std::uint32_t>(word(14)) << 16 | word(16);
            return text + "cfg_uap_lap uap=" + Hex16(s.uap) + " lap=" + Hex16(word(14)) + Hex16(word(16)).substr(2);
        case radiotest::kCfgHoppingSequence:
            text += "cfg_hopping_sequence channels=";
            for (std::size_t i = 0; i < s.hopping.size(); ++i) {
                s.hopping[i] = word(12 + 2 * i);
                text += (i == 0 ? "" : ",") + Hex16(s.hopping[i]);
            }
            return text;
        case radiotest::kCfgTxPower:
            s.txPower = static_cast<std::int16_t>(word(12));
            return text + "cfg_txpower db=" + std::to_string(s.txPower);
        default:
            return std::nullopt;
    }
}

std::optional<std::string> TrackLeTest(const Bytes& pdu, RadioState& s) {
    if (pdu.size() < 12) return std::nullopt;  // no command
    switch (VendorWord(pdu, 10)) {
        case letest::kEnd:
        case letest::kEndWithCount:
            s.leRunning.reset();
            return std::string("le test end") + (VendorWord(pdu, 10) == letest::kEndWithCount ? " with count" : "");
        case letest::kReceiver:
        case letest::kTransmitter:
            s.leRunning = VendorWord(pdu, 10);
            s.leChannel = VendorWord(pdu, 12);
            s.leLength = VendorWord(pdu, 14);
            s.lePayload = VendorWord(pdu, 16);
            if (s.leRunning == letest::kReceiver) return "le test receiver" + Field("channel", s.leChannel);
            return "le test transmitter" + Field("channel", s.leChannel) + Field("length", s.leLength) +
                   Field("payload", s.lePayload);
        default:
            return std::nullopt;
    }
}

}  // namespace

std::optional<std::string> TrackRadioTest(const Bytes& pdu, RadioState& state) {
    if (pdu.size() < kVendorHeaderBytes) return std::nullopt;
    const std::uint16_t id = VendorWord(pdu, kVendorVaridAt);
    if (id != varid::kRadioTest && id != varid::kLeRadioTest) return std::nullopt;
    ++state.commands;
    return id == varid::kRadioTest ? TrackTest(pdu, state) : TrackLeTest(pdu, state);
}

}  // namespace tavo::sim::btctl
