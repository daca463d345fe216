#include "sim/wlanfw/signals.h"

namespace tavo::sim::wlanfw {
namespace {

// Confirms are the head, the result code and padding to 16 bytes, except
// where they carry fields: tx_read_cfm up to offset 38, rx_read_cfm up to
// offset 40.
constexpr SignalInfo kSignals[kSignalCount] = {
    {kMibGetReq, "mib_get_req", 24, kMibGetCfm, "mib_get_cfm", 16},
    {kCwStartReq, "cw_start_req", 42, kCwStartCfm, "cw_start_cfm", 16},
    {kCwStopReq, "cw_stop_req", 22, kCwStopCfm, "cw_stop_cfm", 16},
    {kSetTxParamsReq, "set_tx_params_req", 46, kSetTxParamsCfm, "set_tx_params_cfm", 16},
    {kTxStartReq, "tx_start_req", 50, kTxStartCfm, "tx_start_cfm", 16},
    {kTxReadReq, "tx_read_req", 22, kTxReadCfm, "tx_read_cfm", 38},
    {kTxStopReq, "tx_stop_req", 22, kTxStopCfm, "tx_stop_cfm", 16},
    {kRxStartReq, "rx_start_req", 44, kRxStartCfm, "rx_start_cfm", 16},
    {kRxReadReq, "rx_read_req", 22, kRxReadCfm, "rx_read_cfm", 40},
    {kRxStopReq, "rx_stop_req", 22, kRxStopCfm, "rx_stop_cfm", 16},
    {kSelectRadioReq, "select_radio_req", 24, kSelectRadioCfm, "select_radio_cfm", 16},
    {kBistGetTxGainReq, "bist_get_tx_gain_req", 28, kBistGetTxGainCfm, "bist_get_tx_gain_cfm", 16},
};

}  // namespace

const SignalInfo* Signals() { return kSignals; }

const SignalInfo* FindRequest(std::uint16_t id) {
    for (const SignalInfo& info : kSignals) {
        if (info.request == id) return &info;
    }
    return nullptr;
}

const char* SignalName(std::uint16_t id) {
    for (const SignalInfo& info : kSignals) {
        if (info.request == id) return info.requestName;
        if (info.confirm == id) return info.confirmName;
    }
    return "unknown";
}

}  // namespace tavo::sim::wlanfw
