#include <gtest/gtest.h>

#include <condition_variable>
#include <mutex>

#include <csignal>
#include <unistd.h>

#include "enginefw/threadable.h"
#include "tests/enginefw/ef_worker.h"

namespace {


TEST(ThreadableSlowDeathTest, DestructorKillsAThreadThatIgnoresStopAfterOneSecond) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_EXIT(
        {
            {
                eftest::Stubborn stubborn;
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
