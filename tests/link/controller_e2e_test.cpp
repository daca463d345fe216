// The serial link against the simulated controller on its pseudo-terminal:
// the transport alone with a tunnelled vendor PDU both ways; then the device
// controller with its worker over it, ACL credit as the chip gives it back,
// and teardown in the middle of the traffic. Garbage on the line and a line
// that hangs up in the middle of a packet are tests/campaign's.
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

// HCI commands through the transport are every Bluetooth call's in
// tests/btcommstest; what only a long vendor PDU shows is the tunnel's
// fragments on the real line.
TEST(LinkE2e, AVendorPduGoesDownInFragmentsAndItsAnswerComesUpWhole) {
    testsupport::SimEnv sim;
    Upstairs up;
    auto transport = std::make_unique<TesselTransport>(H4Configuration("/dev/tavo_h4_0", 3000000, true),
                                                       CallBacks{&up, &up});
    ASSERT_TRUE(transport->start());
    TSCMD_PDU request(0x1001, 300);
    request.set_req_type(2);
    request.set_seq_no(9);
    transport->sendpdu(request);
    ASSERT_TRUE(testsupport::WaitUntil([&] { return !up.Pdus().empty(); }, 5s));
    const auto [channel, reply] = up.Pdus()[0];
    EXPECT_EQ(channel, PDU::tscmd_channel);
    ASSERT_EQ(reply.size(), 300u);
    EXPECT_EQ(testwire::ToHex(Bytes(reply.begin(), reply.begin() + 10)), "01 00 96 00 09 00 01 10 00 00");
    EXPECT_TRUE(sim.Sim().Log().Contains("btctl: vendor PDU of 300 bytes on channel 2"));
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
