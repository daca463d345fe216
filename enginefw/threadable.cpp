#include "enginefw/threadable.h"

#include <atomic>
#include <cerrno>
#include <cstdint>
#include <pthread.h>
#include <signal.h>
#include <sys/time.h>

#include "enginefw/fatal_error.h"

namespace {
enum : unsigned int { kStopped = 0, kStarting = 1, kRunning = 2 };

std::atomic<unsigned long> gForcedKills{0};

void check(int rc, const char* text) {
    if (rc != 0) {
        fatal_error(text, rc);
    }
}
}  // namespace

class Threadable::ThreadData {
public:
    ThreadData() {
        check(pthread_mutex_init(&mutex, nullptr), "Threadable::ThreadData::ThreadData - mutex init");
        check(pthread_cond_init(&condition, nullptr), "Threadable::ThreadData::ThreadData - cond init");
    }
    ~ThreadData() {
        check(pthread_cond_destroy(&condition), "Threadable::ThreadData::~ThreadData - cond destroy");
        check(pthread_mutex_destroy(&mutex), "Threadable::ThreadData::~ThreadData - mutex destroy");
    }
    ThreadData(const ThreadData&) = delete;
    ThreadData& operator=(const ThreadData&) = delete;

    static void* __ThreadFunker(void* arg);
    static void __ThreadCleanup(void* arg);
    // Called with the mutex held.
    bool _WaitForStop(unsigned int ms);

    pthread_t thread{};
    pthread_mutex_t mutex;
    pthread_cond_t condition;
    // Written by the thread, read without a lock by GetExitCode.
    std::atomic<unsigned int> exitCode{0};
    bool keepGoing = true;
    unsigned int state = kStopped;
};

void* Threadable::ThreadData::__ThreadFunker(void* arg) {
    auto* self = static_cast<Threadable*>(arg);
    ThreadData* const data = self->mData;

    check(pthread_mutex_lock(&data->mutex), "Threadable::ThreadData::__ThreadFunker - mutex lock");
    data->state = kRunning;
    // A broadcast: a Start and a WaitForStop or Kill may wait at once.
    check(pthread_cond_broadcast(&data->condition), "Threadable::ThreadData::__ThreadFunker - cond signal");
    check(pthread_mutex_unlock(&data->mutex), "Threadable::ThreadData::__ThreadFunker - mutex unlock");

    // After the cleanup handler has run, the object may already be gone: the
    // result is kept in a local for the return.
    unsigned int code = 0;
    pthread_cleanup_push(&ThreadData::__ThreadCleanup, self);
    if (self->KeepGoing()) {
        code = self->ThreadFunc();
    }
    data->exitCode.store(code, std::memory_order_relaxed);
    pthread_cleanup_pop(1);
    return reinterpret_cast<void*>(static_cast<std::uintptr_t>(code));
}

void Threadable::ThreadData::__ThreadCleanup(void* arg) {
    ThreadData* const data = static_cast<Threadable*>(arg)->mData;
    check(pthread_mutex_lock(&data->mutex), "Threadable::ThreadData::__ThreadCleanup - mutex lock");
    data->keepGoing = false;
    data->state = kStopped;
    check(pthread_cond_broadcast(&data->condition), "Threadable::ThreadData::__ThreadCleanup - cond signal");
    check(pthread_mutex_unlock(&data->mutex), "Threadable::ThreadData::__ThreadCleanup - mutex unlock");
}

bool Threadable::ThreadData::_WaitForStop(unsigned int ms) {
    if (state == kStopped) {
        return true;
    }
    if (ms == 0) {
        while (state == kStarting || state == kRunning) {
            pthread_cond_wait(&condition, &mutex);
        }
        return true;
    }
    timeval now{};
    gettimeofday(&now, nullptr);
    timespec deadline{};
    deadline.tv_sec = now.tv_sec + static_cast<time_t>(ms / 1000);
    deadline.tv_nsec = static_cast<long>(now.tv_usec) * 1000 + static_cast<long>(ms % 1000) * 1000000L;
    // Normalised at the full second too, so that the deadline is always valid.
    while (deadline.tv_nsec >= 1000000000L) {
        deadline.tv_nsec -= 1000000000L;
        ++deadline.tv_sec;
    }
    int rc = 0;
    while ((state == kStarting || state == kRunning) && rc != ETIMEDOUT) {
        rc = pthread_cond_timedwait(&condition, &mutex, &deadline);
        if (rc != 0 && rc != ETIMEDOUT && rc != EINTR) {
            break;
        }
    }
    return rc != ETIMEDOUT;
}

Threadable::Threadable() : mData(new ThreadData) {}

Threadable::~Threadable() {
    Kill(1000);
    while (IsActive()) {
    }
    delete mData;
}

void Threadable::Stop() {
    check(pthread_mutex_lock(&mData->mutex), "Threadable::Stop - mutex lock");
    mData->keepGoing = false;
    check(pthread_mutex_unlock(&mData->mutex), "Threadable::Stop - mutex unlock");
}

bool Threadable::Start() {
    ThreadData* const data = mData;
    check(pthread_mutex_lock(&data->mutex), "Threadable::Start - mutex lock");
    if (data->state != kStopped && data->keepGoing) {
        check(pthread_mutex_unlock(&data->mutex), "Threadable::Start - mutex unlock early");
        return false;
    }
    if (data->state != kStopped) {
        data->_WaitForStop(0);
    }
    data->keepGoing = true;
    if (pthread_create(&data->thread, nullptr, &ThreadData::__ThreadFunker, this) != 0) {
        data->state = kStopped;
        check(pthread_mutex_unlock(&data->mutex), "Threadable::Start - mutex unlock end");
        return true;
    }
    pthread_detach(data->thread);
    data->state = kStarting;

    // Bounded handshake: a thread that is never scheduled costs the caller one second.
    timeval now{};
    gettimeofday(&now, nullptr);
    timespec deadline{};
    deadline.tv_sec = now.tv_sec + 1;
    deadline.tv_nsec = static_cast<long>(now.tv_usec) * 1000;
    int rc = 0;
    while (data->state == kStarting && rc != ETIMEDOUT) {
        rc = pthread_cond_timedwait(&data->condition, &data->mutex, &deadline);
        if (rc != 0 && rc != ETIMEDOUT && rc != EINTR) {
            break;
        }
    }
    check(pthread_mutex_unlock(&data->mutex), "Threadable::Start - mutex unlock end");
    return true;
}

bool Threadable::KeepGoing() const {
    check(pthread_mutex_lock(&mData->mutex), "Threadable::KeepGoing - mutex lock");
    const bool keepGoing = mData->keepGoing;
    check(pthread_mutex_unlock(&mData->mutex), "Threadable::KeepGoing - mutex unlock");
    return keepGoing;
}

bool Threadable::IsActive() const {
    check(pthread_mutex_lock(&mData->mutex), "Threadable::IsActive - mutex lock");
    const bool active = mData->state != kStopped;
    check(pthread_mutex_unlock(&mData->mutex), "Threadable::IsActive - mutex unlock");
    return active;
}

bool Threadable::WaitForStop(unsigned int ms) {
    check(pthread_mutex_lock(&mData->mutex), "Threadable::WaitForStop - mutex lock");
    const bool stopped = mData->_WaitForStop(ms);
    check(pthread_mutex_unlock(&mData->mutex), "Threadable::WaitForStop - mutex unlock");
    return stopped;
}

void Threadable::Kill(unsigned int ms) {
    Stop();
    check(pthread_mutex_lock(&mData->mutex), "Threadable::Kill - pthread_mutex_lock");
    // The time-out and the thread's own end can meet: the state, read under
    // the lock the thread's cleanup takes, has the last word. While it is not
    // stopped the thread cannot have ended (its cleanup needs this lock), so
    // the signal never reaches a thread that is gone.
    const bool stopped = mData->_WaitForStop(ms) || mData->state == kStopped;
    if (!stopped) {
        gForcedKills.fetch_add(1);
        check(pthread_kill(mData->thread, 9), "Threadable::Kill - pthread_kill");
    }
    check(pthread_mutex_unlock(&mData->mutex), "Threadable::Kill - pthread_mutex_unlock");
    if (!stopped) {
        // A forced kill does not return to the caller.
        pthread_exit(nullptr);
    }
}

unsigned long Threadable::ForcedKills() { return gForcedKills.load(); }

unsigned int Threadable::GetExitCode() const { return mData->exitCode.load(std::memory_order_relaxed); }
