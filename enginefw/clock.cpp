#include "enginefw/clock.h"

#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <pthread.h>

void (*backwards_timestamp_callback)(const char* oldTime, const char* newTime) = nullptr;

namespace {
std::atomic<HiResClockSource> gClockSource{nullptr};

pthread_key_t gStoredTimeKey;
pthread_once_t gStoredTimeOnce = PTHREAD_ONCE_INIT;

void cleanup_stored_time(void* stored) { std::free(stored); }

void create_stored_time_key() { pthread_key_create(&gStoredTimeKey, &cleanup_stored_time); }

void format_time(const timespec& time, char (&text)[17]) {
    const auto seconds = static_cast<std::uint32_t>(time.tv_sec);
    const auto nanoseconds = static_cast<std::uint32_t>(time.tv_nsec);
    unsigned char bytes[8];
    std::memcpy(bytes, &seconds, 4);
    std::memcpy(bytes + 4, &nanoseconds, 4);
    for (int i = 0; i < 8; ++i) {
        std::snprintf(text + 2 * i, 3, "%02x", bytes[i]);
    }
}

bool earlier(const timespec& a, const timespec& b) {
    return a.tv_sec < b.tv_sec || (a.tv_sec == b.tv_sec && a.tv_nsec < b.tv_nsec);
}

int my_clock_gettime(timespec* now) {
    const HiResClockSource source = gClockSource.load(std::memory_order_acquire);
    const int result = source != nullptr ? source(CLOCK_REALTIME, now) : clock_gettime(CLOCK_REALTIME, now);

    pthread_once(&gStoredTimeOnce, &create_stored_time_key);
    auto* stored = static_cast<timespec*>(pthread_getspecific(gStoredTimeKey));
    if (stored == nullptr) {
        stored = static_cast<timespec*>(std::calloc(1, sizeof(timespec)));
        if (stored == nullptr) {
            return result;
        }
        pthread_setspecific(gStoredTimeKey, stored);
    }
    if (earlier(*now, *stored)) {
        char oldText[17];
        char newText[17];
        format_time(*stored, oldText);
        format_time(*now, newText);
        if (backwards_timestamp_callback != nullptr) {
            backwards_timestamp_callback(oldText, newText);
        }
    }
    *stored = *now;
    return result;
}
}  // namespace

HiResClockSource HiResClockSetSource(HiResClockSource source) {
    return gClockSource.exchange(source, std::memory_order_acq_rel);
}

int HiResClockGetNanoSec(struct timespec* now) {
    timespec local{};
    const int result = my_clock_gettime(&local);
    if (now != nullptr) {
        *now = local;
    }
    return result;
}

std::uint32_t HiResClockGetMilliSec() {
    timespec now{};
    my_clock_gettime(&now);
    return static_cast<std::uint32_t>(static_cast<std::uint64_t>(now.tv_sec) * 1000u +
                                      static_cast<std::uint64_t>(now.tv_nsec / 1000000));
}

long HiResClockGetSec() {
    timespec now{};
    my_clock_gettime(&now);
    return static_cast<long>(now.tv_sec);
}

void InitHiResClock(struct timespec* resolution) {
    pthread_once(&gStoredTimeOnce, &create_stored_time_key);
    if (resolution != nullptr) {
        clock_getres(CLOCK_REALTIME, resolution);
    }
}

void HiResClockHMS(char* buffer) {
    timespec now{};
    my_clock_gettime(&now);
    HiResClockHMSFromPreset(buffer, static_cast<long>(now.tv_sec), now.tv_nsec);
}

void HiResClockHMSFromPreset(char* buffer, long seconds, long nanoseconds) {
    if (buffer == nullptr) {
        return;
    }
    char hms[16] = "00:00:00";
    const time_t time = static_cast<time_t>(seconds);
    tm local{};
    if (localtime_r(&time, &local) == nullptr || std::strftime(hms, sizeof hms, "%H:%M:%S", &local) == 0) {
        std::strcpy(hms, "00:00:00");
    }
    // Formatted in full first, then cut to the caller's 13 bytes, so that a
    // nanosecond value out of range can never write past the buffer.
    char text[48];
    std::snprintf(text, sizeof text, "%.8s.%03li", hms, nanoseconds / 1000000);
    const size_t length = strnlen(text, 12);
    std::memcpy(buffer, text, length);
    buffer[length] = '\0';
}

void HiResClockSleepMilliSec(unsigned int ms) {
    timespec duration{};
    duration.tv_sec = static_cast<time_t>(ms / 1000);
    duration.tv_nsec = static_cast<long>(ms % 1000) * 1000000L;
    nanosleep(&duration, nullptr);
}
