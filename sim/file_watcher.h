// Reports files written and closed in a set of directories, on a thread of
// its own (inotify: IN_CLOSE_WRITE, and IN_MOVED_TO for files replaced by a
// rename). Directories are watched rather than files so that a file that is
// removed and created again is still seen.
#pragma once

#include <functional>
#include <mutex>
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

    // Reports, on the caller's thread, every event the kernel has queued so
    // far, and returns once each of them has been handled, also when the
    // watcher thread had already taken them up. A file closed before the
    // call is always reported by the time it returns. Must not be called
    // from the callback.
    void DrainPending();

private:
    void Run();
    // Returns false when the thread must end. Called with drain_ held.
    bool Drain();

    UniqueFd inotify_;
    UniqueFd stop_;  // eventfd: readable once the owner wants the thread gone
    std::vector<int> watches_;
    Callback callback_;
    // Held from reading events to the end of their callbacks, so that no
    // caller of DrainPending returns while an event read is still unhandled.
    std::mutex drain_;
    std::thread thread_;
};

}  // namespace tavo::sim
