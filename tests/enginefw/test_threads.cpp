#include <gtest/gtest.h>

#include <condition_variable>
#include <mutex>

#include <atomic>
#include <cerrno>
#include <csignal>
#include <pthread.h>
#include <thread>
#include <vector>

#include "enginefw/threads.h"
#include "tests/enginefw/ef_worker.h"

namespace {

using eftest::Worker;

TEST(Threadable, StartStopRestartAndExitCodes) {
    Worker worker;
    EXPECT_FALSE(worker.IsActive());
    EXPECT_TRUE(worker.WaitForStop(0)) << "a thread that never ran counts as stopped";
    EXPECT_TRUE(worker.WaitForStop(5));

    worker.SetExitCode(7);
    EXPECT_TRUE(worker.Start());
    ASSERT_TRUE(worker.WaitForRuns(1));
    EXPECT_TRUE(worker.IsActive());
    EXPECT_TRUE(worker.KeepGoing());
    EXPECT_FALSE(worker.Start()) << "a running thread is not started twice";

    worker.Stop();
    EXPECT_TRUE(worker.WaitForStop(20000));
    EXPECT_FALSE(worker.IsActive());
    EXPECT_FALSE(worker.KeepGoing());
    EXPECT_EQ(worker.GetExitCode(), 7u);
    EXPECT_EQ(worker.Runs(), 1);

    worker.SetExitCode(9);
    EXPECT_TRUE(worker.Start());
    ASSERT_TRUE(worker.WaitForRuns(2));
    EXPECT_TRUE(worker.KeepGoing());
    worker.Kill(20000);  // returns: the thread stopped in time
    EXPECT_FALSE(worker.IsActive());
    EXPECT_EQ(worker.GetExitCode(), 9u);
    EXPECT_EQ(worker.Runs(), 2);
}

TEST(Threadable, StartWhileTheOldThreadFinishesWaitsForIt) {
    Worker worker;
    worker.HoldFinish(true);
    ASSERT_TRUE(worker.Start());
    ASSERT_TRUE(worker.WaitForRuns(1));
    worker.Stop();
    ASSERT_TRUE(worker.WaitUntilFinishing());
    EXPECT_TRUE(worker.IsActive()) << "still on its way out";

    std::atomic<bool> started{false};
    std::thread starter([&] {
        started = worker.Start();
        worker.Record("start returned");
    });
    worker.HoldFinish(false);
    starter.join();

    EXPECT_TRUE(started);
    ASSERT_TRUE(worker.WaitForRuns(2)) << "a new thread was started";
    const std::vector<std::string> events = worker.Events();
    ASSERT_GE(events.size(), 2u);
    EXPECT_EQ(events[0], "finished");
    EXPECT_EQ(events[1], "start returned");
}

TEST(Threadable, FailedThreadCreationStillReturnsTrue) {
    // A default stack far larger than the address space makes pthread_create fail.
    pthread_attr_t saved;
    ASSERT_EQ(pthread_getattr_default_np(&saved), 0);
    pthread_attr_t huge;
    ASSERT_EQ(pthread_getattr_default_np(&huge), 0);
    ASSERT_EQ(pthread_attr_setstacksize(&huge, static_cast<size_t>(1) << 46), 0);
    ASSERT_EQ(pthread_setattr_default_np(&huge), 0);

    pthread_t probe;
    const int probeResult = pthread_create(
        &probe, nullptr, [](void*) -> void* { return nullptr; }, nullptr);
    if (probeResult == 0) {
        pthread_join(probe, nullptr);
    }

    Worker worker;
    const bool result = worker.Start();
    const bool active = worker.IsActive();

    ASSERT_EQ(pthread_setattr_default_np(&saved), 0);
    pthread_attr_destroy(&huge);
    pthread_attr_destroy(&saved);

    ASSERT_NE(probeResult, 0) << "this host created a thread with a huge stack";
    EXPECT_TRUE(result);
    EXPECT_FALSE(active);
    EXPECT_EQ(worker.Runs(), 0);
    EXPECT_TRUE(worker.WaitForStop(0));

    // The object is still usable once threads can be made again.
    EXPECT_TRUE(worker.Start());
    EXPECT_TRUE(worker.WaitForRuns(1));
}


TEST(ThreadableDeathTest, KillAfterTheLimitSendsSignalNine) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_EXIT(
        {
            eftest::Stubborn stubborn;
            stubborn.Start();
            if (!stubborn.Entered()) {
                std::_Exit(3);
            }
            stubborn.Kill(20);
            std::_Exit(0);  // not reached: the kill takes the process
        },
        testing::KilledBySignal(SIGKILL), "");
}

TEST(ThreadSpecificPtr, MainThreadValueIsItsOwnAndLivesUntilTheObjectGoes) {
    struct Tracked {
        explicit Tracked(int v, std::atomic<int>& counter) : value(v), destroyed(counter) {}
        ~Tracked() { ++destroyed; }
        int value;
        std::atomic<int>& destroyed;
    };
    std::atomic<int> destroyed{0};
    {
        ThreadSpecificPtr<Tracked> ptr;
        EXPECT_EQ(ptr.get(), nullptr);
        ptr.set(new Tracked(1, destroyed));

        Tracked* seenByOther = reinterpret_cast<Tracked*>(1);
        int otherValue = 0;
        std::thread other([&] {
            seenByOther = ptr.get();
            ptr.set(new Tracked(2, destroyed));
            otherValue = ptr->value;
        });
        other.join();

        EXPECT_EQ(seenByOther, nullptr) << "the main thread's value leaked to another thread";
        EXPECT_EQ(otherValue, 2);
        EXPECT_EQ(destroyed, 1) << "the other thread's value is cleaned up when it ends";
        ASSERT_NE(ptr.get(), nullptr);
        EXPECT_EQ(ptr->value, 1);

        std::thread reader([&] { seenByOther = ptr.get(); });
        reader.join();
        EXPECT_EQ(seenByOther, nullptr) << "a new thread starts empty";
        EXPECT_EQ(destroyed, 1) << "the main thread's value waits for the object";
    }
    EXPECT_EQ(destroyed, 2);
}

TEST(ThreadSpecificPtr, TwoObjectsKeepTheirOwnKeys) {
    ThreadSpecificPtr<int> first;
    ThreadSpecificPtr<int> second;
    std::thread other([&] {
        first.reset(new int(10));
        second.reset(new int(20));
        EXPECT_EQ(*first, 10);
        EXPECT_EQ(*second, 20);
        first.reset(new int(11));  // frees the old value
        EXPECT_EQ(*first, 11);
    });
    other.join();
    first.reset(new int(1));
    EXPECT_EQ(*first, 1);
    EXPECT_EQ(second.get(), nullptr);
}

TEST(ThreadID, IdentityCopiesAndNumbers) {
    const ThreadID mine = ThreadID::self();
    ThreadID copy(mine);
    EXPECT_TRUE(mine == copy);
    EXPECT_EQ(ThreadID::Id(), static_cast<unsigned long>(pthread_self()));

    ThreadID fromOther;
    unsigned long otherId = 0;
    std::thread other([&] {
        fromOther = ThreadID::self();  // assignment copies into the existing cell
        otherId = ThreadID::Id();
    });
    other.join();
    EXPECT_TRUE(fromOther != mine);
    EXPECT_NE(otherId, ThreadID::Id());
    copy = fromOther;
    EXPECT_TRUE(copy == fromOther);
    EXPECT_TRUE(mine == ThreadID());
}

TEST(CriticalSection, ExcludesOtherThreadsAndRecursesWhenAsked) {
    CriticalSection recursive(true);
    {
        CriticalSectionLock outer(recursive);
        CriticalSectionLock inner(recursive.Handle());
    }
    CriticalSection lock;
    long counter = 0;
    std::vector<std::thread> threads;
    for (int t = 0; t < 4; ++t) {
        threads.emplace_back([&] {
            for (int i = 0; i < 2000; ++i) {
                CriticalSection::EnterCS(lock.Handle());
                ++counter;
                CriticalSection::LeaveCS(lock.Handle());
            }
        });
    }
    for (std::thread& t : threads) {
        t.join();
    }
    EXPECT_EQ(counter, 8000);
    void* handle = CriticalSection::InitialiseCS(false);
    ASSERT_NE(handle, nullptr);
    CriticalSection::DestroyCS(handle);
    CriticalSection::DestroyCS(nullptr);  // ignored
}

TEST(FatalErrorDeathTest, PrintsTextAndReasonThenAborts) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    struct Case {
        void (*run)();
        const char* expected;
    };
    const Case cases[] = {
        {[] { fatal_error("Threadable::Kill - pthread_kill", ESRCH); }, "Threadable::Kill - pthread_kill: No such process"},
        {[] { CriticalSection::EnterCS(nullptr); }, "CriticalSection::EnterCS - lock failed: Invalid argument"},
        {[] { CriticalSection::LeaveCS(nullptr); }, "CriticalSection::LeaveCS - unlock failed: Invalid argument"},
    };
    for (const Case& c : cases) {
        EXPECT_EXIT(c.run(), testing::KilledBySignal(SIGABRT), c.expected);
    }
}

}  // namespace
