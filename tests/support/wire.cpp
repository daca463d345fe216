#include "support/wire.h"

#include <algorithm>
#include <cctype>
#include <cstdio>

namespace testwire {

Bytes Signal(std::uint16_t id, std::size_t size) {
    Bytes s(size, 0);
    PutU16(s, 0, id);
    PutU16(s, 4, 0xC001);
    return s;
}

Bytes SetTxParamsReq(std::uint32_t interval, std::uint16_t freq, std::uint8_t bandwidth, std::uint8_t position,
                     std::uint8_t heLtf) {
    Bytes s = Signal(0x9007, 46);
    PutU16(s, 10, freq);
    PutU16(s, 12, 0x0004);
    s[14] = bandwidth;
    s[15] = position;
    s[16] = 40;
    s[17] = 1;
    PutU16(s, 18, 1000);
    PutU32(s, 20, interval);
    PutU16(s, 24, 0x2000);
    PutU16(s, 28, 0x00FF);
    s[37] = heLtf;
    return s;
}

Bytes TxStartReq(std::uint32_t frames) {
    Bytes s = Signal(0x9008, 50);
    PutU32(s, 10, frames);
    PutU16(s, 16, 0x1234);
    const Bytes macs = FromHex("ff ff ff ff ff ff 00 11 22 33 44 55 00 11 22 33 44 55");
    std::copy(macs.begin(), macs.end(), s.begin() + 18);
    return s;
}

Bytes RxStartReq(std::uint8_t bandwidth, std::uint8_t position, std::uint16_t freq) {
    Bytes s = Signal(0x900B, 44);
    PutU16(s, 10, freq);
    s[12] = bandwidth;
    s[13] = position;
    const Bytes mac = FromHex("11 22 33 44 55 66");
    std::copy(mac.begin(), mac.end(), s.begin() + 16);
    return s;
}

Bytes RxReadReq(const std::vector<std::uint16_t>& counters) {
    Bytes s = Signal(0x900C, 22);
    AppendU16(s, static_cast<std::uint16_t>(counters.size()));
    for (const std::uint16_t id : counters) AppendU16(s, id);
    PutU16(s, 8, static_cast<std::uint16_t>(2 + 2 * counters.size()));
    return s;
}

Bytes CwStartReq(std::uint16_t freq) {
    Bytes s = Signal(0x9005, 42);
    PutU16(s, 10, freq);
    s[12] = 20;
    s[13] = 1;
    PutU16(s, 18, 10);
    return s;
}

Bytes SelectRadioReq(std::uint16_t bitmap) {
    Bytes s = Signal(0x901A, 24);
    PutU16(s, 10, bitmap);
    return s;
}

Bytes BistReq(std::uint16_t freq) {
    Bytes s = Signal(0x901F, 28);
    PutU16(s, 10, freq);
    PutU16(s, 12, 10);
    PutU16(s, 14, 2);
    return s;
}

Bytes MibGetReq(std::uint16_t psid, const std::vector<std::uint8_t>& indices) {
    Bytes s = Signal(0x2001, 24);
    AppendU16(s, psid);
    AppendU16(s, static_cast<std::uint16_t>(indices.size()));
    for (const std::uint8_t index : indices) s.push_back(index & 0x7F);
    if (indices.size() % 2 != 0) s.push_back(0);
    PutU16(s, 8, static_cast<std::uint16_t>(indices.size() + 4));
    return s;
}

Bytes FromHex(const std::string& hex) {
    std::string digits;
    for (const char c : hex) if (std::isxdigit(static_cast<unsigned char>(c))) digits += c;
    Bytes out;
    for (std::size_t i = 0; i + 1 < digits.size(); i += 2) {
        out.push_back(static_cast<std::uint8_t>(std::stoul(digits.substr(i, 2), nullptr, 16)));
    }
    return out;
}

std::string ToHex(const Bytes& bytes) {
    std::string out;
    char byte[4];
    for (const std::uint8_t b : bytes) {
        std::snprintf(byte, sizeof byte, out.empty() ? "%02x" : " %02x", b);
        out += byte;
    }
    return out;
}

}  // namespace testwire
