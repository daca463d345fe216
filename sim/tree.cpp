#include "sim/tree.h"


#include <stdexcept>

#include "sim/fs_util.h"

namespace tavo::sim {

Tree::Tree(const std::string& root) : root_(AbsolutePath(root)) {
    // A root of "/" would lay the tree over the workstation's own /sys.
    if (root_ == "/") throw std::invalid_argument("the simulator's root must not be /");
}

const std::vector<std::pair<const char*, const char*>>& Tree::BootFiles() {
    static const std::vector<std::pair<const char*, const char*>> files = {
        {path::kFirmwareVariant, "rk720\n"},
        {path::kEnableAutoSense, "1\n"},
        {path::kUseNewFwStructure, "0\n"},
        {path::kEnableTestMode, "0\n"},
        {path::kDisableService, "N\n"},
        {path::kForceCrash, "0\n"},
        {path::kClockRestart, "N\n"},
        // IFF_BROADCAST | IFF_MULTICAST: present but down, as after boot.
        {path::kWlanFlags, "0x1002\n"},
        {path::kLogRing, ""},
    };
    return files;
}

const std::vector<const char*>& Tree::Directories() {
    static const std::vector<const char*> dirs = {
        path::kRkParams, path::kWlanParams, path::kBtParams, path::kClockDir, "/sys/class/net/wlan0",
        "/sys/kernel/debug/tavo/ring0", path::kDev, path::kBin, path::kSimDir,
    };
    return dirs;
}

void Tree::LayOut() const {
    MakeDirs(root_);
    for (const char* dir : Directories()) MakeDirs(Path(dir));
    for (const auto& [file, value] : BootFiles()) WriteFile(Path(file), value);
}

}  // namespace tavo::sim
