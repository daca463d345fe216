#include "sim/wlanfw/frame_counter.h"

#include <algorithm>
#include <limits>

namespace tavo::sim::wlanfw {
namespace {

std::uint32_t Saturate(unsigned long long value) {
    return static_cast<std::uint32_t>(std::min<unsigned long long>(value, std::numeric_limits<std::uint32_t>::max()));
}

}  // namespace

FrameCounter::FrameCounter(std::uint32_t framesPerSecond, std::uint32_t errorPermille)
    : rate_(std::min(framesPerSecond, kMaxRate)), errorPermille_(std::min(errorPermille, kPermille)) {}

void FrameCounter::Restart(RxCounts base, TimePoint now) {
    base_ = base;
    since_ = now;
}

RxCounts FrameCounter::Counts(TimePoint now) const {
    // Microseconds times a rate of at most 10^6 stays far inside 64 bits
    // for any run shorter than half a million years.
    const unsigned long long micros = std::min<unsigned long long>(MicrosBetween(since_, now), 1ULL << 40);
    const unsigned long long arrived = micros * rate_ / 1000000ULL;
    const unsigned long long good = arrived - arrived * errorPermille_ / kPermille;
    return RxCounts{Saturate(base_.total + arrived), Saturate(base_.good + good)};
}

void FrameCounter::SetRate(std::uint32_t framesPerSecond, TimePoint now) {
    Restart(Counts(now), now);
    rate_ = std::min(framesPerSecond, kMaxRate);
}

void FrameCounter::SetErrorPermille(std::uint32_t permille, TimePoint now) {
    Restart(Counts(now), now);
    errorPermille_ = std::min(permille, kPermille);
}

}  // namespace tavo::sim::wlanfw
