// wlbt for station scripts: the verdict of a result, the waiting line, and
// the binary's exit status, summary and sequence files with their includes.
#include <gtest/gtest.h>

#include <sys/stat.h>
#include <sys/wait.h>

#include <cstdio>
#include <memory>
#include <mutex>
#include <string>

#include "support/chores.h"
#include "tools/wlbt_station.h"

namespace {

using wlbt::Verdict;

TEST(WlbtVerdict, IsReadOnlyWhereTheServicePutsIt) {
    const struct {
        const char* result;
        Verdict verdict;
    } rows[] = {
        {"", Verdict::kNone},
        {"NG", Verdict::kNg},
        {"OKAY", Verdict::kNone},
        {"OK:NG,-40;dev,NG,-60", Verdict::kOk},  // device names are never read
        {"+WIFIRF:6,NG", Verdict::kNg},
        {"+WIFIRF:0,OK,NG", Verdict::kOk},  // a text value "NG"
        {"+WIFIRF:0,NGX", Verdict::kNone},
        {"+WIFIRF:0", Verdict::kNone},
        {"+WIFIX:0,36\n,OK", Verdict::kOk},
        {"+WIFIX:0,NG_ONE,OK", Verdict::kOk},
        {"+WIFIX:6,OK,NG", Verdict::kNg},  // a text value "OK", the verdict last
        {"+WIFIX:0,OK,NG_ONE", Verdict::kNone},
        {"+BTRF:0,OK,0.100", Verdict::kOk},
        {"+UNIT:000004,NG", Verdict::kNg},
        {"+UNIT OK", Verdict::kNone},
    };
    for (const auto& r : rows) {
        SCOPED_TRACE(r.result);
        EXPECT_EQ(wlbt::ReadVerdict(r.result), r.verdict);
    }
}

TEST(WlbtWaitIndicator, EndsAtOnceAndErasesOnlyWhatItShowed) {
    std::mutex mutex;
    std::string shown;
    const auto sink = [&](const std::string& text) {
        std::lock_guard<std::mutex> lock(mutex);
        shown += text;
    };
    { wlbt::WaitIndicator waiting("UNIT=9", sink, std::chrono::hours(1)); }  // a hang if the end did not wake it
    EXPECT_EQ(shown, "");
    {
        wlbt::WaitIndicator waiting(std::string(64, 'A'), sink, std::chrono::milliseconds(0), std::chrono::hours(1));
        ASSERT_TRUE(testsupport::WaitUntil(
            [&] {
                std::lock_guard<std::mutex> lock(mutex);
                return !shown.empty();
            },
            std::chrono::seconds(10)));
    }
    // Cut to 50 columns, so that '\r' can rewrite it on an 80-column terminal.
    const std::string line = "\r  waiting for " + std::string(47, 'A') + "... ... ";
    EXPECT_EQ(shown.substr(0, line.size()), line);
    EXPECT_EQ(shown.substr(shown.size() - 6), " s\r\033[K");
}

TEST(Wlbt, ExitStatusSummaryAndSequencesForStationScripts) {
    testsupport::TempDir dir;
    testsupport::WriteFile(dir / "unit.at", "UNIT=9\n");
    ASSERT_EQ(mkdir((dir / "seq").c_str(), 0755), 0);
    testsupport::WriteFile(dir / "seq/factory.at", "# both radios\nAT+BT=1\n@wlan.at\n@../unit.at\n");
    testsupport::WriteFile(dir / "seq/wlan.at", "AT+WIFIRF=9,9,9,9\n");
    testsupport::WriteFile(dir / "seq/broken.at", "UNIT=9\n@unit.at\n");
    testsupport::WriteFile(dir / "gap.at", "UNIT=9\n@ \n");
    // c0.at includes c1.at, ... c8.at includes c9.at, which holds a command.
    for (int i = 0; i < 9; ++i) {
        testsupport::WriteFile(dir / ("c" + std::to_string(i) + ".at"), "@ c" + std::to_string(i + 1) + ".at \r\n");
    }
    testsupport::WriteFile(dir / "c9.at", "UNIT=9");
    const std::string ok = "UNIT=9\n  rc 0  \"+UNIT:000000,OK\"\n";
    const std::string ng = "AT+WIFIRF=9,9,9,9\n  rc 0  \"+WIFIRF:6,NG\"\n";
    const struct {
        const char* arguments;
        const char* input;
        int status;
        std::string out;
        const char* err;  // a part of standard error
    } rows[] = {
        {"--summary UNIT=9", "", 0, ok + "summary UNIT=: 1 commands, 1 OK, 0 NG\n", ""},
        {"UNIT=9 AT+WIFIRF=9,9,9,9", "", 1, ok + ng, ""},  // code 0, verdict NG
        {"--summary -f seq/factory.at -f unit.at", "HELLO\n", 1,
         "AT+BT=1\n  rc 2  \"NG\"\n" + ng + ok + ok + "summary AT+WIFI: 1 commands, 0 OK, 1 NG\n" +
             "summary UNIT=: 2 commands, 2 OK, 0 NG\nsummary other: 1 commands, 0 OK, 1 NG\n",
         ""},
        {"-f unit.at -f seq/broken.at", "", 2, "", "seq/broken.at:2: cannot read seq/unit.at: No such file"},
        {"-f unit.at UNIT=9", "", 2, "", "not both"},
        {"-f c1.at", "", 0, ok, ""},
        {"-f c0.at", "", 2, "", "c8.at:1: cannot include c9.at: includes nest deeper than 8 files"},
        {"-f gap.at", "", 2, "", "gap.at:2: an include line needs a file name after '@'"},
        {"", "#\n\n@unit.at\r\n@seq/unit.at\nUNIT=9\n", 2, ok, "stdin:4: cannot read seq/unit.at"},
    };
    for (const auto& r : rows) {
        SCOPED_TRACE(r.arguments);
        testsupport::WriteFile(dir / "stdin", r.input);
        const std::string command = "cd " + dir.Path() + " && " WLBT_BINARY " " + r.arguments + " <stdin 2>stderr";
        std::unique_ptr<FILE, int (*)(FILE*)> pipe(popen(command.c_str(), "r"), pclose);
        std::string out;
        char line[4096];
        while (fgets(line, sizeof line, pipe.get()) != nullptr) {
            if (std::string(line).rfind("ERROR : ", 0) != 0) out += line;  // the library's own complaint
        }
        const int status = pclose(pipe.release());
        EXPECT_EQ(WIFEXITED(status) ? WEXITSTATUS(status) : -1, r.status);
        EXPECT_EQ(out, r.out);
        EXPECT_NE(testsupport::ReadFile(dir / "stderr").value_or("").find(r.err), std::string::npos);
    }
}

}  // namespace
