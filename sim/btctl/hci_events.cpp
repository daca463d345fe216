#include "sim/btctl/hci_events.h"

#include <algorithm>

#include "sim/btctl/h4_reader.h"

namespace tavo::sim::btctl {
namespace {

void PutHandle(Bytes& out, std::uint16_t handle) { PutLe16(out, handle & kMaxHandle); }

void PutAddress(Bytes& out, const BdAddr& address) { out.insert(out.end(), address.rbegin(), address.rend()); }

}  // namespace

void PutLe16(Bytes& out, std::uint16_t value) {
    out.push_back(static_cast<std::uint8_t>(value & 0xFF));
    out.push_back(static_cast<std::uint8_t>(value >> 8));
}

Bytes Event(std::uint8_t code, const Bytes& parameters) {
    Bytes event = {kH4Event, code, static_cast<std::uint8_t>(parameters.size())};
    event.insert(event.end(), parameters.begin(), parameters.end());
    return event;
}

Bytes CommandComplete(std::uint16_t opcode, std::uint8_t status, const Bytes& returnParameters,
                      std::uint8_t credits) {
    Bytes p = {credits};
    PutLe16(p, opcode);
    p.push_back(status);
    p.insert(p.end(), returnParameters.begin(), returnParameters.end());
    return Event(kCommandCompleteEvent, p);
}

Bytes CommandStatus(std::uint16_t opcode, std::uint8_t status, std::uint8_t credits) {
    Bytes p = {status, credits};
    PutLe16(p, opcode);
    return Event(kCommandStatusEvent, p);
}

Bytes ConnectionComplete(std::uint16_t handle, std::uint8_t linkType, std::uint8_t status, const BdAddr& address) {
    Bytes p = {status};
    PutHandle(p, handle);
    PutAddress(p, address);
    p.push_back(linkType);
    p.push_back(0x00);  // encryption off
    return Event(kConnectionCompleteEvent, p);
}

Bytes SyncConnectionComplete(std::uint16_t handle, std::uint8_t status, const BdAddr& address) {
    Bytes p = {status};
    PutHandle(p, handle);
    PutAddress(p, address);
    p.push_back(kEscoLink);
    // Interval, retransmission window and both packet lengths: the host's
    // SCO accounting reads none of them.
    p.insert(p.end(), 6, 0x00);
    p.push_back(0x02);  // air mode CVSD
    return Event(kSyncConnectionCompleteEvent, p);
}

Bytes DisconnectionComplete(std::uint16_t handle, std::uint8_t status, std::uint8_t reason) {
    Bytes p = {status};
    PutHandle(p, handle);
    p.push_back(reason);
    return Event(kDisconnectionCompleteEvent, p);
}

std::vector<Bytes> NumberOfCompletedPackets(const std::map<std::uint16_t, std::uint64_t>& counts) {
    Bytes entries;
    std::size_t n = 0;
    std::vector<Bytes> events;
    const auto flush = [&] {
        Bytes p = {static_cast<std::uint8_t>(n)};
        p.insert(p.end(), entries.begin(), entries.end());
        events.push_back(Event(kNumberOfCompletedPacketsEvent, p));
        entries.clear();
        n = 0;
    };
    for (const auto& [handle, total] : counts) {
        for (std::uint64_t left = total; left > 0;) {
            const auto count = static_cast<std::uint16_t>(std::min<std::uint64_t>(left, 0xFFFF));
            PutHandle(entries, handle);
            PutLe16(entries, count);
            left -= count;
            if (++n == kMaxCompletedEntries) flush();
        }
    }
    if (n > 0) flush();
    return events;
}

}  // namespace tavo::sim::btctl
