#include <gtest/gtest.h>

#include <atomic>
#include <string>
#include <thread>
#include <vector>

#include "enginefw/signal_box.h"

namespace {

enum class Op { Wait, Set, Unset, Remove };

struct Step {
    Op op;
    unsigned value;  // the time limit of Wait, else the item index
    bool expected;   // the result of Wait and Unset
};

struct Scenario {
    const char* name;
    int items;
    std::vector<Step> steps;
};

TEST(SignalBox, Scenarios) {
    const Scenario scenarios[] = {
        {"no items: false at once, whatever the limit", 0, {{Op::Wait, 0xFFFFFFFFu, false}, {Op::Wait, 0, false}}},
        {"wait(0) polls", 1, {{Op::Wait, 0, false}, {Op::Set, 0, true}, {Op::Wait, 0, true}}},
        {"set before the wait stays set until unset",
         1,
         {{Op::Set, 0, true},
          {Op::Wait, 0xFFFFFFFFu, true},
          {Op::Wait, 1000, true},
          {Op::Unset, 0, false},
          {Op::Wait, 0, false}}},
        {"unset one of two",
         2,
         {{Op::Set, 0, true},
          {Op::Set, 1, true},
          {Op::Unset, 0, true},
          {Op::Wait, 0, true},
          {Op::Unset, 1, false},
          {Op::Wait, 0, false}}},
        {"unset of an item that was never set reports the others",
         2,
         {{Op::Unset, 0, false}, {Op::Set, 1, true}, {Op::Unset, 0, true}, {Op::Wait, 0, true}}},
        {"a time-out returns false", 1, {{Op::Wait, 20, false}}},
        {"removing the set item clears the box",
         2,
         {{Op::Set, 1, true}, {Op::Remove, 1, true}, {Op::Wait, 0, false}, {Op::Set, 0, true}, {Op::Wait, 0, true}}},
        {"removing the last item empties the box", 1, {{Op::Remove, 0, true}, {Op::Wait, 0xFFFFFFFFu, false}}},
    };
    for (const Scenario& scenario : scenarios) {
        SCOPED_TRACE(scenario.name);
        SignalBox box;
        std::vector<SignalBox::Item> items(static_cast<size_t>(scenario.items), SignalBox::Item(&box));
        for (SignalBox::Item& item : items) {
            item.set = 1;  // adding clears it
            box.AddItem(&item);
            EXPECT_EQ(item.set, 0);
            EXPECT_EQ(item.box, &box);
        }
        int index = 0;
        for (const Step& step : scenario.steps) {
            SCOPED_TRACE("step " + std::to_string(index++));
            switch (step.op) {
                case Op::Wait:
                    EXPECT_EQ(box.wait(step.value), step.expected);
                    break;
                case Op::Set: {
                    SignalBox::Item& item = items.at(step.value);
                    item.box->setItem(item);
                    break;
                }
                case Op::Unset:
                    EXPECT_EQ(box.unsetItem(items.at(step.value)), step.expected);
                    break;
                case Op::Remove:
                    box.RemoveItem(&items.at(step.value));
                    break;
            }
        }
        for (SignalBox::Item& item : items) {
            box.RemoveItem(&item);  // removing twice is harmless
        }
    }
}

TEST(SignalBox, SettersOnOtherThreadsWakeTheWaiter) {
    SignalBox box;
    SignalBox::Item first(&box);
    SignalBox::Item second(&box);
    box.AddItem(&first);
    box.AddItem(&second);

    for (int round = 0; round < 20; ++round) {
        box.unsetItem(first);
        box.unsetItem(second);
        SignalBox::Item& target = round % 2 == 0 ? first : second;
        std::thread setter([&target] { target.box->setItem(target); });
        EXPECT_TRUE(box.wait(30000)) << "round " << round;
        setter.join();
        EXPECT_EQ(target.set, 1);
    }
    box.RemoveItem(&first);
    box.RemoveItem(&second);
}

TEST(SignalBox, ManySettersOneWaiter) {
    SignalBox box;
    std::vector<SignalBox::Item> items(8, SignalBox::Item(&box));
    for (SignalBox::Item& item : items) {
        box.AddItem(&item);
    }
    std::vector<std::thread> setters;
    for (SignalBox::Item& item : items) {
        setters.emplace_back([&item] { item.box->setItem(item); });
    }
    for (std::thread& t : setters) {
        t.join();
    }
    EXPECT_TRUE(box.wait(0));
    size_t stillSet = items.size();
    for (SignalBox::Item& item : items) {
        --stillSet;
        EXPECT_EQ(box.unsetItem(item), stillSet > 0);
    }
    EXPECT_FALSE(box.wait(0));
}

}  // namespace
