// Fuzz target for the decomposition of vendor replies (decomposeTSCMD_PDU)
// into the caller's parameter array, and for the vendor command factory
// reading a caller's array (createTSCMD_PDU).
//
// Input: byte 0 steers the array's room (and, with its top bit, makes the
// packet a response of a vendor class picked by bytes 1-2); the rest is the
// packet.
//
// What must hold: a reply is refused exactly when it is not a response, is
// below the minimum or shorter than its length word, with that reason; a
// taken reply counts at least the four header elements. An array of any
// room, a heap block of exactly that many elements, gets the same count, in
// element 0, and the elements that fit are those an array of full room
// gets; nothing at or past the room is written (ASan sees it), and the
// elements past the count are left alone. The factory reads no element past
// the count that element 0 gives, and its packet has the request type and
// sequence number the array gave.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <vector>

#include "fuzz/fuzz_check.h"
#include "pdu/hci_factory.h"
#include "pdu/pcpdu.h"

namespace {

constexpr unsigned long kUntouched = 0xA5A5A5A5UL;
// Within the reason enum's range, and none of its values.
const BadPDUReason kNoReason = static_cast<BadPDUReason>(15);

const std::vector<uint16_t>& VendorIds() {
    static const std::vector<uint16_t> ids = [] {
        std::vector<uint16_t> v;
        for (unsigned long i = 0; i < kPacketClassCount; ++i) {
            if (std::strcmp(kPacketClasses[i].family, "vendor") == 0) v.push_back(kPacketClasses[i].code);
        }
        return v;
    }();
    return ids;
}

std::unique_ptr<unsigned long[]> Array(unsigned long room) {
    std::unique_ptr<unsigned long[]> array(new unsigned long[room]);
    for (unsigned long i = 0; i < room; ++i) array[i] = kUntouched;
    array[0] = room;
    return array;
}

void Decompose(const PDU& pdu, unsigned long room) {
    const TSCMD_PDU view(pdu);
    BadPDUReason reason = kNoReason;
    const unsigned long count = HCIPDUFactory::decomposeTSCMD_PDU(pdu, nullptr, reason);
    if (view.get_req_type() != 1) {
        FUZZ_CHECK(count == 0 && reason == vendor_not_a_response);
    } else if (pdu.size() < TSCMD_PDU::minimum_bytes) {
        FUZZ_CHECK(count == 0 && reason == vendor_below_minimum);
    } else if (pdu.size() < 2ul * view.get_length()) {
        FUZZ_CHECK(count == 0 && reason == vendor_shorter_than_length);
    } else {
        FUZZ_CHECK(count >= 4 && reason == kNoReason);
    }

    const auto small = Array(room);
    BadPDUReason smallReason = kNoReason;
    const unsigned long smallCount = HCIPDUFactory::decomposeTSCMD_PDU(pdu, small.get(), smallReason);
    FUZZ_CHECK(smallCount == count && smallReason == reason);
    if (count == 0) {
        for (unsigned long i = 0; i < room; ++i) FUZZ_CHECK(small[i] == (i == 0 ? room : kUntouched));
        return;
    }
    FUZZ_CHECK(small[0] == count);
    for (unsigned long i = count; i < room; ++i) FUZZ_CHECK(small[i] == kUntouched);
    // A count from a length field can be large; the full array is only for
    // the comparison, so very large ones skip it.
    if (count > (1ul << 18)) return;
    const auto full = Array(count);
    FUZZ_CHECK(HCIPDUFactory::decomposeTSCMD_PDU(pdu, full.get(), reason) == count && full[0] == count);
    for (unsigned long i = 1; i < count && i < room; ++i) FUZZ_CHECK(small[i] == full[i]);
    FUZZ_CHECK(full[1] == view.get_varid() && full[2] == view.get_seq_no() && full[3] == view.get_status());
}

// The factory with a caller's array of exactly `count` elements.
void Create(const uint8_t* data, size_t size, unsigned long count, uint16_t varid) {
    const auto parameters = Array(count);
    for (unsigned long i = 1; i < count; ++i) {
        const size_t at = 2 * (i - 1);
        parameters[i] = at + 1 < size ? static_cast<unsigned long>(data[at] | data[at + 1] << 8) : 0;
    }
    if (count > 3) parameters[3] = varid;
    const TSCMD_PDU built = HCIPDUFactory::createTSCMD_PDU(parameters.get());
    if (built.size() == 0) return;
    // The varid is not checked: the fields of a few classes lie on the
    // header, and an array may set it to anything.
    FUZZ_CHECK(built.size() >= TSCMD_PDU::minimum_bytes && built.get_req_type() == static_cast<uint16_t>(parameters[1]) &&
               built.get_seq_no() == static_cast<uint16_t>(parameters[2]));
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    if (size < 3 || size > 4096) return 0;
    const uint8_t steer = data[0];
    const std::vector<uint16_t>& ids = VendorIds();
    const uint16_t varid = ids[(data[1] | data[2] << 8) % ids.size()];
    const uint8_t* bytes = data + 3;
    const unsigned long length = size - 3;

    const PDU pdu(PDU::tscmd_channel, bytes, length);
    if ((steer & 0x80) != 0 && length >= 8) {
        TSCMD_PDU view(pdu);  // shares the record: the writes show in pdu
        view.set_req_type(1);
        view.set_varid(varid);
    }
    Decompose(pdu, 1 + steer % 48);
    Create(bytes, length, 1 + steer % 14, varid);
    return 0;
}
