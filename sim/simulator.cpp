#include "sim/simulator.h"

#include <stdexcept>

#include "sim/firmware_loader.h"
#include "sim/stand_ins.h"

namespace tavo::sim {

Simulator::Simulator(const std::string& root) : tree_(root), firmware_(kNormalFirmware) {}

Simulator::~Simulator() {
    Stop();
}

void Simulator::AddComponent(std::unique_ptr<Component> component) {
    std::lock_guard<std::mutex> lock(stateMutex_);
    if (running_) throw std::logic_error("components are added while the simulator is stopped");
    if (!component) throw std::invalid_argument("null component");
    components_.push_back(std::move(component));
}

void Simulator::Start() {
    std::lock_guard<std::mutex> lock(stateMutex_);
    if (running_) throw std::logic_error("the simulator is already running");
    tree_.LayOut();
    size_t started = 0;
    try {
        log_.OpenFile(Path(path::kSimLog));
        firmware_.Boot(kNormalFirmware);
        {
            std::lock_guard<std::mutex> apLock(apMutex_);
            treeReady_ = true;
            SaveAccessPointsLocked();
        }
        log_.Write("simulator: started on " + Root());
        context_ = std::make_unique<SimContext>(SimContext{tree_, log_, firmware_, [this] { SettleReloads(); }});
        for (; started < components_.size(); ++started) {
            components_[started]->Start(*context_);
            log_.Write(std::string("simulator: ") + components_[started]->Name() + " started");
        }
        // Watching starts last, so that reloads reach only started components.
        std::lock_guard<std::mutex> loaderLock(loaderMutex_);
        loader_ = std::make_unique<FirmwareLoader>(tree_, log_, firmware_,
                                                   [this](const FirmwareRestart& event) { OnFirmwareRestart(event); });
        loader_->Start();
    } catch (...) {
        {
            std::lock_guard<std::mutex> loaderLock(loaderMutex_);
            loader_.reset();
        }
        StopComponents(started);
        context_.reset();
        {
            std::lock_guard<std::mutex> apLock(apMutex_);
            treeReady_ = false;
        }
        log_.Write("simulator: start failed");
        log_.CloseFile();
        throw;
    }
    running_ = true;
}

void Simulator::Stop() {
    std::lock_guard<std::mutex> lock(stateMutex_);
    if (!running_) return;
    // The watcher first: no reload reaches a component that is stopping.
    // Its lock is let go before the components stop: a component thread
    // waiting in SettleReloads must get through to let its Stop end.
    {
        std::lock_guard<std::mutex> loaderLock(loaderMutex_);
        loader_.reset();
    }
    StopComponents(components_.size());
    context_.reset();
    {
        std::lock_guard<std::mutex> apLock(apMutex_);
        treeReady_ = false;
    }
    log_.Write("simulator: stopped");
    log_.CloseFile();
    running_ = false;
}

bool Simulator::IsRunning() const {
    std::lock_guard<std::mutex> lock(stateMutex_);
    return running_;
}

void Simulator::StopComponents(size_t started) {
    while (started > 0) {
        --started;
        components_[started]->Stop();
        log_.Write(std::string("simulator: ") + components_[started]->Name() + " stopped");
    }
}

void Simulator::OnFirmwareRestart(const FirmwareRestart& event) {
    // Components are fixed while running, so no lock is needed to walk them.
    for (const auto& component : components_) component->OnFirmwareRestart(event);
}

void Simulator::InstallStandIns(const std::string& binary) const {
    tavo::sim::InstallStandIns(Path(path::kBin), binary);
}

std::string Simulator::RunningFirmware() const {
    return firmware_.Status().running;
}

bool Simulator::TestFirmwareRunning() const {
    return IsTestFirmware(RunningFirmware());
}

FirmwareStatus Simulator::Firmware() const {
    return firmware_.Status();
}

bool Simulator::WaitForFirmware(const std::string& variant, std::chrono::milliseconds limit) const {
    return firmware_.WaitFor([&](const FirmwareStatus& s) { return s.running == variant; }, limit);
}

bool Simulator::WaitForSwitches(unsigned count, std::chrono::milliseconds limit) const {
    return firmware_.WaitFor([&](const FirmwareStatus& s) { return s.switches >= count; }, limit);
}

void Simulator::SettleReloads() {
    std::lock_guard<std::mutex> lock(loaderMutex_);
    if (loader_) loader_->CatchUp();
}

void Simulator::SetAccessPoints(const std::vector<AccessPoint>& aps) {
    for (const AccessPoint& ap : aps) {
        const std::string error = Validate(ap);
        if (!error.empty()) throw std::invalid_argument("access point: " + error);
    }
    std::lock_guard<std::mutex> lock(apMutex_);
    aps_ = aps;
    SaveAccessPointsLocked();
}

void Simulator::AddAccessPoint(const AccessPoint& ap) {
    const std::string error = Validate(ap);
    if (!error.empty()) throw std::invalid_argument("access point: " + error);
    std::lock_guard<std::mutex> lock(apMutex_);
    aps_.push_back(ap);
    SaveAccessPointsLocked();
}

void Simulator::ClearAccessPoints() {
    SetAccessPoints({});
}

std::vector<AccessPoint> Simulator::AccessPoints() const {
    std::lock_guard<std::mutex> lock(apMutex_);
    return aps_;
}

void Simulator::SaveAccessPointsLocked() const {
    // While stopped the list waits in memory; Start writes it.
    if (!treeReady_) return;
    SaveAccessPoints(Path(path::kAccessPoints), aps_);
}

}  // namespace tavo::sim
