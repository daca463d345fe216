#include "enginefw/critical_section.h"

#include <cerrno>
#include <cstdlib>
#include <pthread.h>

#include "enginefw/fatal_error.h"

CriticalSection::CriticalSection(bool recursive) : mHandle(InitialiseCS(recursive)) {}

CriticalSection::~CriticalSection() { DestroyCS(mHandle); }

void* CriticalSection::InitialiseCS(bool recursive) {
    auto* mutex = static_cast<pthread_mutex_t*>(std::malloc(sizeof(pthread_mutex_t)));
    if (mutex == nullptr) {
        fatal_error("CriticalSection::InitialiseCS - init failed", ENOMEM);
    }
    // The attribute object is deliberately not destroyed afterwards: it holds no
    // resources on this platform.
    pthread_mutexattr_t attr;
    int rc = pthread_mutexattr_init(&attr);
    if (rc != 0) {
        fatal_error("CriticalSection::InitialiseCS - init failed (attr init)", rc);
    }
    if (recursive) {
        rc = pthread_mutexattr_settype(&attr, PTHREAD_MUTEX_RECURSIVE);
        if (rc != 0) {
            fatal_error("CriticalSection::InitialiseCS - init failed (set type)", rc);
        }
    }
    rc = pthread_mutex_init(mutex, &attr);
    if (rc != 0) {
        fatal_error("CriticalSection::InitialiseCS - init failed", rc);
    }
    return mutex;
}

void CriticalSection::EnterCS(void* handle) {
    const int rc = handle == nullptr ? EINVAL : pthread_mutex_lock(static_cast<pthread_mutex_t*>(handle));
    if (rc != 0) {
        fatal_error("CriticalSection::EnterCS - lock failed", rc);
    }
}

void CriticalSection::LeaveCS(void* handle) {
    const int rc = handle == nullptr ? EINVAL : pthread_mutex_unlock(static_cast<pthread_mutex_t*>(handle));
    if (rc != 0) {
        fatal_error("CriticalSection::LeaveCS - unlock failed", rc);
    }
}

void CriticalSection::DestroyCS(void* handle) {
    if (handle == nullptr) {
        return;
    }
    const int rc = pthread_mutex_destroy(static_cast<pthread_mutex_t*>(handle));
    if (rc != 0) {
        fatal_error("CriticalSection::DestroyCS - destroy failed", rc);
    }
    std::free(handle);
}
