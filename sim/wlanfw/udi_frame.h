// Frames from the firmware to the library: a 16-byte UDI header, the
// confirm's signal, then its bulk, all in one datagram.
//
// Header: u32 total length at 0 (header included), u32 sequence number of
// the frame at 4 (counts every frame this firmware sent, from 1), u32 zero
// at 8, u32 signal length at 12.
#pragma once

#include <cstddef>
#include <cstdint>

#include "sim/wlanfw/bytes.h"

namespace tavo::sim::wlanfw {

inline constexpr std::size_t kUdiHeaderSize = 16;

// One confirm or unsolicited signal: the signal with its head filled in
// (bytes 8 and 9 hold the bulk length), and the bulk.
struct OutgoingSignal {
    Bytes signal;
    Bytes bulk;
};

// A signal of `size` bytes (at least a head) with the id and sender filled
// in and the rest zero.
Bytes NewSignal(std::uint16_t id, std::size_t size);

// Sets bytes 8 and 9 of the signal to the bulk length.
OutgoingSignal WithBulk(Bytes signal, Bytes bulk);

Bytes BuildUdiFrame(const OutgoingSignal& out, std::uint32_t sequence);

// Broken frames that a test can make the firmware send in place of a
// confirm, to see how the library copes.
enum class MalformedFrame {
    kShortDatagram,  // 8 bytes: not even a whole header
    kHeaderOnly,     // exactly the 16-byte header, no signal byte
    kSignalOverrun,  // the header declares more signal bytes than follow
    kTotalOverrun,   // the total length exceeds the datagram
};

const char* MalformedName(MalformedFrame kind);

// The broken form of the frame that `out` would have been.
Bytes BuildMalformedFrame(MalformedFrame kind, const OutgoingSignal& out, std::uint32_t sequence);

}  // namespace tavo::sim::wlanfw
