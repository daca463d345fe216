#include "sim/wlanfw/seqpacket_node.h"

#include <poll.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <stdexcept>

namespace tavo::sim::wlanfw {
namespace {

[[noreturn]] void Fail(const std::string& what, const std::string& path) {
    throw std::runtime_error("wlanfw: " + what + ": " + path + ": " + std::strerror(errno));
}

}  // namespace

SeqpacketNode::SeqpacketNode(std::string path) : path_(std::move(path)) {
    struct sockaddr_un address;
    std::memset(&address, 0, sizeof address);
    if (path_.size() >= sizeof address.sun_path) {
        errno = ENAMETOOLONG;
        Fail("socket path", path_);
    }
    address.sun_family = AF_UNIX;
    std::memcpy(address.sun_path, path_.c_str(), path_.size());

    struct stat st;
    if (::lstat(path_.c_str(), &st) == 0) {
        // A socket left by an earlier run; anything else is not ours to remove.
        if (!S_ISSOCK(st.st_mode)) {
            errno = EEXIST;
            Fail("not a socket", path_);
        }
        if (::unlink(path_.c_str()) != 0) Fail("cannot remove the old node", path_);
    }
    fd_.Reset(::socket(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
    if (!fd_.Valid()) Fail("socket", path_);
    if (::bind(fd_.Get(), reinterpret_cast<struct sockaddr*>(&address), sizeof address) != 0) Fail("bind", path_);
    if (::listen(fd_.Get(), 4) != 0) {
        const int saved = errno;
        ::unlink(path_.c_str());
        errno = saved;
        Fail("listen", path_);
    }
}

SeqpacketNode::~SeqpacketNode() {
    fd_.Reset();
    ::unlink(path_.c_str());
}

OwnedFd SeqpacketNode::Accept() const {
    return OwnedFd(::accept4(fd_.Get(), nullptr, nullptr, SOCK_CLOEXEC | SOCK_NONBLOCK));
}

ReceiveStatus ReceiveDatagram(int fd, std::size_t limit, bool peerGone, Bytes& out, std::size_t& length) {
    out.resize(limit);
    // MSG_TRUNC gives the datagram's true length even when it did not fit.
    const ssize_t got = ::recv(fd, out.data(), out.size(), MSG_DONTWAIT | MSG_TRUNC);
    if (got < 0) {
        out.clear();
        length = 0;
        if (errno == EAGAIN || errno == EWOULDBLOCK || errno == EINTR) return ReceiveStatus::kNothing;
        return ReceiveStatus::kClosed;
    }
    length = static_cast<std::size_t>(got);
    if (length == 0 && peerGone) {
        out.clear();
        return ReceiveStatus::kClosed;
    }
    if (length > limit) {
        out.clear();
        return ReceiveStatus::kTooLong;
    }
    out.resize(length);
    return ReceiveStatus::kDatagram;
}

bool SendDatagram(int fd, const Bytes& datagram, const StopEvent& stop) {
    for (;;) {
        const ssize_t sent = ::send(fd, datagram.data(), datagram.size(), MSG_DONTWAIT | MSG_NOSIGNAL);
        if (sent >= 0) return true;
        if (errno == EINTR) continue;
        if (errno != EAGAIN && errno != EWOULDBLOCK) return false;
        struct pollfd p[2] = {{fd, POLLOUT, 0}, {stop.Fd(), POLLIN, 0}};
        if (::poll(p, 2, -1) < 0 && errno != EINTR) return false;
        if (p[1].revents != 0) return false;
        if ((p[0].revents & (POLLERR | POLLHUP | POLLNVAL)) != 0) return false;
    }
}

}  // namespace tavo::sim::wlanfw
