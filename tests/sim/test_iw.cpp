// The iw stand-in: the shape of its scan text, its controls and its errors.
#include <gtest/gtest.h>

#include <algorithm>
#include <fstream>
#include <string>
#include <vector>

#include "sim/iw_scan.h"
#include "sim_test_util.h"
#include "support/sim_env.h"

namespace {

using tavo::sim::AccessPoint;

AccessPoint Ap(const std::string& bssid, int frequency, double signal, const std::string& ssid) {
    AccessPoint ap;
    ap.bssid = bssid;
    ap.frequency = frequency;
    ap.signal = signal;
    ap.ssid = ssid;
    return ap;
}

void InterfaceUp(const testsupport::SimEnv& env) {
    std::ofstream(env.Path("/sys/class/net/wlan0/flags")) << "0x1003\n";
}

bool Has(const std::string& text, const std::string& part) {
    return text.find(part) != std::string::npos;
}

TEST(SimIw, ScanTextHasTheShapeOfIw) {
    const std::string longSsid(300, 'L');
    testsupport::SimEnv env;
    env.Sim().SetAccessPoints({Ap("02:00:00:00:00:01", 2412, -45.5, "HomeNet"),
                               Ap("02:00:00:00:00:0A", 5180, -70.25, "Office 5G"),
                               Ap("02:00:00:00:00:03", 2437, -88, longSsid)});
    InterfaceUp(env);
    const simtest::CommandResult r = simtest::Run("iw dev wlan0 scan");
    ASSERT_EQ(r.status, 0);

    struct Expected {
        const char* head;
        std::vector<std::string> lines;
    } const expected[] = {
        {"BSS 02:00:00:00:00:01(on wlan0)",
         {"\tfreq: 2412", "\tsignal: -45.50 dBm", "\tSSID: HomeNet", "\tDS Parameter set: channel 1",
          "\tbeacon interval: 100 TUs", "\tcapability: ESS Privacy ShortSlotTime (0x0411)", "\tBSS Load:",
          "\t\t * station count: 3"}},
        {"BSS 02:00:00:00:00:0a(on wlan0)", {"\tfreq: 5180", "\tsignal: -70.25 dBm", "\tSSID: Office 5G", "\tBSS Load:"}},
        {"BSS 02:00:00:00:00:03(on wlan0)",
         {"\tfreq: 2437", "\tsignal: -88.00 dBm", "\tSSID: " + longSsid, "\tDS Parameter set: channel 6"}},
    };
    const std::vector<std::string> blocks = simtest::ScanBlocks(r.out);
    ASSERT_EQ(blocks.size(), 3u) << r.out;
    for (size_t i = 0; i < blocks.size(); ++i) {
        const std::vector<std::string> lines = simtest::Lines(blocks[i]);
        EXPECT_EQ(lines.front(), expected[i].head);
        for (const std::string& line : expected[i].lines) {
            EXPECT_NE(std::find(lines.begin(), lines.end(), line), lines.end()) << "entry " << i << " lacks " << line;
        }
        for (size_t k = 1; k < lines.size(); ++k) EXPECT_EQ(lines[k][0], '\t') << lines[k];
        // "signal: " comes before "SSID: ", which the library relies on.
        EXPECT_LT(blocks[i].find("signal: "), blocks[i].find("SSID: "));
    }
    // Every other "BSS " stands mid-line, behind a tab.
    size_t midLine = 0;
    for (size_t at = r.out.find("BSS "); at != std::string::npos; at = r.out.find("BSS ", at + 1)) {
        if (at == 0 || r.out[at - 1] == '\n') continue;
        EXPECT_EQ(r.out[at - 1], '\t');
        ++midLine;
    }
    EXPECT_EQ(midLine, 3u);
    EXPECT_EQ(r.out.back(), '\n');
}

TEST(SimIw, AccessPointsChangeWhileRunning) {
    testsupport::SimEnv env;
    InterfaceUp(env);
    EXPECT_EQ(simtest::Run("iw dev wlan0 scan").out, "");
    env.Sim().AddAccessPoint(Ap("02:00:00:00:00:01", 2412, -40, "one"));
    env.Sim().AddAccessPoint(Ap("02:00:00:00:00:02", 2462, -41, "two"));
    EXPECT_EQ(simtest::ScanBlocks(simtest::Run("iw dev wlan0 scan").out).size(), 2u);
    env.Sim().SetAccessPoints({Ap("02:00:00:00:00:09", 2412, -40, "nine")});
    const std::vector<std::string> blocks = simtest::ScanBlocks(simtest::Run("iw dev wlan0 scan").out);
    ASSERT_EQ(blocks.size(), 1u);
    EXPECT_TRUE(Has(blocks[0], "\tSSID: nine\n"));
    env.Sim().ClearAccessPoints();
    EXPECT_EQ(simtest::Run("iw dev wlan0 scan").out, "");
    EXPECT_TRUE(env.Sim().AccessPoints().empty());
}

TEST(SimIw, EntryWithoutSignal) {
    testsupport::SimEnv env;
    AccessPoint silent = Ap("02:00:00:00:00:01", 2412, -40, "silent");
    silent.withSignal = false;
    env.Sim().SetAccessPoints({silent, Ap("02:00:00:00:00:02", 2412, -60.75, "loud")});
    InterfaceUp(env);
    const std::vector<std::string> blocks = simtest::ScanBlocks(simtest::Run("iw dev wlan0 scan").out);
    ASSERT_EQ(blocks.size(), 2u);
    EXPECT_FALSE(Has(blocks[0], "signal: "));
    EXPECT_TRUE(Has(blocks[0], "\tSSID: silent\n"));
    EXPECT_TRUE(Has(blocks[1], "\tsignal: -60.75 dBm\n"));
}

TEST(SimIw, OutputBeyondOneMebibyte) {
    testsupport::SimEnv env;
    AccessPoint big = Ap("02:00:00:00:00:01", 2412, -40, "big");
    big.padding = 0x100000;
    env.Sim().SetAccessPoints({big, Ap("02:00:00:00:00:02", 2412, -50, "beyond")});
    InterfaceUp(env);
    const simtest::CommandResult r = simtest::Run("iw dev wlan0 scan");
    ASSERT_EQ(r.status, 0);
    EXPECT_GT(r.out.size(), 0x100000u);
    const size_t second = r.out.find("\nBSS 02:00:00:00:00:02(on wlan0)\n");
    ASSERT_NE(second, std::string::npos);
    EXPECT_GT(second, 0x100000u);
    // Whole lines that the library's 1024-byte line reads take in one piece.
    for (const std::string& line : simtest::Lines(r.out)) {
        ASSERT_LT(line.size() + 1, 1024u);
        ASSERT_FALSE(line.empty());
    }
}

// The padding is exactly the bytes asked for, in whole lines.
TEST(SimIw, PaddingIsExact) {
    const AccessPoint plain = Ap("02:00:00:00:00:01", 2412, -40, "x");
    const size_t base = tavo::sim::FormatScan({plain}, "wlan0").size();
    for (const size_t padding : {size_t{1}, size_t{2}, size_t{50}, size_t{100}, size_t{160}, size_t{161},
                                 size_t{333}, size_t{4096}, size_t{0x100000}}) {
        AccessPoint padded = plain;
        padded.padding = padding;
        const std::string text = tavo::sim::FormatScan({padded}, "wlan0");
        EXPECT_EQ(text.size(), base + padding) << padding;
        EXPECT_EQ(text.back(), '\n') << padding;
    }
}

TEST(SimIw, SsidIsEscapedAsIwDoes) {
    struct Case {
        std::string ssid;
        std::string shown;
    } const cases[] = {
        {"plain", "plain"},
        {"two words", "two words"},
        {" lead", "\\x20lead"},
        {"tail ", "tail\\x20"},
        {"back\\slash", "back\\x5cslash"},
        {"tab\there", "tab\\x09here"},
        {"caf\xc3\xa9", "caf\\xc3\\xa9"},
        {std::string("nul\0in", 6), "nul\\x00in"},
        {"", ""},
    };
    for (const Case& c : cases) EXPECT_EQ(tavo::sim::IwEscapeSsid(c.ssid), c.shown) << c.shown;

    // The same through the control file and the installed stand-in.
    testsupport::SimEnv env;
    env.Sim().SetAccessPoints({Ap("02:00:00:00:00:01", 2412, -40, " odd\tname\n\\ ")});
    InterfaceUp(env);
    EXPECT_TRUE(Has(simtest::Run("iw dev wlan0 scan").out, "\tSSID: \\x20odd\\x09name\\x0a\\x5c\\x20\n"));
}

TEST(SimIw, ChannelsFromFrequencies) {
    const std::pair<int, int> cases[] = {{2412, 1}, {2437, 6}, {2472, 13}, {2484, 14}, {5180, 36},
                                         {5825, 165}, {4920, 184}, {5955, 1}, {1000, 0}};
    for (const auto& [mhz, channel] : cases) EXPECT_EQ(tavo::sim::FrequencyToChannel(mhz), channel) << mhz;
}

TEST(SimIw, ErrorsAsIwGivesThem) {
    struct Case {
        const char* what;
        const char* flags;  // wlan0's flags; null leaves the boot value
        const char* command;
        int status;
        const char* text;
    } const cases[] = {
        {"no arguments", "0x1003", "iw 2>&1", 1, "Usage:"},
        {"no command", "0x1003", "iw dev wlan0 2>&1", 1, "Usage:"},
        {"another command", "0x1003", "iw dev wlan0 link 2>&1", 1, "Usage:"},
        {"extra argument", "0x1003", "iw dev wlan0 scan flush 2>&1", 1, "Usage:"},
        {"unknown interface", "0x1003", "iw dev wlan9 scan 2>&1", 237, "command failed: No such device (-19)"},
        {"interface that leaves the tree", "0x1003", "iw dev ../../.. scan 2>&1", 237,
         "command failed: No such device (-19)"},
        {"interface down after boot", nullptr, "iw dev wlan0 scan 2>&1", 156,
         "command failed: Network is down (-100)"},
        {"garbled flags", "0xzz", "iw dev wlan0 scan 2>&1", 251, "command failed: Input/output error (-5)"},
        {"no root", "0x1003", "env -u TAVO_PLATFORM_ROOT iw dev wlan0 scan 2>&1", 1, "TAVO_PLATFORM_ROOT is not set"},
        {"help", "0x1003", "iw help", 0, "Usage:"},
    };
    testsupport::SimEnv env;
    env.Sim().SetAccessPoints({Ap("02:00:00:00:00:01", 2412, -40, "x")});
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        std::ofstream(env.Path("/sys/class/net/wlan0/flags")) << (c.flags != nullptr ? c.flags : "0x1002") << "\n";
        const simtest::CommandResult r = simtest::Run(c.command);
        EXPECT_EQ(r.status, c.status) << r.out;
        EXPECT_TRUE(Has(r.out, c.text)) << r.out;
        if (c.status != 0) {
            EXPECT_FALSE(Has(r.out, "BSS ")) << r.out;
        }
    }
}

TEST(SimIw, BadControlFileIsReported) {
    testsupport::SimEnv env;
    InterfaceUp(env);
    std::ofstream(env.Path("/sim/access_points"))
        << "# comment\n02:00:00:00:00:01\t2412\t-40.00\t-\tgood\n02:00:00:00:00:02\t24x2\t-40\t-\tbad\n";
    const simtest::CommandResult r = simtest::Run("iw dev wlan0 scan 2>&1");
    EXPECT_EQ(r.status, 1);
    EXPECT_TRUE(Has(r.out, "access_points:3: bad frequency")) << r.out;
    EXPECT_FALSE(Has(r.out, "BSS ")) << r.out;
}

}  // namespace
