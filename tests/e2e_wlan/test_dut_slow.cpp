// OpenDUT and CloseDUT crossing the firmware switch on the simulator: the
// chip goes to the test firmware with the interface up, and back to the
// normal firmware with the interface down. Seconds long, for the pauses in
// the library's command list.
#include <gtest/gtest.h>

#include <chrono>
#include <string>
#include <vector>

#include "e2e_util.h"
#include "sim/tree.h"
#include "support/log_capture.h"
#include "support/sim_env.h"
#include "wlan/WlanDriver.h"
#include "wlan/WlanDutLib.h"
#include "wlan_interface.h"

namespace {

using namespace std::chrono_literals;

constexpr char kDut[] = "WLANDUT";
constexpr char kDriver[] = "WLAN_DRIVER";

// The driver's lines that are commands of the switch (they all run a
// parameter write, the pause or the clock restart).
std::vector<std::string> Commands(const testsupport::LogCapture& log) {
    std::vector<std::string> out;
    for (const std::string& text : log.Texts(kDriver)) {
        if (text.rfind("echo ", 0) == 0 || text.rfind("sleep ", 0) == 0 || text.rfind("[ -f ", 0) == 0) {
            out.push_back(text);
        }
    }
    return out;
}

TEST(E2eWlanDutSlow, OpenSwitchesToTestFirmwareAndCloseSwitchesBack) {
    testsupport::SimEnv env;
    CWlanDriver driver;
    CWlanDutLib dut(&driver);
    testsupport::LogCapture log;
    ASSERT_EQ(e2e::InterfaceFlags(env), 0x1002u);

    // Open: the switch, the interface up, the connection.
    EXPECT_EQ(dut.OpenDUT(), 0);
    EXPECT_TRUE(dut.IsDUTOpen());
    EXPECT_TRUE(env.Sim().WaitForFirmware("rk720_t", 10s)) << env.Sim().RunningFirmware();
    EXPECT_EQ(e2e::InterfaceFlags(env), 0x1003u);
    EXPECT_EQ(Commands(log).size(), 8u);
    EXPECT_EQ(log.Texts(kDriver).back(), "flag : 0x1002\n") << "the interface comes up after the switch";
    EXPECT_TRUE(log.Contains(kDut, "ctConnect() - 0\n"));
    EXPECT_FALSE(log.Contains(kDut, "ctConnect() error - 4, try again\n"));

    // Open again: nothing switches, nothing is written.
    ASSERT_TRUE(env.Sim().Log().WaitFor("firmware: rk720_t -> rk720_t (restart)", 10s));
    e2e::ParamLinesUntilBarrier(env, 0);
    const auto mark = env.Sim().Log().Count();
    const unsigned restarts = env.Sim().Firmware().restarts;
    log.Clear();
    EXPECT_EQ(dut.OpenDUT(), 0);
    EXPECT_EQ(log.Texts(kDut), std::vector<std::string>{"DUT is already opened.\n"});
    EXPECT_EQ(log.Texts(kDriver), std::vector<std::string>{});
    EXPECT_EQ(e2e::ParamLinesUntilBarrier(env, mark), std::vector<std::string>{});
    EXPECT_EQ(env.Sim().Firmware().restarts, restarts);
    EXPECT_EQ(env.Sim().Firmware().switches, 1u);

    // The test firmware answers the open DUT.
    EXPECT_EQ(dut.TxStartWithMod(), 0);
    EXPECT_EQ(dut.TxStop(), 0);

    // Close: the connection goes, the switch back, the interface down.
    log.Clear();
    EXPECT_EQ(dut.CloseDUT(), 0);
    EXPECT_FALSE(dut.IsDUTOpen());
    EXPECT_TRUE(log.Contains(kDut, "wlan_close_device - 0\n"));
    EXPECT_TRUE(env.Sim().WaitForFirmware("rk720", 10s)) << env.Sim().RunningFirmware();
    EXPECT_EQ(env.Sim().Firmware().switches, 2u);
    EXPECT_EQ(Commands(log).size(), 6u);
    EXPECT_EQ(log.Texts(kDriver).back(), "flag : 0x1002") << "the interface goes down after the switch";
    EXPECT_EQ(e2e::InterfaceFlags(env), 0x1002u);
    EXPECT_EQ(driver.CheckCurrentFwMode(), 1);
    EXPECT_EQ(wlan_tx_stop(), 4) << "not connected any more";

    // Close again: nothing at all.
    log.Clear();
    EXPECT_EQ(dut.CloseDUT(), 0);
    EXPECT_EQ(log.Texts(kDriver), std::vector<std::string>{});
    EXPECT_EQ(log.Texts(kDut), std::vector<std::string>{});
}

}  // namespace
