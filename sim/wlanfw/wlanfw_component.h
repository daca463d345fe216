// The WLAN radio-test firmware as a component of the chip simulator: it
// serves root/dev/q7c3310udi0 from Start to Stop, answers only while the
// chip runs the test firmware, and writes its lines to the simulator's log.
// Tests steer and inspect it through Firmware().
//
// This is the one file that knows the simulator's component interface.
#pragma once

#include "sim/component.h"
#include "sim/wlanfw/wlan_firmware.h"

namespace tavo::sim::wlanfw {

class WlanFirmwareComponent : public Component {
public:
    explicit WlanFirmwareComponent(ClockSource clock = SteadyNow);

    const char* Name() const override { return "wlanfw"; }
    void Start(const SimContext& context) override;
    void Stop() override;

    WlanFirmware& Firmware() { return firmware_; }
    const WlanFirmware& Firmware() const { return firmware_; }

    // The host description for a simulator context: the node under the
    // tree's root, its log, its firmware state.
    static FirmwareHost HostFor(const SimContext& context);

private:
    WlanFirmware firmware_;
};

}  // namespace tavo::sim::wlanfw
