// Fuzz target for the receive side of the Bluetooth link: the H4 receive
// machine fed arbitrary bytes in arbitrary splits, with the vendor tunnel's
// reassembly behind it. Every packet the machine delivers must be whole: the
// length its header declares, header included; every PDU the tunnel delivers
// must fit its reassembly bound.
#include <cstddef>
#include <cstdint>
#include <cstdlib>

#include "link/phys/h4/h4_rx_machine.h"
#include "link/phys/transportimplementation/transport.h"

namespace {

class Sink : public TesselTransportImplementation, public TesselTransportCallBack {
public:
    Sink() : TesselTransportImplementation("fuzz", CallBacks{this, nullptr}, true) {}
    bool start() override { return true; }
    bool ready(unsigned long) override { return true; }
    void stop() override {}
    void sendpdu(const PDU&) override {}
    void setDataWatch(DataWatcher*) override {}
    void onPDU(PDU::ts_channel channel, const unsigned char* data, unsigned int length) override {
        if (channel > 63 || length > kMaxReassembly || (length > 0 && data == nullptr)) std::abort();
    }
    void Up(PDU::ts_channel channel, const unsigned char* data, unsigned int length) {
        recvData(channel, data, length);
    }
};

class Checker : public H4RxMachine::Receiver {
public:
    explicit Checker(Sink& sink) : sink_(sink) {}
    void onPacket(H4RxMachine::Indicator kind, unsigned char* data, unsigned int length) override {
        unsigned int declared = 0;
        switch (kind) {
        case H4RxMachine::event:
            declared = 2u + data[1];
            break;
        case H4RxMachine::acl:
            declared = 4u + (data[2] | static_cast<unsigned>(data[3]) << 8);
            break;
        case H4RxMachine::sco:
            declared = 3u + data[2];
            break;
        default:
            std::abort();  // commands never arrive at the host end
        }
        if (length != declared) std::abort();
        sink_.Up(kind == H4RxMachine::acl ? PDU::acl_channel : kind == H4RxMachine::sco ? PDU::sco_channel
                                                                                        : PDU::hci_channel,
                 data, length);
    }
    void onSyncLoss() override {}

private:
    Sink& sink_;
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    if (size == 0) return 0;
    // The first byte steers the sizes of the pieces the bytes arrive in.
    uint32_t steer = data[0] * 2654435761u + 1;
    Sink sink;
    Checker checker(sink);
    H4RxMachine machine;
    size_t at = 1;
    while (at < size) {
        steer = steer * 1103515245u + 12345u;
        size_t piece = 1 + (steer >> 16) % 300;
        if (piece > size - at) piece = size - at;
        machine.Feed(data + at, piece, checker);
        at += piece;
    }
    return 0;
}
