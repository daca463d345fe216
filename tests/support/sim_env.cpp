#include "support/sim_env.h"

#include <cstdlib>
#include <stdexcept>
#include <vector>

#include "sim/fs_util.h"
#include "sim/tree.h"

#ifndef TAVO_SIM_BINARY
#error "TAVO_SIM_BINARY must name the tavo-sim program"
#endif

namespace testsupport {

ScopedEnv::ScopedEnv(std::string name, const std::string& value) : name_(std::move(name)) {
    const char* old = std::getenv(name_.c_str());
    had_ = old != nullptr;
    if (had_) old_ = old;
    ::setenv(name_.c_str(), value.c_str(), 1);
}

ScopedEnv::~ScopedEnv() {
    if (had_) {
        ::setenv(name_.c_str(), old_.c_str(), 1);
    } else {
        ::unsetenv(name_.c_str());
    }
}

TempDir::TempDir(const std::string& prefix) {
    std::vector<char> name(prefix.begin(), prefix.end());
    for (const char c : std::string("XXXXXX")) name.push_back(c);
    name.push_back('\0');
    if (::mkdtemp(name.data()) == nullptr) tavo::sim::ThrowSystemError("mkdtemp failed", prefix + "XXXXXX");
    path_ = name.data();
}

TempDir::~TempDir() {
    tavo::sim::RemoveTree(path_);
}

SimEnv::SimEnv() : SimEnv([](tavo::sim::Simulator&) {}) {}

SimEnv::SimEnv(const std::function<void(tavo::sim::Simulator&)>& beforeStart)
    : sim_(std::make_unique<tavo::sim::Simulator>(dir_.Path())) {
    wlanfw_ = &sim_->Emplace<tavo::sim::wlanfw::WlanFirmwareComponent>();
    beforeStart(*sim_);
    sim_->Start();
    sim_->InstallStandIns(Binary());
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

std::string SimEnv::Binary() {
    return TAVO_SIM_BINARY;
}

}  // namespace testsupport
