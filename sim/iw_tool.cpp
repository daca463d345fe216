#include "sim/iw_tool.h"

#include <cerrno>
#include <cstdlib>
#include <cstring>

#include "sim/access_point.h"
#include "sim/fs_util.h"
#include "sim/iw_scan.h"
#include "sim/tree.h"

namespace tavo::sim {
namespace {

constexpr char kUsage[] =
    "Usage:\tiw dev <devname> scan\n"
    "\n"
    "This iw is the tavo-sim stand-in: it scans for the access points that the\n"
    "simulator was given, and knows no other command.\n";

// iw prints "command failed: <reason> (<-errno>)" and exits with the
// negative errno as its status.
int CommandFailed(int error, std::ostream& err) {
    err << "command failed: " << std::strerror(error) << " (" << -error << ")\n";
    return (-error) & 0xff;
}

bool SafeInterfaceName(const std::string& name) {
    return !name.empty() && name.size() < 16 && name != "." && name != ".." && name.find('/') == std::string::npos;
}

int Scan(const std::string& ifname, const std::string& root, std::ostream& out, std::ostream& err) {
    if (root.empty()) {
        err << "iw: TAVO_PLATFORM_ROOT is not set; start tavo-sim and export what it prints\n";
        return 1;
    }
    if (!SafeInterfaceName(ifname)) return CommandFailed(ENODEV, err);
    std::string flagsText;
    if (!ReadFile(root + path::kNetClass + "/" + ifname + "/flags", flagsText, 64)) {
        return CommandFailed(ENODEV, err);
    }
    const std::string flagsValue = TrimRight(flagsText);
    char* end = nullptr;
    errno = 0;
    const unsigned long flags = std::strtoul(flagsValue.c_str(), &end, 16);
    if (flagsValue.empty() || errno != 0 || end == nullptr || *end != '\0') return CommandFailed(EIO, err);
    if ((flags & 1ul) == 0) return CommandFailed(ENETDOWN, err);

    std::vector<AccessPoint> aps;
    std::string error;
    if (!LoadAccessPoints(root + path::kAccessPoints, aps, error)) {
        err << "iw: " << error << "\n";
        return 1;
    }
    out << FormatScan(aps, ifname);
    out.flush();
    return out ? 0 : 1;
}

}  // namespace

int IwMain(const std::vector<std::string>& args, const std::string& root, std::ostream& out, std::ostream& err) {
    if (args.size() == 1 && (args[0] == "help" || args[0] == "--help")) {
        out << kUsage;
        return 0;
    }
    if (args.size() == 3 && args[0] == "dev" && args[2] == "scan") return Scan(args[1], root, out, err);
    err << kUsage;
    return 1;
}

}  // namespace tavo::sim
