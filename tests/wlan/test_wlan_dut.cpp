// The WLAN DUT's arithmetic at the edges of its ranges, where the end-to-end
// transmit tests cannot reach: rate codes, the rate-code ranges of the frame
// interval, the HE resource-unit steps, and the setters' ranges.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "support/log_capture.h"
#include "wlan/WlanDutLib.h"

namespace {

constexpr char kTag[] = "WLANDUT";

TEST(FrameTiming, RateCodesTheSettersCannotReach) {
    // Code 0: the combination does not exist. The transmit tests in
    // tests/e2e_wlan cover every index the setters let through; these are the
    // arguments they refuse or never form.
    struct Case { int rate, sgi, vht, gi, he, bandwidth, ant; uint16_t code; } const cases[] = {
        {-1, 0, 0, 0, 0, 1, 1, 0}, {0, 0, 0, 0, 0, 1, 1, 0},  {11, 0, 0, 0, 0, 1, 1, 0}, {31, 0, 0, 0, 0, 1, 0, 0},
        {47, 0, 0, 0, 0, 1, 1, 0}, {48, 0, 0, 0, 0, 2, 1, 0}, {15, 0, 0, 0, 0, 0, 1, 0}, {15, 0, 0, 0, 0, 1, 3, 0},
        {15, 0, 0, 0, 0, 1, -1, 0}, {22, 2, 0, 0, 0, 1, 1, 0x4007}, {22, 3, 0, 0, 0, 1, 1, 0x4047},
        {15, 0, 1, 0, 0, 4, 1, 0}, {15, 0, 1, 0, 0, 1, 3, 0}, {15, 0, 0, 0, 1, 4, 1, 0}, {15, 0, 0, 0, 1, 1, 3, 0},
        {15, 0, 0, 5, 1, 1, 1, 0x8010},
    };
    CWlanDutLib dut(nullptr);
    for (const Case& c : cases) {
        EXPECT_EQ(dut.GetDataRate(c.rate, c.sgi, c.vht, c.gi, c.he, c.bandwidth, c.ant), c.code) << "row " << &c - cases;
    }
}

TEST(FrameTiming, IntervalAtTheEdgesOfEveryRateCodeRange) {
    // Index 23, payload 1024, no gap, no sgi: each range picks its own bits
    // per symbol (312 and 648 at 20 and 40 MHz, 26 and 54 for the two-stream
    // HT twins eight indices down, 1404 at 80 MHz, 24 for MCS 32) and its
    // preamble (9 symbols for HT, 10 for VHT). A code just outside a range is
    // refused.
    struct Range { uint16_t first, last; int interval; } const ranges[] = {
        {0x4000, 0x4047, 148}, {0x4088, 0x40CF, 1340}, {0x4400, 0x4407, 92}, {0x4420, 0x4420, 1448},
        {0x4440, 0x4447, 92},  {0x4460, 0x4460, 1448}, {0x4488, 0x44CF, 664}, {0x6000, 0x6048, 152},
        {0x6080, 0x60C8, 152}, {0x6400, 0x6449, 96},   {0x6480, 0x64C9, 96},  {0x6800, 0x6849, 68},
        {0x6880, 0x68C9, 68},
    };
    CWlanDutLib dut(nullptr);
    for (const Range& r : ranges) {
        const std::pair<int, int> edges[] = {
            {r.first - 1, 0}, {r.first, r.interval}, {r.last, r.interval}, {r.last + 1, 0}};
        for (const auto& [code, interval] : edges) {
            testsupport::LogCapture log;
            EXPECT_EQ(dut.CalculateInterval(1, 23, code, 0, 0, 0, 0, -1, 0, 1024, 1), interval) << std::hex << code;
            EXPECT_EQ(log.Texts(kTag), std::vector<std::string>(interval == 0 ? 1 : 0, "incorrect wlan_data_rate"));
        }
    }
    testsupport::LogCapture log;
    EXPECT_EQ(dut.CalculateInterval(1, 9, 0, 0, 0, 0, 0, -1, 100, 1024, 1), 0) << "legacy hole";
    EXPECT_EQ(dut.CalculateInterval(1, 25, 0x4000, 0, 0, 0, 0, -1, 100, 1024, 1), 0) << "past the tables' end";
    EXPECT_EQ(log.Texts(kTag), std::vector<std::string>(2, "Not allowed at_data_rate"));
    EXPECT_EQ(dut.CalculateInterval(1, 24, 0x4000, 0, 0, 0, 0, -1, 0, 1024, 1), 84) << "720 bits at index 24, 20 MHz";
}

TEST(FrameTiming, HeIntervalByResourceUnitWidthAndGuardInterval) {
    // HE MCS 0, payload 1024, no gap. A resource unit adds 4 to the 36 of
    // the preamble; the symbol time with gi 0 is the double 12.8 + 0.8.
    struct Case { int bandwidth, resourceUnit, gi, payload, interval; } const cases[] = {
        {1, 36, 0, 1024, 9633}, {1, 37, 0, 1024, 4845}, {1, 52, 0, 1024, 4845}, {1, 53, 0, 1024, 2302},
        {1, 60, 0, 1024, 2302}, {1, 61, 0, 1024, 1037}, {1, 64, 0, 1024, 1037}, {1, 65, 0, 1024, 548},
        {1, 66, 0, 1024, 548},  {1, 67, 0, 1024, 289},  {1, -1, 0, 1024, 1033}, {2, -1, 0, 1024, 544},
        {3, -1, 0, 1024, 285},  {1, -1, 1, 1024, 1096}, {1, -1, 2, 1024, 1220}, {1, -1, 3, 1024, 1204},
        // 15 symbols and a preamble of 40: 245 with 12.8 + 0.8, 244 with
        // the nearest double to 13.6.
        {1, -1, 0, 180, 245},
    };
    CWlanDutLib dut(nullptr);
    for (const Case& c : cases) {
        EXPECT_EQ(dut.CalculateInterval(c.bandwidth, 15, 0x8000, 0, 0, 1, c.gi, c.resourceUnit, 0, c.payload, 1),
                  c.interval) << "row " << &c - cases;
    }
}

TEST(DutSetters, Ranges) {
    using S = int (CWlanDutLib::*)(int);
    const S channel = &CWlanDutLib::SetChannel, rate = &CWlanDutLib::SetDataRate, ant = &CWlanDutLib::SetAntenna,
            preamble = &CWlanDutLib::SetLongPreamble, bw = &CWlanDutLib::SetBandWidth;
    struct Case { S set; int value, rc; } const cases[] = {
        {channel, 0, 3},  {channel, 14, 0}, {channel, 15, 3}, {channel, 35, 3},  {channel, 36, 0}, {channel, 165, 0},
        {channel, 166, 3}, {rate, 0, 3},    {rate, 30, 0},    {rate, 31, 3},     {rate, 48, 3},    {ant, -1, 3},
        {ant, 3, 3},      {preamble, 0, 3}, {preamble, 8, 3}, {bw, 0, 3},        {bw, 9, 3},
    };
    for (const Case& c : cases) {
        CWlanDutLib dut(nullptr);
        EXPECT_EQ((dut.*c.set)(c.value), c.rc) << c.value;
    }
}

}  // namespace
