#include "sim/serve.h"

#include <pthread.h>
#include <signal.h>
#include <sys/time.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <exception>
#include <stdexcept>

#include "sim/btctl/btctl_component.h"
#include "sim/btctl/settings_text.h"
#include "sim/fs_util.h"
#include "sim/simulator.h"
#include "sim/wlanfw/settings_text.h"
#include "sim/wlanfw/wlanfw_component.h"

namespace tavo::sim {
namespace {

bool ShellSafe(const std::string& text) {
    for (const char c : text) {
        const bool ok = (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') ||
                        std::strchr("/._-+,@%:", c) != nullptr;
        if (!ok) return false;
    }
    return !text.empty();
}

std::string ShellQuote(const std::string& text) {
    if (ShellSafe(text)) return text;
    std::string out = "'";
    for (const char c : text) out += c == '\'' ? std::string("'\\''") : std::string(1, c);
    return out + "'";
}

std::string SelfPath() {
    std::vector<char> buffer(4096);
    const ssize_t n = ::readlink("/proc/self/exe", buffer.data(), buffer.size() - 1);
    if (n <= 0) ThrowSystemError("cannot find the tavo-sim program", "/proc/self/exe");
    return std::string(buffer.data(), static_cast<size_t>(n));
}

std::string Clock() {
    struct timeval now {};
    ::gettimeofday(&now, nullptr);
    struct tm local {};
    ::localtime_r(&now.tv_sec, &local);
    char text[32];
    std::snprintf(text, sizeof text, "%02d:%02d:%02d.%03ld", local.tm_hour, local.tm_min, local.tm_sec,
                  static_cast<long>(now.tv_usec / 1000));
    return text;
}

// Takes the value of "--name VALUE" or "--name=VALUE".
bool OptionValue(const std::vector<std::string>& args, size_t& i, const std::string& name, std::string& value,
                 bool& matched, std::string& error) {
    matched = false;
    const std::string& arg = args[i];
    if (arg == name) {
        matched = true;
        if (i + 1 >= args.size()) {
            error = name + " needs a value";
            return false;
        }
        value = args[++i];
        return true;
    }
    if (arg.compare(0, name.size() + 1, name + "=") == 0) {
        matched = true;
        value = arg.substr(name.size() + 1);
        return true;
    }
    return true;
}

}  // namespace

std::string ServeUsage() {
    return "Usage: tavo-sim [--quiet] [--ap BSSID,FREQ,SIGNAL,SSID]... [--wlanfw SETTING]...\n"
           "                [--btctl SETTING]... [--bt-device ADDR,NAME,RSSI[,SIGHTINGS]]...\n"
           "                --root DIR\n"
           "       tavo-sim [options] DIR\n"
           "       tavo-sim --help\n"
           "\n"
           "Runs the simulator of the WLAN/Bluetooth chip on the directory DIR (made if\n"
           "missing) until SIGINT or SIGTERM, so that the factory library and its tools\n"
           "run on a workstation. DIR receives the kernel parameters, the driver's control\n"
           "files, the interface flags and the firmware log ring as after a fresh boot\n"
           "(normal firmware rk720, wlan0 down); DIR/dev/tavo_h4_0 links to the Bluetooth\n"
           "controller's pseudo-terminal; DIR/bin receives the stand-ins for btcli, iw\n"
           "and ps; DIR/sim/log receives the simulator's log. Writing 0xDEADDEAD to\n"
           "force_crash or Y to the clock's restart file reloads the firmware with the\n"
           "variant in firmware_variant. DIR is left in place on exit.\n"
           "\n"
           "Prints the lines that point a shell at it:\n"
           "  export TAVO_PLATFORM_ROOT=DIR\n"
           "  export PATH=DIR/bin:$PATH\n"
           "\n"
           "Options:\n"
           "  --root DIR        the root directory (or give DIR alone)\n"
           "  --ap BSSID,FREQ,SIGNAL,SSID\n"
           "                    an access point for `iw dev wlan0 scan`, e.g.\n"
           "                    --ap 02:00:00:00:00:01,2412,-45.5,HomeNet (the SSID is\n"
           "                    the rest, commas included); repeat for more. The list\n"
           "                    lives in DIR/sim/access_points and may be edited there.\n"
           "  --bt-device ADDR,NAME,RSSI[,SIGHTINGS]\n"
           "                    a Bluetooth device for btcli's inquiry, e.g.\n"
           "                    --bt-device 00:11:22:33:44:55,Tester,-72,2 (RSSI -127 to\n"
           "                    -1 dBm; SIGHTINGS 1 or 2 rows per inquiry, 1 if left\n"
           "                    out; the name is the rest, commas included); repeat for\n"
           "                    more. btcli reads them, the chip's address and\n"
           "                    fast-sleep from DIR/sim/btcli_state.\n"
           "  --wlanfw SETTING  steers the WLAN test firmware served on DIR/dev/q7c3310udi0\n"
           "                    (it answers only while the test variant runs); repeat\n"
           "                    for more. Settings:\n" +
           wlanfw::SettingsUsage() +
           "  --btctl SETTING   steers the Bluetooth controller on DIR/dev/tavo_h4_0 (H4,\n"
           "                    HCI answers, the vendor channel); repeat for more. Settings:\n" +
           btctl::SettingsUsage() +
           "  -q, --quiet       no log lines on standard error\n"
           "  -h, --help        this text\n";
}

bool ParseAccessPointOption(const std::string& text, AccessPoint& ap, std::string& error) {
    std::vector<std::string> parts;
    size_t start = 0;
    for (int i = 0; i < 3; ++i) {
        const size_t comma = text.find(',', start);
        if (comma == std::string::npos) {
            error = "--ap wants BSSID,FREQ,SIGNAL,SSID: \"" + Printable(text, 80) + "\"";
            return false;
        }
        parts.push_back(text.substr(start, comma - start));
        start = comma + 1;
    }
    AccessPoint parsed;
    parsed.bssid = parts[0];
    char* end = nullptr;
    errno = 0;
    const long frequency = parts[1].empty() ? -1 : std::strtol(parts[1].c_str(), &end, 10);
    if (parts[1].empty() || *end != '\0' || errno != 0 || frequency < 1 || frequency > 7200) {
        error = "--ap: bad frequency \"" + Printable(parts[1], 40) + "\"";
        return false;
    }
    parsed.frequency = static_cast<int>(frequency);
    end = nullptr;
    errno = 0;
    parsed.signal = parts[2].empty() ? 0.0 : std::strtod(parts[2].c_str(), &end);
    if (parts[2].empty() || *end != '\0' || errno != 0) {
        error = "--ap: bad signal \"" + Printable(parts[2], 40) + "\"";
        return false;
    }
    parsed.ssid = text.substr(start);
    const std::string invalid = Validate(parsed);
    if (!invalid.empty()) {
        error = "--ap: " + invalid;
        return false;
    }
    ap = parsed;
    return true;
}

bool ParseServeOptions(const std::vector<std::string>& args, ServeOptions& options, std::string& error) {
    ServeOptions parsed;
    for (size_t i = 0; i < args.size(); ++i) {
        const std::string& arg = args[i];
        if (arg == "-h" || arg == "--help") {
            parsed.help = true;
            continue;
        }
        if (arg == "-q" || arg == "--quiet") {
            parsed.quiet = true;
            continue;
        }
        std::string value;
        bool matched = false;
        if (!OptionValue(args, i, "--root", value, matched, error)) return false;
        if (matched || (!arg.empty() && arg[0] != '-')) {
            if (!matched) value = arg;
            if (!parsed.root.empty()) {
                error = "only one root directory may be given";
                return false;
            }
            if (value.empty()) {
                error = "empty root directory";
                return false;
            }
            parsed.root = value;
            continue;
        }
        if (!OptionValue(args, i, "--wlanfw", value, matched, error)) return false;
        if (matched) {
            parsed.wlanfw.push_back(value);
            continue;
        }
        if (!OptionValue(args, i, "--btctl", value, matched, error)) return false;
        if (matched) {
            parsed.btctl.push_back(value);
            continue;
        }
        if (!OptionValue(args, i, "--ap", value, matched, error)) return false;
        if (matched) {
            AccessPoint ap;
            if (!ParseAccessPointOption(value, ap, error)) return false;
            parsed.aps.push_back(ap);
            continue;
        }
        if (!OptionValue(args, i, "--bt-device", value, matched, error)) return false;
        if (matched) {
            BtDevice device;
            if (!ParseBtDeviceOption(value, device, error)) return false;
            parsed.btDevices.push_back(device);
            continue;
        }
        error = "unknown option \"" + Printable(arg, 80) + "\"";
        return false;
    }
    if (!parsed.help && parsed.root.empty()) {
        error = "no root directory given";
        return false;
    }
    options = parsed;
    return true;
}

std::string ExportLines(const std::string& root) {
    const std::string quoted = ShellQuote(root);
    return "export TAVO_PLATFORM_ROOT=" + quoted + "\n" + "export PATH=" + ShellQuote(root + "/bin") + ":" +
           (ShellSafe(root) ? "$PATH" : "\"$PATH\"") + "\n";
}

int ServeMain(const std::vector<std::string>& args, std::ostream& out, std::ostream& err) {
    ServeOptions options;
    std::string error;
    if (!ParseServeOptions(args, options, error)) {
        err << "tavo-sim: " << error << "\n" << ServeUsage();
        return 2;
    }
    if (options.help) {
        out << ServeUsage();
        return 0;
    }
    // A shell that starts us in the background leaves SIGINT ignored, and an
    // ignored signal is dropped even while blocked: take both stop signals
    // back. SIGHUP keeps what it inherited, so that nohup works.
    struct sigaction dfl {};
    dfl.sa_handler = SIG_DFL;
    sigemptyset(&dfl.sa_mask);
    ::sigaction(SIGINT, &dfl, nullptr);
    ::sigaction(SIGTERM, &dfl, nullptr);
    // Blocked before any thread starts, so every thread inherits the mask
    // and the signals wait for sigwait below.
    sigset_t stops;
    sigemptyset(&stops);
    sigaddset(&stops, SIGINT);
    sigaddset(&stops, SIGTERM);
    sigaddset(&stops, SIGHUP);
    sigset_t previous;
    pthread_sigmask(SIG_BLOCK, &stops, &previous);
    int status = 0;
    try {
        Simulator sim(options.root);
        if (!options.quiet) {
            sim.Log().SetObserver([&err](const std::string& line) { err << "tavo-sim: " << Clock() << " " << line << std::endl; });
        }
        sim.SetAccessPoints(options.aps);
        auto& wlan = sim.Emplace<wlanfw::WlanFirmwareComponent>();
        for (const std::string& setting : options.wlanfw) {
            std::string invalid;
            if (!wlanfw::ApplySetting(wlan.Firmware(), setting, invalid)) {
                throw std::runtime_error("--wlanfw " + setting + ": " + invalid);
            }
        }
        auto& bt = sim.Emplace<btctl::BtControllerComponent>();
        bt.Controller().SetDevices(options.btDevices);
        for (const std::string& setting : options.btctl) {
            std::string invalid;
            if (!btctl::ApplySetting(bt.Controller(), setting, invalid)) {
                throw std::runtime_error("--btctl " + setting + ": " + invalid);
            }
        }
        sim.Start();
        sim.InstallStandIns(SelfPath());
        out << ExportLines(sim.Root());
        out.flush();
        int signal = 0;
        while (sigwait(&stops, &signal) != 0) {
        }
        sim.Log().Write(std::string("simulator: stopping on ") + (signal == SIGINT    ? "SIGINT"
                                                                 : signal == SIGTERM ? "SIGTERM"
                                                                                     : "SIGHUP"));
        sim.Stop();
        sim.Log().SetObserver(nullptr);
    } catch (const std::exception& e) {
        err << "tavo-sim: " << e.what() << "\n";
        status = 1;
    }
    pthread_sigmask(SIG_SETMASK, &previous, nullptr);
    return status;
}

}  // namespace tavo::sim
