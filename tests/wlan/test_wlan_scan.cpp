// Scanning with iw and parsing its text in place, against hand-made output.
#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

#include "factory/ScanList.h"
#include "support/fake_tool.h"
#include "support/log_capture.h"
#include "wlan/WlanDriver.h"

namespace {

struct Ap {
    std::string bssid;
    int signal;
    std::string ssid;
};

std::string Entry(const std::string& bssid, const std::string& signal, const std::string& ssid) {
    std::string e = "BSS " + bssid + "(on wlan0)\n";
    e += "\tTSF: 123 usec (0d, 00:00:00)\n\tfreq: 2412\n\tbeacon interval: 100 TUs\n";
    if (!signal.empty()) e += "\tsignal: " + signal + " dBm\n";
    e += "\tlast seen: 10 ms ago\n";
    if (!ssid.empty() || signal.size() > 0) e += "\tSSID: " + ssid + "\n";
    e += "\tBSS Load:\n\t\t * station count: 3\n\t\t * channel utilisation: 28/255\n";
    return e;
}

// Runs a scan over `text` printed by a fake iw, and parses it.
std::vector<Ap> Scan(const std::string& text, CWlanDriver& driver) {
    testsupport::FakeTool iw("iw", "[ \"$*\" = \"dev wlan0 scan\" ] || exit 1\ncat \"$(dirname \"$0\")/out\"");
    iw.WriteFile("out", text);
    EXPECT_EQ(driver.StartScan(), 0);
    CScanList list;
    EXPECT_EQ(driver.GetScanResult(list), 0);
    std::vector<Ap> out;
    while (SCAN_INFO_NODE* n = list.Pop()) {
        out.push_back({n->mac, n->signal_dbm, n->name});
        delete n;
    }
    return out;
}

TEST(WlanScan, TwelveAccessPointsInOrder) {
    std::string text;
    std::vector<Ap> expected;
    for (int i = 0; i < 12; ++i) {
        char bssid[18];
        std::snprintf(bssid, sizeof bssid, "02:00:00:00:00:%02x", i);
        text += Entry(bssid, "-" + std::to_string(30 + i) + ".75", "net" + std::to_string(i));
        expected.push_back({bssid, -(30 + i), "net" + std::to_string(i)});  // the fraction is dropped
    }
    CWlanDriver driver;
    testsupport::LogCapture log;
    const std::vector<Ap> got = Scan(text, driver);
    ASSERT_EQ(got.size(), expected.size());
    for (size_t i = 0; i < got.size(); ++i) {
        EXPECT_EQ(got[i].bssid, expected[i].bssid);
        EXPECT_EQ(got[i].signal, expected[i].signal);
        EXPECT_EQ(got[i].ssid, expected[i].ssid);
    }
    EXPECT_TRUE(log.Contains("WLAN_DRIVER", "BSS:02:00:00:00:00:0b, signal:-41, SSID:net11\n"));
    EXPECT_FALSE(driver.IsScanLocked());
}

TEST(WlanScan, EntriesThatDoNotReachTheList) {
    struct Case {
        const char* what;
        std::string text;
        std::vector<Ap> expected;
    } const cases[] = {
        {"no signal, a later entry's signal is taken",
         Entry("02:00:00:00:00:01", "", "") + Entry("02:00:00:00:00:02", "-50.00", "second"),
         {{"02:00:00:00:00:01", -50, "second"}}},
        {"no signal at the end",
         Entry("02:00:00:00:00:01", "-40.00", "first") + "BSS 02:00:00:00:00:09(on wlan0)\n\tfreq: 5180\n",
         {{"02:00:00:00:00:01", -40, "first"}}},
        {"signal but no SSID anywhere behind it",
         "BSS 02:00:00:00:00:05(on wlan0)\n\tsignal: -33.00 dBm\n", {}},
        {"BSS in the middle of a line starts nothing",
         "junk\n\tBSS 02:00:00:00:00:07(on wlan0)\n\tsignal: -1.00 dBm\n\tSSID: x\n", {}},
        {"empty SSID", Entry("02:00:00:00:00:03", "-60", ""), {{"02:00:00:00:00:03", -60, ""}}},
        {"no output", "", {}},
    };
    for (const Case& c : cases) {
        CWlanDriver driver;
        const std::vector<Ap> got = Scan(c.text, driver);
        ASSERT_EQ(got.size(), c.expected.size()) << c.what;
        for (size_t i = 0; i < got.size(); ++i) {
            EXPECT_EQ(got[i].bssid, c.expected[i].bssid) << c.what;
            EXPECT_EQ(got[i].signal, c.expected[i].signal) << c.what;
            EXPECT_EQ(got[i].ssid, c.expected[i].ssid) << c.what;
        }
    }
}

TEST(WlanScan, LongSsidIsCutAt256AndTheRestSkipped) {
    const std::string ssid(300, 'S');
    const std::string text = Entry("02:00:00:00:00:01", "-40", ssid) + Entry("02:00:00:00:00:02", "-41", "next");
    CWlanDriver driver;
    const std::vector<Ap> got = Scan(text, driver);
    ASSERT_EQ(got.size(), 2u);
    EXPECT_EQ(got[0].ssid, std::string(256, 'S'));
    EXPECT_EQ(got[1].ssid, "next");
}

TEST(WlanScan, OutputReachingOneMebibyteLosesTheRest) {
    // Padding lines of 100 bytes until the limit is about to be reached.
    const std::string first = Entry("02:00:00:00:00:01", "-40", "first");
    std::string text = first;
    const std::string pad = "\t" + std::string(98, 'p') + "\n";
    while (text.size() + 2 * pad.size() < CWlanDriver::kScanOutputSize) text += pad;
    // Leave ten bytes: shorter than the next entry's first line.
    text += std::string(CWlanDriver::kScanOutputSize - 10 - text.size() - 1, 'r') + "\n";
    const size_t kept = text.size();
    ASSERT_EQ(kept, CWlanDriver::kScanOutputSize - 10);
    text += Entry("02:00:00:00:00:02", "-41", "lost");  // its first line reaches the limit
    CWlanDriver driver;
    const std::vector<Ap> got = Scan(text, driver);
    ASSERT_EQ(got.size(), 1u);
    EXPECT_EQ(got[0].ssid, "first");
    const char* out = driver.GetScanOutput();
    EXPECT_EQ(out[CWlanDriver::kScanOutputSize - 1], '\0');
    EXPECT_EQ(std::strlen(out + first.size()), kept - first.size()) << "text kept up to the limit";
}

TEST(WlanScan, ParseAtTheVeryEndOfTheBufferStaysInside) {
    // A "BSS " whose address would run past the buffer's end.
    std::string text;
    const std::string pad = std::string(99, 'p') + "\n";
    while (text.size() + pad.size() < CWlanDriver::kScanOutputSize - 16) text += pad;
    text += std::string(CWlanDriver::kScanOutputSize - 1 - text.size() - 9, 'q') + "\nBSS 02:0";
    ASSERT_EQ(text.size(), CWlanDriver::kScanOutputSize - 1);
    CWlanDriver driver;
    EXPECT_TRUE(Scan(text, driver).empty());
}

TEST(WlanScan, ScanToolArgumentsAreFixed) {
    // The fake iw fails for anything but "dev wlan0 scan"; even with another
    // interface name configured the command stays literal.
    const char* saved = IW_INTERFACE;
    IW_INTERFACE = "wlan9";
    CWlanDriver driver;
    const std::vector<Ap> got = Scan(Entry("02:00:00:00:00:01", "-40", "a"), driver);
    IW_INTERFACE = saved;
    EXPECT_EQ(got.size(), 1u);
}

}  // namespace
