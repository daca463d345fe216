#include "enginefw/thread_specific_ptr.h"

#include <pthread.h>

namespace {
// The thread that loaded the library.
const pthread_t main_thread_id = pthread_self();
}  // namespace

class ThreadSpecificPtrImpl {
public:
    explicit ThreadSpecificPtrImpl(void (*cleanup)(void*)) : cleanup_function(cleanup) {}
    ~ThreadSpecificPtrImpl() {
        if (key_created != 0) {
            pthread_key_delete(key);
        }
        if (cleanup_function != nullptr && main_thread_value != nullptr) {
            cleanup_function(main_thread_value);
        }
    }

    void* get() {
        init();
        if (pthread_equal(pthread_self(), main_thread_id) != 0) {
            return main_thread_value;
        }
        return pthread_getspecific(key);
    }

    void set(void* value) {
        init();
        if (pthread_equal(pthread_self(), main_thread_id) != 0) {
            main_thread_value = value;
            return;
        }
        pthread_setspecific(key, value);
    }

private:
    // pthread_once passes no argument, so the object on whose behalf set_key
    // runs travels through a process-wide key.
    void init() {
        pthread_once(&global_key_once, &set_global_key);
        pthread_setspecific(global_key, this);
        pthread_once(&once_control, &set_key);
    }

    static void set_global_key() { pthread_key_create(&global_key, nullptr); }

    static void set_key() {
        auto* self = static_cast<ThreadSpecificPtrImpl*>(pthread_getspecific(global_key));
        if (self == nullptr) {
            return;
        }
        pthread_key_create(&self->key, self->cleanup_function);
        self->key_created = 1;
    }

    pthread_key_t key{};
    pthread_once_t once_control = PTHREAD_ONCE_INIT;
    int key_created = 0;
    void (*cleanup_function)(void*);
    void* main_thread_value = nullptr;

    static pthread_key_t global_key;
    static pthread_once_t global_key_once;
};

pthread_key_t ThreadSpecificPtrImpl::global_key;
pthread_once_t ThreadSpecificPtrImpl::global_key_once = PTHREAD_ONCE_INIT;

ThreadSpecificPtrImpl* new_thread_specific_ptr_impl(void (*cleanup)(void*)) {
    return new ThreadSpecificPtrImpl(cleanup);
}

void delete_thread_specific_ptr_impl(ThreadSpecificPtrImpl* impl) { delete impl; }

void* thread_specific_ptr_impl_get(ThreadSpecificPtrImpl* impl) { return impl != nullptr ? impl->get() : nullptr; }

void thread_specific_ptr_impl_set(ThreadSpecificPtrImpl* impl, void* value) {
    if (impl != nullptr) {
        impl->set(value);
    }
}
