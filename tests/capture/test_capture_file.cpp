// The capture files byte by byte: the pcapng blocks and the btsnoop records
// the library writes, the statistics at the end, a full buffer, many
// threads at once, and a process that dies.
#include <gtest/gtest.h>

#include <signal.h>
#include <sys/wait.h>

#include <chrono>
#include <cstdlib>
#include <map>
#include <memory>
#include <thread>
#include <vector>

#include "capture/pcapng_reader.h"
#include "enginefw/capture.h"
#include "link/phys/h4/h4_capture_tap.h"
#include "support/chores.h"

namespace {

using namespace std::chrono_literals;
using capturetest::Be32;
using capturetest::Be64;
using capturetest::Block;
using capturetest::U32;
using testsupport::ReadFile;
using testsupport::ScopedEnv;
using testsupport::TempDir;

// Both capture files in a temporary directory for the scope; the capture
// reads the environment anew at both ends.
class CaptureScope {
public:
    CaptureScope() : pcap_("TAVO_CAPTURE", dir_ / "run.pcapng"), snoop_("TAVO_BTSNOOP", dir_ / "run.btsnoop") {
        capture::Shutdown();
    }
    ~CaptureScope() {
        capture::Shutdown();
        capture::SetBufferLimitForTesting(0);
    }
    std::string Pcapng() const { return ReadFile(dir_ / "run.pcapng").value_or(""); }
    std::string Btsnoop() const { return ReadFile(dir_ / "run.btsnoop").value_or(""); }
    std::string Path(const std::string& name) const { return dir_ / name; }

private:
    TempDir dir_;
    ScopedEnv pcap_;
    ScopedEnv snoop_;
};

std::vector<Block> Of(const std::vector<Block>& blocks, uint32_t type) {
    std::vector<Block> out;
    for (const Block& b : blocks) {
        if (b.type == type) out.push_back(b);
    }
    return out;
}

std::string Bytes(std::initializer_list<int> bytes) {
    std::string s;
    for (int b : bytes) s += static_cast<char>(b);
    return s;
}

constexpr uint32_t kShb = 0x0A0D0D0A, kIdb = 1, kEpb = 6, kIsb = 5;

TEST(CaptureFile, EveryRecordHasItsByteLayout) {
    CaptureScope scope;
    const uint8_t reset[] = {0x03, 0x0c, 0x00};
    const uint8_t complete[] = {0x0e, 0x04, 0x01, 0x03, 0x0c, 0x00};
    const uint8_t request[] = {0x09, 0x90, 0x00, 0x00, 0x01, 0xc0};
    const uint8_t confirm[] = {0x13, 0x00, 0x00, 0x00, 0xaa};
    const auto before = std::chrono::system_clock::now();
    capture::H4Packet(capture::kSent, 1, reset, sizeof reset);
    capture::AtCommand("AT+WIFIRF=0,1,1,0");
    capture::WlanFrame(capture::kSent, request, sizeof request);
    capture::WlanFrame(capture::kReceived, confirm, sizeof confirm);
    capture::H4Packet(capture::kReceived, 4, complete, sizeof complete);
    // A result buffer with no NUL in it is read no further than its size.
    const char unterminated[4] = {'O', 'K', 'X', 'Y'};
    capture::AtResult("AT+WIFIRF=0,1,1,0", 0, unterminated, 2);
    capture::AtResult("AT+X", 4, nullptr, 1024);
    capture::Shutdown();
    const auto after = std::chrono::system_clock::now();

    std::string error;
    const std::vector<Block> blocks = capturetest::ReadBlocks(scope.Pcapng(), error);
    ASSERT_EQ(error, "");
    ASSERT_GE(blocks.size(), 4u);
    EXPECT_EQ(blocks[0].type, kShb);
    EXPECT_EQ(U32(blocks[0].body, 0), 0x1A2B3C4Du);
    const std::vector<Block> idbs = Of(blocks, kIdb);
    ASSERT_EQ(idbs.size(), 3u);
    const uint16_t linkTypes[] = {201, 147, 148};
    for (size_t i = 0; i < 3; ++i) EXPECT_EQ(U32(idbs[i].body, 0) & 0xFFFF, linkTypes[i]) << i;

    struct Expected {
        uint32_t interface;
        std::string data;
    };
    const std::vector<Expected> expected = {
        {0, Bytes({0, 0, 0, 0, 1, 0x03, 0x0c, 0x00})},
        {2, Bytes({0, 0, 0, 0, 0, 0, 17}) + "AT+WIFIRF=0,1,1,0"},
        {1, Bytes({0, 0, 0, 0, 0x09, 0x90, 0x00, 0x00, 0x01, 0xc0})},
        {1, Bytes({0, 0, 0, 1, 0x13, 0x00, 0x00, 0x00, 0xaa})},
        {0, Bytes({0, 0, 0, 1, 4, 0x0e, 0x04, 0x01, 0x03, 0x0c, 0x00})},
        {2, Bytes({1, 0, 0, 0, 0, 0, 17}) + "AT+WIFIRF=0,1,1,0OK"},
        {2, Bytes({1, 0, 0, 0, 4, 0, 4}) + "AT+X"},
    };
    const std::vector<Block> epbs = Of(blocks, kEpb);
    ASSERT_EQ(epbs.size(), expected.size());
    const uint64_t fromUs = static_cast<uint64_t>(
        std::chrono::duration_cast<std::chrono::microseconds>(before.time_since_epoch()).count());
    const uint64_t toUs = static_cast<uint64_t>(
        std::chrono::duration_cast<std::chrono::microseconds>(after.time_since_epoch()).count());
    uint64_t last = 0;
    for (size_t i = 0; i < epbs.size(); ++i) {
        const capturetest::Packet p = capturetest::ReadPacket(epbs[i]);
        EXPECT_EQ(p.interface, expected[i].interface) << i;
        EXPECT_EQ(p.data, expected[i].data) << i;
        EXPECT_EQ(U32(epbs[i].body, 16), p.data.size()) << "original length " << i;
        EXPECT_GE(p.us, last) << i;
        EXPECT_GE(p.us + 1000, fromUs) << i;
        EXPECT_LE(p.us, toUs + 1000) << i;
        last = p.us;
    }
    // The statistics at the end: packets per interface, none dropped.
    const std::vector<Block> isbs = Of(blocks, kIsb);
    ASSERT_EQ(isbs.size(), 3u);
    const uint64_t received[] = {2, 2, 3};
    for (uint32_t i = 0; i < 3; ++i) {
        EXPECT_EQ(U32(isbs[i].body, 0), i);
        EXPECT_EQ(capturetest::Option64(isbs[i].body, 12, 4), received[i]) << i;
        EXPECT_EQ(capturetest::Option64(isbs[i].body, 12, 5), 0u) << i;
    }
    EXPECT_EQ(blocks.back().type, kIsb);

    // btsnoop: the header, then the H4 packets alone, big-endian.
    const std::string snoop = scope.Btsnoop();
    ASSERT_EQ(snoop.size(), 16u + (24 + 4) + (24 + 7));
    EXPECT_EQ(snoop.substr(0, 16), std::string("btsnoop\0", 8) + Bytes({0, 0, 0, 1, 0, 0, 0x03, 0xEA}));
    struct Record {
        uint32_t flags;
        std::string data;
    };
    const Record records[] = {{2, Bytes({1, 0x03, 0x0c, 0x00})}, {3, Bytes({4, 0x0e, 0x04, 0x01, 0x03, 0x0c, 0x00})}};
    size_t at = 16;
    for (const Record& r : records) {
        EXPECT_EQ(Be32(snoop, at), r.data.size());
        EXPECT_EQ(Be32(snoop, at + 4), r.data.size());
        EXPECT_EQ(Be32(snoop, at + 8), r.flags);
        EXPECT_EQ(Be32(snoop, at + 12), 0u);
        const uint64_t us = Be64(snoop, at + 16) - 0x00dcddb30f2f8000ull;
        EXPECT_GE(us + 1000, fromUs);
        EXPECT_LE(us, toUs + 1000);
        EXPECT_EQ(snoop.substr(at + 24, r.data.size()), r.data);
        at += 24 + r.data.size();
    }
}

// The comment option of a packet block, or "" when it has none.
std::string Comment(const Block& b) {
    size_t at = 20 + ((U32(b.body, 12) + 3u) & ~3u);
    while (at + 4 <= b.body.size()) {
        const uint16_t code = static_cast<uint16_t>(U32(b.body, at) & 0xFFFF);
        const uint16_t length = static_cast<uint16_t>(U32(b.body, at) >> 16);
        if (code == 0) break;
        if (code == 1) return b.body.substr(at + 4, length);
        at += 4 + ((length + 3u) & ~3u);
    }
    return "";
}

TEST(CaptureFile, TheUartTapCutsPacketsFromAnySplitAndNotesBytesOutOfStep) {
    CaptureScope scope;
    H4CaptureTap tap;
    // A command the way the H4 stack writes it, indicator first, one byte at a time.
    const std::string command = Bytes({1, 0x03, 0x0c, 0x00});
    for (char c : command) tap.Sent(reinterpret_cast<const unsigned char*>(&c), 1);
    // Twenty bytes of line noise, then an event, then another in the same read.
    std::string line;
    for (int i = 0; i < 20; ++i) line += static_cast<char>(i % 2 == 0 ? 0xff : 0x00);
    const std::string event = Bytes({4, 0x0e, 0x04, 0x01, 0x03, 0x0c, 0x00});
    line += event + event;
    tap.Received(reinterpret_cast<const unsigned char*>(line.data()), line.size());
    capture::Shutdown();

    std::string error;
    const std::vector<Block> epbs = Of(capturetest::ReadBlocks(scope.Pcapng(), error), kEpb);
    ASSERT_EQ(error, "");
    ASSERT_EQ(epbs.size(), 3u);
    const std::string sent = Bytes({0, 0, 0, 0});
    const std::string received = Bytes({0, 0, 0, 1});
    EXPECT_EQ(capturetest::ReadPacket(epbs[0]).data, sent + command);
    EXPECT_EQ(Comment(epbs[0]), "");
    EXPECT_EQ(capturetest::ReadPacket(epbs[1]).data, received + event);
    EXPECT_EQ(Comment(epbs[1]),
              "out of step before this packet: 20 bytes skipped (ff 00 ff 00 ff 00 ff 00 ff 00 ff 00 ff 00 ff 00 ...)");
    EXPECT_EQ(capturetest::ReadPacket(epbs[2]).data, received + event);
    EXPECT_EQ(Comment(epbs[2]), "");
}

TEST(CaptureFile, RecordsThatFindTheBufferFullAreCountedAtTheEnd) {
    CaptureScope scope;
    // No packet block fits: every one is dropped, and counted.
    capture::SetBufferLimitForTesting(16);
    const uint8_t packet[] = {0x03, 0x0c, 0x00};
    for (int i = 0; i < 25; ++i) capture::H4Packet(capture::kSent, 1, packet, sizeof packet);
    for (int i = 0; i < 5; ++i) capture::AtCommand("AT");
    const capture::Counts counts = capture::CurrentCounts();
    EXPECT_EQ(counts.dropped[capture::kH4], 25u);
    EXPECT_EQ(counts.dropped[capture::kAt], 5u);
    capture::Shutdown();

    std::string error;
    const std::vector<Block> blocks = capturetest::ReadBlocks(scope.Pcapng(), error);
    ASSERT_EQ(error, "");
    EXPECT_TRUE(Of(blocks, kEpb).empty());
    const std::vector<Block> isbs = Of(blocks, kIsb);
    ASSERT_EQ(isbs.size(), 3u);
    const uint64_t dropped[] = {25, 0, 5};
    for (uint32_t i = 0; i < 3; ++i) {
        EXPECT_EQ(capturetest::Option64(isbs[i].body, 12, 4), 0u) << i;
        EXPECT_EQ(capturetest::Option64(isbs[i].body, 12, 5), dropped[i]) << i;
    }
}

TEST(CaptureFile, PacketsFromManyThreadsAreAllThereInTimeOrder) {
    CaptureScope scope;
    constexpr int kThreads = 4;
    constexpr int kPackets = 2000;
    std::vector<std::thread> threads;
    for (int t = 0; t < kThreads; ++t) {
        threads.emplace_back([t] {
            for (int i = 0; i < kPackets; ++i) {
                const uint8_t packet[] = {static_cast<uint8_t>(t), static_cast<uint8_t>(i >> 8),
                                          static_cast<uint8_t>(i)};
                if (t % 2 == 0) {
                    capture::H4Packet(capture::kReceived, 2, packet, sizeof packet);
                } else {
                    capture::WlanFrame(capture::kSent, packet, sizeof packet);
                }
            }
        });
    }
    for (std::thread& t : threads) t.join();
    capture::Shutdown();

    std::string error;
    const std::vector<Block> epbs = Of(capturetest::ReadBlocks(scope.Pcapng(), error), kEpb);
    ASSERT_EQ(error, "");
    ASSERT_EQ(epbs.size(), static_cast<size_t>(kThreads * kPackets));
    int next[kThreads] = {};
    uint64_t last = 0;
    for (const Block& b : epbs) {
        const capturetest::Packet p = capturetest::ReadPacket(b);
        const size_t body = p.interface == capture::kH4 ? 5 : 4;  // behind the direction (and indicator)
        ASSERT_EQ(p.data.size(), body + 3);
        const int t = static_cast<unsigned char>(p.data[body]);
        const int i = (static_cast<unsigned char>(p.data[body + 1]) << 8) | static_cast<unsigned char>(p.data[body + 2]);
        ASSERT_LT(t, kThreads);
        EXPECT_EQ(i, next[t]++) << "thread " << t;
        EXPECT_GE(p.us, last);
        last = p.us;
    }
}

TEST(CaptureFile, AProcessThatDiesLeavesWholeBlocks) {
    CaptureScope scope;
    capture::Shutdown();  // the child opens the file itself
    testsupport::ChildProcess child([] {
        const uint8_t packet[] = {0x0e, 0x04, 0x01, 0x03, 0x0c, 0x00};
        for (int i = 0; i < 50; ++i) capture::H4Packet(capture::kReceived, 4, packet, sizeof packet);
        capture::Flush();
        std::abort();  // no exit handler runs
    });
    const std::optional<int> status = child.Wait(10s);
    ASSERT_TRUE(status.has_value());
    EXPECT_TRUE(WIFSIGNALED(*status));

    std::string error;
    const std::vector<Block> blocks = capturetest::ReadBlocks(scope.Pcapng(), error);
    EXPECT_EQ(error, "");
    EXPECT_EQ(Of(blocks, kEpb).size(), 50u);
    EXPECT_TRUE(Of(blocks, kIsb).empty());
    EXPECT_EQ(scope.Btsnoop().size(), 16u + 50 * (24 + 7));
}

TEST(CaptureFile, AFileThatCannotBeOpenedLeavesTheCaptureOff) {
    ScopedEnv pcap("TAVO_CAPTURE", "/nonexistent-dir/run.pcapng");
    ScopedEnv snoop("TAVO_BTSNOOP", "");
    capture::Shutdown();
    EXPECT_FALSE(capture::Active());
    const uint8_t packet[] = {0x03, 0x0c, 0x00};
    capture::H4Packet(capture::kSent, 1, packet, sizeof packet);
    EXPECT_EQ(capture::CurrentCounts().written[capture::kH4], 0u);
    capture::Shutdown();
}

}  // namespace
