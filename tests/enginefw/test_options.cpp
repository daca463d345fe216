// Debug option processing, the multi-list parser under it, stored settings and
// string helpers. Several tests change the environment or the once-only
// processing state: CTest runs every TEST in a process of its own.
#include <map>
#include <stdexcept>

#include "enginefw/debughandler.h"
#include "enginefw/msghandler.h"
#include "enginefw/multilistparser.h"
#include "enginefw/storedsettings.h"
#include "enginefw/stringutil.h"
#include "tests/enginefw/ef_support.h"

namespace {

using M = CMessageHandler;
using eftest::StreamCapture;
using testsupport::ReadFile;
using testsupport::ScopedEnv;

// A parse as one text: "group=[e1 e2];group=[...]", or "!" and the error text.
std::string Parse(CMultiListParser& parser, const std::string& statement) {
    CMultiListParser::ResultType result{{"stale", {"stale"}}};
    const bool ok = parser.ParseStatement(statement, result);
    std::string text = ok ? parser.GetLastError() : "!" + parser.GetLastError();
    for (const auto& pair : result) {
        text += (&pair == &result.front() ? "" : ";") + pair.first + "=[";
        for (const std::string& element : pair.second) text += (&element == &pair.second.front() ? "" : " ") + element;
        text += "]";
    }
    return text;
}

TEST(MultiListParser, GrammarAndErrorTexts) {
    CMultiListParser parser;
    for (const char* group : {"none", "basic", "enhanced", "full"}) parser.AddValidGroup(group);
    for (const char* element : {"x", "y", "commstest", "CmdLine"}) parser.AddValidElement(element);
    EXPECT_TRUE(parser.AddSynonym("std", "basic:all,none:cmdline"));
    EXPECT_TRUE(parser.AddSynonym("loop", "std"));
    EXPECT_TRUE(parser.AddSynonym("std", "full:all")) << "accepted, but the first replacement stays";
    for (const auto& refused : std::vector<std::pair<const char*, const char*>>{
             {"", "x"}, {"a b", "x"}, {"a", "x y"}, {"a\n", "x"}, {"a", "x\f"}}) {
        EXPECT_FALSE(parser.AddSynonym(refused.first, refused.second)) << refused.first << " " << refused.second;
    }
    const std::pair<const char*, const char*> cases[] = {
        {"basic:all", "basic=[x y commstest CmdLine]"},   {"basic:ALL-x", "basic=[y commstest CmdLine]"},
        {"basic:allx", "basic=[y commstest CmdLine]"},    {"basic:all-x-cmdline", "basic=[y commstest]"},
        {"basic:all-", "basic=[x y commstest CmdLine]"},  {"basic:cmdline+X", "basic=[x CmdLine]"},
        {"basic:", "basic=[]"},                           {"BASIC:y", "BASIC=[y]"},
        {"Enhanced:x", "Enhanced=[x];basic=[x]"},         {",basic:all", "=[];basic=[x y commstest CmdLine]"},
        {"commstest", "=[commstest]"},
        {"full:x,none:y", "full=[x];none=[y]"},           {"", ""},
        {"std", "basic=[x y commstest CmdLine];none=[CmdLine]"},
        {"loop", "!The text 'std' is invalid."},          {"STD", "!The text 'STD' is invalid."},
        {"basic:x+y-commstest", "!Invalid delimeter '-' encountered."},
        {"basic:w", "!The text 'w' is invalid."},         {"basic:x++y", "!The text '' is invalid."},
        {"basic:alla", "!The text 'a' is invalid."},      {":all", "!Group identifier before ':' empty."},
        {"basic:x\t", "!Whitespace found."},             {"\vbasic:x\r", "!Whitespace found."},
        {"basic:w,Bogus:all", "!Group identifier 'Bogus' found but invalid."},
        {"basic:w,full:z", "!The text 'w' is invalid."},  // a standing error stops ParseElements
        {"basic:x", "basic=[x]"},                         // usable again after a failure
    };
    for (const auto& c : cases) EXPECT_EQ(Parse(parser, c.first), c.second) << '"' << c.first << '"';
}

M* Framework() { return CTheMsgHnd::GetAppropriateHandler(M::GROUP_UNKNOWN, "", false); }

// Levels 0, 1, 2, 3 and 5 of a group, a digit for each that is on: "---3-".
std::string Levels(unsigned group) {
    std::string text;
    for (unsigned level : {0u, 1u, 2u, 3u, 5u}) {
        const bool on = Framework()->IsDebugLevelEnabled(static_cast<M::DebugLevels>(level),
                                                         static_cast<M::GroupEnum>(group));
        text += on ? static_cast<char>('0' + level) : '-';
    }
    return text;
}

// The help block, wrapped at 79 and then 75 columns behind an indent of 4. The
// text's own newlines count as characters: its first "line" of 79 runs over
// three. The last piece ends the text without a line feed.
std::string ErrorBlock(const std::string& error) {
    const std::string rule(78, '=');
    return rule + "\nDebug configuration Error: " + error + "\n" + rule + "\n\n-debug <level>\n" +
           "    Display debug information: \n    <level> = The level of\n"
           "    debug output. Specify 'full', 'enhanced', 'basic' or 'standard' - or\n"
           "    specify the exact requirements in list form: Possible group names are -\n"
           "    'basic' 'enhanced' 'full'. Possible element names are - 'Unknown' 'T32Api'\n"
           "    'PlexParser' 'commstest' 'HciTransport' 'VarIntLibrary'\n"
           "    'StoreMetadataSource' 'SetupToolsEngManaged' 'SetupToolsCoreEngine'\n"
           "    'LinkTransport' 'Xml' 'Utility' 'LinkTransPlugIn' 'Application'\n"
           "    'CmdLine'For example:\n"
           "    \"full:all-cmdline-linktransport,enhanced:application+linktransport\"";
}

class DebugOptions : public ::testing::Test {
protected:
    void SetUp() override { unsetenv("TAVO_DEBUGLEVEL"), unsetenv("TAVO_DEBUGFILE"); }
};

// Every statement is applied on its own, all levels cleared before; every
// named group is checked at every level that can print.
TEST_F(DebugOptions, EachStatementEnablesExactlyItsGroupsAtItsLevels) {
    ASSERT_FALSE(CTheMsgHnd::IsDebugEngineRunning());
    struct Case {
        const char* statement;
        const char* levels;                      // of every group not listed below
        std::map<unsigned, const char*> except;  // group -> its levels
    };
    const Case cases[] = {
        {"basic", "---3-", {}},
        {"standard", "---3-", {}},  // "none:cmdline" goes first, then "basic:all" turns 3 back on
        {"enhanced", "--23-", {}},
        {"full", "01235", {}},
        {"full:all-cmdline", "01235", {{1, "-----"}}},
        {"full:all-cmdline-linktransport,enhanced:application+linktransport", "01235", {{1, "-----"}, {0, "--23-"}}},
        {"basic:commstest,none:commstest", "-----", {{7, "---3-"}}},  // the later pair goes first
        {"none:commstest,basic:commstest", "-----", {}},
        {"full:all,none:cmdline+unknown", "01235", {}},
        {"none:cmdline+unknown,full:all", "01235", {{1, "-----"}, {104, "-----"}}},
        {"commstest,basic:xml", "-----", {{103, "---3-"}}},  // a list without a group is dropped
        {"basic:t32api+linktransplugin+setuptoolsengmanaged,full:varintlibrary", "-----",
         {{9, "---3-"}, {101, "---3-"}, {3, "---3-"}, {5, "01235"}}},
        {"none:storemetadatasource+setuptoolscoreengine,enhanced:all-utility-hcitransport-plexparser", "--23-",
         {{102, "-----"}, {6, "-----"}, {8, "-----"}, {4, "-----"}, {2, "-----"}}},
    };
    for (const Case& c : cases) {
        StreamCapture err(std::cerr);
        Framework()->SetDebugLevel(M::DEBUG_ALL, false, M::GROUP_ALL);
        CDebugHandler().ProcessDebugRequest(c.statement, false);
        EXPECT_TRUE(CTheMsgHnd::IsDebugActivated());
        std::string any = "-----";  // GROUP_ALL asks whether any group has the level
        for (unsigned group : {0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 100, 101, 102, 103, 104}) {
            const auto except = c.except.find(group);
            const std::string expected = except == c.except.end() ? c.levels : except->second;
            EXPECT_EQ(Levels(group), expected) << c.statement << ", group " << group;
            for (size_t i = 0; i < any.size(); ++i) any[i] = expected[i] != '-' ? expected[i] : any[i];
            EXPECT_TRUE(group != 104 || Levels(M::GROUP_LOCAL) == expected) << "GROUP_LOCAL: the framework's own";
        }
        EXPECT_EQ(Levels(M::GROUP_ALL), any) << c.statement;
    }
}

TEST_F(DebugOptions, ABadStatementThrowsTheHelpBlockAndChangesNoLevel) {
    ASSERT_FALSE(CTheMsgHnd::IsDebugEngineRunning());
    for (const auto& c : std::vector<std::pair<const char*, const char*>>{
             {"bogus", "The text 'bogus' is invalid."}, {"loud:all", "Group identifier 'loud' found but invalid."},
             {"full:all+cmdline", "Invalid delimeter '+' encountered."}, {"full all", "Whitespace found."}}) {
        try {
            CDebugHandler().ProcessDebugRequest(c.first, false);
            ADD_FAILURE() << "no exception for " << c.first;
        } catch (const std::invalid_argument& error) {
            EXPECT_EQ(error.what(), ErrorBlock(c.second));
        }
        EXPECT_FALSE(CTheMsgHnd::IsDebugActivated()) << c.first;
        EXPECT_EQ(Levels(M::GROUP_COMMSTEST), "-----");
    }
    const std::string a79(79, 'a'), c75(75, 'c');
    const std::pair<std::string, std::string> wraps[] = {
        {"", ""}, {a79, a79}, {a79 + "b", a79 + "\n    b"}, {a79.substr(1) + " bc", a79.substr(1) + "\n    bc"},
        {a79 + " " + c75 + " d", a79 + "\n    " + c75 + "\n    d"},
        {a79 + c75 + "c", a79 + "\n    " + c75 + "\n    c"}};
    for (const auto& c : wraps) EXPECT_EQ(CDebugHandler().DebugHelpMsgBuilder(c.first), c.second) << c.first;
}

TEST_F(DebugOptions, ABadEnvironmentStatementPrintsTheHelpOnceAndLeavesDebugOff) {
    ScopedEnv level("TAVO_DEBUGLEVEL", "Verbose");
    StreamCapture err(std::cerr);
    EXPECT_FALSE(CTheMsgHnd::IsDebugEngineRunning());
    EXPECT_FALSE(CTheMsgHnd::IsDebugEngineRunning());
    EXPECT_EQ(err.Text(), ErrorBlock("The text 'verbose' is invalid.")) << "once, lower-cased";
    EXPECT_EQ(Levels(M::GROUP_COMMSTEST), "-----");
}

// The settings are read once: a later change is seen only when announced.
TEST_F(DebugOptions, ADebugFileWithoutALevelIsCreatedEmptyAndTakesOnlyUserOutput) {
    testsupport::TempDir dir;
    ASSERT_TRUE(testsupport::WriteFile(dir / "debug", "left over\n"));
    ScopedEnv file("TAVO_DEBUGFILE", dir / "debug");
    StreamCapture out(std::cout), err(std::cerr);
    EXPECT_FALSE(CTheMsgHnd::IsDebugEngineRunning());
    EXPECT_EQ(ReadFile(dir / "debug").value_or("?"), "") << "opened and truncated";
    ScopedEnv level("TAVO_DEBUGLEVEL", "full");
    EXPECT_FALSE(CTheMsgHnd::IsDebugEngineRunning()) << "a later change is not seen";
    setenv("TAVO_DEBUGLEVEL", "", 1);
    CTheMsgHnd::DebugOptionsChanged();
    EXPECT_FALSE(CTheMsgHnd::IsDebugActivated()) << "an empty level leaves debug off as well";
    Framework()->DebugOutputInHandler(3, false, false, "f", "file", 1, "not written");
    M::OutputMessageHandler("user %d", 1);
    M::OutputMessageHandler("%s", std::string(1500, 'y').c_str());
    const std::string cut = "user 1\n" + std::string(1023, 'y') + "\n";
    EXPECT_EQ(ReadFile(dir / "debug").value_or("?"), cut);
    EXPECT_EQ(out.Text(), cut);
    EXPECT_EQ(err.Text(), "");
}

TEST_F(DebugOptions, TheCommandLineDebugArgument) {
    using Arguments = std::vector<std::string>;
    for (const Arguments& arguments : {Arguments{"prog", "-debug"}, Arguments{"prog", "-Debug", ""}}) {
        try {
            CTheMsgHnd::ProcessDebugOptions(arguments);
            ADD_FAILURE() << "no exception";
        } catch (const std::invalid_argument& error) {
            EXPECT_EQ(error.what(), ErrorBlock("No value given for <level> with parameter \"-debug\""));
        }
    }
    EXPECT_FALSE(CTheMsgHnd::IsDebugActivated());
    ScopedEnv level("TAVO_DEBUGLEVEL", "enhanced:xml");
    StreamCapture err(std::cerr);
    CTheMsgHnd::ProcessDebugOptions({"-debug", "full"});  // the first argument is the program
    EXPECT_EQ(Levels(M::GROUP_XML) + Levels(M::GROUP_COMMSTEST), "--23------");
    CTheMsgHnd::ProcessDebugOptions({"prog", "x", "-DEBUG", "full:commstest"});  // any case; wins over the setting
    EXPECT_TRUE(CTheMsgHnd::IsDebugEngineRunning());
    EXPECT_EQ(Levels(M::GROUP_COMMSTEST) + Levels(M::GROUP_APPLICATION), "01235-----");
}

TEST(StoredSettings, VariablesAndNumbers) {
    unsetenv("TAVO_ABC_NONE");
    ScopedEnv empty("TAVO_ABC_EMPTY", ""), db("TAVO_CONFIG_DEFAULTDATABASE", "db");
    std::string value = "untouched";
    EXPECT_EQ(storedsettings::GetString(storedsettings::CONFIG_GROUP, storedsettings::CONFIG_DEFAULT_DB, value), 0);
    EXPECT_EQ(value, "db");
    EXPECT_EQ(storedsettings::GetEnvironmentVariable("Abc", "empty", value), 0) << "empty counts as found";
    EXPECT_EQ(value, "");
    for (const std::pair<const char*, int>& c :
         {std::pair<const char*, int>{"0x10", 16}, {"010", 8}, {"-7", -7}, {"12x", -1}, {"", -1}}) {
        ScopedEnv number("TAVO_ABC_NUM", c.first);
        int read = -1;
        EXPECT_EQ(storedsettings::GetNumber("abc", "num", read), c.second == -1 ? 1 : 0) << c.first;
        EXPECT_EQ(read, c.second) << c.first;
    }
    EXPECT_EQ(storedsettings::SetNumberInRegistry("abc", "none", 5), 1) << "the registry stores nothing";
    EXPECT_NE(storedsettings::GetString("abc", "none", value), 0);
}

TEST(StringUtil, TrimAndConvert) {
    std::string leading = " \t\f\v\n\rab c \t\f\v\n\r", trailing = leading, both = leading, blank = " \n ";
    stringutil::TrimLeadingWhitespace(leading), stringutil::TrimTrailingWhitespace(trailing);
    stringutil::TrimLeadingAndTrailingWhitespace(both), stringutil::TrimLeadingAndTrailingWhitespace(blank);
    EXPECT_EQ(leading + "|" + trailing + "|" + both + "|" + blank, "ab c \t\f\v\n\r| \t\f\v\n\rab c|ab c|");
    int value = -99;
    unsigned long ul = 0;
    EXPECT_TRUE(stringutil::StringToInteger(" -0x10", value) && value == -16);
    EXPECT_FALSE(stringutil::StringToInteger("7 ", value) || value != 7) << "trailing text; written before judged";
    EXPECT_FALSE(stringutil::StringToInteger("99999999999999999999", value)) << "errno ERANGE";
    EXPECT_FALSE(stringutil::StringToInteger("4294967296", value)) << "beyond int";
    EXPECT_TRUE(stringutil::StringToULong("0xffffffff", ul) && ul == 0xffffffffUL);
    EXPECT_FALSE(stringutil::StringToULong("1z", ul) || ul != 1UL);
    EXPECT_FALSE(stringutil::StringToULong("999999999999999999999999", ul));
    for (const std::pair<const char*, int>& c : {std::pair<const char*, int>{"1f", 0x1f}, {"0x1F", 0x1f},
                                                 {"ffffffff", -1}, {"123456789", 0}, {"0x", 0}, {"1g", 0}, {"-1", 0}}) {
        int v = 7;
        EXPECT_EQ(stringutil::HexStrToInt(c.first, v), c.second != 0) << c.first;
        EXPECT_EQ(v, c.second) << c.first << ": a refused text clears the value";
    }
}

}  // namespace
