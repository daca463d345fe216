#include "enginefw/debugmsg.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "enginefw/clock.h"
#include "enginefw/critical_section.h"
#include "enginefw/messagehandler.h"
#include "enginefw/thread_id.h"
#include "enginefw/thread_specific_ptr.h"

namespace {
constexpr unsigned short kIndentStep = 2;
constexpr unsigned short kIndentRaiseLimit = 48;  // no step up from above this: 50 is the ceiling
constexpr size_t kLineBufferSize = 1024;
// An encoding error makes vsnprintf fail at every size; stop doubling here.
constexpr size_t kMaxFormatBuffer = 1024 * 1024;

// The per-thread indent. Never destroyed, so that tracing from static
// destructors finds it intact.
ThreadSpecificPtr<unsigned short>& gpDebugIndent() {
    static ThreadSpecificPtr<unsigned short>* const indent = new ThreadSpecificPtr<unsigned short>;
    return *indent;
}

// The calling thread's indent cell, made at 0 on first use. Queue lock held.
unsigned short& IndentCell() {
    unsigned short* cell = gpDebugIndent().get();
    if (cell == nullptr) {
        cell = new unsigned short(0);
        gpDebugIndent().set(cell);
    }
    return *cell;
}

const char* BaseName(const char* file) {
    if (file == nullptr) {
        return "";
    }
    const char* base = file;
    for (const char* p = file; *p != '\0'; ++p) {
        if (*p == '/' || *p == '\\') {
            base = p + 1;
        }
    }
    return base;
}

// Formats with a buffer that starts at 1024 bytes on the stack and doubles on
// the heap while the text does not fit. The fit test is "result below the
// size" while only size - 1 bytes are offered, so a text of exactly 1023
// characters passes with its last character lost.
std::string FormatMessage(const char* format, va_list args) {
    char stackBuffer[kLineBufferSize];
    char* buffer = stackBuffer;
    char* heap = nullptr;
    size_t size = sizeof stackBuffer;
    std::string message;
    for (;;) {
        buffer[size - 1] = '\0';
        va_list copy;
        va_copy(copy, args);
        const int result = std::vsnprintf(buffer, size - 1, format, copy);
        va_end(copy);
        if (result >= 0 && static_cast<size_t>(result) < size) {
            message = buffer;
            break;
        }
        // At the limit (or out of memory) the line is printed cut where the
        // buffer ends, rather than dropped.
        if (size >= kMaxFormatBuffer) {
            message = buffer;
            break;
        }
        size *= 2;
        char* const grown = static_cast<char*>(std::realloc(heap, size));
        if (grown == nullptr) {
            message = buffer;
            break;
        }
        heap = grown;
        buffer = heap;
    }
    std::free(heap);
    return message;
}
}  // namespace

CDebugMsg::CDebugMsg(std::ostream* stream) : CMsgQueue(DEBUG_QUEUE, stream, false), mpStopWatch(new StopWatch) {
    SetIndent(0);
}

CDebugMsg::~CDebugMsg() { delete mpStopWatch; }

void CDebugMsg::OutputMsg(unsigned int level, const char* text) {
    if (!IsLevelEnabled(level)) {
        return;
    }
    CMsgQueue::OutputMsg(level, text, std::string());
}

void CDebugMsg::LevelEnable(unsigned int level, bool enable) {
    CMsgQueue::LevelEnable(level, enable);
    if (!enable && (level == 0 || level == 32)) {
        SetIndent(0);
    }
}

unsigned short CDebugMsg::GetIndent() {
    CriticalSectionLock lock(GetMsgQueueCriticalSection());
    return IndentCell();
}

void CDebugMsg::SetIndent(unsigned short indent) {
    CriticalSectionLock lock(GetMsgQueueCriticalSection());
    IndentCell() = indent;
}

unsigned short CDebugMsg::IncrementIndent() {
    CriticalSectionLock lock(GetMsgQueueCriticalSection());
    unsigned short& cell = IndentCell();
    const unsigned short old = cell;
    if (cell <= kIndentRaiseLimit) {
        cell = static_cast<unsigned short>(cell + kIndentStep);
    }
    return old;
}

unsigned short CDebugMsg::DecrementIndent() {
    CriticalSectionLock lock(GetMsgQueueCriticalSection());
    unsigned short& cell = IndentCell();
    if (cell < kIndentStep) {
        return cell;
    }
    cell = static_cast<unsigned short>(cell - kIndentStep);
    return cell;
}

void CDebugMsg::WriteDebugLineToOutputPane(const char* /*line*/) {
    CriticalSectionLock lock(GetMsgQueueCriticalSection());
}

void CDebugMsg::DebugOutputWithList(unsigned level, bool indentIn, bool indentOut, const char* /*function*/,
                                    const char* file, unsigned line, const char* format, va_list args) {
    if (!IsLevelEnabled(level)) {
        return;
    }
    const unsigned long threadId = ThreadID::Id();
    unsigned short indent = GetIndent();
    const char* const fileName = BaseName(file);
    const char* const label = DebugLabel(level);

    char prefix[kLineBufferSize];
    if (mTimeStamps && mpStopWatch != nullptr) {
        const unsigned long elapsed = mpStopWatch->duration();
        std::snprintf(prefix, sizeof prefix, "[%03lu.%03lu %04lX %20s(%4u)] [%s] ", (elapsed / 1000) % 1000,
                      elapsed % 1000, threadId, fileName, line, label);
    } else {
        std::snprintf(prefix, sizeof prefix, "[%04lX %20s(%4u)] [%s] ", threadId, fileName, line, label);
    }

    if (level == 0) {
        if (indentIn) {
            indent = IncrementIndent();
        }
        if (indentOut) {
            indent = DecrementIndent();
        }
    }

    if (format == nullptr) {
        return;
    }
    const std::string message = FormatMessage(format, args);
    if (message.empty() || message == "\r" || message == "\n") {
        return;
    }
    std::string text(prefix);
    text.append(indent, ' ');
    text += message;

    if (mSendToOutputPane) {
        WriteDebugLineToOutputPane(text.c_str());
    }
    OutputMsg(level, text.c_str());
}
