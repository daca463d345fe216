// The ps stand-in: Android toolbox rows that the library's KillProcess
// reads with sscanf.
#include <gtest/gtest.h>

#include <signal.h>
#include <spawn.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <climits>
#include <cstdio>
#include <fstream>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include "sim/ps_tool.h"
#include "sim_test_util.h"
#include "support/sim_env.h"

extern char** environ;

namespace {

using namespace std::chrono_literals;

constexpr char kHeader[] = "USER      PID   PPID  VSIZE  RSS   WCHAN              PC  NAME";

struct Parsed {
    int fields = 0;
    int pid = 0;
    int ppid = 0;
    char state = 0;
    std::string name;
};

// Exactly the reading the library does.
Parsed Parse(const std::string& line) {
    char user[1024], wchan[1024], pc[1024], name[1024];
    int vsize = 0, rss = 0;
    Parsed p;
    p.fields = std::sscanf(line.c_str(), "%1023s %d %d %d %d %1023s %1023s %c %1023s", user, &p.pid, &p.ppid, &vsize,
                           &rss, wchan, pc, &p.state, name);
    if (p.fields == 9) p.name = name;
    return p;
}

// A child process killed and reaped at the end of the scope.
class Child {
public:
    Child(const std::string& name, const std::vector<std::string>& args) {
        std::vector<char*> argv;
        std::vector<std::string> all = {name};
        all.insert(all.end(), args.begin(), args.end());
        for (std::string& a : all) argv.push_back(a.data());
        argv.push_back(nullptr);
        // Found through PATH, as a shell finds a tool: argv[0] is the bare name.
        if (::posix_spawnp(&pid_, name.c_str(), nullptr, nullptr, argv.data(), environ) != 0) pid_ = -1;
    }
    ~Child() {
        if (pid_ > 0) {
            ::kill(pid_, SIGKILL);
            ::waitpid(pid_, nullptr, 0);
        }
    }
    Child(const Child&) = delete;
    Child& operator=(const Child&) = delete;
    pid_t Pid() const { return pid_; }

private:
    pid_t pid_ = -1;
};

// The ps row whose name is `name`, waiting for it to show (bounded).
std::string FindRow(const std::string& command, const std::string& name) {
    const auto deadline = std::chrono::steady_clock::now() + 10s;
    while (std::chrono::steady_clock::now() < deadline) {
        for (const std::string& line : simtest::Lines(simtest::Run(command).out)) {
            if (Parse(line).name == name) return line;
        }
        std::this_thread::sleep_for(10ms);
    }
    return std::string();
}

TEST(SimPs, HeaderAndRowsParse) {
    testsupport::SimEnv env;
    const simtest::CommandResult r = simtest::Run("ps");
    ASSERT_EQ(r.status, 0);
    const std::vector<std::string> lines = simtest::Lines(r.out);
    ASSERT_GE(lines.size(), 3u);
    EXPECT_EQ(lines[0], kHeader);
    bool self = false;
    for (size_t i = 1; i < lines.size(); ++i) {
        const Parsed p = Parse(lines[i]);
        EXPECT_EQ(p.fields, 9) << lines[i];
        EXPECT_GT(p.pid, 0) << lines[i];
        if (p.pid == ::getpid()) {
            self = true;
            EXPECT_EQ(p.ppid, ::getppid());
        }
    }
    EXPECT_TRUE(self) << "this test process is not listed";
}

TEST(SimPs, ChildStartedByNameIsListed) {
    testsupport::SimEnv env;
    const std::string name = "tavo-sleeper-" + std::to_string(::getpid());
    const std::string sleep = simtest::Lines(simtest::Run("command -v sleep").out).at(0);
    ASSERT_EQ(::symlink(sleep.c_str(), env.Path("/bin/" + name).c_str()), 0);
    Child child(name, {"30"});
    ASSERT_GT(child.Pid(), 0);

    const std::string row = FindRow("ps", name);
    ASSERT_FALSE(row.empty()) << "the child never showed in ps";
    const Parsed p = Parse(row);
    EXPECT_EQ(p.pid, child.Pid());
    EXPECT_EQ(p.ppid, ::getpid());
    EXPECT_EQ(p.name, name);
    EXPECT_NE(std::string("RSD").find(p.state), std::string::npos) << row;

    // Filters: by pid and by the start of the name, as Android's ps.
    struct Case {
        std::string command;
        bool listed;
    } const cases[] = {
        {"ps " + std::to_string(child.Pid()), true},
        {"ps tavo-sleeper-", true},
        {"ps " + name, true},
        {"ps " + name + "x", false},
        {"ps 999999999", false},
    };
    for (const Case& c : cases) {
        const std::vector<std::string> lines = simtest::Lines(simtest::Run(c.command).out);
        ASSERT_FALSE(lines.empty()) << c.command;
        EXPECT_EQ(lines[0], kHeader) << c.command;
        EXPECT_EQ(lines.size(), c.listed ? 2u : 1u) << c.command;
        if (c.listed && lines.size() == 2) {
            EXPECT_EQ(Parse(lines[1]).pid, child.Pid()) << c.command;
        }
    }
}

TEST(SimPs, BadArguments) {
    testsupport::SimEnv env;
    for (const char* command : {"ps -ef 2>&1", "ps a b 2>&1", "ps '' 2>&1"}) {
        const simtest::CommandResult r = simtest::Run(command);
        EXPECT_EQ(r.status, 1) << command;
        EXPECT_NE(r.out.find("ps: unsupported arguments"), std::string::npos) << r.out;
    }
}

// Rows from a hand-made proc directory: odd names, huge sizes, bad stat.
TEST(SimPs, ReadsProcEntries) {
    testsupport::TempDir proc;
    std::string tail;  // stat fields 5 to 22, then vsize, rss, ..., kstkeip
    for (int field = 5; field <= 22; ++field) tail += " 0";
    struct Case {
        const char* what;
        std::string stat;
        std::string cmdline;
        bool ok;
        int ppid;
        char state;
        unsigned long vsizeKb;
        unsigned long rssKb;
        std::string name;  // as the row shows it
    } const cases[] = {
        {"plain", "7 (sleep) S 1" + tail + " 8192000 100 0 0 0 0 0 4096", std::string("sleep\0" "30\0", 9), true, 1,
         'S', 8000, 100 * static_cast<unsigned long>(::sysconf(_SC_PAGESIZE)) / 1024, "sleep"},
        {"full path stays", "7 (x) R 3" + tail + " 0 0", std::string("/usr/bin/x\0", 11), true, 3, 'R', 0, 0,
         "/usr/bin/x"},
        {"comm with ') ' inside", "7 (a) b (c) S 2" + tail + " 0 0", "", true, 2, 'S', 0, 0, "a) b (c"},
        {"kernel thread", "7 (kworker/0:1) I 2" + tail + " 0 0", "", true, 2, 'I', 0, 0, "kworker/0:1"},
        {"control characters", "7 (x) S 1" + tail + " 0 0", std::string("bad\nname\0", 9), true, 1, 'S', 0, 0,
         "bad?name"},
        {"huge vsize is capped", "7 (x) S 1" + tail + " 99999999999999999 0", "x", true, 1, 'S', INT_MAX, 0, "x"},
        {"cut short", "7 (x) S 1 0 0", "x", false, 0, 0, 0, 0, ""},
        {"no parenthesis", "7 x S 1" + tail + " 0 0", "x", false, 0, 0, 0, 0, ""},
        {"letters for numbers", "7 (x) S one" + tail + " 0 0", "x", false, 0, 0, 0, 0, ""},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        const std::string dir = proc.Path() + "/7";
        ::mkdir(dir.c_str(), 0755);
        std::ofstream(dir + "/stat") << c.stat << "\n";
        std::ofstream(dir + "/cmdline", std::ios::binary) << c.cmdline;
        std::ofstream(dir + "/wchan") << "do_nanosleep_with_long_name";
        tavo::sim::ProcessRow row;
        ASSERT_EQ(tavo::sim::ReadProcess(proc.Path(), 7, row), c.ok);
        if (!c.ok) continue;
        EXPECT_EQ(row.pid, 7);
        EXPECT_EQ(row.ppid, c.ppid);
        EXPECT_EQ(row.state, c.state);
        EXPECT_EQ(row.vsizeKb, c.vsizeKb);
        EXPECT_EQ(row.rssKb, c.rssKb);
        const std::string line = tavo::sim::FormatPsRow(row);
        const std::string end = " " + c.name + "\n";
        EXPECT_TRUE(line.size() > end.size() && line.compare(line.size() - end.size(), end.size(), end) == 0) << line;
        const Parsed p = Parse(line);
        EXPECT_EQ(p.fields, 9) << line;
        EXPECT_EQ(p.pid, 7);
        EXPECT_NE(line.find(" do_nanosle "), std::string::npos) << line;  // cut to 10
        EXPECT_EQ(line.find('\n'), line.size() - 1) << line;
    }
    tavo::sim::ProcessRow missing;
    EXPECT_FALSE(tavo::sim::ReadProcess(proc.Path(), 8, missing));
}

}  // namespace
