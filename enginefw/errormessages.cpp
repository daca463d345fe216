#include "enginefw/errormessages.h"

#include <map>

#include "enginefw/critical_section.h"
#include "enginefw/thread_id.h"

namespace {
std::map<unsigned long, CErrorMessages::CErrorMsgData>& ErrorMessagesThreadDataMap() {
    static std::map<unsigned long, CErrorMessages::CErrorMsgData> map;
    return map;
}

CriticalSection& ErrorMessagesCriticalSection() {
    static CriticalSection lock(true);
    return lock;
}

// The map must exist before, and so outlive, any error object.
const bool gErrorMessagesInitialised = (CErrorMessages::InitialiseClass(), true);
}  // namespace

void CErrorMessages::InitialiseClass() {
    ErrorMessagesCriticalSection();
    ErrorMessagesThreadDataMap();
}

CErrorMessages::CErrorMessages() { Clear(); }

CErrorMessages::~CErrorMessages() = default;

void CErrorMessages::Set(short code, const std::string& text, unsigned long sequence) {
    CriticalSectionLock lock(ErrorMessagesCriticalSection());
    CErrorMsgData& entry = ErrorMessagesThreadDataMap()[ThreadID::Id()];
    entry.text = text;
    entry.sequence = sequence;
    entry.code = code;
}

bool CErrorMessages::Get(short& code, std::string& text, unsigned long& sequence, unsigned long& threadCursor) const {
    CriticalSectionLock lock(ErrorMessagesCriticalSection());
    const auto& map = ErrorMessagesThreadDataMap();
    const auto found = map.lower_bound(threadCursor);
    if (found == map.end()) {
        return false;
    }
    code = found->second.code;
    text = found->second.text;
    sequence = found->second.sequence;
    threadCursor = found->first;
    return true;
}

bool CErrorMessages::IsSet() const {
    CriticalSectionLock lock(ErrorMessagesCriticalSection());
    return ErrorMessagesThreadDataMap().count(ThreadID::Id()) != 0;
}

void CErrorMessages::Clear() {
    CriticalSectionLock lock(ErrorMessagesCriticalSection());
    ErrorMessagesThreadDataMap().erase(ThreadID::Id());
}
