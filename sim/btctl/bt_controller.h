// The Bluetooth controller of the simulated chip, on the serial node
// root/dev/tavo_h4_0: a symbolic link to the slave of a pseudo-terminal
// (see pty_line.h) that the library opens as its UART. The controller
// stands at the chip's end of the H4 line: it reads commands, ACL and SCO
// data from the host (h4_reader.h) and sends events.
//
// HCI commands are answered with Command Complete as hci_model.h lists.
// Commands 0xFC00 carry the tunnelled vendor channels (tunnel.h) and get no
// Command Complete; a whole PDU on the vendor channel is answered by
// AnswerVendorPdu (vendor_answer.h) through 0xFF events, and what its radio
// tests set up is kept (radio_test.h). ACL data is
// answered with Number Of Completed Packets, or held back (acl_completions.h);
// SCO data gets nothing. Other events (hci_events.h) go out when a test asks
// for them.
//
// The firmware's log ring (firmware_log.h) gets the lines that ber1,
// rx_start2 and an LE receiver's end with count give, a running test's
// from a thread of the controller's own every 200 ms. And what the btcli
// stand-in answers from (sim/btcli_state.h: the address, the devices in
// range, fast-sleep) is rewritten whenever it changes.
//
// Every packet read and sent is one line in the simulator's log, bytes in
// lower-case hex with the H4 indicator first; a line for a packet sent is
// written once all of it is on the line:
//   btctl: rx 01 03 0c 00
//   btctl: tx 04 0e 04 01 03 0c 00
//   btctl: tx 04 0e 04 01 03 0c 00 (in 3 pieces)
//   btctl: tx 04 0e 04 (cut after 3 of 7 bytes)
//   btctl: tx 04 0e 04 01 03 2c 00 (noise changed 1 of 7 bytes)
//   btctl: tx garbage de ad
//   btctl: no answer (silent)
//   btctl: garbage from the host, skipping to the next indicator (first byte ff)
//   btctl: radio test tx_data1 lo_freq=2402
//   btctl: le test receiver channel=19
//   btctl: vendor PDU of 300 bytes on channel 2 -> response of 300 bytes
//   btctl: vendor PDU of 18 bytes on channel 2 -> no answer (vendor replies off)
//   btctl: PDU of 12 bytes on channel 5 -> no answer (not the vendor channel)
//   btctl: vendor PDU of 4 bytes on channel 2 -> no answer (shorter than its header)
//   btctl: tunnel fragment without a descriptor dropped
//   btctl: PDU on channel 2 longer than 65536 bytes dropped
//   btctl: hang-up (line closed)
//   btctl: not sent (line down): 04 05 04 00 01 00 13
//
// All public methods are thread-safe. The class knows nothing of the
// simulator around it: BtControllerComponent plugs it in.
#pragma once

#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <random>
#include <string>
#include <thread>
#include <vector>

#include "sim/btcli_state.h"
#include "sim/btctl/acl_completions.h"
#include "sim/btctl/firmware_log.h"
#include "sim/btctl/hci_events.h"
#include "sim/btctl/hci_model.h"
#include "sim/btctl/hex_bytes.h"
#include "sim/btctl/pty_line.h"
#include "sim/btctl/radio_test.h"
#include "sim/btctl/tunnel.h"
#include "sim/btctl/vendor_answer.h"
#include "sim/unique_fd.h"

namespace tavo::sim::btctl {

// What the controller needs from the simulator around it.
struct ControllerHost {
    std::string linkPath;                         // the symbolic link the host opens
    std::function<void(const std::string&)> log;  // one line to the simulator's log
    // Initialised, so that a host given as {link, log} leaves them out.
    std::string statePath = {};    // the btcli stand-in's state file; "" keeps none
    std::string logRingPath = {};  // the firmware's log ring; "" writes none
};

class BtController {
public:
    // The node under the root.
    static constexpr char kNode[] = "/dev/tavo_h4_0";
    // Between two pieces of a split packet, so that a host reading as fast
    // as it can mostly gets them one by one.
    static constexpr std::chrono::milliseconds kSplitGap{1};
    // Split sizes come from a generator seeded with this at every SetSplit,
    // so that a run repeats.
    static constexpr std::uint32_t kSplitSeed = 20240601;
    static constexpr std::size_t kMaxSplit = 4096;
    // Closing the master throws away what the host has not read, so a
    // packet cut before a hang-up waits for the host to take its first
    // half, at most this long.
    static constexpr std::chrono::milliseconds kDrainBound{2000};
    static constexpr std::size_t kMaxGarbage = 4096;
    // The noise's seed unless one is given.
    static constexpr std::uint32_t kNoiseSeed = 20240917;

    BtController() = default;
    ~BtController();
    BtController(const BtController&) = delete;
    BtController& operator=(const BtController&) = delete;

    // Writes the btcli state, opens the line, links it, and starts serving.
    // Throws std::runtime_error when the state or the line cannot be made,
    // the host gives no log, or it already runs.
    void Start(ControllerHost host);
    // Stops serving, also in the middle of a delayed or blocked answer,
    // closes the line and removes the link; a report in the log ring ends.
    // The btcli state is no longer written. Idempotent; Start may follow.
    void Stop() noexcept;
    bool Running() const;
    // The line is open: from Start to a hang-up or Stop.
    bool LineUp() const;
    // The pseudo-terminal's slave ("/dev/pts/7"); "" before the first Start.
    std::string SlavePath() const;

    // --- Steering: how the controller behaves ---------------------------
    // Packets are read and logged, and nothing is answered.
    void SetSilent(bool silent);
    // Each answer waits this long before it goes out.
    void SetDelay(std::chrono::milliseconds delay);
    // These bytes go on the line once, just before the next packet sent
    // (a later call replaces unsent ones).
    void SendGarbage(const Bytes& bytes);
    // Each packet sent is written in pieces of 1 to `maxPiece` bytes; 0
    // writes it whole. Restarts the size generator.
    void SetSplit(std::size_t maxPiece);
    // Line noise: from now on each byte of each packet sent (answers and
    // events asked for; not the garbage) is changed, with a chance of
    // `permille` in 1000, into itself XOR a non-zero byte. The bytes
    // changed and how come from an mt19937 seeded with `seed` at this call,
    // so that a run repeats. 0 is a clean line; past 1000 counts as 1000.
    void SetNoise(unsigned permille, std::uint32_t seed = kNoiseSeed);
    // Bytes changed by the noise so far.
    std::uint64_t NoiseChanged() const;
    // Every Command Complete carries `status`; 0 goes back to the true
    // one.
    void SetStatus(std::uint8_t status);
    // Closes the line now, so that the host's side sees it hang up; the
    // link goes too. Returns once done; before Start, the line hangs up as
    // soon as it is opened. Stop and Start give a new line.
    void HangUp();
    // The next packet sent is cut after half its bytes, then the line is
    // closed as by HangUp.
    void HangUpMidPacket();

    // --- Steering: what the controller reports --------------------------
    void SetBdAddr(const BdAddr& address);
    void SetBufferSizes(const BufferSizes& sizes);
    void SetLeBufferSize(const LeBufferSize& size);
    // The number of packets LE Test End reports.
    void SetLeTestPackets(std::uint16_t packets);
    // num_hci_command_packets of every Command Complete and Command Status
    // from now on (1 at first). Only reported: a command sent while it is
    // 0 is answered all the same.
    void SetCommandCredits(std::uint8_t credits);
    // Number Of Completed Packets for ACL data is held back, counted per
    // handle, until released.
    void HoldAclCompletions();
    // Sends what was held, one entry per handle in ascending order, and
    // answers ACL data at once again.
    void ReleaseAclCompletions();

    // --- Steering: replies on the vendor channel, whatever their varid ----
    // The status word of every reply; 0 goes back to normal.
    void SetVendorStatus(std::uint16_t status);
    // The reply's sequence number is the request's plus 1.
    void SetVendorWrongSequence(bool wrong);
    // The reply's varid is the request's XOR 0x0001.
    void SetVendorWrongVarid(bool wrong);
    // false: vendor PDUs are read, kept and logged, and not answered.
    void SetVendorReplies(bool answer);
    // Each vendor reply waits this long, after the general delay.
    void SetVendorDelay(std::chrono::milliseconds delay);
    // The next `count` vendor replies carry status 4 (a status set by
    // SetVendorStatus takes its place), then replies are as before: a chip
    // that fails a few times and then answers.
    void SetVendorFailures(unsigned count);
    VendorSteering VendorReplies() const;

    // --- Steering: the firmware's log ring ------------------------------
    // rx bits of each BIT_ERR block; takes effect at the next block.
    void SetBerBits(std::uint32_t bits);
    // Bit errors per million; std::invalid_argument past 1000000.
    void SetBerPpm(std::uint32_t ppm);
    // The carrier's level in dBm; std::invalid_argument outside -127 to -1.
    void SetCwRssi(int dbm);
    LogSteering LogReports() const;
    // The report the running test writes every kReportPeriod.
    Report RunningReport() const;

    // --- Steering: the btcli stand-in -----------------------------------
    // The stand-in reads these and the address SetBdAddr sets from the
    // state file, which each change rewrites while running
    // (std::runtime_error when it cannot be written) and Start writes.
    // Bluetooth devices that answer an inquiry, in this order. Invalid ones
    // are refused with std::invalid_argument and change nothing.
    void SetDevices(const std::vector<BtDevice>& devices);
    void AddDevice(const BtDevice& device);
    void ClearDevices();
    std::vector<BtDevice> Devices() const;
    // `sleep N` in a script waits at most 50 ms.
    void SetFastSleep(bool fast);
    bool FastSleep() const;

    // --- Steering: events on request ------------------------------------
    // Each event is queued for the serving thread, which sends it before
    // it takes the next packet from the host, or after the answer it is
    // sending. It goes through the delay, the garbage, the split and the
    // hang-up in the middle as an answer does, but also while silent (it
    // answers nothing). Asked for before Start, it goes out once the line
    // is open; while the line is down it is dropped with a log line.
    // The address in the connection events is the controller's own.
    void SendConnectionComplete(std::uint16_t handle, std::uint8_t linkType, std::uint8_t status = 0);
    void SendSyncConnectionComplete(std::uint16_t handle, std::uint8_t status = 0);
    void SendDisconnectionComplete(std::uint16_t handle, std::uint8_t status = 0,
                                   std::uint8_t reason = kDefaultDisconnectReason);
    // With the current command credits.
    void SendCommandStatus(std::uint16_t opcode, std::uint8_t status);
    // `event` goes after the 0x04 indicator as given, right or wrong; past
    // kMaxEvent bytes it is cut.
    void SendEvent(const Bytes& event);

    BdAddr Address() const;
    // "00:1A:7D:DA:71:13".
    std::string AddressText() const;
    BufferSizes Buffers() const;
    LeBufferSize LeBuffers() const;
    std::uint16_t LeTestPackets() const;
    std::uint8_t CommandCredits() const;

    // --- Read-back: what the host did -----------------------------------
    // The scan value of the last accepted Write Scan Enable (0 after Reset).
    std::uint8_t ScanEnable() const;
    // Device-under-test mode enabled and not reset since.
    bool DutMode() const;
    // The opcode of the LE test started and not yet ended or reset.
    std::optional<std::uint16_t> RunningLeTest() const;
    // The last device-under-test or LE test command (LE Test End too),
    // whatever it was answered.
    std::optional<HciCommand> LastTestCommand() const;
    // The parameters of the last command of this opcode, any opcode but
    // the tunnel's.
    std::optional<Bytes> LastParameters(std::uint16_t opcode) const;
    std::uint64_t CommandCount(std::uint16_t opcode) const;
    // The last whole PDU that came in on the vendor channel.
    std::optional<Bytes> LastVendorPdu() const;
    std::uint64_t VendorPduCount() const;
    // What the radio-test and LE radio-test commands set up, and how many
    // came.
    RadioState Radio() const;
    // Garbage bytes from the host skipped so far.
    std::uint64_t GarbageSkipped() const;
    // ACL data packets received on this 12-bit handle, held or answered.
    std::uint64_t AclPacketsReceived(std::uint16_t handle) const;
    bool HoldingAclCompletions() const;
    // Packets per handle whose completion is held; empty when none is.
    std::map<std::uint16_t, std::uint64_t> HeldAclCompletions() const;

private:
    enum class Flow { kGoOn, kLineDown, kStop };

    void Run();
    void Log(const std::string& line) const;
    Flow HandlePacket(const Bytes& packet);
    Flow HandleFragment(const Bytes& parameters);
    Flow HandleAcl(const Bytes& packet);
    // Silence, then Deliver.
    Flow Reply(const std::vector<Bytes>& packets, std::chrono::milliseconds extraDelay = {});
    // Delay (plus `extraDelay`), then each packet in turn.
    Flow Deliver(const std::vector<Bytes>& packets, std::chrono::milliseconds extraDelay = {});
    // Queues the events `build` makes under the lock and wakes the serving
    // thread.
    void Request(const std::function<std::vector<Bytes>()>& build);
    // Sends the events asked for, also those asked for while it sends.
    Flow SendRequested();
    Flow Send(const Bytes& packet);
    Flow WriteAll(const std::uint8_t* data, std::size_t size);
    // Waits until the host has read all that was sent, at most kDrainBound.
    Flow DrainToHost();
    // Waits `limit` unless woken for a stop or a hang-up.
    Flow Wait(std::chrono::milliseconds limit);
    // Acts on a wake-up: a stop, or a hang-up to carry out.
    Flow OnWake();
    void Wake();
    void LineDown();
    // The report thread: a running report's block every kReportPeriod.
    void ReportLoop();
    void AppendToLogRing(const std::string& text) const;
    // Rewrites the btcli state file, if one is kept.
    void SaveState();

    ControllerHost host_;  // set by Start, read by the serving and report threads only

    mutable std::mutex mutex_;  // guards everything below up to the serving side
    std::condition_variable hungUp_;
    HciModel model_;
    bool silent_ = false;
    std::chrono::milliseconds delay_{0};
    Bytes garbage_;
    std::size_t split_ = 0;
    std::minstd_rand splitSizes_{kSplitSeed};
    unsigned noisePermille_ = 0;
    std::mt19937 noise_{kNoiseSeed};
    std::uint64_t noiseChanged_ = 0;
    std::optional<std::uint8_t> status_;
    bool hangUpRequested_ = false;
    bool cutNext_ = false;
    bool stopRequested_ = false;
    bool lineUp_ = false;
    std::string slavePath_;
    std::optional<Bytes> lastVendor_;
    std::uint64_t vendorCount_ = 0;
    VendorSteering vendor_;
    unsigned vendorFailures_ = 0;
    RadioState radio_;
    std::uint64_t garbageSkipped_ = 0;
    AclCompletions acl_;
    std::deque<Bytes> requested_;  // events asked for, not yet sent
    LogSteering logSteering_;
    Report report_ = Report::kNone;  // what the report thread writes, and when next
    std::chrono::steady_clock::time_point reportDue_;
    std::condition_variable reportWake_;
    std::vector<BtDevice> devices_;
    bool fastSleep_ = false;

    // Held around a state change that writes to the ring and its write, and
    // by the report thread from its look at the state to its write, so that
    // blocks land in the order of the changes. Taken before mutex_.
    std::mutex ringMutex_;
    // Guards statePath_ and keeps the state file's writes in order. Taken
    // before mutex_.
    std::mutex stateFileMutex_;
    std::string statePath_;

    // Serving side: set up by Start, used by the thread, torn down by Stop.
    mutable std::mutex lifecycle_;
    std::unique_ptr<PtyLine> line_;
    UniqueFd wakeRead_;
    UniqueFd wakeWrite_;
    TunnelReassembler tunnel_;
    std::thread thread_;
    std::thread reporter_;
};

}  // namespace tavo::sim::btctl
