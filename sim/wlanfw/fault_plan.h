// How a test wants the firmware to misbehave: silent (requests are read and
// dropped), slow (each confirm waits), chatty (unrelated frames before each
// confirm), a chosen result code for chosen requests, broken frames in
// place of confirms, confirms bent in a field, cut short, grown long or sent
// under another id, and datagrams longer than their frame. Not locked: the
// owner serialises the calls.
#pragma once

#include <algorithm>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <optional>
#include <string>
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
    // Bulk growth and datagram padding: four reads of the node, well within
    // what one datagram on the socket may carry.
    static constexpr std::size_t kMaxOversize = 16384;

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

    // The next confirm's signal, or its bulk, cut to at most `bytes`.
    void CutNextSignal(std::size_t bytes) { signalCut_ = bytes; }
    void CutNextBulk(std::size_t bytes) { bulkCut_ = bytes; }
    // The next confirm's bulk grown by `bytes` zero bytes (the heads agree),
    // so that its frame can be made longer than one read of the node.
    void GrowNextBulk(std::size_t bytes) { bulkGrowth_ = std::min(bytes, kMaxOversize); }
    // The next confirm goes out under signal id `id` instead of its own.
    void SetNextConfirmId(std::uint16_t id) { confirmId_ = id; }
    // The next datagram that carries a confirm gets `bytes` more bytes after
    // its frame, which its header does not count.
    void PadNextDatagram(std::size_t bytes) { padding_ = std::min(bytes, kMaxOversize); }
    // The padding for this datagram (0 for none); uses it up.
    std::size_t TakePadding();
    // rx_read_cfm's counter count, or mib_get_cfm's psid, as given instead
    // of the true one; nothing turns it off.
    void SetRxCountField(std::optional<std::uint16_t> count) { rxCountField_ = count; }
    void SetMibPsid(std::optional<std::uint16_t> psid) { mibPsid_ = psid; }
    // Bends `confirm` as set above, uses up the cuts and makes the head's
    // bulk length agree. Returns what was done, for the log ("" for nothing).
    std::string Distort(OutgoingSignal& confirm);

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
    std::optional<std::size_t> signalCut_;
    std::optional<std::size_t> bulkCut_;
    std::optional<std::size_t> bulkGrowth_;
    std::optional<std::uint16_t> confirmId_;
    std::size_t padding_ = 0;
    std::optional<std::uint16_t> rxCountField_;
    std::optional<std::uint16_t> mibPsid_;
};

}  // namespace tavo::sim::wlanfw
