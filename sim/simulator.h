// The chip simulator: the phone's side of everything the factory library
// touches, on a workstation.
//
// Given a root directory, Start lays out the tree (see sim/tree.h) with its
// boot values, writes the access point list for the iw stand-in, starts the
// plugged-in components and watches the kernel parameters: a forced crash
// of the Bluetooth service (0xDEADDEAD to force_crash) or a restart of the
// clock service (Y to restart) reloads the firmware with the variant last
// written to firmware_variant. Every reload is logged, e.g.
// "firmware: rk720 -> rk720_t (force_crash)".
//
// The library reaches the tree when TAVO_PLATFORM_ROOT names the root, and
// the stand-ins when <root>/bin comes first on PATH (InstallStandIns). The
// Simulator leaves the root in place when it stops; removing it is the
// owner's business.
#pragma once

#include <chrono>
#include <memory>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

#include "sim/access_point.h"
#include "sim/component.h"
#include "sim/firmware_state.h"
#include "sim/sim_log.h"
#include "sim/tree.h"

namespace tavo::sim {

class FirmwareLoader;

class Simulator {
public:
    explicit Simulator(const std::string& root);
    // Stops the simulator if it runs.
    ~Simulator();
    Simulator(const Simulator&) = delete;
    Simulator& operator=(const Simulator&) = delete;

    // Plugs in a component; only while stopped (std::logic_error otherwise).
    // Returns the component for the test to steer.
    template <class T, class... Args>
    T& Emplace(Args&&... args) {
        auto component = std::make_unique<T>(std::forward<Args>(args)...);
        T& ref = *component;
        AddComponent(std::move(component));
        return ref;
    }
    void AddComponent(std::unique_ptr<Component> component);

    // Lays out the tree as after a fresh boot (normal firmware, interface
    // down, empty log ring) and starts everything. Throws std::runtime_error
    // when the tree cannot be made; std::logic_error when already running.
    void Start();
    // Stops watching and stops the components. Idempotent.
    void Stop();
    bool IsRunning() const;

    const Tree& GetTree() const { return tree_; }
    const std::string& Root() const { return tree_.Root(); }
    // A phone path ("/sys/...") under the root.
    std::string Path(const std::string& phonePath) const { return tree_.Path(phonePath); }
    SimLog& Log() { return log_; }
    const SimLog& Log() const { return log_; }

    // Symbolic links to `binary` (the tavo-sim program) for every stand-in,
    // in <root>/bin. Throws std::runtime_error.
    void InstallStandIns(const std::string& binary) const;

    // --- firmware ---
    // The running variant ("rk720", "rk720_t"); "" when none could be loaded.
    std::string RunningFirmware() const;
    bool TestFirmwareRunning() const;
    FirmwareStatus Firmware() const;
    // Waits until `variant` runs, at most `limit`.
    bool WaitForFirmware(const std::string& variant, std::chrono::milliseconds limit) const;
    // Waits until at least `count` reloads changed the variant since Start.
    bool WaitForSwitches(unsigned count, std::chrono::milliseconds limit) const;
    // Acts at once on every write to the kernel parameters and the clock
    // restart closed so far: a reload they trigger is done when it returns.
    // The watcher would get there too, a moment later. Not from a
    // component's OnFirmwareRestart.
    void SettleReloads();

    // --- access points for the iw stand-in (root/sim/access_points) ---
    // Invalid access points are refused with std::invalid_argument.
    void SetAccessPoints(const std::vector<AccessPoint>& aps);
    void AddAccessPoint(const AccessPoint& ap);
    void ClearAccessPoints();
    std::vector<AccessPoint> AccessPoints() const;

private:
    void SaveAccessPointsLocked() const;
    void OnFirmwareRestart(const FirmwareRestart& event);
    void StopComponents(size_t started);

    Tree tree_;
    SimLog log_;
    FirmwareState firmware_;
    std::unique_ptr<SimContext> context_;
    std::vector<std::unique_ptr<Component>> components_;
    std::mutex loaderMutex_;  // guards loader_ against SettleReloads from component threads
    std::unique_ptr<FirmwareLoader> loader_;

    mutable std::mutex apMutex_;  // taken after stateMutex_ when both are held
    std::vector<AccessPoint> aps_;
    bool treeReady_ = false;  // the control file may be written

    mutable std::mutex stateMutex_;  // guards running_ against concurrent Start/Stop
    bool running_ = false;
};

}  // namespace tavo::sim
