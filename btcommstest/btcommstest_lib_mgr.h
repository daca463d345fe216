// The Bluetooth test client: CConnection, the one object that talks to the
// Bluetooth controller for the bt_ and btle_ functions, and the last-error
// text of this client.
//
// A vendor command is built by the command factory, queued on the device
// controller, and the caller waits up to 1000 ms for the reply, which onPDU
// judges (request type 1, the sequence number and varid sent, status 0). HCI
// commands go without waiting.
//
// Two things differ from the link's first design, which lost replies and could
// hang: the reply signal is unset before the command goes, so a reply that comes
// back at once is never taken for a time-out; and a link failure (sync lost, the
// device gone), reported on the serial daemon's thread, only marks the
// connection failed there: the controller is torn down by the next call, on the
// caller's thread, after which the connection reads as closed.
#pragma once

#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <mutex>
#include <string>
#include <vector>

#include "enginefw/signal_box.h"
#include "link/devicecontroller.h"

using commstest_error = int32_t;

namespace btcommstest {

// Results of this client.
enum : commstest_error {
    kOk = 0,
    kTransportFailed = 1,
    kTimeout = 3,
    kNotConnected = 4,
    kBadReply = 100,
    kVendorNotBuilt = 101,
    kHciRefused = 102,
    kHciNotBuilt = 103,
};

extern const char* const MSG_GENERAL_NOT_CONNECTED;
extern const char* const MSG_CONNECT_ALREADY_CONNECTED;
// The last error text, nul-terminated, at most 1024 characters.
extern std::vector<char> gCtLastErrorBuffer;

// "<from>: <text>", cut to 1024 characters, into the last-error buffer.
void ct_set_error(const std::string& from, const std::string& text);
// " 0x" and the value in lower-case hex, zero-filled to width digits.
std::string formatHex(int width, unsigned int value);

class CConnection : public TesselDeviceController_newStyle::CallBackProvider {
public:
    static constexpr const char* kDevice = "/dev/tavo_h4_0";
    static const unsigned long kBaudRate = 3000000;
    static const unsigned kReplyWaitMs = 1000;
    static const uint16_t kRadioTestVarid = 0x5004;
    static const uint16_t kLeRadioTestVarid = 0x508A;

    CConnection();
    virtual ~CConnection();
    CConnection(const CConnection&) = delete;
    CConnection& operator=(const CConnection&) = delete;

    void onPDU(const PDU& pdu) override;
    void onTransportFailure(FailureMode mode) override;

    commstest_error connect();
    commstest_error disconnect();
    bool IsConnected();
    // How many PDUs have reached onPDU, for a caller that must know a late reply
    // has been taken before it sends again.
    unsigned long RepliesSeen() const { return mRepliesSeen; }
    void get_version_info(uint16_t* major, uint16_t* minor, uint16_t* release, uint16_t* build);
    const char* get_last_error();

    commstest_error end_test();
    commstest_error tx_start(uint16_t frequency, uint16_t mode, uint16_t txPattern);
    commstest_error rx_start2(uint16_t frequency);
    commstest_error tx_data1(uint16_t frequency);
    commstest_error tx_data2();
    commstest_error tx_data3(uint16_t frequency);
    commstest_error tx_data4(uint16_t frequency);
    commstest_error ber1(uint16_t frequency);
    commstest_error cfg_freq(uint16_t txrxFrequency, uint16_t lbOffs, uint16_t reportFrequency);
    commstest_error set_packet_params(uint16_t packetType, uint16_t packetSize);
    commstest_error cfg_uap_lap(uint16_t uap, uint32_t lap);
    commstest_error cfg_hopping_sequence(uint16_t c0, uint16_t c1, uint16_t c2, uint16_t c3, uint16_t c4);
    commstest_error set_tx_power(int16_t power);
    commstest_error le_end_test();
    commstest_error le_receiver_test(uint8_t channel);
    commstest_error le_transmitter_test(uint8_t channel, uint8_t length, uint8_t payload);
    commstest_error le_end_test_count();
    commstest_error le_enhanced_receiver_test(uint8_t channel, uint8_t phy, uint8_t modulationIndex);
    commstest_error le_enhanced_transmitter_test(uint8_t channel, uint8_t length, uint8_t payload, uint8_t phy);
    commstest_error enable_dut_mode();

    commstest_error sendHCI(const std::string& from, uint32_t opCode, uint32_t length, uint32_t p0 = 0,
                            uint32_t p1 = 0, uint32_t p2 = 0, uint32_t p3 = 0, uint32_t p4 = 0);
    commstest_error sendTSCMD(const std::string& from, uint32_t varid, uint32_t cmd, uint32_t p0 = 0, uint32_t p1 = 0,
                              uint32_t p2 = 0, uint32_t p3 = 0, uint32_t p4 = 0);
    commstest_error sendRadioTest(const std::string& from, uint32_t cmd, uint32_t p0 = 0, uint32_t p1 = 0,
                                  uint32_t p2 = 0, uint32_t p3 = 0, uint32_t p4 = 0);
    commstest_error sendLeRadioTest(const std::string& from, uint32_t cmd, uint32_t p0 = 0, uint32_t p1 = 0,
                                    uint32_t p2 = 0, uint32_t p3 = 0, uint32_t p4 = 0);

private:
    // Tears down a controller whose link failed, on the caller's thread.
    void ReapFailedLink();

    TesselDeviceController_newStyle* mController = nullptr;
    // The reply fields: written by onPDU on the controller's worker, read by the
    // caller after the wait.
    std::mutex mReplyMutex;
    uint32_t mSequence = 0;
    uint32_t mExpectedVarid = 0;
    bool mPrintReply = false;
    SignalBox mReplyBox;
    SignalBox::Item mReplyItem;
    bool mReplyGood = true;
    std::string mReplyText;
    std::atomic<bool> mLinkFailed{false};
    std::atomic<unsigned long> mRepliesSeen{0};
    // HCI commands sent without waiting whose Command Complete or Command
    // Status has not come back. Every PDU that reaches onPDU counts as the
    // reply of the vendor command in flight, so a vendor command waits for
    // these first (up to its own reply time): a station that sends the next
    // command at once must not have an HCI event taken for its reply.
    std::mutex mHciMutex;
    std::condition_variable mHciAnswered;
    unsigned mHciOutstanding = 0;
    void AwaitHciEvents();
};

// The one connection, made when the library is loaded and never destroyed.
CConnection& gConnection();

}  // namespace btcommstest
