#include <stdexcept>
#include <strings.h>

#include "enginefw/debughandler.h"
#include "enginefw/themsghnd.h"

// Debug option processing. The flag is set before anything is read, so that
// the settings reader's own tracing (which asks IsDebugEngineRunning) does not
// start processing again.
void CTheMsgHnd::ProcessDebugOptions() {
    mDebugInitialised.store(true);
    CDebugHandler handler;
    handler.ProcessDebugOptions("", false);
}

void CTheMsgHnd::ProcessDebugOptions(const std::vector<std::string>& arguments) {
    mDebugInitialised.store(true);
    std::string value;
    bool found = false;
    for (size_t i = 1; i < arguments.size(); ++i) {
        if (strcasecmp(arguments[i].c_str(), "-debug") == 0) {
            found = true;
            if (i + 1 < arguments.size()) {
                value = arguments[i + 1];
            }
            break;
        }
    }
    CDebugHandler handler;
    if (found && value.empty()) {
        throw std::invalid_argument(handler.GetErrMsg("No value given for <level> with parameter \"-debug\""));
    }
    handler.ProcessDebugOptions(value, found);
}
