// Helpers for the WLAN end-to-end tests: files under the simulator's root,
// bounded waits, the simulator's log since a mark, and a quick way to put
// the chip on its test firmware without the library's one-second pauses.
#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "support/sim_env.h"

namespace e2e {

// Every kernel parameter that the firmware switch writes, as phone paths.
const std::vector<std::string>& ParameterFiles();

// The whole file, or nothing when it cannot be read.
std::optional<std::string> ReadText(const std::string& path);
// Replaces the file's content; false when it cannot be written.
bool WriteText(const std::string& path, const std::string& text);
bool RemoveFile(const std::string& path);

// Polls `pred` until it holds, at most `limit`.
bool WaitUntil(const std::function<bool()>& pred, std::chrono::milliseconds limit);

// The interface flags file root/sys/class/net/wlan0/flags read as a number;
// nothing when missing or not hex text.
std::optional<unsigned> InterfaceFlags(testsupport::SimEnv& env);
// The same for any flags file.
std::optional<unsigned> FlagsIn(const std::string& path);

// Every kernel parameter file's content (nothing for a missing one).
std::vector<std::optional<std::string>> ParameterSnapshot(testsupport::SimEnv& env);

// The simulator's log lines numbered `from` or later that begin with
// `prefix`, in order.
std::vector<std::string> SimLogSince(testsupport::SimEnv& env, std::uint64_t from, const std::string& prefix = "");

// Writes a parameter file that nothing else uses and waits until the
// simulator has logged it: every parameter write made before this call has
// then been logged too. Returns the "param: " lines from `from` up to, not
// including, the barrier's own line. Fails the test when the barrier is not
// seen.
std::vector<std::string> ParamLinesUntilBarrier(testsupport::SimEnv& env, std::uint64_t from);

// Makes the simulator load the test firmware the way the driver's switch
// does, minus its pauses: the variant, then the forced crash. Returns false
// when the test firmware does not come up.
bool LoadTestFirmwareQuickly(testsupport::SimEnv& env);

// Selects the normal firmware in the variant file only, so that a later
// CloseDUT finds nothing to switch and returns at once.
bool SelectNormalVariantOnly(testsupport::SimEnv& env);

}  // namespace e2e
