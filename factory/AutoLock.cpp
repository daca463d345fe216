#include "factory/AutoLock.h"

#include <unistd.h>

#include "factory/ThreadFlags.h"

AutoLock::~AutoLock() {
    StoreFlag(&m_flag, false);
}

bool AutoLock::lock(int seconds) {
    int budget = seconds * 100;
    while (LoadFlag(&m_flag)) {
        usleep(10000);
        // `<=` keeps a budget of zero or less from waiting for ever.
        if (--budget <= 0) return false;
    }
    StoreFlag(&m_flag, true);
    return true;
}
