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
