// The WLAN/Bluetooth driver's reaction to its kernel parameters: every
// write to a parameter is logged ("param: tavo_bt/force_crash = 0xDEADDEAD"),
// and the firmware reloads, with the variant last written to
// firmware_variant, when the Bluetooth service is crashed on purpose
// (force_crash receives 0xDEADDEAD) or the clock service is restarted
// (restart receives Y). Writing the variant alone changes nothing.
//
// The writes are seen when the writer closes the file, so a value that is
// overwritten again before the watcher thread reads it is not acted on;
// the library's shell commands each run to the end before the next starts,
// which leaves plenty of room. CatchUp acts at once on every write closed
// so far, for a chip part that must not answer from before a reload.
#pragma once

#include <functional>
#include <memory>
#include <string>

#include "sim/firmware_state.h"
#include "sim/sim_log.h"
#include "sim/tree.h"

namespace tavo::sim {

class FileWatcher;

class FirmwareLoader {
public:
    // Called on the watcher thread after each reload.
    using Listener = std::function<void(const FirmwareRestart&)>;

    FirmwareLoader(const Tree& tree, SimLog& log, FirmwareState& firmware, Listener listener);
    ~FirmwareLoader();
    FirmwareLoader(const FirmwareLoader&) = delete;
    FirmwareLoader& operator=(const FirmwareLoader&) = delete;

    // Starts watching the parameter directories. Throws std::runtime_error.
    void Start();
    // Stops watching; no listener call runs after it returns. Idempotent.
    void Stop();
    // Acts on every write closed before the call, on the caller's thread:
    // the reloads they trigger are done when it returns. Not concurrently
    // with Start or Stop, and not from the listener.
    void CatchUp();

    // The value that crashes the Bluetooth service on purpose.
    static bool IsCrashValue(const std::string& text);
    // The kernel's reading of a boolean parameter: Y, y or 1 at the start.
    static bool IsTrue(const std::string& text);

private:
    void OnWritten(int dir, const std::string& name);
    void Reload(RestartCause cause);

    const Tree& tree_;
    SimLog& log_;
    FirmwareState& firmware_;
    Listener listener_;
    std::unique_ptr<FileWatcher> watcher_;
};

}  // namespace tavo::sim
