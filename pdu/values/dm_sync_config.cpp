#include "pdu/values/dm_sync_config.h"

#include <cstring>

namespace {
constexpr unsigned kWidths[DMSyncConfig::kElements] = {16, 16, 16, 16, 32, 32};

unsigned offset_of(unsigned index) {
    unsigned offset = 0;
    for (unsigned i = 0; i < index; ++i) offset += kWidths[i] / 8;
    return offset;
}
}  // namespace

DMSyncConfig::DMSyncConfig(const unsigned long* values, unsigned count) {
    if (values == nullptr) return;
    unsigned offset = 0;
    for (unsigned i = 0; i < kElements; ++i) {
        const unsigned long encoded = i < count ? encode_uint32(values[i], kWidths[i]) : 0;
        for (unsigned b = 0; b < kWidths[i] / 8; ++b) mBytes[offset++] = static_cast<unsigned char>(encoded >> (8 * b));
    }
}

DMSyncConfig::DMSyncConfig(const unsigned char* bytes, unsigned long length) {
    if (bytes != nullptr) std::memcpy(mBytes, bytes, length < kSize ? length : kSize);
}

unsigned long DMSyncConfig::encode_uint32(unsigned long value, unsigned width) {
    if (width <= 16) return value;
    return (value & 0xFFFFUL) << 16 | (value >> 16 & 0xFFFFUL);
}

unsigned long DMSyncConfig::read_element(unsigned index) const {
    const unsigned offset = offset_of(index);
    unsigned long value = 0;
    for (unsigned b = 0; b < kWidths[index] / 8; ++b) {
        value |= static_cast<unsigned long>(mBytes[offset + b]) << (8 * b);
    }
    return encode_uint32(value, kWidths[index]);
}
