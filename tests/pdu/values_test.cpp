// Protocol value types: the wire layouts and text forms that the fuzz target's
// round trips cannot tell from their mirror images (byte orders, bit positions,
// exact texts), and the comparisons the packet views rely on.
#include <gtest/gtest.h>

#include <cstring>
#include <string>

#include "pdu/values/value_types.h"
#include "support/wire.h"

namespace {

std::string Hex(const unsigned char* bytes, std::size_t size) {
    return testwire::ToHex(testwire::Bytes(bytes, bytes + size));
}

TEST(PduValues, AddressesPrintTwentyEightCharactersAndCompareEveryField) {
    const unsigned char wire[6] = {0x33, 0x8B, 0x9E, 0x5A, 0x34, 0x12};
    char text[BluetoothDeviceAddress::kAddressStringSize + 4];
    std::memset(text, '#', sizeof text);
    BluetoothDeviceAddress(wire).MakeAddressString(text);
    EXPECT_EQ(std::string(text, sizeof text), std::string("LAP:9e8b33  UAP:5a  NAP:1234") + '\0' + "####");

    const BluetoothDeviceAddress base(0x1234, 0x5A, 0x9E8B33);
    struct Row { const char* what; BluetoothDeviceAddress other; unsigned char type; bool equal; };
    const Row rows[] = {
        {"LAP differs above 24 bits only", BluetoothDeviceAddress(0x1234, 0x5A, 0x7F9E8B33), 1, true},
        {"NAP", BluetoothDeviceAddress(0x1235, 0x5A, 0x9E8B33), 1, false},
        {"UAP", BluetoothDeviceAddress(0x1234, 0x5B, 0x9E8B33), 1, false},
        {"LAP", BluetoothDeviceAddress(0x1234, 0x5A, 0x9E8B32), 1, false},
        {"type", BluetoothDeviceAddress(0x1234, 0x5A, 0x9E8B33), 0, false},
    };
    for (const Row& r : rows) {
        SCOPED_TRACE(r.what);
        if (r.type == 1) {
            EXPECT_EQ(base.equals(r.other), r.equal);
        }
        EXPECT_EQ(BluetoothDeviceAddressWithType(1, base).equals(BluetoothDeviceAddressWithType(r.type, r.other)),
                  r.equal);
    }
}

TEST(PduValues, AddressTypeTextFollowsTypeAndTopBitsOfNap) {
    struct Row { unsigned char type; unsigned short nap; const char* text; };
    const Row rows[] = {
        {0, 0xC000, "Public"},         {1, 0x0000, "Private Non-Resolvable"}, {1, 0x3FFF, "Private Non-Resolvable"},
        {1, 0x4000, "Private Resolvable"}, {1, 0x8000, "Invalid Random"},     {1, 0xC000, "Static"},
    };
    for (const Row& r : rows) {
        SCOPED_TRACE(r.text);
        EXPECT_STREQ(BluetoothDeviceAddressWithType(r.type, r.nap, 0, 0).get_type_text(), r.text);
    }
}

TEST(PduValues, EventMaskNamesLandOnTheirBitsAndSetAllCoversTheFirstFourBytes) {
    struct Row { void (HCIEventMask::*set)(bool); const char* hex; };
    const Row rows[] = {
        {&HCIEventMask::set_inquiry_complete_event_mask, "01 00 00 00 00 00 00 00"},
        {&HCIEventMask::set_hardware_error_event_mask, "00 80 00 00 00 00 00 00"},
        {&HCIEventMask::set_link_key_notification_event_mask, "00 00 80 00 00 00 00 00"},
        {&HCIEventMask::set_loopback_command_event_mask, "00 00 00 01 00 00 00 00"},
        {&HCIEventMask::set_read_clock_offset_complete_event_mask, "00 00 00 08 00 00 00 00"},
        {&HCIEventMask::set_page_scan_repetition_mode_change_event_mask, "00 00 00 80 00 00 00 00"},
    };
    for (const Row& r : rows) {
        SCOPED_TRACE(r.hex);
        HCIEventMask mask;
        (mask.*r.set)(true);
        EXPECT_EQ(Hex(mask.get_data(), 8), r.hex);
        EXPECT_EQ(mask.get_read_clock_offget_complete_event_mask(), std::string(r.hex) == rows[4].hex);
        (mask.*r.set)(false);
        EXPECT_EQ(Hex(mask.get_data(), 8), "00 00 00 00 00 00 00 00");
    }
    HCIEventMask mask;
    mask.set_all(true);
    EXPECT_EQ(Hex(mask.get_data(), 8), "ff ff ff ff 00 00 00 00");
}

TEST(PduValues, OptionBlocksPackLowByteFirstWithTheirOwnWidths) {
    const unsigned long qosValues[7] = {0x1234, 0x0102, 0x11223344, 0x55667788, 0x99AABBCC, 0xDDEEFF00, 0x0A0B0C0D};
    const L2caQos built(qosValues, 7);
    const L2caQos qos = built;  // a copy keeps its own write position
    EXPECT_EQ(Hex(qos.get_data(), 24), "34 12 02 01 44 33 22 11 88 77 66 55 cc bb aa 99 00 ff ee dd 0d 0c 0b 0a");

    // Window and retransmissions are one byte each: their high bytes go.
    const unsigned long flowValues[6] = {0x1201, 0x3402, 0x5603, 0xABCD, 0x1234, 0xFFFF};
    const L2caFlow flow(flowValues, 6);
    EXPECT_EQ(flow.tx_window(), 0x02u);
    EXPECT_EQ(flow.max_retransmit(), 0x03u);

    // The sync config stores its 32-bit bandwidths high word first.
    const unsigned long values[6] = {0x000A, 0x0102, 0x003F, 0x0060, 0x11223344, 0x00001F40};
    EXPECT_EQ(Hex(DMSyncConfig(values, 6).get_data(), 16), "0a 00 02 01 3f 00 60 00 22 11 44 33 00 00 40 1f");
    const unsigned char four[4] = {1, 2, 3, 4};
    EXPECT_EQ(Hex(DMSyncConfig(four, 4).get_data(), 16), "01 02 03 04 00 00 00 00 00 00 00 00 00 00 00 00");
}

TEST(PduValues, RoleSwitchRowsKeysAndKeyStateReadTheRightBits) {
    unsigned short rows[2] = {0x2AF1, 0x1000};
    const DMRoleSwitchPolicyTable table(rows, 2);
    EXPECT_EQ(table.slaves(0), 1u);
    EXPECT_EQ(table.masters(0), 6u);
    EXPECT_EQ(table.unsniffed_masters(0), 3u);
    EXPECT_EQ(table.connections(0), 5u);
    EXPECT_FALSE(table.roleswitch_incoming(0));
    EXPECT_TRUE(table.forbid_roleswitch_outgoing(0));
    EXPECT_TRUE(table.roleswitch_incoming(1));
    EXPECT_FALSE(table.forbid_roleswitch_outgoing(1));

    unsigned char a[16] = {1}, b[16] = {2};
    EXPECT_FALSE(LinkKey(a).equals(LinkKey(b)));
    EXPECT_TRUE(LinkKey(nullptr).equals(LinkKey()));
    EXPECT_FALSE(LinkKey(nullptr).equals(LinkKey(a)));

    const unsigned short er[8] = {0xE0, 0xE1}, ir[8] = {0x10, 0x11};
    const SMKeyState keys(er, ir);
    EXPECT_EQ(keys.get_ir()[1], 0x11u);
    EXPECT_EQ(keys.get_er()[0], 0xE0u);
}

}  // namespace
