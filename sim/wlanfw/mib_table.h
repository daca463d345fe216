// The MIBs that the firmware can read back, by psid, each an unsigned
// number or an octet string. Index bytes of a request do not select
// anything here: every MIB the firmware knows is a scalar.
#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <variant>

#include "sim/wlanfw/bytes.h"

namespace tavo::sim::wlanfw {

inline constexpr std::uint16_t kMibChipId = 2022;
inline constexpr std::uint16_t kMibBuildId = 183;
inline constexpr std::uint16_t kMibTemperature = 5062;

inline constexpr std::uint64_t kDefaultChipId = 0x7200;
inline constexpr char kDefaultBuildId[] = "rk720_t-sim 1.0";
inline constexpr std::uint64_t kDefaultTemperature = 38;

using MibValue = std::variant<std::uint64_t, std::string>;

class MibTable {
public:
    // Chip id, build id and temperature at their defaults.
    MibTable();

    void Set(std::uint16_t psid, MibValue value);
    void Remove(std::uint16_t psid);
    std::optional<MibValue> Find(std::uint16_t psid) const;
    // The VL form of a known MIB, or nothing.
    std::optional<Bytes> Encode(std::uint16_t psid) const;

private:
    std::map<std::uint16_t, MibValue> values_;
};

}  // namespace tavo::sim::wlanfw
