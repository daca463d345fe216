// The two-second wait for the firmware, and what postpones it.
#include <gtest/gtest.h>

#include <chrono>

#include "scripted_firmware.h"
#include "wlan_interface.h"

namespace {

using testsupport::Bytes;
using testsupport::Reply;
using testsupport::ScriptedFirmware;

TEST(ClientSlow, SilentFirmwareTimesOutAndTheNextCallWorks) {
    ScriptedFirmware fw;
    ASSERT_EQ(wlan_open_device(), 0);
    fw.SetScript([](const Bytes&) { return std::vector<Reply>{}; });
    EXPECT_EQ(wlan_tx_stop(), 3);
    EXPECT_STREQ(wlan_get_last_error(), "wlan_tx_stop: No response received in 2 secs");
    fw.SetScript([](const Bytes&) {
        return std::vector<Reply>{{ScriptedFirmware::Frame(ScriptedFirmware::Confirm(0x9106, 0))}};
    });
    EXPECT_EQ(wlan_tx_stop(), 0) << "the client stays usable after a time-out";
    wlan_close_device();
}

TEST(ClientSlow, UnrelatedFramesPostponeTheTimeout) {
    ScriptedFirmware fw;
    ASSERT_EQ(wlan_open_device(), 0);
    // Three unrelated frames 1.5 s apart, then the confirm: each gap is
    // shorter than the wait, so the confirm is taken although the whole
    // exchange lasts longer than one wait.
    fw.SetScript([](const Bytes&) {
        const Bytes other = ScriptedFirmware::Frame(ScriptedFirmware::Confirm(0x9999, 0));
        const auto gap = std::chrono::milliseconds(1500);
        return std::vector<Reply>{{other, gap}, {other, gap}, {other, gap},
                                  {ScriptedFirmware::Frame(ScriptedFirmware::Confirm(0x9109, 0)), gap}};
    });
    EXPECT_EQ(wlan_rx_stop(), 0) << wlan_get_last_error();
    wlan_close_device();
}

}  // namespace
