// The firmware switch on the simulator, through CWlanDriver::SetMode and
// through OpenDUT and CloseDUT: what it writes, in which order, and which
// firmware runs afterwards. Each direction pauses a second in the library's
// own command list.
#include <gtest/gtest.h>
#include <unistd.h>

#include <chrono>
#include <string>
#include <vector>

#include "e2e_util.h"
#include "wlan_interface.h"

namespace {

using namespace std::chrono_literals;
using e2e::kDriver;
using e2e::kDut;
using Lines = std::vector<std::string>;
namespace path = tavo::sim::path;

const Lines kToTest = {
    "echo 0 > /sys/module/tavo_rk/parameters/enable_auto_sense\n",
    "echo 1 > /sys/module/tavo_rk/parameters/use_new_fw_structure\n",
    "echo -n \"rk720_t\" > /sys/module/tavo_rk/parameters/firmware_variant\n",
    "echo 1 > /sys/module/tavo_wlan/parameters/EnableTestMode\n",
    "echo Y > /sys/module/tavo_bt/parameters/disable_service\n",
    "echo 0xDEADDEAD > /sys/module/tavo_bt/parameters/force_crash\n",
    "sleep 1\n",
    "[ -f /proc/driver/rk720_clk0/restart ] && echo Y > /proc/driver/rk720_clk0/restart\n",
};
const Lines kToNormal = {
    "echo -n \"rk720\" > /sys/module/tavo_rk/parameters/firmware_variant\n",
    "echo 0 > /sys/module/tavo_wlan/parameters/EnableTestMode\n",
    "echo 1 > /sys/module/tavo_rk/parameters/enable_auto_sense\n",
    "echo N > /sys/module/tavo_bt/parameters/disable_service\n",
    "sleep 1\n",
    "[ -f /proc/driver/rk720_clk0/restart ] && echo Y > /proc/driver/rk720_clk0/restart\n",
};
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

Lines Join(Lines head, const Lines& tail) {
    head.insert(head.end(), tail.begin(), tail.end());
    return head;
}

TEST(E2eWlanDriverSlow, MissingVariantFileRunsTheWholeRowForEitherMode) {
    for (const int mode : {0, 1}) {
        SCOPED_TRACE("mode " + std::to_string(mode));
        testsupport::SimEnv env;
        ASSERT_TRUE(::unlink(env.Path(path::kFirmwareVariant).c_str()) == 0);
        const auto mark = e2e::MarkAfterWrites(env);
        CWlanDriver driver;
        testsupport::LogCapture log;

        ASSERT_EQ(driver.SetMode(mode), 0);
        EXPECT_EQ(log.Texts(kDriver), Join({"File Open Error: " + std::string(path::kFirmwareVariant), "flag : 0x1002"},
                                           mode == 0 ? kToTest : kToNormal));
        EXPECT_EQ(e2e::ParamLinesUntilBarrier(env, mark), mode == 0 ? kToTestParams : kToNormalParams);
        const char* const variant = mode == 0 ? "rk720_t" : "rk720";
        EXPECT_TRUE(env.Sim().WaitForFirmware(variant, 10s)) << env.Sim().RunningFirmware();
        EXPECT_EQ(driver.CheckCurrentFwMode(), mode);
    }
}

TEST(E2eWlanDutSlow, OpenAndCloseCrossTheFirmwareSwitchRowByRow) {
    // Open: the interface down, the test row, the interface up, the
    // connection. Close: the connection goes, the normal row, the interface
    // down.
    struct Direction { bool open; Lines driverLines, dutLines, paramLines, firmwareLines; const char* running;
                       unsigned flags; };
    const Direction directions[] = {
        {true, Join(Join({"flag : 0x1002"}, kToTest), {"flag : 0x1002\n"}), {"ctConnect() - 0\n"}, kToTestParams,
         {"firmware: rk720 -> rk720_t (force_crash)", "firmware: rk720_t -> rk720_t (restart)"}, "rk720_t", 0x1003},
        {false, Join(Join({"flag : 0x1003"}, kToNormal), {"flag : 0x1002"}), {"wlan_close_device - 0\n"},
         kToNormalParams, {"firmware: rk720_t -> rk720 (restart)"}, "rk720", 0x1002},
    };
    testsupport::SimEnv env;
    CWlanDriver driver;
    CWlanDutLib dut(&driver);
    testsupport::LogCapture log;
    for (const Direction& d : directions) {
        SCOPED_TRACE(d.open ? "open" : "close");
        const auto mark = env.Sim().Log().Count();
        log.Clear();
        ASSERT_EQ(d.open ? dut.OpenDUT() : dut.CloseDUT(), 0);
        EXPECT_EQ(dut.IsDUTOpen(), d.open);
        EXPECT_EQ(log.Texts(kDriver), d.driverLines);
        for (const std::string& line : d.dutLines) EXPECT_TRUE(log.Contains(kDut, line)) << line;
        EXPECT_FALSE(log.Contains(kDut, "ctConnect() error - 4, try again\n"));
        EXPECT_EQ(e2e::ParamLinesUntilBarrier(env, mark), d.paramLines);
        EXPECT_TRUE(env.Sim().Log().WaitFor(d.firmwareLines.back(), 10s, mark));
        EXPECT_EQ(env.Sim().RunningFirmware(), d.running);
        EXPECT_EQ(e2e::SimLogSince(env, mark, "firmware: "), d.firmwareLines);
        EXPECT_EQ(e2e::InterfaceFlags(env), d.flags);
        EXPECT_EQ(driver.CheckCurrentFwMode(), d.open ? 0 : 1);
        EXPECT_EQ(dut.TxStartWithMod(), d.open ? 0 : 2) << "only the open DUT's test firmware answers";
        EXPECT_EQ(dut.TxStop(), d.open ? 0 : 2);
    }
    EXPECT_EQ(env.Sim().Firmware().switches, 2u);
}

}  // namespace
