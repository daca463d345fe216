// The whole serial link against the simulated controller on its
// pseudo-terminal: HCI commands and tunnelled vendor PDUs both ways, garbage
// on the line, and a line that hangs up in the middle of a packet.
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "enginefw/threadable.h"
#include "link/phys/h4/h4transport.h"
#include "pdu/pcpdu.h"
#include "support/sim_env.h"
#include "support/wire.h"

namespace {

using namespace std::chrono_literals;
using testwire::Bytes;
using testwire::FromHex;

// What comes up the link, and how it fails.
class Upstairs : public TesselTransportCallBack, public TesselTransportFailure {
public:
    void onPDU(PDU::ts_channel channel, const unsigned char* data, unsigned int length) override {
        std::lock_guard<std::mutex> hold(mutex_);
        pdus_.push_back({channel, Bytes(data, data + length)});
    }
    void onFail(FailureMode mode) override {
        std::lock_guard<std::mutex> hold(mutex_);
        failures_.push_back(mode);
    }
    std::vector<std::pair<PDU::ts_channel, Bytes>> Pdus() {
        std::lock_guard<std::mutex> hold(mutex_);
        return pdus_;
    }
    std::vector<FailureMode> Failures() {
        std::lock_guard<std::mutex> hold(mutex_);
        return failures_;
    }

private:
    std::mutex mutex_;
    std::vector<std::pair<PDU::ts_channel, Bytes>> pdus_;
    std::vector<FailureMode> failures_;
};

class LinkE2e : public ::testing::Test {
protected:
    void SetUp() override {
        transport_ = std::make_unique<TesselTransport>(H4Configuration("/dev/tavo_h4_0", 3000000, true),
                                                       CallBacks{&up_, &up_});
        ASSERT_TRUE(transport_->start());
    }
    void TearDown() override {
        transport_.reset();
        EXPECT_EQ(Threadable::ForcedKills(), 0u);
    }
    PDU Hci(const std::string& hex) {
        const Bytes b = FromHex(hex);
        return PDU(PDU::hci_channel, b.data(), b.size());
    }
    // The next PDU up, within a bound.
    bool WaitForPdus(size_t n) {
        return testsupport::WaitUntil([&] { return up_.Pdus().size() >= n; }, 5s);
    }

    testsupport::SimEnv sim_;
    Upstairs up_;
    std::unique_ptr<TesselTransport> transport_;
};

TEST_F(LinkE2e, CommandsAndVendorPdusGoBothWays) {
    transport_->blockUntilSentPdu(Hci("03 0c 00"), 1000);
    ASSERT_TRUE(WaitForPdus(1));
    EXPECT_EQ(up_.Pdus()[0].first, PDU::hci_channel);
    EXPECT_EQ(testwire::ToHex(up_.Pdus()[0].second), "0e 04 01 03 0c 00");

    // A vendor request of 300 bytes goes down in two fragments and its answer
    // comes up reassembled.
    TSCMD_PDU request(0x1001, 300);
    request.set_req_type(2);
    request.set_seq_no(9);
    transport_->sendpdu(request);
    ASSERT_TRUE(WaitForPdus(2));
    const auto [channel, reply] = up_.Pdus()[1];
    EXPECT_EQ(channel, PDU::tscmd_channel);
    ASSERT_EQ(reply.size(), 300u);
    EXPECT_EQ(testwire::ToHex(Bytes(reply.begin(), reply.begin() + 10)), "01 00 96 00 09 00 01 10 00 00");
    EXPECT_TRUE(sim_.Sim().Log().Contains("btctl: vendor PDU of 300 bytes on channel 2"));

    // A raw packet goes without an indicator: these bytes are a whole command.
    const Bytes raw = FromHex("01 03 0c 00");
    transport_->sendpdu(PDU(PDU::raw_channel, raw.data(), raw.size()));
    ASSERT_TRUE(WaitForPdus(3));
    EXPECT_EQ(testwire::ToHex(up_.Pdus()[2].second), "0e 04 01 03 0c 00");
    EXPECT_TRUE(up_.Failures().empty());
}

TEST_F(LinkE2e, GarbageIsOneSyncLossAndTheNextPacketStillArrives) {
    sim_.BtCtl().SendGarbage(FromHex("00 ff 05 ff"));
    sim_.BtCtl().SetSplit(3);
    transport_->sendpdu(Hci("03 0c 00"));
    ASSERT_TRUE(WaitForPdus(1));
    EXPECT_EQ(testwire::ToHex(up_.Pdus()[0].second), "0e 04 01 03 0c 00");
    EXPECT_EQ(up_.Failures(), (std::vector<FailureMode>{sync_lost}));
}

TEST_F(LinkE2e, ALineThatHangsUpMidPacketEndsInTheUartDiesPath) {
    sim_.BtCtl().HangUpMidPacket();
    transport_->sendpdu(Hci("09 10 00"));
    ASSERT_TRUE(testsupport::WaitUntil([&] { return !up_.Failures().empty(); }, 5s));
    EXPECT_EQ(up_.Failures(), (std::vector<FailureMode>{uart_died}));
    EXPECT_TRUE(up_.Pdus().empty());
    // The daemon has ended; sending more is harmless, and teardown joins every thread.
    EXPECT_FALSE(transport_->ready(0));
    transport_->sendpdu(Hci("03 0c 00"));
}

}  // namespace
