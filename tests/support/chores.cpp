#include "support/chores.h"

#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <stdexcept>
#include <thread>

#include "sim/fs_util.h"

extern char** environ;

namespace testsupport {

using namespace std::chrono_literals;

ScopedEnv::ScopedEnv(std::string name, const std::string& value) : name_(std::move(name)) {
    const char* old = std::getenv(name_.c_str());
    had_ = old != nullptr;
    if (had_) old_ = old;
    ::setenv(name_.c_str(), value.c_str(), 1);
}

ScopedEnv::~ScopedEnv() {
    had_ ? ::setenv(name_.c_str(), old_.c_str(), 1) : ::unsetenv(name_.c_str());
}

TempDir::TempDir(const std::string& prefix) {
    std::string name = prefix + "XXXXXX";
    if (::mkdtemp(&name[0]) == nullptr) tavo::sim::ThrowSystemError("mkdtemp failed", name);
    path_ = name;
}

TempDir::~TempDir() {
    tavo::sim::RemoveTree(path_);
}

bool WaitUntil(const std::function<bool()>& pred, std::chrono::milliseconds limit) {
    const auto deadline = std::chrono::steady_clock::now() + limit;
    for (;;) {
        if (pred()) return true;
        if (std::chrono::steady_clock::now() >= deadline) return false;
        std::this_thread::sleep_for(2ms);
    }
}

// The simulator's own file helpers, in the shape the tests want: no
// exceptions, nothing for a file that cannot be read.
std::optional<std::string> ReadFile(const std::string& path) {
    std::string content;
    if (!tavo::sim::ReadFile(path, content, std::size_t{1} << 30)) return std::nullopt;
    return content;
}

bool WriteFile(const std::string& path, const std::string& text) {
    try {
        tavo::sim::WriteFile(path, text);
        return true;
    } catch (const std::runtime_error&) {
        return false;
    }
}

ChildProcess::ChildProcess(const std::vector<std::string>& argv) {
    std::vector<char*> args;
    for (const std::string& a : argv) args.push_back(const_cast<char*>(a.c_str()));
    args.push_back(nullptr);
    if (::posix_spawnp(&pid_, args[0], nullptr, nullptr, args.data(), environ) != 0) pid_ = -1;
}

ChildProcess::ChildProcess(const std::function<void()>& body) {
    pid_ = ::fork();
    if (pid_ == 0) {
        body();
        ::_exit(0);
    }
}

ChildProcess::~ChildProcess() {
    if (pid_ > 0 && !reaped_) {
        ::kill(pid_, SIGKILL);
        ::waitpid(pid_, nullptr, 0);
    }
}

std::optional<int> ChildProcess::Wait(std::chrono::milliseconds limit) {
    if (pid_ <= 0) return std::nullopt;
    reaped_ = reaped_ || WaitUntil([&] { return ::waitpid(pid_, &status_, WNOHANG) == pid_; }, limit);
    return reaped_ ? std::optional<int>(status_) : std::nullopt;
}

}  // namespace testsupport
