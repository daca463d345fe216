// A chip simulator for one test: a fresh temporary root with the simulator
// running on it in this process, the tool stand-ins (iw, ps) in root/bin,
// TAVO_PLATFORM_ROOT set to the root and root/bin first on PATH. The
// destructor stops the simulator, puts both variables back as they were and
// removes the tree.
//
// Environment variables are process-wide: make the SimEnv before starting
// threads that read them, and one at a time.
#pragma once

#include <functional>
#include <memory>
#include <string>

#include "sim/simulator.h"
#include "sim/wlanfw/wlanfw_component.h"

namespace testsupport {

// Sets an environment variable for a scope and restores it afterwards,
// unset again if it was unset.
class ScopedEnv {
public:
    ScopedEnv(std::string name, const std::string& value);
    ~ScopedEnv();
    ScopedEnv(const ScopedEnv&) = delete;
    ScopedEnv& operator=(const ScopedEnv&) = delete;

private:
    std::string name_;
    bool had_ = false;
    std::string old_;
};

// A directory from mkdtemp, removed with everything below it at the end.
class TempDir {
public:
    explicit TempDir(const std::string& prefix = "/tmp/tavo-sim-");
    ~TempDir();
    TempDir(const TempDir&) = delete;
    TempDir& operator=(const TempDir&) = delete;
    const std::string& Path() const { return path_; }

private:
    std::string path_;
};

class SimEnv {
public:
    SimEnv();
    // `beforeStart` runs on the stopped simulator, to plug in components or
    // set access points before anything starts.
    explicit SimEnv(const std::function<void(tavo::sim::Simulator&)>& beforeStart);
    ~SimEnv();
    SimEnv(const SimEnv&) = delete;
    SimEnv& operator=(const SimEnv&) = delete;

    tavo::sim::Simulator& Sim() { return *sim_; }
    // The WLAN test firmware on root/dev/q7c3310udi0, registered in every
    // SimEnv; it answers while the test variant runs.
    tavo::sim::wlanfw::WlanFirmware& WlanFw() { return wlanfw_->Firmware(); }
    const std::string& Root() const { return dir_.Path(); }
    // A phone path ("/sys/...") under the root.
    std::string Path(const std::string& phonePath) const { return Root() + phonePath; }
    // The tavo-sim program the stand-ins link to.
    static std::string Binary();

private:
    TempDir dir_;
    std::unique_ptr<tavo::sim::Simulator> sim_;
    tavo::sim::wlanfw::WlanFirmwareComponent* wlanfw_ = nullptr;
    std::unique_ptr<ScopedEnv> root_;
    std::unique_ptr<ScopedEnv> path_;
};

}  // namespace testsupport
