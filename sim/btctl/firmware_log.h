// The lines the chip's Bluetooth firmware writes to its log ring
// (root/sys/kernel/debug/tavo/ring0/norlog) during radio tests: the only
// place the host finds bit errors, an LE receiver's packet count and the
// carrier's RSSI.
//
//   [ sim ] BT: BIT_ERR[0] rx bits sec: 1600000   while ber1 (19) runs: five lines
//   [ sim ] BT: BIT_ERR[1] err bits sec: 1600     at its start and every 200 ms
//   [ sim ] BT: BIT_ERR[2] pkts sec: 7407
//   [ sim ] BT: BIT_ERR[3] hec sec: 0
//   [ sim ] BT: BIT_ERR[4] crc sec: 0
//   [ sim ] BT: RSSI_REPORT: 40                   while rx_start2 (3) runs, the same way
//   [ sim ] BT: LE rx end pkt_count:4660          an LE receiver test ended with the count command
//
// err bits are rx bits * ppm / 1000000; pkts are rx bits / 27 / 8, the
// DH1 packets that many bits fill; the RSSI report is the level in dBm
// plus 100. Another test's start, or a pause, ends a report.
#pragma once

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>

#include "sim/btctl/hex_bytes.h"

namespace tavo::sim::btctl {

inline constexpr std::chrono::milliseconds kReportPeriod{200};

struct LogSteering {
    static constexpr std::uint32_t kMaxPpm = 1000000;
    static constexpr int kMinCwRssi = -127;
    static constexpr int kMaxCwRssi = -1;

    std::uint32_t berBits = 1600000;  // rx bits of each BIT_ERR block
    std::uint32_t berPpm = 1000;      // bit errors per million bits (0.1 %)
    int cwRssi = -60;                 // the carrier's level in dBm
};

enum class Report { kNone, kBitErrors, kCwRssi };

// What a whole vendor PDU does to the report: the start of ber1 or
// rx_start2 begins theirs, any other start or a pause ends it; nothing for
// a PDU that leaves it as it is.
std::optional<Report> ReportAfter(const Bytes& pdu);
// An LE radio test's "end test with count" command.
bool IsLeEndWithCount(const Bytes& pdu);

// One report's lines, each with its line feed; "" for kNone.
std::string ReportBlock(Report report, const LogSteering& steering);
std::string LeRxEndLine(std::uint16_t packets);

// Appends `text` to the ring at `path` in one write, so that a reader sees
// a block whole or not at all. A ring grown past a mebibyte keeps its
// newest quarter, from a line's start. Returns "" or what went wrong.
std::string AppendToRing(const std::string& path, const std::string& text);

}  // namespace tavo::sim::btctl
