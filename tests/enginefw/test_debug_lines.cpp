#include <gtest/gtest.h>

#include <string>
#include <thread>
#include <vector>

#include "enginefw/msghandler.h"
#include "enginefw/thread_id.h"
#include "tests/enginefw/ef_debug_fixture.h"

namespace {

using eftest::DebugFixture;
using eftest::DebugLine;
using eftest::FakeClock;
using eftest::ParseDebugLine;

TEST_F(DebugFixture, ShapeOfALine) {
    FakeClock::AdvanceMs(12345);
    handler->DebugOutputInHandler(3, false, false, "fn", "/src/commstest/commstest_lib_intf", 52,
                                  "wlan_get_version_info(%d)", 1);
    const std::vector<std::string> lines = Lines();
    ASSERT_EQ(lines.size(), 1u);
    DebugLine line;
    ASSERT_TRUE(ParseDebugLine(lines[0], line)) << lines[0];
    EXPECT_EQ(line.seconds, "012");
    EXPECT_EQ(line.millis, "345");
    EXPECT_EQ(line.thread, eftest::ThreadHex(ThreadID::Id()));
    EXPECT_EQ(line.file, "  commstest_lib_intf");
    EXPECT_EQ(line.line, "  52");
    EXPECT_EQ(line.label, "B");
    EXPECT_EQ(line.indent, 0u);
    EXPECT_EQ(line.message, "wlan_get_version_info(1)");
    EXPECT_EQ(lines[0], "[012.345 " + line.thread + "   commstest_lib_intf(  52)] [B] wlan_get_version_info(1)");
}

TEST_F(DebugFixture, LabelsAndLevels) {
    struct Case {
        unsigned level;
        const char* label;  // null: no line at all
    };
    const Case cases[] = {{0, "F"},  {1, "F"},     {2, "E"},      {3, "B"},    {4, nullptr},
                          {5, "P"},  {6, "?"},     {31, "?"},     {32, nullptr}, {1000, nullptr}};
    for (const Case& c : cases) {
        out.str("");
        handler->DebugOutputInHandler(c.level, false, false, "fn", "f", 1, "level %u", c.level);
        const std::vector<DebugLine> lines = Parsed();
        if (c.label == nullptr) {
            EXPECT_TRUE(lines.empty()) << "level " << c.level;
            continue;
        }
        ASSERT_EQ(lines.size(), 1u) << "level " << c.level;
        EXPECT_EQ(lines[0].label, c.label) << "level " << c.level;
        EXPECT_EQ(lines[0].indent, 0u) << "level 0 without a direction leaves the indent alone";
    }

    out.str("");
    handler->SetDebugLevel(CMessageHandler::DEBUG_BASIC, false, CMessageHandler::GROUP_LOCAL);
    handler->DebugOutputInHandler(3, false, false, "fn", "f", 1, "basic off");
    handler->DebugOutputInHandler(2, false, false, "fn", "f", 1, "enhanced on");
    const std::vector<DebugLine> lines = Parsed();
    ASSERT_EQ(lines.size(), 1u);
    EXPECT_EQ(lines[0].message, "enhanced on");
}

TEST_F(DebugFixture, TimestampWrapsAtAThousandSeconds) {
    struct Case {
        long advanceMs;
        const char* seconds;
        const char* millis;
    };
    const Case cases[] = {{0, "000", "000"},      {999, "000", "999"},     {1, "001", "000"},
                          {998999, "999", "999"}, {501, "000", "500"},     {1000000, "000", "500"}};
    for (const Case& c : cases) {
        out.str("");
        FakeClock::AdvanceMs(c.advanceMs);
        handler->DebugOutputInHandler(3, false, false, "fn", "f", 1, "tick");
        const std::vector<DebugLine> lines = Parsed();
        ASSERT_EQ(lines.size(), 1u);
        EXPECT_EQ(lines[0].seconds, c.seconds) << c.advanceMs;
        EXPECT_EQ(lines[0].millis, c.millis) << c.advanceMs;
    }
}

TEST_F(DebugFixture, TimeZeroIsTheDebugObjectsCreation) {
    FakeClock::AdvanceMs(7000);
    handler->NewDebugObject(&out, CMessageHandler::GROUP_LOCAL);  // restarts the stopwatch, keeps the levels
    FakeClock::AdvanceMs(250);
    handler->DebugOutputInHandler(3, false, false, "fn", "f", 1, "after restart");
    const std::vector<DebugLine> lines = Parsed();
    ASSERT_EQ(lines.size(), 1u);
    EXPECT_EQ(lines[0].seconds + "." + lines[0].millis, "000.250");
}

TEST_F(DebugFixture, WithoutTimestamps) {
    handler->GetDebugMsg()->SetTimeStampState(false);
    handler->DebugOutputInHandler(2, false, false, "fn", "dir/file", 9, "plain");
    const std::vector<std::string> lines = Lines();
    ASSERT_EQ(lines.size(), 1u);
    EXPECT_EQ(lines[0], "[" + eftest::ThreadHex(ThreadID::Id()) + "                 file(   9)] [E] plain");
    handler->GetDebugMsg()->SendDebugToOutputPane();  // no pane here: the line still goes to the stream
    handler->DebugOutputInHandler(2, false, false, "fn", "dir/file", 9, "again");
    EXPECT_EQ(Lines().size(), 2u);
}

TEST_F(DebugFixture, FileAndLineColumns) {
    struct Case {
        const char* file;
        unsigned line;
        std::string fileColumn;
        std::string lineColumn;
    };
    const Case cases[] = {
        {"a/b/c.cpp", 7, std::string(15, ' ') + "c.cpp", "   7"},
        {"C:\\src\\x.cpp", 1234, std::string(15, ' ') + "x.cpp", "1234"},
        {"mixed/dir\\y", 0, std::string(19, ' ') + "y", "   0"},
        {"a_very_long_file_name_over_twenty.cpp", 123456, "a_very_long_file_name_over_twenty.cpp", "123456"},
        {"exactly_twenty_chars", 1, "exactly_twenty_chars", "   1"},
        {nullptr, 5, std::string(20, ' '), "   5"},
        {"dir/", 5, std::string(20, ' '), "   5"},
    };
    for (const Case& c : cases) {
        out.str("");
        handler->DebugOutputInHandler(3, false, false, "fn", c.file, c.line, "x");
        const std::vector<DebugLine> lines = Parsed();
        ASSERT_EQ(lines.size(), 1u);
        EXPECT_EQ(lines[0].file, c.fileColumn) << (c.file != nullptr ? c.file : "(null)");
        EXPECT_EQ(lines[0].line, c.lineColumn);
    }
}

TEST_F(DebugFixture, EmptyCarriageReturnAndLineFeedMessagesPrintNothing) {
    struct Case {
        const char* message;
        bool printed;
    };
    const Case cases[] = {{"", false}, {"\r", false}, {"\n", false}, {" ", true}, {"x", true}, {"\r\r", true}};
    for (const Case& c : cases) {
        out.str("");
        handler->DebugOutputInHandler(3, false, false, "fn", "f", 1, "%s", c.message);
        EXPECT_EQ(!out.str().empty(), c.printed) << "message of " << std::string(c.message).size() << " bytes";
    }
    out.str("");
    handler->DebugOutputInHandler(3, false, false, "fn", "f", 1, nullptr);  // no format: nothing
    EXPECT_EQ(out.str(), "");
}

TEST_F(DebugFixture, FormatBufferDoublesAndLosesTheLastCharacterAtSizeMinusOne) {
    struct Case {
        size_t length;
        size_t printed;
    };
    // The fit test is "result below the size" while size - 1 bytes are offered.
    const Case cases[] = {{1022, 1022}, {1023, 1022}, {1024, 1024}, {2047, 2046},
                          {2048, 2048}, {5000, 5000}, {100000, 100000}};
    for (const Case& c : cases) {
        out.str("");
        std::string message(c.length - 1, 'x');
        message += 'E';
        handler->DebugOutputInHandler(3, false, false, "fn", "f", 1, "%s", message.c_str());
        const std::vector<DebugLine> lines = Parsed();
        ASSERT_EQ(lines.size(), 1u) << c.length;
        EXPECT_EQ(lines[0].message.size(), c.printed) << c.length;
        EXPECT_EQ(lines[0].message, message.substr(0, c.printed)) << c.length;
    }
}

TEST_F(DebugFixture, HexDumpLine) {
    const unsigned char bytes[] = {0x01, 0x02, 0xab, 0x04, 0x05, 0xff};
    handler->DebugOutputBuffer(3, "fn", "f", 1, "Frame", bytes, sizeof bytes);
    handler->DebugOutputBuffer(3, "fn", "f", 1, "Empty", bytes, 0);
    handler->DebugOutputBuffer(3, "fn", "f", 1, "Null", nullptr, 4);
    const std::vector<DebugLine> lines = Parsed();
    ASSERT_EQ(lines.size(), 3u);
    EXPECT_EQ(lines[0].message, "Frame [length=0x6] (0) 01 02 ab 04 (4) 05 ff ");
    EXPECT_EQ(lines[1].message, "Empty [length=0x0] ");
    EXPECT_EQ(lines[2].message, "Null [length=0x4] ");
}

TEST_F(DebugFixture, ProfileLine) {
    handler->DebugOutputProfile(0x2a);
    const std::vector<DebugLine> lines = Parsed();
    ASSERT_EQ(lines.size(), 1u);
    EXPECT_EQ(lines[0].file, "         (PROFILING)");
    EXPECT_EQ(lines[0].line, "   7") << "the line column holds the group";
    EXPECT_EQ(lines[0].label, "P");
    EXPECT_EQ(lines[0].message, "(2a)");
}

TEST_F(DebugFixture, ErrorAndStatusNoticesAreCopiedIntoDebug) {
    ASSERT_TRUE(handler->SetErrorMsg(-2, "bad value"));
    std::ostringstream status;
    handler->NewStatusObject(&status, CMessageHandler::GROUP_LOCAL);
    handler->NotifyStatus(CMessageHandler::STATUS_WARNING, "too hot");
    handler->NotifyStatus(static_cast<CMessageHandler::StatusLevels>(7), "odd level");
    const std::vector<DebugLine> lines = Parsed();
    ASSERT_EQ(lines.size(), 3u);
    EXPECT_EQ(lines[0].message, "ERROR SET: Code=-2 (0xFFFFFFFE); Text=bad value");
    EXPECT_EQ(lines[0].label, "B");
    EXPECT_EQ(lines[0].file, "         <commstest>");
    EXPECT_EQ(lines[0].line, "   0");
    EXPECT_EQ(lines[1].message, "WARNING STATUS: too hot");
    EXPECT_EQ(lines[1].label, "E");
    EXPECT_EQ(lines[2].message, "INVALID STATUS: odd level");
    EXPECT_EQ(status.str(), "too hot\nodd level\n") << "the plain status queue writes the bare text";
    handler->NewStatusObject(nullptr, CMessageHandler::GROUP_LOCAL);
}

TEST_F(DebugFixture, LinesFromManyThreadsStayWhole) {
    std::vector<std::thread> threads;
    for (int t = 0; t < 4; ++t) {
        threads.emplace_back([this, t] {
            for (int i = 0; i < 200; ++i) {
                handler->DebugOutputInHandler(3, false, false, "fn", "threads", static_cast<unsigned>(i),
                                              "thread %d line %d", t, i);
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    const std::vector<DebugLine> lines = Parsed();
    EXPECT_EQ(lines.size(), 800u);
    for (const DebugLine& line : lines) {
        EXPECT_EQ(line.message.rfind("thread ", 0), 0u) << line.message;
    }
}

}  // namespace
