#include "pdu/values/l2ca_config.h"

#include <cstring>

L2caConfigBase::L2caConfigBase(const unsigned char* bytes, unsigned long length, const Config_Offsets_T& offsets,
                               unsigned elements) {
    put_data(bytes, length);
    decode_data(offsets, elements);
}

L2caConfigBase::L2caConfigBase(const unsigned long* values, unsigned count, const Config_Offsets_T& offsets,
                               unsigned elements) {
    write_uints(values, count < elements ? count : elements, offsets);
    decode_data(offsets, elements);
}

void L2caConfigBase::put_data(const unsigned char* bytes, unsigned long length) {
    if (bytes == nullptr) return;
    const unsigned long room = kBufferSize - mWrite;
    const unsigned long take = length < room ? length : room;
    std::memcpy(mBuffer + mWrite, bytes, take);
    mWrite += take;
}

void L2caConfigBase::write_uints(const unsigned long* values, unsigned count, const Config_Offsets_T& offsets) {
    if (values == nullptr) return;
    if (count > kMaxElements) count = kMaxElements;
    for (unsigned i = 0; i < count; ++i) {
        // Boundaries out of order give a huge width, which write_uint_basic refuses.
        write_uint_basic(values[i], static_cast<unsigned long>(offsets[i + 1]) - offsets[i]);
    }
}

void L2caConfigBase::write_uint_basic(unsigned long value, unsigned long width) {
    if (width == 0 || width > kBufferSize - mWrite) return;
    for (unsigned long i = 0; i < width; ++i) {
        mBuffer[mWrite++] = static_cast<unsigned char>(i < sizeof value ? value >> (8 * i) : 0);
    }
}

void L2caConfigBase::decode_data(const Config_Offsets_T& offsets, unsigned elements) {
    if (elements > kMaxElements) elements = kMaxElements;
    for (unsigned i = 0; i < kMaxElements; ++i) {
        mValues[i] = i < elements ? read_uint(offsets[i], static_cast<unsigned long>(offsets[i + 1]) - offsets[i]) : 0;
    }
}

unsigned long L2caConfigBase::read_uint(unsigned long offset, unsigned long width) const {
    if (offset >= kBufferSize || width == 0) return 0;
    unsigned long bytes = kBufferSize - offset;
    if (width < bytes) bytes = width;
    if (bytes > sizeof(unsigned long)) bytes = sizeof(unsigned long);
    unsigned long value = 0;
    for (unsigned long i = 0; i < bytes; ++i) value |= static_cast<unsigned long>(mBuffer[offset + i]) << (8 * i);
    return value;
}
