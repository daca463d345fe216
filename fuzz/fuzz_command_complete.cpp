// Fuzz target for what the library reads out of HCI events: Command
// Complete decomposition (decomposeCommandCompletePDU, every return class)
// into the caller's parameter array, the event views' field and byte-array
// getters, and the command factory reading a caller's array
// (createCommandPDU).
//
// Input: byte 0 steers the array's room (with its top bit, the packet gets
// the opcode of a return class picked by bytes 1-2; with the next, a
// Command Complete header whose length is right); the rest is the event.
//
// What must hold: an array of any room, a heap block of exactly that many
// elements, gets either the count that a null array gets, with the elements
// that fit equal to those of an array of full room, or 0 (a byte array that
// did not fit); enough room always gets the count. Nothing at or past the
// room is written (ASan sees it), element 0 and the elements past the count
// are left alone. A refused event is refused whatever the array. Field reads
// past the end give 0; a byte-array getter copies exactly what the event
// holds of its field into a buffer of exactly the field's size.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <vector>

#include "fuzz/fuzz_check.h"
#include "pdu/hci_events.h"
#include "pdu/hci_factory.h"
#include "pdu/hcipdu.h"

namespace {

constexpr unsigned long kUntouched = 0xA5A5A5A5UL;
const BadPDUReason kNoReason = static_cast<BadPDUReason>(15);

std::vector<uint16_t> Codes(const char* family) {
    std::vector<uint16_t> codes;
    for (unsigned long i = 0; i < kPacketClassCount; ++i) {
        if (std::strcmp(kPacketClasses[i].family, family) == 0) codes.push_back(kPacketClasses[i].code);
    }
    return codes;
}

std::unique_ptr<unsigned long[]> Array(unsigned long room) {
    std::unique_ptr<unsigned long[]> array(new unsigned long[room]);
    for (unsigned long i = 0; i < room; ++i) array[i] = kUntouched;
    array[0] = room;
    return array;
}

void Decompose(const PDU& pdu, unsigned long room) {
    BadPDUReason reason = kNoReason;
    const unsigned long count = HCIPDUFactory::decomposeCommandCompletePDU(pdu, nullptr, reason);
    FUZZ_CHECK(count == 0 || count >= 5);

    const auto small = Array(room);
    BadPDUReason smallReason = kNoReason;
    const unsigned long smallCount = HCIPDUFactory::decomposeCommandCompletePDU(pdu, small.get(), smallReason);
    FUZZ_CHECK(small[0] == room);
    if (count == 0) {
        FUZZ_CHECK(smallCount == 0 && smallReason == reason);
        return;
    }
    FUZZ_CHECK(smallCount == 0 || smallCount == count);
    FUZZ_CHECK(smallCount == count || room < count);
    for (unsigned long i = count; i < room; ++i) FUZZ_CHECK(small[i] == kUntouched);
    if (count > (1ul << 18)) return;
    const auto full = Array(count);
    BadPDUReason fullReason = kNoReason;
    FUZZ_CHECK(HCIPDUFactory::decomposeCommandCompletePDU(pdu, full.get(), fullReason) == count);
    const HCICommandCompletePDU complete(pdu);
    FUZZ_CHECK(full[0] == count && full[1] == complete.get_event_code() && full[3] == complete.get_op_code());
    if (smallCount == count) {
        for (unsigned long i = 1; i < count && i < room; ++i) FUZZ_CHECK(small[i] == full[i]);
    }
}

void Fields(const PDU& pdu, const uint8_t* bytes, unsigned long length) {
    const HCIEventPDU event(pdu);
    for (unsigned long offset = 0; offset < length + 8; ++offset) {
        const unsigned byte = offset < length ? bytes[offset] : 0;
        FUZZ_CHECK(event.get_uint8(offset) == byte);
        const unsigned next = offset + 1 < length ? bytes[offset + 1] : 0;
        FUZZ_CHECK(event.get_uint16(offset) == (byte | next << 8));
    }
    FUZZ_CHECK(event.size_ok() == (length >= 2 && length == bytes[1] + 2ul));
}

// A byte-array getter into a heap block of exactly the field's size.
template <typename View, unsigned long Offset, unsigned long Size>
void Field(const PDU& pdu, const uint8_t* bytes, unsigned long length,
           unsigned long (View::*get)(uint8_t*) const) {
    const View view(pdu);
    const auto buffer = std::make_unique<uint8_t[]>(Size);
    const unsigned long held = length > Offset ? length - Offset : 0;
    const unsigned long copied = (view.*get)(buffer.get());
    FUZZ_CHECK(copied == (held < Size ? held : Size));
    FUZZ_CHECK(copied == 0 || std::memcmp(buffer.get(), bytes + Offset, copied) == 0);
}

void Arrays(const PDU& pdu, const uint8_t* bytes, unsigned long length) {
    Field<HCI_EV_REMOTE_NAME_REQ_COMPLETE_T_PDU, 9, 248>(pdu, bytes, length,
                                                         &HCI_EV_REMOTE_NAME_REQ_COMPLETE_T_PDU::get_remote_name);
    Field<HCI_EV_READ_REM_SUPP_FEATURES_COMPLETE_T_PDU, 5, 8>(
        pdu, bytes, length, &HCI_EV_READ_REM_SUPP_FEATURES_COMPLETE_T_PDU::get_lmp_features);
    Field<HCI_EV_LINK_KEY_NOTIFICATION_T_PDU, 8, 16>(pdu, bytes, length,
                                                     &HCI_EV_LINK_KEY_NOTIFICATION_T_PDU::get_link_key);
    Field<HCI_EV_READ_REM_EXT_FEATURES_COMPLETE_T_PDU, 7, 8>(
        pdu, bytes, length, &HCI_EV_READ_REM_EXT_FEATURES_COMPLETE_T_PDU::get_extended_lmp_features);
    Field<HCI_EV_EXTENDED_INQUIRY_RESULT_T_PDU, 17, 240>(pdu, bytes, length,
                                                         &HCI_EV_EXTENDED_INQUIRY_RESULT_T_PDU::get_eir_data);
    Field<HCI_EV_REM_HOST_SUPPORTED_FEATURES_T_PDU, 8, 8>(
        pdu, bytes, length, &HCI_EV_REM_HOST_SUPPORTED_FEATURES_T_PDU::get_host_supported_features);
    Field<HCI_EV_ULP_T_PDU, 3, 100>(pdu, bytes, length, &HCI_EV_ULP_T_PDU::get_subevent_parameters);
    Field<HCI_EV_SYNCHRONIZATION_TRAIN_RECEIVED_T_PDU, 13, 10>(
        pdu, bytes, length, &HCI_EV_SYNCHRONIZATION_TRAIN_RECEIVED_T_PDU::get_afh_channel_map);
}

// The command factory with a caller's array of exactly `count` elements.
void Create(const uint8_t* data, size_t size, unsigned long count, uint16_t opcode) {
    const auto parameters = Array(count);
    for (unsigned long i = 1; i < count; ++i) {
        const size_t at = 2 * (i - 1);
        parameters[i] = at + 1 < size ? static_cast<unsigned long>(data[at] | data[at + 1] << 8) : 0;
    }
    if (count > 1) parameters[1] = opcode;
    std::unique_ptr<HCIPDU> built(HCIPDUFactory::createCommandPDU(parameters.get()));
    if (!built) return;
    FUZZ_CHECK(HCICommandPDU(*built).get_op_code() == opcode && built->size() >= 3);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    if (size < 3 || size > 4096) return 0;
    static const std::vector<uint16_t> returns = Codes("ret");
    static const std::vector<uint16_t> commands = Codes("cmd");
    const uint8_t steer = data[0];
    const unsigned pick = data[1] | data[2] << 8;
    std::vector<uint8_t> bytes(data + 3, data + size);
    if ((steer & 0x80) != 0 && bytes.size() >= 5) {
        const uint16_t opcode = returns[pick % returns.size()];
        bytes[3] = static_cast<uint8_t>(opcode & 0xFF);
        bytes[4] = static_cast<uint8_t>(opcode >> 8);
    }
    if ((steer & 0x40) != 0 && bytes.size() >= 2 && bytes.size() <= 257) {
        bytes[0] = HCICommandCompletePDU::event_code;
        bytes[1] = static_cast<uint8_t>(bytes.size() - 2);
    }
    const unsigned long length = bytes.size();
    const PDU pdu(PDU::hci_channel, bytes.data(), length);
    Decompose(pdu, 1 + steer % 40);
    Fields(pdu, bytes.data(), length);
    Arrays(pdu, bytes.data(), length);
    Create(bytes.data(), length, 1 + steer % 16, commands[pick % commands.size()]);
    return 0;
}
