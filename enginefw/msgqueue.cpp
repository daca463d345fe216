#include "enginefw/msgqueue.h"

#include "enginefw/critical_section.h"

CMsgQueue::CMsgQueue(QueueType type, std::ostream* stream, bool enableAll)
    : mType(type), mpStream(stream), mLevelMask(enableAll ? ~0UL : 0UL) {}

CMsgQueue::~CMsgQueue() = default;

CriticalSection& CMsgQueue::GetMsgQueueCriticalSection() {
    static CriticalSection* const lock = new CriticalSection(true);
    return *lock;
}

void CMsgQueue::WriteLine(std::ostream& stream, const char* text) {
    if (text == nullptr) {
        stream.setstate(std::ios::badbit);
        return;
    }
    stream << text << '\n';
    stream.flush();
}

void CMsgQueue::OutputMsg(unsigned int level, const char* text, std::string /*extra*/) {
    CriticalSectionLock lock(GetMsgQueueCriticalSection());
    if (mpStream != nullptr && IsLevelEnabled(level)) {
        WriteLine(*mpStream, text);
    }
}

void CMsgQueue::LevelEnable(unsigned int level, bool enable) {
    if (level <= 31) {
        const unsigned long bit = 1UL << level;
        if (enable) {
            mLevelMask.fetch_or(bit, std::memory_order_relaxed);
        } else {
            mLevelMask.fetch_and(~bit, std::memory_order_relaxed);
        }
        return;
    }
    mLevelMask.store(enable ? ~0UL : 0UL, std::memory_order_relaxed);
}

bool CMsgQueue::IsLevelEnabled(unsigned int level) const {
    if (mType != STATUS_QUEUE && mType != DEBUG_QUEUE) {
        return false;
    }
    if (level == 4 || level > 31) {
        return false;
    }
    return (GetLevelMask() & (1UL << level)) != 0;
}

void CMsgQueue::InheritLevels(const CMsgQueue* other) {
    if (other != nullptr) {
        mLevelMask.store(other->GetLevelMask(), std::memory_order_relaxed);
    }
}
