#include "enginefw/stringutil.h"

#include <cctype>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <iomanip>

#include "enginefw/msghandler.h"

namespace stringutil {

namespace {
constexpr const char* kFile = "stringutil";

CMessageHandler* Handler(const char* pretty) {
    return CTheMsgHnd::GetAppropriateHandler(CMessageHandler::GROUP_UTILITY, pretty, false);
}

int HexDigit(char c) {
    if (c >= '0' && c <= '9') return c - '0';
    if (c >= 'a' && c <= 'f') return c - 'a' + 10;
    if (c >= 'A' && c <= 'F') return c - 'A' + 10;
    return -1;
}
}  // namespace

bool IsWhitespace(char c) {
    return c == ' ' || c == '\t' || c == '\f' || c == '\v' || c == '\n' || c == '\r';
}

void TrimLeadingWhitespace(std::string& text) {
    size_t first = 0;
    while (first < text.size() && IsWhitespace(text[first])) ++first;
    text.erase(0, first);
}

void TrimTrailingWhitespace(std::string& text) {
    size_t end = text.size();
    while (end > 0 && IsWhitespace(text[end - 1])) --end;
    text.erase(end);
}

void TrimLeadingAndTrailingWhitespace(std::string& text) {
    TrimTrailingWhitespace(text);
    TrimLeadingWhitespace(text);
}

bool StringToInteger(const std::string& text, int& value) {
    char* end = nullptr;
    errno = 0;
    const long number = std::strtol(text.c_str(), &end, 0);
    const int error = errno;
    value = static_cast<int>(number);
    if (text.empty() || *end != '\0' || error != 0 || number != static_cast<long>(value)) {
        return false;
    }
    if (CTheMsgHnd::IsDebugEngineRunning()) {
        Handler(__PRETTY_FUNCTION__)
            ->DebugOutputInHandler(CMessageHandler::DEBUG_ENHANCED, false, false, __PRETTY_FUNCTION__, kFile,
                                   __LINE__, "Converted string \"%s\" to integer \"%d\"", text.c_str(), value);
    }
    return true;
}

bool StringToULong(const std::string& text, unsigned long& value) {
    char* end = nullptr;
    errno = 0;
    value = std::strtoul(text.c_str(), &end, 0);
    const int error = errno;
    if (text.empty() || *end != '\0' || error != 0) {
        return false;
    }
    if (CTheMsgHnd::IsDebugEngineRunning()) {
        Handler(__PRETTY_FUNCTION__)
            ->DebugOutputInHandler(CMessageHandler::DEBUG_ENHANCED, false, false, __PRETTY_FUNCTION__, kFile,
                                   __LINE__, "Converted string \"%s\" to integer \"%lu\"", text.c_str(), value);
    }
    return true;
}

std::string ToLower(const std::string& text) {
    std::string out(text);
    for (char& c : out) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    return out;
}

std::string ToUpper(const std::string& text) {
    std::string out(text);
    for (char& c : out) c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
    return out;
}

void WriteUndecoratedHexNumberToStream(std::ostringstream& stream, int number, int digits) {
    if (CTheMsgHnd::IsDebugEngineRunning()) {
        CMessageHandler* const handler = Handler(__PRETTY_FUNCTION__);
        handler->DebugOutputInHandler(CMessageHandler::DEBUG_FULL, false, false, __PRETTY_FUNCTION__, kFile, __LINE__,
                                      "aNumberToDisplay=0x%08x", static_cast<unsigned>(number));
        handler->DebugOutputInHandler(CMessageHandler::DEBUG_FULL, false, false, __PRETTY_FUNCTION__, kFile, __LINE__,
                                      "aNumberOfDigits=%d", digits);
    }
    const char oldFill = stream.fill('0');
    stream << std::hex << std::setw(digits < 0 ? 0 : digits) << static_cast<unsigned>(number);
    stream.fill(oldFill);
    stream << std::dec << std::setw(1);
}

void WriteHexNumberToStream(std::ostringstream& stream, int number, int digits) {
    stream << "0x";
    WriteUndecoratedHexNumberToStream(stream, number, digits);
}

std::string StringToOctStr(const std::string& text) {
    std::string out;
    out.reserve(text.size() * 2);
    for (const char c : text) out += OctetToOctetString(static_cast<unsigned char>(c));
    return out;
}

std::string PadString(const std::string& text, char pad, unsigned width, PadAlignEnum align) {
    if (pad == '\0' || text.size() >= width) {
        return text;
    }
    const std::string fill(width - text.size(), pad);
    return align == PAD_ALIGN_LEFT ? text + fill : fill + text;
}

bool HexStrToInt(const std::string& text, int& value) {
    value = 0;
    size_t start = 0;
    if (text.size() >= 2 && text[0] == '0' && (text[1] == 'x' || text[1] == 'X')) start = 2;
    if (start == text.size() || text.size() - start > 8) return false;
    unsigned long number = 0;
    for (size_t i = start; i < text.size(); ++i) {
        const int digit = HexDigit(text[i]);
        if (digit < 0) return false;
        number = number * 16 + static_cast<unsigned long>(digit);
    }
    value = static_cast<int>(static_cast<unsigned int>(number));
    return true;
}

bool OctStrToString(const std::string& octets, std::string& text) {
    text.clear();
    if (octets.size() % 2 != 0) return false;
    std::string out;
    for (size_t i = 0; i < octets.size(); i += 2) {
        const int high = HexDigit(octets[i]);
        const int low = HexDigit(octets[i + 1]);
        if (high < 0 || low < 0) return false;
        out += static_cast<char>(high * 16 + low);
    }
    text = out;
    return true;
}

std::string OctetToOctetString(unsigned char octet) {
    char text[4];
    std::snprintf(text, sizeof text, "%.2x", static_cast<unsigned>(octet));
    return text;
}

bool StringToMap(const std::string& text, std::map<std::string, std::string>& entries) {
    entries.clear();
    if (text.empty()) return true;
    std::map<std::string, std::string> out;
    size_t start = 0;
    while (start <= text.size()) {
        size_t comma = text.find(',', start);
        if (comma == std::string::npos) comma = text.size();
        const std::string entry = text.substr(start, comma - start);
        const size_t equals = entry.find('=');
        if (equals == std::string::npos) return false;
        std::string key = entry.substr(0, equals);
        std::string value = entry.substr(equals + 1);
        TrimLeadingAndTrailingWhitespace(key);
        TrimLeadingAndTrailingWhitespace(value);
        if (key.empty()) return false;
        out[key] = value;
        start = comma + 1;
    }
    entries.swap(out);
    return true;
}

}  // namespace stringutil
