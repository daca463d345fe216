// Turns one debug statement into level settings on the message groups, and
// opens the debug log file.
//
// The statement comes from TAVO_DEBUGLEVEL (or, on a host with a command line,
// from "-debug <level>"); TAVO_DEBUGFILE names a log file. Statements:
//
//   basic     basic:all                    level 3 on every group
//   enhanced  enhanced:all,basic:all       levels 2 and 3
//   full      full:all                     every level, entry/exit included
//   standard  basic:all,none:cmdline       the same levels as "basic"
//   limited   basic:all
//   detailed  enhanced:all,basic:all
//
// or a list "group:elements,..." with the groups "none" (all levels off),
// "basic" (3), "enhanced" (2, and implies basic) and "full" (all levels), and
// the element names of EF_GROUP_INFO. The statement is lower-cased first. The
// pairs are applied from the last to the first, so an earlier pair wins:
// "basic:commstest,none:commstest" leaves level 3 on for "commstest".
//
// A bad statement throws std::invalid_argument carrying GetErrMsg(): a rule,
// "Debug configuration Error: <why>", a rule and the help text wrapped by
// DebugHelpMsgBuilder. No level has changed by then.
//
// DebugHelpMsgBuilder wraps at 79 columns: the first line holds up to 79
// characters, each later one up to 75 behind an indent of 4. A line breaks at
// the last blank within the limit (the blank is dropped), or at the limit when
// there is none. Newlines inside the text count as ordinary characters. Every
// line, the last one too, ends with a newline, so that the block stands on its
// own lines when written to a terminal.
//
// The log file, once opened, stays open for the life of the process: trace
// lines may be written to it until the very end, so nothing closes it.
#pragma once

#include <string>

#include "enginefw/multilistparser.h"

class CDebugHandler : public CMultiListParser {
public:
    CDebugHandler();

    // A statement given (from a command line): status output to the console,
    // then the statement. None: the log file and status output to it, then the
    // statement from TAVO_DEBUGLEVEL, if set.
    void ProcessDebugOptions(std::string statement, bool fromCommandLine);
    void ProcessDebugRequest(std::string statement, bool fromCommandLine);
    // Opens TAVO_DEBUGFILE, truncating, unless a log stream exists already. A
    // failed open is kept and silent: lines written to it vanish.
    static void ProcessDebugLogFileRequest();

    std::string GetErrMsg(std::string error);
    std::string DebugHelpMsgBuilder(std::string text);
};
