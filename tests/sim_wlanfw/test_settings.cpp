// Steering as text, as the tavo-sim command line hands it over.
#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <vector>

#include "fw_fixture.h"
#include "sim/wlanfw/settings_text.h"

namespace wlanfw_test {
namespace {

namespace wf = tavo::sim::wlanfw;

using WlanfwSettingsTest = WlanFwTest;

TEST_F(WlanfwSettingsTest, SettingsTakeEffect) {
    struct Row {
        const char* setting;
        std::function<void()> check;
    };
    // In order, on one firmware: a row may rely on what the rows before it set.
    const std::vector<Row> rows = {
        {"chip-id=0x1234", [this] { EXPECT_EQ(Exchange(MibGetReq(2022)).bulk, (Bytes{0xE6, 0x07, 0, 0, 0x82, 0x12, 0x34})); }},
        {"temperature=40", [this] { EXPECT_EQ(Exchange(MibGetReq(5062)).bulk.back(), 40); }},
        {"build-id=fw 2", [this] { EXPECT_EQ(Exchange(MibGetReq(183)).bulk, (Bytes{0xB7, 0, 0, 0, 0xA1, 4, 'f', 'w', ' ', '2'})); }},
        {"bist=-3,4", [this] { EXPECT_EQ(U32(Exchange(BistReq()).signal, 12), 0xFFFD0004u); }},
        {"bist-word=0xCAFE0001", [this] { EXPECT_EQ(U32(Exchange(BistReq()).signal, 12), 0xCAFE0001u); }},
        {"force=0x901A,0x8004", [this] {
             EXPECT_EQ(ResultOf(SelectRadioReq(1)), 0x8004);
             EXPECT_EQ(ResultOf(SelectRadioReq(1)), 0);
         }},
        {"force=any,1,2", [this] {
             EXPECT_EQ(ResultOf(SelectRadioReq(1)), 1);
             EXPECT_EQ(ResultOf(BistReq()), 1);
             EXPECT_EQ(ResultOf(SelectRadioReq(1)), 0);
         }},
        {"malformed=header-only", [this] {
             client_->Send(SelectRadioReq(1));
             EXPECT_EQ(client_->Receive()->size(), 16u);
         }},
        {"rx-counts=9,8", [this] {
             ASSERT_EQ(ResultOf(RxStartReq()), 0);
             const Frame f = Exchange(RxReadReq({0xE000, 0xE001}));
             EXPECT_EQ(U32(f.bulk, 2), 9u);
             EXPECT_EQ(U32(f.bulk, 6), 8u);
             ASSERT_EQ(ResultOf(RxStopReq()), 0);
         }},
        {"rx-rate=10", [this] {
             ASSERT_EQ(ResultOf(RxStartReq()), 0);
             clock_.Advance(std::chrono::seconds(3));
             EXPECT_EQ(fw_.Rx().counts.total, 30u);
             ASSERT_EQ(ResultOf(RxStopReq()), 0);
         }},
        {"rx-error=500", [this] {
             ASSERT_EQ(ResultOf(RxStartReq()), 0);
             clock_.Advance(std::chrono::seconds(10));
             const Frame f = Exchange(RxReadReq({0xE000, 0xE001}));
             EXPECT_EQ(U32(f.bulk, 2), 100u) << "10 frames per second from rx-rate";
             EXPECT_EQ(U32(f.bulk, 6), 50u);
             ASSERT_EQ(ResultOf(RxStopReq()), 0);
         }},
        {"rx-counters-limit=1", [this] {
             ASSERT_EQ(ResultOf(RxStartReq()), 0);
             EXPECT_EQ(U16(Exchange(RxReadReq({0xE000, 0xE001})).bulk, 0), 1);
         }},
        {"rx-counters-limit=all", [this] {
             EXPECT_EQ(U16(Exchange(RxReadReq({0xE000, 0xE001})).bulk, 0), 2);
             ASSERT_EQ(ResultOf(RxStopReq()), 0);
         }},
        {"rssi=-1,-2,-3,-4", [this] {
             ASSERT_EQ(ResultOf(RxStartReq()), 0);
             const Frame f = Exchange(RxReadReq({}));
             EXPECT_EQ(static_cast<std::int16_t>(U16(f.signal, 20)), -1);
             EXPECT_EQ(static_cast<std::int16_t>(U16(f.signal, 26)), -4);
         }},
        {"snr=5,6,7,8", [this] { EXPECT_EQ(U16(Exchange(RxReadReq({})).signal, 34), 8); }},
        {"freq-error=-70000", [this] {
             EXPECT_EQ(static_cast<std::int32_t>(U32(Exchange(RxReadReq({})).signal, 16)), -70000);
             ASSERT_EQ(ResultOf(RxStopReq()), 0);
         }},
        {"chatter=2", [this] {
             client_->Send(SelectRadioReq(1));
             EXPECT_EQ(SplitFrame(*client_->Receive()).Id(), 0x9FFF);
             EXPECT_NE(SplitFrame(*client_->Receive()).Id(), 0x9112);
             EXPECT_EQ(SplitFrame(*client_->Receive()).Id(), 0x9112);
         }},
        {"chatter=0,5", [this] { EXPECT_EQ(Exchange(SelectRadioReq(1)).Id(), 0x9112); }},
        {"delay=1", [this] { EXPECT_EQ(ResultOf(SelectRadioReq(1)), 0); }},
        {"silent", [this] { ExpectNoAnswer(SelectRadioReq(1), "wlanfw: 0x901A select_radio_req -> silent"); }},
        {"silent=off", [this] { EXPECT_EQ(ResultOf(SelectRadioReq(1)), 0); }},
        {"silent=on", [this] { ExpectNoAnswer(SelectRadioReq(2), "wlanfw: 0x901A select_radio_req -> silent"); }},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.setting);
        std::string error;
        ASSERT_TRUE(wf::ApplySetting(fw_, row.setting, error)) << error;
        row.check();
    }
}

TEST_F(WlanfwSettingsTest, BadSettingsAreRefusedAndChangeNothing) {
    struct Row {
        const char* setting;
        const char* error;
    };
    const std::vector<Row> rows = {
        {"loud", "unknown wlanfw setting: loud"},
        {"", "unknown wlanfw setting: "},
        {"delay", "wlanfw setting delay needs a value"},
        {"delay=", "bad value for wlanfw setting delay: "},
        {"delay=-1", "bad value for wlanfw setting delay: -1"},
        {"delay= 5", "bad value for wlanfw setting delay:  5"},
        {"delay=5ms", "bad value for wlanfw setting delay: 5ms"},
        {"delay=0x", "bad value for wlanfw setting delay: 0x"},
        {"delay=0x-5", "bad value for wlanfw setting delay: 0x-5"},
        {"chatter=1001", "bad value for wlanfw setting chatter: 1001"},
        {"chatter=1,2,3", "bad value for wlanfw setting chatter: 1,2,3"},
        {"force=0x901A", "bad value for wlanfw setting force: 0x901A"},
        {"force=0x1FFFF,1", "bad value for wlanfw setting force: 0x1FFFF,1"},
        {"force=0x901A,1,0", "bad value for wlanfw setting force: 0x901A,1,0"},
        {"force=0x901A,1,sometimes", "bad value for wlanfw setting force: 0x901A,1,sometimes"},
        {"malformed=nice", "bad value for wlanfw setting malformed: nice"},
        {"rx-counts=1", "bad value for wlanfw setting rx-counts: 1"},
        {"rx-counts=1,0x100000000", "bad value for wlanfw setting rx-counts: 1,0x100000000"},
        {"rx-error=1001", "bad value for wlanfw setting rx-error: 1001"},
        {"rssi=1,2,3", "bad value for wlanfw setting rssi: 1,2,3"},
        {"rssi=1,2,3,40000", "bad value for wlanfw setting rssi: 1,2,3,40000"},
        {"bist=1", "bad value for wlanfw setting bist: 1"},
        {"silent=maybe", "bad value for wlanfw setting silent: maybe"},
        {"chip-id=99999999999999999999999", "bad value for wlanfw setting chip-id: 99999999999999999999999"},
    };
    for (const Row& row : rows) {
        std::string error;
        EXPECT_FALSE(wf::ApplySetting(fw_, row.setting, error)) << row.setting;
        EXPECT_EQ(error, row.error);
    }
    // Nothing of the above took hold.
    EXPECT_EQ(ResultOf(SelectRadioReq(1)), 0);
    EXPECT_EQ(U32(Exchange(BistReq()).signal, 12), 0x00030004u);
    EXPECT_FALSE(wf::SettingsUsage().empty());
}

}  // namespace
}  // namespace wlanfw_test
