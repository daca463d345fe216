// Access points that the iw stand-in reports, and their control file.
//
// root/sim/access_points holds one access point a line, fields separated by
// a tab; '#' starts a comment line:
//
//   02:00:00:00:00:01<TAB>2412<TAB>-45.50<TAB>-<TAB>HomeNet
//
// bssid, frequency in MHz, signal in dBm (two decimals), options, SSID. The
// options are "-" or a comma list of "nosignal" (the entry has no "signal:"
// line) and "pad=N" (N bytes of vendor-specific element lines end the
// entry, to make long scan output). The SSID is the rest of the line, any
// bytes, with tab, backslash, control characters and bytes from 0x7f on
// written as \xNN.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

namespace tavo::sim {

struct AccessPoint {
    static constexpr std::size_t kMaxSsidLength = 1024;
    static constexpr std::size_t kMaxPadding = 16u << 20;

    std::string bssid;  // "02:00:00:00:00:01"; printed in lower case
    int frequency = 2412;  // MHz
    double signal = -50.0;  // dBm; printed with two decimals
    std::string ssid;  // raw bytes, up to kMaxSsidLength
    bool withSignal = true;  // false: no "signal:" line in the entry
    std::size_t padding = 0;  // bytes of filler lines at the end of the entry
};

// Empty when `ap` can be reported, else what is wrong with it.
std::string Validate(const AccessPoint& ap);

// "02:00:00:00:00:01": six pairs of hex digits, either case, colon-separated.
bool IsMacAddressText(const std::string& text);

// One line of the control file, without its line feed. `ap` must be valid.
std::string EncodeAccessPoint(const AccessPoint& ap);
// Reads one line (without its line feed). Returns false with `error` set
// when the line is malformed or names an invalid access point.
bool DecodeAccessPoint(const std::string& line, AccessPoint& ap, std::string& error);

// Writes the whole file at once (a reader sees the old or the new list).
// Throws std::runtime_error.
void SaveAccessPoints(const std::string& path, const std::vector<AccessPoint>& aps);
// Reads the file. A missing file is an empty list. Returns false with
// `error` ("<path>:<line>: <reason>") on the first bad line.
bool LoadAccessPoints(const std::string& path, std::vector<AccessPoint>& aps, std::string& error);

// The control file's escapes for an SSID, and back. Unescape returns false
// on a malformed escape.
std::string EscapeSsidField(const std::string& ssid);
bool UnescapeSsidField(const std::string& field, std::string& ssid);

}  // namespace tavo::sim
