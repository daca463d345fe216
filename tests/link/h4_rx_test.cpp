// The H4 receive machine fed bytes directly, whole and in every split. The
// controller's end (commands) is read by the capture tap in tests/capture.
#include <gtest/gtest.h>

#include <random>
#include <string>
#include <vector>

#include "link/phys/h4/h4_rx_machine.h"
#include "support/wire.h"

namespace {

using testwire::Bytes;
using testwire::FromHex;

struct Recorder : H4RxMachine::Receiver {
    std::vector<std::string> got;  // "kind:hex" per packet, "sync" per loss
    void onPacket(H4RxMachine::Indicator kind, unsigned char* data, unsigned int length) override {
        got.push_back(std::to_string(kind) + ":" + testwire::ToHex(Bytes(data, data + length)));
    }
    void onSyncLoss() override { got.push_back("sync"); }
};

// Byte by byte, whole, and in random splits of 1 to 300 bytes: the same packets.
void ExpectDelivered(const Bytes& line, const std::vector<std::string>& want) {
    std::mt19937 random(7);
    for (int way = 0; way < 3; ++way) {
        SCOPED_TRACE(way);
        H4RxMachine machine;
        Recorder recorder;
        size_t at = 0;
        while (at < line.size()) {
            size_t n = way == 0 ? 1 : way == 1 ? line.size() : 1 + random() % 300;
            n = std::min(n, line.size() - at);
            machine.Feed(line.data() + at, n, recorder);
            at += n;
        }
        EXPECT_EQ(recorder.got, want);
    }
}

// The longest packet of a kind: its header, then `fill` up to the length.
std::pair<Bytes, std::string> Longest(const std::string& header, size_t length, uint8_t fill) {
    Bytes line = FromHex(header);
    line.insert(line.end(), length, fill);
    return {line, std::to_string(line[0]) + ":" + testwire::ToHex(Bytes(line.begin() + 1, line.end()))};
}

// Runs of garbage and resynchronisation under noise are tests/campaign's.
TEST(H4Receive, DeliversEveryKindWholeInAnySplit) {
    const auto [maxEvent, event] = Longest("04 ff ff", 255, 0xEE);
    const auto [maxAcl, acl] = Longest("02 01 20 ff ff", 65535, 0xAA);
    const auto [maxSco, sco] = Longest("03 02 00 ff", 255, 0x55);
    struct Row {
        const char* name;
        Bytes line;
        std::vector<std::string> want;
    } rows[] = {
        {"command complete", FromHex("04 0e 04 01 03 0c 00"), {"4:0e 04 01 03 0c 00"}},
        {"an event of length 0 is its two header bytes", FromHex("04 13 00 04 0f 00"), {"4:13 00", "4:0f 00"}},
        {"longest event", maxEvent, {event}},
        {"longest ACL", maxAcl, {acl}},
        {"longest SCO", maxSco, {sco}},
        {"a command indicator at the host end is garbage", FromHex("01 04 0f 00"), {"sync", "4:0f 00"}},
    };
    for (const Row& r : rows) {
        SCOPED_TRACE(r.name);
        ExpectDelivered(r.line, r.want);
    }
}

TEST(H4Receive, AsksForAtMost256BytesAndAsksAgainAfterAnEmptyRead) {
    H4RxMachine machine;
    Recorder recorder;
    std::vector<unsigned long> asked;
    const Bytes header = FromHex("02 01 00 e8 03");  // ACL, 1000 payload bytes
    for (size_t i = 0; i < header.size(); ++i) {
        if (i == 2) {
            machine.Completed(0, recorder);  // an empty read asks again for the rest of the header
            ASSERT_EQ(machine.NextReadLength(), 3u);
        }
        *machine.NextReadBuffer() = header[i];
        machine.Completed(1, recorder);
    }
    while (recorder.got.empty()) {
        asked.push_back(machine.NextReadLength());
        std::fill_n(machine.NextReadBuffer(), asked.back(), 0x11);
        machine.Completed(asked.back(), recorder);
    }
    EXPECT_EQ(asked, (std::vector<unsigned long>{252, 256, 256, 236}));
    ASSERT_EQ(recorder.got.size(), 1u);
    EXPECT_EQ(recorder.got[0].size(), 2 + 3 * 1004 - 1);
}

}  // namespace
