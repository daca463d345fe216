// The scan-control families "ATA+WIFI=" and "ATA+BT=", and "UNIT=".
#include "factory/CommandHandler.h"
#include "factory/factory_log.h"

int CCommandHandler::ExecuteATACommand_WiFi(const char* command, char* result) {
    AT_COMMAND cmd = BuildATCommand(command, 1, 9);
    FindAtCommandId(&cmd, ata_cmd_list_wifi);

    // The WLAN driver is reached through the WLAN DUT, which the service does
    // not build yet.
    FLOG(TAG_COMMAND_HANDLER, "WlanDriver is NULL\n");
    const int internal = 4;
    FLOG(TAG_COMMAND_HANDLER, "ATA_WIFI: %d\n", internal);
    const int code = 4;  // 4 and 9 map to 4
    // With no driver the scan list stays empty, and an empty list renders as
    // "NG", the same text as the plain failure reply.
    BuildResultString(command, APP_ATA_WIFI, 0, code, 0, 0, result);
    return code;
}

int CCommandHandler::ExecuteATACommand_BT(const char* command, char* /*result*/) {
    AT_COMMAND cmd = BuildATCommand(command, 1, 7);
    FindAtCommandId(&cmd, ata_cmd_list_bt);
    FLOG(TAG_COMMAND_HANDLER, "WlanDriver is NULL\n");
    FLOG(TAG_COMMAND_HANDLER, "btDriver is NULL\n");
    return 4;  // no reply: the result buffer stays as it was
}

int CCommandHandler::ExecuteUnitTest(const char* command, char* /*result*/) {
    AT_COMMAND cmd = BuildATCommand(command, 1, 5);
    FindAtCommandId(&cmd, at_cmd_list_unit_test);
    FLOG(TAG_COMMAND_HANDLER, "WlanDriver is NULL\n");
    return 4;  // no reply: the result buffer stays as it was
}
