// The WLAN radio-test firmware of the simulated chip, served on the device
// node root/dev/q7c3310udi0: a Unix socket of type SOCK_SEQPACKET that the
// library's platform layer connects to. One datagram is one frame: the
// library writes a request's signal and bulk bytes; the firmware answers
// with a UDI frame (see udi_frame.h) carrying the confirm.
//
// The firmware answers only while the chip runs the test firmware. With
// any other variant it reads each request, logs it and stays silent, as the
// real chip's normal firmware ignores radio-test signals. When the firmware
// restarts (a new generation in the host's FirmwareView), every running test and
// the stored transmit parameters are gone by the next request.
//
// Datagrams shorter than a signal head (10 bytes), of an unknown id, or
// longer than kMaxDatagram are logged and dropped with no answer. What each
// request does and answers is told in radio_model.h.
//
// One client at a time: a new connection takes the node over and the
// previous one is closed (logged), so a library that reopens the node per
// session always gets answers.
//
// Every request and its answer make one line in the simulator's log, once
// the answer has been sent:
//   wlanfw: 0x9007 set_tx_params_req -> 0x9102 result 0
//   wlanfw: 0x900A tx_stop_req -> 0x9106 result 48 (no transmission)
//   wlanfw: 0x9009 tx_read_req -> silent
//   wlanfw: 0x9009 tx_read_req -> 0x9105 malformed (header only)
//   wlanfw: 0x9009 tx_read_req -> 0x9105 result 0 (left 10) [signal cut to 11]
//   wlanfw: 0x9009 tx_read_req -> 0x9105 result 0 (left 10) [sent as 0x9106]
//   wlanfw: 0x9009 tx_read_req -> 0x9105 result 0 (left 10) [100 bytes past the frame]
//   wlanfw: 0x9009 tx_read_req -> no answer (firmware rk720 is not the test firmware)
//   wlanfw: unrelated 0x9FFF before 0x9105
//   wlanfw: ignored 4-byte frame (shorter than a signal head)
//   wlanfw: ignored frame of unknown signal 0x1234 (22 bytes)
//   wlanfw: ignored 5000-byte frame (longer than 4096)
//   wlanfw: firmware restarted; test state cleared
//   wlanfw: client connected | disconnected | replaced by a new connection
// so a test that waits for the line knows that the confirm is already in
// its socket.
//
// All public methods are thread-safe. The class knows nothing of the
// simulator around it: WlanFirmwareComponent plugs it in.
#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <thread>

#include "sim/wlanfw/fault_plan.h"
#include "sim/wlanfw/owned_fd.h"
#include "sim/wlanfw/radio_model.h"
#include "sim/wlanfw/seqpacket_node.h"
#include "sim/wlanfw/sim_clock.h"
#include "sim/wlanfw/stop_event.h"

namespace tavo::sim::wlanfw {

// The firmware as the chip runs it now.
struct FirmwareView {
    std::string variant;       // "rk720_t"; "" when none is loaded
    bool testFirmware = false; // the radio-test variant, which alone answers
    unsigned generation = 0;   // changes with every reload of the firmware
};

// What the firmware needs from the simulator around it.
struct FirmwareHost {
    std::string nodePath;                          // where the node is made
    std::function<void(const std::string&)> log;   // one line to the simulator's log
    // Asked for every request before it is answered; the host acts on any
    // reload it has been told of first.
    std::function<FirmwareView()> firmware;
};

class WlanFirmware {
public:
    // The node under the root.
    static constexpr char kNode[] = "/dev/q7c3310udi0";
    // A datagram longer than what one read on the real node delivers is
    // dropped.
    static constexpr std::size_t kMaxDatagram = 4096;

    // `clock` drives the frame counts; tests pass a clock they advance.
    explicit WlanFirmware(ClockSource clock = SteadyNow);
    ~WlanFirmware();
    WlanFirmware(const WlanFirmware&) = delete;
    WlanFirmware& operator=(const WlanFirmware&) = delete;

    // Creates the node (its directory must exist) and starts serving.
    // Throws std::runtime_error when the node cannot be made, the host
    // lacks a callback, or it already runs.
    void Start(FirmwareHost host);
    // Stops serving, also in the middle of a delayed answer, and removes
    // the node. Idempotent; Start may follow.
    void Stop() noexcept;
    bool Running() const;

    // --- Steering: how the firmware behaves -----------------------------
    // Requests are read and dropped.
    void SetSilent(bool silent);
    // Each confirm waits this long (after any unrelated frames).
    void SetDelay(std::chrono::milliseconds delay);
    // `frames` unrelated frames before every confirm, each after `spacing`;
    // 0 frames turns it off.
    void SetChatter(unsigned frames, std::chrono::milliseconds spacing = std::chrono::milliseconds(0));
    // The next `times` requests of `requestId` (FaultPlan::kAnyRequest for
    // any) are answered with `code` and change nothing;
    // FaultPlan::kUntilCleared for every one until ClearForcedResults.
    void ForceResult(std::uint16_t requestId, std::uint16_t code, unsigned times = 1);
    void ClearForcedResults();
    // The next confirm is sent broken in this way instead (one per call).
    void SendMalformed(MalformedFrame kind);
    // rx_read_cfm carries at most this many counter values; nothing: all.
    void LimitRxCounters(std::optional<std::size_t> limit);
    // The next confirm's signal, or its bulk, cut to at most `bytes`; the
    // head's bulk length and the UDI header follow the cut (one per call,
    // a later call replaces an unused one).
    void CutNextSignal(std::size_t bytes);
    void CutNextBulk(std::size_t bytes);
    // The next confirm's bulk grown by `bytes` zero bytes, the heads
    // agreeing (at most FaultPlan::kMaxOversize): a frame longer than the
    // 4096 bytes one read of the node gives.
    void GrowNextBulk(std::size_t bytes);
    // The next confirm goes out under signal id `id`, as a firmware that
    // mixed up its confirms would send it.
    void SetNextConfirmId(std::uint16_t id);
    // The next datagram that carries a confirm (broken or not) has `bytes`
    // bytes of 0xA5 after its frame that the UDI header does not count (at
    // most FaultPlan::kMaxOversize).
    void PadNextDatagram(std::size_t bytes);
    // rx_read_cfm's counter count says `count` whatever values follow;
    // nothing: the true count.
    void SetRxCountField(std::optional<std::uint16_t> count);
    // mib_get_cfm names `psid` whatever was asked; nothing: the psid asked.
    void SetMibPsid(std::optional<std::uint16_t> psid);

    // --- Steering: what the chip measures and reports -------------------
    // The receiver's counts now (or, with no receiver, at its next start).
    void SetRxCounts(std::uint32_t total, std::uint32_t good);
    // Frames per second that arrive while the receiver runs (0 holds the
    // counts still), and the share of them in error, in thousandths.
    void SetRxRate(std::uint32_t framesPerSecond);
    void SetRxErrorPermille(std::uint32_t permille);
    // Readings set here win over the tester's level from now on.
    void SetRssi(SignalReadings readings);
    void SetSnr(SignalReadings readings);
    void SetFreqError(std::int32_t value);
    // What rx_read_cfm reports as its interval; nothing: the milliseconds
    // since the receiver started.
    void SetRxInterval(std::optional<std::uint32_t> value);
    // The tester in front of the phone, whose burst counts as arrived at
    // each receiver start (see Tester in radio_model.h); on by default with
    // Tester's values. Nothing takes it away.
    void SetTester(std::optional<Tester> tester);
    void SetBistWord(std::uint32_t word);
    // The word from its parts: r in the high 16 bits, i in the low.
    void SetBistGain(std::int16_t real, std::int16_t imaginary);
    void SetChipId(std::uint64_t id);
    void SetBuildId(const std::string& id);
    void SetTemperature(std::uint64_t degrees);
    void SetMib(std::uint16_t psid, MibValue value);
    void RemoveMib(std::uint16_t psid);

    // --- Read-back ------------------------------------------------------
    // The last well-formed request of each kind, whatever it was answered.
    std::optional<SetTxParamsRequest> LastSetTxParams() const;
    std::optional<TxStartRequest> LastTxStart() const;
    std::optional<RxStartRequest> LastRxStart() const;
    std::optional<CwStartRequest> LastCwStart() const;
    std::optional<BistGetTxGainRequest> LastBistGetTxGain() const;
    std::optional<SelectRadioRequest> LastSelectRadio() const;
    std::optional<RxReadRequest> LastRxRead() const;
    std::optional<MibGetRequest> LastMibGet() const;
    // The bytes of the last datagram that began with `id`, any id.
    std::optional<Bytes> LastRequest(std::uint16_t id) const;
    // Datagrams received that began with `id`.
    std::uint64_t RequestCount(std::uint16_t id) const;
    std::optional<SetTxParamsRequest> TxParamsInForce() const;
    TxStatus Tx() const;
    RxStatus Rx() const;
    bool ToneOn() const;
    std::uint16_t RadioBitmap() const;

private:
    void Run();
    void HandleDatagram(const Bytes& datagram);
    // Waits `delay` and sends; false when stopping or the client went away.
    bool SendAfter(std::chrono::milliseconds delay, const Bytes& frame);
    void Log(const std::string& line) const;
    template <typename Read>
    auto ReadLocked(Read read) const {
        std::lock_guard<std::mutex> lock(mutex_);
        return read(model_);
    }
    void DropClient(const char* why);

    const ClockSource clock_;
    FirmwareHost host_;  // set by Start, read by the serving thread only

    mutable std::mutex mutex_;  // guards everything below but the serving side
    RadioModel model_;
    FaultPlan faults_;
    std::map<std::uint16_t, Bytes> lastRequest_;
    std::map<std::uint16_t, std::uint64_t> requestCount_;
    std::optional<unsigned> seenGeneration_;

    // Serving side: set up by Start, used by the thread, torn down by Stop.
    mutable std::mutex lifecycle_;
    std::unique_ptr<StopEvent> stop_;
    std::unique_ptr<SeqpacketNode> node_;
    OwnedFd client_;
    std::uint32_t sequence_ = 0;
    std::thread thread_;
};

}  // namespace tavo::sim::wlanfw
