// The vendor channels tunnelled through HCI, seen from the controller.
//
// Host to controller, each fragment is an HCI command 0xFC00 whose
// parameters are a descriptor byte and up to 254 payload bytes. The
// descriptor holds the channel in bits 0 to 5, "first" in bit 6 and "last"
// in bit 7; a PDU in one fragment has both. A first fragment empties its
// channel's buffer, every fragment appends to it, and a last one hands the
// whole PDU on and empties the buffer again.
//
// Controller to host, each fragment is an event 0xFF: parameter length,
// the marker 0x42, the descriptor, at most 253 payload bytes (so that the
// length byte, payload plus 2, still fits in a byte).
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <vector>

#include "sim/btctl/hex_bytes.h"

namespace tavo::sim::btctl {

inline constexpr std::uint8_t kTunnelEvent = 0xFF;
inline constexpr std::uint8_t kTunnelMarker = 0x42;
inline constexpr std::uint8_t kFirstBit = 0x40;
inline constexpr std::uint8_t kLastBit = 0x80;
inline constexpr std::uint8_t kChannelMask = 0x3F;
inline constexpr std::size_t kMaxEventFragment = 253;
// The vendor commands' channel.
inline constexpr std::uint8_t kVendorChannel = 2;

struct TunnelResult {
    enum class Kind {
        kPending,       // taken; the PDU is not whole yet
        kComplete,      // `pdu` is whole
        kNoDescriptor,  // a fragment without even its descriptor; dropped
        kTooLong,       // the channel's PDU grew past kMaxPdu; dropped
    };
    Kind kind = Kind::kPending;
    std::uint8_t channel = 0;
    bool first = false;
    bool last = false;
    Bytes pdu;
};

class TunnelReassembler {
public:
    // A bound on one reassembled PDU, far above any vendor PDU, so that a
    // host that never sends "last" cannot grow a buffer without end.
    static constexpr std::size_t kMaxPdu = 65536;

    // Takes the parameters of one 0xFC00 command.
    TunnelResult Take(const Bytes& parameters);

private:
    std::array<Bytes, 64> buffers_;
};

// The 0xFF events that carry `pdu` on `channel` to the host, H4 indicator
// included. None for an empty PDU.
std::vector<Bytes> TunnelEvents(std::uint8_t channel, const Bytes& pdu);

}  // namespace tavo::sim::btctl
