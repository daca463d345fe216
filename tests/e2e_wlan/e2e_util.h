// What only the WLAN end-to-end tests need beyond tests/support: the
// interface flags read back from the simulator's tree, its log since a mark,
// and a barrier that makes every earlier parameter write visible in that log.
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <cstdlib>
#include <optional>
#include <string>
#include <vector>

#include "sim/tree.h"
#include "support/chores.h"
#include "support/log_capture.h"
#include "support/sim_env.h"
#include "wlan/WlanDriver.h"
#include "wlan/WlanDutLib.h"

namespace e2e {

constexpr char kDut[] = "WLANDUT";
constexpr char kDriver[] = "WLAN_DRIVER";

// A flags file (hex text such as "0x1003") as a number; nothing when missing
// or not hex text.
inline std::optional<unsigned> FlagsIn(const std::string& file) {
    const std::optional<std::string> text = testsupport::ReadFile(file);
    if (!text || text->rfind("0x", 0) != 0 || text->size() < 3) return std::nullopt;
    return static_cast<unsigned>(std::strtoul(text->c_str(), nullptr, 16));
}

inline std::optional<unsigned> InterfaceFlags(testsupport::SimEnv& env) {
    return FlagsIn(env.Path(tavo::sim::path::kWlanFlags));
}

// The simulator's log lines numbered `from` or later that begin with
// `prefix`. A test writes far fewer lines than the log keeps, so line n of
// the log is Lines()[n].
inline std::vector<std::string> SimLogSince(testsupport::SimEnv& env, std::uint64_t from,
                                            const std::string& prefix = "") {
    std::vector<std::string> out;
    const std::vector<std::string> lines = env.Sim().Log().Lines();
    for (size_t n = static_cast<size_t>(from); n < lines.size(); ++n) {
        if (lines[n].rfind(prefix, 0) == 0) out.push_back(lines[n]);
    }
    return out;
}

// Writes a parameter of our own, which the simulator logs like any other
// and nothing reacts to, and waits until it is logged: every parameter write
// made before has then been logged too. Returns the "param: " lines from
// `from` up to the barrier's own line.
inline std::vector<std::string> ParamLinesUntilBarrier(testsupport::SimEnv& env, std::uint64_t from) {
    static int serial = 0;
    const std::string value = "barrier-" + std::to_string(++serial);
    const std::string line = "param: tavo_rk/e2e_barrier = " + value;
    EXPECT_TRUE(testsupport::WriteFile(env.Path("/sys/module/tavo_rk/parameters/e2e_barrier"), value));
    EXPECT_TRUE(env.Sim().Log().WaitFor(line, std::chrono::seconds(10), from)) << "not logged: " << line;
    const std::vector<std::string> lines = SimLogSince(env, from, "param: ");
    return {lines.begin(), std::find(lines.begin(), lines.end(), line)};
}

// A log mark behind every parameter write made so far.
inline std::uint64_t MarkAfterWrites(testsupport::SimEnv& env) {
    ParamLinesUntilBarrier(env, 0);
    return env.Sim().Log().Count();
}

// Names the normal firmware in the variant file only, so that a later
// CloseDUT finds nothing to switch.
inline bool SelectNormalVariantOnly(testsupport::SimEnv& env) {
    return testsupport::WriteFile(env.Path(tavo::sim::path::kFirmwareVariant), "rk720");
}

}  // namespace e2e
