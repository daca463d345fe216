// The controls a test has over the firmware: silence, delay, unrelated
// traffic, forced result codes, broken frames, short counter lists, and the
// firmware variant that decides whether it answers at all.
#include <gtest/gtest.h>

#include <chrono>
#include <string>
#include <vector>

#include "fw_fixture.h"

namespace wlanfw_test {
namespace {

namespace wf = tavo::sim::wlanfw;

using WlanfwSteeringTest = WlanFwTest;

TEST_F(WlanfwSteeringTest, SilentFirmwareReadsAndDropsRequests) {
    fw_.SetSilent(true);
    ExpectNoAnswer(TxStopReq(), "wlanfw: 0x900A tx_stop_req -> silent");
    ExpectNoAnswer(CwStartReq(), "wlanfw: 0x9005 cw_start_req -> silent");
    EXPECT_EQ(fw_.RequestCount(0x9005), 1u) << "the request was read";
    fw_.SetSilent(false);
    EXPECT_EQ(ResultOf(CwStopReq()), 48) << "a dropped request changes nothing";
}

TEST_F(WlanfwSteeringTest, OnlyTheTestFirmwareAnswers) {
    struct Row {
        const char* variant;
        const char* shown;
    };
    for (const Row& row : {Row{"rk720", "rk720"}, Row{"", "(none)"}, Row{"rk720_x", "rk720_x"}}) {
        chip_.Load(row.variant);
        ExpectNoAnswer(SelectRadioReq(1), std::string("wlanfw: 0x901A select_radio_req -> no answer (firmware ") +
                                              row.shown + " is not the test firmware)");
    }
    chip_.Load("rk720_t2");
    EXPECT_EQ(ResultOf(SelectRadioReq(1)), 0);
}

TEST_F(WlanfwSteeringTest, DelayedConfirmStillArrives) {
    fw_.SetDelay(std::chrono::milliseconds(20));
    const std::size_t from = log_.Count();
    EXPECT_EQ(ResultOf(SelectRadioReq(2)), 0);
    EXPECT_TRUE(log_.WaitFor("wlanfw: 0x901A select_radio_req -> 0x9112 result 0", from));
}

TEST_F(WlanfwSteeringTest, StopEndsADelayedAnswerWithoutSendingIt) {
    fw_.SetDelay(std::chrono::hours(1));
    client_->Send(SelectRadioReq(2));
    ASSERT_TRUE(WaitUntil([this] { return fw_.RequestCount(0x901A) == 1; }));
    fw_.Stop();
    EXPECT_FALSE(client_->Receive().has_value());
    EXPECT_TRUE(client_->Ended());
    EXPECT_FALSE(fw_.Running());
}

TEST_F(WlanfwSteeringTest, ChattyFirmwareSendsUnrelatedFramesFirst) {
    fw_.SetChatter(3, std::chrono::milliseconds(1));
    const std::size_t from = log_.Count();
    client_->Send(SetTxParamsReq(TxParams{}));
    std::vector<std::uint16_t> ids;
    for (int i = 0; i < 4; ++i) {
        const std::optional<Bytes> raw = client_->Receive();
        ASSERT_TRUE(raw.has_value()) << "frame " << i;
        ids.push_back(SplitFrame(*raw).Id());
    }
    EXPECT_EQ(ids[0], 0x9FFF);
    for (int i = 0; i < 3; ++i) EXPECT_NE(ids[i], 0x9102) << "frame " << i;
    EXPECT_EQ(ids[3], 0x9102);
    EXPECT_TRUE(log_.WaitFor("wlanfw: unrelated 0x9FFF before 0x9102", from));
    EXPECT_TRUE(log_.WaitFor("wlanfw: 0x9007 set_tx_params_req -> 0x9102 result 0", from));
    ExpectNothingPending();
    fw_.SetChatter(0);
    EXPECT_EQ(Exchange(SelectRadioReq(1)).Id(), 0x9112);
}

TEST_F(WlanfwSteeringTest, ChatterNeverCarriesTheAwaitedId) {
    fw_.SetChatter(24);
    const std::vector<Bytes> requests = {MibGetReq(2022), CwStartReq(), CwStopReq(), SetTxParamsReq(TxParams{}),
                                         TxStartReq(1),   TxReadReq(),  TxStopReq(), RxStartReq(),
                                         RxReadReq({}),   RxStopReq(),  SelectRadioReq(1), BistReq()};
    for (const Bytes& request : requests) {
        const std::uint16_t awaited = ConfirmOf(U16(request, 0));
        client_->Send(request);
        for (int i = 0; i < 24; ++i) {
            const std::optional<Bytes> raw = client_->Receive();
            ASSERT_TRUE(raw.has_value());
            EXPECT_NE(SplitFrame(*raw).Id(), awaited);
        }
        const std::optional<Bytes> raw = client_->Receive();
        ASSERT_TRUE(raw.has_value());
        EXPECT_EQ(SplitFrame(*raw).Id(), awaited);
    }
}

TEST_F(WlanfwSteeringTest, ForcedResultsApplyToTheChosenRequests) {
    struct Step {
        Bytes request;
        std::uint16_t result;
    };
    struct Case {
        const char* name;
        std::function<void()> arrange;
        std::vector<Step> steps;
    };
    const Bytes setTx = SetTxParamsReq(TxParams{});
    const std::vector<Case> cases = {
        {"next of one id", [this] { fw_.ForceResult(0x9007, 0x8004); },
         {{SelectRadioReq(1), 0}, {setTx, 0x8004}, {setTx, 0}}},
        {"next of any id", [this] { fw_.ForceResult(wf::FaultPlan::kAnyRequest, 1); },
         {{SelectRadioReq(1), 1}, {SelectRadioReq(1), 0}}},
        {"twice", [this] { fw_.ForceResult(0x901A, 0x8006, 2); },
         {{SelectRadioReq(1), 0x8006}, {SelectRadioReq(1), 0x8006}, {SelectRadioReq(1), 0}}},
        {"in the order given", [this] {
             fw_.ForceResult(0x901A, 38);
             fw_.ForceResult(wf::FaultPlan::kAnyRequest, 79);
         },
         {{SelectRadioReq(1), 38}, {SelectRadioReq(1), 79}, {SelectRadioReq(1), 0}}},
        {"until cleared", [this] { fw_.ForceResult(0x901A, 0x8003, wf::FaultPlan::kUntilCleared); },
         {{SelectRadioReq(1), 0x8003}, {SelectRadioReq(1), 0x8003}, {SelectRadioReq(1), 0x8003}}},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        fw_.ClearForcedResults();
        c.arrange();
        for (const Step& step : c.steps) EXPECT_EQ(ResultOf(step.request), step.result);
    }
    fw_.ClearForcedResults();
    EXPECT_EQ(ResultOf(SelectRadioReq(1)), 0);
}

TEST_F(WlanfwSteeringTest, ForcedResultChangesNothing) {
    fw_.ForceResult(0x900B, 0);
    const std::size_t from = log_.Count();
    EXPECT_EQ(ResultOf(RxStartReq()), 0);
    EXPECT_TRUE(log_.WaitFor("wlanfw: 0x900B rx_start_req -> 0x9107 result 0 (forced)", from));
    EXPECT_FALSE(fw_.Rx().running);
    EXPECT_EQ(ResultOf(RxReadReq({0xE000})), 48);
    EXPECT_TRUE(fw_.LastRxStart().has_value()) << "the request is still read back";
}

TEST_F(WlanfwSteeringTest, ForcedResultOnMibGetLeavesNoValue) {
    fw_.ForceResult(0x2001, 0x8006);
    const Frame f = Exchange(MibGetReq(2022));
    EXPECT_EQ(f.bulk, (Bytes{0xE6, 0x07, 0x06, 0x80}));
}

TEST_F(WlanfwSteeringTest, MalformedFramesReplaceTheConfirm) {
    struct Row {
        wf::MalformedFrame kind;
        const char* logged;
        std::function<void(const Bytes&)> check;
    };
    const std::vector<Row> rows = {
        {wf::MalformedFrame::kShortDatagram, "short datagram", [](const Bytes& raw) { EXPECT_EQ(raw.size(), 8u); }},
        {wf::MalformedFrame::kHeaderOnly, "header only",
         [](const Bytes& raw) {
             ASSERT_EQ(raw.size(), 16u);
             EXPECT_EQ(U32(raw, 0), 16u);
             EXPECT_EQ(U32(raw, 12), 0u);
         }},
        {wf::MalformedFrame::kSignalOverrun, "signal overrun",
         [](const Bytes& raw) {
             ASSERT_GE(raw.size(), 16u);
             EXPECT_GT(U32(raw, 12), raw.size() - 16);
             EXPECT_EQ(U16(raw, 16), 0x9105) << "the signal that was due, cut";
         }},
        {wf::MalformedFrame::kTotalOverrun, "total overrun",
         [](const Bytes& raw) {
             ASSERT_GE(raw.size(), 16u);
             EXPECT_GT(U32(raw, 0), raw.size());
             EXPECT_LE(U32(raw, 12), raw.size() - 16);
         }},
    };
    ASSERT_EQ(ResultOf(SetTxParamsReq(TxParams{})), 0);
    ASSERT_EQ(ResultOf(TxStartReq(10)), 0);
    for (const Row& row : rows) {
        SCOPED_TRACE(row.logged);
        fw_.SendMalformed(row.kind);
        const std::size_t from = log_.Count();
        client_->Send(TxReadReq());
        const std::optional<Bytes> raw = client_->Receive();
        ASSERT_TRUE(raw.has_value());
        row.check(*raw);
        EXPECT_TRUE(log_.WaitFor(std::string("wlanfw: 0x9009 tx_read_req -> 0x9105 malformed (") + row.logged + ")",
                                 from));
        // One broken frame, then the firmware is itself again.
        EXPECT_EQ(Exchange(TxReadReq()).Id(), 0x9105);
    }
}

TEST_F(WlanfwSteeringTest, MalformedFramesQueueOnePerConfirm) {
    fw_.SendMalformed(wf::MalformedFrame::kHeaderOnly);
    fw_.SendMalformed(wf::MalformedFrame::kShortDatagram);
    client_->Send(SelectRadioReq(1));
    EXPECT_EQ(client_->Receive()->size(), 16u);
    client_->Send(SelectRadioReq(1));
    EXPECT_EQ(client_->Receive()->size(), 8u);
    EXPECT_EQ(Exchange(SelectRadioReq(1)).Result(), 0);
}

TEST_F(WlanfwSteeringTest, CounterListCanBeCutShort) {
    ASSERT_EQ(ResultOf(RxStartReq()), 0);
    fw_.SetRxCounts(50, 40);
    fw_.LimitRxCounters(1);
    Frame f = Exchange(RxReadReq({0xE000, 0xE001}));
    EXPECT_EQ(f.Result(), 0);
    EXPECT_EQ(f.bulk, (Bytes{1, 0, 50, 0, 0, 0}));
    fw_.LimitRxCounters(0);
    f = Exchange(RxReadReq({0xE000, 0xE001}));
    EXPECT_EQ(f.bulk, (Bytes{0, 0}));
    fw_.LimitRxCounters(std::nullopt);
    f = Exchange(RxReadReq({0xE000, 0xE001}));
    EXPECT_EQ(U16(f.bulk, 0), 2);
    EXPECT_EQ(f.bulk.size(), 10u);
}

}  // namespace
}  // namespace wlanfw_test
