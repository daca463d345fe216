// What the radio-test firmware does with each request: its state (the
// transmit parameters in force, a frame stream, a receiver, a tone, the
// selected radios) and the confirm it answers with. No sockets and no
// threads here, and no lock: the owner serialises the calls.
//
// Rules, in the order they are checked for each request:
//  - a signal shorter than its size, or a bulk shorter than the head
//    announces: result 38 (mib_get_cfm: an empty bulk);
//  - a result forced by a test: that code, and the state stays as it was;
//  - invalid values: 38, nothing changes;
//  - a request that the state does not allow: 48, nothing changes;
//  - otherwise the request takes effect and the result is 0, except that a
//    frequency outside 2412-2484 and 4900-5900 MHz on a transmit path gives
//    79 and takes effect regardless (the power table has no row for it).
//
// Per request:
//  set_tx_params_req  38 for bandwidth above 2, a channel position beyond
//                     the bandwidth (0 for 20 MHz, 0-1 for 40, 0-3 for 80),
//                     or heLtf other than 0, 1, 2, 4. Stores the parameters
//                     for the next tx_start_req, also while a stream runs.
//  tx_start_req       48 without stored parameters, while a tone is on, or
//                     while the previous stream still has frames to send.
//                     A stream sends one frame per interval of the stored
//                     parameters (an interval of 0 sends back to back);
//                     num_frames_to_send 0 sends until tx_stop_req. A stream
//                     that has sent all its frames stays started: tx_read_req
//                     reads 0 left and tx_stop_req succeeds.
//  tx_read_req        48 when no stream is started.
//  tx_stop_req        48 when no stream is started.
//  rx_start_req       38 for bandwidth or position as above, or a frequency
//                     out of range (no warning on a receive path); 48 while a
//                     receiver runs. Counts start from the counts a test
//                     preset while no receiver ran; without a preset from the
//                     tester's burst (see Tester); with neither from 0.
//  rx_read_req        48 without a receiver; 38 for more than kMaxCounters
//                     counters. Unknown counter ids read 0.
//  rx_stop_req        48 without a receiver.
//  cw_start_req       48 while a tone is on or a stream still sends.
//  cw_stop_req        48 without a tone.
//  select_radio_req   38 unless the bitmap is 1, 2 or 3.
//  bist_get_tx_gain_req 38 for a frequency out of range.
//  mib_get_req        the value of a known psid; an unknown psid is answered
//                     with its psid, the status 0x8003 and no value, which
//                     the library reports as an empty response.
//
// Confirm fields that the library does not read carry: tx_read_cfm offset
// 12 u16 1 while frames are still going out, offset 18 u32 frames sent,
// offsets 22/24/26 u16 frequency, rate and length of the stream; rx_read_cfm
// offset 12 u32 the receiver's flags, offset 36 u32 milliseconds since the
// receiver started (or what a test set); mib_get_cfm offset 10 and bulk offset 2 the MIB status
// (0, or 0x8003 for an unknown psid).
#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <optional>
#include <string>

#include "sim/wlanfw/frame_counter.h"
#include "sim/wlanfw/mib_table.h"
#include "sim/wlanfw/requests.h"
#include "sim/wlanfw/transmission.h"
#include "sim/wlanfw/udi_frame.h"

namespace tavo::sim::wlanfw {

inline constexpr std::uint16_t kCounterTotalFrames = 0xE000;
inline constexpr std::uint16_t kCounterGoodFrames = 0xE001;

// Four readings of one quantity, as rx_read_cfm carries them.
struct SignalReadings {
    std::int16_t cur = 0;
    std::int16_t av = 0;
    std::int16_t min = 0;
    std::int16_t max = 0;
};

// The tester (signal generator) that a factory station puts in front of
// the phone for a receive test: it sends a burst of `frames` frames at
// `levelDbm`, `errorPermille` thousandths of them arriving in error. The
// station waits for the burst before it reads, so the firmware counts the
// whole burst as arrived the moment the receiver starts; frames from the
// rate model then add to it as time passes. The receiver's RSSI readings
// follow the tester's level (cur and average the level, min 3 dB below,
// max 2 dB above) unless a test set them. A tester set while a receiver
// runs is heard at the next start.
struct Tester {
    static constexpr std::int16_t kMinLevel = -120;  // dBm
    static constexpr std::int16_t kMaxLevel = 0;
    std::uint32_t frames = 1000;
    std::uint32_t errorPermille = 8;
    std::int16_t levelDbm = -55;
};

struct RxStatus {
    bool running = false;
    RxCounts counts;
};

class RadioModel {
public:
    static constexpr std::size_t kMaxCounters = 64;
    static constexpr std::uint32_t kDefaultRxRate = 500;          // frames per second
    static constexpr std::uint32_t kDefaultRxErrorPermille = 50;  // 5 % in error
    static constexpr std::uint32_t kDefaultBistWord = 0x00030004; // r = 3, i = 4

    struct Answer {
        OutgoingSignal confirm;
        std::uint16_t result = 0;
        std::string detail;  // for the log: what the firmware made of it
    };

    RadioModel();

    // The confirm for a frame whose id is known (any problem but kNone
    // and kUnknownId and kShorterThanHead is answered here).
    Answer Handle(const RequestFrame& frame, TimePoint now, std::optional<std::uint16_t> forcedResult);

    // The firmware restarted: every test stops and stored parameters are
    // gone. What a test set about the chip (readings, MIBs) stays.
    void ResetTestState();

    // Steering.
    void SetRxCounts(RxCounts counts, TimePoint now);
    void SetRxRate(std::uint32_t framesPerSecond, TimePoint now);
    void SetRxErrorPermille(std::uint32_t permille, TimePoint now);
    // At most this many counter values in rx_read_cfm; nothing for all.
    void LimitRxCounters(std::optional<std::size_t> limit) { counterLimit_ = limit; }
    // Readings a test set win over the tester's level, for good.
    void SetRssi(SignalReadings readings) { rssi_ = readings; }
    // Nothing: no tester, the receiver hears only the rate model. Share and
    // level are brought into their ranges.
    void SetTester(std::optional<Tester> tester);
    void SetSnr(SignalReadings readings) { snr_ = readings; }
    void SetFreqError(std::int32_t value) { freqErr_ = value; }
    // rx_read_cfm's interval; nothing: milliseconds since the receiver started.
    void SetRxInterval(std::optional<std::uint32_t> value) { rxInterval_ = value; }
    void SetBistWord(std::uint32_t word) { bistWord_ = word; }
    MibTable& Mibs() { return mibs_; }

    // Read-back.
    const std::optional<SetTxParamsRequest>& LastSetTxParams() const { return lastSetTxParams_; }
    const std::optional<SetTxParamsRequest>& TxParamsInForce() const { return txParams_; }
    const std::optional<TxStartRequest>& LastTxStart() const { return lastTxStart_; }
    const std::optional<RxStartRequest>& LastRxStart() const { return lastRxStart_; }
    const std::optional<CwStartRequest>& LastCwStart() const { return lastCwStart_; }
    const std::optional<BistGetTxGainRequest>& LastBistGetTxGain() const { return lastBist_; }
    const std::optional<SelectRadioRequest>& LastSelectRadio() const { return lastSelectRadio_; }
    const std::optional<RxReadRequest>& LastRxRead() const { return lastRxRead_; }
    const std::optional<MibGetRequest>& LastMibGet() const { return lastMibGet_; }
    TxStatus Tx(TimePoint now) const;
    RxStatus Rx(TimePoint now) const;
    bool ToneOn() const { return tone_.has_value(); }
    std::uint16_t RadioBitmap() const { return radioBitmap_; }

    static bool FrequencyInRange(std::uint16_t mhz);

private:
    // The confirm of `frame` with `code` and no fields filled in (rx_read_cfm:
    // no counters).
    Answer Reply(const RequestFrame& frame, std::uint16_t code, std::string detail) const;
    Answer SetTxParams(const RequestFrame& frame);
    Answer TxStart(const RequestFrame& frame, TimePoint now);
    Answer TxRead(const RequestFrame& frame, TimePoint now);
    Answer TxStop(const RequestFrame& frame);
    Answer RxStart(const RequestFrame& frame, TimePoint now);
    Answer RxRead(const RequestFrame& frame, TimePoint now);
    Answer RxStop(const RequestFrame& frame);
    Answer CwStart(const RequestFrame& frame, TimePoint now);
    Answer CwStop(const RequestFrame& frame);
    Answer SelectRadio(const RequestFrame& frame);
    Answer BistGetTxGain(const RequestFrame& frame);
    Answer MibGet(const RequestFrame& frame, std::optional<std::uint16_t> forcedResult);
    bool StillSending(TimePoint now) const;
    SignalReadings Rssi() const;

    // State of the tests.
    std::optional<SetTxParamsRequest> txParams_;
    std::optional<Transmission> transmission_;
    std::optional<TxStartRequest> txRequest_;  // of the running stream
    bool rxRunning_ = false;
    std::uint16_t rxFlags_ = 0;
    TimePoint rxSince_{};
    std::optional<RxCounts> rxPreset_;
    std::optional<Tester> rxTester_;  // the one whose burst the receiver heard
    FrameCounter counter_;
    std::optional<CwStartRequest> tone_;
    std::uint16_t radioBitmap_ = 3;

    // The chip as a test set it.
    std::optional<std::size_t> counterLimit_;
    std::optional<Tester> tester_ = Tester{};
    std::optional<SignalReadings> rssi_;  // set by a test
    SignalReadings snr_{28, 30, 24, 34};
    std::int32_t freqErr_ = -3;
    std::optional<std::uint32_t> rxInterval_;
    std::uint32_t bistWord_ = kDefaultBistWord;
    MibTable mibs_;

    // What came in last, whatever the answer was.
    std::optional<SetTxParamsRequest> lastSetTxParams_;
    std::optional<TxStartRequest> lastTxStart_;
    std::optional<RxStartRequest> lastRxStart_;
    std::optional<CwStartRequest> lastCwStart_;
    std::optional<BistGetTxGainRequest> lastBist_;
    std::optional<SelectRadioRequest> lastSelectRadio_;
    std::optional<RxReadRequest> lastRxRead_;
    std::optional<MibGetRequest> lastMibGet_;
};

}  // namespace tavo::sim::wlanfw
