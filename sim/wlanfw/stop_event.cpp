#include "sim/wlanfw/stop_event.h"

#include <poll.h>
#include <sys/eventfd.h>

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <cstring>
#include <stdexcept>
#include <string>

namespace tavo::sim::wlanfw {

StopEvent::StopEvent() : fd_(::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)) {
    if (!fd_.Valid()) throw std::runtime_error(std::string("wlanfw: eventfd: ") + std::strerror(errno));
}

void StopEvent::Raise() {
    const std::uint64_t one = 1;
    // The counter only grows, so the descriptor stays readable.
    const ssize_t written = ::write(fd_.Get(), &one, sizeof one);
    static_cast<void>(written);
}

bool StopEvent::Raised() const { return WaitFor(std::chrono::milliseconds(0)); }

bool StopEvent::WaitFor(std::chrono::milliseconds limit) const {
    using Clock = std::chrono::steady_clock;
    const Clock::time_point end = Clock::now() + limit;
    for (;;) {
        const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(end - Clock::now());
        struct pollfd p = {fd_.Get(), POLLIN, 0};
        const int ready = ::poll(&p, 1, static_cast<int>(std::max<long long>(left.count(), 0)));
        if (ready > 0) return true;
        if (ready == 0) {
            if (Clock::now() >= end) return false;
            continue;  // poll rounds down; wait out the rest
        }
        if (errno != EINTR) return false;
    }
}

}  // namespace tavo::sim::wlanfw
