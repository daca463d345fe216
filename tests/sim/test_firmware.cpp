// The firmware reloads when the Bluetooth service is crashed on purpose or
// the clock service restarted, with the variant written before; shell lines
// like the library's, rebased under the root and run through /bin/sh.
#include <gtest/gtest.h>

#include <chrono>
#include <string>
#include <vector>

#include "sim/firmware_loader.h"
#include "sim_test_util.h"
#include "support/sim_env.h"

namespace {

using namespace std::chrono_literals;

constexpr char kWriteTest[] = "echo -n \"rk720_t\" > /sys/module/tavo_rk/parameters/firmware_variant";
constexpr char kCrash[] = "echo 0xDEADDEAD > /sys/module/tavo_bt/parameters/force_crash";
constexpr char kRestart[] = "[ -f /proc/driver/rk720_clk0/restart ] && echo Y > /proc/driver/rk720_clk0/restart";
// Every write is logged in order, so once this one shows, all before it
// have been acted on.
constexpr char kBarrier[] = "echo 7 > /sys/module/tavo_rk/parameters/use_new_fw_structure";
constexpr char kBarrierLine[] = "param: tavo_rk/use_new_fw_structure = 7";

void RunAll(const testsupport::SimEnv& env, const std::vector<std::string>& commands) {
    for (const std::string& command : commands) {
        const simtest::CommandResult r = simtest::Run(simtest::Rebase(command, env.Root()));
        ASSERT_EQ(r.status, 0) << command;
    }
}

TEST(SimFirmware, WhatReloadsAndWhatDoesNot) {
    struct Case {
        const char* what;
        std::vector<std::string> commands;
        const char* running;
        unsigned restarts;
        unsigned switches;
        const char* logLine;  // null: no firmware line at all
    } const cases[] = {
        {"crash after the variant", {kWriteTest, kCrash}, "rk720_t", 1, 1, "firmware: rk720 -> rk720_t (force_crash)"},
        {"clock restart after the variant", {kWriteTest, kRestart}, "rk720_t", 1, 1,
         "firmware: rk720 -> rk720_t (restart)"},
        {"the variant alone", {kWriteTest}, "rk720", 0, 0, nullptr},
        {"the rest of the test row without crash or restart",
         {"echo 0 > /sys/module/tavo_rk/parameters/enable_auto_sense",
          "echo 1 > /sys/module/tavo_rk/parameters/use_new_fw_structure", kWriteTest,
          "echo 1 > /sys/module/tavo_wlan/parameters/EnableTestMode",
          "echo Y > /sys/module/tavo_bt/parameters/disable_service"},
         "rk720", 0, 0, nullptr},
        {"another value to force_crash", {kWriteTest, "echo 0xDEADBEEF > /sys/module/tavo_bt/parameters/force_crash"},
         "rk720", 0, 0, nullptr},
        {"N to restart", {kWriteTest, "echo N > /proc/driver/rk720_clk0/restart"}, "rk720", 0, 0, nullptr},
        {"lower-case crash value", {kWriteTest, "echo 0xdeaddead > /sys/module/tavo_bt/parameters/force_crash"},
         "rk720_t", 1, 1, "firmware: rk720 -> rk720_t (force_crash)"},
        {"restart without a new variant", {kRestart}, "rk720", 1, 0, "firmware: rk720 -> rk720 (restart)"},
        {"a longer test variant",
         {"echo -n rk720_test2 > /sys/module/tavo_rk/parameters/firmware_variant", kCrash}, "rk720_test2", 1, 1,
         "firmware: rk720 -> rk720_test2 (force_crash)"},
        {"an empty variant leaves no firmware",
         {"echo -n > /sys/module/tavo_rk/parameters/firmware_variant", kCrash}, "", 1, 1,
         "firmware: rk720 -> (none) (force_crash)"},
        {"there and back", {kWriteTest, kCrash, "echo -n \"rk720\" > /sys/module/tavo_rk/parameters/firmware_variant",
                            kRestart},
         "rk720", 2, 2, "firmware: rk720_t -> rk720 (restart)"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        testsupport::SimEnv env;
        std::vector<std::string> commands = c.commands;
        commands.push_back(kBarrier);
        RunAll(env, commands);
        ASSERT_TRUE(env.Sim().Log().WaitFor(kBarrierLine, 10s));
        const tavo::sim::FirmwareStatus status = env.Sim().Firmware();
        EXPECT_EQ(status.running, c.running);
        EXPECT_EQ(env.Sim().RunningFirmware(), c.running);
        EXPECT_EQ(env.Sim().TestFirmwareRunning(), std::string(c.running).rfind("rk720_t", 0) == 0);
        EXPECT_EQ(status.restarts, c.restarts);
        EXPECT_EQ(status.switches, c.switches);
        if (c.logLine != nullptr) {
            EXPECT_TRUE(env.Sim().Log().Contains(c.logLine));
            EXPECT_NE(simtest::ReadText(env.Path("/sim/log")).find(c.logLine), std::string::npos);
        } else {
            EXPECT_FALSE(env.Sim().Log().Contains("firmware: "));
        }
    }
}

TEST(SimFirmware, EveryParameterWriteIsLogged) {
    testsupport::SimEnv env;
    RunAll(env, {"echo 1 > /sys/module/tavo_wlan/parameters/EnableTestMode", kWriteTest,
                 "echo Y > /sys/module/tavo_bt/parameters/disable_service", kBarrier});
    ASSERT_TRUE(env.Sim().Log().WaitFor(kBarrierLine, 10s));
    const std::vector<std::string> lines = env.Sim().Log().Lines();
    const std::vector<std::string> expected = {
        "param: tavo_wlan/EnableTestMode = 1",
        "param: tavo_rk/firmware_variant = rk720_t",
        "param: tavo_bt/disable_service = Y",
        kBarrierLine,
    };
    std::vector<std::string> params;
    for (const std::string& line : lines) {
        if (line.rfind("param: ", 0) == 0) params.push_back(line);
    }
    EXPECT_EQ(params, expected);
}

TEST(SimFirmware, WaitForFirmwareIsBounded) {
    testsupport::SimEnv env;
    EXPECT_FALSE(env.Sim().WaitForFirmware("rk720_t", 0ms));
    EXPECT_FALSE(env.Sim().WaitForSwitches(1, 0ms));
    RunAll(env, {kWriteTest, kCrash});
    EXPECT_TRUE(env.Sim().WaitForFirmware("rk720_t", 10s));
    EXPECT_TRUE(env.Sim().WaitForSwitches(1, 10s));
    EXPECT_TRUE(env.Sim().TestFirmwareRunning());
}

// A file removed and made again is still watched: the directories are.
TEST(SimFirmware, RecreatedParameterFileStillWorks) {
    testsupport::SimEnv env;
    RunAll(env, {"rm /sys/module/tavo_bt/parameters/force_crash", kWriteTest, kCrash});
    EXPECT_TRUE(env.Sim().WaitForFirmware("rk720_t", 10s));
}

TEST(SimFirmware, ParameterValues) {
    struct Case {
        const char* text;
        bool crash;
        bool truth;
    } const cases[] = {
        {"0xDEADDEAD\n", true, false}, {"0xdeaddead", true, false}, {"3735936685\n", true, false},
        {"0xDEADDEAD0", false, false}, {"-0xDEADDEAD", false, false}, {" 0xDEADDEAD", false, false},
        {"", false, false},            {"Y\n", false, true},        {"y", false, true},
        {"1\n", false, true},          {"N\n", false, false},       {"0", false, false},
    };
    for (const Case& c : cases) {
        EXPECT_EQ(tavo::sim::FirmwareLoader::IsCrashValue(c.text), c.crash) << c.text;
        EXPECT_EQ(tavo::sim::FirmwareLoader::IsTrue(c.text), c.truth) << c.text;
    }
}

}  // namespace
