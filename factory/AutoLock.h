// A scoped lock on a plain bool flag, taken by polling at 10 ms steps.
//
// Meant for one waiter at a time (the worker of a running scan or inquiry,
// and the worker that fetches its result). The test and the store are two
// steps, not one atomic exchange. The destructor clears the flag whether or
// not this object took it, so a caller that timed out releases the lock for
// the next one.
#pragma once

class AutoLock {
public:
    explicit AutoLock(bool& flag) : m_flag(flag) {}
    ~AutoLock();
    AutoLock(const AutoLock&) = delete;
    AutoLock& operator=(const AutoLock&) = delete;

    // Waits at most `seconds` (in 100 polls a second) for the flag to clear,
    // then sets it. False on time-out.
    bool lock(int seconds);

private:
    bool& m_flag;
};
