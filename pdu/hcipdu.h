// HCI views: commands, events and data on channels 5, 6 and 7.
//
// Unlike the word views of the vendor channel, HCI packets hold 32- and 24-bit
// values plainly little-endian, and a Bluetooth address in 6 bytes (3 LAP, 1 UAP,
// 2 NAP). Length fields are single bytes (two for ACL) and wrap.
#pragma once

#include <cstdint>

#include "pdu/pdu.h"
#include "pdu/values/class_of_device.h"

// Why a decompose refused a packet.
enum BadPDUReason {
    bad_return_length = 0,        // an HCI return of the wrong length
    vendor_below_minimum = 1,     // a vendor PDU below minimum_bytes
    unknown_return_opcode = 4,    // an HCI return whose opcode no class knows
    vendor_shorter_than_length = 5,  // a vendor PDU shorter than its length word says
    vendor_not_a_response = 10,   // a vendor PDU whose request type is not 1
};

class HCIPDU : public PDU {
public:
    HCIPDU(ts_channel channel, unsigned long size) : PDU(channel, size) {}
    HCIPDU(ts_channel channel, const unsigned char* data, unsigned long size) : PDU(channel, data, size) {}
    HCIPDU(const PDU& other) : PDU(other) {}
    ~HCIPDU() override;

    uint32_t get_uint24(unsigned long offset) const;
    uint32_t get_uint32(unsigned long offset) const;
    void set_uint24(unsigned long offset, uint32_t value);
    void set_uint32(unsigned long offset, uint32_t value);
    BluetoothDeviceAddress get_BluetoothDeviceAddress(unsigned long offset) const;
    void set_BluetoothDeviceAddress(unsigned long offset, const BluetoothDeviceAddress& address);
    ClassOfDevice get_ClassOfDevice(unsigned long offset) const;
    void set_ClassOfDevice(unsigned long offset, const ClassOfDevice& value);

protected:
    // Byte fields of the generated classes: copy_out copies what the packet holds
    // of count bytes from offset and answers how many; copy_in writes inside the
    // packet only, or grows it to fit when asked.
    unsigned long copy_out(unsigned long offset, uint8_t* dst, unsigned long count) const;
    void copy_in(unsigned long offset, const uint8_t* src, unsigned long count, bool grow);
};

class HCICommandPDU : public HCIPDU {
public:
    // Opcode, and a parameter length of size minus 3.
    HCICommandPDU(uint16_t opcode, unsigned long size);
    HCICommandPDU(const PDU& other) : HCIPDU(other) {}
    HCICommandPDU(const unsigned char* data, unsigned long size) : HCIPDU(hci_channel, data, size) {}
    ~HCICommandPDU() override;

    // Fills the fields from a parameter array; this base has none to fill.
    virtual bool build(const unsigned long* parameters);

    uint16_t get_op_code() const { return get_uint16(0); }
    void set_op_code(uint16_t opcode) { set_uint16(0, opcode); }
    uint8_t get_OGF() const { return static_cast<uint8_t>(get_op_code() >> 10); }
    uint16_t get_OCF() const { return get_op_code() & 0x3FF; }
    uint8_t get_parameter_length() const { return get_uint8(2); }
    void set_parameter_length() { set_uint8(2, static_cast<uint8_t>(size() - 3)); }
    // Keeps the parameter length right, which PDU::resize does not.
    void resize(unsigned short size);
};

class HCIEventPDU : public HCIPDU {
public:
    // Event code, and a parameter length of size minus 2.
    HCIEventPDU(uint8_t event_code, unsigned long size);
    HCIEventPDU(const PDU& other) : HCIPDU(other) {}
    HCIEventPDU(const unsigned char* data, unsigned long size) : HCIPDU(hci_channel, data, size) {}
    ~HCIEventPDU() override;

    uint8_t get_event_code() const { return get_uint8(0); }
    void set_event_code(uint8_t code) { set_uint8(0, code); }
    uint8_t get_parameter_length() const { return get_uint8(1); }
    void set_parameter_length() { set_uint8(1, static_cast<uint8_t>(size() - 2)); }
    bool size_ok() const { return size() == static_cast<unsigned long>(get_parameter_length()) + 2; }
};

class HCICommandCompletePDU : public HCIEventPDU {
public:
    static const uint8_t event_code = 14;

    HCICommandCompletePDU(uint16_t opcode, unsigned long size);
    HCICommandCompletePDU(const PDU& other) : HCIEventPDU(other) {}
    HCICommandCompletePDU(const unsigned char* data, unsigned long size) : HCIEventPDU(data, size) {}
    ~HCICommandCompletePDU() override;

    // Writes event code, packet count, opcode and status to elements 1 to 4 of a
    // non-null array, within the room its element 0 gives, and leaves index at
    // 5; the return classes go on from there.
    virtual bool decompose(unsigned long* parameters, BadPDUReason& reason, unsigned long& index) const;

    uint8_t get_num_hci_command_pkts() const { return get_uint8(2); }
    uint16_t get_op_code() const { return get_uint16(3); }
    void set_op_code(uint16_t opcode) { set_uint16(3, opcode); }
    uint8_t get_status() const { return get_uint8(5); }
};

class HCIDataPDU : public HCIPDU {
public:
    HCIDataPDU(ts_channel channel, unsigned long size) : HCIPDU(channel, size) {}
    HCIDataPDU(ts_channel channel, const unsigned char* data, unsigned long size) : HCIPDU(channel, data, size) {}
    HCIDataPDU(const PDU& other) : HCIPDU(other) {}
    ~HCIDataPDU() override;

    // The 12-bit connection handle in the low bits of the first two bytes.
    uint16_t get_handle() const { return get_uint16(0) & 0x0FFF; }
    // Keeps the top four bits.
    void set_handle(uint16_t handle);
};

class HCIACLPDU : public HCIDataPDU {
public:
    static const unsigned long header_size = 4;
    // Held in place, already shifted into the handle word.
    enum packet_boundary_flag : uint16_t {
        start_non_flushable = 0x0000,
        continuing_fragment = 0x1000,
        start_flushable = 0x2000,
        complete_packet = 0x3000,
    };
    enum broadcast_type : uint16_t {
        point_to_point = 0x0000,
        active_broadcast = 0x4000,
        piconet_broadcast = 0x8000,
        reserved_broadcast = 0xC000,
    };

    HCIACLPDU(const uint8_t* data, unsigned long length, uint16_t handle, packet_boundary_flag flag,
              broadcast_type type);
    HCIACLPDU(const PDU& other) : HCIDataPDU(other) {}
    HCIACLPDU(const unsigned char* data, unsigned long size) : HCIDataPDU(acl_channel, data, size) {}
    ~HCIACLPDU() override;

    void set_header(uint16_t handle, packet_boundary_flag flag, broadcast_type type);
    void set_pbf(packet_boundary_flag flag);
    void set_bct(broadcast_type type);
    packet_boundary_flag get_pbf() const { return static_cast<packet_boundary_flag>(get_uint16(0) & 0x3000); }
    broadcast_type get_bct() const { return static_cast<broadcast_type>(get_uint16(0) & 0xC000); }
    void set_length() { set_uint16(2, static_cast<uint16_t>(size() - header_size)); }
    uint16_t get_length() const { return get_uint16(2); }
    void set_data(const uint8_t* data, unsigned long length) { set_uint8Array(data, header_size, length); }
    unsigned long get_data(uint8_t* dst, unsigned long maximum) const;
    uint8_t* get_dataPtr() const { return get_uint8ArrayPtr(header_size); }
    bool is_packet_beginning() const;
};

class HCISCOPDU : public HCIDataPDU {
public:
    static const unsigned long header_size = 3;

    HCISCOPDU(const PDU& other) : HCIDataPDU(other) {}
    HCISCOPDU(const unsigned char* data, unsigned long size) : HCIDataPDU(sco_channel, data, size) {}
    ~HCISCOPDU() override;

    void set_length() { set_uint8(2, static_cast<uint8_t>(size() - header_size)); }
    uint8_t get_length() const { return get_uint8(2); }
    void set_data(const uint8_t* data, unsigned long length) { set_uint8Array(data, header_size, length); }
    unsigned long get_data(uint8_t* dst, unsigned long maximum) const;
    uint8_t* get_dataPtr() const { return get_uint8ArrayPtr(header_size); }
};
