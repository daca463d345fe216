// The Bluetooth device under test as the command layer sees it: the test
// parameters with their ranges, open and close, each BR/EDR and LE test step as
// bt_/btle_ calls with three tries, and the measured values drawn from the
// btcli tool's rows and the firmware log (bit errors, LE packet count, RSSI,
// devices in range, the chip's address).
//
// Results: 0 success, 1 no driver, 2 the device call failed (after three
// tries), 4 a value out of range; the inquiry pair adds 5 and 6.
#pragma once

#include <atomic>
#include <cstdint>

#include "bt/BtDriver.h"
#include "factory/ScanList.h"

class CBtDutLib {
public:
    static const int kPacketTypes = 19;
    static const char bt_packet_name[kPacketTypes][5];
    static const int bt_packet_value[kPacketTypes];
    static const int bt_packet_size[kPacketTypes];

    // Opens the driver (the FIFO); does not own it.
    explicit CBtDutLib(CBtDriver* driver);
    ~CBtDutLib();
    CBtDutLib(const CBtDutLib&) = delete;
    CBtDutLib& operator=(const CBtDutLib&) = delete;

    int OpenDUT(char* result);
    int CloseDUT(char* result);
    int IsDUTOpen() const { return m_dut_is_open; }
    CBtDriver* GetDriver() const { return m_driver; }
    const char* GetErrorString() const;

    // Runs the inquiry script (about seven and a half seconds) under the
    // inquiry lock; GetInquiryResult waits for it up to ten seconds.
    int Inquiry();
    int GetInquiryResult(CScanList& list);
    // Tells that an Inquiry is on its way on another thread, before its
    // caller is answered: a fetch that comes before that inquiry has taken
    // its lock waits for it (within its ten seconds) instead of reading
    // the rows before the inquiry has run.
    void AnnounceInquiry();

    int BleSetChannel(char* result, int channel);
    int BleSetPayloadType(char* result, int type);
    int BleSetPayloadLength(char* result, int length);
    int BleSetPhy(char* result, int phy);
    int BleTxStart(char* result);
    int BleTxStop(char* result);
    int BleRxStart(char* result);
    int BleRxStop(char* result);
    int BleReadPktCnt(char* result);

    int BtEnableDutMode(char* result, void* arg);
    int BtDisableDutMode(char* result, void* arg);
    int BtBREDRSetCh(char* result, int channel);
    int BtBREDRSetPacketType(char* result, int type);
    int BtBREDRSetPayloadType(char* result, int type);
    int BtBREDRSetTxgain(char* result, int gain);
    int BtBREDRSetBDAddress(char* result, const char* uap, const char* lap);
    int BtBREDRTxStart(char* result);
    int BtBREDRTxStop(char* result);
    int BtBREDRTxHoppingStart(char* result, int mask);
    int BtBREDRTxCWStart(char* result, int freq);
    int BtBREDRRxStart(char* result);
    int BtBREDRRxCWStart(char* result);
    int BtBREDRRxStop(char* result);
    int BtReadBER(char* result);
    int BtReadCWRSSI(char* result);
    int BtGetMacAddress(char* result);

    int m_dut_is_open = 0;
    int m_ble_payload_type = 0;
    int m_ble_payload_length = 32;
    int m_ble_phy = 0;
    int m_ble_channel = 0;
    int m_ble_pkt_cnt = 0;
    int m_enable_dut_mode = 0;
    int m_bredr_channel = 0;
    int m_bredr_payload = 0;
    int m_tx_gain = 20;
    int m_packet_type = 0;
    int m_is_ble = 0;
    int m_is_tx = 0;
    int m_last_cmd = 0;
    CBtDriver* m_driver;
    double m_ber = 0.0;
    bool m_inquiry_lock = false;
    std::atomic<int> m_inquiries_announced{0};

    // The parsers of tool and log rows, each bounded by its row.
    // "sec:" in the first two rows of a bit-error block: the total and the errors.
    static bool BerFromRows(const char* first, const char* second, int& total, int& errors);
    // "RSSI_REPORT:" and the level 13 characters on; 0 stays 0, else 100 less.
    static bool RssiFromRow(const char* row, int& rssi);
    static bool PktCountFromRow(const char* row, int& count);
    // The first row (of up to 256, to the first empty one) with "ba:0x": the
    // twelve characters behind it, NUL-terminated, and their offset in the row.
    // The inquiry rows (to the first empty one) into the list; a device seen
    // again adds its RSSI to the sum.
    static void ParseInquiryRows(char* rows, CScanList& list);
    static bool MacFromRows(const char* rows, char* mac, int& offset, const char** row);

private:
    uint16_t Freq() const { return static_cast<uint16_t>(m_bredr_channel + 2402); }
    // Reads the LE packet count from the log into m_ble_pkt_cnt.
    void ReadPktCountFromLog(bool logRow);
};
