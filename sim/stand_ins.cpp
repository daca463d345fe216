#include "sim/stand_ins.h"

#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <iostream>

#include "sim/btcli_tool.h"
#include "sim/fs_util.h"
#include "sim/iw_tool.h"
#include "sim/ps_tool.h"

namespace tavo::sim {

const std::vector<std::string>& StandInNames() {
    static const std::vector<std::string> names = {"btcli", "iw", "ps"};
    return names;
}

bool IsStandIn(const std::string& name) {
    for (const std::string& known : StandInNames()) {
        if (known == name) return true;
    }
    return false;
}

std::string RootFromEnvironment() {
    const char* value = std::getenv("TAVO_PLATFORM_ROOT");
    if (value == nullptr) return std::string();
    std::string root(value);
    while (root.size() > 1 && root.back() == '/') root.pop_back();
    return root == "/" ? std::string() : root;
}

int RunStandIn(const std::string& name, const std::vector<std::string>& args) {
    if (name == "btcli") return BtcliMain(args, RootFromEnvironment(), std::cout, std::cerr);
    if (name == "iw") return IwMain(args, RootFromEnvironment(), std::cout, std::cerr);
    if (name == "ps") return PsMain(args, std::cout, std::cerr, "/proc", RootFromEnvironment());
    std::cerr << name << ": not a tavo-sim stand-in\n";
    return 127;
}

void InstallStandIns(const std::string& binDir, const std::string& binary) {
    MakeDirs(binDir);
    for (const std::string& name : StandInNames()) {
        const std::string link = binDir + "/" + name;
        if (::unlink(link.c_str()) != 0 && errno != ENOENT) ThrowSystemError("cannot replace", link);
        if (::symlink(binary.c_str(), link.c_str()) != 0) ThrowSystemError("cannot install stand-in", link);
    }
}

}  // namespace tavo::sim
