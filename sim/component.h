// A part of the chip that plugs into the Simulator: the WLAN test firmware
// on its socket node, the Bluetooth controller on its pseudo-terminal, the
// btcli stand-in's FIFO. The Simulator lays out the tree, then starts its
// components in the order they were added, and stops them in reverse order
// when it stops.
#pragma once

#include <functional>

#include "sim/firmware_state.h"
#include "sim/sim_log.h"
#include "sim/tree.h"

namespace tavo::sim {

// What a component may use while it runs. Valid from Start to Stop.
struct SimContext {
    const Tree& tree;
    SimLog& log;
    const FirmwareState& firmware;  // e.g. answer only while IsTestFirmware(Status().running)
    // Acts on every control write made so far (Simulator::SettleReloads):
    // a part that answers requests calls it first, so that a reload the
    // host triggered before its request is never answered from before it.
    // Not from OnFirmwareRestart.
    std::function<void()> settleReloads;
};

class Component {
public:
    virtual ~Component() = default;

    // A short name for log lines ("wlan-fw").
    virtual const char* Name() const = 0;
    // Called after the tree is laid out. Throwing fails Simulator::Start,
    // which then stops the components started before this one.
    virtual void Start(const SimContext& context) = 0;
    // Must return promptly and leave no thread of the component running.
    virtual void Stop() = 0;
    // Called on the simulator's watcher thread after every firmware reload,
    // between Start and Stop.
    virtual void OnFirmwareRestart(const FirmwareRestart& /*event*/) {}
};

}  // namespace tavo::sim
