// The client's two-second wait for a frame, against the simulated firmware:
// frames of other exchanges restart the wait however long they go on, and
// silence ends the call with its own code and text. The calls after a silence
// are in the WLAN campaign.
#include <gtest/gtest.h>

#include "support/sim_env.h"
#include "wlan_interface.h"

namespace {

class WlanClientSlow : public ::testing::Test {
protected:
    void SetUp() override { ASSERT_TRUE(env.LoadTestFirmware() && wlan_open_device() == 0) << wlan_get_last_error(); }
    void TearDown() override { wlan_close_device(); }
    testsupport::SimEnv env;
};

TEST_F(WlanClientSlow, UnrelatedFramesPostponeTheTimeoutSilenceEndsIt) {
    // Twelve frames a quarter second apart: three seconds in all, no gap
    // near the two-second wait.
    env.WlanFw().SetChatter(12, std::chrono::milliseconds(250));
    EXPECT_EQ(wlan_select_radio(COMMSTEST_RADIO_1), 0) << wlan_get_last_error();
    EXPECT_EQ(env.WlanFw().RequestCount(0x901A), 1u);
    EXPECT_EQ(env.WlanFw().RadioBitmap(), 1);
    env.WlanFw().SetSilent(true);
    EXPECT_EQ(wlan_select_radio(COMMSTEST_RADIO_2), 3);
    EXPECT_STREQ(wlan_get_last_error(), "wlan_select_radio: No response received in 2 secs");
}

}  // namespace
