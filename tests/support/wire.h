// The one wire builder of the tests: WLAN firmware requests built field by
// field at the offsets the firmware reads them, on the simulator's own
// little-endian byte helpers, and hex text for golden bytes. The request
// layouts are written out here rather than taken from the library or the
// simulator, so that a shared mistake in a layout cannot hide. Fields a
// builder does not take hold fixed, valid values.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "sim/wlanfw/bytes.h"

namespace testwire {

using Bytes = tavo::sim::wlanfw::Bytes;
using tavo::sim::wlanfw::AppendU16;
using tavo::sim::wlanfw::GetU16;
using tavo::sim::wlanfw::GetU32;
using tavo::sim::wlanfw::PutU16;
using tavo::sim::wlanfw::PutU32;

// A zeroed signal of `size` bytes with the id at 0 and 0xC001 at 4.
Bytes Signal(std::uint16_t id, std::size_t size);

// Rate 0x0004, 40 (10 dBm), 1000 bytes, flags 0x2000.
Bytes SetTxParamsReq(std::uint32_t interval, std::uint16_t freq = 2412, std::uint8_t bandwidth = 0,
                     std::uint8_t position = 0, std::uint8_t heLtf = 0);
// Data type 0 with parameter 0x1234, to broadcast from 00:11:22:33:44:55.
Bytes TxStartReq(std::uint32_t frames);
inline Bytes TxReadReq() { return Signal(0x9009, 22); }
inline Bytes TxStopReq() { return Signal(0x900A, 22); }
// No flags, for 11:22:33:44:55:66.
Bytes RxStartReq(std::uint8_t bandwidth = 0, std::uint8_t position = 0, std::uint16_t freq = 2437);
Bytes RxReadReq(const std::vector<std::uint16_t>& counters);
inline Bytes RxStopReq() { return Signal(0x900D, 22); }
// Power 20, amplitude 10, no offset.
Bytes CwStartReq(std::uint16_t freq = 2437);
inline Bytes CwStopReq() { return Signal(0x9006, 22); }
Bytes SelectRadioReq(std::uint16_t bitmap);
// Gains 10 and 2.
Bytes BistReq(std::uint16_t freq);
// Indices are masked to 7 bits; an odd count gets a pad byte that the
// head's bulk length does not count.
Bytes MibGetReq(std::uint16_t psid, const std::vector<std::uint8_t>& indices = {});

// "0a ff 01" or "0aff01" to bytes, and bytes to "0a ff 01".
Bytes FromHex(const std::string& hex);
std::string ToHex(const Bytes& bytes);

}  // namespace testwire
