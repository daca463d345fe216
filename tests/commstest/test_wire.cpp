// The firmware frame decoder and the VL value readers.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "commstest/CommstestError.h"
#include "commstest/udipayload.h"
#include "commstest/vldata.h"
#include "scripted_firmware.h"

namespace {

using testsupport::Bytes;
using testsupport::FromHex;

// Runs `f` and gives the error text and code it threw, or "" and 0.
template <typename F>
std::pair<std::string, int> Thrown(F&& f) {
    try {
        f();
    } catch (const CCommstestError& e) {
        return {e.what(), e.code()};
    }
    return {"", 0};
}

Bytes Header(uint32_t total, uint32_t signalLength) {
    Bytes b(16, 0xEE);  // bytes 4..11 are not read
    testsupport::Put32(b, 0, total);
    testsupport::Put32(b, 12, signalLength);
    return b;
}

TEST(UdiDecode, ShortFramesFailWithTheirTexts) {
    struct Case {
        const char* what;
        Bytes frame;
        const char* error;
    } cases[] = {
        {"header only", Header(16, 0), "Insufficient data in signal header"},
        {"less than a header", Bytes(5, 0), "Insufficient data in signal header"},
        {"signal cut", [] { Bytes b = Header(116, 100); b.resize(16 + 50); return b; }(),
         "Insufficient data in signal body"},
        {"bulk cut", [] { Bytes b = Header(40, 12); b.resize(16 + 20); return b; }(), "Insufficient data in bulk data"},
        {"huge signal length", [] { Bytes b = Header(20, 0xFFFFFFF0u); b.resize(20); return b; }(),
         "Insufficient data in signal body"},
    };
    for (auto& c : cases) {
        const auto thrown = Thrown([&] { DecodeUdiMessage(c.frame.data(), c.frame.data() + c.frame.size()); });
        EXPECT_EQ(thrown.first, c.error) << c.what;
        EXPECT_EQ(thrown.second, 200) << c.what;
    }
    EXPECT_EQ(Thrown([] { DecodeUdiMessage(nullptr, nullptr); }).first, "Insufficient data in signal header");
}

TEST(UdiDecode, SplitsSignalAndBulkAndPatchesTheBulkLength) {
    Bytes frame = Header(16 + 12 + 4, 12);
    const Bytes signal = FromHex("08 91 00 00 00 00 00 00 ab cd 00 00");
    frame.insert(frame.end(), signal.begin(), signal.end());
    for (uint8_t b : {1, 2, 3, 4, 9, 9}) frame.push_back(b);  // two bytes beyond the total are ignored
    const UdiPayload p = DecodeUdiMessage(frame.data(), frame.data() + frame.size());
    EXPECT_EQ(testsupport::ToHex(p.signal), "08 91 00 00 00 00 00 00 04 00 00 00");
    EXPECT_EQ(p.bulk, (std::vector<unsigned char>{1, 2, 3, 4}));
    EXPECT_EQ(frame[16 + 8], 4) << "the received buffer itself is rewritten";
    EXPECT_EQ(frame[16 + 9], 0);
}

TEST(UdiDecode, ShortTotalShortensTheBulkAndShortSignalsStayUnpatched) {
    Bytes frame = Header(16 + 12 + 1, 12);
    for (int i = 0; i < 12; ++i) frame.push_back(static_cast<uint8_t>(0x10 + i));
    frame.push_back(7);
    frame.push_back(8);
    UdiPayload p = DecodeUdiMessage(frame.data(), frame.data() + frame.size());
    EXPECT_EQ(p.bulk, (std::vector<unsigned char>{7}));

    Bytes eight = Header(16 + 8, 8);
    for (int i = 0; i < 8; ++i) eight.push_back(0x55);
    p = DecodeUdiMessage(eight.data(), eight.data() + eight.size());
    EXPECT_EQ(p.signal, std::vector<unsigned char>(8, 0x55));
    EXPECT_TRUE(p.bulk.empty());

    // A total below the header and signal gives no bulk rather than a bad range.
    Bytes small = Header(4, 12);
    for (int i = 0; i < 12; ++i) small.push_back(0);
    p = DecodeUdiMessage(small.data(), small.data() + small.size());
    EXPECT_TRUE(p.bulk.empty());
}

TEST(VlData, UnsignedValues) {
    struct Case {
        const char* hex;
        uint64_t value;
        const char* error;
    } const cases[] = {
        {"2a", 42, ""},
        {"00", 0, ""},
        {"3f", 63, ""},
        {"4a", 0, "Could not parse value"},
        {"81 ff", 255, ""},
        {"82 01 00", 256, ""},
        {"80", 0, ""},
        {"88 01 02 03 04 05 06 07 08", 0x0102030405060708ULL, ""},
        {"89 01 02 03 04 05 06 07 08 09", 0, "Numeric data too long"},
        {"c1 01", 0, "Could not parse value"},
        {"a1 01", 0, "Could not parse value"},
        {"82 01", 0, "Could not parse value"},
        {"", 0, "Empty response data"},
        {"81 07 ff", 7, ""},  // bytes after the value are ignored
    };
    for (const Case& c : cases) {
        const std::vector<unsigned char> v = FromHex(c.hex);
        uint64_t got = 0;
        const auto thrown = Thrown([&] { got = CommstestVldata::ReadVlDataEncodedUnsigned(v.begin(), v.end()); });
        EXPECT_EQ(thrown.first, c.error) << c.hex;
        if (*c.error == '\0') {
            EXPECT_EQ(got, c.value) << c.hex;
        } else {
            EXPECT_EQ(thrown.second, 200) << c.hex;
        }
    }
}

TEST(VlData, StringValues) {
    struct Case {
        Bytes bytes;
        std::string value;
        const char* error;
    } const cases[] = {
        {{0xA1, 0x03, 'a', 'b', 'c'}, "abc", ""},
        {{0xA1, 0x05, 'a'}, "", "Could not parse value"},
        {{0xA5}, "", "Numeric data too long"},
        {{0xA0}, "", ""},
        {{0x81, 0x01, 'a'}, "", "Could not parse value"},
        {{0x21}, "", "Could not parse value"},
        {{0xE1, 0x02, 'x', 'y'}, "xy", ""},  // bit 6 is not looked at for strings
        {{0xA2, 0x00, 0x03, 'a', 0, 'c'}, std::string("a\0c", 3), ""},
        {{}, "", "Empty response data"},
        {{0xA4, 0xFF, 0xFF, 0xFF, 0xFF, 'z'}, "", "Could not parse value"},  // a length far beyond the data
    };
    for (const Case& c : cases) {
        const std::vector<unsigned char> v(c.bytes.begin(), c.bytes.end());
        std::string got;
        const auto thrown = Thrown([&] { got = CommstestVldata::ReadVlDataEncodedString(v.begin(), v.end()); });
        EXPECT_EQ(thrown.first, c.error) << testsupport::ToHex(c.bytes);
        if (*c.error == '\0') {
            EXPECT_EQ(got, c.value);
        }
    }
}

TEST(VlData, ReadUnsignedAdvancesTheIterator) {
    const std::vector<unsigned char> v = {0x12, 0x34, 0x56};
    auto it = v.begin();
    EXPECT_EQ(CommstestVldata::ReadUnsignedAndIncrementIterator(it, v.end(), 0), 0u);
    EXPECT_EQ(it, v.begin());
    EXPECT_EQ(CommstestVldata::ReadUnsignedAndIncrementIterator(it, v.end(), 2), 0x1234u);
    EXPECT_EQ(it, v.begin() + 2);
    EXPECT_EQ(Thrown([&] { CommstestVldata::ReadUnsignedAndIncrementIterator(it, v.end(), 2); }).first,
              "Could not parse value");
}

}  // namespace
