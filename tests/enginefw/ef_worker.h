// A Threadable for the tests: it counts its runs, parks until it is stopped,
// and can be held at its end until the test lets it finish.
#pragma once

#include <chrono>
#include <condition_variable>
#include <mutex>
#include <string>
#include <vector>

#include <unistd.h>

#include "enginefw/threadable.h"

namespace eftest {

constexpr std::chrono::seconds kBound{20};

class Worker : public Threadable {
public:
    ~Worker() override { Kill(20000); }

    unsigned int ThreadFunc() override {
        std::unique_lock<std::mutex> lock(mMutex);
        ++mRuns;
        mChanged.notify_all();
        lock.unlock();
        for (;;) {
            if (!KeepGoing()) {
                break;
            }
            lock.lock();
            mChanged.wait(lock, [this] { return mWake; });
            mWake = false;
            lock.unlock();
        }
        lock.lock();
        mFinishing = true;
        mChanged.notify_all();
        mChanged.wait(lock, [this] { return !mHoldFinish; });
        mFinishing = false;
        mEvents.push_back("finished");
        return mExitCode;
    }

    // The base only clears the flag; wake the parked thread as well.
    void Stop() override {
        Threadable::Stop();
        std::lock_guard<std::mutex> lock(mMutex);
        mWake = true;
        mChanged.notify_all();
    }

    bool WaitForRuns(int runs) {
        std::unique_lock<std::mutex> lock(mMutex);
        return mChanged.wait_for(lock, kBound, [&] { return mRuns >= runs; });
    }
    bool WaitUntilFinishing() {
        std::unique_lock<std::mutex> lock(mMutex);
        return mChanged.wait_for(lock, kBound, [&] { return mFinishing; });
    }
    void HoldFinish(bool hold) {
        std::lock_guard<std::mutex> lock(mMutex);
        mHoldFinish = hold;
        mChanged.notify_all();
    }
    void SetExitCode(unsigned int code) {
        std::lock_guard<std::mutex> lock(mMutex);
        mExitCode = code;
    }
    void Record(const std::string& event) {
        std::lock_guard<std::mutex> lock(mMutex);
        mEvents.push_back(event);
    }
    int Runs() {
        std::lock_guard<std::mutex> lock(mMutex);
        return mRuns;
    }
    std::vector<std::string> Events() {
        std::lock_guard<std::mutex> lock(mMutex);
        return mEvents;
    }

private:
    std::mutex mMutex;
    std::condition_variable mChanged;
    int mRuns = 0;
    bool mWake = false;
    bool mFinishing = false;
    bool mHoldFinish = false;
    unsigned int mExitCode = 0;
    std::vector<std::string> mEvents;
};

// Ignores Stop and never ends by itself. Entered() tells when ThreadFunc runs:
// a Stop that comes before that point makes the thread skip ThreadFunc, which
// is a clean stop, not the case under test. Once in pause() the thread touches
// no member again, so the base destructor alone may end it.
class Stubborn : public Threadable {
public:
    unsigned int ThreadFunc() override {
        {
            std::lock_guard<std::mutex> lock(mMutex);
            mEntered = true;
        }
        mChanged.notify_all();
        for (;;) {
            pause();
        }
    }
    bool Entered() {
        std::unique_lock<std::mutex> lock(mMutex);
        return mChanged.wait_for(lock, eftest::kBound, [this] { return mEntered; });
    }

private:
    std::mutex mMutex;
    std::condition_variable mChanged;
    bool mEntered = false;
};

}  // namespace eftest
