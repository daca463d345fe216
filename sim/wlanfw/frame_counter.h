// The receiver's frame counters: the total grows at a steady rate while
// the receiver runs, and a share of what arrives is in error. A test may
// set the counts outright; they go on growing from there at the rate, so a
// rate of 0 holds them still.
#pragma once

#include <cstdint>

#include "sim/wlanfw/sim_clock.h"

namespace tavo::sim::wlanfw {

struct RxCounts {
    std::uint32_t total = 0;
    std::uint32_t good = 0;
};

class FrameCounter {
public:
    static constexpr std::uint32_t kMaxRate = 1000000;   // frames per second
    static constexpr std::uint32_t kPermille = 1000;

    FrameCounter(std::uint32_t framesPerSecond, std::uint32_t errorPermille);

    // Counts from `base` on, as of `now`.
    void Restart(RxCounts base, TimePoint now);
    RxCounts Counts(TimePoint now) const;

    // Rate and error share apply to what arrives after `now`; the counts up
    // to `now` stay as they were.
    void SetRate(std::uint32_t framesPerSecond, TimePoint now);
    void SetErrorPermille(std::uint32_t permille, TimePoint now);
    std::uint32_t Rate() const { return rate_; }
    std::uint32_t ErrorPermille() const { return errorPermille_; }

private:
    std::uint32_t rate_;
    std::uint32_t errorPermille_;
    RxCounts base_;
    TimePoint since_{};
};

}  // namespace tavo::sim::wlanfw
