// wlbt: drives the factory-test service from a workstation or a shell.
//
// Opens the service, forwards each AT command (from the arguments, or line by
// line from standard input), prints each command with its result string and
// return code, and closes the service.
#include <getopt.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <iostream>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include "WiFiBtFactoryService.h"
#include "sim/btctl/btctl_component.h"
#include "sim/btctl/settings_text.h"
#include "sim/simulator.h"
#include "sim/wlanfw/settings_text.h"
#include "sim/wlanfw/wlanfw_component.h"

namespace {

void Usage(FILE* out) {
    std::fputs(
        "usage: wlbt [-v] [-t TIMEOUT] [--sim] [--keep-root] [--wlanfw SETTING]...\n"
        "            [--btctl SETTING]... [--debug STATEMENT] [--debug-file PATH] [COMMAND...]\n"
        "\n"
        "Forwards AT commands to the WLAN/Bluetooth factory-test service and prints\n"
        "each result string and return code. Without COMMAND arguments, commands are\n"
        "read from standard input, one per line; empty lines and lines starting with\n"
        "'#' are skipped.\n"
        "\n"
        "  -v          show the library's log lines (and the simulator's) on standard error\n"
        "  --sim       run against the chip simulator, started on a temporary root for\n"
        "              the length of the run (TAVO_PLATFORM_ROOT and PATH point at it)\n"
        "  --keep-root leave the simulator's root in place and print where it is\n"
        "  --wlanfw S  steer the simulated WLAN firmware (with --sim); see tavo-sim --help\n"
        "  --btctl S   steer the simulated Bluetooth controller (with --sim); see tavo-sim --help\n"
        "  --debug STATEMENT  switch the library's tracing on (sets TAVO_DEBUGLEVEL), e.g.\n"
        "              'full', 'basic', 'enhanced', 'standard' or a list such as\n"
        "              'full:commstest,basic:all'; trace lines go to standard error\n"
        "  --debug-file PATH  send the trace lines to PATH instead (sets TAVO_DEBUGFILE)\n"
        "  -t TIMEOUT  time limit handed to the service (accepted, has no effect)\n"
        "  -h          this help\n"
        "\n"
        "Exit status: 0 when every command returned 0, 1 when some command returned\n"
        "another code, 2 on a usage error or when the service could not be opened.\n",
        out);
}

// The result with control characters made visible, so that the line feed
// that text values carry shows in the output.
std::string Visible(const char* text) {
    std::string out;
    for (const char* p = text; *p != '\0'; ++p) {
        const unsigned char c = static_cast<unsigned char>(*p);
        if (c == '\n') {
            out += "\\n";
        } else if (c == '\r') {
            out += "\\r";
        } else if (c == '\\' || c == '"') {
            out += '\\';
            out += static_cast<char>(c);
        } else if (c < 0x20 || c >= 0x7f) {
            char hex[8];
            std::snprintf(hex, sizeof hex, "\\x%02x", c);
            out += hex;
        } else {
            out += static_cast<char>(c);
        }
    }
    return out;
}

int Forward(const std::string& command, int timeout) {
    std::vector<char> result(WLBT_RESULT_BUFFER_SIZE, '\0');
    const int rc = ForwardCMD_WiFiBT(command.c_str(), result.data(), timeout);
    result.back() = '\0';
    std::printf("%s\n", command.c_str());
    if (result[0] == '\0') {
        std::printf("  rc %d  (no result)\n", rc);
    } else {
        std::printf("  rc %d  \"%s\"\n", rc, Visible(result.data()).c_str());
    }
    std::fflush(stdout);
    return rc;
}

}  // namespace

// The chip simulator for one run of the tool: a temporary root, the
// simulator with its WLAN firmware and Bluetooth controller, and the
// environment pointed at it.
class SimulatorRun {
public:
    SimulatorRun(bool verbose, bool keepRoot, const std::vector<std::string>& settings,
                 const std::vector<std::string>& btSettings)
        : keep_(keepRoot) {
        char tmpl[] = "/tmp/wlbt-sim-XXXXXX";
        if (mkdtemp(tmpl) == nullptr) throw std::runtime_error("cannot make a temporary root");
        root_ = tmpl;
        sim_ = std::make_unique<tavo::sim::Simulator>(root_);
        if (verbose) {
            sim_->Log().SetObserver([](const std::string& line) { std::fprintf(stderr, "sim: %s\n", line.c_str()); });
        }
        auto& wlan = sim_->Emplace<tavo::sim::wlanfw::WlanFirmwareComponent>();
        for (const std::string& setting : settings) {
            std::string error;
            if (!tavo::sim::wlanfw::ApplySetting(wlan.Firmware(), setting, error)) {
                throw std::runtime_error("--wlanfw " + setting + ": " + error);
            }
        }
        auto& bt = sim_->Emplace<tavo::sim::btctl::BtControllerComponent>();
        for (const std::string& setting : btSettings) {
            std::string error;
            if (!tavo::sim::btctl::ApplySetting(bt.Controller(), setting, error)) {
                throw std::runtime_error("--btctl " + setting + ": " + error);
            }
        }
        sim_->Start();
        const char* binary = std::getenv("TAVO_SIM_BINARY");
        sim_->InstallStandIns(binary != nullptr && *binary != '\0' ? binary : WLBT_TAVO_SIM_BINARY);
        setenv("TAVO_PLATFORM_ROOT", root_.c_str(), 1);
        const char* path = std::getenv("PATH");
        const std::string bin = root_ + "/bin";
        setenv("PATH", (path != nullptr && *path != '\0' ? bin + ":" + path : bin).c_str(), 1);
    }
    ~SimulatorRun() {
        sim_->Stop();
        sim_->Log().SetObserver(nullptr);
        if (keep_) {
            std::fprintf(stderr, "wlbt: simulator root kept at %s\n", root_.c_str());
        } else {
            std::system(("rm -rf '" + root_ + "'").c_str());
        }
    }
    SimulatorRun(const SimulatorRun&) = delete;
    SimulatorRun& operator=(const SimulatorRun&) = delete;

private:
    bool keep_;
    std::string root_;
    std::unique_ptr<tavo::sim::Simulator> sim_;
};

int main(int argc, char** argv) {
    int timeout = 3000;
    bool verbose = false;
    bool sim = false;
    bool keepRoot = false;
    std::vector<std::string> settings;
    std::vector<std::string> btSettings;
    const char* debugStatement = nullptr;
    const char* debugFile = nullptr;
    enum { kOptSim = 1000, kOptKeepRoot, kOptWlanfw, kOptBtctl, kOptDebug, kOptDebugFile };
    static const struct option kLong[] = {{"sim", no_argument, nullptr, kOptSim},
                                          {"keep-root", no_argument, nullptr, kOptKeepRoot},
                                          {"wlanfw", required_argument, nullptr, kOptWlanfw},
                                          {"btctl", required_argument, nullptr, kOptBtctl},
                                          {"debug", required_argument, nullptr, kOptDebug},
                                          {"debug-file", required_argument, nullptr, kOptDebugFile},
                                          {"help", no_argument, nullptr, 'h'},
                                          {nullptr, 0, nullptr, 0}};
    int opt;
    while ((opt = getopt_long(argc, argv, "vt:h", kLong, nullptr)) != -1) {
        switch (opt) {
            case 'v': verbose = true; break;
            case 't': timeout = std::atoi(optarg); break;
            case 'h': Usage(stdout); return 0;
            case kOptSim: sim = true; break;
            case kOptKeepRoot: keepRoot = true; break;
            case kOptWlanfw: settings.push_back(optarg); break;
            case kOptBtctl: btSettings.push_back(optarg); break;
            case kOptDebug: debugStatement = optarg; break;
            case kOptDebugFile: debugFile = optarg; break;
            default: Usage(stderr); return 2;
        }
    }
    if (!sim && (keepRoot || !settings.empty() || !btSettings.empty())) {
        std::fprintf(stderr, "wlbt: --keep-root, --wlanfw and --btctl go with --sim\n");
        return 2;
    }
    // The host log implementation reads TAVO_LOG on its first line.
    if (verbose) setenv("TAVO_LOG", "-", 1);
    // The library reads its debug settings once, on its first trace point, so
    // they must be in the environment before the service is opened.
    if (debugStatement != nullptr) setenv("TAVO_DEBUGLEVEL", debugStatement, 1);
    if (debugFile != nullptr) setenv("TAVO_DEBUGFILE", debugFile, 1);

    std::unique_ptr<SimulatorRun> simulator;
    if (sim) {
        try {
            simulator = std::make_unique<SimulatorRun>(verbose, keepRoot, settings, btSettings);
        } catch (const std::exception& e) {
            std::fprintf(stderr, "wlbt: %s\n", e.what());
            return 2;
        }
    }

    const int openRc = OpenWiFiBtFactoryService();
    if (openRc != 0) {
        std::fprintf(stderr, "wlbt: OpenWiFiBtFactoryService returned %d\n", openRc);
        return 2;
    }
    bool allZero = true;
    if (optind < argc) {
        for (int i = optind; i < argc; ++i) allZero = Forward(argv[i], timeout) == 0 && allZero;
    } else {
        std::string line;
        while (std::getline(std::cin, line)) {
            if (!line.empty() && line.back() == '\r') line.pop_back();
            if (line.empty() || line[0] == '#') continue;
            allZero = Forward(line, timeout) == 0 && allZero;
        }
    }
    const int closeRc = CloseWiFiBtFactoryService();
    if (closeRc != 0) std::fprintf(stderr, "wlbt: CloseWiFiBtFactoryService returned %d\n", closeRc);
    return allZero ? 0 : 1;
}
