// Bluetooth AT, inquiry and unit-test commands from ForwardCMD_WiFiBT down to
// the simulated chip and back: the reply strings, and what the controller
// and the btcli stand-in were asked to do.
#include <gtest/gtest.h>

#include <cstring>
#include <functional>
#include <string>
#include <vector>

#include "WiFiBtFactoryService.h"
#include "bt/BtDutLib.h"
#include "factory/ServiceInternal.h"
#include "sim/btctl/settings_text.h"
#include "support/log_capture.h"
#include "support/sim_env.h"

namespace {

using Radio = tavo::sim::btctl::RadioState;

std::string Forward(const std::string& command) {
    std::vector<char> result(WLBT_RESULT_BUFFER_SIZE, '\0');
    EXPECT_EQ(ForwardCMD_WiFiBT(command.c_str(), result.data(), 3000), 0) << command;
    return result.data();
}

class BtCommands : public ::testing::Test {
protected:
    void SetUp() override {
        env.BtCtl().SetFastSleep(true);
        ASSERT_EQ(OpenWiFiBtFactoryService(), 0);
    }
    void TearDown() override { CloseWiFiBtFactoryService(); }
    void Steer(const std::string& setting) {
        std::string error;
        ASSERT_TRUE(tavo::sim::btctl::ApplySetting(env.BtCtl(), setting, error)) << error;
    }
    testsupport::SimEnv env;
};

TEST_F(BtCommands, EachCommandClassAnswersAndReachesTheController) {
    testsupport::LogCapture log;
    Steer("le-packets=1234");
    struct Row {
        const char* command;
        const char* reply;
        std::function<bool(const Radio&)> sent;  // what the controller holds afterwards, or null
    } const rows[] = {
        {"AT+BTRF=1,1,1,0", "+BTRF:0,OK", nullptr},
        {"AT+BTRF=2,0,0,78", "+BTRF:0,OK", nullptr},
        {"AT+BTRF=2,0,0,79", "+BTRF:6,NG", nullptr},
        {"AT+BTRF=2,0,1,16", "+BTRF:0,OK", [](const Radio& r) { return r.pktType == 31 && r.pktSize == 1021; }},
        {"AT+BTRF=2,0,1,19", "+BTRF:6,NG", nullptr},
        {"AT+BTRF=2,0,3,25", "+BTRF:0,OK", [](const Radio& r) { return r.txPower == 25; }},
        {"AT+BTRF=2,0,5,9e,8b33", "+BTRF:0,OK", [](const Radio& r) { return r.uap == 0x9e && r.lap == 0x8b33; }},
        {"AT+BTRF=2,0,5,9e", "+BTRF:6,NG", nullptr},  // no LAP
        {"AT+BTRF=2,2,1,0", "+BTRF:0,OK", [](const Radio& r) { return r.running && r.loFreq == 2480; }},
        {"AT+BTRF=2,2,0,0", "+BTRF:0,OK", [](const Radio& r) { return !r.running; }},
        {"AT+BTRF=2,2,4,2481", "+BTRF:6,NG", nullptr},
        {"AT+BTRF=2,3,1,0", "+BTRF:0,OK", [](const Radio& r) { return r.running.has_value(); }},
        {"AT+BTRF=2,4,0,0", "+BTRF:0,OK,0.100", nullptr},
        {"AT+BTRF=2,3,2,0", "+BTRF:0,OK", nullptr},
        {"AT+BTRF=2,4,1,0", "+BTRF:0,OK,-60", nullptr},
        {"AT+BTRF=2,3,0,0", "+BTRF:0,OK", [](const Radio& r) { return !r.running; }},
        {"AT+BTRF=1,0,0,39", "+BTRF:0,OK", nullptr},
        {"AT+BTRF=1,0,0,40", "+BTRF:6,NG", nullptr},
        // The 2M PHY takes the HCI enhanced test; the vendor end counts it all the same.
        {"AT+BTRF=1,0,5,1", "+BTRF:0,OK", nullptr},
        {"AT+BTRF=1,3,1,0", "+BTRF:0,OK", nullptr},
        {"AT+BTRF=1,3,0,0", "+BTRF:0,OK", nullptr},
        {"AT+BTRF=1,4,1,0", "+BTRF:0,OK,1234", nullptr},
        {"AT+BTRF=1,8,2,0", "+BTRF:0,OK,001a7dda7113", nullptr},
        {"AT+BTRF=9,9,9,9", "+BTRF:6,NG", nullptr},
        {"AT+BTRF=1,1,0,0", "+BTRF:0,OK", nullptr},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.command);
        EXPECT_EQ(Forward(row.command), row.reply);
        if (row.sent) {
            EXPECT_TRUE(row.sent(env.BtCtl().Radio()));
        }
    }
    EXPECT_EQ(GetServiceBtDut()->IsDUTOpen(), 0);
    EXPECT_TRUE(log.Contains("COMMAND_HANDLER", "AT_COMMAND_BT_BREDR_SET_PACKET_TYPE:\n"));
    EXPECT_TRUE(log.Contains("COMMAND_HANDLER", "Incorrect Command Id: 127\n"));
}

TEST_F(BtCommands, BadNumbersLongCommandsAndUnknownFamiliesGetTheirReplies) {
    const struct {
        std::string command;
        int rc;
        const char* reply;
    } rows[] = {
        {"AT+BTRF=a,b,c,d", 0, "+BTRF:6,NG"},  // no row
        {"AT+BTRF=1,0,0,99999999999", 0, "+BTRF:6,NG"},
        {"AT+BTRF=2,0,5,,12", 0, "+BTRF:6,NG"},  // no UAP
        {"AT+BTRF=1,0,0," + std::string(50, '0'), 0, "+BTRF:0,OK"},  // 64 characters
        {"AT+BTX=1", 2, "NG"},
        {"ATA+BT=-5", 0, "OK"},
        {"UNIT=abc", 0, "+UNIT:000000,OK"},  // letters are no attr: no row
    };
    for (const auto& row : rows) {
        std::vector<char> result(WLBT_RESULT_BUFFER_SIZE, '\0');
        std::strcpy(result.data(), "untouched");
        EXPECT_EQ(ForwardCMD_WiFiBT(row.command.c_str(), result.data(), 3000), row.rc) << row.command;
        EXPECT_STREQ(result.data(), row.reply) << row.command;
    }
}

TEST_F(BtCommands, FixedTestsEndByTheirFlagsAndAGoodPacketReadMakesEveryLaterEndSucceed) {
    testsupport::LogCapture log;
    ASSERT_EQ(Forward("AT+BTRF=2,1,1,0"), "+BTRF:0,OK");
    EXPECT_EQ(Forward("AT+BTRF=0,5,7,0"), "+BTRF:0,OK");  // LE, channel 19, 0xAA
    Radio radio = env.BtCtl().Radio();
    EXPECT_EQ(radio.leChannel, 19);
    EXPECT_EQ(radio.leLength, 37);
    EXPECT_EQ(radio.lePayload, 2);
    EXPECT_EQ(Forward("AT+BTRF=0,6,9,0"), "+BTRF:0,OK");
    EXPECT_FALSE(env.BtCtl().Radio().leRunning.has_value());
    EXPECT_TRUE(log.Contains("COMMAND_HANDLER", "BLE_TX_STOP, BLE:1\n"));
    EXPECT_TRUE(log.Contains("COMMAND_HANDLER", "BLE_TX_STOP, Tx:1\n"));

    EXPECT_EQ(Forward("AT+BTRF=0,6,0,0"), "+BTRF:0,OK");  // a name only: nothing is sent
    EXPECT_FALSE(env.BtCtl().Radio().leRunning.has_value());

    // BR/EDR receive on channel 39, whose stop the chip then refuses.
    EXPECT_EQ(Forward("AT+BTRF=0,7,4,0"), "+BTRF:0,OK");
    EXPECT_EQ(env.BtCtl().Radio().loFreq, 2441);
    Steer("vendor-status=4");
    testing::internal::CaptureStdout();
    EXPECT_EQ(Forward("AT+BTRF=0,6,9,0"), "+BTRF:5,NG");
    const std::string out = testing::internal::GetCapturedStdout();
    EXPECT_EQ(out.rfind("ERROR : AT+BTRF=0,6,9,0 [5] - ", 0), 0u) << out;
    EXPECT_TRUE(log.Contains("COMMAND_HANDLER", "BT_RX_STOP, BLE:0\n"));

    EXPECT_EQ(Forward("AT+BTRF=0,7,7,0").rfind("+BTRF:0,OK,", 0), 0u);
    EXPECT_EQ(Forward("AT+BTRF=0,6,9,0"), "+BTRF:0,OK");
    EXPECT_EQ(Forward("AT+BTRF=0,6,9,0"), "+BTRF:0,OK");
}

TEST_F(BtCommands, AnInquiryAnswersAtOnceAndItsDevicesAreFetchedAfterIt) {
    env.BtCtl().AddDevice({"00:11:22:33:44:55", "Tester", -72, 2});
    env.BtCtl().AddDevice({"66:77:88:99:AA:BB", "Headset", -50, 1});
    EXPECT_EQ(Forward("ATA+BT=2"), "NG");  // nothing found yet
    // The fetch sent at once waits for the inquiry that answered early,
    // even when it is the first to reach the inquiry lock.
    EXPECT_EQ(Forward("ATA+BT=1"), "OK");
    EXPECT_EQ(Forward("ATA+BT=2"), "OK:Tester,-72;Headset,-50");
    EXPECT_EQ(Forward("ATA+BT=2"), "OK:Tester,-72;Headset,-50");
    EXPECT_EQ(Forward("ATA+BT=0"), "OK");
    EXPECT_EQ(Forward("ATA+BT=7"), "OK");
    EXPECT_EQ(Forward("ATA+WIFI=7"), "NG");
}

TEST_F(BtCommands, UnitRowsAreSingleDriverSteps) {
    testsupport::LogCapture log;
    env.BtCtl().AddDevice({"00:11:22:33:44:55", "Tester", -72, 1});
    ASSERT_EQ(Forward("AT+BTRF=2,1,1,0"), "+BTRF:0,OK");
    ASSERT_EQ(Forward("AT+BTRF=2,3,1,0"), "+BTRF:0,OK");  // the firmware logs bit errors
    ASSERT_EQ(Forward("AT+BTRF=2,4,0,0"), "+BTRF:0,OK,0.100");
    const struct {
        const char* command;
        const char* reply;
    } rows[] = {
        {"UNIT=6", "+UNIT:000000,OK"},  // an inquiry, answered when it is over
        {"UNIT=7", "NG"},               // never fetched, even after one
        {"UNIT=9", "+UNIT:000000,OK"},
        {"UNIT=5", "NG"},               // no scan has run
        {"UNIT=99", "+UNIT:000000,OK"},
        {"UNIT=2", "+UNIT:000000,OK"},  // already on the normal firmware: no switch
    };
    for (const auto& row : rows) EXPECT_EQ(Forward(row.command), row.reply) << row.command;
    EXPECT_TRUE(log.Contains("COMMAND_HANDLER", "AT_COMMAND_UNIT_TEST_BT_SCAN\n"));
    bool bitErrorRow = false;
    for (const std::string& t : log.Texts("COMMAND_HANDLER")) {
        if (t.rfind("[0] ", 0) == 0 && t.find("BIT_ERR[0]") != std::string::npos) bitErrorRow = true;
    }
    EXPECT_TRUE(bitErrorRow);
}

TEST(BtService, ClosingWhileAnInquiryRunsWaitsForIt) {
    testsupport::SimEnv env;
    env.BtCtl().SetFastSleep(true);
    env.BtCtl().AddDevice({"00:11:22:33:44:55", "Tester", -72, 1});
    ASSERT_EQ(OpenWiFiBtFactoryService(), 0);
    testsupport::LogCapture log;
    EXPECT_EQ(Forward("ATA+BT=1"), "OK");
    // The worker runs on with the DUT, the driver and the handler: closing
    // must not free them under it (the sanitizer builds see to a use after
    // free), and answers once it has ended.
    EXPECT_EQ(CloseWiFiBtFactoryService(), 0);
    EXPECT_FALSE(log.Contains("SERVICE_IF", "a command worker is still running: its objects are left allocated\n"));
    EXPECT_EQ(OpenWiFiBtFactoryService(), 0);
    EXPECT_EQ(Forward("ATA+BT=2"), "NG") << "a new service starts with no rows";
    EXPECT_EQ(CloseWiFiBtFactoryService(), 0);
}

}  // namespace
