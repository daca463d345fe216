// The part of a phone's file system that the factory library touches,
// laid out under a root directory on a workstation.
//
// Paths are named by their absolute form on the phone ("/sys/module/...");
// Tree::Path moves them under the root, the same way the library's
// platform layer does when TAVO_PLATFORM_ROOT names that root.
//
// root/
//   sys/module/tavo_rk/parameters/    firmware_variant, enable_auto_sense, use_new_fw_structure
//   sys/module/tavo_wlan/parameters/  EnableTestMode
//   sys/module/tavo_bt/parameters/    disable_service, force_crash
//   proc/driver/rk720_clk0/restart    the clock service's restart control
//   sys/class/net/wlan0/flags         interface flags, hex text ("0x1002")
//   sys/kernel/debug/tavo/ring0/norlog  the firmware log ring
//   dev/                              device nodes (WLAN socket, Bluetooth pty, btcli FIFO)
//   bin/                              the tool stand-ins (btcli, iw, ps)
//   sim/                              the simulator's own files: log, access_points, btcli_state
#pragma once

#include <string>
#include <utility>
#include <vector>

namespace tavo::sim {

namespace path {
inline constexpr char kRkParams[] = "/sys/module/tavo_rk/parameters";
inline constexpr char kWlanParams[] = "/sys/module/tavo_wlan/parameters";
inline constexpr char kBtParams[] = "/sys/module/tavo_bt/parameters";
inline constexpr char kFirmwareVariant[] = "/sys/module/tavo_rk/parameters/firmware_variant";
inline constexpr char kEnableAutoSense[] = "/sys/module/tavo_rk/parameters/enable_auto_sense";
inline constexpr char kUseNewFwStructure[] = "/sys/module/tavo_rk/parameters/use_new_fw_structure";
inline constexpr char kEnableTestMode[] = "/sys/module/tavo_wlan/parameters/EnableTestMode";
inline constexpr char kDisableService[] = "/sys/module/tavo_bt/parameters/disable_service";
inline constexpr char kForceCrash[] = "/sys/module/tavo_bt/parameters/force_crash";
inline constexpr char kClockDir[] = "/proc/driver/rk720_clk0";
inline constexpr char kClockRestart[] = "/proc/driver/rk720_clk0/restart";
inline constexpr char kNetClass[] = "/sys/class/net";
inline constexpr char kWlanFlags[] = "/sys/class/net/wlan0/flags";
inline constexpr char kLogRing[] = "/sys/kernel/debug/tavo/ring0/norlog";
inline constexpr char kDev[] = "/dev";
// Device nodes that the components built on this tree provide.
inline constexpr char kWlanNode[] = "/dev/q7c3310udi0";
inline constexpr char kBtNode[] = "/dev/tavo_h4_0";
inline constexpr char kBtcliFifo[] = "/dev/btcli_fifo";
// Not on a phone: the stand-ins and the simulator's own files.
inline constexpr char kBin[] = "/bin";
inline constexpr char kSimDir[] = "/sim";
inline constexpr char kSimLog[] = "/sim/log";
inline constexpr char kAccessPoints[] = "/sim/access_points";
inline constexpr char kBtcliState[] = "/sim/btcli_state";
}  // namespace path

// The variant the chip boots with, and the prefix that marks test firmware.
inline constexpr char kNormalFirmware[] = "rk720";
inline constexpr char kTestFirmwarePrefix[] = "rk720_t";

class Tree {
public:
    // `root` is made absolute; trailing slashes are dropped.
    explicit Tree(const std::string& root);

    const std::string& Root() const { return root_; }
    // `phonePath` ("/sys/...") under the root.
    std::string Path(const std::string& phonePath) const { return root_ + phonePath; }

    // Creates the directories and writes every file's boot value, as after
    // a fresh boot of the phone. Existing files are overwritten; files the
    // tree does not own are left alone. Throws std::runtime_error.
    void LayOut() const;

    // The files with their boot values (text plus a line feed, or empty).
    static const std::vector<std::pair<const char*, const char*>>& BootFiles();
    // The directories that LayOut creates, leaves first where it matters.
    static const std::vector<const char*>& Directories();

private:
    std::string root_;
};

}  // namespace tavo::sim
