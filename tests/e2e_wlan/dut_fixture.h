// A WLAN DUT opened on the simulator's test firmware without the library's
// firmware switch: the test firmware is loaded by writing the kernel
// parameters directly, so OpenDUT finds it running and only connects. At
// the end the variant file is set back to the normal firmware, so that
// CloseDUT finds nothing to switch either. Tests of the switch itself are
// in the slow program.
#pragma once

#include <gtest/gtest.h>

#include "e2e_util.h"
#include "sim/wlanfw/signals.h"
#include "sim/wlanfw/wlan_firmware.h"
#include "support/log_capture.h"
#include "support/sim_env.h"
#include "wlan/WlanDriver.h"
#include "wlan/WlanDutLib.h"

namespace e2e {

class DutOnTestFirmware : public ::testing::Test {
protected:
    void SetUp() override {
        ASSERT_TRUE(LoadTestFirmwareQuickly(env));
        ASSERT_EQ(dut.OpenDUT(), 0);
        ASSERT_TRUE(dut.IsDUTOpen());
    }
    void TearDown() override {
        if (!dut.IsDUTOpen()) return;
        ASSERT_TRUE(SelectNormalVariantOnly(env));
        EXPECT_EQ(dut.CloseDUT(), 0);
    }

    tavo::sim::wlanfw::WlanFirmware& Fw() { return env.WlanFw(); }
    std::uint64_t Requests(std::uint16_t id) { return Fw().RequestCount(id); }

    testsupport::SimEnv env;
    CWlanDriver driver;
    CWlanDutLib dut{&driver};
    testsupport::LogCapture log;
};

}  // namespace e2e
