// The thread layer of the command workers.
//
// Signal 11 (SIGSEGV) is the workers' private stop signal: factory_thread_kill
// sends it to one worker, whose handler ends the thread. The disposition of a
// signal is process-wide, though, and a host process has its own use for
// SIGSEGV: a JVM or Android's runtime turns faults into NullPointerExceptions
// and stack-overflow checks, a station program may have a crash reporter. So
// the library's handler is installed only for the moment of a deliberate stop
// (from just before the signal is sent until the stopped worker has run the
// handler), and while it is installed every SIGSEGV that is not that stop goes
// on to the disposition it replaced. Ordinary commands never touch the
// process's signal handling.
#include <pthread.h>
#include <signal.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <cstring>
#include <mutex>
#include <thread>

#include "WiFiBtFactoryService.h"
#include "factory/FactoryThread.h"
#include "factory/ThreadFlags.h"
#include "factory/factory_log.h"

namespace {

// Serialises the stops: one handler installation and one target at a time.
std::mutex gStopMutex;
// The disposition our handler replaced; valid while gInstalled is set.
struct sigaction gSaved;
std::atomic<bool> gInstalled{false};
// The thread a stop is on its way to, and the count of stops that arrived.
std::atomic<bool> gStopPending{false};
std::atomic<pthread_t> gStopTarget{};
std::atomic<unsigned> gStopsArrived{0};

// How long a stop waits for its target to run the handler before it leaves
// the handler installed (still chaining) and returns.
constexpr std::chrono::milliseconds kStopArrivalLimit{1000};

// Hands a SIGSEGV that is not ours to what handled it before: its function,
// or the default action (the process ends as it would have without us), or
// nothing for a sent signal that was ignored. Only async-signal-safe calls.
void Chain(int signum, siginfo_t* info, void* context) {
    const struct sigaction& previous = gSaved;
    if ((previous.sa_flags & SA_SIGINFO) != 0) {
        if (previous.sa_sigaction != nullptr) previous.sa_sigaction(signum, info, context);
        return;
    }
    if (previous.sa_handler == SIG_IGN && info != nullptr && info->si_code <= 0) return;
    if (previous.sa_handler != SIG_DFL && previous.sa_handler != SIG_IGN) {
        previous.sa_handler(signum);
        return;
    }
    // Default (or ignored, which the kernel does not honour for a fault):
    // put the default back and raise again. The signal is blocked inside
    // this handler, so it is delivered, with the default action, as soon as
    // the handler returns; a fault would repeat anyway.
    struct sigaction dfl;
    std::memset(&dfl, 0, sizeof dfl);
    dfl.sa_handler = SIG_DFL;
    sigemptyset(&dfl.sa_mask);
    sigaction(signum, &dfl, nullptr);
    raise(signum);
}

void StopSignalHandler(int signum, siginfo_t* info, void* context) {
    // The deliberate stop is thread-directed (pthread_kill gives SI_TKILL),
    // comes from this process, and lands on the thread a stop is pending for.
    if (info != nullptr && info->si_code == SI_TKILL && info->si_pid == getpid() &&
        gStopPending.load() && pthread_equal(pthread_self(), gStopTarget.load())) {
        gStopPending.store(false);
        gStopsArrived.fetch_add(1);
        factory_thread_kill_handler(signum);
    }
    Chain(signum, info, context);
}

bool HandlerIsOurs(const struct sigaction& action) {
    return (action.sa_flags & SA_SIGINFO) != 0 && action.sa_sigaction == &StopSignalHandler;
}

}  // namespace

namespace factory {

void InstallStopHandler() {
    struct sigaction current;
    if (sigaction(SIGSEGV, nullptr, &current) != 0) return;
    // Installing again while ours is in place keeps the first saved
    // disposition: saving our own handler would make it chain to itself.
    if (HandlerIsOurs(current)) return;
    struct sigaction ours;
    std::memset(&ours, 0, sizeof ours);
    ours.sa_sigaction = &StopSignalHandler;
    ours.sa_flags = SA_SIGINFO | SA_ONSTACK | SA_RESTART;
    sigemptyset(&ours.sa_mask);
    gSaved = current;
    gInstalled.store(true);
    sigaction(SIGSEGV, &ours, nullptr);
}

void RestoreStopHandler() {
    if (!gInstalled.load()) return;
    struct sigaction current;
    if (sigaction(SIGSEGV, nullptr, &current) != 0) return;
    // Someone installed a handler after ours: theirs stays.
    if (HandlerIsOurs(current)) sigaction(SIGSEGV, &gSaved, nullptr);
    gInstalled.store(false);
}

bool StopHandlerInstalled() {
    struct sigaction current;
    return sigaction(SIGSEGV, nullptr, &current) == 0 && HandlerIsOurs(current);
}

}  // namespace factory

extern "C" {

WLBT_API int factory_thread_create(THREAD_INFO* info) {
    if (info == nullptr) {
        FLOG(TAG_THREAD, "Thread info is NULL");
        return 2;
    }
    if (info->thread_func == nullptr) {
        FLOG(TAG_THREAD, "thread_func is NULL");
        return 2;
    }
    pthread_attr_t attr;
    if (pthread_attr_init(&attr) != 0) return 1;
    if (pthread_attr_setdetachstate(&attr, PTHREAD_CREATE_DETACHED) != 0) {
        pthread_attr_destroy(&attr);
        return 1;
    }
    pthread_mutex_init(&info->mutex, nullptr);
    const int rc = pthread_create(&info->thread, &attr, info->thread_func, info);
    if (rc != 0) {
        FLOG(TAG_THREAD, "Error - pthread_create() return code: %d\n", rc);
        pthread_attr_destroy(&attr);
        return 1;
    }
    if (pthread_attr_destroy(&attr) != 0) return 1;
    return 0;
}

WLBT_API int factory_thread_kill(THREAD_INFO* info) {
    if (info == nullptr) {
        FLOG(TAG_THREAD, "Thread info is NULL");
        return 2;
    }
    SetThreadRunning(info, false);
    std::lock_guard<std::mutex> lock(gStopMutex);
    factory::InstallStopHandler();
    const unsigned arrived = gStopsArrived.load();
    gStopTarget.store(info->thread);
    gStopPending.store(true);
    const int rc = pthread_kill(info->thread, SIGSEGV);
    if (rc != 0) {
        gStopPending.store(false);
        factory::RestoreStopHandler();
        FLOG(TAG_THREAD, "Error - pthread_kill() return code: %d\n", rc);
        return 3;
    }
    const auto deadline = std::chrono::steady_clock::now() + kStopArrivalLimit;
    while (gStopsArrived.load() == arrived && std::chrono::steady_clock::now() < deadline) {
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    if (gStopsArrived.load() != arrived) {
        factory::RestoreStopHandler();
    } else {
        // The stop may still land; without the handler it would take the
        // process down. Ours stays, chaining every other SIGSEGV.
        FLOG(TAG_THREAD, "the stopped thread has not ended yet; the stop handler stays installed\n");
    }
    return 0;
}

// Ends the calling thread quietly. Reached through the library's own
// handler for a deliberate stop only; a host may also install it itself.
WLBT_API void factory_thread_kill_handler(int /*signum*/) {
    pthread_detach(pthread_self());
    pthread_exit(nullptr);
}

WLBT_API int DisableWLBT(void) {
    return 0;
}

}  // extern "C"
