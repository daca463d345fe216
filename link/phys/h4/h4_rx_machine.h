// The H4 receive state machine, without I/O.
//
// Every packet on the line is an indicator byte and an HCI packet:
//   0x01 command: 3 header bytes, length in byte 2
//   0x02 ACL data: 4 header bytes, length in bytes 2-3
//   0x03 SCO data: 3 header bytes, length in byte 2
//   0x04 event: 2 header bytes, length in byte 1
// The host end accepts ACL, SCO and events; the controller end commands, ACL and
// SCO. Anything else where an indicator belongs is a loss of sync: it is
// reported once per run of garbage, and the machine then takes single bytes
// until one is a valid indicator.
//
// The machine says what it wants to read next (NextRead) and is told how many
// bytes came (Completed); no read asks for more than 256 bytes. The serial
// daemon posts those reads to the port; tests and fuzzing Feed it bytes in any
// split.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>

class H4RxMachine {
public:
    static const unsigned kMaximumRead = 256;

    enum Indicator : uint8_t { command = 1, acl = 2, sco = 3, event = 4 };

    class Receiver {
    public:
        virtual ~Receiver() = default;
        // A whole packet, header included, without its indicator; the bytes
        // are valid only during the call.
        virtual void onPacket(Indicator kind, unsigned char* data, unsigned int length) = 0;
        // The first byte of a run of garbage.
        virtual void onSyncLoss() = 0;
        // Each byte of a run of garbage, the first one after onSyncLoss.
        virtual void onSkipped(unsigned char) {}
    };

    explicit H4RxMachine(bool hostEnd = true) : mHostEnd(hostEnd) {}
    // The next read points into the machine itself.
    H4RxMachine(const H4RxMachine&) = delete;
    H4RxMachine& operator=(const H4RxMachine&) = delete;

    // Where the next read goes, and how many bytes it asks for (never 0).
    unsigned char* NextReadBuffer() { return mNext; }
    unsigned long NextReadLength() const { return mNextLength; }
    // A read into NextReadBuffer finished with count bytes (0 allowed: a read
    // that failed, which is asked again).
    void Completed(unsigned long count, Receiver& receiver);
    // Bytes as they arrived, in any split: cut into the reads the machine asks for.
    void Feed(const unsigned char* bytes, size_t length, Receiver& receiver);
    // Forgets a packet in progress and the sync-loss latch; the end given.
    void Reset(bool hostEnd);

private:
    enum State { want_indicator, want_header, want_payload };

    void ReadIndicator();

    bool mHostEnd;
    State mState = want_indicator;
    unsigned char mIndicator = 0;
    unsigned char mHeader[4] = {};
    std::unique_ptr<unsigned char[]> mBuffer;
    uint32_t mHeaderLength = 0;
    uint32_t mBytesSoFar = 0;
    uint32_t mTotalExpected = 0;
    bool mSyncLost = false;
    unsigned char* mNext = &mIndicator;
    unsigned long mNextLength = 1;
};
