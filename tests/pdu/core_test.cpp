// The PDU core: sharing, byte orders, bounds, the header views and the
// parameter-array side of the radio tests. The generated tests cover every
// class's offsets; these cover what the classes stand on.
#include <gtest/gtest.h>

#include <algorithm>
#include <thread>
#include <vector>

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

PDU FromText(PDU::ts_channel channel, const std::string& hex) {
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

TEST(PduCore, TheTwoByteOrdersReadTheSameBytesDifferently) {
    // A leading byte puts every value on an odd offset.
    const PDU bytes = FromText(PDU::tscmd_channel, "ff2211443355");
    const HCIPDU hci(bytes);
    EXPECT_EQ(bytes.get_uint32(1), 0x11223344u);
    EXPECT_EQ(hci.get_uint32(1), 0x33441122u);
    EXPECT_EQ(bytes.get_uint24(1), 0x223344u);
    EXPECT_EQ(hci.get_uint24(1), 0x441122u);
    EXPECT_EQ(bytes.get_uint16(1), 0x1122u);
    EXPECT_EQ(bytes.get_int16(3), 0x3344);
    EXPECT_EQ(PDU(FromText(PDU::hci_channel, "00feff")).get_int16(1), -2);

    PDU word(PDU::tscmd_channel, 5);
    word.set_uint32(1, 0x11223344);
    HCIPDU plain(PDU::hci_channel, 5);
    plain.set_uint32(1, 0x11223344);
    plain.set_uint24(0, 0xAABBCC);
    EXPECT_EQ(Hex(word), "0022114433");
    EXPECT_EQ(Hex(plain), "ccbbaa2211");
}

TEST(PduCore, AddressesTakeEightBytesInWordViewsAndSixInHciViews) {
    const BluetoothDeviceAddress address(0x1A2B, 0x3C, 0x9E8B33);
    PDU words(PDU::vm_channel, 8);
    words.set_BluetoothDeviceAddress(0, address);
    HCIPDU hci(PDU::hci_channel, 6);
    hci.set_BluetoothDeviceAddress(0, address);
    EXPECT_EQ(Hex(words), "9e00338b3c002b1a");
    EXPECT_EQ(Hex(hci), "338b9e3c2b1a");
    EXPECT_TRUE(words.get_BluetoothDeviceAddress(0).equals(address));
    EXPECT_TRUE(hci.get_BluetoothDeviceAddress(0).equals(address));

    HCIPDU cod(PDU::hci_channel, 3);
    cod.set_ClassOfDevice(0, ClassOfDevice(0x5A020C));
    EXPECT_EQ(Hex(cod), "0c025a");
}

TEST(PduCore, ScalarsThatHangOverTheEndReadAndWriteTheirPartInside) {
    PDU p = FromText(PDU::tscmd_channel, "112233");
    EXPECT_EQ(p.get_uint16(2), 0x0033u);
    EXPECT_EQ(p.get_uint32(2), 0x00330000u);
    EXPECT_EQ(p.get_uint8(3), 0u);
    p.set_uint16(2, 0xBBAA);
    p.set_uint8(3, 0xEE);
    p.set_uint32(1000, 0xFFFFFFFF);
    EXPECT_EQ(Hex(p), "1122aa");

    const PDU empty(PDU::no_channel, 0);
    ASSERT_NE(empty.data(), nullptr);
    EXPECT_EQ(empty.get_uint8(0) + empty.get_uint16(0) + empty.get_uint32(0) + empty.get_uint24(0), 0u);
    EXPECT_EQ(null_pdu.size(), 0u);
    EXPECT_EQ(null_pdu.channel(), PDU::no_channel);
}

TEST(PduCore, ByteArraysCutAtTheEndAndGrowOnWrite) {
    PDU p = FromText(PDU::acl_channel, "0102030405");
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

TEST(PduCore, WordViewsCarryBytesAsWordsAndLongsHighWordFirst) {
    PCPDU p(PDU::tscmd_channel, 2);
    const uint8_t bytes[] = {0x81, 0x82};
    const uint32_t longs[] = {0x11223344};
    p.set_uint8Array(bytes, 2, 2);
    p.set_uint32Array(longs, 6, 1);
    EXPECT_EQ(Hex(p), "00008100820022114433");

    uint8_t back[3] = {};
    uint32_t longBack[2] = {};
    EXPECT_EQ(p.get_uint8Array(back, 2, 3), 3u);  // the third element is the high word 0x1122
    EXPECT_EQ(Hex(Bytes(back, back + 3)), "818222");
    EXPECT_EQ(p.get_uint32Array(longBack, 6, 2), 1u);
    EXPECT_EQ(longBack[0], 0x11223344u);
}

TEST(PduCore, VendorHeadersKeepTheirMinimumSizes) {
    TSCMD_PDU small(0x4001, 4);
    EXPECT_EQ(Hex(small), "000009000000014000000000000000000000");
    small.resize(0);
    EXPECT_EQ(small.size(), 18u);

    HQ_PDU hq(0x1234, 4);
    EXPECT_EQ(Hex(hq), "00000200");
    hq.resize(2);
    EXPECT_EQ(hq.size(), 9u);
    EXPECT_EQ(hq.get_payload_length(), 0xFFFFu);

    // A view of a received packet that is too short reads the missing words as 0.
    const PDU received = FromText(PDU::tscmd_channel, "0100090007000370");
    const TSCMD_PS_PDU ps(received);
    EXPECT_EQ(ps.get_varid(), 0x7003u);
    EXPECT_EQ(ps.get_id(), 0u);
    uint16_t words[2] = {};
    EXPECT_EQ(ps.get_psmem(words, 2), 0u);

    TSCMD_PDU grow(0x1234, 18);
    const uint16_t payload[] = {1, 2, 3, 4, 5};
    grow.set_payload(payload, 5);
    EXPECT_EQ(grow.size(), 20u);
    EXPECT_EQ(grow.get_length(), 10u);
}

TEST(PduCore, HciLengthFieldsFollowTheSizeAndWrap) {
    HCICommandPDU inquiry(0x0401, 8);
    EXPECT_EQ(Hex(inquiry), "0104050000000000");
    EXPECT_EQ(inquiry.get_OGF(), 1u);
    EXPECT_EQ(inquiry.get_OCF(), 1u);
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

    const HCICommandCompletePDU complete(FromText(PDU::hci_channel, "0e0401030c00"));
    unsigned long array[6] = {99, 0, 0, 0, 0, 99};
    unsigned long index = 0;
    BadPDUReason reason = bad_return_length;
    ASSERT_TRUE(complete.decompose(array, reason, index));
    EXPECT_EQ(index, 5u);
    EXPECT_EQ(std::vector<unsigned long>(array, array + 6), (std::vector<unsigned long>{99, 14, 1, 0x0C03, 0, 99}));
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
    const HCISCOPDU sco(FromText(PDU::sco_channel, "0100"));
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
    uint8_t out[8] = {};
    EXPECT_EQ(stream.get_stream_data(out, 8), 3u);
    const uint16_t words[] = {0xAABB};
    stream.set_stream_data16(words, 1);
    EXPECT_EQ(stream.get_stream_size(), 4u);
    // Byte 4 does not count, though the flag read spans it.
    EXPECT_FALSE(VM_PDU(FromText(PDU::vm_channel, "030000fc03")).is_stream());

    const uint16_t packet[] = {3, 0x0005, 0x0607};
    const VM_PDU copied(packet);
    EXPECT_EQ(Hex(copied), "030005000706");
    uint16_t back[4] = {};
    EXPECT_EQ(copied.get_packet(back), 3u);
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

}  // namespace
