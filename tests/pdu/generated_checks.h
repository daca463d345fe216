// Checks shared by the tests that the generator writes with the packet classes.
#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <initializer_list>
#include <string>
#include <vector>

#include "pdu/pcpdu.h"
#include "support/wire.h"

// The packet's bytes against the image the generator packed on its own.
inline void ExpectImage(const PDU& p, const std::string& hex) {
    EXPECT_EQ(testwire::ToHex(testwire::Bytes(p.data(), p.data() + p.size())), hex);
}

inline void ExpectVendorDefault(const TSCMD_PDU& p, unsigned long size, const std::string& hex) {
    EXPECT_EQ(p.channel(), PDU::tscmd_channel);
    EXPECT_EQ(p.size(), size);
    ExpectImage(p, hex);
}

template <typename T>
void ExpectElements(const T* got, unsigned long count, std::initializer_list<unsigned long> want) {
    ASSERT_EQ(want.size(), count);
    unsigned long i = 0;
    for (unsigned long value : want) {
        EXPECT_EQ(static_cast<unsigned long>(got[i]), value) << "element " << i;
        ++i;
    }
}

inline void ExpectArray(const std::vector<unsigned long>& got, unsigned long from,
                        std::initializer_list<unsigned long> want) {
    unsigned long i = from;
    for (unsigned long value : want) {
        EXPECT_EQ(got.at(i), value) << "element " << i;
        ++i;
    }
}

// A command built from a full array, and the first address in it as a decoder
// prints it (null when it has none).
struct InteropCase {
    uint16_t opcode;
    const char* name;
    std::vector<unsigned long> array;
    const char* address;
};

// Builds every case through the factory, writes them to a btsnoop file, and
// has tshark read it: no packet may be malformed or carry another opcode, and
// each address must read as built.
void CheckCommandsWithDecoder(const InteropCase* cases, unsigned long count);
