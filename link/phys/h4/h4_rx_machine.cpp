#include "link/phys/h4/h4_rx_machine.h"

#include <cstring>

void H4RxMachine::ReadIndicator() {
    mState = want_indicator;
    mNext = &mIndicator;
    mNextLength = 1;
}

void H4RxMachine::Reset(bool hostEnd) {
    mHostEnd = hostEnd;
    mBuffer.reset();
    mSyncLost = false;
    ReadIndicator();
}

void H4RxMachine::Completed(unsigned long count, Receiver& receiver) {
    switch (mState) {
    case want_indicator: {
        if (count != 1) {
            ReadIndicator();
            return;
        }
        uint32_t header = 0;
        switch (mIndicator) {
        case command:
            header = mHostEnd ? 0 : 3;
            break;
        case acl:
            header = 4;
            break;
        case sco:
            header = 3;
            break;
        case event:
            header = mHostEnd ? 2 : 0;
            break;
        default:
            break;
        }
        if (header == 0) {
            mHeaderLength = 0;
            if (!mSyncLost) {
                mSyncLost = true;
                receiver.onSyncLoss();
            }
            receiver.onSkipped(mIndicator);
            ReadIndicator();
            return;
        }
        mSyncLost = false;
        mHeaderLength = header;
        mBytesSoFar = 0;
        mState = want_header;
        mNext = mHeader;
        mNextLength = header;
        return;
    }
    case want_header: {
        mBytesSoFar += static_cast<uint32_t>(count);
        if (mBytesSoFar < mHeaderLength) {
            mNext = mHeader + mBytesSoFar;
            mNextLength = mHeaderLength - mBytesSoFar;
            return;
        }
        uint32_t payload = 0;
        switch (mIndicator) {
        case acl:
            payload = mHeader[2] | static_cast<uint32_t>(mHeader[3]) << 8;
            break;
        case event:
            payload = mHeader[1];
            break;
        default:
            payload = mHeader[2];
            break;
        }
        mTotalExpected = mHeaderLength + payload;
        mBuffer.reset(new unsigned char[mTotalExpected]);
        std::memcpy(mBuffer.get(), mHeader, mHeaderLength);
        if (payload == 0) {
            // Nothing more to read: the header is the whole packet.
            std::unique_ptr<unsigned char[]> packet = std::move(mBuffer);
            ReadIndicator();
            receiver.onPacket(static_cast<Indicator>(mIndicator), packet.get(), mTotalExpected);
            return;
        }
        mState = want_payload;
        mNext = mBuffer.get() + mBytesSoFar;
        mNextLength = mTotalExpected <= kMaximumRead ? mTotalExpected - mBytesSoFar : kMaximumRead - mBytesSoFar;
        return;
    }
    case want_payload: {
        mBytesSoFar += static_cast<uint32_t>(count);
        if (mBytesSoFar >= mTotalExpected) {
            std::unique_ptr<unsigned char[]> packet = std::move(mBuffer);
            ReadIndicator();
            receiver.onPacket(static_cast<Indicator>(mIndicator), packet.get(), mTotalExpected);
            return;
        }
        const uint32_t rest = mTotalExpected - mBytesSoFar;
        mNext = mBuffer.get() + mBytesSoFar;
        mNextLength = rest < kMaximumRead ? rest : kMaximumRead;
        return;
    }
    }
}

void H4RxMachine::Feed(const unsigned char* bytes, size_t length, Receiver& receiver) {
    while (length > 0) {
        const size_t take = length < mNextLength ? length : mNextLength;
        std::memcpy(mNext, bytes, take);
        bytes += take;
        length -= take;
        Completed(take, receiver);
    }
}
