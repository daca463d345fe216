// Debug option processing. These tests change the environment and the once-
// only processing state of the framework; CTest runs each TEST in a process of
// its own, so nothing leaks into another test.
#include <gtest/gtest.h>

#include <unistd.h>

#include <cstdlib>
#include <fstream>
#include <sstream>
#include <stdexcept>
#include <string>
#include <vector>

#include "enginefw/debughandler.h"
#include "enginefw/msghandler.h"
#include "tests/enginefw/ef_test_support.h"

namespace {

using Group = CMessageHandler::GroupEnum;

CMessageHandler* Framework() { return CTheMsgHnd::GetAppropriateHandler(CMessageHandler::GROUP_UNKNOWN, "", false); }

// The levels 0, 1, 2, 3, 5 of a group as a string such as "---3-": a digit
// for a level that is on.
std::string Levels(Group group) {
    std::string text;
    for (unsigned level : {0u, 1u, 2u, 3u, 5u}) {
        const bool on =
            Framework()->IsDebugLevelEnabled(static_cast<CMessageHandler::DebugLevels>(level), group);
        text += on ? static_cast<char>('0' + level) : '-';
    }
    return text;
}

std::string TempPath(const char* name) {
    return std::string(::testing::TempDir()) + "/" + name + "." + std::to_string(getpid());
}

std::string ReadFile(const std::string& path) {
    std::ifstream in(path);
    std::stringstream text;
    text << in.rdbuf();
    return text.str();
}

const std::string kRule(78, '=');

// The help block, wrapped at 79 and then 75 columns behind an indent of 4.
// The help text begins with and holds newlines of its own, which the wrapping
// counts as characters: so the first "line" of 79 runs over three lines.
const std::vector<std::string> kHelpLines = {
    "",
    "-debug <level>",
    "    Display debug information: ",
    "    <level> = The level of",
    "    debug output. Specify 'full', 'enhanced', 'basic' or 'standard' - or",
    "    specify the exact requirements in list form: Possible group names are -",
    "    'basic' 'enhanced' 'full'. Possible element names are - 'Unknown' 'T32Api'",
    "    'PlexParser' 'commstest' 'HciTransport' 'VarIntLibrary'",
    "    'StoreMetadataSource' 'SetupToolsEngManaged' 'SetupToolsCoreEngine'",
    "    'LinkTransport' 'Xml' 'Utility' 'LinkTransPlugIn' 'Application'",
    "    'CmdLine'For example:",
    "    \"full:all-cmdline-linktransport,enhanced:application+linktransport\"",
};

std::vector<std::string> ErrorBlock(const std::string& error) {
    std::vector<std::string> lines = {kRule, "Debug configuration Error: " + error, kRule};
    lines.insert(lines.end(), kHelpLines.begin(), kHelpLines.end());
    return lines;
}

void ExpectLines(const std::string& text, const std::vector<std::string>& expected) {
    const auto lines = eftest::SplitLines(text);
    ASSERT_EQ(lines.size(), expected.size()) << text;
    for (size_t i = 0; i < lines.size(); ++i) {
        EXPECT_EQ(lines[i], expected[i]) << "line " << i;
    }
    EXPECT_EQ(text.back(), '\n');
}

class DebugOptions : public ::testing::Test {
protected:
    void SetUp() override {
        unsetenv("TAVO_DEBUGLEVEL");
        unsetenv("TAVO_DEBUGFILE");
    }
};

// The statement vocabulary, applied through CDebugHandler one statement at a
// time with all levels cleared between them.
TEST_F(DebugOptions, StatementsGiveLevels) {
    ASSERT_FALSE(CTheMsgHnd::IsDebugEngineRunning());
    struct Case {
        const char* statement;
        const char* cmdLine;  // group 1
        const char* commstest;  // group 7
        const char* application;  // group 100
        const char* unknown;  // group 104
    };
    const Case cases[] = {
        {"basic", "---3-", "---3-", "---3-", "---3-"},
        {"standard", "---3-", "---3-", "---3-", "---3-"},
        {"limited", "---3-", "---3-", "---3-", "---3-"},
        {"enhanced", "--23-", "--23-", "--23-", "--23-"},
        {"detailed", "--23-", "--23-", "--23-", "--23-"},
        {"full", "01235", "01235", "01235", "01235"},
        {"FULL:ALL", "01235", "01235", "01235", "01235"},
        {"full:all-cmdline", "-----", "01235", "01235", "01235"},
        {"enhanced:application", "-----", "-----", "--23-", "-----"},
        {"basic:commstest,none:commstest", "-----", "---3-", "-----", "-----"},
        {"none:commstest,basic:commstest", "-----", "-----", "-----", "-----"},
        {"full:all,none:cmdline+unknown", "01235", "01235", "01235", "01235"},
        {"none:cmdline+unknown,full:all", "-----", "01235", "01235", "-----"},
        {"none:application,full:application", "-----", "-----", "-----", "-----"},
        {"full:application,none:application", "-----", "-----", "01235", "-----"},
        {"commstest,basic:xml", "-----", "-----", "-----", "-----"},
    };
    for (const Case& c : cases) {
        eftest::StreamCapture err(std::cerr);
        Framework()->SetDebugLevel(CMessageHandler::DEBUG_ALL, false, CMessageHandler::GROUP_ALL);
        CDebugHandler handler;
        handler.ProcessDebugRequest(c.statement, false);
        EXPECT_TRUE(CTheMsgHnd::IsDebugActivated());
        EXPECT_EQ(Levels(CMessageHandler::GROUP_CMDLINE), c.cmdLine) << c.statement;
        EXPECT_EQ(Levels(CMessageHandler::GROUP_COMMSTEST), c.commstest) << c.statement;
        EXPECT_EQ(Levels(CMessageHandler::GROUP_APPLICATION), c.application) << c.statement;
        EXPECT_EQ(Levels(CMessageHandler::GROUP_UNKNOWN), c.unknown) << c.statement;
        Framework()->SetDebugLevel(CMessageHandler::DEBUG_ALL, false, CMessageHandler::GROUP_ALL);
    }
}

TEST_F(DebugOptions, ABadStatementChangesNoLevel) {
    ASSERT_FALSE(CTheMsgHnd::IsDebugEngineRunning());
    struct Case {
        const char* statement;
        const char* error;
    };
    const Case cases[] = {
        {"bogus", "The text 'bogus' is invalid."},
        {"loud:all", "Group identifier 'loud' found but invalid."},
        {"full:all+cmdline", "Invalid delimeter '+' encountered."},
        {"full all", "Whitespace found."},
    };
    for (const Case& c : cases) {
        CDebugHandler handler;
        try {
            handler.ProcessDebugRequest(c.statement, false);
            ADD_FAILURE() << "no exception for " << c.statement;
        } catch (const std::invalid_argument& error) {
            ExpectLines(error.what(), ErrorBlock(c.error));
        }
        EXPECT_FALSE(CTheMsgHnd::IsDebugActivated()) << c.statement;
    }
}

TEST_F(DebugOptions, HelpWrapping) {
    CDebugHandler handler;
    const std::string word79(79, 'a');
    struct Case {
        std::string text;
        std::string expected;
    };
    const Case cases[] = {
        {"", "\n"},
        {"short text", "short text\n"},
        {word79, word79 + "\n"},
        {word79 + "b", word79 + "\n    b\n"},
        {std::string(78, 'a') + " bc", std::string(78, 'a') + "\n    bc\n"},
        {std::string(79, 'a') + " " + std::string(75, 'c') + " d",
         word79 + "\n    " + std::string(75, 'c') + "\n    d\n"},
        {std::string(79, 'a') + std::string(76, 'c'), word79 + "\n    " + std::string(75, 'c') + "\n    c\n"},
    };
    for (const Case& c : cases) {
        EXPECT_EQ(handler.DebugHelpMsgBuilder(c.text), c.expected) << c.text;
    }
}

TEST_F(DebugOptions, BadEnvironmentStatementPrintsHelpOnceAndStaysOff) {
    setenv("TAVO_DEBUGLEVEL", "Verbose", 1);
    eftest::StreamCapture err(std::cerr);
    EXPECT_FALSE(CTheMsgHnd::IsDebugEngineRunning());
    ExpectLines(err.Text(), ErrorBlock("The text 'verbose' is invalid."));
    const std::string once = err.Text();
    EXPECT_FALSE(CTheMsgHnd::IsDebugEngineRunning());
    EXPECT_EQ(err.Text(), once) << "processing runs once";
    EXPECT_EQ(Levels(CMessageHandler::GROUP_COMMSTEST), "-----");
}

TEST_F(DebugOptions, EnvironmentIsReadOnce) {
    setenv("TAVO_DEBUGLEVEL", "basic", 1);
    eftest::StreamCapture err(std::cerr);
    EXPECT_TRUE(CTheMsgHnd::IsDebugEngineRunning());
    EXPECT_EQ(Levels(CMessageHandler::GROUP_COMMSTEST), "---3-");

    setenv("TAVO_DEBUGLEVEL", "full", 1);
    EXPECT_TRUE(CTheMsgHnd::IsDebugEngineRunning());
    EXPECT_EQ(Levels(CMessageHandler::GROUP_COMMSTEST), "---3-") << "a later change is not seen";
    setenv("TAVO_DEBUGLEVEL", "bad", 1);
    EXPECT_TRUE(CTheMsgHnd::IsDebugEngineRunning());
    EXPECT_EQ(err.Text().find("Debug configuration Error"), std::string::npos);

    // Basic tracing reaches standard error in the usual line form.
    CMessageHandler* commstest =
        CTheMsgHnd::GetAppropriateHandler(CMessageHandler::GROUP_COMMSTEST, "int wlan_probe()", false);
    commstest->DebugOutputInHandler(3, false, false, "int wlan_probe()", "commstest_lib_intf", 42, "%s()",
                                    "wlan_probe");
    commstest->DebugOutputInHandler(1, false, false, "int wlan_probe()", "commstest_lib_intf", 43, "hidden");
    const auto lines = eftest::SplitLines(err.Text());
    ASSERT_EQ(lines.size(), 1u) << err.Text();
    EXPECT_NE(lines[0].find("  commstest_lib_intf(  42)] [B] wlan_probe()"), std::string::npos) << lines[0];
}

TEST_F(DebugOptions, NoLevelNoDebug) {
    eftest::StreamCapture err(std::cerr);
    EXPECT_FALSE(CTheMsgHnd::IsDebugEngineRunning());
    EXPECT_FALSE(CTheMsgHnd::IsDebugActivated());
    EXPECT_EQ(err.Text(), "");
    EXPECT_EQ(CTheMsgHnd::GetLogFileStream(), nullptr);
}

TEST_F(DebugOptions, FullReportsEachSettingThroughTheFramework) {
    setenv("TAVO_DEBUGLEVEL", "full:unknown+commstest", 1);
    eftest::StreamCapture err(std::cerr);
    EXPECT_TRUE(CTheMsgHnd::IsDebugEngineRunning());
    // commstest is applied first, while group 104 is still quiet; then Unknown.
    const std::string text = err.Text();
    EXPECT_EQ(text.find(">commstest<"), std::string::npos) << text;
    EXPECT_NE(text.find("        enginefw_cpp(1780)] [E] Setting debug level 4 to true for element >Unknown<"),
              std::string::npos)
        << text;
    EXPECT_EQ(Levels(CMessageHandler::GROUP_COMMSTEST), "01235");
    EXPECT_EQ(Levels(CMessageHandler::GROUP_APPLICATION), "-----");
}

TEST_F(DebugOptions, DebugFileWithoutLevelIsCreatedEmpty) {
    const std::string path = TempPath("debugfile-nolevel");
    {
        std::ofstream old(path);
        old << "left over\n";
    }
    setenv("TAVO_DEBUGFILE", path.c_str(), 1);
    eftest::StreamCapture out(std::cout);
    EXPECT_FALSE(CTheMsgHnd::IsDebugEngineRunning());
    ASSERT_NE(CTheMsgHnd::GetLogFileStream(), nullptr);
    EXPECT_EQ(ReadFile(path), "") << "opened, truncated, nothing written";
    Framework()->DebugOutputInHandler(3, false, false, "f", "file", 1, "not written");
    EXPECT_EQ(ReadFile(path), "");
    CMessageHandler::OutputMessageHandler("user %d", 1);
    EXPECT_EQ(ReadFile(path), "user 1\n");
    EXPECT_EQ(out.Text(), "user 1\n");
    std::remove(path.c_str());
}

TEST_F(DebugOptions, DebugFileTakesTheTraceLines) {
    const std::string path = TempPath("debugfile-basic");
    setenv("TAVO_DEBUGFILE", path.c_str(), 1);
    setenv("TAVO_DEBUGLEVEL", "basic:commstest", 1);
    eftest::StreamCapture err(std::cerr);
    EXPECT_TRUE(CTheMsgHnd::IsDebugEngineRunning());
    CMessageHandler* commstest =
        CTheMsgHnd::GetAppropriateHandler(CMessageHandler::GROUP_COMMSTEST, "int wlan_probe()", false);
    commstest->DebugOutputInHandler(3, false, false, "int wlan_probe()", "commstest_lib_intf", 7, "to the file");
    EXPECT_EQ(err.Text(), "");
    const auto lines = eftest::SplitLines(ReadFile(path));
    ASSERT_EQ(lines.size(), 1u);
    EXPECT_NE(lines[0].find("] [B] to the file"), std::string::npos) << lines[0];
    std::remove(path.c_str());
}

TEST_F(DebugOptions, CommandLineForm) {
    setenv("TAVO_DEBUGLEVEL", "basic", 1);
    eftest::StreamCapture err(std::cerr);
    CTheMsgHnd::ProcessDebugOptions({"prog", "x", "-DEBUG", "full:commstest"});
    EXPECT_EQ(Levels(CMessageHandler::GROUP_COMMSTEST), "01235");
    EXPECT_EQ(Levels(CMessageHandler::GROUP_APPLICATION), "-----") << "the argument wins over the environment";
    EXPECT_TRUE(CTheMsgHnd::IsDebugEngineRunning());
    EXPECT_EQ(Levels(CMessageHandler::GROUP_APPLICATION), "-----") << "processing already done";
}

TEST_F(DebugOptions, CommandLineWithoutValue) {
    const std::vector<std::vector<std::string>> argumentLists = {{"prog", "-debug"}, {"prog", "-Debug", ""}};
    for (const auto& arguments : argumentLists) {
        try {
            CTheMsgHnd::ProcessDebugOptions(arguments);
            ADD_FAILURE() << "no exception";
        } catch (const std::invalid_argument& error) {
            ExpectLines(error.what(), ErrorBlock("No value given for <level> with parameter \"-debug\""));
        }
    }
    EXPECT_FALSE(CTheMsgHnd::IsDebugActivated());
}

TEST_F(DebugOptions, CommandLineWithoutDebugReadsTheEnvironment) {
    setenv("TAVO_DEBUGLEVEL", "enhanced:xml", 1);
    eftest::StreamCapture err(std::cerr);
    CTheMsgHnd::ProcessDebugOptions({"-debug", "full"});  // the first argument is the program
    EXPECT_EQ(Levels(CMessageHandler::GROUP_XML), "--23-");
    EXPECT_EQ(Levels(CMessageHandler::GROUP_COMMSTEST), "-----");
}

}  // namespace
