// The VL form of MIB values, byte for byte.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "sim/wlanfw/vl_encoding.h"

namespace wlanfw_test {
namespace {

namespace wf = tavo::sim::wlanfw;

TEST(WlanfwVlTest, UnsignedNumbers) {
    struct Row {
        std::uint64_t value;
        wf::Bytes bytes;
    };
    const std::vector<Row> rows = {
        {0, {0x00}},
        {42, {0x2A}},
        {63, {0x3F}},
        {64, {0x81, 0x40}},
        {255, {0x81, 0xFF}},
        {256, {0x82, 0x01, 0x00}},
        {0x7200, {0x82, 0x72, 0x00}},
        {0x10000, {0x83, 0x01, 0x00, 0x00}},
        {0xFFFFFFFFFFFFFFFFULL, {0x88, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF}},
    };
    for (const Row& row : rows) EXPECT_EQ(wf::EncodeVlUnsigned(row.value), row.bytes) << row.value;
}

TEST(WlanfwVlTest, OctetStrings) {
    EXPECT_EQ(wf::EncodeVlOctetString(""), (wf::Bytes{0xA0}));
    EXPECT_EQ(wf::EncodeVlOctetString("abc"), (wf::Bytes{0xA1, 0x03, 'a', 'b', 'c'}));
    EXPECT_EQ(wf::EncodeVlOctetString(std::string("a\0b", 3)), (wf::Bytes{0xA1, 0x03, 'a', 0, 'b'}));
    const wf::Bytes long300 = wf::EncodeVlOctetString(std::string(300, 'z'));
    ASSERT_EQ(long300.size(), 303u);
    EXPECT_EQ(long300[0], 0xA2);
    EXPECT_EQ(long300[1], 0x01);
    EXPECT_EQ(long300[2], 0x2C);
    EXPECT_EQ(long300[302], 'z');
}

}  // namespace
}  // namespace wlanfw_test
