// The tavo-sim program: options, the lines it prints, running until a stop
// signal.
#include <gtest/gtest.h>

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <fstream>
#include <string>
#include <thread>
#include <vector>

#include "sim/serve.h"
#include "sim_test_util.h"
#include "support/sim_env.h"

extern char** environ;

namespace {

using namespace std::chrono_literals;

bool Has(const std::string& text, const std::string& part) {
    return text.find(part) != std::string::npos;
}

// tavo-sim run as a child with its standard output on a pipe.
class Program {
public:
    explicit Program(const std::vector<std::string>& args) {
        int fds[2];
        if (::pipe2(fds, O_CLOEXEC) != 0) return;
        out_ = fds[0];
        posix_spawn_file_actions_t actions;
        posix_spawn_file_actions_init(&actions);
        posix_spawn_file_actions_adddup2(&actions, fds[1], 1);
        std::vector<std::string> all = {testsupport::SimEnv::Binary()};
        all.insert(all.end(), args.begin(), args.end());
        std::vector<char*> argv;
        for (std::string& a : all) argv.push_back(a.data());
        argv.push_back(nullptr);
        if (::posix_spawn(&pid_, all[0].c_str(), &actions, nullptr, argv.data(), environ) != 0) pid_ = -1;
        posix_spawn_file_actions_destroy(&actions);
        ::close(fds[1]);
    }
    ~Program() {
        if (pid_ > 0) {
            ::kill(pid_, SIGKILL);
            ::waitpid(pid_, nullptr, 0);
        }
        if (out_ >= 0) ::close(out_);
    }
    Program(const Program&) = delete;
    Program& operator=(const Program&) = delete;

    // Standard output until `lines` line feeds were read or `limit` passed.
    std::string ReadLines(int lines, std::chrono::milliseconds limit) {
        std::string text;
        const auto deadline = std::chrono::steady_clock::now() + limit;
        while (std::count(text.begin(), text.end(), '\n') < lines) {
            const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(deadline - std::chrono::steady_clock::now());
            if (left.count() <= 0) break;
            struct pollfd p = {out_, POLLIN, 0};
            if (::poll(&p, 1, static_cast<int>(left.count())) <= 0) break;
            char buffer[256];
            const ssize_t n = ::read(out_, buffer, sizeof buffer);
            if (n <= 0) break;
            text.append(buffer, static_cast<size_t>(n));
        }
        return text;
    }

    void Signal(int sig) { ::kill(pid_, sig); }

    // The exit status, or -1 when it did not exit within `limit`.
    int Wait(std::chrono::milliseconds limit) {
        const auto deadline = std::chrono::steady_clock::now() + limit;
        while (std::chrono::steady_clock::now() < deadline) {
            int status = 0;
            const pid_t done = ::waitpid(pid_, &status, WNOHANG);
            if (done == pid_) {
                pid_ = -1;
                return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
            }
            std::this_thread::sleep_for(5ms);
        }
        return -1;
    }

private:
    pid_t pid_ = -1;
    int out_ = -1;
};

TEST(SimProgram, RunsUntilSignalled) {
    for (const int sig : {SIGTERM, SIGINT}) {
        SCOPED_TRACE(sig);
        testsupport::TempDir dir;
        const std::string root = dir.Path() + "/root";
        Program program({"--quiet", "--ap", "02:00:00:00:00:01,2412,-40.5,Lab, floor 2", "--root", root});
        const std::string exports = program.ReadLines(2, 20s);
        ASSERT_EQ(exports, "export TAVO_PLATFORM_ROOT=" + root + "\nexport PATH=" + root + "/bin:$PATH\n");

        // The printed lines are all a shell needs.
        std::ofstream(root + "/sys/class/net/wlan0/flags") << "0x1003\n";
        const simtest::CommandResult scan = simtest::Run("env -u TAVO_PLATFORM_ROOT sh -c '" + exports +
                                                         "iw dev wlan0 scan; echo -n \"rk720_t\" > "
                                                         "$TAVO_PLATFORM_ROOT/sys/module/tavo_rk/parameters/"
                                                         "firmware_variant; echo 0xDEADDEAD > $TAVO_PLATFORM_ROOT/"
                                                         "sys/module/tavo_bt/parameters/force_crash'");
        EXPECT_EQ(scan.status, 0);
        EXPECT_TRUE(Has(scan.out, "\tSSID: Lab, floor 2\n")) << scan.out;
        EXPECT_TRUE(Has(scan.out, "\tsignal: -40.50 dBm\n")) << scan.out;

        const auto deadline = std::chrono::steady_clock::now() + 10s;
        while (!Has(simtest::ReadText(root + "/sim/log"), "firmware: rk720 -> rk720_t (force_crash)") &&
               std::chrono::steady_clock::now() < deadline) {
            std::this_thread::sleep_for(10ms);
        }
        EXPECT_TRUE(Has(simtest::ReadText(root + "/sim/log"), "firmware: rk720 -> rk720_t (force_crash)"));

        program.Signal(sig);
        EXPECT_EQ(program.Wait(20s), 0);
        const std::string log = simtest::ReadText(root + "/sim/log");
        EXPECT_TRUE(Has(log, sig == SIGTERM ? "simulator: stopping on SIGTERM\n" : "simulator: stopping on SIGINT\n"));
        EXPECT_EQ(log.substr(log.size() - std::string("simulator: stopped\n").size()), "simulator: stopped\n");
        // The tree stays for the developer to look at.
        EXPECT_EQ(simtest::ReadText(root + "/sys/module/tavo_rk/parameters/firmware_variant"), "rk720_t");
    }
}

TEST(SimProgram, UsageAndErrors) {
    testsupport::TempDir dir;
    const std::string bin = testsupport::SimEnv::Binary();
    struct Case {
        std::string args;
        int status;
        const char* text;
    } const cases[] = {
        {"--help", 0, "Usage: tavo-sim"},
        {"-h", 0, "--ap BSSID,FREQ,SIGNAL,SSID"},
        {"", 2, "tavo-sim: no root directory given"},
        {"--bogus " + dir.Path(), 2, "tavo-sim: unknown option \"--bogus\""},
        {"--root", 2, "tavo-sim: --root needs a value"},
        {"--root=", 2, "tavo-sim: empty root directory"},
        {dir.Path() + " " + dir.Path(), 2, "only one root directory may be given"},
        {"--ap 02:00:00:00:00:01 " + dir.Path(), 2, "--ap wants BSSID,FREQ,SIGNAL,SSID"},
        {"--ap 02:00:00:00:00:01,24x2,-40,x " + dir.Path(), 2, "--ap: bad frequency"},
        {"--ap 02:00:00:00:00:01,2412,loud,x " + dir.Path(), 2, "--ap: bad signal"},
        {"--ap nonsense,2412,-40,x " + dir.Path(), 2, "--ap: bad BSSID"},
        {"--root=/", 1, "tavo-sim: the simulator's root must not be /"},
        {"--root " + dir.Path() + "/file/below", 1, "tavo-sim: cannot create directory"},
    };
    std::ofstream(dir.Path() + "/file") << "x";
    for (const Case& c : cases) {
        const simtest::CommandResult r = simtest::Run(bin + " " + c.args + " 2>&1 </dev/null");
        EXPECT_EQ(r.status, c.status) << c.args << "\n" << r.out;
        EXPECT_TRUE(Has(r.out, c.text)) << c.args << "\n" << r.out;
    }
}

TEST(SimProgram, AccessPointOption) {
    struct Case {
        const char* text;
        bool ok;
        const char* ssid;
        int frequency;
        double signal;
    } const cases[] = {
        {"02:00:00:00:00:01,2412,-45.5,Home", true, "Home", 2412, -45.5},
        {"02:00:00:00:00:01,5180,-70,a,b,c", true, "a,b,c", 5180, -70},
        {"02:00:00:00:00:01,2412,-45,", true, "", 2412, -45},
        {"02:00:00:00:00:01,2412,-45", false, "", 0, 0},
        {"02:00:00:00:00:01,,-45,x", false, "", 0, 0},
        {"02:00:00:00:00:01,2412,,x", false, "", 0, 0},
        {"02:00:00:00:00:01,2412,-45.5x,x", false, "", 0, 0},
        {"02:00:00:00:00:01,8000,-45,x", false, "", 0, 0},
    };
    for (const Case& c : cases) {
        tavo::sim::AccessPoint ap;
        std::string error;
        EXPECT_EQ(tavo::sim::ParseAccessPointOption(c.text, ap, error), c.ok) << c.text;
        if (!c.ok) {
            EXPECT_FALSE(error.empty()) << c.text;
            continue;
        }
        EXPECT_EQ(ap.bssid, "02:00:00:00:00:01");
        EXPECT_EQ(ap.ssid, c.ssid);
        EXPECT_EQ(ap.frequency, c.frequency);
        EXPECT_DOUBLE_EQ(ap.signal, c.signal);
    }
}

TEST(SimProgram, ExportLinesQuoteWhatTheShellWouldRead) {
    struct Case {
        const char* root;
        const char* lines;
    } const cases[] = {
        {"/tmp/sim-1", "export TAVO_PLATFORM_ROOT=/tmp/sim-1\nexport PATH=/tmp/sim-1/bin:$PATH\n"},
        {"/tmp/a b", "export TAVO_PLATFORM_ROOT='/tmp/a b'\nexport PATH='/tmp/a b/bin':\"$PATH\"\n"},
        {"/tmp/it's", "export TAVO_PLATFORM_ROOT='/tmp/it'\\''s'\nexport PATH='/tmp/it'\\''s/bin':\"$PATH\"\n"},
    };
    for (const Case& c : cases) {
        EXPECT_EQ(tavo::sim::ExportLines(c.root), c.lines);
        // And a shell reads them back as they were meant.
        const simtest::CommandResult r = simtest::Run(std::string("PATH=/usr/bin:/bin sh -c '") +
                                                      "eval \"$1\"; printf %s \"$TAVO_PLATFORM_ROOT|$PATH\"' sh '" +
                                                      [&] {
                                                          std::string q;
                                                          for (const char* p = c.lines; *p; ++p) {
                                                              q += *p == '\'' ? std::string("'\\''") : std::string(1, *p);
                                                          }
                                                          return q;
                                                      }() +
                                                      "'");
        EXPECT_EQ(r.out, std::string(c.root) + "|" + c.root + "/bin:/usr/bin:/bin") << c.root;
    }
}

}  // namespace
