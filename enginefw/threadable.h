// A thread object with a start handshake and a cooperative stop.
//
// Start() creates a detached thread that runs ThreadFunc() and waits (at most
// one second) until the new thread reports that it runs. ThreadFunc() polls
// KeepGoing(); Stop() only clears that flag, so a thread that blocks must be
// woken by the derived class's own Stop() override.
//
// Kill(ms) stops and waits; if the thread has not ended in time it is sent
// signal 9 and the calling thread itself ends through pthread_exit. Signal 9
// ends the whole process, not one thread: every thread of the library must
// stop well within its owner's Kill time, and ForcedKills() lets the tests
// count that it never comes to this. The destructor is Kill(1000). A derived class must stop its thread in its own
// destructor, because ThreadFunc() is gone by the time this base is destroyed.
//
// Start() returns true even when the thread could not be created (IsActive()
// then stays false): callers look at IsActive(), not at that value.
//
// Times of 0 ms passed to WaitForStop() and Kill() mean "no limit".
#pragma once

#include "enginefw/nocopy.h"

class Threadable : private NoCopy {
public:
    class ThreadData;

    Threadable();
    // The body of the thread; its result becomes the exit code.
    virtual unsigned int ThreadFunc() = 0;
    virtual ~Threadable();
    // Clears the keep-going flag; does not wait and wakes nothing.
    virtual void Stop();

    bool Start();
    bool KeepGoing() const;
    bool IsActive() const;
    bool WaitForStop(unsigned int ms);
    void Kill(unsigned int ms);
    // Read without a lock; meaningful once the thread has stopped.
    unsigned int GetExitCode() const;
    // How many times any Kill has had to send signal 9, process-wide.
    static unsigned long ForcedKills();

    // Thread priorities are not changed on this platform; callers state intent.
    void LowPriority() {}
    void NormalPriority() {}
    void HighPriority() {}

private:
    ThreadData* mData;
};
