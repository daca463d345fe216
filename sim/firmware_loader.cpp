#include "sim/firmware_loader.h"

#include <cerrno>
#include <cstdlib>

#include "sim/file_watcher.h"
#include "sim/fs_util.h"

namespace tavo::sim {
namespace {

// The watched directories, in the order given to the watcher, with the
// short names the log uses for them.
struct WatchedDir {
    const char* path;
    const char* label;
};
const WatchedDir kDirs[] = {
    {path::kRkParams, "tavo_rk"},
    {path::kWlanParams, "tavo_wlan"},
    {path::kBtParams, "tavo_bt"},
    {path::kClockDir, "rk720_clk0"},
};
constexpr int kBtDir = 2;
constexpr int kClockDirIndex = 3;

// Parameters are short; anything longer is cut for reading.
constexpr size_t kParamLimit = 4096;

}  // namespace

FirmwareLoader::FirmwareLoader(const Tree& tree, SimLog& log, FirmwareState& firmware, Listener listener)
    : tree_(tree), log_(log), firmware_(firmware), listener_(std::move(listener)) {}

FirmwareLoader::~FirmwareLoader() {
    Stop();
}

void FirmwareLoader::Start() {
    std::vector<std::string> dirs;
    for (const WatchedDir& dir : kDirs) dirs.push_back(tree_.Path(dir.path));
    watcher_ = std::make_unique<FileWatcher>(dirs, [this](int dir, const std::string& name) { OnWritten(dir, name); });
}

void FirmwareLoader::Stop() {
    watcher_.reset();
}

void FirmwareLoader::CatchUp() {
    if (watcher_) watcher_->DrainPending();
}

bool FirmwareLoader::IsCrashValue(const std::string& text) {
    const std::string value = TrimRight(text);
    if (value.empty() || value[0] == '-' || value[0] == ' ' || value[0] == '+') return false;
    errno = 0;
    char* end = nullptr;
    const unsigned long long number = std::strtoull(value.c_str(), &end, 0);
    return errno == 0 && end != nullptr && *end == '\0' && number == 0xDEADDEADull;
}

bool FirmwareLoader::IsTrue(const std::string& text) {
    return !text.empty() && (text[0] == 'Y' || text[0] == 'y' || text[0] == '1');
}

void FirmwareLoader::OnWritten(int dir, const std::string& name) {
    if (dir < 0) {
        log_.Write("param: writes were lost (event queue overflow)");
        return;
    }
    const WatchedDir& watched = kDirs[dir];
    std::string value;
    if (!ReadFile(tree_.Path(watched.path) + "/" + name, value, kParamLimit)) return;  // gone again
    log_.Write(std::string("param: ") + watched.label + "/" + name + " = " + Printable(TrimRight(value), 64));
    if (dir == kBtDir && name == "force_crash" && IsCrashValue(value)) Reload(RestartCause::kForceCrash);
    if (dir == kClockDirIndex && name == "restart" && IsTrue(value)) Reload(RestartCause::kClockRestart);
}

void FirmwareLoader::Reload(RestartCause cause) {
    std::string variant;
    // An unreadable variant file leaves the chip without firmware.
    if (!ReadFile(tree_.Path(path::kFirmwareVariant), variant, kParamLimit)) variant.clear();
    variant = TrimRight(variant);
    const FirmwareRestart event = firmware_.Restart(variant, cause);
    const auto shown = [](const std::string& v) { return v.empty() ? std::string("(none)") : Printable(v, 64); };
    log_.Write("firmware: " + shown(event.from) + " -> " + shown(event.to) + " (" + CauseName(cause) + ")");
    if (listener_) listener_(event);
}

}  // namespace tavo::sim
