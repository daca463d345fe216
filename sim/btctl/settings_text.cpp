#include "sim/btctl/settings_text.h"

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <cstdlib>
#include <functional>
#include <map>
#include <vector>

namespace tavo::sim::btctl {
namespace {

// A whole number in [0, max], decimal or 0x-hexadecimal, with no sign or
// blanks (which strtoull would take).
std::optional<unsigned long long> Number(const std::string& text, unsigned long long max) {
    const bool hex = text.size() > 2 && text[0] == '0' && (text[1] == 'x' || text[1] == 'X');
    const std::string digits = hex ? text.substr(2) : text;
    if (digits.empty() || digits.size() > 20) return std::nullopt;
    for (const char c : digits) {
        const bool ok = (c >= '0' && c <= '9') || (hex && ((c >= 'a' && c <= 'f') || (c >= 'A' && c <= 'F')));
        if (!ok) return std::nullopt;
    }
    errno = 0;
    const unsigned long long value = std::strtoull(digits.c_str(), nullptr, hex ? 16 : 10);
    if (errno != 0 || value > max) return std::nullopt;
    return value;
}

// Comma-separated numbers, each within its maximum: at least `required`
// of them and at most maxima.size().
std::optional<std::vector<unsigned long long>> Numbers(const std::string& text, std::size_t required,
                                                       const std::vector<unsigned long long>& maxima) {
    std::vector<unsigned long long> values;
    for (std::size_t start = 0;;) {
        const std::size_t comma = text.find(',', start);
        if (values.size() == maxima.size()) return std::nullopt;
        const auto value = Number(text.substr(start, comma - start), maxima[values.size()]);
        if (!value) return std::nullopt;
        values.push_back(*value);
        if (comma == std::string::npos) break;
        start = comma + 1;
    }
    if (values.size() < required) return std::nullopt;
    return values;
}

std::uint8_t U8(unsigned long long value) { return static_cast<std::uint8_t>(value); }
std::uint16_t U16(unsigned long long value) { return static_cast<std::uint16_t>(value); }

using Apply = std::function<bool(BtController&, const std::string&)>;

// A two-word switch: `on` gives true, `off` false, anything else nothing.
std::optional<bool> Switch(const std::string& text, const char* on, const char* off) {
    if (text == on) return true;
    if (text == off) return false;
    return std::nullopt;
}

struct Setting {
    bool takesValue;
    Apply apply;  // false when the value does not fit; nothing is changed then
};

const std::map<std::string, Setting>& Settings() {
    static const std::map<std::string, Setting> settings = {
        {"delay", {true, [](BtController& c, const std::string& v) {
             const auto ms = Number(v, 0xFFFFFFFFULL);
             if (ms) c.SetDelay(std::chrono::milliseconds(*ms));
             return ms.has_value();
         }}},
        {"garbage", {true, [](BtController& c, const std::string& v) {
             const auto bytes = ParseHexBytes(v, BtController::kMaxGarbage);
             if (bytes) c.SendGarbage(*bytes);
             return bytes.has_value();
         }}},
        {"split", {true, [](BtController& c, const std::string& v) {
             const auto n = Number(v, BtController::kMaxSplit);
             if (n) c.SetSplit(static_cast<std::size_t>(*n));
             return n.has_value();
         }}},
        {"noise", {true, [](BtController& c, const std::string& v) {
             const auto n = Numbers(v, 1, {1000, 0xFFFFFFFFULL});
             if (n) {
                 c.SetNoise(static_cast<unsigned>((*n)[0]),
                            n->size() > 1 ? static_cast<std::uint32_t>((*n)[1]) : BtController::kNoiseSeed);
             }
             return n.has_value();
         }}},
        {"status", {true, [](BtController& c, const std::string& v) {
             const auto code = Number(v, 0xFF);
             if (code) c.SetStatus(static_cast<std::uint8_t>(*code));
             return code.has_value();
         }}},
        {"hangup", {false, [](BtController& c, const std::string&) {
             c.HangUp();
             return true;
         }}},
        {"hangup-mid-packet", {false, [](BtController& c, const std::string&) {
             c.HangUpMidPacket();
             return true;
         }}},
        {"bd-addr", {true, [](BtController& c, const std::string& v) {
             const auto address = ParseBdAddr(v);
             if (address) c.SetBdAddr(*address);
             return address.has_value();
         }}},
        {"le-packets", {true, [](BtController& c, const std::string& v) {
             const auto n = Number(v, 0xFFFF);
             if (n) c.SetLeTestPackets(static_cast<std::uint16_t>(*n));
             return n.has_value();
         }}},
        {"credits", {true, [](BtController& c, const std::string& v) {
             const auto n = Number(v, 0xFF);
             if (n) c.SetCommandCredits(U8(*n));
             return n.has_value();
         }}},
        {"acl-complete", {true, [](BtController& c, const std::string& v) {
             if (v == "hold") c.HoldAclCompletions();
             if (v == "on" || v == "release") c.ReleaseAclCompletions();
             return v == "hold" || v == "on" || v == "release";
         }}},
        {"connection-complete", {true, [](BtController& c, const std::string& v) {
             const auto n = Numbers(v, 2, {kMaxHandle, 0xFF, 0xFF});
             if (n) c.SendConnectionComplete(U16((*n)[0]), U8((*n)[1]), n->size() > 2 ? U8((*n)[2]) : 0);
             return n.has_value();
         }}},
        {"sync-connection-complete", {true, [](BtController& c, const std::string& v) {
             const auto n = Numbers(v, 1, {kMaxHandle, 0xFF});
             if (n) c.SendSyncConnectionComplete(U16((*n)[0]), n->size() > 1 ? U8((*n)[1]) : 0);
             return n.has_value();
         }}},
        {"disconnection-complete", {true, [](BtController& c, const std::string& v) {
             const auto n = Numbers(v, 1, {kMaxHandle, 0xFF, 0xFF});
             if (n) {
                 c.SendDisconnectionComplete(U16((*n)[0]), n->size() > 1 ? U8((*n)[1]) : 0,
                                             n->size() > 2 ? U8((*n)[2]) : kDefaultDisconnectReason);
             }
             return n.has_value();
         }}},
        {"command-status", {true, [](BtController& c, const std::string& v) {
             const auto n = Numbers(v, 2, {0xFFFF, 0xFF});
             if (n) c.SendCommandStatus(U16((*n)[0]), U8((*n)[1]));
             return n.has_value();
         }}},
        {"event", {true, [](BtController& c, const std::string& v) {
             const auto bytes = ParseHexBytes(v, kMaxEvent);
             if (bytes) c.SendEvent(*bytes);
             return bytes.has_value();
         }}},
        {"vendor-status", {true, [](BtController& c, const std::string& v) {
             const auto n = Number(v, 0xFFFF);
             if (n) c.SetVendorStatus(U16(*n));
             return n.has_value();
         }}},
        {"vendor-fail", {true, [](BtController& c, const std::string& v) {
             const auto n = Number(v, 1000);
             if (n) c.SetVendorFailures(static_cast<unsigned>(*n));
             return n.has_value();
         }}},
        {"vendor-seq", {true, [](BtController& c, const std::string& v) {
             const auto wrong = Switch(v, "wrong", "right");
             if (wrong) c.SetVendorWrongSequence(*wrong);
             return wrong.has_value();
         }}},
        {"vendor-varid", {true, [](BtController& c, const std::string& v) {
             const auto wrong = Switch(v, "wrong", "right");
             if (wrong) c.SetVendorWrongVarid(*wrong);
             return wrong.has_value();
         }}},
        {"vendor-reply", {true, [](BtController& c, const std::string& v) {
             const auto answer = Switch(v, "on", "off");
             if (answer) c.SetVendorReplies(*answer);
             return answer.has_value();
         }}},
        {"vendor-delay", {true, [](BtController& c, const std::string& v) {
             const auto ms = Number(v, 0xFFFFFFFFULL);
             if (ms) c.SetVendorDelay(std::chrono::milliseconds(*ms));
             return ms.has_value();
         }}},
        {"ber-bits", {true, [](BtController& c, const std::string& v) {
             const auto bits = Number(v, 0x7FFFFFFF);
             if (bits) c.SetBerBits(static_cast<std::uint32_t>(*bits));
             return bits.has_value();
         }}},
        {"ber", {true, [](BtController& c, const std::string& v) {
             const auto ppm = Number(v, LogSteering::kMaxPpm);
             if (ppm) c.SetBerPpm(static_cast<std::uint32_t>(*ppm));
             return ppm.has_value();
         }}},
        {"cw-rssi", {true, [](BtController& c, const std::string& v) {
             const auto magnitude = v.size() > 1 && v[0] == '-' ? Number(v.substr(1), 127) : std::nullopt;
             if (magnitude && *magnitude > 0) c.SetCwRssi(-static_cast<int>(*magnitude));
             return magnitude && *magnitude > 0;
         }}},
    };
    return settings;
}

}  // namespace

std::optional<BdAddr> ParseBdAddr(const std::string& text) {
    if (text.size() != 17) return std::nullopt;
    for (std::size_t i = 2; i < text.size(); i += 3) {
        if (text[i] != ':') return std::nullopt;
    }
    const std::optional<Bytes> bytes = ParseHexBytes(text, 6);
    if (!bytes || bytes->size() != 6) return std::nullopt;
    BdAddr address{};
    std::copy(bytes->begin(), bytes->end(), address.begin());
    return address;
}

bool ApplySetting(BtController& controller, const std::string& setting, std::string& error) {
    const std::size_t equals = setting.find('=');
    const std::string name = setting.substr(0, equals);
    const bool hasValue = equals != std::string::npos;
    const std::string value = hasValue ? setting.substr(equals + 1) : std::string();
    // Switches: on with no value.
    if (name == "silent" || name == "fast-sleep") {
        if (value != "" && value != "on" && value != "off") {
            error = "bad value for btctl setting " + name + ": " + value;
            return false;
        }
        if (name == "silent") controller.SetSilent(value != "off");
        if (name == "fast-sleep") controller.SetFastSleep(value != "off");
        return true;
    }
    if (name == "bt-device") {
        // Same text as tavo-sim's --bt-device, whose errors say what is wrong.
        BtDevice device;
        if (!ParseBtDeviceOption(value, device, error, "btctl setting bt-device")) return false;
        controller.AddDevice(device);
        return true;
    }
    const auto it = Settings().find(name);
    if (it == Settings().end()) {
        error = "unknown btctl setting: " + name;
        return false;
    }
    if (it->second.takesValue != hasValue) {
        error = "btctl setting " + name + (hasValue ? " takes no value" : " needs a value");
        return false;
    }
    if (!it->second.apply(controller, value)) {
        error = "bad value for btctl setting " + name + ": " + value;
        return false;
    }
    return true;
}

std::string SettingsUsage() {
    return "  silent[=on|off]                 packets are read and logged, nothing is answered\n"
           "  delay=MS                        each answer waits MS milliseconds\n"
           "  garbage=HEX                     these bytes (e.g. ff00a5) go on the line once,\n"
           "                                  before the next packet sent\n"
           "  split=N                         each packet sent is written in pieces of 1 to N\n"
           "                                  bytes, sizes from a fixed seed (0: whole)\n"
           "  noise=PERMILLE[,SEED]           each byte of each packet sent is changed (XOR a\n"
           "                                  non-zero byte) with a chance of PERMILLE in 1000;\n"
           "                                  repeatable from SEED (0: a clean line)\n"
           "  status=CODE                     every Command Complete carries CODE (0: the true one)\n"
           "  hangup                          close the line now\n"
           "  hangup-mid-packet               cut the next packet sent after half its bytes,\n"
           "                                  then close the line\n"
           "  bd-addr=XX:XX:XX:XX:XX:XX       the address Read BD_ADDR reports (00:1A:7D:DA:71:13)\n"
           "  le-packets=N                    the number of packets LE Test End reports\n"
           "  credits=N                       the command credits in every Command Complete and\n"
           "                                  Command Status (1; commands are answered even at 0)\n"
           "  acl-complete=on|hold|release    ACL data is answered with Number Of Completed\n"
           "                                  Packets at once (on), or counted per handle and held\n"
           "                                  (hold) until sent in one event (release, or on)\n"
           "  connection-complete=HANDLE,LINKTYPE[,STATUS]\n"
           "                                  send Connection Complete with the controller's address\n"
           "  sync-connection-complete=HANDLE[,STATUS]\n"
           "                                  send Synchronous Connection Complete (eSCO)\n"
           "  disconnection-complete=HANDLE[,STATUS[,REASON]]\n"
           "                                  send Disconnection Complete (reason 0x13)\n"
           "  command-status=OPCODE,STATUS    send Command Status with the current credits\n"
           "  event=HEX                       send these bytes after the event indicator as given\n"
           "                                  (code, length, parameters; at most 257 bytes)\n"
           "                                  Events asked for go out even when silent; HANDLE is\n"
           "                                  0 to 0xFFF.\n"
           "  vendor-status=N                 every vendor reply carries status word N (0: normal)\n"
           "  vendor-fail=N                   the next N vendor replies carry status 4, then as before\n"
           "  vendor-seq=wrong|right          the reply's sequence number is the request's plus 1\n"
           "  vendor-varid=wrong|right        the reply's varid is the request's XOR 0x0001\n"
           "  vendor-reply=off|on             vendor PDUs are read and logged, not answered\n"
           "  vendor-delay=MS                 each vendor reply waits MS milliseconds more\n"
           "                                  (after the delay of every answer)\n"
           "  ber-bits=N                      rx bits in the log ring's BIT_ERR lines while ber1\n"
           "                                  runs (1600000; a block every 200 ms)\n"
           "  ber=PPM                         bit errors per million bits in them (1000: 0.1 %)\n"
           "  cw-rssi=DBM                     the carrier's level, -127 to -1, in the log ring's\n"
           "                                  RSSI_REPORT lines (DBM + 100) while rx_start2 runs (-60)\n"
           "  fast-sleep[=on|off]             the btcli stand-in's `sleep N` waits at most 50 ms\n"
           "  bt-device=ADDR,NAME,RSSI[,SIGHTINGS]  a device in range of the btcli stand-in's inquiry\n";
}

}  // namespace tavo::sim::btctl
