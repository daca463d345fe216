// The command factory: arrays to packets and back, the hand-written builds and
// length rules, and the bounds of the caller's array. The generated tests cover
// each class's fields; these cover the paths around them.
#include <gtest/gtest.h>

#include <algorithm>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include "pdu/hci_commands.h"
#include "pdu/hci_events.h"
#include "pdu/hci_factory.h"
#include "pdu/hci_returns.h"
#include "pdu/radiotest_pdus.h"
#include "support/wire.h"

namespace {

using testwire::Bytes;
using testwire::FromHex;

std::string Hex(const PDU& p) {
    std::string text = testwire::ToHex(Bytes(p.data(), p.data() + p.size()));
    text.erase(std::remove(text.begin(), text.end(), ' '), text.end());
    return text;
}

PDU Packet(PDU::ts_channel channel, const std::string& hex) {
    const Bytes bytes = FromHex(hex);
    return PDU(channel, bytes.data(), bytes.size());
}

TEST(CommandFactory, ArraysBuildCommandsOrNothing) {
    struct Row {
        const char* name;
        std::vector<unsigned long> array;
        const char* hex;  // null: no packet
    } rows[] = {
        {"reset ignores a stray element", {3, 0x0C03, 0}, "030c00"},
        {"inquiry with no fields", {2, 0x0401}, "0104050000000000"},
        {"inquiry with the lap only", {3, 0x0401, 0x9E8B33}, "010405338b9e0000"},
        {"an opcode no class has", {2, 0x0505}, nullptr},
        {"a count below two", {1, 0x0C03}, nullptr},
        {"filter: clear all", {3, 0x0C05, 0}, "050c0100"},
        {"filter: connection setup, all devices, auto accept", {5, 0x0C05, 2, 0, 3}, "050c03020003"},
        {"filter: a type above two", {4, 0x0C05, 3, 0}, nullptr},
        {"filter: class of device without its mask", {5, 0x0C05, 1, 1, 0x5A020C}, nullptr},
        {"filter: class of device and mask", {6, 0x0C05, 1, 1, 0x5A020C, 0xFFFFFF}, "050c0801010c025affffff"},
        {"filter: an address, then auto accept", {8, 0x0C05, 2, 2, 0x9E8B33, 0x3C, 0x1A2B, 1},
         "050c090202338b9e3c2b1a01"},
        {"filter: an unknown condition", {5, 0x0C05, 1, 7}, nullptr},
        {"tunnel fragment sized by its payload length", {7, 0xFC00, 0x81, 3, 0xAA, 0xBB, 0xCC}, "00fc0481aabbcc"},
    };
    for (Row& r : rows) {
        SCOPED_TRACE(r.name);
        std::unique_ptr<HCIPDU> pdu(HCIPDUFactory::createCommandPDU(r.array.data()));
        if (r.hex == nullptr) {
            EXPECT_EQ(pdu, nullptr);
        } else {
            ASSERT_NE(pdu, nullptr);
            EXPECT_EQ(Hex(*pdu), r.hex);
        }
    }
    EXPECT_EQ(HCIPDUFactory::createCommandPDU(nullptr), nullptr);
}

TEST(CommandFactory, ByteArraysTakeWhatTheArrayHolds) {
    // Six of the ten map bytes: the map needs all ten or none.
    std::vector<unsigned long> afh = {8, 0x0C3F, 1, 2, 3, 4, 5, 6};
    std::unique_ptr<HCIPDU> pdu(HCIPDUFactory::createCommandPDU(afh.data()));
    ASSERT_NE(pdu, nullptr);
    EXPECT_EQ(Hex(*pdu), "3f0c0a00000000000000000000");
    // A name is text: it ends at its first NUL.
    std::vector<unsigned long> name = {7, 0x0C13, 'a', 'b', 0, 'c', 'd'};
    pdu.reset(HCIPDUFactory::createCommandPDU(name.data()));
    ASSERT_NE(pdu, nullptr);
    EXPECT_EQ(pdu->size(), 251u);
    EXPECT_EQ(Hex(*pdu).substr(0, 16), "130cf86162000000");

    const unsigned long elements[] = {5, 0x0401, 0x141, 0x142, 0x143};
    const unsigned long* cursor = elements + 2;
    unsigned char bytes[4] = {};
    EXPECT_EQ(HCIPDUFactory::decodeBytes(nullptr, 4, elements, &cursor), 3u);
    EXPECT_EQ(HCIPDUFactory::decodeBytes(bytes, 2, elements, &cursor), 2u);
    EXPECT_EQ(bytes[1], 0x42);
    EXPECT_EQ(HCIPDUFactory::decodeBytes(bytes, 4, elements, &cursor), 1u);
    EXPECT_EQ(HCIPDUFactory::decodeBytes(bytes, 4, elements, &cursor), 0u);

    unsigned long room[4] = {4, 0, 0, 0};
    unsigned long* out = room + 1;
    const unsigned char three[] = {7, 8, 9};
    EXPECT_TRUE(HCIPDUFactory::encodeBytes(three, 3, room, &out));
    EXPECT_FALSE(HCIPDUFactory::encodeBytes(three, 1, room, &out));
    EXPECT_EQ(room[3], 9u);
}

TEST(CommandFactory, VendorArraysBuildTheirClassOrAnEmptyPacket) {
    const unsigned long txstart[] = {10, 2, 7, 0x5004, 1, 0x1111, 0x2222, 0x3333, 0, 0};
    EXPECT_EQ(Hex(HCIPDUFactory::createTSCMD_PDU(txstart)), "020009000700045000000100111122223333");

    const unsigned long ps[] = {9, 2, 1, 0x7003, 0x0102, 2, 0x0008, 0xAAAA, 0xBBBB};
    EXPECT_EQ(Hex(HCIPDUFactory::createTSCMD_PDU(ps)), "02000a00010003700000020102000800aaaabbbb");

    const unsigned long shortArray[] = {3, 0, 0, 0};
    const unsigned long unknown[] = {4, 2, 1, 0x7FFE};
    for (const unsigned long* array : {shortArray, unknown, static_cast<const unsigned long*>(nullptr)}) {
        const TSCMD_PDU empty = HCIPDUFactory::createTSCMD_PDU(array);
        EXPECT_EQ(empty.size(), 0u);
        EXPECT_EQ(empty.channel(), PDU::no_channel);
    }
    EXPECT_EQ(null_pdu.size(), 0u);
}

TEST(CommandFactory, VendorRepliesDecomposeOrGiveTheirReason) {
    struct Row {
        const char* name;
        const char* hex;
        unsigned long answer;
        BadPDUReason reason;
        std::vector<unsigned long> elements;  // from element 1
    } rows[] = {
        {"an unknown varid gives its payload", "0100090005003412000 0aaaabbbb0000 0000", 8, bad_return_length,
         {0x1234, 5, 0, 0xAAAA, 0xBBBB, 0, 0}},
        {"a radio test", "010009000700045000000100111122223333", 8, bad_return_length,
         {0x5004, 7, 0, 1, 0x1111, 0x2222, 0x3333}},
        {"a request", "020009000500341200000000000000000000", 0, vendor_not_a_response, {}},
        {"type 0, short", "0000", 0, vendor_not_a_response, {}},
        {"below the minimum", "0100080005003412000000000000 0000", 0, vendor_below_minimum, {}},
        {"shorter than its length word", "01000a0005003412000000000000000000 00", 0, vendor_shorter_than_length, {}},
    };
    for (const Row& r : rows) {
        SCOPED_TRACE(r.name);
        const PDU pdu = Packet(PDU::tscmd_channel, r.hex);
        std::vector<unsigned long> array(16, 0xEE);
        array[0] = array.size();
        BadPDUReason reason = bad_return_length;
        EXPECT_EQ(HCIPDUFactory::decomposeTSCMD_PDU(pdu, array.data(), reason), r.answer);
        EXPECT_EQ(HCIPDUFactory::decomposeTSCMD_PDU(pdu, nullptr, reason), r.answer);
        EXPECT_EQ(reason, r.reason);
        if (r.answer != 0) {
            EXPECT_EQ(array[0], r.answer);
            EXPECT_EQ(std::vector<unsigned long>(array.begin() + 1, array.begin() + r.answer), r.elements);
        }
    }
}

TEST(CommandFactory, DecomposeWritesNothingPastTheRoomItIsGiven) {
    const PDU reply = Packet(PDU::tscmd_channel, "010009000500341200000a000b000c000d00");
    unsigned long array[8] = {6, 0, 0, 0, 0, 0, 0xEE, 0xEE};
    BadPDUReason reason = bad_return_length;
    EXPECT_EQ(HCIPDUFactory::decomposeTSCMD_PDU(reply, array, reason), 8u);
    EXPECT_EQ(array[5], 0x0Bu);
    EXPECT_EQ(array[6], 0xEEu);

    // The local name's 248 bytes need room for all of them, or the reply fails.
    const PDU name = Packet(PDU::hci_channel, "0e0401140c00");
    std::vector<unsigned long> small(100, 0xEE);
    small[0] = small.size();
    EXPECT_EQ(HCIPDUFactory::decomposeCommandCompletePDU(name, small.data(), reason), 0u);
    EXPECT_EQ(small.back(), 0xEEu);
    EXPECT_EQ(HCIPDUFactory::decomposeCommandCompletePDU(name, nullptr, reason), 5u + 248u);
}

TEST(CommandFactory, RepliesAreJudgedByTheirLength) {
    struct Row {
        const char* name;
        const char* hex;
        unsigned long answer;
        BadPDUReason reason;
    } rows[] = {
        {"read bd addr", "0e0a0109100033 8b9e3c2b1a", 8, bad_return_length},
        {"read bd addr, one byte short", "0e0901091000338b9e3c2b", 0, bad_return_length},
        {"a length byte that disagrees", "0e0b0109100033 8b9e3c2b1a", 0, bad_return_length},
        {"an opcode nothing knows", "0e0401050500", 0, unknown_return_opcode},
        {"a command with no return class", "0e0401030c00", 5, bad_return_length},
        {"batch scan, sub-command 1", "0e050156fd0001", 6, bad_return_length},
        {"batch scan, format 1 with one record", "0e120156fd000401010000000000000000000000", 6, bad_return_length},
        {"batch scan, format 2 with two data parts",
         "0e170156fd00040201" "0000000000000000000000" "02" "aabb" "01" "cc", 6, bad_return_length},
        {"batch scan, an unknown sub-command", "0e050156fd0009", 0, bad_return_length},
        {"filter control, sub-command 0", "0e060157fd000000", 8, bad_return_length},
        {"filter control, sub-command 8", "0e070157fd00080000", 0, bad_return_length},
        {"vendor capabilities below 18 bytes", "0e0f017dfd00" "0102030405060708090a0b", 16, bad_return_length},
        {"vendor capabilities at 18 bytes", "0e10017dfd00" "0102030405060708090a0b0c", 0, bad_return_length},
    };
    for (const Row& r : rows) {
        SCOPED_TRACE(r.name);
        std::vector<unsigned long> array(300, 0);
        array[0] = array.size();
        BadPDUReason reason = bad_return_length;
        EXPECT_EQ(HCIPDUFactory::decomposeCommandCompletePDU(Packet(PDU::hci_channel, r.hex), array.data(), reason),
                  r.answer);
        EXPECT_EQ(reason, r.reason);
    }
}

// The lengths that follow a count in the packet: a packet is the size its
// counts say, or its class refuses it.
TEST(PacketViews, CountedPacketsAreTheSizeTheirCountsSay) {
    auto bytes = [](unsigned long size, std::vector<std::pair<unsigned long, uint8_t>> set) {
        Bytes b(size, 0);
        for (auto& [offset, value] : set) b.at(offset) = value;
        return PDU(PDU::hci_channel, b.data(), b.size());
    };
    struct Row {
        const char* name;
        bool expected;
        bool got;
    } rows[] = {
        {"link keys: one key", true, HCI_EV_RETURN_LINK_KEYS_T_PDU(bytes(25, {{2, 1}})).size_expected()},
        {"link keys: two counted, one there", false, HCI_EV_RETURN_LINK_KEYS_T_PDU(bytes(25, {{2, 2}})).size_expected()},
        {"link keys: none", true, HCI_EV_RETURN_LINK_KEYS_T_PDU(bytes(3, {})).size_expected()},
        {"completed packets: one handle", true,
         HCI_EV_NUMBER_COMPLETED_PKTS_T_PDU(bytes(7, {{2, 1}})).size_expected()},
        {"completed packets: a byte over", false,
         HCI_EV_NUMBER_COMPLETED_PKTS_T_PDU(bytes(8, {{2, 1}})).size_expected()},
        {"loopback: three bytes", true, HCI_EV_LOOPBACK_COMMAND_T_PDU(bytes(3, {})).size_expected()},
        {"loopback: two bytes", false, HCI_EV_LOOPBACK_COMMAND_T_PDU(bytes(2, {})).size_expected()},
        {"extended inquiry result: 17", true, HCI_EV_EXTENDED_INQUIRY_RESULT_T_PDU(bytes(17, {})).size_expected()},
        {"extended inquiry result: 16", false, HCI_EV_EXTENDED_INQUIRY_RESULT_T_PDU(bytes(16, {})).size_expected()},
        {"LE meta event: any size", true, HCI_EV_ULP_T_PDU(bytes(0, {})).size_expected()},
        {"IAC LAPs: one", true, HCI_READ_CURRENT_IAC_LAP_RET_T_PDU(bytes(10, {{6, 1}})).size_expected()},
        {"IAC LAPs: two counted", false, HCI_READ_CURRENT_IAC_LAP_RET_T_PDU(bytes(10, {{6, 2}})).size_expected()},
        {"codecs: two and one vendor", true,
         HCI_READ_LOCAL_SUPP_CODECS_RET_T_PDU(bytes(14, {{6, 2}, {11, 1}})).size_expected()},
        {"codecs: five", false, HCI_READ_LOCAL_SUPP_CODECS_RET_T_PDU(bytes(13, {{6, 5}})).size_expected()},
        {"codecs: three vendor", false,
         HCI_READ_LOCAL_SUPP_CODECS_RET_T_PDU(bytes(20, {{6, 0}, {11, 3}})).size_expected()},
        {"CIG: three", true, HCI_ULP_SET_CIG_PARAMETERS_RET_T_PDU(bytes(14, {{7, 3}})).size_expected()},
        {"CIG: seventeen", false, HCI_ULP_SET_CIG_PARAMETERS_TEST_RET_T_PDU(bytes(42, {{7, 17}})).size_expected()},
    };
    for (const Row& r : rows) {
        EXPECT_EQ(r.got, r.expected) << r.name;
    }
}

TEST(PacketViews, NoTwoClassesOfAFamilyShareANameOrACode) {
    std::set<std::string> names;
    std::set<std::pair<std::string, uint16_t>> codes;
    for (unsigned long i = 0; i < kPacketClassCount; ++i) {
        const PacketClassInfo& c = kPacketClasses[i];
        SCOPED_TRACE(c.class_name);
        EXPECT_TRUE(names.insert(c.class_name).second);
        // The two CIG parameter returns share their opcode; a reply is read as the first.
        const bool shared = std::string(c.name) == "ULP_SET_CIG_PARAMETERS_TEST";
        EXPECT_TRUE(codes.insert({c.family, c.code}).second || shared);
    }
    EXPECT_EQ(names.size(), 285u + 147u + 62u + 323u);
}

TEST(PacketViews, ReadAnyPacketWithoutComplaint) {
    const PDU event = Packet(PDU::hci_channel, "0e0401030c00");
    const HCI_INQUIRY_T_PDU inquiry(event);
    EXPECT_EQ(inquiry.get_lap(), 0x000c03u);
    EXPECT_EQ(inquiry.get_num_responses(), 0u);
    EXPECT_EQ(HCI_INQUIRY_T_PDU().get_OGF(), 1u);
    EXPECT_EQ(HCI_INQUIRY_T_PDU().get_OCF(), 1u);
    EXPECT_FALSE(HCI_READ_BD_ADDR_RET_T_PDU(Packet(PDU::hci_channel, "0e0901091000338b9e3c2b")).size_expected());
}

}  // namespace
