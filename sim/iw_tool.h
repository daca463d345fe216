// The iw stand-in. It knows one command, the one the factory library runs:
// `iw dev <interface> scan`, answered from the access points in
// <root>/sim/access_points. As on a phone, the interface must exist
// (<root>/sys/class/net/<interface>/flags) and be up (bit 0 of the flags);
// otherwise iw's own failure line and status follow.
#pragma once

#include <ostream>
#include <string>
#include <vector>

namespace tavo::sim {

// `args` without the program name; `root` is the value of
// TAVO_PLATFORM_ROOT ("" when unset). Returns the exit status.
int IwMain(const std::vector<std::string>& args, const std::string& root, std::ostream& out, std::ostream& err);

}  // namespace tavo::sim
