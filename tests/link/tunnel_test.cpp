// Vendor channels through HCI: fragments on the way down, reassembly on the way up.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "link/phys/transportimplementation/transport.h"
#include "support/wire.h"

namespace {

using testwire::Bytes;
using testwire::FromHex;

// A transport that keeps what it is asked to send and hands up what it is given.
class Loopback : public TesselTransportImplementation, public TesselTransportCallBack {
public:
    explicit Loopback(bool tunnelling)
        : TesselTransportImplementation("Loopback", CallBacks{this, nullptr}, tunnelling) {}
    bool start() override { return true; }
    bool ready(unsigned long) override { return true; }
    void stop() override {}
    void setDataWatch(DataWatcher*) override {}
    void sendpdu(const PDU& pdu) override {
        if (pdu.channel() == PDU::hci_channel) {
            sent.push_back(Bytes(pdu.data(), pdu.data() + pdu.size()));
        } else {
            sendTunnel(pdu);
        }
    }
    void onPDU(PDU::ts_channel channel, const unsigned char* data, unsigned int length) override {
        up.push_back({channel, Bytes(data, data + length)});
    }
    void Receive(const Bytes& event) { recvData(PDU::hci_channel, event.data(), static_cast<unsigned>(event.size())); }
    // A PDU as a chip sends it up: events of at most 253 payload bytes, since
    // an event's parameters are at most 255 bytes long.
    void ReceiveAsEvents(uint8_t channel, const Bytes& payload) {
        for (size_t at = 0; at < payload.size(); at += 253) {
            const size_t n = std::min<size_t>(253, payload.size() - at);
            const uint8_t descriptor = static_cast<uint8_t>(channel | (at == 0 ? 0x40 : 0) |
                                                            (at + n == payload.size() ? 0x80 : 0));
            Bytes event = {0xFF, static_cast<uint8_t>(n + 2), 0x42, descriptor};
            event.insert(event.end(), payload.begin() + at, payload.begin() + at + n);
            Receive(event);
        }
    }

    std::vector<Bytes> sent;
    std::vector<std::pair<PDU::ts_channel, Bytes>> up;
};

Bytes Counting(size_t n) {
    Bytes b(n);
    for (size_t i = 0; i < n; ++i) b[i] = static_cast<uint8_t>(i * 7 + 1);
    return b;
}

TEST(Tunnel, PayloadsGoDownInFragmentsAndComeBackWhole) {
    struct Row {
        size_t size;
        std::vector<std::string> heads;  // opcode, length and descriptor of each fragment
    } rows[] = {
        {0, {}},
        {254, {"00 fc ff c2"}},
        {255, {"00 fc ff 42", "00 fc 02 82"}},
        {510, {"00 fc ff 42", "00 fc ff 02", "00 fc 03 82"}},
    };
    for (const Row& r : rows) {
        SCOPED_TRACE(r.size);
        Loopback link(true);
        const Bytes payload = Counting(r.size);
        link.sendpdu(PDU(PDU::tscmd_channel, payload.data(), payload.size()));
        ASSERT_EQ(link.sent.size(), r.heads.size());
        for (size_t i = 0; i < r.heads.size(); ++i) {
            EXPECT_EQ(testwire::ToHex(Bytes(link.sent[i].begin(), link.sent[i].begin() + 4)), r.heads[i]);
        }
        link.ReceiveAsEvents(2, payload);
        if (r.size == 0) {
            EXPECT_TRUE(link.up.empty());
            continue;
        }
        ASSERT_EQ(link.up.size(), 1u);
        EXPECT_EQ(link.up[0].first, PDU::tscmd_channel);
        EXPECT_EQ(link.up[0].second, payload);
    }
}

TEST(Tunnel, EventsThatAreNoWholeTunnelPacketAreTakenAsTheyCome) {
    Loopback link(true);
    link.Receive(FromHex("ff 03 41 01 02"));          // no marker: an ordinary event
    link.Receive(FromHex("ff 01 42"));                 // a marker and no descriptor: dropped
    link.Receive(FromHex("ff 04 42 43 aa bb"));        // channel 3 started, interleaved with
    link.Receive(FromHex("ff 03 42 c2 01"));           // a whole PDU on channel 2
    link.Receive(FromHex("ff 03 42 83 cc"));           // channel 3 ends
    link.Receive(FromHex("ff 03 42 85 dd"));           // an end for a channel never started
    link.Receive(FromHex("ff 03 42 83 ee"));           // a stray end: appended to what was there
    const std::vector<std::pair<PDU::ts_channel, std::string>> want = {
        {PDU::hci_channel, "ff 03 41 01 02"}, {PDU::tscmd_channel, "01"},
        {PDU::hq_channel, "aa bb cc"},        {static_cast<PDU::ts_channel>(5), "dd"},
        {PDU::hq_channel, "aa bb cc ee"}};
    ASSERT_EQ(link.up.size(), want.size());
    for (size_t i = 0; i < want.size(); ++i) {
        EXPECT_EQ(link.up[i].first, want[i].first) << i;
        EXPECT_EQ(testwire::ToHex(link.up[i].second), want[i].second) << i;
    }
}

}  // namespace
