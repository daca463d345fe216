#include <gtest/gtest.h>

#include <condition_variable>
#include <mutex>

#include <csignal>
#include <unistd.h>

#include "enginefw/threadable.h"
#include "tests/enginefw/ef_worker.h"

namespace {

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

TEST(ThreadableSlowDeathTest, DestructorKillsAThreadThatIgnoresStopAfterOneSecond) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_EXIT(
        {
            {
                Stubborn stubborn;
                stubborn.Start();
                if (!stubborn.Entered()) {
                    std::_Exit(3);
                }
            }  // Kill(1000) in the destructor
            std::_Exit(0);
        },
        testing::KilledBySignal(SIGKILL), "");
}

TEST(ThreadableSlow, WaitForStopTimesOutOnARunningThread) {
    eftest::Worker worker;
    ASSERT_TRUE(worker.Start());
    ASSERT_TRUE(worker.WaitForRuns(1));
    EXPECT_FALSE(worker.WaitForStop(1500)) << "nobody asked it to stop";
    EXPECT_TRUE(worker.IsActive());
    worker.Stop();
    EXPECT_TRUE(worker.WaitForStop(0));
    EXPECT_FALSE(worker.IsActive());
}

}  // namespace
