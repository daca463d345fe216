// The WLAN DUT's parameters and its rate, channel and interval arithmetic.
#include <gtest/gtest.h>

#include <string>

#include "support/log_capture.h"
#include "wlan/WlanDutLib.h"

namespace {

TEST(FrameTiming, RateCodesAndIntervals) {
    // Burst interval 100 and payload 1024 throughout.
    struct Case {
        const char* what;
        int rate, sgi, vht, gi, he, bandwidth, ant, preamble, ru;
        uint16_t code;
        int interval;
    } const cases[] = {
        {"index 1", 1, 0, 0, 0, 0, 1, 1, 0, -1, 1, 8724},
        {"index 2 short preamble", 2, 0, 0, 0, 0, 1, 1, 0, -1, 2, 4412},
        {"index 3 short preamble", 3, 0, 0, 0, 0, 1, 1, 0, -1, 5, 1729},
        {"index 6 long preamble", 6, 0, 0, 0, 0, 1, 1, 1, -1, 11, 1059},
        {"index 4", 4, 0, 0, 0, 0, 1, 1, 0, -1, 0x2006, 1532},
        {"index 14", 14, 0, 0, 0, 0, 1, 1, 0, -1, 0x2036, 280},
        {"HT 20 one stream", 22, 0, 0, 0, 0, 1, 1, 0, -1, 0x4007, 268},
        {"HT 20 one stream sgi", 22, 1, 0, 0, 0, 1, 1, 0, -1, 0x4047, 255},
        {"VHT 80 one stream", 24, 0, 1, 0, 0, 3, 1, 0, -1, 0x6809, 164},
        {"HT MCS 32 at 40", 47, 0, 0, 0, 0, 2, 1, 0, -1, 0x4420, 1548},
        {"HE 80 gi 0", 26, 0, 0, 0, 1, 3, 1, 0, -1, 0x880B, 168},
        {"HE 20 gi 2", 15, 0, 0, 2, 1, 1, 1, 0, -1, 0x8020, 1320},
    };
    CWlanDutLib dut(nullptr);
    for (const Case& c : cases) {
        const uint16_t code = dut.GetDataRate(c.rate, c.sgi, c.vht, c.gi, c.he, c.bandwidth, c.ant);
        EXPECT_EQ(code, c.code) << c.what;
        EXPECT_EQ(dut.CalculateInterval(c.bandwidth, c.rate, code, c.preamble, c.sgi, c.he, c.gi, c.ru, 100, 1024, c.ant),
                  c.interval)
            << c.what;
    }
}

TEST(FrameTiming, HeSymbolTimeUsesItsExactDouble) {
    // 15 symbols with a preamble of 40 give 245 with 12.8 + 0.8, and would
    // give 244 with the nearest double to 13.6. HE MCS 0 at 20 MHz without a
    // resource unit carries 0.5 * 234 = 117 bits a symbol; a payload of 180
    // makes 210 * 8 + 22 = 1702 bits, 15 symbols.
    CWlanDutLib dut(nullptr);
    EXPECT_EQ(dut.CalculateInterval(1, 15, 0x8000, 0, 0, 1, 0, -1, 0, 180, 1), 245);
}

TEST(FrameTiming, RefusedCombinations) {
    struct Case {
        const char* what;
        int rate, vht, he, bandwidth, ant;
    } const cases[] = {
        {"VHT index 24 at 20 MHz", 24, 1, 0, 1, 1},
        {"HT index 47 at 20 MHz", 47, 0, 0, 1, 1},
        {"HT at 80 MHz", 20, 0, 0, 3, 1},
        {"VHT index 25", 25, 1, 0, 2, 1},
        {"HT index 23 on one antenna", 23, 0, 0, 1, 1},
        {"HT with antenna 3", 15, 0, 0, 1, 3},
        {"HE index 27", 27, 0, 1, 1, 1},
        {"HE at bandwidth 4", 15, 0, 1, 4, 1},
        {"legacy index 9", 9, 0, 0, 1, 1},
        {"legacy index 11", 11, 0, 0, 1, 1},
        {"index 0", 0, 0, 0, 1, 1},
        {"negative index", -3, 0, 0, 1, 1},
    };
    CWlanDutLib dut(nullptr);
    for (const Case& c : cases) EXPECT_EQ(dut.GetDataRate(c.rate, 0, c.vht, 0, c.he, c.bandwidth, c.ant), 0) << c.what;
    // Both antennas: HT 23..30 are two-stream codes, 15..22 stay one-stream.
    EXPECT_EQ(dut.GetDataRate(23, 0, 0, 0, 0, 1, 0), 0x4088);
    EXPECT_EQ(dut.GetDataRate(22, 0, 0, 0, 0, 1, 0), 0x4007);
    EXPECT_EQ(dut.GetDataRate(15, 0, 1, 0, 0, 1, 0), 0x6080) << "VHT two streams";
}

TEST(FrameTiming, IntervalRefusals) {
    testsupport::LogCapture log;
    CWlanDutLib dut(nullptr);
    EXPECT_EQ(dut.CalculateInterval(1, 9, 0, 0, 0, 0, 0, -1, 100, 1024, 1), 0);
    EXPECT_EQ(dut.CalculateInterval(1, 20, 0x1234, 0, 0, 0, 0, -1, 100, 1024, 1), 0);
    EXPECT_EQ(dut.CalculateInterval(3, 15, 0x6800, 0, 0, 0, 0, -1, 100, 1024, 1), 100 + 4 * ((8454 + 116) / 117) + 40);
    EXPECT_EQ(log.Texts("WLANDUT"), (std::vector<std::string>{"Not allowed at_data_rate", "incorrect wlan_data_rate"}));
}

TEST(FrameTiming, ChannelCorrection) {
    struct Case {
        int channel, bandwidth, result;
    } const cases[] = {
        {6, 2, 8}, {36, 2, 38}, {40, 2, 38}, {36, 3, 42}, {48, 3, 42}, {144, 2, 144},
        {144, 3, 138}, {165, 3, 165}, {36, 1, 36}, {1, 3, 1}, {161, 2, 159}, {157, 3, 155},
    };
    CWlanDutLib dut(nullptr);
    for (const Case& c : cases) {
        EXPECT_EQ(dut.GetChannelCorrected(c.channel, c.bandwidth), c.result) << c.channel << "@" << c.bandwidth;
    }
}

TEST(DutSetters, Boundaries) {
    struct Case {
        int (CWlanDutLib::*set)(int);
        int value;
        int result;
    } const cases[] = {
        {&CWlanDutLib::SetChannel, 14, 0},   {&CWlanDutLib::SetChannel, 15, 3},  {&CWlanDutLib::SetChannel, 35, 3},
        {&CWlanDutLib::SetChannel, 36, 0},   {&CWlanDutLib::SetChannel, 165, 0}, {&CWlanDutLib::SetChannel, 166, 3},
        {&CWlanDutLib::SetChannel, 0, 3},    {&CWlanDutLib::SetDataRate, 0, 3},  {&CWlanDutLib::SetDataRate, 30, 0},
        {&CWlanDutLib::SetDataRate, 31, 3},  {&CWlanDutLib::SetDataRate, 46, 3}, {&CWlanDutLib::SetDataRate, 47, 0},
        {&CWlanDutLib::SetAntenna, -1, 3},   {&CWlanDutLib::SetAntenna, 0, 0},   {&CWlanDutLib::SetAntenna, 3, 3},
        {&CWlanDutLib::SetLongPreamble, 0, 3}, {&CWlanDutLib::SetLongPreamble, 8, 3},
        {&CWlanDutLib::SetBandWidth, 0, 3},  {&CWlanDutLib::SetBandWidth, 9, 3}, {&CWlanDutLib::SetTxGain, -1, 0},
    };
    for (const Case& c : cases) {
        CWlanDutLib dut(nullptr);
        EXPECT_EQ((dut.*c.set)(c.value), c.result) << c.value;
    }
}

std::string Text(CWlanDutLib& dut, int (CWlanDutLib::*get)(char*)) {
    char text[16] = {};
    EXPECT_EQ((dut.*get)(text), 0);
    return text;
}

TEST(DutSetters, GettersGiveTheStoredFields) {
    testsupport::LogCapture log;
    CWlanDutLib dut(nullptr);
    EXPECT_EQ(Text(dut, &CWlanDutLib::GetChannel), "1\n");
    EXPECT_EQ(Text(dut, &CWlanDutLib::GetTxGain), "25\n");
    EXPECT_EQ(dut.SetChannel(166), 3);
    EXPECT_EQ(Text(dut, &CWlanDutLib::GetChannel), "1\n") << "a refused value leaves the field";
    EXPECT_EQ(dut.SetTxGain(-1), 0);
    EXPECT_EQ(Text(dut, &CWlanDutLib::GetTxGain), "25\n");
    EXPECT_EQ(dut.SetBandWidth(8), 0);
    EXPECT_EQ(Text(dut, &CWlanDutLib::GetBandWidth), "3\n");
    EXPECT_EQ(dut.SetLongPreamble(3), 0);
    EXPECT_EQ(Text(dut, &CWlanDutLib::GetLongPreamble), "1\n");
    EXPECT_EQ(Text(dut, &CWlanDutLib::GetShortGuardInterval), "1\n");
    EXPECT_EQ(dut.SetPayloadSize(-7), 0);
    EXPECT_EQ(Text(dut, &CWlanDutLib::GetPayloadSize), "-7\n");
    const auto lines = log.Texts("WLANDUT");
    EXPECT_NE(std::find(lines.begin(), lines.end(), "currnet power setting : 25 dBm\n"), lines.end());
    EXPECT_NE(std::find(lines.begin(), lines.end(), "ERROR: Check Channel (1 ~ 14, 36 ~ 165)\n"), lines.end());
    EXPECT_NE(std::find(lines.begin(), lines.end(), "SetBandWidth - bw=3, vht_enabled=0, he_enabled=1\n"), lines.end());
    EXPECT_NE(std::find(lines.begin(), lines.end(), "Payload length : -7\n"), lines.end());
}

TEST(DutSetters, PreambleAndBandwidthCombinations) {
    struct Preamble {
        int arg, longPreamble, sgi, gi;
    } const preambles[] = {{1, 0, 0, 9}, {2, 1, 0, 9}, {3, 1, 1, 9}, {4, 1, 0, 9}, {5, 0, 0, 0}, {6, 0, 0, 1}, {7, 0, 0, 2}};
    for (const Preamble& p : preambles) {
        CWlanDutLib dut(nullptr);
        dut.SetLongPreamble(7);  // HE guard interval 2
        dut.SetLongPreamble(3);  // long preamble with short guard interval
        ASSERT_EQ(dut.SetLongPreamble(p.arg), 0);
        char text[16];
        dut.GetLongPreamble(text);
        EXPECT_EQ(std::stoi(text), p.longPreamble) << p.arg;
        EXPECT_EQ(dut.GetSgi(), p.sgi) << p.arg;
        EXPECT_EQ(dut.Get11axGi(), p.gi == 9 ? 2 : p.gi) << p.arg << " (9: left as it was)";
    }
    struct Width {
        int arg, bandwidth, vht, he;
    } const widths[] = {{1, 1, 0, 0}, {2, 2, 0, 0}, {3, 3, 1, 0}, {4, 1, 1, 0},
                        {5, 2, 1, 0}, {6, 1, 0, 1}, {7, 2, 0, 1}, {8, 3, 0, 1}};
    for (const Width& w : widths) {
        CWlanDutLib dut(nullptr);
        ASSERT_EQ(dut.SetBandWidth(w.arg), 0);
        char text[16];
        dut.GetBandWidth(text);
        EXPECT_EQ(std::stoi(text), w.bandwidth) << w.arg;
        EXPECT_EQ(dut.GetVhtEnabled(), w.vht) << w.arg;
        EXPECT_EQ(dut.GetHeEnabled(), w.he) << w.arg;
    }
}

}  // namespace
