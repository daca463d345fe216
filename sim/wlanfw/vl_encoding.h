// The VL encoding in which the firmware returns MIB values.
//
// Unsigned numbers 0 to 63 are one byte, the value itself. Larger numbers
// are 0x80 plus the count of bytes that follow, then the number big-endian
// in the fewest bytes. An octet string is 0xA0 plus the count of bytes of
// its length field, then the length big-endian, then the content; the empty
// string is the single byte 0xA0.
#pragma once

#include <cstdint>
#include <string>

#include "sim/wlanfw/bytes.h"

namespace tavo::sim::wlanfw {

Bytes EncodeVlUnsigned(std::uint64_t value);
Bytes EncodeVlOctetString(const std::string& content);

}  // namespace tavo::sim::wlanfw
