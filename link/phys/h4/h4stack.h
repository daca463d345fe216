// The serial daemon: one thread that owns the port's one read and one write
// and runs the H4 receive and transmit machines over them.
//
// Any thread queues a packet with send*(); the daemon writes its indicator and
// then its bytes (packets of the raw kinds 5 and 6 go without an indicator) and
// runs its callback once it has gone. Whole packets that arrive go to the
// receiver of their kind on the daemon thread; the bytes are valid only during
// the call, and a receiver must not block.
//
// Lock order: the queue lock, then the port's mMutexThread.
#pragma once

#include <cstdint>

#include "enginefw/counted.h"
#include "enginefw/signal_box.h"
#include "enginefw/threadable.h"
#include "link/phys/h4/h4_rx_machine.h"
#include "link/phys/posix/uart/uart.h"

class CallBack {
public:
    void initialise(void* context, void (*function)(bool, void*)) {
        mContext = context;
        mFunction = function;
    }
    void execute() { mFunction(true, mContext); }
    void diedIncomplete() { mFunction(false, mContext); }

private:
    void* mContext = nullptr;
    void (*mFunction)(bool, void*) = nullptr;
};

class H4Stack : public Threadable, private H4RxMachine::Receiver {
public:
    enum H4_PKTTYPE { command = 1, acl = 2, sco = 3, event = 4, dp = 5, raw = 6 };
    using Receive = void (*)(unsigned char* data, unsigned int length, void* context);

    struct H4_PDULINK {
        H4_PDULINK* next;
        struct Buffer {
            uint32_t length;
            const unsigned char* data;
        }* buffer;
        H4_PKTTYPE type;
        CallBack* callback;
    };

    explicit H4Stack(const CountedPointer<UARTAbstraction>& uart);
    ~H4Stack() override;

    // Opens the port and starts the daemon; false if either fails.
    bool Start();
    // Wakes the daemon and waits until it has ended; queued packets get their
    // callbacks with false.
    void Stop() override;
    bool ready(unsigned long) const { return IsActive(); }
    // The stack stands at the host end unless told otherwise.
    void setUartDirection(bool host) { mDirection = host ? 0 : 1; }

    // The bytes stay the sender's until the callback runs.
    void sendCommand(const unsigned char* data, unsigned int length, CallBack* callback);
    void sendACLData(const unsigned char* data, unsigned int length, CallBack* callback);
    void sendSCOData(const unsigned char* data, unsigned int length, CallBack* callback);
    void sendEvent(const unsigned char* data, unsigned int length, CallBack* callback);
    void sendDp(const unsigned char* data, unsigned int length, CallBack* callback);
    void sendRaw(const unsigned char* data, unsigned int length, CallBack* callback);

    void setupRecvCommand(void* context, Receive function) { mReceivers[0] = {context, function}; }
    void setupRecvEvent(void* context, Receive function) { mReceivers[1] = {context, function}; }
    void setupRecvACLData(void* context, Receive function) { mReceivers[2] = {context, function}; }
    void setupRecvSCOData(void* context, Receive function) { mReceivers[3] = {context, function}; }
    void setupOnSyncLoss(void (*function)(void*), void* context);
    void setupOnUartDies(void (*function)(void*), void* context);
    void setDataWatch(DataWatcher* watcher) { mUart->setDataWatch(watcher); }

    unsigned int ThreadFunc() override;

private:
    struct ReceiverSlot {
        void* context = nullptr;
        Receive function = nullptr;
    };

    void sendPDU(H4_PKTTYPE type, const unsigned char* data, unsigned int length, CallBack* callback);
    void serialDaemon();
    void txStateMachine();
    void rxStateMachine();
    void finalQueues();
    void onPacket(H4RxMachine::Indicator kind, unsigned char* data, unsigned int length) override;
    void onSyncLoss() override;

    uint32_t mDirection = 0;  // 0 host end, 1 controller end
    H4_PDULINK* mHead = nullptr;
    H4_PDULINK* mTail = nullptr;
    uint32_t mTxState = 0;    // 0 idle, 1 indicator written, 2 data written
    CountedPointer<UARTAbstraction> mUart;
    H4RxMachine mRx;
    unsigned long mLastReadCount = 0;
    bool mReadPosted = false;
    void (*mOnSyncLoss)(void*) = nullptr;
    void* mSyncLossContext = nullptr;
    void (*mOnUartDies)(void*) = nullptr;
    void* mUartDiesContext = nullptr;
    void* mCallbackLock;  // guards the two failure callbacks, set from other threads
    SignalBox mStopBox;
    SignalBox::Item mStopped;
    void* mQueueLock;
    ReceiverSlot mReceivers[4];
};
