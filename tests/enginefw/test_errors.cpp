#include <gtest/gtest.h>

#include <algorithm>
#include <condition_variable>
#include <map>
#include <mutex>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include "enginefw/msghandler.h"
#include "enginefw/thread_id.h"

namespace {

using Group = CMessageHandler::GroupEnum;

class Errors : public ::testing::Test {
protected:
    void SetUp() override {
        CTheMsgHnd::IsDebugEngineRunning();
        h7 = CTheMsgHnd::GetAppropriateHandler(CMessageHandler::GROUP_COMMSTEST, "void Errors::SetUp()", false);
        h100 = CTheMsgHnd::GetAppropriateHandler(CMessageHandler::GROUP_APPLICATION, "void Errors::SetUp()", false);
        ASSERT_NE(h7->GetErrorMessages(), nullptr);
        ASSERT_NE(h100->GetErrorMessages(), nullptr);
        h7->ClearError();
    }

    // The calling thread's own last error, through h7.
    bool Own(short& code, std::string& text) {
        Group group = CMessageHandler::GROUP_LOCAL;
        return h7->LastError(code, text, group, true);
    }

    CMessageHandler* h7 = nullptr;
    CMessageHandler* h100 = nullptr;
};

// Keeps a set of threads alive until all have done their part, so that their
// ids are distinct and their errors stay in the map together.
class Gate {
public:
    explicit Gate(int parties) : mWaiting(parties) {}
    void ArriveAndWait() {
        std::unique_lock<std::mutex> lock(mMutex);
        if (--mWaiting == 0) {
            mAll.notify_all();
        }
        mAll.wait(lock, [this] { return mWaiting <= 0; });
    }

private:
    std::mutex mMutex;
    std::condition_variable mAll;
    int mWaiting;
};

TEST_F(Errors, TheSecondErrorOfAThreadReplacesTheFirst) {
    ASSERT_TRUE(h7->SetErrorMsg(1, "first"));
    ASSERT_TRUE(h100->SetErrorMsg(2, "second"));
    short code = 0;
    std::string text;
    ASSERT_TRUE(Own(code, text));
    EXPECT_EQ(code, 2);
    EXPECT_EQ(text, "second");

    // One entry for this thread in the shared map.
    int mine = 0;
    CErrorMessages* errors = h7->GetErrorMessages();
    unsigned long cursor = 0;
    short c = 0;
    std::string t;
    unsigned long sequence = 0;
    unsigned long previous = 0;
    bool first = true;
    while (errors->Get(c, t, sequence, cursor)) {
        EXPECT_TRUE(first || cursor > previous) << "entries come in thread id order";
        first = false;
        previous = cursor;
        if (cursor == ThreadID::Id()) {
            ++mine;
        }
        ++cursor;
    }
    EXPECT_EQ(mine, 1);
    EXPECT_TRUE(errors->IsSet());
}

TEST_F(Errors, LastErrorAcrossThreadsIsTheNewest) {
    auto setFrom = [](CMessageHandler* handler, short code, const char* text) {
        std::thread setter([=] { EXPECT_TRUE(handler->SetErrorMsg(code, text)); });
        setter.join();
    };
    setFrom(h7, 11, "from a");
    setFrom(h100, 12, "from b");

    short code = 0;
    std::string text;
    Group group = CMessageHandler::GROUP_ALL;
    ASSERT_TRUE(h7->LastError(code, text, group, false));
    EXPECT_EQ(code, 12);
    EXPECT_EQ(text, "from b");
    EXPECT_EQ(group, CMessageHandler::GROUP_COMMSTEST) << "the group of the handler asked, not of the setter";
    EXPECT_FALSE(Own(code, text)) << "this thread has set nothing";
    EXPECT_FALSE(h7->IsErrorSet(CMessageHandler::GROUP_LOCAL, true));
    EXPECT_TRUE(h7->IsErrorSet(CMessageHandler::GROUP_LOCAL, false));

    ASSERT_TRUE(h100->SetErrorMsg(13, "from main"));
    group = CMessageHandler::GROUP_LOCAL;
    ASSERT_TRUE(h100->LastError(code, text, group, false));
    EXPECT_EQ(text, "from main");
    EXPECT_EQ(group, CMessageHandler::GROUP_APPLICATION);

    setFrom(h7, 14, "from c");
    ASSERT_TRUE(h100->LastError(code, text, group, false));
    EXPECT_EQ(text, "from c");
    ASSERT_TRUE(Own(code, text));
    EXPECT_EQ(text, "from main");

    // A selector that picks only handlers without an error object finds nothing.
    // (Option processing gave every named group an error object: use an unnamed one.)
    const Group unnamed = static_cast<Group>(50);
    CTheMsgHnd::CreateGroup(unnamed);
    group = unnamed;
    EXPECT_FALSE(h7->LastError(code, text, group, false));
    EXPECT_EQ(group, unnamed) << "untouched when nothing is found";
}

TEST_F(Errors, ConcurrentErrorsGetDistinctSequences) {
    constexpr int kThreads = 8;
    Gate gate(kThreads + 1);
    std::mutex idsMutex;
    std::map<unsigned long, std::string> textById;
    std::vector<std::thread> threads;
    for (int t = 0; t < kThreads; ++t) {
        threads.emplace_back([&, t] {
            const std::string text = "thread " + std::to_string(t);
            EXPECT_TRUE((t % 2 == 0 ? h7 : h100)->SetErrorMsg(static_cast<short>(t), text));
            {
                std::lock_guard<std::mutex> lock(idsMutex);
                textById[ThreadID::Id()] = text;
            }
            gate.ArriveAndWait();
        });
    }
    gate.ArriveAndWait();  // every thread has set its error and is still alive

    std::set<unsigned long> sequences;
    unsigned long newest = 0;
    std::string newestText;
    CErrorMessages* errors = h7->GetErrorMessages();
    unsigned long cursor = 0;
    short code = 0;
    std::string text;
    unsigned long sequence = 0;
    int found = 0;
    while (errors->Get(code, text, sequence, cursor)) {
        const auto mine = textById.find(cursor);
        if (mine != textById.end()) {
            ++found;
            EXPECT_EQ(text, mine->second);
            EXPECT_TRUE(sequences.insert(sequence).second) << "sequence " << sequence << " given twice";
        }
        if (sequence > newest) {
            newest = sequence;
            newestText = text;
        }
        ++cursor;
    }
    EXPECT_EQ(found, kThreads);
    Group group = CMessageHandler::GROUP_ALL;
    ASSERT_TRUE(h100->LastError(code, text, group, false));
    EXPECT_EQ(text, newestText);
    for (std::thread& t : threads) {
        t.join();
    }
}

TEST_F(Errors, ANewErrorObjectClearsOnlyTheCreatingThread) {
    std::mutex mutex;
    std::condition_variable changed;
    bool otherSet = false;
    bool release = false;
    std::thread other([&] {
        h100->SetErrorMsg(21, "other thread");
        std::unique_lock<std::mutex> lock(mutex);
        otherSet = true;
        changed.notify_all();
        changed.wait(lock, [&] { return release; });
    });
    {
        std::unique_lock<std::mutex> lock(mutex);
        ASSERT_TRUE(changed.wait_for(lock, std::chrono::seconds(20), [&] { return otherSet; }));
    }
    ASSERT_TRUE(h7->SetErrorMsg(22, "main thread"));
    h7->NewErrorObject(CMessageHandler::GROUP_ALL);

    short code = 0;
    std::string text;
    EXPECT_FALSE(Own(code, text)) << "the creating thread's error is wiped";
    Group group = CMessageHandler::GROUP_ALL;
    ASSERT_TRUE(h7->LastError(code, text, group, false));
    EXPECT_EQ(text, "other thread");

    {
        std::lock_guard<std::mutex> lock(mutex);
        release = true;
        changed.notify_all();
    }
    other.join();
}

TEST_F(Errors, ClearingIsPerThread) {
    std::thread other([this] { h100->SetErrorMsg(31, "kept"); });
    other.join();
    ASSERT_TRUE(h7->SetErrorMsg(32, "cleared"));
    CTheMsgHnd::ClearErrors();
    short code = 0;
    std::string text;
    EXPECT_FALSE(Own(code, text));
    Group group = CMessageHandler::GROUP_ALL;
    ASSERT_TRUE(h7->LastError(code, text, group, false));
    EXPECT_EQ(text, "kept");
    ASSERT_TRUE(h7->SetErrorMsg(33, "again"));
    h100->ClearError();
    EXPECT_FALSE(Own(code, text));
}

TEST_F(Errors, ModifyPrefixesTheTextAndKeepsTheCodeUnlessGiven) {
    struct Case {
        bool prior;
        short newCode;
        short expectedCode;
        const char* expectedText;
    };
    const Case cases[] = {
        {false, 5, 5, "context"},
        {false, 0, 0, "context"},
        {true, 0, 3, "context - old"},
        {true, 9, 9, "context - old"},
    };
    for (const Case& c : cases) {
        h7->ClearError();
        if (c.prior) {
            ASSERT_TRUE(h7->SetErrorMsg(3, "old"));
        }
        ASSERT_TRUE(h7->ModifyErrorMsg(c.newCode, "context", CMessageHandler::GROUP_LOCAL));
        short code = -1;
        std::string text;
        ASSERT_TRUE(Own(code, text));
        EXPECT_EQ(code, c.expectedCode) << c.prior << " " << c.newCode;
        EXPECT_EQ(text, c.expectedText) << c.prior << " " << c.newCode;
    }
}

TEST_F(Errors, AHandlerWithoutErrorObjectRefuses) {
    // Option processing gave every named group an error object: use an unnamed one.
    const Group unnamed = static_cast<Group>(50);
    CTheMsgHnd::CreateGroup(unnamed);
    CMessageHandler* bare = CTheMsgHnd::GetAppropriateHandler(unnamed, "void Errors::Bare()", false);
    ASSERT_EQ(bare->GetErrorMessages(), nullptr) << "groups made by CreateGroup have no error object";
    EXPECT_FALSE(bare->SetErrorMsg(1, "x"));
    EXPECT_FALSE(bare->ModifyErrorMsg(1, "x", CMessageHandler::GROUP_LOCAL));

    CMessageHandler loose(CMessageHandler::GROUP_COMMSTEST);  // in no map
    EXPECT_FALSE(loose.SetErrorMsg(1, "x"));
    ASSERT_TRUE(h7->SetErrorMsg(2, "visible"));
    short code = 0;
    std::string text;
    Group group = CMessageHandler::GROUP_ALL;
    EXPECT_FALSE(loose.LastError(code, text, group, false)) << "group operations on a handler in no map do nothing";
}

}  // namespace
