// What the engine framework tests share: the framework clock driven by hand,
// the capture of a standard stream, and the headers all of them use.
#pragma once

#include <gtest/gtest.h>
#include <pthread.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <functional>
#include <iostream>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include "enginefw/clock.h"
#include "support/chores.h"

namespace eftest {

// Replaces the framework's real-time clock while it lives; time moves only
// when the test says so.
class FakeClock {
public:
    explicit FakeClock(std::int64_t seconds, std::int64_t ns = 0) : mPrevious(HiResClockSetSource(&Read)) {
        Set(seconds, ns);
    }
    ~FakeClock() { HiResClockSetSource(mPrevious); }
    FakeClock(const FakeClock&) = delete;
    FakeClock& operator=(const FakeClock&) = delete;
    static void Set(std::int64_t seconds, std::int64_t ns) { sNow = seconds * 1000000000LL + ns; }
    static void AdvanceMs(std::int64_t ms) { sNow += ms * 1000000LL; }
    static inline std::atomic<int> sReads{0};  // how often the framework has read it

private:
    static int Read(clockid_t, timespec* ts) {
        const std::int64_t now = (++sReads, sNow.load());
        ts->tv_sec = static_cast<time_t>(now / 1000000000LL), ts->tv_nsec = static_cast<long>(now % 1000000000LL);
        return 0;
    }
    static inline std::atomic<std::int64_t> sNow{0};
    HiResClockSource mPrevious;
};

// Swaps the buffer of std::cout or std::cerr for a string while it lives.
class StreamCapture {
public:
    explicit StreamCapture(std::ostream& stream) : mStream(stream), mOld(stream.rdbuf(mBuffer.rdbuf())) {}
    ~StreamCapture() { mStream.rdbuf(mOld); }
    std::string Text() const { return mBuffer.str(); }

private:
    std::ostream& mStream;
    std::ostringstream mBuffer;
    std::streambuf* mOld;
};

// True once pred holds; false after a generous bound.
inline bool Eventually(const std::function<bool()>& pred) {
    return testsupport::WaitUntil(pred, std::chrono::seconds(20));
}

inline std::vector<std::string> SplitLines(const std::string& text) {
    std::vector<std::string> lines;
    std::istringstream in(text);
    for (std::string line; std::getline(in, line);) lines.push_back(line);
    return lines;
}

}  // namespace eftest
