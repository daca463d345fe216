#include "enginefw/atomic_counter.h"

#include <atomic>

#include "enginefw/critical_section.h"

struct AtomicCounter::Data {
    explicit Data(long initial) : lock(CriticalSection::InitialiseCS(true)), value(initial) {}
    ~Data() { CriticalSection::DestroyCS(lock); }
    Data(const Data&) = delete;
    Data& operator=(const Data&) = delete;

    void* lock;
    std::atomic<long> value;
};

AtomicCounter::AtomicCounter(long value) : mData(new Data(value)) {}

AtomicCounter::AtomicCounter(const AtomicCounter& other) : mData(new Data(other.read())) {}

AtomicCounter& AtomicCounter::operator=(const AtomicCounter& other) {
    assign(other.read());
    return *this;
}

AtomicCounter::~AtomicCounter() { delete mData; }

long AtomicCounter::inc() {
    CriticalSectionLock lock(mData->lock);
    const long value = mData->value.load(std::memory_order_relaxed) + 1;
    mData->value.store(value, std::memory_order_relaxed);
    return value;
}

long AtomicCounter::dec() {
    CriticalSectionLock lock(mData->lock);
    const long value = mData->value.load(std::memory_order_relaxed) - 1;
    mData->value.store(value, std::memory_order_relaxed);
    return value;
}

void AtomicCounter::assign(long value) { mData->value.store(value, std::memory_order_relaxed); }

long AtomicCounter::read() const { return mData->value.load(std::memory_order_relaxed); }
