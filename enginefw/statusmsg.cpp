#include "enginefw/statusmsg.h"

#include <fstream>
#include <iostream>

#include "enginefw/critical_section.h"
#include "enginefw/themsghnd.h"

namespace {
const std::string kRule(78, '=');

void WriteText(std::ostream& stream, const char* text) {
    if (text == nullptr) {
        stream.setstate(std::ios::badbit);
        return;
    }
    stream << text;
}
}  // namespace

CStatusMsg::CStatusMsg(std::ostream* stream) : CMsgQueue(STATUS_QUEUE, stream, true) {}

CStatusMsg::~CStatusMsg() = default;

CConsoleStatusMsg::CConsoleStatusMsg() : CStatusMsg(&std::cout) {}

void CConsoleStatusMsg::WriteBlock(std::ostream& stream, unsigned int level, const char* text,
                                   const std::string& prefix) {
    if (level == 2) {
        stream << kRule << std::endl << "WARNING: ";
        WriteText(stream, text);
        stream << std::endl << kRule << std::endl;
    } else if (level == 3) {
        stream << kRule << std::endl << prefix << "ERROR: ";
        WriteText(stream, text);
        stream << std::endl << kRule << std::endl;
    } else {
        WriteText(stream, text);
        stream << std::endl;
    }
}

void CConsoleStatusMsg::OutputMsg(unsigned int level, const char* text, std::string prefix) {
    CriticalSectionLock lock(GetMsgQueueCriticalSection());
    if (GetStream() == nullptr || !IsLevelEnabled(level)) {
        return;
    }
    WriteBlock(level == 3 ? std::cerr : *GetStream(), level, text, prefix);
}

void CLogFileStatusMsg::OutputMsg(unsigned int level, const char* text) {
    CriticalSectionLock lock(GetMsgQueueCriticalSection());
    CConsoleStatusMsg::OutputMsg(level, text, std::string());
    std::ofstream* const log = CTheMsgHnd::GetLogFileStream();
    if (GetStream() == nullptr || !IsLevelEnabled(level) || log == nullptr) {
        return;
    }
    WriteBlock(*log, level, text, std::string());
}
