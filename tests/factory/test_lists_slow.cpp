// The flag lock's full ten-second wait.
#include <gtest/gtest.h>

#include <chrono>

#include "factory/AutoLock.h"

namespace {

TEST(AutoLockSlow, GivesUpAfterItsBudgetAndClearsTheFlag) {
    bool flag = true;
    const auto before = std::chrono::steady_clock::now();
    {
        AutoLock guard(flag);
        EXPECT_FALSE(guard.lock(10));
        EXPECT_TRUE(flag) << "still held by its owner while this object lives";
    }
    // It never gives up early: a thousand polls of 10 ms each.
    EXPECT_GE(std::chrono::steady_clock::now() - before, std::chrono::milliseconds(9900));
    EXPECT_FALSE(flag);
}

}  // namespace
