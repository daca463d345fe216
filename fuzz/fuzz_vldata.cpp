// Fuzz target for the readers of VL-encoded MIB values (vldata.h), on raw
// pointers into a heap block of exactly the input's size and on the vector
// iterators the client uses.
//
// What must hold: a number read fits the count of bytes its leading byte
// gives, and a string read is no longer than the bytes behind its length
// field and is those bytes; both read the same through either iterator
// kind; and what the simulated firmware encodes, from the value just read or
// from the input's own bytes, reads back as the same value.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "commstest/CommstestError.h"
#include "commstest/vldata.h"
#include "fuzz/fuzz_check.h"
#include "sim/wlanfw/vl_encoding.h"

namespace wf = tavo::sim::wlanfw;
using CommstestVldata::ReadVlDataEncodedString;
using CommstestVldata::ReadVlDataEncodedUnsigned;

namespace {

template <typename Read>
bool Reads(Read read) {
    try {
        read();
        return true;
    } catch (const CCommstestError& error) {
        FUZZ_CHECK(error.code() == COMMSTEST_PROTOCOL);
        return false;
    }
}

void Numbers(const uint8_t* begin, const uint8_t* end) {
    const size_t size = static_cast<size_t>(end - begin);
    uint64_t value = 0;
    const bool read = Reads([&] { value = ReadVlDataEncodedUnsigned(begin, end); });
    const std::vector<uint8_t> copy(begin, end);
    uint64_t again = 0;
    FUZZ_CHECK(read == Reads([&] { again = ReadVlDataEncodedUnsigned(copy.cbegin(), copy.cend()); }));
    if (!read) return;
    FUZZ_CHECK(again == value && size > 0);
    const uint8_t lead = begin[0];
    if ((lead & 0x80) == 0) {
        FUZZ_CHECK(lead < 0x40 && value == lead);
    } else {
        const size_t count = lead & 0x1F;
        FUZZ_CHECK((lead & 0x60) == 0 && count <= 8 && 1 + count <= size);
        FUZZ_CHECK(count == 8 || value < (uint64_t{1} << (8 * count)));
    }
    const wf::Bytes encoded = wf::EncodeVlUnsigned(value);
    FUZZ_CHECK(ReadVlDataEncodedUnsigned(encoded.cbegin(), encoded.cend()) == value);
}

void Strings(const uint8_t* begin, const uint8_t* end) {
    const size_t size = static_cast<size_t>(end - begin);
    std::string value;
    const bool read = Reads([&] { value = ReadVlDataEncodedString(begin, end); });
    const std::vector<uint8_t> copy(begin, end);
    std::string again;
    FUZZ_CHECK(read == Reads([&] { again = ReadVlDataEncodedString(copy.cbegin(), copy.cend()); }));
    if (!read) return;
    FUZZ_CHECK(again == value && size > 0);
    const uint8_t lead = begin[0];
    const size_t lengthBytes = lead & 0x1F;
    FUZZ_CHECK((lead & 0xA0) == 0xA0 && lengthBytes <= 4 && 1 + lengthBytes + value.size() <= size);
    FUZZ_CHECK(value.empty() || std::memcmp(value.data(), begin + 1 + lengthBytes, value.size()) == 0);
    const wf::Bytes encoded = wf::EncodeVlOctetString(value);
    FUZZ_CHECK(ReadVlDataEncodedString(encoded.cbegin(), encoded.cend()) == value);
}

// The input's bytes as values the firmware would send.
void Encoded(const uint8_t* data, size_t size) {
    uint64_t number = 0;
    std::memcpy(&number, data, size < sizeof number ? size : sizeof number);
    number >>= (data[0] & 0x3F);  // small numbers too, and every width
    const wf::Bytes asNumber = wf::EncodeVlUnsigned(number);
    FUZZ_CHECK(ReadVlDataEncodedUnsigned(asNumber.cbegin(), asNumber.cend()) == number);
    const std::string text(reinterpret_cast<const char*>(data), size);
    const wf::Bytes asText = wf::EncodeVlOctetString(text);
    FUZZ_CHECK(ReadVlDataEncodedString(asText.cbegin(), asText.cend()) == text);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    if (size > 8192) return 0;
    const auto exact = std::make_unique<uint8_t[]>(size);
    if (size > 0) std::memcpy(exact.get(), data, size);
    Numbers(exact.get(), exact.get() + size);
    Strings(exact.get(), exact.get() + size);
    if (size > 0) Encoded(data, size);
    return 0;
}
