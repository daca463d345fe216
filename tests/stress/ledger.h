// What the stress runs share: the simulated chip with the pure waits taken
// out, and a ledger that forwards each command, checks its code and its
// whole reply against the one expected, and counts outcomes by kind.
#pragma once

#include <map>
#include <string>
#include <vector>

#include "support/fake_tool.h"
#include "support/sim_env.h"

namespace stress {

// The simulator with btcli's script sleeps cut short (fast-sleep) and a
// `sleep` that returns at once first on PATH: every firmware switch runs
// all its shell steps and the simulator reloads the firmware as ever, only
// the shell's one-second pause between them is gone. Without it each close
// of the WLAN DUT would cost a second of nothing. The tool comes after the
// environment, so its PATH is put back before the environment's.
struct Lab {
    Lab();
    testsupport::SimEnv env;
    testsupport::FakeTool sleep{"sleep", "exit 0"};
};

class Ledger {
public:
    // Forwards `command` with a result buffer that reads "untouched", and
    // checks the return code and the whole reply.
    bool Expect(const std::string& kind, const std::string& command, int rc, const std::string& reply);
    // Counts a check made outside a reply (what the simulated chip got).
    bool Check(const std::string& kind, bool ok, const std::string& what);
    // Counts an event that is not a check of its own.
    void Note(const std::string& kind) { ++counts_[kind].sent; }

    int Commands() const { return commands_; }
    int Failures() const { return failures_; }
    void Print(const std::string& title) const;
    // The first failures, as test failures. Kept until asked for, since
    // standard output (where the test's messages go) may be captured
    // while the commands run.
    void ReportFailures() const;

private:
    struct Count {
        int sent = 0;
        int failed = 0;
    };
    void Fail(const std::string& text);

    std::map<std::string, Count> counts_;
    std::vector<std::string> failureTexts_;
    int commands_ = 0;
    int failures_ = 0;
};

}  // namespace stress
