#include "sim/btctl/bt_controller.h"

#include <fcntl.h>
#include <poll.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <iterator>
#include <stdexcept>
#include <utility>

#include "sim/btctl/h4_reader.h"
#include "sim/btctl/vendor_answer.h"

namespace tavo::sim::btctl {
namespace {

constexpr std::size_t kReadChunk = 4096;
// HangUp waits for the serving thread at most this long; it only ever
// waits for a write or a poll to return.
constexpr std::chrono::seconds kHangUpBound{5};

std::string Count(std::size_t n, const char* what) { return std::to_string(n) + " " + what; }

std::string AddressString(const BdAddr& a) {
    char text[18];
    std::snprintf(text, sizeof text, "%02X:%02X:%02X:%02X:%02X:%02X", a[0], a[1], a[2], a[3], a[4], a[5]);
    return text;
}

void CheckDevices(const std::vector<BtDevice>& devices) {
    for (const BtDevice& device : devices) {
        const std::string error = Validate(device);
        if (!error.empty()) throw std::invalid_argument("Bluetooth device: " + error);
    }
}

}  // namespace

BtController::~BtController() { Stop(); }

void BtController::Start(ControllerHost host) {
    std::lock_guard<std::mutex> lock(lifecycle_);
    if (thread_.joinable()) throw std::runtime_error("btctl: already running");
    if (!host.log) throw std::runtime_error("btctl: the host gives no log");
    int fds[2];
    if (::pipe2(fds, O_CLOEXEC | O_NONBLOCK) != 0) {
        throw std::runtime_error(std::string("btctl: pipe: ") + std::strerror(errno));
    }
    UniqueFd wakeRead(fds[0]), wakeWrite(fds[1]);
    auto line = std::make_unique<PtyLine>(host.linkPath);
    {
        std::lock_guard<std::mutex> file(stateFileMutex_);
        statePath_ = host.statePath;
    }
    try {
        SaveState();
    } catch (...) {
        std::lock_guard<std::mutex> file(stateFileMutex_);
        statePath_.clear();
        throw;
    }
    {
        std::lock_guard<std::mutex> state(mutex_);
        stopRequested_ = false;
        lineUp_ = true;
        slavePath_ = line->SlavePath();
    }
    host_ = std::move(host);
    line_ = std::move(line);
    wakeRead_ = std::move(wakeRead);
    wakeWrite_ = std::move(wakeWrite);
    tunnel_ = TunnelReassembler();
    thread_ = std::thread([this] { Run(); });
    reporter_ = std::thread([this] { ReportLoop(); });
}

void BtController::Stop() noexcept {
    std::lock_guard<std::mutex> lock(lifecycle_);
    if (!thread_.joinable()) return;
    {
        std::lock_guard<std::mutex> state(mutex_);
        stopRequested_ = true;
        reportWake_.notify_all();
    }
    Wake();
    thread_.join();
    reporter_.join();
    {
        std::lock_guard<std::mutex> file(stateFileMutex_);
        statePath_.clear();
    }
    line_.reset();
    wakeRead_.Reset();
    wakeWrite_.Reset();
    std::lock_guard<std::mutex> state(mutex_);
    lineUp_ = false;
    report_ = Report::kNone;
    hangUpRequested_ = false;  // the line is closed all the same
    hungUp_.notify_all();
}

bool BtController::Running() const {
    std::lock_guard<std::mutex> lock(lifecycle_);
    return thread_.joinable();
}

bool BtController::LineUp() const {
    std::lock_guard<std::mutex> lock(mutex_);
    return lineUp_;
}

std::string BtController::SlavePath() const {
    std::lock_guard<std::mutex> lock(mutex_);
    return slavePath_;
}

void BtController::Log(const std::string& line) const { host_.log("btctl: " + line); }

void BtController::Wake() {
    const char byte = 1;
    // A full pipe is as good as a written byte: the thread is awake anyway.
    const ssize_t written = ::write(wakeWrite_.Get(), &byte, 1);
    static_cast<void>(written);
}

BtController::Flow BtController::OnWake() {
    char drain[64];
    while (::read(wakeRead_.Get(), drain, sizeof drain) > 0) {
    }
    bool hangUp = false;
    {
        std::lock_guard<std::mutex> lock(mutex_);
        if (stopRequested_) return Flow::kStop;
        hangUp = hangUpRequested_;
    }
    if (!hangUp) return Flow::kGoOn;
    LineDown();
    return Flow::kLineDown;
}

void BtController::LineDown() {
    if (line_->Up()) {
        line_->HangUp();
        Log("hang-up (line closed)");
    }
    std::lock_guard<std::mutex> lock(mutex_);
    lineUp_ = false;
    hangUpRequested_ = false;
    cutNext_ = false;
    hungUp_.notify_all();
}

void BtController::Run() {
    if (OnWake() == Flow::kStop) return;  // a hang-up asked for before Start
    H4Reader reader;
    std::vector<std::uint8_t> chunk(kReadChunk);
    std::vector<H4Item> items;
    for (;;) {
        if (SendRequested() == Flow::kStop) return;
        struct pollfd fds[2] = {{wakeRead_.Get(), POLLIN, 0}, {line_->Master(), POLLIN, 0}};
        if (::poll(fds, line_->Up() ? 2 : 1, -1) < 0) {
            if (errno == EINTR) continue;
            Log(std::string("poll failed: ") + std::strerror(errno));
            return;
        }
        if (fds[0].revents != 0 && OnWake() == Flow::kStop) return;
        if (!line_->Up() || fds[1].revents == 0) continue;
        const ssize_t n = ::read(line_->Master(), chunk.data(), chunk.size());
        if (n < 0 && (errno == EAGAIN || errno == EINTR)) continue;
        if (n <= 0) {
            Log(std::string("line lost: ") + (n == 0 ? "end of file" : std::strerror(errno)));
            LineDown();
            continue;
        }
        items.clear();
        const std::uint64_t skippedBefore = reader.SkippedBytes();
        reader.Feed(chunk.data(), static_cast<std::size_t>(n), items);
        if (reader.SkippedBytes() != skippedBefore) {
            std::lock_guard<std::mutex> lock(mutex_);
            garbageSkipped_ += reader.SkippedBytes() - skippedBefore;
        }
        for (const H4Item& item : items) {
            if (item.kind == H4Item::Kind::kGarbage) {
                Log("garbage from the host, skipping to the next indicator (first byte " + HexText(item.bytes) + ")");
                continue;
            }
            Log("rx " + HexText(item.bytes));
            const Flow flow = HandlePacket(item.bytes);
            if (flow == Flow::kStop) return;
            if (flow == Flow::kLineDown) break;  // the rest was read from a line that is gone
        }
    }
}

BtController::Flow BtController::HandlePacket(const Bytes& packet) {
    // What a test asked for before this packet came goes out before its
    // answer, so that a release and the next completion keep their order.
    const Flow flow = SendRequested();
    if (flow != Flow::kGoOn) return flow;
    if (packet[0] == kH4Acl) return HandleAcl(packet);
    if (packet[0] != kH4Command) return Flow::kGoOn;  // SCO data is never acknowledged
    HciCommand command;
    command.opcode = static_cast<std::uint16_t>(packet[1] | packet[2] << 8);
    command.parameters.assign(packet.begin() + 4, packet.end());
    if (command.opcode == opcode::kVendorTunnel) return HandleFragment(command.parameters);
    Bytes answer;
    {
        std::lock_guard<std::mutex> lock(mutex_);
        answer = model_.Answer(command, status_);
    }
    return Reply({answer});
}

BtController::Flow BtController::HandleAcl(const Bytes& packet) {
    const auto handle = static_cast<std::uint16_t>(packet[1] | packet[2] << 8);
    std::optional<Bytes> answer;
    {
        std::lock_guard<std::mutex> lock(mutex_);
        answer = acl_.Take(handle);
    }
    return answer ? Reply({*answer}) : Flow::kGoOn;
}

BtController::Flow BtController::SendRequested() {
    // Until none is left: the waits between pieces and before answers take
    // the wake-ups of events asked for meanwhile, so the serving loop would
    // not come back for them.
    for (;;) {
        std::vector<Bytes> events;
        {
            std::lock_guard<std::mutex> lock(mutex_);
            events.assign(std::make_move_iterator(requested_.begin()), std::make_move_iterator(requested_.end()));
            requested_.clear();
        }
        if (events.empty()) return Flow::kGoOn;
        if (!line_->Up()) {
            for (const Bytes& event : events) Log("not sent (line down): " + HexText(event));
            continue;
        }
        const Flow flow = Deliver(events);
        if (flow != Flow::kGoOn) return flow;
    }
}

BtController::Flow BtController::HandleFragment(const Bytes& parameters) {
    TunnelResult fragment = tunnel_.Take(parameters);
    switch (fragment.kind) {
        case TunnelResult::Kind::kPending:
            return Flow::kGoOn;
        case TunnelResult::Kind::kNoDescriptor:
            Log("tunnel fragment without a descriptor dropped");
            return Flow::kGoOn;
        case TunnelResult::Kind::kTooLong:
            Log("PDU on channel " + std::to_string(fragment.channel) + " longer than " +
                std::to_string(TunnelReassembler::kMaxPdu) + " bytes dropped");
            return Flow::kGoOn;
        case TunnelResult::Kind::kComplete:
            break;
    }
    const std::string what = Count(fragment.pdu.size(), "bytes") + " on channel " + std::to_string(fragment.channel);
    if (fragment.channel != kVendorChannel) {
        Log("PDU of " + what + " -> no answer (not the vendor channel)");
        return Flow::kGoOn;
    }
    std::optional<std::string> understood;
    std::optional<Bytes> response;
    VendorSteering steering;
    {
        // The state is kept, and the log ring written, before the reply
        // goes, so that a host that has its reply reads back what the
        // request set and finds its lines in the log.
        std::lock_guard<std::mutex> ring(ringMutex_);
        std::string ringText;
        {
            std::lock_guard<std::mutex> lock(mutex_);
            lastVendor_ = fragment.pdu;
            ++vendorCount_;
            // A receive test started either way (the vendor test or the HCI
            // receiver tests) is counted by the vendor end with count.
            const bool leReceiving = radio_.leRunning == letest::kReceiver ||
                                     model_.leTest == opcode::kLeReceiverTest ||
                                     model_.leTest == opcode::kLeEnhancedReceiverTest;
            understood = TrackRadioTest(fragment.pdu, radio_);
            steering = vendor_;
            if (vendorFailures_ > 0) {
                --vendorFailures_;
                if (steering.status == 0) steering.status = 4;
            }
            response = AnswerVendorPdu(fragment.pdu, steering, model_.leTestPackets);
            if (IsLeEndWithCount(fragment.pdu)) {
                if (leReceiving) ringText = LeRxEndLine(model_.leTestPackets);
                model_.leTest.reset();
            }
            if (const std::optional<Report> report = ReportAfter(fragment.pdu)) {
                report_ = *report;
                reportDue_ = std::chrono::steady_clock::now() + kReportPeriod;
                ringText += ReportBlock(report_, logSteering_);
                reportWake_.notify_all();
            }
        }
        if (!ringText.empty()) AppendToLogRing(ringText);
    }
    if (understood) Log(*understood);
    if (!response) {
        Log("vendor PDU of " + what + " -> no answer (shorter than its header)");
        return Flow::kGoOn;
    }
    if (!steering.answer) {
        Log("vendor PDU of " + what + " -> no answer (vendor replies off)");
        return Flow::kGoOn;
    }
    Log("vendor PDU of " + what + " -> response of " + Count(response->size(), "bytes"));
    return Reply(TunnelEvents(kVendorChannel, *response), steering.delay);
}

BtController::Flow BtController::Reply(const std::vector<Bytes>& packets, std::chrono::milliseconds extraDelay) {
    bool silent = false;
    {
        std::lock_guard<std::mutex> lock(mutex_);
        silent = silent_;
    }
    if (silent) {
        Log("no answer (silent)");
        return Flow::kGoOn;
    }
    return Deliver(packets, extraDelay);
}

BtController::Flow BtController::Deliver(const std::vector<Bytes>& packets, std::chrono::milliseconds extraDelay) {
    std::chrono::milliseconds delay{0};
    {
        std::lock_guard<std::mutex> lock(mutex_);
        delay = delay_ + extraDelay;
    }
    if (delay.count() > 0) {
        const Flow flow = Wait(delay);
        if (flow != Flow::kGoOn) return flow;
    }
    for (const Bytes& packet : packets) {
        const Flow flow = Send(packet);
        if (flow != Flow::kGoOn) return flow;
    }
    return Flow::kGoOn;
}

BtController::Flow BtController::Send(const Bytes& original) {
    Bytes garbage;
    bool cut = false;
    std::vector<std::size_t> pieces;
    Bytes packet = original;  // as it goes on the line
    std::size_t changed = 0;
    {
        std::lock_guard<std::mutex> lock(mutex_);
        garbage.swap(garbage_);
        cut = std::exchange(cutNext_, false);
        for (std::size_t left = packet.size(); split_ != 0 && left > 0;) {
            const std::size_t piece = std::min<std::size_t>(left, 1 + splitSizes_() % split_);
            pieces.push_back(piece);
            left -= piece;
        }
        for (std::uint8_t& byte : packet) {
            if (noisePermille_ == 0 || noise_() % 1000 >= noisePermille_) continue;
            byte = static_cast<std::uint8_t>(byte ^ (1 + noise_() % 255));
            ++changed;
        }
        noiseChanged_ += changed;
    }
    const std::string noise =
        changed == 0 ? "" : " (noise changed " + std::to_string(changed) + " of " + Count(packet.size(), "bytes)");
    if (!garbage.empty()) {
        const Flow flow = WriteAll(garbage.data(), garbage.size());
        if (flow != Flow::kGoOn) return flow;
        Log("tx garbage " + HexText(garbage));
    }
    if (cut) {
        const std::size_t half = packet.size() / 2;
        const Flow flow = WriteAll(packet.data(), half);
        if (flow != Flow::kGoOn) return flow;
        Log("tx " + HexText(packet.data(), half) + " (cut after " + std::to_string(half) + " of " +
            Count(packet.size(), "bytes)") + noise);
        const Flow drained = DrainToHost();
        if (drained != Flow::kGoOn) return drained;
        LineDown();
        return Flow::kLineDown;
    }
    if (pieces.empty()) pieces.push_back(packet.size());
    std::size_t at = 0;
    for (std::size_t i = 0; i < pieces.size(); ++i) {
        if (i != 0) {
            const Flow flow = Wait(kSplitGap);
            if (flow != Flow::kGoOn) return flow;
        }
        const Flow flow = WriteAll(packet.data() + at, pieces[i]);
        if (flow != Flow::kGoOn) return flow;
        at += pieces[i];
    }
    Log("tx " + HexText(packet) + (pieces.size() > 1 ? " (in " + Count(pieces.size(), "pieces)") : "") + noise);
    return Flow::kGoOn;
}

BtController::Flow BtController::WriteAll(const std::uint8_t* data, std::size_t size) {
    while (size > 0) {
        const ssize_t n = ::write(line_->Master(), data, size);
        if (n > 0) {
            data += n;
            size -= static_cast<std::size_t>(n);
            continue;
        }
        if (n < 0 && errno == EINTR) continue;
        if (n < 0 && errno != EAGAIN) {
            Log(std::string("line lost: ") + std::strerror(errno));
            LineDown();
            return Flow::kLineDown;
        }
        // The host has not read what went before: wait for room, or a stop.
        struct pollfd fds[2] = {{wakeRead_.Get(), POLLIN, 0}, {line_->Master(), POLLOUT, 0}};
        if (::poll(fds, 2, -1) < 0 && errno != EINTR) {
            Log(std::string("poll failed: ") + std::strerror(errno));
            return Flow::kStop;
        }
        if (fds[0].revents != 0) {
            const Flow flow = OnWake();
            if (flow != Flow::kGoOn) return flow;
        }
    }
    return Flow::kGoOn;
}

BtController::Flow BtController::DrainToHost() {
    using Clock = std::chrono::steady_clock;
    const Clock::time_point start = Clock::now();
    // The bytes may reach the terminal's queue a moment after the write:
    // an empty queue counts as read once they have been seen there, or
    // after a little while.
    constexpr std::chrono::milliseconds kArrival{20};
    bool seen = false;
    while (Clock::now() - start < kDrainBound) {
        const bool pending = line_->PendingForHost() > 0;
        seen = seen || pending;
        if (!pending && (seen || Clock::now() - start >= kArrival)) break;
        const Flow flow = Wait(std::chrono::milliseconds(1));
        if (flow != Flow::kGoOn) return flow;
    }
    return Flow::kGoOn;
}

BtController::Flow BtController::Wait(std::chrono::milliseconds limit) {
    using Clock = std::chrono::steady_clock;
    const Clock::time_point end = Clock::now() + limit;
    for (;;) {
        const Clock::time_point now = Clock::now();
        if (now >= end) return Flow::kGoOn;
        const auto left = std::chrono::ceil<std::chrono::milliseconds>(end - now);
        struct pollfd fd = {wakeRead_.Get(), POLLIN, 0};
        const int ready = ::poll(&fd, 1, static_cast<int>(std::min<long long>(left.count(), 60000)));
        if (ready > 0) {
            const Flow flow = OnWake();
            if (flow != Flow::kGoOn) return flow;
        }
    }
}

void BtController::ReportLoop() {
    using Clock = std::chrono::steady_clock;
    std::unique_lock<std::mutex> lock(mutex_);
    while (!stopRequested_) {
        if (report_ == Report::kNone) {
            reportWake_.wait(lock);
            continue;
        }
        if (Clock::now() < reportDue_) {
            reportWake_.wait_until(lock, reportDue_);
            continue;
        }
        // Taken in the lock order; the report may have changed meanwhile.
        lock.unlock();
        {
            std::lock_guard<std::mutex> ring(ringMutex_);
            std::string block;
            {
                std::lock_guard<std::mutex> state(mutex_);
                const Clock::time_point now = Clock::now();
                if (!stopRequested_ && now >= reportDue_) {
                    block = ReportBlock(report_, logSteering_);
                    // A late block does not bring a burst of catching up.
                    reportDue_ += kReportPeriod;
                    if (reportDue_ <= now) reportDue_ = now + kReportPeriod;
                }
            }
            if (!block.empty()) AppendToLogRing(block);
        }
        lock.lock();
    }
}

void BtController::AppendToLogRing(const std::string& text) const {
    if (host_.logRingPath.empty()) return;
    const std::string error = AppendToRing(host_.logRingPath, text);
    if (!error.empty()) Log("firmware log not written: " + error);
}

void BtController::SaveState() {
    std::lock_guard<std::mutex> file(stateFileMutex_);
    if (statePath_.empty()) return;
    BtcliState state;
    {
        std::lock_guard<std::mutex> lock(mutex_);
        state.address = AddressString(model_.address);
        state.fastSleep = fastSleep_;
        state.devices = devices_;
    }
    SaveBtcliState(statePath_, state);
}

// --- Steering ---------------------------------------------------------------

void BtController::SetSilent(bool silent) {
    std::lock_guard<std::mutex> lock(mutex_);
    silent_ = silent;
}

void BtController::SetDelay(std::chrono::milliseconds delay) {
    std::lock_guard<std::mutex> lock(mutex_);
    delay_ = delay;
}

void BtController::SendGarbage(const Bytes& bytes) {
    std::lock_guard<std::mutex> lock(mutex_);
    garbage_ = Bytes(bytes.begin(), bytes.begin() + static_cast<long>(std::min(bytes.size(), kMaxGarbage)));
}

void BtController::SetSplit(std::size_t maxPiece) {
    std::lock_guard<std::mutex> lock(mutex_);
    split_ = std::min(maxPiece, kMaxSplit);
    splitSizes_.seed(kSplitSeed);
}

void BtController::SetNoise(unsigned permille, std::uint32_t seed) {
    std::lock_guard<std::mutex> lock(mutex_);
    noisePermille_ = std::min(permille, 1000u);
    noise_.seed(seed);
}

std::uint64_t BtController::NoiseChanged() const {
    std::lock_guard<std::mutex> lock(mutex_);
    return noiseChanged_;
}

void BtController::SetStatus(std::uint8_t status) {
    std::lock_guard<std::mutex> lock(mutex_);
    status_ = status == 0 ? std::nullopt : std::optional<std::uint8_t>(status);
}

void BtController::HangUp() {
    {
        std::lock_guard<std::mutex> lock(mutex_);
        hangUpRequested_ = true;
    }
    {
        std::lock_guard<std::mutex> lock(lifecycle_);
        if (!thread_.joinable()) return;
        Wake();
    }
    std::unique_lock<std::mutex> lock(mutex_);
    hungUp_.wait_for(lock, kHangUpBound, [this] { return !hangUpRequested_; });
}

void BtController::HangUpMidPacket() {
    std::lock_guard<std::mutex> lock(mutex_);
    cutNext_ = true;
}

void BtController::SetBdAddr(const BdAddr& address) {
    {
        std::lock_guard<std::mutex> lock(mutex_);
        model_.address = address;
    }
    SaveState();
}

void BtController::SetBufferSizes(const BufferSizes& sizes) {
    std::lock_guard<std::mutex> lock(mutex_);
    model_.buffers = sizes;
}

void BtController::SetLeBufferSize(const LeBufferSize& size) {
    std::lock_guard<std::mutex> lock(mutex_);
    model_.leBuffers = size;
}

void BtController::SetLeTestPackets(std::uint16_t packets) {
    std::lock_guard<std::mutex> lock(mutex_);
    model_.leTestPackets = packets;
}

void BtController::SetCommandCredits(std::uint8_t credits) {
    std::lock_guard<std::mutex> lock(mutex_);
    model_.credits = credits;
}

void BtController::HoldAclCompletions() {
    std::lock_guard<std::mutex> lock(mutex_);
    acl_.Hold();
}

void BtController::ReleaseAclCompletions() {
    Request([this] { return acl_.Release(); });
}

void BtController::SetVendorStatus(std::uint16_t status) {
    std::lock_guard<std::mutex> lock(mutex_);
    vendor_.status = status;
}

void BtController::SetVendorWrongSequence(bool wrong) {
    std::lock_guard<std::mutex> lock(mutex_);
    vendor_.wrongSequence = wrong;
}

void BtController::SetVendorWrongVarid(bool wrong) {
    std::lock_guard<std::mutex> lock(mutex_);
    vendor_.wrongVarid = wrong;
}

void BtController::SetVendorReplies(bool answer) {
    std::lock_guard<std::mutex> lock(mutex_);
    vendor_.answer = answer;
}

void BtController::SetVendorDelay(std::chrono::milliseconds delay) {
    std::lock_guard<std::mutex> lock(mutex_);
    vendor_.delay = delay;
}

void BtController::SetVendorFailures(unsigned count) {
    std::lock_guard<std::mutex> lock(mutex_);
    vendorFailures_ = count;
}

VendorSteering BtController::VendorReplies() const {
    std::lock_guard<std::mutex> lock(mutex_);
    return vendor_;
}

void BtController::SetBerBits(std::uint32_t bits) {
    std::lock_guard<std::mutex> lock(mutex_);
    logSteering_.berBits = bits;
}

void BtController::SetBerPpm(std::uint32_t ppm) {
    if (ppm > LogSteering::kMaxPpm) throw std::invalid_argument("bit errors: more than 1000000 per million");
    std::lock_guard<std::mutex> lock(mutex_);
    logSteering_.berPpm = ppm;
}

void BtController::SetCwRssi(int dbm) {
    if (dbm < LogSteering::kMinCwRssi || dbm > LogSteering::kMaxCwRssi) {
        throw std::invalid_argument("carrier RSSI " + std::to_string(dbm) + " (want -127 to -1 dBm)");
    }
    std::lock_guard<std::mutex> lock(mutex_);
    logSteering_.cwRssi = dbm;
}

LogSteering BtController::LogReports() const {
    std::lock_guard<std::mutex> lock(mutex_);
    return logSteering_;
}

Report BtController::RunningReport() const {
    std::lock_guard<std::mutex> lock(mutex_);
    return report_;
}

void BtController::SetDevices(const std::vector<BtDevice>& devices) {
    CheckDevices(devices);
    {
        std::lock_guard<std::mutex> lock(mutex_);
        devices_ = devices;
    }
    SaveState();
}

void BtController::AddDevice(const BtDevice& device) {
    CheckDevices({device});
    {
        std::lock_guard<std::mutex> lock(mutex_);
        devices_.push_back(device);
    }
    SaveState();
}

void BtController::ClearDevices() { SetDevices({}); }

std::vector<BtDevice> BtController::Devices() const {
    std::lock_guard<std::mutex> lock(mutex_);
    return devices_;
}

void BtController::SetFastSleep(bool fast) {
    {
        std::lock_guard<std::mutex> lock(mutex_);
        fastSleep_ = fast;
    }
    SaveState();
}

bool BtController::FastSleep() const {
    std::lock_guard<std::mutex> lock(mutex_);
    return fastSleep_;
}

void BtController::Request(const std::function<std::vector<Bytes>()>& build) {
    {
        std::lock_guard<std::mutex> lock(mutex_);
        for (Bytes& event : build()) requested_.push_back(std::move(event));
    }
    std::lock_guard<std::mutex> lock(lifecycle_);
    if (thread_.joinable()) Wake();
}

void BtController::SendConnectionComplete(std::uint16_t handle, std::uint8_t linkType, std::uint8_t status) {
    Request([&] { return std::vector<Bytes>{ConnectionComplete(handle, linkType, status, model_.address)}; });
}

void BtController::SendSyncConnectionComplete(std::uint16_t handle, std::uint8_t status) {
    Request([&] { return std::vector<Bytes>{SyncConnectionComplete(handle, status, model_.address)}; });
}

void BtController::SendDisconnectionComplete(std::uint16_t handle, std::uint8_t status, std::uint8_t reason) {
    Request([&] { return std::vector<Bytes>{DisconnectionComplete(handle, status, reason)}; });
}

void BtController::SendCommandStatus(std::uint16_t op, std::uint8_t status) {
    Request([&] { return std::vector<Bytes>{CommandStatus(op, status, model_.credits)}; });
}

void BtController::SendEvent(const Bytes& event) {
    Bytes packet(1 + std::min(event.size(), kMaxEvent));
    packet[0] = kH4Event;
    std::copy(event.begin(), event.begin() + static_cast<long>(packet.size() - 1), packet.begin() + 1);
    Request([&] { return std::vector<Bytes>{packet}; });
}

// --- Read-back --------------------------------------------------------------

BdAddr BtController::Address() const {
    std::lock_guard<std::mutex> lock(mutex_);
    return model_.address;
}

std::string BtController::AddressText() const { return AddressString(Address()); }

BufferSizes BtController::Buffers() const {
    std::lock_guard<std::mutex> lock(mutex_);
    return model_.buffers;
}

LeBufferSize BtController::LeBuffers() const {
    std::lock_guard<std::mutex> lock(mutex_);
    return model_.leBuffers;
}

std::uint16_t BtController::LeTestPackets() const {
    std::lock_guard<std::mutex> lock(mutex_);
    return model_.leTestPackets;
}

std::uint8_t BtController::CommandCredits() const {
    std::lock_guard<std::mutex> lock(mutex_);
    return model_.credits;
}

std::uint8_t BtController::ScanEnable() const {
    std::lock_guard<std::mutex> lock(mutex_);
    return model_.scanEnable;
}

bool BtController::DutMode() const {
    std::lock_guard<std::mutex> lock(mutex_);
    return model_.dutMode;
}

std::optional<std::uint16_t> BtController::RunningLeTest() const {
    std::lock_guard<std::mutex> lock(mutex_);
    return model_.leTest;
}

std::optional<HciCommand> BtController::LastTestCommand() const {
    std::lock_guard<std::mutex> lock(mutex_);
    return model_.lastTestCommand;
}

std::optional<Bytes> BtController::LastParameters(std::uint16_t op) const {
    std::lock_guard<std::mutex> lock(mutex_);
    const auto it = model_.lastParameters.find(op);
    if (it == model_.lastParameters.end()) return std::nullopt;
    return it->second;
}

std::uint64_t BtController::CommandCount(std::uint16_t op) const {
    std::lock_guard<std::mutex> lock(mutex_);
    const auto it = model_.counts.find(op);
    return it == model_.counts.end() ? 0 : it->second;
}

std::optional<Bytes> BtController::LastVendorPdu() const {
    std::lock_guard<std::mutex> lock(mutex_);
    return lastVendor_;
}

std::uint64_t BtController::VendorPduCount() const {
    std::lock_guard<std::mutex> lock(mutex_);
    return vendorCount_;
}

RadioState BtController::Radio() const {
    std::lock_guard<std::mutex> lock(mutex_);
    return radio_;
}

std::uint64_t BtController::GarbageSkipped() const {
    std::lock_guard<std::mutex> lock(mutex_);
    return garbageSkipped_;
}

std::uint64_t BtController::AclPacketsReceived(std::uint16_t handle) const {
    std::lock_guard<std::mutex> lock(mutex_);
    return acl_.Received(handle);
}

bool BtController::HoldingAclCompletions() const {
    std::lock_guard<std::mutex> lock(mutex_);
    return acl_.Holding();
}

std::map<std::uint16_t, std::uint64_t> BtController::HeldAclCompletions() const {
    std::lock_guard<std::mutex> lock(mutex_);
    return acl_.Held();
}

}  // namespace tavo::sim::btctl
