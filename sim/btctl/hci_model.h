// What the simulated controller does with an HCI command, and the state it
// keeps. Every command below is answered with a Command Complete event
// (0x0E) granting `credits` command credits (1 unless set):
//
//   0x0C03 Reset                   status; scan, device-under-test mode and LE test end
//   0x0C05 Set Event Filter        status (1 byte or more of parameters)
//   0x0C1A Write Scan Enable       status (one byte, 0 to 3)
//   0x0C25 Read Voice Setting      status, 0x0060
//   0x1001 Read Local Version      status, HCI 0x0B rev 0x0000, LMP 0x0B, company 0xFFFF, sub 0x0001
//   0x1005 Read Buffer Size        status, ACL length 1021, SCO length 64, ACL 8 and SCO 8 packets
//   0x1009 Read BD_ADDR            status, the address (LAP first on the wire)
//   0x1803 Enable Device Under Test Mode   status
//   0x2002 LE Read Buffer Size     status, 251, 8 packets
//   0x201D LE Receiver Test (1 byte), 0x201E LE Transmitter Test (3),
//   0x2033 LE Enhanced Receiver Test (3), 0x2034 LE Enhanced Transmitter Test (4)   status
//   0x201F LE Test End             status, number of packets
//
// A command whose parameters have another length, or a scan value above 3,
// gets status 0x12 (invalid parameters) and changes nothing; an opcode not
// listed gets status 0x01 (unknown command) and no return parameters. A
// forced status goes into every Command Complete and also changes nothing.
// The return parameters keep their shape whatever the status. Credits are
// only reported: a command sent while they are 0 is answered all the same.
#pragma once

#include <array>
#include <cstdint>
#include <map>
#include <optional>

#include "sim/btctl/hci_events.h"
#include "sim/btctl/hex_bytes.h"

namespace tavo::sim::btctl {

namespace opcode {
inline constexpr std::uint16_t kReset = 0x0C03;
inline constexpr std::uint16_t kSetEventFilter = 0x0C05;
inline constexpr std::uint16_t kWriteScanEnable = 0x0C1A;
inline constexpr std::uint16_t kReadVoiceSetting = 0x0C25;
inline constexpr std::uint16_t kReadLocalVersion = 0x1001;
inline constexpr std::uint16_t kReadBufferSize = 0x1005;
inline constexpr std::uint16_t kReadBdAddr = 0x1009;
inline constexpr std::uint16_t kEnableDutMode = 0x1803;
inline constexpr std::uint16_t kLeReadBufferSize = 0x2002;
inline constexpr std::uint16_t kLeReceiverTest = 0x201D;
inline constexpr std::uint16_t kLeTransmitterTest = 0x201E;
inline constexpr std::uint16_t kLeTestEnd = 0x201F;
inline constexpr std::uint16_t kLeEnhancedReceiverTest = 0x2033;
inline constexpr std::uint16_t kLeEnhancedTransmitterTest = 0x2034;
// Carries vendor-channel fragments; never answered with Command Complete.
inline constexpr std::uint16_t kVendorTunnel = 0xFC00;
}  // namespace opcode

namespace hcistatus {
inline constexpr std::uint8_t kSuccess = 0x00;
inline constexpr std::uint8_t kUnknownCommand = 0x01;
inline constexpr std::uint8_t kInvalidParameters = 0x12;
}  // namespace hcistatus

inline constexpr BdAddr kDefaultBdAddr = {0x00, 0x1A, 0x7D, 0xDA, 0x71, 0x13};

struct BufferSizes {
    std::uint16_t aclLength = 1021;
    std::uint8_t scoLength = 64;
    std::uint16_t aclPackets = 8;
    std::uint16_t scoPackets = 8;
};

struct LeBufferSize {
    std::uint16_t length = 251;
    std::uint8_t packets = 8;
};

struct HciCommand {
    std::uint16_t opcode = 0;
    Bytes parameters;
};

// Not thread-safe: the controller holds it under its lock.
class HciModel {
public:
    // The Command Complete for `command`, H4 indicator included. `forced`
    // replaces the status of every answer.
    Bytes Answer(const HciCommand& command, std::optional<std::uint8_t> forced);

    // --- what the controller reports ---
    BufferSizes buffers;
    LeBufferSize leBuffers;
    BdAddr address = kDefaultBdAddr;
    std::uint16_t leTestPackets = 0;  // LE Test End's count
    std::uint8_t credits = 1;         // num_hci_command_packets of Command Complete and Status

    // --- what the host did ---
    std::uint8_t scanEnable = 0;
    bool dutMode = false;
    std::optional<std::uint16_t> leTest;          // the LE test started and not ended
    std::optional<HciCommand> lastTestCommand;    // device-under-test and LE test commands, test end too
    std::map<std::uint16_t, Bytes> lastParameters;  // of every opcode received
    std::map<std::uint16_t, std::uint64_t> counts;
};

}  // namespace tavo::sim::btctl
