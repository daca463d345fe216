// Where the host implementation of the Android log sends its lines.
//
// On a phone the lines go to logcat. On a workstation they go to one sink:
// by default the one chosen by the TAVO_LOG environment variable (unset: the
// lines are dropped; "-" or "stderr": standard error; anything else: a file
// appended to), or a callback installed by a test or a tool.
#pragma once

#include <string>

namespace plat {

struct LogRecord {
    int prio;          // android_LogPriority
    std::string tag;
    std::string text;  // the formatted message as the caller wrote it
};

using LogSinkFn = void (*)(const LogRecord& record, void* ctx);

// Installs a sink for every later log call; nullptr restores the TAVO_LOG
// sink. Returns the previous callback and context.
void SetLogSink(LogSinkFn fn, void* ctx, LogSinkFn* prevFn = nullptr, void** prevCtx = nullptr);

// The logcat-style rendering of a record: "V/TAG(pid): text", one line per
// line of text, without the text's trailing line feed.
std::string FormatLogcat(const LogRecord& record, long pid);

// The letter logcat prints for a priority ('V', 'D', ...).
char PriorityLetter(int prio);

}  // namespace plat
