// Synchronous connection settings: 16 bytes holding six elements of 16, 16,
// 16, 16, 32 and 32 bits (max_latency, retx_effort, packet_type,
// voice_settings at bytes 0, 2, 4, 6; tx_bdw at 8; rx_bdw at 12).
//
// Each element is stored low byte first, but a 32-bit element has its two
// 16-bit halves swapped first (encode_uint32), the word order of the vendor
// channel: the bytes of tx_bdw 0x11223344 are 22 11 44 33. Reading swaps
// back. The byte constructor copies at most 16 bytes and leaves the rest
// zero, so a short source is never read past its end.
#pragma once

#include <cstddef>

class DMSyncConfig {
public:
    static constexpr std::size_t kSize = 16;
    static constexpr unsigned kElements = 6;

    DMSyncConfig() = default;
    // count values in element order; missing ones are zero, extra ones ignored.
    DMSyncConfig(const unsigned long* values, unsigned count);
    DMSyncConfig(const unsigned char* bytes, unsigned long length);

    const unsigned char* get_data() const { return mBytes; }

    unsigned long max_latency() const { return read_element(0); }
    unsigned long retx_effort() const { return read_element(1); }
    unsigned long packet_type() const { return read_element(2); }
    unsigned long voice_settings() const { return read_element(3); }
    unsigned long tx_bdw() const { return read_element(4); }
    unsigned long rx_bdw() const { return read_element(5); }

    // Swaps the 16-bit halves of a value wider than 16 bits; narrower
    // values pass unchanged. Its own inverse.
    static unsigned long encode_uint32(unsigned long value, unsigned width);

private:
    unsigned long read_element(unsigned index) const;

    unsigned char mBytes[kSize] = {};
};
