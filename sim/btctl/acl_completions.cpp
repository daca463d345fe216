#include "sim/btctl/acl_completions.h"

#include "sim/btctl/hci_events.h"

namespace tavo::sim::btctl {

std::optional<Bytes> AclCompletions::Take(std::uint16_t handle) {
    handle &= kMaxHandle;
    ++received_[handle];
    if (holding_) {
        ++held_[handle];
        return std::nullopt;
    }
    return NumberOfCompletedPackets({{handle, 1}}).front();
}

std::vector<Bytes> AclCompletions::Release() {
    holding_ = false;
    std::vector<Bytes> events = NumberOfCompletedPackets(held_);
    held_.clear();
    return events;
}

std::uint64_t AclCompletions::Received(std::uint16_t handle) const {
    const auto it = received_.find(handle);
    return it == received_.end() ? 0 : it->second;
}

}  // namespace tavo::sim::btctl
