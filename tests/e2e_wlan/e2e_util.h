// What only the WLAN end-to-end tests need beyond tests/support: the
// interface flags read back from the simulator's tree and its log since a
// mark.
#pragma once

#include <gtest/gtest.h>

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

// The interface's flags file (hex text such as "0x1003") as a number;
// nothing when missing or not hex text.
inline std::optional<unsigned> InterfaceFlags(testsupport::SimEnv& env) {
    const std::optional<std::string> text = testsupport::ReadFile(env.Path(tavo::sim::path::kWlanFlags));
    if (!text || text->rfind("0x", 0) != 0 || text->size() < 3) return std::nullopt;
    return static_cast<unsigned>(std::strtoul(text->c_str(), nullptr, 16));
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

// Names the normal firmware in the variant file only, so that a later
// CloseDUT finds nothing to switch.
inline bool SelectNormalVariantOnly(testsupport::SimEnv& env) {
    return testsupport::WriteFile(env.Path(tavo::sim::path::kFirmwareVariant), "rk720");
}

}  // namespace e2e
