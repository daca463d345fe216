#include "sim/wlanfw/mib_table.h"

#include "sim/wlanfw/vl_encoding.h"

namespace tavo::sim::wlanfw {

MibTable::MibTable() {
    values_[kMibChipId] = kDefaultChipId;
    values_[kMibBuildId] = std::string(kDefaultBuildId);
    values_[kMibTemperature] = kDefaultTemperature;
}

void MibTable::Set(std::uint16_t psid, MibValue value) { values_[psid] = std::move(value); }

void MibTable::Remove(std::uint16_t psid) { values_.erase(psid); }

std::optional<MibValue> MibTable::Find(std::uint16_t psid) const {
    const auto it = values_.find(psid);
    if (it == values_.end()) return std::nullopt;
    return it->second;
}

std::optional<Bytes> MibTable::Encode(std::uint16_t psid) const {
    const auto it = values_.find(psid);
    if (it == values_.end()) return std::nullopt;
    if (const auto* number = std::get_if<std::uint64_t>(&it->second)) return EncodeVlUnsigned(*number);
    return EncodeVlOctetString(std::get<std::string>(it->second));
}

}  // namespace tavo::sim::wlanfw
