#include "sim/wlanfw/requests.h"

namespace tavo::sim::wlanfw {
namespace {

MacAddress GetMac(const Bytes& bytes, std::size_t offset) {
    MacAddress mac{};
    for (std::size_t i = 0; i < mac.size(); ++i) mac[i] = GetU8(bytes, offset + i);
    return mac;
}

}  // namespace

const char* ProblemText(FrameProblem problem) {
    switch (problem) {
        case FrameProblem::kNone: return "well formed";
        case FrameProblem::kShorterThanHead: return "shorter than a signal head";
        case FrameProblem::kUnknownId: return "unknown signal id";
        case FrameProblem::kShortSignal: return "signal shorter than its size";
        case FrameProblem::kShortBulk: return "bulk shorter than announced";
    }
    return "?";
}

RequestFrame SplitRequest(const Bytes& datagram) {
    RequestFrame frame;
    frame.raw = datagram;
    if (datagram.size() < kSignalHeadSize) {
        frame.problem = FrameProblem::kShorterThanHead;
        return frame;
    }
    frame.id = GetU16(datagram, 0);
    frame.info = FindRequest(frame.id);
    if (frame.info == nullptr) {
        frame.problem = FrameProblem::kUnknownId;
        return frame;
    }
    const std::size_t signalSize = frame.info->requestSize;
    if (datagram.size() < signalSize) {
        frame.problem = FrameProblem::kShortSignal;
        return frame;
    }
    frame.signal.assign(datagram.begin(), datagram.begin() + static_cast<std::ptrdiff_t>(signalSize));
    // The head announces the bulk; a pad byte behind it (mib_get_req with an
    // odd index count) is not part of it.
    const std::size_t announced = GetU16(datagram, 8);
    if (datagram.size() - signalSize < announced) {
        frame.problem = FrameProblem::kShortBulk;
        return frame;
    }
    const auto bulkBegin = datagram.begin() + static_cast<std::ptrdiff_t>(signalSize);
    frame.bulk.assign(bulkBegin, bulkBegin + static_cast<std::ptrdiff_t>(announced));
    return frame;
}

SetTxParamsRequest DecodeSetTxParams(const RequestFrame& frame) {
    const Bytes& s = frame.signal;
    SetTxParamsRequest r;
    r.freq = GetU16(s, 10);
    r.rate = GetU16(s, 12);
    r.bandwidth = GetU8(s, 14);
    r.position = GetU8(s, 15);
    r.power = static_cast<std::int8_t>(GetU8(s, 16));
    r.constantOne = GetU8(s, 17);
    r.length = GetU16(s, 18);
    r.interval = GetU32(s, 20);
    r.flags = GetU16(s, 24);
    r.word28 = GetU16(s, 28);
    r.regDomain = GetU16(s, 30);
    r.flags2 = GetU16(s, 32);
    r.heMode = GetU16(s, 34);
    r.heRuAllocation = GetU8(s, 36);
    r.heLtf = GetU8(s, 37);
    r.raw = frame.raw;
    return r;
}

TxStartRequest DecodeTxStart(const RequestFrame& frame) {
    const Bytes& s = frame.signal;
    TxStartRequest r;
    r.numFramesToSend = GetU32(s, 10);
    r.dataType = GetU16(s, 14);
    r.dataParam = GetU16(s, 16);
    r.destAddr = GetMac(s, 18);
    r.srcAddr = GetMac(s, 24);
    r.bssId = GetMac(s, 30);
    r.raw = frame.raw;
    return r;
}

RxStartRequest DecodeRxStart(const RequestFrame& frame) {
    const Bytes& s = frame.signal;
    RxStartRequest r;
    r.freq = GetU16(s, 10);
    r.bandwidth = GetU8(s, 12);
    r.position = GetU8(s, 13);
    r.flags = GetU16(s, 14);
    r.macAddress = GetMac(s, 16);
    r.raw = frame.raw;
    return r;
}

CwStartRequest DecodeCwStart(const RequestFrame& frame) {
    const Bytes& s = frame.signal;
    CwStartRequest r;
    r.freq = GetU16(s, 10);
    r.power = static_cast<std::int8_t>(GetU8(s, 12));
    r.constantOne = GetU8(s, 13);
    r.amplitude = GetU16(s, 18);
    r.freqOffset = static_cast<std::int32_t>(GetU32(s, 20));
    r.raw = frame.raw;
    return r;
}

SelectRadioRequest DecodeSelectRadio(const RequestFrame& frame) {
    SelectRadioRequest r;
    r.bitmap = GetU16(frame.signal, 10);
    r.raw = frame.raw;
    return r;
}

BistGetTxGainRequest DecodeBistGetTxGain(const RequestFrame& frame) {
    const Bytes& s = frame.signal;
    BistGetTxGainRequest r;
    r.freq = GetU16(s, 10);
    r.txGain = GetU16(s, 12);
    r.rxGain = GetU16(s, 14);
    r.raw = frame.raw;
    return r;
}

std::optional<RxReadRequest> DecodeRxRead(const RequestFrame& frame) {
    const Bytes& b = frame.bulk;
    if (b.size() < 2) return std::nullopt;
    const std::size_t count = GetU16(b, 0);
    if ((b.size() - 2) / 2 < count) return std::nullopt;
    RxReadRequest r;
    r.counters.reserve(count);
    for (std::size_t i = 0; i < count; ++i) r.counters.push_back(GetU16(b, 2 + 2 * i));
    r.raw = frame.raw;
    return r;
}

std::optional<MibGetRequest> DecodeMibGet(const RequestFrame& frame) {
    const Bytes& b = frame.bulk;
    if (b.size() < 4) return std::nullopt;
    const std::size_t count = GetU16(b, 2);
    if (b.size() - 4 < count) return std::nullopt;
    MibGetRequest r;
    r.psid = GetU16(b, 0);
    r.indices.assign(b.begin() + 4, b.begin() + 4 + static_cast<std::ptrdiff_t>(count));
    r.raw = frame.raw;
    return r;
}

}  // namespace tavo::sim::wlanfw
