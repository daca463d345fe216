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

}  // namespace stress
