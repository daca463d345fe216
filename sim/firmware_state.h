// Which firmware the chip runs, and how it got there.
#pragma once

#include <chrono>
#include <condition_variable>
#include <functional>
#include <mutex>
#include <string>

namespace tavo::sim {

// What made the firmware restart: the Bluetooth service crashed on purpose
// (force_crash received 0xDEADDEAD), or the clock service was restarted
// (restart received Y).
enum class RestartCause { kForceCrash, kClockRestart };

// "force_crash" or "restart": the name of the parameter that did it.
const char* CauseName(RestartCause cause);

// True for any variant that begins with "rk720_t", as the driver and the
// library both judge it.
bool IsTestFirmware(const std::string& variant);

struct FirmwareStatus {
    std::string running;     // variant text; empty when no firmware could be loaded
    unsigned restarts = 0;   // every reload, same variant or not
    unsigned switches = 0;   // reloads that changed the variant
};

struct FirmwareRestart {
    std::string from;
    std::string to;
    RestartCause cause;
};

class FirmwareState {
public:
    explicit FirmwareState(std::string bootVariant);
    FirmwareState(const FirmwareState&) = delete;
    FirmwareState& operator=(const FirmwareState&) = delete;

    // Back to `variant` with the counters at zero, as after a boot.
    void Boot(const std::string& variant);
    // The chip reloads its firmware with `variant`.
    FirmwareRestart Restart(const std::string& variant, RestartCause cause);

    FirmwareStatus Status() const;
    // Waits until `pred` holds for the status, at most `limit`.
    bool WaitFor(const std::function<bool(const FirmwareStatus&)>& pred, std::chrono::milliseconds limit) const;

private:
    mutable std::mutex mutex_;
    mutable std::condition_variable changed_;
    FirmwareStatus status_;
};

}  // namespace tavo::sim
