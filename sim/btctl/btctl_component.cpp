#include "sim/btctl/btctl_component.h"

#include "sim/sim_log.h"
#include "sim/tree.h"

namespace tavo::sim::btctl {

ControllerHost BtControllerComponent::HostFor(const SimContext& context) {
    ControllerHost host;
    host.linkPath = context.tree.Path(BtController::kNode);
    host.statePath = context.tree.Path(path::kBtcliState);
    host.logRingPath = context.tree.Path(path::kLogRing);
    SimLog* log = &context.log;
    host.log = [log](const std::string& line) { log->Write(line); };
    return host;
}

void BtControllerComponent::Start(const SimContext& context) { controller_.Start(HostFor(context)); }

void BtControllerComponent::Stop() { controller_.Stop(); }

}  // namespace tavo::sim::btctl
