// The Bluetooth client's real time limits: a vendor command with no reply, and
// a link that fails under a call.
#include <gtest/gtest.h>

#include <chrono>

#include "btcommstest/btcommstest_lib_mgr.h"
#include "tests/btcommstest/bt_fixture.h"

namespace {

using namespace std::chrono_literals;

TEST_F(BtClient, ALateReplyIsATimeoutAfterOneSecondAndTheNextCallWorks) {
    ASSERT_EQ(bt_open_device(), 0);
    Steer("vendor-delay=1500");
    EXPECT_EQ(bt_txdata1(2402), 3);
    EXPECT_STREQ(bt_get_last_error(), "bt_txdata1: Timeout");
    // The vendor channel stays closed until the late reply frees it; it must be
    // taken before the next call, or that call would be judged by it.
    ASSERT_TRUE(testsupport::WaitUntil([] { return btcommstest::gConnection().RepliesSeen() >= 1; }, 5000ms));
    Steer("vendor-delay=0");
    EXPECT_EQ(bt_txdata1(2402), 0) << bt_get_last_error();
}

TEST_F(BtClient, ALinkThatFailsReadsAsClosed) {
    ASSERT_EQ(bt_open_device(), 0);
    Steer("garbage=ff00ff");  // sync lost before the reply; the reply itself still arrives
    EXPECT_EQ(bt_txdata1(2402), 0);
    ASSERT_TRUE(Saw("btctl: tx garbage ff 00 ff"));
    ASSERT_TRUE(testsupport::WaitUntil([] { return bt_txdata2() == 4; }, 5000ms));
    EXPECT_STREQ(bt_get_last_error(), "bt_txdata2: Must call bt_open_device first");
    ASSERT_EQ(bt_open_device(), 0);
    EXPECT_EQ(bt_txdata1(2402), 0);

    // The device goes away in the middle of the reply: the call times out and
    // the line cannot be opened again (a new line is tests/campaign's).
    Steer("hangup-mid-packet");
    EXPECT_EQ(bt_txdata1(2402), 3);
    ASSERT_TRUE(testsupport::WaitUntil([] { return bt_txdata2() == 4; }, 5000ms));
    EXPECT_EQ(bt_open_device(), 1);
    EXPECT_STREQ(bt_get_last_error(), "bt_open_device: Failed to start transport");
}

}  // namespace
