// CWlanDutLib's transmit paths against the simulated test firmware: what
// set_tx_params_req and tx_start_req carry, read back from the firmware.
//
// The fixture's DUT holds the connection. Each row uses a fresh, unopened
// CWlanDutLib on the same driver for its settings: the wlan_ calls go to the
// one connection whatever object makes them, and a fresh object starts from
// the initial settings.
#include <gtest/gtest.h>

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "dut_fixture.h"
#include "sim/wlanfw/requests.h"

namespace {

namespace fw = tavo::sim::wlanfw;
using Settings = std::function<void(CWlanDutLib&)>;

const fw::MacAddress kBroadcast = {0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF};
const fw::MacAddress kSource = {0x00, 0x11, 0x22, 0x33, 0x44, 0x55};

class E2eWlanDutTx : public e2e::DutOnTestFirmware {
protected:
    struct Sent {
        int rc = -1;
        bool paramsSent = false;
        bool startSent = false;
        std::uint64_t radioSelections = 0;
        fw::SetTxParamsRequest params;
        fw::TxStartRequest start;
    };

    // TxStartWithMod on `row` after `setup`; what reached the firmware. A
    // started stream is stopped again, so that the next row can start.
    Sent Start(CWlanDutLib& row, const Settings& setup) {
        setup(row);
        const std::uint64_t params = Requests(fw::kSetTxParamsReq);
        const std::uint64_t start = Requests(fw::kTxStartReq);
        const std::uint64_t radio = Requests(fw::kSelectRadioReq);
        Sent sent;
        sent.rc = row.TxStartWithMod();
        sent.paramsSent = Requests(fw::kSetTxParamsReq) != params;
        sent.startSent = Requests(fw::kTxStartReq) != start;
        sent.radioSelections = Requests(fw::kSelectRadioReq) - radio;
        if (sent.paramsSent) sent.params = Fw().LastSetTxParams().value();
        if (sent.startSent) sent.start = Fw().LastTxStart().value();
        if (sent.rc == 0) {
            EXPECT_EQ(row.TxStop(), 0);
        }
        return sent;
    }
};

TEST_F(E2eWlanDutTx, FlagsFollowPreambleRateEncodingAndHe) {
    struct Case {
        const char* what;
        Settings setup;
        std::uint16_t flags;
    } const cases[] = {
        {"initial settings: index 1, code 1", [](CWlanDutLib&) {}, 0x2000},
        {"index 2 with the short preamble", [](CWlanDutLib& d) { d.SetDataRate(2), d.SetLongPreamble(1); }, 0x2040},
        {"index 2 with the long preamble", [](CWlanDutLib& d) { d.SetDataRate(2), d.SetLongPreamble(2); }, 0x2000},
        {"index 3, code 5, short", [](CWlanDutLib& d) { d.SetDataRate(3); }, 0x2040},
        {"index 6, code 11, short", [](CWlanDutLib& d) { d.SetDataRate(6); }, 0x2040},
        {"index 6, long", [](CWlanDutLib& d) { d.SetDataRate(6), d.SetLongPreamble(4); }, 0x2000},
        {"index 4, OFDM code 0x2006", [](CWlanDutLib& d) { d.SetDataRate(4); }, 0x2000},
        {"channel encoding 1", [](CWlanDutLib& d) { d.SetChEncoding(1); }, 0x2100},
        {"channel encoding 1 and the short preamble",
         [](CWlanDutLib& d) { d.SetDataRate(2), d.SetChEncoding(1); }, 0x2140},
        {"channel encoding 2 sets nothing", [](CWlanDutLib& d) { d.SetChEncoding(2); }, 0x2000},
        {"HT 40 MHz", [](CWlanDutLib& d) { d.SetBandWidth(2), d.SetDataRate(15); }, 0x2000},
        {"VHT 80 MHz", [](CWlanDutLib& d) { d.SetBandWidth(3), d.SetDataRate(15); }, 0x2000},
        {"HE 20 MHz, MCS 9", [](CWlanDutLib& d) { d.SetBandWidth(6), d.SetDataRate(24); }, 0x2000},
        {"HE 20 MHz, MCS 10", [](CWlanDutLib& d) { d.SetBandWidth(6), d.SetDataRate(25); }, 0x2100},
        {"HE 20 MHz, MCS 11", [](CWlanDutLib& d) { d.SetBandWidth(6), d.SetDataRate(26); }, 0x2100},
        {"HE 20 MHz, MCS 9 with gi 2: only the low four bits count",
         [](CWlanDutLib& d) { d.SetBandWidth(6), d.SetDataRate(24), d.SetLongPreamble(7); }, 0x2000},
        {"HE 20 MHz, MCS 0, channel encoding 1",
         [](CWlanDutLib& d) { d.SetBandWidth(6), d.SetDataRate(15), d.SetChEncoding(1); }, 0x2100},
        {"HE 40 MHz", [](CWlanDutLib& d) { d.SetBandWidth(7), d.SetDataRate(15); }, 0x2100},
        {"HE 80 MHz", [](CWlanDutLib& d) { d.SetBandWidth(8), d.SetDataRate(15); }, 0x2100},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        CWlanDutLib row(&driver);
        const Sent sent = Start(row, c.setup);
        ASSERT_EQ(sent.rc, 0);
        ASSERT_TRUE(sent.paramsSent);
        EXPECT_EQ(sent.params.flags, c.flags);
    }
}

TEST_F(E2eWlanDutTx, PowerIsTheGainTimesFourInEightBits) {
    struct Case {
        int gain;
        std::int8_t power;
    } const cases[] = {
        {25, 100}, {32, -128}, {0, 0}, {31, 124}, {33, -124}, {63, -4}, {64, 0}, {-1, 100},  // -1 keeps 25
    };
    for (const Case& c : cases) {
        SCOPED_TRACE("gain " + std::to_string(c.gain));
        CWlanDutLib row(&driver);
        const Sent sent = Start(row, [&](CWlanDutLib& d) { d.SetTxGain(c.gain); });
        ASSERT_EQ(sent.rc, 0);
        EXPECT_EQ(sent.params.power, c.power);
    }
}

TEST_F(E2eWlanDutTx, LengthIsThePayloadTimesTheStreamsInSixteenBits) {
    struct Case {
        const char* what;
        Settings setup;
        std::uint16_t rate;
        std::uint16_t length;
    } const cases[] = {
        {"HT two streams, 40000 bytes wrap",
         [](CWlanDutLib& d) { d.SetAntenna(0), d.SetDataRate(23), d.SetBandWidth(1), d.SetPayloadSize(40000); },
         0x4088, 14464},
        {"HT two streams, 1024 bytes",
         [](CWlanDutLib& d) { d.SetAntenna(0), d.SetDataRate(23), d.SetBandWidth(1); }, 0x4088, 2048},
        {"HT on both antennas at a one-stream index", [](CWlanDutLib& d) { d.SetAntenna(0), d.SetDataRate(22); },
         0x4007, 1024},
        {"VHT two streams",
         [](CWlanDutLib& d) { d.SetAntenna(0), d.SetBandWidth(4), d.SetDataRate(15), d.SetPayloadSize(100); },
         0x6080, 200},
        {"HE two streams",
         [](CWlanDutLib& d) { d.SetAntenna(0), d.SetBandWidth(6), d.SetDataRate(15), d.SetPayloadSize(1000); },
         0x8080, 2000},
        {"legacy, 40000 bytes", [](CWlanDutLib& d) { d.SetPayloadSize(40000); }, 1, 40000},
        {"legacy, 70000 bytes wrap", [](CWlanDutLib& d) { d.SetPayloadSize(70000); }, 1, 4464},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        CWlanDutLib row(&driver);
        const Sent sent = Start(row, c.setup);
        ASSERT_EQ(sent.rc, 0);
        EXPECT_EQ(sent.params.rate, c.rate);
        EXPECT_EQ(sent.params.length, c.length);
    }
}

TEST_F(E2eWlanDutTx, HePayloadLimitsByResourceUnit) {
    struct Case {
        bool he;
        int resourceUnit;
        int payload;
        int rc;
        int maxInLog;  // for a refusal
    } const cases[] = {
        {true, 52, 1025, 3, 1024},  {true, 52, 1024, 0, 0},     {true, 36, 513, 3, 512},   {true, 36, 512, 0, 0},
        {true, 37, 513, 0, 0},      {true, 60, 2049, 3, 2048},  {true, 60, 2048, 0, 0},    {true, 61, 4096, 0, 0},
        {true, 61, 4097, 3, 4096},  {true, 0, 513, 3, 512},     {true, -1, 4097, 3, 4096}, {true, -1, 4096, 0, 0},
        {false, -1, 5000, 0, 0},    {false, 52, 5000, 0, 0},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(std::string(c.he ? "HE" : "HE off") + ", resource unit " + std::to_string(c.resourceUnit) +
                     ", payload " + std::to_string(c.payload));
        CWlanDutLib row(&driver);
        log.Clear();
        const Sent sent = Start(row, [&](CWlanDutLib& d) {
            if (c.he) d.SetBandWidth(6), d.SetDataRate(15);
            d.SetResourceUnit(c.resourceUnit);
            d.SetPayloadSize(c.payload);
        });
        EXPECT_EQ(sent.rc, c.rc);
        EXPECT_EQ(sent.paramsSent, c.rc == 0);
        EXPECT_EQ(sent.startSent, c.rc == 0);
        if (c.rc == 0) {
            EXPECT_EQ(sent.params.length, static_cast<std::uint16_t>(c.payload));
        } else {
            EXPECT_TRUE(log.Contains("WLANDUT", "incorrect payload length : " + std::to_string(c.payload) +
                                                    " (max : " + std::to_string(c.maxInLog) + ")"));
        }
        if (!c.he) {
            EXPECT_EQ(row.GetResourceUnit(), -1) << "HE off drops the resource unit";
            EXPECT_EQ(sent.params.heMode, 0);
            EXPECT_EQ(sent.params.heRuAllocation, 0);
        }
    }
}

TEST_F(E2eWlanDutTx, RefusedRateSendsNoParameters) {
    struct Case {
        const char* what;
        Settings setup;
        std::string logLine;
    } const cases[] = {
        {"VHT index 25", [](CWlanDutLib& d) { d.SetBandWidth(4), d.SetDataRate(25); },
         "incorrect Tx param(bps : 25, sg : 0, vht : 1, he : 0, bw : 1, ant : 1)"},
        {"VHT index 24 at 20 MHz", [](CWlanDutLib& d) { d.SetBandWidth(4), d.SetDataRate(24); },
         "incorrect Tx param(bps : 24, sg : 0, vht : 1, he : 0, bw : 1, ant : 1)"},
        {"HT index 23 on one antenna", [](CWlanDutLib& d) { d.SetDataRate(23), d.SetShortGuardInterval(1); },
         "incorrect Tx param(bps : 23, sg : 1, vht : 0, he : 0, bw : 1, ant : 1)"},
        {"HT index 47 at 20 MHz", [](CWlanDutLib& d) { d.SetDataRate(47), d.SetAntenna(2); },
         "incorrect Tx param(bps : 47, sg : 0, vht : 0, he : 0, bw : 1, ant : 2)"},
        {"HE index 27", [](CWlanDutLib& d) { d.SetBandWidth(7), d.SetDataRate(27); },
         "incorrect Tx param(bps : 27, sg : 0, vht : 0, he : 1, bw : 2, ant : 1)"},
        {"index 9", [](CWlanDutLib& d) { d.SetDataRate(9); },
         "incorrect Tx param(bps : 9, sg : 0, vht : 0, he : 0, bw : 1, ant : 1)"},
        {"index 11", [](CWlanDutLib& d) { d.SetDataRate(11); },
         "incorrect Tx param(bps : 11, sg : 0, vht : 0, he : 0, bw : 1, ant : 1)"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        CWlanDutLib row(&driver);
        log.Clear();
        const Sent sent = Start(row, c.setup);
        EXPECT_EQ(sent.rc, 3);
        EXPECT_FALSE(sent.paramsSent);
        EXPECT_FALSE(sent.startSent);
        EXPECT_EQ(sent.radioSelections, 1u) << "the radio is chosen before the rate is worked out";
        EXPECT_TRUE(log.Contains("WLANDUT", c.logLine));
    }
}

TEST_F(E2eWlanDutTx, TxStopResetsResourceUnitAndChannelEncoding) {
    CWlanDutLib row(&driver);
    row.SetBandWidth(6);
    row.SetDataRate(15);
    row.SetPayloadSize(100);
    row.SetResourceUnit(52);
    row.SetChEncoding(1);
    ASSERT_EQ(row.TxStartWithMod(), 0);
    fw::SetTxParamsRequest params = Fw().LastSetTxParams().value();
    EXPECT_EQ(params.heMode, 3);
    EXPECT_EQ(params.heRuAllocation, 52);
    EXPECT_EQ(params.flags, 0x2100);
    EXPECT_EQ(row.GetResourceUnit(), 52) << "a transmission keeps the unit";

    EXPECT_EQ(row.TxStop(), 0);
    EXPECT_EQ(row.GetResourceUnit(), -1);
    EXPECT_EQ(row.GetChannelEncoding(), 0);
    EXPECT_FALSE(Fw().Tx().started);

    // The next HE transmission goes out without a unit and without coding.
    ASSERT_EQ(row.TxStartWithMod(), 0);
    params = Fw().LastSetTxParams().value();
    EXPECT_EQ(params.heMode, 0);
    EXPECT_EQ(params.heRuAllocation, 0);
    EXPECT_EQ(params.flags, 0x2000);
    EXPECT_EQ(row.TxStop(), 0);

    // A stop that the firmware refuses resets them all the same.
    row.SetResourceUnit(26);
    row.SetChEncoding(1);
    EXPECT_EQ(row.TxStop(), 2) << "no stream is running";
    EXPECT_EQ(row.GetResourceUnit(), -1);
    EXPECT_EQ(row.GetChannelEncoding(), 0);
}

TEST_F(E2eWlanDutTx, HeModeRuAllocationAndLtf) {
    struct Case {
        const char* what;
        Settings setup;
        std::uint16_t heMode;
        std::uint8_t heRuAllocation;
        std::uint8_t heLtf;
    } const cases[] = {
        {"no unit", [](CWlanDutLib& d) { d.SetResourceUnit(-1); }, 0, 0, 1},
        {"unit 0", [](CWlanDutLib& d) { d.SetResourceUnit(0); }, 3, 0, 1},
        {"unit 52", [](CWlanDutLib& d) { d.SetResourceUnit(52); }, 3, 52, 1},
        {"unit 200", [](CWlanDutLib& d) { d.SetResourceUnit(200); }, 3, 200, 1},
        {"unit 300, low 8 bits", [](CWlanDutLib& d) { d.SetResourceUnit(300); }, 3, 44, 1},
        {"gi 1", [](CWlanDutLib& d) { d.SetLongPreamble(6); }, 0, 0, 2},
        {"gi 2 with unit 61", [](CWlanDutLib& d) { d.SetLongPreamble(7), d.SetResourceUnit(61); }, 3, 61, 4},
        {"gi 0 after gi 2", [](CWlanDutLib& d) { d.SetLongPreamble(7), d.SetLongPreamble(5); }, 0, 0, 1},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        CWlanDutLib row(&driver);
        const Sent sent = Start(row, [&](CWlanDutLib& d) {
            d.SetBandWidth(6), d.SetDataRate(15), d.SetPayloadSize(100);
            c.setup(d);
        });
        ASSERT_EQ(sent.rc, 0);
        EXPECT_EQ(sent.params.heMode, c.heMode);
        EXPECT_EQ(sent.params.heRuAllocation, c.heRuAllocation);
        EXPECT_EQ(sent.params.heLtf, c.heLtf);
    }
    // HE off: no LTF whatever the guard interval.
    CWlanDutLib row(&driver);
    const Sent sent = Start(row, [](CWlanDutLib& d) { d.SetLongPreamble(7); });
    ASSERT_EQ(sent.rc, 0);
    EXPECT_EQ(sent.params.heLtf, 0);
    EXPECT_EQ(sent.params.heMode, 0);
}

TEST_F(E2eWlanDutTx, IntervalIsTheCalculatedOne) {
    struct Case {
        const char* what;
        Settings setup;
        int index;
        int bandwidth;  // m_bandwidth after the setup
        int longPreamble, sgi, he, gi;
        std::uint16_t rate;
        std::uint32_t interval;
    } const cases[] = {
        {"index 1", [](CWlanDutLib&) {}, 1, 1, 0, 0, 0, 0, 1, 8724},
        {"index 2, short", [](CWlanDutLib& d) { d.SetDataRate(2), d.SetLongPreamble(1); }, 2, 1, 0, 0, 0, 0, 2, 4412},
        {"index 3, short", [](CWlanDutLib& d) { d.SetDataRate(3); }, 3, 1, 0, 0, 0, 0, 5, 1729},
        {"index 6, long", [](CWlanDutLib& d) { d.SetDataRate(6), d.SetLongPreamble(2); }, 6, 1, 1, 0, 0, 0, 11, 1059},
        {"index 4", [](CWlanDutLib& d) { d.SetDataRate(4); }, 4, 1, 0, 0, 0, 0, 0x2006, 1532},
        {"index 14", [](CWlanDutLib& d) { d.SetDataRate(14); }, 14, 1, 0, 0, 0, 0, 0x2036, 280},
        {"index 22, HT 20 MHz", [](CWlanDutLib& d) { d.SetDataRate(22); }, 22, 1, 0, 0, 0, 0, 0x4007, 268},
        {"index 22, HT 20 MHz, sgi", [](CWlanDutLib& d) { d.SetDataRate(22), d.SetShortGuardInterval(1); }, 22, 1,
         0, 1, 0, 0, 0x4047, 255},
        {"index 24, VHT 80 MHz", [](CWlanDutLib& d) { d.SetBandWidth(3), d.SetDataRate(24); }, 24, 3, 0, 0, 0, 0,
         0x6809, 164},
        {"index 47, HT 40 MHz", [](CWlanDutLib& d) { d.SetBandWidth(2), d.SetDataRate(47); }, 47, 2, 0, 0, 0, 0,
         0x4420, 1548},
        {"index 26, HE 80 MHz, gi 0", [](CWlanDutLib& d) { d.SetBandWidth(8), d.SetDataRate(26); }, 26, 3, 0, 0, 1,
         0, 0x880B, 168},
        {"index 15, HE 20 MHz, gi 2",
         [](CWlanDutLib& d) { d.SetBandWidth(6), d.SetDataRate(15), d.SetLongPreamble(7); },
         15, 1, 0, 0, 1, 2, 0x8020, 1320},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        CWlanDutLib row(&driver);
        const Sent sent = Start(row, c.setup);
        ASSERT_EQ(sent.rc, 0);
        EXPECT_EQ(sent.params.rate, c.rate);
        EXPECT_EQ(sent.params.interval, c.interval);
        const int calculated = row.CalculateInterval(c.bandwidth, c.index, c.rate, c.longPreamble, c.sgi, c.he, c.gi,
                                                     -1, 100, 1024, row.GetAntenna());
        EXPECT_EQ(sent.params.interval, static_cast<std::uint32_t>(calculated));
    }
}

TEST_F(E2eWlanDutTx, StartCarriesCountDataParamAndFixedAddresses) {
    struct Case {
        int packets;
        Settings setup;
        std::uint8_t bandwidth;
    } const cases[] = {
        {7, [](CWlanDutLib&) {}, 0},
        {0, [](CWlanDutLib& d) { d.SetBandWidth(2); }, 1},
        {100000, [](CWlanDutLib& d) { d.SetBandWidth(3); }, 2},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE("packets " + std::to_string(c.packets));
        CWlanDutLib row(&driver);
        const Sent sent = Start(row, [&](CWlanDutLib& d) {
            d.SetPacketCount(c.packets);
            c.setup(d);
        });
        ASSERT_EQ(sent.rc, 0);
        ASSERT_TRUE(sent.startSent);
        EXPECT_EQ(sent.start.numFramesToSend, static_cast<std::uint32_t>(c.packets));
        EXPECT_EQ(sent.start.dataType, 0);
        EXPECT_EQ(sent.start.dataParam, 0x1234);
        EXPECT_EQ(sent.start.destAddr, kBroadcast);
        EXPECT_EQ(sent.start.srcAddr, kSource);
        EXPECT_EQ(sent.start.bssId, kSource);
        EXPECT_EQ(sent.params.bandwidth, c.bandwidth);
        EXPECT_EQ(sent.params.position, 0);
        EXPECT_EQ(sent.params.constantOne, 1);
        EXPECT_EQ(sent.params.regDomain, 0);
        EXPECT_EQ(sent.params.flags2, 0);
    }
}

TEST_F(E2eWlanDutTx, ChannelFourteenIsTransmittedSevenMegahertzHigher) {
    struct Case {
        int band;
        int channel;
        int bandwidthArg;
        std::uint16_t rxFreq;
        std::uint16_t txFreq;
        std::uint8_t rxBandwidth;
    } const cases[] = {
        {1, 14, 1, 2477, 2484, 0}, {1, 1, 1, 2412, 2412, 0},   {1, 6, 1, 2437, 2437, 0},
        {1, 13, 1, 2472, 2472, 0}, {1, 6, 2, 2447, 2447, 1},   {1, 12, 2, 2477, 2484, 1},  // corrected to 14
        {2, 36, 1, 5180, 5180, 0}, {2, 36, 2, 5190, 5190, 1},  {2, 40, 2, 5190, 5190, 1},
        {2, 36, 3, 5210, 5210, 2}, {2, 165, 1, 5825, 5825, 0}, {3, 36, 1, 5180, 5180, 0},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE("band " + std::to_string(c.band) + ", channel " + std::to_string(c.channel) +
                     ", bandwidth argument " + std::to_string(c.bandwidthArg));
        CWlanDutLib row(&driver);
        const Settings setup = [&](CWlanDutLib& d) {
            d.SetBand(c.band);
            d.SetChannel(c.channel);
            d.SetBandWidth(c.bandwidthArg);
        };
        const Sent sent = Start(row, setup);
        ASSERT_EQ(sent.rc, 0);
        EXPECT_EQ(sent.params.freq, c.txFreq) << "transmit";

        ASSERT_EQ(row.RxStart(), 0);
        const fw::RxStartRequest rx = Fw().LastRxStart().value();
        EXPECT_EQ(rx.freq, c.rxFreq) << "receive";
        EXPECT_EQ(rx.bandwidth, c.rxBandwidth);
        EXPECT_EQ(row.RxStop(), 0);

        ASSERT_EQ(row.TxStartWoMod(c.channel), 0);
        EXPECT_EQ(Fw().LastCwStart().value().freq, c.txFreq) << "tone";
        EXPECT_EQ(row.TxStopWoMod(), 0);
    }
}

TEST_F(E2eWlanDutTx, ToneOffsetAmplitudeAndPower) {
    struct Case {
        int cwTone;
        int gain;
        std::int32_t offset;
        std::uint16_t amplitude;
    } const cases[] = {
        {0, 25, 0, 16},     {1, 10, 5000, 10}, {2, 16, 10000, 16}, {3, 17, 20000, 16},
        {4, 0, 0, 0},       {-1, 25, 0, 16},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE("tone " + std::to_string(c.cwTone) + ", gain " + std::to_string(c.gain));
        CWlanDutLib row(&driver);
        row.SetCWTone(c.cwTone);
        row.SetTxGain(c.gain);
        ASSERT_EQ(row.TxStartWoMod(6), 0);
        const fw::CwStartRequest tone = Fw().LastCwStart().value();
        EXPECT_EQ(tone.freq, 2437);
        EXPECT_EQ(tone.freqOffset, c.offset);
        EXPECT_EQ(tone.amplitude, c.amplitude);
        EXPECT_EQ(tone.power, 20) << "the tone's power is fixed";
        EXPECT_TRUE(Fw().ToneOn());
        EXPECT_EQ(row.TxStopWoMod(), 0);
        EXPECT_FALSE(Fw().ToneOn());
    }
}

}  // namespace
