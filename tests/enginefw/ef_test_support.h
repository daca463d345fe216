// Helpers for the engine framework tests: a clock driven by hand, and capture
// of what the framework writes to std::cout, std::cerr and file descriptor 1.
#pragma once

#include <cstdlib>

#include <unistd.h>

#include <cstdio>

#include <atomic>
#include <cstdint>
#include <ctime>
#include <iostream>
#include <sstream>
#include <string>
#include <vector>

#include "enginefw/clock.h"

namespace eftest {

// Replaces the real-time clock while it lives. Time starts at the given
// seconds and moves only when the test says so.
class FakeClock {
public:
    explicit FakeClock(std::int64_t startSeconds) : mPrevious(HiResClockSetSource(&Read)) {
        Now().store(startSeconds * 1000000000LL);
    }
    ~FakeClock() { HiResClockSetSource(mPrevious); }
    FakeClock(const FakeClock&) = delete;
    FakeClock& operator=(const FakeClock&) = delete;

    static void Set(std::int64_t seconds, std::int64_t nanoseconds) {
        Now().store(seconds * 1000000000LL + nanoseconds);
    }
    static void AdvanceMs(std::int64_t ms) { Now().fetch_add(ms * 1000000LL); }
    static void AdvanceNs(std::int64_t ns) { Now().fetch_add(ns); }

private:
    static std::atomic<std::int64_t>& Now() {
        static std::atomic<std::int64_t> now{0};
        return now;
    }
    static int Read(clockid_t, timespec* ts) {
        const std::int64_t now = Now().load();
        ts->tv_sec = static_cast<time_t>(now / 1000000000LL);
        ts->tv_nsec = static_cast<long>(now % 1000000000LL);
        return 0;
    }
    HiResClockSource mPrevious;
};

// An empty temporary file for log output, removed when the object goes.
class TempLogFile {
public:
    explicit TempLogFile(const std::string& prefix) {
        std::string pattern = "/tmp/" + prefix + "XXXXXX";
        const int fd = mkstemp(&pattern[0]);
        if (fd >= 0) {
            close(fd);
            path_ = pattern;
        }
    }
    ~TempLogFile() {
        if (!path_.empty()) std::remove(path_.c_str());
    }
    TempLogFile(const TempLogFile&) = delete;
    TempLogFile& operator=(const TempLogFile&) = delete;
    bool Ok() const { return !path_.empty(); }
    const std::string& Path() const { return path_; }

private:
    std::string path_;
};

// Swaps the buffer of a standard stream for a string buffer while it lives.
class StreamCapture {
public:
    explicit StreamCapture(std::ostream& stream) : mStream(stream), mOld(stream.rdbuf(mBuffer.rdbuf())) {}
    ~StreamCapture() { mStream.rdbuf(mOld); }
    StreamCapture(const StreamCapture&) = delete;
    StreamCapture& operator=(const StreamCapture&) = delete;
    std::string Text() const { return mBuffer.str(); }

private:
    std::ostream& mStream;
    std::ostringstream mBuffer;
    std::streambuf* mOld;
};

inline std::vector<std::string> SplitLines(const std::string& text) {
    std::vector<std::string> lines;
    std::istringstream in(text);
    for (std::string line; std::getline(in, line);) {
        lines.push_back(line);
    }
    return lines;
}

}  // namespace eftest
