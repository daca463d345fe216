// The events the simulated controller sends, each as it goes on the line:
// the H4 indicator 0x04, the event code, the parameter length, the
// parameters (16-bit fields low byte first, addresses LAP first).
//
//   0x03 Connection Complete       status, handle, address, link type, encryption 0
//   0x05 Disconnection Complete    status, handle, reason
//   0x0E Command Complete          credits, opcode, status, return parameters
//   0x0F Command Status            status, credits, opcode
//   0x13 Number Of Completed Packets   entries, then handle and count for each
//   0x2C Synchronous Connection Complete   status, handle, address, link type 2 (eSCO),
//                                  interval, window, both packet lengths 0, air mode 2
//
// A connection handle has 12 bits; the bits above are dropped.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <map>
#include <vector>

#include "sim/btctl/hex_bytes.h"

namespace tavo::sim::btctl {

inline constexpr std::uint8_t kConnectionCompleteEvent = 0x03;
inline constexpr std::uint8_t kDisconnectionCompleteEvent = 0x05;
inline constexpr std::uint8_t kCommandCompleteEvent = 0x0E;
inline constexpr std::uint8_t kCommandStatusEvent = 0x0F;
inline constexpr std::uint8_t kNumberOfCompletedPacketsEvent = 0x13;
inline constexpr std::uint8_t kSyncConnectionCompleteEvent = 0x2C;

inline constexpr std::uint16_t kMaxHandle = 0x0FFF;
inline constexpr std::uint8_t kEscoLink = 2;
inline constexpr std::uint8_t kDefaultDisconnectReason = 0x13;  // remote user terminated
// Code, length and 255 parameter bytes: the largest event H4 carries.
inline constexpr std::size_t kMaxEvent = 257;
// One byte of entry count and 4 bytes an entry within 255 parameter bytes.
inline constexpr std::size_t kMaxCompletedEntries = 63;

// The address as written, most significant byte first: 00:1A:7D:DA:71:13
// is {0x00, 0x1A, 0x7D, 0xDA, 0x71, 0x13}.
using BdAddr = std::array<std::uint8_t, 6>;

void PutLe16(Bytes& out, std::uint16_t value);

Bytes Event(std::uint8_t code, const Bytes& parameters);
Bytes CommandComplete(std::uint16_t opcode, std::uint8_t status, const Bytes& returnParameters,
                      std::uint8_t credits);
Bytes CommandStatus(std::uint16_t opcode, std::uint8_t status, std::uint8_t credits);
Bytes ConnectionComplete(std::uint16_t handle, std::uint8_t linkType, std::uint8_t status, const BdAddr& address);
Bytes SyncConnectionComplete(std::uint16_t handle, std::uint8_t status, const BdAddr& address);
Bytes DisconnectionComplete(std::uint16_t handle, std::uint8_t status, std::uint8_t reason);

// Number Of Completed Packets for these counts, one entry per handle in
// ascending order. A count above 65535 takes further entries for its
// handle, and more than 63 entries take further events; no count gives no
// event.
std::vector<Bytes> NumberOfCompletedPackets(const std::map<std::uint16_t, std::uint64_t>& counts);

}  // namespace tavo::sim::btctl
