// The WLAN AT family: "AT+WIFIRF=" and "AT+WIFI<name>=".
#include <cstdio>
#include <cstring>

#include "factory/CommandHandler.h"
#include "factory/factory_log.h"

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

}  // namespace

int CCommandHandler::RunWiFiCommand(int id, const AT_COMMAND& cmd, int& /*value1*/,
                                    int& /*value2*/) {
    if (id > AT_COMMAND_WIFI_GET_CHIP_TEMP) return DUT_BAD_VALUE;  // no row found

    const char* name = AtCommandName(id);
    if (id == AT_COMMAND_WIFI_SET_CHANNEL || id == AT_COMMAND_WIFI_SET_DATARATE) {
        FLOG(TAG_COMMAND_HANDLER, "%s %d\n", name, cmd.data);
    } else {
        FLOG(TAG_COMMAND_HANDLER, "%s\n", name);
    }
    if (IsLogOnlyWifi(id)) return DUT_OK;

    // Every other row is an operation of the WLAN DUT. The service does not
    // build that object yet, so these commands answer as for a missing one.
    return DUT_MISSING;
}

int CCommandHandler::ExecuteATCommand_WiFi(const char* command, char* result) {
    const char* equals = std::strchr(command, '=');
    const int pos = equals != nullptr ? static_cast<int>(equals - command) + 1
                                      : static_cast<int>(std::strlen(command));
    AT_COMMAND cmd = BuildATCommand(command, 4, pos);
    const int id = FindAtCommandId(&cmd, at_cmd_list_wifi);
    int dutResult = DUT_OK;
    int value1 = 0;
    int value2 = 0;

    if (id == AT_COMMAND_WIFI_TEST_STOP || id == AT_COMMAND_WIFI_TEST_START) {
        // The two test rows run at once and leave an open Bluetooth DUT alone.
        FLOG(TAG_COMMAND_HANDLER, "%s\n", AtCommandName(id));
        dutResult = DUT_MISSING;  // both are operations of the (absent) WLAN DUT
    } else {
        // The two radios are never in test together: any other WLAN command
        // closes an open Bluetooth DUT first; that step arrives with the
        // Bluetooth DUT object.
        dutResult = RunWiFiCommand(id, cmd, value1, value2);
    }

    const int code = MapDutResult(dutResult);
    BuildResultString(command, APP_WIFI, id, code, value1, value2, result);
    if (code != 0) {
        std::printf("ERROR : %s [%d] - %s\n", command, code, "");
        std::fflush(stdout);
    }
    return code;
}
