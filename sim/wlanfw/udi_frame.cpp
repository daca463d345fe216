#include "sim/wlanfw/udi_frame.h"

#include <algorithm>

#include "sim/wlanfw/signals.h"

namespace tavo::sim::wlanfw {
namespace {

// Bytes a broken header claims beyond what the datagram holds.
constexpr std::uint32_t kOverrun = 64;

Bytes Header(std::uint32_t total, std::uint32_t sequence, std::uint32_t signalLength) {
    Bytes header(kUdiHeaderSize, 0);
    PutU32(header, 0, total);
    PutU32(header, 4, sequence);
    PutU32(header, 12, signalLength);
    return header;
}

}  // namespace

Bytes NewSignal(std::uint16_t id, std::size_t size) {
    Bytes signal(std::max(size, kSignalHeadSize), 0);
    PutU16(signal, 0, id);
    PutU16(signal, 4, kClientSenderId);
    return signal;
}

OutgoingSignal WithBulk(Bytes signal, Bytes bulk) {
    PutU16(signal, 8, static_cast<std::uint16_t>(std::min<std::size_t>(bulk.size(), 0xFFFF)));
    return OutgoingSignal{std::move(signal), std::move(bulk)};
}

Bytes BuildUdiFrame(const OutgoingSignal& out, std::uint32_t sequence) {
    const std::size_t total = kUdiHeaderSize + out.signal.size() + out.bulk.size();
    Bytes frame = Header(static_cast<std::uint32_t>(total), sequence, static_cast<std::uint32_t>(out.signal.size()));
    frame.reserve(total);
    frame.insert(frame.end(), out.signal.begin(), out.signal.end());
    frame.insert(frame.end(), out.bulk.begin(), out.bulk.end());
    return frame;
}

const char* MalformedName(MalformedFrame kind) {
    switch (kind) {
        case MalformedFrame::kShortDatagram: return "short datagram";
        case MalformedFrame::kHeaderOnly: return "header only";
        case MalformedFrame::kSignalOverrun: return "signal overrun";
        case MalformedFrame::kTotalOverrun: return "total overrun";
    }
    return "?";
}

Bytes BuildMalformedFrame(MalformedFrame kind, const OutgoingSignal& out, std::uint32_t sequence) {
    const auto signalLength = static_cast<std::uint32_t>(out.signal.size());
    const auto total = static_cast<std::uint32_t>(kUdiHeaderSize + out.signal.size() + out.bulk.size());
    switch (kind) {
        case MalformedFrame::kShortDatagram: {
            Bytes header = Header(8, sequence, 0);
            header.resize(8);
            return header;
        }
        case MalformedFrame::kHeaderOnly:
            return Header(static_cast<std::uint32_t>(kUdiHeaderSize), sequence, 0);
        case MalformedFrame::kSignalOverrun: {
            // The signal as sent, but announced longer than the datagram.
            Bytes frame = Header(total + kOverrun, sequence, signalLength + kOverrun);
            frame.insert(frame.end(), out.signal.begin(), out.signal.end());
            return frame;
        }
        case MalformedFrame::kTotalOverrun: {
            Bytes frame = BuildUdiFrame(out, sequence);
            PutU32(frame, 0, total + kOverrun);
            return frame;
        }
    }
    return BuildUdiFrame(out, sequence);
}

}  // namespace tavo::sim::wlanfw
