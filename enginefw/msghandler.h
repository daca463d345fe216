// The message and debug framework in one include.
//
//   enginefw/messagehandler.h  CMessageHandler (GroupEnum, DebugLevels, StatusLevels), EF_GROUP_INFO
//   enginefw/themsghnd.h       CTheMsgHnd, DetermineQualifiedFnName, FindClassName
//   enginefw/debugsentry.h     CDebugSentry, CDebugSentryWithReturn<T>
//   enginefw/debugmsg.h        CDebugMsg
//   enginefw/statusmsg.h       CStatusMsg, CConsoleStatusMsg, CLogFileStatusMsg
//   enginefw/msgqueue.h        CMsgQueue
//   enginefw/errormessages.h   CErrorMessages
//   enginefw/progressmsg.h     CProgressMsg, CConsoleProgressMsg
//
// The one pattern of a traced function:
//
//   CMessageHandler* handler = CTheMsgHnd::GetAppropriateHandler(group, __PRETTY_FUNCTION__, false);
//   CDebugSentryWithReturn<int> sentry(handler, __LINE__, "file", __PRETTY_FUNCTION__, &result);
//   if (CTheMsgHnd::IsDebugEngineRunning()) {
//       handler->DebugOutputInHandler(3, false, false, __PRETTY_FUNCTION__, "file", __LINE__, "...", ...);
//   }
#pragma once

#include "enginefw/debugmsg.h"
#include "enginefw/debugsentry.h"
#include "enginefw/errormessages.h"
#include "enginefw/messagehandler.h"
#include "enginefw/msgqueue.h"
#include "enginefw/progressmsg.h"
#include "enginefw/statusmsg.h"
#include "enginefw/themsghnd.h"
