// Progress notices of one operation, in percent.
//
// Set() ignores values above 100 and honours silent mode; operator+= caps at
// 100 and notifies even in silent mode. A negative step that would take the
// percentage below 0 stops at 0. Not locked: a progress object belongs to the
// thread that runs the operation.
#pragma once

class CriticalSection;

class CProgressMsg {
public:
    CProgressMsg();
    virtual void SetSilentMode(bool silent);
    virtual ~CProgressMsg();
    virtual void Notify(unsigned short percent);

    CProgressMsg(const CProgressMsg&) = delete;
    CProgressMsg& operator=(const CProgressMsg&) = delete;

    void Set(unsigned short percent);
    CProgressMsg& operator+=(int step);
    void operator++(int);

    bool IsSilent() const { return mSilent; }
    unsigned short GetPercent() const { return mPercent; }

    // A lock of the class's own, for derived classes; nothing here takes it.
    static CriticalSection& GetMsgQueueCriticalSection();

private:
    bool mSilent = false;
    unsigned short mPercent = 0;
};

// On a terminal: "\r 42%\r", and "100%\n" at the end. Anywhere else (a pipe, a
// file): a dot at most every two seconds, and a newline at the end only if a dot
// was printed.
class CConsoleProgressMsg : public CProgressMsg {
public:
    void Notify(unsigned short percent) override;
};
