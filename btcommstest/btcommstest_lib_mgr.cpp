#include "btcommstest/btcommstest_lib_mgr.h"

#include <android/log.h>

#include <chrono>
#include <cstdio>
#include <memory>
#include <sstream>

#include "commstest/ct_trace.h"
#include "pdu/hci_factory.h"

#define MGR_FILE "btcommstest_lib_mgr"
#define T(...) CT_TRACE_GROUP(kGroupCommstest, MGR_FILE, 3, __VA_ARGS__)

namespace btcommstest {

namespace {

constexpr const char* kLogTag = "BTCOMMSTEST_LIB_MGR";
constexpr size_t kLastErrorMax = 1024;

}  // namespace

const char* const MSG_GENERAL_NOT_CONNECTED = "Must call bt_open_device first";
const char* const MSG_CONNECT_ALREADY_CONNECTED = "Already connected";
std::vector<char> gCtLastErrorBuffer(kLastErrorMax + 1, '\0');

void ct_set_error(const std::string& from, const std::string& text) {
    std::string line = from + ": " + text;
    if (line.size() > kLastErrorMax) {
        line.resize(kLastErrorMax);
    }
    // Within the capacity made at load time: the buffer never moves.
    gCtLastErrorBuffer.assign(line.begin(), line.end());
    gCtLastErrorBuffer.push_back('\0');
}

std::string formatHex(int width, unsigned int value) {
    char text[16];
    std::snprintf(text, sizeof text, " 0x%0*x", width, value);
    return text;
}

CConnection& gConnection() {
    // Made on first use and never destroyed: a worker may still be using it
    // while the process exits.
    static CConnection* const connection = new CConnection;
    return *connection;
}

CConnection::CConnection() : mReplyItem(&mReplyBox) {
    mReplyBox.AddItem(&mReplyItem);
    mReplyBox.setItem(mReplyItem);
}

CConnection::~CConnection() {
    delete mController;
    mReplyBox.RemoveItem(&mReplyItem);
}

void CConnection::ReapFailedLink() {
    if (mLinkFailed.exchange(false) && mController != nullptr) {
        T("The link failed: close the device");
        delete mController;
        mController = nullptr;
    }
}

bool CConnection::IsConnected() {
    ReapFailedLink();
    return mController != nullptr;
}

void CConnection::get_version_info(uint16_t* major, uint16_t* minor, uint16_t* release, uint16_t* build) {
    if (major != nullptr) *major = 1;
    if (minor != nullptr) *minor = 4;
    if (release != nullptr) *release = 0;
    if (build != nullptr) *build = 17;
}

const char* CConnection::get_last_error() { return gCtLastErrorBuffer.data(); }

commstest_error CConnection::connect() {
    ReapFailedLink();
    if (mController != nullptr) {
        __android_log_print(ANDROID_LOG_ERROR, kLogTag, "%s Device %s already connected", "H4", kDevice);
        ct_set_error("bt_open_device", MSG_CONNECT_ALREADY_CONNECTED);
        return kNotConnected;
    }
    T("Open (%s, %s, %d)\n", "H4", kDevice, static_cast<int>(kBaudRate));
    mLinkFailed = false;
    {
        std::lock_guard<std::mutex> hold(mHciMutex);
        mHciOutstanding = 0;
    }
    mController = new TesselDeviceController_newStyle(H4Configuration(kDevice, kBaudRate, true), *this);
    T("Start transport");
    if (!mController->startTransport()) {
        delete mController;
        mController = nullptr;
        __android_log_print(ANDROID_LOG_ERROR, kLogTag, "Failed to start transport");
        ct_set_error("bt_open_device", "Failed to start transport");
        return kTransportFailed;
    }
    T("Start worker");
    mController->createWorker();
    T("Connected to device endpoint");
    return kOk;
}

commstest_error CConnection::disconnect() {
    ReapFailedLink();
    if (mController == nullptr) {
        ct_set_error("bt_close_device", MSG_GENERAL_NOT_CONNECTED);
        return kNotConnected;
    }
    T("Close device");
    delete mController;
    mController = nullptr;
    return kOk;
}

void CConnection::onTransportFailure(FailureMode mode) {
    T("%s(), syndrome=%d", "onTransportFailure", static_cast<int>(mode));
    // On the serial daemon's thread: tearing the controller down here would
    // wait for this very thread. The next call does it.
    mLinkFailed = true;
}

commstest_error CConnection::sendHCI(const std::string& from, uint32_t opCode, uint32_t length, uint32_t p0,
                                     uint32_t p1, uint32_t p2, uint32_t p3, uint32_t p4) {
    T("%s (from %s)", "sendHCI", from.c_str());
    T("... opCode: 0x%04x (%d)", opCode, opCode);
    T("... length: %d", length);
    const uint32_t p[5] = {p0, p1, p2, p3, p4};
    for (int i = 0; i < 5; ++i) {
        T("... p%d: 0x%04x (%d)", i, p[i], p[i]);
    }
    ReapFailedLink();
    commstest_error result = kOk;
    if (mController == nullptr) {
        ct_set_error(from, MSG_GENERAL_NOT_CONNECTED);
        result = kNotConnected;
    } else {
        const uint32_t count = length < 5 ? length : 5;
        unsigned long words[7] = {count + 2, opCode, 0, 0, 0, 0, 0};
        for (uint32_t i = 0; i < count; ++i) {
            words[2 + i] = p[i];
        }
        std::unique_ptr<HCIPDU> built(HCIPDUFactory::createCommandPDU(words));
        if (!built) {
            std::string text = "PDU rejected by HCI packer: ";
            for (unsigned long i = 0; i < words[0]; ++i) {
                text += formatHex(4, static_cast<unsigned>(words[i]));
            }
            text += " [length " + std::to_string(words[0]) + "]";
            ct_set_error(from, text);
            result = kHciNotBuilt;
        } else {
            const HCICommandPDU pdu(*built);
            built.reset();
            // Counted before it goes: its event may come back at once.
            {
                std::lock_guard<std::mutex> hold(mHciMutex);
                ++mHciOutstanding;
            }
            if (!mController->send(pdu, true)) {
                ct_set_error(from, "PDU rejected by DeviceController");
                result = kHciRefused;
                std::lock_guard<std::mutex> hold(mHciMutex);
                if (mHciOutstanding > 0) --mHciOutstanding;
            }
        }
    }
    T("%s() -> %d", "sendHCI", result);
    return result;
}

commstest_error CConnection::sendTSCMD(const std::string& from, uint32_t varid, uint32_t cmd, uint32_t p0,
                                       uint32_t p1, uint32_t p2, uint32_t p3, uint32_t p4) {
    T("%s (from %s)", "sendTSCMD", from.c_str());
    T("... tscmd: 0x%04x (%d)", varid, varid);
    T("... cmd: 0x%04x (%d)", cmd, cmd);
    const uint32_t p[5] = {p0, p1, p2, p3, p4};
    for (int i = 0; i < 5; ++i) {
        T("... p%d: 0x%04x (%d)", i, p[i], p[i]);
    }
    uint32_t sequence;
    {
        std::lock_guard<std::mutex> hold(mReplyMutex);
        mExpectedVarid = varid;
    }
    ReapFailedLink();
    if (mController == nullptr) {
        ct_set_error(from, MSG_GENERAL_NOT_CONNECTED);
        std::lock_guard<std::mutex> hold(mReplyMutex);
        mPrintReply = false;
        return kNotConnected;
    }
    {
        std::lock_guard<std::mutex> hold(mReplyMutex);
        sequence = ++mSequence;
    }
    const unsigned long words[10] = {10, 2, sequence & 0xFFFF, varid, cmd, p0, p1, p2, p3, p4};
    const TSCMD_PDU pdu = HCIPDUFactory::createTSCMD_PDU(words);
    T("Verify that the PDU was created successfully.");
    if (pdu.channel() == PDU::no_channel) {
        T("Report the problem and dump the input.");
        std::string text = "Failed to create PDU from: ";
        for (unsigned long word : words) {
            text += formatHex(4, static_cast<unsigned>(word));
        }
        text += " [length " + std::to_string(words[0]) + "]";
        ct_set_error(from, text);
        return kVendorNotBuilt;
    }
    AwaitHciEvents();
    // Unset before the command goes, so that a reply that comes back at once
    // is not lost.
    mReplyBox.unsetItem(mReplyItem);
    T("Send tscmd");
    if (!mController->send(pdu, true)) {
        ct_set_error(from, "PDU rejected by DeviceController");
        return kBadReply;
    }
    T("Command was sent, wait here for the reply. Unset signal");
    T("Waiting for signals");
    if (!mReplyBox.wait(kReplyWaitMs)) {
        T("We had a timeout");
        ct_set_error(from, "Timeout");
        return kTimeout;
    }
    T("Command status has been set in onPDU()");
    std::lock_guard<std::mutex> hold(mReplyMutex);
    if (!mReplyGood) {
        ct_set_error(from, mReplyText);
        return kBadReply;
    }
    return kOk;
}

commstest_error CConnection::sendRadioTest(const std::string& from, uint32_t cmd, uint32_t p0, uint32_t p1,
                                           uint32_t p2, uint32_t p3, uint32_t p4) {
    return sendTSCMD(from, kRadioTestVarid, cmd, p0, p1, p2, p3, p4);
}

commstest_error CConnection::sendLeRadioTest(const std::string& from, uint32_t cmd, uint32_t p0, uint32_t p1,
                                             uint32_t p2, uint32_t p3, uint32_t p4) {
    return sendTSCMD(from, kLeRadioTestVarid, cmd, p0, p1, p2, p3, p4);
}

void CConnection::AwaitHciEvents() {
    std::unique_lock<std::mutex> hold(mHciMutex);
    const std::chrono::milliseconds limit(static_cast<long>(kReplyWaitMs));
    if (!mHciAnswered.wait_for(hold, limit, [this] { return mHciOutstanding == 0; })) {
        // A chip that does not answer them will not answer later either.
        T("%u HCI events never came; going on", mHciOutstanding);
        mHciOutstanding = 0;
    }
}

void CConnection::onPDU(const PDU& pdu) {
    const unsigned long size = pdu.size();
    T("%s(), length=%d", "onPDU", static_cast<int>(size));

    {
        std::lock_guard<std::mutex> hold(mReplyMutex);
        mReplyGood = true;
        if (size >= 7) {
            std::ostringstream stream;
            const unsigned long words = size / 2;
            auto word = [&pdu](unsigned long i) { return static_cast<unsigned>(pdu.get_uint16(2 * i)); };
            if (pdu.channel() != PDU::tscmd_channel) {
                stream << "Unexpected channel -" << " expected" << formatHex(2, 2) << " actual"
                       << formatHex(2, pdu.channel());
                mReplyGood = false;
            }
            if (word(0) != 1) {
                stream << "Unexpected type -" << " expected" << formatHex(4, 1) << " actual" << formatHex(4, word(0));
                mReplyGood = false;
            }
            // The whole stored number against the 16 bits on the wire.
            if (mSequence != word(2)) {
                stream << "Unexpected sequence -" << " expected" << formatHex(4, mSequence) << " actual"
                       << formatHex(4, word(2));
                mReplyGood = false;
            }
            if (word(3) != mExpectedVarid) {
                stream << "Unexpected varid -" << " expected" << formatHex(4, mExpectedVarid) << " actual"
                       << formatHex(4, word(3));
                mReplyGood = false;
            }
            if (word(4) != 0) {
                stream << "Status=" << formatHex(4, word(4)) << " (";
                for (unsigned long i = 5; i < words; ++i) stream << formatHex(4, word(i));
                stream << " )";
                mReplyGood = false;
            }
            if (!mReplyGood) {
                mReplyText = "Error in TSCMD reply: " + stream.str();
            } else if (mPrintReply) {
                for (unsigned long i = 5; i < words; ++i) stream << formatHex(4, word(i));
                std::puts(stream.str().c_str());
                std::fflush(stdout);
            }
        }
        mPrintReply = false;
    }
    T("Had reply. Now call set()");
    ++mRepliesSeen;
    mReplyBox.setItem(mReplyItem);
    // Only now, with the item set, may a vendor command that waits for this
    // event go on: it unsets the item before it sends.
    if (pdu.channel() == PDU::hci_channel && size >= 1 && (pdu.get_uint8(0) == 0x0E || pdu.get_uint8(0) == 0x0F)) {
        std::lock_guard<std::mutex> hold(mHciMutex);
        if (mHciOutstanding > 0) --mHciOutstanding;
        mHciAnswered.notify_all();
    }
}

// ---------------------------------------------------------------------------
// The test calls

commstest_error CConnection::end_test() { return sendRadioTest("bt_stop_test", 0); }

commstest_error CConnection::tx_start(uint16_t frequency, uint16_t mode, uint16_t txPattern) {
    return sendRadioTest("bt_txstart", 1, frequency, mode, txPattern);
}

commstest_error CConnection::rx_start2(uint16_t frequency) { return sendRadioTest("bt_rxstart2", 3, frequency); }

commstest_error CConnection::tx_data1(uint16_t frequency) { return sendRadioTest("bt_txdata1", 4, frequency); }

commstest_error CConnection::tx_data2() { return sendRadioTest("bt_txdata2", 5); }

commstest_error CConnection::tx_data3(uint16_t frequency) { return sendRadioTest("bt_txdata3", 6, frequency); }

commstest_error CConnection::tx_data4(uint16_t frequency) { return sendRadioTest("bt_txdata4", 7, frequency); }

commstest_error CConnection::ber1(uint16_t frequency) { return sendRadioTest("bt_ber1", 19, frequency); }

commstest_error CConnection::cfg_freq(uint16_t txrxFrequency, uint16_t lbOffs, uint16_t reportFrequency) {
    return sendRadioTest("bt_cfg_freq", 22, txrxFrequency, lbOffs, reportFrequency);
}

commstest_error CConnection::set_packet_params(uint16_t packetType, uint16_t packetSize) {
    return sendRadioTest("bt_cfg_pkt", 23, packetType, packetSize);
}

commstest_error CConnection::cfg_uap_lap(uint16_t uap, uint32_t lap) {
    return sendRadioTest("bt_cfg_uap_lap", 30, uap, lap >> 16, lap & 0xFFFF);
}

commstest_error CConnection::cfg_hopping_sequence(uint16_t c0, uint16_t c1, uint16_t c2, uint16_t c3, uint16_t c4) {
    return sendRadioTest("bt_cfg_hopping_sequence", 45, c0, c1, c2, c3, c4);
}

commstest_error CConnection::set_tx_power(int16_t power) {
    return sendRadioTest("bt_cfg_tx_power", 52, static_cast<uint32_t>(static_cast<int32_t>(power)));
}

commstest_error CConnection::le_end_test() { return sendLeRadioTest("btle_stop_test", 0); }

commstest_error CConnection::le_receiver_test(uint8_t channel) {
    return sendLeRadioTest("btle_receiver_test", 1, channel);
}

commstest_error CConnection::le_transmitter_test(uint8_t channel, uint8_t length, uint8_t payload) {
    return sendLeRadioTest("btle_transmitter_test", 2, channel, length, payload);
}

commstest_error CConnection::le_end_test_count() {
    {
        std::lock_guard<std::mutex> hold(mReplyMutex);
        mPrintReply = true;
    }
    return sendLeRadioTest("btle_stop_test_count", 3);
}

commstest_error CConnection::le_enhanced_receiver_test(uint8_t channel, uint8_t phy, uint8_t modulationIndex) {
    return sendHCI("btle_enhanced_receiver_test", 0x2033, 3, channel, phy, modulationIndex);
}

commstest_error CConnection::le_enhanced_transmitter_test(uint8_t channel, uint8_t length, uint8_t payload,
                                                          uint8_t phy) {
    return sendHCI("btle_enhanced_transmitter_test", 0x2034, 4, channel, length, payload, phy);
}

commstest_error CConnection::enable_dut_mode() {
    commstest_error result = sendHCI("bt_enable_dut_mode", 0x0C05, 3, 2, 0, 3);
    if (result == kOk) {
        result = sendHCI("bt_enable_dut_mode", 0x0C1A, 1, 3);
    }
    if (result == kOk) {
        result = sendHCI("bt_enable_dut_mode", 0x1803, 0);
    }
    return result;
}

}  // namespace btcommstest
