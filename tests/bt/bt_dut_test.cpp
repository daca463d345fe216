// The Bluetooth DUT against the simulated chip: the refusals' log texts, the
// hopping masks and payloads a test start sets, and the three tries. The
// replies, ranges, measured values and inquiry through the AT commands are in
// tests/e2e and tests/stress.
#include <gtest/gtest.h>

#include <array>
#include <string>
#include <vector>

#include "bt/BtDutLib.h"
#include "enginefw/threadable.h"
#include "sim/btctl/settings_text.h"
#include "support/log_capture.h"
#include "support/sim_env.h"

namespace {

class BtDut : public ::testing::Test {
protected:
    void SetUp() override { ASSERT_EQ(dut_.OpenDUT(result_), 0); }
    void TearDown() override {
        EXPECT_EQ(dut_.CloseDUT(result_), 0);
        EXPECT_EQ(Threadable::ForcedKills(), 0u);
    }
    void Steer(const std::string& setting) {
        std::string error;
        ASSERT_TRUE(tavo::sim::btctl::ApplySetting(sim_.BtCtl(), setting, error)) << error;
    }

    testsupport::SimEnv sim_;
    testsupport::LogCapture logs_;
    CBtDriver driver_;
    CBtDutLib dut_{&driver_};
    char result_[1024] = {};
};

TEST_F(BtDut, ValuesOnePastTheirBoundsAreRefusedWithTheirText) {
    using Call = int (*)(CBtDutLib&, char*);
    struct Row {
        Call call;
        int result;
        const char* log;  // what the refusal logs, or null when taken
    } rows[] = {
        {[](CBtDutLib& d, char* r) { return d.BleSetChannel(r, 40); }, 4, "Cannot Set Channel to 40 Range(0~39)\n"},
        {[](CBtDutLib& d, char* r) { return d.BleSetPayloadType(r, 8); }, 4, "incorrect payload type: 8\n"},
        {[](CBtDutLib& d, char* r) { return d.BleSetPayloadLength(r, 38); }, 4, "Cannot Set length to 38 Range(0~37)\n"},
        {[](CBtDutLib& d, char* r) { return d.BleSetPhy(r, 3); }, 4, "Cannot Set PHY to 3 Range(0~2)\n"},
        {[](CBtDutLib& d, char* r) { return d.BtBREDRSetCh(r, 79); }, 4, "Cannot Set Channel to 79 - Range(0~78)\n"},
        {[](CBtDutLib& d, char* r) { return d.BtBREDRSetPacketType(r, 19); }, 4, "Packet index: 18 - 3EV5\n"},
        {[](CBtDutLib& d, char* r) { return d.BtBREDRSetTxgain(r, 26); }, 4, "Cannot Set Tx Power to 26 - Range(0~25)\n"},
        {[](CBtDutLib& d, char* r) { return d.BtBREDRTxCWStart(r, 2401); }, 4, "Incorrect Tx Freq: 2401\n"},
        {[](CBtDutLib& d, char* r) { return d.BtBREDRTxCWStart(r, 2480); }, 0, nullptr},
        {[](CBtDutLib& d, char* r) { return d.BtBREDRTxCWStart(r, 2481); }, 4, "Incorrect Tx Freq: 2481\n"},
        {[](CBtDutLib& d, char* r) { return d.BtBREDRTxHoppingStart(r, 32); }, 4, "Incorrect Hopping sequence mask: 32\n"},
        // Payload 3 is stored, and refused when the test starts.
        {[](CBtDutLib& d, char* r) { return d.BtBREDRSetPayloadType(r, 3); }, 0, nullptr},
        {[](CBtDutLib& d, char* r) { return d.BtBREDRTxStart(r); }, 2, "Incorrect Tx Payload: 3\n"},
    };
    for (const Row& r : rows) {
        SCOPED_TRACE(r.log ? r.log : "taken");
        EXPECT_EQ(r.call(dut_, result_), r.result);
        if (r.log != nullptr) {
            EXPECT_TRUE(logs_.Contains("BT_DUT_LIB", r.log));
        }
    }
}

TEST_F(BtDut, TestStepsSetTheRadioAndAFailingCallIsTriedThreeTimes) {
    ASSERT_EQ(dut_.BtBREDRSetCh(result_, 10), 0);
    ASSERT_EQ(dut_.BtBREDRTxHoppingStart(result_, 1), 0);
    EXPECT_EQ(sim_.BtCtl().Radio().hopping, (std::array<uint16_t, 5>{0xFFFF, 0, 0, 0, 0}));
    ASSERT_EQ(dut_.BtBREDRTxHoppingStart(result_, 31), 0);
    EXPECT_EQ(sim_.BtCtl().Radio().hopping, (std::array<uint16_t, 5>{0xFFFF, 0xFFFF, 0xFFFF, 0xFFFF, 0xFFFF}));
    ASSERT_EQ(dut_.BtBREDRSetPayloadType(result_, 1), 0);
    ASSERT_EQ(dut_.BtBREDRTxStart(result_), 0);
    const auto radio = sim_.BtCtl().Radio();
    ASSERT_TRUE(radio.running.has_value());
    EXPECT_EQ(*radio.running, 6);  // tx_data3 for 0xAA
    EXPECT_EQ(radio.loFreq, 2412);

    // Two failures and then an answer; then a status that fails every try.
    struct Row {
        const char* setting;
        int result;
        const char* last;
    } rows[] = {
        {"vendor-fail=2", 0, "BT_TxStop executed successfully\n"},
        {"vendor-status=4", 2,
         "Error : 100, bt_stop_test: Error in TSCMD reply: Status= 0x0004 ( 0x0000 0x0000 0x0000 0x0000 )\n"},
    };
    for (const Row& r : rows) {
        SCOPED_TRACE(r.setting);
        Steer(r.setting);
        const auto before = sim_.BtCtl().Radio().commands;
        logs_.Clear();
        EXPECT_EQ(dut_.BtBREDRTxStop(result_), r.result);
        EXPECT_EQ(sim_.BtCtl().Radio().commands - before, 3u);
        EXPECT_EQ(logs_.Texts("BT_DUT_LIB"), (std::vector<std::string>{"RETRY", "RETRY", r.last}));
    }
}

}  // namespace
