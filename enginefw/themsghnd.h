// The owner of all message handlers, one per group.
//
// Lifecycle (GetLifeCycleState): 0 before the singleton exists, 1 while it
// lives, 2 once it has been destroyed at exit; 2 is never left. In state 2
// GetAppropriateHandler hands out only the dummy handler (no queues, in no map)
// and OutputMessageHandler is silent, so code that traces from static
// destructors stays safe.
//
// Debug output is off until a debug object exists (IsDebugActivated). The
// first IsDebugEngineRunning() runs the debug option processing once.
#pragma once

#include <atomic>
#include <fstream>
#include <functional>
#include <map>
#include <string>
#include <vector>

#include "enginefw/messagehandler.h"

class AtomicCounter;
class CriticalSection;

class CTheMsgHnd {
public:
    using GroupEnum = CMessageHandler::GroupEnum;

    static CTheMsgHnd& Instance();

    // The handler to trace through; never null. With registerClass the class of
    // prettyFunction is tied to group, and from then on its tracing goes to that
    // group's handler whatever group later calls name (unless the group named
    // has a handler already and registerClass is false: that is the fast path).
    static CMessageHandler* GetAppropriateHandler(GroupEnum group, const char* prettyFunction, bool registerClass);

    static bool IsDebugEngineRunning();
    static bool IsDebugActivated();
    // Reads the debug settings; run once by the first IsDebugEngineRunning().
    static void ProcessDebugOptions();
    // For a host with a command line: the argument behind "-debug" (any case),
    // searched from the second argument on, is the debug statement; without
    // one the environment decides as above. "-debug" with no or an empty value
    // throws std::invalid_argument carrying the help block.
    static void ProcessDebugOptions(const std::vector<std::string>& arguments);
    static void DebugOptionsChanged();

    // The map key holding handler, or GROUP_LOCAL.
    static GroupEnum GetLocalGroup(const CMessageHandler* handler);
    // GROUP_ALL creates every named group, GROUP_LOCAL nothing; existing groups stay.
    static void CreateGroup(GroupEnum group);

    static std::ofstream* GetLogFileStream();
    // The stream is not owned and never closed here.
    static void SetLogFileStream(std::ofstream* stream);
    static void ClearErrors();

    static unsigned int GetLifeCycleState();

    // For the handlers' group operations: creates the selected groups when asked,
    // then runs action on each handler the selector picks (every handler when
    // filter is false), all under the map lock. False, and nothing run, when
    // caller stands in no map or the framework has shut down.
    static bool ForEachSelectedHandler(const CMessageHandler* caller, GroupEnum selector, bool create, bool filter,
                                       const std::function<void(CMessageHandler*)>& action);
    // The next error sequence number; 0 once shut down.
    static unsigned long NextErrorSequence();

    ~CTheMsgHnd();
    CTheMsgHnd(const CTheMsgHnd&) = delete;
    CTheMsgHnd& operator=(const CTheMsgHnd&) = delete;

private:
    friend class CMessageHandler;
    CTheMsgHnd();

    static void SetDebugActivated() { mDebugActivated.store(true); }

    AtomicCounter* mpErrorSequence;
    std::map<GroupEnum, CMessageHandler*> mHandlers;
    std::map<std::string, GroupEnum> mClassGroups;

    static CriticalSection* mpSynchroniseLock;
    static std::atomic<bool> mDebugActivated;
    static std::atomic<bool> mDebugInitialised;
};

// Function names as the compiler prints them ("int CFoo::Bar(int) const"):
// cut at the first "(", drop everything through the last blank before it
// (the return type) and, when asked, everything from the first "<" through the
// last ">". Null gives an empty text.
std::string DetermineQualifiedFnName(const char* prettyFunction, bool stripTemplate);
// The text before the first "::", or empty when there is none.
std::string FindClassName(const std::string& qualifiedName);
