// Fuzz target for the WLAN client's reading of confirms: the frames the
// input makes are the firmware's answer to one real operation of the client
// (receive counters, a number or string MIB, the transmit and gain reads, a
// plain result code), sent over the same seqpacket node the simulator
// serves. Behind them comes a well-formed confirm refusing the request as
// not supported, so that an input whose frames all go unanswered ends at
// once instead of in the two-second wait.
//
// Input: byte 0 the operation, byte 1 flags and counts, byte 2 the caller's
// string buffer length, bytes 3-4 the MIB id, byte 5 where a second frame
// starts; the rest is the frame.
//
// What must hold: an operation succeeds only on a frame of its own confirm,
// with result code 0 where the confirm has one; the receive counters are as many as the confirm's bulk
// says and fit in it, and are its values; a MIB answer names the MIB asked
// for; a string MIB lands in the caller's buffer (a heap block of exactly
// its length) terminated and no longer than the bulk.
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "commstest/CommstestError.h"
#include "commstest/commstest_lib_mgr.h"
#include "commstest/udipayload.h"
#include "commstest/wlanliteclient.h"
#include "fuzz/fuzz_check.h"
#include "sim/wlanfw/udi_frame.h"

namespace wf = tavo::sim::wlanfw;

namespace {

// A scratch platform root whose device node is a listening seqpacket socket,
// for the whole run; the library finds it through TAVO_PLATFORM_ROOT.
class Node {
public:
    Node() {
        char scratch[] = "/tmp/wlbt-fuzz-wlan-XXXXXX";
        FUZZ_CHECK(mkdtemp(scratch) != nullptr);
        mRoot = scratch;
        FUZZ_CHECK(mkdir((mRoot + "/dev").c_str(), 0700) == 0);
        mPath = mRoot + "/dev/q7c3310udi0";
        mListener = socket(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0);
        FUZZ_CHECK(mListener >= 0);
        sockaddr_un address{};
        address.sun_family = AF_UNIX;
        FUZZ_CHECK(mPath.size() < sizeof address.sun_path);
        std::memcpy(address.sun_path, mPath.c_str(), mPath.size());
        FUZZ_CHECK(bind(mListener, reinterpret_cast<sockaddr*>(&address), sizeof address) == 0);
        FUZZ_CHECK(listen(mListener, 4) == 0);
        FUZZ_CHECK(setenv("TAVO_PLATFORM_ROOT", mRoot.c_str(), 1) == 0);
    }
    ~Node() {
        close(mListener);
        unlink(mPath.c_str());
        rmdir((mRoot + "/dev").c_str());
        rmdir(mRoot.c_str());
    }
    int Accept() const { return accept4(mListener, nullptr, nullptr, SOCK_CLOEXEC); }

private:
    std::string mRoot;
    std::string mPath;
    int mListener = -1;
};

enum Operation { kRxRead, kUintMib, kStringMib, kTxRead, kBistGain, kSelectRadio, kOperations };

TavoSignalId ConfirmOf(Operation operation) {
    switch (operation) {
    case kRxRead:
        return RX_READ_CFM;
    case kUintMib:
    case kStringMib:
        return MIB_GET_CFM;
    case kTxRead:
        return TX_READ_CFM;
    case kBistGain:
        return BIST_GET_TX_GAIN_CFM;
    default:
        return SELECT_RADIO_CFM;
    }
}

bool Decode(const std::vector<uint8_t>& frame, UdiPayload& payload) {
    std::vector<uint8_t> copy(frame);  // the decode writes the bulk length into it
    try {
        payload = DecodeUdiMessage(copy.data(), copy.data() + copy.size());
        return true;
    } catch (const CCommstestError&) {
        return false;
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    static const Node node;
    // One read of the client takes 4096 bytes; longer frames are cut by the socket.
    if (size < 6 || size > 6 + 4096) return 0;
    const Operation operation = static_cast<Operation>(data[0] % kOperations);
    const uint8_t flags = data[1];
    const size_t bufferLength = data[2];
    const uint16_t psid = static_cast<uint16_t>(data[3] | data[4] << 8);
    const TavoSignalId confirm = ConfirmOf(operation);

    std::vector<std::vector<uint8_t>> frames;
    const uint8_t* body = data + 6;
    const size_t bodySize = size - 6;
    const size_t cut = (flags & 0x10) != 0 && bodySize > 0 ? data[5] % bodySize : bodySize;
    frames.emplace_back(body, body + cut);
    if (cut < bodySize) frames.emplace_back(body + cut, body + bodySize);
    // Steers that spare the fuzzer finding the id and the length itself.
    std::vector<uint8_t>& last = frames.back();
    if ((flags & 0x20) != 0 && last.size() >= 18) {
        last[16] = static_cast<uint8_t>(confirm & 0xFF);
        last[17] = static_cast<uint8_t>(confirm >> 8);
    }
    if ((flags & 0x40) != 0 && last.size() >= 4) {
        for (size_t i = 0; i < 4; ++i) last[i] = static_cast<uint8_t>(last.size() >> (8 * i));
    }

    wf::Bytes refusal = wf::NewSignal(confirm, 12);
    wf::PutU16(refusal, 10, 0x8003);  // not supported
    const wf::Bytes sentinel = wf::BuildUdiFrame(wf::WithBulk(refusal, {}), 1);

    FUZZ_CHECK(commstest_connect() == COMMSTEST_OK);
    const int server = node.Accept();
    FUZZ_CHECK(server >= 0);
    for (const auto& frame : frames) FUZZ_CHECK(send(server, frame.data(), frame.size(), MSG_NOSIGNAL) >= 0);
    FUZZ_CHECK(send(server, sentinel.data(), sentinel.size(), MSG_NOSIGNAL) == static_cast<ssize_t>(sentinel.size()));

    // The frame that answers if the operation succeeds: the first of its id.
    UdiPayload answer;
    bool answered = false;
    for (const auto& frame : frames) {
        if (Decode(frame, answer) && answer.signal.size() >= 2 && GetU16(answer.signal, 0) == confirm) {
            answered = true;
            break;
        }
    }

    std::vector<unsigned char> indices;
    for (unsigned i = 0; i < (flags & 0x03); ++i) indices.push_back(static_cast<unsigned char>(data[5] + i));
    CWlanLiteClient& client = *gWlanLiteClient;
    bool succeeded = false;
    try {
        switch (operation) {
        case kRxRead: {
            std::vector<unsigned short> counters;
            for (unsigned i = 0; i < ((flags >> 2) & 0x03); ++i) counters.push_back(static_cast<unsigned short>(0xE000 + i));
            const WlanLiteRxReadResults r = client.ctlib_rx_read(counters);
            succeeded = true;
            FUZZ_CHECK(answered && answer.bulk.size() >= 2);
            FUZZ_CHECK(r.counters.size() == GetU16(answer.bulk, 0) && 2 + 4 * r.counters.size() <= answer.bulk.size());
            for (size_t i = 0; i < r.counters.size(); ++i) FUZZ_CHECK(r.counters[i] == GetU32(answer.bulk, 2 + 4 * i));
            break;
        }
        case kUintMib:
            client.ctlib_get_uint_mib(psid, indices);
            succeeded = true;
            FUZZ_CHECK(answered && GetU16(answer.bulk, 0) == psid && GetU16(answer.signal, 8) >= 4);
            break;
        case kStringMib: {
            // The public path: the string lands in the caller's buffer.
            const auto buffer = std::make_unique<char[]>(bufferLength);
            const commstest_error code = commstest_get_mib_string(psid, buffer.get(), bufferLength, indices);
            succeeded = code == COMMSTEST_OK && bufferLength > 0;
            if (succeeded) {
                const size_t length = strnlen(buffer.get(), bufferLength);
                // The value starts behind the id, the count and the indices,
                // and a string's content behind at least its leading byte.
                FUZZ_CHECK(answered && length < bufferLength && GetU16(answer.bulk, 0) == psid);
                FUZZ_CHECK(length == 0 || length + 4 + indices.size() + 1 <= answer.bulk.size());
            }
            break;
        }
        case kTxRead:
            client.ctlib_tx_read();
            succeeded = true;
            break;
        case kBistGain:
            client.ctlib_bist_get_tx_gain(5180, 25, 2);
            succeeded = true;
            break;
        default:
            client.ctlib_select_radio(flags);
            succeeded = true;
            break;
        }
    } catch (const CCommstestError&) {
        // Refused: by the frame, or by the well-formed refusal behind it.
    }
    // Success needs a confirm of the operation's own id, and one that
    // reports 0 where the confirm has a result code (a MIB confirm has none:
    // its bulk alone tells).
    if (succeeded) {
        FUZZ_CHECK(answered);
        if (confirm != MIB_GET_CFM) FUZZ_CHECK(answer.signal.size() >= 12 && GetU16(answer.signal, 10) == 0);
    }

    close(server);
    FUZZ_CHECK(commstest_disconnect() == COMMSTEST_OK);
    return 0;
}
