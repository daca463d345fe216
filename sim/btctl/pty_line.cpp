#include "sim/btctl/pty_line.h"

#include <fcntl.h>
#include <sys/ioctl.h>
#include <stdlib.h>
#include <sys/stat.h>
#include <termios.h>
#include <unistd.h>

#include <cerrno>
#include <climits>
#include <cstring>
#include <stdexcept>
#include <utility>

#include "sim/fs_util.h"

namespace tavo::sim::btctl {
namespace {

[[noreturn]] void Fail(const std::string& what) {
    throw std::runtime_error("btctl: " + what + ": " + std::strerror(errno));
}

}  // namespace

PtyLine::PtyLine(const std::string& linkPath) : linkPath_(linkPath) {
    master_.Reset(::posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC | O_NONBLOCK));
    if (!master_.Valid()) Fail("posix_openpt");
    if (::grantpt(master_.Get()) != 0) Fail("grantpt");
    if (::unlockpt(master_.Get()) != 0) Fail("unlockpt");
    char name[PATH_MAX];
    const int named = ::ptsname_r(master_.Get(), name, sizeof name);
    if (named != 0) {
        errno = named;
        Fail("ptsname");
    }
    slavePath_ = name;
    slave_.Reset(::open(name, O_RDWR | O_NOCTTY | O_CLOEXEC));
    if (!slave_.Valid()) ThrowSystemError("btctl: cannot open the terminal", slavePath_);
    struct termios raw {};
    if (::tcgetattr(slave_.Get(), &raw) != 0) Fail("tcgetattr");
    ::cfmakeraw(&raw);
    if (::tcsetattr(slave_.Get(), TCSANOW, &raw) != 0) Fail("tcsetattr");
    struct stat old {};
    if (::lstat(linkPath_.c_str(), &old) == 0 && ::unlink(linkPath_.c_str()) != 0) {
        ThrowSystemError("btctl: cannot replace", linkPath_);
    }
    if (::symlink(slavePath_.c_str(), linkPath_.c_str()) != 0) ThrowSystemError("btctl: cannot link", linkPath_);
    linked_ = true;
}

PtyLine::~PtyLine() { HangUp(); }

std::size_t PtyLine::PendingForHost() const {
    int pending = 0;
    if (!slave_.Valid() || ::ioctl(slave_.Get(), FIONREAD, &pending) != 0 || pending < 0) return 0;
    return static_cast<std::size_t>(pending);
}

void PtyLine::HangUp() {
    master_.Reset();
    slave_.Reset();
    if (!std::exchange(linked_, false)) return;
    // Only our own link: a controller started since may have replaced it.
    char target[PATH_MAX];
    const ssize_t n = ::readlink(linkPath_.c_str(), target, sizeof target - 1);
    if (n > 0 && slavePath_ == std::string(target, static_cast<std::size_t>(n))) ::unlink(linkPath_.c_str());
}

}  // namespace tavo::sim::btctl
