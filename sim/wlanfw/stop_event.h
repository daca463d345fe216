// A flag that a serving thread can wait on together with its sockets: once
// raised it stays raised, and every wait on it returns at once.
#pragma once

#include <chrono>

#include "sim/wlanfw/owned_fd.h"

namespace tavo::sim::wlanfw {

class StopEvent {
public:
    // Throws std::runtime_error when no eventfd can be had.
    StopEvent();

    void Raise();
    bool Raised() const;
    int Fd() const { return fd_.Get(); }
    // Waits `limit` or until raised; true when raised.
    bool WaitFor(std::chrono::milliseconds limit) const;

private:
    OwnedFd fd_;
};

}  // namespace tavo::sim::wlanfw
