// The unit that crosses the Bluetooth link: a channel number and a byte buffer.
//
// A PDU is a counted handle on a shared PDUStore, not a value. Copies share the
// record (channel, size and bytes) and there is no copy on write: a write or a
// resize through one handle shows through every handle of the record. clone()
// is the only deep copy. Every packet kind of the system is a view deriving from
// PDU with no data of its own, so any PDU can be looked at through any view by
// copy construction, at the cost of one count.
//
// Only the count is safe across threads. The bytes and the size are the
// caller's to order: a PDU is filled on one thread, then handed over and read.
//
// Byte order. 16-bit values are little-endian. In this base, and so in the
// word-payload views of the vendor channel, a 32-bit value is two little-endian
// words with the high word first (0x11223344 is 22 11 44 33), a 24-bit value takes
// the same 4 bytes, and a Bluetooth address takes 8 bytes (LAP as such a 32-bit
// value, UAP and NAP a word each). The HCI views override these with the plain
// little-endian forms.
//
// Bounds. A byte read beyond the end gives 0 and a byte write beyond the end is
// dropped; wider scalars are made of bytes, so one that hangs over the end reads
// its part inside with zeros and writes its part inside. The array setters grow
// the buffer to fit instead.
#pragma once

#include <cstdint>

#include "pdu/values/bdaddr.h"

class PDU;

// The shared record of a PDU and its handles.
struct PDUStore {
    uint32_t channel;
    unsigned long size;
    uint8_t* data;     // array allocation, never null (a zero-length array when empty)
    unsigned count;    // handles on this record
    void* lock;        // recursive CriticalSection handle: guards count and freeing
};

class PDU {
public:
    // Which stream of the chip a packet belongs to.
    enum ts_channel : uint32_t {
        no_channel = 0,      // null_pdu and every empty result
        tscmd_channel = 2,   // vendor commands
        hq_channel = 3,
        hci_channel = 5,     // HCI commands and events
        acl_channel = 6,
        sco_channel = 7,
        vm_channel = 13,
        accmd_channel = 21,
        cme_channel = 24,
        dp_channel = 46,     // raw sends, no framing
        raw_channel = 47,
    };

    PDU(ts_channel channel, unsigned long size);  // zero-filled
    PDU(ts_channel channel, const unsigned char* data, unsigned long size);
    PDU(const PDU& other);
    PDU& operator=(const PDU& other);
    virtual ~PDU();

    // A new record with the same channel, size and bytes.
    PDU clone() const;

    uint8_t* data() const { return mStore->data; }
    unsigned long size() const { return mStore->size; }
    ts_channel channel() const { return static_cast<ts_channel>(mStore->channel); }

    // New array of the new size, the common part copied, new bytes zero. On the
    // shared record, without its lock: every handle sees the new size, and
    // pointers taken from data() before are no longer valid.
    void resize(unsigned long size);

    uint8_t get_uint8(unsigned long offset) const;
    int8_t get_int8(unsigned long offset) const;
    uint16_t get_uint16(unsigned long offset) const;
    int16_t get_int16(unsigned long offset) const;
    uint32_t get_uint24(unsigned long offset) const;
    uint32_t get_uint32(unsigned long offset) const;
    void set_uint8(unsigned long offset, uint8_t value);
    void set_int8(unsigned long offset, int8_t value);
    void set_uint16(unsigned long offset, uint16_t value);
    void set_int16(unsigned long offset, int16_t value);
    void set_uint24(unsigned long offset, uint32_t value);
    void set_uint32(unsigned long offset, uint32_t value);

    BluetoothDeviceAddress get_BluetoothDeviceAddress(unsigned long offset) const;
    void set_BluetoothDeviceAddress(unsigned long offset, const BluetoothDeviceAddress& address);

    // Copies at most up to the end. Returns size minus offset when the count
    // was cut, which for an offset past the end wraps as an unsigned value;
    // nothing is copied then.
    unsigned long get_uint8Array(uint8_t* dst, unsigned long offset, unsigned long count) const;
    // Grows to offset plus count if needed, then copies; returns count.
    unsigned long set_uint8Array(const uint8_t* src, unsigned long offset, unsigned long count);
    // A null dst reads nothing; count is cut to the whole words left.
    unsigned long get_uint16Array(uint16_t* dst, unsigned long offset, unsigned long count) const;
    // Grows to offset plus twice count if needed, then writes; returns count.
    unsigned long set_uint16Array(const uint16_t* src, unsigned long offset, unsigned long count);
    // Raw pointers into the bytes, unchecked; valid until the next resize.
    uint8_t* get_uint8ArrayPtr(unsigned long offset) const { return mStore->data + offset; }
    uint16_t* get_uint16ArrayPtr(unsigned long offset) const;

protected:
    // Shares the record of another handle; used by every view's constructor.
    explicit PDU(PDUStore* store);

    PDUStore* mStore;

private:
    void Release();
};

// The value for no packet at all: channel 0, size 0.
extern const PDU null_pdu;
