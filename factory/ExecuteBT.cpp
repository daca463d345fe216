// The Bluetooth AT family: "AT+BTRF=" attr,param1,param2,data.
//
// attr 0 holds the fixed tests with everything built in (many of them names
// kept for stations that send them, which only log); attr 1 drives LE and
// attr 2 BR/EDR step by step.
#include <unistd.h>

#include <cstdio>

#include "bt/BtDutLib.h"
#include "factory/CommandHandler.h"
#include "factory/factory_log.h"
#include "wlan/WlanDutLib.h"

namespace {

// The LE transmit tests of attr 0: channel and payload of each id from 52 on.
struct FixedLeTx {
    int channel;
    int payload;  // 0 PRBS9, 1 0xF0, 2 0xAA
};
const FixedLeTx kFixedLeTx[] = {
    {0, 0}, {19, 0}, {39, 0}, {0, 1}, {19, 1}, {39, 1}, {0, 2}, {19, 2}, {39, 2},
};

constexpr int kFixedLePayloadLength = 37;
constexpr int kFixedBrEdrChannel = 39;
constexpr int kFixedBrEdrTxGain = 15;
constexpr int kFixedBrEdrPacketType = 14;  // 3DH1

// The DUT result that the mapping turns into reply code 6.
constexpr int kNoSuchCommand = 5;

bool IsLogOnlyBt(int id) {
    switch (id) {
        case AT_COMMAND_BT_ACTIVATE:
        case AT_COMMAND_BT_SEARCH_WITH_ACK:
        case AT_COMMAND_BT_BLE_SEARCH_WITH_ACK:
        case AT_COMMAND_BT_NORMAL_DEACTIVATION:
        case AT_COMMAND_BT_RF_TEST_DEACTIVATION:
        case AT_COMMAND_BT_RF_TEST_MODE_ON:
        case AT_COMMAND_BT_40_RX_CH_0:
        case AT_COMMAND_BT_40_RX_CH_37:
        case AT_COMMAND_BT_CONT_BR_EDR_TX_LOW_CH_0:
        case AT_COMMAND_BT_CONT_BR_EDR_TX_HIGH_CH_78:
        case AT_COMMAND_BT_CONT_BR_EDR_RX_LOW_CH_0:
        case AT_COMMAND_BT_CONT_BR_EDR_RX_HIGH_CH_78:
        case AT_COMMAND_BT_BREDR_SET_LENGTH:
            return true;
        default:
            // The carrier and in-band emission tests are names only.
            return id >= AT_COMMAND_BT_40_TX_CARRIER_FREQ_CH_0 && id <= AT_COMMAND_BT_40_TX_IN_BAND_EMISSION_CH_37;
    }
}

// Stops what the last fixed test started, chosen by its two flags.
int StopFixedTest(CBtDutLib& dut, char* result) {
    const int ble = dut.m_is_ble;
    const int tx = dut.m_is_tx;
    const char* name = ble != 0 ? (tx != 0 ? "BLE_TX_STOP" : "BLE_RX_STOP") : (tx != 0 ? "BT_TX_STOP" : "BT_RX_STOP");
    FLOG(TAG_COMMAND_HANDLER, "%s, BLE:%d\n", name, ble);
    FLOG(TAG_COMMAND_HANDLER, "%s, Tx:%d\n", name, tx);
    int rc;
    if (ble != 0) {
        rc = tx != 0 ? dut.BleTxStop(result) : dut.BleRxStop(result);
    } else {
        rc = tx != 0 ? dut.BtBREDRTxStop(result) : dut.BtBREDRRxStop(result);
    }
    // Once a good-packet read has been made, a test end answers success
    // whatever the stop did, and keeps doing so.
    return dut.m_last_cmd == AT_COMMAND_BT_READ_GOOD_PACKET ? 0 : rc;
}

}  // namespace

int CCommandHandler::RunBtCommand(int id, const AT_COMMAND& cmd, const char* command, char* result) {
    if (id < AT_COMMAND_BT_ACTIVATE || id > AT_COMMAND_BT_BREDR_READ_CW_RSSI) {
        FLOG(TAG_COMMAND_HANDLER, "Incorrect Command Id: %d\n", id);
        return kNoSuchCommand;
    }
    const char* name = AtCommandName(id);
    if (id == AT_COMMAND_BT_BREDR_SET_PACKET_TYPE) {
        FLOG(TAG_COMMAND_HANDLER, "%s:\n", name);
    } else {
        FLOG(TAG_COMMAND_HANDLER, "%s\n", name);
    }
    if (IsLogOnlyBt(id)) return DUT_OK;

    CBtDutLib& dut = *m_bt_dut;
    const int data = cmd.data;
    if (id >= AT_COMMAND_BT_40_TX_TEST_CH_0 && id <= AT_COMMAND_BT_40_TX_MOD_CHAR_PAYLOAD_0XAA_CH_39) {
        const FixedLeTx& test = kFixedLeTx[id - AT_COMMAND_BT_40_TX_TEST_CH_0];
        dut.m_is_ble = 1;
        dut.m_is_tx = 1;
        dut.BleSetChannel(result, test.channel);
        dut.BleSetPayloadLength(result, kFixedLePayloadLength);
        dut.BleSetPayloadType(result, test.payload);
        return dut.BleTxStart(result);
    }
    switch (id) {
        case AT_COMMAND_BT_40_RX_CH_19:
            dut.m_is_ble = 1;
            dut.m_is_tx = 0;
            dut.BleSetChannel(result, 19);
            return dut.BleRxStart(result);
        case AT_COMMAND_BT_TEST_END: return StopFixedTest(dut, result);
        case AT_COMMAND_BT_CONT_BR_EDR_TX_MID_CH_39:
            dut.m_is_ble = 0;
            dut.m_is_tx = 1;
            dut.BtBREDRSetCh(result, kFixedBrEdrChannel);
            dut.BtBREDRSetPayloadType(result, 0);
            dut.BtBREDRSetTxgain(result, kFixedBrEdrTxGain);
            dut.BtBREDRSetPacketType(result, kFixedBrEdrPacketType);
            // A second for the settings to take before the test starts.
            sleep(1);
            return dut.BtBREDRTxStart(result);
        case AT_COMMAND_BT_CONT_BR_EDR_RX_MID_CH_39:
            dut.m_is_ble = 0;
            dut.m_is_tx = 0;
            dut.BtBREDRSetCh(result, kFixedBrEdrChannel);
            return dut.BtBREDRRxStart(result);
        case AT_COMMAND_BT_READ_BER: return dut.BtReadBER(result);
        case AT_COMMAND_BT_READ_GOOD_PACKET:
            dut.m_last_cmd = AT_COMMAND_BT_READ_GOOD_PACKET;
            return dut.BleReadPktCnt(result);
        case AT_COMMAND_BT_OPEN_DEVICE:
        case AT_COMMAND_BT_BREDR_OPEN_DUT: return dut.OpenDUT(result);
        case AT_COMMAND_BT_CLOSE_DEVICE:
        case AT_COMMAND_BT_BREDR_CLOSE_DUT: return dut.CloseDUT(result);
        case AT_COMMAND_BT_BLE_SET_CHANNEL: return dut.BleSetChannel(result, data);
        case AT_COMMAND_BT_BLE_SET_PAYLOAD_TYPE: return dut.BleSetPayloadType(result, data);
        case AT_COMMAND_BT_BLE_SET_LENGTH: return dut.BleSetPayloadLength(result, data);
        case AT_COMMAND_BT_BLE_SET_PHY: return dut.BleSetPhy(result, data);
        case AT_COMMAND_BT_BLE_TX_START: return dut.BleTxStart(result);
        case AT_COMMAND_BT_BLE_TX_STOP: return dut.BleTxStop(result);
        case AT_COMMAND_BT_BLE_RX_START: return dut.BleRxStart(result);
        case AT_COMMAND_BT_BLE_RX_STOP: return dut.BleRxStop(result);
        case AT_COMMAND_BT_BLE_READ_GOOD_PACKET: return dut.BleReadPktCnt(result);
        case AT_COMMAND_BT_GET_MAC_ADDRESS: return dut.BtGetMacAddress(result);
        case AT_COMMAND_BT_ENABLE_TEST_MODE: return dut.BtEnableDutMode(result, nullptr);
        case AT_COMMAND_BT_DISABLE_TEST_MODE: return dut.BtDisableDutMode(result, nullptr);
        case AT_COMMAND_BT_BREDR_SET_CHANNEL: return dut.BtBREDRSetCh(result, data);
        case AT_COMMAND_BT_BREDR_SET_PACKET_TYPE: return dut.BtBREDRSetPacketType(result, data);
        case AT_COMMAND_BT_BREDR_SET_PAYLOAD: return dut.BtBREDRSetPayloadType(result, data);
        case AT_COMMAND_BT_BREDR_SET_TX_POWER: return dut.BtBREDRSetTxgain(result, data);
        case AT_COMMAND_BT_BREDR_SET_BDADDR: {
            // "AT+BTRF=2,0,5," uap "," lap: the data field and the one behind it.
            char uap[8] = {};
            char lap[8] = {};
            GetDataString(command, 3, 8, uap, sizeof uap);
            GetDataString(command, 4, 8, lap, sizeof lap);
            if (uap[0] == '\0' || lap[0] == '\0') return DUT_BAD_VALUE;
            return dut.BtBREDRSetBDAddress(result, uap, lap);
        }
        case AT_COMMAND_BT_BREDR_TX_START: return dut.BtBREDRTxStart(result);
        case AT_COMMAND_BT_BREDR_TX_START_HOPPING: return dut.BtBREDRTxHoppingStart(result, data);
        case AT_COMMAND_BT_BREDR_TX_STOP:
        case AT_COMMAND_BT_BREDR_TX_CW_STOP: return dut.BtBREDRTxStop(result);
        case AT_COMMAND_BT_BREDR_TX_CW_START: return dut.BtBREDRTxCWStart(result, data);
        case AT_COMMAND_BT_BREDR_RX_START: return dut.BtBREDRRxStart(result);
        case AT_COMMAND_BT_BREDR_RX_CW_START: return dut.BtBREDRRxCWStart(result);
        case AT_COMMAND_BT_BREDR_RX_STOP: return dut.BtBREDRRxStop(result);
        case AT_COMMAND_BT_BREDR_READ_BER: return dut.BtReadBER(result);
        case AT_COMMAND_BT_BREDR_READ_CW_RSSI: return dut.BtReadCWRSSI(result);
        default: return kNoSuchCommand;
    }
}

int CCommandHandler::ExecuteATCommand_BT(const char* command, char* result) {
    // The two radios are never in test together: every Bluetooth command
    // closes an open WLAN DUT first.
    if (m_wlan_dut != nullptr && m_wlan_dut->IsDUTOpen()) m_wlan_dut->CloseDUT();

    AT_COMMAND cmd = BuildATCommand(command, 4, 8);
    const int id = FindAtCommandId(&cmd, at_cmd_list_bt);

    if (m_bt_dut == nullptr || m_bt_dut->GetDriver() == nullptr) {
        // No driver: no reply at all, the result buffer stays as it was.
        FLOG(TAG_COMMAND_HANDLER, "btDriver is NULL\n");
        return DUT_BAD_VALUE;
    }

    const int code = MapDutResult(RunBtCommand(id, cmd, command, result));
    BuildResultString(command, APP_BT, id, code, 0, 0, result);
    if (code != 0) {
        // The line carries the WLAN DUT's error text on this path too, as it
        // always has.
        std::printf("ERROR : %s [%d] - %s\n", command, code,
                    m_wlan_dut != nullptr ? m_wlan_dut->GetErrorString() : "");
        std::fflush(stdout);
    }
    return code;
}
