// The device controller and its scheduler, driven pass by pass over a transport
// that records what it is given: the credit rules, reply routing, SCO and ACL
// bookkeeping. Credit given back by Command Status and by completed packets,
// with the worker running, is in controller_e2e_test.cpp.
#include <gtest/gtest.h>

#include <algorithm>
#include <sstream>
#include <string>
#include <vector>

#include "link/devicecontroller.h"
#include "support/wire.h"

namespace {

using testwire::Bytes;

std::string Text(const PDU& pdu) {
    std::string hex = testwire::ToHex(Bytes(pdu.data(), pdu.data() + pdu.size()));
    hex.erase(std::remove(hex.begin(), hex.end(), ' '), hex.end());
    return std::to_string(pdu.channel()) + ":" + hex;
}

PDU Make(unsigned channel, const std::string& hex) {
    const Bytes b = testwire::FromHex(hex);
    return PDU(static_cast<PDU::ts_channel>(channel), b.data(), b.size());
}

struct Record {
    std::vector<std::string> sent, provider;
    std::vector<int> bandwidth;
    CallBacks callbacks;
};

class RecordingTransport : public TesselTransportImplementation {
public:
    RecordingTransport(const CallBacks& c, Record& r) : TesselTransportImplementation("rec", c, true), r_(r) {
        r_.callbacks = c;
    }
    bool start() override { return true; }
    bool ready(unsigned long) override { return true; }
    void stop() override {}
    void sendpdu(const PDU& pdu) override { r_.sent.push_back(Text(pdu)); }
    void setDataWatch(DataWatcher*) override {}
    int set_sco_bandwidth(int b) override { return r_.bandwidth.push_back(b), 0; }

private:
    Record& r_;
};

class RecordingConfiguration : public TransportConfiguration {
public:
    explicit RecordingConfiguration(Record& r) : r_(r) {}
    operator Protocol() const override { return h4; }
    TransportConfiguration* clone() const override { return new RecordingConfiguration(r_); }
    TesselTransportImplementation* make(const CallBacks& c) const override { return new RecordingTransport(c, r_); }
    bool nameIsWide() const override { return false; }
    const char* getNameA() const override { return "rec"; }
    const wchar_t* getNameW() const override { return nullptr; }
    const char* getName(const char*& n) const override { return n = "rec"; }
    const wchar_t* getName(const wchar_t*& n) const override { return n = nullptr; }

private:
    Record& r_;
};

struct Provider : TesselDeviceController_newStyle::CallBackProvider {
    explicit Provider(Record& r) : r_(r) {}
    void onPDU(const PDU& pdu) override { r_.provider.push_back(Text(pdu)); }
    void onTransportFailure(FailureMode) override {}
    Record& r_;
};

struct Catcher : TesselDeviceController_newStyle::PDUCallBack {
    explicit Catcher(std::vector<std::string>& got) : got_(got) {}
    void operator()(const PDU& pdu) override { got_.push_back(Text(pdu)); }
    std::vector<std::string>& got_;
};

// Steps: "q CH HEX" queues, "d CH HEX" sends directly, "in CH HEX" arrives from
// the chip, "pass" runs one pass, "cb CH HEX" queues with a callback.
void Steps(TesselDeviceController_newStyle& controller, Record& r, const std::vector<std::string>& steps,
         std::vector<std::string>& caught) {
    for (const std::string& step : steps) {
        std::istringstream in(step);
        std::string verb, hex;
        unsigned channel = 0;
        in >> verb >> channel;
        std::getline(in, hex);  // the rest: hex, spaces allowed
        if (verb == "pass") {
            controller.doWork();
        } else if (verb == "q" || verb == "d") {
            controller.send(Make(channel, hex), verb == "q");
        } else if (verb == "cb") {
            controller.send({Make(channel, hex), CountedPointer<TesselDeviceController_newStyle::PDUCallBack>(
                                                     new Catcher(caught))},
                            true);
        } else if (verb == "in") {
            const Bytes b = testwire::FromHex(hex);
            r.callbacks.data->onPDU(static_cast<PDU::ts_channel>(channel), b.data(), static_cast<unsigned>(b.size()));
        }
    }
}

TEST(Scheduler, PacketsFlowByTheCreditRules) {
    struct Row {
        const char* name;
        std::vector<std::string> steps;
        std::vector<std::string> sent;
    } rows[] = {
        {"a second command waits for the first one's Command Complete",
         {"q 5 011000", "q 5 091000", "pass", "pass", "in 5 0e0401011000", "pass", "pass"}, {"5:011000", "5:091000"}},
        {"zero credit closes the channel until code 25 opens it",
         {"in 5 0e0400011000", "pass", "q 5 011000", "pass", "pass", "in 5 1900", "pass", "pass"}, {"5:011000"}},
        {"HCI Reset goes at once whatever the credit", {"q 5 011000", "q 5 091000", "q 5 030c00"}, {"5:030c00"}},
        {"ACL waits for the buffer size; a failed reply gives none",
         {"q 6 40000100aa", "pass", "in 5 0e0b01051001fd03400800080 0", "pass",
          "in 5 0e0b01051000fd034002000800", "pass", "q 6 40000100bb", "q 6 40000100cc", "pass"},
         {"6:40000100aa", "6:40000100bb"}},
        {"the first buffer size wins", {"in 5 0e0b01051000fd034001000800", "in 5 0e07010220 00fb0009", "pass",
                                        "q 6 400001 00aa", "q 6 40000100bb", "pass"},
         {"6:40000100aa"}},
        {"eleven PDUs on an open channel take two passes",
         {"q 9 01", "q 9 02", "q 9 03", "q 9 04", "q 9 05", "q 9 06", "q 9 07", "q 9 08", "q 9 09", "q 9 0a",
          "q 9 0b", "pass"},
         {"9:01", "9:02", "9:03", "9:04", "9:05", "9:06", "9:07", "9:08"}},
        {"a request from the chip on channel 3 is answered with itself",
         {"in 3 0200090001000000000000000000000000 00", "pass", "pass"}, {"3:010009000100000000000000000000000000"}},
        {"channel 64 and above go straight to the transport", {"q 70 ab"}, {"70:ab"}},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.name);
        Record r;
        Provider provider(r);
        TesselDeviceController_newStyle controller(RecordingConfiguration(r), provider);
        std::vector<std::string> caught;
        Steps(controller, r, row.steps, caught);
        EXPECT_EQ(r.sent, row.sent);
    }
}

TEST(Scheduler, AReplyGoesToItsCommandsCallbackOnceThenToTheProvider) {
    Record r;
    Provider provider(r);
    TesselDeviceController_newStyle controller(RecordingConfiguration(r), provider);
    std::vector<std::string> caught;
    Steps(controller, r, {"cb 2 aa", "pass", "in 2 01", "in 2 02", "pass"}, caught);
    EXPECT_EQ(caught, (std::vector<std::string>{"2:01"}));
    EXPECT_EQ(r.provider, (std::vector<std::string>{"2:02"}));
    EXPECT_FALSE(controller.purge_channel(PDU::tscmd_channel));
    Steps(controller, r, {"q 2 cc", "q 2 dd"}, caught);
    EXPECT_EQ(controller.pendingItemCountOnRegulator(), 2u);
    EXPECT_TRUE(controller.purge_channel(PDU::tscmd_channel));
    EXPECT_EQ(controller.pendingItemCountOnRegulator(), 0u);
    EXPECT_FALSE(controller.forceReset(100, static_cast<ResetType>(3)));
    EXPECT_TRUE(controller.forceReset(100, cold_reset));
    EXPECT_EQ(r.sent.back(), "2:020009004d0e014000000000000000000000");
}

TEST(Scheduler, ConnectionsKeepTheirAclBytesAndScoBandwidth) {
    Record r;
    Provider provider(r);
    TesselDeviceController_newStyle controller(RecordingConfiguration(r), provider);
    std::vector<std::string> caught;
    // An ACL link, then a voice setting without bit 5 (8-bit samples: 8000 a
    // link), then a SCO link.
    Steps(controller, r,
        {"in 5 030b0040000000000000000100", "in 5 0e0601250c004000", "in 5 030b0041000000000000000200", "pass",
         "q 6 40000300aabbcc", "q 6 77000200aabb"},
        caught);
    EXPECT_EQ(controller.getSizeOfDataWaitingOnHandle(0x40), 3u);
    EXPECT_EQ(controller.getSizeOfDataWaitingOnHandle(0x77), 0u);  // not a connection
    // Disconnections: the ACL link's bytes are forgotten, the SCO link's bandwidth given back.
    Steps(controller, r, {"in 5 0504004000 13", "in 5 0504004100 13", "pass"}, caught);
    EXPECT_EQ(controller.getSizeOfDataWaitingOnHandle(0x40), 0u);
    EXPECT_EQ(r.bandwidth, (std::vector<int>{8000, 0}));
}

}  // namespace
