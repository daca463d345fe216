#include "sim/btctl/hex_bytes.h"

namespace tavo::sim::btctl {
namespace {

int Nibble(char c) {
    if (c >= '0' && c <= '9') return c - '0';
    if (c >= 'a' && c <= 'f') return c - 'a' + 10;
    if (c >= 'A' && c <= 'F') return c - 'A' + 10;
    return -1;
}

}  // namespace

std::string HexText(const std::uint8_t* data, std::size_t size) {
    static const char kDigits[] = "0123456789abcdef";
    std::string text;
    text.reserve(size * 3);
    for (std::size_t i = 0; i < size; ++i) {
        if (i != 0) text += ' ';
        text += kDigits[data[i] >> 4];
        text += kDigits[data[i] & 0x0F];
    }
    return text;
}

std::optional<Bytes> ParseHexBytes(const std::string& text, std::size_t limit) {
    Bytes bytes;
    std::size_t i = 0;
    while (i < text.size()) {
        // A separator only between two bytes.
        if (!bytes.empty() && (text[i] == ' ' || text[i] == ':' || text[i] == ',')) ++i;
        if (i + 2 > text.size()) return std::nullopt;
        const int high = Nibble(text[i]);
        const int low = Nibble(text[i + 1]);
        if (high < 0 || low < 0 || bytes.size() >= limit) return std::nullopt;
        bytes.push_back(static_cast<std::uint8_t>(high << 4 | low));
        i += 2;
    }
    if (bytes.empty()) return std::nullopt;
    return bytes;
}

}  // namespace tavo::sim::btctl
