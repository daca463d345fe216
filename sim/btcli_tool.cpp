#include "sim/btcli_tool.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <chrono>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <sstream>
#include <thread>

#include "sim/btcli_state.h"
#include "sim/tree.h"
#include "sim/unique_fd.h"

namespace tavo::sim {
namespace {

constexpr char kUsage[] =
    "Usage: btcli [-xSCRIPT] [DEVICE [TRANSPORT [BAUD]]]\n"
    "\n"
    "This btcli is the tavo-sim stand-in: it reads its commands from SCRIPT (a\n"
    "phone path under TAVO_PLATFORM_ROOT, usually the FIFO /dev/btcli_fifo) or from\n"
    "standard input, up to \"quit\", and answers set_event_mask HEX, wim e, i, rba,\n"
    "sleep MS and quit from the simulator's Bluetooth state. It never opens DEVICE.\n";

// A script is a handful of lines; a source that never ends is cut here.
constexpr std::size_t kMaxScript = 1u << 20;
constexpr long kFastSleepMs = 50;
constexpr std::size_t kNameBytes = 16;

std::string Trim(const std::string& text) {
    const char* blanks = " \t\r\n";
    const std::size_t first = text.find_first_not_of(blanks);
    if (first == std::string::npos) return std::string();
    return text.substr(first, text.find_last_not_of(blanks) - first + 1);
}

std::vector<std::string> Words(const std::string& line) {
    std::istringstream in(line);
    std::vector<std::string> words;
    for (std::string word; in >> word;) words.push_back(word);
    return words;
}

// The script's lines, trimmed and without empty ones, up to and with "quit"
// (so that a writer keeping the FIFO open does not hold us) or the end.
bool ReadScript(int fd, std::vector<std::string>& lines, std::string& error) {
    std::string pending;
    std::size_t total = 0;
    char buffer[4096];
    for (;;) {
        const ssize_t n = ::read(fd, buffer, sizeof buffer);
        if (n < 0 && errno == EINTR) continue;
        if (n < 0) {
            error = std::strerror(errno);
            return false;
        }
        total += static_cast<std::size_t>(n);
        pending.append(buffer, static_cast<std::size_t>(n));
        const bool end = n == 0 || total > kMaxScript;
        for (std::size_t at; (at = pending.find('\n')) != std::string::npos || (end && !pending.empty());) {
            const std::string line = Trim(pending.substr(0, at));
            pending.erase(0, at == std::string::npos ? pending.size() : at + 1);
            if (line.empty()) continue;
            lines.push_back(line);
            if (line == "quit") return true;
        }
        if (end) return true;
    }
}

bool ParseHex(const std::string& text) {
    const std::size_t from = text.compare(0, 2, "0x") == 0 || text.compare(0, 2, "0X") == 0 ? 2 : 0;
    return text.size() > from && text.size() - from <= 16 &&
           std::all_of(text.begin() + static_cast<long>(from), text.end(),
                       [](char c) { return std::isxdigit(static_cast<unsigned char>(c)) != 0; });
}

bool ParseMilliseconds(const std::string& text, long& ms) {
    const auto digit = [](char c) { return c >= '0' && c <= '9'; };
    if (text.empty() || text.size() > 10 || !std::all_of(text.begin(), text.end(), digit)) return false;
    const long long value = std::atoll(text.c_str());
    if (value > INT_MAX) return false;
    ms = static_cast<long>(value);
    return true;
}

std::string Hex(const std::string& bytes) {
    std::string out;
    char pair[3];
    for (const char c : bytes) {
        std::snprintf(pair, sizeof pair, "%02x", static_cast<unsigned char>(c));
        out += pair;
    }
    return out;
}

// "00:1A:7D:DA:71:13" as "001a7dda7113".
std::string AddressDigits(const std::string& address) {
    std::string out;
    for (const char c : address) {
        if (c != ':') out += static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    }
    return out;
}

std::string InquiryRow(const BtDevice& device) {
    std::string name = device.name.substr(0, kNameBytes);
    name.resize(kNameBytes, '\0');
    std::reverse(name.begin(), name.end());
    // Sign and magnitude, not two's complement: -72 is c8.
    const unsigned magnitude = static_cast<unsigned>(device.rssi < 0 ? -device.rssi : device.rssi) & 0x7fu;
    char rssiText[8];
    std::snprintf(rssiText, sizeof rssiText, "%02x", (device.rssi < 0 ? 0x80u : 0u) | magnitude);
    return "extended_inquiry_result: num:0x01 ba:0x" + AddressDigits(device.address) +
           " psrm:0x01 dc:0x5a020c co:0x1f2e rssi:0x00" + rssiText + " ird:0x100" + Hex(name);
}

int RunScript(const std::vector<std::string>& lines, const BtcliState& state, std::ostream& out) {
    const auto row = [&out](const std::string& text) {
        out << text << '\n';
        out.flush();
    };
    for (const std::string& line : lines) {
        const std::vector<std::string> words = Words(line);
        long ms = 0;
        if (words.size() == 1 && words[0] == "quit") {
            break;
        } else if (words.size() == 2 && words[0] == "set_event_mask" && ParseHex(words[1])) {
            row("command_complete: opcode:0x0c01 status:0x00");
        } else if (words.size() == 2 && words[0] == "wim" && words[1] == "e") {
            row("command_complete: opcode:0x0c45 status:0x00");
        } else if (words.size() == 1 && words[0] == "i") {
            row("command_status: opcode:0x0401 status:0x00");
            for (const BtDevice& device : state.devices) {
                for (int seen = 0; seen < device.sightings; ++seen) row(InquiryRow(device));
            }
        } else if (words.size() == 1 && words[0] == "rba") {
            row("command_complete: opcode:0x1009 status:0x00 ba:0x" + AddressDigits(state.address));
        } else if (words.size() == 2 && words[0] == "sleep" && ParseMilliseconds(words[1], ms)) {
            std::this_thread::sleep_for(std::chrono::milliseconds(state.fastSleep ? std::min(ms, kFastSleepMs) : ms));
        } else {
            row("Unknown command: " + line);
        }
        if (!out) return 1;
    }
    return 0;
}

}  // namespace

int BtcliMain(const std::vector<std::string>& args, const std::string& root, std::ostream& out, std::ostream& err) {
    std::string script;
    std::size_t positionals = 0;
    for (std::size_t i = 0; i < args.size(); ++i) {
        if (args[i] == "-h" || args[i] == "--help") {
            out << kUsage;
            return 0;
        }
        if (args[i].compare(0, 2, "-x") == 0) {
            if (args[i].size() == 2 && i + 1 == args.size()) {
                err << "btcli: -x needs a script\n" << kUsage;
                return 1;
            }
            script = args[i].size() > 2 ? args[i].substr(2) : args[++i];
        } else if (args[i].empty() || args[i][0] == '-' || ++positionals > 3) {
            err << kUsage;
            return 1;
        }
    }
    if (root.empty()) {
        err << "btcli: TAVO_PLATFORM_ROOT is not set; start tavo-sim and export what it prints\n";
        return 1;
    }
    // A phone path goes under the root, unless it is there already.
    if (!script.empty() && script[0] == '/' && script.compare(0, root.size() + 1, root + "/") != 0) {
        script = root + script;
    }
    BtcliState state;
    std::string error;
    if (!LoadBtcliState(root + path::kBtcliState, state, error)) {
        err << "btcli: " << error << "\n";
        return 1;
    }
    UniqueFd source(script.empty() ? -1 : ::open(script.c_str(), O_RDONLY | O_CLOEXEC));
    if (!script.empty() && !source.Valid()) {
        err << "btcli: cannot open " << script << ": " << std::strerror(errno) << "\n";
        return 1;
    }
    std::vector<std::string> lines;
    if (!ReadScript(source.Valid() ? source.Get() : STDIN_FILENO, lines, error)) {
        err << "btcli: cannot read the script: " << error << "\n";
        return 1;
    }
    source.Reset();
    return RunScript(lines, state, out);
}

}  // namespace tavo::sim
