// The tavo-sim program in its own name: runs the simulator on a root
// directory until SIGINT or SIGTERM.
#pragma once

#include <ostream>
#include <string>
#include <vector>

#include "sim/access_point.h"
#include "sim/btcli_state.h"

namespace tavo::sim {

struct ServeOptions {
    std::string root;
    std::vector<AccessPoint> aps;
    std::vector<BtDevice> btDevices;  // devices in range for the btcli stand-in
    std::vector<std::string> wlanfw;  // settings for the WLAN test firmware
    std::vector<std::string> btctl;   // settings for the Bluetooth controller
    bool quiet = false;  // no log lines on standard error
    bool help = false;
};

std::string ServeUsage();

// Parses the arguments (without argv[0]). Returns false with `error` set
// on a usage error.
bool ParseServeOptions(const std::vector<std::string>& args, ServeOptions& options, std::string& error);

// "BSSID,FREQ,SIGNAL,SSID": the SSID is everything after the third comma,
// commas included, and may be empty.
bool ParseAccessPointOption(const std::string& text, AccessPoint& ap, std::string& error);


// The two lines that point a shell at the simulator:
//   export TAVO_PLATFORM_ROOT=<root>
//   export PATH=<root>/bin:$PATH
// with the root single-quoted when it holds characters the shell reads.
std::string ExportLines(const std::string& root);

// The whole program in its own name: parse, run until a stop signal, stop.
// Returns the exit status (0, 1 on a failure, 2 on a usage error).
int ServeMain(const std::vector<std::string>& args, std::ostream& out, std::ostream& err);

}  // namespace tavo::sim
