#include "bt/BtDutLib.h"

#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <vector>

#include <android/log.h>

#include "WiFiBtFactoryService.h"
#include "bt_interface.h"
#include "factory/AutoLock.h"
#include "factory/FactoryUtil.h"

#define BLOG(...) __android_log_print(ANDROID_LOG_VERBOSE, "BT_DUT_LIB", __VA_ARGS__)

const char CBtDutLib::bt_packet_name[kPacketTypes][5] = {"DH1",  "DH3",  "DH5",  "DM1",  "DM3",  "DM5",  "EV3",
                                                         "EV4",  "EV5",  "2DH1", "2DH3", "2DH5", "2EV3", "2EV5",
                                                         "3DH1", "3DH3", "3DH5", "3EV3", "3EV5"};
const int CBtDutLib::bt_packet_value[kPacketTypes] = {4, 11, 15, 3, 10, 14, 7, 12, 13, 20,
                                                      26, 30, 22, 28, 24, 27, 31, 23, 29};
const int CBtDutLib::bt_packet_size[kPacketTypes] = {27, 183, 339, 17, 121, 224, 30, 120, 180, 54,
                                                     367, 679, 60, 360, 83, 552, 1021, 90, 540};

namespace {

const char* const kBlePayloadNames[] = {"PRBS9\n", "0xF0\n", "0xAA\n",   "PRBS15\n",
                                        "0xFF\n",  "0x00\n", "0x0F\n", "0x55\n"};
const char* const kBrEdrPayloadNames[] = {"PRBS9", "0xAA", "0xF0"};

// Up to three tries of a device call, no delay between them.
int ThreeTries(const std::function<int32_t()>& call, int32_t& last) {
    for (int tries = 3; tries > 0; --tries) {
        last = call();
        if (last == 0) {
            return 0;
        }
        if (tries > 1) {
            BLOG("RETRY");
        }
    }
    return last;
}

// The step's result: 0 with its success line, or 2 with the error line.
int Finish(const CBtDutLib& dut, int32_t rc, const char* success) {
    if (rc != 0) {
        BLOG("Error : %d, %s\n", rc, dut.GetErrorString());
        return 2;
    }
    BLOG("%s", success);
    return 0;
}

// The text behind `key` in `row`, or null when the key is absent.
const char* Behind(const char* row, const char* key, int skip) {
    const int at = findString(row, key);
    return at < 0 ? nullptr : row + at + skip;
}

}  // namespace

CBtDutLib::CBtDutLib(CBtDriver* driver) : m_driver(driver) {
    if (m_driver != nullptr) {
        m_driver->OpenDriver();
    }
}

CBtDutLib::~CBtDutLib() { CloseDUT(nullptr); }

const char* CBtDutLib::GetErrorString() const { return bt_get_last_error(); }

int CBtDutLib::OpenDUT(char*) {
    if (m_dut_is_open) {
        BLOG("DUT is already opened.\n");
        return 0;
    }
    DisableWLBT();
    if (bt_open_device() != 0) {
        return 2;
    }
    m_dut_is_open = 1;
    BLOG("m_dut_is_open - %d\n", m_dut_is_open);
    BLOG("bt DUT is connected - %d\n", m_dut_is_open);
    if (m_driver != nullptr) {
        m_driver->_RunShellCmd("echo 1 >/sys/module/tavo_rk/parameters/rklogger_force_to_host");
        m_driver->_RunShellCmd("echo 0x4000 > /sys/module/tavo_bt/parameters/rklog_filter");
    }
    if (bt_cfg_tx_power(static_cast<int16_t>(m_tx_gain)) != 0) {
        BLOG("Tx Gain Error\n");
    } else {
        BLOG("Tx Gain: %d\n", m_tx_gain);
    }
    m_inquiry_lock = false;
    return 0;
}

int CBtDutLib::CloseDUT(char*) {
    m_inquiry_lock = false;
    if (!m_dut_is_open) {
        return 0;
    }
    const int32_t rc = bt_close_device();
    BLOG("rc_bt_close() - %d\n", rc);
    if (rc != 0) {
        return 2;
    }
    m_dut_is_open = 0;
    BLOG("m_dut_is_open - %d\n", m_dut_is_open);
    BLOG("bt DUT is Disconnected - %d\n", m_dut_is_open);
    if (m_driver != nullptr) {
        m_driver->_RunShellCmd("echo 0 > /sys/module/tavo_rk/parameters/rklogger_force_to_host");
    }
    return 0;
}

#define NEED_DRIVER                      \
    if (m_driver == nullptr) {           \
        BLOG("BT Driver is NULL\n");     \
        return 1;                        \
    }

// --- LE ---------------------------------------------------------------------

int CBtDutLib::BleSetChannel(char*, int channel) {
    NEED_DRIVER
    if (channel < 0 || channel > 39) {
        BLOG("Cannot Set Channel to %d Range(0~39)\n", channel);
        return 4;
    }
    m_ble_channel = channel;
    return 0;
}

int CBtDutLib::BleSetPayloadType(char*, int type) {
    NEED_DRIVER
    if (type < 0 || type > 7) {
        BLOG("incorrect payload type: %d\n", type);
        return 4;
    }
    m_ble_payload_type = type;
    BLOG("Set Payload type : %d - %s\n", type, kBlePayloadNames[type]);
    return 0;
}

int CBtDutLib::BleSetPayloadLength(char*, int length) {
    NEED_DRIVER
    if (length < 0 || length > 37) {
        BLOG("Cannot Set length to %d Range(0~37)\n", length);
        return 4;
    }
    m_ble_payload_length = length;
    return 0;
}

int CBtDutLib::BleSetPhy(char*, int phy) {
    NEED_DRIVER
    if (phy < 0 || phy > 2) {
        BLOG("Cannot Set PHY to %d Range(0~2)\n", phy);
        return 4;
    }
    m_ble_phy = phy;
    return 0;
}

int CBtDutLib::BleTxStart(char*) {
    NEED_DRIVER
    static const char* const kPhy[] = {"1M", "2M", "CODED8"};
    BLOG("BLE Tx Channel: %d\n", m_ble_channel);
    BLOG("BLE Tx length: %d\n", m_ble_payload_length);
    BLOG("BLE Tx Type: %d\n", m_ble_payload_type);
    BLOG("BLE Tx PHY: %s\n", kPhy[m_ble_phy]);
    const auto channel = static_cast<uint8_t>(m_ble_channel);
    const auto length = static_cast<uint8_t>(m_ble_payload_length);
    const auto payload = static_cast<uint8_t>(m_ble_payload_type);
    const auto phy = static_cast<uint8_t>(m_ble_phy + 1);
    int32_t rc = 0;
    ThreeTries(
        [&] {
            return m_ble_phy == 0 ? btle_transmitter_test(channel, length, payload)
                                  : btle_enhanced_transmitter_test(channel, length, payload, phy);
        },
        rc);
    return Finish(*this, rc, "BleTxStart executed successfully\n");
}

int CBtDutLib::BleTxStop(char*) {
    NEED_DRIVER
    int32_t rc = 0;
    ThreeTries([] { return btle_stop_test(); }, rc);
    return Finish(*this, rc, "BleTxStop executed successfully\n");
}

int CBtDutLib::BleRxStart(char*) {
    NEED_DRIVER
    static const char* const kPhy[] = {"1M", "2M", "CODED"};
    BLOG("BLE Rx Channel: %d\n", m_ble_channel);
    BLOG("BLE Rx PHY: %s\n", kPhy[m_ble_phy]);
    const auto channel = static_cast<uint8_t>(m_ble_channel);
    const auto phy = static_cast<uint8_t>(m_ble_phy + 1);
    int32_t rc = 0;
    ThreeTries([&] { return m_ble_phy == 0 ? btle_receiver_test(channel) : btle_enhanced_receiver_test(channel, phy, 0); },
               rc);
    return Finish(*this, rc, "BleRxStart executed successfully\n");
}

bool CBtDutLib::PktCountFromRow(const char* row, int& count) {
    const char* value = Behind(row, "pkt_count:", 10);
    if (value == nullptr) {
        return false;
    }
    count = str2num(value);
    return true;
}

void CBtDutLib::ReadPktCountFromLog(bool logRow) {
    char (*rows)[CBtDriver::kRowSize] = m_driver->Rows();
    if (m_driver->GetBlePktCnt(rows, 1) < 1) {
        BLOG("Error : not found Packet count\n");
        if (logRow) {
            m_ble_pkt_cnt = -1;
        }
        return;
    }
    if (logRow) {
        BLOG("Packet count log : [ %s ]\n", rows[0]);
    }
    PktCountFromRow(rows[0], m_ble_pkt_cnt);
}

int CBtDutLib::BleRxStop(char*) {
    NEED_DRIVER
    int32_t rc = 0;
    ThreeTries([] { return btle_stop_test_count(); }, rc);
    BLOG("BLE btle_stop_test_count() = %d\n", rc);
    m_ble_pkt_cnt = -1;
    if (rc == 0) {
        ReadPktCountFromLog(false);
    }
    BLOG("ble_pkt_cnt:%d\n", m_ble_pkt_cnt);
    return 0;
}

int CBtDutLib::BleReadPktCnt(char* result) {
    NEED_DRIVER
    if (m_ble_pkt_cnt == 0) {
        BLOG("retry to get Packet count");
        ReadPktCountFromLog(true);
    }
    if (result != nullptr) {
        std::sprintf(result, "%d", m_ble_pkt_cnt);
    }
    return 0;
}

// --- test mode --------------------------------------------------------------

int CBtDutLib::BtEnableDutMode(char*, void*) {
    NEED_DRIVER
    if (!m_dut_is_open) {
        const int open = OpenDUT(nullptr);
        if (open != 0) {
            return open;
        }
    }
    const int32_t rc = bt_enable_dut_mode();
    BLOG("BtEnableDutMode:%d", rc);
    if (rc == 0) {
        m_enable_dut_mode = 1;
    }
    return rc;
}

int CBtDutLib::BtDisableDutMode(char*, void*) {
    NEED_DRIVER
    BLOG("m_enable_dut_mode:%d", m_enable_dut_mode);
    if (m_dut_is_open == 1) {
        CloseDUT(nullptr);
        m_enable_dut_mode = 0;
        BLOG("BtDisableDutMode executed successfully\n");
        return 0;
    }
    return 2;
}

// --- BR/EDR -----------------------------------------------------------------

int CBtDutLib::BtBREDRSetCh(char*, int channel) {
    NEED_DRIVER
    if (channel < 0 || channel > 78) {
        BLOG("Cannot Set Channel to %d - Range(0~78)\n", channel);
        return 4;
    }
    m_bredr_channel = channel;
    return 0;
}

int CBtDutLib::BtBREDRSetPacketType(char*, int type) {
    NEED_DRIVER
    if (type < 0 || type >= kPacketTypes) {
        BLOG("Cannot Set packet_type to %d - Range(0~18)\n", type);
        for (int i = 0; i < kPacketTypes; ++i) {
            BLOG("Packet index: %d - %s\n", i, bt_packet_name[i]);
        }
        return 4;
    }
    m_packet_type = type;
    BLOG("Packet type: %d, packet size: %d\n", bt_packet_value[type], bt_packet_size[type]);
    int32_t rc = 0;
    ThreeTries([type] { return bt_cfg_pkt(static_cast<uint16_t>(bt_packet_value[type]),
                                          static_cast<uint16_t>(bt_packet_size[type])); },
               rc);
    return Finish(*this, rc, "BT SetPacketType executed successfully\n");
}

int CBtDutLib::BtBREDRSetPayloadType(char*, int type) {
    NEED_DRIVER
    // 3 is stored, and refused at the next start.
    if (type < 0 || type > 3) {
        BLOG("Cannot Set Payload to %d - Range(0~3)\n", type);
        return 4;
    }
    m_bredr_payload = type;
    return 0;
}

int CBtDutLib::BtBREDRSetTxgain(char*, int gain) {
    NEED_DRIVER
    if (gain < 0 || gain > 25) {
        BLOG("Cannot Set Tx Power to %d - Range(0~25)\n", gain);
        return 4;
    }
    m_tx_gain = gain;
    int32_t rc = 0;
    ThreeTries([gain] { return bt_cfg_tx_power(static_cast<int16_t>(gain)); }, rc);
    return Finish(*this, rc, "BT SetTxgain executed successfully\n");
}

int CBtDutLib::BtBREDRSetBDAddress(char*, const char* uap, const char* lap) {
    NEED_DRIVER
    const long uapValue = uap != nullptr ? std::strtol(uap, nullptr, 16) : 0;
    const long lapValue = lap != nullptr ? std::strtol(lap, nullptr, 16) : 0;
    BLOG("BD Address: %02X, %06X\n", static_cast<unsigned>(uapValue), static_cast<unsigned>(lapValue));
    int32_t rc = 0;
    ThreeTries([&] { return bt_cfg_uap_lap(static_cast<uint16_t>(uapValue & 0xFFFF),
                                           static_cast<uint32_t>(lapValue)); },
               rc);
    return Finish(*this, rc, "BT SetBDAddress executed successfully\n");
}

int CBtDutLib::BtBREDRTxStart(char*) {
    NEED_DRIVER
    BLOG("Tx Channel: %d(%dMhz)\n", m_bredr_channel, Freq());
    BLOG("Tx Packet Type: %s\n", bt_packet_name[m_packet_type]);
    BLOG("Tx Gain: %d\n", m_tx_gain);
    if (m_bredr_payload < 0 || m_bredr_payload > 2) {
        BLOG("Incorrect Tx Payload: %d\n", m_bredr_payload);
        return 2;
    }
    BLOG("Tx Payload: %s\n", kBrEdrPayloadNames[m_bredr_payload]);
    const uint16_t freq = Freq();
    int32_t rc = 0;
    ThreeTries(
        [&] {
            switch (m_bredr_payload) {
            case 0: return bt_txdata1(freq);
            case 1: return bt_txdata3(freq);
            default: return bt_txdata4(freq);
            }
        },
        rc);
    return Finish(*this, rc, "BT TxStart executed successfully\n");
}

int CBtDutLib::BtBREDRTxStop(char*) {
    NEED_DRIVER
    int32_t rc = 0;
    ThreeTries([] { return bt_stop_test(); }, rc);
    return Finish(*this, rc, "BT_TxStop executed successfully\n");
}

int CBtDutLib::BtBREDRTxHoppingStart(char*, int mask) {
    NEED_DRIVER
    if (mask < 1 || mask > 31) {
        BLOG("Incorrect Hopping sequence mask: %d\n", mask);
        return 4;
    }
    uint16_t words[5];
    for (int i = 0; i < 5; ++i) {
        words[i] = (mask & (1 << i)) != 0 ? 0xFFFF : 0;
    }
    BLOG("Tx start payload PRBS9 with channel hopping(%d)\n", mask);
    int32_t rc = 0;
    ThreeTries(
        [&] {
            bt_cfg_hopping_sequence(words[0], words[1], words[2], words[3], words[4]);
            return bt_txdata2();
        },
        rc);
    return Finish(*this, rc, "BT Tx Hopping Start executed successfully\n");
}

int CBtDutLib::BtBREDRTxCWStart(char*, int freq) {
    NEED_DRIVER
    if (freq < 2402 || freq > 2480) {
        BLOG("Incorrect Tx Freq: %d\n", freq);
        return 4;
    }
    BLOG("Tx CW Freq: %dMhz\n", freq);
    int32_t rc = 0;
    ThreeTries([freq] { return bt_txstart(static_cast<uint16_t>(freq), 1, 0); }, rc);
    return Finish(*this, rc, "BT TxStart executed successfully\n");
}

int CBtDutLib::BtBREDRRxStart(char*) {
    NEED_DRIVER
    const uint16_t freq = Freq();
    int32_t rc = 0;
    ThreeTries([freq] { return bt_ber1(freq); }, rc);
    if (rc == 0) {
        BLOG("Rx Channel: %d(%dMhz)\n", m_bredr_channel, freq);
    }
    return Finish(*this, rc, "BT_RxStart executed successfully\n");
}

int CBtDutLib::BtBREDRRxCWStart(char*) {
    NEED_DRIVER
    const uint16_t freq = Freq();
    int32_t rc = 0;
    ThreeTries([freq] { return bt_rxstart2(freq); }, rc);
    if (rc == 0) {
        BLOG("Rx CW Channel: %d(%dMhz)\n", m_bredr_channel, freq);
    }
    return Finish(*this, rc, "BT_RxStart executed successfully\n");
}

int CBtDutLib::BtBREDRRxStop(char*) {
    NEED_DRIVER
    int32_t rc = 0;
    ThreeTries([] { return bt_stop_test(); }, rc);
    return Finish(*this, rc, "BT_RxStop executed successfully\n");
}

// --- measured values --------------------------------------------------------

bool CBtDutLib::BerFromRows(const char* first, const char* second, int& total, int& errors) {
    const char* t = Behind(first, "sec:", 4);
    const char* e = Behind(second, "sec:", 4);
    if (t == nullptr || e == nullptr) {
        return false;
    }
    total = str2num(t);
    errors = str2num(e);
    return true;
}

int CBtDutLib::BtReadBER(char* result) {
    NEED_DRIVER
    m_ber = -1.0;
    char (*rows)[CBtDriver::kRowSize] = m_driver->Rows();
    if (m_driver->GetBIT_ERR(rows, 5) >= 1) {
        int total = 0;
        int errors = 0;
        if (!BerFromRows(rows[0], rows[1], total, errors)) {
            BLOG("Error : not found BER\n");
            return 2;
        }
        BLOG("total : %d, err : %d\n", total, errors);
        if (total != 0) {
            // The product in 32 bits, the quotient in double.
            m_ber = static_cast<double>(static_cast<int32_t>(100u * static_cast<uint32_t>(errors))) / total;
        }
    }
    BLOG("BER:%.3f\n", m_ber);
    if (result != nullptr) {
        std::sprintf(result, "%.3f", m_ber);
    }
    return 0;
}

bool CBtDutLib::RssiFromRow(const char* row, int& rssi) {
    const char* value = Behind(row, "RSSI_REPORT:", 13);
    if (value == nullptr) {
        return false;
    }
    rssi = str2num(value);
    if (rssi != 0) {
        rssi -= 100;
    }
    return true;
}

int CBtDutLib::BtReadCWRSSI(char* result) {
    NEED_DRIVER
    int rssi = 0;
    char (*rows)[CBtDriver::kRowSize] = m_driver->Rows();
    if (m_driver->GetRSSIReport(rows, 1) >= 1 && !RssiFromRow(rows[0], rssi)) {
        BLOG("Error : not found RSSI\n");
        return 2;
    }
    BLOG("RSSI : %d\n", rssi);
    if (result != nullptr) {
        std::sprintf(result, "%d", rssi);
    }
    return 0;
}

bool CBtDutLib::MacFromRows(const char* rows, char* mac, int& offset, const char** row) {
    for (int i = 0; i < CBtDriver::kRows && rows[i * CBtDriver::kRowSize] != '\0'; ++i) {
        const char* text = rows + i * CBtDriver::kRowSize;
        const int at = findString(text, "ba:0x");
        if (at < 0) {
            continue;
        }
        // Twelve digits, or what the row holds of them.
        std::memset(mac, 0, 13);
        std::strncpy(mac, text + at + 5, 12);
        offset = at + 5;
        *row = text;
        return true;
    }
    return false;
}

int CBtDutLib::BtGetMacAddress(char* result) {
    if (m_driver == nullptr || m_driver->GetBtCliResult() == nullptr) {
        return 2;
    }
    CStringList triggers;
    triggers.Push("command_complete");
    m_driver->RunBtCli("rba\nsleep 1000\nquit\n", &triggers);
    char mac[13];
    int offset = 0;
    const char* row = nullptr;
    if (!MacFromRows(m_driver->GetBtCliResult(), mac, offset, &row)) {
        return 2;
    }
    BLOG("%s\n", row);
    if (result != nullptr) {
        std::strcpy(result, mac);
    }
    BLOG("mac (offset %d) : %s\n", offset, mac);
    return 0;
}

// --- inquiry ----------------------------------------------------------------

void CBtDutLib::AnnounceInquiry() {
    m_inquiries_announced.fetch_add(1);
}

int CBtDutLib::Inquiry() {
    AutoLock lock(m_inquiry_lock);
    const bool locked = lock.lock(10);
    // An announced inquiry stops holding fetches back once it holds the lock
    // (or has given up on it).
    int announced = m_inquiries_announced.load();
    while (announced > 0 && !m_inquiries_announced.compare_exchange_weak(announced, announced - 1)) {
    }
    if (!locked) {
        BLOG("inquiry lock was not released properly");
        return 5;
    }
    NEED_DRIVER
    CStringList triggers;
    triggers.Push("extended_inquiry_result");
    m_driver->RunBtCli("set_event_mask 0x00005fffffffffff\nwim e\ni\nsleep 7000\nquit\n", &triggers);
    return 0;
}

int CBtDutLib::GetInquiryResult(CScanList& list) {
    // The announced inquiry takes the lock first; the wait for that comes
    // out of the same ten seconds.
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(10);
    while (m_inquiries_announced.load() > 0 && std::chrono::steady_clock::now() < deadline) {
        usleep(10000);
    }
    const auto left = std::chrono::duration_cast<std::chrono::seconds>(deadline - std::chrono::steady_clock::now());
    AutoLock lock(m_inquiry_lock);
    if (!lock.lock(static_cast<int>(left.count()))) {
        BLOG("inquiry operation was not finished properly");
        return 6;
    }
    if (m_driver == nullptr || m_driver->GetBtCliResult() == nullptr) {
        return 0;
    }
    ParseInquiryRows(m_driver->GetBtCliResult(), list);
    return 0;
}

void CBtDutLib::ParseInquiryRows(char* buffer, CScanList& list) {
    for (int row = 0; row < CBtDriver::kRows && buffer[row * CBtDriver::kRowSize] != '\0'; ++row) {
        char* text = buffer + row * CBtDriver::kRowSize;
        if (std::strncmp(text, "extended_inquiry_result", 23) != 0) {
            continue;
        }
        BLOG("%s\n", text);
        const int length = static_cast<int>(strnlen(text, CBtDriver::kRowSize));
        if (length <= 96) {
            continue;
        }
        // A tag that is missing skips the row: no read falls before it.
        const int address = findString(text, "ba:0x");
        if (address < 0) {
            continue;
        }
        char key[16] = {};
        std::strncpy(key, text + address, 12);
        const int rssiAt = findString(text + address, "rssi:0x00");
        const int irdAt = rssiAt < 0 ? -1 : findString(text + address + rssiAt, "ird:0x");
        if (rssiAt < 0 || irdAt < 0) {
            continue;
        }
        char* rssiText = text + address + rssiAt + 9;
        const int raw = hexstr2num(rssiText, 2);
        const int rssi = (raw & 0x80) != 0 ? -(raw & 0x7F) : raw;
        char* ird = text + address + rssiAt + irdAt;
        const int nameLength = hexstr2num(ird + 6, 2);
        const int n = (nameLength + 2) * 2;
        // The n characters from the "x" of "ird:0x", cut to what the row holds.
        const int available = length - static_cast<int>(ird + 5 - text);
        std::vector<char> name(static_cast<size_t>(n / 2 + 1), '\0');
        for (int k = 0; k < n / 2; ++k) {
            char pair[3] = {};
            if (2 * k < available) pair[0] = ird[5 + 2 * k];
            if (2 * k + 1 < available) pair[1] = ird[5 + 2 * k + 1];
            name[static_cast<size_t>(n / 2 - 1 - k)] = static_cast<char>(hexstr2num(pair, 2));
        }
        name[static_cast<size_t>(n / 2)] = '\0';
        BLOG("%s %d devname %s(%d)\n", key, rssi, name.data(), n);
        if (name[0] == '\0') {
            continue;
        }
        SCAN_INFO_NODE* node = list.FindNodebyMAC(key);
        if (node == nullptr) {
            node = CScanList::NewNode();
            std::strncpy(node->mac, key, sizeof node->mac - 1);
            std::strncpy(node->name, name.data(), sizeof node->name - 1);
            node->rssi_sum = rssi;
            node->rssi_count = 1;
            list.Push(node);
        } else {
            node->rssi_sum += rssi;
            node->rssi_count += 1;
        }
    }
}
