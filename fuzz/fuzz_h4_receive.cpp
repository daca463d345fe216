// Fuzz target for the receive side of the Bluetooth link: the H4 receive
// machine with the transport's tunnel reassembly behind it, fed the same
// bytes three ways: whole in one Feed, in pieces of random sizes through
// Feed, and as the serial daemon reads them (short reads and failed reads of
// no bytes into the buffer the machine names).
//
// What must hold: all three deliver the same PDUs on the same channels and
// report the same losses of sync, in the same order. Every packet the machine
// delivers is whole, the length its header declares, header included, and
// never a command at the host end; every PDU the tunnel delivers is on a
// channel of its six bits and within its reassembly bound.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <vector>

#include "fuzz/fuzz_check.h"
#include "link/phys/h4/h4_rx_machine.h"
#include "link/phys/transportimplementation/transport.h"

namespace {

// What came out, in order: a PDU (channel and bytes) or a loss of sync.
struct Delivery {
    bool syncLoss;
    unsigned channel;
    std::vector<unsigned char> bytes;
    bool operator==(const Delivery& other) const {
        return syncLoss == other.syncLoss && channel == other.channel && bytes == other.bytes;
    }
};

class Sink : public TesselTransportImplementation, public TesselTransportCallBack {
public:
    Sink() : TesselTransportImplementation("fuzz", CallBacks{this, nullptr}, true) {}
    bool start() override { return true; }
    bool ready(unsigned long) override { return true; }
    void stop() override {}
    void sendpdu(const PDU&) override {}
    void setDataWatch(DataWatcher*) override {}
    void onPDU(PDU::ts_channel channel, const unsigned char* data, unsigned int length) override {
        FUZZ_CHECK(channel <= 63 && length <= kMaxReassembly && (length == 0 || data != nullptr));
        deliveries.push_back(Delivery{false, channel, std::vector<unsigned char>(data, data + length)});
    }
    void Up(PDU::ts_channel channel, const unsigned char* data, unsigned int length) {
        recvData(channel, data, length);
    }
    std::vector<Delivery> deliveries;
};

class Checker : public H4RxMachine::Receiver {
public:
    explicit Checker(Sink& sink) : sink_(sink) {}
    void onPacket(H4RxMachine::Indicator kind, unsigned char* data, unsigned int length) override {
        unsigned int declared = 0;
        PDU::ts_channel channel = PDU::hci_channel;
        switch (kind) {
        case H4RxMachine::event:
            declared = 2u + data[1];
            break;
        case H4RxMachine::acl:
            declared = 4u + (data[2] | static_cast<unsigned>(data[3]) << 8);
            channel = PDU::acl_channel;
            break;
        case H4RxMachine::sco:
            declared = 3u + data[2];
            channel = PDU::sco_channel;
            break;
        default:
            FUZZ_CHECK(false);  // commands never arrive at the host end
        }
        FUZZ_CHECK(length == declared);
        sink_.Up(channel, data, length);
    }
    void onSyncLoss() override { sink_.deliveries.push_back(Delivery{true, 0, {}}); }

private:
    Sink& sink_;
};

struct Random {
    uint32_t state;
    uint32_t Next() {
        state = state * 1103515245u + 12345u;
        return state >> 16;
    }
};

std::vector<Delivery> Whole(const unsigned char* bytes, size_t size) {
    Sink sink;
    Checker checker(sink);
    H4RxMachine machine;
    machine.Feed(bytes, size, checker);
    return sink.deliveries;
}

std::vector<Delivery> Pieces(const unsigned char* bytes, size_t size, Random random) {
    Sink sink;
    Checker checker(sink);
    H4RxMachine machine;
    size_t at = 0;
    while (at < size) {
        size_t piece = 1 + random.Next() % (random.Next() % 2 == 0 ? 8 : 300);
        if (piece > size - at) piece = size - at;
        machine.Feed(bytes + at, piece, checker);
        at += piece;
    }
    return sink.deliveries;
}

std::vector<Delivery> Daemon(const unsigned char* bytes, size_t size, Random random) {
    Sink sink;
    Checker checker(sink);
    H4RxMachine machine;
    size_t at = 0;
    while (at < size) {
        const unsigned long asked = machine.NextReadLength();
        FUZZ_CHECK(asked > 0 && asked <= H4RxMachine::kMaximumRead);
        const uint32_t roll = random.Next();
        unsigned long count = roll % 8 == 0 ? 0 : 1 + roll / 8 % asked;  // now and then a read that failed
        if (count > size - at) count = size - at;
        if (count > 0) std::memcpy(machine.NextReadBuffer(), bytes + at, count);
        machine.Completed(count, checker);
        at += count;
    }
    return sink.deliveries;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    if (size == 0 || size > 65536) return 0;
    // The first byte seeds the sizes of the pieces; the rest is the line.
    const Random random{data[0] * 2654435761u + 1};
    const unsigned char* bytes = data + 1;
    const size_t length = size - 1;
    const std::vector<Delivery> whole = Whole(bytes, length);
    FUZZ_CHECK(Pieces(bytes, length, random) == whole);
    FUZZ_CHECK(Daemon(bytes, length, random) == whole);
    return 0;
}
