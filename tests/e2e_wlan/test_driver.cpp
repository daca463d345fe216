// CWlanDriver against the simulator: interface flags through the flags
// file, the firmware mode read from the variant parameter, and a SetMode
// that has nothing to do. The switches themselves take seconds and live in
// test_driver_slow.cpp.
#include <gtest/gtest.h>

#include <unistd.h>

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

TEST(E2eWlanDriver, InterfaceFlagsFollowEnableAndDisable) {
    enum class Op { kEnable, kDisable };
    struct Step {
        const char* what;
        Op op;
        unsigned flagsAfter;
        std::string logLine;  // the flags the call read, in its own format
    } const steps[] = {
        {"up from boot", Op::kEnable, 0x1003, "flag : 0x1002\n"},
        {"up again: set once more and succeeds", Op::kEnable, 0x1003, "flag : 0x1003\n"},
        {"down", Op::kDisable, 0x1002, "flag : 0x1003"},
        {"down again", Op::kDisable, 0x1002, "flag : 0x1002"},
        {"up after down", Op::kEnable, 0x1003, "flag : 0x1002\n"},
    };
    testsupport::SimEnv env;
    ASSERT_EQ(e2e::InterfaceFlags(env), 0x1002u) << "the simulator boots with the interface down";
    CWlanDriver driver;
    testsupport::LogCapture log;
    for (const Step& step : steps) {
        SCOPED_TRACE(step.what);
        log.Clear();
        const int rc = step.op == Op::kEnable ? driver.EnableInterface() : driver.DisableInterface();
        EXPECT_EQ(rc, 0);
        EXPECT_EQ(e2e::InterfaceFlags(env), step.flagsAfter);
        EXPECT_EQ(log.Texts(kTag), std::vector<std::string>{step.logLine});
        EXPECT_EQ(driver.GetSocket(), -1) << "a successful call closes its socket";
    }
}

TEST(E2eWlanDriver, MissingFlagsFileFailsAndLeavesTheSocketOpen) {
    testsupport::SimEnv env;
    const std::string flags = env.Path(path::kWlanFlags);
    ASSERT_TRUE(e2e::RemoveFile(flags));
    CWlanDriver driver;
    testsupport::LogCapture log;

    EXPECT_EQ(driver.EnableInterface(), 4);
    EXPECT_GE(driver.GetSocket(), 1) << "after a failed ioctl the socket stays open";
    std::vector<std::string> texts = log.Texts(kTag);
    ASSERT_EQ(texts.size(), 1u);
    const std::string enablePrefix = "int CWlanDriver::EnableInterface(): ioctl(drvsock, SIOCGIFFLAGS, &ifr) -1 ";
    EXPECT_EQ(texts[0].rfind(enablePrefix, 0), 0u) << texts[0];
    EXPECT_EQ(texts[0].back(), '\n') << texts[0];
    const int socket = driver.GetSocket();

    // The next call finds the socket open, and fails the same way.
    log.Clear();
    EXPECT_EQ(driver.DisableInterface(), 4);
    EXPECT_EQ(driver.GetSocket(), socket);
    EXPECT_EQ(log.Texts(kTag), (std::vector<std::string>{
                                   "Socket is already open \n",
                                   "int CWlanDriver::DisableInterface(): ioctl(drvsock, SIOCGIFFLAGS, &ifr) -1\n",
                               }));
    EXPECT_FALSE(e2e::ReadText(flags).has_value()) << "a failed read writes no flags";

    // With the file back the open socket is used and then closed.
    ASSERT_TRUE(e2e::WriteText(flags, "0x1002\n"));
    log.Clear();
    EXPECT_EQ(driver.EnableInterface(), 0);
    EXPECT_EQ(driver.GetSocket(), -1);
    EXPECT_EQ(log.Texts(kTag), (std::vector<std::string>{"Socket is already open \n", "flag : 0x1002\n"}));
    EXPECT_EQ(e2e::InterfaceFlags(env), 0x1003u);
}

TEST(E2eWlanDriver, FlagsThatCannotBeWrittenFailWithTheirOwnLines) {
    // The flags "file" is the stat file of process 1: it reads as hex
    // ("1 (init) ..." gives 0x0001) and refuses every write, as root too.
    testsupport::SimEnv env;
    const std::string flags = env.Path(path::kWlanFlags);
    ASSERT_TRUE(e2e::RemoveFile(flags));
    ASSERT_EQ(::symlink("/proc/1/stat", flags.c_str()), 0);
    CWlanDriver driver;
    testsupport::LogCapture log;

    EXPECT_EQ(driver.EnableInterface(), 4);
    EXPECT_GE(driver.GetSocket(), 1) << "after a failed ioctl the socket stays open";
    std::vector<std::string> texts = log.Texts(kTag);
    ASSERT_EQ(texts.size(), 2u);
    EXPECT_EQ(texts[0], "flag : 0x0001\n");
    const std::string enablePrefix = "int CWlanDriver::EnableInterface(): ioctl(drvsock, SIOCSIFFLAGS, &ifr) -1 ";
    EXPECT_EQ(texts[1].rfind(enablePrefix, 0), 0u) << texts[1];
    EXPECT_GT(texts[1].size(), enablePrefix.size() + 1) << "errno follows the result";
    EXPECT_EQ(texts[1].back(), '\n') << texts[1];

    log.Clear();
    EXPECT_EQ(driver.DisableInterface(), 4);
    EXPECT_GE(driver.GetSocket(), 1);
    EXPECT_EQ(log.Texts(kTag), (std::vector<std::string>{
                                   "Socket is already open \n",
                                   "flag : 0x0001",
                                   "int CWlanDriver::DisableInterface(): ioctl(drvsock, SIOCSIFFLAGS, &ifr) -1",
                               }));
}

TEST(E2eWlanDriver, CheckCurrentFwModeReadsTheVariantPrefix) {
    struct Case {
        std::optional<std::string> content;  // nothing: the file is removed
        int mode;
    } const cases[] = {
        {std::string("rk720_t"), 0},
        {std::string("rk720_t\n"), 0},
        {std::string("rk720_tx"), 0},
        {std::string("rk720_t_longer_than_fifteen_chars\n"), 0},
        {std::string("rk720"), 1},
        {std::string("rk720\n"), 1},
        {std::string("rk720_"), 1},
        {std::string("RK720_T"), 1},
        {std::string(" rk720_t"), 1},
        {std::string(""), 1},
        {std::nullopt, -1},
    };
    testsupport::SimEnv env;
    const std::string variant = env.Path(path::kFirmwareVariant);
    CWlanDriver driver;
    testsupport::LogCapture log;
    for (const Case& c : cases) {
        SCOPED_TRACE(c.content ? "\"" + *c.content + "\"" : std::string("missing file"));
        if (c.content) {
            ASSERT_TRUE(e2e::WriteText(variant, *c.content));
        } else {
            ASSERT_TRUE(e2e::RemoveFile(variant));
        }
        log.Clear();
        EXPECT_EQ(driver.CheckCurrentFwMode(), c.mode);
        const std::vector<std::string> expected =
            c.content ? std::vector<std::string>{}
                      : std::vector<std::string>{"File Open Error: /sys/module/tavo_rk/parameters/firmware_variant"};
        EXPECT_EQ(log.Texts(kTag), expected);
    }
}

TEST(E2eWlanDriver, SetModeWithNothingToChangeTouchesNothing) {
    struct Case {
        const char* what;
        std::optional<std::string> variant;  // written before; nothing: the boot value
        int mode;
        bool interfaceUp;
    } const cases[] = {
        {"normal firmware, mode 1, interface up", std::nullopt, 1, true},
        {"normal firmware, mode 1, interface down", std::nullopt, 1, false},
        {"test firmware, mode 0", std::string("rk720_t"), 0, true},
        {"longer test variant, mode 0", std::string("rk720_tx\n"), 0, false},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        testsupport::SimEnv env;
        CWlanDriver driver;
        if (c.variant) {
            ASSERT_TRUE(e2e::WriteText(env.Path(path::kFirmwareVariant), *c.variant));
        }
        if (c.interfaceUp) {
            ASSERT_EQ(driver.EnableInterface(), 0);
        }
        const unsigned flags = c.interfaceUp ? 0x1003u : 0x1002u;
        ASSERT_EQ(e2e::InterfaceFlags(env), flags);
        // Everything written so far has been seen before the mark.
        e2e::ParamLinesUntilBarrier(env, 0);
        const auto mark = env.Sim().Log().Count();
        const auto before = e2e::ParameterSnapshot(env);
        const unsigned restarts = env.Sim().Firmware().restarts;

        testsupport::LogCapture log;
        EXPECT_EQ(driver.SetMode(c.mode), 0);
        EXPECT_EQ(log.Texts(kTag), std::vector<std::string>{"No need to change the FW mode\n"});
        EXPECT_EQ(e2e::ParamLinesUntilBarrier(env, mark), std::vector<std::string>{}) << "no parameter written";
        EXPECT_EQ(e2e::ParameterSnapshot(env), before);
        EXPECT_EQ(e2e::InterfaceFlags(env), flags) << "the interface stays as it was";
        EXPECT_EQ(env.Sim().Firmware().restarts, restarts);
    }
}

}  // namespace
