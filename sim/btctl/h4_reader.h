// The controller's end of the H4 line: cuts the byte stream from the host
// into packets. The host sends commands (indicator 0x01, 3 header bytes:
// opcode low, opcode high, length), ACL data (0x02, 4 header bytes: handle
// and flags low, high, length low, length high) and SCO data (0x03, 3
// header bytes, length in the last). Any other byte where an indicator
// belongs, events (0x04) included since only a controller sends those, is
// garbage: it is skipped byte by byte until an indicator comes, and each
// run of garbage is reported once, at its first byte.
//
// Bytes may arrive in pieces of any size; a packet is handed on whole.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "sim/btctl/hex_bytes.h"

namespace tavo::sim::btctl {

inline constexpr std::uint8_t kH4Command = 0x01;
inline constexpr std::uint8_t kH4Acl = 0x02;
inline constexpr std::uint8_t kH4Sco = 0x03;
inline constexpr std::uint8_t kH4Event = 0x04;

struct H4Item {
    enum class Kind { kPacket, kGarbage };
    Kind kind;
    // A packet: its bytes as on the line, indicator first. Garbage: the
    // first byte of the run.
    Bytes bytes;
};

class H4Reader {
public:
    // Appends what `data` completes to `out`.
    void Feed(const std::uint8_t* data, std::size_t size, std::vector<H4Item>& out);
    // Garbage bytes skipped so far.
    std::uint64_t SkippedBytes() const { return skipped_; }

private:
    Bytes packet_;                 // the packet so far, indicator included
    std::size_t headerLength_ = 0; // after the indicator
    std::size_t total_ = 0;        // whole packet, known once the header is in
    bool inGarbage_ = false;       // a run of garbage has been reported
    std::uint64_t skipped_ = 0;
};

}  // namespace tavo::sim::btctl
