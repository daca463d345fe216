#include "sim/access_point.h"

#include <cctype>
#include <cerrno>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <sstream>

#include "sim/fs_util.h"

namespace tavo::sim {
namespace {

constexpr char kHeader[] =
    "# tavo-sim access points for the iw stand-in, one a line, tab separated:\n"
    "# bssid  frequency(MHz)  signal(dBm)  options(- | nosignal,pad=N)  SSID(\\xNN escapes)\n";

// A control file far beyond any sensible list is refused rather than read.
constexpr size_t kMaxFileSize = 64u << 20;

bool IsHex(char c) {
    return std::isxdigit(static_cast<unsigned char>(c)) != 0;
}

int HexValue(char c) {
    if (c >= '0' && c <= '9') return c - '0';
    return std::tolower(static_cast<unsigned char>(c)) - 'a' + 10;
}

std::string Lower(std::string text) {
    for (char& c : text) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    return text;
}

// Whole-string integer in [min, max].
bool ParseInt(const std::string& text, long long min, long long max, long long& value) {
    if (text.empty() || std::isspace(static_cast<unsigned char>(text[0]))) return false;
    errno = 0;
    char* end = nullptr;
    value = std::strtoll(text.c_str(), &end, 10);
    return errno == 0 && *end == '\0' && value >= min && value <= max;
}

std::vector<std::string> Split(const std::string& text, char separator, size_t maxParts) {
    std::vector<std::string> parts;
    size_t start = 0;
    while (parts.size() + 1 < maxParts) {
        const size_t at = text.find(separator, start);
        if (at == std::string::npos) break;
        parts.push_back(text.substr(start, at - start));
        start = at + 1;
    }
    parts.push_back(text.substr(start));
    return parts;
}

}  // namespace

bool IsMacAddressText(const std::string& text) {
    if (text.size() != 17) return false;
    for (size_t i = 0; i < text.size(); ++i) {
        if (i % 3 == 2 ? text[i] != ':' : !IsHex(text[i])) return false;
    }
    return true;
}

std::string Validate(const AccessPoint& ap) {
    if (!IsMacAddressText(ap.bssid)) return "bad BSSID \"" + Printable(ap.bssid, 40) + "\" (want xx:xx:xx:xx:xx:xx)";
    if (ap.frequency < 1 || ap.frequency > 7200) return "bad frequency " + std::to_string(ap.frequency) + " MHz";
    if (!std::isfinite(ap.signal) || ap.signal < -200.0 || ap.signal > 50.0) return "bad signal (want -200 to 50 dBm)";
    if (ap.ssid.size() > AccessPoint::kMaxSsidLength) {
        return "SSID longer than " + std::to_string(AccessPoint::kMaxSsidLength) + " bytes";
    }
    if (ap.padding > AccessPoint::kMaxPadding) {
        return "padding larger than " + std::to_string(AccessPoint::kMaxPadding) + " bytes";
    }
    return std::string();
}

std::string EscapeSsidField(const std::string& ssid) {
    std::string out;
    for (const char ch : ssid) {
        const unsigned char c = static_cast<unsigned char>(ch);
        if (c < 0x20 || c >= 0x7f || c == '\\') {
            char hex[5];
            std::snprintf(hex, sizeof hex, "\\x%02x", c);
            out += hex;
        } else {
            out += ch;
        }
    }
    return out;
}

bool UnescapeSsidField(const std::string& field, std::string& ssid) {
    ssid.clear();
    for (size_t i = 0; i < field.size(); ++i) {
        const unsigned char c = static_cast<unsigned char>(field[i]);
        if (c == '\\') {
            if (i + 3 >= field.size()) return false;
            if (field[i + 1] != 'x' || !IsHex(field[i + 2]) || !IsHex(field[i + 3])) return false;
            ssid += static_cast<char>(HexValue(field[i + 2]) * 16 + HexValue(field[i + 3]));
            i += 3;
        } else if (c < 0x20) {
            return false;
        } else {
            ssid += static_cast<char>(c);
        }
    }
    return true;
}

std::string EncodeAccessPoint(const AccessPoint& ap) {
    char signal[32];
    std::snprintf(signal, sizeof signal, "%.2f", ap.signal);
    std::string options;
    if (!ap.withSignal) options = "nosignal";
    if (ap.padding > 0) options += (options.empty() ? "" : ",") + std::string("pad=") + std::to_string(ap.padding);
    if (options.empty()) options = "-";
    return Lower(ap.bssid) + "\t" + std::to_string(ap.frequency) + "\t" + signal + "\t" + options + "\t" +
           EscapeSsidField(ap.ssid);
}

bool DecodeAccessPoint(const std::string& line, AccessPoint& ap, std::string& error) {
    const std::vector<std::string> fields = Split(line, '\t', 5);
    if (fields.size() != 5) {
        error = "want 5 tab-separated fields (bssid, frequency, signal, options, SSID)";
        return false;
    }
    AccessPoint parsed;
    parsed.bssid = Lower(fields[0]);
    long long number = 0;
    if (!ParseInt(fields[1], 1, 7200, number)) {
        error = "bad frequency \"" + Printable(fields[1], 40) + "\"";
        return false;
    }
    parsed.frequency = static_cast<int>(number);
    {
        const std::string& text = fields[2];
        char* end = nullptr;
        errno = 0;
        parsed.signal = text.empty() || std::isspace(static_cast<unsigned char>(text[0]))
                            ? NAN
                            : std::strtod(text.c_str(), &end);
        if (end == nullptr || *end != '\0' || errno != 0) {
            error = "bad signal \"" + Printable(text, 40) + "\"";
            return false;
        }
    }
    if (fields[3] != "-") {
        for (const std::string& option : Split(fields[3], ',', 64)) {
            if (option == "nosignal") {
                parsed.withSignal = false;
            } else if (option.compare(0, 4, "pad=") == 0 &&
                       ParseInt(option.substr(4), 0, static_cast<long long>(AccessPoint::kMaxPadding), number)) {
                parsed.padding = static_cast<size_t>(number);
            } else {
                error = "bad option \"" + Printable(option, 40) + "\"";
                return false;
            }
        }
    }
    if (!UnescapeSsidField(fields[4], parsed.ssid)) {
        error = "bad escape in SSID";
        return false;
    }
    error = Validate(parsed);
    if (!error.empty()) return false;
    ap = parsed;
    return true;
}

void SaveAccessPoints(const std::string& path, const std::vector<AccessPoint>& aps) {
    std::string text = kHeader;
    for (const AccessPoint& ap : aps) text += EncodeAccessPoint(ap) + "\n";
    WriteFileAtomic(path, text);
}

bool LoadAccessPoints(const std::string& path, std::vector<AccessPoint>& aps, std::string& error) {
    aps.clear();
    const bool ok = ReadStateLines(path, kMaxFileSize, error, [&](const std::string& line) {
        AccessPoint ap;
        std::string reason;
        if (DecodeAccessPoint(line, ap, reason)) aps.push_back(ap);
        return reason;
    });
    if (!ok) aps.clear();
    return ok;
}

}  // namespace tavo::sim
