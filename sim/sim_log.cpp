#include "sim/sim_log.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>

#include "sim/fs_util.h"

namespace tavo::sim {

SimLog::SimLog(std::size_t capacity) : capacity_(std::max<std::size_t>(capacity, 1)) {}

void SimLog::OpenFile(const std::string& path) {
    UniqueFd fd(::open(path.c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0644));
    if (!fd.Valid()) ThrowSystemError("cannot open the simulator log", path);
    std::lock_guard<std::mutex> lock(mutex_);
    file_ = std::move(fd);
}

void SimLog::CloseFile() {
    std::lock_guard<std::mutex> lock(mutex_);
    file_.Reset();
}

void SimLog::Write(const std::string& line) {
    // Only control characters are escaped: enough to keep one line per
    // call, and the rest reads as written.
    std::string text;
    const size_t n = std::min(line.size(), kMaxLineLength);
    for (size_t i = 0; i < n; ++i) {
        const unsigned char c = static_cast<unsigned char>(line[i]);
        if (c < 0x20 || c == 0x7f) {
            static const char kHex[] = "0123456789abcdef";
            text += "\\x";
            text += kHex[c >> 4];
            text += kHex[c & 0xf];
        } else {
            text += static_cast<char>(c);
        }
    }
    if (line.size() > kMaxLineLength) text += "...";
    {
        std::lock_guard<std::mutex> lock(mutex_);
        if (file_.Valid()) {
            const std::string withEnd = text + "\n";
            // One write per line: O_APPEND keeps lines whole even when a
            // stand-in in another process appends too. A failed write
            // loses the line in the file only.
            const ssize_t written = ::write(file_.Get(), withEnd.data(), withEnd.size());
            static_cast<void>(written);
        }
        lines_.push_back(text);
        ++count_;
        while (lines_.size() > capacity_) lines_.pop_front();
        if (observer_) observer_(text);
    }
    changed_.notify_all();
}

void SimLog::SetObserver(std::function<void(const std::string&)> observer) {
    std::lock_guard<std::mutex> lock(mutex_);
    observer_ = std::move(observer);
}

std::vector<std::string> SimLog::Lines() const {
    std::lock_guard<std::mutex> lock(mutex_);
    return std::vector<std::string>(lines_.begin(), lines_.end());
}

std::uint64_t SimLog::Count() const {
    std::lock_guard<std::mutex> lock(mutex_);
    return count_;
}

bool SimLog::Contains(const std::string& text) const {
    std::lock_guard<std::mutex> lock(mutex_);
    return ContainsLocked(text, 0);
}

bool SimLog::ContainsLocked(const std::string& text, std::uint64_t from) const {
    const std::uint64_t first = count_ - lines_.size();
    for (size_t i = 0; i < lines_.size(); ++i) {
        if (first + i < from) continue;
        if (lines_[i].find(text) != std::string::npos) return true;
    }
    return false;
}

bool SimLog::WaitFor(const std::string& text, std::chrono::milliseconds limit, std::uint64_t from) const {
    std::unique_lock<std::mutex> lock(mutex_);
    return changed_.wait_for(lock, limit, [&] { return ContainsLocked(text, from); });
}

}  // namespace tavo::sim
