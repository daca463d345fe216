// The exported bt_ and btle_ functions against the simulated controller: the
// bytes each kind of call puts on the wire, the replies and their faults, and
// calls while closed. The calls' effect on the radio is in tests/e2e, bursts
// of them in tests/stress.
#include <gtest/gtest.h>

#include <cstdio>
#include <functional>
#include <string>
#include <vector>

#include "tests/btcommstest/bt_fixture.h"

namespace {

TEST_F(BtClient, EachKindOfCallPutsItsBytesOnTheWire) {
    EXPECT_STREQ(bt_get_last_error(), "");
    ASSERT_EQ(bt_open_device(), 0);
    // The sequence number (bytes 4-5 of the PDU) counts the vendor calls.
    struct Row {
        const char* name;
        std::function<int32_t()> call;
        std::string line;
    } rows[] = {
        {"txstart", [] { return bt_txstart(2402, 1, 2); }, Fragment("02 00 09 00 01 00 04 50 00 00 01 00 62 09 01 00 02 00")},
        {"txdata1", [] { return bt_txdata1(2402); },
         "btctl: rx 01 00 fc 13 c2 02 00 09 00 02 00 04 50 00 00 04 00 62 09 00 00 00 00"},
        {"cfg_uap_lap: the lap high word first", [] { return bt_cfg_uap_lap(0x3c, 0x9e8b33); },
         Fragment("02 00 09 00 03 00 04 50 00 00 1e 00 3c 00 9e 00 33 8b")},
        {"hopping: 22 bytes", [] { return bt_cfg_hopping_sequence(0xffff, 0xffff, 0xffff, 0xffff, 0x7fff); },
         "btctl: rx 01 00 fc 17 c2 02 00 0b 00 04 00 04 50 00 00 2d 00 ff ff ff ff ff ff ff ff ff 7f"},
        {"tx power -2", [] { return bt_cfg_tx_power(-2); }, Fragment("02 00 09 00 05 00 04 50 00 00 34 00 fe ff 00 00 00 00")},
        // The LE tests' own settings reach the chip in tests/e2e.
        {"le stop with count", [] { return btle_stop_test_count(); },
         Fragment("02 00 09 00 06 00 8a 50 00 00 03 00 00 00 00 00 00 00")},
        {"le enhanced receiver", [] { return btle_enhanced_receiver_test(19, 2, 1); }, "btctl: rx 01 33 20 03 13 02 01"},
        {"le enhanced transmitter", [] { return btle_enhanced_transmitter_test(19, 37, 2, 1); },
         "btctl: rx 01 34 20 04 13 25 02 01"},
    };
    for (const Row& r : rows) {
        SCOPED_TRACE(r.name);
        EXPECT_EQ(r.call(), 0) << bt_get_last_error();
        EXPECT_TRUE(Saw(r.line));
    }
    EXPECT_EQ(bt_enable_dut_mode(), 0);
    for (const char* line : {"btctl: rx 01 05 0c 03 02 00 03", "btctl: rx 01 1a 0c 01 03", "btctl: rx 01 03 18 00"}) {
        EXPECT_TRUE(Saw(line)) << line;
    }
}

TEST_F(BtClient, WrongRepliesNameEveryFault) {
    ASSERT_EQ(bt_open_device(), 0);
    // %1$04x stands for the sequence number the call sent, %2$04x for one more.
    struct Row {
        std::vector<std::string> settings;
        int32_t result;
        const char* error;
    } rows[] = {
        {{"vendor-status=4"}, 100, "bt_txdata1: Error in TSCMD reply: Status= 0x0004 ( 0x0004 0x0962 0x0000 0x0000 )"},
        {{"vendor-status=0", "vendor-seq=wrong"}, 100,
         "bt_txdata1: Error in TSCMD reply: Unexpected sequence - expected 0x%1$04x actual 0x%2$04x"},
        {{"vendor-varid=wrong"}, 100,
         "bt_txdata1: Error in TSCMD reply: Unexpected sequence - expected 0x%1$04x actual 0x%2$04x"
         "Unexpected varid - expected 0x5004 actual 0x5005"},
        {{"vendor-seq=right", "vendor-varid=right"}, 0, ""},
    };
    for (const Row& r : rows) {
        for (const std::string& setting : r.settings) Steer(setting);
        SCOPED_TRACE(r.error);
        EXPECT_EQ(bt_txdata1(2402), r.result);
        const auto sent = sim_.BtCtl().LastVendorPdu();
        ASSERT_TRUE(sent.has_value() && sent->size() >= 6);
        const unsigned sequence = (*sent)[4] | (*sent)[5] << 8;
        char want[256];
        std::snprintf(want, sizeof want, r.error, sequence, sequence + 1);
        if (r.result != 0) {
            EXPECT_STREQ(bt_get_last_error(), want);
        }
    }
}

TEST_F(BtClient, ClosedOpenTwiceAndCloseTwice) {
    struct Row {
        int32_t (*call)();
        const char* error;
    } rows[] = {
        {[] { return bt_txdata1(2402); }, "bt_txdata1: Must call bt_open_device first"},
        {[] { return bt_close_device(); }, "bt_close_device: Must call bt_open_device first"},
    };
    for (const Row& r : rows) {
        EXPECT_EQ(r.call(), 4) << r.error;
        EXPECT_STREQ(bt_get_last_error(), r.error);
    }
    for (int round = 0; round < 2; ++round) {
        ASSERT_EQ(bt_open_device(), 0);
        EXPECT_EQ(bt_open_device(), 4);
        EXPECT_STREQ(bt_get_last_error(), "bt_open_device: Already connected");
        EXPECT_EQ(bt_txdata2(), 0);  // the link stayed up
        EXPECT_EQ(bt_close_device(), 0);
    }
}

// The LE enhanced tests go without waiting; their Command Complete, late
// here, must not be taken for the reply of the vendor command sent next,
// or every later vendor command would read its predecessor's reply.
TEST_F(BtClient, AVendorCommandRightAfterAnHciCommandGetsItsOwnReply) {
    ASSERT_EQ(bt_open_device(), 0);
    Steer("delay=50");
    for (int round = 0; round < 3; ++round) {
        ASSERT_EQ(btle_enhanced_receiver_test(19, 2, 0), 0);
        EXPECT_EQ(btle_stop_test_count(), 0) << bt_get_last_error();
        EXPECT_EQ(bt_txdata2(), 0) << bt_get_last_error();
    }
}

}  // namespace
