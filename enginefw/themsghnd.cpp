#include "enginefw/themsghnd.h"

#include <iostream>
#include <stdexcept>

#include "enginefw/atomic_counter.h"
#include "enginefw/critical_section.h"

namespace {
enum : unsigned int { kBeforeSingleton = 0, kAlive = 1, kShutDown = 2 };

std::atomic<unsigned int> gEngineFrameworkLifeCycleState{kBeforeSingleton};
std::atomic<std::ofstream*> gLogFileStream{nullptr};

bool ShutDown() { return gEngineFrameworkLifeCycleState.load() == kShutDown; }

// Handed out when no real handler fits, and for ever after shut-down. Never
// destroyed, so it stays valid during static destruction.
CMessageHandler* DummyHandler() {
    static CMessageHandler* const sDummyHandler = new CMessageHandler();
    return sDummyHandler;
}
}  // namespace

CriticalSection* CTheMsgHnd::mpSynchroniseLock = nullptr;
std::atomic<bool> CTheMsgHnd::mDebugActivated{false};
std::atomic<bool> CTheMsgHnd::mDebugInitialised{false};

CTheMsgHnd::CTheMsgHnd() : mpErrorSequence(new AtomicCounter(1)) {
    mpSynchroniseLock = new CriticalSection(true);
    unsigned int expected = kBeforeSingleton;
    gEngineFrameworkLifeCycleState.compare_exchange_strong(expected, kAlive);
}

CTheMsgHnd::~CTheMsgHnd() {
    gEngineFrameworkLifeCycleState.store(kShutDown);
    {
        CriticalSectionLock lock(*mpSynchroniseLock);
        for (auto& entry : mHandlers) {
            delete entry.second;
        }
        mHandlers.clear();
        mClassGroups.clear();
        delete mpErrorSequence;
        mpErrorSequence = nullptr;
    }
    delete mpSynchroniseLock;
    mpSynchroniseLock = nullptr;
}

CTheMsgHnd& CTheMsgHnd::Instance() {
    static CTheMsgHnd instance;
    return instance;
}

unsigned int CTheMsgHnd::GetLifeCycleState() { return gEngineFrameworkLifeCycleState.load(); }

CMessageHandler* CTheMsgHnd::GetAppropriateHandler(GroupEnum group, const char* prettyFunction, bool registerClass) {
    if (ShutDown()) {
        return DummyHandler();
    }
    CTheMsgHnd& self = Instance();
    CriticalSectionLock lock(*mpSynchroniseLock);

    const auto known = self.mHandlers.find(group);
    const bool haveHandler = known != self.mHandlers.end();
    if (!registerClass && haveHandler && group != CMessageHandler::GROUP_ALL) {
        return known->second;
    }

    const std::string className = FindClassName(DetermineQualifiedFnName(prettyFunction, true));
    const auto registered = self.mClassGroups.find(className);
    if (registered != self.mClassGroups.end()) {
        const auto handler = self.mHandlers.find(registered->second);
        return handler != self.mHandlers.end() ? handler->second : DummyHandler();
    }

    if (registerClass && !className.empty()) {
        self.mClassGroups[className] = group;
    }
    if (!haveHandler) {
        auto* handler = new CMessageHandler(group);
        self.mHandlers[group] = handler;
        if (!ShutDown()) {
            handler->NewErrorObject(CMessageHandler::GROUP_LOCAL);
        }
    }
    return self.mHandlers[group];
}

bool CTheMsgHnd::IsDebugEngineRunning() {
    if (!mDebugInitialised.load() && !ShutDown()) {
        try {
            ProcessDebugOptions();
        } catch (const std::invalid_argument& error) {
            std::cerr << error.what();
        }
    }
    return mDebugActivated.load();
}

bool CTheMsgHnd::IsDebugActivated() { return mDebugActivated.load(); }

void CTheMsgHnd::DebugOptionsChanged() { ProcessDebugOptions(); }

CMessageHandler::GroupEnum CTheMsgHnd::GetLocalGroup(const CMessageHandler* handler) {
    if (ShutDown() || handler == nullptr) {
        return CMessageHandler::GROUP_LOCAL;
    }
    CTheMsgHnd& self = Instance();
    CriticalSectionLock lock(*mpSynchroniseLock);
    for (const auto& entry : self.mHandlers) {
        if (entry.second == handler) {
            return entry.first;
        }
    }
    return CMessageHandler::GROUP_LOCAL;
}

void CTheMsgHnd::CreateGroup(GroupEnum group) {
    if (ShutDown() || group == CMessageHandler::GROUP_LOCAL) {
        return;
    }
    CTheMsgHnd& self = Instance();
    CriticalSectionLock lock(*mpSynchroniseLock);
    auto create = [&self](GroupEnum one) {
        if (self.mHandlers.count(one) == 0) {
            self.mHandlers[one] = new CMessageHandler(one);
        }
    };
    if (group == CMessageHandler::GROUP_ALL) {
        for (const EfGroupInfo& row : EF_GROUP_INFO) {
            create(row.group);
        }
    } else {
        create(group);
    }
}

bool CTheMsgHnd::ForEachSelectedHandler(const CMessageHandler* caller, GroupEnum selector, bool create, bool filter,
                                        const std::function<void(CMessageHandler*)>& action) {
    if (ShutDown()) {
        return false;
    }
    CTheMsgHnd& self = Instance();
    CriticalSectionLock lock(*mpSynchroniseLock);
    const GroupEnum local = GetLocalGroup(caller);
    if (local == CMessageHandler::GROUP_LOCAL) {
        return false;
    }
    if (create) {
        CreateGroup(selector);
    }
    for (const auto& entry : self.mHandlers) {
        if (!filter || CMessageHandler::Selects(selector, entry.first, local)) {
            action(entry.second);
        }
    }
    return true;
}

unsigned long CTheMsgHnd::NextErrorSequence() {
    if (ShutDown()) {
        return 0;
    }
    AtomicCounter* const counter = Instance().mpErrorSequence;
    return counter != nullptr ? static_cast<unsigned long>(counter->inc()) : 0;
}

std::ofstream* CTheMsgHnd::GetLogFileStream() { return gLogFileStream.load(); }

void CTheMsgHnd::SetLogFileStream(std::ofstream* stream) { gLogFileStream.store(stream); }

void CTheMsgHnd::ClearErrors() {
    if (ShutDown()) {
        return;
    }
    CTheMsgHnd& self = Instance();
    CriticalSectionLock lock(*mpSynchroniseLock);
    for (const auto& entry : self.mHandlers) {
        entry.second->ClearError();
    }
}
