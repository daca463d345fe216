#include "sim/wlanfw/fault_plan.h"

#include <algorithm>
#include <cstdio>
#include <utility>

#include "sim/wlanfw/signals.h"

namespace tavo::sim::wlanfw {
namespace {

std::chrono::milliseconds NotNegative(std::chrono::milliseconds value) {
    return std::max(value, std::chrono::milliseconds(0));
}

}  // namespace

void FaultPlan::SetDelay(std::chrono::milliseconds delay) { delay_ = NotNegative(delay); }

void FaultPlan::SetChatter(unsigned frames, std::chrono::milliseconds spacing) {
    chatter_ = std::min(frames, kMaxChatter);
    spacing_ = NotNegative(spacing);
}

std::vector<OutgoingSignal> FaultPlan::Chatter(std::uint16_t awaited) const {
    std::vector<OutgoingSignal> frames;
    frames.reserve(chatter_);
    std::size_t next = 0;
    for (unsigned i = 0; i < chatter_; ++i) {
        if (i % 2 == 0) {
            frames.push_back(WithBulk(NewSignal(kUnrelatedSignal, 16), {}));
            continue;
        }
        // Confirms of other requests, as a firmware that still answers an
        // earlier exchange would send them.
        const SignalInfo* info = &Signals()[next++ % kSignalCount];
        if (info->confirm == awaited) info = &Signals()[next++ % kSignalCount];
        frames.push_back(WithBulk(NewSignal(info->confirm, info->confirmSize), {}));
    }
    return frames;
}

void FaultPlan::ForceResult(std::uint16_t requestId, std::uint16_t code, unsigned times) {
    if (forced_.size() >= kMaxForced) forced_.erase(forced_.begin());
    forced_.push_back(Forced{requestId, code, times});
}

std::optional<std::uint16_t> FaultPlan::TakeForcedResult(std::uint16_t requestId) {
    for (auto it = forced_.begin(); it != forced_.end(); ++it) {
        if (it->requestId != kAnyRequest && it->requestId != requestId) continue;
        const std::uint16_t code = it->code;
        if (it->left != kUntilCleared && --it->left == 0) forced_.erase(it);
        return code;
    }
    return std::nullopt;
}

void FaultPlan::SendMalformed(MalformedFrame kind) {
    if (malformed_.size() >= kMaxMalformed) malformed_.pop_front();
    malformed_.push_back(kind);
}

std::optional<MalformedFrame> FaultPlan::TakeMalformed() {
    if (malformed_.empty()) return std::nullopt;
    const MalformedFrame kind = malformed_.front();
    malformed_.pop_front();
    return kind;
}

std::size_t FaultPlan::TakePadding() { return std::exchange(padding_, 0); }

std::string FaultPlan::Distort(OutgoingSignal& confirm) {
    std::string done;
    const auto note = [&done](const std::string& what) { done += (done.empty() ? "" : ", ") + what; };
    const std::uint16_t id = GetU16(confirm.signal, 0);
    if (rxCountField_ && id == kRxReadCfm && confirm.bulk.size() >= 2) {
        PutU16(confirm.bulk, 0, *rxCountField_);
        note("count field " + std::to_string(*rxCountField_));
    }
    if (mibPsid_ && id == kMibGetCfm && confirm.bulk.size() >= 2) {
        PutU16(confirm.bulk, 0, *mibPsid_);
        note("psid " + std::to_string(*mibPsid_));
    }
    if (signalCut_) {
        confirm.signal.resize(std::min(confirm.signal.size(), *signalCut_));
        note("signal cut to " + std::to_string(confirm.signal.size()));
        signalCut_.reset();
    }
    if (bulkCut_) {
        confirm.bulk.resize(std::min(confirm.bulk.size(), *bulkCut_));
        note("bulk cut to " + std::to_string(confirm.bulk.size()));
        bulkCut_.reset();
    }
    if (bulkGrowth_) {
        confirm.bulk.resize(confirm.bulk.size() + *bulkGrowth_, 0);
        note("bulk grown to " + std::to_string(confirm.bulk.size()));
        bulkGrowth_.reset();
    }
    if (confirmId_ && confirm.signal.size() >= 2) {
        PutU16(confirm.signal, 0, *confirmId_);
        char text[8];
        std::snprintf(text, sizeof text, "0x%04X", *confirmId_);
        note(std::string("sent as ") + text);
    }
    confirmId_.reset();
    confirm = WithBulk(std::move(confirm.signal), std::move(confirm.bulk));
    return done;
}

}  // namespace tavo::sim::wlanfw
