#include "sim/btcli_state.h"

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <sstream>

#include "sim/access_point.h"
#include "sim/fs_util.h"

namespace tavo::sim {
namespace {

constexpr char kHeader[] =
    "# tavo-sim state for the btcli stand-in, written by the Bluetooth controller:\n"
    "# address, fast-sleep on|off, and one line per device in range, tab separated:\n"
    "# device  address  rssi(dBm)  sightings(1|2)  name(\\xNN escapes)\n";

// A device list far beyond any sensible one is refused rather than read.
constexpr std::size_t kMaxFileSize = 16u << 20;

bool ParseInt(const std::string& text, int min, int max, int& value) {
    if (text.empty() || (text[0] != '-' && (text[0] < '0' || text[0] > '9'))) return false;
    errno = 0;
    char* end = nullptr;
    const long parsed = std::strtol(text.c_str(), &end, 10);
    if (errno != 0 || *end != '\0' || parsed < min || parsed > max) return false;
    value = static_cast<int>(parsed);
    return true;
}

// The line's fields after the key; the last one takes the rest of the line.
std::vector<std::string> Fields(const std::string& line, std::size_t count) {
    std::vector<std::string> fields;
    std::size_t start = 0;
    while (fields.size() + 1 < count) {
        const std::size_t tab = line.find('\t', start);
        if (tab == std::string::npos) break;
        fields.push_back(line.substr(start, tab - start));
        start = tab + 1;
    }
    fields.push_back(line.substr(start));
    return fields;
}

std::string DecodeLine(const std::string& line, BtcliState& state) {
    const std::vector<std::string> f = Fields(line, 5);
    if (f[0] == "address" && f.size() == 2) {
        if (!IsMacAddressText(f[1])) return "bad address \"" + Printable(f[1], 40) + "\"";
        state.address = f[1];
        return std::string();
    }
    if (f[0] == "fast-sleep" && f.size() == 2) {
        if (f[1] != "on" && f[1] != "off") return "fast-sleep is on or off";
        state.fastSleep = f[1] == "on";
        return std::string();
    }
    if (f[0] != "device") return "unknown line \"" + Printable(f[0], 40) + "\"";
    if (f.size() != 5) return "a device wants address, rssi, sightings and name";
    BtDevice device;
    device.address = f[1];
    if (!ParseInt(f[2], -1000, 1000, device.rssi) || !ParseInt(f[3], -1000, 1000, device.sightings)) {
        return "bad number in a device line";
    }
    if (!UnescapeSsidField(f[4], device.name)) return "bad escape in a device name";
    const std::string invalid = Validate(device);
    if (invalid.empty()) state.devices.push_back(device);
    return invalid;
}

}  // namespace

std::string Validate(const BtDevice& device) {
    if (!IsMacAddressText(device.address)) {
        return "bad address \"" + Printable(device.address, 40) + "\" (want xx:xx:xx:xx:xx:xx)";
    }
    if (device.rssi < BtDevice::kMinRssi || device.rssi > BtDevice::kMaxRssi) {
        return "bad RSSI " + std::to_string(device.rssi) + " (want -127 to -1 dBm)";
    }
    if (device.sightings != 1 && device.sightings != 2) {
        return "bad sightings " + std::to_string(device.sightings) + " (want 1 or 2)";
    }
    if (device.name.size() > BtDevice::kMaxNameLength) return "name longer than 248 bytes";
    return std::string();
}

void SaveBtcliState(const std::string& path, const BtcliState& state) {
    std::string text = kHeader;
    text += "address\t" + state.address + "\n";
    text += std::string("fast-sleep\t") + (state.fastSleep ? "on" : "off") + "\n";
    for (const BtDevice& d : state.devices) {
        text += "device\t" + d.address + "\t" + std::to_string(d.rssi) + "\t" + std::to_string(d.sightings) + "\t" +
                EscapeSsidField(d.name) + "\n";
    }
    WriteFileAtomic(path, text);
}

bool LoadBtcliState(const std::string& path, BtcliState& state, std::string& error) {
    state = BtcliState();
    if (ReadStateLines(path, kMaxFileSize, error, [&](const std::string& line) { return DecodeLine(line, state); })) {
        return true;
    }
    state = BtcliState();
    return false;
}

bool ParseBtDeviceOption(const std::string& text, BtDevice& device, std::string& error, const std::string& what) {
    const std::string usage = what + " wants ADDR,NAME,RSSI[,SIGHTINGS]: \"" + Printable(text, 80) + "\"";
    const std::size_t first = text.find(',');
    std::size_t last = text.rfind(',');
    if (first == std::string::npos || last == first) {
        error = usage;
        return false;
    }
    BtDevice parsed;
    parsed.address = text.substr(0, first);
    std::string field = text.substr(last + 1);
    if (field == "1" || field == "2") {
        parsed.sightings = field[0] - '0';
        const std::size_t rssiComma = text.rfind(',', last - 1);
        if (rssiComma == first) {
            error = usage;
            return false;
        }
        field = text.substr(rssiComma + 1, last - rssiComma - 1);
        last = rssiComma;
    }
    char* end = nullptr;
    errno = 0;
    const long rssi = field.empty() ? 0 : std::strtol(field.c_str(), &end, 10);
    if (field.empty() || *end != '\0' || errno != 0 || rssi < BtDevice::kMinRssi || rssi > BtDevice::kMaxRssi) {
        error = what + ": bad RSSI \"" + Printable(field, 40) + "\" (want -127 to -1 dBm)";
        return false;
    }
    parsed.rssi = static_cast<int>(rssi);
    parsed.name = text.substr(first + 1, last - first - 1);
    const std::string invalid = Validate(parsed);
    if (!invalid.empty()) {
        error = what + ": " + invalid;
        return false;
    }
    device = parsed;
    return true;
}

}  // namespace tavo::sim
