// Every request of the wire format against its confirm: ids, sizes, the
// bytes that are fixed, the UDI header, and each refusal code.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "fw_fixture.h"

namespace wlanfw_test {
namespace {

struct SignalCase {
    const char* name;
    std::vector<Bytes> setup;  // requests that bring the firmware into the state needed
    Bytes request;
    std::uint16_t confirm;
    std::size_t signalSize;
};

std::vector<SignalCase> SignalCases() {
    const TxParams params;
    return {
        {"mib_get", {}, MibGetReq(2022), 0x2101, 16},
        {"cw_start", {}, CwStartReq(), 0x9101, 16},
        {"cw_stop", {CwStartReq()}, CwStopReq(), 0x9103, 16},
        {"set_tx_params", {}, SetTxParamsReq(params), 0x9102, 16},
        {"tx_start", {SetTxParamsReq(params)}, TxStartReq(10), 0x9104, 16},
        {"tx_read", {SetTxParamsReq(params), TxStartReq(10)}, TxReadReq(), 0x9105, 38},
        {"tx_stop", {SetTxParamsReq(params), TxStartReq(10)}, TxStopReq(), 0x9106, 16},
        {"rx_start", {}, RxStartReq(), 0x9107, 16},
        {"rx_read", {RxStartReq()}, RxReadReq({0xE000, 0xE001}), 0x9108, 40},
        {"rx_stop", {RxStartReq()}, RxStopReq(), 0x9109, 16},
        {"select_radio", {}, SelectRadioReq(1), 0x9112, 16},
        {"bist_get_tx_gain", {}, BistReq(), 0x9116, 16},
    };
}

using WlanfwSignalTest = WlanFwTest;

TEST_F(WlanfwSignalTest, EveryRequestIsAnsweredByItsConfirm) {
    for (const SignalCase& c : SignalCases()) {
        SCOPED_TRACE(c.name);
        // Each case on a fresh connection to a fresh state: stop whatever the
        // previous case left running.
        for (const Bytes& stop : {TxStopReq(), RxStopReq(), CwStopReq()}) Exchange(stop);
        for (const Bytes& step : c.setup) ASSERT_EQ(ResultOf(step), 0) << "setup 0x" << std::hex << U16(step, 0);
        const Frame f = Exchange(c.request);
        EXPECT_EQ(f.Id(), c.confirm);
        EXPECT_EQ(f.signal.size(), c.signalSize);
        EXPECT_EQ(U32(f.raw, 12), c.signalSize) << "signal length in the header";
        EXPECT_EQ(U16(f.signal, 2), 0);
        EXPECT_EQ(U16(f.signal, 4), 0xC001);
        EXPECT_EQ(U16(f.signal, 8), f.bulk.size()) << "bulk length in the head";
        EXPECT_EQ(U16(f.signal, 10), 0) << "result";
    }
}

TEST_F(WlanfwSignalTest, PlainConfirmsHaveFixedBytes) {
    // In order: each row leaves the state the next one needs.
    struct Row {
        Bytes request;
        Bytes signal;
    };
    const std::vector<Row> rows = {
        {SetTxParamsReq(TxParams{}), {0x02, 0x91, 0, 0, 0x01, 0xC0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0}},
        {TxStartReq(0), {0x04, 0x91, 0, 0, 0x01, 0xC0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0}},
        {TxStopReq(), {0x06, 0x91, 0, 0, 0x01, 0xC0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0}},
        {RxStartReq(), {0x07, 0x91, 0, 0, 0x01, 0xC0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0}},
        {RxStopReq(), {0x09, 0x91, 0, 0, 0x01, 0xC0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0}},
        {CwStartReq(), {0x01, 0x91, 0, 0, 0x01, 0xC0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0}},
        {CwStopReq(), {0x03, 0x91, 0, 0, 0x01, 0xC0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0}},
        {SelectRadioReq(2), {0x12, 0x91, 0, 0, 0x01, 0xC0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0}},
        {BistReq(), {0x16, 0x91, 0, 0, 0x01, 0xC0, 0, 0, 0, 0, 0, 0, 0x04, 0, 0x03, 0}},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(U16(row.request, 0));
        const Frame f = Exchange(row.request);
        EXPECT_EQ(f.signal, row.signal);
        EXPECT_TRUE(f.bulk.empty());
        EXPECT_EQ(U32(f.raw, 0), 32u) << "total length";
    }
}

TEST_F(WlanfwSignalTest, HeaderCountsFramesInItsSequenceField) {
    const Frame first = Exchange(SelectRadioReq(1));
    const Frame second = Exchange(SelectRadioReq(2));
    EXPECT_EQ(U32(second.raw, 4), U32(first.raw, 4) + 1);
    EXPECT_EQ(U32(first.raw, 8), 0u);
}

struct RefusalCase {
    const char* name;
    std::vector<Bytes> setup;
    Bytes request;
    std::uint16_t result;
};

TxParams WithFreq(std::uint16_t freq) {
    TxParams p;
    p.freq = freq;
    return p;
}

TxParams WithBandwidth(std::uint8_t bandwidth, std::uint8_t position) {
    TxParams p;
    p.bandwidth = bandwidth;
    p.position = position;
    return p;
}

TxParams WithLtf(std::uint8_t ltf) {
    TxParams p;
    p.heLtf = ltf;
    return p;
}

TxParams Slow() {
    TxParams p;
    p.interval = 1000000;
    return p;
}

Bytes ShortBy(Bytes request, std::size_t bytes) {
    request.resize(request.size() - bytes);
    return request;
}

std::vector<RefusalCase> RefusalCases() {
    std::vector<std::uint16_t> many(65, 0xE000);
    Bytes rxReadShortBulk = RxReadReq({0xE000, 0xE001});
    Put16(rxReadShortBulk, 8, 40);  // announces more bulk than follows
    Bytes rxReadCountBeyondBulk = RxReadReq({0xE000});
    Put16(rxReadCountBeyondBulk, 22, 5);  // five counters in a bulk that holds one
    return {
        {"tx_stop without a transmission", {}, TxStopReq(), 48},
        {"tx_read without a transmission", {}, TxReadReq(), 48},
        {"tx_start without parameters", {}, TxStartReq(10), 48},
        {"tx_start while frames still go out", {SetTxParamsReq(Slow()), TxStartReq(10)}, TxStartReq(10), 48},
        {"tx_start while a tone is on", {SetTxParamsReq(TxParams{}), CwStartReq()}, TxStartReq(10), 48},
        {"rx_read without a receiver", {}, RxReadReq({0xE000}), 48},
        {"rx_stop without a receiver", {}, RxStopReq(), 48},
        {"second rx_start", {RxStartReq()}, RxStartReq(), 48},
        {"cw_stop without a tone", {}, CwStopReq(), 48},
        {"second cw_start", {CwStartReq()}, CwStartReq(), 48},
        {"cw_start while frames still go out", {SetTxParamsReq(Slow()), TxStartReq(10)}, CwStartReq(), 48},
        {"set_tx_params bandwidth 3", {}, SetTxParamsReq(WithBandwidth(3, 0)), 38},
        {"set_tx_params position 1 at 20 MHz", {}, SetTxParamsReq(WithBandwidth(0, 1)), 38},
        {"set_tx_params position 2 at 40 MHz", {}, SetTxParamsReq(WithBandwidth(1, 2)), 38},
        {"set_tx_params position 3 at 80 MHz", {}, SetTxParamsReq(WithBandwidth(2, 3)), 0},
        {"set_tx_params heLtf 3", {}, SetTxParamsReq(WithLtf(3)), 38},
        {"set_tx_params heLtf 4", {}, SetTxParamsReq(WithLtf(4)), 0},
        {"set_tx_params 2411 MHz", {}, SetTxParamsReq(WithFreq(2411)), 79},
        {"set_tx_params 2412 MHz", {}, SetTxParamsReq(WithFreq(2412)), 0},
        {"set_tx_params 2484 MHz", {}, SetTxParamsReq(WithFreq(2484)), 0},
        {"set_tx_params 2485 MHz", {}, SetTxParamsReq(WithFreq(2485)), 79},
        {"set_tx_params 4899 MHz", {}, SetTxParamsReq(WithFreq(4899)), 79},
        {"set_tx_params 4900 MHz", {}, SetTxParamsReq(WithFreq(4900)), 0},
        {"set_tx_params 5900 MHz", {}, SetTxParamsReq(WithFreq(5900)), 0},
        {"set_tx_params 5901 MHz", {}, SetTxParamsReq(WithFreq(5901)), 79},
        {"tx_start on an out-of-range frequency", {SetTxParamsReq(WithFreq(6000))}, TxStartReq(10), 79},
        {"cw_start on an out-of-range frequency", {}, CwStartReq(1000), 79},
        {"rx_start on an out-of-range frequency", {}, RxStartReq(0, 0, 2400), 38},
        {"rx_start bandwidth 3", {}, RxStartReq(3, 0, 2437), 38},
        {"rx_start position 1 at 20 MHz", {}, RxStartReq(0, 1, 2437), 38},
        {"rx_read of 65 counters", {RxStartReq()}, RxReadReq(many), 38},
        {"rx_read with a bulk shorter than announced", {RxStartReq()}, rxReadShortBulk, 38},
        {"rx_read with a count beyond its bulk", {RxStartReq()}, rxReadCountBeyondBulk, 38},
        {"select_radio 0", {}, SelectRadioReq(0), 38},
        {"select_radio 1", {}, SelectRadioReq(1), 0},
        {"select_radio 2", {}, SelectRadioReq(2), 0},
        {"select_radio 3", {}, SelectRadioReq(3), 0},
        {"select_radio 4", {}, SelectRadioReq(4), 38},
        {"bist_get_tx_gain on an out-of-range frequency", {}, BistReq(100), 38},
        {"set_tx_params cut short", {}, ShortBy(SetTxParamsReq(TxParams{}), 1), 38},
        {"tx_read cut to its head", {}, ShortBy(TxReadReq(), 12), 38},
    };
}

TEST_F(WlanfwSignalTest, RefusalsCarryTheirResultCodes) {
    for (const RefusalCase& c : RefusalCases()) {
        SCOPED_TRACE(c.name);
        for (const Bytes& stop : {TxStopReq(), RxStopReq(), CwStopReq()}) Exchange(stop);
        for (const Bytes& step : c.setup) Exchange(step);
        const Frame f = Exchange(c.request);
        EXPECT_EQ(f.Id(), ConfirmOf(U16(c.request, 0)));
        EXPECT_EQ(f.Result(), c.result);
    }
}

}  // namespace
}  // namespace wlanfw_test
