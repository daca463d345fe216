// The device controller and its scheduler, driven pass by pass over a transport
// that records what it is given: the credit rules of each channel and the
// chip's requests answered. ACL credit given back by completed packets, with
// the worker running, is in controller_e2e_test.cpp.
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
    std::vector<std::string> sent;
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
    void onPDU(const PDU&) override {}
    void onTransportFailure(FailureMode) override {}
};

// Steps: "q CH HEX" queues, "in CH HEX" arrives from the chip, "pass" runs
// one pass.
void Steps(TesselDeviceController_newStyle& controller, Record& r, const std::vector<std::string>& steps) {
    for (const std::string& step : steps) {
        std::istringstream in(step);
        std::string verb, hex;
        unsigned channel = 0;
        in >> verb >> channel;
        std::getline(in, hex);  // the rest: hex, spaces allowed
        if (verb == "pass") {
            controller.doWork();
        } else if (verb == "q") {
            controller.send(Make(channel, hex), true);
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
        {"Command Status gives the credit back",
         {"in 5 0e0400011000", "q 5 091000", "pass", "in 5 0f0400010000", "pass", "pass"}, {"5:091000"}},
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
        Provider provider;
        TesselDeviceController_newStyle controller(RecordingConfiguration(r), provider);
        Steps(controller, r, row.steps);
        EXPECT_EQ(r.sent, row.sent);
    }
}

}  // namespace
