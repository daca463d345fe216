// The firmware switch on the simulator, through OpenDUT and CloseDUT (each
// runs CWlanDriver::SetMode): what it writes, in which order, and which
// firmware runs afterwards. Each direction pauses a second in the library's
// own command list.
#include <gtest/gtest.h>

#include <chrono>
#include <string>
#include <vector>

#include "e2e_util.h"
#include "wlan_interface.h"

namespace {

using namespace std::chrono_literals;
using Lines = std::vector<std::string>;

// What each direction's commands write, in order, as the simulator logs it.
const Lines kToTestParams = {
    "param: tavo_rk/enable_auto_sense = 0",      "param: tavo_rk/use_new_fw_structure = 1",
    "param: tavo_rk/firmware_variant = rk720_t", "param: tavo_wlan/EnableTestMode = 1",
    "param: tavo_bt/disable_service = Y",        "param: tavo_bt/force_crash = 0xDEADDEAD",
    "param: rk720_clk0/restart = Y",
};
const Lines kToNormalParams = {
    "param: tavo_rk/firmware_variant = rk720", "param: tavo_wlan/EnableTestMode = 0",
    "param: tavo_rk/enable_auto_sense = 1",    "param: tavo_bt/disable_service = N",
    "param: rk720_clk0/restart = Y",
};

TEST(E2eWlanDutSlow, OpenAndCloseCrossTheFirmwareSwitchRowByRow) {
    // Open: the interface down, the test row, the interface up, the
    // connection. Close: the connection goes, the normal row, the interface
    // down.
    struct Direction { bool open; Lines paramLines, firmwareLines; const char *running, *flags; };
    const Direction directions[] = {
        {true, kToTestParams, {"firmware: rk720 -> rk720_t (force_crash)", "firmware: rk720_t -> rk720_t (restart)"},
         "rk720_t", "0x1003\n"},
        {false, kToNormalParams, {"firmware: rk720_t -> rk720 (restart)"}, "rk720", "0x1002\n"},
    };
    testsupport::SimEnv env;
    CWlanDriver driver;
    CWlanDutLib dut(&driver);
    for (const Direction& d : directions) {
        SCOPED_TRACE(d.open ? "open" : "close");
        const auto mark = env.Sim().Log().Count();
        const auto start = std::chrono::steady_clock::now();
        ASSERT_EQ(d.open ? dut.OpenDUT() : dut.CloseDUT(), 0);
        EXPECT_GE(std::chrono::steady_clock::now() - start, 1s) << "the pause before the restart";
        EXPECT_EQ(dut.IsDUTOpen(), d.open);
        // One thread logs the writes in order, the restart that ends them last.
        ASSERT_TRUE(env.Sim().Log().WaitFor(d.firmwareLines.back(), 10s, mark));
        EXPECT_EQ(e2e::SimLogSince(env, mark, "param: "), d.paramLines);
        EXPECT_EQ(env.Sim().RunningFirmware(), d.running);
        EXPECT_EQ(e2e::SimLogSince(env, mark, "firmware: "), d.firmwareLines);
        EXPECT_EQ(testsupport::ReadFile(env.Path(tavo::sim::path::kWlanFlags)), std::string(d.flags));
        EXPECT_EQ(driver.CheckCurrentFwMode(), d.open ? 0 : 1);
        EXPECT_EQ(dut.TxStartWithMod(), d.open ? 0 : 2) << "only the open DUT's test firmware answers";
        EXPECT_EQ(dut.TxStop(), d.open ? 0 : 2);
    }
    EXPECT_EQ(env.Sim().Firmware().switches, 2u);
}

}  // namespace
