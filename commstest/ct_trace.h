// Trace helpers of the WLAN test client: one pattern everywhere. Debug off
// costs one flag test; the handler is fetched only when tracing runs.
#pragma once

#include "enginefw/msghandler.h"

// Group values the client traces under.
constexpr int kGroupCommstest = 7;
constexpr int kGroupUnknown = 104;

#define CT_TRACE_GROUP(group, file, level, ...)                                                      \
    do {                                                                                             \
        if (CTheMsgHnd::IsDebugEngineRunning()) {                                                    \
            CTheMsgHnd::GetAppropriateHandler(static_cast<CMessageHandler::GroupEnum>(group),        \
                                              __PRETTY_FUNCTION__, false)                            \
                ->DebugOutputInHandler(level, false, false, __PRETTY_FUNCTION__, file, __LINE__,     \
                                       __VA_ARGS__);                                                 \
        }                                                                                            \
    } while (0)

#define CT_HANDLER(group) \
    CTheMsgHnd::GetAppropriateHandler(static_cast<CMessageHandler::GroupEnum>(group), __PRETTY_FUNCTION__, false)

// The entry and exit lines of a traced function, through the group's handler.
#define CT_SENTRY(group, file) CDebugSentry ctSentry_(CT_HANDLER(group), __LINE__, file, __PRETTY_FUNCTION__)

// The same, with the exit line showing the value of `var` at the exit.
#define CT_SENTRY_RET(group, file, type, var) \
    CDebugSentryWithReturn<type> ctSentry_(CT_HANDLER(group), __LINE__, file, __PRETTY_FUNCTION__, &(var))
