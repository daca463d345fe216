#include "sim/wlanfw/wlanfw_component.h"

#include "sim/firmware_state.h"
#include "sim/sim_log.h"
#include "sim/tree.h"

namespace tavo::sim::wlanfw {

WlanFirmwareComponent::WlanFirmwareComponent(ClockSource clock) : firmware_(std::move(clock)) {}

FirmwareHost WlanFirmwareComponent::HostFor(const SimContext& context) {
    FirmwareHost host;
    host.nodePath = context.tree.Path(WlanFirmware::kNode);
    SimLog* log = &context.log;
    host.log = [log](const std::string& line) { log->Write(line); };
    const FirmwareState* state = &context.firmware;
    // Asked for every request: reloads the host triggered before sending it
    // are acted on first, so the request is never taken as one from before.
    host.firmware = [state, settle = context.settleReloads] {
        if (settle) settle();
        const FirmwareStatus status = state->Status();
        return FirmwareView{status.running, IsTestFirmware(status.running), status.restarts};
    };
    return host;
}

void WlanFirmwareComponent::Start(const SimContext& context) { firmware_.Start(HostFor(context)); }

void WlanFirmwareComponent::Stop() { firmware_.Stop(); }

}  // namespace tavo::sim::wlanfw
