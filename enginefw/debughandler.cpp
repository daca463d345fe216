#include "enginefw/debughandler.h"

#include <fstream>
#include <stdexcept>
#include <strings.h>

#include "enginefw/msghandler.h"
#include "enginefw/storedsettings.h"
#include "enginefw/stringutil.h"

namespace {

constexpr size_t kFirstLineWidth = 79;
constexpr size_t kLaterLineWidth = 75;
constexpr size_t kLaterLineIndent = 4;

const std::string& GroupNone() {
    static const std::string GRP_NONE = "none";
    return GRP_NONE;
}

// The "Unknown" handler itself: looked up under a name that belongs to no
// registered class, so that it is never redirected to another group.
CMessageHandler* FrameworkHandler() {
    return CTheMsgHnd::GetAppropriateHandler(CMessageHandler::GROUP_UNKNOWN, "ProcessDebugOptions", false);
}

std::string Rule() { return std::string(78, '='); }

// The debug settings (DEBUG_GROUP with DEBUG_LEVEL and DEBUG_FILE), spelt out
// here because processing may run from another file's static initialiser,
// before the std::string constants of storedsettings exist.
constexpr const char* kDebugGroup = "";
constexpr const char* kDebugLevelKey = "DebugLevel";
constexpr const char* kDebugFileKey = "DebugFile";

}  // namespace

CDebugHandler::CDebugHandler() {
    CTheMsgHnd::GetAppropriateHandler(CMessageHandler::GROUP_CMDLINE, "CDebugHandler::CDebugHandler()", true);
}

void CDebugHandler::ProcessDebugOptions(std::string statement, bool fromCommandLine) {
    CMessageHandler* const handler = FrameworkHandler();
    if (!statement.empty()) {
        handler->SendAllNonDebugOutputToTheConsole();
    } else {
        ProcessDebugLogFileRequest();
        handler->SendAllNonDebugOutputToLogFile();
        // Absent and empty alike leave every trace point dormant: an empty
        // statement would parse, and switch the engine on with no level set.
        if (storedsettings::GetString(kDebugGroup, kDebugLevelKey, statement) != 0 || statement.empty()) {
            return;
        }
    }
    ProcessDebugRequest(statement, fromCommandLine);
}

void CDebugHandler::ProcessDebugLogFileRequest() {
    std::string path;
    storedsettings::GetString(kDebugGroup, kDebugFileKey, path);
    if (CTheMsgHnd::GetLogFileStream() == nullptr && !path.empty()) {
        // Kept for the life of the process; see the header.
        CTheMsgHnd::SetLogFileStream(new std::ofstream(path, std::ios::out | std::ios::trunc));
    }
}

void CDebugHandler::ProcessDebugRequest(std::string statement, bool fromCommandLine) {
    CMultiListParser parser;
    parser.AddValidGroup(GroupNone());
    parser.AddValidGroup("basic");
    parser.AddValidGroup("enhanced");
    parser.AddValidGroup("full");
    for (unsigned row = EF_GROUP_COUNT; row-- > 0;) {
        parser.AddValidElement(EF_GROUP_INFO[row].elementName);
    }
    parser.AddSynonym("basic", "basic:all");
    parser.AddSynonym("enhanced", "enhanced:all,basic:all");
    parser.AddSynonym("full", "full:all");
    parser.AddSynonym("standard", "basic:all,none:cmdline");
    parser.AddSynonym("limited", "basic:all");
    parser.AddSynonym("detailed", "enhanced:all,basic:all");

    statement = stringutil::ToLower(statement);
    CMultiListParser::ResultType pairs;
    if (!parser.ParseStatement(statement, pairs)) {
        throw std::invalid_argument(GetErrMsg(parser.GetLastError()));
    }

    CMessageHandler* const handler = FrameworkHandler();
    handler->SendDebugOutputToTheConsole();
    std::ofstream* const log = CTheMsgHnd::GetLogFileStream();
    if (log != nullptr && !fromCommandLine) {
        handler->NewDebugObject(log, CMessageHandler::GROUP_ALL);
    }

    // Last pair first: an earlier pair of the statement has the final word.
    CMessageHandler::DebugLevels level = CMessageHandler::DEBUG_BASIC;
    for (auto pair = pairs.rbegin(); pair != pairs.rend(); ++pair) {
        bool enable = true;
        const std::string& group = pair->first;
        if (group.empty()) {
            continue;
        }
        if (group == GroupNone()) {
            level = CMessageHandler::DEBUG_ALL;
            enable = false;
        } else if (group == "basic") {
            level = CMessageHandler::DEBUG_BASIC;
        } else if (group == "enhanced") {
            level = CMessageHandler::DEBUG_ENHANCED;
        } else if (group == "full") {
            level = CMessageHandler::DEBUG_ALL;
        }
        for (auto element = pair->second.rbegin(); element != pair->second.rend(); ++element) {
            for (unsigned row = EF_GROUP_COUNT; row-- > 0;) {
                if (strcasecmp(EF_GROUP_INFO[row].elementName, element->c_str()) != 0) {
                    continue;
                }
                handler->SetDebugLevel(level, enable, EF_GROUP_INFO[row].group);
                if (CTheMsgHnd::IsDebugEngineRunning()) {
                    handler->DebugOutputInHandler(CMessageHandler::DEBUG_ENHANCED, false, false, __PRETTY_FUNCTION__,
                                                  "enginefw_cpp", 1780,
                                                  "Setting debug level %d to %s for element >%s<",
                                                  static_cast<int>(level), enable ? "true" : "false",
                                                  element->c_str());
                }
            }
        }
    }
}

std::string CDebugHandler::GetErrMsg(std::string error) {
    std::string help =
        "\n-debug <level>\n    Display debug information: \n    <level> = The level of debug output. Specify "
        "'full', 'enhanced', 'basic' or 'standard' - or specify the exact requirements in list form: Possible "
        "group names are - 'basic' 'enhanced' 'full'. Possible element names are -";
    for (unsigned row = EF_GROUP_COUNT; row-- > 0;) {
        help += " '";
        help += EF_GROUP_INFO[row].elementName;
        help += "'";
    }
    help += "For example: \"full:all-cmdline-linktransport,enhanced:application+linktransport\"";
    return Rule() + "\n" + "Debug configuration Error: " + error + "\n" + Rule() + "\n" + DebugHelpMsgBuilder(help);
}

std::string CDebugHandler::DebugHelpMsgBuilder(std::string text) {
    std::string out;
    bool first = true;
    auto emit = [&out, &first](const std::string& piece, bool lineFeed) {
        if (!first) {
            out.append(kLaterLineIndent, ' ');
        }
        out += piece;
        if (lineFeed) out += '\n';
        first = false;
    };
    for (;;) {
        const size_t limit = first ? kFirstLineWidth : kLaterLineWidth;
        if (text.size() <= limit) {
            break;
        }
        const size_t blank = text.rfind(' ', limit);
        if (blank == std::string::npos) {
            emit(text.substr(0, limit), true);
            text.erase(0, limit);
        } else {
            emit(text.substr(0, blank), true);
            text.erase(0, blank + 1);
        }
    }
    // The last piece is indented like the others but ends the text: no
    // line feed of its own.
    emit(text, false);
    return out;
}
