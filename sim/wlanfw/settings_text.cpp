#include "sim/wlanfw/settings_text.h"

#include <cctype>
#include <cerrno>
#include <cstdlib>
#include <functional>
#include <limits>
#include <map>
#include <optional>
#include <vector>

namespace tavo::sim::wlanfw {
namespace {

std::vector<std::string> SplitCommas(const std::string& text) {
    std::vector<std::string> parts;
    std::size_t start = 0;
    for (;;) {
        const std::size_t comma = text.find(',', start);
        parts.push_back(text.substr(start, comma - start));
        if (comma == std::string::npos) return parts;
        start = comma + 1;
    }
}

// A whole number in [min, max], decimal or 0x-hexadecimal.
std::optional<long long> Number(const std::string& text, long long min, long long max) {
    if (text.empty() || text.size() > 24) return std::nullopt;
    // strtoll would also take blanks and a sign where none belongs.
    const bool hex = text.size() > 2 && text[0] == '0' && (text[1] == 'x' || text[1] == 'X');
    const char first = hex ? text[2] : text[0];
    if (!std::isxdigit(static_cast<unsigned char>(first)) && !(first == '-' && !hex)) return std::nullopt;
    errno = 0;
    char* end = nullptr;
    long long value = 0;
    if (hex) {
        const unsigned long long u = std::strtoull(text.c_str() + 2, &end, 16);
        if (u > static_cast<unsigned long long>(std::numeric_limits<long long>::max())) return std::nullopt;
        value = static_cast<long long>(u);
    } else {
        value = std::strtoll(text.c_str(), &end, 10);
    }
    if (errno != 0 || end == nullptr || *end != '\0' || value < min || value > max) return std::nullopt;
    return value;
}

// Values of an exact count of comma-separated numbers, each in [min, max].
std::optional<std::vector<long long>> Numbers(const std::string& text, std::size_t count, long long min,
                                              long long max) {
    const std::vector<std::string> parts = SplitCommas(text);
    if (parts.size() != count) return std::nullopt;
    std::vector<long long> values;
    for (const std::string& part : parts) {
        const std::optional<long long> value = Number(part, min, max);
        if (!value) return std::nullopt;
        values.push_back(*value);
    }
    return values;
}

// A value that is a number up to `max`, or `keyword` for "the true one"
// (handed on as an empty optional). False when it is neither.
template <typename T, typename Set>
bool NumberOr(const std::string& text, const char* keyword, long long max, Set set) {
    if (text == keyword) {
        set(std::optional<T>());
        return true;
    }
    const std::optional<long long> n = Number(text, 0, max);
    if (n) set(std::optional<T>(static_cast<T>(*n)));
    return n.has_value();
}

constexpr long long kU16 = 0xFFFF;
constexpr long long kU32 = 0xFFFFFFFFLL;
constexpr long long kI16Min = -32768;
constexpr long long kI16Max = 32767;
constexpr long long kI32Min = std::numeric_limits<std::int32_t>::min();
constexpr long long kI32Max = std::numeric_limits<std::int32_t>::max();

SignalReadings Readings(const std::vector<long long>& v) {
    return SignalReadings{static_cast<std::int16_t>(v[0]), static_cast<std::int16_t>(v[1]),
                          static_cast<std::int16_t>(v[2]), static_cast<std::int16_t>(v[3])};
}

using Apply = std::function<bool(WlanFirmware&, const std::string&)>;

// Each entry returns false when the value does not fit; nothing is changed then.
const std::map<std::string, Apply>& Settings() {
    static const std::map<std::string, Apply> settings = {
        {"silent", [](WlanFirmware& f, const std::string& v) {
             if (v != "" && v != "on" && v != "off") return false;
             f.SetSilent(v != "off");
             return true;
         }},
        {"delay", [](WlanFirmware& f, const std::string& v) {
             const auto ms = Number(v, 0, kU32);
             if (ms) f.SetDelay(std::chrono::milliseconds(*ms));
             return ms.has_value();
         }},
        {"chatter", [](WlanFirmware& f, const std::string& v) {
             auto n = Numbers(v, 1, 0, FaultPlan::kMaxChatter);
             auto pair = Numbers(v, 2, 0, kU32);
             if (pair && (*pair)[0] > FaultPlan::kMaxChatter) pair.reset();
             if (n) f.SetChatter(static_cast<unsigned>((*n)[0]));
             if (pair) f.SetChatter(static_cast<unsigned>((*pair)[0]), std::chrono::milliseconds((*pair)[1]));
             return n.has_value() || pair.has_value();
         }},
        {"force", [](WlanFirmware& f, const std::string& v) {
             const std::vector<std::string> parts = SplitCommas(v);
             if (parts.size() < 2 || parts.size() > 3) return false;
             const std::optional<long long> id =
                 parts[0] == "any" ? std::optional<long long>(FaultPlan::kAnyRequest) : Number(parts[0], 1, kU16);
             const std::optional<long long> code = Number(parts[1], 0, kU16);
             std::optional<long long> times = 1;
             if (parts.size() == 3) {
                 times = parts[2] == "always" ? std::optional<long long>(FaultPlan::kUntilCleared)
                                              : Number(parts[2], 1, 1000000);
             }
             if (!id || !code || !times) return false;
             f.ForceResult(static_cast<std::uint16_t>(*id), static_cast<std::uint16_t>(*code),
                           static_cast<unsigned>(*times));
             return true;
         }},
        {"malformed", [](WlanFirmware& f, const std::string& v) {
             static const std::map<std::string, MalformedFrame> kinds = {
                 {"short-datagram", MalformedFrame::kShortDatagram},
                 {"header-only", MalformedFrame::kHeaderOnly},
                 {"signal-overrun", MalformedFrame::kSignalOverrun},
                 {"total-overrun", MalformedFrame::kTotalOverrun},
             };
             const auto it = kinds.find(v);
             if (it == kinds.end()) return false;
             f.SendMalformed(it->second);
             return true;
         }},
        {"rx-counters-limit", [](WlanFirmware& f, const std::string& v) {
             if (v == "all") {
                 f.LimitRxCounters(std::nullopt);
                 return true;
             }
             const auto n = Number(v, 0, kU16);
             if (n) f.LimitRxCounters(static_cast<std::size_t>(*n));
             return n.has_value();
         }},
        {"cut-signal", [](WlanFirmware& f, const std::string& v) {
             const auto n = Number(v, 0, WlanFirmware::kMaxDatagram);
             if (n) f.CutNextSignal(static_cast<std::size_t>(*n));
             return n.has_value();
         }},
        {"cut-bulk", [](WlanFirmware& f, const std::string& v) {
             const auto n = Number(v, 0, WlanFirmware::kMaxDatagram);
             if (n) f.CutNextBulk(static_cast<std::size_t>(*n));
             return n.has_value();
         }},
        {"grow-bulk", [](WlanFirmware& f, const std::string& v) {
             const auto n = Number(v, 0, FaultPlan::kMaxOversize);
             if (n) f.GrowNextBulk(static_cast<std::size_t>(*n));
             return n.has_value();
         }},
        {"pad", [](WlanFirmware& f, const std::string& v) {
             const auto n = Number(v, 0, FaultPlan::kMaxOversize);
             if (n) f.PadNextDatagram(static_cast<std::size_t>(*n));
             return n.has_value();
         }},
        {"confirm-id", [](WlanFirmware& f, const std::string& v) {
             const auto n = Number(v, 0, kU16);
             if (n) f.SetNextConfirmId(static_cast<std::uint16_t>(*n));
             return n.has_value();
         }},
        {"rx-count-field", [](WlanFirmware& f, const std::string& v) {
             return NumberOr<std::uint16_t>(v, "counted", kU16,
                                  [&f](std::optional<std::uint16_t> n) { f.SetRxCountField(n); });
         }},
        {"mib-psid", [](WlanFirmware& f, const std::string& v) {
             return NumberOr<std::uint16_t>(v, "asked", kU16,
                                  [&f](std::optional<std::uint16_t> n) { f.SetMibPsid(n); });
         }},
        {"rx-interval", [](WlanFirmware& f, const std::string& v) {
             return NumberOr<std::uint32_t>(v, "elapsed", kU32,
                                  [&f](std::optional<std::uint32_t> n) { f.SetRxInterval(n); });
         }},
        {"rx-counts", [](WlanFirmware& f, const std::string& v) {
             const auto n = Numbers(v, 2, 0, kU32);
             if (n) f.SetRxCounts(static_cast<std::uint32_t>((*n)[0]), static_cast<std::uint32_t>((*n)[1]));
             return n.has_value();
         }},
        {"rx-rate", [](WlanFirmware& f, const std::string& v) {
             const auto n = Number(v, 0, FrameCounter::kMaxRate);
             if (n) f.SetRxRate(static_cast<std::uint32_t>(*n));
             return n.has_value();
         }},
        {"rx-error", [](WlanFirmware& f, const std::string& v) {
             const auto n = Number(v, 0, FrameCounter::kPermille);
             if (n) f.SetRxErrorPermille(static_cast<std::uint32_t>(*n));
             return n.has_value();
         }},
        {"rssi", [](WlanFirmware& f, const std::string& v) {
             const auto n = Numbers(v, 4, kI16Min, kI16Max);
             if (n) f.SetRssi(Readings(*n));
             return n.has_value();
         }},
        {"snr", [](WlanFirmware& f, const std::string& v) {
             const auto n = Numbers(v, 4, kI16Min, kI16Max);
             if (n) f.SetSnr(Readings(*n));
             return n.has_value();
         }},
        {"freq-error", [](WlanFirmware& f, const std::string& v) {
             const auto n = Number(v, kI32Min, kI32Max);
             if (n) f.SetFreqError(static_cast<std::int32_t>(*n));
             return n.has_value();
         }},
        {"tester", [](WlanFirmware& f, const std::string& v) {
             if (v == "off") {
                 f.SetTester(std::nullopt);
                 return true;
             }
             const std::vector<std::string> parts = SplitCommas(v);
             if (parts.size() != 3) return false;
             const auto frames = Number(parts[0], 1, kU32);
             const auto permille = Number(parts[1], 0, FrameCounter::kPermille);
             const auto level = Number(parts[2], Tester::kMinLevel, Tester::kMaxLevel);
             if (!frames || !permille || !level) return false;
             f.SetTester(Tester{static_cast<std::uint32_t>(*frames), static_cast<std::uint32_t>(*permille),
                                static_cast<std::int16_t>(*level)});
             return true;
         }},
        {"bist", [](WlanFirmware& f, const std::string& v) {
             const auto n = Numbers(v, 2, kI16Min, kI16Max);
             if (n) f.SetBistGain(static_cast<std::int16_t>((*n)[0]), static_cast<std::int16_t>((*n)[1]));
             return n.has_value();
         }},
        {"bist-word", [](WlanFirmware& f, const std::string& v) {
             const auto n = Number(v, 0, kU32);
             if (n) f.SetBistWord(static_cast<std::uint32_t>(*n));
             return n.has_value();
         }},
        {"chip-id", [](WlanFirmware& f, const std::string& v) {
             const auto n = Number(v, 0, std::numeric_limits<long long>::max());
             if (n) f.SetChipId(static_cast<std::uint64_t>(*n));
             return n.has_value();
         }},
        {"build-id", [](WlanFirmware& f, const std::string& v) {
             f.SetBuildId(v);
             return true;
         }},
        {"temperature", [](WlanFirmware& f, const std::string& v) {
             const auto n = Number(v, 0, std::numeric_limits<long long>::max());
             if (n) f.SetTemperature(static_cast<std::uint64_t>(*n));
             return n.has_value();
         }},
    };
    return settings;
}

}  // namespace

bool ApplySetting(WlanFirmware& firmware, const std::string& setting, std::string& error) {
    const std::size_t equals = setting.find('=');
    const std::string name = setting.substr(0, equals);
    const std::string value = equals == std::string::npos ? std::string() : setting.substr(equals + 1);
    const auto it = Settings().find(name);
    if (it == Settings().end()) {
        error = "unknown wlanfw setting: " + name;
        return false;
    }
    if (name != "silent" && equals == std::string::npos) {
        error = "wlanfw setting " + name + " needs a value";
        return false;
    }
    if (!it->second(firmware, value)) {
        error = "bad value for wlanfw setting " + name + ": " + value;
        // Three numbers with three ranges: say which are wanted.
        if (name == "tester") {
            error += " (want FRAMES,PERMILLE,LEVEL: 1 to 4294967295 frames, 0 to 1000, -120 to 0 dBm; or off)";
        }
        return false;
    }
    return true;
}

std::string SettingsUsage() {
    return "  silent[=on|off]                 requests are read and dropped\n"
           "  delay=MS                        each confirm waits MS milliseconds\n"
           "  chatter=N[,MS]                  N unrelated frames before each confirm, MS apart\n"
           "  force=ID|any,CODE[,TIMES|always] answer requests of ID with result CODE\n"
           "  malformed=KIND                  next confirm broken: short-datagram, header-only,\n"
           "                                  signal-overrun, total-overrun\n"
           "  cut-signal=N                    next confirm's signal cut to N bytes\n"
           "  cut-bulk=N                      next confirm's bulk cut to N bytes\n"
           "  grow-bulk=N                     next confirm's bulk grown by N zero bytes (to 16384)\n"
           "  confirm-id=ID                   next confirm sent under signal id ID\n"
           "  pad=N                           next confirm's datagram has N bytes after its frame\n"
           "                                  that its header does not count (to 16384)\n"
           "  rx-counters-limit=N|all         at most N counter values per rx_read_cfm\n"
           "  rx-count-field=N|counted        rx_read_cfm claims N counters\n"
           "  mib-psid=PSID|asked             mib_get_cfm answers for PSID\n"
           "  rx-interval=MS|elapsed          rx_read_cfm's interval\n"
           "  rx-counts=TOTAL,GOOD            the receiver's frame counts\n"
           "  rx-rate=FPS                     frames per second while receiving\n"
           "  rx-error=PERMILLE               thousandths of them in error\n"
           "  rssi=CUR,AV,MIN,MAX             RSSI readings, whatever the tester's level\n"
           "  snr=CUR,AV,MIN,MAX              SNR readings\n"
           "  freq-error=N                    average frequency error\n"
           "  tester=FRAMES,PERMILLE,LEVEL|off the tester's burst at each receiver start: FRAMES\n"
           "                                  (1 up), PERMILLE of them in error, LEVEL dBm\n"
           "                                  (-120 to 0); default 1000,8,-55\n"
           "  bist=R,I                        self-test gain word from its parts\n"
           "  bist-word=WORD                  self-test gain word\n"
           "  chip-id=N                       MIB 2022\n"
           "  build-id=TEXT                   MIB 183\n"
           "  temperature=N                   MIB 5062\n";
}

}  // namespace tavo::sim::wlanfw
