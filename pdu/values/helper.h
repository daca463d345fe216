// Small bit helpers shared by the value types and the packet views.
#pragma once

class Helper {
public:
    static unsigned num_set_bits(unsigned char value) {
        unsigned count = 0;
        for (unsigned bit = 0; bit < 8; ++bit) count += value >> bit & 1;
        return count;
    }
};
