#include <gtest/gtest.h>

#include <cstring>
#include <ctime>
#include <mutex>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "enginefw/clock.h"
#include "tests/enginefw/ef_test_support.h"

namespace {

long LocalSeconds(int hour, int minute, int second) {
    tm local{};
    local.tm_year = 2024 - 1900;
    local.tm_mon = 5;
    local.tm_mday = 10;
    local.tm_hour = hour;
    local.tm_min = minute;
    local.tm_sec = second;
    local.tm_isdst = -1;
    return static_cast<long>(mktime(&local));
}

TEST(HiResClock, HmsFromPresetFormsAndStaysInThirteenBytes) {
    struct Case {
        int hour, minute, second;
        long nanoseconds;
        const char* expected;
    };
    const Case cases[] = {
        {13, 5, 9, 42000000L, "13:05:09.042"},
        {0, 0, 0, 0L, "00:00:00.000"},
        {23, 59, 59, 999999999L, "23:59:59.999"},
        {7, 8, 9, 1500000L, "07:08:09.001"},
        // Out-of-range nanoseconds are cut to the buffer, never written past it.
        {7, 8, 9, 123456789000L, "07:08:09.123"},
        {7, 8, 9, -5000000L, "07:08:09.-05"},
    };
    for (const Case& c : cases) {
        char buffer[20];
        std::memset(buffer, 'X', sizeof buffer);
        HiResClockHMSFromPreset(buffer, LocalSeconds(c.hour, c.minute, c.second), c.nanoseconds);
        EXPECT_STREQ(buffer, c.expected) << c.nanoseconds;
        EXPECT_EQ(buffer[13], 'X') << "wrote past 13 bytes for " << c.nanoseconds;
    }
}

TEST(HiResClock, HmsReadsTheClock) {
    eftest::FakeClock clock(0);
    eftest::FakeClock::Set(LocalSeconds(21, 30, 1), 250000000L);
    char buffer[13];
    HiResClockHMS(buffer);
    EXPECT_STREQ(buffer, "21:30:01.250");
}

TEST(HiResClock, MilliSecondsWrapAtThirtyTwoBits) {
    eftest::FakeClock clock(0);
    eftest::FakeClock::Set(5000000, 123456789);  // 5e9 ms + 123 ms
    const unsigned long long full = 5000000ULL * 1000ULL + 123ULL;
    EXPECT_EQ(HiResClockGetMilliSec(), static_cast<std::uint32_t>(full % (1ULL << 32)));
    EXPECT_EQ(HiResClockGetSec(), 5000000L);
    timespec now{};
    EXPECT_EQ(HiResClockGetNanoSec(&now), 0);
    EXPECT_EQ(now.tv_sec, 5000000);
    EXPECT_EQ(now.tv_nsec, 123456789L);
}

TEST(HiResClock, InitStoresTheResolution) {
    timespec resolution{-1, -1};
    InitHiResClock(&resolution);
    EXPECT_GE(resolution.tv_sec, 0);
    EXPECT_TRUE(resolution.tv_sec > 0 || resolution.tv_nsec > 0);
    InitHiResClock(nullptr);  // accepted, nothing to store
}

TEST(StopWatch, MeasuresFromConstructionAndCopiesShareTheStart) {
    eftest::FakeClock clock(1000);
    StopWatch first;
    eftest::FakeClock::AdvanceMs(1500);
    StopWatch copy(first);
    StopWatch later;  // its own start, 1.5 s after the first
    StopWatch assigned;
    assigned = first;
    eftest::FakeClock::AdvanceNs(250000);  // 0.25 ms
    EXPECT_EQ(first.duration(), 1500u);
    EXPECT_EQ(copy.duration(), first.duration());
    EXPECT_EQ(assigned.duration(), first.duration());
    EXPECT_EQ(first.uduration(), 1500250u);
    EXPECT_EQ(later.duration(), 0u);
    EXPECT_EQ(later.uduration(), 250u);
}

TEST(StopWatch, NanosecondBorrowAcrossASecond) {
    eftest::FakeClock clock(0);
    eftest::FakeClock::Set(10, 900000000);
    StopWatch watch;
    eftest::FakeClock::Set(12, 100000000);
    EXPECT_EQ(watch.duration(), 1200u);
    EXPECT_EQ(watch.uduration(), 1200000u);
}

std::mutex gCallbackMutex;
std::vector<std::pair<std::string, std::string>> gCallbacks;

void RecordBackwardStep(const char* oldTime, const char* newTime) {
    std::lock_guard<std::mutex> lock(gCallbackMutex);
    gCallbacks.emplace_back(oldTime, newTime);
}

TEST(HiResClock, BackwardStepCallsTheCallbackOnceWithBothTimesInHex) {
    eftest::FakeClock clock(0);
    backwards_timestamp_callback = &RecordBackwardStep;
    eftest::FakeClock::Set(0x12345678, 0xABCD);
    timespec now{};
    HiResClockGetNanoSec(&now);
    eftest::FakeClock::Set(0x12345677, 0xABCE);  // one second back, a little later in the second
    HiResClockGetNanoSec(&now);
    HiResClockGetNanoSec(&now);          // same time again: not a step back
    eftest::FakeClock::AdvanceMs(5000);  // forward: nothing
    HiResClockGetMilliSec();
    backwards_timestamp_callback = nullptr;

    std::lock_guard<std::mutex> lock(gCallbackMutex);
    ASSERT_EQ(gCallbacks.size(), 1u);
    // 32-bit seconds then 32-bit nanoseconds, each byte "%02x" in memory order.
    EXPECT_EQ(gCallbacks[0].first, "78563412cdab0000");
    EXPECT_EQ(gCallbacks[0].second, "77563412ceab0000");
}

TEST(HiResClock, BackwardStepIsSeenPerThread) {
    eftest::FakeClock clock(0);
    backwards_timestamp_callback = &RecordBackwardStep;
    eftest::FakeClock::Set(2000, 0);
    HiResClockGetSec();  // the main thread has seen 2000 s
    eftest::FakeClock::Set(1000, 0);
    // A fresh thread has seen nothing earlier: no step back for it.
    std::thread other([] { HiResClockGetSec(); });
    other.join();
    {
        std::lock_guard<std::mutex> lock(gCallbackMutex);
        EXPECT_TRUE(gCallbacks.empty());
    }
    HiResClockGetSec();  // the main thread does see it
    backwards_timestamp_callback = nullptr;
    std::lock_guard<std::mutex> lock(gCallbackMutex);
    EXPECT_EQ(gCallbacks.size(), 1u);
}

TEST(HiResClock, NoCallbackSetIsHarmless) {
    eftest::FakeClock clock(0);
    backwards_timestamp_callback = nullptr;
    eftest::FakeClock::Set(50, 0);
    HiResClockGetSec();
    eftest::FakeClock::Set(40, 0);
    EXPECT_EQ(HiResClockGetSec(), 40);
}

}  // namespace
