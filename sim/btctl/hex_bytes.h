// Bytes as the controller's log lines show them ("04 0e 04 01 03 0c 00")
// and as steering text gives them.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace tavo::sim::btctl {

using Bytes = std::vector<std::uint8_t>;

// Lower-case hex pairs separated by single spaces; "" for no bytes.
std::string HexText(const std::uint8_t* data, std::size_t size);
inline std::string HexText(const Bytes& bytes) { return HexText(bytes.data(), bytes.size()); }

// Pairs of hex digits, either case, optionally separated by one space,
// colon or comma each ("deadbeef", "de ad be ef", "DE:AD"). Nothing for an
// empty text, an odd digit, any other character, or more than `limit` bytes.
std::optional<Bytes> ParseHexBytes(const std::string& text, std::size_t limit);

}  // namespace tavo::sim::btctl
