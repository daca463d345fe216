#include "pdu/vm_pdu.h"

VM_PDU::~VM_PDU() = default;

VM_PDU::VM_PDU(uint16_t subtype, unsigned long size) : PCPDU(vm_channel, size + (size & 1)) {
    set_words();
    set_subtype(subtype);
}

VM_PDU::VM_PDU(const uint16_t* words) : PCPDU(vm_channel, 1) {
    if (words != nullptr && words[0] != 0) {
        set_uint16Array(words, 0, words[0]);
    } else {
        set_uint16(0, 1);
    }
}

unsigned long VM_PDU::get_packet(uint16_t* dst) const { return get_uint16Array(dst, 0, get_words()); }

void VM_PDU::set_subtype(uint16_t subtype) {
    set_type(0);
    set_uint16(4, subtype);
}

void VM_PDU::set_stream_id(uint8_t id) {
    if (size() < 4) {
        resize(4);
    }
    set_uint16(2, id);
}

void VM_PDU::set_stream_data(const uint8_t* bytes, unsigned long count) {
    if (bytes == nullptr) {
        return;
    }
    if (count + 4 > size()) {
        resize(((count + 1) | 1) + 3);
    }
    PDU::set_uint8Array(bytes, 4, count);
    set_uint8(3, (count & 1) ? 1 : 2);
}

void VM_PDU::SetWordData(const uint16_t* words, unsigned long count, uint8_t form) {
    if (words == nullptr) {
        return;
    }
    if ((count + 2) * 2 > size()) {
        resize((count + 2) * 2);
    }
    set_uint16Array(words, 4, count);
    set_uint8(3, form);
}

void VM_PDU::set_stream_data16(const uint16_t* words, unsigned long count) { SetWordData(words, count, 2); }

void VM_PDU::set_message_data(const uint16_t* words, unsigned long count) { SetWordData(words, count, 0); }

unsigned long VM_PDU::get_stream_data(uint8_t* dst, unsigned long count) const {
    if (dst == nullptr) {
        return 0;
    }
    const unsigned long stored = get_stream_size();
    if (count > stored) {
        count = stored;
    }
    if (count > HeldBehindHead()) {
        count = HeldBehindHead();
    }
    return count == 0 ? 0 : PDU::get_uint8Array(dst, 4, count);
}

unsigned long VM_PDU::get_stream_data16(uint16_t* dst, unsigned long count) const {
    const unsigned long stored = get_stream_size() / 2;
    return get_uint16Array(dst, 4, count > stored ? stored : count);
}

unsigned long VM_PDU::get_message_data(uint16_t* dst, unsigned long count) const {
    const unsigned long stored = HeldBehindHead() / 2;
    return get_uint16Array(dst, 4, count > stored ? stored : count);
}
