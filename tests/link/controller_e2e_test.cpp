// The serial link against the simulated controller on its pseudo-terminal:
// the transport alone with HCI commands, raw packets and tunnelled vendor
// PDUs both ways; then the device controller with its worker over it, credit
// as the chip gives it, and teardown in the middle of the traffic. Garbage on
// the line and a line that hangs up in the middle of a packet are
// tests/campaign's.
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <memory>
#include <mutex>
#include <vector>

#include "enginefw/threadable.h"
#include "link/devicecontroller.h"
#include "link/phys/h4/h4transport.h"
#include "pdu/pcpdu.h"
#include "support/sim_env.h"
#include "support/wire.h"

namespace {

using namespace std::chrono_literals;
using testwire::Bytes;
using testwire::FromHex;

// What comes up the link, and how many failures it reported.
class Upstairs : public TesselTransportCallBack, public TesselTransportFailure {
public:
    void onPDU(PDU::ts_channel channel, const unsigned char* data, unsigned int length) override {
        std::lock_guard<std::mutex> hold(mutex_);
        pdus_.push_back({channel, Bytes(data, data + length)});
    }
    void onFail(FailureMode) override { ++failures; }
    std::vector<std::pair<PDU::ts_channel, Bytes>> Pdus() {
        std::lock_guard<std::mutex> hold(mutex_);
        return pdus_;
    }
    std::atomic<int> failures{0};

private:
    std::mutex mutex_;
    std::vector<std::pair<PDU::ts_channel, Bytes>> pdus_;
};

TEST(LinkE2e, CommandsRawPacketsAndVendorPdusGoBothWays) {
    testsupport::SimEnv sim;
    Upstairs up;
    auto transport = std::make_unique<TesselTransport>(H4Configuration("/dev/tavo_h4_0", 3000000, true),
                                                       CallBacks{&up, &up});
    ASSERT_TRUE(transport->start());
    const auto waitForPdus = [&](size_t n) {
        return testsupport::WaitUntil([&] { return up.Pdus().size() >= n; }, 5s);
    };
    const Bytes reset = FromHex("03 0c 00");
    transport->blockUntilSentPdu(PDU(PDU::hci_channel, reset.data(), reset.size()), 1000);
    ASSERT_TRUE(waitForPdus(1));
    EXPECT_EQ(up.Pdus()[0].first, PDU::hci_channel);
    EXPECT_EQ(testwire::ToHex(up.Pdus()[0].second), "0e 04 01 03 0c 00");

    // A vendor request of 300 bytes goes down in two fragments and its answer
    // comes up reassembled.
    TSCMD_PDU request(0x1001, 300);
    request.set_req_type(2);
    request.set_seq_no(9);
    transport->sendpdu(request);
    ASSERT_TRUE(waitForPdus(2));
    const auto [channel, reply] = up.Pdus()[1];
    EXPECT_EQ(channel, PDU::tscmd_channel);
    ASSERT_EQ(reply.size(), 300u);
    EXPECT_EQ(testwire::ToHex(Bytes(reply.begin(), reply.begin() + 10)), "01 00 96 00 09 00 01 10 00 00");
    EXPECT_TRUE(sim.Sim().Log().Contains("btctl: vendor PDU of 300 bytes on channel 2"));

    // A raw packet goes without an indicator: these bytes are a whole command.
    const Bytes raw = FromHex("01 03 0c 00");
    transport->sendpdu(PDU(PDU::raw_channel, raw.data(), raw.size()));
    ASSERT_TRUE(waitForPdus(3));
    EXPECT_EQ(testwire::ToHex(up.Pdus()[2].second), "0e 04 01 03 0c 00");
    EXPECT_EQ(up.failures, 0);
    transport.reset();
    EXPECT_EQ(Threadable::ForcedKills(), 0u);
}


struct Counting : TesselDeviceController_newStyle::CallBackProvider {
    void onPDU(const PDU&) override { ++pdus; }
    void onTransportFailure(FailureMode) override { ++failures; }
    std::atomic<int> pdus{0};
    std::atomic<int> failures{0};
};

class ControllerE2e : public ::testing::Test {
protected:
    void Open() {
        controller_ = std::make_unique<TesselDeviceController_newStyle>(
            H4Configuration("/dev/tavo_h4_0", 3000000, true), provider_);
        ASSERT_TRUE(controller_->startTransport());
        controller_->createWorker();
    }
    void TearDown() override {
        controller_.reset();
        EXPECT_EQ(Threadable::ForcedKills(), 0u);
    }
    void Command(uint16_t opcode) {
        const unsigned char bytes[] = {static_cast<unsigned char>(opcode), static_cast<unsigned char>(opcode >> 8), 0};
        controller_->send(PDU(PDU::hci_channel, bytes, sizeof bytes), true);
    }
    void Acl(uint16_t handle) {
        const unsigned char bytes[] = {static_cast<unsigned char>(handle), static_cast<unsigned char>(handle >> 8),
                                       1, 0, 0xAA};
        controller_->send(PDU(PDU::acl_channel, bytes, sizeof bytes), true);
    }
    // A command's round trip, as a barrier: everything sent before it has gone.
    void RoundTrip() {
        const int before = provider_.pdus;
        Command(0x1001);
        ASSERT_TRUE(testsupport::WaitUntil([&] { return provider_.pdus > before; }, 5s));
    }

    testsupport::SimEnv sim_;
    Counting provider_;
    std::unique_ptr<TesselDeviceController_newStyle> controller_;
};

TEST_F(ControllerE2e, AclStopsAtTheBufferCountAndResumesOnCompletedPackets) {
    sim_.BtCtl().SetBufferSizes({1021, 64, 2, 8});
    sim_.BtCtl().HoldAclCompletions();
    Open();
    Command(0x1005);  // Read Buffer Size: two ACL packets of credit
    Acl(0x40);
    Acl(0x40);
    Acl(0x40);
    RoundTrip();
    ASSERT_TRUE(testsupport::WaitUntil([&] { return sim_.BtCtl().AclPacketsReceived(0x40) == 2; }, 5s));
    RoundTrip();
    EXPECT_EQ(sim_.BtCtl().AclPacketsReceived(0x40), 2u);
    sim_.BtCtl().ReleaseAclCompletions();
    EXPECT_TRUE(testsupport::WaitUntil([&] { return sim_.BtCtl().AclPacketsReceived(0x40) == 3; }, 5s));
}

TEST_F(ControllerE2e, ACommandWaitsForTheCreditTheChipGivesBack) {
    sim_.BtCtl().SetCommandCredits(0);
    Open();
    RoundTrip();  // answered with no credit left
    Command(0x1009);
    // A vendor round trip: the pass that sent it looked at the command queue
    // too, and the command had to stay there.
    const int before = provider_.pdus;
    TSCMD_PDU vendor(0x1001, 18);
    vendor.set_req_type(2);
    controller_->send(vendor, true);
    ASSERT_TRUE(testsupport::WaitUntil([&] { return provider_.pdus > before; }, 5s));
    EXPECT_EQ(controller_->pendingItemCountOnRegulator(), 1u);
    EXPECT_EQ(sim_.BtCtl().CommandCount(0x1009), 0u);
    sim_.BtCtl().SetCommandCredits(1);
    sim_.BtCtl().SendCommandStatus(0x0000, 0);
    EXPECT_TRUE(testsupport::WaitUntil([&] { return sim_.BtCtl().CommandCount(0x1009) == 1; }, 5s));
}

TEST_F(ControllerE2e, TearsDownWhileTrafficIsQueuedOrArriving) {
    for (int order = 0; order < 3; ++order) {
        SCOPED_TRACE(order);
        Open();
        if (order == 0) {
            for (int i = 0; i < 20; ++i) Acl(0x40);  // no ACL credit: they stay queued
        } else if (order == 1) {
            RoundTrip();  // the worker waits on an idle link
        } else {
            const int before = provider_.pdus;
            for (int i = 0; i < 200; ++i) sim_.BtCtl().SendEvent(testwire::FromHex("0f 04 00 01 00 00"));
            ASSERT_TRUE(testsupport::WaitUntil([&] { return provider_.pdus > before; }, 5s));
        }
        controller_.reset();  // the daemon may be delivering, the worker dispatching
        EXPECT_EQ(provider_.failures, 0);
    }
}

}  // namespace
