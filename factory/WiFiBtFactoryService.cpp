// The exported entry points of the factory command service.
#include "WiFiBtFactoryService.h"

#include <chrono>
#include <cstring>

#include "bt/BtDriver.h"
#include "bt/BtDutLib.h"
#include "enginefw/capture.h"
#include "factory/CommandHandler.h"
#include "factory/FactoryUtil.h"
#include "factory/ServiceInternal.h"
#include "factory/factory_log.h"
#include "wlan/WlanDriver.h"
#include "wlan/WlanDutLib.h"

namespace {

// The service's object graph; open exactly while `handler` is set. The
// Bluetooth driver and DUT join the graph as they are built.
CWlanDriver* wlanDrv = nullptr;
CWlanDutLib* wlanDut = nullptr;
CBtDriver* btDrv = nullptr;
CBtDutLib* btDut = nullptr;
CCommandHandler* handler = nullptr;

// How long closing waits for workers that answered early and still run
// (a scan or an inquiry). A worker that outlives this keeps its objects:
// they are left allocated rather than freed under it.
constexpr std::chrono::seconds kCloseWaitLimit{60};

}  // namespace

CCommandHandler* GetServiceCommandHandler() {
    return handler;
}

CWlanDriver* GetServiceWlanDriver() {
    return wlanDrv;
}

CWlanDutLib* GetServiceWlanDut() {
    return wlanDut;
}

CBtDutLib* GetServiceBtDut() {
    return btDut;
}

namespace {

int Forward(const char* command, char* result, int timeout) {
    if (handler == nullptr) return WLBT_ERR_NOT_OPEN;
    if (command == nullptr || result == nullptr) {
        // Nothing to classify or nowhere to answer: the string belongs to no
        // command family.
        FLOG(TAG_SERVICE_IF, "ForwardCMD_WiFiBT: null %s\n", command == nullptr ? "command" : "result");
        return WLBT_ERR_UNKNOWN_FAMILY;
    }
    if (std::strlen(command) > WLBT_MAX_COMMAND_LENGTH) return WLBT_ERR_TOO_LONG;

    char buffer[WLBT_MAX_COMMAND_LENGTH + 1] = {};
    std::memcpy(buffer, command, std::strlen(command));
    trim(buffer, WLBT_MAX_COMMAND_LENGTH);

    int ret = handler->SendCommand(buffer, result, timeout);
    if (ret == SEND_STARTED) ret = handler->WaitResponse(result);
    FLOG(TAG_SERVICE_IF, "ret : %d\n", ret);
    // Only a time-out and an unknown family reach the caller; a busy slot (1)
    // and a worker that could not start (2) answer 0 with the buffer as it was.
    if (ret == SEND_TIMEOUT) return WLBT_ERR_TIMEOUT;
    if (ret == SEND_UNKNOWN) return WLBT_ERR_UNKNOWN_FAMILY;
    return WLBT_OK;
}

}  // namespace

extern "C" {

WLBT_API int OpenWiFiBtFactoryService(void) {
    FLOG(TAG_SERVICE_IF, "%s\n", "int OpenWiFiBtFactoryService()");
    if (handler != nullptr) {
        FLOG(TAG_SERVICE_IF, "handler :%p is already open\n", static_cast<void*>(handler));
        return WLBT_ERR_ALREADY_OPEN;
    }
    wlanDrv = new CWlanDriver();
    wlanDut = new CWlanDutLib(wlanDrv);
    btDrv = new CBtDriver();
    btDut = new CBtDutLib(btDrv);  // makes the btcli FIFO
    handler = new CCommandHandler(wlanDut, btDut);
    return WLBT_OK;
}

WLBT_API int CloseWiFiBtFactoryService(void) {
    FLOG(TAG_SERVICE_IF, "%s\n", "int CloseWiFiBtFactoryService()");
    if (handler == nullptr) {
        FLOG(TAG_SERVICE_IF, "%s %d\n", "int CloseWiFiBtFactoryService()", 54);
        return WLBT_ERR_NOT_OPEN;
    }
    // Both DUTs go first, then both drivers, WLAN before Bluetooth in each pair.
    if (handler->WaitForWorkers(kCloseWaitLimit)) {
        delete handler;
        delete wlanDut;  // closes an open DUT: firmware and interface back to normal
        delete btDut;    // closes an open DUT: the Bluetooth link
        delete wlanDrv;
        delete btDrv;    // removes the FIFO
    } else {
        FLOG(TAG_SERVICE_IF, "a command worker is still running: its objects are left allocated\n");
    }
    handler = nullptr;
    wlanDut = nullptr;
    wlanDrv = nullptr;
    btDut = nullptr;
    btDrv = nullptr;
    return WLBT_OK;
}

WLBT_API int ForwardCMD_WiFiBT(const char* command, char* result, int timeout) {
    capture::AtCommand(command);
    const int rc = Forward(command, result, timeout);
    // The buffer holds a result only when the call succeeded; otherwise it
    // is as the station left it.
    capture::AtResult(command, rc, rc == WLBT_OK ? result : nullptr, WLBT_RESULT_BUFFER_SIZE);
    return rc;
}

}  // extern "C"
