// The PDU core and the command factory: sharing, bounds, the header views,
// the parameter-array side of the radio tests, and the hand-written builds and
// length rules of the factory. The generated tests cover every class's fields
// and offsets, the fuzz targets the bounds of the caller's array; these cover
// what the classes stand on and the paths around them.
#include <gtest/gtest.h>

#include <algorithm>
#include <memory>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include "pdu/hci_commands.h"
#include "pdu/hci_events.h"
#include "pdu/hci_factory.h"
#include "pdu/hci_returns.h"
#include "pdu/hcipdu.h"
#include "pdu/radiotest_pdus.h"
#include "pdu/vm_pdu.h"
#include "support/wire.h"

namespace {

using testwire::Bytes;
using testwire::FromHex;

// Unspaced, so that a whole packet fits on a line.
std::string Hex(const Bytes& bytes) {
    std::string text = testwire::ToHex(bytes);
    text.erase(std::remove(text.begin(), text.end(), ' '), text.end());
    return text;
}

std::string Hex(const PDU& p) { return Hex(Bytes(p.data(), p.data() + p.size())); }

PDU Packet(PDU::ts_channel channel, const std::string& hex) {
    const Bytes bytes = FromHex(hex);
    return PDU(channel, bytes.data(), bytes.size());
}

TEST(PduCore, CopiesShareTheRecordAndCloneDoesNot) {
    PDU first(PDU::hci_channel, 4);
    PDU copy(first);
    copy.resize(6);
    copy.set_uint8(5, 0xAB);
    EXPECT_EQ(first.size(), 6u);
    EXPECT_EQ(first.get_uint8(5), 0xAB);

    PDU deep = first.clone();
    deep.set_uint8(5, 0xCD);
    deep.resize(2);
    EXPECT_EQ(Hex(first), "0000000000ab");
    EXPECT_EQ(deep.channel(), PDU::hci_channel);

    // Self-assignment and assignment within one record must not touch the
    // count: a count one short frees the record under the last handle, which
    // the sanitizer builds report.
    PDU other(PDU::acl_channel, 3);
    PDU keep(other);
    first = first;
    copy = first;
    other = first;
    EXPECT_EQ(keep.size(), 3u);
    EXPECT_EQ(other.size(), 6u);
    other.set_uint8(0, 7);
    EXPECT_EQ(first.get_uint8(0), 7);
}

TEST(PduCore, HandlesOfOneRecordComeAndGoOnManyThreads) {
    const PDU shared(PDU::tscmd_channel, 18);
    std::vector<std::thread> threads;
    for (int t = 0; t < 4; ++t) {
        threads.emplace_back([&shared] {
            for (int i = 0; i < 2000; ++i) {
                PDU a(shared);
                PDU b(PDU::no_channel, 0);
                b = a;
            }
        });
    }
    for (auto& thread : threads) thread.join();
    EXPECT_EQ(shared.size(), 18u);
}

// The generated images cover writes at the fields' offsets; reads at odd
// offsets are this test's.
TEST(PduCore, TheTwoByteOrdersReadTheSameBytesDifferently) {
    const PDU bytes = Packet(PDU::tscmd_channel, "ff2211443355");
    const HCIPDU hci(bytes);
    EXPECT_EQ(bytes.get_uint32(1), 0x11223344u);
    EXPECT_EQ(hci.get_uint32(1), 0x33441122u);
    EXPECT_EQ(bytes.get_uint24(1), 0x223344u);
    EXPECT_EQ(hci.get_uint24(1), 0x441122u);
    EXPECT_EQ(bytes.get_uint16(1), 0x1122u);
    EXPECT_EQ(bytes.get_int16(3), 0x3344);
    EXPECT_EQ(Packet(PDU::hci_channel, "00feff").get_int16(1), -2);
}

// No vendor class carries an address, so the generated tests never lay one in
// a word view; the HCI layout is theirs.
TEST(PduCore, AddressesTakeEightBytesInWordViews) {
    const BluetoothDeviceAddress address(0x1A2B, 0x3C, 0x9E8B33);
    PDU words(PDU::vm_channel, 8);
    words.set_BluetoothDeviceAddress(0, address);
    EXPECT_EQ(Hex(words), "9e00338b3c002b1a");
    EXPECT_TRUE(words.get_BluetoothDeviceAddress(0).equals(address));
}

TEST(PduCore, ScalarsThatHangOverTheEndReadAndWriteTheirPartInside) {
    PDU p = Packet(PDU::tscmd_channel, "112233");
    EXPECT_EQ(p.get_uint16(2), 0x0033u);
    EXPECT_EQ(p.get_uint32(2), 0x00330000u);
    EXPECT_EQ(p.get_uint8(3), 0u);
    p.set_uint16(2, 0xBBAA);
    p.set_uint8(3, 0xEE);
    p.set_uint32(1000, 0xFFFFFFFF);
    EXPECT_EQ(Hex(p), "1122aa");
}

TEST(PduCore, ByteArraysCutAtTheEndAndGrowOnWrite) {
    PDU p = Packet(PDU::acl_channel, "0102030405");
    uint8_t out[8] = {};
    struct Row {
        unsigned long offset, count, answer;
        const char* read;
    } rows[] = {
        {1, 3, 3, "020304"},
        {3, 9, 2, "0405"},          // cut at the end
        {5, 2, 0, ""},              // at the end: nothing
        {7, 2, ~0ul - 1, ""},       // past it: size minus offset, wrapped
    };
    for (const Row& r : rows) {
        SCOPED_TRACE(r.offset);
        std::fill(std::begin(out), std::end(out), 0xEE);
        EXPECT_EQ(p.get_uint8Array(out, r.offset, r.count), r.answer);
        const size_t copied = std::string(r.read).size() / 2;
        EXPECT_EQ(Hex(Bytes(out, out + copied)), r.read);
        EXPECT_EQ(out[copied], 0xEE);
    }

    const uint8_t more[] = {0xAA, 0xBB};
    EXPECT_EQ(p.set_uint8Array(more, 6, 2), 2u);
    EXPECT_EQ(Hex(p), "010203040500aabb");
    const uint16_t words[] = {0x1122};
    p.set_uint16Array(words, 9, 1);
    EXPECT_EQ(Hex(p), "010203040500aabb002211");

    uint16_t got[4] = {};
    EXPECT_EQ(p.get_uint16Array(nullptr, 0, 2), 0u);
    EXPECT_EQ(p.get_uint16Array(got, 8, 4), 1u);  // one whole word behind byte 8
    EXPECT_EQ(got[0], 0x2200u);
    EXPECT_EQ(p.get_uint16Array(got, 40, 4), 0u);
}

TEST(PduCore, VendorHeadersKeepTheirMinimumSizes) {
    TSCMD_PDU small(0x4001, 4);
    EXPECT_EQ(small.size(), 18u);
    small.resize(0);
    EXPECT_EQ(small.size(), 18u);

    HQ_PDU hq(0x1234, 4);
    EXPECT_EQ(Hex(hq), "00000200");
    hq.resize(2);
    EXPECT_EQ(hq.size(), 9u);
    EXPECT_EQ(hq.get_payload_length(), 0xFFFFu);

    // A view of a received packet that is too short reads the missing words as 0.
    const PDU received = Packet(PDU::tscmd_channel, "0100090007000370");
    const TSCMD_PS_PDU ps(received);
    EXPECT_EQ(ps.get_varid(), 0x7003u);
    EXPECT_EQ(ps.get_id(), 0u);
    uint16_t words[2] = {};
    EXPECT_EQ(ps.get_psmem(words, 2), 0u);
}

TEST(PduCore, HciLengthFieldsFollowTheSizeAndWrap) {
    HCICommandPDU inquiry(0x0401, 8);
    EXPECT_EQ(Hex(inquiry), "0104050000000000");
    EXPECT_EQ(HCICommandPDU(0xFC00, 4).get_OGF(), 0x3Fu);
    EXPECT_EQ(HCICommandPDU(0x0C03, 259).get_parameter_length(), 0u);
    inquiry.PDU::resize(10);
    EXPECT_EQ(inquiry.get_parameter_length(), 5u);
    inquiry.resize(10);
    EXPECT_EQ(inquiry.get_parameter_length(), 7u);

    HCIEventPDU event(0x0E, 6);
    EXPECT_TRUE(event.size_ok());
    event.PDU::resize(7);
    EXPECT_FALSE(event.size_ok());
    EXPECT_EQ(Hex(HCICommandCompletePDU(0x1009, 12)), "0e0a00091000000000000000");
}

TEST(PduCore, AclHeaderBitsAreSetApart) {
    const uint8_t data[] = {0xDE, 0xAD};
    HCIACLPDU acl(data, 2, 0xF123, HCIACLPDU::start_flushable, HCIACLPDU::point_to_point);
    EXPECT_EQ(Hex(acl), "23210200dead");
    acl.set_bct(HCIACLPDU::piconet_broadcast);
    acl.set_pbf(HCIACLPDU::continuing_fragment);
    acl.set_handle(0x0456);
    EXPECT_EQ(Hex(acl), "56940200dead");
    EXPECT_FALSE(acl.is_packet_beginning());
    acl.set_pbf(HCIACLPDU::start_non_flushable);
    EXPECT_TRUE(acl.is_packet_beginning());
    acl.set_pbf(HCIACLPDU::complete_packet);
    EXPECT_FALSE(acl.is_packet_beginning());

    uint8_t out[4] = {};
    EXPECT_EQ(acl.get_data(out, 4), 2u);
    const HCISCOPDU sco(Packet(PDU::sco_channel, "0100"));
    EXPECT_EQ(sco.get_data(out, 4), 0u);
}

TEST(PduCore, VmPacketsTellStreamsFromMessagesByTheLowBitsOfByteThree) {
    VM_PDU message(0x0102, 7);
    EXPECT_EQ(Hex(message), "0400000002010000");
    EXPECT_FALSE(message.is_stream());

    VM_PDU stream(0x0007, 4);
    stream.set_stream_id(9);
    const uint8_t odd[] = {1, 2, 3};
    stream.set_stream_data(odd, 3);
    EXPECT_EQ(Hex(stream), "0200090101020300");
    EXPECT_TRUE(stream.is_stream());
    EXPECT_EQ(stream.get_stream_size(), 3u);
    // Byte 4 does not count, though the flag read spans it.
    EXPECT_FALSE(VM_PDU(Packet(PDU::vm_channel, "030000fc03")).is_stream());

    const uint16_t packet[] = {3, 0x0005, 0x0607};
    const VM_PDU copied(packet);
    EXPECT_EQ(Hex(copied), "030005000706");
    EXPECT_EQ(Hex(VM_PDU(static_cast<const uint16_t*>(nullptr))), "01");
}

TEST(RadioTestArray, ShortArraysSetOnlyTheParametersThereAre) {
    struct Row {
        const char* name;
        std::vector<unsigned long> array;
        const char* hex;
    } rows[] = {
        {"a count below five does nothing", {4, 2, 0, 0x5004}, "000009000000045000000100000000000000"},
        {"lo_freq only", {6, 2, 0, 0x5004, 1, 0x0960}, "000009000000045000000100600900000000"},
        {"bits_count needs both halves", {6, 2, 0, 0x5004, 24, 0x1122}, "000009000000045000001800000000000000"},
        {"uap without lap", {7, 2, 0, 0x5004, 30, 0x33, 0x1122}, "000009000000045000001e00330000000000"},
        {"an id without a class grows", {10, 2, 0, 0x5004, 0x77, 5, 6, 7, 8, 9},
         "00000b00000004500000770005000600070008000900"},
    };
    for (const Row& r : rows) {
        SCOPED_TRACE(r.name);
        TSCMD_RADIOTEST_PDU p;
        p.set_radiotest(r.array.size() > 4 ? static_cast<uint16_t>(r.array[4]) : 1);
        updateRADIOTEST_PDU(p, r.array.data());
        updateRADIOTEST_PDU(p, nullptr);
        EXPECT_EQ(Hex(p), r.hex);
    }
}

TEST(CommandFactory, ArraysBuildCommandsOrNothing) {
    struct Row {
        const char* name;
        std::vector<unsigned long> array;
        const char* hex;  // null: no packet
    } rows[] = {
        {"reset ignores a stray element", {3, 0x0C03, 0}, "030c00"},
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
}

// A reply whose varid no class knows still gives its payload, word by word.
TEST(CommandFactory, VendorRepliesOfAnUnknownVaridGiveTheirPayload) {
    const PDU pdu = Packet(PDU::tscmd_channel, "01000900050034120000aaaabbbb00000000");
    std::vector<unsigned long> array(16, 0xEE);
    array[0] = array.size();
    BadPDUReason reason = bad_return_length;
    EXPECT_EQ(HCIPDUFactory::decomposeTSCMD_PDU(pdu, array.data(), reason), 8u);
    EXPECT_EQ(std::vector<unsigned long>(array.begin(), array.begin() + 9),
              (std::vector<unsigned long>{8, 0x1234, 5, 0, 0xAAAA, 0xBBBB, 0, 0, 0xEE}));
}

TEST(CommandFactory, RepliesAreJudgedByTheirLength) {
    struct Row {
        const char* name;
        const char* hex;
        unsigned long answer;
        BadPDUReason reason;
    } rows[] = {
        {"read bd addr, one byte short", "0e0901091000338b9e3c2b", 0, bad_return_length},
        {"a length byte that disagrees", "0e0b0109100033 8b9e3c2b1a", 0, bad_return_length},
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
template <typename View>
bool Sized(unsigned long size, std::vector<std::pair<unsigned long, uint8_t>> set = {}) {
    Bytes b(size, 0);
    for (auto& [offset, value] : set) b.at(offset) = value;
    return View(PDU(PDU::hci_channel, b.data(), b.size())).size_expected();
}

TEST(PacketViews, CountedPacketsAreTheSizeTheirCountsSay) {
    struct Row { const char* name; bool expected, got; } rows[] = {
        {"link keys: one key", true, Sized<HCI_EV_RETURN_LINK_KEYS_T_PDU>(25, {{2, 1}})},
        {"link keys: two counted, one there", false, Sized<HCI_EV_RETURN_LINK_KEYS_T_PDU>(25, {{2, 2}})},
        {"completed packets: one handle", true, Sized<HCI_EV_NUMBER_COMPLETED_PKTS_T_PDU>(7, {{2, 1}})},
        {"completed packets: a byte over", false, Sized<HCI_EV_NUMBER_COMPLETED_PKTS_T_PDU>(8, {{2, 1}})},
        {"loopback: three bytes", true, Sized<HCI_EV_LOOPBACK_COMMAND_T_PDU>(3)},
        {"loopback: two bytes", false, Sized<HCI_EV_LOOPBACK_COMMAND_T_PDU>(2)},
        {"extended inquiry result: 17", true, Sized<HCI_EV_EXTENDED_INQUIRY_RESULT_T_PDU>(17)},
        {"extended inquiry result: 16", false, Sized<HCI_EV_EXTENDED_INQUIRY_RESULT_T_PDU>(16)},
        {"LE meta event: any size", true, Sized<HCI_EV_ULP_T_PDU>(0)},
        {"IAC LAPs: one", true, Sized<HCI_READ_CURRENT_IAC_LAP_RET_T_PDU>(10, {{6, 1}})},
        {"IAC LAPs: two counted", false, Sized<HCI_READ_CURRENT_IAC_LAP_RET_T_PDU>(10, {{6, 2}})},
        {"codecs: two and one vendor", true, Sized<HCI_READ_LOCAL_SUPP_CODECS_RET_T_PDU>(14, {{6, 2}, {11, 1}})},
        {"codecs: three vendor", false, Sized<HCI_READ_LOCAL_SUPP_CODECS_RET_T_PDU>(20, {{6, 0}, {11, 3}})},
        {"CIG: three", true, Sized<HCI_ULP_SET_CIG_PARAMETERS_RET_T_PDU>(14, {{7, 3}})},
        {"CIG: seventeen", false, Sized<HCI_ULP_SET_CIG_PARAMETERS_TEST_RET_T_PDU>(42, {{7, 17}})},
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
}

}  // namespace
