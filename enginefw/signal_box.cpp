#include "enginefw/signal_box.h"

#include <cerrno>
#include <ctime>
#include <pthread.h>

#include "enginefw/clock.h"
#include "enginefw/fatal_error.h"

namespace {
void check(int rc, const char* text) {
    if (rc != 0) {
        fatal_error(text, rc);
    }
}
}  // namespace

class SignalBox::SignalBoxData {
public:
    SignalBoxData() {
        check(pthread_mutex_init(&mutex, nullptr), "SignalBox::SignalBoxData::SignalBoxData() - Failed to init mutex");
        check(pthread_cond_init(&condition, nullptr),
              "SignalBox::SignalBoxData::SignalBoxData() - Failed to init condition");
    }
    ~SignalBoxData() {
        check(pthread_cond_destroy(&condition),
              "SignalBox::SignalBoxData::~SignalBoxData() - Failed to destroy condition");
        check(pthread_mutex_destroy(&mutex), "SignalBox::SignalBoxData::~SignalBoxData() - Failed to destroy mutex");
    }
    SignalBoxData(const SignalBoxData&) = delete;
    SignalBoxData& operator=(const SignalBoxData&) = delete;

    void _locked_addItem(Item* item) {
        item->next = items;
        items = item;
        item->set = 0;
    }

    void _locked_removeItem(Item* item) {
        for (Item** link = &items; *link != nullptr; link = &(*link)->next) {
            if (*link == item) {
                *link = item->next;
                item->next = nullptr;
                return;
            }
        }
    }

    void _locked_setItem(Item& item) {
        item.set = 1;
        anySet = 1;
        // A broadcast: a box is meant for one waiter, but if two ever wait,
        // a signal could wake the one that goes on waiting.
        check(pthread_cond_broadcast(&condition), "SignalBox::SignalBoxData::_locked_setItem() - Failed to set condition");
    }

    bool _locked_unsetItem(Item& item) {
        item.set = 0;
        for (const Item* other = items; other != nullptr; other = other->next) {
            if (other != &item && other->set != 0) {
                return true;
            }
        }
        anySet = 0;
        return false;
    }

    bool _locked_wait(unsigned int ms) {
        if (items == nullptr) {
            return false;
        }
        if (anySet != 0) {
            return true;
        }
        if (ms == 0) {
            return false;
        }
        timespec now{};
        HiResClockGetNanoSec(&now);
        timespec deadline{};
        deadline.tv_sec = now.tv_sec + static_cast<time_t>(ms / 1000);
        deadline.tv_nsec = now.tv_nsec + static_cast<long>(ms % 1000) * 1000000L;
        if (deadline.tv_nsec > 999999999L) {
            deadline.tv_nsec -= 1000000000L;
            ++deadline.tv_sec;
        }
        for (;;) {
            const int rc = pthread_cond_timedwait(&condition, &mutex, &deadline);
            if (rc != 0 && rc != ETIMEDOUT) {
                fatal_error("SignalBox::SignalBoxData::_locked_wait() - Failed to wait for condition with timeout", rc);
            }
            if (rc == ETIMEDOUT) {
                HiResClockGetNanoSec(&now);
                // Only the seconds are compared.
                if (now.tv_sec >= deadline.tv_sec) {
                    return false;
                }
            }
            if (anySet != 0) {
                return true;
            }
        }
    }

    pthread_mutex_t mutex;
    pthread_cond_t condition;
    int anySet = 0;
    Item* items = nullptr;
};

SignalBox::SignalBox() : mData(new SignalBoxData) { InitHiResClock(nullptr); }

SignalBox::~SignalBox() { delete mData; }

void SignalBox::AddItem(Item* item) {
    if (item == nullptr) {
        return;
    }
    check(pthread_mutex_lock(&mData->mutex), "SignalBox::AddItem() - Failed to acquire mutex");
    item->box = this;
    mData->_locked_addItem(item);
    check(pthread_mutex_unlock(&mData->mutex), "SignalBox::AddItem() - Failed to release mutex");
}

void SignalBox::RemoveItem(Item* item) {
    if (item == nullptr) {
        return;
    }
    check(pthread_mutex_lock(&mData->mutex), "SignalBox::RemoveItem() - Failed to acquire mutex");
    mData->_locked_unsetItem(*item);
    mData->_locked_removeItem(item);
    check(pthread_mutex_unlock(&mData->mutex), "SignalBox::RemoveItem() - Failed to release mutex");
}

void SignalBox::setItem(Item& item) {
    check(pthread_mutex_lock(&mData->mutex), "SignalBox::setItem() - Failed to acquire mutex");
    mData->_locked_setItem(item);
    check(pthread_mutex_unlock(&mData->mutex), "SignalBox::setItem() - Failed to release mutex");
}

bool SignalBox::unsetItem(Item& item) {
    check(pthread_mutex_lock(&mData->mutex), "SignalBox::unsetItem() - Failed to acquire mutex");
    const bool otherSet = mData->_locked_unsetItem(item);
    check(pthread_mutex_unlock(&mData->mutex), "SignalBox::unsetItem() - Failed to release mutex");
    return otherSet;
}

bool SignalBox::wait(unsigned int ms) {
    check(pthread_mutex_lock(&mData->mutex), "SignalBox::wait() - Failed to acquire mutex");
    const bool set = mData->_locked_wait(ms);
    check(pthread_mutex_unlock(&mData->mutex), "SignalBox::wait() - Failed to release mutex");
    return set;
}
