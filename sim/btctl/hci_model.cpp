#include "sim/btctl/hci_model.h"

#include <algorithm>
#include <iterator>

namespace tavo::sim::btctl {
namespace {

// Parameter lengths the commands must carry; Set Event Filter's depends on
// its filter type, so only its first byte is required.
struct Shape {
    std::uint16_t opcode;
    std::size_t length;
    bool atLeast;
};
constexpr Shape kShapes[] = {
    {opcode::kReset, 0, false},
    {opcode::kSetEventFilter, 1, true},
    {opcode::kWriteScanEnable, 1, false},
    {opcode::kReadVoiceSetting, 0, false},
    {opcode::kReadLocalVersion, 0, false},
    {opcode::kReadBufferSize, 0, false},
    {opcode::kReadBdAddr, 0, false},
    {opcode::kEnableDutMode, 0, false},
    {opcode::kLeReadBufferSize, 0, false},
    {opcode::kLeReceiverTest, 1, false},
    {opcode::kLeTransmitterTest, 3, false},
    {opcode::kLeTestEnd, 0, false},
    {opcode::kLeEnhancedReceiverTest, 3, false},
    {opcode::kLeEnhancedTransmitterTest, 4, false},
};

bool IsTestCommand(std::uint16_t op) {
    return op == opcode::kEnableDutMode || op == opcode::kLeReceiverTest || op == opcode::kLeTransmitterTest ||
           op == opcode::kLeTestEnd || op == opcode::kLeEnhancedReceiverTest ||
           op == opcode::kLeEnhancedTransmitterTest;
}

}  // namespace

Bytes HciModel::Answer(const HciCommand& command, std::optional<std::uint8_t> forced) {
    const std::uint16_t op = command.opcode;
    const Bytes& p = command.parameters;
    lastParameters[op] = p;
    ++counts[op];
    const auto shape = std::find_if(std::begin(kShapes), std::end(kShapes),
                                    [op](const Shape& s) { return s.opcode == op; });
    if (shape == std::end(kShapes)) {
        return CommandComplete(op, forced.value_or(hcistatus::kUnknownCommand), {}, credits);
    }
    if (IsTestCommand(op)) lastTestCommand = command;

    const bool fits = shape->atLeast ? p.size() >= shape->length : p.size() == shape->length;
    std::uint8_t status = fits ? hcistatus::kSuccess : hcistatus::kInvalidParameters;
    if (op == opcode::kWriteScanEnable && fits && p[0] > 3) status = hcistatus::kInvalidParameters;
    if (forced) status = *forced;
    const bool act = status == hcistatus::kSuccess;

    Bytes r;
    switch (op) {
        case opcode::kReset:
            if (act) {
                scanEnable = 0;
                dutMode = false;
                leTest.reset();
            }
            break;
        case opcode::kWriteScanEnable:
            if (act) scanEnable = p[0];
            break;
        case opcode::kReadVoiceSetting:
            PutLe16(r, 0x0060);
            break;
        case opcode::kReadLocalVersion:
            r = {0x0B, 0x00, 0x00, 0x0B, 0xFF, 0xFF, 0x01, 0x00};
            break;
        case opcode::kReadBufferSize:
            PutLe16(r, buffers.aclLength);
            r.push_back(buffers.scoLength);
            PutLe16(r, buffers.aclPackets);
            PutLe16(r, buffers.scoPackets);
            break;
        case opcode::kReadBdAddr:
            r.assign(address.rbegin(), address.rend());
            break;
        case opcode::kEnableDutMode:
            if (act) dutMode = true;
            break;
        case opcode::kLeReadBufferSize:
            PutLe16(r, leBuffers.length);
            r.push_back(leBuffers.packets);
            break;
        case opcode::kLeReceiverTest:
        case opcode::kLeTransmitterTest:
        case opcode::kLeEnhancedReceiverTest:
        case opcode::kLeEnhancedTransmitterTest:
            if (act) leTest = op;
            break;
        case opcode::kLeTestEnd:
            PutLe16(r, leTestPackets);
            if (act) leTest.reset();
            break;
        default:
            break;
    }
    return CommandComplete(op, status, r, credits);
}

}  // namespace tavo::sim::btctl
