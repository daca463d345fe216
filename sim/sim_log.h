// The simulator's log: one line per thing the chip did ("firmware: rk720 ->
// rk720_t (force_crash)"). The newest lines are kept in memory, at most a
// fixed number, for tests to wait on and assert; every line is also
// appended to a file (root/sim/log) for a station developer to read.
#pragma once

#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <functional>
#include <mutex>
#include <string>
#include <vector>

#include "sim/unique_fd.h"

namespace tavo::sim {

class SimLog {
public:
    static constexpr std::size_t kDefaultCapacity = 4096;
    // Longer lines are cut and end in "...".
    static constexpr std::size_t kMaxLineLength = 1024;

    explicit SimLog(std::size_t capacity = kDefaultCapacity);
    SimLog(const SimLog&) = delete;
    SimLog& operator=(const SimLog&) = delete;

    // Appends every later line to `path` as well. Throws std::runtime_error.
    void OpenFile(const std::string& path);
    void CloseFile();

    // Adds one line. Control characters are shown as \xNN, so that one call
    // is always one line in the file.
    void Write(const std::string& line);

    // Called with every line, under the log's lock: the observer must not
    // write to this log. Null removes it.
    void SetObserver(std::function<void(const std::string&)> observer);

    // The lines in memory, oldest first.
    std::vector<std::string> Lines() const;
    // Number of lines written so far, including those no longer in memory.
    std::uint64_t Count() const;
    bool Contains(const std::string& text) const;
    // Waits until a line numbered `from` or later (0 is the first line ever
    // written; see Count) contains `text`, at most `limit`.
    bool WaitFor(const std::string& text, std::chrono::milliseconds limit, std::uint64_t from = 0) const;

private:
    bool ContainsLocked(const std::string& text, std::uint64_t from) const;

    const std::size_t capacity_;
    mutable std::mutex mutex_;
    mutable std::condition_variable changed_;
    std::deque<std::string> lines_;
    std::uint64_t count_ = 0;  // lines ever written; lines_.front() is number count_ - size
    UniqueFd file_;
    std::function<void(const std::string&)> observer_;
};

}  // namespace tavo::sim
