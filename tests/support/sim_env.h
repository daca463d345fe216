// A chip simulator for one test: a fresh temporary root with the simulator
// running on it in this process, the tool stand-ins (btcli, iw, ps) in root/bin,
// TAVO_PLATFORM_ROOT set to the root and root/bin first on PATH. The
// destructor stops the simulator, puts both variables back as they were and
// removes the tree.
//
// Environment variables are process-wide: make the SimEnv before starting
// threads that read them, and one at a time.
#pragma once

#include <memory>
#include <string>

#include "sim/btctl/btctl_component.h"
#include "sim/simulator.h"
#include "support/chores.h"
#include "sim/wlanfw/wlanfw_component.h"

namespace testsupport {

class SimEnv {
public:
    SimEnv();
    ~SimEnv();

    tavo::sim::Simulator& Sim() { return *sim_; }
    // The WLAN test firmware on root/dev/q7c3310udi0, registered in every
    // SimEnv; it answers while the test variant runs.
    tavo::sim::wlanfw::WlanFirmware& WlanFw() { return wlanfw_->Firmware(); }
    // The Bluetooth controller on root/dev/tavo_h4_0, registered in every
    // SimEnv: steer it and read back what the host sent. It also holds what
    // the btcli stand-in answers (AddDevice, SetFastSleep, SetBdAddr) and
    // writes the firmware's log ring (SetBerPpm, SetBerBits, SetCwRssi).
    tavo::sim::btctl::BtController& BtCtl() { return btctl_->Controller(); }
    const std::string& Root() const { return dir_.Path(); }
    // A phone path ("/sys/...") under the root.
    std::string Path(const std::string& phonePath) const { return Root() + phonePath; }
    // Puts the chip on its test firmware the way the driver's switch does,
    // minus its one-second pauses: the variant, then the forced crash.
    // False when the test firmware does not come up.
    bool LoadTestFirmware();

private:
    TempDir dir_;
    std::unique_ptr<tavo::sim::Simulator> sim_;
    tavo::sim::wlanfw::WlanFirmwareComponent* wlanfw_ = nullptr;
    tavo::sim::btctl::BtControllerComponent* btctl_ = nullptr;
    std::unique_ptr<ScopedEnv> root_;
    std::unique_ptr<ScopedEnv> path_;
};

}  // namespace testsupport
