// The packed option blocks of L2CAP: quality of service, retransmission and
// flow control, and the extended flow options (service type, SDU size and
// timing of a flow).
//
// Every block lives in one 24-byte buffer, written front to back, and keeps
// its elements decoded beside it. An element spans the bytes from its offset
// up to the next one, low byte first. The write position is an index into
// the object's own buffer, so a copied block stays whole. Nothing is ever
// written or read past the 24 bytes: put_data keeps only what fits,
// write_uint_basic skips an element that would not fit, read_uint reads the
// part of an element that lies inside. A block made from received bytes is
// decoded too, so its accessors answer for those bytes.
//
// Some accessors of 2-byte elements answer only the low byte of their slot
// (flags, service_type, mode, tx_window, max_retransmit, fs_identifier,
// fs_service_type); that is how they have always read, and it stays. The
// other 2-byte accessors (retrans_timeout, monitor_timeout, maximum_pdu,
// fs_max_sdu) answer all 16 bits.
#pragma once

#include <cstddef>

class L2caConfigBase {
public:
    static constexpr unsigned long kBufferSize = 24;
    static constexpr unsigned kMaxElements = 7;
    // Element boundaries: element i spans offsets[i] up to offsets[i + 1].
    typedef unsigned char Config_Offsets_T[kMaxElements + 1];

    unsigned long get_length() const { return mWrite; }
    const unsigned char* get_data() const { return mBuffer; }
    const unsigned long* get_decode() const { return mValues; }

    // width bytes from offset, low byte first; 0 for an offset above 23 or a
    // width of 0.
    unsigned long read_uint(unsigned long offset, unsigned long width) const;

protected:
    L2caConfigBase() = default;
    L2caConfigBase(const unsigned char* bytes, unsigned long length, const Config_Offsets_T& offsets,
                   unsigned elements);
    // At most `elements` of the values are written; the rest stay zero.
    L2caConfigBase(const unsigned long* values, unsigned count, const Config_Offsets_T& offsets, unsigned elements);

    void put_data(const unsigned char* bytes, unsigned long length);
    void write_uints(const unsigned long* values, unsigned count, const Config_Offsets_T& offsets);
    void write_uint_basic(unsigned long value, unsigned long width);
    void decode_data(const Config_Offsets_T& offsets, unsigned elements);

    unsigned long value(unsigned index) const { return mValues[index]; }
    unsigned long low_byte(unsigned index) const { return mValues[index] & 0xFF; }

private:
    unsigned long mValues[kMaxElements] = {};
    unsigned long mWrite = 0;
    unsigned char mBuffer[kBufferSize] = {};
};

class L2caQos : public L2caConfigBase {
public:
    static constexpr unsigned kElements = 7;
    static constexpr unsigned long kLength = 24;
    static constexpr Config_Offsets_T kOffsets = {0, 2, 4, 8, 12, 16, 20, 24};

    L2caQos() = default;
    L2caQos(const unsigned char* bytes, unsigned long length)
        : L2caConfigBase(bytes, length, kOffsets, kElements) {}
    L2caQos(const unsigned long* values, unsigned count) : L2caConfigBase(values, count, kOffsets, kElements) {}

    unsigned long flags() const { return low_byte(0); }
    unsigned long service_type() const { return low_byte(1); }
    unsigned long token_rate() const { return value(2); }
    unsigned long token_bucket() const { return value(3); }
    unsigned long peak_bw() const { return value(4); }
    unsigned long latency() const { return value(5); }
    unsigned long delay_var() const { return value(6); }
};

class L2caFlow : public L2caConfigBase {
public:
    static constexpr unsigned kElements = 6;
    static constexpr unsigned long kLength = 12;
    static constexpr Config_Offsets_T kOffsets = {0, 2, 4, 6, 8, 10, 12};

    L2caFlow() = default;
    L2caFlow(const unsigned char* bytes, unsigned long length)
        : L2caConfigBase(bytes, length, kOffsets, kElements) {}
    L2caFlow(const unsigned long* values, unsigned count) : L2caConfigBase(values, count, kOffsets, kElements) {}

    unsigned long mode() const { return low_byte(0); }
    unsigned long tx_window() const { return low_byte(1); }
    unsigned long max_retransmit() const { return low_byte(2); }
    unsigned long retrans_timeout() const { return value(3); }
    unsigned long monitor_timeout() const { return value(4); }
    unsigned long maximum_pdu() const { return value(5); }
};

class L2caFlowSpec : public L2caConfigBase {
public:
    static constexpr unsigned kElements = 6;
    static constexpr unsigned long kLength = 18;
    static constexpr Config_Offsets_T kOffsets = {0, 2, 4, 6, 10, 14, 18};

    L2caFlowSpec() = default;
    L2caFlowSpec(const unsigned char* bytes, unsigned long length)
        : L2caConfigBase(bytes, length, kOffsets, kElements) {}
    L2caFlowSpec(const unsigned long* values, unsigned count)
        : L2caConfigBase(values, count, kOffsets, kElements) {}

    unsigned long fs_identifier() const { return low_byte(0); }
    unsigned long fs_service_type() const { return low_byte(1); }
    unsigned long fs_max_sdu() const { return value(2); }
    unsigned long fs_interarrival() const { return value(3); }
    unsigned long fs_latency() const { return value(4); }
    unsigned long fs_flush_to() const { return value(5); }
};
