#include "sim/wlanfw/vl_encoding.h"

namespace tavo::sim::wlanfw {
namespace {

// `value` big-endian in the fewest bytes; none for 0.
Bytes BigEndianMinimal(std::uint64_t value) {
    Bytes bytes;
    while (value != 0) {
        bytes.insert(bytes.begin(), static_cast<std::uint8_t>(value & 0xFF));
        value >>= 8;
    }
    return bytes;
}

}  // namespace

Bytes EncodeVlUnsigned(std::uint64_t value) {
    if (value <= 63) return Bytes{static_cast<std::uint8_t>(value)};
    const Bytes digits = BigEndianMinimal(value);
    Bytes out{static_cast<std::uint8_t>(0x80 | digits.size())};
    out.insert(out.end(), digits.begin(), digits.end());
    return out;
}

Bytes EncodeVlOctetString(const std::string& content) {
    const Bytes length = BigEndianMinimal(content.size());
    Bytes out{static_cast<std::uint8_t>(0xA0 | length.size())};
    out.insert(out.end(), length.begin(), length.end());
    out.insert(out.end(), content.begin(), content.end());
    return out;
}

}  // namespace tavo::sim::wlanfw
