#include <pthread.h>

#include "enginefw/clock.h"

class StopWatch::Impl : public Counter {
public:
    Impl() { HiResClockGetNanoSec(&start); }
    timespec start{};
};

namespace {
pthread_once_t gFirstStopWatch = PTHREAD_ONCE_INIT;
void init_clock_once() { InitHiResClock(nullptr); }

// Signed differences, so that a clock that stepped back gives a small wrapped
// value rather than undefined arithmetic.
long long elapsed(const timespec& start, long long secondScale, long long nanoDivisor) {
    timespec now{};
    HiResClockGetNanoSec(&now);
    const long long seconds = static_cast<long long>(now.tv_sec) - static_cast<long long>(start.tv_sec);
    const long long nanoseconds = static_cast<long long>(now.tv_nsec) - static_cast<long long>(start.tv_nsec);
    return seconds * secondScale + nanoseconds / nanoDivisor;
}
}  // namespace

StopWatch::StopWatch() {
    pthread_once(&gFirstStopWatch, &init_clock_once);
    mImpl = new Impl;
}

StopWatch::StopWatch(const StopWatch& other) = default;
StopWatch& StopWatch::operator=(const StopWatch& other) = default;
StopWatch::~StopWatch() = default;

std::uint32_t StopWatch::duration() const {
    return static_cast<std::uint32_t>(elapsed(mImpl->start, 1000LL, 1000000LL));
}

std::uint32_t StopWatch::uduration() const {
    return static_cast<std::uint32_t>(elapsed(mImpl->start, 1000000LL, 1000LL));
}
