#include "sim/btctl/tunnel.h"

#include <algorithm>

namespace tavo::sim::btctl {

TunnelResult TunnelReassembler::Take(const Bytes& parameters) {
    TunnelResult result;
    if (parameters.empty()) {
        result.kind = TunnelResult::Kind::kNoDescriptor;
        return result;
    }
    const std::uint8_t descriptor = parameters[0];
    result.channel = descriptor & kChannelMask;
    result.first = (descriptor & kFirstBit) != 0;
    result.last = (descriptor & kLastBit) != 0;
    Bytes& buffer = buffers_[result.channel];
    if (result.first) buffer.clear();
    if (buffer.size() + parameters.size() - 1 > kMaxPdu) {
        buffer.clear();
        result.kind = TunnelResult::Kind::kTooLong;
        return result;
    }
    buffer.insert(buffer.end(), parameters.begin() + 1, parameters.end());
    if (result.last) {
        result.kind = TunnelResult::Kind::kComplete;
        result.pdu.swap(buffer);
        buffer.clear();
    }
    return result;
}

std::vector<Bytes> TunnelEvents(std::uint8_t channel, const Bytes& pdu) {
    std::vector<Bytes> events;
    for (std::size_t at = 0; at < pdu.size();) {
        const std::size_t length = std::min(kMaxEventFragment, pdu.size() - at);
        std::uint8_t descriptor = channel & kChannelMask;
        if (at == 0) descriptor |= kFirstBit;
        if (at + length == pdu.size()) descriptor |= kLastBit;
        Bytes event = {0x04, kTunnelEvent, static_cast<std::uint8_t>(length + 2), kTunnelMarker, descriptor};
        event.insert(event.end(), pdu.begin() + static_cast<long>(at), pdu.begin() + static_cast<long>(at + length));
        events.push_back(std::move(event));
        at += length;
    }
    return events;
}

}  // namespace tavo::sim::btctl
