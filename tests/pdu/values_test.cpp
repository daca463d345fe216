// Protocol value types: wire layouts of addresses, masks and option blocks,
// the cuts of counted arrays and names, the text forms, and the quirks the
// packet views rely on.
#include <gtest/gtest.h>

#include <cstring>
#include <string>

#include "pdu/values/value_types.h"
#include "support/wire.h"

namespace {

std::string Hex(const unsigned char* bytes, std::size_t size) {
    return testwire::ToHex(testwire::Bytes(bytes, bytes + size));
}
const unsigned char* Raw(const std::string& s) { return reinterpret_cast<const unsigned char*>(s.data()); }
std::string CStr(const unsigned char* s) { return reinterpret_cast<const char*>(s); }

TEST(PduValues, CountedArraysCutToCapacityAndKeepZerosAfterTheLength) {
    unsigned char src[300];
    for (int i = 0; i < 300; ++i) src[i] = static_cast<unsigned char>(i + 1);
    EXPECT_EQ(Hex(PinCode(src, 4).get_data(), 16), "01 02 03 04 00 00 00 00 00 00 00 00 00 00 00 00");
    const PinCode pin16(src, 16), pin20(src, 20);
    const EIRData eir240(src, 240), eir241(src, 241);
    const AntennaIds ant76(src, 76), antNull(nullptr, 80);
    struct Row { const char* what; unsigned length; unsigned char last; unsigned wantLength; unsigned char wantLast; };
    const Row rows[] = {
        {"pin 16", pin16.get_length(), pin16.get_data()[15], 16, 0x10},
        {"pin 20", pin20.get_length(), pin20.get_data()[15], 16, 0x10},
        {"eir 240", eir240.get_length(), eir240.get_data()[239], 240, 0xF0},
        {"eir 241", eir241.get_length(), eir241.get_data()[239], 240, 0xF0},
        {"antennas 76", ant76.get_length(), ant76.get_data()[74], 75, 0x4B},
        {"antennas null", antNull.get_length(), antNull.get_data()[74], 75, 0x00},
    };
    for (const Row& r : rows) {
        SCOPED_TRACE(r.what);
        EXPECT_EQ(r.length, r.wantLength);
        EXPECT_EQ(r.last, r.wantLast);
    }
}

TEST(PduValues, NamesStopAtTheFirstNulInTextFormAndStayTerminated) {
    std::string nulFirst(248, 'x');
    nulFirst[0] = '\0';
    const std::string n256(256, 'n'), n300(300, 'n'), mid("abc\0def", 7);
    struct Row { const char* what; std::string source; bool raw; unsigned length; std::string kept, cstr; };
    const Row rows[] = {
        {"text, NUL first", nulFirst, false, 0, "", ""},
        {"text, NUL inside", mid, false, 3, "abc", "abc"},
        {"text, 256 fits", n256, false, 256, n256, n256},
        {"text, 300 cut", n300, false, 256, n256, n256},
        {"raw, NUL inside", mid, true, 7, mid, "abc"},
        {"raw, 300 cut", n300, true, 256, n256, n256},
    };
    for (const Row& r : rows) {
        SCOPED_TRACE(r.what);
        const BluetoothName name(Raw(r.source), r.source.size(), r.raw);
        EXPECT_EQ(name.get_length(), r.length);
        EXPECT_EQ(std::string(reinterpret_cast<const char*>(name.get_str()), name.get_length()), r.kept);
        EXPECT_EQ(CStr(name.get_str()), r.cstr);
    }
    // The word form counts bytes: "ab" then a NUL, and 500 bytes cut to 498.
    const unsigned short ab[2] = {0x6261, 0x0000};
    EXPECT_EQ(BluetoothName16(ab, 4, false).get_length(), 2u);
    unsigned short words[250];
    std::memset(words, 'w', sizeof words);
    const BluetoothName16 cut(words, 500, true);
    EXPECT_EQ(cut.get_length(), 498u);
    EXPECT_EQ(CStr(cut.get_str()), std::string(498, 'w'));
    EXPECT_EQ(cut.get_str16()[249], 0u);
}

TEST(PduValues, AddressReadsWireOrderAndPrintsTwentyEightCharacters) {
    const unsigned char wire[6] = {0x33, 0x8B, 0x9E, 0x5A, 0x34, 0x12};
    const BluetoothDeviceAddress a(wire);
    EXPECT_EQ(a.get_lap(), 0x9E8B33UL);
    EXPECT_EQ(a.get_nap(), 0x1234u);
    struct Row { BluetoothDeviceAddress address; const char* text; };
    const Row rows[] = {
        {a, "LAP:9e8b33  UAP:5a  NAP:1234"},
        {BluetoothDeviceAddress(0xFFFF, 0xFF, 0xFFFFFFFFUL), "LAP:ffffff  UAP:ff  NAP:ffff"},
        {BluetoothDeviceAddress(nullptr), "LAP:000000  UAP:00  NAP:0000"},
    };
    for (const Row& r : rows) {
        SCOPED_TRACE(r.text);
        char text[BluetoothDeviceAddress::kAddressStringSize + 4];
        std::memset(text, '#', sizeof text);
        r.address.MakeAddressString(text);
        EXPECT_EQ(std::string(text, sizeof text), std::string(r.text) + '\0' + "####");
    }
}

TEST(PduValues, AddressesAreEqualOnlyWhenEveryFieldIs) {
    const BluetoothDeviceAddress base(0x1234, 0x5A, 0x9E8B33);
    struct Row { const char* what; BluetoothDeviceAddress other; unsigned char type; bool equal; };
    const Row rows[] = {
        {"same", BluetoothDeviceAddress(0x1234, 0x5A, 0x9E8B33), 1, true},
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
        {2, 0x0000, "Invalid Type"},   {255, 0x4000, "Invalid Type"},
    };
    for (const Row& r : rows) {
        SCOPED_TRACE(r.text);
        EXPECT_STREQ(BluetoothDeviceAddressWithType(r.type, r.nap, 0, 0).get_type_text(), r.text);
    }
    const unsigned char seven[7] = {0x01, 0x33, 0x8B, 0x9E, 0x5A, 0x34, 0x82};
    const BluetoothDeviceAddressWithType wired(seven);
    EXPECT_STREQ(wired.get_type_text(), "Invalid Random");
    EXPECT_EQ(wired.get_addr().get_nap(), 0x8234u);
}

TEST(PduValues, ClassOfDeviceIsThreeLittleEndianBytes) {
    const unsigned char bytes[3] = {0x0C, 0x02, 0x5A};
    EXPECT_EQ(ClassOfDevice(bytes).get_class_of_device(), 0x5A020CUL);
    EXPECT_EQ(ClassOfDevice(0x12345678UL).get_class_of_device(), 0x345678UL);
}

TEST(PduValues, EventMaskNamesLandOnTheirBitsAndSetAllCoversTheFirstFourBytes) {
    struct Row { void (HCIEventMask::*set)(bool); const char* hex; };
    const Row rows[] = {
        {&HCIEventMask::set_inquiry_complete_event_mask, "01 00 00 00 00 00 00 00"},
        {&HCIEventMask::set_connection_request_event_mask, "08 00 00 00 00 00 00 00"},
        {&HCIEventMask::set_hardware_error_event_mask, "00 80 00 00 00 00 00 00"},
        {&HCIEventMask::set_link_key_notification_event_mask, "00 00 80 00 00 00 00 00"},
        {&HCIEventMask::set_loopback_command_event_mask, "00 00 00 01 00 00 00 00"},
        {&HCIEventMask::set_read_clock_offset_complete_event_mask, "00 00 00 08 00 00 00 00"},
        {&HCIEventMask::set_connection_packet_type_changed_event_mask, "00 00 00 10 00 00 00 00"},
        {&HCIEventMask::set_page_scan_repetition_mode_change_event_mask, "00 00 00 80 00 00 00 00"},
    };
    for (const Row& r : rows) {
        SCOPED_TRACE(r.hex);
        HCIEventMask mask;
        (mask.*r.set)(true);
        EXPECT_EQ(Hex(mask.get_data(), 8), r.hex);
        EXPECT_EQ(mask.get_read_clock_offget_complete_event_mask(), std::string(r.hex) == rows[5].hex);
        (mask.*r.set)(false);
        EXPECT_EQ(Hex(mask.get_data(), 8), "00 00 00 00 00 00 00 00");
    }
    const unsigned char ones[8] = {0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF};
    HCIEventMask mask(ones);
    mask.set_all(true);
    EXPECT_EQ(Hex(mask.get_data(), 8), "ff ff ff ff 00 00 00 00");
    mask.set_all(false);
    EXPECT_EQ(Hex(mask.get_data(), 8), "00 00 00 00 00 00 00 00");
}

TEST(PduValues, ChannelMapsStopAtTheirLastChannelAndClearKeepsOnlyThatBit) {
    const unsigned char bytes[10] = {0xFF, 0, 0, 0, 0, 0, 0, 0, 0, 0x80};
    AFHmap afh(bytes);
    EXPECT_TRUE(afh.get_val(79));
    EXPECT_FALSE(afh.get_val(78));
    EXPECT_FALSE(afh.get_val(80));
    afh.set_val(80, true);
    afh.set_val(3, false);   // keeps bit 3 of byte 0, clears the other seven
    afh.set_val(12, false);  // bit 4 of byte 1 was clear and stays clear
    EXPECT_EQ(Hex(afh.get_ptr(), 10), "08 00 00 00 00 00 00 00 00 80");
    ULPChannelMap ulp;
    ulp.set_val(39, true);
    ulp.set_val(40, true);
    EXPECT_EQ(Hex(ulp.get_ptr(), 5), "00 00 00 00 80");
    EXPECT_FALSE(ulp.get_val(40));
}

TEST(PduValues, L2capBlocksPackLowByteFirstAndCutSomeElementsToEightBits) {
    const unsigned long qosValues[7] = {0x1234, 0x0102, 0x11223344, 0x55667788, 0x99AABBCC, 0xDDEEFF00, 0x0A0B0C0D};
    const L2caQos built(qosValues, 7);
    const L2caQos qos = built;  // a copy keeps its own write position
    EXPECT_EQ(qos.get_length(), 24u);
    EXPECT_EQ(Hex(qos.get_data(), 24), "34 12 02 01 44 33 22 11 88 77 66 55 cc bb aa 99 00 ff ee dd 0d 0c 0b 0a");
    EXPECT_EQ(qos.flags(), 0x34u);
    EXPECT_EQ(qos.delay_var(), 0x0A0B0C0Du);
    EXPECT_EQ(L2caQos(qosValues, 3).get_length(), 8u);

    const unsigned long flowValues[6] = {0x1201, 0x3402, 0x5603, 0xABCD, 0x1234, 0xFFFF};
    const L2caFlow flow(flowValues, 6);
    EXPECT_EQ(flow.get_length(), 12u);
    EXPECT_EQ(flow.tx_window(), 0x02u);
    EXPECT_EQ(flow.max_retransmit(), 0x03u);
    EXPECT_EQ(flow.retrans_timeout(), 0xABCDu);

    // Received bytes: 30 offered, 24 kept, decoded for the accessors.
    unsigned char wire[30];
    for (int i = 0; i < 30; ++i) wire[i] = static_cast<unsigned char>(i + 1);
    const L2caFlowSpec flowSpec(wire, sizeof wire);
    EXPECT_EQ(flowSpec.get_length(), 24u);
    EXPECT_EQ(flowSpec.fs_service_type(), 0x03u);
    EXPECT_EQ(flowSpec.fs_max_sdu(), 0x0605u);
    EXPECT_EQ(flowSpec.fs_flush_to(), 0x1211100Fu);
}

TEST(PduValues, SyncConfigStoresThirtyTwoBitElementsWordSwapped) {
    const unsigned long values[6] = {0x000A, 0x0102, 0x003F, 0x0060, 0x11223344, 0x00001F40};
    const DMSyncConfig config(values, 6);
    EXPECT_EQ(Hex(config.get_data(), 16), "0a 00 02 01 3f 00 60 00 22 11 44 33 00 00 40 1f");
    const DMSyncConfig back(config.get_data(), 16);
    EXPECT_EQ(back.retx_effort(), 0x0102u);
    EXPECT_EQ(back.tx_bdw(), 0x11223344u);
    EXPECT_EQ(back.rx_bdw(), 0x1F40u);
    const unsigned char four[4] = {1, 2, 3, 4};
    EXPECT_EQ(Hex(DMSyncConfig(four, 4).get_data(), 16), "01 02 03 04 00 00 00 00 00 00 00 00 00 00 00 00");
}

TEST(PduValues, RoleSwitchRowsSplitIntoFieldsAndAMissingRowAnswersNoTable) {
    unsigned short rows[2] = {0x2AF1, 0x1000};
    const DMRoleSwitchPolicyTable none, table(rows, 2);
    struct Row { const DMRoleSwitchPolicyTable* t; unsigned long row; unsigned s, m, u, c; bool in, forbid; };
    const Row cases[] = {
        {&none, 0, 255, 255, 255, 255, false, false}, {&table, 0, 1, 6, 3, 5, false, true},
        {&table, 1, 0, 0, 0, 0, true, false},         {&table, 2, 255, 255, 255, 255, false, false},
    };
    for (const Row& r : cases) {
        SCOPED_TRACE(r.row);
        EXPECT_EQ(r.t->slaves(r.row), r.s);
        EXPECT_EQ(r.t->masters(r.row), r.m);
        EXPECT_EQ(r.t->unsniffed_masters(r.row), r.u);
        EXPECT_EQ(r.t->connections(r.row), r.c);
        EXPECT_EQ(r.t->roleswitch_incoming(r.row), r.in);
        EXPECT_EQ(r.t->forbid_roleswitch_outgoing(r.row), r.forbid);
    }
}

TEST(PduValues, LinkKeysCompareByPresenceThenBytes) {
    unsigned char a[16] = {1}, b[16] = {2};
    struct Row { const char* what; LinkKey x, y; bool equal; };
    const Row rows[] = {
        {"both set, same", LinkKey(a), LinkKey(a), true}, {"both set, differ", LinkKey(a), LinkKey(b), false},
        {"neither set", LinkKey(nullptr), LinkKey(), true}, {"one set", LinkKey(a), LinkKey(nullptr), false},
    };
    for (const Row& r : rows) {
        SCOPED_TRACE(r.what);
        EXPECT_EQ(r.x.equals(r.y), r.equal);
        EXPECT_EQ(r.y.equals(r.x), r.equal);
    }
    EXPECT_EQ(LinkKey(nullptr).get_data(), nullptr);
}

TEST(PduValues, KeyStateTakesErFirstAndBitCountsAreRight) {
    const unsigned short er[8] = {0xE0, 0xE1}, ir[8] = {0x10, 0x11};
    const SMKeyState keys(er, ir);
    EXPECT_EQ(keys.get_ir()[1], 0x11u);
    EXPECT_EQ(keys.get_er()[0], 0xE0u);
    EXPECT_EQ(Helper::num_set_bits(0x00), 0u);
    EXPECT_EQ(Helper::num_set_bits(0xA5), 4u);
    EXPECT_EQ(Helper::num_set_bits(0xFF), 8u);
}

}  // namespace
