// Identity of a thread. Id() is the plain number the debug lines print.
#pragma once

class ThreadID {
public:
    // The calling thread.
    ThreadID();
    ThreadID(const ThreadID& other);
    ThreadID& operator=(const ThreadID& other);
    ~ThreadID();

    bool operator==(const ThreadID& other) const;
    bool operator!=(const ThreadID& other) const { return !(*this == other); }

    static ThreadID self() { return ThreadID(); }
    // pthread_self() as a number.
    static unsigned long Id();

private:
    void* mThread;  // heap pthread_t
};
