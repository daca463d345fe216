#include "link/phys/transportimplementation/transport.h"

#include <cstring>

#include "commstest/ct_trace.h"
#include "enginefw/critical_section.h"

namespace {

// The tunnel traces under the application group.
constexpr int kGroupApplication = 100;
constexpr const char* kFile = "transportimplementation";

constexpr uint8_t kFirst = 0x40;
constexpr uint8_t kLast = 0x80;
constexpr uint8_t kChannelMask = 0x3F;

}  // namespace

TesselTransportImplementation::TesselTransportImplementation(const char* name, const CallBacks& callbacks,
                                                             bool tunnelling)
    : mName(name),
      mLock(CriticalSection::InitialiseCS(true)),
      mCallbacks(callbacks),
      mSentItem(&mSentBox),
      mTunnelling(tunnelling) {
    mSentBox.AddItem(&mSentItem);
}

TesselTransportImplementation::~TesselTransportImplementation() {
    mSentBox.RemoveItem(&mSentItem);
    CriticalSection::DestroyCS(mLock);
}

void TesselTransportImplementation::blockUntilSentPdu(const PDU& pdu, unsigned long ms) {
    CriticalSectionLock hold(mLock);
    mSentBox.unsetItem(mSentItem);
    sendpdu(pdu);
    mSentBox.wait(static_cast<unsigned int>(ms));
}

void TesselTransportImplementation::onLinkFail(FailureMode mode) {
    if (mCallbacks.failure != nullptr) {
        mCallbacks.failure->onFail(mode);
    }
}

void TesselTransportImplementation::sendTunnel(const PDU& pdu) {
    if (!mTunnelling || pdu.size() == 0) {
        return;
    }
    const uint8_t channel = static_cast<uint8_t>(pdu.channel() & kChannelMask);
    unsigned long position = 0;
    while (position < pdu.size()) {
        unsigned long length = pdu.size() - position < kMaxFragmentPayload ? pdu.size() - position
                                                                              : kMaxFragmentPayload;
        for (;;) {
            uint8_t descriptor = channel;
            if (position == 0) {
                descriptor = static_cast<uint8_t>((descriptor & ~kFirst) | kFirst);
            }
            if (position + length == pdu.size()) {
                descriptor |= kLast;
            }
            unsigned char buffer[4 + kMaxFragmentPayload];
            buffer[0] = static_cast<unsigned char>(kTunnelOpcode & 0xFF);
            buffer[1] = static_cast<unsigned char>(kTunnelOpcode >> 8);
            buffer[2] = static_cast<unsigned char>(length + 1);
            buffer[3] = descriptor;
            std::memcpy(buffer + 4, pdu.data() + position, length);
            const PDU fragment(PDU::hci_channel, buffer, length + 4);
            // A transport that can't carry this size gets a byte less; it must
            // take one byte at least, or nothing could be sent at all.
            if (length > 1 && pdu_size_forbidden(fragment)) {
                --length;
                continue;
            }
            sendpdu(fragment);
            break;
        }
        position += length;
    }
}

void TesselTransportImplementation::recvData(PDU::ts_channel channel, const unsigned char* data,
                                             unsigned int length) {
    if (mTunnelling && channel == PDU::hci_channel) {
        recvTunnel(data, length);
    } else if (mCallbacks.data != nullptr) {
        mCallbacks.data->onPDU(channel, data, length);
    }
}

void TesselTransportImplementation::recvTunnel(const unsigned char* data, unsigned int length) {
    CT_TRACE_GROUP(kGroupApplication, kFile, 3, "apdu: %p, length: %d", static_cast<const void*>(data), length);
    const bool tunnel = length >= 3 && data[0] == kTunnelEvent && data[1] == length - 2 && data[2] == kTunnelMarker;
    CT_TRACE_GROUP(kGroupApplication, kFile, 3, "HCI Tunnelling packet");
    if (!tunnel) {
        if (mCallbacks.data != nullptr) {
            mCallbacks.data->onPDU(PDU::hci_channel, data, length);
        }
        return;
    }
    if (length == 3) {
        CT_TRACE_GROUP(kGroupApplication, kFile, 3, "HCI Tunnelling packet incorrect length in recvTunnel: %d",
                       length);
        return;
    }
    const uint8_t channel = data[3] & kChannelMask;
    const bool first = (data[3] & kFirst) != 0;
    const bool last = (data[3] & kLast) != 0;
    CT_TRACE_GROUP(kGroupApplication, kFile, 3, "Channel: %d", channel);
    CT_TRACE_GROUP(kGroupApplication, kFile, 3, "First: %d, Last: %d", first, last);
    if (first && last) {
        CT_TRACE_GROUP(kGroupApplication, kFile, 3, "first && last => send up");
        recvData(static_cast<PDU::ts_channel>(channel), data + 4, length - 4);
        return;
    }
    std::vector<unsigned char>& buffer = mReassembly[channel];
    if (first) {
        CT_TRACE_GROUP(kGroupApplication, kFile, 3, "first fragment => clear()");
        buffer.clear();
    }
    CT_TRACE_GROUP(kGroupApplication, kFile, 3, "fragment => insert()");
    if (buffer.size() + (length - 4) > kMaxReassembly) {
        // Fragments that never end (a lost first or last, or garbage) would grow
        // the buffer without bound: what has gathered is dropped.
        CT_TRACE_GROUP(kGroupApplication, kFile, 3, "reassembly of channel %d over %lu bytes: dropped", channel,
                       static_cast<unsigned long>(kMaxReassembly));
        buffer.clear();
    }
    buffer.insert(buffer.end(), data + 4, data + length);
    if (last) {
        CT_TRACE_GROUP(kGroupApplication, kFile, 3, "last fragment => recvData()");
        // Sent up from a copy: a reassembled PDU on channel 5 comes back here,
        // and may touch this very buffer again.
        const std::vector<unsigned char> whole(buffer);
        recvData(static_cast<PDU::ts_channel>(channel), whole.data(), static_cast<unsigned int>(whole.size()));
    }
}
