// A lock handle and its owner.
//
// The handle is an opaque void* (a heap pthread_mutex_t) so that classes may hold
// a bare handle and enter or leave it through the static functions. A failing
// pthread call ends the process through fatal_error; callers see no errors.
//
// CriticalSectionLock is the scoped guard of this layer: it enters a handle in
// its constructor and leaves it in its destructor.
#pragma once

class CriticalSection {
public:
    explicit CriticalSection(bool recursive = false);
    ~CriticalSection();
    CriticalSection(const CriticalSection&) = delete;
    CriticalSection& operator=(const CriticalSection&) = delete;

    void* Handle() const { return mHandle; }
    void Enter() const { EnterCS(mHandle); }
    void Leave() const { LeaveCS(mHandle); }

    // A new mutex in a malloc block; recursive when asked.
    static void* InitialiseCS(bool recursive);
    // A null handle is refused with the "lock failed"/"unlock failed" fatal error.
    static void EnterCS(void* handle);
    static void LeaveCS(void* handle);
    // Destroys the mutex and frees the block; a null handle is ignored.
    static void DestroyCS(void* handle);

private:
    void* mHandle;
};

class CriticalSectionLock {
public:
    explicit CriticalSectionLock(void* handle) : mHandle(handle) { CriticalSection::EnterCS(mHandle); }
    explicit CriticalSectionLock(const CriticalSection& cs) : CriticalSectionLock(cs.Handle()) {}
    ~CriticalSectionLock() { CriticalSection::LeaveCS(mHandle); }
    CriticalSectionLock(const CriticalSectionLock&) = delete;
    CriticalSectionLock& operator=(const CriticalSectionLock&) = delete;

private:
    void* mHandle;
};
