#include "enginefw/progressmsg.h"

#include <cstdint>
#include <cstdio>
#include <unistd.h>

#include "enginefw/clock.h"
#include "enginefw/critical_section.h"

CProgressMsg::CProgressMsg() = default;

CProgressMsg::~CProgressMsg() = default;

void CProgressMsg::SetSilentMode(bool silent) { mSilent = silent; }

void CProgressMsg::Notify(unsigned short /*percent*/) {}

CriticalSection& CProgressMsg::GetMsgQueueCriticalSection() {
    static CriticalSection* const lock = new CriticalSection(true);
    return *lock;
}

void CProgressMsg::Set(unsigned short percent) {
    if (percent > 100) {
        return;
    }
    mPercent = percent;
    if (!mSilent) {
        Notify(mPercent);
    }
}

CProgressMsg& CProgressMsg::operator+=(int step) {
    const long current = mPercent;
    if (current >= 100L - step) {
        mPercent = 100;
    } else if (current + step < 0) {
        mPercent = 0;
    } else {
        mPercent = static_cast<unsigned short>(current + step);
    }
    Notify(mPercent);
    return *this;
}

void CProgressMsg::operator++(int) { *this += 1; }

void CConsoleProgressMsg::Notify(unsigned short percent) {
    if (isatty(STDOUT_FILENO) != 0) {
        if (percent < 100) {
            std::printf("\r%3u%%\r", static_cast<unsigned>(percent));
            std::fflush(stdout);
        } else {
            std::printf("100%%\n");
            std::fflush(stdout);
        }
        return;
    }
    static StopWatch sWatch;
    static std::uint32_t sLastDot = 0;
    if (percent < 100) {
        const std::uint32_t now = sWatch.duration();
        // A clock that stepped back counts as no time passed.
        if (now >= sLastDot && now - sLastDot > 2000) {
            std::printf(".");
            std::fflush(stdout);
            sLastDot = now;
        }
    } else if (sLastDot != 0) {
        std::printf("\n");
        std::fflush(stdout);
        sLastDot = 0;
    }
}
