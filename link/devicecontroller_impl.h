// The inside of the device controller: the per-channel regulators, the
// collectors of what the transports receive, the ACL tracker, and the
// implementation that the public classes forward to.
#pragma once

#include <atomic>
#include <cstdint>
#include <deque>
#include <map>

#include "link/devicecontroller.h"

// One channel's queue and credit.
struct Regulator {
    Regulator(SignalBox& box, int32_t initialTokens, uint32_t second, uint32_t third);
    ~Regulator();
    Regulator(const Regulator&) = delete;
    Regulator& operator=(const Regulator&) = delete;

    // Sets the credit; with credit and something pending, wakes the worker.
    void setToken(int n);

    int32_t tokens;
    uint32_t second;  // kept, read by nothing
    uint32_t third;   // likewise
    uint32_t pending = 0;
    std::deque<TesselDeviceController_newStyle::sae> queue;
    void* lock;
    SignalBox::Item item;
    CountedPointer<TesselDeviceController_newStyle::PDUCallBack> current;
};

// What a transport receives, copied and queued for the worker.
class Collector : public TesselTransportCallBack {
public:
    explicit Collector(SignalBox& box);
    ~Collector() override;

    void onPDU(PDU::ts_channel channel, const unsigned char* data, unsigned int length) override;
    // The oldest PDU, or false when there is none; unsets the signal when the
    // queue runs empty.
    bool Take(PDU& pdu);

private:
    uint32_t mCount = 0;
    std::deque<PDU> mQueue;
    void* mLock;
    SignalBox::Item mItem;
    SignalBox& mBox;
};

// Bytes of ACL data waiting, per connection handle.
class AclDataTracker {
public:
    AclDataTracker();
    ~AclDataTracker();
    AclDataTracker(const AclDataTracker&) = delete;
    AclDataTracker& operator=(const AclDataTracker&) = delete;

    void addConnection(uint16_t handle);
    void removeConnection(uint16_t handle);
    bool usingConnection(uint16_t handle) const;
    void addData(const PDU& pdu);
    void removeData(PDU& pdu);
    uint32_t getDataWaiting(uint16_t handle) const;

private:
    void* mLock;
    std::map<uint16_t, uint32_t> mWaiting;
};

class TesselDeviceController::Implementation {
public:
    class DeviceControllerImplementationThread : public Threadable {
    public:
        explicit DeviceControllerImplementationThread(Implementation* impl) : mImpl(impl) {}
        ~DeviceControllerImplementationThread() override;
        unsigned int ThreadFunc() override;

    private:
        Implementation* mImpl;
    };

    Implementation();
    virtual ~Implementation();
    Implementation(const Implementation&) = delete;
    Implementation& operator=(const Implementation&) = delete;

    virtual bool forceReset(unsigned long ms, ResetType type) = 0;
    virtual bool sendRawAny(PDU::ts_channel channel, const unsigned char* data, unsigned long length,
                            bool queued) = 0;
    virtual int reconfigure_uart_baudrate(unsigned long) { return 0; }
    virtual TesselTransport* getTransport() = 0;
    virtual void checkQueues() = 0;

    bool isTransportReady(unsigned long ms);
    bool doWork();
    void createWorker();
    void waitForWork();
    // Asks the worker to stop and waits until it has.
    void stopWork();

protected:
    SignalBox mWorkBox;
    SignalBox::Item mStopItem;
    // Read by the worker on every pass; the item alone is the box's to read.
    std::atomic<bool> mStopping{false};
    bool mTransportReady = false;
    SignalBox mStoppedBox;
    SignalBox::Item mStoppedItem;
    DeviceControllerImplementationThread* mWorker = nullptr;
};

class TesselDeviceController_newStyle::Implementation : public TesselDeviceController::Implementation {
public:
    static const unsigned kChannels = 64;
    // Each phase of a pass takes at most this many PDUs.
    static const unsigned kPerPass = 8;

    Implementation(const TransportConfiguration& configuration, CallBackProvider& provider);
    ~Implementation() override;

    bool forceReset(unsigned long ms, ResetType type) override;
    bool sendRawAny(PDU::ts_channel channel, const unsigned char* data, unsigned long length, bool queued) override;
    int reconfigure_uart_baudrate(unsigned long rate) override;
    TesselTransport* getTransport() override { return mMainTransport; }
    void checkQueues() override;

    bool send(const sae& entry, bool queued);
    bool offerConnection(const TransportConfiguration& configuration);
    bool purge_channel(PDU::ts_channel channel);
    bool sendUp(const PDU& pdu);
    unsigned long getSizeOfDataWaitingOnHandle(unsigned short handle) { return mTracker.getDataWaiting(handle); }
    unsigned long pendingItemCountOnRegulator();

private:
    class TransportFail : public TesselTransportFailure {
    public:
        explicit TransportFail(CallBackProvider& provider) : mProvider(provider) {}
        void onFail(FailureMode mode) override { mProvider.onTransportFailure(mode); }

    private:
        CallBackProvider& mProvider;
    };

    class pass_up : public PDUCallBack {
    public:
        explicit pass_up(TesselTransport* transport) : mTransport(transport) {}
        void operator()(const PDU& pdu) override { mTransport->sendpdu(pdu); }

    private:
        TesselTransport* mTransport;
    };

    bool SendDirect(Regulator& regulator, const sae& entry);
    void Transmit();
    void Receive();
    void Upstream();
    void Inspect(const PDU& pdu);
    void InspectEvent(const PDU& pdu);
    void ScoConnected(uint16_t handle);
    uint32_t ScoStep() const { return 1000 * mSampleSize; }

    CallBackProvider& mProvider;
    Collector mMainCollector;
    Collector mUpstreamCollector;
    Regulator* mRegulators[kChannels] = {};
    AclDataTracker mTracker;
    uint32_t mSampleSize = 16;
    std::map<uint16_t, uint32_t> mScoMap;
    // send() raises the requested figure from any thread; one atomic word each.
    std::atomic<uint32_t> mRequestedBandwidth{0};
    std::atomic<uint32_t> mCurrentBandwidth{0};
    unsigned char mBufferSizeKnown = 0;
    CountedPointer<PDUCallBack> mPassUp;
    CountedPointer<PDUCallBack> mSecondCallback;
    TransportFail mTransportFail;
    TransportFail* mUpstreamFail = nullptr;
    TesselTransport* mMainTransport = nullptr;
    TesselTransport* mUpstreamTransport = nullptr;
};
