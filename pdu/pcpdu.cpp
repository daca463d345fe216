#include "pdu/pcpdu.h"

PCPDU::~PCPDU() = default;
VendorHeaderPDU::~VendorHeaderPDU() = default;
TSCMD_PDU::~TSCMD_PDU() = default;
HQ_PDU::~HQ_PDU() = default;
ACCMD_PDU::~ACCMD_PDU() = default;
CME_PDU::~CME_PDU() = default;

unsigned long PCPDU::get_uint8Array(uint8_t* dst, unsigned long offset, unsigned long count) const {
    if (dst == nullptr) {
        return 0;
    }
    const unsigned long words = offset < size() ? (size() - offset) / byte_word_size_ratio : 0;
    if (count > words) {
        count = words;
    }
    for (unsigned long i = 0; i < count; ++i) {
        dst[i] = static_cast<uint8_t>(get_uint16(offset + byte_word_size_ratio * i));
    }
    return count;
}

unsigned long PCPDU::set_uint8Array(const uint8_t* src, unsigned long offset, unsigned long count) {
    if (src == nullptr) {
        return 0;
    }
    if (offset + byte_word_size_ratio * count > size()) {
        PDU::resize(offset + byte_word_size_ratio * count);
    }
    for (unsigned long i = 0; i < count; ++i) {
        set_uint16(offset + byte_word_size_ratio * i, src[i]);
    }
    return count;
}

unsigned long PCPDU::get_uint32Array(uint32_t* dst, unsigned long offset, unsigned long count) const {
    if (dst == nullptr) {
        return 0;
    }
    const unsigned long elements = offset < size() ? (size() - offset) / 4 : 0;
    if (count > elements) {
        count = elements;
    }
    for (unsigned long i = 0; i < count; ++i) {
        dst[i] = get_uint32(offset + 4 * i);
    }
    return count;
}

unsigned long PCPDU::set_uint32Array(const uint32_t* src, unsigned long offset, unsigned long count) {
    if (src == nullptr) {
        return 0;
    }
    if (offset + 4 * count > size()) {
        PDU::resize(offset + 4 * count);
    }
    for (unsigned long i = 0; i < count; ++i) {
        set_uint32(offset + 4 * i, src[i]);
    }
    return count;
}

VendorHeaderPDU::VendorHeaderPDU(ts_channel channel, uint16_t varid, unsigned long size) : PCPDU(channel, size) {
    set_varid(varid);
    set_length();
}

unsigned long VendorHeaderPDU::get_payload(uint16_t* dst, unsigned long count) const {
    return get_uint16Array(dst, 2 * payload_word_index, count);
}

void VendorHeaderPDU::set_payload(const uint16_t* src, unsigned long count) {
    const unsigned long before = size();
    set_uint16Array(src, 2 * payload_word_index, count);
    if (size() != before) {
        set_length();
    }
}
