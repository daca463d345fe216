// The thread layer of the command workers.
#include <pthread.h>
#include <signal.h>

#include "WiFiBtFactoryService.h"
#include "factory/ThreadFlags.h"
#include "factory/factory_log.h"

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
    const int rc = pthread_kill(info->thread, SIGSEGV);
    if (rc != 0) {
        FLOG(TAG_THREAD, "Error - pthread_kill() return code: %d\n", rc);
        return 3;
    }
    return 0;
}

// Signal 11 is the private stop signal of the workers. Installed with
// signal() by every worker, so the disposition is process-wide: a genuine
// segmentation fault in any thread then ends that thread quietly.
WLBT_API void factory_thread_kill_handler(int /*signum*/) {
    pthread_detach(pthread_self());
    pthread_exit(nullptr);
}

WLBT_API int DisableWLBT(void) {
    return 0;
}

}  // extern "C"
