// wlbt: drives the factory-test service from a workstation or a shell.
//
// Opens the service, forwards each AT command (from the arguments, from
// sequence files, or line by line from standard input), prints each command
// with its result string and return code, and closes the service. The exit
// status and the optional summary give a station script the verdict.
#include <getopt.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <iostream>
#include <memory>
#include <stdexcept>
#include <string>
#include <system_error>
#include <vector>

#include "WiFiBtFactoryService.h"
#include "tools/wlbt_station.h"
#include "sim/btctl/btctl_component.h"
#include "sim/btctl/settings_text.h"
#include "sim/simulator.h"
#include "sim/wlanfw/settings_text.h"
#include "sim/wlanfw/wlanfw_component.h"

namespace {

void Usage(FILE* out) {
    std::fputs(
        "usage: wlbt [-v] [-t TIMEOUT] [--summary] [--sim] [--keep-root] [--wlanfw SETTING]...\n"
        "            [--btctl SETTING]... [--debug STATEMENT] [--debug-file PATH]\n"
        "            [--capture FILE] [--btsnoop FILE]\n"
        "            [-f FILE]... | [COMMAND...]\n"
        "\n"
        "Forwards AT commands to the WLAN/Bluetooth factory-test service and prints\n"
        "each result string and return code. The commands are the COMMAND arguments,\n"
        "or the sequence files given with -f, or else the lines of standard input.\n"
        "A sequence has one command per line; empty lines and lines starting with '#'\n"
        "are skipped, and a line \"@PATH\" runs the sequence file PATH in its place\n"
        "(a relative PATH is taken from the directory of the file holding the line,\n"
        "on standard input from the current directory; includes nest at most 8 deep).\n"
        "\n"
        "  -f FILE     run the sequence file FILE; repeatable, the files run in order;\n"
        "              standard input is not read, and COMMAND arguments are refused.\n"
        "              Every file is read, includes and all, before the first command,\n"
        "              so a file that cannot be read runs nothing (exit status 2)\n"
        "  --summary   after the last command, print one line per command family used:\n"
        "              \"summary FAMILY: N commands, K OK, M NG\", FAMILY one of AT+WIFI,\n"
        "              AT+BTRF=, ATA+WIFI=, ATA+BT=, UNIT= or other\n"
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
        "  --capture FILE  write a pcapng capture of the run to FILE (sets TAVO_CAPTURE):\n"
        "              the H4 packets, the WLAN firmware frames and the AT commands with\n"
        "              their results; Wireshark reads it (tools/wireshark/wlbt.lua decodes\n"
        "              the firmware frames and the AT records)\n"
        "  --btsnoop FILE  write the H4 packets to FILE in the btsnoop format, for\n"
        "              btmon -r and Wireshark (sets TAVO_BTSNOOP)\n"
        "  -t TIMEOUT  time limit handed to the service (accepted, has no effect)\n"
        "  -h          this help\n"
        "\n"
        "A command is OK when it returns 0 and its result string carries the OK\n"
        "verdict; it is NG when it returns another code, when its result carries NG,\n"
        "or when it has no result string, or one with no verdict where it belongs.\n"
        "When standard error is a terminal without log or trace lines on it, a command\n"
        "that takes over half a second shows \"waiting for COMMAND ... N s\" there until\n"
        "it answers.\n"
        "\n"
        "Exit status: 0 when every command was OK, 1 when some command was NG, 2 on a\n"
        "usage error, a sequence file that cannot be read (on standard input: at its\n"
        "include line, after the commands before it), or a service that could not be\n"
        "opened.\n",
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

// One run of commands: how they are forwarded, and how they fared.
struct Run {
    int timeout = 3000;
    bool indicator = false;  // the waiting line on standard error
    wlbt::Summary summary;
    bool allOk = true;
};

void Forward(Run& run, const std::string& command) {
    std::vector<char> result(WLBT_RESULT_BUFFER_SIZE, '\0');
    int rc;
    {
        std::unique_ptr<wlbt::WaitIndicator> waiting;
        if (run.indicator) {
            try {
                waiting = std::make_unique<wlbt::WaitIndicator>(Visible(command.c_str()), [](const std::string& text) {
                    std::fputs(text.c_str(), stderr);
                    std::fflush(stderr);
                });
            } catch (const std::system_error&) {
                // No thread to spare: the command runs without the line.
            }
        }
        rc = ForwardCMD_WiFiBT(command.c_str(), result.data(), run.timeout);
    }  // the waiting line is gone before the result shows
    result.back() = '\0';
    std::printf("%s\n", command.c_str());
    if (result[0] == '\0') {
        std::printf("  rc %d  (no result)\n", rc);
    } else {
        std::printf("  rc %d  \"%s\"\n", rc, Visible(result.data()).c_str());
    }
    std::fflush(stdout);
    const bool ok = rc == 0 && wlbt::ReadVerdict(result.data()) == wlbt::Verdict::kOk;
    run.summary.Add(command, ok);
    run.allOk = run.allOk && ok;
}

// The program the simulator's stand-ins (btcli, iw, ps) link to. An
// installed wlbt has tavo-sim beside it; in the build tree they sit in
// different directories and the path known at build time serves.
// TAVO_SIM_BINARY overrides both.
std::string TavoSimProgram() {
    const char* binary = std::getenv("TAVO_SIM_BINARY");
    if (binary != nullptr && *binary != '\0') return binary;
    std::vector<char> self(4096);
    const ssize_t n = ::readlink("/proc/self/exe", self.data(), self.size() - 1);
    if (n > 0) {
        std::string beside(self.data(), static_cast<size_t>(n));
        beside = beside.substr(0, beside.rfind('/') + 1) + "tavo-sim";
        if (::access(beside.c_str(), X_OK) == 0) return beside;
    }
    return WLBT_TAVO_SIM_BINARY;
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
        sim_->InstallStandIns(TavoSimProgram());
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
    Run run;
    bool verbose = false;
    bool summary = false;
    bool sim = false;
    bool keepRoot = false;
    std::vector<std::string> files;
    std::vector<std::string> settings;
    std::vector<std::string> btSettings;
    const char* debugStatement = nullptr;
    const char* debugFile = nullptr;
    const char* captureFile = nullptr;
    const char* btsnoopFile = nullptr;
    enum {
        kOptSim = 1000,
        kOptKeepRoot,
        kOptWlanfw,
        kOptBtctl,
        kOptDebug,
        kOptDebugFile,
        kOptSummary,
        kOptCapture,
        kOptBtsnoop
    };
    static const struct option kLong[] = {{"sim", no_argument, nullptr, kOptSim},
                                          {"keep-root", no_argument, nullptr, kOptKeepRoot},
                                          {"wlanfw", required_argument, nullptr, kOptWlanfw},
                                          {"btctl", required_argument, nullptr, kOptBtctl},
                                          {"debug", required_argument, nullptr, kOptDebug},
                                          {"debug-file", required_argument, nullptr, kOptDebugFile},
                                          {"summary", no_argument, nullptr, kOptSummary},
                                          {"capture", required_argument, nullptr, kOptCapture},
                                          {"btsnoop", required_argument, nullptr, kOptBtsnoop},
                                          {"help", no_argument, nullptr, 'h'},
                                          {nullptr, 0, nullptr, 0}};
    int opt;
    while ((opt = getopt_long(argc, argv, "vt:f:h", kLong, nullptr)) != -1) {
        switch (opt) {
            case 'v': verbose = true; break;
            case 't': run.timeout = std::atoi(optarg); break;
            case 'f': files.push_back(optarg); break;
            case 'h': Usage(stdout); return 0;
            case kOptSim: sim = true; break;
            case kOptKeepRoot: keepRoot = true; break;
            case kOptWlanfw: settings.push_back(optarg); break;
            case kOptBtctl: btSettings.push_back(optarg); break;
            case kOptDebug: debugStatement = optarg; break;
            case kOptDebugFile: debugFile = optarg; break;
            case kOptSummary: summary = true; break;
            case kOptCapture: captureFile = optarg; break;
            case kOptBtsnoop: btsnoopFile = optarg; break;
            default: Usage(stderr); return 2;
        }
    }
    if (!sim && (keepRoot || !settings.empty() || !btSettings.empty())) {
        std::fprintf(stderr, "wlbt: --keep-root, --wlanfw and --btctl go with --sim\n");
        return 2;
    }
    if (!files.empty() && optind < argc) {
        std::fprintf(stderr, "wlbt: commands come from -f files or from arguments, not both\n");
        return 2;
    }
    // Sequence files are read whole before anything starts, so that a
    // missing include never leaves a station half way through a sequence.
    std::vector<std::string> commands;
    for (const std::string& file : files) {
        std::string error;
        if (!wlbt::ReadSequenceFile(file, commands, error)) {
            std::fprintf(stderr, "wlbt: %s\n", error.c_str());
            return 2;
        }
    }
    for (int i = optind; i < argc; ++i) commands.push_back(argv[i]);
    const bool fromStdin = files.empty() && optind >= argc;

    // The host log implementation reads TAVO_LOG on its first line.
    if (verbose) setenv("TAVO_LOG", "-", 1);
    // The library reads its debug settings once, on its first trace point, so
    // they must be in the environment before the service is opened.
    if (debugStatement != nullptr) setenv("TAVO_DEBUGLEVEL", debugStatement, 1);
    if (debugFile != nullptr) setenv("TAVO_DEBUGFILE", debugFile, 1);
    // The capture files are opened at the first packet, from the environment.
    if (captureFile != nullptr) setenv("TAVO_CAPTURE", captureFile, 1);
    if (btsnoopFile != nullptr) setenv("TAVO_BTSNOOP", btsnoopFile, 1);
    // Log and trace lines on standard error would run into the waiting line.
    run.indicator = isatty(STDERR_FILENO) == 1 && !verbose && (debugStatement == nullptr || debugFile != nullptr);

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
    int status = 0;
    if (!fromStdin) {
        for (const std::string& command : commands) Forward(run, command);
    } else {
        // Line by line, so that a station can feed commands as it goes; an
        // include is read whole when its line comes.
        std::string line;
        for (int number = 1; std::getline(std::cin, line); ++number) {
            std::vector<std::string> found;
            std::string error;
            if (!wlbt::ReadSequenceLine(line, "stdin:" + std::to_string(number), "", 0, found, error)) {
                std::fprintf(stderr, "wlbt: %s\n", error.c_str());
                status = 2;
                break;
            }
            for (const std::string& command : found) Forward(run, command);
        }
    }
    const int closeRc = CloseWiFiBtFactoryService();
    if (closeRc != 0) std::fprintf(stderr, "wlbt: CloseWiFiBtFactoryService returned %d\n", closeRc);
    if (summary) {
        std::fputs(run.summary.Text().c_str(), stdout);
        std::fflush(stdout);
    }
    if (status != 0) return status;
    return run.allOk ? 0 : 1;
}
