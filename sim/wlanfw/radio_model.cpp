#include "sim/wlanfw/radio_model.h"

#include <algorithm>
#include <limits>

namespace tavo::sim::wlanfw {
namespace {

bool PositionFits(std::uint8_t bandwidth, std::uint8_t position) {
    // 20 MHz has one place in the channel, 40 MHz two, 80 MHz four.
    return position < (1u << bandwidth);
}

bool ValidHeLtf(std::uint8_t ltf) { return ltf == 0 || ltf == 1 || ltf == 2 || ltf == 4; }

std::string Num(unsigned long long value) { return std::to_string(value); }

// What the receiver reports with no tester in front of it and no readings
// set: the room's own traffic.
constexpr SignalReadings kRoomRssi{-52, -50, -58, -45};

RxCounts Burst(const Tester& tester) {
    const unsigned long long errors = static_cast<unsigned long long>(tester.frames) * tester.errorPermille /
                                      FrameCounter::kPermille;
    return RxCounts{tester.frames, static_cast<std::uint32_t>(tester.frames - errors)};
}

}  // namespace

RadioModel::RadioModel() : counter_(kDefaultRxRate, kDefaultRxErrorPermille) {}

bool RadioModel::FrequencyInRange(std::uint16_t mhz) {
    return (mhz >= 2412 && mhz <= 2484) || (mhz >= 4900 && mhz <= 5900);
}

void RadioModel::ResetTestState() {
    txParams_.reset();
    transmission_.reset();
    txRequest_.reset();
    rxRunning_ = false;
    rxFlags_ = 0;
    rxPreset_.reset();
    rxTester_.reset();
    tone_.reset();
    radioBitmap_ = 3;
}

void RadioModel::SetRxCounts(RxCounts counts, TimePoint now) {
    if (rxRunning_) {
        counter_.Restart(counts, now);
    } else {
        rxPreset_ = counts;
    }
}

void RadioModel::SetTester(std::optional<Tester> tester) {
    if (tester) {
        tester->errorPermille = std::min(tester->errorPermille, FrameCounter::kPermille);
        tester->levelDbm = std::clamp(tester->levelDbm, Tester::kMinLevel, Tester::kMaxLevel);
    }
    tester_ = tester;
}

SignalReadings RadioModel::Rssi() const {
    if (rssi_) return *rssi_;
    if (!rxTester_) return kRoomRssi;
    const std::int16_t level = rxTester_->levelDbm;
    return SignalReadings{level, level, static_cast<std::int16_t>(level - 3), static_cast<std::int16_t>(level + 2)};
}

void RadioModel::SetRxRate(std::uint32_t framesPerSecond, TimePoint now) { counter_.SetRate(framesPerSecond, now); }

void RadioModel::SetRxErrorPermille(std::uint32_t permille, TimePoint now) {
    counter_.SetErrorPermille(permille, now);
}

TxStatus RadioModel::Tx(TimePoint now) const {
    if (!transmission_) return TxStatus{};
    return transmission_->Status(now);
}

RxStatus RadioModel::Rx(TimePoint now) const {
    RxStatus status;
    status.running = rxRunning_;
    if (rxRunning_) status.counts = counter_.Counts(now);
    return status;
}

bool RadioModel::StillSending(TimePoint now) const { return transmission_ && transmission_->Status(now).sending; }

RadioModel::Answer RadioModel::Reply(const RequestFrame& frame, std::uint16_t code, std::string detail) const {
    Answer answer;
    answer.result = code;
    answer.detail = std::move(detail);
    Bytes signal = NewSignal(frame.info->confirm, frame.info->confirmSize);
    PutU16(signal, 10, code);
    Bytes bulk;
    if (frame.id == kRxReadReq) AppendU16(bulk, 0);  // no counters
    answer.confirm = WithBulk(std::move(signal), std::move(bulk));
    return answer;
}

RadioModel::Answer RadioModel::Handle(const RequestFrame& frame, TimePoint now,
                                      std::optional<std::uint16_t> forcedResult) {
    if (frame.problem != FrameProblem::kNone) return Reply(frame, kResultInvalidParameter, ProblemText(frame.problem));
    if (frame.id == kMibGetReq) return MibGet(frame, forcedResult);
    if (frame.id == kRxReadReq) {
        lastRxRead_ = DecodeRxRead(frame);
        if (!lastRxRead_) return Reply(frame, kResultInvalidParameter, "counter list shorter than its count");
    }
    switch (frame.id) {
        case kSetTxParamsReq: lastSetTxParams_ = DecodeSetTxParams(frame); break;
        case kTxStartReq: lastTxStart_ = DecodeTxStart(frame); break;
        case kRxStartReq: lastRxStart_ = DecodeRxStart(frame); break;
        case kCwStartReq: lastCwStart_ = DecodeCwStart(frame); break;
        case kSelectRadioReq: lastSelectRadio_ = DecodeSelectRadio(frame); break;
        case kBistGetTxGainReq: lastBist_ = DecodeBistGetTxGain(frame); break;
        default: break;
    }
    if (forcedResult) return Reply(frame, *forcedResult, "forced");
    switch (frame.id) {
        case kSetTxParamsReq: return SetTxParams(frame);
        case kTxStartReq: return TxStart(frame, now);
        case kTxReadReq: return TxRead(frame, now);
        case kTxStopReq: return TxStop(frame);
        case kRxStartReq: return RxStart(frame, now);
        case kRxReadReq: return RxRead(frame, now);
        case kRxStopReq: return RxStop(frame);
        case kCwStartReq: return CwStart(frame, now);
        case kCwStopReq: return CwStop(frame);
        case kSelectRadioReq: return SelectRadio(frame);
        case kBistGetTxGainReq: return BistGetTxGain(frame);
        default: break;
    }
    return Reply(frame, kResultNotSupported, "not handled");
}

RadioModel::Answer RadioModel::SetTxParams(const RequestFrame& frame) {
    const SetTxParamsRequest& r = *lastSetTxParams_;
    if (r.bandwidth > 2) return Reply(frame, kResultInvalidParameter, "bandwidth " + Num(r.bandwidth));
    if (!PositionFits(r.bandwidth, r.position)) {
        return Reply(frame, kResultInvalidParameter, "position " + Num(r.position));
    }
    if (!ValidHeLtf(r.heLtf)) return Reply(frame, kResultInvalidParameter, "heLtf " + Num(r.heLtf));
    txParams_ = r;
    if (!FrequencyInRange(r.freq)) return Reply(frame, kResultNoPowerRow, "no power row for " + Num(r.freq) + " MHz");
    return Reply(frame, kResultSuccess, {});
}

RadioModel::Answer RadioModel::TxStart(const RequestFrame& frame, TimePoint now) {
    if (!txParams_) return Reply(frame, kResultNotPermitted, "no transmit parameters");
    if (tone_) return Reply(frame, kResultNotPermitted, "tone on");
    if (StillSending(now)) return Reply(frame, kResultNotPermitted, "transmission running");
    transmission_.emplace(lastTxStart_->numFramesToSend, txParams_->interval, now);
    txRequest_ = lastTxStart_;
    if (!FrequencyInRange(txParams_->freq)) {
        return Reply(frame, kResultNoPowerRow, "no power row for " + Num(txParams_->freq) + " MHz");
    }
    return Reply(frame, kResultSuccess, {});
}

RadioModel::Answer RadioModel::TxRead(const RequestFrame& frame, TimePoint now) {
    if (!transmission_) return Reply(frame, kResultNotPermitted, "no transmission");
    const TxStatus status = transmission_->Status(now);
    Answer answer = Reply(frame, kResultSuccess, {});
    Bytes& s = answer.confirm.signal;
    PutU16(s, 12, status.sending ? 1 : 0);
    PutU32(s, 14, status.framesLeft);
    PutU32(s, 18, status.framesSent);
    if (txParams_) {
        PutU16(s, 22, txParams_->freq);
        PutU16(s, 24, txParams_->rate);
        PutU16(s, 26, txParams_->length);
    }
    answer.detail = "left " + Num(status.framesLeft);
    return answer;
}

RadioModel::Answer RadioModel::TxStop(const RequestFrame& frame) {
    if (!transmission_) return Reply(frame, kResultNotPermitted, "no transmission");
    transmission_.reset();
    txRequest_.reset();
    return Reply(frame, kResultSuccess, {});
}

RadioModel::Answer RadioModel::RxStart(const RequestFrame& frame, TimePoint now) {
    const RxStartRequest& r = *lastRxStart_;
    if (r.bandwidth > 2) return Reply(frame, kResultInvalidParameter, "bandwidth " + Num(r.bandwidth));
    if (!PositionFits(r.bandwidth, r.position)) {
        return Reply(frame, kResultInvalidParameter, "position " + Num(r.position));
    }
    if (!FrequencyInRange(r.freq)) return Reply(frame, kResultInvalidParameter, "frequency " + Num(r.freq));
    if (rxRunning_) return Reply(frame, kResultNotPermitted, "receiver running");
    rxRunning_ = true;
    rxFlags_ = r.flags;
    rxSince_ = now;
    // Counts a test preset replace the burst outright: they are what the
    // receiver has counted, whoever sent the frames.
    rxTester_ = tester_;
    const bool burst = rxTester_ && !rxPreset_;
    counter_.Restart(rxPreset_ ? *rxPreset_ : burst ? Burst(*rxTester_) : RxCounts{}, now);
    rxPreset_.reset();
    if (!burst) return Reply(frame, kResultSuccess, {});
    return Reply(frame, kResultSuccess,
                 "tester burst " + Num(rxTester_->frames) + " at " + std::to_string(rxTester_->levelDbm) + " dBm");
}

RadioModel::Answer RadioModel::RxRead(const RequestFrame& frame, TimePoint now) {
    const RxReadRequest& r = *lastRxRead_;
    if (!rxRunning_) return Reply(frame, kResultNotPermitted, "no receiver");
    if (r.counters.size() > kMaxCounters) {
        return Reply(frame, kResultInvalidParameter, Num(r.counters.size()) + " counters");
    }
    const RxCounts counts = counter_.Counts(now);
    Answer answer = Reply(frame, kResultSuccess, {});
    Bytes& s = answer.confirm.signal;
    PutU32(s, 12, rxFlags_);
    PutU32(s, 16, static_cast<std::uint32_t>(freqErr_));
    const SignalReadings rssi = Rssi();
    const SignalReadings* groups[] = {&rssi, &snr_};
    std::size_t offset = 20;
    for (const SignalReadings* g : groups) {
        for (const std::int16_t v : {g->cur, g->av, g->min, g->max}) {
            PutU16(s, offset, static_cast<std::uint16_t>(v));
            offset += 2;
        }
    }
    const unsigned long long ms = MicrosBetween(rxSince_, now) / 1000;
    PutU32(s, 36, rxInterval_.value_or(static_cast<std::uint32_t>(
                      std::min<unsigned long long>(ms, std::numeric_limits<std::uint32_t>::max()))));

    const std::size_t returned = std::min(r.counters.size(), counterLimit_.value_or(r.counters.size()));
    Bytes bulk;
    AppendU16(bulk, static_cast<std::uint16_t>(returned));
    for (std::size_t i = 0; i < returned; ++i) {
        const std::uint16_t id = r.counters[i];
        AppendU32(bulk, id == kCounterTotalFrames ? counts.total : id == kCounterGoodFrames ? counts.good : 0);
    }
    answer.confirm = WithBulk(std::move(answer.confirm.signal), std::move(bulk));
    answer.detail = "total " + Num(counts.total) + " good " + Num(counts.good);
    return answer;
}

RadioModel::Answer RadioModel::RxStop(const RequestFrame& frame) {
    if (!rxRunning_) return Reply(frame, kResultNotPermitted, "no receiver");
    rxRunning_ = false;
    return Reply(frame, kResultSuccess, {});
}

RadioModel::Answer RadioModel::CwStart(const RequestFrame& frame, TimePoint now) {
    if (tone_) return Reply(frame, kResultNotPermitted, "tone on");
    if (StillSending(now)) return Reply(frame, kResultNotPermitted, "transmission running");
    tone_ = lastCwStart_;
    if (!FrequencyInRange(tone_->freq)) {
        return Reply(frame, kResultNoPowerRow, "no power row for " + Num(tone_->freq) + " MHz");
    }
    return Reply(frame, kResultSuccess, {});
}

RadioModel::Answer RadioModel::CwStop(const RequestFrame& frame) {
    if (!tone_) return Reply(frame, kResultNotPermitted, "no tone");
    tone_.reset();
    return Reply(frame, kResultSuccess, {});
}

RadioModel::Answer RadioModel::SelectRadio(const RequestFrame& frame) {
    const std::uint16_t bitmap = lastSelectRadio_->bitmap;
    if (bitmap < 1 || bitmap > 3) return Reply(frame, kResultInvalidParameter, "bitmap " + Num(bitmap));
    radioBitmap_ = bitmap;
    return Reply(frame, kResultSuccess, {});
}

RadioModel::Answer RadioModel::BistGetTxGain(const RequestFrame& frame) {
    if (!FrequencyInRange(lastBist_->freq)) {
        return Reply(frame, kResultInvalidParameter, "frequency " + Num(lastBist_->freq));
    }
    Answer answer = Reply(frame, kResultSuccess, {});
    PutU32(answer.confirm.signal, 12, bistWord_);
    return answer;
}

RadioModel::Answer RadioModel::MibGet(const RequestFrame& frame, std::optional<std::uint16_t> forcedResult) {
    lastMibGet_ = DecodeMibGet(frame);
    if (!lastMibGet_) {
        // Too little to even echo the psid: an empty bulk.
        Answer answer = Reply(frame, kResultInvalidParameter, "index list shorter than its count");
        return answer;
    }
    const MibGetRequest& r = *lastMibGet_;
    std::optional<Bytes> value;
    std::uint16_t status = kResultSuccess;
    if (forcedResult) {
        status = *forcedResult;
    } else {
        value = mibs_.Encode(r.psid);
        if (!value) status = kResultNotSupported;
    }
    Bytes signal = NewSignal(kMibGetCfm, frame.info->confirmSize);
    PutU16(signal, 10, status);
    Bytes bulk;
    AppendU16(bulk, r.psid);
    AppendU16(bulk, status);
    bulk.insert(bulk.end(), r.indices.begin(), r.indices.end());
    if (value) bulk.insert(bulk.end(), value->begin(), value->end());
    Answer answer;
    answer.result = status;
    answer.detail = "psid " + Num(r.psid) + (forcedResult ? " forced" : value ? "" : " unknown");
    answer.confirm = WithBulk(std::move(signal), std::move(bulk));
    return answer;
}

}  // namespace tavo::sim::wlanfw
