#include <gtest/gtest.h>

#include <algorithm>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "enginefw/msghandler.h"
#include "tests/enginefw/ef_debug_fixture.h"

namespace {

using eftest::DebugFixture;
using eftest::DebugLine;

constexpr const char* kPretty = "int CWlanLiteClient::Open(unsigned int, const char*) const";
constexpr const char* kName = "CWlanLiteClient::Open";

TEST_F(DebugFixture, SentryWithoutHandlerIsSilent) {
    {
        CDebugSentry sentry(nullptr, 1, nullptr, nullptr);
        int result = 0;
        CDebugSentryWithReturn<int> withResult(nullptr, 2, nullptr, nullptr, &result);
        CDebugSentryWithReturn<int> noResult(handler, 3, "f", "int F()", nullptr);
    }
    const std::vector<DebugLine> lines = Parsed();
    ASSERT_EQ(lines.size(), 3u) << "only the sentry with a handler prints";
    EXPECT_EQ(lines[2].message, "<- F") << "no result variable: the plain exit form";
}

TEST_F(DebugFixture, EntryProfileAndExitLines) {
    {
        CDebugSentry sentry(handler, 54, "dir/commstest_lib_intf", kPretty);
        handler->DebugOutputInHandler(3, false, false, kPretty, "commstest_lib_intf", 57, "inside");
    }
    const std::vector<DebugLine> lines = Parsed();
    ASSERT_EQ(lines.size(), 4u);
    EXPECT_EQ(lines[0].label, "F");
    EXPECT_EQ(lines[0].message, std::string("-> ") + kName);
    EXPECT_EQ(lines[0].indent, 0u);
    EXPECT_EQ(lines[0].line, "  54");
    EXPECT_EQ(lines[1].label, "P");
    EXPECT_EQ(lines[1].message, "(0)");
    EXPECT_EQ(lines[1].indent, 2u);
    EXPECT_EQ(lines[2].message, "inside");
    EXPECT_EQ(lines[2].indent, 2u);
    EXPECT_EQ(lines[3].label, "F");
    EXPECT_EQ(lines[3].message, std::string("<- ") + kName);
    EXPECT_EQ(lines[3].indent, 0u);
    EXPECT_EQ(lines[3].line, "  54") << "the exit line carries the entry's line";
    EXPECT_EQ(lines[3].file, "  commstest_lib_intf");
}

template <typename T>
std::string ExitLineFor(CMessageHandler* handler, std::ostringstream& out, T value) {
    out.str("");
    {
        T result{};
        CDebugSentryWithReturn<T> sentry(handler, 1, "f", kPretty, &result);
        result = value;  // read when the exit line is printed
    }
    const std::vector<std::string> lines = eftest::SplitLines(out.str());
    DebugLine line;
    if (lines.size() != 3 || !eftest::ParseDebugLine(lines[2], line)) {
        return "<unexpected output: " + out.str() + ">";
    }
    return line.message;
}

TEST_F(DebugFixture, ExitFormsByResultType) {
    char writable[] = "mutable";
    const std::string name(kName);
    const struct {
        std::string actual;
        std::string expected;
    } cases[] = {
        {ExitLineFor<int>(handler, out, -42), "<- " + name + " [returning -42]"},
        {ExitLineFor<bool>(handler, out, true), "<- " + name + " [returning true]"},
        {ExitLineFor<bool>(handler, out, false), "<- " + name + " [returning false]"},
        {ExitLineFor<const char*>(handler, out, "text"), "<- " + name + " [returning \"text\"]"},
        {ExitLineFor<const char*>(handler, out, nullptr), "<- " + name + " [returning \"(null)\"]"},
        {ExitLineFor<char*>(handler, out, writable), "<- " + name + " [returning \"mutable\"]"},
        {ExitLineFor<unsigned long long>(handler, out, 5ULL), "<- " + name + " [returning 5]"},
        {ExitLineFor<unsigned long long>(handler, out, ~0ULL), "<- " + name + " [returning -1]"},
        {ExitLineFor<std::string>(handler, out, std::string("s")), "<- " + name + " [returning \"s\"]"},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(c.actual, c.expected);
    }
}

TEST_F(DebugFixture, ExceptionExitLine) {
    auto thrower = [this](bool withResult) {
        int result = 5;
        if (withResult) {
            CDebugSentryWithReturn<int> sentry(handler, 20, "f", kPretty, &result);
            throw std::runtime_error("boom");
        }
        CDebugSentry sentry(handler, 20, "f", kPretty);
        throw std::runtime_error("boom");
    };
    for (const bool withResult : {false, true}) {
        out.str("");
        EXPECT_THROW(thrower(withResult), std::runtime_error);
        const std::vector<DebugLine> lines = Parsed();
        ASSERT_EQ(lines.size(), 3u);
        EXPECT_EQ(lines[2].message, std::string("<- ") + kName + " !!! EXCEPTION !!!");
        EXPECT_EQ(lines[2].indent, 0u);
    }
}

TEST_F(DebugFixture, PrintExitByHandThenTheDestructorPrintsOneExit) {
    {
        int result = 1;
        CDebugSentryWithReturn<int> sentry(handler, 30, "f", kPretty, &result);
        result = 2;
        sentry.PrintExit();
        result = 3;
        sentry.PrintExit();
        sentry.CheckPrintExit();
    }
    {
        CDebugSentry plain(handler, 31, "f", "void Free()");
        plain.PrintExit();
    }
    const std::vector<DebugLine> lines = Parsed();
    ASSERT_EQ(lines.size(), 6u);
    EXPECT_EQ(lines[2].message, std::string("<- ") + kName + " [returning 2]");
    EXPECT_EQ(lines[3].message, "-> Free");
    EXPECT_EQ(lines[5].message, "<- Free");
    EXPECT_EQ(lines[5].indent, 0u);
    EXPECT_EQ(handler->GetDebugMsg()->GetIndent(), 0u);
}

void Nest(CMessageHandler* handler, int depth) {
    if (depth == 0) {
        return;
    }
    CDebugSentry sentry(handler, static_cast<unsigned>(depth), "nest", "void Nest(CMessageHandler*, int)");
    Nest(handler, depth - 1);
}

TEST_F(DebugFixture, IndentPairsUpToTheCapOfFifty) {
    handler->SetDebugLevel(CMessageHandler::DEBUG_PROFILING, false, CMessageHandler::GROUP_LOCAL);
    constexpr int kDepth = 30;
    Nest(handler, kDepth);
    const std::vector<DebugLine> lines = Parsed();
    ASSERT_EQ(lines.size(), 2u * kDepth);
    for (int i = 0; i < kDepth; ++i) {
        // Entries step by 2 up to 50; from the 26th depth on they stay at 50.
        const size_t entryIndent = static_cast<size_t>(std::min(2 * i, 50));
        EXPECT_EQ(lines[i].message, "-> Nest") << i;
        EXPECT_EQ(lines[i].indent, entryIndent) << "entry " << i + 1;
    }
    for (int j = 1; j <= kDepth; ++j) {
        // Each exit still steps back, so the innermost five no longer pair up,
        // and the outermost exits stop at 0.
        const size_t exitIndent = static_cast<size_t>(std::max(50 - 2 * j, 0));
        const DebugLine& line = lines[kDepth - 1 + j];
        EXPECT_EQ(line.message, "<- Nest") << j;
        EXPECT_EQ(line.indent, exitIndent) << "exit " << j;
    }
    EXPECT_EQ(handler->GetDebugMsg()->GetIndent(), 0u);
}

TEST_F(DebugFixture, IndentRulesOfTheQueue) {
    CDebugMsg* debug = handler->GetDebugMsg();
    struct Case {
        unsigned short start;
        bool increment;
        unsigned short returned;
        unsigned short after;
    };
    const Case cases[] = {
        {0, true, 0, 2},   {47, true, 47, 49}, {48, true, 48, 50}, {49, true, 49, 49}, {50, true, 50, 50},
        {0, false, 0, 0},  {1, false, 1, 1},   {2, false, 0, 0},   {51, false, 49, 49}, {10, false, 8, 8},
    };
    for (const Case& c : cases) {
        debug->SetIndent(c.start);
        const unsigned short returned = c.increment ? debug->IncrementIndent() : debug->DecrementIndent();
        EXPECT_EQ(returned, c.returned) << c.start << (c.increment ? " up" : " down");
        EXPECT_EQ(debug->GetIndent(), c.after) << c.start << (c.increment ? " up" : " down");
    }
}

TEST_F(DebugFixture, IndentIsPerThreadAndResetWhenEntryLinesGoOff) {
    CDebugSentry outer(handler, 1, "f", "void Outer()");
    size_t otherIndent = 99;
    std::thread other([&] {
        handler->DebugOutputInHandler(3, false, false, "fn", "f", 1, "other thread");
    });
    other.join();
    const std::vector<DebugLine> lines = Parsed();
    for (const DebugLine& line : lines) {
        if (line.message == "other thread") {
            otherIndent = line.indent;
        }
    }
    EXPECT_EQ(otherIndent, 0u);
    EXPECT_EQ(handler->GetDebugMsg()->GetIndent(), 2u);

    handler->SetDebugLevel(CMessageHandler::DEBUG_ENTRY_EXIT, false, CMessageHandler::GROUP_LOCAL);
    EXPECT_EQ(handler->GetDebugMsg()->GetIndent(), 0u);
    handler->SetDebugLevel(CMessageHandler::DEBUG_ENTRY_EXIT, true, CMessageHandler::GROUP_LOCAL);
    handler->GetDebugMsg()->SetIndent(6);
    handler->SetDebugLevel(CMessageHandler::DEBUG_BASIC, false, CMessageHandler::GROUP_LOCAL);
    EXPECT_EQ(handler->GetDebugMsg()->GetIndent(), 6u) << "only level 0 or the whole mask resets the indent";
    handler->SetDebugLevel(CMessageHandler::DEBUG_ALL, false, CMessageHandler::GROUP_LOCAL);
    EXPECT_EQ(handler->GetDebugMsg()->GetIndent(), 0u);
}

}  // namespace
