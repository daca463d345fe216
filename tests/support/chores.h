// The small chores every test program needs, in one place: a temporary
// directory, an environment variable set for a scope, a bounded polling
// wait, whole-file reads and writes, and child processes.
#pragma once

#include <sys/types.h>

#include <chrono>
#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace testsupport {

// Sets an environment variable for a scope and puts back what was there
// before: the old value, or no variable at all if there was none.
class ScopedEnv {
public:
    ScopedEnv(std::string name, const std::string& value);
    ~ScopedEnv();
    ScopedEnv(const ScopedEnv&) = delete;
    ScopedEnv& operator=(const ScopedEnv&) = delete;

private:
    std::string name_;
    bool had_ = false;
    std::string old_;
};

// A directory from mkdtemp, removed with everything below it at the end.
class TempDir {
public:
    explicit TempDir(const std::string& prefix = "/tmp/wlbt-test-");
    ~TempDir();
    TempDir(const TempDir&) = delete;
    TempDir& operator=(const TempDir&) = delete;
    const std::string& Path() const { return path_; }
    // A file or directory name inside it.
    std::string operator/(const std::string& name) const { return path_ + "/" + name; }

private:
    std::string path_;
};

// Polls `pred` every few milliseconds until it holds; false when `limit`
// passes first. The bound is a safety net, never the thing under test.
bool WaitUntil(const std::function<bool()>& pred, std::chrono::milliseconds limit);

// The whole file, or nothing when it cannot be read.
std::optional<std::string> ReadFile(const std::string& path);
// Replaces the file's content; false when it cannot be written.
bool WriteFile(const std::string& path, const std::string& text);

// A program run as a child process; killed and reaped at the end of the
// scope if it still runs.
class ChildProcess {
public:
    // Runs `argv[0]` (found through PATH) with these arguments.
    explicit ChildProcess(const std::vector<std::string>& argv);
    // Runs `body` in a forked copy of this process, which then exits with 0
    // (or with what `body` passes to _exit). For code that must crash or
    // change process-wide state without taking the test program with it.
    explicit ChildProcess(const std::function<void()>& body);
    ~ChildProcess();
    ChildProcess(const ChildProcess&) = delete;
    ChildProcess& operator=(const ChildProcess&) = delete;

    pid_t Pid() const { return pid_; }
    // The wait status once the child has ended within `limit`; nothing
    // while it still runs (or if it could not be started).
    std::optional<int> Wait(std::chrono::milliseconds limit);

private:
    pid_t pid_ = -1;
    bool reaped_ = false;
    int status_ = 0;
};

}  // namespace testsupport
