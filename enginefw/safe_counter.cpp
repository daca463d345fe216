#include "enginefw/counted.h"

#include "enginefw/critical_section.h"

SafeCounter::SafeCounter() : mLock(CriticalSection::InitialiseCS(false)) {}

SafeCounter::SafeCounter(const SafeCounter&) : mLock(CriticalSection::InitialiseCS(false)) {}

SafeCounter::~SafeCounter() { CriticalSection::DestroyCS(mLock); }

unsigned int SafeCounter::IncrementCount() {
    CriticalSectionLock lock(mLock);
    return ++mCount;
}

unsigned int SafeCounter::DecrementCount() {
    // The lock is left before the caller deletes the object.
    CriticalSectionLock lock(mLock);
    return mCount--;
}

unsigned int SafeCounter::GetCount() const {
    CriticalSectionLock lock(mLock);
    return mCount;
}
