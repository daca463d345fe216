// The Bluetooth DUT against the simulated chip: parameter ranges and their
// log texts, the three tries, what the test steps set on the radio, and the
// values read back from the tool and the firmware log.
#include <gtest/gtest.h>

#include <chrono>
#include <functional>
#include <memory>
#include <string>
#include <thread>

#include "WiFiBtFactoryService.h"
#include "bt/BtDutLib.h"
#include "factory/ServiceInternal.h"
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
    bool Logged(const std::string& text) { return logs_.Contains("BT_DUT_LIB", text); }

    testsupport::SimEnv sim_;
    testsupport::LogCapture logs_;
    CBtDriver driver_;
    CBtDutLib dut_{&driver_};
    char result_[1024] = {};
};

TEST_F(BtDut, ValuesAreTakenAtTheirBoundsAndRefusedOnePast) {
    struct Row {
        const char* name;
        std::function<int(CBtDutLib&, char*)> call;
        int result;
        const char* log;  // a refusal's text, or null
    } rows[] = {
        {"LE channel 39", [](CBtDutLib& d, char* r) { return d.BleSetChannel(r, 39); }, 0, nullptr},
        {"LE channel 40", [](CBtDutLib& d, char* r) { return d.BleSetChannel(r, 40); }, 4,
         "Cannot Set Channel to 40 Range(0~39)\n"},
        {"LE payload type 8", [](CBtDutLib& d, char* r) { return d.BleSetPayloadType(r, 8); }, 4,
         "incorrect payload type: 8\n"},
        {"LE length 37", [](CBtDutLib& d, char* r) { return d.BleSetPayloadLength(r, 37); }, 0, nullptr},
        {"LE length 38", [](CBtDutLib& d, char* r) { return d.BleSetPayloadLength(r, 38); }, 4,
         "Cannot Set length to 38 Range(0~37)\n"},
        {"LE PHY 3", [](CBtDutLib& d, char* r) { return d.BleSetPhy(r, 3); }, 4, "Cannot Set PHY to 3 Range(0~2)\n"},
        {"BR/EDR channel 78", [](CBtDutLib& d, char* r) { return d.BtBREDRSetCh(r, 78); }, 0, nullptr},
        {"BR/EDR channel 79", [](CBtDutLib& d, char* r) { return d.BtBREDRSetCh(r, 79); }, 4,
         "Cannot Set Channel to 79 - Range(0~78)\n"},
        {"packet type 19", [](CBtDutLib& d, char* r) { return d.BtBREDRSetPacketType(r, 19); }, 4,
         "Packet index: 18 - 3EV5\n"},
        {"gain 25", [](CBtDutLib& d, char* r) { return d.BtBREDRSetTxgain(r, 25); }, 0, nullptr},
        {"gain 26", [](CBtDutLib& d, char* r) { return d.BtBREDRSetTxgain(r, 26); }, 4,
         "Cannot Set Tx Power to 26 - Range(0~25)\n"},
        {"CW 2401", [](CBtDutLib& d, char* r) { return d.BtBREDRTxCWStart(r, 2401); }, 4, "Incorrect Tx Freq: 2401\n"},
        {"CW 2480", [](CBtDutLib& d, char* r) { return d.BtBREDRTxCWStart(r, 2480); }, 0, nullptr},
        {"CW 2481", [](CBtDutLib& d, char* r) { return d.BtBREDRTxCWStart(r, 2481); }, 4, "Incorrect Tx Freq: 2481\n"},
        {"hopping mask 32", [](CBtDutLib& d, char* r) { return d.BtBREDRTxHoppingStart(r, 32); }, 4,
         "Incorrect Hopping sequence mask: 32\n"},
        // Payload 3 is stored, and refused when the test starts.
        {"payload 3", [](CBtDutLib& d, char* r) { return d.BtBREDRSetPayloadType(r, 3); }, 0, nullptr},
        {"start with payload 3", [](CBtDutLib& d, char* r) { return d.BtBREDRTxStart(r); }, 2,
         "Incorrect Tx Payload: 3\n"},
    };
    for (const Row& r : rows) {
        SCOPED_TRACE(r.name);
        EXPECT_EQ(r.call(dut_, result_), r.result);
        if (r.log != nullptr) {
            EXPECT_TRUE(Logged(r.log));
        }
    }
    EXPECT_EQ(sim_.BtCtl().Radio().txPower, 25);
}

TEST_F(BtDut, TestStepsSetTheRadioAndAFailingCallIsTriedThreeTimes) {
    ASSERT_EQ(dut_.BtBREDRSetCh(result_, 10), 0);
    ASSERT_EQ(dut_.BtBREDRSetPacketType(result_, 16), 0);  // 3DH5: value 31, 1021 bytes
    ASSERT_EQ(dut_.BtBREDRTxHoppingStart(result_, 1), 0);
    auto radio = sim_.BtCtl().Radio();
    EXPECT_EQ(radio.pktType, 31);
    EXPECT_EQ(radio.pktSize, 1021);
    EXPECT_EQ(radio.hopping, (std::array<uint16_t, 5>{0xFFFF, 0, 0, 0, 0}));
    ASSERT_EQ(dut_.BtBREDRTxHoppingStart(result_, 31), 0);
    EXPECT_EQ(sim_.BtCtl().Radio().hopping, (std::array<uint16_t, 5>{0xFFFF, 0xFFFF, 0xFFFF, 0xFFFF, 0xFFFF}));
    ASSERT_EQ(dut_.BtBREDRSetPayloadType(result_, 1), 0);
    ASSERT_EQ(dut_.BtBREDRTxStart(result_), 0);
    radio = sim_.BtCtl().Radio();
    ASSERT_TRUE(radio.running.has_value());
    EXPECT_EQ(*radio.running, 6);  // tx_data3 for 0xAA
    EXPECT_EQ(radio.loFreq, 2412);

    // Two failures and then an answer: the third try succeeds.
    Steer("vendor-fail=2");
    auto before = sim_.BtCtl().Radio().commands;
    logs_.Clear();
    EXPECT_EQ(dut_.BtBREDRTxStop(result_), 0);
    EXPECT_EQ(sim_.BtCtl().Radio().commands - before, 3u);
    EXPECT_EQ(logs_.Texts("BT_DUT_LIB"), (std::vector<std::string>{"RETRY", "RETRY", "BT_TxStop executed successfully\n"}));

    Steer("vendor-status=4");
    before = sim_.BtCtl().Radio().commands;
    logs_.Clear();
    EXPECT_EQ(dut_.BtBREDRTxStop(result_), 2);
    EXPECT_EQ(sim_.BtCtl().Radio().commands - before, 3u);
    EXPECT_EQ(logs_.Texts("BT_DUT_LIB"),
              (std::vector<std::string>{"RETRY", "RETRY",
                                        "Error : 100, bt_stop_test: Error in TSCMD reply: Status= 0x0004 ( 0x0000 "
                                        "0x0000 0x0000 0x0000 )\n"}));
}

TEST_F(BtDut, MeasuredValuesComeFromTheToolAndTheFirmwareLog) {
    // BER: the modelled tester counts 1600000 bits with 0.1 % in error.
    EXPECT_EQ(dut_.BtReadBER(result_), 0);
    EXPECT_STREQ(result_, "-1.000");  // no BER test has run
    ASSERT_EQ(dut_.BtBREDRRxStart(result_), 0);
    EXPECT_EQ(dut_.BtReadBER(result_), 0);
    EXPECT_STREQ(result_, "0.100");
    EXPECT_TRUE(Logged("total : 1600000, err : 1600\n"));

    // RSSI of a carrier-wave receive: the log says 40, the chip -60 dBm.
    ASSERT_EQ(dut_.BtBREDRRxCWStart(result_), 0);
    EXPECT_EQ(dut_.BtReadCWRSSI(result_), 0);
    EXPECT_STREQ(result_, "-60");

    // LE packets counted by the end of a receive test.
    Steer("le-packets=1234");
    ASSERT_EQ(dut_.BleRxStart(result_), 0);
    ASSERT_EQ(dut_.BleRxStop(result_), 0);
    EXPECT_EQ(dut_.BleReadPktCnt(result_), 0);
    EXPECT_STREQ(result_, "1234");
}

TEST_F(BtDut, AnInquiryListsTheDevicesInRangeAndTheChipGivesItsAddress) {
    sim_.BtCtl().SetFastSleep(true);
    sim_.BtCtl().AddDevice({"00:11:22:33:44:55", "Tester", -72, 2});
    sim_.BtCtl().AddDevice({"66:77:88:99:AA:BB", "Headset", -50, 1});
    // A fetch that reaches the lock before the announced inquiry waits for it.
    dut_.AnnounceInquiry();
    CScanList list;
    int fetched = -1;
    std::thread fetch([&] { fetched = dut_.GetInquiryResult(list); });
    std::this_thread::sleep_for(std::chrono::milliseconds(50));  // let the fetch come first
    ASSERT_EQ(dut_.Inquiry(), 0);
    fetch.join();
    ASSERT_EQ(fetched, 0);
    ASSERT_EQ(list.GetNodeCount(), 2);
    std::unique_ptr<SCAN_INFO_NODE> first(list.Pop());
    std::unique_ptr<SCAN_INFO_NODE> second(list.Pop());
    EXPECT_STREQ(first->name, "Tester");
    EXPECT_EQ(first->rssi_sum, -144);  // seen twice
    EXPECT_EQ(first->rssi_count, 2);
    EXPECT_STREQ(second->name, "Headset");
    EXPECT_EQ(second->rssi_sum, -50);

    EXPECT_EQ(dut_.BtGetMacAddress(result_), 0);
    EXPECT_STREQ(result_, "001a7dda7113");
}

TEST(BtDutInTheService, AWlanCommandClosesAnOpenBluetoothDutButTheTestRowsDoNot) {
    testsupport::SimEnv sim;
    ASSERT_EQ(OpenWiFiBtFactoryService(), 0);
    CBtDutLib* dut = GetServiceBtDut();
    ASSERT_NE(dut, nullptr);
    char result[WLBT_RESULT_BUFFER_SIZE] = {};
    ASSERT_EQ(dut->OpenDUT(result), 0);
    EXPECT_EQ(ForwardCMD_WiFiBT("AT+WIFIRF=0,8,1,0", result, 0), 0);
    EXPECT_EQ(dut->IsDUTOpen(), 1);
    EXPECT_EQ(ForwardCMD_WiFiBT("AT+WIFIRF=0,0,0,36", result, 0), 0);
    EXPECT_EQ(dut->IsDUTOpen(), 0);
    EXPECT_EQ(CloseWiFiBtFactoryService(), 0);
}

}  // namespace
