// What the controller keeps from the radio-test commands of the vendor
// channel, so that a test can read back what the host set up.
//
// Two variables carry them. Radio tests (varid 0x5004) hold the test id in
// the word at byte 10 and their parameters in the words behind it; LE radio
// tests (varid 0x508A) hold command, channel, length and payload in the
// words at bytes 10, 12, 14 and 16. Words are little-endian; the one 32-bit
// value, the LAP, is two words with the high one first. A field past the end
// of a short request reads as 0, as it would on the chip.
//
// Commands understood, with what they change:
//
//   0  pause              no test runs
//   1  tx_start           runs; lo_freq@12, mode@14, tx pattern@16
//   3  rx_start2          runs; lo_freq@12
//   4..7 tx_data1..4      runs; lo_freq@12 (cc for tx_data2, the same word)
//   19 ber1               runs; lo_freq@12
//   22 cfg_freq           txrx_freq@12, lb_offs@14, report_freq@16
//   23 cfg_pkt            pkt_type@12, pkt_size@14
//   30 cfg_uap_lap        uap@12, lap@14 (32 bits)
//   45 cfg_hopping_sequence   five channel-map words from byte 12
//   52 cfg_txpower        db@12, signed
//   LE 1 receiver, 2 transmitter   runs with channel, length, payload
//   LE 0 end, 3 end with count     no LE test runs
//
// Any other id or command is counted and changes nothing.
#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string>

#include "sim/btctl/hex_bytes.h"

namespace tavo::sim::btctl {

namespace varid {
inline constexpr std::uint16_t kRadioTest = 0x5004;
inline constexpr std::uint16_t kLeRadioTest = 0x508A;
}  // namespace varid

namespace radiotest {
inline constexpr std::uint16_t kPause = 0;
inline constexpr std::uint16_t kTxStart = 1;
inline constexpr std::uint16_t kRxStart2 = 3;
inline constexpr std::uint16_t kTxData1 = 4;
inline constexpr std::uint16_t kTxData2 = 5;
inline constexpr std::uint16_t kTxData3 = 6;
inline constexpr std::uint16_t kTxData4 = 7;
inline constexpr std::uint16_t kBer1 = 19;
inline constexpr std::uint16_t kCfgFreq = 22;
inline constexpr std::uint16_t kCfgPkt = 23;
inline constexpr std::uint16_t kCfgUapLap = 30;
inline constexpr std::uint16_t kCfgHoppingSequence = 45;
inline constexpr std::uint16_t kCfgTxPower = 52;
}  // namespace radiotest

namespace letest {
inline constexpr std::uint16_t kEnd = 0;
inline constexpr std::uint16_t kReceiver = 1;
inline constexpr std::uint16_t kTransmitter = 2;
inline constexpr std::uint16_t kEndWithCount = 3;
}  // namespace letest

// Values the host never set read as 0.
struct RadioState {
    std::optional<std::uint16_t> running;  // the id of the test started last; none after a pause
    std::uint16_t loFreq = 0;              // the running test's lo_freq (tx_data2: its cc)
    std::uint16_t txMode = 0;              // tx_start's mode and pattern
    std::uint16_t txPattern = 0;
    std::uint16_t txrxFreq = 0;  // cfg_freq
    std::uint16_t lbOffs = 0;
    std::uint16_t reportFreq = 0;
    std::uint16_t pktType = 0;  // cfg_pkt
    std::uint16_t pktSize = 0;
    std::int16_t txPower = 0;  // cfg_txpower
    std::array<std::uint16_t, 5> hopping{};
    std::uint16_t uap = 0;
    std::uint32_t lap = 0;
    std::optional<std::uint16_t> leRunning;  // letest::kReceiver or kTransmitter; none after an end
    std::uint16_t leChannel = 0;             // of the LE test started last
    std::uint16_t leLength = 0;
    std::uint16_t lePayload = 0;
    std::uint64_t commands = 0;  // PDUs of either varid with a whole header, understood or not
};

// Takes a whole vendor PDU. One of either varid is counted and kept in
// `state`; the text for its log line comes back when the command is one
// understood ("radio test tx_data1 lo_freq=2402"). Nothing for others.
std::optional<std::string> TrackRadioTest(const Bytes& pdu, RadioState& state);

}  // namespace tavo::sim::btctl
