// A level-filtered output queue on a stream; debug and status output derive from it.
//
// The level mask has one bit per level 0..31. Level 4 is a selector ("all
// levels") used when enabling, never the level of a line: IsLevelEnabled(4) is
// always false. LevelEnable with a level above 31 (32 is the one used) sets or
// clears the whole mask. The mask is read without a lock.
#pragma once

#include <atomic>
#include <ostream>
#include <string>

class CriticalSection;

class CMsgQueue {
public:
    enum QueueType : unsigned int { STATUS_QUEUE = 0, DEBUG_QUEUE = 1 };

    CMsgQueue(QueueType type, std::ostream* stream, bool enableAll);
    virtual ~CMsgQueue();
    CMsgQueue(const CMsgQueue&) = delete;
    CMsgQueue& operator=(const CMsgQueue&) = delete;

    // Under the queue lock, with a stream and an enabled level: text, newline,
    // flush. extra is not used here. A null text sets the stream's bad state.
    virtual void OutputMsg(unsigned int level, const char* text, std::string extra);
    virtual void LevelEnable(unsigned int level, bool enable);

    bool IsLevelEnabled(unsigned int level) const;
    void InheritLevels(const CMsgQueue* other);

    QueueType GetQueueType() const { return mType; }
    std::ostream* GetStream() const { return mpStream; }
    unsigned long GetLevelMask() const { return mLevelMask.load(std::memory_order_relaxed); }

    // One recursive lock for every queue of every handler: it covers each write
    // to a stream, every indent access and the handlers' queue pointers. It lives
    // for the whole process, so output from static destructors stays safe.
    static CriticalSection& GetMsgQueueCriticalSection();

protected:
    // Writes text and a newline and flushes; the caller holds the queue lock.
    static void WriteLine(std::ostream& stream, const char* text);

private:
    QueueType mType;
    std::ostream* mpStream;
    std::atomic<unsigned long> mLevelMask;
};
