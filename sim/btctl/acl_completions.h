// Number Of Completed Packets for the host's ACL data. The host may send
// an ACL packet only while it holds a credit, and this event gives the
// credit back: every packet is answered with one event for its handle,
// unless completions are held. While held they are counted per handle, so
// that a test can keep the host's ACL credit at nothing for as long as it
// likes; a release sends them all at once and answers at once again.
//
// Not thread-safe: the controller holds it under its lock.
#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <vector>

#include "sim/btctl/hex_bytes.h"

namespace tavo::sim::btctl {

class AclCompletions {
public:
    // Counts a packet on `handle` (12 bits). The event to send for it, or
    // nothing while held.
    std::optional<Bytes> Take(std::uint16_t handle);
    void Hold() { holding_ = true; }
    // The events for what was held (none if nothing was); from now on
    // packets are answered at once.
    std::vector<Bytes> Release();

    bool Holding() const { return holding_; }
    const std::map<std::uint16_t, std::uint64_t>& Held() const { return held_; }
    std::uint64_t Received(std::uint16_t handle) const;

private:
    bool holding_ = false;
    std::map<std::uint16_t, std::uint64_t> held_;
    std::map<std::uint16_t, std::uint64_t> received_;
};

}  // namespace tavo::sim::btctl
