// Reading AT command strings into records, and writing result strings.
#include <cstdio>
#include <cstring>

#include "factory/CommandHandler.h"
#include "factory/FactoryUtil.h"
#include "factory/factory_log.h"

namespace {

// Index of the first NUL at or before `pos`, or `pos` itself: a start
// position behind the end of the text is read as the terminator.
int ClampToText(const char* text, int pos) {
    if (pos < 0) pos = 0;
    for (int i = 0; i < pos; ++i) {
        if (text[i] == '\0') return i;
    }
    return pos;
}

bool IsTextValueWifi(int id) {
    return id >= AT_COMMAND_WIFI_GET_CHANNEL && id <= AT_COMMAND_WIFI_GET_PACKET_COUNT;
}

bool IsOneNumberWifi(int id) {
    return id == AT_COMMAND_WIFI_READ_RX_ERROR || id == AT_COMMAND_WIFI_READ_RX_GOOD ||
           id == AT_COMMAND_WIFI_READ_RSSI || id == AT_COMMAND_WIFI_GET_CHIP_TEMP;
}

bool IsTextValueBt(int id) {
    return id == AT_COMMAND_BT_READ_BER || id == AT_COMMAND_BT_READ_GOOD_PACKET ||
           id == AT_COMMAND_BT_BLE_READ_GOOD_PACKET || id == AT_COMMAND_BT_GET_MAC_ADDRESS ||
           id == AT_COMMAND_BT_BREDR_READ_BER || id == AT_COMMAND_BT_BREDR_READ_CW_RSSI;
}

}  // namespace

AT_COMMAND CCommandHandler::BuildATCommand(const char* command, int count, int pos) {
    AT_COMMAND record{};
    int32_t* fields[] = {&record.attr, &record.param1, &record.param2, &record.data};
    if (count > 4) count = 4;
    int stored = 0;
    if (command != nullptr) {
        const char* p = command + ClampToText(command, pos);
        // One character per number: only the last number read can keep all
        // its digits. A NUL reads as 0 and the walk stays on it, exactly as
        // if the text went on with NUL padding.
        while (stored < count) {
            if (*p == ',') {
                ++p;
                continue;
            }
            *fields[stored++] = str2num(p);
            if (*p != '\0') ++p;
        }
    }
    FLOG(TAG_COMMAND_HANDLER, "attr %d param1 %d param2 %d data %d\n", record.attr, record.param1,
         record.param2, record.data);
    return record;
}

int CCommandHandler::FindAtCommandId(AT_COMMAND* command, const AT_COMMAND* table) {
    for (const AT_COMMAND* row = table;; ++row) {
        if (row->id == AT_COMMAND_END_OF_LIST) {
            FLOG(TAG_COMMAND_HANDLER, "ret : %d, attr : %d, param1 : %d, param2 : %d\n",
                 AT_COMMAND_END_OF_LIST, command->attr, command->param1, command->param2);
            return AT_COMMAND_END_OF_LIST;
        }
        if (row->attr == command->attr && row->param1 == command->param1 &&
            row->param2 == command->param2) {
            FLOG(TAG_COMMAND_HANDLER, "ret : %d, attr : %d, param1 : %d, param2 : %d\n", row->id,
                 command->attr, command->param1, command->param2);
            return row->id;
        }
    }
}

bool CCommandHandler::GetDataString(const char* command, int index, int pos, char* out,
                                    size_t out_size) {
    if (out == nullptr || out_size == 0) return false;
    size_t written = 0;
    bool copied = false;
    if (command != nullptr) {
        const char* p = command + ClampToText(command, pos);
        int field = 0;
        // Past the end of the text every further step is a NUL that moves
        // the field counter on, so the walk ends without leaving the text.
        while (field <= index) {
            const char c = *p;
            if (c == ',' || c == '\0') {
                ++field;
            } else if (field == index) {
                if (written + 1 < out_size) out[written++] = c;
                copied = true;
            }
            if (c != '\0') ++p;
        }
    }
    out[written] = '\0';
    FLOG(TAG_COMMAND_HANDLER, "data : %s\n", out);
    return copied;
}

const char* CCommandHandler::GetParamPos(const char* command, int n) {
    if (n <= 0) {
        FLOG(TAG_COMMAND_HANDLER, "GetParamPos Error - incorrect param num\n");
        return nullptr;
    }
    int commas = 0;
    for (const char* p = command; p != nullptr && *p != '\0'; ++p) {
        if (*p == ',' && ++commas == n) return p + 1;
    }
    FLOG(TAG_COMMAND_HANDLER, "GetParamPos Error [param num : %d] : %s\n", n,
         command != nullptr ? command : "");
    return nullptr;
}

bool CCommandHandler::GetIntParam(const char* text, int pos, int len, int& value) {
    value = 0;
    bool ok = len > 0 && text != nullptr;
    if (ok) {
        const char* p = text + ClampToText(text, pos);
        unsigned int v = 0;
        for (int i = 0; i < len; ++i) {
            const char c = p[i];
            if (c < '0' || c > '9') {
                ok = false;
                break;  // a NUL ends the field here too, so the read stays in the text
            }
            v = v * 10u + static_cast<unsigned int>(c - '0');
            value = static_cast<int>(v);
        }
    }
    if (!ok) {
        FLOG(TAG_COMMAND_HANDLER, "GetIntParam Error [pos : %d, len : %d] : %s\n", pos, len,
             text != nullptr ? text : "");
        return false;
    }
    FLOG(TAG_COMMAND_HANDLER, "data : %d\n", value);
    return true;
}

int CCommandHandler::MapDutResult(int dutResult) {
    switch (dutResult) {
        case DUT_OK: return 0;
        case DUT_MISSING: return 4;
        case DUT_FAILED: return 5;
        default: return 6;
    }
}

void CCommandHandler::BuildResultString(const char* command, int type, int id, int result,
                                        int value1, int value2, char* out) {
    FLOG(TAG_COMMAND_HANDLER, "type %d result %d (%s)\n", type, result,
         command != nullptr ? command : "");
    if (out == nullptr) return;
    const char* verdict = result == 0 ? "OK" : "NG";
    const size_t n = kResultSize;

    // A text value was written into `out` by the getter; only its first 19
    // characters make it into the reply.
    char text[20];
    std::memcpy(text, out, sizeof text);
    text[sizeof text - 1] = '\0';

    switch (type) {
        case APP_WIFI: {
            const char* name = m_cmd_name;
            if (m_is_wifirf) {
                if (IsOneNumberWifi(id)) {
                    if (result == 0) {
                        std::snprintf(out, n, "+WIFIRF:%d,OK,%d", result, value1);
                    } else {
                        std::snprintf(out, n, "+WIFIRF:%d,NG,0", result);
                    }
                } else if (id == AT_COMMAND_WIFI_READ_BIST) {
                    if (result == 0) {
                        std::snprintf(out, n, "+WIFIRF:%d,OK,%d,%d", result, value1, value2);
                    } else {
                        std::snprintf(out, n, "+WIFIRF:%d,NG,0,0", result);
                    }
                } else if (IsTextValueWifi(id)) {
                    std::snprintf(out, n, "+WIFIRF:%d,%s,%s", result, verdict, text);
                } else {
                    std::snprintf(out, n, "+WIFIRF:%d,%s", result, verdict);
                }
            } else {
                // This form puts the verdict last.
                if (IsOneNumberWifi(id)) {
                    if (result == 0) {
                        std::snprintf(out, n, "+%s:0,%d,OK", name, value1);
                    } else {
                        std::snprintf(out, n, "+%s:%d,0,NG", name, result);
                    }
                } else if (id == AT_COMMAND_WIFI_READ_BIST) {
                    if (result == 0) {
                        std::snprintf(out, n, "+%s:0,%d,%d,OK", name, value1, value2);
                    } else {
                        std::snprintf(out, n, "+%s:%d,0,0,NG", name, result);
                    }
                } else if (IsTextValueWifi(id)) {
                    std::snprintf(out, n, "+%s:%d,%s,%s", name, result, text, verdict);
                } else {
                    std::snprintf(out, n, "+%s:%d,%s", name, result, verdict);
                }
            }
            break;
        }
        case APP_BT:
            if (IsTextValueBt(id)) {
                std::snprintf(out, n, "+BTRF:%d,%s,%s", result, verdict, text);
            } else {
                std::snprintf(out, n, "+BTRF:%d,%s", result, verdict);
            }
            break;
        case APP_ATA_WIFI:
        case APP_ATA_BT:
            std::snprintf(out, n, "%s", verdict);
            break;
        case APP_UNIT:
            std::snprintf(out, n, "+UNIT:%06d,%s", result, verdict);
            break;
        default:
            break;
    }
}
