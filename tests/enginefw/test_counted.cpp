#include <gtest/gtest.h>

#include <atomic>
#include <thread>
#include <utility>
#include <vector>

#include "enginefw/threads.h"

namespace {

std::atomic<int> gSafeDeleted{0};
std::atomic<int> gPlainDeleted{0};
std::atomic<int> gMixinDeleted{0};

struct Shared : SafeCounter {
    ~Shared() override { ++gSafeDeleted; }
};

struct Plain : Counter {
    ~Plain() override { ++gPlainDeleted; }
};

struct PlainChild : Plain {};

struct WithMixin : Counted<WithMixin> {
    virtual ~WithMixin() { ++gMixinDeleted; }
};

TEST(CountedPointer, CountsAcrossThreadsAndDeletesOnce) {
    gSafeDeleted = 0;
    CountedPointer<Shared> root(new Shared);
    EXPECT_EQ(root->GetCount(), 1u);

    std::vector<std::thread> threads;
    for (int t = 0; t < 4; ++t) {
        threads.emplace_back([root] {  // each thread holds a copy of its own
            for (int i = 0; i < 2000; ++i) {
                CountedPointer<Shared> copy(root);
                CountedPointer<Shared> other;
                other = copy;
                copy.clr();
            }
        });
    }
    for (std::thread& t : threads) {
        t.join();
    }
    EXPECT_EQ(root->GetCount(), 1u);
    EXPECT_EQ(gSafeDeleted, 0);
    root.clr();
    EXPECT_EQ(gSafeDeleted, 1);
}

TEST(CountedPointer, TheLastThreadToLetGoDeletes) {
    gSafeDeleted = 0;
    std::vector<std::thread> threads;
    {
        CountedPointer<Shared> root(new Shared);
        for (int t = 0; t < 6; ++t) {
            threads.emplace_back([copy = root]() mutable {
                CountedPointer<Shared> moved(std::move(copy));
                EXPECT_FALSE(copy);
                moved.clr();
            });
        }
    }
    for (std::thread& t : threads) {
        t.join();
    }
    EXPECT_EQ(gSafeDeleted, 1);
}

TEST(CountedPointer, SingleThreadedRules) {
    gPlainDeleted = 0;
    CountedPointer<Plain> empty;
    empty.clr();  // nothing to do
    EXPECT_FALSE(empty);

    CountedPointer<Plain> first(new Plain);
    CountedPointer<Plain> second(first);
    EXPECT_EQ(first->GetCount(), 2u);
    EXPECT_TRUE(first == second);

    first = first;  // self-assignment keeps the object
    EXPECT_EQ(second->GetCount(), 2u);

    first = new Plain;  // drops one count of the old object
    EXPECT_EQ(second->GetCount(), 1u);
    EXPECT_EQ(gPlainDeleted, 0);
    second = first;  // the old object loses its last count
    EXPECT_EQ(gPlainDeleted, 1);
    EXPECT_EQ(first->GetCount(), 2u);

    CountedPointer<Plain> fromChild = CountedPointer<PlainChild>(new PlainChild);
    EXPECT_EQ(fromChild->GetCount(), 1u);
    fromChild = CountedPointer<Plain>();
    EXPECT_EQ(gPlainDeleted, 2);

    first.clr();
    second.clr();
    EXPECT_EQ(gPlainDeleted, 3);
}

TEST(CountedPointer, MixinCountWithTheClassOwnDestructor) {
    gMixinDeleted = 0;
    {
        CountedPointer<WithMixin> a(new WithMixin);
        CountedPointer<WithMixin> b = a;
        EXPECT_EQ(b->GetCount(), 2u);
        WithMixin copyOfObject(*a);  // a copy starts with no count
        EXPECT_EQ(copyOfObject.GetCount(), 0u);
    }
    EXPECT_EQ(gMixinDeleted, 2);  // the heap object and the stack copy
}

TEST(AtomicCounter, CopiesCountApartAndThreadsCountExactly) {
    AtomicCounter counter(5);
    EXPECT_EQ(counter.inc(), 6);
    AtomicCounter copy(counter);
    EXPECT_EQ(copy.read(), 6);
    EXPECT_EQ(copy.inc(), 7);
    EXPECT_EQ(counter.read(), 6);
    EXPECT_EQ(counter.dec(), 5);
    EXPECT_EQ(copy.read(), 7);
    counter.assign(-3);
    EXPECT_EQ(counter.read(), -3);
    copy = counter;
    EXPECT_EQ(copy.read(), -3);

    AtomicCounter shared(0);
    std::vector<std::thread> threads;
    for (int t = 0; t < 4; ++t) {
        threads.emplace_back([&shared, t] {
            for (int i = 0; i < 3000; ++i) {
                if (t % 2 == 0) {
                    shared.inc();
                    shared.inc();
                } else {
                    shared.dec();
                }
            }
        });
    }
    for (std::thread& t : threads) {
        t.join();
    }
    EXPECT_EQ(shared.read(), 2 * 2 * 3000 - 2 * 3000);
}

}  // namespace
