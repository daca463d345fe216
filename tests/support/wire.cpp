#include "wire_builder.h"
#include "support/wire_ids.h"

namespace wlanfw_test {

std::uint16_t U16(const Bytes& b, std::size_t offset) {
    if (offset + 2 > b.size()) return 0;
    return static_cast<std::uint16_t>(b[offset] | (b[offset + 1] << 8));
}

std::uint32_t U32(const Bytes& b, std::size_t offset) {
    if (offset + 4 > b.size()) return 0;
    return static_cast<std::uint32_t>(U16(b, offset)) | (static_cast<std::uint32_t>(U16(b, offset + 2)) << 16);
}

void Put16(Bytes& b, std::size_t offset, std::uint16_t value) {
    b.at(offset) = static_cast<std::uint8_t>(value);
    b.at(offset + 1) = static_cast<std::uint8_t>(value >> 8);
}

void Put32(Bytes& b, std::size_t offset, std::uint32_t value) {
    Put16(b, offset, static_cast<std::uint16_t>(value));
    Put16(b, offset + 2, static_cast<std::uint16_t>(value >> 16));
}

void Append16(Bytes& b, std::uint16_t value) {
    b.push_back(static_cast<std::uint8_t>(value));
    b.push_back(static_cast<std::uint8_t>(value >> 8));
}

Bytes Signal(std::uint16_t id, std::size_t size) {
    Bytes s(size, 0);
    Put16(s, 0, id);
    Put16(s, 4, 0xC001);
    return s;
}

Bytes SetTxParamsReq(const TxParams& p) {
    Bytes s = Signal(0x9007, 46);
    Put16(s, 10, p.freq);
    Put16(s, 12, p.rate);
    s[14] = p.bandwidth;
    s[15] = p.position;
    s[16] = static_cast<std::uint8_t>(p.power);
    s[17] = 1;
    Put16(s, 18, p.length);
    Put32(s, 20, p.interval);
    Put16(s, 24, static_cast<std::uint16_t>(p.flags & 0xFFFF));
    Put16(s, 28, 0x00FF);
    Put16(s, 30, p.regDomain);
    Put16(s, 32, p.flags2);
    Put16(s, 34, p.heMode);
    s[36] = p.heRuAllocation;
    s[37] = p.heLtf;
    return s;
}

static void PutMac(Bytes& s, std::size_t offset, const Mac& mac) {
    for (std::size_t i = 0; i < mac.size(); ++i) s.at(offset + i) = mac[i];
}

Bytes TxStartReq(std::uint32_t frames, std::uint16_t dataType, std::uint16_t dataParam, const Mac& dest,
                 const Mac& src, const Mac& bssId) {
    Bytes s = Signal(0x9008, 50);
    Put32(s, 10, frames);
    Put16(s, 14, dataType);
    Put16(s, 16, dataParam);
    PutMac(s, 18, dest);
    PutMac(s, 24, src);
    PutMac(s, 30, bssId);
    return s;
}

Bytes TxReadReq() { return Signal(0x9009, 22); }
Bytes TxStopReq() { return Signal(0x900A, 22); }

Bytes RxStartReq(std::uint8_t bandwidth, std::uint8_t position, std::uint16_t freq, std::uint16_t flags,
                 const Mac& address) {
    Bytes s = Signal(0x900B, 44);
    Put16(s, 10, freq);
    s[12] = bandwidth;
    s[13] = position;
    Put16(s, 14, flags);
    PutMac(s, 16, address);
    return s;
}

Bytes RxReadReq(const std::vector<std::uint16_t>& counters) {
    Bytes s = Signal(0x900C, 22);
    Append16(s, static_cast<std::uint16_t>(counters.size()));
    for (const std::uint16_t id : counters) Append16(s, id);
    Put16(s, 8, static_cast<std::uint16_t>(2 + 2 * counters.size()));
    return s;
}

Bytes RxStopReq() { return Signal(0x900D, 22); }

Bytes CwStartReq(std::uint16_t freq, std::int32_t freqOffset, std::int8_t power, std::uint16_t amplitude) {
    Bytes s = Signal(0x9005, 42);
    Put16(s, 10, freq);
    s[12] = static_cast<std::uint8_t>(power);
    s[13] = 1;
    Put16(s, 18, amplitude);
    Put32(s, 20, static_cast<std::uint32_t>(freqOffset));
    return s;
}

Bytes CwStopReq() { return Signal(0x9006, 22); }

Bytes SelectRadioReq(std::uint16_t bitmap) {
    Bytes s = Signal(0x901A, 24);
    Put16(s, 10, bitmap);
    return s;
}

Bytes BistReq(std::uint16_t freq, std::uint16_t txGain, std::uint16_t rxGain) {
    Bytes s = Signal(0x901F, 28);
    Put16(s, 10, freq);
    Put16(s, 12, txGain);
    Put16(s, 14, rxGain);
    return s;
}

Bytes MibGetReq(std::uint16_t psid, const std::vector<std::uint8_t>& indices) {
    Bytes s = Signal(0x2001, 24);
    Append16(s, psid);
    Append16(s, static_cast<std::uint16_t>(indices.size()));
    for (const std::uint8_t index : indices) s.push_back(index & 0x7F);
    if (indices.size() % 2 != 0) s.push_back(0);
    Put16(s, 8, static_cast<std::uint16_t>(indices.size() + 4));
    return s;
}

Bytes Text(const std::string& text) { return Bytes(text.begin(), text.end()); }

std::uint16_t ConfirmOf(std::uint16_t request) {
    return testsupport::ConfirmIdOf(request);
}

}  // namespace wlanfw_test
