// The simulator log: bounded in memory, every line in the file.
#include <gtest/gtest.h>

#include <chrono>
#include <fstream>
#include <string>
#include <thread>
#include <vector>

#include "sim/sim_log.h"
#include "sim_test_util.h"
#include "support/sim_env.h"

namespace {

using namespace std::chrono_literals;
using tavo::sim::SimLog;

TEST(SimLog, KeepsTheNewestLinesAndCountsAll) {
    SimLog log(3);
    for (int i = 0; i < 5; ++i) log.Write("line " + std::to_string(i));
    EXPECT_EQ(log.Lines(), (std::vector<std::string>{"line 2", "line 3", "line 4"}));
    EXPECT_EQ(log.Count(), 5u);
    EXPECT_FALSE(log.Contains("line 1"));
    EXPECT_TRUE(log.Contains("line 4"));
}

TEST(SimLog, OneCallIsOneLine) {
    struct Case {
        std::string written;
        std::string kept;
    } const cases[] = {
        {"plain", "plain"},
        {"two\nlines", "two\\x0alines"},
        {"tab\tand\rreturn", "tab\\x09and\\x0dreturn"},
        {std::string(SimLog::kMaxLineLength + 10, 'x'), std::string(SimLog::kMaxLineLength, 'x') + "..."},
    };
    testsupport::TempDir dir;
    SimLog log;
    log.OpenFile(dir.Path() + "/log");
    for (const Case& c : cases) log.Write(c.written);
    log.CloseFile();
    std::vector<std::string> kept;
    for (const Case& c : cases) kept.push_back(c.kept);
    EXPECT_EQ(log.Lines(), kept);
    EXPECT_EQ(simtest::Lines(simtest::ReadText(dir.Path() + "/log")), kept);
}

TEST(SimLog, FileIsAppendedTo) {
    testsupport::TempDir dir;
    const std::string path = dir.Path() + "/log";
    std::ofstream(path) << "earlier run\n";
    SimLog log;
    log.OpenFile(path);
    log.Write("now");
    EXPECT_EQ(simtest::ReadText(path), "earlier run\nnow\n");
    log.CloseFile();
    log.Write("memory only");
    EXPECT_EQ(simtest::ReadText(path), "earlier run\nnow\n");
    EXPECT_TRUE(log.Contains("memory only"));
    EXPECT_THROW(log.OpenFile(dir.Path() + "/missing/log"), std::runtime_error);
}

TEST(SimLog, WaitForSeesLinesFromAnotherThread) {
    SimLog log;
    log.Write("old match");
    const auto mark = log.Count();
    EXPECT_FALSE(log.WaitFor("match", 0ms, mark));
    std::thread writer([&log] {
        log.Write("unrelated");
        log.Write("new match");
    });
    EXPECT_TRUE(log.WaitFor("new match", 10s, mark));
    writer.join();
    EXPECT_TRUE(log.WaitFor("old match", 0ms));
}

TEST(SimLog, ObserverSeesEveryLine) {
    SimLog log;
    std::vector<std::string> seen;
    log.SetObserver([&seen](const std::string& line) { seen.push_back(line); });
    log.Write("a");
    log.Write("b\n");
    log.SetObserver(nullptr);
    log.Write("c");
    EXPECT_EQ(seen, (std::vector<std::string>{"a", "b\\x0a"}));
}

}  // namespace
