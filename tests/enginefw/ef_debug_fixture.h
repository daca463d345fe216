// A fixture that sends the "commstest" group's debug output, all levels, to a
// string stream, on a clock driven by hand, and parses the lines back.
#pragma once

#include <gtest/gtest.h>

#include <cstdio>
#include <regex>
#include <sstream>
#include <string>
#include <vector>

#include "enginefw/msghandler.h"
#include "enginefw/thread_id.h"
#include "tests/enginefw/ef_test_support.h"

namespace eftest {

struct DebugLine {
    std::string seconds;  // empty without timestamps
    std::string millis;
    std::string thread;
    std::string file;  // the whole column, padding included
    std::string line;  // likewise
    std::string label;
    size_t indent = 0;
    std::string message;
};

// "[SSS.mmm TTTT <file, 20 wide>(<line, 4 wide>)] [L] <indent><message>", the
// time field being optional. The regular expression sees only the prefix up to
// "] ": std::regex recurses per character and would overflow the stack on the
// long messages some tests print.
inline bool ParseDebugLine(const std::string& text, DebugLine& parsed) {
    static const std::regex timed(R"(^\[(\d{3})\.(\d{3}) ([0-9A-F]{4,}) (.{20,})\(([ 0-9]{4,})\)\] \[(.)\] $)");
    static const std::regex untimed(R"(^\[([0-9A-F]{4,}) (.{20,})\(([ 0-9]{4,})\)\] \[(.)\] $)");
    const size_t close = text.find(")] [");
    if (close == std::string::npos || text.size() < close + 7 || text.compare(close + 5, 2, "] ") != 0) {
        return false;
    }
    const std::string prefix = text.substr(0, close + 7);
    const std::string rest = text.substr(close + 7);
    std::smatch match;
    if (std::regex_match(prefix, match, timed)) {
        parsed.seconds = match[1];
        parsed.millis = match[2];
        parsed.thread = match[3];
        parsed.file = match[4];
        parsed.line = match[5];
        parsed.label = match[6];
    } else if (std::regex_match(prefix, match, untimed)) {
        parsed.seconds.clear();
        parsed.millis.clear();
        parsed.thread = match[1];
        parsed.file = match[2];
        parsed.line = match[3];
        parsed.label = match[4];
    } else {
        return false;
    }
    parsed.indent = rest.find_first_not_of(' ');
    if (parsed.indent == std::string::npos) {
        parsed.indent = rest.size();
    }
    parsed.message = rest.substr(parsed.indent);
    return true;
}

inline std::string ThreadHex(unsigned long id) {
    char text[32];
    std::snprintf(text, sizeof text, "%04lX", id);
    return text;
}

class DebugFixture : public ::testing::Test {
protected:
    void SetUp() override {
        CTheMsgHnd::IsDebugEngineRunning();  // option processing settled first
        handler = CTheMsgHnd::GetAppropriateHandler(CMessageHandler::GROUP_COMMSTEST, "void DebugFixture::SetUp()",
                                                    false);
        ASSERT_NE(handler, nullptr);
        handler->NewDebugObject(&out, CMessageHandler::GROUP_LOCAL);
        handler->SetDebugLevel(CMessageHandler::DEBUG_ALL, true, CMessageHandler::GROUP_LOCAL);
    }

    void TearDown() override {
        // Off (which also puts the indent back to 0) and away from the stream
        // before the stream goes.
        handler->SetDebugLevel(CMessageHandler::DEBUG_ALL, false, CMessageHandler::GROUP_LOCAL);
        handler->NewDebugObject(nullptr, CMessageHandler::GROUP_LOCAL);
    }

    std::vector<std::string> Lines() const { return SplitLines(out.str()); }

    std::vector<DebugLine> Parsed() const {
        std::vector<DebugLine> parsed;
        for (const std::string& text : Lines()) {
            DebugLine line;
            EXPECT_TRUE(ParseDebugLine(text, line)) << "unparsable line: " << text;
            parsed.push_back(line);
        }
        return parsed;
    }

    FakeClock clock{1000};
    std::ostringstream out;
    CMessageHandler* handler = nullptr;
};

}  // namespace eftest
