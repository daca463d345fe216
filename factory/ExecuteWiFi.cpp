// The WLAN AT family: "AT+WIFIRF=" and "AT+WIFI<name>=".
#include <cstdio>
#include <cstring>

#include "bt/BtDutLib.h"
#include "factory/CommandHandler.h"
#include "factory/factory_log.h"
#include "wlan/WlanDutLib.h"

namespace {

bool IsLogOnlyWifi(int id) {
    switch (id) {
        case AT_COMMAND_WIFI_WIFI_OFF:
        case AT_COMMAND_WIFI_WIFI_ON:
        case AT_COMMAND_WIFI_SET_BSS_COLOR:
        case AT_COMMAND_WIFI_SET_SSID:
        case AT_COMMAND_WIFI_SET_SSID_2G:
        case AT_COMMAND_WIFI_SET_SSID_5G:
            return true;
        default:
            return false;
    }
}

// One fixed-width field of a long-form start and the setter it feeds.
struct LongField {
    int pos;
    int len;
    int (CWlanDutLib::*set)(int);
};

const LongField kTxFields[] = {
    {0, 1, &CWlanDutLib::SetAntenna},     {1, 3, &CWlanDutLib::SetChannel},      {4, 2, &CWlanDutLib::SetDataRate},
    {6, 1, &CWlanDutLib::SetLongPreamble}, {7, 2, &CWlanDutLib::SetTxGain},      {9, 4, &CWlanDutLib::SetPayloadSize},
    {13, 4, &CWlanDutLib::SetBurstInterval}, {17, 1, &CWlanDutLib::SetBand},     {18, 1, &CWlanDutLib::SetBandWidth},
};
const LongField kRxFields[] = {
    {0, 1, &CWlanDutLib::SetAntenna}, {1, 3, &CWlanDutLib::SetChannel},
    {4, 1, &CWlanDutLib::SetBand},    {5, 1, &CWlanDutLib::SetBandWidth},
};

}  // namespace

// The long form of a composite start: all settings as fixed-width digits
// behind the fourth comma. A field that is not all digits is skipped and
// leaves its setting; a refused value ends the sequence before the start.
template <size_t N>
static int RunLongForm(CCommandHandler& h, CWlanDutLib& dut, const char* command, const LongField (&fields)[N],
                       size_t length) {
    const char* settings = h.GetParamPos(command, 4);
    if (settings == nullptr || std::strlen(settings) != length) return DUT_BAD_LONG_FORM;
    for (const LongField& f : fields) {
        int value = 0;
        if (!h.GetIntParam(settings, f.pos, f.len, value)) continue;
        const int rc = (dut.*f.set)(value);
        if (rc != 0) return rc;
    }
    return DUT_OK;
}

int CCommandHandler::RunWiFiCommand(int id, const AT_COMMAND& cmd, const char* command, char* result, int& value1,
                                    int& value2) {
    if (id > AT_COMMAND_WIFI_GET_CHIP_TEMP) return DUT_BAD_VALUE;  // no row found

    const char* name = AtCommandName(id);
    if (id == AT_COMMAND_WIFI_SET_CHANNEL || id == AT_COMMAND_WIFI_SET_DATARATE) {
        FLOG(TAG_COMMAND_HANDLER, "%s %d\n", name, cmd.data);
    } else {
        FLOG(TAG_COMMAND_HANDLER, "%s\n", name);
    }
    if (IsLogOnlyWifi(id)) return DUT_OK;
    if (m_wlan_dut == nullptr) return DUT_MISSING;

    CWlanDutLib& dut = *m_wlan_dut;
    char* const text = result;  // getters write their value where the reply is built
    const int data = cmd.data;
    switch (id) {
        case AT_COMMAND_WIFI_SET_CHANNEL: return dut.SetChannel(data);
        case AT_COMMAND_WIFI_SET_DATARATE: return dut.SetDataRate(data);
        case AT_COMMAND_WIFI_SET_PREAMBLE: return dut.SetLongPreamble(data);
        case AT_COMMAND_WIFI_SET_TX_GAIN: return dut.SetTxGain(data);
        case AT_COMMAND_WIFI_SET_LENGTH: return dut.SetPayloadSize(data);
        case AT_COMMAND_WIFI_SET_INTERVAL: return dut.SetBurstInterval(data);
        case AT_COMMAND_WIFI_SET_BAND: return dut.SetBand(data);
        case AT_COMMAND_WIFI_SET_BANDWIDTH: return dut.SetBandWidth(data);
        case AT_COMMAND_WIFI_SET_PACKET_COUNT: return dut.SetPacketCount(data);
        case AT_COMMAND_WIFI_SET_RU: return dut.SetResourceUnit(data);
        case AT_COMMAND_WIFI_GET_CHANNEL: return dut.GetChannel(text);
        case AT_COMMAND_WIFI_GET_DATARATE: return dut.GetDataRate(text);
        case AT_COMMAND_WIFI_GET_PREAMBLE: return dut.GetLongPreamble(text);
        case AT_COMMAND_WIFI_GET_TX_GAIN: return dut.GetTxGain(text);
        case AT_COMMAND_WIFI_GET_LENGTH: return dut.GetPayloadSize(text);
        case AT_COMMAND_WIFI_GET_INTERVAL: return dut.GetBurstInterval(text);
        case AT_COMMAND_WIFI_GET_BAND: return dut.GetBand(text);
        case AT_COMMAND_WIFI_GET_BANDWIDTH: return dut.GetBandWidth(text);
        case AT_COMMAND_WIFI_GET_PACKET_COUNT: return dut.GetPacketCount(text);
        case AT_COMMAND_WIFI_CLOSE_DUT: return dut.CloseDUT();
        case AT_COMMAND_WIFI_OPEN_DUT: return dut.OpenDUT();
        case AT_COMMAND_WIFI_SET_CH_ENCODING: return dut.SetChEncoding(data);
        case AT_COMMAND_WIFI_SET_CW_TONE: return dut.SetCWTone(data);
        case AT_COMMAND_WIFI_STOP_TX: return dut.TxStop();
        case AT_COMMAND_WIFI_START_TX:
            if (data == 0) return dut.TxStartWithMod();
            if (data != 9) return DUT_BAD_LONG_FORM;
            {
                const int rc = RunLongForm(*this, dut, command, kTxFields, 19);
                return rc != DUT_OK ? rc : dut.TxStartWithMod();
            }
        case AT_COMMAND_WIFI_STOP_TX_CW: return dut.TxStopWoMod();
        case AT_COMMAND_WIFI_START_TX_CW: return dut.TxStartWoMod(data);
        case AT_COMMAND_WIFI_STOP_RX: return dut.RxStop();
        case AT_COMMAND_WIFI_START_RX:
            if (data == 0) return dut.RxStart();
            if (data != 4) return DUT_BAD_LONG_FORM;
            {
                const int rc = RunLongForm(*this, dut, command, kRxFields, 6);
                return rc != DUT_OK ? rc : dut.RxStart();
            }
        case AT_COMMAND_WIFI_START_RX_WITH_FLAG: return dut.RxStartWithFlag(data);
        case AT_COMMAND_WIFI_START_RX_FROM_FREQ: return dut.RxCWStartFromFreq(data);
        case AT_COMMAND_WIFI_READ_RX: return dut.ReadRx();
        case AT_COMMAND_WIFI_READ_RX_ERROR: return dut.GetErrorFrame(&value1);
        case AT_COMMAND_WIFI_READ_RX_GOOD: return dut.GetGoodFrame(&value1);
        case AT_COMMAND_WIFI_READ_RSSI: return dut.GetRSSI(&value1);
        case AT_COMMAND_WIFI_READ_BIST: return dut.GetBIST(data, &value1, &value2);
        case AT_COMMAND_WIFI_GET_CHIP_TEMP: return dut.GetChipTemperature(&value1);
        case AT_COMMAND_WIFI_SET_ANT: return dut.SetAntenna(data);
        default: return DUT_BAD_VALUE;
    }
}

int CCommandHandler::ExecuteATCommand_WiFi(const char* command, char* result) {
    const char* equals = std::strchr(command, '=');
    const int pos = equals != nullptr ? static_cast<int>(equals - command) + 1 : static_cast<int>(std::strlen(command));
    AT_COMMAND cmd = BuildATCommand(command, 4, pos);
    const int id = FindAtCommandId(&cmd, at_cmd_list_wifi);
    int dutResult = DUT_OK;
    int value1 = 0;
    int value2 = 0;

    if (id == AT_COMMAND_WIFI_TEST_STOP || id == AT_COMMAND_WIFI_TEST_START) {
        // The two test rows run at once and leave an open Bluetooth DUT alone.
        FLOG(TAG_COMMAND_HANDLER, "%s\n", AtCommandName(id));
        if (m_wlan_dut == nullptr) {
            dutResult = DUT_MISSING;
        } else {
            dutResult = id == AT_COMMAND_WIFI_TEST_STOP ? m_wlan_dut->TestStop() : m_wlan_dut->TestStart();
        }
    } else {
        // The two radios are never in test together: any other WLAN command
        // closes an open Bluetooth DUT first.
        if (m_bt_dut != nullptr && m_bt_dut->IsDUTOpen()) {
            char scratch[WLBT_RESULT_BUFFER_SIZE] = {};
            m_bt_dut->CloseDUT(scratch);
        }
        dutResult = RunWiFiCommand(id, cmd, command, result, value1, value2);
    }

    const int code = MapDutResult(dutResult);
    BuildResultString(command, APP_WIFI, id, code, value1, value2, result);
    if (code != 0) {
        std::printf("ERROR : %s [%d] - %s\n", command, code,
                    m_wlan_dut != nullptr ? m_wlan_dut->GetErrorString() : "");
        std::fflush(stdout);
    }
    return code;
}
