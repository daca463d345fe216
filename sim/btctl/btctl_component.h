// The Bluetooth controller as a component of the chip simulator: it serves
// root/dev/tavo_h4_0 from Start to Stop, keeps root/sim/btcli_state for the
// btcli stand-in, writes the firmware's lines to the log ring and its own
// to the simulator's log. Tests steer and inspect it through Controller().
//
// This is the one file that knows the simulator's component interface.
#pragma once

#include "sim/btctl/bt_controller.h"
#include "sim/component.h"

namespace tavo::sim::btctl {

class BtControllerComponent : public Component {
public:
    const char* Name() const override { return "btctl"; }
    void Start(const SimContext& context) override;
    void Stop() override;

    BtController& Controller() { return controller_; }
    const BtController& Controller() const { return controller_; }

    // The host description for a simulator context: the node, the btcli
    // state file and the log ring under the tree's root, and its log.
    static ControllerHost HostFor(const SimContext& context);

private:
    BtController controller_;
};

}  // namespace tavo::sim::btctl
