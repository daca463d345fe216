// Scan text that the simulator's iw never prints, and the ends of the 1 MiB
// scan buffer, fed through a fake iw. Access points as iw prints them are
// in tests/e2e_wlan.
#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

#include "factory/ScanList.h"
#include "support/fake_tool.h"
#include "wlan/WlanDriver.h"

namespace {

constexpr size_t kSize = CWlanDriver::kScanOutputSize;

std::string Entry(const std::string& bssid, const std::string& signal, const std::string& ssid) {
    return "BSS " + bssid + "(on wlan0)\n\tfreq: 2412\n\tsignal: " + signal + " dBm\n\tSSID: " + ssid +
           "\n\tBSS Load:\n\t\t * station count: 3\n";
}

// A scan over `text` printed by a fake iw and its parse: "mac signal ssid".
std::vector<std::string> Scan(const std::string& text, CWlanDriver& driver) {
    testsupport::FakeTool iw("iw", "cat \"$(dirname \"$0\")/out\"");
    iw.WriteFile("out", text);
    EXPECT_EQ(driver.StartScan(), 0);
    CScanList list;
    EXPECT_EQ(driver.GetScanResult(list), 0);
    std::vector<std::string> out;
    while (SCAN_INFO_NODE* n = list.Pop()) {
        out.push_back(std::string(n->mac) + " " + std::to_string(n->signal_dbm) + " " + n->name);
        delete n;
    }
    return out;
}

TEST(WlanScan, TextTheToolDoesNotPrint) {
    struct Case { const char* what; std::string text; std::vector<std::string> expected; } const cases[] = {
        {"signal but no SSID anywhere behind it", "BSS 02:00:00:00:00:05(on wlan0)\n\tsignal: -33.00 dBm\n", {}},
        {"BSS in the middle of a line starts nothing",
         "junk\n\tBSS 02:00:00:00:00:07(on wlan0)\n\tsignal: -1.00 dBm\n\tSSID: x\n", {}},
        {"empty SSID", Entry("02:00:00:00:00:03", "-60", ""), {"02:00:00:00:00:03 -60 "}},
        {"signal without digits", Entry("02:00:00:00:00:04", "x", "b"), {"02:00:00:00:00:04 0 b"}},
        {"an address again: its entry updated, all listed behind it dropped",
         Entry("02:00:00:00:00:01", "-40", "a") + Entry("02:00:00:00:00:02", "-41", "b") +
             Entry("02:00:00:00:00:01", "-42", "c"),
         {"02:00:00:00:00:01 -42 c"}},
    };
    for (const Case& c : cases) {
        CWlanDriver driver;
        EXPECT_EQ(Scan(c.text, driver), c.expected) << c.what;
    }
}

TEST(WlanScan, TheLineThatReachesOneMebibyteAndAllAfterItAreLost) {
    const std::string first = Entry("02:00:00:00:00:01", "-40", "first");
    std::string text = first;
    const std::string pad = "\t" + std::string(98, 'p') + "\n";
    while (text.size() + 2 * pad.size() < kSize) text += pad;
    // Ten bytes left: the next entry's first line reaches the limit.
    text += std::string(kSize - 10 - text.size() - 1, 'r') + "\n";
    const size_t kept = text.size();
    text += Entry("02:00:00:00:00:02", "-41", "lost");
    CWlanDriver driver;
    EXPECT_EQ(Scan(text, driver), std::vector<std::string>{"02:00:00:00:00:01 -40 first"});
    const char* out = driver.GetScanOutput();
    EXPECT_EQ(std::strlen(out + first.size()), kept - first.size()) << "the text up to the limit is kept";
    EXPECT_EQ(out[kSize - 1], '\0');
}

TEST(WlanScan, ParseAtTheVeryEndOfTheBufferStaysInside) {
    // A "BSS " whose address would run past the buffer's end.
    std::string text;
    const std::string pad = std::string(99, 'p') + "\n";
    while (text.size() + pad.size() < kSize - 16) text += pad;
    text += std::string(kSize - 1 - text.size() - 9, 'q') + "\nBSS 02:0";
    ASSERT_EQ(text.size(), kSize - 1);
    CWlanDriver driver;
    EXPECT_EQ(Scan(text, driver), std::vector<std::string>{});
}

}  // namespace
