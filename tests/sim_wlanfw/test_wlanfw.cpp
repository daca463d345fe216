// What the simulated firmware does that the library cannot show: its
// refusals, a stream and a receiver counted on a clock the test moves, the
// VL encoding, refused steering text, datagrams it drops, clients that come
// and go, and its node from Start to Stop.
#include <gtest/gtest.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <chrono>
#include <cstring>
#include <functional>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

#include "sim/wlanfw/radio_model.h"
#include "sim/wlanfw/settings_text.h"
#include "sim/wlanfw/vl_encoding.h"
#include "support/sim_env.h"
#include "support/wire.h"

namespace {

namespace wf = tavo::sim::wlanfw;
using namespace std::chrono_literals;
using namespace testwire;

// A radio model and the simulated time it runs on, with no tester in front.
struct Chip {
    Chip() { model.SetTester(std::nullopt); }
    wf::RadioModel model;
    wf::TimePoint now{1s};

    wf::RadioModel::Answer Ask(const Bytes& request, std::optional<std::uint16_t> forced = std::nullopt) {
        return model.Handle(wf::SplitRequest(request), now, forced);
    }
    // The result, and of a tx_read_cfm "<left> <sent> <sending>", of an rx_read_cfm each counter.
    std::string Step(const Bytes& request) {
        const wf::RadioModel::Answer a = Ask(request);
        const Bytes& s = a.confirm.signal;
        std::string out = std::to_string(a.result);
        if (GetU16(s, 0) == 0x9105 && a.result == 0) {
            out += " " + std::to_string(GetU32(s, 14)) + " " + std::to_string(GetU32(s, 18)) + " " +
                   std::to_string(GetU16(s, 12));
        }
        for (std::size_t at = 2; at + 4 <= a.confirm.bulk.size() && GetU16(s, 0) == 0x9108; at += 4) {
            out += " " + std::to_string(GetU32(a.confirm.bulk, at));
        }
        return out;
    }
};

const auto SetTx = [](auto... args) { return SetTxParamsReq(args...); };
Bytes Cut(Bytes request, std::size_t bytes) { return Bytes(request.begin(), request.end() - static_cast<long>(bytes)); }

TEST(WlanfwModel, RefusalsCarryTheirResultCodes) {
    Bytes shortBulk = RxReadReq({0xE000, 0xE001}), countBeyondBulk = RxReadReq({0xE000});
    Bytes fewIndices = MibGetReq(2022, {1, 2});
    PutU16(shortBulk, 8, 40);        // announces more bulk than follows
    PutU16(countBeyondBulk, 22, 5);  // five counters in a bulk of one
    PutU16(fewIndices, 26, 9);       // nine indices in a bulk of two
    const Bytes slow = SetTx(1000000), rx = RxStartReq();
    struct Row { const char* what; std::vector<Bytes> setup; Bytes request; std::uint16_t result; } const rows[] = {
        // A start while frames go out and a request with nothing started: in the stream and reload tests below.
        {"tx_read without a stream", {}, TxReadReq(), 48},
        {"tx_start while a tone is on", {slow, CwStartReq()}, TxStartReq(10), 48},
        {"second cw_start", {CwStartReq()}, CwStartReq(), 48}, {"second rx_start", {rx}, rx, 48},
        {"position 1 at 20 MHz", {}, SetTx(0, 2412, 0, 1), 38}, {"position 3 at 80 MHz", {}, SetTx(0, 2412, 2, 3), 0},
        {"heLtf 3", {}, SetTx(0, 2412, 0, 0, 3), 38}, {"2411 MHz", {}, SetTx(0, 2411), 79},
        {"2484 MHz", {}, SetTx(0, 2484), 0}, {"2485 MHz", {}, SetTx(0, 2485), 79}, {"4899 MHz", {}, SetTx(0, 4899), 79},
        {"4900 MHz", {}, SetTx(0, 4900), 0}, {"5900 MHz", {}, SetTx(0, 5900), 0}, {"5901 MHz", {}, SetTx(0, 5901), 79},
        {"tx_start without a power row", {SetTx(0, 6000)}, TxStartReq(10), 79},
        {"rx_start out of range", {}, RxStartReq(0, 0, 2400), 38}, {"rx_start position 1", {}, RxStartReq(0, 1), 38},
        {"64 counters", {rx}, RxReadReq(std::vector<std::uint16_t>(64, 0x1234)), 0},
        {"65 counters", {rx}, RxReadReq(std::vector<std::uint16_t>(65, 0x1234)), 38},
        {"bulk shorter than announced", {rx}, shortBulk, 38}, {"count beyond the bulk", {rx}, countBeyondBulk, 38},
        {"select_radio 3", {}, SelectRadioReq(3), 0}, {"select_radio 4", {}, SelectRadioReq(4), 38},
        {"set_tx_params one byte short", {}, Cut(SetTx(0), 1), 38},
        {"index list shorter than its count", {}, fewIndices, 38},
    };
    for (const Row& row : rows) {
        Chip chip;
        for (const Bytes& step : row.setup) chip.Ask(step);
        EXPECT_EQ(chip.Ask(row.request).result, row.result) << row.what;
    }
}

TEST(WlanfwModel, StreamsAndReceiversCountInSimulatedTime) {
    Chip chip;
    chip.model.SetRxRate(1000, chip.now);
    chip.model.SetRxErrorPermille(100, chip.now);
    const auto preset = [&chip](std::uint32_t total, std::uint32_t good) {
        chip.model.SetRxCounts({total, good}, chip.now);
    };
    const auto still = [&chip] { chip.model.SetRxRate(0, chip.now); };
    // later: in microseconds; outcome: the result, then frames left, sent and still sending; or the counters read
    struct Row { long long later; Bytes request; const char* outcome; std::function<void()> then = {}; };
    const Row rows[] = {
        {0, SetTx(1000), "0"}, {0, TxStartReq(10), "0"}, {0, TxReadReq(), "0 10 0 1"},
        {999, TxReadReq(), "0 10 0 1"}, {1, TxReadReq(), "0 9 1 1"},
        {0, SetTx(100), "0"},  // taken, but the stream keeps its interval
        {8000, TxReadReq(), "0 1 9 1"}, {0, TxStartReq(5), "48"}, {1000, TxReadReq(), "0 0 10 0"},
        {50000, TxReadReq(), "0 0 10 0"},  // finished, still started
        {0, TxStartReq(4), "0"},           // restarts without a stop, on the new interval
        {250, TxReadReq(), "0 2 2 1"}, {0, TxStopReq(), "0"}, {0, TxStopReq(), "48"},
        {0, SetTx(0), "0"}, {0, TxStartReq(100), "0"}, {300, TxReadReq(), "0 97 3 1"},  // back to back
        {0, SetTx(10), "0"}, {0, TxStopReq(), "0"}, {0, TxStartReq(0), "0"},            // until stopped
        {3600000000, TxReadReq(), "0 0 360000000 1"}, {0, CwStartReq(), "48"}, {0, TxStopReq(), "0"},
        {0, CwStartReq(), "0"}, {0, CwStopReq(), "0"},
        {0, SetTx(10, 2400), "79"}, {0, TxStartReq(10), "79"},  // kept and started regardless
        {0, TxReadReq(), "0 10 0 1"}, {0, TxStopReq(), "0"},
        {0, SetTx(5, 2412, 3), "38"}, {0, TxStartReq(1), "79"},  // not kept: 2400 MHz holds
        {0, RxStartReq(), "0"}, {2000000, RxReadReq({0xE001, 0xE000, 0x1234}), "0 1800 2000 0", still},
        {5000000, RxReadReq({0xE000}), "0 2000", [&] { preset(7, 3); }},  // at once while receiving
        {0, RxReadReq({0xE000, 0xE001}), "0 7 3"}, {0, RxStopReq(), "0", [&] { preset(100, 90); }},
        {0, RxStartReq(), "0"}, {0, RxReadReq({0xE000, 0xE001}), "0 100 90"},  // at the next start, once
        {0, RxStopReq(), "0"}, {0, RxStartReq(), "0"}, {0, RxReadReq({0xE000, 0xE001}), "0 0 0"},
    };
    for (const Row& row : rows) {
        chip.now += std::chrono::microseconds(row.later);
        EXPECT_EQ(chip.Step(row.request), row.outcome) << "request 0x" << std::hex << GetU16(row.request, 0);
        if (row.then) row.then();
    }
    chip.now += 2500ms;
    EXPECT_EQ(GetU32(chip.Ask(RxReadReq({})).confirm.signal, 36), 2500u) << "milliseconds since the receiver started";
}

TEST(WlanfwModel, ReloadEndsEveryTestButKeepsTheChipSettings) {
    Chip chip;
    for (const Bytes& r : {SetTx(1000), RxStartReq(), CwStartReq(), SelectRadioReq(1)}) ASSERT_EQ(chip.Step(r), "0");
    chip.model.Mibs().Set(5062, std::uint64_t{55});
    chip.model.ResetTestState();
    for (const Bytes& request : {RxReadReq({0xE000}), CwStopReq(), TxStartReq(1)}) EXPECT_EQ(chip.Step(request), "48");
    EXPECT_EQ(chip.model.RadioBitmap(), 3);
    EXPECT_EQ(chip.Ask(MibGetReq(5062)).confirm.bulk.back(), 55);
}

// The values the library's reads do not reach; the others it decodes in its own tests.
TEST(WlanfwModel, VlEncoding) {
    const std::pair<std::uint64_t, const char*> numbers[] = {
        {0, "00"}, {63, "3f"}, {64, "81 40"}, {255, "81 ff"}, {256, "82 01 00"},
        {0xFFFFFFFFFFFFFFFFULL, "88 ff ff ff ff ff ff ff ff"}};
    for (const auto& [value, hex] : numbers) EXPECT_EQ(ToHex(wf::EncodeVlUnsigned(value)), hex) << value;
    EXPECT_EQ(ToHex(wf::EncodeVlOctetString("")), "a0");
    EXPECT_EQ(ToHex(wf::EncodeVlOctetString(std::string("a\0b", 3))), "a1 03 61 00 62");
}

TEST(WlanfwSettings, BadSettingsAreRefusedWithTheirTexts) {
    wf::WlanFirmware firmware;
    std::string error;
    EXPECT_FALSE(wf::ApplySetting(firmware, "loud", error));
    EXPECT_EQ(error, "unknown wlanfw setting: loud");
    EXPECT_FALSE(wf::ApplySetting(firmware, "delay", error));
    EXPECT_EQ(error, "wlanfw setting delay needs a value");
    // Each refused with "bad value for wlanfw setting NAME: VALUE".
    for (const std::string setting :
         {"delay= 5", "chatter=1001", "force=0x1FFFF,1", "malformed=nice", "cut-signal=4097", "rx-count-field=65536",
          "mib-psid=any", "rx-counts=1,0x100000000", "rx-error=1001", "rssi=1,2,3", "bist=1", "silent=maybe",
          "chip-id=99999999999999999999999"}) {
        const std::size_t equals = setting.find('=');
        EXPECT_FALSE(wf::ApplySetting(firmware, setting, error)) << setting;
        EXPECT_EQ(error, "bad value for wlanfw setting " + setting.substr(0, equals) + ": " +
                             setting.substr(equals + 1));
    }
}

sockaddr_un Address(const std::string& path) {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    std::strncpy(address.sun_path, path.c_str(), sizeof address.sun_path - 1);
    return address;
}

// A client of the node that sends and receives raw datagrams.
class Peer {
public:
    explicit Peer(const std::string& path) : fd_(::socket(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0)) {
        const sockaddr_un address = Address(path);
        EXPECT_EQ(::connect(fd_, reinterpret_cast<const sockaddr*>(&address), sizeof address), 0) << path;
    }
    ~Peer() { ::close(fd_); }
    void Send(const Bytes& datagram) { ::send(fd_, datagram.data(), datagram.size(), MSG_NOSIGNAL); }
    // The next datagram; none (empty) when none comes within `limit` or the firmware closed the connection.
    Bytes Receive(std::chrono::milliseconds limit = 10s) {
        pollfd p = {fd_, POLLIN, 0};
        Bytes buffer(65536);
        const bool ready = ::poll(&p, 1, static_cast<int>(limit.count())) > 0;
        const ssize_t got = ready ? ::recv(fd_, buffer.data(), buffer.size(), MSG_DONTWAIT) : 0;
        buffer.resize(got > 0 ? static_cast<std::size_t>(got) : 0);
        return buffer;
    }
    // True once the firmware has closed the connection, within `limit`.
    bool Closed(std::chrono::milliseconds limit = 10s) {
        pollfd p = {fd_, POLLIN | POLLRDHUP, 0};
        char byte;
        return ::poll(&p, 1, static_cast<int>(limit.count())) > 0 &&
               ::recv(fd_, &byte, 1, MSG_DONTWAIT | MSG_PEEK) == 0;
    }

private:
    int fd_;
};

std::uint16_t ConfirmId(const Bytes& frame) { return GetU16(frame, 16); }

TEST(WlanfwNode, DroppedDatagramsAreLoggedAndUnanswered) {
    testsupport::SimEnv env;
    Peer peer(env.Path(wf::WlanFirmware::kNode));
    // steer "test": load the test firmware first
    struct Row { const char* steer; Bytes datagram; const char* logged; } const rows[] = {
        {"", SelectRadioReq(1),
         "wlanfw: 0x901A select_radio_req -> no answer (firmware rk720 is not the test firmware)"},
        {"test", {}, "wlanfw: ignored 0-byte frame (shorter than a signal head)"},
        {"", Signal(0x1234, 22), "wlanfw: ignored frame of unknown signal 0x1234 (22 bytes)"},
        {"", Bytes(4097, 0x07), "wlanfw: ignored 4097-byte frame (longer than 4096)"},
        {"silent", CwStartReq(), "wlanfw: 0x9005 cw_start_req -> silent"},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.logged);
        if (std::string(row.steer) == "test") {
            ASSERT_TRUE(env.LoadTestFirmware());
        }
        env.WlanFw().SetSilent(std::string(row.steer) == "silent");
        const std::uint64_t mark = env.Sim().Log().Count();
        peer.Send(row.datagram);
        ASSERT_TRUE(env.Sim().Log().WaitFor(row.logged, 10s, mark));
        EXPECT_TRUE(peer.Receive(0ms).empty()) << "the line is written after any answer went out";
    }
    env.WlanFw().SetSilent(false);
    peer.Send(CwStopReq());
    // Header: total, frame number, zero, signal length; then the 16-byte confirm with the sender and result 48:
    // the silenced tone never started.
    const Bytes answer = peer.Receive();
    EXPECT_EQ(ToHex(answer), "20 00 00 00 01 00 00 00 00 00 00 00 10 00 00 00 "
                             "03 91 00 00 01 c0 00 00 00 00 30 00 00 00 00 00");
    Bytes largest = SetTx(0);
    largest.resize(wf::WlanFirmware::kMaxDatagram, 0xEE);  // bytes past the announced bulk are not read
    peer.Send(largest);
    const Bytes next = peer.Receive();
    EXPECT_EQ(ConfirmId(next), 0x9102);
    EXPECT_EQ(GetU32(next, 4), GetU32(answer, 4) + 1) << "the header counts the frames sent";
}

TEST(WlanfwNode, NewestClientTakesTheNodeOver) {
    testsupport::SimEnv env;
    ASSERT_TRUE(env.LoadTestFirmware());
    const std::string node = env.Path(wf::WlanFirmware::kNode);
    Peer first(node);
    std::uint64_t mark = env.Sim().Log().Count();
    {
        Peer second(node);
        ASSERT_TRUE(env.Sim().Log().WaitFor("wlanfw: client replaced by a new connection", 10s, mark));
        EXPECT_TRUE(first.Closed());
        env.WlanFw().SetChatter(50);  // gone before this chatty answer went out
        second.Send(SelectRadioReq(1));
        mark = env.Sim().Log().Count();
    }
    Peer third(node);
    ASSERT_TRUE(env.Sim().Log().WaitFor("wlanfw: client connected", 10s, mark));
    env.WlanFw().SetChatter(0);
    third.Send(SelectRadioReq(2));
    EXPECT_EQ(ConfirmId(third.Receive()), 0x9112) << "nothing of the old exchange reaches the new client";
}

TEST(WlanfwNode, LifeFromStartToStop) {
    testsupport::TempDir dir;
    ASSERT_EQ(::mkdir((dir / "dev").c_str(), 0755), 0);
    const std::string node = dir / "dev/q7c3310udi0";
    const auto host = [](const std::string& path) {
        return wf::FirmwareHost{path, [](const std::string&) {}, [] { return wf::FirmwareView{"rk720_t", true, 0}; }};
    };
    wf::WlanFirmware fw;
    EXPECT_THROW(fw.Start(host(dir / "missing/q7c3310udi0")), std::runtime_error);
    EXPECT_THROW(fw.Start(wf::FirmwareHost{node, nullptr, [] { return wf::FirmwareView{}; }}), std::runtime_error);
    // A socket left behind by a crashed run is replaced.
    const int stale = ::socket(AF_UNIX, SOCK_SEQPACKET, 0);
    const sockaddr_un address = Address(node);
    ASSERT_EQ(::bind(stale, reinterpret_cast<const sockaddr*>(&address), sizeof address), 0);
    ::close(stale);
    ASSERT_NO_THROW(fw.Start(host(node)));
    EXPECT_THROW(fw.Start(host(node)), std::runtime_error) << "already running";
    {
        Peer peer(node);
        fw.SetDelay(1h);
        peer.Send(SelectRadioReq(2));
        ASSERT_TRUE(testsupport::WaitUntil([&] { return fw.RequestCount(0x901A) == 1; }, 10s));
        fw.Stop();
        EXPECT_TRUE(peer.Closed()) << "Stop ends an answer that waits, sending nothing";
    }
    fw.Stop();
    EXPECT_FALSE(fw.Running());
    EXPECT_NE(::access(node.c_str(), F_OK), 0) << "the node goes with the firmware";
    // Anything but a socket at the node is left alone.
    ASSERT_TRUE(testsupport::WriteFile(node, "not a socket"));
    EXPECT_THROW(fw.Start(host(node)), std::runtime_error);
    EXPECT_EQ(testsupport::ReadFile(node), "not a socket");
}

// The burst counts at each start; counts and readings a test sets win.
TEST(WlanfwTester, BurstCountsAtTheReceiverStartUnlessSteered) {
    testsupport::SimEnv env;
    ASSERT_TRUE(env.LoadTestFirmware());
    env.WlanFw().SetRxRate(0);
    Peer peer(env.Path(wf::WlanFirmware::kNode));
    // Read after a start: total, good, then RSSI cur, av, min, max.
    const std::pair<const char*, const char*> rows[] = {
        {"", "1000 992 -55 -55 -58 -53"}, {"tester=off", "0 0 -52 -50 -58 -45"},
        {"tester=1,1000,-120", "1 0 -120 -120 -123 -118"}, {"tester=4294967295,0,-1", "4294967295 4294967295 -1 -1 -4 1"},
        {"rx-counts=10,7", "10 7 -1 -1 -4 1"}};
    std::string error;
    for (const auto& [steer, expected] : rows) {
        Bytes read;
        for (const Bytes& request : {RxStopReq(), RxStartReq(), RxReadReq({0xE000, 0xE001})}) {
            // Set once the receiver has stopped: counts set then wait for the start.
            const bool steerNow = GetU16(request, 0) == wf::kRxStartReq && *steer;
            ASSERT_TRUE(!steerNow || wf::ApplySetting(env.WlanFw(), steer, error)) << error;
            peer.Send(request);
            read = peer.Receive();
        }
        const std::size_t bulk = 16 + GetU32(read, 12);
        std::string outcome = std::to_string(GetU32(read, bulk + 2)) + " " + std::to_string(GetU32(read, bulk + 6));
        for (std::size_t at = 36; at < 44; at += 2) outcome += " " + std::to_string(std::int16_t(GetU16(read, at)));
        EXPECT_EQ(outcome, expected) << steer;
    }
    EXPECT_FALSE(wf::ApplySetting(env.WlanFw(), "tester=0,8,-55", error));
    EXPECT_EQ(error, "bad value for wlanfw setting tester: 0,8,-55 (want FRAMES,PERMILLE,LEVEL: 1 to 4294967295 frames, "
                     "0 to 1000, -120 to 0 dBm; or off)");
}

}  // namespace
