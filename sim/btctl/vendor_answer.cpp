#include "sim/btctl/vendor_answer.h"

#include "sim/btctl/radio_test.h"

namespace tavo::sim::btctl {
namespace {

constexpr std::size_t kLengthAt = 2;
constexpr std::size_t kLeCommandAt = 10;
constexpr std::size_t kLeCountAt = 12;

// Writes inside the PDU only; the caller sizes it first.
void PutWord(Bytes& pdu, std::size_t at, std::uint16_t value) {
    pdu[at] = static_cast<std::uint8_t>(value & 0xFF);
    pdu[at + 1] = static_cast<std::uint8_t>(value >> 8);
}

}  // namespace

std::uint16_t VendorWord(const Bytes& pdu, std::size_t at) {
    const std::uint16_t low = at < pdu.size() ? pdu[at] : 0;
    const std::uint16_t high = at + 1 < pdu.size() ? pdu[at + 1] : 0;
    return static_cast<std::uint16_t>(low | high << 8);
}

std::optional<Bytes> AnswerVendorPdu(const Bytes& request, const VendorSteering& steering, std::uint16_t lePackets) {
    if (request.size() < kVendorHeaderBytes) return std::nullopt;
    Bytes reply = request;
    const std::uint16_t id = VendorWord(request, kVendorVaridAt);
    if (id == varid::kRadioTest || id == varid::kLeRadioTest) {
        if (id == varid::kLeRadioTest && VendorWord(request, kLeCommandAt) == letest::kEndWithCount) {
            // A request cut before the channel word still gets its count.
            if (reply.size() < kLeCountAt + 2) reply.resize(kLeCountAt + 2);
            PutWord(reply, kLeCountAt, lePackets);
        }
        PutWord(reply, kLengthAt, static_cast<std::uint16_t>(reply.size() / 2));
    }
    PutWord(reply, 0, kVendorResponse);
    PutWord(reply, kVendorStatusAt, steering.status);
    if (steering.wrongSequence) {
        PutWord(reply, kVendorSequenceAt, static_cast<std::uint16_t>(VendorWord(request, kVendorSequenceAt) + 1));
    }
    if (steering.wrongVarid) PutWord(reply, kVendorVaridAt, static_cast<std::uint16_t>(id ^ 0x0001));
    return reply;
}

}  // namespace tavo::sim::btctl
