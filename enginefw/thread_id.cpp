#include "enginefw/thread_id.h"

#include <pthread.h>

static_assert(sizeof(pthread_t) <= sizeof(unsigned long), "thread ids are printed as unsigned long");

ThreadID::ThreadID() : mThread(new pthread_t(pthread_self())) {}

ThreadID::ThreadID(const ThreadID& other)
    : mThread(new pthread_t(*static_cast<const pthread_t*>(other.mThread))) {}

ThreadID& ThreadID::operator=(const ThreadID& other) {
    *static_cast<pthread_t*>(mThread) = *static_cast<const pthread_t*>(other.mThread);
    return *this;
}

ThreadID::~ThreadID() { delete static_cast<pthread_t*>(mThread); }

bool ThreadID::operator==(const ThreadID& other) const {
    return pthread_equal(*static_cast<const pthread_t*>(mThread), *static_cast<const pthread_t*>(other.mThread)) != 0;
}

unsigned long ThreadID::Id() { return static_cast<unsigned long>(pthread_self()); }
