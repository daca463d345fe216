// Fuzz target for the split of a frame from the WLAN test firmware into
// signal and bulk (DecodeUdiMessage). The frame lies in a heap block of
// exactly its size, so that ASan sees any read or write past it.
//
// What must hold: a frame is refused exactly when it is no longer than its
// header, or its signal or total length runs past the bytes received; a
// frame taken gives a signal of the declared length and a bulk of what the
// total length leaves, both copied from the frame; bytes 8 and 9 of a signal
// that has them say the true bulk length. And the other way round: what the
// simulated firmware builds from a signal and a bulk decodes to them again.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <vector>

#include "commstest/CommstestError.h"
#include "commstest/udipayload.h"
#include "fuzz/fuzz_check.h"
#include "sim/wlanfw/udi_frame.h"

namespace wf = tavo::sim::wlanfw;

namespace {

uint32_t U32(const uint8_t* p) {
    return static_cast<uint32_t>(p[0]) | static_cast<uint32_t>(p[1]) << 8 | static_cast<uint32_t>(p[2]) << 16 |
           static_cast<uint32_t>(p[3]) << 24;
}

bool Decodes(const std::vector<uint8_t>& bytes, UdiPayload& payload) {
    const auto exact = std::make_unique<uint8_t[]>(bytes.size());
    if (!bytes.empty()) std::memcpy(exact.get(), bytes.data(), bytes.size());
    try {
        payload = DecodeUdiMessage(exact.get(), exact.get() + bytes.size());
        return true;
    } catch (const CCommstestError& error) {
        FUZZ_CHECK(error.code() == COMMSTEST_PROTOCOL);
        return false;
    }
}

void AsReceived(const uint8_t* data, size_t size) {
    const auto frame = std::make_unique<uint8_t[]>(size);
    if (size > 0) std::memcpy(frame.get(), data, size);
    bool taken = false;
    UdiPayload payload;
    try {
        payload = DecodeUdiMessage(frame.get(), frame.get() + size);
        taken = true;
    } catch (const CCommstestError& error) {
        FUZZ_CHECK(error.code() == COMMSTEST_PROTOCOL);
    }
    if (size <= kUdiHeaderLength) {
        FUZZ_CHECK(!taken);
        return;
    }
    const uint64_t total = U32(data);
    const uint64_t signalLength = U32(data + 12);
    const uint64_t signalEnd = kUdiHeaderLength + signalLength;
    FUZZ_CHECK(taken == (signalEnd <= size && total <= size));
    if (!taken) return;

    FUZZ_CHECK(payload.signal.size() == signalLength);
    FUZZ_CHECK(payload.bulk.size() == (total > signalEnd ? total - signalEnd : 0));
    FUZZ_CHECK(payload.signal.size() + payload.bulk.size() <= size - kUdiHeaderLength);
    // The signal is the frame's bytes as the decode left them (with the
    // bulk length written in), the bulk the bytes behind the signal.
    FUZZ_CHECK(signalLength == 0 || std::memcmp(payload.signal.data(), frame.get() + kUdiHeaderLength, signalLength) == 0);
    FUZZ_CHECK(payload.bulk.empty() || std::memcmp(payload.bulk.data(), data + signalEnd, payload.bulk.size()) == 0);
    if (signalLength > 9) {
        const uint32_t bulkLength = static_cast<uint32_t>(total - signalEnd);  // wraps when total is short
        FUZZ_CHECK(GetU16(payload.signal, 8) == (bulkLength & 0xFFFF));
    }
    // Bytes of the frame other than the bulk length are left alone.
    for (size_t i = 0; i < size; ++i) {
        const bool written = signalLength > 9 && (i == kUdiHeaderLength + 8 || i == kUdiHeaderLength + 9);
        FUZZ_CHECK(written || frame[i] == data[i]);
    }
}

void RoundTrip(const uint8_t* data, size_t size) {
    if (size == 0) return;
    const size_t signalLength = data[0] % size;
    wf::Bytes signal(data + 1, data + 1 + signalLength);
    wf::Bytes bulk(data + 1 + signalLength, data + size);
    const wf::OutgoingSignal out = wf::WithBulk(signal, bulk);
    const wf::Bytes frame = wf::BuildUdiFrame(out, data[0]);
    UdiPayload payload;
    const bool taken = Decodes(frame, payload);
    FUZZ_CHECK(taken == (frame.size() > kUdiHeaderLength));
    if (!taken) return;
    FUZZ_CHECK(payload.signal == out.signal && payload.bulk == out.bulk);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    if (size > 8192) return 0;
    AsReceived(data, size);
    RoundTrip(data, size);
    return 0;
}
