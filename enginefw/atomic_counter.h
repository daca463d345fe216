// A counter whose increments and decrements are locked.
//
// inc() and dec() change the value under a recursive lock and return the new
// value. read() and assign() do not take the lock: the value is a single word
// (kept as a relaxed atomic so that such reads are well defined). A copy gets
// its own lock and a copy of the value, and then counts apart.
#pragma once

class AtomicCounter {
public:
    explicit AtomicCounter(long value = 0);
    AtomicCounter(const AtomicCounter& other);
    AtomicCounter& operator=(const AtomicCounter& other);
    ~AtomicCounter();

    long inc();
    long dec();
    void assign(long value);
    long read() const;

private:
    struct Data;
    Data* mData;
};
