// The WLAN device under test: every test parameter the AT commands set, the
// switch into and out of test mode, the rate, frequency and frame-interval
// computations, and the transmit, tone, receive, self-test and temperature
// operations on the radio-test firmware.
#pragma once

#include <cstdint>

class CWlanDriver;

class CWlanDutLib {
public:
    // Return codes.
    static constexpr int kOk = 0;
    static constexpr int kOpenCloseFailed = 1;
    static constexpr int kWlanCallFailed = 2;
    static constexpr int kInvalid = 3;

    explicit CWlanDutLib(CWlanDriver* driver);
    ~CWlanDutLib();
    CWlanDutLib(const CWlanDutLib&) = delete;
    CWlanDutLib& operator=(const CWlanDutLib&) = delete;

    // Lifecycle.
    int OpenDUT();
    int CloseDUT();
    int TestStart();
    int TestStop();
    int wifi_interface_up();
    int wifi_interface_down();
    bool IsDUTOpen() const { return m_dut_is_open != 0; }
    CWlanDriver* GetDriver() const { return m_driver; }

    // Setters: 0, or 3 for a value outside the accepted range.
    int SetAntenna(int value);
    int SetChannel(int value);
    int SetDataRate(int value);
    int SetLongPreamble(int value);
    int SetShortGuardInterval(int value);
    int SetTxGain(int value);
    int SetBurstInterval(int value);
    int SetPayloadSize(int value);
    int SetBand(int value);
    int SetBandWidth(int value);
    int SetPacketCount(int value);
    int SetResourceUnit(int value);
    int SetCWTone(int value);
    int SetChEncoding(int value);

    // Getters write "%d\n" into `text`, which needs 16 bytes. All return 0.
    int GetChannel(char* text);
    int GetDataRate(char* text);
    int GetLongPreamble(char* text);
    int GetShortGuardInterval(char* text);
    int GetTxGain(char* text);
    int GetPayloadSize(char* text);
    int GetBurstInterval(char* text);
    int GetBand(char* text);
    int GetBandWidth(char* text);

    // Information.
    const char* GetErrorString();
    uint16_t GetChipVersion();
    const char* GetFwBuildId();
    const char* GetVersionInfo();

    // Rate code, corrected channel and frame interval.
    uint16_t GetDataRate(int rate, int sgi, int vht, int gi, int he, int bandwidth, int ant);
    uint16_t GetChannelCorrected(int channel, int bandwidth);
    int CalculateInterval(int bandwidth, int at_data_rate, int wlan_data_rate, int long_preamble, int sgi, int he,
                          int gi, int resource_unit, int burst_interval, int payload_size, int ant);

    // Radio tests.
    int TxStartWithMod();
    int TxStop();
    int TxStartWoMod(int channel);
    int TxStopWoMod();
    int RxStart();
    int RxStartWithFlag(int flag);
    int RxCWStartFromFreq(int freq);
    int RxStop();
    int ReadRx();
    int rx_read_(unsigned int* total, unsigned int* good, short* rssi);
    int GetGoodFrame(int* value);
    int GetErrorFrame(int* value);
    int GetRSSI(int* value);
    int GetBIST(int rxGain, int* abs, int* phase);
    int GetPacketCount(char* text);
    int GetChipTemperature(int* value);

    // Read access for tests and diagnostics.
    int GetResourceUnit() const { return m_resource_unit; }
    int GetChannelEncoding() const { return m_channel_encoding; }
    int GetAntenna() const { return m_ant; }
    int GetSgi() const { return m_sgi; }
    int Get11axGi() const { return m_11ax_gi; }
    int GetVhtEnabled() const { return m_vht_enabled; }
    int GetHeEnabled() const { return m_he_enabled; }
    int GetPacketCountSetting() const { return m_packet_count; }
    int GetCWTone() const { return m_cw_tone; }

private:
    int SelectRadio();
    uint16_t Frequency(bool transmit) const;
    // Frequency, cleared counts and their log lines: how every receive starts.
    uint16_t BeginReceive();

    int32_t m_data_rate;
    int32_t m_channel;
    int32_t m_long_preamble;
    int32_t m_sgi;
    int32_t m_11ax_gi;
    int32_t m_tx_gain;
    int32_t m_burst_interval;
    int32_t m_payload_size;
    int32_t m_band;
    int32_t m_resource_unit;
    int32_t m_channel_encoding;
    int32_t m_cw_tone;
    int32_t m_bandwidth;
    int32_t m_vht_enabled;
    int32_t m_he_enabled;
    int32_t m_good_frames;
    int32_t m_error_frames;
    int32_t m_dut_is_open;
    int32_t m_ant;
    int32_t m_packet_count;
    int32_t m_rssi_avg;
    CWlanDriver* m_driver;
};
