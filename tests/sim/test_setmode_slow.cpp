// Both rows of the library's firmware switch, exactly as it runs them: one
// shell line at a time through /bin/sh, the pause included, paths rebased
// under the simulator's root. Seconds long, for the pauses.
#include <gtest/gtest.h>

#include <chrono>
#include <string>
#include <vector>

#include "sim_test_util.h"
#include "support/sim_env.h"

namespace {

using namespace std::chrono_literals;

TEST(SimSetModeSlow, TestFirmwareAndBack) {
    struct Row {
        const char* what;
        std::vector<std::string> commands;
        const char* running;
        unsigned restarts;
        unsigned switches;
        std::vector<std::string> logLines;
        std::vector<std::pair<std::string, std::string>> params;  // path, content afterwards
    } const rows[] = {
        {"to test firmware",
         {
             "echo 0 > /sys/module/tavo_rk/parameters/enable_auto_sense",
             "echo 1 > /sys/module/tavo_rk/parameters/use_new_fw_structure",
             "echo -n \"rk720_t\" > /sys/module/tavo_rk/parameters/firmware_variant",
             "echo 1 > /sys/module/tavo_wlan/parameters/EnableTestMode",
             "echo Y > /sys/module/tavo_bt/parameters/disable_service",
             "echo 0xDEADDEAD > /sys/module/tavo_bt/parameters/force_crash",
             "sleep 1",
             "[ -f /proc/driver/rk720_clk0/restart ] && echo Y > /proc/driver/rk720_clk0/restart",
         },
         "rk720_t",
         2,
         1,
         {"firmware: rk720 -> rk720_t (force_crash)", "firmware: rk720_t -> rk720_t (restart)"},
         {{"/sys/module/tavo_rk/parameters/enable_auto_sense", "0\n"},
          {"/sys/module/tavo_rk/parameters/use_new_fw_structure", "1\n"},
          {"/sys/module/tavo_rk/parameters/firmware_variant", "rk720_t"},
          {"/sys/module/tavo_wlan/parameters/EnableTestMode", "1\n"},
          {"/sys/module/tavo_bt/parameters/disable_service", "Y\n"},
          {"/sys/module/tavo_bt/parameters/force_crash", "0xDEADDEAD\n"},
          {"/proc/driver/rk720_clk0/restart", "Y\n"}}},
        {"back to normal firmware",
         {
             "echo -n \"rk720\" > /sys/module/tavo_rk/parameters/firmware_variant",
             "echo 0 > /sys/module/tavo_wlan/parameters/EnableTestMode",
             "echo 1 > /sys/module/tavo_rk/parameters/enable_auto_sense",
             "echo N > /sys/module/tavo_bt/parameters/disable_service",
             "sleep 1",
             "[ -f /proc/driver/rk720_clk0/restart ] && echo Y > /proc/driver/rk720_clk0/restart",
         },
         "rk720",
         3,
         2,
         {"firmware: rk720_t -> rk720 (restart)"},
         {{"/sys/module/tavo_rk/parameters/enable_auto_sense", "1\n"},
          {"/sys/module/tavo_rk/parameters/firmware_variant", "rk720"},
          {"/sys/module/tavo_wlan/parameters/EnableTestMode", "0\n"},
          {"/sys/module/tavo_bt/parameters/disable_service", "N\n"}}},
    };
    testsupport::SimEnv env;
    for (const Row& row : rows) {
        SCOPED_TRACE(row.what);
        const auto mark = env.Sim().Log().Count();
        for (const std::string& command : row.commands) {
            const std::string rebased = simtest::Rebase(command, env.Root());
            // The pause is real; only the paths move.
            if (command.rfind("sleep", 0) == 0) {
                ASSERT_EQ(rebased, command);
            } else {
                ASSERT_NE(rebased, command);
            }
            ASSERT_EQ(simtest::Run(rebased).status, 0) << rebased;
        }
        // The row ends with the clock restart: once that reload shows, the
        // row has been acted on entirely.
        ASSERT_TRUE(env.Sim().Log().WaitFor(row.logLines.back(), 10s, mark));
        for (const std::string& line : row.logLines) EXPECT_TRUE(env.Sim().Log().WaitFor(line, 0s, mark)) << line;
        EXPECT_EQ(env.Sim().RunningFirmware(), row.running);
        EXPECT_EQ(env.Sim().TestFirmwareRunning(), std::string(row.running) == "rk720_t");
        EXPECT_EQ(env.Sim().Firmware().restarts, row.restarts);
        EXPECT_EQ(env.Sim().Firmware().switches, row.switches);
        for (const auto& [path, content] : row.params) EXPECT_EQ(simtest::ReadText(env.Path(path)), content) << path;
    }
}

}  // namespace
