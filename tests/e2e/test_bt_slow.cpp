// The Bluetooth and unit-test commands that wait by design: the fixed BR/EDR
// transmit's second for its settings, and the ten-second unit command.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "WiFiBtFactoryService.h"
#include "support/log_capture.h"
#include "support/sim_env.h"

namespace {

std::string Forward(const char* command) {
    std::vector<char> result(WLBT_RESULT_BUFFER_SIZE, '\0');
    EXPECT_EQ(ForwardCMD_WiFiBT(command, result.data(), 3000), 0) << command;
    return result.data();
}

TEST(BtSlow, FixedBrEdrTransmitSetsItsRadioAndTheTestEndStopsIt) {
    testsupport::SimEnv env;
    ASSERT_EQ(OpenWiFiBtFactoryService(), 0);
    testsupport::LogCapture log;
    ASSERT_EQ(Forward("AT+BTRF=2,1,1,0"), "+BTRF:0,OK");
    EXPECT_EQ(Forward("AT+BTRF=0,7,1,0"), "+BTRF:0,OK");
    auto radio = env.BtCtl().Radio();
    ASSERT_TRUE(radio.running.has_value());
    EXPECT_EQ(radio.loFreq, 2441);
    EXPECT_EQ(radio.txPower, 15);
    EXPECT_EQ(radio.pktType, 24);  // 3DH1
    EXPECT_EQ(radio.pktSize, 83);
    EXPECT_EQ(Forward("AT+BTRF=0,6,9,0"), "+BTRF:0,OK");
    EXPECT_FALSE(env.BtCtl().Radio().running.has_value());
    EXPECT_TRUE(log.Contains("COMMAND_HANDLER", "BT_TX_STOP, BLE:0\n"));
    EXPECT_TRUE(log.Contains("COMMAND_HANDLER", "BT_TX_STOP, Tx:1\n"));
    EXPECT_EQ(CloseWiFiBtFactoryService(), 0);
}

TEST(BtSlow, TheUnitTimeoutCommandRunsTenSeconds) {
    testsupport::SimEnv env;
    ASSERT_EQ(OpenWiFiBtFactoryService(), 0);
    testsupport::LogCapture log;
    EXPECT_EQ(Forward("UNIT=8"), "+UNIT:000000,OK");
    std::vector<std::string> passes;
    for (const std::string& t : log.Texts("COMMAND_HANDLER")) {
        if (t.size() == 2 && t[1] == '\n') passes.push_back(t);
    }
    EXPECT_EQ(passes, (std::vector<std::string>{"0\n", "1\n", "2\n", "3\n", "4\n", "5\n", "6\n", "7\n", "8\n", "9\n"}));
    EXPECT_TRUE(log.Contains("COMMAND_HANDLER", "Running for 10 secs... \n"));
    EXPECT_EQ(CloseWiFiBtFactoryService(), 0);
}

}  // namespace
