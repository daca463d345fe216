// The one wait on a thread stop bound.
#include <csignal>

#include "enginefw/threadable.h"
#include "tests/enginefw/ef_support.h"

namespace {

// Ignores Stop and never ends by itself. Once in pause() it touches no member
// again, so the base destructor alone may end it.
class Stubborn : public Threadable {
public:
    unsigned int ThreadFunc() override {
        entered = true;
        for (;;) pause();
    }
    std::atomic<bool> entered{false};
};

TEST(ThreadableSlowDeathTest, AThreadThatIgnoresStopIsKilledWithSignalNineWhenTheBoundRunsOut) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_EXIT(
        {
            {
                Stubborn stubborn;
                stubborn.Start();
                if (!eftest::Eventually([&] { return stubborn.entered.load(); })) std::_Exit(3);
                stubborn.Stop();
                // A bounded wait on a thread that runs on must give up.
                if (stubborn.WaitForStop(50) || !stubborn.IsActive()) std::_Exit(4);
            }  // the destructor's Kill(1000) runs out and sends signal 9
            std::_Exit(0);
        },
        testing::KilledBySignal(SIGKILL), "");
}

}  // namespace
