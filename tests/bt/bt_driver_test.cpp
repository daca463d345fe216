// The btcli driver: the log ring's backward search on written logs, and tool
// runs through the FIFO with a stand-in tool.
#include <gtest/gtest.h>

#include <sys/stat.h>
#include <unistd.h>

#include <string>
#include <vector>

#include "bt/BtDriver.h"
#include "platform/platform.h"
#include "support/chores.h"
#include "support/fake_tool.h"

namespace {

std::string Lines(int from, int to, const std::string& text) {
    std::string all;
    for (int i = from; i <= to; ++i) all += "line " + std::to_string(i) + " " + text + "\n";
    return all;
}

class BtDriverTest : public ::testing::Test {
protected:
    void SetUp() override {
        for (const char* dir : {"/sys", "/sys/kernel", "/sys/kernel/debug", "/sys/kernel/debug/tavo",
                                "/sys/kernel/debug/tavo/ring0", "/dev"}) {
            mkdir((plat::Root() + dir).c_str(), 0755);
        }
        unlink(plat::MapPath(CBtDriver::kLogSource).c_str());
        unlink(plat::MapPath(CBtDriver::kLogSourceRetry).c_str());
        ASSERT_EQ(driver_.OpenDriver(), 0);
    }
    void Log(const std::string& content, const char* path = CBtDriver::kLogSource) {
        ASSERT_TRUE(testsupport::WriteFile(plat::MapPath(path), content));
    }
    std::string RowText(int n) { return driver_.Rows()[n]; }

    CBtDriver driver_;
};

TEST_F(BtDriverTest, TheLogIsSearchedBackwardsForARowWithRoomBehindIt) {
    struct Case {
        const char* name;
        std::string log;
        int count;
        int answer;
        const char* first;  // the first row copied
    } rows[] = {
        {"a key at column 0 never matches", "BIT_ERR[0] sec: 5\n" + Lines(1, 9, "x"), 1, 0, ""},
        {"the only match four rows before the end", Lines(1, 3, "x") + "a BIT_ERR[0] m\n" + Lines(5, 7, "x"), 5, 0, ""},
        {"the newer of two matches", "a BIT_ERR[0] old\n" + Lines(2, 9, "x") + "b BIT_ERR[0] new\n" + Lines(11, 20, "x"),
         5, 5, "b BIT_ERR[0] new\n"},
        {"a match at the very end, for one row", Lines(1, 5, "x") + "c BIT_ERR[0] last\n", 1, 1, "c BIT_ERR[0] last\n"},
        {"more than 256 lines: the oldest are gone", "d BIT_ERR[0] gone\n" + Lines(2, 300, "x"), 1, 0, ""},
        {"more than 256 lines: a newer match is found", Lines(1, 200, "x") + "e BIT_ERR[0] kept\n" + Lines(202, 400, "x"),
         5, 5, "e BIT_ERR[0] kept\n"},
    };
    for (const Case& r : rows) {
        SCOPED_TRACE(r.name);
        Log(r.log);
        driver_.Rows()[0][0] = '\0';
        EXPECT_EQ(driver_.GetBIT_ERR(driver_.Rows(), r.count), r.answer);
        if (r.answer > 0) {
            EXPECT_EQ(RowText(0), r.first);
        }
    }
}

TEST_F(BtDriverTest, TheSecondLogSourceIsTriedOnce) {
    Log("RSSI_REPORT: 40 at the start\nx RSSI_REPORT: 41\n", "/dev/norlog");
    EXPECT_EQ(driver_.GetRSSIReport(driver_.Rows(), 1), 1);
    EXPECT_EQ(RowText(0), "x RSSI_REPORT: 41\n");
    unlink(plat::MapPath("/dev/norlog").c_str());
    EXPECT_EQ(driver_.GetRSSIReport(driver_.Rows(), 1), 0);
}

TEST_F(BtDriverTest, ToolRunsFillRowsAndNeverPastTheLast) {
    // A tool that prints 300 lines and the first line of its script.
    testsupport::FakeTool tool("btcli",
                               "fifo=\"$TAVO_PLATFORM_ROOT${1#-x}\"\n"
                               "i=0; while [ $i -lt 300 ]; do echo \"row $i\"; i=$((i+1)); done\n"
                               "head -n 1 \"$fifo\"\n");
    EXPECT_EQ(driver_.OpenDriver(), 0);  // the FIFO is there already: the run goes on with it
    EXPECT_EQ(driver_.RunBtCli("first command\nquit\n", nullptr), 0);
    EXPECT_EQ(RowText(0), "row 0\n");
    EXPECT_EQ(RowText(255), "row 255\n");

    // A tool that never opens the FIFO: its output is still taken.
    testsupport::FakeTool mute("btcli", "echo 'ba:0x001a7dda7113'\n");
    CStringList triggers;
    int fired = 0;
    triggers.Push("ba:0x", [](void* n) { ++*static_cast<int*>(n); }, &fired);
    EXPECT_EQ(driver_.RunBtCli("rba\nquit\n", &triggers), 0);
    EXPECT_EQ(RowText(0), "ba:0x001a7dda7113\n");
    EXPECT_EQ(fired, 1);
}

}  // namespace
