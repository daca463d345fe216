// The factory's string helpers: their quirks are what the AT grammar reads.
#include <gtest/gtest.h>

#include <climits>
#include <cstring>
#include <string>

#include "factory/FactoryUtil.h"

namespace {

TEST(FactoryStrings, Str2numReadsDecimalWithHexLetterWeights) {
    struct Case {
        const char* text;
        int value;
    } const cases[] = {
        {"  -12", -12}, {"12 ", 12},  {"1a", 59},     {"", 0},     {"A", 17},
        {"f", 54},      {"-", 0},     {"--1", 0},     {"7,8", 7},  {"\t9", 9},
        {"0009", 9},    {"g5", 0},    {"-2147483648", INT_MIN},    {"2147483647", INT_MAX},
        {"4294967297", 1},  // wraps instead of overflowing
    };
    for (const Case& c : cases) {
        EXPECT_EQ(str2num(c.text), c.value) << '"' << c.text << '"';
    }
}

TEST(FactoryStrings, IsNumCharUsesInvertedSense) {
    const std::string digits = "0123456789abcdefABCDEF";
    for (const char c : digits) EXPECT_EQ(isNumChar(c), 0) << c;
    const std::string others = std::string("gGzZ/:@`-+ ,\t\n") + '\0';
    for (const char c : others) EXPECT_EQ(isNumChar(c), 1) << static_cast<int>(c);
}

TEST(FactoryStrings, Num2strWritesSignedDecimal) {
    struct Case {
        int value;
        const char* text;
    } const cases[] = {
        {-45, "-45"}, {0, "0"}, {7, "7"}, {10, "10"}, {-1, "-1"},
        {INT_MAX, "2147483647"}, {INT_MIN, "-2147483648"},
    };
    for (const Case& c : cases) {
        char out[16];
        std::memset(out, 'x', sizeof out);
        num2str(c.value, out);
        EXPECT_STREQ(out, c.text);
    }
}

TEST(FactoryStrings, ReverseArrayReversesExactlyNBytes) {
    char text[] = "abcdef";
    reverse_array(text, 4);
    EXPECT_STREQ(text, "dcbaef");
    reverse_array(text, 0);
    EXPECT_STREQ(text, "dcbaef");
}

TEST(FactoryStrings, TrimCutsAtFirstLineEndWithinLimit) {
    struct Case {
        const char* in;
        int n;
        const char* visible;  // text up to the first NUL afterwards
        const char* tail;     // what follows that NUL, if the text goes on
    } const cases[] = {
        {"AT+WIFIRF=0,1,1,0\r\n", 64, "AT+WIFIRF=0,1,1,0", ""},
        {"AT\nB\rC", 64, "AT", "B"},
        {"ab\ncd", 2, "ab\ncd", nullptr},  // the line end lies beyond the limit
        {"", 64, "", nullptr},
        {"no line end", 64, "no line end", nullptr},
    };
    for (const Case& c : cases) {
        char buffer[80] = {};
        std::strcpy(buffer, c.in);
        trim(buffer, c.n);
        EXPECT_STREQ(buffer, c.visible) << c.in;
        if (c.tail != nullptr && *c.tail != '\0') {
            EXPECT_STREQ(buffer + std::strlen(buffer) + 1, c.tail) << c.in;
        }
    }
    char crlf[] = "X\r\n\r\nY";
    trim(crlf, 64);
    EXPECT_EQ(std::string(crlf, 6), std::string("X\0\0\0\0Y", 6)) << "every CR and LF is replaced";
}

}  // namespace
