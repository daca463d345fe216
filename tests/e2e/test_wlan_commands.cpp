// WLAN AT commands from ForwardCMD_WiFiBT down to the simulated chip and
// back: command string in, reply string out, and what the firmware got.
#include <gtest/gtest.h>

#include <fstream>
#include <string>
#include <vector>

#include "WiFiBtFactoryService.h"
#include "support/sim_env.h"

namespace {

using std::chrono::milliseconds;

void WriteText(const std::string& path, const std::string& text) {
    std::ofstream(path) << text;
}

// The service on a simulated chip that already runs its test firmware, so
// that opening the DUT does not switch (and pause for) the firmware.
class WlanCommands : public ::testing::Test {
protected:
    void SetUp() override {
        WriteText(env.Path("/sys/module/tavo_rk/parameters/firmware_variant"), "rk720_t");
        WriteText(env.Path("/sys/module/tavo_bt/parameters/force_crash"), "0xDEADDEAD\n");
        ASSERT_TRUE(env.Sim().WaitForFirmware("rk720_t", milliseconds(5000)));
        env.WlanFw().SetRxRate(0);  // counts move only when a test sets them
        ASSERT_EQ(OpenWiFiBtFactoryService(), 0);
        ASSERT_EQ(Forward("AT+WIFIRF=0,1,1,0"), "+WIFIRF:0,OK");
    }
    void TearDown() override { CloseWiFiBtFactoryService(); }

    static std::string Forward(const char* command) {
        std::vector<char> result(WLBT_RESULT_BUFFER_SIZE, '\0');
        EXPECT_EQ(ForwardCMD_WiFiBT(command, result.data(), 3000), 0) << command;
        return result.data();
    }

    testsupport::SimEnv env;
};

struct Exchange {
    const char* command;
    const char* reply;
};

void RunTable(const std::vector<Exchange>& table) {
    for (const Exchange& e : table) {
        std::vector<char> result(WLBT_RESULT_BUFFER_SIZE, '\0');
        EXPECT_EQ(ForwardCMD_WiFiBT(e.command, result.data(), 3000), 0) << e.command;
        EXPECT_STREQ(result.data(), e.reply) << e.command;
    }
}

TEST_F(WlanCommands, SettersAndGetters) {
    RunTable({
        {"AT+WIFIRF=0,0,0,36", "+WIFIRF:0,OK"},
        {"AT+WIFIRF=1,0,0,0", "+WIFIRF:0,OK,36\n"},
        {"AT+WIFIX=1,0,0,0", "+WIFIX:0,36\n,OK"},
        {"AT+WIFIRF=0,0,0,166", "+WIFIRF:6,NG"},
        {"AT+WIFIRF=1,0,0,0", "+WIFIRF:0,OK,36\n"},
        {"AT+WIFIRF=0,0,1,47", "+WIFIRF:0,OK"},
        {"AT+WIFIRF=1,0,1,0", "+WIFIRF:0,OK,47\n"},
        {"AT+WIFIRF=0,0,1,46", "+WIFIRF:6,NG"},
        {"AT+WIFIRF=0,0,2,3", "+WIFIRF:0,OK"},
        {"AT+WIFIRF=1,0,2,0", "+WIFIRF:0,OK,1\n"},
        {"AT+WIFIRF=0,0,3,-1", "+WIFIRF:0,OK"},  // a negative gain is ignored
        {"AT+WIFIRF=1,0,3,0", "+WIFIRF:0,OK,25\n"},
        {"AT+WIFIRF=0,0,4,1500", "+WIFIRF:0,OK"},
        {"AT+WIFIRF=1,0,4,0", "+WIFIRF:0,OK,1500\n"},
        {"AT+WIFIRF=0,0,5,250", "+WIFIRF:0,OK"},
        {"AT+WIFIRF=1,0,5,0", "+WIFIRF:0,OK,250\n"},
        {"AT+WIFIRF=0,0,6,2", "+WIFIRF:0,OK"},
        {"AT+WIFIRF=1,0,6,0", "+WIFIRF:0,OK,2\n"},
        {"AT+WIFIRF=0,0,7,8", "+WIFIRF:0,OK"},
        {"AT+WIFIRF=1,0,7,0", "+WIFIRF:0,OK,3\n"},
        {"AT+WIFIRF=0,0,7,0", "+WIFIRF:6,NG"},
        {"AT+WIFIRF=0,7,0,3", "+WIFIRF:6,NG"},
        {"AT+WIFIRF=0,6,0,0", "+WIFIRF:0,OK"},
        {"AT+WIFIRF=9,9,9,9", "+WIFIRF:6,NG"},
    });
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
    EXPECT_EQ(params->interval, static_cast<uint32_t>((1054 + 24) * 8 + 100));
    EXPECT_EQ(env.WlanFw().RequestCount(0x9008), 0u);

    // The same on the 5 GHz band starts.
    RunTable({{"AT+WIFIRF=0,2,1,9,1036011201024010021", "+WIFIRF:0,OK"}});
    params = env.WlanFw().LastSetTxParams();
    ASSERT_TRUE(params.has_value());
    EXPECT_EQ(params->freq, 5180);
    EXPECT_EQ(params->bandwidth, 0);
    EXPECT_EQ(env.WlanFw().RequestCount(0x9008), 1u);
    EXPECT_EQ(env.WlanFw().LastSelectRadio()->bitmap, 1);
}

TEST_F(WlanCommands, LongFormRefusalsAndSkippedFields) {
    RunTable({
        {"AT+WIFIRF=0,0,0,6", "+WIFIRF:0,OK"},
        // Bandwidth 0 is refused: the setters before it ran, no start.
        {"AT+WIFIRF=0,2,1,9,2040041201024010020", "+WIFIRF:6,NG"},
        {"AT+WIFIRF=1,0,0,0", "+WIFIRF:0,OK,40\n"},
        {"AT+WIFIRF=1,0,6,0", "+WIFIRF:0,OK,2\n"},
        {"AT+WIFIRF=0,2,1,5", "+WIFIRF:6,NG"},
        {"AT+WIFIRF=0,2,1,9,123", "+WIFIRF:6,NG"},
        {"AT+WIFIRF=0,2,1,9", "+WIFIRF:6,NG"},
        {"AT+WIFIRF=0,3,1,4,14012", "+WIFIRF:6,NG"},
        // Letters in the channel field: skipped, the channel stays 40.
        {"AT+WIFIRF=0,3,1,4,1ab021", "+WIFIRF:0,OK"},
        {"AT+WIFIRF=1,0,0,0", "+WIFIRF:0,OK,40\n"},
    });
    EXPECT_EQ(env.WlanFw().RequestCount(0x9008), 0u);
    const auto rx = env.WlanFw().LastRxStart();
    ASSERT_TRUE(rx.has_value());
    EXPECT_EQ(rx->freq, 5200);
}

TEST_F(WlanCommands, ReceiveCountersAndRssiInBothForms) {
    env.WlanFw().SetRxCounts(10, 7);
    env.WlanFw().SetRssi({-42, -40, -45, -38});
    RunTable({
        {"AT+WIFIRF=0,3,1,0", "+WIFIRF:0,OK"},
        {"AT+WIFIRF=1,4,0,0", "+WIFIRF:0,OK"},
        {"AT+WIFIRF=0,4,1,0", "+WIFIRF:0,OK,7"},
        {"AT+WIFIX=0,4,1,0", "+WIFIX:0,7,OK"},
        {"AT+WIFIRF=0,4,0,0", "+WIFIRF:0,OK,3"},
        {"AT+WIFIX=0,4,0,0", "+WIFIX:0,3,OK"},
        {"AT+WIFIRF=0,4,2,0", "+WIFIRF:0,OK,-40"},
        {"AT+WIFIX=0,4,2,0", "+WIFIX:0,-40,OK"},
        {"AT+WIFIRF=0,3,0,0", "+WIFIRF:0,OK"},
        // After the stop the firmware refuses a read: a failure reply.
        {"AT+WIFIRF=0,4,2,0", "+WIFIRF:5,NG,0"},
        {"AT+WIFIX=0,4,2,0", "+WIFIX:5,0,NG"},
    });
}

TEST_F(WlanCommands, RssiBistAndTemperature) {
    env.WlanFw().SetBistGain(3, 4);
    env.WlanFw().SetTemperature(41);
    RunTable({
        {"AT+WIFIRF=0,3,1,0", "+WIFIRF:0,OK"},
        {"AT+WIFIRF=0,4,3,0", "+WIFIRF:0,OK,5,92"},
        {"AT+WIFIX=0,4,3,0", "+WIFIX:0,5,92,OK"},
        {"AT+WIFIRF=0,5,0,0", "+WIFIRF:0,OK,41"},
        {"AT+WIFIX=0,5,0,0", "+WIFIX:0,41,OK"},
        {"AT+WIFIRF=0,7,0,0", "+WIFIRF:0,OK"},
        {"AT+WIFIRF=0,4,3,0", "+WIFIRF:6,NG,0,0"},  // both antennas cannot self-test
    });
    EXPECT_EQ(env.WlanFw().LastBistGetTxGain()->rxGain, 2) << "rx gain 0 goes out as 2";
}

TEST_F(WlanCommands, FirmwareCodesAndLogOnlyRows) {
    env.WlanFw().ForceResult(0x900A, 48);
    RunTable({
        {"AT+WIFIRF=0,2,0,0", "+WIFIRF:5,NG"},
        {"AT+WIFIRF=0,1,2,0", "+WIFIRF:0,OK"},
        {"AT+WIFIRF=0,1,3,0", "+WIFIRF:0,OK"},
        {"AT+WIFIRF=0,1,6,0", "+WIFIRF:0,OK"},
        {"AT+WIFIRF=0,6,1,0", "+WIFIRF:0,OK"},
        {"AT+WIFIRF=0,8,0,0", "+WIFIRF:0,OK"},
        {"AT+WIFIRF=0,8,1,0", "+WIFIRF:0,OK"},
    });
    EXPECT_EQ(env.WlanFw().RequestCount(0x900A), 1u);
}

}  // namespace
