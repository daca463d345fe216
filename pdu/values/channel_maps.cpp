#include "pdu/values/channel_maps.h"

bool ChannelMapBits::get(const unsigned char* bytes, unsigned bits, unsigned n) {
    return n < bits && (bytes[n / 8] >> (n % 8) & 1) != 0;
}

void ChannelMapBits::set(unsigned char* bytes, unsigned bits, unsigned n, bool on) {
    if (n >= bits) return;
    const unsigned char mask = static_cast<unsigned char>(1u << (n % 8));
    if (on) {
        bytes[n / 8] |= mask;
    } else {
        // Keeps this bit as it was and clears its seven neighbours.
        bytes[n / 8] &= mask;
    }
}
