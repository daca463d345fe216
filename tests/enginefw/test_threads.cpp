// Clocks, thread objects, locks, signal boxes and counts.
#include <cstring>

#include "enginefw/threads.h"
#include "tests/enginefw/ef_support.h"

namespace {

using eftest::Eventually;
using eftest::FakeClock;

long LocalTime(int hour, int minute, int second) {  // on 10 June 2024
    tm local{};
    local.tm_year = 124, local.tm_mon = 5, local.tm_mday = 10, local.tm_isdst = -1;
    local.tm_hour = hour, local.tm_min = minute, local.tm_sec = second;
    return static_cast<long>(mktime(&local));
}

TEST(HiResClock, TimeOfDayTextStopWatchAndMillisecondsWrappingAtThirtyTwoBits) {
    for (const auto& c : std::vector<std::tuple<long, long, const char*>>{
             {LocalTime(13, 5, 9), 42000000L, "13:05:09.042"},
             {LocalTime(23, 59, 59), 999999999L, "23:59:59.999"},
             {LocalTime(7, 8, 9), 123456789000L, "07:08:09.123"}}) {  // cut to the 13 bytes
        char buffer[20];
        std::memset(buffer, 'X', sizeof buffer);
        HiResClockHMSFromPreset(buffer, std::get<0>(c), std::get<1>(c));
        EXPECT_EQ(std::string(buffer, 14), std::get<2>(c) + std::string(1, '\0') + "X") << "13 bytes, no more";
    }
    FakeClock clock(LocalTime(21, 30, 1), 900000000L);
    char now[13];
    HiResClockHMS(now);
    EXPECT_STREQ(now, "21:30:01.900");
    StopWatch first;
    FakeClock::AdvanceMs(1200);  // across a second boundary
    StopWatch copy(first), later, assigned;
    assigned = first;
    EXPECT_EQ(first.duration() + copy.duration(), 2400u) << "copies share the start";
    FakeClock::Set(LocalTime(21, 30, 3), 100250000L);
    EXPECT_EQ(assigned.uduration(), 1200250u);
    EXPECT_EQ(later.uduration(), 250u);
    FakeClock::Set(5000000, 123456789);
    EXPECT_EQ(HiResClockGetMilliSec(), 705032827u);  // 5 000 000 123 ms less 2^32
}

std::mutex gStepsMutex;
std::vector<std::string> gSteps;  // what the step-back callback was given

TEST(HiResClock, AStepBackIsReportedOncePerThreadInHex) {
    FakeClock clock(0x12345678, 0xABCD);
    backwards_timestamp_callback = nullptr;
    HiResClockGetSec();
    FakeClock::Set(0x12345677, 0xABCE);
    HiResClockGetSec();  // a step back without a callback does no harm
    backwards_timestamp_callback = [](const char* oldTime, const char* newTime) {
        std::lock_guard<std::mutex> lock(gStepsMutex);
        gSteps.push_back(std::string(oldTime) + " " + newTime);
    };
    FakeClock::Set(0x12345678, 0xABCD);
    HiResClockGetMilliSec();  // forward: nothing
    FakeClock::Set(0x12345677, 0xABCE);
    std::thread([] { HiResClockGetSec(); }).join();  // a new thread has seen nothing earlier
    timespec now{};
    HiResClockGetNanoSec(&now), HiResClockGetNanoSec(&now);  // the same time again is no step
    backwards_timestamp_callback = nullptr;
    std::lock_guard<std::mutex> lock(gStepsMutex);
    // A 32-bit seconds word, then a 32-bit nanoseconds word, "%02x" per byte in memory order.
    EXPECT_EQ(gSteps, std::vector<std::string>{"78563412cdab0000 77563412ceab0000"});
}

// Counts its runs, polls KeepGoing until stopped, and can be held at its end.
class Worker : public Threadable {
public:
    ~Worker() override { Kill(20000); }
    unsigned int ThreadFunc() override {
        for (++runs; KeepGoing();) usleep(1000);
        for (finishing = true; hold;) usleep(1000);
        finishing = false, ++finished;
        return exitCode;
    }
    std::atomic<int> runs{0}, finished{0};
    std::atomic<bool> finishing{false}, hold{false};
    std::atomic<unsigned> exitCode{7};
};

TEST(Threadable, StartStopRestartAndKill) {
    const unsigned long forcedKills = Threadable::ForcedKills();
    Worker worker;
    EXPECT_TRUE(worker.WaitForStop(5)) << "a thread that never ran counts as stopped";
    EXPECT_TRUE(worker.Start());
    ASSERT_TRUE(Eventually([&] { return worker.runs == 1; }));
    EXPECT_TRUE(worker.IsActive());
    EXPECT_FALSE(worker.Start()) << "a running thread is not started twice";
    worker.Stop();
    EXPECT_TRUE(worker.WaitForStop(20000));
    EXPECT_FALSE(worker.IsActive() || worker.KeepGoing());
    EXPECT_EQ(worker.GetExitCode(), 7u);
    worker.exitCode = 9;
    EXPECT_TRUE(worker.Start());
    ASSERT_TRUE(Eventually([&] { return worker.runs == 2; }));
    EXPECT_TRUE(worker.KeepGoing());
    worker.Kill(20000);  // returns: the thread stopped in time
    EXPECT_FALSE(worker.IsActive());
    EXPECT_EQ(worker.GetExitCode(), 9u);
    EXPECT_EQ(Threadable::ForcedKills(), forcedKills) << "a thread that stops in time is never sent signal 9";
}

TEST(Threadable, StartWhileTheOldThreadFinishesWaitsForIt) {
    Worker worker;
    worker.hold = true;
    ASSERT_TRUE(worker.Start());
    ASSERT_TRUE(Eventually([&] { return worker.runs == 1; }));
    worker.Stop();
    ASSERT_TRUE(Eventually([&] { return worker.finishing.load(); }));
    EXPECT_TRUE(worker.IsActive()) << "still on its way out";
    std::atomic<bool> starting{false};
    std::atomic<int> finishedWhenStartReturned{-1};
    std::thread starter([&] {
        starting = true;
        EXPECT_TRUE(worker.Start());
        finishedWhenStartReturned = worker.finished.load();
    });
    ASSERT_TRUE(Eventually([&] { return starting.load(); }));
    worker.hold = false;
    starter.join();
    EXPECT_EQ(finishedWhenStartReturned, 1) << "Start returned before the old thread had finished";
    EXPECT_TRUE(Eventually([&] { return worker.runs == 2; })) << "a new thread was started";
}

TEST(Threadable, AFailedThreadCreationStillReturnsTrue) {
    // A default stack larger than the address space makes pthread_create fail.
    pthread_attr_t saved, huge;
    ASSERT_EQ(pthread_getattr_default_np(&saved) + pthread_getattr_default_np(&huge), 0);
    ASSERT_EQ(pthread_attr_setstacksize(&huge, static_cast<size_t>(1) << 46), 0);
    ASSERT_EQ(pthread_setattr_default_np(&huge), 0);
    pthread_t probe;
    const bool refused = pthread_create(&probe, nullptr, [](void*) -> void* { return nullptr; }, nullptr) != 0;
    if (!refused) pthread_join(probe, nullptr);
    Worker worker;
    const bool started = refused && worker.Start(), active = worker.IsActive();
    pthread_setattr_default_np(&saved);
    pthread_attr_destroy(&huge), pthread_attr_destroy(&saved);
    if (!refused) GTEST_SKIP() << "this host gives a thread a stack of 64 TiB";
    EXPECT_TRUE(started && !active);
    EXPECT_TRUE(worker.WaitForStop(0));
    EXPECT_TRUE(worker.Start()) << "usable once threads can be made again";
    EXPECT_TRUE(Eventually([&] { return worker.runs == 1; }));
}

TEST(SignalBox, WaitSetUnsetAndRemove) {
    // Time stands still on a whole second: a limit of 20 ms runs out at the
    // first look at the clock, as only seconds are compared.
    FakeClock clock(1000);
    enum Op { Wait, Set, Unset, Remove };
    struct Step {
        Op op;
        unsigned value;  // the limit of Wait, else the item
        bool expected;   // the result of Wait and Unset
    };
    const std::pair<int, std::vector<Step>> scenarios[] = {
        {0, {{Wait, 0xFFFFFFFFu, false}}},  // no items: false at once, whatever the limit
        {1, {{Wait, 0, false}, {Set, 0, true}, {Wait, 0, true}}},
        {1, {{Wait, 20, false}}},
        {1, {{Set, 0, true}, {Wait, 0xFFFFFFFFu, true}, {Wait, 1000, true}, {Unset, 0, false}, {Wait, 0, false}}},
        {2, {{Set, 0, true}, {Set, 1, true}, {Unset, 0, true}, {Wait, 0, true}, {Unset, 1, false}, {Wait, 0, false}}},
        {2, {{Unset, 0, false}, {Set, 1, true}, {Unset, 0, true}, {Wait, 0, true}}},
        {2, {{Set, 1, true}, {Remove, 1, true}, {Wait, 0, false}, {Set, 0, true}, {Wait, 0, true}}},
        {1, {{Remove, 0, true}, {Wait, 0xFFFFFFFFu, false}}},  // no items left
    };
    int number = 0;
    for (const auto& scenario : scenarios) {
        SCOPED_TRACE("scenario " + std::to_string(number++));
        SignalBox box;
        std::vector<SignalBox::Item> items(static_cast<size_t>(scenario.first), SignalBox::Item(&box));
        for (SignalBox::Item& item : items) {
            item.set = 1, box.AddItem(&item);
            EXPECT_EQ(item.set, 0) << "adding clears the item";
        }
        for (const Step& step : scenario.second) {
            const bool result = step.op == Wait    ? box.wait(step.value)
                                : step.op == Unset ? box.unsetItem(items.at(step.value))
                                : step.op == Set   ? (items.at(step.value).box->setItem(items.at(step.value)), true)
                                                   : (box.RemoveItem(&items.at(step.value)), true);
            EXPECT_EQ(result, step.expected);
        }
        for (SignalBox::Item& item : items) box.RemoveItem(&item);  // twice is harmless
    }
}

TEST(SignalBox, ASetterWakesTheWaiterAndATimedWaitEndsInTheSecondOfItsDeadline) {
    SignalBox box;
    SignalBox::Item items[2] = {SignalBox::Item(&box), SignalBox::Item(&box)};
    box.AddItem(&items[0]), box.AddItem(&items[1]);
    for (int round = 0; round < 10; ++round) {
        box.unsetItem(items[0]), box.unsetItem(items[1]);
        SignalBox::Item& target = items[round % 2];
        std::thread setter([&target] { target.box->setItem(target); });
        EXPECT_TRUE(box.wait(0xFFFFFFFFu)) << "round " << round;
        setter.join();
    }
    box.unsetItem(items[0]), box.unsetItem(items[1]);
    FakeClock clock(1000, 500000000);  // due at 1001.3 s; only seconds are compared
    std::atomic<int> result{-1};
    const int reads = FakeClock::sReads;
    std::thread waiter([&] { result = box.wait(800) ? 1 : 0; });
    ASSERT_TRUE(Eventually([&] { return FakeClock::sReads > reads + 1; })) << "the waiter is in its timed wait";
    FakeClock::Set(1001, 0);
    const bool ended = Eventually([&] { return result != -1; });
    FakeClock::Set(1002, 0);  // lets a waiter that missed it out
    waiter.join();
    EXPECT_TRUE(ended && result == 0);
}

// Meant for one waiter, but two must not leave one asleep: both wake.
TEST(SignalBox, TwoWaitersBothWakeOnOneSet) {
    SignalBox box;
    SignalBox::Item item(&box);
    box.AddItem(&item);
    std::atomic<int> woken{0}, waiting{0};
    std::vector<std::thread> waiters;
    for (int i = 0; i < 2; ++i) waiters.emplace_back([&] { ++waiting, woken += box.wait(20000) ? 1 : 0; });
    ASSERT_TRUE(Eventually([&] { return waiting == 2; }));
    item.box->setItem(item);
    for (std::thread& waiter : waiters) waiter.join();
    EXPECT_EQ(woken, 2);
}

std::atomic<int> gDeleted{0};
struct Plain : Counter { ~Plain() override { ++gDeleted; } };
struct PlainChild : Plain {};
struct Shared : SafeCounter { ~Shared() override { ++gDeleted; } };

TEST(CountedPointer, CountsCopiesAndDeletesAtTheLastRelease) {
    gDeleted = 0;
    CountedPointer<Plain> empty, first(new Plain);
    empty.clr();
    CountedPointer<Plain> second(first);
    first = first;
    EXPECT_EQ(second->GetCount(), 2u);
    first = new Plain;  // drops one count of the old object
    EXPECT_TRUE(second->GetCount() == 1 && gDeleted == 0);
    second = first;  // the old object loses its last count
    EXPECT_EQ(gDeleted, 1);
    CountedPointer<Plain> fromChild = CountedPointer<PlainChild>(new PlainChild);
    EXPECT_EQ(fromChild->GetCount(), 1u);
    fromChild = CountedPointer<Plain>(), first.clr();
    EXPECT_EQ(gDeleted, 2);
    second.clr();
    EXPECT_EQ(gDeleted, 3);
}

TEST(CountedPointer, ALockedCountIsReleasedOnceByTheLastThread) {
    gDeleted = 0;
    std::vector<std::thread> threads;
    {
        CountedPointer<Shared> root(new Shared);
        for (int t = 0; t < 4; ++t) {
            threads.emplace_back([root] {
                for (int i = 0; i < 2000; ++i) {
                    CountedPointer<Shared> copy(root), other;
                    other = copy;
                }
            });
        }
    }
    for (std::thread& thread : threads) thread.join();
    EXPECT_EQ(gDeleted, 1);
}

}  // namespace
