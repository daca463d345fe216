// Channel maps: one bit per channel, bit n being bit n % 8 of byte n / 8.
// AFHmap holds 80 bits in 10 bytes (the 79 BR/EDR channels), ULPChannelMap
// 40 bits in 5 (the 37 LE data channels).
//
// set_val(n, false) does not clear the bit: it ANDs the byte with the bit's
// own mask, so the bit keeps its value and the other seven bits of its byte
// are cleared. That is how these maps have always behaved, and it stays. A bit
// number beyond the map is ignored by set_val and reads as false in get_val.
// A null pointer given to the constructor gives an empty map.
#pragma once

#include "pdu/values/byte_values.h"

// The bit work, shared by both maps and bounded by the map's bit count.
struct ChannelMapBits {
    static bool get(const unsigned char* bytes, unsigned bits, unsigned n);
    static void set(unsigned char* bytes, unsigned bits, unsigned n, bool on);
};

template <std::size_t Bytes>
class ChannelBits : public FixedBytes<Bytes> {
public:
    static constexpr unsigned kBits = 8 * Bytes;

    using FixedBytes<Bytes>::FixedBytes;

    const unsigned char* get_ptr() const { return this->mBytes; }
    bool get_val(unsigned n) const { return ChannelMapBits::get(this->mBytes, kBits, n); }
    void set_val(unsigned n, bool on) { ChannelMapBits::set(this->mBytes, kBits, n, on); }
};

class AFHmap : public ChannelBits<10> {
public:
    using ChannelBits<10>::ChannelBits;
};

class ULPChannelMap : public ChannelBits<5> {
public:
    using ChannelBits<5>::ChannelBits;
};
