// Readers of the VL encoding in which the firmware returns MIB values.
//
// A value starts with a leading byte. Bit 7 clear: the byte is the value
// (bit 6 marks it negative). Bit 7 set: bit 6 negative, bit 5 octet string,
// bits 4..0 the count of the bytes that follow, a big-endian integer (for a
// string: the big-endian length of the content that follows). Only unsigned
// numbers are accepted.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

#include "commstest/CommstestError.h"
#include "commstest/ct_trace.h"

namespace CommstestVldata {

extern const std::string GENERIC_DESERIALISATION_ERROR;

// Reads `length` bytes as a big-endian integer and advances `it` past them.
// More than 8 bytes shift the first ones out; callers keep below that.
template <typename IteratorType>
uint64_t ReadUnsignedAndIncrementIterator(IteratorType& it, IteratorType end, size_t length) {
    uint64_t res = 0;
    CT_TRACE_GROUP(kGroupCommstest, "vldata", 2, "ReadUnsignedAndIncrementIterator Length=%d, data available=%d",
                   static_cast<int>(length), static_cast<int>(end - it));
    if (length == 0) return 0;
    for (size_t index = 0; index < length; ++index) {
        if (it == end) throw CCommstestError(GENERIC_DESERIALISATION_ERROR, COMMSTEST_PROTOCOL);
        const unsigned char byte = static_cast<unsigned char>(*it);
        ++it;
        // The index placeholder is "&d": the index is deliberately not printed.
        CT_TRACE_GROUP(kGroupCommstest, "vldata", 2, "ReadUnsignedAndIncrementIterator byte[&d]=0x%02X", byte);
        const size_t shift = 8 * (length - 1 - index);
        if (shift < 64) res += static_cast<uint64_t>(byte) << shift;
        CT_TRACE_GROUP(kGroupCommstest, "vldata", 2, "ReadUnsignedAndIncrementIterator => res=0x%08X",
                       static_cast<unsigned int>(res));
    }
    return res;
}

template <typename IteratorType>
uint64_t ReadVlDataEncodedUnsigned(IteratorType begin, IteratorType end) {
    if (begin == end) throw CCommstestError("Empty response data", COMMSTEST_PROTOCOL);
    const unsigned char leadingByte = static_cast<unsigned char>(*begin);
    ++begin;
    CT_TRACE_GROUP(kGroupCommstest, "vldata", 2, "leadingByte = 0x%0X", leadingByte);
    if ((leadingByte & 0x80) == 0) {
        const bool negative = (leadingByte & 0x40) != 0;
        CT_TRACE_GROUP(kGroupCommstest, "vldata", 2, "Single byte: negative=%d", negative ? 1 : 0);
        if (negative) throw CCommstestError(GENERIC_DESERIALISATION_ERROR, COMMSTEST_PROTOCOL);
        return leadingByte;
    }
    const size_t numBytes = leadingByte & 0x1F;
    const bool octetString = (leadingByte & 0x20) != 0;
    CT_TRACE_GROUP(kGroupCommstest, "vldata", 2, "numBytes=%d octetString=%d", static_cast<int>(numBytes),
                   octetString ? 1 : 0);
    if (octetString || (leadingByte & 0x40) != 0) {
        throw CCommstestError(GENERIC_DESERIALISATION_ERROR, COMMSTEST_PROTOCOL);
    }
    if (numBytes > 8) throw CCommstestError("Numeric data too long", COMMSTEST_PROTOCOL);
    return ReadUnsignedAndIncrementIterator(begin, end, numBytes);
}

template <typename IteratorType>
std::string ReadVlDataEncodedString(IteratorType begin, IteratorType end) {
    if (begin == end) throw CCommstestError("Empty response data", COMMSTEST_PROTOCOL);
    const unsigned char leadingByte = static_cast<unsigned char>(*begin);
    ++begin;
    CT_TRACE_GROUP(kGroupCommstest, "vldata", 2, "leadingByte = 0x%0X", leadingByte);
    if ((leadingByte & 0x80) == 0 || (leadingByte & 0x20) == 0) {
        throw CCommstestError(GENERIC_DESERIALISATION_ERROR, COMMSTEST_PROTOCOL);
    }
    const size_t lengthBytes = leadingByte & 0x1F;
    if (lengthBytes > 4) throw CCommstestError("Numeric data too long", COMMSTEST_PROTOCOL);
    const uint64_t length = ReadUnsignedAndIncrementIterator(begin, end, lengthBytes);
    std::string value;
    // The length comes from outside: reserve no more than what is there.
    const auto available = static_cast<uint64_t>(end - begin);
    value.reserve(static_cast<size_t>(length < available ? length : available));
    for (uint64_t i = 0; i < length; ++i) {
        if (begin == end) throw CCommstestError(GENERIC_DESERIALISATION_ERROR, COMMSTEST_PROTOCOL);
        value.push_back(static_cast<char>(*begin));
        ++begin;
    }
    return value;
}

}  // namespace CommstestVldata
