// StartScan and GetScanResult against the simulator's iw stand-in, with
// access points set through the simulator.
#include <gtest/gtest.h>

#include <sys/stat.h>

#include <cstdio>
#include <string>
#include <vector>

#include "e2e_util.h"
#include "factory/ScanList.h"
#include "sim/access_point.h"
#include "support/log_capture.h"
#include "support/sim_env.h"
#include "wlan/WlanDriver.h"

namespace {

using tavo::sim::AccessPoint;

constexpr char kTag[] = "WLAN_DRIVER";

struct Found {
    std::string bssid;
    int signal;
    std::string ssid;
    bool operator==(const Found& o) const { return bssid == o.bssid && signal == o.signal && ssid == o.ssid; }
};

void PrintTo(const Found& f, std::ostream* os) {
    *os << "{" << f.bssid << ", " << f.signal << ", \"" << f.ssid << "\"}";
}

AccessPoint Ap(const std::string& bssid, double signal, const std::string& ssid, int frequency = 2412) {
    AccessPoint ap;
    ap.bssid = bssid;
    ap.signal = signal;
    ap.ssid = ssid;
    ap.frequency = frequency;
    return ap;
}

std::string Bssid(int n) {
    char text[18];
    std::snprintf(text, sizeof text, "02:00:00:00:00:%02x", n & 0xff);
    return text;
}

// One scan and its parse; the list is emptied into a vector.
std::vector<Found> ScanAndParse(CWlanDriver& driver) {
    EXPECT_EQ(driver.StartScan(), 0);
    CScanList list;
    EXPECT_EQ(driver.GetScanResult(list), 0);
    std::vector<Found> out;
    while (SCAN_INFO_NODE* node = list.Pop()) {
        out.push_back({node->mac, node->signal_dbm, node->name});
        delete node;
    }
    EXPECT_FALSE(driver.IsScanLocked());
    return out;
}

TEST(E2eWlanScan, AccessPointsFromTheSimulator) {
    struct Case {
        const char* what;
        std::vector<AccessPoint> aps;
        std::vector<Found> expected;
    };
    std::vector<Case> cases;
    cases.push_back({"fractional signals lose their fraction",
                     {Ap("02:00:00:00:00:01", -45.5, "half"), Ap("02:00:00:00:00:02", -45.99, "almost"),
                      Ap("02:00:00:00:00:03", -0.75, "near zero"), Ap("02:00:00:00:00:04", -100, "whole", 5180),
                      Ap("02:00:00:00:00:05", -1.01, "just below"), Ap("02:00:00:00:00:06", 12.5, "positive")},
                     {{"02:00:00:00:00:01", -45, "half"},
                      {"02:00:00:00:00:02", -45, "almost"},
                      {"02:00:00:00:00:03", 0, "near zero"},
                      {"02:00:00:00:00:04", -100, "whole"},
                      {"02:00:00:00:00:05", -1, "just below"},
                      {"02:00:00:00:00:06", 12, "positive"}}});
    for (const size_t length : {255u, 256u, 257u, 300u, 1024u}) {
        const std::string ssid(length, 'S');
        cases.push_back({"long SSID",
                         {Ap("02:00:00:00:00:11", -40, ssid), Ap("02:00:00:00:00:12", -41, "next")},
                         {{"02:00:00:00:00:11", -40, ssid.substr(0, 256)}, {"02:00:00:00:00:12", -41, "next"}}});
    }
    Case twelve{"twelve access points, in order", {}, {}};
    for (int i = 0; i < 12; ++i) {
        twelve.aps.push_back(Ap(Bssid(i), -30.25 - i, "net" + std::to_string(i), i % 2 ? 5180 : 2437));
        twelve.expected.push_back({Bssid(i), -30 - i, "net" + std::to_string(i)});
    }
    cases.push_back(twelve);
    cases.push_back({"no access points", {}, {}});

    AccessPoint silent = Ap("02:00:00:00:00:21", -20, "silent");
    silent.withSignal = false;
    cases.push_back({"no signal line: the next entry's signal and SSID are taken",
                     {silent, Ap("02:00:00:00:00:22", -60, "second"), Ap("02:00:00:00:00:23", -61, "third")},
                     {{"02:00:00:00:00:21", -60, "second"}, {"02:00:00:00:00:23", -61, "third"}}});
    cases.push_back({"no signal line in the last entry", {Ap("02:00:00:00:00:24", -62, "first"), silent},
                     {{"02:00:00:00:00:24", -62, "first"}}});

    // More text than the buffer holds: reading stops at the limit, and the
    // tool, still writing, must not hold the driver up.
    AccessPoint padded = Ap("02:00:00:00:00:31", -35, "padded");
    padded.padding = 2u << 20;
    cases.push_back({"two mebibytes of scan text: what lies past one is lost",
                     {padded, Ap("02:00:00:00:00:32", -36, "lost")},
                     {{"02:00:00:00:00:31", -35, "padded"}}});

    testsupport::SimEnv env;
    CWlanDriver driver;
    ASSERT_EQ(driver.EnableInterface(), 0) << "iw scans only on an interface that is up";
    testsupport::LogCapture log;
    for (const Case& c : cases) {
        SCOPED_TRACE(std::string(c.what) + " (" + std::to_string(c.aps.size()) + " access points)");
        env.Sim().SetAccessPoints(c.aps);
        log.Clear();
        EXPECT_EQ(ScanAndParse(driver), c.expected);
        std::vector<std::string> lines;
        for (const Found& f : c.expected) {
            lines.push_back("BSS:" + f.bssid + ", signal:" + std::to_string(f.signal) + ", SSID:" + f.ssid + "\n");
        }
        EXPECT_EQ(log.Texts(kTag), lines);
    }
}

TEST(E2eWlanScan, InterfaceDownGivesAnEmptyScan) {
    testsupport::SimEnv env;
    env.Sim().SetAccessPoints({Ap("02:00:00:00:00:01", -50, "first"), Ap("02:00:00:00:00:02", -60, "second")});
    CWlanDriver driver;
    // Down: iw answers "Network is down" on its error stream, nothing on the
    // one the driver reads.
    EXPECT_EQ(ScanAndParse(driver), std::vector<Found>{});
    EXPECT_STREQ(driver.GetScanOutput(), "");

    ASSERT_EQ(driver.EnableInterface(), 0);
    EXPECT_EQ(ScanAndParse(driver),
              (std::vector<Found>{{"02:00:00:00:00:01", -50, "first"}, {"02:00:00:00:00:02", -60, "second"}}));

    // Down again: the old text is wiped, not parsed a second time.
    ASSERT_EQ(driver.DisableInterface(), 0);
    EXPECT_EQ(ScanAndParse(driver), std::vector<Found>{});
    EXPECT_STREQ(driver.GetScanOutput(), "");
}

TEST(E2eWlanScan, ScanNamesWlan0WhateverTheInterfaceSetting) {
    testsupport::SimEnv env;
    env.Sim().SetAccessPoints({Ap("02:00:00:00:00:41", -44, "only")});
    // A second interface, up; wlan0 stays down.
    ASSERT_EQ(::mkdir(env.Path("/sys/class/net/wlan1").c_str(), 0755), 0);
    ASSERT_TRUE(e2e::WriteText(env.Path("/sys/class/net/wlan1/flags"), "0x1002\n"));
    const char* const saved = IW_INTERFACE;
    IW_INTERFACE = "wlan1";
    CWlanDriver driver;
    EXPECT_EQ(driver.EnableInterface(), 0);
    const std::vector<Found> withWlan1Up = ScanAndParse(driver);
    IW_INTERFACE = saved;

    EXPECT_EQ(e2e::FlagsIn(env.Path("/sys/class/net/wlan1/flags")), 0x1003u)
        << "the flag operations follow the setting";
    EXPECT_EQ(e2e::InterfaceFlags(env), 0x1002u);
    EXPECT_EQ(withWlan1Up, std::vector<Found>{}) << "the scan asked for wlan0, which is down";

    ASSERT_EQ(driver.EnableInterface(), 0);  // wlan0 now
    EXPECT_EQ(ScanAndParse(driver), (std::vector<Found>{{"02:00:00:00:00:41", -44, "only"}}));
}

}  // namespace
