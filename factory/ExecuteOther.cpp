// The scan-control families "ATA+WIFI=" and "ATA+BT=", and "UNIT=".
#include <unistd.h>

#include <cstring>

#include "bt/BtDriver.h"
#include "bt/BtDutLib.h"
#include "factory/CommandHandler.h"
#include "factory/FactoryUtil.h"
#include "factory/ScanList.h"
#include "factory/factory_log.h"
#include "wlan/WlanDriver.h"
#include "wlan/WlanDutLib.h"

namespace {

// Family 2's own mapping of the driver's codes.
int MapAtaWifi(int internal) {
    switch (internal) {
        case 0: return 0;
        case 1: case 2: case 3: return 5;
        case 4: case 9: return 4;
        default: return 6;
    }
}

}  // namespace

void CCommandHandler::BuildScanResultString(const char* /*command*/, int type, CScanList& list, char* out) {
    if (out == nullptr) return;
    if (list.isEmpty()) {
        std::memcpy(out, "NG", 3);
        return;
    }
    // Bounded by the result buffer: an entry goes in whole or not at all, so
    // the text always ends in a whole "name,number". The first entry that
    // does not fit ends the text.
    std::memcpy(out, "OK:", 3);
    size_t length = 3;
    for (int written = 0; written < 10; ++written) {  // an eleventh node stays in the list
        SCAN_INFO_NODE* node = list.Pop();
        if (node == nullptr) break;
        int number = 0;
        const char* name = node->name;
        if (type == APP_WIFI || type == APP_ATA_WIFI) {
            number = node->signal_dbm;
        } else if (type == APP_BT || type == APP_ATA_BT) {
            FLOG(TAG_COMMAND_HANDLER, "BT device info\n");
            number = node->rssi_count != 0 ? node->rssi_sum / node->rssi_count : node->rssi_sum;
        } else {
            name = "";
        }
        char digits[16];
        num2str(number, digits);
        const size_t nameLength = strnlen(name, sizeof node->name);
        const size_t digitsLength = std::strlen(digits);
        const size_t entry = nameLength + 1 + digitsLength + 1;
        // The last separator is dropped at the end, which leaves room for the NUL.
        const bool fits = length + entry <= kResultSize;
        if (fits) {
            std::memcpy(out + length, name, nameLength);
            length += nameLength;
            out[length++] = ',';
            std::memcpy(out + length, digits, digitsLength);
            length += digitsLength;
            out[length++] = ';';
        }
        delete node;
        if (!fits) break;
    }
    // Drop the last separator.
    if (length > 3 && out[length - 1] == ';') --length;
    out[length] = '\0';
}

int CCommandHandler::ExecuteATACommand_WiFi(const char* command, char* result) {
    AT_COMMAND cmd = BuildATCommand(command, 1, 9);
    const int id = FindAtCommandId(&cmd, ata_cmd_list_wifi);
    CScanList list;
    CWlanDriver* driver = m_wlan_dut != nullptr ? m_wlan_dut->GetDriver() : nullptr;
    int internal = 0;
    bool early = false;
    if (driver == nullptr) {
        FLOG(TAG_COMMAND_HANDLER, "WlanDriver is NULL\n");
        internal = 4;
    } else if (id == ATA_COMMAND_WIFI_OFF) {
        FLOG(TAG_COMMAND_HANDLER, "ATA_COMMAND_WIFI_OFF\n");
        internal = driver->DisableInterface();
    } else if (id == ATA_COMMAND_WIFI_ON_SCAN) {
        FLOG(TAG_COMMAND_HANDLER, "ATA_COMMAND_WIFI_ON_SCAN\n");
        internal = driver->SetMode(1);
        if (internal != 0) {
            FLOG(TAG_COMMAND_HANDLER, "SetMode Error : %d\n", internal);
        } else {
            internal = driver->EnableInterface();
            if (internal != 0) FLOG(TAG_COMMAND_HANDLER, "EnableInterface Error : %d\n", internal);
        }
        // Answer now; the scan runs on this worker after the caller is
        // released, so nothing of the command may be touched after this.
        BuildResultString(command, APP_ATA_WIFI, 0, internal, 0, 0, result);
        SetEarlyResponse(true);
        early = true;
        if (internal == 0) internal = driver->StartScan();
    } else if (id == ATA_COMMAND_WIFI_GET_SCAN_RESULT) {
        FLOG(TAG_COMMAND_HANDLER, "ATA_COMMAND_WIFI_GET_SCAN_RESULT\n");
        internal = driver->GetScanResult(list);
    } else {
        FLOG(TAG_COMMAND_HANDLER, "ATA_WIFI: AT_COMMAND_END_OF_LIST\n");
        internal = 6;
    }
    FLOG(TAG_COMMAND_HANDLER, "ATA_WIFI: %d\n", internal);
    const int code = MapAtaWifi(internal);
    if (!early) {
        if (id == ATA_COMMAND_WIFI_GET_SCAN_RESULT) {
            BuildScanResultString(command, APP_ATA_WIFI, list, result);
        } else {
            BuildResultString(command, APP_ATA_WIFI, 0, code, 0, 0, result);
        }
    }
    return code;
}

// The tool's rows are cleared before an inquiry so that the fetch never
// finds the devices of an earlier one.
static void ClearToolRows(CBtDriver& driver) {
    char* rows = driver.GetBtCliResult();
    if (rows != nullptr) std::memset(rows, 0, static_cast<size_t>(CBtDriver::kRows) * CBtDriver::kRowSize);
}

int CCommandHandler::ExecuteATACommand_BT(const char* command, char* result) {
    AT_COMMAND cmd = BuildATCommand(command, 1, 7);
    const int id = FindAtCommandId(&cmd, ata_cmd_list_bt);
    CScanList list;
    CWlanDriver* wlan = m_wlan_dut != nullptr ? m_wlan_dut->GetDriver() : nullptr;
    int internal = 0;
    if (wlan == nullptr) {
        FLOG(TAG_COMMAND_HANDLER, "WlanDriver is NULL\n");
        internal = 4;
    }
    CBtDriver* bt = m_bt_dut != nullptr ? m_bt_dut->GetDriver() : nullptr;
    if (bt == nullptr) {
        // No reply: the result buffer stays as it was.
        FLOG(TAG_COMMAND_HANDLER, "btDriver is NULL\n");
        return 4;
    }

    if (id == ATA_COMMAND_BT_KILL) {
        bt->KillBtCli();
    } else if (id == ATA_COMMAND_BT_INQUIRY) {
        if (wlan != nullptr) {
            const int mode = wlan->SetMode(1);
            if (mode != 0) {
                FLOG(TAG_COMMAND_HANDLER, "ATA_BT: %d\n", mode);
                internal = 5;
            }
        }
        // Answer now; the inquiry runs on this worker after the caller is
        // released, so nothing of the command may be touched after this. A
        // failed switch does not stop it: the fetch shows what it found. A
        // fetch sent at once waits for this inquiry, not for whichever
        // thread takes the inquiry lock first.
        m_bt_dut->AnnounceInquiry();
        BuildResultString(command, APP_ATA_BT, 0, internal, 0, 0, result);
        SetEarlyResponse(true);
        ClearToolRows(*bt);
        m_bt_dut->Inquiry();
        return internal;
    } else if (id == ATA_COMMAND_BT_GET_INQUIRY_RESULT) {
        // A failed fetch shows as an empty list.
        m_bt_dut->GetInquiryResult(list);
        BuildScanResultString(command, APP_ATA_BT, list, result);
        return internal;
    } else {
        // Unlike its WLAN sibling, this family answers a missing row with "OK".
        FLOG(TAG_COMMAND_HANDLER, "ATA_BT: AT_COMMAND_END_OF_LIST\n");
    }
    BuildResultString(command, APP_ATA_BT, 0, internal, 0, 0, result);
    return internal;
}

int CCommandHandler::ExecuteUnitTest(const char* command, char* result) {
    AT_COMMAND cmd = BuildATCommand(command, 1, 5);
    const int id = FindAtCommandId(&cmd, at_cmd_list_unit_test);
    CWlanDriver* wlan = m_wlan_dut != nullptr ? m_wlan_dut->GetDriver() : nullptr;
    if (wlan == nullptr) {
        FLOG(TAG_COMMAND_HANDLER, "WlanDriver is NULL\n");
        return 4;
    }
    CBtDriver* bt = m_bt_dut != nullptr ? m_bt_dut->GetDriver() : nullptr;
    if (bt == nullptr) {
        FLOG(TAG_COMMAND_HANDLER, "btDriver is NULL\n");
        return 4;
    }

    CScanList list;
    int rc = 0;
    if (id >= AT_COMMAND_UNIT_TEST_WLAN_UP && id <= AT_COMMAND_UNIT_TEST_GET_BIT_ERR) {
        FLOG(TAG_COMMAND_HANDLER, "%s\n", AtCommandName(id));
    }
    switch (id) {
        case AT_COMMAND_UNIT_TEST_WLAN_UP: rc = wlan->EnableInterface(); break;
        case AT_COMMAND_UNIT_TEST_WLAN_DOWN: rc = wlan->DisableInterface(); break;
        // 0: the test firmware is selected, 1: the normal one, -1: unknown,
        // which leaves both switches alone.
        case AT_COMMAND_UNIT_TEST_CHANGE_FW_WLAN:
            if (wlan->CheckCurrentFwMode() == 0) rc = wlan->SetMode(1);
            break;
        case AT_COMMAND_UNIT_TEST_CHANGE_FW_WLANLITE:
            if (wlan->CheckCurrentFwMode() == 1) rc = wlan->SetMode(0);
            break;
        case AT_COMMAND_UNIT_TEST_WIFI_SCAN: rc = wlan->StartScan(); break;
        case AT_COMMAND_UNIT_TEST_WIFI_SCAN_RESULT: rc = wlan->GetScanResult(list); break;
        case AT_COMMAND_UNIT_TEST_BT_SCAN:
            ClearToolRows(*bt);
            m_bt_dut->Inquiry();
            break;
        case AT_COMMAND_UNIT_TEST_BT_SCAN_RESULT:
            break;  // nothing is fetched: the list stays empty and the reply is "NG"
        case AT_COMMAND_UNIT_TEST_CMD_TIMEOUT:
            // A command that outlasts a station's time limit, for trying it out.
            FLOG(TAG_COMMAND_HANDLER, "Running for 10 secs... \n");
            for (int pass = 0; pass < 10; ++pass) {
                FLOG(TAG_COMMAND_HANDLER, "%d\n", pass);
                sleep(1);
            }
            break;
        case AT_COMMAND_UNIT_TEST_GET_BIT_ERR: {
            char (*rows)[CBtDriver::kRowSize] = bt->Rows();
            if (rows == nullptr) break;
            const int count = bt->GetBIT_ERR(rows, 9);
            for (int row = 0; row < count; ++row) FLOG(TAG_COMMAND_HANDLER, "[%d] %s", row, rows[row]);
            break;
        }
        default:
            break;
    }

    if (id == AT_COMMAND_UNIT_TEST_WIFI_SCAN_RESULT || id == AT_COMMAND_UNIT_TEST_BT_SCAN_RESULT) {
        BuildScanResultString(command, 0, list, result);
    } else {
        BuildResultString(command, APP_UNIT, 0, rc, 0, 0, result);
    }
    return rc;
}
