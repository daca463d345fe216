#include "enginefw/debugsentry.h"

#include <exception>

#include "enginefw/debugmsg.h"
#include "enginefw/themsghnd.h"

CDebugSentry::CDebugSentry(CMessageHandler* handler, unsigned line, const char* file, const char* prettyFunction)
    : mpHandler(handler),
      mLine(line),
      mFile(file != nullptr ? file : ""),
      mFunction(DetermineQualifiedFnName(prettyFunction, false)) {
    // IsDebugActivated, not IsDebugEngineRunning: a sentry never starts option processing.
    if (mpHandler != nullptr && CTheMsgHnd::IsDebugActivated()) {
        mpHandler->DebugOutputInHandler(CMessageHandler::DEBUG_ENTRY_EXIT, true, false, prettyFunction, mFile.c_str(),
                                        mLine, "-> %s", mFunction.c_str());
        mpHandler->DebugOutputProfile(0);
    }
}

CDebugSentry::~CDebugSentry() { CheckPrintExit(); }

bool CDebugSentry::ClaimExit() {
    if (mExitPrinted) {
        return false;
    }
    mExitPrinted = true;
    return true;
}

void CDebugSentry::PrintExit() {
    if (ClaimExit() && mpHandler != nullptr) {
        mpHandler->DebugOutputInHandler(CMessageHandler::DEBUG_ENTRY_EXIT, false, true, mFunction.c_str(),
                                        mFile.c_str(), mLine, "<- %s", mFunction.c_str());
    }
}

void CDebugSentry::CheckPrintExit() {
    if (!CTheMsgHnd::IsDebugActivated() || mExitPrinted) {
        return;
    }
    // Any exception in flight counts, as the old uncaught_exception() did.
    if (std::uncaught_exceptions() > 0) {
        ClaimExit();
        if (mpHandler != nullptr) {
            mpHandler->DebugOutputInHandler(CMessageHandler::DEBUG_ENTRY_EXIT, false, true, mFunction.c_str(),
                                            mFile.c_str(), mLine, "<- %s !!! EXCEPTION !!!", mFunction.c_str());
        }
        return;
    }
    PrintExit();
}
