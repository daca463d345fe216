// Reference counting.
//
// Counter      polymorphic base, count changed without a lock: for objects shared
//              only among objects made and torn down on one thread.
// SafeCounter  polymorphic base, count changed under its own lock.
// Counted<T>   mix-in with the count only, for a T with its own virtual destructor.
// CountedPointer<T> holds one count on a T (null allowed) and deletes the object
//              when it drops the last count. With a locked count the lock is
//              released before the delete, never held across it.
//
// Every counted base offers IncrementCount() (returns the new count) and
// DecrementCount() (returns the count before the step). Copying a counted object
// gives the copy a fresh count of 0.
#pragma once

#include <utility>

class Counter {
public:
    Counter() = default;
    Counter(const Counter&) {}
    Counter& operator=(const Counter&) { return *this; }
    virtual ~Counter() = default;

    unsigned int IncrementCount() { return ++mCount; }
    unsigned int DecrementCount() { return mCount--; }
    unsigned int GetCount() const { return mCount; }

private:
    unsigned int mCount = 0;
};

class SafeCounter {
public:
    SafeCounter();
    SafeCounter(const SafeCounter&);
    SafeCounter& operator=(const SafeCounter&) { return *this; }
    virtual ~SafeCounter();

    unsigned int IncrementCount();
    unsigned int DecrementCount();
    unsigned int GetCount() const;

private:
    unsigned int mCount = 0;
    void* mLock;
};

template <typename T>
class Counted {
public:
    unsigned int IncrementCount() { return ++mCount; }
    unsigned int DecrementCount() { return mCount--; }
    unsigned int GetCount() const { return mCount; }

protected:
    Counted() = default;
    Counted(const Counted&) {}
    Counted& operator=(const Counted&) { return *this; }
    ~Counted() = default;

private:
    unsigned int mCount = 0;
};

template <typename T>
class CountedPointer {
public:
    CountedPointer() noexcept = default;
    explicit CountedPointer(T* object) : mPtr(object) { addRef(); }
    CountedPointer(const CountedPointer& other) : mPtr(other.mPtr) { addRef(); }
    CountedPointer(CountedPointer&& other) noexcept : mPtr(other.mPtr) { other.mPtr = nullptr; }
    template <typename U>
    CountedPointer(const CountedPointer<U>& other) : mPtr(other.get()) {  // NOLINT: converting
        addRef();
    }
    ~CountedPointer() { clr(); }

    CountedPointer& operator=(const CountedPointer& other) { return assign(other.mPtr); }
    CountedPointer& operator=(CountedPointer&& other) noexcept {
        if (this != &other) {
            clr();
            mPtr = other.mPtr;
            other.mPtr = nullptr;
        }
        return *this;
    }
    CountedPointer& operator=(T* object) { return assign(object); }

    // Drops this pointer's count; deletes the object when it was the last one.
    void clr() {
        T* const object = mPtr;
        mPtr = nullptr;
        if (object != nullptr && object->DecrementCount() == 1) {
            delete object;
        }
    }

    T* get() const { return mPtr; }
    T* operator->() const { return mPtr; }
    T& operator*() const { return *mPtr; }
    explicit operator bool() const { return mPtr != nullptr; }
    bool operator==(const CountedPointer& other) const { return mPtr == other.mPtr; }
    bool operator!=(const CountedPointer& other) const { return mPtr != other.mPtr; }

private:
    void addRef() {
        if (mPtr != nullptr) {
            mPtr->IncrementCount();
        }
    }
    CountedPointer& assign(T* object) {
        // Count the new object first, so that self-assignment never deletes.
        if (object != nullptr) {
            object->IncrementCount();
        }
        clr();
        mPtr = object;
        return *this;
    }

    T* mPtr = nullptr;
};
