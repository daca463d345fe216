// The device controller: between the connection object and a transport.
//
// It takes PDUs from any thread onto one queue for each of 64 channels, and its
// worker thread sends them as the flow-control credit of each channel allows
// (checkQueues). What the transport receives is collected and handed, on the
// worker, to the callback that the channel's last sent PDU carried, or else to
// the CallBackProvider.
//
// Credit, per channel: above zero, that many PDUs may go; zero, the channel is
// closed until an event gives credit; below zero, no flow control. Channels 2
// (vendor) and 5 (HCI commands) start with one token, channel 6 (ACL) with none
// until the reply to Read Buffer Size, every other with -10.
//
// Locks: each Regulator and each Collector has its own, taken one at a time;
// the work box's mutex lies below them. The tracker's lock is a leaf.
#pragma once

#include <cstdint>
#include <deque>
#include <map>

#include "enginefw/counted.h"
#include "enginefw/signal_box.h"
#include "enginefw/threadable.h"
#include "link/phys/h4/h4transport.h"
#include "link/phys/transportimplementation/transport.h"
#include "pdu/pdu.h"

enum ResetType { hci_reset = 0, cold_reset = 1, warm_reset = 2 };

class TesselDeviceController {
public:
    class Implementation;

    virtual ~TesselDeviceController() = default;
    virtual Implementation* getImplementation() const = 0;

    // True once the transport has said so; the answer is cached.
    bool isTransportReady(unsigned long ms);
    bool startTransport();
    // A reset past the queues: HCI Reset, or the cold or warm vendor reset.
    // False for another type.
    bool forceReset(unsigned long ms, ResetType type);
    void setDataWatch(DataWatcher* watcher);
    // One pass of checkQueues; false once the controller is stopping.
    bool doWork();
    // Starts the worker, which runs waitForWork.
    void createWorker();
    void waitForWork();
    int SleepControl(SleepType type);
    int PingPeriod(int period);
    int reconfigure_uart_baudrate(unsigned long rate);
    bool sendRawAny(PDU::ts_channel channel, const unsigned char* data, unsigned long length, bool queued);
};

class TesselDeviceController_newStyle : public TesselDeviceController {
public:
    class Implementation;

    // The layer above: every PDU no callback takes, and link failures.
    class CallBackProvider {
    public:
        virtual void onPDU(const PDU& pdu) = 0;
        virtual void onTransportFailure(FailureMode mode) = 0;

    protected:
        ~CallBackProvider() = default;
    };

    // Takes the one reply that arrives on its channel after its PDU went.
    class PDUCallBack : public SafeCounter {
    public:
        ~PDUCallBack() override = default;
        virtual void operator()(const PDU& pdu) = 0;
    };

    // One queue entry.
    struct sae {
        sae(const PDU& p, const CountedPointer<PDUCallBack>& c) : pdu(p), callback(c) {}
        PDU pdu;
        CountedPointer<PDUCallBack> callback;
    };

    // The transport is made from the configuration at once.
    TesselDeviceController_newStyle(const TransportConfiguration& configuration, CallBackProvider& provider);
    // Stops the transports and the worker, then frees everything.
    ~TesselDeviceController_newStyle() override;
    TesselDeviceController_newStyle(const TesselDeviceController_newStyle&) = delete;
    TesselDeviceController_newStyle& operator=(const TesselDeviceController_newStyle&) = delete;

    TesselDeviceController::Implementation* getImplementation() const override;

    // A second host on the same chip; false if there is one already.
    bool offerConnection(const TransportConfiguration& configuration);
    // Queued: onto the channel's queue, but for the commands that answer the
    // chip, which go at once. Not queued: straight to the transport. True always.
    bool send(const sae& entry, bool queued);
    bool send(const PDU& pdu, bool queued);
    bool purge_channel(PDU::ts_channel channel);
    bool sendUp(const PDU& pdu);
    unsigned long getSizeOfDataWaitingOnHandle(unsigned short handle);
    unsigned long pendingItemCountOnRegulator();

private:
    Implementation* mImpl;
};

// The null callback: the reply goes to the provider.
extern const CountedPointer<TesselDeviceController_newStyle::PDUCallBack> no_call_back;

// A second public face on the same implementation, over an H4 configuration.
class TCIphys : public TesselDeviceController {
public:
    TCIphys(const H4Configuration& configuration, TesselDeviceController_newStyle::CallBackProvider& provider);
    ~TCIphys() override;
    TCIphys(const TCIphys&) = delete;
    TCIphys& operator=(const TCIphys&) = delete;

    TesselDeviceController::Implementation* getImplementation() const override;
    bool sendCommand(const PDU& pdu);
    bool sendACL(const PDU& pdu);
    bool sendSCO(const PDU& pdu);
    bool sendEvent(const PDU& pdu);

private:
    TesselDeviceController_newStyle::Implementation* mImpl;
};
