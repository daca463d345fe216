// The controller's answer to a whole PDU on the vendor channel. Its header
// is five 16-bit little-endian words: request type (the host sends 2, a
// response carries 1), length in words with the header, sequence number,
// variable id, status; the payload follows.
//
// A radio test (varid 0x5004) or LE radio test (0x508A) is answered with a
// reply of the request's size: request type 1, length size / 2, the
// request's sequence number and varid, status 0, and the request's payload
// echoed, as the chip confirms a test it took. The LE "end test with count"
// command (3) is the exception: its reply carries the number of packets
// received in the word at byte 12, where the request had its channel. Any
// other varid is answered with a copy of the request marked as a response
// with status 0. A PDU shorter than the header gets no answer.
//
// VendorSteering bends every answer, whatever its varid, so that a test can
// show how the host judges a reply it must refuse.
#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <optional>

#include "sim/btctl/hex_bytes.h"

namespace tavo::sim::btctl {

inline constexpr std::size_t kVendorHeaderBytes = 10;
inline constexpr std::uint16_t kVendorResponse = 1;
inline constexpr std::size_t kVendorSequenceAt = 4;
inline constexpr std::size_t kVendorVaridAt = 6;
inline constexpr std::size_t kVendorStatusAt = 8;

struct VendorSteering {
    std::uint16_t status = 0;     // the status word of every reply
    bool wrongSequence = false;   // the reply's sequence number is the request's plus 1
    bool wrongVarid = false;      // the reply's varid is the request's XOR 0x0001
    bool answer = true;           // false: vendor PDUs are read and logged, not answered
    std::chrono::milliseconds delay{0};  // each reply waits this long, on top of the general delay
};

// The little-endian word at byte `at`; a byte past the end reads as 0.
std::uint16_t VendorWord(const Bytes& pdu, std::size_t at);

// `lePackets` is the count the LE "end test with count" reply carries.
// The steering's `answer` and `delay` are the caller's to apply.
std::optional<Bytes> AnswerVendorPdu(const Bytes& request, const VendorSteering& steering, std::uint16_t lePackets);

}  // namespace tavo::sim::btctl
