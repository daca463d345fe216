#include "pdu/hcipdu.h"

HCIPDU::~HCIPDU() = default;
HCICommandPDU::~HCICommandPDU() = default;
HCIEventPDU::~HCIEventPDU() = default;
HCICommandCompletePDU::~HCICommandCompletePDU() = default;
HCIDataPDU::~HCIDataPDU() = default;
HCIACLPDU::~HCIACLPDU() = default;
HCISCOPDU::~HCISCOPDU() = default;

uint32_t HCIPDU::get_uint24(unsigned long offset) const {
    return static_cast<uint32_t>(get_uint16(offset)) | static_cast<uint32_t>(get_uint8(offset + 2)) << 16;
}

uint32_t HCIPDU::get_uint32(unsigned long offset) const {
    return static_cast<uint32_t>(get_uint16(offset)) | static_cast<uint32_t>(get_uint16(offset + 2)) << 16;
}

void HCIPDU::set_uint24(unsigned long offset, uint32_t value) {
    set_uint16(offset, static_cast<uint16_t>(value));
    set_uint8(offset + 2, static_cast<uint8_t>(value >> 16));
}

void HCIPDU::set_uint32(unsigned long offset, uint32_t value) {
    set_uint16(offset, static_cast<uint16_t>(value));
    set_uint16(offset + 2, static_cast<uint16_t>(value >> 16));
}

BluetoothDeviceAddress HCIPDU::get_BluetoothDeviceAddress(unsigned long offset) const {
    return BluetoothDeviceAddress(get_uint16(offset + 4), get_uint8(offset + 3), get_uint24(offset));
}

void HCIPDU::set_BluetoothDeviceAddress(unsigned long offset, const BluetoothDeviceAddress& address) {
    set_uint24(offset, static_cast<uint32_t>(address.get_lap()));
    set_uint8(offset + 3, address.get_uap());
    set_uint16(offset + 4, address.get_nap());
}

ClassOfDevice HCIPDU::get_ClassOfDevice(unsigned long offset) const { return ClassOfDevice(get_uint24(offset)); }

void HCIPDU::set_ClassOfDevice(unsigned long offset, const ClassOfDevice& value) {
    set_uint24(offset, static_cast<uint32_t>(value.get_class_of_device()));
}

unsigned long HCIPDU::copy_out(unsigned long offset, uint8_t* dst, unsigned long count) const {
    const unsigned long held = offset < size() ? size() - offset : 0;
    if (dst == nullptr || held == 0 || count == 0) {
        return 0;
    }
    return get_uint8Array(dst, offset, count < held ? count : held);
}

void HCIPDU::copy_in(unsigned long offset, const uint8_t* src, unsigned long count, bool grow) {
    if (src == nullptr) {
        return;
    }
    if (grow) {
        set_uint8Array(src, offset, count);
        return;
    }
    for (unsigned long i = 0; i < count && offset + i < size(); ++i) {
        set_uint8(offset + i, src[i]);
    }
}

HCICommandPDU::HCICommandPDU(uint16_t opcode, unsigned long size) : HCIPDU(hci_channel, size) {
    set_op_code(opcode);
    set_parameter_length();
}

bool HCICommandPDU::build(const unsigned long*) { return true; }

void HCICommandPDU::resize(unsigned short size) {
    PDU::resize(size);
    set_parameter_length();
}

HCIEventPDU::HCIEventPDU(uint8_t event_code, unsigned long size) : HCIPDU(hci_channel, size) {
    set_event_code(event_code);
    set_parameter_length();
}

HCICommandCompletePDU::HCICommandCompletePDU(uint16_t opcode, unsigned long size) : HCIEventPDU(event_code, size) {
    set_op_code(opcode);
}

bool HCICommandCompletePDU::decompose(unsigned long* parameters, BadPDUReason&, unsigned long& index) const {
    // Element 0 of the caller's array gives its room; nothing is written past it.
    const unsigned long standard[5] = {0, get_event_code(), get_num_hci_command_pkts(), get_op_code(), get_status()};
    for (unsigned long i = 1; parameters != nullptr && i < 5 && i < parameters[0]; ++i) {
        parameters[i] = standard[i];
    }
    index = 5;
    return true;
}

void HCIDataPDU::set_handle(uint16_t handle) {
    set_uint16(0, static_cast<uint16_t>((get_uint16(0) & 0xF000) | (handle & 0x0FFF)));
}

HCIACLPDU::HCIACLPDU(const uint8_t* data, unsigned long length, uint16_t handle, packet_boundary_flag flag,
                     broadcast_type type)
    : HCIDataPDU(acl_channel, length + header_size) {
    set_header(handle, flag, type);
    set_data(data, length);
    set_length();
}

void HCIACLPDU::set_header(uint16_t handle, packet_boundary_flag flag, broadcast_type type) {
    set_uint16(0, static_cast<uint16_t>((handle & 0x0FFF) | (flag & 0x3000) | (type & 0xC000)));
}

void HCIACLPDU::set_pbf(packet_boundary_flag flag) {
    set_uint8(1, static_cast<uint8_t>((get_uint8(1) & ~0x30) | ((flag >> 8) & 0x30)));
}

void HCIACLPDU::set_bct(broadcast_type type) {
    set_uint8(1, static_cast<uint8_t>((get_uint8(1) & ~0xC0) | ((type >> 8) & 0xC0)));
}

bool HCIACLPDU::is_packet_beginning() const {
    const packet_boundary_flag flag = get_pbf();
    return flag == start_flushable || flag == start_non_flushable;
}

namespace {

unsigned long GetBehind(const PDU& pdu, unsigned long header, uint8_t* dst, unsigned long maximum) {
    const unsigned long held = pdu.size() > header ? pdu.size() - header : 0;
    if (dst == nullptr || held == 0 || maximum == 0) {
        return 0;
    }
    return pdu.get_uint8Array(dst, header, maximum < held ? maximum : held);
}

}  // namespace

unsigned long HCIACLPDU::get_data(uint8_t* dst, unsigned long maximum) const {
    return GetBehind(*this, header_size, dst, maximum);
}

unsigned long HCISCOPDU::get_data(uint8_t* dst, unsigned long maximum) const {
    return GetBehind(*this, header_size, dst, maximum);
}
