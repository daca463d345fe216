// Reaches into the command handler's ring for tests that need a slot in a
// given state.
#pragma once

#include "factory/CommandHandler.h"

class CCommandHandlerTestPeer {
public:
    static THREAD_INFO*& Slot(CCommandHandler& h, int index) { return h.m_thread_info[index]; }
};
