// Word-payload views: the vendor channel and its relatives carry 16-bit words.
//
// PCPDU's array operations count in words whatever the element type: a byte
// element travels as a whole word (its low byte), a 32-bit element as two words in
// the high-word-first form of PDU::set_uint32. Offsets stay byte offsets.
//
// TSCMD_PDU and HQ_PDU share one header of five words: request type, total length
// in words, sequence number, variable id, status; the payload follows. Request type
// 1 marks a response; the host sends 2.
#pragma once

#include <cstdint>

#include "pdu/pdu.h"

class PCPDU : public PDU {
public:
    static const unsigned long byte_word_size_ratio = 2;

    PCPDU(ts_channel channel, unsigned long size) : PDU(channel, size) {}
    PCPDU(ts_channel channel, const unsigned char* data, unsigned long size) : PDU(channel, data, size) {}
    PCPDU(const PDU& other) : PDU(other) {}
    ~PCPDU() override;

    // One word per element; the low byte of each is kept. Count cut to the words left.
    unsigned long get_uint8Array(uint8_t* dst, unsigned long offset, unsigned long count) const;
    // Each byte written as a whole word; grows to offset plus twice count.
    unsigned long set_uint8Array(const uint8_t* src, unsigned long offset, unsigned long count);
    using PDU::get_uint16Array;
    using PDU::set_uint16Array;
    // Four bytes per element, high word first. Count cut to the elements left.
    unsigned long get_uint32Array(uint32_t* dst, unsigned long offset, unsigned long count) const;
    unsigned long set_uint32Array(const uint32_t* src, unsigned long offset, unsigned long count);
};

// The header shared by TSCMD_PDU and HQ_PDU.
class VendorHeaderPDU : public PCPDU {
public:
    static const unsigned type_word_index = 0;
    static const unsigned length_word_index = 1;
    static const unsigned sequence_word_index = 2;
    static const unsigned varid_word_index = 3;
    static const unsigned status_word_index = 4;
    static const unsigned payload_word_index = 5;
    static const unsigned header_words = 5;
    static const unsigned minimum_words = 9;
    static const unsigned minimum_bytes = 18;
    static const unsigned maximum_words = 64;  // declared for the header's sake; nothing consults it
    static const unsigned implicit_words = 2;  // likewise

    VendorHeaderPDU(const PDU& other) : PCPDU(other) {}
    ~VendorHeaderPDU() override;

    uint16_t get_req_type() const { return get_uint16(2 * type_word_index); }
    uint16_t get_length() const { return get_uint16(2 * length_word_index); }
    uint16_t get_seq_no() const { return get_uint16(2 * sequence_word_index); }
    uint16_t get_varid() const { return get_uint16(2 * varid_word_index); }
    uint16_t get_status() const { return get_uint16(2 * status_word_index); }
    void set_req_type(uint16_t value) { set_uint16(2 * type_word_index, value); }
    void set_seq_no(uint16_t value) { set_uint16(2 * sequence_word_index, value); }
    void set_varid(uint16_t value) { set_uint16(2 * varid_word_index, value); }
    void set_status(uint16_t value) { set_uint16(2 * status_word_index, value); }
    // Writes size / 2 to the length word.
    void set_length() { set_uint16(2 * length_word_index, static_cast<uint16_t>(size() / 2)); }
    // size / 2 minus the header, as a 16-bit value (it wraps on a short packet).
    uint16_t get_payload_length() const { return static_cast<uint16_t>(size() / 2 - header_words); }
    unsigned long get_payload(uint16_t* dst, unsigned long count) const;
    // Writes the words behind the header, growing the packet and its length word.
    void set_payload(const uint16_t* src, unsigned long count);

protected:
    VendorHeaderPDU(ts_channel channel, uint16_t varid, unsigned long size);
    VendorHeaderPDU(ts_channel channel, const unsigned char* data, unsigned long size)
        : PCPDU(channel, data, size) {}
};

class TSCMD_PDU : public VendorHeaderPDU {
public:
    // A size below minimum_bytes is raised to it; varid and length word are set.
    TSCMD_PDU(uint16_t varid, unsigned long size)
        : VendorHeaderPDU(tscmd_channel, varid, size < minimum_bytes ? minimum_bytes : size) {}
    TSCMD_PDU(const PDU& other) : VendorHeaderPDU(other) {}
    TSCMD_PDU(const unsigned char* data, unsigned long size) : VendorHeaderPDU(tscmd_channel, data, size) {}
    ~TSCMD_PDU() override;

    // Never below minimum_bytes.
    void resize(unsigned long size) { PDU::resize(size < minimum_bytes ? minimum_bytes : size); }
};

class HQ_PDU : public VendorHeaderPDU {
public:
    // Unlike TSCMD_PDU the size is taken as given.
    HQ_PDU(uint16_t varid, unsigned long size) : VendorHeaderPDU(hq_channel, varid, size) {}
    HQ_PDU(const PDU& other) : VendorHeaderPDU(other) {}
    HQ_PDU(const unsigned char* data, unsigned long size) : VendorHeaderPDU(hq_channel, data, size) {}
    ~HQ_PDU() override;

    // Never below 9 bytes: the word minimum taken as a byte count, which an HQ
    // packet has always been held to.
    void resize(unsigned long size) { PDU::resize(size < minimum_words ? minimum_words : size); }
};

class ACCMD_PDU : public PCPDU {
public:
    explicit ACCMD_PDU(unsigned long size) : PCPDU(accmd_channel, size) {}
    ACCMD_PDU(const PDU& other) : PCPDU(other) {}
    ACCMD_PDU(const unsigned char* data, unsigned long size) : PCPDU(accmd_channel, data, size) {}
    ~ACCMD_PDU() override;
};

class CME_PDU : public PCPDU {
public:
    explicit CME_PDU(unsigned long size) : PCPDU(cme_channel, size) {}
    CME_PDU(const PDU& other) : PCPDU(other) {}
    CME_PDU(const unsigned char* data, unsigned long size) : PCPDU(cme_channel, data, size) {}
    ~CME_PDU() override;
};
