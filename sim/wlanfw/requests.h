// Requests as the firmware decodes them from one datagram: the signal (its
// fixed size by id), the bulk that the head's bytes 8 and 9 announce, and
// every body field. Each record keeps the raw datagram, so that a test can
// check bytes that no field names.
#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <vector>

#include "sim/wlanfw/bytes.h"
#include "sim/wlanfw/signals.h"

namespace tavo::sim::wlanfw {

// Six bytes in transmission order.
using MacAddress = std::array<std::uint8_t, 6>;

// Why a datagram is not a well-formed request.
enum class FrameProblem {
    kNone,
    kShorterThanHead,  // fewer than 10 bytes: ignored
    kUnknownId,        // ignored
    kShortSignal,      // fewer signal bytes than the id's size: refused with 38
    kShortBulk,        // fewer bulk bytes than the head announces: refused with 38
};

const char* ProblemText(FrameProblem problem);

struct RequestFrame {
    FrameProblem problem = FrameProblem::kNone;
    std::uint16_t id = 0;               // 0 when shorter than a head
    const SignalInfo* info = nullptr;   // null for an unknown id
    Bytes raw;                          // the whole datagram
    Bytes signal;                       // the first info->requestSize bytes
    Bytes bulk;                         // the announced bulk; bytes behind it are ignored
};

// Splits a datagram. Never reads outside `datagram`.
RequestFrame SplitRequest(const Bytes& datagram);

struct SetTxParamsRequest {
    std::uint16_t freq = 0;
    std::uint16_t rate = 0;
    std::uint8_t bandwidth = 0;
    std::uint8_t position = 0;
    std::int8_t power = 0;
    std::uint8_t constantOne = 0;  // byte 17, which the library sets to 1
    std::uint16_t length = 0;
    std::uint32_t interval = 0;    // microseconds
    std::uint16_t flags = 0;
    std::uint16_t word28 = 0;      // the library's constant 0x00FF
    std::uint16_t regDomain = 0;
    std::uint16_t flags2 = 0;
    std::uint16_t heMode = 0;
    std::uint8_t heRuAllocation = 0;
    std::uint8_t heLtf = 0;
    Bytes raw;
};

struct TxStartRequest {
    std::uint32_t numFramesToSend = 0;
    std::uint16_t dataType = 0;
    std::uint16_t dataParam = 0;
    MacAddress destAddr{};
    MacAddress srcAddr{};
    MacAddress bssId{};
    Bytes raw;
};

struct RxStartRequest {
    std::uint16_t freq = 0;
    std::uint8_t bandwidth = 0;
    std::uint8_t position = 0;
    std::uint16_t flags = 0;
    MacAddress macAddress{};
    Bytes raw;
};

struct CwStartRequest {
    std::uint16_t freq = 0;
    std::int8_t power = 0;
    std::uint8_t constantOne = 0;  // byte 13
    std::uint16_t amplitude = 0;
    std::int32_t freqOffset = 0;
    Bytes raw;
};

struct SelectRadioRequest {
    std::uint16_t bitmap = 0;
    Bytes raw;
};

struct BistGetTxGainRequest {
    std::uint16_t freq = 0;
    std::uint16_t txGain = 0;
    std::uint16_t rxGain = 0;
    Bytes raw;
};

struct RxReadRequest {
    std::vector<std::uint16_t> counters;
    Bytes raw;
};

struct MibGetRequest {
    std::uint16_t psid = 0;
    Bytes indices;
    Bytes raw;
};

// Field decoders over a frame whose problem is kNone and whose id matches.
SetTxParamsRequest DecodeSetTxParams(const RequestFrame& frame);
TxStartRequest DecodeTxStart(const RequestFrame& frame);
RxStartRequest DecodeRxStart(const RequestFrame& frame);
CwStartRequest DecodeCwStart(const RequestFrame& frame);
SelectRadioRequest DecodeSelectRadio(const RequestFrame& frame);
BistGetTxGainRequest DecodeBistGetTxGain(const RequestFrame& frame);
// Nothing when the bulk is shorter than its own count says.
std::optional<RxReadRequest> DecodeRxRead(const RequestFrame& frame);
std::optional<MibGetRequest> DecodeMibGet(const RequestFrame& frame);

}  // namespace tavo::sim::wlanfw
