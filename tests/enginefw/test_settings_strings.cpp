#include <gtest/gtest.h>

#include <climits>
#include <cstdlib>
#include <cstring>
#include <map>
#include <sstream>
#include <string>

#include "enginefw/msghandler.h"
#include "enginefw/storedsettings.h"
#include "enginefw/stringutil.h"
#include "enginefw/stringwrappers.h"
#include "tests/enginefw/ef_test_support.h"

namespace {

// Sets or removes one variable for the length of a test.
class ScopedEnv {
public:
    ScopedEnv(const char* name, const char* value) : mName(name) {
        if (value != nullptr) {
            setenv(name, value, 1);
        } else {
            unsetenv(name);
        }
    }
    ~ScopedEnv() { unsetenv(mName.c_str()); }
    ScopedEnv(const ScopedEnv&) = delete;
    ScopedEnv& operator=(const ScopedEnv&) = delete;

private:
    std::string mName;
};

TEST(StoredSettings, VariableNames) {
    struct Case {
        std::string group;
        std::string key;
        const char* name;
    };
    const Case cases[] = {
        {"abc", "Key", "TAVO_ABC_KEY"},
        {storedsettings::DEBUG_GROUP, storedsettings::DEBUG_FILE, "TAVO_DEBUGFILE"},
        {storedsettings::DEBUG_GROUP, storedsettings::DEBUG_LEVEL, "TAVO_DEBUGLEVEL"},
        {storedsettings::CONFIG_GROUP, storedsettings::CONFIG_DEFAULT_DB, "TAVO_CONFIG_DEFAULTDATABASE"},
        {storedsettings::ROMLOADER_GROUP, storedsettings::ROMLOADER_IMAGE, "TAVO_ROMLOADER_IMAGE"},
        {storedsettings::CONFIG_GROUP, storedsettings::CONFIG_TEXT_OUTPUT_PATH, "TAVO_CONFIG_TEXTOUTPUTPATH"},
        {"", "", "TAVO_"},
    };
    for (const Case& c : cases) {
        EXPECT_EQ(storedsettings::EnvironmentVariableName(c.group, c.key), c.name);
    }
    EXPECT_EQ(storedsettings::CONFIG_BINARY_INPUT_PATH, "BinaryInputPath");
    EXPECT_EQ(storedsettings::CONFIG_TEXT_INPUT_PATH, "TextInputPath");
    EXPECT_EQ(storedsettings::CONFIG_BINARY_OUTPUT_PATH, "BinaryOutputPath");
}

TEST(StoredSettings, GetStringReadsTheEnvironment) {
    ScopedEnv set("TAVO_ABC_KEY", "value 1");
    ScopedEnv empty("TAVO_ABC_EMPTY", "");
    ScopedEnv absent("TAVO_ABC_ABSENT", nullptr);
    std::string value = "untouched";
    EXPECT_EQ(storedsettings::GetString("abc", "Key", value), 0);
    EXPECT_EQ(value, "value 1");
    EXPECT_EQ(storedsettings::GetEnvironmentVariable("Abc", "empty", value), 0) << "empty counts as found";
    EXPECT_EQ(value, "");
    value = "untouched";
    EXPECT_NE(storedsettings::GetString("abc", "Absent", value), 0);
    EXPECT_EQ(value, "untouched");
}

TEST(StoredSettings, GetNumberUsesBaseZero) {
    struct Case {
        const char* text;
        int result;
        int value;
    };
    const Case cases[] = {
        {"0x10", 0, 16}, {"010", 0, 8}, {"-7", 0, -7}, {"12x", 1, -1}, {"", 1, -1}, {"99999999999", 1, -1},
    };
    for (const Case& c : cases) {
        ScopedEnv env("TAVO_ABC_NUM", c.text);
        int value = -1;
        EXPECT_EQ(storedsettings::GetNumber("abc", "num", value), c.result) << c.text;
        EXPECT_EQ(value, c.value) << c.text;
    }
    ScopedEnv absent("TAVO_ABC_NUM", nullptr);
    int value = -1;
    EXPECT_NE(storedsettings::GetNumber("abc", "num", value), 0);
}

TEST(StoredSettings, TheRegistryStoresNothing) {
    ScopedEnv absent("TAVO_ABC_STORED", nullptr);
    EXPECT_EQ(storedsettings::SetNumberInRegistry("abc", "stored", 5), 1);
    EXPECT_EQ(storedsettings::SetStringInRegistry("abc", "stored", "5"), 1);
    int number = -1;
    std::string text;
    EXPECT_NE(storedsettings::GetNumber("abc", "stored", number), 0);
    EXPECT_NE(storedsettings::GetString("abc", "stored", text), 0);
    EXPECT_EQ(storedsettings::GetRegistryKeyName("abc", "stored"), "");
}

TEST(StoredSettings, TraceLines) {
    ScopedEnv level("TAVO_DEBUGLEVEL", nullptr);
    ASSERT_FALSE(CTheMsgHnd::IsDebugEngineRunning());
    std::ostringstream out;
    CMessageHandler* handler =
        CTheMsgHnd::GetAppropriateHandler(CMessageHandler::GROUP_UNKNOWN, "TraceLines", false);
    handler->NewDebugObject(&out, CMessageHandler::GROUP_ALL);
    handler->SetDebugLevel(CMessageHandler::DEBUG_BASIC, true, CMessageHandler::GROUP_UNKNOWN);
    handler->SetDebugLevel(CMessageHandler::DEBUG_ENHANCED, true, CMessageHandler::GROUP_UTILITY);
    ScopedEnv set("TAVO_ABC_KEY", "0x20");
    ScopedEnv absent("TAVO_ABC_NONE", nullptr);
    std::string value;
    int number = 0;
    storedsettings::GetString("abc", "key", value);
    storedsettings::GetString("abc", "none", value);
    storedsettings::GetNumber("abc", "key", number);
    handler->NewDebugObject(nullptr, CMessageHandler::GROUP_ALL);

    const char* const expected[] = {
        "Read environment variable \"TAVO_ABC_KEY\"",
        "Environment variable: yes. ",
        "Returning value \"0x20\"",
        "Read environment variable \"TAVO_ABC_NONE\"",
        "Environment variable: no. ",
        "No value found",
        "Read environment variable \"TAVO_ABC_KEY\"",
        "Environment variable: yes. ",
        "Converted string \"0x20\" to integer \"32\"",
        "Returning value \"32\"",
    };
    const auto lines = eftest::SplitLines(out.str());
    ASSERT_EQ(lines.size(), sizeof expected / sizeof expected[0]) << out.str();
    for (size_t i = 0; i < lines.size(); ++i) {
        const std::string& line = lines[i];
        const std::string tail = expected[i];
        ASSERT_GE(line.size(), tail.size()) << line;
        EXPECT_EQ(line.substr(line.size() - tail.size()), tail) << line;
        const bool converted = tail.rfind("Converted", 0) == 0;
        EXPECT_NE(line.find(converted ? "    stringutil(" : "storedsettings("), std::string::npos) << line;
        EXPECT_NE(line.find(converted ? "] [E] " : "] [B] "), std::string::npos) << line;
    }
}

TEST(StringUtil, Trim) {
    struct Case {
        const char* text;
        const char* leading;
        const char* trailing;
        const char* both;
    };
    const Case cases[] = {
        {" \t\f\v\n\rab c \t\f\v\n\r", "ab c \t\f\v\n\r", " \t\f\v\n\rab c", "ab c"},
        {"abc", "abc", "abc", "abc"},
        {" \n ", "", "", ""},
        {"", "", "", ""},
        {"\x01 a", "\x01 a", "\x01 a", "\x01 a"},
    };
    for (const Case& c : cases) {
        std::string leading = c.text, trailing = c.text, both = c.text;
        stringutil::TrimLeadingWhitespace(leading);
        stringutil::TrimTrailingWhitespace(trailing);
        stringutil::TrimLeadingAndTrailingWhitespace(both);
        EXPECT_EQ(leading, c.leading);
        EXPECT_EQ(trailing, c.trailing);
        EXPECT_EQ(both, c.both);
    }
}

TEST(StringUtil, Conversions) {
    struct Case {
        const char* text;
        bool ok;
        int value;  // also written on failure
    };
    const Case cases[] = {
        {"0x10", true, 16}, {"010", true, 8}, {"42", true, 42}, {"-42", true, -42},
        {"12x", false, 12}, {"", false, 0},   {" 7", true, 7},  {"7 ", false, 7},
    };
    for (const Case& c : cases) {
        int value = -99;
        EXPECT_EQ(stringutil::StringToInteger(c.text, value), c.ok) << c.text;
        EXPECT_EQ(value, c.value) << c.text;
    }
    int value = 0;
    EXPECT_FALSE(stringutil::StringToInteger("99999999999999999999", value)) << "errno ERANGE";
    EXPECT_FALSE(stringutil::StringToInteger("4294967296", value)) << "beyond int";

    unsigned long ul = 0;
    EXPECT_TRUE(stringutil::StringToULong("0xffffffff", ul));
    EXPECT_EQ(ul, 0xffffffffUL);
    EXPECT_FALSE(stringutil::StringToULong("1z", ul));
    EXPECT_EQ(ul, 1UL);
    EXPECT_FALSE(stringutil::StringToULong("999999999999999999999999", ul));

    EXPECT_EQ(stringutil::ToLower("AbC-1\xC4"), "abc-1\xC4");
    EXPECT_EQ(stringutil::ToUpper("AbC-1"), "ABC-1");
}

TEST(StringUtil, HexAndPadding) {
    std::ostringstream stream;
    stringutil::WriteHexNumberToStream(stream, 255, 8);
    stream << " " << 10;
    stringutil::WriteUndecoratedHexNumberToStream(stream, -1, 2);
    stream << "|" << 11;
    EXPECT_EQ(stream.str(), "0x000000ff 10ffffffff|11");

    EXPECT_EQ(stringutil::StringToOctStr(std::string("\x01\xAB\x00z", 4)), "01ab007a");
    EXPECT_EQ(stringutil::OctetToOctetString(0xF0), "f0");

    struct PadCase {
        const char* text;
        char pad;
        unsigned width;
        stringutil::PadAlignEnum align;
        const char* expected;
    };
    const PadCase pads[] = {
        {"ab", '.', 5, stringutil::PAD_ALIGN_LEFT, "ab..."},
        {"ab", '0', 5, stringutil::PAD_ALIGN_RIGHT, "000ab"},
        {"abcde", '.', 5, stringutil::PAD_ALIGN_LEFT, "abcde"},
        {"abcdef", '.', 5, stringutil::PAD_ALIGN_RIGHT, "abcdef"},
        {"ab", '\0', 5, stringutil::PAD_ALIGN_LEFT, "ab"},
        {"", '-', 2, stringutil::PAD_ALIGN_RIGHT, "--"},
    };
    for (const PadCase& c : pads) {
        EXPECT_EQ(stringutil::PadString(c.text, c.pad, c.width, c.align), c.expected) << c.text;
    }

    struct HexCase {
        const char* text;
        bool ok;
        int value;
    };
    const HexCase hexes[] = {
        {"1f", true, 0x1f}, {"0x1F", true, 0x1f}, {"ffffffff", true, -1}, {"123456789", false, 0},
        {"0x", false, 0},   {"", false, 0},       {"1g", false, 0},       {"-1", false, 0},
    };
    for (const HexCase& c : hexes) {
        int v = 7;
        EXPECT_EQ(stringutil::HexStrToInt(c.text, v), c.ok) << c.text;
        EXPECT_EQ(v, c.value) << c.text;
    }

    std::string bytes;
    EXPECT_TRUE(stringutil::OctStrToString("01ab007A", bytes));
    EXPECT_EQ(bytes, std::string("\x01\xAB\x00z", 4));
    EXPECT_FALSE(stringutil::OctStrToString("abc", bytes));
    EXPECT_EQ(bytes, "");
    EXPECT_FALSE(stringutil::OctStrToString("zz", bytes));

    std::map<std::string, std::string> map;
    EXPECT_TRUE(stringutil::StringToMap(" a = 1 ,b=,a=3", map));
    EXPECT_EQ(map, (std::map<std::string, std::string>{{"a", "3"}, {"b", ""}}));
    EXPECT_TRUE(stringutil::StringToMap("", map));
    EXPECT_TRUE(map.empty());
    EXPECT_FALSE(stringutil::StringToMap("a=1,b", map));
    EXPECT_TRUE(map.empty());
    EXPECT_FALSE(stringutil::StringToMap("=1", map));
}

TEST(StringWrappers, ForwardAndConvert) {
    EXPECT_EQ(istrlenA("abc"), 3u);
    EXPECT_EQ(istrlenW(L"abcd"), 4u);
    EXPECT_EQ(istricmpA("ABC", "abc"), 0);
    EXPECT_EQ(istrnicmpW(L"ABCx", L"abcy", 3), 0);
    EXPECT_LT(istrcmpA("abc", "abd"), 0);
    EXPECT_STREQ(istrrchrA("a/b/c", '/'), "/c");
    EXPECT_EQ(istrtolA("0x1f", nullptr, 0), 31);
    EXPECT_EQ(istrtoullW(L"18446744073709551615", nullptr, 10), ULLONG_MAX);
    EXPECT_NE(iisdigitA('7'), 0);
    EXPECT_EQ(iisdigitA(static_cast<char>(0xE9)), 0) << "a negative char is taken as unsigned";
    EXPECT_EQ(itoupperA('q'), 'Q');
    EXPECT_EQ(iatoiA("12"), 12);

    char small[6];
    EXPECT_EQ(isprintfA(small, sizeof small, "%s-%d", "abcd", 42), 7);
    EXPECT_STREQ(small, "abcd-") << "the text is cut to the buffer";

    EXPECT_EQ(iwiden("a\xE9"), std::wstring(L"a\u00E9"));
    EXPECT_EQ(inarrow(std::wstring(L"a\u00E9\u20AC")), "a\xE9?");
    EXPECT_EQ(inarrow(std::string("same")), "same");
    EXPECT_EQ(inarrow_filename(iwiden_filename("/tmp/x")), "/tmp/x");
    wchar_t* wide = iwidendup("wide");
    ASSERT_NE(wide, nullptr);
    EXPECT_STREQ(wide, L"wide");
    char* narrow = iinarrowdupW(wide);
    ASSERT_NE(narrow, nullptr);
    EXPECT_STREQ(narrow, "wide");
    std::free(narrow);
    std::free(wide);
    EXPECT_EQ(iwidendup(nullptr), nullptr);
    EXPECT_EQ(iinarrowdupW(nullptr), nullptr);
}

}  // namespace
