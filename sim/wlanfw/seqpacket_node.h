// The firmware's device node on a workstation: a listening Unix socket of
// type SOCK_SEQPACKET at a path in the simulator's tree. One datagram is
// one frame in each direction.
#pragma once

#include <cstddef>
#include <string>

#include "sim/wlanfw/owned_fd.h"
#include "sim/wlanfw/bytes.h"
#include "sim/wlanfw/stop_event.h"

namespace tavo::sim::wlanfw {

class SeqpacketNode {
public:
    // Binds and listens at `path`, replacing a stale socket left there.
    // Throws std::runtime_error (path too long, something else in the way,
    // no socket).
    explicit SeqpacketNode(std::string path);
    // Closes the socket and removes the node.
    ~SeqpacketNode();
    SeqpacketNode(const SeqpacketNode&) = delete;
    SeqpacketNode& operator=(const SeqpacketNode&) = delete;

    int Fd() const { return fd_.Get(); }
    const std::string& Path() const { return path_; }
    // A pending connection, or an invalid descriptor.
    OwnedFd Accept() const;

private:
    std::string path_;
    OwnedFd fd_;
};

enum class ReceiveStatus { kDatagram, kTooLong, kClosed, kNothing };

// Reads one datagram of at most `limit` bytes from `fd` without blocking.
// A longer datagram is consumed whole and reported as kTooLong, with its
// length in `length`. `peerGone` tells an empty datagram from the end of
// the connection, which read the same.
ReceiveStatus ReceiveDatagram(int fd, std::size_t limit, bool peerGone, Bytes& out, std::size_t& length);

// Sends one datagram, waiting while the peer's queue is full; gives up when
// `stop` is raised or the connection fails. True when sent.
bool SendDatagram(int fd, const Bytes& datagram, const StopEvent& stop);

}  // namespace tavo::sim::wlanfw
