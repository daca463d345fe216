// Reports files written and closed in a set of directories, on a thread of
// its own (inotify: IN_CLOSE_WRITE, and IN_MOVED_TO for files replaced by a
// rename). Directories are watched rather than files so that a file that is
// removed and created again is still seen.
#pragma once

#include <functional>
#include <string>
#include <thread>
#include <vector>

#include "sim/unique_fd.h"

namespace tavo::sim {

class FileWatcher {
public:
    // `dir` is the index into the directories given to the constructor;
    // `name` the file's name within it. For a lost event queue (the kernel's
    // queue overflowed) `dir` is -1 and `name` empty.
    using Callback = std::function<void(int dir, const std::string& name)>;

    // Starts watching at once. Throws std::runtime_error when a directory
    // cannot be watched.
    FileWatcher(const std::vector<std::string>& dirs, Callback callback);
    // Stops and joins the thread; no callback runs after it returns.
    ~FileWatcher();
    FileWatcher(const FileWatcher&) = delete;
    FileWatcher& operator=(const FileWatcher&) = delete;

private:
    void Run();
    // Returns false when the thread must end.
    bool Drain();

    UniqueFd inotify_;
    UniqueFd stop_;  // eventfd: readable once the owner wants the thread gone
    std::vector<int> watches_;
    Callback callback_;
    std::thread thread_;
};

}  // namespace tavo::sim
