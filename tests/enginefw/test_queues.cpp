#include <gtest/gtest.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <fcntl.h>
#include <fstream>
#include <poll.h>
#include <sstream>
#include <string>
#include <termios.h>
#include <unistd.h>
#include <vector>

#include "enginefw/msghandler.h"
#include "tests/enginefw/ef_test_support.h"

namespace {

const std::string kRule(78, '=');

TEST(CMsgQueue, LevelEnabledRules) {
    struct Case {
        unsigned type;
        unsigned level;
        bool expected;
    };
    // Mask all ones: only the level rules decide.
    const Case cases[] = {
        {0, 0, true},  {0, 3, true},  {0, 4, false}, {0, 5, true},   {0, 31, true}, {0, 32, false},
        {0, 99, false}, {1, 0, true}, {1, 4, false}, {1, 31, true},  {1, 32, false}, {2, 0, false},
        {7, 3, false},
    };
    for (const Case& c : cases) {
        CMsgQueue queue(static_cast<CMsgQueue::QueueType>(c.type), nullptr, true);
        EXPECT_EQ(queue.IsLevelEnabled(c.level), c.expected) << "type " << c.type << " level " << c.level;
    }
}

TEST(CMsgQueue, LevelEnableSetsBitsOrTheWholeMask) {
    CMsgQueue queue(CMsgQueue::DEBUG_QUEUE, nullptr, false);
    EXPECT_EQ(queue.GetLevelMask(), 0UL);
    queue.LevelEnable(3, true);
    queue.LevelEnable(31, true);
    EXPECT_EQ(queue.GetLevelMask(), (1UL << 3) | (1UL << 31));
    queue.LevelEnable(3, false);
    EXPECT_EQ(queue.GetLevelMask(), 1UL << 31);
    queue.LevelEnable(32, true);
    EXPECT_EQ(queue.GetLevelMask(), ~0UL);
    EXPECT_FALSE(queue.IsLevelEnabled(4)) << "level 4 is a selector and never prints";
    queue.LevelEnable(4, false);
    EXPECT_EQ(queue.GetLevelMask(), ~(1UL << 4));
    queue.LevelEnable(1000, false);
    EXPECT_EQ(queue.GetLevelMask(), 0UL);

    CMsgQueue source(CMsgQueue::STATUS_QUEUE, nullptr, false);
    source.LevelEnable(2, true);
    queue.InheritLevels(&source);
    EXPECT_EQ(queue.GetLevelMask(), 1UL << 2);
    queue.InheritLevels(nullptr);
    EXPECT_EQ(queue.GetLevelMask(), 1UL << 2);
}

TEST(CMsgQueue, OutputNeedsStreamAndLevel) {
    std::ostringstream out;
    CMsgQueue queue(CMsgQueue::STATUS_QUEUE, &out, false);
    queue.OutputMsg(2, "hidden", "extra");
    queue.LevelEnable(2, true);
    queue.OutputMsg(2, "shown", "extra is not printed");
    queue.OutputMsg(3, "other level", "");
    EXPECT_EQ(out.str(), "shown\n");
    queue.OutputMsg(2, nullptr, "");
    EXPECT_TRUE(out.bad()) << "a null text sets the stream's bad state";

    CMsgQueue noStream(CMsgQueue::STATUS_QUEUE, nullptr, true);
    noStream.OutputMsg(0, "nowhere", "");  // no stream: nothing, no failure
}

class RecordingProgress : public CProgressMsg {
public:
    void Notify(unsigned short percent) override { notified.push_back(percent); }
    std::vector<unsigned short> notified;
};

TEST(CProgressMsg, SetAndStepRules) {
    RecordingProgress progress;
    progress.Set(101);
    EXPECT_TRUE(progress.notified.empty());
    EXPECT_EQ(progress.GetPercent(), 0);
    progress.Set(100);
    EXPECT_EQ(progress.notified, std::vector<unsigned short>{100});
    progress.Set(98);
    progress += 5;
    EXPECT_EQ(progress.GetPercent(), 100);
    progress.Set(40);
    progress += 5;
    EXPECT_EQ(progress.GetPercent(), 45);
    progress++;
    EXPECT_EQ(progress.GetPercent(), 46);
    progress += -50;
    EXPECT_EQ(progress.GetPercent(), 0) << "a step below 0 stops at 0";
    EXPECT_EQ(progress.notified, (std::vector<unsigned short>{100, 98, 100, 40, 45, 46, 0}));

    // Silent mode stops Set, but not the step operators.
    progress.notified.clear();
    progress.SetSilentMode(true);
    EXPECT_TRUE(progress.IsSilent());
    progress.Set(10);
    EXPECT_EQ(progress.GetPercent(), 10);
    EXPECT_TRUE(progress.notified.empty());
    progress += 2;
    progress++;
    EXPECT_EQ(progress.notified, (std::vector<unsigned short>{12, 13}));

    CProgressMsg base;
    base.Set(50);  // the base notifies nobody
    EXPECT_EQ(base.GetPercent(), 50);
}

// Points file descriptor 1 at fd while it lives.
class StdoutRedirect {
public:
    explicit StdoutRedirect(int fd) : mSaved(dup(STDOUT_FILENO)) {
        std::fflush(stdout);
        dup2(fd, STDOUT_FILENO);
    }
    ~StdoutRedirect() {
        std::fflush(stdout);
        dup2(mSaved, STDOUT_FILENO);
        close(mSaved);
    }
    StdoutRedirect(const StdoutRedirect&) = delete;
    StdoutRedirect& operator=(const StdoutRedirect&) = delete;

private:
    int mSaved;
};

std::string DrainNonBlocking(int fd) {
    std::string text;
    char buffer[256];
    for (;;) {
        const ssize_t got = read(fd, buffer, sizeof buffer);
        if (got <= 0) {
            return text;
        }
        text.append(buffer, static_cast<size_t>(got));
    }
}

// The dot clock is a static of the class that starts at the first notice on a
// pipe, so the whole sequence runs in one test.
TEST(CConsoleProgressMsg, DotsOnAPipeAtMostEveryTwoSeconds) {
    eftest::FakeClock clock(5000);
    int fds[2];
    ASSERT_EQ(pipe(fds), 0);
    ASSERT_EQ(fcntl(fds[0], F_SETFL, O_NONBLOCK), 0);
    CConsoleProgressMsg progress;
    struct Step {
        long advanceMs;
        unsigned short percent;
        const char* expected;
    };
    const Step steps[] = {
        {0, 10, ""},       // starts the dot clock
        {2000, 90, ""},    // exactly two seconds is not more than two
        {0, 100, ""},      // no dot was printed: no newline either
        {1, 1, "."},       // 2001 ms since the start
        {1999, 2, ""},
        {1, 3, ""},        // exactly two seconds after the dot
        {1, 4, "."},
        {500, 5, ""},
        {2001, 6, "."},
        {0, 100, "\n"},    // a dot was printed: one newline
        {0, 100, ""},
        {10000, 101, ""},  // ignored by Set
    };
    std::vector<std::string> seen;
    std::vector<std::string> expected;
    {
        StdoutRedirect redirect(fds[1]);
        for (const Step& step : steps) {
            eftest::FakeClock::AdvanceMs(step.advanceMs);
            progress.Set(step.percent);
            std::fflush(stdout);
            seen.push_back(DrainNonBlocking(fds[0]));
            expected.push_back(step.expected);
        }
    }
    close(fds[1]);
    close(fds[0]);
    EXPECT_EQ(seen, expected);
}

TEST(CConsoleProgressMsg, PercentOnATerminal) {
    const int master = posix_openpt(O_RDWR | O_NOCTTY);
    ASSERT_GE(master, 0);
    ASSERT_EQ(grantpt(master), 0);
    ASSERT_EQ(unlockpt(master), 0);
    const int slave = open(ptsname(master), O_RDWR | O_NOCTTY);
    ASSERT_GE(slave, 0);
    termios raw{};
    ASSERT_EQ(tcgetattr(slave, &raw), 0);
    cfmakeraw(&raw);
    ASSERT_EQ(tcsetattr(slave, TCSANOW, &raw), 0);

    CConsoleProgressMsg progress;
    {
        StdoutRedirect redirect(slave);
        progress.Set(7);
        progress.Set(42);
        progress.Set(100);
    }
    const std::string expected = "\r  7%\r\r 42%\r100%\n";
    std::string text;
    pollfd pfd{master, POLLIN, 0};
    while (text.size() < expected.size() && poll(&pfd, 1, 5000) > 0) {
        char buffer[64];
        const ssize_t got = read(master, buffer, sizeof buffer);
        if (got <= 0) {
            break;
        }
        text.append(buffer, static_cast<size_t>(got));
    }
    close(slave);
    close(master);
    EXPECT_EQ(text, expected);
}

TEST(CConsoleStatusMsg, BlocksByLevel) {
    struct Case {
        int level;
        const char* prefix;
        std::string out;
        std::string err;
    };
    const Case cases[] = {
        {0, "p: ", "note\n", ""},
        {1, "", "note\n", ""},
        {2, "p: ", kRule + "\nWARNING: note\n" + kRule + "\n", ""},
        {3, "p: ", "", kRule + "\np: ERROR: note\n" + kRule + "\n"},
        {3, "", "", kRule + "\nERROR: note\n" + kRule + "\n"},
        {4, "", "", ""},  // a selector, never a level of a notice
        {5, "", "note\n", ""},
    };
    for (const Case& c : cases) {
        eftest::StreamCapture out(std::cout);
        eftest::StreamCapture err(std::cerr);
        CConsoleStatusMsg status;
        status.OutputMsg(static_cast<unsigned>(c.level), "note", c.prefix);
        EXPECT_EQ(out.Text(), c.out) << "level " << c.level;
        EXPECT_EQ(err.Text(), c.err) << "level " << c.level;
    }
    EXPECT_EQ(kRule.size(), 78u);
}

TEST(CConsoleStatusMsg, DisabledLevelPrintsNothing) {
    eftest::StreamCapture out(std::cout);
    eftest::StreamCapture err(std::cerr);
    CConsoleStatusMsg status;
    status.LevelEnable(2, false);
    status.LevelEnable(3, false);
    status.OutputMsg(2, "warn", "");
    status.OutputMsg(3, "fail", "");
    status.OutputMsg(1, "kept", "");
    EXPECT_EQ(out.Text(), "kept\n");
    EXPECT_EQ(err.Text(), "");
}

TEST(CLogFileStatusMsg, TwoArgumentFormAlsoWritesTheLogFile) {
    eftest::TempLogFile file("ef_status_");
    ASSERT_TRUE(file.Ok());
    std::ofstream log(file.Path(), std::ios::trunc);
    CTheMsgHnd::SetLogFileStream(&log);
    {
        eftest::StreamCapture out(std::cout);
        eftest::StreamCapture err(std::cerr);
        CLogFileStatusMsg status;
        status.OutputMsg(2, "warm");
        status.OutputMsg(3, "broken");
        status.OutputMsg(0, "info");
        status.OutputMsg(3, "console only", "pre: ");  // the virtual form: no log copy
        EXPECT_EQ(out.Text(), kRule + "\nWARNING: warm\n" + kRule + "\ninfo\n");
        EXPECT_EQ(err.Text(), kRule + "\nERROR: broken\n" + kRule + "\n" + kRule + "\npre: ERROR: console only\n" +
                                  kRule + "\n");
    }
    CTheMsgHnd::SetLogFileStream(nullptr);
    log.close();
    std::ifstream in(file.Path());
    std::stringstream content;
    content << in.rdbuf();
    EXPECT_EQ(content.str(),
              kRule + "\nWARNING: warm\n" + kRule + "\n" + kRule + "\nERROR: broken\n" + kRule + "\ninfo\n");
}

}  // namespace
