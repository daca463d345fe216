// The firmware's sense of time. Transmissions count down and receivers
// count up against it; tests give the firmware a clock they advance by
// hand, so that counts are exact and no test depends on the speed of the
// machine.
#pragma once

#include <chrono>
#include <functional>

namespace tavo::sim::wlanfw {

using SimClock = std::chrono::steady_clock;
using TimePoint = SimClock::time_point;
using ClockSource = std::function<TimePoint()>;

// The real steady clock.
inline TimePoint SteadyNow() { return SimClock::now(); }

// Whole microseconds from `from` to `to`; 0 when the clock went backwards.
inline unsigned long long MicrosBetween(TimePoint from, TimePoint to) {
    if (to <= from) return 0;
    return static_cast<unsigned long long>(std::chrono::duration_cast<std::chrono::microseconds>(to - from).count());
}

}  // namespace tavo::sim::wlanfw
