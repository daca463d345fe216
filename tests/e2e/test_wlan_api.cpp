// A program that uses only the exported wlan_ functions, against the
// simulated chip: a transmit and a receive test, counters, MIBs, and the
// documented codes and texts of failures.
#include <gtest/gtest.h>

#include <fstream>
#include <string>

#include "support/sim_env.h"
#include "wlan_interface.h"

namespace {

using std::chrono::milliseconds;

const CommstestMacAddress kBroadcast = {{0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF}};
const CommstestMacAddress kSource = {{0x00, 0x11, 0x22, 0x33, 0x44, 0x55}};

class WlanApi : public ::testing::Test {
protected:
    void SetUp() override {
        std::ofstream(env.Path("/sys/module/tavo_rk/parameters/firmware_variant")) << "rk720_t";
        std::ofstream(env.Path("/sys/module/tavo_bt/parameters/force_crash")) << "0xDEADDEAD\n";
        ASSERT_TRUE(env.Sim().WaitForFirmware("rk720_t", milliseconds(5000)));
        env.WlanFw().SetRxRate(0);
        ASSERT_EQ(wlan_open_device(), 0) << wlan_get_last_error();
    }
    void TearDown() override { wlan_close_device(); }
    testsupport::SimEnv env;
};

TEST_F(WlanApi, TransmitTest) {
    ASSERT_EQ(wlan_select_radio(COMMSTEST_RADIO_1), 0);
    ASSERT_EQ(wlan_set_tx_params(COMMSTEST_BW_20MHZ, COMMSTEST_POSITION_0, static_cast<CommstestDataRate>(0x2006), 2437,
                                 80, 1024, 1532, COMMSTEST_TX_FLAG_BASE, COMMSTEST_REGDOMAIN_0, COMMSTEST_TX_FLAGS2_NONE,
                                 COMMSTEST_HE_MODE_NONE, 0, 0),
              0)
        << wlan_get_last_error();
    ASSERT_EQ(wlan_tx_start(100, COMMSTEST_TX_DATA_0, 0x1234, kBroadcast, kSource, kSource), 0) << wlan_get_last_error();
    uint32_t left = 0;
    ASSERT_EQ(wlan_tx_read(&left), 0);
    EXPECT_LE(left, 100u);
    EXPECT_EQ(wlan_tx_stop(), 0);
    // A second stop finds nothing to stop.
    EXPECT_EQ(wlan_tx_stop(), 203);
    EXPECT_STREQ(wlan_get_last_error(), "wlan_tx_stop: Not permitted at this time; Wlanlite could be in the wrong state.");
}

TEST_F(WlanApi, ReceiveTestAndCounters) {
    env.WlanFw().SetRxCounts(200, 190);
    ASSERT_EQ(wlan_rx_start(COMMSTEST_BW_20MHZ, COMMSTEST_POSITION_0, 2412, COMMSTEST_RX_FLAGS_NONE, kSource), 0);
    uint32_t total = 0, good = 0, interval = 0;
    int32_t freqErr = 0, rssi = 0, snr = 0;
    ASSERT_EQ(wlan_rx_read(&total, &good, &interval, &freqErr, &rssi, &snr), 0) << wlan_get_last_error();
    EXPECT_EQ(total, 200u);
    EXPECT_EQ(good, 190u);
    EXPECT_EQ(wlan_rx_stop(), 0);
    EXPECT_EQ(wlan_rx_stop(), 203) << "no receiver runs any more";
}

TEST_F(WlanApi, Mibs) {
    env.WlanFw().SetChipId(0x7243);
    env.WlanFw().SetBuildId("rk720_t sim build 7");
    env.WlanFw().SetTemperature(44);
    uint16_t chip = 0;
    EXPECT_EQ(wlan_get_chip_id(&chip), 0);
    EXPECT_EQ(chip, 0x7243);
    char build[64] = {};
    EXPECT_EQ(wlan_get_fw_build_id(build, sizeof build), 0);
    EXPECT_STREQ(build, "rk720_t sim build 7");
    uint64_t temperature = 0;
    EXPECT_EQ(wlan_get_mib_uint(5062, &temperature), 0);
    EXPECT_EQ(temperature, 44u);
}

TEST_F(WlanApi, FirmwareFailuresAndRefusals) {
    env.WlanFw().ForceResult(0x9007, 79);
    EXPECT_EQ(wlan_set_tx_params(COMMSTEST_BW_20MHZ, COMMSTEST_POSITION_0, static_cast<CommstestDataRate>(1), 2412, 0,
                                 100, 0, COMMSTEST_TX_FLAG_BASE, COMMSTEST_REGDOMAIN_0, COMMSTEST_TX_FLAGS2_NONE,
                                 COMMSTEST_HE_MODE_NONE, 0, 0),
              203);
    EXPECT_EQ(std::string(wlan_get_last_error()).rfind("wlan_set_tx_params: The firmware was unable to select a row", 0), 0u);
    env.WlanFw().ForceResult(0x901A, 0x8003);
    EXPECT_EQ(wlan_select_radio(COMMSTEST_RADIO_2), 202);
    EXPECT_STREQ(wlan_get_last_error(), "wlan_select_radio: The requested operation is not supported by the firmware");
    EXPECT_EQ(wlan_select_radio(COMMSTEST_RADIO_2), 0) << "a forced code answers once";
    // A bitmap the firmware does not know is an invalid parameter.
    EXPECT_EQ(wlan_select_radio(static_cast<CommstestRadioBitmap>(7)), 201);
}

TEST_F(WlanApi, NormalFirmwareDoesNotAnswer) {
    std::ofstream(env.Path("/sys/module/tavo_rk/parameters/firmware_variant")) << "rk720";
    std::ofstream(env.Path("/proc/driver/rk720_clk0/restart")) << "Y\n";
    ASSERT_TRUE(env.Sim().WaitForFirmware("rk720", milliseconds(5000)));
    EXPECT_EQ(wlan_tx_stop(), 3);
    EXPECT_STREQ(wlan_get_last_error(), "wlan_tx_stop: No response received in 2 secs");
}

}  // namespace
