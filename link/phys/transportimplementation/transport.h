// The protocol-independent layer between the device controller and a concrete
// transport: the configuration that makes a transport, the handle the
// controller holds, and the base of every transport with what all of them
// share: the signal that a packet has gone, and the tunnelling of vendor
// channels through HCI with its 64 reassembly buffers.
//
// Tunnel fragment, host to device: an HCI command 0xFC00 whose parameters are
// a descriptor byte and up to 254 payload bytes. Device to host: an HCI event
// 0xFF whose parameters are the marker 0x42, the descriptor and the payload.
// Descriptor: bits 0-5 the channel, bit 6 first fragment, bit 7 last.
#pragma once

#include <cstdint>
#include <cwchar>
#include <vector>

#include "enginefw/counted.h"
#include "enginefw/nocopy.h"
#include "enginefw/signal_box.h"
#include "pdu/pdu.h"

class DataWatcher;

enum FailureMode {
    sync_lost = 3,
    uart_died = 4,
};

// Not used by any transport here.
enum SleepType { sleep_none = 0 };

class TesselTransportCallBack : private NoCopy {
public:
    virtual ~TesselTransportCallBack() = default;
    // A whole PDU; the bytes are valid only during the call.
    virtual void onPDU(PDU::ts_channel channel, const unsigned char* data, unsigned int length) = 0;
};

class TesselTransportFailure : private NoCopy {
public:
    virtual ~TesselTransportFailure() = default;
    virtual void onFail(FailureMode mode) = 0;
};

struct CallBacks {
    TesselTransportCallBack* data = nullptr;
    TesselTransportFailure* failure = nullptr;
};

class TesselTransportImplementation;

class TransportConfiguration : public Counted<TransportConfiguration> {
public:
    enum Protocol { h4 = 3 };

    virtual ~TransportConfiguration() = default;
    virtual operator Protocol() const = 0;
    virtual TransportConfiguration* clone() const = 0;
    virtual TesselTransportImplementation* make(const CallBacks& callbacks) const = 0;
    virtual bool nameIsWide() const = 0;
    virtual const char* getNameA() const = 0;
    virtual const wchar_t* getNameW() const = 0;
    virtual const char* getName(const char*& name) const = 0;
    virtual const wchar_t* getName(const wchar_t*& name) const = 0;
};

class TesselTransportImplementation : private NoCopy {
public:
    static const unsigned kTunnelChannels = 64;
    static const unsigned kMaxFragmentPayload = 254;
    static const uint16_t kTunnelOpcode = 0xFC00;
    static const uint8_t kTunnelEvent = 0xFF;
    static const uint8_t kTunnelMarker = 0x42;
    // The most a reassembly buffer gathers before it is dropped.
    static const unsigned long kMaxReassembly = 65536;

    TesselTransportImplementation(const char* name, const CallBacks& callbacks, bool tunnelling);
    virtual ~TesselTransportImplementation();

    virtual bool start() = 0;
    virtual bool ready(unsigned long ms) = 0;
    virtual void stop() = 0;
    // A transport that cannot carry a packet of some size says so here; the
    // tunnel then shrinks its fragments a byte at a time.
    virtual bool pdu_size_forbidden(const PDU&) { return false; }
    virtual void sendpdu(const PDU& pdu) = 0;
    // Sends and waits up to ms for the packet to have gone (or to have died
    // unsent); a second caller queues behind the first. No result is reported.
    virtual void blockUntilSentPdu(const PDU& pdu, unsigned long ms);
    virtual void setDataWatch(DataWatcher* watcher) = 0;
    virtual int SleepControl(SleepType) { return 0; }
    virtual int PingPeriod(int) { return 0; }
    virtual int set_sco_bandwidth(int) { return 0; }
    virtual int reconfigure_uart_baudrate(unsigned long) { return 0; }

    const char* getName() const { return mName; }
    void onLinkFail(FailureMode mode);

protected:
    // Splits a vendor-channel PDU into tunnel fragments, each through sendpdu.
    void sendTunnel(const PDU& pdu);
    // A tunnel event is reassembled; anything else on channel 5 goes up as it is.
    void recvTunnel(const unsigned char* data, unsigned int length);
    void recvData(PDU::ts_channel channel, const unsigned char* data, unsigned int length);
    // Set when a packet handed to the concrete transport has gone.
    SignalBox::Item& SentItem() { return mSentItem; }

private:
    const char* mName;
    void* mLock;
    SignalBox mSentBox;
    CallBacks mCallbacks;
    SignalBox::Item mSentItem;
    unsigned long mUnused = 0;
    bool mTunnelling;
    std::vector<unsigned char> mReassembly[kTunnelChannels];
};

// The handle the device controller holds; owns its implementation.
class TesselTransport : private NoCopy {
public:
    TesselTransport(const TransportConfiguration& configuration, const CallBacks& callbacks)
        : mImpl(configuration.make(callbacks)) {}
    ~TesselTransport() { delete mImpl; }

    bool start() { return mImpl->start(); }
    bool ready(unsigned long ms) { return mImpl->ready(ms); }
    void stop() { mImpl->stop(); }
    void sendpdu(const PDU& pdu) { mImpl->sendpdu(pdu); }
    void blockUntilSentPdu(const PDU& pdu, unsigned long ms) { mImpl->blockUntilSentPdu(pdu, ms); }
    void setDataWatch(DataWatcher* watcher) { mImpl->setDataWatch(watcher); }
    int set_sco_bandwidth(int bandwidth) { return mImpl->set_sco_bandwidth(bandwidth); }
    int reconfigure_uart_baudrate(unsigned long rate) { return mImpl->reconfigure_uart_baudrate(rate); }
    const char* getName() const { return mImpl->getName(); }

private:
    TesselTransportImplementation* mImpl;
};
