// How a test wants the firmware to misbehave: silent (requests are read and
// dropped), slow (each confirm waits), chatty (unrelated frames before each
// confirm), a chosen result code for chosen requests, and broken frames in
// place of confirms. Not locked: the owner serialises the calls.
#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <optional>
#include <vector>

#include "sim/wlanfw/udi_frame.h"

namespace tavo::sim::wlanfw {

class FaultPlan {
public:
    // ForceResult's request id that matches every request.
    static constexpr std::uint16_t kAnyRequest = 0;
    // ForceResult's count for "until ClearForcedResults".
    static constexpr unsigned kUntilCleared = 0;
    // Bounds that keep one request's answer finite.
    static constexpr unsigned kMaxChatter = 1000;
    static constexpr std::size_t kMaxForced = 256;
    static constexpr std::size_t kMaxMalformed = 256;

    void SetSilent(bool silent) { silent_ = silent; }
    bool Silent() const { return silent_; }

    void SetDelay(std::chrono::milliseconds delay);
    std::chrono::milliseconds Delay() const { return delay_; }

    // `frames` unrelated frames before every confirm, each after `spacing`.
    void SetChatter(unsigned frames, std::chrono::milliseconds spacing);
    unsigned ChatterFrames() const { return chatter_; }
    std::chrono::milliseconds ChatterSpacing() const { return spacing_; }
    // The unrelated frames for a confirm of `awaited`: in turn a signal of
    // an id that nothing uses, and the confirm of another request.
    std::vector<OutgoingSignal> Chatter(std::uint16_t awaited) const;

    // The next `times` requests of `requestId` (or of any id) are answered
    // with `code` and change nothing. Entries are used in the order given.
    void ForceResult(std::uint16_t requestId, std::uint16_t code, unsigned times);
    void ClearForcedResults() { forced_.clear(); }
    std::optional<std::uint16_t> TakeForcedResult(std::uint16_t requestId);

    // The next confirm goes out broken in this way; each call queues one.
    void SendMalformed(MalformedFrame kind);
    std::optional<MalformedFrame> TakeMalformed();

private:
    struct Forced {
        std::uint16_t requestId;
        std::uint16_t code;
        unsigned left;  // kUntilCleared: never runs out
    };

    bool silent_ = false;
    std::chrono::milliseconds delay_{0};
    unsigned chatter_ = 0;
    std::chrono::milliseconds spacing_{0};
    std::vector<Forced> forced_;
    std::deque<MalformedFrame> malformed_;
};

}  // namespace tavo::sim::wlanfw
