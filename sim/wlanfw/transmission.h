// A frame stream that tx_start_req set going: it sends one frame per period
// until its count runs out, or without end when the count was 0.
#pragma once

#include <cstdint>

#include "sim/wlanfw/requests.h"
#include "sim/wlanfw/sim_clock.h"

namespace tavo::sim::wlanfw {

struct TxStatus {
    bool started = false;      // between an accepted tx_start_req and tx_stop_req
    bool sending = false;      // started and frames still to go (always, when continuous)
    bool continuous = false;   // started with num_frames_to_send 0
    std::uint32_t framesToSend = 0;
    std::uint32_t framesSent = 0;
    std::uint32_t framesLeft = 0;  // 0 when continuous
    std::uint32_t periodUs = 0;
};

class Transmission {
public:
    // An interval of 0 ("as fast as you like") sends back to back, one
    // frame per kBackToBackPeriodUs.
    static constexpr std::uint32_t kBackToBackPeriodUs = 100;

    Transmission(std::uint32_t framesToSend, std::uint32_t intervalUs, TimePoint start);

    TxStatus Status(TimePoint now) const;

private:
    std::uint32_t framesToSend_;
    std::uint32_t periodUs_;
    TimePoint start_;
};

}  // namespace tavo::sim::wlanfw
