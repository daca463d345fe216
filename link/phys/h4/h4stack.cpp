#include "link/phys/h4/h4stack.h"

#include <cstdio>

#include "enginefw/critical_section.h"

H4Stack::H4Stack(const CountedPointer<UARTAbstraction>& uart)
    : mUart(uart),
      mRx(true),
      mCallbackLock(CriticalSection::InitialiseCS(true)),
      mStopped(&mStopBox),
      mQueueLock(CriticalSection::InitialiseCS(true)) {
    mStopBox.AddItem(&mStopped);
}

H4Stack::~H4Stack() {
    Stop();
    finalQueues();
    CriticalSection::DestroyCS(mQueueLock);
    mStopBox.RemoveItem(&mStopped);
    CriticalSection::DestroyCS(mCallbackLock);
    mUart.clr();
}

bool H4Stack::Start() {
    if (!mUart->open()) {
        return false;
    }
    mStopBox.unsetItem(mStopped);
    mRx.Reset(mDirection == 0);
    mReadPosted = false;
    Threadable::Start();
    if (!IsActive()) {
        return false;
    }
    HighPriority();
    return true;
}

void H4Stack::Stop() {
    if (IsActive()) {
        Threadable::Stop();
        mUart->abortWait();
        // A thread stopped before it got to run the daemon ends without ever
        // setting the stopped item: it is waited for as a thread then.
        while (!mStopBox.wait(100)) {
            if (!IsActive()) {
                break;
            }
        }
    }
}

void H4Stack::setupOnSyncLoss(void (*function)(void*), void* context) {
    CriticalSectionLock hold(mCallbackLock);
    mOnSyncLoss = function;
    mSyncLossContext = context;
}

void H4Stack::setupOnUartDies(void (*function)(void*), void* context) {
    CriticalSectionLock hold(mCallbackLock);
    mOnUartDies = function;
    mUartDiesContext = context;
}

void H4Stack::sendCommand(const unsigned char* data, unsigned int length, CallBack* callback) {
    if (mDirection == 0) {
        sendPDU(command, data, length, callback);
    }
}

void H4Stack::sendEvent(const unsigned char* data, unsigned int length, CallBack* callback) {
    if (mDirection == 1) {
        sendPDU(event, data, length, callback);
    }
}

void H4Stack::sendACLData(const unsigned char* data, unsigned int length, CallBack* callback) {
    sendPDU(acl, data, length, callback);
}

void H4Stack::sendSCOData(const unsigned char* data, unsigned int length, CallBack* callback) {
    sendPDU(sco, data, length, callback);
}

void H4Stack::sendDp(const unsigned char* data, unsigned int length, CallBack* callback) {
    sendPDU(dp, data, length, callback);
}

void H4Stack::sendRaw(const unsigned char* data, unsigned int length, CallBack* callback) {
    sendPDU(raw, data, length, callback);
}

void H4Stack::sendPDU(H4_PKTTYPE type, const unsigned char* data, unsigned int length, CallBack* callback) {
    auto* node = new H4_PDULINK{nullptr, new H4_PDULINK::Buffer{length, data}, type, callback};
    CriticalSectionLock hold(mQueueLock);
    if (mTail == nullptr) {
        mHead = mTail = node;
    } else {
        mTail->next = node;
        mTail = node;
    }
    mUart->reqXmit();
}

unsigned int H4Stack::ThreadFunc() {
    serialDaemon();
    mStopBox.setItem(mStopped);
    return 0;
}

void H4Stack::serialDaemon() {
    rxStateMachine();
    for (;;) {
        switch (mUart->wait(1000, &mLastReadCount)) {
        case waitTxDone:
            txStateMachine();
            break;
        case waitRxDone:
            mReadPosted = false;
            mRx.Completed(mLastReadCount, *this);
            rxStateMachine();
            break;
        case waitXmitRequest:
            if (mTxState == 0) {
                txStateMachine();
            }
            break;
        case waitAborted:
            finalQueues();
            mRx.Reset(mDirection == 0);
            return;
        case waitDied: {
            void (*dies)(void*);
            void* context;
            {
                CriticalSectionLock hold(mCallbackLock);
                dies = mOnUartDies;
                context = mUartDiesContext;
            }
            if (dies != nullptr) {
                dies(context);
            }
            return;
        }
        default:
            break;
        }
    }
}

void H4Stack::rxStateMachine() {
    if (!mReadPosted) {
        unsigned long count = 0;
        mReadPosted = !mUart->read(mRx.NextReadBuffer(), mRx.NextReadLength(), &count);
    }
}

void H4Stack::onPacket(H4RxMachine::Indicator kind, unsigned char* data, unsigned int length) {
    // Receivers in the order command, event, ACL, SCO.
    const int slot = kind == H4RxMachine::command ? 0
                     : kind == H4RxMachine::event ? 1
                     : kind == H4RxMachine::acl   ? 2
                                                  : 3;
    if (mReceivers[slot].function != nullptr) {
        mReceivers[slot].function(data, length, mReceivers[slot].context);
    }
}

void H4Stack::onSyncLoss() {
    void (*lost)(void*);
    void* context;
    {
        CriticalSectionLock hold(mCallbackLock);
        lost = mOnSyncLoss;
        context = mSyncLossContext;
    }
    if (lost != nullptr) {
        lost(context);
    } else {
        std::fprintf(stderr, "H4Stack: sync lost\n");
    }
}

void H4Stack::txStateMachine() {
    for (;;) {
        unsigned long count = 0;
        switch (mTxState) {
        case 0: {
            bool done;
            {
                CriticalSectionLock hold(mQueueLock);
                if (mHead == nullptr) {
                    return;
                }
                if (mHead->type != dp && mHead->type != raw) {
                    const unsigned char indicator = static_cast<unsigned char>(mHead->type);
                    done = mUart->write(&indicator, 1, &count);
                } else {
                    done = true;
                }
            }
            mTxState = 1;
            if (!done) {
                return;
            }
            break;
        }
        case 1: {
            const H4_PDULINK* head;
            {
                CriticalSectionLock hold(mQueueLock);
                head = mHead;
            }
            mTxState = 2;
            if (!mUart->write(head->buffer->data, head->buffer->length, &count)) {
                return;
            }
            break;
        }
        default: {
            H4_PDULINK* node;
            {
                CriticalSectionLock hold(mQueueLock);
                node = mHead;
                mHead = node->next;
                if (mHead == nullptr) {
                    mTail = nullptr;
                }
            }
            if (node->callback != nullptr) {
                node->callback->execute();
            }
            delete node->callback;
            delete node->buffer;
            delete node;
            mTxState = 0;
            break;
        }
        }
    }
}

void H4Stack::finalQueues() {
    H4_PDULINK* node;
    {
        CriticalSectionLock hold(mQueueLock);
        node = mHead;
        mHead = mTail = nullptr;
    }
    mTxState = 0;
    while (node != nullptr) {
        H4_PDULINK* next = node->next;
        if (node->callback != nullptr) {
            node->callback->diedIncomplete();
        }
        delete node->callback;
        delete node->buffer;
        delete node;
        node = next;
    }
}
