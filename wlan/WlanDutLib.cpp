// Lifecycle, parameters and information of the WLAN DUT.
#include "wlan/WlanDutLib.h"

#include <unistd.h>

#include <cstdio>

#include "wlan/WlanDriver.h"
#include "wlan/wlandut_log.h"
#include "wlan_interface.h"

namespace {

// Getter texts fit "-2147483648\n" and the terminator.
constexpr size_t kValueTextSize = 16;

int WriteValue(char* text, const char* label, int value) {
    DLOG(label, value);
    if (text != nullptr) std::snprintf(text, kValueTextSize, "%d\n", value);
    return 0;
}

}  // namespace

CWlanDutLib::CWlanDutLib(CWlanDriver* driver)
    : m_data_rate(1),
      m_channel(1),
      m_long_preamble(0),
      m_sgi(0),
      m_11ax_gi(0),
      m_tx_gain(25),
      m_burst_interval(100),
      m_payload_size(1024),
      m_band(1),
      m_resource_unit(-1),
      m_channel_encoding(0),
      m_cw_tone(0),
      m_bandwidth(1),
      m_vht_enabled(0),
      m_he_enabled(0),
      m_good_frames(0),
      m_error_frames(0),
      m_dut_is_open(0),
      m_ant(1),
      m_packet_count(0),
      m_rssi_avg(0),
      m_driver(driver) {}

CWlanDutLib::~CWlanDutLib() {
    CloseDUT();
}

int CWlanDutLib::wifi_interface_up() {
    int rc = 0;
    if (m_driver != nullptr) {
        rc = m_driver->EnableInterface();
        if (rc == 0) {
            m_dut_is_open = 1;
            return 0;
        }
    }
    DLOG("wifi_interface_up : failed (%d)", rc);
    return rc;
}

int CWlanDutLib::wifi_interface_down() {
    int rc = 0;
    if (m_driver != nullptr) {
        rc = m_driver->DisableInterface();
        if (rc == 0) {
            m_dut_is_open = 0;
            return 0;
        }
    }
    DLOG("wifi_interface_down : failed (%d)", rc);
    return rc;
}

int CWlanDutLib::OpenDUT() {
    if (m_dut_is_open != 0) {
        DLOG("DUT is already opened.\n");
        return kOk;
    }
    // Only a chip on its normal firmware is switched; a mode that cannot be
    // read leaves the firmware and the interface alone.
    if (m_driver != nullptr && m_driver->CheckCurrentFwMode() == 1) {
        if (m_driver->SetMode(0) != 0) {
            DLOG("DUT SetMode Error.\n");
            return kOpenCloseFailed;
        }
        if (wifi_interface_up() != 0) return kOpenCloseFailed;
    }
    int rc = wlan_open_device();
    if (rc != 0) {
        DLOG("ctConnect() error - %d, try again\n", rc);
        // 4: a connection made outside this object is still there. Close it
        // and try once more.
        if (rc == 4) {
            const int closed = wlan_close_device();
            if (closed == 0) {
                rc = wlan_open_device();
            } else if (closed == 1) {
                sleep(1);
                rc = wlan_open_device();
            }
        }
    }
    DLOG("ctConnect() - %d\n", rc);
    m_dut_is_open = rc == 0 ? 1 : 0;
    return rc == 0 ? kOk : kOpenCloseFailed;
}

int CWlanDutLib::CloseDUT() {
    if (m_dut_is_open == 0) return kOk;
    DLOG("wlan_close_device - %d\n", wlan_close_device());
    if (m_driver == nullptr || m_driver->SetMode(1) != 0) {
        DLOG("DUT SetMode Error.\n");
        return kOpenCloseFailed;
    }
    return wifi_interface_down() == 0 ? kOk : kOpenCloseFailed;
}

int CWlanDutLib::TestStart() {
    return kOk;
}

int CWlanDutLib::TestStop() {
    DLOG("%s : %d", "m_dut_is_open", m_dut_is_open);
    return kOk;
}

int CWlanDutLib::SetAntenna(int value) {
    if (value < 0 || value > 2) {
        DLOG("antenna param (0 ~ 2) : %d\n", value);
        return kInvalid;
    }
    m_ant = value;
    return kOk;
}

int CWlanDutLib::SetChannel(int value) {
    if ((value >= 1 && value <= 14) || (value >= 36 && value <= 165)) {
        DLOG("Setting Channel as ch(%d)\n", value);
        m_channel = value;
        return kOk;
    }
    DLOG("ERROR: Check Channel (1 ~ 14, 36 ~ 165)\n");
    return kInvalid;
}

int CWlanDutLib::SetDataRate(int value) {
    if ((value >= 1 && value <= 30) || value == 47) {
        m_data_rate = value;
        return kOk;
    }
    DLOG("invalid Data Rate : %d\n", value);
    return kInvalid;
}

int CWlanDutLib::SetLongPreamble(int value) {
    // Each argument is a preamble and guard-interval combination.
    switch (value) {
        case 1: m_long_preamble = 0; m_sgi = 0; break;
        case 2: m_long_preamble = 1; m_sgi = 0; break;
        case 3: m_long_preamble = 1; m_sgi = 1; break;
        case 4: m_long_preamble = 1; m_sgi = 0; break;
        case 5: m_long_preamble = 0; m_sgi = 0; m_11ax_gi = 0; break;
        case 6: m_long_preamble = 0; m_sgi = 0; m_11ax_gi = 1; break;
        case 7: m_long_preamble = 0; m_sgi = 0; m_11ax_gi = 2; break;
        default: return kInvalid;
    }
    return kOk;
}

int CWlanDutLib::SetShortGuardInterval(int value) {
    m_sgi = value;
    return kOk;
}

int CWlanDutLib::SetTxGain(int value) {
    if (value >= 0) m_tx_gain = value;
    DLOG("currnet power setting : %d dBm\n", m_tx_gain);
    return kOk;
}

int CWlanDutLib::SetBurstInterval(int value) {
    m_burst_interval = value;
    return kOk;
}

int CWlanDutLib::SetPayloadSize(int value) {
    m_payload_size = value;
    return kOk;
}

int CWlanDutLib::SetBand(int value) {
    m_band = value;
    return kOk;
}

int CWlanDutLib::SetBandWidth(int value) {
    // The width and the rate family at once: 80 MHz has no non-VHT form.
    static const struct {
        int bandwidth, vht, he;
    } kCombinations[8] = {{1, 0, 0}, {2, 0, 0}, {3, 1, 0}, {1, 1, 0}, {2, 1, 0}, {1, 0, 1}, {2, 0, 1}, {3, 0, 1}};
    if (value < 1 || value > 8) {
        DLOG("invalid bandwidth : %d\n", value);
        return kInvalid;
    }
    m_bandwidth = kCombinations[value - 1].bandwidth;
    m_vht_enabled = kCombinations[value - 1].vht;
    m_he_enabled = kCombinations[value - 1].he;
    DLOG("%s - bw=%d, vht_enabled=%d, he_enabled=%d\n", "SetBandWidth", m_bandwidth, m_vht_enabled, m_he_enabled);
    return kOk;
}

int CWlanDutLib::SetPacketCount(int value) {
    m_packet_count = value;
    DLOG("%s - %d\n", "SetPacketCount", value);
    return kOk;
}

int CWlanDutLib::SetResourceUnit(int value) {
    m_resource_unit = value;
    DLOG("%s - %d\n", "SetResourceUnit", value);
    return kOk;
}

int CWlanDutLib::SetCWTone(int value) {
    m_cw_tone = value;
    DLOG("%s - %d\n", "SetCWTone", value);
    return kOk;
}

int CWlanDutLib::SetChEncoding(int value) {
    m_channel_encoding = value;
    DLOG("%s - %d\n", "SetChEncoding", value);
    return kOk;
}

int CWlanDutLib::GetChannel(char* text) { return WriteValue(text, "Channel : %d\n", m_channel); }
int CWlanDutLib::GetDataRate(char* text) { return WriteValue(text, "DataRate : %d\n", m_data_rate); }
int CWlanDutLib::GetLongPreamble(char* text) { return WriteValue(text, "Preamble : %d\n", m_long_preamble); }
int CWlanDutLib::GetShortGuardInterval(char* text) { return WriteValue(text, "ShortGI : %d\n", m_sgi); }
int CWlanDutLib::GetTxGain(char* text) { return WriteValue(text, "TxGain : %d\n", m_tx_gain); }
int CWlanDutLib::GetPayloadSize(char* text) { return WriteValue(text, "Payload length : %d\n", m_payload_size); }
int CWlanDutLib::GetBurstInterval(char* text) { return WriteValue(text, "Burst Interval : %d\n", m_burst_interval); }
int CWlanDutLib::GetBand(char* text) { return WriteValue(text, "Band : %d\n", m_band); }
int CWlanDutLib::GetBandWidth(char* text) { return WriteValue(text, "Bandwidth : %d\n", m_bandwidth); }

const char* CWlanDutLib::GetErrorString() {
    return wlan_get_last_error();
}

uint16_t CWlanDutLib::GetChipVersion() {
    uint16_t id = 0;
    wlan_get_chip_id(&id);
    DLOG("%s = %#04x\n", "GetChipVersion", id);
    return id;
}

const char* CWlanDutLib::GetFwBuildId() {
    static char buildId[256];
    DLOG("%s \n", "GetFwBuildId");
    wlan_get_fw_build_id(buildId, sizeof buildId);
    return buildId;
}

const char* CWlanDutLib::GetVersionInfo() {
    static char version[32];
    DLOG("%s \n", "GetVersionInfo");
    uint16_t major = 0, minor = 0, release = 0, build = 0;
    wlan_get_version_info(&major, &minor, &release, &build);
    std::snprintf(version, sizeof version, "%d.%d\n", major, minor);
    return version;
}
