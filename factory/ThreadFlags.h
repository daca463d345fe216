// The `running` byte of a worker and the handler's early-response byte are
// written by one thread and polled by another. Single-byte atomic accesses
// keep that hand-over well defined without changing the C layout of
// THREAD_INFO.
#pragma once

#include "WiFiBtFactoryService.h"

inline bool LoadFlag(const bool* flag) {
    return __atomic_load_n(flag, __ATOMIC_ACQUIRE);
}

inline void StoreFlag(bool* flag, bool value) {
    __atomic_store_n(flag, value, __ATOMIC_RELEASE);
}

inline bool ThreadRunning(const THREAD_INFO* info) {
    return info != nullptr && LoadFlag(&info->running);
}

inline void SetThreadRunning(THREAD_INFO* info, bool value) {
    StoreFlag(&info->running, value);
}
