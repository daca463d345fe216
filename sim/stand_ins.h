// The tool stand-ins that the tavo-sim program serves under other names
// (a multi-call binary, chosen by the basename of argv[0]): btcli, iw
// and ps.
// The library finds them through PATH, so they are installed as symbolic
// links to tavo-sim in <root>/bin, which goes first on PATH.
#pragma once

#include <string>
#include <vector>

namespace tavo::sim {

// The names tavo-sim answers to besides its own.
const std::vector<std::string>& StandInNames();

bool IsStandIn(const std::string& name);

// Runs stand-in `name` (see StandInNames) with `args` (without argv[0]) on
// the process's standard streams; the simulator's root comes from
// TAVO_PLATFORM_ROOT. Returns the exit status.
int RunStandIn(const std::string& name, const std::vector<std::string>& args);

// TAVO_PLATFORM_ROOT without trailing slashes; "" when unset, empty or "/".
std::string RootFromEnvironment();

// Makes <binDir>/<name> a symbolic link to `binary` for every stand-in,
// replacing what was there. Throws std::runtime_error.
void InstallStandIns(const std::string& binDir, const std::string& binary);

}  // namespace tavo::sim
