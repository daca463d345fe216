// The Bluetooth AT family: "AT+BTRF=".
#include "factory/CommandHandler.h"
#include "factory/factory_log.h"

int CCommandHandler::ExecuteATCommand_BT(const char* command, char* /*result*/) {
    // Closing an open WLAN DUT comes first for every Bluetooth command; the
    // WLAN DUT object is not built by the service yet.
    AT_COMMAND cmd = BuildATCommand(command, 4, 8);
    FindAtCommandId(&cmd, at_cmd_list_bt);

    // Without the Bluetooth DUT there is no driver: no reply at all, the
    // result buffer stays as it was.
    FLOG(TAG_COMMAND_HANDLER, "btDriver is NULL\n");
    return DUT_BAD_VALUE;
}
