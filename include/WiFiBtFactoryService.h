/* Public entry points of the WLAN/Bluetooth factory-test service.
 *
 * A station opens the service once, forwards AT command strings one at a time
 * and closes it again. The verdict of a command is in its result string; the
 * return code only tells whether the command could be attempted.
 *
 * The header is usable from C and C++. */
#pragma once

#include <pthread.h>
#ifndef __cplusplus
#include <stdbool.h>
#endif

#include "wlbt_export.h"

#ifdef __cplusplus
extern "C" {
#endif

/* Size of the result buffer a caller must hand to ForwardCMD_WiFiBT. */
#define WLBT_RESULT_BUFFER_SIZE 1024
/* Longest command string ForwardCMD_WiFiBT accepts. */
#define WLBT_MAX_COMMAND_LENGTH 64

/* Public return codes. */
#define WLBT_OK 0                 /* done; read the verdict in the result string */
#define WLBT_ERR_UNKNOWN_FAMILY 2 /* the string belongs to no command family */
#define WLBT_ERR_TOO_LONG 4       /* the string is longer than 64 characters */
#define WLBT_ERR_TIMEOUT 5        /* reserved: the time limit is inactive */
#define WLBT_ERR_NOT_OPEN 6       /* the service is not open */
#define WLBT_ERR_ALREADY_OPEN 7   /* the service is already open */

/* One command worker of the handler's ring. */
typedef struct THREAD_INFO {
    pthread_mutex_t mutex;
    pthread_t thread;
    bool running;
    void* (*thread_func)(void*);
    void* thread_arg;
} THREAD_INFO;

WLBT_API int OpenWiFiBtFactoryService(void);
WLBT_API int CloseWiFiBtFactoryService(void);
/* result must point at WLBT_RESULT_BUFFER_SIZE bytes. timeout is accepted and
 * has no effect. */
WLBT_API int ForwardCMD_WiFiBT(const char* command, char* result, int timeout);

/* Thread layer of the command workers: 0 success, 1 a pthread call failed,
 * 2 null info or null thread_func, 3 pthread_kill failed. */
WLBT_API int factory_thread_create(THREAD_INFO* info);
WLBT_API int factory_thread_kill(THREAD_INFO* info);
WLBT_API void factory_thread_kill_handler(int signum);

/* Kept for the callers that expect it; does nothing and returns 0. */
WLBT_API int DisableWLBT(void);

#ifdef __cplusplus
}
#endif
