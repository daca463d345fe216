// The flag lock's whole ten-second budget.
#include <gtest/gtest.h>

#include "factory/AutoLock.h"

namespace {

TEST(AutoLockSlow, GivesUpAfterItsBudgetAndClearsTheFlag) {
    bool flag = true;
    {
        AutoLock guard(flag);
        EXPECT_FALSE(guard.lock(10));
        EXPECT_TRUE(flag) << "still held by its owner while this object lives";
    }
    EXPECT_FALSE(flag);
}

}  // namespace
