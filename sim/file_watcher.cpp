#include "sim/file_watcher.h"

#include <poll.h>
#include <sys/eventfd.h>
#include <sys/inotify.h>

#include <cerrno>
#include <cstdint>
#include <cstring>
#include <stdexcept>

#include "sim/fs_util.h"

namespace tavo::sim {

FileWatcher::FileWatcher(const std::vector<std::string>& dirs, Callback callback)
    : inotify_(::inotify_init1(IN_CLOEXEC | IN_NONBLOCK)),
      stop_(::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)),
      callback_(std::move(callback)) {
    if (!inotify_.Valid()) ThrowSystemError("cannot start watching", "inotify");
    if (!stop_.Valid()) ThrowSystemError("cannot start watching", "eventfd");
    for (const std::string& dir : dirs) {
        const int wd = ::inotify_add_watch(inotify_.Get(), dir.c_str(), IN_CLOSE_WRITE | IN_MOVED_TO | IN_ONLYDIR);
        if (wd < 0) ThrowSystemError("cannot watch", dir);
        watches_.push_back(wd);
    }
    thread_ = std::thread(&FileWatcher::Run, this);
}

FileWatcher::~FileWatcher() {
    const std::uint64_t one = 1;
    // An eventfd write of 1 cannot fail short of a counter overflow.
    const ssize_t n = ::write(stop_.Get(), &one, sizeof one);
    static_cast<void>(n);
    if (thread_.joinable()) thread_.join();
}

void FileWatcher::Run() {
    for (;;) {
        struct pollfd fds[2] = {{inotify_.Get(), POLLIN, 0}, {stop_.Get(), POLLIN, 0}};
        const int ready = ::poll(fds, 2, -1);
        if (ready < 0) {
            if (errno == EINTR) continue;
            return;
        }
        if (fds[1].revents != 0) return;
        if (fds[0].revents & (POLLERR | POLLHUP | POLLNVAL)) return;
        if ((fds[0].revents & POLLIN) != 0) {
            std::lock_guard<std::mutex> lock(drain_);
            if (!Drain()) return;
        }
    }
}

void FileWatcher::DrainPending() {
    std::lock_guard<std::mutex> lock(drain_);
    // A broken queue ends the thread's loop; here there is nothing more to report.
    static_cast<void>(Drain());
}

bool FileWatcher::Drain() {
    alignas(struct inotify_event) char buffer[8192];
    for (;;) {
        const ssize_t n = ::read(inotify_.Get(), buffer, sizeof buffer);
        if (n < 0) {
            if (errno == EINTR) continue;
            return errno == EAGAIN || errno == EWOULDBLOCK;
        }
        if (n == 0) return false;
        size_t offset = 0;
        while (offset + sizeof(struct inotify_event) <= static_cast<size_t>(n)) {
            struct inotify_event event;
            std::memcpy(&event, buffer + offset, sizeof event);
            const size_t total = sizeof event + event.len;
            if (offset + total > static_cast<size_t>(n)) break;
            const char* name = buffer + offset + sizeof event;
            offset += total;
            if (event.mask & IN_Q_OVERFLOW) {
                callback_(-1, std::string());
                continue;
            }
            if ((event.mask & (IN_CLOSE_WRITE | IN_MOVED_TO)) == 0 || event.len == 0) continue;
            for (size_t i = 0; i < watches_.size(); ++i) {
                if (watches_[i] != event.wd) continue;
                callback_(static_cast<int>(i), std::string(name, strnlen(name, event.len)));
                break;
            }
        }
    }
}

}  // namespace tavo::sim
