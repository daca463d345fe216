// The text `iw dev <if> scan` prints, for a list of access points.
#pragma once

#include <string>
#include <vector>

#include "sim/access_point.h"

namespace tavo::sim {

// One entry per access point, in list order, the way iw prints them:
// "BSS <bssid>(on <if>)" at a line's start, then tab-indented elements,
// among them "signal: -45.50 dBm", "SSID: ..." and a "BSS Load:" block.
std::string FormatScan(const std::vector<AccessPoint>& aps, const std::string& ifname);

// The SSID as iw shows it: printable bytes as they are, a space inside the
// SSID as a space, anything else (a space at either end, a backslash,
// control and high bytes) as \xNN.
std::string IwEscapeSsid(const std::string& ssid);

// iw's channel number for a frequency in MHz; 0 when none fits.
int FrequencyToChannel(int mhz);

}  // namespace tavo::sim
