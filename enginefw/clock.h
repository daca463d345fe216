// High-resolution clock and stopwatch on the real-time clock.
//
// Every read of the clock goes through one internal reader that remembers the
// last time each thread saw. When a thread sees the clock step back, the global
// backwards_timestamp_callback (if set) is called with the old and the new time,
// each as 16 hexadecimal digits: the 8 bytes of a 32-bit seconds word followed
// by a 32-bit nanoseconds word, in memory order, "%02x" per byte. That is the
// layout the clock has on the 32-bit target, kept the same on 64-bit hosts.
//
// HiResClockSetSource replaces clock_gettime for the whole process; tests use it
// to drive time by hand. It also moves SignalBox deadlines, so a test that swaps
// the source does not wait on a SignalBox with a limit at the same time.
#pragma once

#include <cstdint>
#include <ctime>

#include "enginefw/counted.h"

extern void (*backwards_timestamp_callback)(const char* oldTime, const char* newTime);

using HiResClockSource = int (*)(clockid_t, struct timespec*);
// Null restores clock_gettime. Returns the source in force before.
HiResClockSource HiResClockSetSource(HiResClockSource source);

// The time, and the result of the clock call (0 on success).
int HiResClockGetNanoSec(struct timespec* now);
// Seconds * 1000 + nanoseconds / 1000000, wrapping at 32 bits.
std::uint32_t HiResClockGetMilliSec();
long HiResClockGetSec();
// With a non-null pointer stores the clock's resolution.
void InitHiResClock(struct timespec* resolution);

// Local time as "HH:MM:SS.mmm". The buffer must hold 13 bytes; the text is always
// cut to fit it. A time that cannot be converted reads "00:00:00.000".
void HiResClockHMS(char* buffer);
void HiResClockHMSFromPreset(char* buffer, long seconds, long nanoseconds);
// One nanosleep; a signal ends it early.
void HiResClockSleepMilliSec(unsigned int ms);

// Measures from its construction; copies share the same start.
class StopWatch {
public:
    class Impl;

    StopWatch();
    StopWatch(const StopWatch& other);
    StopWatch& operator=(const StopWatch& other);
    ~StopWatch();

    // Milliseconds since the start, 32-bit.
    std::uint32_t duration() const;
    // Microseconds since the start, 32-bit.
    std::uint32_t uduration() const;

private:
    CountedPointer<Impl> mImpl;
};
