#include "support/sim_env.h"

#include <cstdlib>

#include "sim/tree.h"

#ifndef TAVO_SIM_BINARY
#error "TAVO_SIM_BINARY must name the tavo-sim program"
#endif

namespace testsupport {

SimEnv::SimEnv() : sim_(std::make_unique<tavo::sim::Simulator>(dir_.Path())) {
    wlanfw_ = &sim_->Emplace<tavo::sim::wlanfw::WlanFirmwareComponent>();
    btctl_ = &sim_->Emplace<tavo::sim::btctl::BtControllerComponent>();
    sim_->Start();
    sim_->InstallStandIns(TAVO_SIM_BINARY);
    root_ = std::make_unique<ScopedEnv>("TAVO_PLATFORM_ROOT", Root());
    const char* path = std::getenv("PATH");
    const std::string bin = Path(tavo::sim::path::kBin);
    path_ = std::make_unique<ScopedEnv>("PATH", path != nullptr && path[0] != '\0' ? bin + ":" + path : bin);
}

SimEnv::~SimEnv() {
    path_.reset();
    root_.reset();
    sim_->Stop();
}

bool SimEnv::LoadTestFirmware() {
    using namespace std::chrono_literals;
    if (!WriteFile(Path(tavo::sim::path::kFirmwareVariant), "rk720_t")) return false;
    if (!WriteFile(Path(tavo::sim::path::kForceCrash), "0xDEADDEAD\n")) return false;
    return sim_->WaitForFirmware("rk720_t", 10s);
}

}  // namespace testsupport
