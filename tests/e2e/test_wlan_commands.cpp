// WLAN AT commands from ForwardCMD_WiFiBT down to the simulated chip and
// back: command string in, reply string out, and what the firmware got.
#include <gtest/gtest.h>

#include <chrono>
#include <string>
#include <vector>

#include "WiFiBtFactoryService.h"
#include "sim/access_point.h"
#include "sim/tree.h"
#include "sim/wlanfw/signals.h"
#include "support/log_capture.h"
#include "support/sim_env.h"

namespace {

using namespace std::chrono_literals;

struct Exchange {
    const char* command;
    const char* reply;
};

std::string Forward(const char* command) {
    std::vector<char> result(WLBT_RESULT_BUFFER_SIZE, '\0');
    EXPECT_EQ(ForwardCMD_WiFiBT(command, result.data(), 3000), 0) << command;
    return result.data();
}

void RunTable(const std::vector<Exchange>& table) {
    for (const Exchange& e : table) EXPECT_EQ(Forward(e.command), e.reply) << e.command;
}

// The service on a simulated chip that already runs its test firmware, so
// that opening the DUT does not switch (and pause for) the firmware.
class WlanCommands : public ::testing::Test {
protected:
    void SetUp() override {
        ASSERT_TRUE(env.LoadTestFirmware());
        env.WlanFw().SetRxRate(0);  // counts move only when a test sets them
        ASSERT_EQ(OpenWiFiBtFactoryService(), 0);
        ASSERT_EQ(Forward("AT+WIFIRF=0,1,1,0"), "+WIFIRF:0,OK");
    }
    void TearDown() override { CloseWiFiBtFactoryService(); }

    testsupport::SimEnv env;
};

// Every setter and getter, with its ranges and odd mappings, runs thousands
// of times in the stress mix; here the rows it does not draw, and the log.
TEST_F(WlanCommands, RowsOutsideTheSettersAndTheirLogLines) {
    testsupport::LogCapture log;
    RunTable({
        {"AT+WIFIRF=0,0,0,36", "+WIFIRF:0,OK"}, {"AT+WIFIX=1,0,0,0", "+WIFIX:0,36\n,OK"},
        {"AT+WIFIRF=0,7,0,3", "+WIFIRF:6,NG"}, {"AT+WIFIRF=0,6,0,0", "+WIFIRF:0,OK"},
        {"AT+WIFIRF=9,9,9,9", "+WIFIRF:6,NG"},
    });
    EXPECT_TRUE(log.Contains("COMMAND_HANDLER", "AT_COMMAND_WIFI_SET_CHANNEL 36\n"));
    EXPECT_TRUE(log.Contains("COMMAND_HANDLER", "AT_COMMAND_WIFI_GET_CHANNEL\n"));
}

TEST_F(WlanCommands, LongFormStartsWithEverySetting) {
    // Band 1 with channel 36 puts the carrier at 2587 MHz, outside both
    // bands: the firmware keeps the parameters but refuses with 79, so the
    // command fails and no transmission is asked for.
    RunTable({{"AT+WIFIRF=0,2,1,9,1036011201024010011", "+WIFIRF:5,NG"}});
    auto params = env.WlanFw().LastSetTxParams();
    ASSERT_TRUE(params.has_value());
    EXPECT_EQ(params->freq, 2587);
    EXPECT_EQ(params->rate, 1);
    EXPECT_EQ(params->power, 80);
    EXPECT_EQ(params->length, 1024);
    EXPECT_EQ(params->interval, 8724u) << "index 1, payload 1024, burst interval 100";
    EXPECT_EQ(env.WlanFw().RequestCount(0x9008), 0u);

    // The same on the 5 GHz band starts.
    RunTable({{"AT+WIFIRF=0,2,1,9,1036011201024010021", "+WIFIRF:0,OK"}});
    params = env.WlanFw().LastSetTxParams();
    EXPECT_EQ(params.value().freq, 5180);
    EXPECT_EQ(params->bandwidth, 0);
    EXPECT_EQ(env.WlanFw().RequestCount(0x9008), 1u);
    EXPECT_EQ(env.WlanFw().LastSelectRadio()->bitmap, 1);
}

TEST_F(WlanCommands, LongFormRefusalsAndSkippedFields) {
    RunTable({
        {"AT+WIFIRF=0,0,0,6", "+WIFIRF:0,OK"},
        // Bandwidth 0 is refused: the setters before it ran, no start.
        {"AT+WIFIRF=0,2,1,9,2040041201024010020", "+WIFIRF:6,NG"}, {"AT+WIFIRF=1,0,0,0", "+WIFIRF:0,OK,40\n"},
        {"AT+WIFIRF=1,0,6,0", "+WIFIRF:0,OK,2\n"}, {"AT+WIFIRF=0,2,1,5", "+WIFIRF:6,NG"},
        {"AT+WIFIRF=0,2,1,9,123", "+WIFIRF:6,NG"}, {"AT+WIFIRF=0,2,1,9", "+WIFIRF:6,NG"},
        {"AT+WIFIRF=0,3,1,4,14012", "+WIFIRF:6,NG"},
        // Letters in the channel field: skipped, the channel stays 40.
        {"AT+WIFIRF=0,3,1,4,1ab021", "+WIFIRF:0,OK"}, {"AT+WIFIRF=1,0,0,0", "+WIFIRF:0,OK,40\n"},
    });
    EXPECT_EQ(env.WlanFw().RequestCount(0x9008), 0u);
    EXPECT_EQ(env.WlanFw().LastRxStart().value().freq, 5200);
}

TEST_F(WlanCommands, ReceiveCountersRssiBistAndTemperatureInBothForms) {
    env.WlanFw().SetRxCounts(10, 7);
    env.WlanFw().SetRssi({-42, -40, -45, -38});
    env.WlanFw().SetBistGain(3, 4);
    env.WlanFw().SetTemperature(0x1FFFF);  // the temperature is the low 16 bits, unsigned
    testsupport::LogCapture log;
    RunTable({
        {"AT+WIFIRF=0,3,1,0", "+WIFIRF:0,OK"}, {"AT+WIFIRF=1,4,0,0", "+WIFIRF:0,OK"},
        {"AT+WIFIRF=0,4,1,0", "+WIFIRF:0,OK,7"}, {"AT+WIFIX=0,4,1,0", "+WIFIX:0,7,OK"},
        {"AT+WIFIRF=0,4,0,0", "+WIFIRF:0,OK,3"}, {"AT+WIFIX=0,4,0,0", "+WIFIX:0,3,OK"},
        {"AT+WIFIRF=0,4,2,0", "+WIFIRF:0,OK,-40"}, {"AT+WIFIX=0,4,2,0", "+WIFIX:0,-40,OK"},
        {"AT+WIFIRF=0,4,3,0", "+WIFIRF:0,OK,5,92"}, {"AT+WIFIX=0,4,3,0", "+WIFIX:0,5,92,OK"},
        {"AT+WIFIRF=0,5,0,0", "+WIFIRF:0,OK,65535"}, {"AT+WIFIX=0,5,0,0", "+WIFIX:0,65535,OK"},
        {"AT+WIFIRF=0,3,0,0", "+WIFIRF:0,OK"},
        // After the stop the firmware refuses a read: a failed operation.
        {"AT+WIFIRF=0,4,2,0", "+WIFIRF:5,NG,0"}, {"AT+WIFIX=0,4,2,0", "+WIFIX:5,0,NG"},
        // Both antennas cannot self-test: a bad value.
        {"AT+WIFIRF=0,7,0,0", "+WIFIRF:0,OK"}, {"AT+WIFIRF=0,4,3,0", "+WIFIRF:6,NG,0,0"},
        {"AT+WIFIX=0,4,3,0", "+WIFIX:6,0,0,NG"},
    });
    EXPECT_EQ(env.WlanFw().LastBistGetTxGain()->rxGain, 2) << "rx gain 0 goes out as 2";
    EXPECT_EQ(env.WlanFw().RequestCount(tavo::sim::wlanfw::kBistGetTxGainReq), 2u) << "the refused ones send nothing";
    EXPECT_TRUE(log.Contains("WLANDUT", "incorrect ant config : 0\n"));
    env.WlanFw().RemoveMib(5062);
    RunTable({{"AT+WIFIRF=0,5,0,0", "+WIFIRF:5,NG,0"}});
}

TEST_F(WlanCommands, FirmwareCodesAndLogOnlyRows) {
    env.WlanFw().ForceResult(0x900A, 48);
    RunTable({
        {"AT+WIFIRF=0,2,0,0", "+WIFIRF:5,NG"}, {"AT+WIFIRF=0,1,2,0", "+WIFIRF:0,OK"},
        {"AT+WIFIRF=0,1,3,0", "+WIFIRF:0,OK"}, {"AT+WIFIRF=0,1,6,0", "+WIFIRF:0,OK"},
        {"AT+WIFIRF=0,6,1,0", "+WIFIRF:0,OK"}, {"AT+WIFIRF=0,8,0,0", "+WIFIRF:0,OK"},
        {"AT+WIFIRF=0,8,1,0", "+WIFIRF:0,OK"},
    });
    EXPECT_EQ(env.WlanFw().RequestCount(0x900A), 1u);
}

TEST(WlanScanCommands, ScanAnswersEarlyAndTheResultListsTenAccessPoints) {
    testsupport::SimEnv env;
    std::vector<tavo::sim::AccessPoint> aps;
    for (int i = 0; i < 11; ++i) {
        aps.push_back({"02:00:00:00:00:" + std::to_string(10 + i), 2412, -40.5 - i, "net" + std::to_string(i)});
    }
    env.Sim().SetAccessPoints(aps);
    ASSERT_EQ(OpenWiFiBtFactoryService(), 0);
    testsupport::LogCapture log;
    EXPECT_EQ(Forward("ATA+WIFI=2"), "NG") << "nothing scanned yet";
    EXPECT_EQ(Forward("ATA+WIFI=1"), "OK");
    ASSERT_TRUE(log.WaitForText("COMMAND_HANDLER", "ATA_WIFI: 0\n", 10s)) << "the scan ran on after the answer";
    EXPECT_EQ(Forward("ATA+WIFI=2"),
              "OK:net0,-40;net1,-41;net2,-42;net3,-43;net4,-44;net5,-45;net6,-46;net7,-47;net8,-48;net9,-49");
    EXPECT_EQ(testsupport::ReadFile(env.Path(tavo::sim::path::kWlanFlags)), std::string("0x1003\n"));
    EXPECT_EQ(Forward("ATA+WIFI=0"), "OK");
    EXPECT_EQ(testsupport::ReadFile(env.Path(tavo::sim::path::kWlanFlags)), std::string("0x1002\n"));
    EXPECT_EQ(CloseWiFiBtFactoryService(), 0);
}

}  // namespace
