// CWlanDriver::SetMode crossing the firmware switch on the simulator: what
// it writes, in which order, and which firmware runs afterwards. Each
// direction pauses a second in the library's own command list.
#include <gtest/gtest.h>

#include <chrono>
#include <optional>
#include <string>
#include <vector>

#include "e2e_util.h"
#include "sim/tree.h"
#include "support/log_capture.h"
#include "support/sim_env.h"
#include "wlan/WlanDriver.h"

namespace {

using namespace std::chrono_literals;
namespace path = tavo::sim::path;

constexpr char kTag[] = "WLAN_DRIVER";

const std::vector<std::string> kToTest = {
    "echo 0 > /sys/module/tavo_rk/parameters/enable_auto_sense",
    "echo 1 > /sys/module/tavo_rk/parameters/use_new_fw_structure",
    "echo -n \"rk720_t\" > /sys/module/tavo_rk/parameters/firmware_variant",
    "echo 1 > /sys/module/tavo_wlan/parameters/EnableTestMode",
    "echo Y > /sys/module/tavo_bt/parameters/disable_service",
    "echo 0xDEADDEAD > /sys/module/tavo_bt/parameters/force_crash",
    "sleep 1",
    "[ -f /proc/driver/rk720_clk0/restart ] && echo Y > /proc/driver/rk720_clk0/restart",
};
const std::vector<std::string> kToNormal = {
    "echo -n \"rk720\" > /sys/module/tavo_rk/parameters/firmware_variant",
    "echo 0 > /sys/module/tavo_wlan/parameters/EnableTestMode",
    "echo 1 > /sys/module/tavo_rk/parameters/enable_auto_sense",
    "echo N > /sys/module/tavo_bt/parameters/disable_service",
    "sleep 1",
    "[ -f /proc/driver/rk720_clk0/restart ] && echo Y > /proc/driver/rk720_clk0/restart",
};
const std::vector<std::string> kToTestParams = {
    "param: tavo_rk/enable_auto_sense = 0",  "param: tavo_rk/use_new_fw_structure = 1",
    "param: tavo_rk/firmware_variant = rk720_t", "param: tavo_wlan/EnableTestMode = 1",
    "param: tavo_bt/disable_service = Y",    "param: tavo_bt/force_crash = 0xDEADDEAD",
    "param: rk720_clk0/restart = Y",
};
const std::vector<std::string> kToNormalParams = {
    "param: tavo_rk/firmware_variant = rk720", "param: tavo_wlan/EnableTestMode = 0",
    "param: tavo_rk/enable_auto_sense = 1",    "param: tavo_bt/disable_service = N",
    "param: rk720_clk0/restart = Y",
};

// The driver's log for a switch: what came before the commands, then each
// command with its line end.
std::vector<std::string> DriverLines(std::vector<std::string> head, const std::vector<std::string>& commands) {
    for (const std::string& command : commands) head.push_back(command + "\n");
    return head;
}

// Every parameter file, in the order of e2e::ParameterFiles().
std::vector<std::optional<std::string>> Files(const char* autoSense, const char* newStructure, const char* variant,
                                              const char* testMode, const char* disableService,
                                              const char* forceCrash, const char* restart) {
    return {std::string(autoSense),      std::string(newStructure), std::string(variant), std::string(testMode),
            std::string(disableService), std::string(forceCrash),   std::string(restart)};
}

TEST(E2eWlanDriverSlow, SetModeSwitchesToTestFirmwareAndBack) {
    struct Direction {
        const char* what;
        int mode;
        std::vector<std::string> driverLines;
        std::vector<std::string> paramLines;
        std::vector<std::string> firmwareLines;
        std::vector<std::optional<std::string>> files;
        const char* running;
        int fwMode;
    } const directions[] = {
        {"to the test firmware, interface up before",
         0,
         DriverLines({"flag : 0x1003"}, kToTest),
         kToTestParams,
         {"firmware: rk720 -> rk720_t (force_crash)", "firmware: rk720_t -> rk720_t (restart)"},
         Files("0\n", "1\n", "rk720_t", "1\n", "Y\n", "0xDEADDEAD\n", "Y\n"),
         "rk720_t",
         0},
        {"back to the normal firmware",
         1,
         DriverLines({"flag : 0x1002"}, kToNormal),
         kToNormalParams,
         {"firmware: rk720_t -> rk720 (restart)"},
         Files("1\n", "1\n", "rk720", "0\n", "N\n", "0xDEADDEAD\n", "Y\n"),
         "rk720",
         1},
    };
    testsupport::SimEnv env;
    CWlanDriver driver;
    ASSERT_EQ(driver.EnableInterface(), 0);
    testsupport::LogCapture log;
    for (const Direction& d : directions) {
        SCOPED_TRACE(d.what);
        const auto mark = env.Sim().Log().Count();
        log.Clear();
        ASSERT_EQ(driver.SetMode(d.mode), 0);
        EXPECT_EQ(log.Texts(kTag), d.driverLines);
        EXPECT_TRUE(env.Sim().WaitForFirmware(d.running, 10s)) << env.Sim().RunningFirmware();
        EXPECT_EQ(e2e::ParamLinesUntilBarrier(env, mark), d.paramLines);
        EXPECT_EQ(e2e::SimLogSince(env, mark, "firmware: "), d.firmwareLines);
        EXPECT_EQ(e2e::ParameterSnapshot(env), d.files);
        EXPECT_EQ(e2e::InterfaceFlags(env), 0x1002u) << "SetMode leaves the interface down";
        EXPECT_EQ(driver.CheckCurrentFwMode(), d.fwMode);
    }
    EXPECT_EQ(env.Sim().Firmware().switches, 2u);
}

TEST(E2eWlanDriverSlow, MissingVariantFileRunsTheWholeRowForEitherMode) {
    struct Row {
        int mode;
        std::vector<std::string> commands;
        std::vector<std::string> paramLines;
        const char* variant;
        const char* running;
        unsigned restarts;
    } const rows[] = {
        {0, kToTest, kToTestParams, "rk720_t", "rk720_t", 2},
        {1, kToNormal, kToNormalParams, "rk720", "rk720", 1},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE("mode " + std::to_string(row.mode));
        testsupport::SimEnv env;
        ASSERT_TRUE(e2e::RemoveFile(env.Path(path::kFirmwareVariant)));
        e2e::ParamLinesUntilBarrier(env, 0);
        const auto mark = env.Sim().Log().Count();
        CWlanDriver driver;
        testsupport::LogCapture log;

        ASSERT_EQ(driver.SetMode(row.mode), 0);
        EXPECT_EQ(log.Texts(kTag),
                  DriverLines({"File Open Error: /sys/module/tavo_rk/parameters/firmware_variant", "flag : 0x1002"},
                              row.commands));
        EXPECT_EQ(e2e::ParamLinesUntilBarrier(env, mark), row.paramLines);
        EXPECT_EQ(e2e::ReadText(env.Path(path::kFirmwareVariant)), std::string(row.variant));
        EXPECT_TRUE(e2e::WaitUntil([&] { return env.Sim().Firmware().restarts >= row.restarts; }, 10s));
        EXPECT_EQ(env.Sim().RunningFirmware(), row.running);
        EXPECT_EQ(driver.CheckCurrentFwMode(), row.mode);
    }
}

}  // namespace
