// Debug option processing from the settings and the multi-list parser under
// it. Several tests change the environment or the once-only processing state:
// CTest runs every TEST in a process of its own.
#include <map>
#include <stdexcept>

#include "enginefw/debughandler.h"
#include "enginefw/msghandler.h"
#include "enginefw/multilistparser.h"
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
             {"", "x"}, {"a b", "x"}, {"a", "x\f"}}) {
        EXPECT_FALSE(parser.AddSynonym(refused.first, refused.second)) << refused.first << " " << refused.second;
    }
    const std::pair<const char*, const char*> cases[] = {
        {"basic:ALL-x", "basic=[y commstest CmdLine]"},   {"basic:allx", "basic=[y commstest CmdLine]"},
        {"basic:cmdline+X", "basic=[x CmdLine]"},         {"Enhanced:x", "Enhanced=[x];basic=[x]"},
        {",basic:all", "=[];basic=[x y commstest CmdLine]"},
        {"std", "basic=[x y commstest CmdLine];none=[CmdLine]"},
        {"loop", "!The text 'std' is invalid."},
        {"basic:x+y-commstest", "!Invalid delimeter '-' encountered."},
        {"basic:x++y", "!The text '' is invalid."},       {"basic:alla", "!The text 'a' is invalid."},
        {":all", "!Group identifier before ':' empty."}, {"\vbasic:x\r", "!Whitespace found."},
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
        {"standard", "---3-", {}},  // "none:cmdline" goes first, then "basic:all" turns 3 back on
        {"enhanced", "--23-", {}},
        {"full", "01235", {}},
        {"full:all-cmdline-linktransport,enhanced:application+linktransport", "01235", {{1, "-----"}, {0, "--23-"}}},
        {"basic:commstest,none:commstest", "-----", {{7, "---3-"}}},  // the later pair goes first
        {"none:cmdline+unknown,full:all", "01235", {{1, "-----"}, {104, "-----"}}},
        {"commstest,basic:xml", "-----", {{103, "---3-"}}},  // a list without a group is dropped
    };
    for (const Case& c : cases) {
        StreamCapture err(std::cerr);
        Framework()->SetDebugLevel(M::DEBUG_ALL, false, M::GROUP_ALL);
        CDebugHandler().ProcessDebugRequest(c.statement, false);
        EXPECT_TRUE(CTheMsgHnd::IsDebugActivated());
        for (unsigned group : {0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 100, 101, 102, 103, 104}) {
            const auto except = c.except.find(group);
            const std::string expected = except == c.except.end() ? c.levels : except->second;
            EXPECT_EQ(Levels(group), expected) << c.statement << ", group " << group;
        }
    }
}

TEST_F(DebugOptions, ABadStatementThrowsTheHelpBlockAndChangesNoLevel) {
    ASSERT_FALSE(CTheMsgHnd::IsDebugEngineRunning());
    for (const auto& c : std::vector<std::pair<const char*, const char*>>{
             {"bogus", "The text 'bogus' is invalid."}, {"full all", "Whitespace found."}}) {
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
        {a79, a79}, {a79.substr(1) + " bc", a79.substr(1) + "\n    bc"},
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

}  // namespace
