// CWlanDutLib's receive, self-test, packet count and temperature paths
// against the simulated test firmware, steered through its settings and
// read back from its last requests.
#include <gtest/gtest.h>

#include <chrono>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <functional>
#include <string>
#include <vector>

#include "dut_fixture.h"
#include "sim/wlanfw/radio_model.h"
#include "sim/wlanfw/requests.h"

namespace {

using namespace std::chrono_literals;
namespace fw = tavo::sim::wlanfw;

constexpr char kTag[] = "WLANDUT";
const fw::MacAddress kReceiver = {0x11, 0x22, 0x33, 0x44, 0x55, 0x66};

class E2eWlanDutRx : public e2e::DutOnTestFirmware {
protected:
    // Counts that stay where a test puts them.
    void HoldCounts() { Fw().SetRxRate(0); }

    bool LogHasPrefix(const std::string& prefix) const {
        for (const std::string& text : log.Texts(kTag)) {
            if (text.rfind(prefix, 0) == 0) return true;
        }
        return false;
    }
};

TEST_F(E2eWlanDutRx, ReceiverStartsCarryTheirFieldsAndAddress) {
    struct Case {
        const char* what;
        std::function<int(CWlanDutLib&)> start;
        int rc;
        std::uint16_t freq;
        std::uint8_t bandwidth;
        std::uint16_t flags;
    } const cases[] = {
        {"RxStart", [](CWlanDutLib& d) { return d.RxStart(); }, 0, 2412, 0, 0},
        {"RxStart at 40 MHz", [](CWlanDutLib& d) { return d.SetBandWidth(2), d.RxStart(); }, 0, 2422, 1, 0},
        {"RxStartWithFlag(8)", [](CWlanDutLib& d) { return d.RxStartWithFlag(8); }, 0, 2412, 0, 8},
        {"RxStartWithFlag(32)", [](CWlanDutLib& d) { return d.RxStartWithFlag(32); }, 0, 2412, 0, 32},
        {"RxCWStartFromFreq(5500) at 40 MHz",
         [](CWlanDutLib& d) { return d.SetBandWidth(2), d.RxCWStartFromFreq(5500); },
         0, 5500, 0, 32},
        {"RxStartWithFlag(3) refused", [](CWlanDutLib& d) { return d.RxStartWithFlag(3); }, 3, 0, 0, 0},
        {"RxStartWithFlag(0) refused", [](CWlanDutLib& d) { return d.RxStartWithFlag(0); }, 3, 0, 0, 0},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        CWlanDutLib row(&driver);
        const std::uint64_t starts = Requests(fw::kRxStartReq);
        const std::uint64_t radios = Requests(fw::kSelectRadioReq);
        ASSERT_EQ(c.start(row), c.rc);
        EXPECT_EQ(Requests(fw::kSelectRadioReq), radios + 1) << "the radio is chosen first in every case";
        if (c.rc != 0) {
            EXPECT_EQ(Requests(fw::kRxStartReq), starts) << "nothing started";
            continue;
        }
        ASSERT_EQ(Requests(fw::kRxStartReq), starts + 1);
        const fw::RxStartRequest rx = Fw().LastRxStart().value();
        EXPECT_EQ(rx.freq, c.freq);
        EXPECT_EQ(rx.bandwidth, c.bandwidth);
        EXPECT_EQ(rx.position, 0);
        EXPECT_EQ(rx.flags, c.flags);
        EXPECT_EQ(rx.macAddress, kReceiver);
        EXPECT_TRUE(Fw().Rx().running);
        EXPECT_EQ(row.RxStop(), 0);
    }
}

TEST_F(E2eWlanDutRx, RadioSelectionFollowsTheAntenna) {
    struct Case {
        int antenna;
        std::uint16_t bitmap;
    } const cases[] = {{0, 3}, {1, 1}, {2, 2}};
    const std::vector<std::pair<const char*, std::function<int(CWlanDutLib&)>>> operations = {
        {"RxStart", [](CWlanDutLib& d) { return d.RxStart() == 0 ? d.RxStop() : -1; }},
        {"TxStartWithMod", [](CWlanDutLib& d) { return d.TxStartWithMod() == 0 ? d.TxStop() : -1; }},
        {"TxStartWoMod", [](CWlanDutLib& d) { return d.TxStartWoMod(1) == 0 ? d.TxStopWoMod() : -1; }},
    };
    for (const auto& [name, operation] : operations) {
        // From the other end of the table each time, so that every bitmap
        // changes what the firmware holds.
        for (const Case& c : cases) {
            SCOPED_TRACE(std::string(name) + ", antenna " + std::to_string(c.antenna));
            CWlanDutLib row(&driver);
            ASSERT_EQ(row.SetAntenna(c.antenna), 0);
            ASSERT_EQ(operation(row), 0);
            EXPECT_EQ(Fw().LastSelectRadio().value().bitmap, c.bitmap);
            EXPECT_EQ(Fw().RadioBitmap(), c.bitmap);
        }
    }
}

TEST_F(E2eWlanDutRx, BistMagnitudeAndPhaseFromTheFirmwareWord) {
    struct Case {
        std::int16_t r;
        std::int16_t i;
        int abs;
        int phase;
    } const cases[] = {
        {3, 4, 5, 92},      {-1, 0, 1, 314},    {0, 0, 0, 0},           {1, 1, 1, 78},
        {-3, -4, 5, -221},  {0, -1, 1, -157},   {300, 400, 500, 92},    {-32768, 0, 32768, 314},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE("r " + std::to_string(c.r) + ", i " + std::to_string(c.i));
        Fw().SetBistGain(c.r, c.i);
        log.Clear();
        int abs = -1;
        int phase = -1;
        ASSERT_EQ(dut.GetBIST(2, &abs, &phase), 0);
        EXPECT_EQ(abs, c.abs);
        EXPECT_EQ(phase, c.phase);
        const unsigned word = (static_cast<unsigned>(static_cast<std::uint16_t>(c.r)) << 16) |
                              static_cast<std::uint16_t>(c.i);
        char line[128];
        std::snprintf(line, sizeof line, "%x -> r : %d, i : %d -> abs : %d, phase : %d", word, c.r, c.i, c.abs,
                      c.phase);
        EXPECT_TRUE(log.Contains(kTag, line)) << line;
    }
}

TEST_F(E2eWlanDutRx, BistFrequencyGainsAndAntenna) {
    struct Case {
        const char* what;
        int band;
        int channel;
        int bandwidthArg;
        int txGain;
        int antenna;
        int rxGainArg;
        std::uint16_t freq;
        std::uint16_t rxGain;
        std::uint16_t bitmap;
    } const cases[] = {
        {"channel 36 in band 1", 1, 36, 1, 25, 1, 0, 5180, 2, 1},
        {"channel 6 in band 2", 2, 6, 1, 25, 1, 0, 2437, 2, 1},
        {"channel 6 at 40 MHz: no correction", 1, 6, 2, 25, 2, 0, 2437, 2, 2},
        {"channel 14: no addition", 1, 14, 1, 10, 2, 5, 2477, 5, 2},
        {"channel 165", 2, 165, 1, 16, 1, 1, 5825, 1, 1},
        {"channel 1, gain 0", 1, 1, 1, 0, 1, 7, 2412, 7, 1},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        CWlanDutLib row(&driver);
        row.SetBand(c.band);
        row.SetChannel(c.channel);
        row.SetBandWidth(c.bandwidthArg);
        row.SetTxGain(c.txGain);
        row.SetAntenna(c.antenna);
        int abs = 0;
        int phase = 0;
        ASSERT_EQ(row.GetBIST(c.rxGainArg, &abs, &phase), 0);
        const fw::BistGetTxGainRequest bist = Fw().LastBistGetTxGain().value();
        EXPECT_EQ(bist.freq, c.freq);
        EXPECT_EQ(bist.txGain, c.txGain);
        EXPECT_EQ(bist.rxGain, c.rxGain);
        EXPECT_EQ(Fw().LastSelectRadio().value().bitmap, c.bitmap);
    }

    // Both antennas, which every other test accepts, are refused here,
    // before anything is sent.
    CWlanDutLib row(&driver);
    row.SetAntenna(0);
    const std::uint64_t bists = Requests(fw::kBistGetTxGainReq);
    const std::uint64_t radios = Requests(fw::kSelectRadioReq);
    log.Clear();
    int abs = 0;
    int phase = 0;
    EXPECT_EQ(row.GetBIST(0, &abs, &phase), 3);
    EXPECT_EQ(Requests(fw::kBistGetTxGainReq), bists);
    EXPECT_EQ(Requests(fw::kSelectRadioReq), radios);
    EXPECT_TRUE(log.Contains(kTag, "incorrect ant config : 0\n"));
}

TEST_F(E2eWlanDutRx, ReadRxStoresGoodAndErrorCounts) {
    struct Case {
        std::uint32_t total;
        std::uint32_t good;
        int errors;
    } const cases[] = {{1000, 950, 50}, {0, 0, 0}, {7, 7, 0}, {100, 0, 100}, {65536, 1, 65535}};
    HoldCounts();
    ASSERT_EQ(dut.RxStart(), 0);
    for (const Case& c : cases) {
        SCOPED_TRACE(std::to_string(c.total) + " frames, " + std::to_string(c.good) + " good");
        Fw().SetRxCounts(c.total, c.good);
        log.Clear();
        ASSERT_EQ(dut.ReadRx(), 0);
        EXPECT_EQ(Fw().LastRxRead().value().counters, (std::vector<std::uint16_t>{0xE000, 0xE001}));
        int good = -1;
        int errors = -1;
        EXPECT_EQ(dut.GetGoodFrame(&good), 0);
        EXPECT_EQ(dut.GetErrorFrame(&errors), 0);
        EXPECT_EQ(good, static_cast<int>(c.good));
        EXPECT_EQ(errors, c.errors);
        EXPECT_TRUE(log.Contains(kTag, "Rx Result: GOOD  " + std::to_string(c.good) + ", ERROR " +
                                           std::to_string(c.errors) + "\n"));
        // The firmware's average RSSI is the stored one.
        EXPECT_TRUE(log.Contains(kTag, "ReadRx : total " + std::to_string(c.total) + ", good " +
                                           std::to_string(c.good) + ", rssiAvg -50\n"));
    }
    EXPECT_EQ(dut.RxStop(), 0);

    // A new start clears the stored counts before anything is sent, even a
    // start refused for its flag.
    const std::vector<std::pair<const char*, std::function<int()>>> starts = {
        {"RxStart", [&] { return dut.RxStart(); }},
        {"RxStartWithFlag(3)", [&] { return dut.RxStartWithFlag(3); }},
    };
    for (const auto& [name, start] : starts) {
        SCOPED_TRACE(name);
        int good = 0;
        int errors = 0;
        dut.GetGoodFrame(&good);
        dut.GetErrorFrame(&errors);
        ASSERT_NE(good + errors, 0) << "counts from the reads before";
        start();
        dut.GetGoodFrame(&good);
        dut.GetErrorFrame(&errors);
        EXPECT_EQ(good, 0);
        EXPECT_EQ(errors, 0);
        if (Fw().Rx().running) {
            Fw().SetRxCounts(30, 20);
            ASSERT_EQ(dut.RxStop(), 0);  // stores 20 and 10 for the next row
        }
    }
}

TEST_F(E2eWlanDutRx, RxStopStopsTheReceiverEvenWhenTheReadFails) {
    struct Case {
        const char* what;
        bool receiver;
        bool failRead;
        int rc;
        int good;
        int errors;
    } const cases[] = {
        {"read and stop succeed", true, false, 0, 150, 50},
        {"read refused: counts 0, stop still sent", true, true, 0, 0, 0},
        {"no receiver: read and stop refused", false, false, 2, 0, 0},
    };
    HoldCounts();
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        CWlanDutLib row(&driver);
        if (c.receiver) {
            ASSERT_EQ(row.RxStart(), 0);
            // Counts from an earlier read, which the failing read must clear.
            Fw().SetRxCounts(100, 90);
            ASSERT_EQ(row.ReadRx(), 0);
            Fw().SetRxCounts(200, 150);
        }
        if (c.failRead) Fw().ForceResult(fw::kRxReadReq, fw::kResultInvalidParameter);
        const std::uint64_t stops = Requests(fw::kRxStopReq);
        const std::uint64_t reads = Requests(fw::kRxReadReq);
        log.Clear();
        EXPECT_EQ(row.RxStop(), c.rc);
        EXPECT_EQ(Requests(fw::kRxReadReq), reads + 1);
        EXPECT_EQ(Requests(fw::kRxStopReq), stops + 1) << "the stop is sent in every case";
        EXPECT_FALSE(Fw().Rx().running);
        int good = -1;
        int errors = -1;
        row.GetGoodFrame(&good);
        row.GetErrorFrame(&errors);
        EXPECT_EQ(good, c.good);
        EXPECT_EQ(errors, c.errors);
        if (c.failRead) {
            EXPECT_TRUE(LogHasPrefix("wlan_rx_read error code "));
        }
    }
}

TEST_F(E2eWlanDutRx, GetRssiUsesTheAverageOrTheCurrentValue) {
    struct Case {
        const char* what;
        fw::SignalReadings readings;  // cur, av, min, max
        int rssi;
    } const cases[] = {
        {"the average", {-40, -55, -70, -30}, -55},
        {"min below -1, average and max -1: the current value", {-40, -1, -70, -1}, -40},
        {"min -1: the average", {-40, -1, -1, -1}, -1},
        {"max not -1: the average", {-40, -1, -70, -30}, -1},
        {"average not -1: the average", {-40, -55, -70, -1}, -55},
        {"min -2 is below -1", {-33, -1, -2, -1}, -33},
    };
    ASSERT_EQ(dut.RxStart(), 0);
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        Fw().SetRssi(c.readings);
        log.Clear();
        int rssi = 0;
        ASSERT_EQ(dut.GetRSSI(&rssi), 0);
        EXPECT_EQ(rssi, c.rssi);
        EXPECT_TRUE(log.Contains(kTag, "RSSI : " + std::to_string(c.rssi) + "\n"));
    }
    ASSERT_EQ(dut.RxStop(), 0);
    int rssi = 12345;
    EXPECT_EQ(dut.GetRSSI(&rssi), 2) << "no receiver to read";
}

TEST_F(E2eWlanDutRx, GetPacketCountWritesTheFramesLeft) {
    char text[32];
    const auto fill = [&] { std::snprintf(text, sizeof text, "untouched"); };

    // A frame every 100 seconds: the count left holds still while we look.
    CWlanDutLib slow(&driver);
    slow.SetBurstInterval(100000000);
    slow.SetPacketCount(50);
    ASSERT_EQ(slow.TxStartWithMod(), 0);
    const std::uint32_t left = Fw().Tx().framesLeft;
    ASSERT_TRUE(left == 50 || left == 49) << left;
    fill();
    log.Clear();
    EXPECT_EQ(slow.GetPacketCount(text), 0);
    EXPECT_STREQ(text, std::to_string(left).c_str()) << "no line end";
    EXPECT_EQ(Fw().Tx().framesLeft, left);
    EXPECT_TRUE(log.Contains(kTag, "GetPacketCount - " + std::to_string(left) + "\n"));
    ASSERT_EQ(slow.TxStop(), 0);

    // A few frames back to back: all sent, nothing left, still started.
    CWlanDutLib quick(&driver);
    quick.SetBurstInterval(0);
    quick.SetPayloadSize(10);
    quick.SetDataRate(14);
    quick.SetPacketCount(3);
    ASSERT_EQ(quick.TxStartWithMod(), 0);
    ASSERT_TRUE(e2e::WaitUntil([&] { return !Fw().Tx().sending; }, 10s));
    fill();
    EXPECT_EQ(quick.GetPacketCount(text), 0);
    EXPECT_STREQ(text, "0");
    ASSERT_EQ(quick.TxStop(), 0);

    // Without a stream the firmware refuses the read.
    fill();
    EXPECT_EQ(quick.GetPacketCount(text), 2);
    EXPECT_STREQ(text, "untouched");
}

TEST_F(E2eWlanDutRx, ChipTemperatureFromMib5062) {
    struct Case {
        std::uint64_t degrees;  // nothing set: the firmware's own 38
        int expected;
    } const cases[] = {{38, 38}, {45, 45}, {0, 0}, {0x12345, 0x2345}, {0xFFFF, 0xFFFF}};
    for (const Case& c : cases) {
        SCOPED_TRACE(c.degrees);
        Fw().SetTemperature(c.degrees);
        log.Clear();
        int value = -1;
        ASSERT_EQ(dut.GetChipTemperature(&value), 0);
        EXPECT_EQ(value, c.expected);
        EXPECT_EQ(Fw().LastMibGet().value().psid, 5062);
        EXPECT_TRUE(log.Contains(kTag, "GetChipTemperature - " + std::to_string(c.expected) + "\n"));
    }
    Fw().RemoveMib(5062);
    log.Clear();
    int value = 0;
    EXPECT_EQ(dut.GetChipTemperature(&value), 2);
    EXPECT_TRUE(LogHasPrefix("GetChipTemperature - error["));
}

}  // namespace
