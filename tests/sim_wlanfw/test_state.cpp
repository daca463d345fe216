// What the firmware keeps between requests: transmit parameters, a frame
// stream counting down, a receiver counting up, a tone, MIBs, the self
// test's gain word, and the decoded requests a test reads back.
#include <gtest/gtest.h>

#include <chrono>
#include <string>
#include <vector>

#include "fw_fixture.h"

namespace wlanfw_test {
namespace {

namespace wf = tavo::sim::wlanfw;
using std::chrono::microseconds;
using std::chrono::milliseconds;

using WlanfwStateTest = WlanFwTest;

TxParams Interval(std::uint32_t micros) {
    TxParams p;
    p.interval = micros;
    return p;
}

TEST_F(WlanfwStateTest, TransmissionCountsDownOneFramePerInterval) {
    ASSERT_EQ(ResultOf(SetTxParamsReq(Interval(1000))), 0);
    ASSERT_EQ(ResultOf(TxStartReq(10)), 0);
    struct Step {
        microseconds advance;
        std::uint32_t left;
        std::uint32_t sent;
        std::uint16_t sending;
    };
    const std::vector<Step> steps = {
        {microseconds(0), 10, 0, 1},
        {microseconds(999), 10, 0, 1},
        {microseconds(1), 9, 1, 1},
        {microseconds(2500), 7, 3, 1},
        {microseconds(5500), 1, 9, 1},
        {microseconds(1000), 0, 10, 0},
        {microseconds(50000), 0, 10, 0},
    };
    for (const Step& step : steps) {
        clock_.Advance(step.advance);
        const Frame f = Exchange(TxReadReq());
        SCOPED_TRACE(step.left);
        EXPECT_EQ(f.Result(), 0);
        EXPECT_EQ(U32(f.signal, 14), step.left) << "numFramesLeftToSend";
        EXPECT_EQ(U32(f.signal, 18), step.sent) << "frames sent";
        EXPECT_EQ(U16(f.signal, 12), step.sending);
        EXPECT_EQ(U16(f.signal, 22), 2412) << "frequency";
        EXPECT_EQ(U16(f.signal, 26), 1000) << "length";
    }
    // A finished stream stays started: it can be stopped once, then not.
    EXPECT_EQ(ResultOf(TxStopReq()), 0);
    EXPECT_EQ(ResultOf(TxStopReq()), 48);
    EXPECT_EQ(ResultOf(TxReadReq()), 48);
}

TEST_F(WlanfwStateTest, IntervalZeroSendsBackToBack) {
    ASSERT_EQ(ResultOf(SetTxParamsReq(Interval(0))), 0);
    ASSERT_EQ(ResultOf(TxStartReq(100)), 0);
    clock_.Advance(microseconds(wf::Transmission::kBackToBackPeriodUs * 3));
    EXPECT_EQ(U32(Exchange(TxReadReq()).signal, 14), 97u);
}

TEST_F(WlanfwStateTest, ZeroFramesTransmitsUntilStopped) {
    ASSERT_EQ(ResultOf(SetTxParamsReq(Interval(10))), 0);
    ASSERT_EQ(ResultOf(TxStartReq(0)), 0);
    clock_.Advance(std::chrono::seconds(3600));
    const Frame f = Exchange(TxReadReq());
    EXPECT_EQ(U32(f.signal, 14), 0u);
    EXPECT_EQ(U16(f.signal, 12), 1) << "still sending";
    EXPECT_EQ(U32(f.signal, 18), 360000000u);
    EXPECT_EQ(ResultOf(CwStartReq()), 48) << "a tone cannot start over a running stream";
    EXPECT_EQ(ResultOf(TxStopReq()), 0);
    EXPECT_FALSE(fw_.Tx().started);
    EXPECT_EQ(ResultOf(CwStartReq()), 0);
}

TEST_F(WlanfwStateTest, FinishedStreamMayBeRestartedWithoutStop) {
    ASSERT_EQ(ResultOf(SetTxParamsReq(Interval(1000))), 0);
    ASSERT_EQ(ResultOf(TxStartReq(2)), 0);
    EXPECT_EQ(ResultOf(TxStartReq(5)), 48);
    clock_.Advance(milliseconds(2));
    EXPECT_EQ(ResultOf(TxStartReq(5)), 0);
    EXPECT_EQ(U32(Exchange(TxReadReq()).signal, 14), 5u);
}

TEST_F(WlanfwStateTest, StreamKeepsTheIntervalItStartedWith) {
    ASSERT_EQ(ResultOf(SetTxParamsReq(Interval(1000))), 0);
    ASSERT_EQ(ResultOf(TxStartReq(10)), 0);
    ASSERT_EQ(ResultOf(SetTxParamsReq(Interval(100))), 0) << "parameters may change during a stream";
    clock_.Advance(microseconds(2000));
    EXPECT_EQ(U32(Exchange(TxReadReq()).signal, 14), 8u);
    EXPECT_EQ(fw_.TxParamsInForce()->interval, 100u);
}

TEST_F(WlanfwStateTest, PowerTableWarningStartsTheTransmissionRegardless) {
    TxParams p;
    p.freq = 2400;
    EXPECT_EQ(ResultOf(SetTxParamsReq(p)), 79);
    ASSERT_TRUE(fw_.TxParamsInForce().has_value()) << "the parameters are kept";
    EXPECT_EQ(ResultOf(TxStartReq(10)), 79);
    EXPECT_TRUE(fw_.Tx().sending);
    EXPECT_EQ(U32(Exchange(TxReadReq()).signal, 14), 10u);
    EXPECT_EQ(ResultOf(TxStopReq()), 0);
}

TEST_F(WlanfwStateTest, InvalidParametersAreNotKept) {
    ASSERT_EQ(ResultOf(SetTxParamsReq(Interval(1000))), 0);
    TxParams bad;
    bad.bandwidth = 3;
    bad.interval = 5;
    EXPECT_EQ(ResultOf(SetTxParamsReq(bad)), 38);
    ASSERT_TRUE(fw_.TxParamsInForce().has_value());
    EXPECT_EQ(fw_.TxParamsInForce()->interval, 1000u);
    ASSERT_TRUE(fw_.LastSetTxParams().has_value());
    EXPECT_EQ(fw_.LastSetTxParams()->bandwidth, 3) << "the last request is kept whatever its answer";
}

TEST_F(WlanfwStateTest, OutOfRangeToneStartsWithWarning) {
    EXPECT_EQ(ResultOf(CwStartReq(7000)), 79);
    EXPECT_TRUE(fw_.ToneOn());
    EXPECT_EQ(ResultOf(CwStopReq()), 0);
    EXPECT_FALSE(fw_.ToneOn());
}

TEST_F(WlanfwStateTest, ReceiverCountsFramesAndReportsReadings) {
    fw_.SetRxRate(1000);
    fw_.SetRxErrorPermille(100);
    fw_.SetRssi({-40, -41, -60, -30});
    fw_.SetSnr({20, 21, 10, 35});
    fw_.SetFreqError(-1234);
    ASSERT_EQ(ResultOf(RxStartReq(0, 0, 2437, 32)), 0);
    clock_.Advance(std::chrono::seconds(2));
    const Frame f = Exchange(RxReadReq({0xE001, 0xE000, 0x1234}));
    ASSERT_EQ(f.Result(), 0);
    EXPECT_EQ(U32(f.signal, 12), 32u) << "receiver flags";
    EXPECT_EQ(static_cast<std::int32_t>(U32(f.signal, 16)), -1234);
    const std::vector<std::int16_t> readings = {-40, -41, -60, -30, 20, 21, 10, 35};
    for (std::size_t i = 0; i < readings.size(); ++i) {
        EXPECT_EQ(static_cast<std::int16_t>(U16(f.signal, 20 + 2 * i)), readings[i]) << "reading " << i;
    }
    EXPECT_EQ(U32(f.signal, 36), 2000u) << "milliseconds since the start";
    ASSERT_EQ(f.bulk.size(), 2u + 3 * 4);
    EXPECT_EQ(U16(f.bulk, 0), 3);
    EXPECT_EQ(U32(f.bulk, 2), 1800u) << "good";
    EXPECT_EQ(U32(f.bulk, 6), 2000u) << "total";
    EXPECT_EQ(U32(f.bulk, 10), 0u) << "unknown counter";
    EXPECT_EQ(U16(f.signal, 8), 14) << "bulk length";

    clock_.Advance(milliseconds(500));
    const Frame later = Exchange(RxReadReq({0xE000, 0xE001}));
    EXPECT_EQ(U32(later.bulk, 2), 2500u);
    EXPECT_EQ(U32(later.bulk, 6), 2250u);
    EXPECT_EQ(ResultOf(RxStopReq()), 0);
    EXPECT_FALSE(fw_.Rx().running);
}

TEST_F(WlanfwStateTest, EmptyCounterListGivesEmptyCount) {
    ASSERT_EQ(ResultOf(RxStartReq()), 0);
    const Frame f = Exchange(RxReadReq({}));
    EXPECT_EQ(f.Result(), 0);
    EXPECT_EQ(f.bulk, (Bytes{0, 0}));
}

TEST_F(WlanfwStateTest, PresetCountsApplyAtTheNextStartOrAtOnce) {
    fw_.SetRxRate(0);
    fw_.SetRxCounts(100, 90);
    ASSERT_EQ(ResultOf(RxStartReq()), 0);
    Frame f = Exchange(RxReadReq({0xE000, 0xE001}));
    EXPECT_EQ(U32(f.bulk, 2), 100u);
    EXPECT_EQ(U32(f.bulk, 6), 90u);
    fw_.SetRxCounts(7, 3);
    f = Exchange(RxReadReq({0xE000, 0xE001}));
    EXPECT_EQ(U32(f.bulk, 2), 7u);
    EXPECT_EQ(U32(f.bulk, 6), 3u);
    // A preset is used once: the next receiver starts from zero.
    ASSERT_EQ(ResultOf(RxStopReq()), 0);
    ASSERT_EQ(ResultOf(RxStartReq()), 0);
    f = Exchange(RxReadReq({0xE000, 0xE001}));
    EXPECT_EQ(U32(f.bulk, 2), 0u);
    EXPECT_EQ(U32(f.bulk, 6), 0u);
}

TEST_F(WlanfwStateTest, RateChangeKeepsWhatWasCounted) {
    fw_.SetRxRate(100);
    fw_.SetRxErrorPermille(0);
    ASSERT_EQ(ResultOf(RxStartReq()), 0);
    clock_.Advance(std::chrono::seconds(1));
    fw_.SetRxRate(0);
    clock_.Advance(std::chrono::seconds(5));
    EXPECT_EQ(fw_.Rx().counts.total, 100u);
    EXPECT_EQ(fw_.Rx().counts.good, 100u);
}

struct MibCase {
    const char* name;
    std::uint16_t psid;
    std::vector<std::uint8_t> indices;
    Bytes value;  // VL bytes expected after the echoed indices
};

TEST_F(WlanfwStateTest, MibsAnswerWithEchoedIndicesAndVlValue) {
    const std::vector<MibCase> cases = {
        {"chip id", 2022, {}, {0x82, 0x72, 0x00}},
        {"temperature", 5062, {}, {0x26}},
        {"build id", 183, {}, [] {
             Bytes v = {0xA1, 15};
             const Bytes text = Text("rk720_t-sim 1.0");
             v.insert(v.end(), text.begin(), text.end());
             return v;
         }()},
        {"one index", 5062, {0x05}, {0x26}},
        {"three indices, one masked", 2022, {0x01, 0xFF, 0x03}, {0x82, 0x72, 0x00}},
        {"two indices", 2022, {0x10, 0x20}, {0x82, 0x72, 0x00}},
    };
    for (const MibCase& c : cases) {
        SCOPED_TRACE(c.name);
        const Frame f = Exchange(MibGetReq(c.psid, c.indices));
        EXPECT_EQ(f.Id(), 0x2101);
        Bytes bulk;
        Append16(bulk, c.psid);
        Append16(bulk, 0);
        for (const std::uint8_t index : c.indices) bulk.push_back(index & 0x7F);
        bulk.insert(bulk.end(), c.value.begin(), c.value.end());
        EXPECT_EQ(f.bulk, bulk);
        EXPECT_EQ(U16(f.signal, 8), bulk.size());
        ASSERT_TRUE(fw_.LastMibGet().has_value());
        EXPECT_EQ(fw_.LastMibGet()->psid, c.psid);
        EXPECT_EQ(fw_.LastMibGet()->indices.size(), c.indices.size()) << "the pad byte is no index";
    }
}

TEST_F(WlanfwStateTest, MibValuesFollowTheTest) {
    struct Row {
        std::function<void()> set;
        std::uint16_t psid;
        Bytes value;
    };
    const std::vector<Row> rows = {
        {[this] { fw_.SetChipId(63); }, 2022, {0x3F}},
        {[this] { fw_.SetChipId(64); }, 2022, {0x81, 0x40}},
        {[this] { fw_.SetTemperature(0x1234567); }, 5062, {0x84, 0x01, 0x23, 0x45, 0x67}},
        {[this] { fw_.SetTemperature(0); }, 5062, {0x00}},
        {[this] { fw_.SetBuildId(""); }, 183, {0xA0}},
        {[this] { fw_.SetBuildId("ab"); }, 183, {0xA1, 0x02, 'a', 'b'}},
        {[this] { fw_.SetMib(77, std::uint64_t{0xFFFFFFFFFFFFFFFFULL}); }, 77,
         {0x88, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF}},
    };
    for (const Row& row : rows) {
        row.set();
        const Frame f = Exchange(MibGetReq(row.psid));
        ASSERT_GE(f.bulk.size(), 4u);
        EXPECT_EQ(Bytes(f.bulk.begin() + 4, f.bulk.end()), row.value) << "psid " << row.psid;
    }
    std::string longText(300, 'x');
    fw_.SetBuildId(longText);
    const Frame f = Exchange(MibGetReq(183));
    ASSERT_EQ(f.bulk.size(), 4u + 3 + 300);
    EXPECT_EQ(f.bulk[4], 0xA2);
    EXPECT_EQ(f.bulk[5], 0x01);
    EXPECT_EQ(f.bulk[6], 0x2C);
}

TEST_F(WlanfwStateTest, UnknownMibGivesNoValue) {
    fw_.RemoveMib(5062);
    for (const std::uint16_t psid : {std::uint16_t{9999}, std::uint16_t{5062}}) {
        const Frame f = Exchange(MibGetReq(psid, {1}));
        Bytes bulk;
        Append16(bulk, psid);
        Append16(bulk, 0x8003);
        bulk.push_back(1);
        EXPECT_EQ(f.bulk, bulk) << psid;
        EXPECT_EQ(f.Result(), 0x8003);
    }
}

TEST_F(WlanfwStateTest, MibRequestWithTooFewIndexBytesGetsAnEmptyBulk) {
    Bytes request = MibGetReq(2022, {1, 2});
    Put16(request, 26, 9);  // nine indices announced, two present
    const Frame f = Exchange(request);
    EXPECT_EQ(f.Id(), 0x2101);
    EXPECT_TRUE(f.bulk.empty());
    EXPECT_EQ(f.Result(), 38);
}

TEST_F(WlanfwStateTest, BistAnswersTheGainWord) {
    EXPECT_EQ(U32(Exchange(BistReq()).signal, 12), 0x00030004u);
    fw_.SetBistGain(-1, 0);
    EXPECT_EQ(U32(Exchange(BistReq()).signal, 12), 0xFFFF0000u);
    fw_.SetBistGain(3, -4);
    EXPECT_EQ(U32(Exchange(BistReq()).signal, 12), 0x0003FFFCu);
    fw_.SetBistWord(0x12345678);
    EXPECT_EQ(U32(Exchange(BistReq(5180, 25, 2)).signal, 12), 0x12345678u);
    ASSERT_TRUE(fw_.LastBistGetTxGain().has_value());
    EXPECT_EQ(fw_.LastBistGetTxGain()->freq, 5180);
    EXPECT_EQ(fw_.LastBistGetTxGain()->txGain, 25);
    EXPECT_EQ(fw_.LastBistGetTxGain()->rxGain, 2);
}

TEST_F(WlanfwStateTest, SelectRadioKeepsTheBitmap) {
    EXPECT_EQ(fw_.RadioBitmap(), 3);
    EXPECT_EQ(ResultOf(SelectRadioReq(2)), 0);
    EXPECT_EQ(fw_.RadioBitmap(), 2);
    EXPECT_EQ(ResultOf(SelectRadioReq(7)), 38);
    EXPECT_EQ(fw_.RadioBitmap(), 2);
    EXPECT_EQ(fw_.LastSelectRadio()->bitmap, 7);
}

TEST_F(WlanfwStateTest, DecodedRequestsReadBack) {
    TxParams p;
    p.bandwidth = 2;
    p.position = 3;
    p.freq = 5775;
    p.rate = 0x4289;
    p.power = -128;
    p.length = 14464;
    p.interval = 0x01020304;
    p.flags = 0x12342140;  // only the low 16 bits go out
    p.regDomain = 0x0102;
    p.flags2 = 0x0304;
    p.heMode = 3;
    p.heRuAllocation = 61;
    p.heLtf = 4;
    const Bytes setTx = SetTxParamsReq(p);
    ASSERT_EQ(ResultOf(setTx), 0);
    const auto tx = fw_.LastSetTxParams();
    ASSERT_TRUE(tx.has_value());
    EXPECT_EQ(tx->bandwidth, 2);
    EXPECT_EQ(tx->position, 3);
    EXPECT_EQ(tx->freq, 5775);
    EXPECT_EQ(tx->rate, 0x4289);
    EXPECT_EQ(tx->power, -128);
    EXPECT_EQ(tx->constantOne, 1);
    EXPECT_EQ(tx->length, 14464);
    EXPECT_EQ(tx->interval, 0x01020304u);
    EXPECT_EQ(tx->flags, 0x2140);
    EXPECT_EQ(tx->word28, 0x00FF);
    EXPECT_EQ(tx->regDomain, 0x0102);
    EXPECT_EQ(tx->flags2, 0x0304);
    EXPECT_EQ(tx->heMode, 3);
    EXPECT_EQ(tx->heRuAllocation, 61);
    EXPECT_EQ(tx->heLtf, 4);
    EXPECT_EQ(tx->raw, setTx);

    const Bytes txStart = TxStartReq(0x00ABCDEF, 7, 0x1234, {1, 2, 3, 4, 5, 6}, {7, 8, 9, 10, 11, 12},
                                     {13, 14, 15, 16, 17, 18});
    ASSERT_EQ(ResultOf(txStart), 0);
    const auto start = fw_.LastTxStart();
    ASSERT_TRUE(start.has_value());
    EXPECT_EQ(start->numFramesToSend, 0x00ABCDEFu);
    EXPECT_EQ(start->dataType, 7);
    EXPECT_EQ(start->dataParam, 0x1234);
    EXPECT_EQ(start->destAddr, (wf::MacAddress{1, 2, 3, 4, 5, 6}));
    EXPECT_EQ(start->srcAddr, (wf::MacAddress{7, 8, 9, 10, 11, 12}));
    EXPECT_EQ(start->bssId, (wf::MacAddress{13, 14, 15, 16, 17, 18}));
    EXPECT_EQ(start->raw, txStart);

    ASSERT_EQ(ResultOf(RxStartReq(1, 1, 5180, 16, {0x11, 0x22, 0x33, 0x44, 0x55, 0x66})), 0);
    const auto rx = fw_.LastRxStart();
    ASSERT_TRUE(rx.has_value());
    EXPECT_EQ(rx->bandwidth, 1);
    EXPECT_EQ(rx->position, 1);
    EXPECT_EQ(rx->freq, 5180);
    EXPECT_EQ(rx->flags, 16);
    EXPECT_EQ(rx->macAddress, (wf::MacAddress{0x11, 0x22, 0x33, 0x44, 0x55, 0x66}));

    ASSERT_EQ(ResultOf(TxStopReq()), 0);
    ASSERT_EQ(ResultOf(CwStartReq(2484, -20000, 20, 16)), 0);
    const auto cw = fw_.LastCwStart();
    ASSERT_TRUE(cw.has_value());
    EXPECT_EQ(cw->freq, 2484);
    EXPECT_EQ(cw->freqOffset, -20000);
    EXPECT_EQ(cw->power, 20);
    EXPECT_EQ(cw->constantOne, 1);
    EXPECT_EQ(cw->amplitude, 16);

    const Bytes rxRead = RxReadReq({0xE000, 0xE001});
    Exchange(rxRead);
    ASSERT_TRUE(fw_.LastRxRead().has_value());
    EXPECT_EQ(fw_.LastRxRead()->counters, (std::vector<std::uint16_t>{0xE000, 0xE001}));
    EXPECT_EQ(fw_.LastRequest(0x900C), rxRead);
    EXPECT_EQ(fw_.RequestCount(0x900C), 1u);
    EXPECT_EQ(fw_.RequestCount(0x9007), 1u);
    EXPECT_FALSE(fw_.LastRequest(0x9009).has_value());
}

TEST_F(WlanfwStateTest, FirmwareReloadEndsEveryTest) {
    ASSERT_EQ(ResultOf(SetTxParamsReq(TxParams{})), 0);
    ASSERT_EQ(ResultOf(RxStartReq()), 0);
    ASSERT_EQ(ResultOf(CwStartReq()), 0);
    ASSERT_EQ(ResultOf(SelectRadioReq(1)), 0);
    fw_.SetTemperature(55);
    const std::size_t from = log_.Count();
    chip_.Load("rk720_t");
    EXPECT_EQ(ResultOf(RxReadReq({0xE000})), 48);
    EXPECT_TRUE(log_.WaitFor("wlanfw: firmware restarted; test state cleared", from));
    EXPECT_EQ(ResultOf(CwStopReq()), 48);
    EXPECT_EQ(ResultOf(TxStartReq(1)), 48) << "parameters are gone";
    EXPECT_EQ(fw_.RadioBitmap(), 3);
    EXPECT_EQ(Exchange(MibGetReq(5062)).bulk.back(), 55) << "what the test set stays";
}

}  // namespace
}  // namespace wlanfw_test
