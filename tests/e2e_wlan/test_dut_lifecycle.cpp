// OpenDUT and CloseDUT against the simulator without the firmware switch:
// on a chip that already runs the test firmware, with the device connected
// behind the object's back, without a device node, and on a closed object.
// The switch itself is in test_dut_slow.cpp.
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
namespace path = tavo::sim::path;

constexpr char kDut[] = "WLANDUT";
constexpr char kDriver[] = "WLAN_DRIVER";

// The texts of `tag` that are one of `wanted`, in order.
std::vector<std::string> Only(const testsupport::LogCapture& log, const std::string& tag,
                              const std::vector<std::string>& wanted) {
    std::vector<std::string> out;
    for (const std::string& text : log.Texts(tag)) {
        for (const std::string& w : wanted) {
            if (text == w) out.push_back(text);
        }
    }
    return out;
}

const std::vector<std::string> kConnectLines = {
    "ctConnect() error - 1, try again\n", "ctConnect() error - 4, try again\n", "ctConnect() - 0\n",
    "ctConnect() - 1\n", "ctConnect() - 4\n",
};

TEST(E2eWlanDutLifecycle, OpenOnRunningTestFirmwareOnlyConnects) {
    testsupport::SimEnv env;
    ASSERT_TRUE(e2e::LoadTestFirmwareQuickly(env));
    const unsigned restarts = env.Sim().Firmware().restarts;
    CWlanDriver driver;
    CWlanDutLib dut(&driver);
    testsupport::LogCapture log;

    EXPECT_EQ(dut.OpenDUT(), 0);
    EXPECT_TRUE(dut.IsDUTOpen());
    EXPECT_EQ(Only(log, kDut, kConnectLines), std::vector<std::string>{"ctConnect() - 0\n"});
    EXPECT_EQ(log.Texts(kDriver), std::vector<std::string>{}) << "no switch, no interface change";
    EXPECT_EQ(e2e::InterfaceFlags(env), 0x1002u);
    int temperature = 0;
    EXPECT_EQ(dut.GetChipTemperature(&temperature), 0) << "the firmware answers";
    EXPECT_EQ(temperature, 38);

    log.Clear();
    EXPECT_EQ(dut.OpenDUT(), 0);
    EXPECT_EQ(log.Texts(kDut), std::vector<std::string>{"DUT is already opened.\n"});
    EXPECT_EQ(log.Texts(kDriver), std::vector<std::string>{});
    EXPECT_EQ(env.Sim().Firmware().restarts, restarts);

    // With the variant file naming the normal firmware, CloseDUT has no
    // switch to make: it disconnects and takes the interface down.
    ASSERT_TRUE(e2e::SelectNormalVariantOnly(env));
    log.Clear();
    EXPECT_EQ(dut.CloseDUT(), 0);
    EXPECT_FALSE(dut.IsDUTOpen());
    EXPECT_TRUE(log.Contains(kDut, "wlan_close_device - 0\n"));
    EXPECT_EQ(log.Texts(kDriver), (std::vector<std::string>{"No need to change the FW mode\n", "flag : 0x1002"}));
    EXPECT_EQ(wlan_tx_stop(), 4) << "the connection is gone";
}

TEST(E2eWlanDutLifecycle, OpenRetriesWhenConnectedOutsideTheObject) {
    testsupport::SimEnv env;
    ASSERT_TRUE(e2e::LoadTestFirmwareQuickly(env));
    CWlanDriver driver;
    CWlanDutLib dut(&driver);
    ASSERT_EQ(wlan_open_device(), 0);
    ASSERT_FALSE(dut.IsDUTOpen());
    testsupport::LogCapture log;

    EXPECT_EQ(dut.OpenDUT(), 0);
    EXPECT_TRUE(dut.IsDUTOpen());
    EXPECT_EQ(Only(log, kDut, kConnectLines),
              (std::vector<std::string>{"ctConnect() error - 4, try again\n", "ctConnect() - 0\n"}));
    int temperature = 0;
    EXPECT_EQ(dut.GetChipTemperature(&temperature), 0) << "the reopened connection works";

    ASSERT_TRUE(e2e::SelectNormalVariantOnly(env));
    EXPECT_EQ(dut.CloseDUT(), 0);
}

TEST(E2eWlanDutLifecycle, OpenWithoutDeviceNodeFailsWithoutRetry) {
    testsupport::SimEnv env;
    ASSERT_TRUE(e2e::LoadTestFirmwareQuickly(env));
    ASSERT_TRUE(e2e::RemoveFile(env.Path(path::kWlanNode)));
    CWlanDriver driver;
    CWlanDutLib dut(&driver);
    testsupport::LogCapture log;

    EXPECT_EQ(dut.OpenDUT(), 1);
    EXPECT_FALSE(dut.IsDUTOpen());
    EXPECT_EQ(Only(log, kDut, kConnectLines),
              (std::vector<std::string>{"ctConnect() error - 1, try again\n", "ctConnect() - 1\n"}));
    // Closed, so CloseDUT has nothing to undo.
    log.Clear();
    EXPECT_EQ(dut.CloseDUT(), 0);
    EXPECT_EQ(log.Texts(kDriver), std::vector<std::string>{});
}

TEST(E2eWlanDutLifecycle, OpenWithUnreadableVariantMakesNoSwitch) {
    testsupport::SimEnv env;
    ASSERT_TRUE(e2e::RemoveFile(env.Path(path::kFirmwareVariant)));
    CWlanDriver driver;
    CWlanDutLib dut(&driver);
    testsupport::LogCapture log;

    EXPECT_EQ(dut.OpenDUT(), 0) << "the device node connects whatever firmware runs";
    EXPECT_TRUE(dut.IsDUTOpen());
    EXPECT_EQ(log.Texts(kDriver),
              std::vector<std::string>{"File Open Error: /sys/module/tavo_rk/parameters/firmware_variant"});
    EXPECT_EQ(e2e::InterfaceFlags(env), 0x1002u) << "the interface is not touched";
    EXPECT_FALSE(e2e::ReadText(env.Path(path::kFirmwareVariant)).has_value());

    ASSERT_TRUE(e2e::SelectNormalVariantOnly(env));
    EXPECT_EQ(dut.CloseDUT(), 0);
}

TEST(E2eWlanDutLifecycle, OpenFailsWhenTheSwitchFails) {
    // Normal firmware, and no interface to take down: SetMode stops at its
    // first step, before any command.
    testsupport::SimEnv env;
    ASSERT_TRUE(e2e::RemoveFile(env.Path(path::kWlanFlags)));
    e2e::ParamLinesUntilBarrier(env, 0);
    const auto mark = env.Sim().Log().Count();
    CWlanDriver driver;
    CWlanDutLib dut(&driver);
    testsupport::LogCapture log;

    EXPECT_EQ(dut.OpenDUT(), 1);
    EXPECT_FALSE(dut.IsDUTOpen());
    EXPECT_TRUE(log.Contains(kDut, "DUT SetMode Error.\n"));
    EXPECT_TRUE(log.Contains(kDriver, "Error : 4\n"));
    EXPECT_EQ(Only(log, kDut, kConnectLines), std::vector<std::string>{}) << "no connection attempted";
    EXPECT_EQ(e2e::ParamLinesUntilBarrier(env, mark), std::vector<std::string>{}) << "no command ran";
    EXPECT_EQ(wlan_tx_stop(), 4) << "not connected";
}

TEST(E2eWlanDutLifecycle, CloseFailsWhenTheSwitchFailsAndStaysOpen) {
    testsupport::SimEnv env;
    ASSERT_TRUE(e2e::LoadTestFirmwareQuickly(env));
    CWlanDriver driver;
    CWlanDutLib dut(&driver);
    ASSERT_EQ(dut.OpenDUT(), 0);
    const std::string flags = env.Path(path::kWlanFlags);
    ASSERT_TRUE(e2e::RemoveFile(flags));
    testsupport::LogCapture log;

    EXPECT_EQ(dut.CloseDUT(), 1);
    EXPECT_TRUE(dut.IsDUTOpen()) << "still marked open";
    EXPECT_TRUE(log.Contains(kDut, "wlan_close_device - 0\n"));
    EXPECT_TRUE(log.Contains(kDut, "DUT SetMode Error.\n"));
    EXPECT_EQ(e2e::ReadText(env.Path(path::kFirmwareVariant)), std::string("rk720_t")) << "nothing switched";

    // Once the interface is back, a second close completes; the connection
    // is already gone.
    ASSERT_TRUE(e2e::WriteText(flags, "0x1002\n"));
    ASSERT_TRUE(e2e::SelectNormalVariantOnly(env));
    log.Clear();
    EXPECT_EQ(dut.CloseDUT(), 0);
    EXPECT_FALSE(dut.IsDUTOpen());
    EXPECT_TRUE(log.Contains(kDut, "wlan_close_device - 4\n"));
}

TEST(E2eWlanDutLifecycle, CloseOnClosedObjectTouchesNothing) {
    struct Case {
        const char* what;
        bool testFirmware;
        bool interfaceUp;
    } const cases[] = {
        {"normal firmware, interface down", false, false},
        {"test firmware, interface up", true, true},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        testsupport::SimEnv env;
        CWlanDriver driver;
        if (c.testFirmware) {
            ASSERT_TRUE(e2e::LoadTestFirmwareQuickly(env));
        }
        if (c.interfaceUp) {
            ASSERT_EQ(driver.EnableInterface(), 0);
        }
        const unsigned flags = c.interfaceUp ? 0x1003u : 0x1002u;
        e2e::ParamLinesUntilBarrier(env, 0);
        const auto mark = env.Sim().Log().Count();
        const auto before = e2e::ParameterSnapshot(env);
        const unsigned restarts = env.Sim().Firmware().restarts;
        CWlanDutLib dut(&driver);
        testsupport::LogCapture log;

        EXPECT_EQ(dut.CloseDUT(), 0);
        EXPECT_EQ(log.Texts(kDut), std::vector<std::string>{});
        EXPECT_EQ(log.Texts(kDriver), std::vector<std::string>{});
        EXPECT_EQ(e2e::ParamLinesUntilBarrier(env, mark), std::vector<std::string>{});
        EXPECT_EQ(e2e::ParameterSnapshot(env), before);
        EXPECT_EQ(e2e::InterfaceFlags(env), flags);
        EXPECT_EQ(env.Sim().Firmware().restarts, restarts);
    }
}

}  // namespace
