// Status queues: notices at levels 0 info, 1 essential, 2 warning, 3 error.
//
// CConsoleStatusMsg frames warnings and errors with rules of 78 "=":
//
//   ==...==            ==...==
//   WARNING: text      <prefix>ERROR: text
//   ==...==            ==...==
//
// Warnings and plain notices go to its stream (standard output); errors always
// go to standard error. CLogFileStatusMsg's two-argument OutputMsg also copies
// the block to the log file. It is an overload, not an override: notices sent
// through the virtual three-argument form reach the console form only.
#pragma once

#include <ostream>
#include <string>

#include "enginefw/msgqueue.h"

class CStatusMsg : public CMsgQueue {
public:
    explicit CStatusMsg(std::ostream* stream);
    ~CStatusMsg() override;
};

class CConsoleStatusMsg : public CStatusMsg {
public:
    CConsoleStatusMsg();
    void OutputMsg(unsigned int level, const char* text, std::string prefix) override;

protected:
    // Writes the block for level to stream (level 3 and the rest alike); the
    // caller holds the queue lock.
    static void WriteBlock(std::ostream& stream, unsigned int level, const char* text, const std::string& prefix);
};

class CLogFileStatusMsg : public CConsoleStatusMsg {
public:
    using CConsoleStatusMsg::CConsoleStatusMsg;
    using CConsoleStatusMsg::OutputMsg;
    void OutputMsg(unsigned int level, const char* text);
};
