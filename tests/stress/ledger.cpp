#include "stress/ledger.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <cstring>
#include <sstream>

#include "WiFiBtFactoryService.h"

namespace stress {

namespace {

// More failure messages than this say nothing new; the count goes on.
constexpr int kReportedFailures = 20;

// The code of a test-family reply ("+WIFIRF:5,NG", "+WIFIX:6,NG"), or 0.
int ReplyCode(const std::string& command, const std::string& reply) {
    if (command.rfind("AT+WIFI", 0) != 0 && command.rfind("AT+BTRF=", 0) != 0) return 0;
    const size_t colon = reply.find(':');
    return colon == std::string::npos ? 0 : std::atoi(reply.c_str() + colon + 1);
}

// The command as the library names it in its ERROR line: the line end cut.
std::string Trimmed(std::string command) {
    while (!command.empty() && (command.back() == '\n' || command.back() == '\r')) command.pop_back();
    return command;
}

}  // namespace

Lab::Lab() {
    env.BtCtl().SetFastSleep(true);
}

bool Ledger::Expect(const std::string& kind, const std::string& command, int rc, const std::string& reply) {
    std::vector<char> result(WLBT_RESULT_BUFFER_SIZE, '\0');
    std::strcpy(result.data(), "untouched");
    const int got = ForwardCMD_WiFiBT(command.c_str(), result.data(), 3000);
    ++commands_;
    Count& count = counts_[kind];
    ++count.sent;
    const std::string text(result.data());
    if (rc == 0) {
        const int code = ReplyCode(command, reply);
        if (code != 0) errorLines_.push_back("ERROR : " + Trimmed(command) + " [" + std::to_string(code) + "] - ");
    }
    if (got == rc && text == reply) return true;
    ++count.failed;
    std::ostringstream what;
    what << "command " << commands_ << " \"" << command << "\": rc " << got << " \"" << text << "\", expected rc "
         << rc << " \"" << reply << "\"";
    Fail(what.str());
    return false;
}

bool Ledger::Check(const std::string& kind, bool ok, const std::string& what) {
    Count& count = counts_[kind];
    ++count.sent;
    if (ok) return true;
    ++count.failed;
    Fail("after command " + std::to_string(commands_) + ": " + what);
    return false;
}

void Ledger::Fail(const std::string& text) {
    if (++failures_ <= kReportedFailures) failureTexts_.push_back(text);
}

void Ledger::ReportFailures() const {
    for (const std::string& text : failureTexts_) ADD_FAILURE() << text;
}

void Ledger::Print(const std::string& title) const {
    std::printf("%s: %d commands, %d failures\n", title.c_str(), commands_, failures_);
    for (const auto& [kind, count] : counts_) {
        std::printf("  %-44s %6d  failed %d\n", kind.c_str(), count.sent, count.failed);
    }
    std::fflush(stdout);
}

std::vector<std::string> ErrorLines(const std::string& out) {
    std::vector<std::string> lines;
    std::istringstream in(out);
    for (std::string line; std::getline(in, line);) {
        if (line.rfind("ERROR : ", 0) == 0) lines.push_back(line);
    }
    return lines;
}

bool LinesMatch(const std::vector<std::string>& lines, const std::vector<std::string>& prefixes, std::string& why) {
    for (size_t i = 0; i < lines.size() && i < prefixes.size(); ++i) {
        if (lines[i].rfind(prefixes[i], 0) != 0) {
            why = "line " + std::to_string(i) + " \"" + lines[i] + "\", expected \"" + prefixes[i] + "...\"";
            return false;
        }
    }
    if (lines.size() != prefixes.size()) {
        why = std::to_string(lines.size()) + " ERROR lines, expected " + std::to_string(prefixes.size());
        return false;
    }
    return true;
}

}  // namespace stress
