// HCI event masks.
//
// HCIEventMask names the first 32 of its 64 bits, one setter and one getter
// each; bit n is bit n % 8 of byte n / 8. The getter of bit 27 has always
// been spelled get_read_clock_offget_complete_event_mask while its setter is
// set_read_clock_offset_complete_event_mask; callers use both names, so both
// stay as they are. A null pointer given to any constructor here gives an
// all-zero mask.
#pragma once

#include "pdu/values/byte_values.h"

class HCIEventMask : public FixedBytes<8> {
public:
    using FixedBytes<8>::FixedBytes;

    const unsigned char* get_data() const { return mBytes; }

    // Bytes 0 to 3 all ones or all zero; bytes 4 to 7 are cleared either way.
    void set_all(bool on);

#define WLBT_EVENT_MASK_BIT(name, bit)                          \
    void set_##name##_event_mask(bool on) { set_bit(bit, on); } \
    bool get_##name##_event_mask() const { return get_bit(bit); }

    WLBT_EVENT_MASK_BIT(inquiry_complete, 0)
    WLBT_EVENT_MASK_BIT(inquiry_result, 1)
    WLBT_EVENT_MASK_BIT(connection_complete, 2)
    WLBT_EVENT_MASK_BIT(connection_request, 3)
    WLBT_EVENT_MASK_BIT(disconnection_complete, 4)
    WLBT_EVENT_MASK_BIT(authentication_complete, 5)
    WLBT_EVENT_MASK_BIT(remote_name_request_complete, 6)
    WLBT_EVENT_MASK_BIT(encryption_change, 7)
    WLBT_EVENT_MASK_BIT(change_connection_link_key_complete, 8)
    WLBT_EVENT_MASK_BIT(master_link_key_complete, 9)
    WLBT_EVENT_MASK_BIT(read_remote_supported_features_complete, 10)
    WLBT_EVENT_MASK_BIT(read_remote_version_information_complete, 11)
    WLBT_EVENT_MASK_BIT(qos_setup_complete, 12)
    WLBT_EVENT_MASK_BIT(command_complete, 13)
    WLBT_EVENT_MASK_BIT(command_status, 14)
    WLBT_EVENT_MASK_BIT(hardware_error, 15)
    WLBT_EVENT_MASK_BIT(flush_occurred, 16)
    WLBT_EVENT_MASK_BIT(role_change, 17)
    WLBT_EVENT_MASK_BIT(number_of_completed_packets, 18)
    WLBT_EVENT_MASK_BIT(mode_change, 19)
    WLBT_EVENT_MASK_BIT(return_link_keys, 20)
    WLBT_EVENT_MASK_BIT(pin_code_request, 21)
    WLBT_EVENT_MASK_BIT(link_key_request, 22)
    WLBT_EVENT_MASK_BIT(link_key_notification, 23)
    WLBT_EVENT_MASK_BIT(loopback_command, 24)
    WLBT_EVENT_MASK_BIT(data_buffer_overflow, 25)
    WLBT_EVENT_MASK_BIT(max_slots_change, 26)
    WLBT_EVENT_MASK_BIT(connection_packet_type_changed, 28)
    WLBT_EVENT_MASK_BIT(qos_violation, 29)
    WLBT_EVENT_MASK_BIT(page_scan_mode_change, 30)
    WLBT_EVENT_MASK_BIT(page_scan_repetition_mode_change, 31)
#undef WLBT_EVENT_MASK_BIT

    void set_read_clock_offset_complete_event_mask(bool on) { set_bit(27, on); }
    bool get_read_clock_offget_complete_event_mask() const { return get_bit(27); }

private:
    void set_bit(unsigned bit, bool on);
    bool get_bit(unsigned bit) const;
};

WLBT_FIXED_BYTES(HCIEventMaskPage2, 8, get_data);
WLBT_FIXED_BYTES(ULPEventMask, 8, get_data);
