// The device controller with its worker, over the serial link, against the
// simulated controller: credit as the chip gives it, and teardown in the
// middle of the traffic.
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <memory>

#include "enginefw/threadable.h"
#include "link/devicecontroller.h"
#include "pdu/pcpdu.h"
#include "support/sim_env.h"
#include "support/wire.h"

namespace {

using namespace std::chrono_literals;

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
