// Frames from the WLAN test firmware: a 16-byte UDI header, the signal, then
// the bulk data.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

struct UdiPayload {
    std::vector<unsigned char> signal;  // the signal bytes, head included
    std::vector<unsigned char> bulk;    // the bytes behind the signal
};

constexpr size_t kUdiHeaderLength = 16;

// Splits one received frame into signal and bulk. Throws CCommstestError
// (code 200) when the frame is shorter than its header says.
//
// Bytes 8 and 9 of the signal are rewritten in the received buffer with the
// true bulk length, so the buffer must be writable although it is passed as
// const: the firmware's own value there is not trusted.
UdiPayload DecodeUdiMessage(const uint8_t* begin, const uint8_t* end);

// Little-endian field access on byte vectors.
inline uint16_t GetU16(const std::vector<unsigned char>& v, size_t offset) {
    if (offset + 2 > v.size()) return 0;
    return static_cast<uint16_t>(v[offset] | (v[offset + 1] << 8));
}

inline uint32_t GetU32(const std::vector<unsigned char>& v, size_t offset) {
    if (offset + 4 > v.size()) return 0;
    return static_cast<uint32_t>(v[offset]) | (static_cast<uint32_t>(v[offset + 1]) << 8) |
           (static_cast<uint32_t>(v[offset + 2]) << 16) | (static_cast<uint32_t>(v[offset + 3]) << 24);
}

inline void PutU16(std::vector<unsigned char>& v, size_t offset, uint16_t value) {
    v[offset] = static_cast<unsigned char>(value & 0xFF);
    v[offset + 1] = static_cast<unsigned char>(value >> 8);
}

inline void PutU32(std::vector<unsigned char>& v, size_t offset, uint32_t value) {
    for (size_t i = 0; i < 4; ++i) v[offset + i] = static_cast<unsigned char>((value >> (8 * i)) & 0xFF);
}
