#include "enginefw/messagehandler.h"

#include <cstdarg>
#include <cstdio>
#include <fstream>
#include <iostream>

#include "enginefw/critical_section.h"
#include "enginefw/debugmsg.h"
#include "enginefw/errormessages.h"
#include "enginefw/progressmsg.h"
#include "enginefw/statusmsg.h"
#include "enginefw/themsghnd.h"
#include "enginefw/thread_id.h"

const EfGroupInfo EF_GROUP_INFO[EF_GROUP_COUNT] = {
    {CMessageHandler::GROUP_CMDLINE, "CmdLine"},
    {CMessageHandler::GROUP_APPLICATION, "Application"},
    {CMessageHandler::GROUP_LINKTRANSPLUGIN, "LinkTransPlugIn"},
    {CMessageHandler::GROUP_UTILITY, "Utility"},
    {CMessageHandler::GROUP_XML, "Xml"},
    {CMessageHandler::GROUP_LINKTRANSPORT, "LinkTransport"},
    {CMessageHandler::GROUP_SETUPTOOLSCOREENGINE, "SetupToolsCoreEngine"},
    {CMessageHandler::GROUP_SETUPTOOLSENGMANAGED, "SetupToolsEngManaged"},
    {CMessageHandler::GROUP_STOREMETADATASOURCE, "StoreMetadataSource"},
    {CMessageHandler::GROUP_VARINTLIBRARY, "VarIntLibrary"},
    {CMessageHandler::GROUP_HCITRANSPORT, "HciTransport"},
    {CMessageHandler::GROUP_COMMSTEST, "commstest"},
    {CMessageHandler::GROUP_PLEXPARSER, "PlexParser"},
    {CMessageHandler::GROUP_T32API, "T32Api"},
    {CMessageHandler::GROUP_UNKNOWN, "Unknown"},
};

const char* const DEBUG_LABELS[6] = {"F", "F", "E", "B", "-", "P"};

const char* DebugLabel(unsigned level) { return level < 6 ? DEBUG_LABELS[level] : "?"; }

const char* const statusLevelTexts[4] = {"INFO", "ESSENTIAL", "WARNING", "ERROR"};

const char* StatusLevelText(int level) { return level >= 0 && level <= 3 ? statusLevelTexts[level] : "INVALID"; }

namespace {
constexpr size_t kUserOutputSize = 1024;

CriticalSection& QueueLock() { return CMsgQueue::GetMsgQueueCriticalSection(); }

// Private lock of OutputMessageHandler; lives for the whole process.
CriticalSection& UserOutputLock() {
    static CriticalSection* const lock = new CriticalSection(true);
    return *lock;
}

template <typename T>
void Replace(T*& slot, T* fresh) {
    T* const old = slot;
    slot = fresh;
    delete old;
}
}  // namespace

CSubject::~CSubject() = default;

CMessageHandler::CMessageHandler() : CMessageHandler(GROUP_LOCAL) {}

CMessageHandler::CMessageHandler(GroupEnum group) : mGroup(group), mParagraph("\n") {}

CMessageHandler::~CMessageHandler() { Shutdown(); }

void CMessageHandler::Shutdown() {
    CriticalSectionLock lock(QueueLock());
    Replace<CErrorMessages>(mpError, nullptr);
    Replace<CStatusMsg>(mpStatus, nullptr);
    Replace<CDebugMsg>(mpDebug, nullptr);
    Replace<CProgressMsg>(mpProgress, nullptr);
}

bool CMessageHandler::Selects(GroupEnum selector, GroupEnum key, GroupEnum local) {
    return selector == GROUP_ALL || selector == key || (selector == GROUP_LOCAL && key == local);
}

std::string CMessageHandler::GetDecoratedGroupName() const {
    for (const EfGroupInfo& row : EF_GROUP_INFO) {
        if (row.group == mGroup) {
            return std::string("<") + row.elementName + ">";
        }
    }
    return "<unknown>";
}

CProgressMsg* CMessageHandler::GetProgressMsg() const {
    CriticalSectionLock lock(QueueLock());
    return mpProgress;
}

CDebugMsg* CMessageHandler::GetDebugMsg() const {
    CriticalSectionLock lock(QueueLock());
    return mpDebug;
}

CStatusMsg* CMessageHandler::GetStatusMsg() const {
    CriticalSectionLock lock(QueueLock());
    return mpStatus;
}

CErrorMessages* CMessageHandler::GetErrorMessages() const {
    CriticalSectionLock lock(QueueLock());
    return mpError;
}

void CMessageHandler::DebugOutputInHandler(unsigned level, bool indentIn, bool indentOut, const char* function,
                                           const char* file, unsigned line, const char* format, ...) {
    CriticalSectionLock lock(QueueLock());
    if (mpDebug == nullptr) {
        return;
    }
    va_list args;
    va_start(args, format);
    mpDebug->DebugOutputWithList(level, indentIn, indentOut, function, file, line, format, args);
    va_end(args);
}

void CMessageHandler::DebugOutputBuffer(unsigned level, const char* function, const char* file, unsigned line,
                                        const char* title, const unsigned char* data, unsigned length) {
    if (GetDebugMsg() == nullptr) {
        return;
    }
    std::string dump;
    if (data != nullptr) {
        char piece[32];
        for (unsigned i = 0; i < length; ++i) {
            if (i % 4 == 0) {
                std::snprintf(piece, sizeof piece, "(%x) ", i);
                dump += piece;
            }
            std::snprintf(piece, sizeof piece, "%02x ", static_cast<unsigned>(data[i]));
            dump += piece;
        }
    }
    DebugOutputInHandler(level, false, false, function, file, line, "%s [length=0x%x] %s",
                         title != nullptr ? title : "", length, dump.c_str());
}

void CMessageHandler::DebugOutputProfile(unsigned long value) {
    DebugOutputInHandler(DEBUG_PROFILING, false, false, "", "(PROFILING)", mGroup, "(%lx)", value);
}

void CMessageHandler::OutputMessageHandler(const char* format, ...) {
    if (CTheMsgHnd::GetLifeCycleState() == 2 || format == nullptr) {
        return;
    }
    CriticalSectionLock lock(UserOutputLock());
    char text[kUserOutputSize];
    va_list args;
    va_start(args, format);
    std::vsnprintf(text, sizeof text, format, args);
    va_end(args);
    // The streams are the ones debug and status lines go to as well; every
    // write to a stream goes under the queue lock, so two threads never
    // write one stream at once. Order: this private lock, then the queue's.
    CriticalSectionLock streams(QueueLock());
    std::cout << text << std::endl;
    if (std::ofstream* const log = CTheMsgHnd::GetLogFileStream()) {
        *log << text << std::endl;
    }
}

void CMessageHandler::SetDebugLevel(DebugLevels level, bool enable, GroupEnum group) {
    const unsigned int bit = level == DEBUG_ALL ? 32u : static_cast<unsigned int>(level);
    CTheMsgHnd::ForEachSelectedHandler(this, group, true, true, [&](CMessageHandler* handler) {
        CriticalSectionLock lock(QueueLock());
        if (handler->mpDebug != nullptr) {
            handler->mpDebug->LevelEnable(bit, enable);
        }
    });
}

void CMessageHandler::SetStatusLevel(StatusLevels level, bool enable, GroupEnum group) {
    const unsigned int bit = level == STATUS_ALL ? 32u : static_cast<unsigned int>(level);
    CTheMsgHnd::ForEachSelectedHandler(this, group, true, true, [&](CMessageHandler* handler) {
        CriticalSectionLock lock(QueueLock());
        if (handler->mpStatus != nullptr) {
            handler->mpStatus->LevelEnable(bit, enable);
        }
        if ((level == STATUS_INFO || level == STATUS_ALL) && handler->mpProgress != nullptr) {
            handler->mpProgress->SetSilentMode(!enable);
        }
    });
}

bool CMessageHandler::IsDebugLevelEnabled(DebugLevels level, GroupEnum group) {
    bool enabled = false;
    CTheMsgHnd::ForEachSelectedHandler(this, group, false, true, [&](CMessageHandler* handler) {
        CriticalSectionLock lock(QueueLock());
        if (handler->mpDebug != nullptr && handler->mpDebug->IsLevelEnabled(level)) {
            enabled = true;
        }
    });
    return enabled;
}

void CMessageHandler::NewDebugObject(std::ostream* stream, GroupEnum group) {
    CTheMsgHnd::ForEachSelectedHandler(this, group, true, true, [&](CMessageHandler* handler) {
        CriticalSectionLock lock(QueueLock());
        auto* fresh = new CDebugMsg(stream);
        fresh->InheritLevels(handler->mpDebug);
        Replace(handler->mpDebug, fresh);
    });
    // Activated whether or not a handler was selected.
    CTheMsgHnd::SetDebugActivated();
}

void CMessageHandler::SendDebugOutputToTheConsole() { NewDebugObject(&std::cerr, GROUP_ALL); }

void CMessageHandler::NewStatusObject(std::ostream* stream, GroupEnum group) {
    // Each map entry replaces this handler's own status queue; the other
    // handlers keep theirs.
    CTheMsgHnd::ForEachSelectedHandler(this, group, true, false, [&](CMessageHandler* /*entry*/) {
        CriticalSectionLock lock(QueueLock());
        auto* fresh = new CStatusMsg(stream);
        fresh->InheritLevels(mpStatus);
        Replace(mpStatus, static_cast<CStatusMsg*>(fresh));
    });
}

void CMessageHandler::NewProgressObject(GroupEnum group) {
    CTheMsgHnd::ForEachSelectedHandler(this, group, true, false, [](CMessageHandler* handler) {
        CriticalSectionLock lock(QueueLock());
        Replace(handler->mpProgress, new CProgressMsg);
    });
}

void CMessageHandler::NewErrorObject(GroupEnum group) {
    CTheMsgHnd::ForEachSelectedHandler(this, group, true, false, [](CMessageHandler* handler) {
        CriticalSectionLock lock(QueueLock());
        Replace(handler->mpError, new CErrorMessages);
    });
}

void CMessageHandler::SendAllNonDebugOutputToTheConsole() {
    NewErrorObject(GROUP_ALL);
    CTheMsgHnd::ForEachSelectedHandler(this, GROUP_ALL, false, false, [](CMessageHandler* handler) {
        CriticalSectionLock lock(QueueLock());
        Replace<CStatusMsg>(handler->mpStatus, new CConsoleStatusMsg);
        Replace<CProgressMsg>(handler->mpProgress, new CConsoleProgressMsg);
    });
}

void CMessageHandler::SendAllNonDebugOutputToLogFile() {
    NewErrorObject(GROUP_ALL);
    CTheMsgHnd::ForEachSelectedHandler(this, GROUP_ALL, false, false, [](CMessageHandler* handler) {
        CriticalSectionLock lock(QueueLock());
        Replace<CStatusMsg>(handler->mpStatus, new CLogFileStatusMsg);
    });
}

void CMessageHandler::NotifyStatus(StatusLevels level, const std::string& text, std::string prefix) {
    CriticalSectionLock lock(QueueLock());
    if (mpStatus == nullptr) {
        return;
    }
    mpStatus->OutputMsg(static_cast<unsigned int>(level), text.c_str(), std::move(prefix));
    if (CTheMsgHnd::IsDebugActivated()) {
        DebugOutputInHandler(DEBUG_ENHANCED, false, false, "n/a", GetDecoratedGroupName().c_str(), 0,
                             "%s STATUS: %s", StatusLevelText(level), text.c_str());
    }
}

void CMessageHandler::NotifyProgress(unsigned short percent) {
    CriticalSectionLock lock(QueueLock());
    if (mpProgress != nullptr) {
        mpProgress->Set(percent);
    }
}

bool CMessageHandler::SetErrorMsg(short code, const std::string& text) {
    CriticalSectionLock lock(QueueLock());
    if (mpError == nullptr) {
        return false;
    }
    mpError->Set(code, text, CTheMsgHnd::NextErrorSequence());
    if (CTheMsgHnd::IsDebugActivated()) {
        DebugOutputInHandler(DEBUG_BASIC, false, false, "n/a", GetDecoratedGroupName().c_str(), 0,
                             "ERROR SET: Code=%d (0x%X); Text=%s", code, static_cast<unsigned int>(code),
                             text.c_str());
    }
    return true;
}

bool CMessageHandler::LastError(short& code, std::string& text, GroupEnum& group, bool thisThreadOnly) {
    const unsigned long self = ThreadID::Id();
    bool found = false;
    short bestCode = 0;
    std::string bestText;
    unsigned long bestSequence = 0;
    CTheMsgHnd::ForEachSelectedHandler(this, group, false, true, [&](CMessageHandler* handler) {
        CriticalSectionLock lock(QueueLock());
        if (handler->mpError == nullptr) {
            return;
        }
        short entryCode = 0;
        std::string entryText;
        unsigned long sequence = 0;
        unsigned long cursor = 0;
        while (handler->mpError->Get(entryCode, entryText, sequence, cursor)) {
            if ((!thisThreadOnly || cursor == self) && (!found || sequence > bestSequence)) {
                found = true;
                bestCode = entryCode;
                bestText = entryText;
                bestSequence = sequence;
            }
            if (cursor == static_cast<unsigned long>(-1)) {
                break;
            }
            ++cursor;
        }
    });
    if (found) {
        code = bestCode;
        text = bestText;
        group = mGroup;
    }
    return found;
}

bool CMessageHandler::IsErrorSet(GroupEnum group, bool thisThreadOnly) {
    short code = 0;
    std::string text;
    return LastError(code, text, group, thisThreadOnly);
}

bool CMessageHandler::ModifyErrorMsg(short code, const std::string& text, GroupEnum group) {
    if (GetErrorMessages() == nullptr) {
        return false;
    }
    short oldCode = 0;
    std::string oldText;
    GroupEnum selector = group;
    short newCode = code;
    std::string newText = text;
    if (LastError(oldCode, oldText, selector, true)) {
        newText = text + " - " + oldText;
        if (code == 0) {
            newCode = oldCode;
        }
    }
    return SetErrorMsg(newCode, newText);
}

void CMessageHandler::ClearError() {
    CriticalSectionLock lock(QueueLock());
    if (mpError != nullptr) {
        mpError->Clear();
    }
}
