#include "commstest/udipayload.h"

#include "commstest/CommstestError.h"
#include "commstest/ct_trace.h"

namespace {

uint32_t ReadU32(const uint8_t* p) {
    return static_cast<uint32_t>(p[0]) | (static_cast<uint32_t>(p[1]) << 8) | (static_cast<uint32_t>(p[2]) << 16) |
           (static_cast<uint32_t>(p[3]) << 24);
}

}  // namespace

UdiPayload DecodeUdiMessage(const uint8_t* begin, const uint8_t* end) {
    // Sizes are compared, never pointers moved past the end: a declared length
    // can be anything a firmware or a line error puts there.
    const size_t available = begin != nullptr && end > begin ? static_cast<size_t>(end - begin) : 0;
    if (available <= kUdiHeaderLength) throw CCommstestError("Insufficient data in signal header", COMMSTEST_PROTOCOL);

    const uint32_t totalLength = ReadU32(begin);
    const uint32_t signalLength = ReadU32(begin + 12);
    if (signalLength > 9 && kUdiHeaderLength + 10 <= available) {
        const uint32_t bulkLength = totalLength - static_cast<uint32_t>(kUdiHeaderLength) - signalLength;
        uint8_t* head = const_cast<uint8_t*>(begin) + kUdiHeaderLength;
        head[8] = static_cast<uint8_t>(bulkLength & 0xFF);
        head[9] = static_cast<uint8_t>((bulkLength >> 8) & 0xFF);
    }
    CT_TRACE_GROUP(kGroupUnknown, "udipayload", 3,
                   "udi header signal length = %d, udi header length = %d, header length=%d",
                   static_cast<int>(signalLength), static_cast<int>(totalLength), static_cast<int>(kUdiHeaderLength));

    const uint64_t signalEnd = kUdiHeaderLength + static_cast<uint64_t>(signalLength);
    if (signalEnd > available) throw CCommstestError("Insufficient data in signal body", COMMSTEST_PROTOCOL);
    if (totalLength > available) throw CCommstestError("Insufficient data in bulk data", COMMSTEST_PROTOCOL);

    UdiPayload payload;
    payload.signal.assign(begin + kUdiHeaderLength, begin + signalEnd);
    if (totalLength > signalEnd) payload.bulk.assign(begin + signalEnd, begin + totalLength);
    return payload;
}
