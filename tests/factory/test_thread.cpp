// The worker thread layer: refused arguments, the stop by signal 11 and the
// host's own SIGSEGV handling around it.
// Workers that run and end on their own are every command's in tests/e2e;
// that they leave no thread behind is tests/stress's.
#include <gtest/gtest.h>
#include <pthread.h>
#include <signal.h>
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <cstring>
#include <thread>

#include "WiFiBtFactoryService.h"
#include "factory/FactoryThread.h"
#include "support/chores.h"

namespace {

using namespace std::chrono_literals;

bool Running(THREAD_INFO* info) {
    return __atomic_load_n(&info->running, __ATOMIC_ACQUIRE);
}

TEST(FactoryThread, NullArgumentsAreRefused) {
    THREAD_INFO info{};
    EXPECT_EQ(factory_thread_create(nullptr), 2);
    EXPECT_EQ(factory_thread_create(&info), 2);
    EXPECT_EQ(factory_thread_kill(nullptr), 2);
}

std::atomic<bool> g_workerStarted{false};
std::atomic<bool> g_workerEnded{false};

// Seen when the thread is unwound by pthread_exit.
struct EndMarker {
    ~EndMarker() { g_workerEnded = true; }
};

void* BlockForever(void*) {
    EndMarker marker;
    g_workerStarted = true;
    for (;;) pause();
    return nullptr;
}

TEST(FactoryThread, KillStopsTheWorkerThroughSignal11AndPutsTheHostsHandlingBack) {
    struct sigaction before;
    sigaction(SIGSEGV, nullptr, &before);
    THREAD_INFO info{};
    info.thread_func = &BlockForever;
    info.running = true;
    ASSERT_EQ(factory_thread_create(&info), 0);
    ASSERT_TRUE(testsupport::WaitUntil([] { return g_workerStarted.load(); }, 5000ms));
    EXPECT_EQ(factory_thread_kill(&info), 0);
    EXPECT_FALSE(Running(&info));
    EXPECT_TRUE(testsupport::WaitUntil([] { return g_workerEnded.load(); }, 5000ms)) << "the worker ends itself";
    EXPECT_FALSE(factory::StopHandlerInstalled());
    struct sigaction after;
    sigaction(SIGSEGV, nullptr, &after);
    EXPECT_EQ(before.sa_handler, after.sa_handler);
    char result[WLBT_RESULT_BUFFER_SIZE] = {};  // and the service goes on working
    ASSERT_EQ(OpenWiFiBtFactoryService(), 0);
    EXPECT_EQ(ForwardCMD_WiFiBT("AT+WIFIRF=0,250,0,0", result, 3000), 0);
    EXPECT_STREQ(result, "+WIFIRF:6,NG");
    EXPECT_EQ(CloseWiFiBtFactoryService(), 0);
}

constexpr int kHostHandlerExit = 42;

void HostHandler(int, siginfo_t*, void*) { ::_exit(kHostHandlerExit); }

// A station program's SIGSEGV after the library's commands reaches the
// station's own handler, or the default action: the process dies as it
// would have without the library. Each case runs in a child process.
TEST(FactoryThread, TheHostsSigsegvHandlingSurvivesCommandsAndStops) {
    struct Case {
        const char* name;
        bool hostHandler;        // else the default disposition
        bool stopHandlerInPlace;  // as after a stop whose target never ran it
        bool sentSignal;          // a thread-directed SIGSEGV with no stop pending, not a fault
    };
    const Case cases[] = {
        {"host handler", true, false, false},
        {"default", false, false, false},
        {"host handler, stop handler in place", true, true, false},
        {"default, stop handler in place", false, true, false},
        {"host handler, stop handler in place, sent signal", true, true, true},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        testsupport::ChildProcess child([&] {
            struct sigaction sa;
            std::memset(&sa, 0, sizeof sa);
            sigemptyset(&sa.sa_mask);
            sa.sa_flags = c.hostHandler ? SA_SIGINFO : 0;
            if (c.hostHandler) sa.sa_sigaction = &HostHandler;  // default: also replaces a sanitizer's handler
            sigaction(SIGSEGV, &sa, nullptr);
            char result[WLBT_RESULT_BUFFER_SIZE];
            OpenWiFiBtFactoryService();
            for (const char* command : {"AT+WIFIRF=0,250,0,0", "AT+WIFIRF=0,1,1,0", "UNIT=99"}) {
                ForwardCMD_WiFiBT(command, result, 3000);
            }
            CloseWiFiBtFactoryService();
            if (c.stopHandlerInPlace) {
                factory::InstallStopHandler();
                factory::InstallStopHandler();  // a second install keeps the first saved disposition
            }
            std::thread([&] {
                if (c.sentSignal) {
                    pthread_kill(pthread_self(), SIGSEGV);
                } else {
                    // A page with no access: a real fault, not one a sanitizer reports first.
                    void* page = mmap(nullptr, 4096, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
                    *static_cast<volatile int*>(page) = 1;
                }
            }).join();
            ::_exit(0);  // the SIGSEGV was swallowed
        });
        const auto status = child.Wait(30000ms);
        ASSERT_TRUE(status.has_value());
        if (c.hostHandler) {
            EXPECT_TRUE(WIFEXITED(*status) && WEXITSTATUS(*status) == kHostHandlerExit) << "status " << *status;
        } else {
            EXPECT_TRUE(WIFSIGNALED(*status) && WTERMSIG(*status) == SIGSEGV) << "status " << *status;
        }
    }
}

}  // namespace
