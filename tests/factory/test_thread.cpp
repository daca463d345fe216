// The worker thread layer and the (inactive) time-out path.
#include <gtest/gtest.h>

#include <pthread.h>
#include <signal.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <cstring>
#include <thread>

#include "WiFiBtFactoryService.h"
#include "factory/CommandHandler.h"
#include "handler_peer.h"
#include "support/log_capture.h"

namespace {

using namespace std::chrono_literals;

bool WaitUntil(const std::function<bool()>& done, std::chrono::milliseconds limit) {
    const auto deadline = std::chrono::steady_clock::now() + limit;
    while (!done()) {
        if (std::chrono::steady_clock::now() > deadline) return false;
        std::this_thread::sleep_for(1ms);
    }
    return true;
}

TEST(FactoryThread, NullArgumentsAreRefusedWithTheirLines) {
    testsupport::LogCapture log;
    THREAD_INFO info{};
    EXPECT_EQ(factory_thread_create(nullptr), 2);
    EXPECT_EQ(factory_thread_create(&info), 2);
    EXPECT_EQ(factory_thread_kill(nullptr), 2);
    EXPECT_EQ(log.Texts("FACTORY_THREAD"),
              (std::vector<std::string>{"Thread info is NULL", "thread_func is NULL", "Thread info is NULL"}));
}

std::atomic<void*> g_seenArg{nullptr};

void* RecordArg(void* arg) {
    g_seenArg = arg;
    auto* info = static_cast<THREAD_INFO*>(arg);
    __atomic_store_n(&info->running, false, __ATOMIC_RELEASE);
    return nullptr;
}

TEST(FactoryThread, WorkerGetsItsOwnInfoAndRunsDetached) {
    THREAD_INFO info{};
    info.thread_func = &RecordArg;
    info.running = true;
    ASSERT_EQ(factory_thread_create(&info), 0);
    ASSERT_TRUE(WaitUntil([&] { return !__atomic_load_n(&info.running, __ATOMIC_ACQUIRE); }, 5000ms));
    EXPECT_EQ(g_seenArg.load(), &info);
    int state = -1;
    // A detached thread cannot be joined.
    EXPECT_NE(pthread_join(info.thread, reinterpret_cast<void**>(&state)), 0);
}

std::atomic<bool> g_workerStarted{false};
std::atomic<bool> g_workerEnded{false};

// Seen when the thread is unwound by pthread_exit.
struct EndMarker {
    ~EndMarker() { g_workerEnded = true; }
};

void* BlockForever(void*) {
    EndMarker marker;
    signal(SIGSEGV, factory_thread_kill_handler);
    g_workerStarted = true;
    for (;;) pause();
    return nullptr;
}

TEST(FactoryThread, KillStopsTheWorkerThroughSignal11) {
    testsupport::LogCapture log;
    THREAD_INFO info{};
    info.thread_func = &BlockForever;
    info.running = true;
    ASSERT_EQ(factory_thread_create(&info), 0);
    ASSERT_TRUE(WaitUntil([] { return g_workerStarted.load(); }, 5000ms));
    EXPECT_EQ(factory_thread_kill(&info), 0);
    EXPECT_FALSE(__atomic_load_n(&info.running, __ATOMIC_ACQUIRE));
    // The worker ends itself in the handler.
    EXPECT_TRUE(WaitUntil([] { return g_workerEnded.load(); }, 5000ms));
}

TEST(TimeoutHandler, StopsTheCurrentWorkerAndMarksTimeout) {
    testsupport::LogCapture log;
    CCommandHandler h(nullptr, nullptr);
    auto* info = new THREAD_INFO();
    info->thread_func = &BlockForever;
    info->running = true;
    CCommandHandlerTestPeer::SetIndex(h, 3);
    CCommandHandlerTestPeer::Slot(h, 3) = info;
    ASSERT_EQ(factory_thread_create(info), 0);
    ASSERT_TRUE(WaitUntil([] { return g_workerStarted.load(); }, 5000ms));

    siginfo_t si;
    std::memset(&si, 0, sizeof si);
    si.si_value.sival_ptr = &h;
    CCommandHandler::TimeoutHandler(SIGUSR2, &si, nullptr);  // not the timer's signal
    EXPECT_FALSE(h.IsTimeout());
    EXPECT_TRUE(__atomic_load_n(&info->running, __ATOMIC_ACQUIRE));

    CCommandHandler::TimeoutHandler(SIGUSR1, &si, nullptr);
    EXPECT_TRUE(h.IsTimeout());
    EXPECT_FALSE(__atomic_load_n(&info->running, __ATOMIC_ACQUIRE));
    EXPECT_TRUE(WaitUntil([] { return g_workerEnded.load(); }, 5000ms));
    EXPECT_EQ(log.Texts("COMMAND_HANDLER"),
              (std::vector<std::string>{"TIMEOUT", "[FAULT] Thread might be working still..."}));
}

TEST(TimeoutHandler, TimeoutArgumentHasNoEffect) {
    ASSERT_EQ(OpenWiFiBtFactoryService(), 0);
    char result[WLBT_RESULT_BUFFER_SIZE] = {};
    for (int timeout : {-1, 0, 1, 3000}) {
        EXPECT_EQ(ForwardCMD_WiFiBT("AT+WIFIRF=0,6,0,0", result, timeout), 0);
        EXPECT_STREQ(result, "+WIFIRF:0,OK");
    }
    CloseWiFiBtFactoryService();
}

}  // namespace
