#include "sim/firmware_state.h"

#include "sim/tree.h"

namespace tavo::sim {

const char* CauseName(RestartCause cause) {
    return cause == RestartCause::kForceCrash ? "force_crash" : "restart";
}

bool IsTestFirmware(const std::string& variant) {
    return variant.compare(0, sizeof kTestFirmwarePrefix - 1, kTestFirmwarePrefix) == 0;
}

FirmwareState::FirmwareState(std::string bootVariant) {
    status_.running = std::move(bootVariant);
}

void FirmwareState::Boot(const std::string& variant) {
    {
        std::lock_guard<std::mutex> lock(mutex_);
        status_ = FirmwareStatus{};
        status_.running = variant;
    }
    changed_.notify_all();
}

FirmwareRestart FirmwareState::Restart(const std::string& variant, RestartCause cause) {
    FirmwareRestart event{{}, variant, cause};
    {
        std::lock_guard<std::mutex> lock(mutex_);
        event.from = status_.running;
        ++status_.restarts;
        if (variant != status_.running) ++status_.switches;
        status_.running = variant;
    }
    changed_.notify_all();
    return event;
}

FirmwareStatus FirmwareState::Status() const {
    std::lock_guard<std::mutex> lock(mutex_);
    return status_;
}

bool FirmwareState::WaitFor(const std::function<bool(const FirmwareStatus&)>& pred,
                            std::chrono::milliseconds limit) const {
    std::unique_lock<std::mutex> lock(mutex_);
    return changed_.wait_for(lock, limit, [&] { return pred(status_); });
}

}  // namespace tavo::sim
