// Cuts the bytes that cross the serial port, in each direction, into the H4
// packets they carry, for the packet capture. What the library sends is read
// as the controller would (commands, ACL, SCO), what it receives as the host
// does (ACL, SCO, events). A run of bytes that is no packet is skipped, as
// the link itself skips it, and the capture goes on at the next packet, which
// carries a comment with the count of bytes skipped and the first of them.
#pragma once

#include <cstddef>
#include <mutex>
#include <string>

#include "enginefw/capture.h"
#include "link/phys/h4/h4_rx_machine.h"

class H4CaptureTap {
public:
    void Sent(const unsigned char* bytes, size_t length) { mSent.Feed(bytes, length); }
    void Received(const unsigned char* bytes, size_t length) { mReceived.Feed(bytes, length); }

private:
    class Side : public H4RxMachine::Receiver {
    public:
        Side(bool hostEnd, capture::Direction direction) : mMachine(hostEnd), mDirection(direction) {}
        void Feed(const unsigned char* bytes, size_t length) {
            std::lock_guard<std::mutex> lock(mLock);
            mMachine.Feed(bytes, length, *this);
        }
        void onPacket(H4RxMachine::Indicator kind, unsigned char* data, unsigned int length) override {
            if (mSkipped == 0) {
                capture::H4Packet(mDirection, kind, data, length);
                return;
            }
            const std::string comment = "out of step before this packet: " + std::to_string(mSkipped) +
                                        (mSkipped == 1 ? " byte" : " bytes") + " skipped (" + mSkippedBytes +
                                        (mSkipped > kShownBytes ? " ...)" : ")");
            capture::H4Packet(mDirection, kind, data, length, comment.c_str());
            mSkipped = 0;
            mSkippedBytes.clear();
        }
        void onSyncLoss() override {}
        void onSkipped(unsigned char byte) override {
            if (++mSkipped <= kShownBytes) {
                static const char kHex[] = "0123456789abcdef";
                if (!mSkippedBytes.empty()) mSkippedBytes += ' ';
                mSkippedBytes += kHex[byte >> 4];
                mSkippedBytes += kHex[byte & 0xF];
            }
        }

    private:
        static constexpr unsigned long kShownBytes = 16;
        std::mutex mLock;
        unsigned long mSkipped = 0;
        std::string mSkippedBytes;
        H4RxMachine mMachine;
        capture::Direction mDirection;
    };

    Side mSent{false, capture::kSent};
    Side mReceived{true, capture::kReceived};
};
