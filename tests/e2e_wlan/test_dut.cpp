// CWlanDutLib against the simulator: opening and closing without the
// firmware switch (the switch is in test_slow.cpp), and the transmit,
// receive and self-test paths on the simulated test firmware, read back from
// the requests it received. What only the replies show (the temperature, a
// refused self test) goes through the AT commands in tests/e2e.
//
// The fixture's DUT holds the connection. Most rows use a fresh, unopened
// CWlanDutLib on the same driver: the wlan_ calls go to the one connection
// whatever object makes them, and a fresh object starts from the initial
// settings.
#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdint>
#include <functional>
#include <map>
#include <sstream>
#include <string>
#include <tuple>
#include <vector>

#include "e2e_util.h"
#include "sim/wlanfw/radio_model.h"
#include "sim/wlanfw/requests.h"
#include "wlan_interface.h"

namespace {

using e2e::kDut;
using Lines = std::vector<std::string>;
using D = CWlanDutLib;
namespace fw = tavo::sim::wlanfw;
namespace path = tavo::sim::path;

// The DUT's connection lines and its switch failure, in order.
Lines Connects(const testsupport::LogCapture& log) {
    Lines out;
    for (const std::string& text : log.Texts(kDut)) {
        if (text.rfind("ctConnect()", 0) == 0 || text == "DUT SetMode Error.\n") out.push_back(text);
    }
    return out;
}

bool Unlink(testsupport::SimEnv& env, const char* phonePath) {
    return ::unlink(env.Path(phonePath).c_str()) == 0;
}

TEST(E2eWlanDutLifecycle, OpenEdgeCases) {
    // None of these opens switches the firmware; `answers`: the test firmware
    // answers the open DUT.
    struct Case { const char* what; std::function<bool(testsupport::SimEnv&)> setup; int rc; Lines dutLines;
                  bool answers; } const cases[] = {
        {"connected behind the object's back: one retry",
         [](auto& env) { return env.LoadTestFirmware() && wlan_open_device() == 0; }, 0,
         {"ctConnect() error - 4, try again\n", "ctConnect() - 0\n"}, true},
        {"no device node: no retry", [](auto& env) { return env.LoadTestFirmware() && Unlink(env, path::kWlanNode); },
         1, {"ctConnect() error - 1, try again\n", "ctConnect() - 1\n"}, false},
        {"variant unreadable: no switch, the node connects whatever runs",
         [](auto& env) { return Unlink(env, path::kFirmwareVariant); }, 0, {"ctConnect() - 0\n"}, false},
        {"normal firmware and no interface: the switch fails before any command",
         [](auto& env) { return Unlink(env, path::kWlanFlags); }, 1, {"DUT SetMode Error.\n"}, false},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        testsupport::SimEnv env;
        ASSERT_TRUE(c.setup(env));
        const unsigned switches = env.Sim().Firmware().switches;  // loading the test firmware counts
        CWlanDriver driver;
        CWlanDutLib dut(&driver);
        testsupport::LogCapture log;

        EXPECT_EQ(dut.OpenDUT(), c.rc);
        EXPECT_EQ(dut.IsDUTOpen(), c.rc == 0);
        EXPECT_EQ(Connects(log), c.dutLines);
        if (c.answers) { EXPECT_EQ(dut.GetChipTemperature(nullptr), 0); }
        log.Clear();
        if (c.rc == 0) {
            EXPECT_EQ(dut.OpenDUT(), 0) << "open twice";
            EXPECT_EQ(Connects(log), Lines{}) << "no second connect";
            // The normal firmware named: CloseDUT disconnects and takes the
            // interface down, with nothing to switch.
            ASSERT_TRUE(testsupport::WriteFile(env.Path(path::kFirmwareVariant), "rk720"));
            EXPECT_EQ(dut.CloseDUT(), 0);
        } else {
            // Never opened, so a close has nothing to undo: no line, no
            // command.
            EXPECT_EQ(dut.CloseDUT(), 0);
            EXPECT_TRUE(log.Records().empty());
        }
        EXPECT_FALSE(dut.IsDUTOpen());
        EXPECT_EQ(env.Sim().Firmware().switches, switches);
        EXPECT_EQ(testsupport::ReadFile(env.Path(path::kWlanFlags)).value_or("0x1002\n"), "0x1002\n")
            << "the interface is down again, or absent";
        EXPECT_EQ(wlan_tx_stop(), 4) << "not connected";
    }
}

TEST(E2eWlanDutLifecycle, CloseFailsWhenTheSwitchFailsAndStaysOpen) {
    testsupport::SimEnv env;
    ASSERT_TRUE(env.LoadTestFirmware());
    CWlanDriver driver;
    CWlanDutLib dut(&driver);
    ASSERT_EQ(dut.OpenDUT(), 0);
    const std::string flags = env.Path(path::kWlanFlags);
    ASSERT_EQ(::unlink(flags.c_str()), 0);
    testsupport::LogCapture log;

    EXPECT_EQ(dut.CloseDUT(), 1);
    EXPECT_TRUE(dut.IsDUTOpen()) << "still marked open";
    EXPECT_EQ(log.Texts(kDut), (Lines{"wlan_close_device - 0\n", "DUT SetMode Error.\n"}));
    EXPECT_EQ(testsupport::ReadFile(env.Path(path::kFirmwareVariant)), std::string("rk720_t")) << "nothing switched";

    // With the interface back a second close completes; the connection is
    // already gone.
    ASSERT_TRUE(testsupport::WriteFile(flags, "0x1002\n"));
    ASSERT_TRUE(testsupport::WriteFile(env.Path(path::kFirmwareVariant), "rk720"));
    log.Clear();
    EXPECT_EQ(dut.CloseDUT(), 0);
    EXPECT_FALSE(dut.IsDUTOpen());
    EXPECT_EQ(log.Texts(kDut), Lines{"wlan_close_device - 4\n"});
}

// The radios each antenna setting selects: both, the first, the second.
constexpr std::uint16_t kBitmap[] = {3, 1, 2};

// Settings as text, applied in order: "rate=2 preamble=1" calls
// SetDataRate(2), then SetLongPreamble(1).
void Apply(D& d, const std::string& settings) {
    static const std::map<std::string, int (D::*)(int)> setters = {
        {"ant", &D::SetAntenna},        {"band", &D::SetBand},          {"bw", &D::SetBandWidth},
        {"channel", &D::SetChannel},    {"count", &D::SetPacketCount},  {"enc", &D::SetChEncoding},
        {"gain", &D::SetTxGain},        {"interval", &D::SetBurstInterval}, {"payload", &D::SetPayloadSize},
        {"preamble", &D::SetLongPreamble}, {"rate", &D::SetDataRate},   {"ru", &D::SetResourceUnit},
        {"sgi", &D::SetShortGuardInterval}, {"tone", &D::SetCWTone}};
    std::istringstream in(settings);
    std::string key;
    int value = 0;
    while (std::getline(in >> std::ws, key, '=') && in >> value) (d.*setters.at(key))(value);
}

// A DUT opened on the test firmware without the firmware switch: OpenDUT
// finds the test firmware running and only connects, and CloseDUT finds the
// normal firmware named and only disconnects.
class E2eWlanDut : public ::testing::Test {
protected:
    void SetUp() override {
        ASSERT_TRUE(env.LoadTestFirmware());
        ASSERT_EQ(dut.OpenDUT(), 0);
        Fw().SetRxRate(0);  // counts stay where a test puts them
    }
    void TearDown() override {
        ASSERT_TRUE(testsupport::WriteFile(env.Path(path::kFirmwareVariant), "rk720"));
        EXPECT_EQ(dut.CloseDUT(), 0);
    }
    fw::WlanFirmware& Fw() { return env.WlanFw(); }
    std::uint64_t Requests(std::uint16_t id) { return Fw().RequestCount(id); }
    std::pair<int, int> Counts(D& d) {
        int good = -1, errors = -1;
        EXPECT_EQ(d.GetGoodFrame(&good) + d.GetErrorFrame(&errors), 0);
        return {good, errors};
    }

    struct Sent {
        int rc = -1;
        bool paramsSent = false;
        std::uint64_t radioSelections = 0;
        fw::SetTxParamsRequest params;
    };

    // TxStartWithMod on `d` after `settings`; what reached the firmware. A
    // started stream is stopped again.
    Sent Start(D& d, const std::string& settings) {
        Apply(d, settings);
        const std::uint64_t params = Requests(fw::kSetTxParamsReq);
        const std::uint64_t starts = Requests(fw::kTxStartReq);
        const std::uint64_t radios = Requests(fw::kSelectRadioReq);
        Sent sent;
        sent.rc = d.TxStartWithMod();
        sent.paramsSent = Requests(fw::kSetTxParamsReq) != params;
        sent.radioSelections = Requests(fw::kSelectRadioReq) - radios;
        EXPECT_EQ(Fw().RadioBitmap(), kBitmap[d.GetAntenna()]);
        EXPECT_EQ(Requests(fw::kTxStartReq) != starts, sent.rc == 0);
        if (sent.paramsSent) sent.params = Fw().LastSetTxParams().value();
        if (sent.rc != 0) return sent;
        // What every stream carries.
        const fw::TxStartRequest start = Fw().LastTxStart().value();
        const fw::MacAddress source = {0x00, 0x11, 0x22, 0x33, 0x44, 0x55}, all = {0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF};
        EXPECT_EQ(std::tie(start.destAddr, start.srcAddr, start.bssId), std::tie(all, source, source));
        EXPECT_EQ((std::vector<long>{start.dataType, start.dataParam, sent.params.position, sent.params.constantOne,
                                     sent.params.regDomain, sent.params.flags2}),
                  (std::vector<long>{0, 0x1234, 0, 1, 0, 0}));
        EXPECT_EQ(d.TxStop(), 0);
        return sent;
    }

    testsupport::SimEnv env;
    CWlanDriver driver;
    D dut{&driver};
    testsupport::LogCapture log;
};

TEST_F(E2eWlanDut, TransmitParametersAsTheFirmwareGetsThem) {
    // Initially channel 1 in band 1, 20 MHz, rate index 1, gain 25, payload
    // 1024, burst interval 100. A row pins the fields it names: rate code,
    // interval, flags, power, length, freq (transmit and tone), rx (receive),
    // bw, the HE mode, unit and LTF, and the tone's offset and amplitude (its
    // power is always 20). A row of "!text" is refused with that log line
    // after the radio is chosen, and nothing else is sent.
    const std::pair<const char*, const char*> rows[] = {
        {"", "rate=1 interval=8724 flags=0x2000 power=100 length=1024 freq=2412 rx=2412 bw=0 mode=0 ru=0 ltf=0"},
        // The short preamble bit for codes 2..11 only, and preambles 1 and
        // 5..7 (2..4 are long); the coding bit for encoding 1.
        {"rate=2 preamble=1", "rate=2 interval=4412 flags=0x2040"}, {"rate=2 preamble=2 preamble=7", "flags=0x2040"},
        {"rate=6 preamble=2", "rate=11 interval=1059 flags=0x2000"}, {"rate=4", "rate=0x2006 interval=1532"},
        {"rate=2 enc=1", "flags=0x2140"}, {"enc=2", "flags=0x2000"}, {"bw=3 rate=15", "flags=0x2000"},
        // HT and VHT; preamble 3 sets the short guard interval, 1, 2 and 4
        // clear it.
        {"rate=22", "rate=0x4007 interval=268"}, {"rate=22 sgi=1", "rate=0x4047 interval=255"},
        {"rate=22 preamble=3", "rate=0x4047"}, {"rate=22 preamble=3 preamble=4", "rate=0x4007"},
        {"bw=3 rate=24", "rate=0x6809 interval=164"}, {"bw=3 ant=0 rate=24 sgi=1", "rate=0x68C9 interval=162"},
        {"bw=2 rate=47", "rate=0x4420 interval=1548"},
        {"bw=8 rate=26", "rate=0x880B interval=168"}, {"bw=8 rate=26 interval=0", "interval=68"},  // bare air time
        // The payload times the streams in sixteen bits; the gain times 4 in
        // eight, a negative gain ignored.
        {"ant=0 rate=23", "rate=0x4088 length=2048"}, {"ant=0 rate=23 payload=40000", "length=14464"},
        {"ant=0 bw=4 rate=15 payload=100", "rate=0x6080 length=200"}, {"gain=-1", "power=100"},
        {"gain=31", "power=124"}, {"gain=32", "power=-128"}, {"gain=64", "power=0"},
        // HE: the coding bit from 40 MHz or above MCS 9 (not the gi bits); the
        // LTF from the guard interval, which preambles 1..4 leave alone.
        {"bw=6 rate=24", "flags=0x2000 ltf=1"}, {"bw=6 rate=25", "flags=0x2100 ltf=1"}, {"bw=7 rate=15", "flags=0x2100"},
        {"bw=6 rate=24 preamble=7", "flags=0x2000 ltf=4"}, {"bw=6 rate=15 preamble=7", "rate=0x8020 interval=1320"},
        {"bw=6 rate=15 preamble=6", "ltf=2"}, {"bw=6 rate=15 preamble=7 preamble=2", "ltf=4"},
        {"bw=6 rate=15 payload=100 ru=0", "mode=3 ru=0 ltf=1"},
        {"bw=6 rate=15 payload=100 ru=300", "mode=3 ru=44"},  // the low 8 bits
        {"preamble=7 ru=52 payload=5000", "length=5000 mode=0 ru=0 ltf=0"},  // HE off: no unit, no limit
        // The longest HE payload by resource unit.
        {"bw=6 rate=15 ru=36 payload=512", "length=512"}, {"bw=6 rate=15 ru=37 payload=513", "length=513"},
        {"bw=6 rate=15 ru=52 payload=1024", "length=1024"}, {"bw=6 rate=15 ru=61 payload=4096", "length=4096"},
        {"bw=6 rate=15 ru=36 payload=513", "!incorrect payload length : 513 (max : 512)"},
        {"bw=6 rate=15 ru=52 payload=1025", "!incorrect payload length : 1025 (max : 1024)"},
        {"bw=6 rate=15 ru=60 payload=2049", "!incorrect payload length : 2049 (max : 2048)"},
        {"bw=6 rate=15 payload=4097", "!incorrect payload length : 4097 (max : 4096)"},
        {"bw=4 rate=25", "!incorrect Tx param(bps : 25, sg : 0, vht : 1, he : 0, bw : 1, ant : 1)"},
        {"rate=47 ant=2 sgi=1", "!incorrect Tx param(bps : 47, sg : 1, vht : 0, he : 0, bw : 1, ant : 2)"},
        {"bw=7 rate=27", "!incorrect Tx param(bps : 27, sg : 0, vht : 0, he : 1, bw : 2, ant : 1)"},
        {"rate=9", "!incorrect Tx param(bps : 9, sg : 0, vht : 0, he : 0, bw : 1, ant : 1)"},
        // The tone: its offset by setting, the gain as amplitude up to 16.
        {"tone=1 gain=10", "offset=5000 amp=10"}, {"tone=3 gain=17", "offset=20000 amp=16"},
        {"tone=4 gain=0", "offset=0 amp=0"},
        // The frequency from the corrected channel; channel 14 is sent 7 MHz
        // higher, received where it is.
        {"channel=14", "freq=2484 rx=2477"}, {"channel=12 bw=2", "freq=2484 rx=2477 bw=1"},
        {"band=2 channel=36 bw=2", "freq=5190 rx=5190 bw=1"}, {"band=2 channel=40 bw=2", "freq=5190 rx=5190 bw=1"},
        {"band=2 channel=144 bw=2", "freq=5720 rx=5720 bw=1"}, {"band=2 channel=36 bw=3", "freq=5210 rx=5210 bw=2"},
        {"band=2 channel=157 bw=3", "freq=5775 rx=5775 bw=2"}, {"band=2 channel=165 bw=3", "freq=5825 rx=5825 bw=2"},
        {"band=3 channel=36", "freq=5180 rx=5180"},
    };
    for (const auto& [settings, expected] : rows) {
        SCOPED_TRACE(settings);
        D row(&driver);
        log.Clear();
        const Sent sent = Start(row, settings);
        if (expected[0] == '!') {
            EXPECT_EQ(sent.rc, 3);
            EXPECT_FALSE(sent.paramsSent);
            EXPECT_EQ(sent.radioSelections, 1u) << "the radio is chosen first";
            EXPECT_TRUE(log.Contains(kDut, expected + 1));
            continue;
        }
        ASSERT_EQ(sent.rc, 0);
        const fw::SetTxParamsRequest& p = sent.params;
        ASSERT_EQ(row.RxStart(), 0);
        const fw::RxStartRequest rx = Fw().LastRxStart().value();
        EXPECT_EQ(rx.bandwidth, p.bandwidth);
        EXPECT_EQ(row.RxStop(), 0);
        char channel[16] = {};
        row.GetChannel(channel);
        ASSERT_EQ(row.TxStartWoMod(std::stoi(channel)), 0);
        const fw::CwStartRequest tone = Fw().LastCwStart().value();
        EXPECT_EQ(tone.freq, p.freq) << "the tone";
        EXPECT_EQ(tone.power, 20);
        EXPECT_TRUE(Fw().ToneOn());
        EXPECT_EQ(row.TxStopWoMod(), 0);
        EXPECT_FALSE(Fw().ToneOn());
        const std::map<std::string, long> got = {
            {"rate", p.rate},     {"interval", p.interval}, {"flags", p.flags},      {"power", p.power},
            {"length", p.length}, {"freq", p.freq},         {"rx", rx.freq},         {"bw", p.bandwidth},
            {"mode", p.heMode},   {"ru", p.heRuAllocation}, {"ltf", p.heLtf},        {"offset", tone.freqOffset},
            {"amp", tone.amplitude}};
        std::istringstream fields(expected);
        for (std::string field; fields >> field;) {
            const size_t eq = field.find('=');
            EXPECT_EQ(got.at(field.substr(0, eq)), std::stol(field.substr(eq + 1), nullptr, 0)) << field;
        }
    }
}

TEST_F(E2eWlanDut, TxStopResetsUnitAndEncodingEvenWhenRefusedAndTheCountGoesOut) {
    D row(&driver);
    const Sent first = Start(row, "bw=6 rate=15 ru=52 enc=1 count=7");
    ASSERT_EQ(first.rc, 0);
    EXPECT_EQ(first.params.heRuAllocation, 52);
    EXPECT_EQ(first.params.flags, 0x2100);
    EXPECT_EQ(Fw().LastTxStart().value().numFramesToSend, 7u);
    // The stop in Start reset both: the next HE stream goes out without them.
    const Sent second = Start(row, "count=100000");
    ASSERT_EQ(second.rc, 0);
    EXPECT_EQ(second.params.heMode, 0);
    EXPECT_EQ(second.params.flags, 0x2000);
    EXPECT_EQ(Fw().LastTxStart().value().numFramesToSend, 100000u);
    Apply(row, "ru=26 enc=1");
    EXPECT_EQ(row.TxStop(), 2) << "no stream is running";
    EXPECT_EQ(row.GetResourceUnit(), -1);
    EXPECT_EQ(row.GetChannelEncoding(), 0);
}

TEST_F(E2eWlanDut, ReceiverStartsCarryTheirFieldsAndAddress) {
    struct Case { const char* what; std::function<int(D&)> start; int rc; std::uint16_t freq;
                  std::uint8_t bandwidth; std::uint16_t flags, bitmap; } const cases[] = {
        {"RxStartWithFlag(8), antenna 2: what RxStart sends but the flag", [](D& d) { return d.SetAntenna(2), d.RxStartWithFlag(8); }, 0, 2412, 0, 8, 2},
        {"RxCWStartFromFreq(5500) at 40 MHz: bandwidth 0, flag 32",
         [](D& d) { return d.SetBandWidth(2), d.RxCWStartFromFreq(5500); }, 0, 5500, 0, 32, 1},
        {"RxStartWithFlag(0) refused", [](D& d) { return d.RxStartWithFlag(0); }, 3, 0, 0, 0, 1},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        D row(&driver);
        const std::uint64_t starts = Requests(fw::kRxStartReq);
        const std::uint64_t radios = Requests(fw::kSelectRadioReq);
        ASSERT_EQ(c.start(row), c.rc);
        EXPECT_EQ(Requests(fw::kSelectRadioReq), radios + 1) << "the radio is chosen first in every case";
        EXPECT_EQ(Fw().RadioBitmap(), c.bitmap);
        EXPECT_EQ(Requests(fw::kRxStartReq), starts + (c.rc == 0 ? 1 : 0));
        if (c.rc != 0) continue;
        const fw::RxStartRequest rx = Fw().LastRxStart().value();
        EXPECT_EQ(rx.freq, c.freq);
        EXPECT_EQ(rx.bandwidth, c.bandwidth);
        EXPECT_EQ(rx.position, 0);
        EXPECT_EQ(rx.flags, c.flags);
        EXPECT_EQ(rx.macAddress, (fw::MacAddress{0x11, 0x22, 0x33, 0x44, 0x55, 0x66}));
        EXPECT_EQ(row.RxStop(), 0);
    }
}

TEST_F(E2eWlanDut, BistFrequencyGainsAntennaAndTheDecodedWord) {
    // The frequency follows the channel alone; the phase is in hundredths
    // of a radian. Both antennas are refused: tests/e2e.
    struct Case { const char* what; int band, channel, bandwidthArg, txGain, antenna, rxGainArg; std::uint16_t freq,
                  rxGain; std::int16_t r, i; int abs, phase; } const cases[] = {
        {"channel 6 in band 2", 2, 6, 1, 25, 1, 0, 2437, 2, -1, 0, 1, 314},
        {"channel 6 at 40 MHz: no correction", 1, 6, 2, 25, 2, 0, 2437, 2, 0, 0, 0, 0},
        {"channel 14: no addition", 1, 14, 1, 10, 2, 5, 2477, 5, 1, 1, 1, 78},
        {"channel 165", 2, 165, 1, 16, 1, 1, 5825, 1, -3, -4, 5, -221},
        {"the most negative part", 1, 1, 1, 25, 1, 0, 2412, 2, -32768, 0, 32768, 314},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        D row(&driver);
        row.SetBand(c.band), row.SetChannel(c.channel), row.SetBandWidth(c.bandwidthArg);
        row.SetTxGain(c.txGain), row.SetAntenna(c.antenna);
        Fw().SetBistGain(c.r, c.i);
        int abs = -1, phase = -1;
        ASSERT_EQ(row.GetBIST(c.rxGainArg, &abs, &phase), 0);
        const fw::BistGetTxGainRequest bist = Fw().LastBistGetTxGain().value();
        EXPECT_EQ(bist.freq, c.freq);
        EXPECT_EQ(bist.txGain, c.txGain);
        EXPECT_EQ(bist.rxGain, c.rxGain) << "rx gain 0 goes out as 2";
        EXPECT_EQ(Fw().RadioBitmap(), c.antenna);
        EXPECT_EQ(std::make_pair(abs, phase), std::make_pair(c.abs, c.phase));
    }
}

TEST_F(E2eWlanDut, ReadRxAndGetRssiReadTheCountsAndTheAverageOrCurrentSignal) {
    // The readings: cur, av, min, max. The current value stands in while
    // the firmware has no history: min below -1, average and max -1.
    struct Case { std::uint32_t total, good; int errors; fw::SignalReadings readings; int rssi; } const cases[] = {
        {0, 0, 0, {-40, -1, -70, -1}, -40},          {7, 7, 0, {-40, -1, -1, -1}, -1},
        {100, 0, 100, {-40, -1, -70, -30}, -1},      {65536, 1, 65535, {-40, -55, -70, -1}, -55},
    };
    ASSERT_EQ(dut.RxStart(), 0);
    for (const Case& c : cases) {
        SCOPED_TRACE(std::to_string(c.total) + " frames, " + std::to_string(c.good) + " good");
        Fw().SetRxCounts(c.total, c.good);
        Fw().SetRssi(c.readings);
        ASSERT_EQ(dut.ReadRx(), 0);
        EXPECT_EQ(Fw().LastRxRead().value().counters, (std::vector<std::uint16_t>{0xE000, 0xE001}));
        EXPECT_EQ(Counts(dut), std::make_pair(static_cast<int>(c.good), c.errors));
        int value = 0;
        ASSERT_EQ(dut.GetRSSI(&value), 0);
        EXPECT_EQ(value, c.rssi);
    }
    // A stop stores what it reads; a new start clears the counts before
    // anything is sent, even a start refused for its flag.
    const std::function<int()> starts[] = {[&] { return dut.RxStart(); }, [&] { return dut.RxStartWithFlag(3); }};
    for (const auto& start : starts) {
        Fw().SetRxCounts(30, 20);
        ASSERT_EQ(dut.RxStop(), 0);
        ASSERT_EQ(Counts(dut), std::make_pair(20, 10));
        start();
        EXPECT_EQ(Counts(dut), std::make_pair(0, 0));
    }
    int rssi = 0;
    EXPECT_EQ(dut.GetRSSI(&rssi), 2) << "no receiver to read";
}

TEST_F(E2eWlanDut, RxStopStopsTheReceiverEvenWhenTheReadFails) {
    struct Case { const char* what; bool receiver, failRead; int rc, good, errors; } const cases[] = {
        {"read and stop succeed", true, false, 0, 150, 50},
        {"read refused: counts 0, stop still sent", true, true, 0, 0, 0},
        {"no receiver: read and stop refused", false, false, 2, 0, 0},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        D row(&driver);
        if (c.receiver) {
            ASSERT_EQ(row.RxStart(), 0);
            Fw().SetRxCounts(100, 90);  // counts a failing read must clear
            ASSERT_EQ(row.ReadRx(), 0);
            Fw().SetRxCounts(200, 150);
        }
        if (c.failRead) Fw().ForceResult(fw::kRxReadReq, fw::kResultInvalidParameter);
        const std::uint64_t stops = Requests(fw::kRxStopReq);
        const std::uint64_t reads = Requests(fw::kRxReadReq);
        EXPECT_EQ(row.RxStop(), c.rc);
        EXPECT_EQ(Requests(fw::kRxReadReq), reads + 1);
        EXPECT_EQ(Requests(fw::kRxStopReq), stops + 1) << "the stop is sent in every case";
        EXPECT_FALSE(Fw().Rx().running);
        EXPECT_EQ(Counts(row), std::make_pair(c.good, c.errors));
    }
}

}  // namespace
