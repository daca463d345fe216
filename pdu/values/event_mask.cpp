#include "pdu/values/event_mask.h"

void HCIEventMask::set_all(bool on) {
    // Only the 32 named events are switched; the upper half is never turned on.
    for (unsigned i = 0; i < 4; ++i) mBytes[i] = on ? 0xFF : 0x00;
    for (unsigned i = 4; i < kSize; ++i) mBytes[i] = 0x00;
}

void HCIEventMask::set_bit(unsigned bit, bool on) {
    const unsigned char mask = static_cast<unsigned char>(1u << (bit % 8));
    if (on) {
        mBytes[bit / 8] |= mask;
    } else {
        mBytes[bit / 8] &= static_cast<unsigned char>(~mask);
    }
}

bool HCIEventMask::get_bit(unsigned bit) const { return (mBytes[bit / 8] >> (bit % 8) & 1) != 0; }
