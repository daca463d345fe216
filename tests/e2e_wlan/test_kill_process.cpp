// KillProcess through the simulator's ps stand-in: a child started under a
// name of its own is found by that exact name and ended with kill.
#include <gtest/gtest.h>

#include <signal.h>
#include <spawn.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cctype>
#include <chrono>
#include <cstdio>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "e2e_util.h"
#include "factory/FactoryUtil.h"
#include "support/log_capture.h"
#include "support/sim_env.h"

extern char** environ;

namespace {

using namespace std::chrono_literals;

constexpr char kTag[] = "FACTORY_SERVICE_UTIL";

// /bin/sleep started through a symbolic link named `name`, with `name` as
// its argv[0], which is what ps shows. Killed and reaped at the end of the
// scope if it still runs.
class Child {
public:
    Child(const std::string& dir, const std::string& name) : link_(dir + "/" + name) {
        if (::symlink("/bin/sleep", link_.c_str()) != 0) return;
        std::string arg0 = name;
        std::string arg1 = "60";
        char* argv[] = {arg0.data(), arg1.data(), nullptr};
        if (::posix_spawn(&pid_, link_.c_str(), nullptr, nullptr, argv, environ) != 0) pid_ = -1;
    }
    ~Child() {
        if (pid_ > 0 && !reaped_) {
            ::kill(pid_, SIGKILL);
            ::waitpid(pid_, nullptr, 0);
        }
        ::unlink(link_.c_str());
    }
    Child(const Child&) = delete;
    Child& operator=(const Child&) = delete;

    pid_t Pid() const { return pid_; }

    // The child runs the program under its name (the exec has happened).
    bool WaitStarted(const std::string& name) const {
        return e2e::WaitUntil(
            [&] {
                const auto cmdline = e2e::ReadText("/proc/" + std::to_string(pid_) + "/cmdline");
                return cmdline && cmdline->rfind(name + '\0', 0) == 0;
            },
            10000ms);
    }

    // Reaps the child if it ends within `limit`; its wait status, or
    // nothing while it still runs.
    std::optional<int> WaitEnded(std::chrono::milliseconds limit) {
        const bool ended = e2e::WaitUntil(
            [&] {
                if (!reaped_ && ::waitpid(pid_, &status_, WNOHANG) == pid_) reaped_ = true;
                return reaped_;
            },
            limit);
        if (!ended) return std::nullopt;
        return status_;
    }

private:
    std::string link_;
    pid_t pid_ = -1;
    bool reaped_ = false;
    int status_ = 0;
};

// A name no other test or process uses.
std::string UniqueName(const std::string& base) {
    return base + "-" + std::to_string(::getpid());
}

TEST(E2eKillProcess, EndsEveryProcessOfThatName) {
    for (const size_t count : {1u, 3u}) {
        SCOPED_TRACE(std::to_string(count) + " processes of the name");
        testsupport::SimEnv env;
        const std::string name = UniqueName("tavo-victim");
        std::vector<std::unique_ptr<Child>> children;
        for (size_t i = 0; i < count; ++i) {
            // One link per child; the name is the link's, the same for all.
            const std::string dir = env.Root() + "/victim" + std::to_string(i);
            ASSERT_EQ(::mkdir(dir.c_str(), 0755), 0);
            children.push_back(std::make_unique<Child>(dir, name));
            ASSERT_GT(children.back()->Pid(), 0);
            ASSERT_TRUE(children.back()->WaitStarted(name));
        }
        testsupport::LogCapture log;

        EXPECT_EQ(KillProcess(name.c_str()), 0);
        std::set<int> pids;
        for (const auto& child : children) {
            const std::optional<int> status = child->WaitEnded(10000ms);
            ASSERT_TRUE(status.has_value()) << "child " << child->Pid() << " still runs";
            EXPECT_TRUE(WIFSIGNALED(*status));
            EXPECT_EQ(WTERMSIG(*status), SIGTERM) << "plain kill sends the default signal";
            pids.insert(child->Pid());
        }

        // One line per process, with the whole ps row.
        const std::vector<std::string> texts = log.Texts(kTag);
        ASSERT_EQ(texts.size(), count);
        std::set<int> logged;
        for (const std::string& text : texts) {
            ASSERT_EQ(text.rfind("Killing ", 0), 0u) << text;
            char user[64], process[256];
            int pid = 0;
            ASSERT_EQ(std::sscanf(text.c_str() + 8, "%63s %d %*d %*d %*d %*s %*s %*c %255s", user, &pid, process), 3)
                << text;
            EXPECT_EQ(std::string(process), name);
            EXPECT_EQ(text.back(), '\n') << "the row as ps printed it, line end included";
            logged.insert(pid);
        }
        EXPECT_EQ(logged, pids);
    }
}

TEST(E2eKillProcess, NamesThatDoNotMatchExactlyKillNothing) {
    testsupport::SimEnv env;
    const std::string name = UniqueName("tavo-bystander");
    Child child(env.Root(), name);
    ASSERT_GT(child.Pid(), 0);
    ASSERT_TRUE(child.WaitStarted(name));
    testsupport::LogCapture log;

    const std::string upper = [&] {
        std::string s = name;
        for (char& c : s) c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
        return s;
    }();
    const std::vector<std::string> misses = {
        name.substr(0, name.size() - 1),  // a prefix
        name + "0",                       // longer
        upper,                            // another case
        name.substr(1),                   // a suffix
        "",                               // nothing
    };
    for (const std::string& miss : misses) {
        SCOPED_TRACE("\"" + miss + "\"");
        EXPECT_EQ(KillProcess(miss.c_str()), 0);
    }
    // Had any call matched, its kill would have run before KillProcess
    // returned; the child is still there.
    EXPECT_FALSE(child.WaitEnded(0ms).has_value());
    EXPECT_EQ(::kill(child.Pid(), 0), 0);
    EXPECT_EQ(log.Texts(kTag), std::vector<std::string>{});
}

}  // namespace
