#include "sim/iw_scan.h"

#include <algorithm>
#include <cstdarg>
#include <cstdio>

namespace tavo::sim {
namespace {

// A vendor-specific element line as iw prints one; filler lines are cut
// from it. Shorter than iw's 1024-byte line reads of the library.
const std::string& FillerLine() {
    static const std::string line = [] {
        std::string text = "\tVendor specific: OUI 00:90:4c, data:";
        unsigned value = 0x5a;
        for (int i = 0; i < 28; ++i) {
            value = (value * 73 + 41) & 0xff;
            char byte[4];
            std::snprintf(byte, sizeof byte, " %02x", value);
            text += byte;
        }
        return text + "\n";
    }();
    return line;
}

// Exactly `bytes` bytes of whole lines. The last two lines share what is
// left, so that no line is cut down to a stub unless `bytes` itself is tiny.
void AppendPadding(std::string& out, size_t bytes) {
    const std::string& filler = FillerLine();
    const size_t full = filler.size();
    while (bytes > 0) {
        size_t length = full;
        if (bytes < 2 * full) length = bytes > full ? bytes / 2 : bytes;
        out.append(filler, 0, length - 1);
        out += '\n';
        bytes -= length;
    }
}

void Line(std::string& out, const char* format, ...) __attribute__((format(printf, 2, 3)));
void Line(std::string& out, const char* format, ...) {
    char buffer[256];
    va_list args;
    va_start(args, format);
    const int n = std::vsnprintf(buffer, sizeof buffer, format, args);
    va_end(args);
    if (n > 0) out.append(buffer, std::min(static_cast<size_t>(n), sizeof buffer - 1));
}

}  // namespace

int FrequencyToChannel(int mhz) {
    if (mhz == 2484) return 14;
    if (mhz == 5935) return 2;
    if (mhz >= 2412 && mhz < 2484) return (mhz - 2407) / 5;
    if (mhz >= 4910 && mhz <= 4980) return (mhz - 4000) / 5;
    if (mhz >= 5000 && mhz < 5950) return (mhz - 5000) / 5;
    if (mhz >= 5950 && mhz <= 7125) return (mhz - 5950) / 5;
    return 0;
}

std::string IwEscapeSsid(const std::string& ssid) {
    std::string out;
    for (size_t i = 0; i < ssid.size(); ++i) {
        const unsigned char c = static_cast<unsigned char>(ssid[i]);
        if (c > 0x20 && c < 0x7f && c != '\\') {
            out += static_cast<char>(c);
        } else if (c == ' ' && i != 0 && i != ssid.size() - 1) {
            out += ' ';
        } else {
            char hex[5];
            std::snprintf(hex, sizeof hex, "\\x%02x", c);
            out += hex;
        }
    }
    return out;
}

std::string FormatScan(const std::vector<AccessPoint>& aps, const std::string& ifname) {
    std::string out;
    unsigned index = 0;
    for (const AccessPoint& ap : aps) {
        // Believable, different values per entry.
        const unsigned long long tsf = 1234567890ull + 987654321ull * index;
        const unsigned long long seconds = tsf / 1000000ull;
        const bool band24 = ap.frequency < 3000;
        const int channel = FrequencyToChannel(ap.frequency);

        std::string bssid = ap.bssid;
        for (char& c : bssid) c = static_cast<char>(c >= 'A' && c <= 'F' ? c - 'A' + 'a' : c);
        out += "BSS " + bssid + "(on " + ifname + ")\n";
        Line(out, "\tTSF: %llu usec (%llud, %.2llu:%.2llu:%.2llu)\n", tsf, seconds / 86400, (seconds / 3600) % 24,
             (seconds / 60) % 60, seconds % 60);
        Line(out, "\tfreq: %d\n", ap.frequency);
        out += "\tbeacon interval: 100 TUs\n";
        out += "\tcapability: ESS Privacy ShortSlotTime (0x0411)\n";
        if (ap.withSignal) Line(out, "\tsignal: %.2f dBm\n", ap.signal);
        Line(out, "\tlast seen: %u ms ago\n", 10 + 30 * index);
        out += "\tInformation elements from Probe Response frame:\n";
        out += "\tSSID: " + IwEscapeSsid(ap.ssid) + "\n";
        if (band24) {
            out += "\tSupported rates: 1.0* 2.0* 5.5* 11.0* 6.0 9.0 12.0 18.0 \n";
            Line(out, "\tDS Parameter set: channel %d\n", channel);
            out += "\tExtended supported rates: 24.0 36.0 48.0 54.0 \n";
        } else {
            out += "\tSupported rates: 6.0* 9.0 12.0* 18.0 24.0* 36.0 48.0 54.0 \n";
        }
        out += "\tBSS Load:\n";
        Line(out, "\t\t * station count: %u\n", 3 + (index * 2) % 7);
        Line(out, "\t\t * channel utilisation: %u/255\n", 28 + (index * 37) % 200);
        out += "\t\t * available admission capacity: 0 [*32us]\n";
        AppendPadding(out, ap.padding);
        ++index;
    }
    return out;
}

}  // namespace tavo::sim
