// The controller's answer to a whole PDU on the vendor channel. Its header
// is five 16-bit little-endian words: request type (the host sends 2, a
// response carries 1), length in words with the header, sequence number,
// variable id, status; the payload follows.
//
// For now every PDU with a whole header is answered with a copy of itself
// marked as a response with status 0; radio-test replies take its place
// here. A PDU shorter than the header gets no answer.
#pragma once

#include <cstddef>
#include <optional>

#include "sim/btctl/hex_bytes.h"

namespace tavo::sim::btctl {

inline constexpr std::size_t kVendorHeaderBytes = 10;
inline constexpr std::uint16_t kVendorResponse = 1;

std::optional<Bytes> AnswerVendorPdu(const Bytes& request);

}  // namespace tavo::sim::btctl
