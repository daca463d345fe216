#include "sim/btctl/vendor_answer.h"

namespace tavo::sim::btctl {

std::optional<Bytes> AnswerVendorPdu(const Bytes& request) {
    if (request.size() < kVendorHeaderBytes) return std::nullopt;
    Bytes response = request;
    response[0] = static_cast<std::uint8_t>(kVendorResponse & 0xFF);  // request type
    response[1] = static_cast<std::uint8_t>(kVendorResponse >> 8);
    response[8] = 0;  // status
    response[9] = 0;
    return response;
}

}  // namespace tavo::sim::btctl
