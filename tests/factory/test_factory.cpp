// Reading AT strings into records, the string helpers whose quirks the
// grammar reads with, the result string forms and the flag lock. The string list's matching is used by the btcli triggers in
// tests/bt; the scan list is read through the scan parse in tests/wlan and
// tests/e2e_wlan. The same paths through the public API against the
// simulated chip are in tests/e2e.
#include <gtest/gtest.h>

#include <climits>
#include <cstring>
#include <string>
#include <vector>

#include "factory/AtCommand.h"
#include "factory/AutoLock.h"
#include "factory/CommandHandler.h"
#include "factory/FactoryUtil.h"
#include "factory/ScanList.h"

namespace {

TEST(FactoryStrings, NumbersRead) {
    // Decimal, with the hex letters weighed by their distance from '0'.
    // The last one wraps instead of overflowing.
    const std::pair<const char*, int> cases[] = {
        {"  -12", -12}, {"12 ", 12}, {"1a", 59}, {"1F", 32}, {"A", 17}, {"f", 54}, {"", 0}, {"-", 0}, {"--1", 0},
        {"7,8", 7}, {"\t9", 9}, {"g5", 0}, {"-2147483648", INT_MIN}, {"2147483647", INT_MAX}, {"4294967297", 1}};
    for (const auto& [text, value] : cases) EXPECT_EQ(str2num(text), value) << '"' << text << '"';
    // The top digit of the last one shifts out.
    struct Hex { const char* text; int n, value; } const hex[] = {
        {"c8", 2, 200}, {"xy", 2, 0}, {"C8ff", 2, 200}, {"1g2", 5, 1}, {"ffffffff", 8, -1}, {"7f", 0, 0},
        {"123456789", 9, 0x23456789}};
    for (const Hex& h : hex) {
        std::string text = h.text;
        EXPECT_EQ(hexstr2num(&text[0], h.n), h.value) << h.text;
    }
}

TEST(AtGrammar, BuildATCommandStepsOneCharacterPerNumber) {
    struct Case { const char* text; int count, pos, attr, param1, param2, data; } const cases[] = {
        {"AT+WIFIRF=0,0,0,36", 4, 10, 0, 0, 0, 36},
        {"AT+BTRF=12,0,0,5", 4, 8, 12, 2, 0, 0},  // the second digit is read again
        {"AT+WIFIRF=0,1,1", 4, 10, 0, 1, 1, 0},   // missing numbers read as 0
        {"AT+WIFIRF=0,0,3,-5", 4, 10, 0, 0, 3, -5},
        {"AT+WIFIRF= 1,0,0,0", 4, 10, 1, 1, 0, 0},  // a blank is a field of its own
        {"AT+WIFIRF=a,0,0,0", 4, 10, 49, 0, 0, 0}, {"AT+WIFIRF=,,,,,,,,", 4, 10, 0, 0, 0, 0},
        {"AT+WIFIRF=0,0,0,99999999999", 4, 10, 0, 0, 0, 1215752191},  // wraps
        {"UNIT=1,2", 1, 5, 1, 0, 0, 0},  // only `count` numbers are read
        {"UNIT", 1, 5, 0, 0, 0, 0},      // a start behind the end reads the terminator
    };
    CCommandHandler h(nullptr, nullptr);
    for (const Case& c : cases) {
        const AT_COMMAND r = h.BuildATCommand(c.text, c.count, c.pos);
        EXPECT_EQ((std::vector<int>{r.id, r.attr, r.param1, r.param2, r.data}),
                  (std::vector<int>{0, c.attr, c.param1, c.param2, c.data}))
            << c.text;
    }
}

TEST(AtGrammar, GetDataStringExtractsOneFieldWithinItsBuffer) {
    struct Case { const char* text; int index; size_t size; bool ok; const char* out; } const cases[] = {
        {"AT+BTRF=2,0,5,1a2b,3c4d5e", 4, 8, true, "3c4d5e"}, {"AT+BTRF=2,0,5,1a2b,3c4d5e", 0, 8, true, "2"},
        {"AT+BTRF=2,0,5,1a2b,3c4d5e", 5, 8, false, ""},
        {"AT+BTRF=2,0,5,1a2b", 9, 8, false, ""},  // far behind the end
        {"AT+BTRF=2,0,5,,abc", 3, 8, false, ""},
        {"AT+BTRF=2,0,5,0123456789abcdef", 3, 8, true, "0123456"},  // cut to fit
        {"AT+BTRF=2,0,5,xy", 3, 1, true, ""}, {"AT+BTRF", 0, 8, false, ""},
    };
    CCommandHandler h(nullptr, nullptr);
    for (const Case& c : cases) {
        char out[32];
        std::memset(out, '#', sizeof out);
        EXPECT_EQ(h.GetDataString(c.text, c.index, 8, out, c.size), c.ok) << c.text << " " << c.index;
        EXPECT_STREQ(out, c.out) << c.text << " " << c.index;
        EXPECT_EQ(out[c.size], '#') << "wrote past the buffer: " << c.text;
    }
}

TEST(AtGrammar, FieldPositionsAndFixedWidthNumbers) {
    CCommandHandler h(nullptr, nullptr);
    const char* cmd = "AT+WIFIRF=0,2,1,9,123";
    EXPECT_STREQ(h.GetParamPos(cmd, 4), "123");
    EXPECT_STREQ(h.GetParamPos(cmd, 1), "2,1,9,123");
    EXPECT_EQ(h.GetParamPos(cmd, 5), nullptr);
    EXPECT_EQ(h.GetParamPos(cmd, 0), nullptr);
    EXPECT_STREQ(h.GetParamPos("AT+WIFIRF=0,2,1,9,", 4), "");
    struct Case { const char* text; int pos, len; bool ok; int value; } const cases[] = {
        {"1036", 1, 3, true, 36}, {"10x6", 0, 3, false, 10}, {"12", 0, 4, false, 12},  // the text ends first
        {"123", 0, 0, false, 0},  {"-12", 0, 3, false, 0},
    };
    for (const Case& c : cases) {
        int value = -99;
        EXPECT_EQ(h.GetIntParam(c.text, c.pos, c.len, value), c.ok) << c.text;
        EXPECT_EQ(value, c.value) << c.text;
    }
}

TEST(ResultString, EveryForm) {
    // The reply name comes from the command: FindAppCommand sets it.
    const char* const RF = "AT+WIFIRF=0,0,0,0";
    const char* const X = "AT+WIFIX=0,0,0,0";
    // `before`: what the buffer holds, a getter's text value.
    struct Case { const char* command; int type, id, result, value1, value2; const char* before, *reply; };
    const Case cases[] = {
        // "+WIFIRF": the verdict second, values behind it; any other name:
        // the verdict last. The forms the commands reach are in tests/e2e;
        // these are the text values a getter leaves, the cuts and the codes
        // the simulated chip does not produce.
        {RF, 0, 41, 4, 0, 0, "old", "+WIFIRF:4,NG,old"},
        {RF, 0, 35, 0, 0, 0, "12345678901234567890123", "+WIFIRF:0,OK,1234567890123456789"},
        {X, 0, 36, 4, 0, 0, "zz", "+WIFIX:4,zz,NG"},
        {"AT+WIFIABCDEFGHIJKL=0,0,0,0", 0, 0, 0, 0, 0, "", "+WIFIABCDE:0,OK"},
        // Bluetooth, and the unit tests' six-digit code.
        {"AT+BTRF=0,7,6,0", 1, 77, 0, 0, 0, "-1.000", "+BTRF:0,OK,-1.000"},
        {"AT+BTRF=2,4,1,0", 1, 110, 5, 0, 0, "0", "+BTRF:5,NG,0"},
        {"UNIT=0", 4, 0, 4, 0, 0, "", "+UNIT:000004,NG"}, {"UNIT=0", 4, 0, -1, 0, 0, "", "+UNIT:-00001,NG"},
        // No family: nothing is written.
        {"UNIT=0", 5, 0, 0, 0, 0, "untouched", "untouched"}, {"UNIT=0", -1, 0, 0, 0, 0, "untouched", "untouched"},
    };
    for (const Case& c : cases) {
        CCommandHandler h(nullptr, nullptr);
        if (c.type == 0) { ASSERT_EQ(h.FindAppCommand(c.command), 0) << c.command; }
        std::string buffer(CCommandHandler::kResultSize, '\0');
        std::memcpy(&buffer[0], c.before, std::strlen(c.before));
        h.BuildResultString(c.command, c.type, c.id, c.result, c.value1, c.value2, &buffer[0]);
        EXPECT_STREQ(buffer.c_str(), c.reply) << c.command << " id " << c.id;
    }
}

// Entries of the scan text go in whole or not at all at the 1024-byte bound:
// the text never ends in half an entry, and nothing is written past it.
TEST(ScanResultString, EntriesFitWholeOrAreLeftOutAtTheBufferBound) {
    struct Case {
        std::vector<size_t> names;  // name lengths; each entry is the name, ",-40" and ";"
        size_t written;
    } const cases[] = {
        {{250, 250, 250, 251}, 4},     // 3 + 255 * 3 + 256 = 1024: the last fits exactly
        {{250, 250, 250, 252}, 3},     // one byte more: left out
        {{250, 250, 250, 252, 1}, 3},  // and so is everything after it
    };
    CCommandHandler h(nullptr, nullptr);
    for (const Case& c : cases) {
        CScanList list;
        std::string expected = "OK:";
        for (size_t i = 0; i < c.names.size(); ++i) {
            SCAN_INFO_NODE* node = CScanList::NewNode();
            const std::string name(c.names[i], static_cast<char>('a' + i));
            std::memcpy(node->name, name.c_str(), name.size() + 1);
            node->signal_dbm = -40;
            list.Push(node);
            if (i < c.written) expected += (i == 0 ? "" : ";") + name + ",-40";
        }
        std::vector<char> out(1024 + 8, '#');
        h.BuildScanResultString("ATA+WIFI=2", 2, list, out.data());
        EXPECT_EQ(std::string(out.data()), expected) << c.names.back();
        EXPECT_EQ(std::string(out.begin() + 1024, out.end()), "########");
    }
}

// Waiting for a holder is the inquiry fetch's in tests/e2e.
TEST(AutoLock, TakesAFreeFlagAndAlwaysClearsIt) {
    bool flag = false;
    {
        AutoLock guard(flag);
        EXPECT_FALSE(flag) << "constructing does not lock";
        EXPECT_TRUE(guard.lock(1));
        EXPECT_TRUE(flag);
    }
    EXPECT_FALSE(flag);

    flag = true;  // held by somebody else
    {
        AutoLock guard(flag);
        EXPECT_FALSE(guard.lock(0)) << "a budget of zero gives up after one poll";
        EXPECT_TRUE(flag) << "still held by its owner while this object lives";
    }
    EXPECT_FALSE(flag) << "a caller that gave up releases the lock for the next one";
}

}  // namespace
