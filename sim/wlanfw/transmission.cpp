#include "sim/wlanfw/transmission.h"

#include <algorithm>
#include <limits>

namespace tavo::sim::wlanfw {

Transmission::Transmission(std::uint32_t framesToSend, std::uint32_t intervalUs, TimePoint start)
    : framesToSend_(framesToSend), periodUs_(intervalUs == 0 ? kBackToBackPeriodUs : intervalUs), start_(start) {}

TxStatus Transmission::Status(TimePoint now) const {
    TxStatus status;
    status.started = true;
    status.continuous = framesToSend_ == 0;
    status.framesToSend = framesToSend_;
    status.periodUs = periodUs_;
    const unsigned long long elapsed = MicrosBetween(start_, now) / periodUs_;
    const unsigned long long cap =
        status.continuous ? std::numeric_limits<std::uint32_t>::max() : static_cast<unsigned long long>(framesToSend_);
    status.framesSent = static_cast<std::uint32_t>(std::min(elapsed, cap));
    status.framesLeft = status.continuous ? 0 : framesToSend_ - status.framesSent;
    status.sending = status.continuous || status.framesLeft > 0;
    return status;
}

}  // namespace tavo::sim::wlanfw
