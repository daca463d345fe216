// The signals that the WLAN radio-test firmware understands: ids, names,
// sizes, and the result codes it answers with.
//
// Requests arrive as the signal bytes followed by their bulk; every signal
// begins with a 10-byte head: u16 id, u16 zero, u16 sender (the library's
// 0xC001), u16 zero, u16 bulk length. Confirms have the same head.
#pragma once

#include <cstddef>
#include <cstdint>

namespace tavo::sim::wlanfw {

inline constexpr std::size_t kSignalHeadSize = 10;

// Request ids.
inline constexpr std::uint16_t kMibGetReq = 0x2001;
inline constexpr std::uint16_t kCwStartReq = 0x9005;
inline constexpr std::uint16_t kCwStopReq = 0x9006;
inline constexpr std::uint16_t kSetTxParamsReq = 0x9007;
inline constexpr std::uint16_t kTxStartReq = 0x9008;
inline constexpr std::uint16_t kTxReadReq = 0x9009;
inline constexpr std::uint16_t kTxStopReq = 0x900A;
inline constexpr std::uint16_t kRxStartReq = 0x900B;
inline constexpr std::uint16_t kRxReadReq = 0x900C;
inline constexpr std::uint16_t kRxStopReq = 0x900D;
inline constexpr std::uint16_t kSelectRadioReq = 0x901A;
inline constexpr std::uint16_t kBistGetTxGainReq = 0x901F;

// Confirm ids. They do not run in step with the requests: cw_stop_cfm is
// 0x9103 while set_tx_params_cfm is 0x9102.
inline constexpr std::uint16_t kMibGetCfm = 0x2101;
inline constexpr std::uint16_t kCwStartCfm = 0x9101;
inline constexpr std::uint16_t kSetTxParamsCfm = 0x9102;
inline constexpr std::uint16_t kCwStopCfm = 0x9103;
inline constexpr std::uint16_t kTxStartCfm = 0x9104;
inline constexpr std::uint16_t kTxReadCfm = 0x9105;
inline constexpr std::uint16_t kTxStopCfm = 0x9106;
inline constexpr std::uint16_t kRxStartCfm = 0x9107;
inline constexpr std::uint16_t kRxReadCfm = 0x9108;
inline constexpr std::uint16_t kRxStopCfm = 0x9109;
inline constexpr std::uint16_t kSelectRadioCfm = 0x9112;
inline constexpr std::uint16_t kBistGetTxGainCfm = 0x9116;

// An id that no request or confirm uses; sent as unrelated traffic.
inline constexpr std::uint16_t kUnrelatedSignal = 0x9FFF;

// The sender id that the library puts at offset 4; confirms carry it back.
inline constexpr std::uint16_t kClientSenderId = 0xC001;

// Result codes (u16 at offset 10 of every confirm but mib_get_cfm, where the
// firmware puts its MIB status instead).
inline constexpr std::uint16_t kResultSuccess = 0;
inline constexpr std::uint16_t kResultInvalidParameter = 38;
inline constexpr std::uint16_t kResultNotPermitted = 48;
// No row of the power table fits: no TX output, but a TX has started anyway.
inline constexpr std::uint16_t kResultNoPowerRow = 79;
inline constexpr std::uint16_t kResultNotSupported = 0x8003;

struct SignalInfo {
    std::uint16_t request;
    const char* requestName;
    std::size_t requestSize;  // signal bytes, without bulk
    std::uint16_t confirm;
    const char* confirmName;
    std::size_t confirmSize;  // signal bytes of the confirm this firmware sends
};

// The twelve requests, in the order of their ids.
const SignalInfo* Signals();
inline constexpr std::size_t kSignalCount = 12;

// The row of a request id, or null.
const SignalInfo* FindRequest(std::uint16_t id);
// The name of a request or confirm id, or "unknown".
const char* SignalName(std::uint16_t id);

}  // namespace tavo::sim::wlanfw
