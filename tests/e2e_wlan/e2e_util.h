// What only the WLAN end-to-end tests need beyond tests/support: the
// simulator's log since a mark.
#pragma once

#include <gtest/gtest.h>

#include <chrono>
#include <cstdint>
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

}  // namespace e2e
