// The H4 transport: PDUs to queue entries of the serial daemon, and packets
// from the chip to the transport's receiving path. Channels 5, 6, 7, 46 and 47
// go out as they are (46 and 47 without an indicator); every other channel
// is tunnelled through HCI. Commands and events both arrive as channel 5.
#pragma once

#include "link/phys/h4/h4stack.h"
#include "link/phys/posix/uart/uart.h"
#include "link/phys/transportimplementation/transport.h"

class H4Transport : public TesselTransportImplementation {
public:
    H4Transport(const CountedPointer<UARTAbstraction>& uart, const CallBacks& callbacks, bool tunnelling);
    ~H4Transport() override;

    // Starts the daemon, then installs the failure callbacks: garbage in the
    // very first moment is reported by a printed line, not by a callback.
    bool start() override;
    bool ready(unsigned long ms) override { return mStack.ready(ms); }
    void stop() override { mStack.Stop(); }
    void sendpdu(const PDU& pdu) override;
    void setDataWatch(DataWatcher* watcher) override { mStack.setDataWatch(watcher); }

private:
    struct Pair {
        H4Transport* transport;
        PDU::ts_channel channel;
    };

    void init();
    static void onPacketSent(bool sent, void* context);
    static void onPacketFromChip(unsigned char* data, unsigned int length, void* context);
    static void onUartDies(void* context);
    static void onSyncLoss(void* context);
    void processPacketFromChip(PDU::ts_channel channel, unsigned char* data, unsigned int length);

    H4Stack mStack;
    Pair mHci{this, PDU::hci_channel};
    Pair mAcl{this, PDU::acl_channel};
    Pair mSco{this, PDU::sco_channel};
};

class BaseH4Configuration : public TransportConfiguration {
public:
    BaseH4Configuration(const UARTConfiguration& uart, bool tunnel) : mTunnel(tunnel ? 1 : 0), mUart(uart) {}
    bool nameIsWide() const override { return mUart.nameIsWide(); }
    const char* getNameA() const override { return mUart.getNameA(); }
    const wchar_t* getNameW() const override { return mUart.getNameW(); }
    const char* getName(const char*& name) const override { return mUart.getName(name); }
    const wchar_t* getName(const wchar_t*& name) const override { return mUart.getName(name); }

protected:
    uint32_t mTunnel;
    UARTConfiguration mUart;
};

class H4Configuration : public BaseH4Configuration {
public:
    // No parity, one stop bit, hardware flow control.
    H4Configuration(const char* device, int baud, bool tunnel);
    H4Configuration(const wchar_t* device, int baud, bool tunnel);
    H4Configuration(UARTConfiguration& uart, bool tunnel) : BaseH4Configuration(uart, tunnel) {}

    operator Protocol() const override { return h4; }
    // A copy that shares the port configuration.
    TransportConfiguration* clone() const override { return new H4Configuration(*this); }
    TesselTransportImplementation* make(const CallBacks& callbacks) const override;
};
