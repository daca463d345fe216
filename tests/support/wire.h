// Requests built byte by byte as the factory library builds them, and
// little-endian field access on what comes back. Kept apart from the
// firmware's own helpers so that a shared mistake cannot hide.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace wlanfw_test {

using Bytes = std::vector<std::uint8_t>;
using Mac = std::array<std::uint8_t, 6>;

std::uint16_t U16(const Bytes& b, std::size_t offset);
std::uint32_t U32(const Bytes& b, std::size_t offset);
void Put16(Bytes& b, std::size_t offset, std::uint16_t value);
void Put32(Bytes& b, std::size_t offset, std::uint32_t value);
void Append16(Bytes& b, std::uint16_t value);

// A zeroed signal of `size` bytes with the id at 0 and 0xC001 at 4.
Bytes Signal(std::uint16_t id, std::size_t size);

struct TxParams {
    std::uint8_t bandwidth = 0;
    std::uint8_t position = 0;
    std::uint16_t freq = 2412;
    std::uint16_t rate = 0x0004;
    std::int8_t power = 40;
    std::uint16_t length = 1000;
    std::uint32_t interval = 1000;
    std::uint32_t flags = 0x2000;
    std::uint16_t regDomain = 0;
    std::uint16_t flags2 = 0;
    std::uint16_t heMode = 0;
    std::uint8_t heRuAllocation = 0;
    std::uint8_t heLtf = 0;
};

Bytes SetTxParamsReq(const TxParams& p);
Bytes TxStartReq(std::uint32_t frames, std::uint16_t dataType = 0, std::uint16_t dataParam = 0x1234,
                 const Mac& dest = {0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF},
                 const Mac& src = {0x00, 0x11, 0x22, 0x33, 0x44, 0x55},
                 const Mac& bssId = {0x00, 0x11, 0x22, 0x33, 0x44, 0x55});
Bytes TxReadReq();
Bytes TxStopReq();
Bytes RxStartReq(std::uint8_t bandwidth = 0, std::uint8_t position = 0, std::uint16_t freq = 2437,
                 std::uint16_t flags = 0, const Mac& address = {0x11, 0x22, 0x33, 0x44, 0x55, 0x66});
Bytes RxReadReq(const std::vector<std::uint16_t>& counters);
Bytes RxStopReq();
Bytes CwStartReq(std::uint16_t freq = 2437, std::int32_t freqOffset = 0, std::int8_t power = 20,
                 std::uint16_t amplitude = 10);
Bytes CwStopReq();
Bytes SelectRadioReq(std::uint16_t bitmap);
Bytes BistReq(std::uint16_t freq = 2437, std::uint16_t txGain = 10, std::uint16_t rxGain = 2);
// Indices are masked to 7 bits; an odd count gets a pad byte that the
// head's bulk length does not count.
Bytes MibGetReq(std::uint16_t psid, const std::vector<std::uint8_t>& indices = {});

Bytes Text(const std::string& text);

// The confirm id of a request id; 0 for an unknown one.
std::uint16_t ConfirmOf(std::uint16_t request);

}  // namespace wlanfw_test
