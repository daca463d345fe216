#include "sim/wlanfw/wlan_firmware.h"

#include <poll.h>
#include <sys/stat.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <stdexcept>

#include "sim/wlanfw/requests.h"
#include "sim/wlanfw/signals.h"

namespace tavo::sim::wlanfw {
namespace {

std::string Hex4(std::uint16_t value) {
    char text[8];
    std::snprintf(text, sizeof text, "0x%04X", value);
    return text;
}

std::string RequestText(const RequestFrame& frame) { return Hex4(frame.id) + " " + frame.info->requestName; }

}  // namespace

WlanFirmware::WlanFirmware(ClockSource clock) : clock_(clock ? std::move(clock) : ClockSource(SteadyNow)) {}

WlanFirmware::~WlanFirmware() { Stop(); }

void WlanFirmware::Start(FirmwareHost host) {
    std::lock_guard<std::mutex> lock(lifecycle_);
    if (thread_.joinable()) throw std::runtime_error("wlanfw: already running");
    if (!host.log || !host.firmware) throw std::runtime_error("wlanfw: the host gives no log or firmware view");
    auto stop = std::make_unique<StopEvent>();
    auto node = std::make_unique<SeqpacketNode>(host.nodePath);
    host_ = std::move(host);
    stop_ = std::move(stop);
    node_ = std::move(node);
    thread_ = std::thread([this] { Run(); });
}

bool WlanFirmware::Running() const {
    std::lock_guard<std::mutex> lock(lifecycle_);
    return thread_.joinable();
}

void WlanFirmware::Stop() noexcept {
    std::lock_guard<std::mutex> lock(lifecycle_);
    if (!thread_.joinable()) return;
    stop_->Raise();
    thread_.join();
    client_.Reset();
    node_.reset();
    stop_.reset();
}

void WlanFirmware::Log(const std::string& line) const { host_.log("wlanfw: " + line); }

void WlanFirmware::DropClient(const char* why) {
    client_.Reset();
    Log(std::string("client ") + why);
}

void WlanFirmware::Run() {
    Bytes datagram;
    datagram.reserve(kMaxDatagram);
    while (!stop_->Raised()) {
        struct pollfd fds[3] = {
            {stop_->Fd(), POLLIN, 0},
            {node_->Fd(), POLLIN, 0},
            {client_.Get(), POLLIN | POLLRDHUP, 0},
        };
        const nfds_t count = client_.Valid() ? 3 : 2;
        if (::poll(fds, count, -1) < 0) {
            if (errno == EINTR) continue;
            Log(std::string("poll failed: ") + std::strerror(errno));
            return;
        }
        if (fds[0].revents != 0) return;
        if ((fds[1].revents & POLLIN) != 0) {
            OwnedFd incoming = node_->Accept();
            if (incoming.Valid()) {
                if (client_.Valid()) DropClient("replaced by a new connection");
                client_ = std::move(incoming);
                Log("client connected");
                continue;  // poll again with the new client
            }
        }
        if (count < 3 || fds[2].revents == 0) continue;
        const bool peerGone = (fds[2].revents & (POLLHUP | POLLRDHUP | POLLERR | POLLNVAL)) != 0;
        std::size_t length = 0;
        switch (ReceiveDatagram(client_.Get(), kMaxDatagram, peerGone, datagram, length)) {
            case ReceiveStatus::kDatagram:
                HandleDatagram(datagram);
                break;
            case ReceiveStatus::kTooLong:
                Log("ignored " + std::to_string(length) + "-byte frame (longer than " + std::to_string(kMaxDatagram) +
                    ")");
                break;
            case ReceiveStatus::kClosed:
                DropClient("disconnected");
                break;
            case ReceiveStatus::kNothing:
                break;
        }
    }
}

bool WlanFirmware::SendAfter(std::chrono::milliseconds delay, const Bytes& frame) {
    if (delay.count() > 0 && stop_->WaitFor(delay)) return false;
    if (!client_.Valid()) return false;
    if (!SendDatagram(client_.Get(), frame, *stop_)) {
        if (!stop_->Raised()) DropClient("lost while sending");
        return false;
    }
    return true;
}

void WlanFirmware::HandleDatagram(const Bytes& datagram) {
    const RequestFrame frame = SplitRequest(datagram);
    if (datagram.size() >= 2) {
        const std::uint16_t id = GetU16(datagram, 0);
        std::lock_guard<std::mutex> lock(mutex_);
        lastRequest_[id] = datagram;
        ++requestCount_[id];
    }
    if (frame.problem == FrameProblem::kShorterThanHead) {
        Log("ignored " + std::to_string(datagram.size()) + "-byte frame (shorter than a signal head)");
        return;
    }
    if (frame.problem == FrameProblem::kUnknownId) {
        Log("ignored frame of unknown signal " + Hex4(frame.id) + " (" + std::to_string(datagram.size()) + " bytes)");
        return;
    }
    const FirmwareView firmware = host_.firmware();
    if (!firmware.testFirmware) {
        const std::string variant = firmware.variant.empty() ? std::string("(none)") : firmware.variant;
        Log(RequestText(frame) + " -> no answer (firmware " + variant + " is not the test firmware)");
        return;
    }

    bool restarted = false;
    bool silent = false;
    RadioModel::Answer answer;
    std::string distorted;
    std::optional<MalformedFrame> malformed;
    std::vector<OutgoingSignal> chatter;
    std::chrono::milliseconds spacing{0};
    std::chrono::milliseconds delay{0};
    std::size_t padding = 0;
    {
        std::lock_guard<std::mutex> lock(mutex_);
        // The first request sets the reference; a reload after it clears
        // whatever the tests had set going.
        if (seenGeneration_ && *seenGeneration_ != firmware.generation) {
            model_.ResetTestState();
            restarted = true;
        }
        seenGeneration_ = firmware.generation;
        silent = faults_.Silent();
        if (!silent) {
            const std::optional<std::uint16_t> forced = faults_.TakeForcedResult(frame.id);
            answer = model_.Handle(frame, clock_(), forced);
            distorted = faults_.Distort(answer.confirm);
            malformed = faults_.TakeMalformed();
            chatter = faults_.Chatter(frame.info->confirm);
            spacing = faults_.ChatterSpacing();
            delay = faults_.Delay();
            padding = faults_.TakePadding();
        }
    }
    if (restarted) Log("firmware restarted; test state cleared");
    if (silent) {
        Log(RequestText(frame) + " -> silent");
        return;
    }
    for (const OutgoingSignal& unrelated : chatter) {
        if (!SendAfter(spacing, BuildUdiFrame(unrelated, ++sequence_))) return;
        Log("unrelated " + Hex4(GetU16(unrelated.signal, 0)) + " before " + Hex4(frame.info->confirm));
    }
    Bytes out = malformed ? BuildMalformedFrame(*malformed, answer.confirm, ++sequence_)
                          : BuildUdiFrame(answer.confirm, ++sequence_);
    if (padding > 0) {
        out.insert(out.end(), padding, 0xA5);
        distorted += (distorted.empty() ? "" : ", ") + std::to_string(padding) + " bytes past the frame";
    }
    if (!SendAfter(delay, out)) return;
    std::string line = RequestText(frame) + " -> " + Hex4(frame.info->confirm);
    if (malformed) {
        line += std::string(" malformed (") + MalformedName(*malformed) + ")";
    } else {
        line += " result " + std::to_string(answer.result);
        if (!answer.detail.empty()) line += " (" + answer.detail + ")";
    }
    if (!distorted.empty()) line += " [" + distorted + "]";
    Log(line);
}

// --- Steering ---------------------------------------------------------------

void WlanFirmware::SetSilent(bool silent) {
    std::lock_guard<std::mutex> lock(mutex_);
    faults_.SetSilent(silent);
}

void WlanFirmware::SetDelay(std::chrono::milliseconds delay) {
    std::lock_guard<std::mutex> lock(mutex_);
    faults_.SetDelay(delay);
}

void WlanFirmware::SetChatter(unsigned frames, std::chrono::milliseconds spacing) {
    std::lock_guard<std::mutex> lock(mutex_);
    faults_.SetChatter(frames, spacing);
}

void WlanFirmware::ForceResult(std::uint16_t requestId, std::uint16_t code, unsigned times) {
    std::lock_guard<std::mutex> lock(mutex_);
    faults_.ForceResult(requestId, code, times);
}

void WlanFirmware::ClearForcedResults() {
    std::lock_guard<std::mutex> lock(mutex_);
    faults_.ClearForcedResults();
}

void WlanFirmware::SendMalformed(MalformedFrame kind) {
    std::lock_guard<std::mutex> lock(mutex_);
    faults_.SendMalformed(kind);
}

void WlanFirmware::LimitRxCounters(std::optional<std::size_t> limit) {
    std::lock_guard<std::mutex> lock(mutex_);
    model_.LimitRxCounters(limit);
}

void WlanFirmware::CutNextSignal(std::size_t bytes) {
    std::lock_guard<std::mutex> lock(mutex_);
    faults_.CutNextSignal(bytes);
}

void WlanFirmware::CutNextBulk(std::size_t bytes) {
    std::lock_guard<std::mutex> lock(mutex_);
    faults_.CutNextBulk(bytes);
}

void WlanFirmware::GrowNextBulk(std::size_t bytes) {
    std::lock_guard<std::mutex> lock(mutex_);
    faults_.GrowNextBulk(bytes);
}

void WlanFirmware::SetNextConfirmId(std::uint16_t id) {
    std::lock_guard<std::mutex> lock(mutex_);
    faults_.SetNextConfirmId(id);
}

void WlanFirmware::PadNextDatagram(std::size_t bytes) {
    std::lock_guard<std::mutex> lock(mutex_);
    faults_.PadNextDatagram(bytes);
}

void WlanFirmware::SetRxCountField(std::optional<std::uint16_t> count) {
    std::lock_guard<std::mutex> lock(mutex_);
    faults_.SetRxCountField(count);
}

void WlanFirmware::SetMibPsid(std::optional<std::uint16_t> psid) {
    std::lock_guard<std::mutex> lock(mutex_);
    faults_.SetMibPsid(psid);
}

void WlanFirmware::SetRxCounts(std::uint32_t total, std::uint32_t good) {
    std::lock_guard<std::mutex> lock(mutex_);
    model_.SetRxCounts(RxCounts{total, good}, clock_());
}

void WlanFirmware::SetRxRate(std::uint32_t framesPerSecond) {
    std::lock_guard<std::mutex> lock(mutex_);
    model_.SetRxRate(framesPerSecond, clock_());
}

void WlanFirmware::SetRxErrorPermille(std::uint32_t permille) {
    std::lock_guard<std::mutex> lock(mutex_);
    model_.SetRxErrorPermille(permille, clock_());
}

void WlanFirmware::SetRssi(SignalReadings readings) {
    std::lock_guard<std::mutex> lock(mutex_);
    model_.SetRssi(readings);
}

void WlanFirmware::SetSnr(SignalReadings readings) {
    std::lock_guard<std::mutex> lock(mutex_);
    model_.SetSnr(readings);
}

void WlanFirmware::SetFreqError(std::int32_t value) {
    std::lock_guard<std::mutex> lock(mutex_);
    model_.SetFreqError(value);
}

void WlanFirmware::SetRxInterval(std::optional<std::uint32_t> value) {
    std::lock_guard<std::mutex> lock(mutex_);
    model_.SetRxInterval(value);
}

void WlanFirmware::SetTester(std::optional<Tester> tester) {
    std::lock_guard<std::mutex> lock(mutex_);
    model_.SetTester(tester);
}

void WlanFirmware::SetBistWord(std::uint32_t word) {
    std::lock_guard<std::mutex> lock(mutex_);
    model_.SetBistWord(word);
}

void WlanFirmware::SetBistGain(std::int16_t real, std::int16_t imaginary) {
    SetBistWord((static_cast<std::uint32_t>(static_cast<std::uint16_t>(real)) << 16) |
                static_cast<std::uint16_t>(imaginary));
}

void WlanFirmware::SetChipId(std::uint64_t id) { SetMib(kMibChipId, id); }

void WlanFirmware::SetBuildId(const std::string& id) { SetMib(kMibBuildId, id); }

void WlanFirmware::SetTemperature(std::uint64_t degrees) { SetMib(kMibTemperature, degrees); }

void WlanFirmware::SetMib(std::uint16_t psid, MibValue value) {
    std::lock_guard<std::mutex> lock(mutex_);
    model_.Mibs().Set(psid, std::move(value));
}

void WlanFirmware::RemoveMib(std::uint16_t psid) {
    std::lock_guard<std::mutex> lock(mutex_);
    model_.Mibs().Remove(psid);
}

// --- Read-back ----------------------------------------------------------------

std::optional<SetTxParamsRequest> WlanFirmware::LastSetTxParams() const {
    return ReadLocked([](const RadioModel& m) { return m.LastSetTxParams(); });
}

std::optional<TxStartRequest> WlanFirmware::LastTxStart() const {
    return ReadLocked([](const RadioModel& m) { return m.LastTxStart(); });
}

std::optional<RxStartRequest> WlanFirmware::LastRxStart() const {
    return ReadLocked([](const RadioModel& m) { return m.LastRxStart(); });
}

std::optional<CwStartRequest> WlanFirmware::LastCwStart() const {
    return ReadLocked([](const RadioModel& m) { return m.LastCwStart(); });
}

std::optional<BistGetTxGainRequest> WlanFirmware::LastBistGetTxGain() const {
    return ReadLocked([](const RadioModel& m) { return m.LastBistGetTxGain(); });
}

std::optional<SelectRadioRequest> WlanFirmware::LastSelectRadio() const {
    return ReadLocked([](const RadioModel& m) { return m.LastSelectRadio(); });
}

std::optional<RxReadRequest> WlanFirmware::LastRxRead() const {
    return ReadLocked([](const RadioModel& m) { return m.LastRxRead(); });
}

std::optional<MibGetRequest> WlanFirmware::LastMibGet() const {
    return ReadLocked([](const RadioModel& m) { return m.LastMibGet(); });
}

std::optional<SetTxParamsRequest> WlanFirmware::TxParamsInForce() const {
    return ReadLocked([](const RadioModel& m) { return m.TxParamsInForce(); });
}

std::optional<Bytes> WlanFirmware::LastRequest(std::uint16_t id) const {
    std::lock_guard<std::mutex> lock(mutex_);
    const auto it = lastRequest_.find(id);
    if (it == lastRequest_.end()) return std::nullopt;
    return it->second;
}

std::uint64_t WlanFirmware::RequestCount(std::uint16_t id) const {
    std::lock_guard<std::mutex> lock(mutex_);
    const auto it = requestCount_.find(id);
    return it == requestCount_.end() ? 0 : it->second;
}

TxStatus WlanFirmware::Tx() const {
    std::lock_guard<std::mutex> lock(mutex_);
    return model_.Tx(clock_());
}

RxStatus WlanFirmware::Rx() const {
    std::lock_guard<std::mutex> lock(mutex_);
    return model_.Rx(clock_());
}

bool WlanFirmware::ToneOn() const {
    std::lock_guard<std::mutex> lock(mutex_);
    return model_.ToneOn();
}

std::uint16_t WlanFirmware::RadioBitmap() const {
    std::lock_guard<std::mutex> lock(mutex_);
    return model_.RadioBitmap();
}

}  // namespace tavo::sim::wlanfw
