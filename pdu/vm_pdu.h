// VM_PDU: word 0 is the packet length in words, then one of two forms.
//
//   byte  message form                    stream form
//   0-1   length in words                 length in words
//   2     type, low byte                  stream id
//   3     type, high byte; 0: a message   1: odd number of data bytes, 2: even
//   4 up  subtype word, then data words   data
#pragma once

#include <cstdint>

#include "pdu/pcpdu.h"

class VM_PDU : public PCPDU {
public:
    // Size rounded up to even; length word, type 0 and the subtype written.
    VM_PDU(uint16_t subtype, unsigned long size);
    // words[0] words copied in, the first being the length; with no words, or a
    // zero length, one byte holding 1.
    explicit VM_PDU(const uint16_t* words);
    VM_PDU(const PDU& other) : PCPDU(other) {}
    VM_PDU(const unsigned char* data, unsigned long size) : PCPDU(vm_channel, data, size) {}
    ~VM_PDU() override;

    // Only the low bits of byte 3 count, though the read spans bytes 3 and 4.
    bool is_stream() const { return (get_uint16(3) & 3) != 0; }
    // The word at byte offset 2 * index.
    uint16_t operator[](unsigned long index) const { return get_uint16(2 * index); }
    // Word 0 words from the start, the length word included, cut to the words held.
    unsigned long get_packet(uint16_t* dst) const;
    uint16_t get_words() const { return get_uint16(0); }
    uint16_t get_type() const { return get_uint16(2); }
    uint16_t get_subtype() const { return get_uint16(4); }
    void set_words() { set_uint16(0, static_cast<uint16_t>(size() / 2)); }
    void set_type(uint16_t type) { set_uint16(2, type); }
    // Type 0 to word 1, the subtype to word 2.
    void set_subtype(uint16_t subtype);

    uint8_t get_stream_id() const { return get_uint8(2); }
    // Grows to 4 bytes if shorter; byte 3 goes to 0 until data is set.
    void set_stream_id(uint8_t id);
    // Grows to an even size that holds the bytes; byte 3 becomes 1 or 2.
    void set_stream_data(const uint8_t* bytes, unsigned long count);
    void set_stream_data16(const uint16_t* words, unsigned long count);
    // Size minus 6 plus byte 3: size minus 4 for an even stream, minus 5 for odd.
    unsigned long get_stream_size() const { return size() - 6 + get_uint8(3); }
    unsigned long get_stream_data(uint8_t* dst, unsigned long count) const;
    unsigned long get_stream_data16(uint16_t* dst, unsigned long count) const;

    void set_message_data(const uint16_t* words, unsigned long count);
    // In words.
    unsigned long get_message_size() const { return (size() - 4) / 2; }
    unsigned long get_message_data(uint16_t* dst, unsigned long count) const;

private:
    void SetWordData(const uint16_t* words, unsigned long count, uint8_t form);
    // Bytes behind the 4-byte head that the buffer really holds.
    unsigned long HeldBehindHead() const { return size() > 4 ? size() - 4 : 0; }
};
