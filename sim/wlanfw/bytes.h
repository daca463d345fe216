// Little-endian fields in untrusted byte ranges. Reads outside the range
// give 0 and writes outside it are dropped, so that no datagram, however
// short, can make the firmware touch memory it does not own; the decoders
// check sizes first, and these guards are the second line.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

namespace tavo::sim::wlanfw {

using Bytes = std::vector<std::uint8_t>;

inline std::uint8_t GetU8(const Bytes& bytes, std::size_t offset) {
    return offset < bytes.size() ? bytes[offset] : 0;
}

inline std::uint16_t GetU16(const Bytes& bytes, std::size_t offset) {
    if (offset > bytes.size() || bytes.size() - offset < 2) return 0;
    return static_cast<std::uint16_t>(bytes[offset] | (bytes[offset + 1] << 8));
}

inline std::uint32_t GetU32(const Bytes& bytes, std::size_t offset) {
    if (offset > bytes.size() || bytes.size() - offset < 4) return 0;
    std::uint32_t value = 0;
    for (std::size_t i = 0; i < 4; ++i) value |= static_cast<std::uint32_t>(bytes[offset + i]) << (8 * i);
    return value;
}

inline void PutU8(Bytes& bytes, std::size_t offset, std::uint8_t value) {
    if (offset < bytes.size()) bytes[offset] = value;
}

inline void PutU16(Bytes& bytes, std::size_t offset, std::uint16_t value) {
    if (offset > bytes.size() || bytes.size() - offset < 2) return;
    bytes[offset] = static_cast<std::uint8_t>(value & 0xFF);
    bytes[offset + 1] = static_cast<std::uint8_t>(value >> 8);
}

inline void PutU32(Bytes& bytes, std::size_t offset, std::uint32_t value) {
    if (offset > bytes.size() || bytes.size() - offset < 4) return;
    for (std::size_t i = 0; i < 4; ++i) bytes[offset + i] = static_cast<std::uint8_t>((value >> (8 * i)) & 0xFF);
}

inline void AppendU16(Bytes& bytes, std::uint16_t value) {
    bytes.push_back(static_cast<std::uint8_t>(value & 0xFF));
    bytes.push_back(static_cast<std::uint8_t>(value >> 8));
}

inline void AppendU32(Bytes& bytes, std::uint32_t value) {
    for (std::size_t i = 0; i < 4; ++i) bytes.push_back(static_cast<std::uint8_t>((value >> (8 * i)) & 0xFF));
}

}  // namespace tavo::sim::wlanfw
