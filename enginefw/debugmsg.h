// The debug queue of one group, and the form of a debug line:
//
//   [SSS.mmm TTTT FFFFFFFFFFFFFFFFFFFF(LLLL)] [L] <indent>message
//
// seconds modulo 1000 and milliseconds since this object was made, the thread
// id in hex (at least 4 digits), the source file without directories right-
// aligned in 20 columns (longer names widen the column), the line, the level's
// label and the caller's indent. Without timestamps the time field is left out.
//
// The indent is per thread, shared by all groups. Only level-0 lines move it:
// an entry line (indentIn) prints at the indent before its step of 2, an exit
// line (indentOut) at the indent after its step back, so a pair stands in one
// column. The indent stops rising at 50 and never goes below 0.
//
// A message that is empty, or exactly "\r" or "\n", prints nothing.
#pragma once

#include <cstdarg>
#include <ostream>
#include <string>

#include "enginefw/msgqueue.h"

class StopWatch;

class CDebugMsg : public CMsgQueue {
public:
    explicit CDebugMsg(std::ostream* stream);
    ~CDebugMsg() override;

    using CMsgQueue::OutputMsg;
    void OutputMsg(unsigned int level, const char* text);
    // When level 0 or the whole mask (32) is switched off, the calling thread's
    // indent goes back to 0.
    void LevelEnable(unsigned int level, bool enable) override;

    void DebugOutputWithList(unsigned level, bool indentIn, bool indentOut, const char* function, const char* file,
                             unsigned line, const char* format, va_list args);

    unsigned short GetIndent();
    void SetIndent(unsigned short indent);
    // Returns the indent before the step.
    unsigned short IncrementIndent();
    // Returns the indent after the step.
    unsigned short DecrementIndent();

    void SetTimeStampState(bool on) { mTimeStamps = on; }
    void SendDebugToOutputPane() { mSendToOutputPane = true; }
    // No output pane on this platform: takes the queue lock and writes nothing.
    void WriteDebugLineToOutputPane(const char* line);

private:
    StopWatch* mpStopWatch;
    bool mTimeStamps = true;
    bool mSendToOutputPane = false;
};
