// The simulated Bluetooth controller seen from the host's end of its line:
// the test opens root/dev/tavo_h4_0 and writes and reads literal bytes, so
// that neither the library's framing nor the controller's own code builds
// what is expected.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "sim/btctl/h4_reader.h"
#include "sim/btctl/settings_text.h"
#include "support/sim_env.h"
#include "support/wire.h"

namespace {

namespace bt = tavo::sim::btctl;
using namespace std::chrono_literals;
using testwire::Bytes;
using testwire::FromHex;
using testwire::ToHex;
constexpr auto kBound = 5s;

// The host's end of the line, with plain reads and writes.
class Host {
public:
    explicit Host(const std::string& node) : fd_(::open(node.c_str(), O_RDWR | O_NOCTTY | O_NONBLOCK | O_CLOEXEC)) {}
    ~Host() { ::close(fd_); }
    bool Send(const std::string& hex) {
        const Bytes bytes = FromHex(hex);
        return ::write(fd_, bytes.data(), bytes.size()) == static_cast<ssize_t>(bytes.size());
    }
    // What came until `count` bytes did, the line ended, or the bound passed.
    std::string Receive(std::size_t count = SIZE_MAX) {
        Bytes got;
        const auto end = std::chrono::steady_clock::now() + kBound;
        while (got.size() < count && std::chrono::steady_clock::now() < end) {
            struct pollfd p = {fd_, POLLIN, 0};
            if (::poll(&p, 1, 50) <= 0) continue;
            unsigned char chunk[512];
            const ssize_t n = ::read(fd_, chunk, std::min(sizeof chunk, count - got.size()));
            if (n == 0 || (n < 0 && errno != EAGAIN)) {
                ended_ = true;
                break;
            }
            if (n > 0) got.insert(got.end(), chunk, chunk + n);
        }
        return ToHex(got);
    }
    std::string Exchange(const std::string& hex, std::size_t answerBytes) {
        return Send(hex) ? Receive(answerBytes) : "(write failed)";
    }
    bool Ended() const { return ended_; }
    bool NothingWaiting() const {
        struct pollfd p = {fd_, POLLIN, 0};
        return ::poll(&p, 1, 0) == 0;
    }

private:
    int fd_;
    bool ended_ = false;
};

struct Chip {
    testsupport::SimEnv env;
    Host host{env.Path(bt::BtController::kNode)};
    bt::BtController& ctl() { return env.BtCtl(); }
    bool Logged(const std::string& text) { return env.Sim().Log().WaitFor(text, kBound); }
    void Apply(const std::string& setting) {
        std::string error;
        ASSERT_TRUE(bt::ApplySetting(ctl(), setting, error)) << setting << ": " << error;
    }
};

std::size_t Size(const std::string& hex) { return FromHex(hex).size(); }

TEST(BtCtl, AnswersEachCommandWithItsCommandComplete) {
    Chip chip;
    struct Row { const char* what; const char* command; const char* answer; } const rows[] = {
        {"Read Buffer Size", "01 05 10 00", "04 0e 0b 01 05 10 00 fd 03 40 08 00 08 00"},
        {"LE Read Buffer Size", "01 02 20 00", "04 0e 07 01 02 20 00 fb 00 08"},
        {"Read Local Version", "01 01 10 00", "04 0e 0c 01 01 10 00 0b 00 00 0b ff ff 01 00"},
        {"Set Event Filter without its type", "01 05 0c 00", "04 0e 04 01 05 0c 12"},
        {"Write Scan Enable 3", "01 1a 0c 01 03", "04 0e 04 01 1a 0c 00"},
        {"Write Scan Enable 4", "01 1a 0c 01 04", "04 0e 04 01 1a 0c 12"},
        {"Enable DUT Mode", "01 03 18 00", "04 0e 04 01 03 18 00"},
        {"LE Transmitter Test", "01 1e 20 03 13 25 00", "04 0e 04 01 1e 20 00"},
        {"LE Transmitter Test one byte short", "01 1e 20 02 13 25", "04 0e 04 01 1e 20 12"},
        {"Reset with a byte too many", "01 03 0c 01 00", "04 0e 04 01 03 0c 12"},
        {"unknown opcode", "01 ff ff 00", "04 0e 04 01 ff ff 01"},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.what);
        EXPECT_EQ(chip.host.Exchange(row.command, Size(row.answer)), row.answer);
    }
    // A Reset ends what the commands before started.
    EXPECT_EQ(chip.ctl().ScanEnable(), 3);
    EXPECT_TRUE(chip.ctl().DutMode());
    chip.host.Exchange("01 1e 20 03 13 25 00", 7);
    EXPECT_EQ(chip.ctl().RunningLeTest(), std::optional<std::uint16_t>(0x201E));
    chip.host.Exchange("01 03 0c 00", 7);
    EXPECT_EQ(chip.ctl().ScanEnable(), 0);
    EXPECT_FALSE(chip.ctl().DutMode());
    EXPECT_FALSE(chip.ctl().RunningLeTest().has_value());
}

TEST(BtCtl, VendorPdusComeBackAsResponsesThroughTheEventTunnel) {
    Chip chip;
    // 300 bytes: request type 2, 150 words, sequence 7, varid 0x1234, status 5, then 290 payload bytes.
    Bytes pdu = FromHex("02 00 96 00 07 00 34 12 05 00");
    for (int i = 0; pdu.size() < 300; ++i) pdu.push_back(static_cast<std::uint8_t>(i));
    const auto part = [&pdu](std::size_t from, std::size_t to) {
        return ToHex(Bytes(pdu.begin() + static_cast<long>(from), pdu.begin() + static_cast<long>(to)));
    };
    ASSERT_TRUE(chip.host.Send("01 00 fc ff 42 " + part(0, 254)));
    ASSERT_TRUE(chip.host.Send("01 00 fc 2f 82 " + part(254, 300)));
    EXPECT_EQ(chip.host.Receive(258), "04 ff ff 42 42 01 00 96 00 07 00 34 12 00 00 " + part(10, 253));
    EXPECT_EQ(chip.host.Receive(52), "04 ff 31 42 82 " + part(253, 300));
    EXPECT_EQ(chip.ctl().LastVendorPdu(), std::optional<Bytes>(pdu));
    EXPECT_TRUE(chip.Logged("btctl: vendor PDU of 300 bytes on channel 2 -> response of 300 bytes"));

    EXPECT_EQ(chip.host.Exchange("01 00 fc 0b c2 02 00 05 00 01 00 34 12 09 00", 15),
              "04 ff 0c 42 c2 01 00 05 00 01 00 34 12 00 00");
    // Unanswered, and no Command Complete for any fragment: the next answer is the Reset's.
    struct Row { const char* fragment; const char* log; } const unanswered[] = {
        {"01 00 fc 0a c2 02 00 05 00 01 00 34 12 09", "vendor PDU of 9 bytes on channel 2 -> no answer (shorter"},
        {"01 00 fc 03 c3 aa bb", "btctl: PDU of 2 bytes on channel 3 -> no answer (not the vendor channel)"},
        {"01 00 fc 00", "btctl: tunnel fragment without a descriptor dropped"},
    };
    for (const Row& row : unanswered) {
        ASSERT_TRUE(chip.host.Send(row.fragment));
        EXPECT_TRUE(chip.Logged(row.log)) << row.fragment;
    }
    EXPECT_EQ(chip.host.Exchange("01 03 0c 00", 7), "04 0e 04 01 03 0c 00");
}

TEST(BtCtl, AclDataIsCompletedScoIsNotAndHostGarbageSkipped) {
    Chip chip;
    // Handle 0x123 under packet-boundary flags 2: the flags stay out of the completion.
    ASSERT_TRUE(chip.host.Send("02 23 21 02 00 aa bb 03 01 00 01 cc ff 04 00 01 25 0c 00 05 01 03 0c 00"));
    EXPECT_EQ(chip.host.Receive(8), "04 13 05 01 23 01 01 00");
    EXPECT_EQ(chip.host.Receive(9), "04 0e 06 01 25 0c 00 60 00");
    EXPECT_EQ(chip.host.Receive(7), "04 0e 04 01 03 0c 00");
    EXPECT_EQ(chip.ctl().GarbageSkipped(), 4u);
    EXPECT_EQ(chip.ctl().AclPacketsReceived(0x123), 1u);
}

TEST(BtCtl, HeldCompletionsComeInOneEventInHandleOrder) {
    Chip chip;
    chip.Apply("acl-complete=hold");
    ASSERT_TRUE(chip.host.Send("02 02 00 01 00 aa 02 01 00 01 00 bb 02 02 20 01 00 cc"));
    EXPECT_EQ(chip.host.Exchange("01 03 0c 00", 7), "04 0e 04 01 03 0c 00");
    EXPECT_EQ(chip.ctl().HeldAclCompletions(), (std::map<std::uint16_t, std::uint64_t>{{1, 1}, {2, 2}}));
    chip.Apply("acl-complete=release");
    EXPECT_EQ(chip.host.Receive(12), "04 13 09 02 01 00 01 00 02 00 02 00");
    EXPECT_EQ(chip.host.Exchange("02 01 00 01 00 dd", 8), "04 13 05 01 01 00 01 00");
    EXPECT_TRUE(chip.ctl().HeldAclCompletions().empty());
}

TEST(BtCtl, SteeringShowsOnTheLine) {
    // Each setting holds for every answer after it, but garbage goes out once: the same command is sent twice.
    struct Row { const char* setting; const char* command; std::string answer; const char* log; } const rows[] = {
        {"status=0x0c", "01 09 10 00", "04 0e 0a 01 09 10 0c 13 71 da 7d 1a 00", "btctl: tx 04 0e 0a 01 09 10 0c"},
        {"garbage=DE:ad", "01 03 0c 00", "de ad 04 0e 04 01 03 0c 00", "btctl: tx garbage de ad"},
        {"split=3", "01 05 10 00", "04 0e 0b 01 05 10 00 fd 03 40 08 00 08 00",
         "btctl: tx 04 0e 0b 01 05 10 00 fd 03 40 08 00 08 00 (in "},
        {"bd-addr=01:23:45:67:89:ab", "01 09 10 00", "04 0e 0a 01 09 10 00 ab 89 67 45 23 01", "btctl: rx"},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.setting);
        Chip chip;
        chip.Apply(row.setting);
        EXPECT_EQ(chip.host.Exchange(row.command, Size(row.answer)), row.answer);
        const std::string second = row.answer.substr(row.answer.find("04 "));
        EXPECT_EQ(chip.host.Exchange(row.command, Size(second)), second);
        EXPECT_TRUE(chip.Logged(row.log));
    }
}

// silent: commands read and logged, nothing answered, but events asked for still go out.
TEST(BtCtl, SilenceKeepsAnswersButNotEvents) {
    Chip chip;
    chip.Apply("silent");
    ASSERT_TRUE(chip.host.Send("01 03 0c 00"));
    EXPECT_TRUE(chip.Logged("btctl: no answer (silent)"));
    EXPECT_TRUE(chip.host.NothingWaiting());
    chip.Apply("event=1900");
    EXPECT_EQ(chip.host.Receive(3), "04 19 00");
    chip.Apply("silent=off");
    EXPECT_EQ(chip.host.Exchange("01 25 0c 00", 9), "04 0e 06 01 25 0c 00 60 00");
}

// A hang-up mid-packet cuts the answer, ends the line and removes its link.
TEST(BtCtl, HangUpMidPacket) {
    Chip chip;
    chip.Apply("hangup-mid-packet");
    ASSERT_TRUE(chip.host.Send("01 09 10 00"));
    EXPECT_TRUE(chip.Logged("btctl: tx 04 0e 0a 01 09 10 (cut after 6 of 13 bytes)"));
    EXPECT_EQ(chip.host.Receive(), "04 0e 0a 01 09 10");
    EXPECT_TRUE(chip.host.Ended());
    EXPECT_TRUE(chip.Logged("btctl: hang-up (line closed)"));
    struct stat st {};
    EXPECT_NE(::lstat(chip.env.Path(bt::BtController::kNode).c_str(), &st), 0) << "the link is gone";
}

// vendor-delay holds vendor replies only; a stop ends the answer that waits, and removes the node.
TEST(BtCtl, StopEndsDelayedAnswersAndRemovesTheNode) {
    Chip chip;
    chip.Apply("vendor-delay=600000");
    EXPECT_EQ(chip.host.Exchange("01 03 0c 00", 7), "04 0e 04 01 03 0c 00");
    ASSERT_TRUE(chip.host.Send("01 00 fc 13 c2 02 00 09 00 01 00 04 50 00 00 00 00 00 00 00 00 00 00"));
    ASSERT_TRUE(chip.Logged("btctl: vendor PDU of 18 bytes on channel 2 -> response of 18 bytes"));
    chip.env.Sim().Stop();  // a reply not held would be on the line, and logged, before the stop is seen
    EXPECT_FALSE(chip.env.Sim().Log().Contains("btctl: tx 04 ff"));
    EXPECT_FALSE(chip.ctl().Running());
    EXPECT_EQ(chip.host.Receive(), "");
    EXPECT_TRUE(chip.host.Ended());
    struct stat st {};
    EXPECT_NE(::lstat(chip.env.Path(bt::BtController::kNode).c_str(), &st), 0);
}

TEST(BtCtlSettings, BadSettingsAreRefusedAndChangeNothing) {
    bt::BtController ctl;
    const std::string bytes257(2 * 257, 'a');
    struct Row { std::string setting; const char* error; } const rows[] = {
        {"loud", "unknown btctl setting: loud"}, {"delay", "btctl setting delay needs a value"},
        {"hangup=now", "btctl setting hangup takes no value"}, {"silent=maybe", "bad value for btctl setting silent"},
        {"status=0x100", "bad value for btctl setting status: 0x100"}, {"le-packets=65536", "le-packets: 65536"},
        {"split=4097", "split: 4097"}, {"delay= 5", "delay:  5"}, {"garbage=abc", "garbage: abc"},
        {"bd-addr=01:23:45:67:89", "bd-addr: 01:23:45:67:89"}, {"acl-complete=off", "acl-complete: off"},
        {"event=" + bytes257 + "aa", "event: aaa"},
        {"vendor-status=65536", "vendor-status: 65536"}, {"vendor-delay=-1", "vendor-delay: -1"},
        {"cw-rssi=-128", "cw-rssi: -128"}, {"ber=1000001", "ber: 1000001"},
        {"ber-bits=2147483648", "ber-bits: 2147483648"}, {"fast-sleep=yes", "fast-sleep: yes"},
        {"bt-device=00:11:22:33:44:55,x,0", "btctl setting bt-device: bad RSSI \"0\""},
        {"bt-device=00:11:22:33:44:55,-50,2", "bt-device wants ADDR,NAME,RSSI[,SIGHTINGS]"},
    };
    for (const Row& row : rows) {
        std::string error;
        EXPECT_FALSE(bt::ApplySetting(ctl, row.setting, error)) << row.setting;
        EXPECT_NE(error.find(row.error), std::string::npos) << row.setting << ": " << error;
    }
    EXPECT_EQ(ctl.AddressText() + " " + std::to_string(ctl.LeTestPackets()), "00:1A:7D:DA:71:13 0");
    std::string error;
    const std::string fitting[] = {"status=255", "le-packets=65535", "split=4096", "bd-addr=fe:dc:ba:98:76:54",
                                   "event=" + bytes257, "vendor-status=65535",
                                   "vendor-delay=0xffffffff", "ber=1000000", "ber-bits=2147483647", "cw-rssi=-127",
                                   "fast-sleep", "bt-device=00:11:22:33:44:55,Lab, bench 2,-127,2"};
    for (const std::string& fits : fitting) {
        EXPECT_TRUE(bt::ApplySetting(ctl, fits, error)) << fits << ": " << error;
    }
    EXPECT_EQ(ctl.AddressText() + " " + std::to_string(ctl.LeTestPackets()), "FE:DC:BA:98:76:54 65535");
    ASSERT_EQ(ctl.Devices().size(), 1u);
    EXPECT_EQ(ctl.Devices()[0].name + " " + std::to_string(ctl.Devices()[0].rssi) + " " +
              std::to_string(ctl.Devices()[0].sightings), "Lab, bench 2 -127 2") << "the name may hold commas";
}

// The line may cut a packet anywhere; byte by byte or whole, the same packets come out.
TEST(BtCtlH4Reader, PacketsComeWholeWhateverThePieces) {
    Bytes acl = FromHex("02 01 20 00 01");  // 256 payload bytes: the length's high byte counts
    acl.resize(5 + 256, 0x5a);
    Bytes stream = FromHex("04 0e 01 03 0c 00 ff");
    stream.insert(stream.end(), acl.begin(), acl.end());
    for (const std::uint8_t b : FromHex("03 02 00 01 7e 01 01 fc 00")) stream.push_back(b);
    for (const std::size_t piece : {std::size_t{1}, stream.size()}) {
        SCOPED_TRACE(piece);
        bt::H4Reader reader;
        std::vector<bt::H4Item> items;
        for (std::size_t at = 0; at < stream.size(); at += piece) reader.Feed(&stream[at], piece, items);
        std::vector<std::string> got;
        for (const bt::H4Item& item : items) {
            got.push_back((item.kind == bt::H4Item::Kind::kPacket ? "packet " : "garbage ") + ToHex(item.bytes));
        }
        EXPECT_EQ(got, (std::vector<std::string>{"garbage 04", "packet 01 03 0c 00", "garbage ff", "packet " + ToHex(acl),
                                                 "packet 03 02 00 01 7e", "packet 01 01 fc 00"}));
        EXPECT_EQ(reader.SkippedBytes(), 3u);
    }
}

}  // namespace
