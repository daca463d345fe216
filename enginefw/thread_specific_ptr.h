// A pointer with one value per thread.
//
// The main thread (the thread that loaded the library) keeps its value in the
// object itself: that value lives until the ThreadSpecificPtr is destroyed, and
// only then goes through the cleanup function. Every other thread's value sits in
// a pthread key and is cleaned up when that thread ends.
//
// set() replaces the value without freeing the old one; reset() frees it.
#pragma once

class ThreadSpecificPtrImpl;

ThreadSpecificPtrImpl* new_thread_specific_ptr_impl(void (*cleanup)(void*));
void delete_thread_specific_ptr_impl(ThreadSpecificPtrImpl* impl);
void* thread_specific_ptr_impl_get(ThreadSpecificPtrImpl* impl);
void thread_specific_ptr_impl_set(ThreadSpecificPtrImpl* impl, void* value);

template <typename T>
class ThreadSpecificPtr {
public:
    ThreadSpecificPtr() : mImpl(new_thread_specific_ptr_impl(&default_cleanup)) {}
    ~ThreadSpecificPtr() { delete_thread_specific_ptr_impl(mImpl); }
    ThreadSpecificPtr(const ThreadSpecificPtr&) = delete;
    ThreadSpecificPtr& operator=(const ThreadSpecificPtr&) = delete;

    T* get() const { return static_cast<T*>(thread_specific_ptr_impl_get(mImpl)); }
    void set(T* value) { thread_specific_ptr_impl_set(mImpl, value); }
    void reset(T* value = nullptr) {
        T* const old = get();
        set(value);
        if (old != value) {
            delete old;
        }
    }
    T* operator->() const { return get(); }
    T& operator*() const { return *get(); }

    static void default_cleanup(void* value) { delete static_cast<T*>(value); }

private:
    ThreadSpecificPtrImpl* mImpl;
};
