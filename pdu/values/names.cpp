#include "pdu/values/names.h"

#include <cstring>

namespace {
// Fills a zeroed buffer of capacity bytes (plus the terminator the caller
// keeps) and answers the length. The text form copies with strncpy, so the
// name stops at the source's first NUL, and then measures what it kept.
unsigned short copy_name(unsigned char* buffer, std::size_t capacity, const unsigned char* source,
                         unsigned long length, bool raw) {
    const std::size_t cut = length < capacity ? length : capacity;
    if (raw) {
        if (source != nullptr) std::memcpy(buffer, source, cut);
        return static_cast<unsigned short>(cut);
    }
    char* text = reinterpret_cast<char*>(buffer);
    if (source != nullptr) std::strncpy(text, reinterpret_cast<const char*>(source), cut);
    return static_cast<unsigned short>(strnlen(text, capacity));
}
}  // namespace

BluetoothName::BluetoothName(const unsigned char* bytes, unsigned long length, bool raw) {
    mLength = copy_name(mBytes, kCapacity, bytes, length, raw);
}

BluetoothName16::BluetoothName16(const unsigned short* words, unsigned long length, bool raw) {
    mLength = copy_name(reinterpret_cast<unsigned char*>(mWords), kCapacity,
                        reinterpret_cast<const unsigned char*>(words), length, raw);
}
