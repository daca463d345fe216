// Clocks, thread objects, signal boxes and counted pointers.
#include <cstring>

#include "enginefw/threads.h"
#include "tests/enginefw/ef_support.h"

namespace {

using eftest::Eventually;
using eftest::FakeClock;

// The time of day goes into 13 bytes, terminator included, and no further.
TEST(HiResClock, TimeOfDayTextStaysInThirteenBytes) {
    tm local{};  // 07:08:09 on 10 June 2024; nanoseconds worth 123 s, only their milliseconds show
    local.tm_year = 124, local.tm_mon = 5, local.tm_mday = 10, local.tm_isdst = -1;
    local.tm_hour = 7, local.tm_min = 8, local.tm_sec = 9;
    char buffer[20];
    std::memset(buffer, 'X', sizeof buffer);
    HiResClockHMSFromPreset(buffer, static_cast<long>(mktime(&local)), 123456789000L);
    EXPECT_EQ(std::string(buffer, 14), std::string("07:08:09.123") + '\0' + "X");
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

TEST(Threadable, StartStopAndAStartWhileTheOldThreadFinishesWaitsForIt) {
    const unsigned long forcedKills = Threadable::ForcedKills();
    Worker worker;
    EXPECT_TRUE(worker.WaitForStop(5)) << "a thread that never ran counts as stopped";
    worker.hold = true;
    ASSERT_TRUE(worker.Start());
    ASSERT_TRUE(Eventually([&] { return worker.runs == 1; }));
    EXPECT_FALSE(worker.Start()) << "a running thread is not started twice";
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
    worker.exitCode = 9, worker.Stop();
    EXPECT_TRUE(worker.WaitForStop(20000));
    EXPECT_FALSE(worker.IsActive() || worker.KeepGoing());
    EXPECT_EQ(worker.GetExitCode(), 9u);
    EXPECT_EQ(Threadable::ForcedKills(), forcedKills) << "a thread that stops in time is never sent signal 9";
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

// Meant for one waiter, but two must not leave one asleep: both wake. A timed
// wait ends in the second of its deadline, as only seconds are compared.
TEST(SignalBox, ASetWakesBothWaitersAndATimedWaitEndsInTheSecondOfItsDeadline) {
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
    box.unsetItem(item);
    FakeClock clock(1000, 500000000);  // due at 1001.3 s
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

std::atomic<int> gDeleted{0};
struct Plain : Counter { ~Plain() override { ++gDeleted; } };
struct PlainChild : Plain {};

TEST(CountedPointer, CountsCopiesAndDeletesAtTheLastRelease) {
    gDeleted = 0;
    CountedPointer<Plain> first(new Plain), second(first);
    first = first;
    EXPECT_EQ(second->GetCount(), 2u);
    first = new Plain;  // drops one count of the old object
    EXPECT_TRUE(second->GetCount() == 1 && gDeleted == 0);
    second = first;  // the old object loses its last count
    EXPECT_EQ(gDeleted, 1);
    CountedPointer<Plain> fromChild = CountedPointer<PlainChild>(new PlainChild);
    fromChild = CountedPointer<Plain>(), first.clr();
    EXPECT_EQ(gDeleted, 2);
    second.clr();
    EXPECT_EQ(gDeleted, 3);
}

}  // namespace
