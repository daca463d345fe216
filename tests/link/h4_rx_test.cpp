// The H4 receive machine fed bytes directly, whole and in every split.
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

Bytes Repeat(uint8_t byte, size_t n) { return Bytes(n, byte); }

Bytes Cat(std::initializer_list<Bytes> parts) {
    Bytes all;
    for (const Bytes& p : parts) all.insert(all.end(), p.begin(), p.end());
    return all;
}

TEST(H4Receive, DeliversEveryKindWholeInAnySplit) {
    const Bytes maxEvent = Cat({FromHex("04 ff ff"), Repeat(0xEE, 255)});
    const Bytes maxAcl = Cat({FromHex("02 01 20 ff ff"), Repeat(0xAA, 65535)});
    const Bytes maxSco = Cat({FromHex("03 02 00 ff"), Repeat(0x55, 255)});
    struct Row {
        const char* name;
        Bytes line;
        std::vector<std::string> want;
    } rows[] = {
        {"command complete", FromHex("04 0e 04 01 03 0c 00"), {"4:0e 04 01 03 0c 00"}},
        {"an event of length 0 is its two header bytes", FromHex("04 13 00 04 0f 00"), {"4:13 00", "4:0f 00"}},
        {"longest event", maxEvent, {"4:" + testwire::ToHex(Bytes(maxEvent.begin() + 1, maxEvent.end()))}},
        {"longest ACL", maxAcl, {"2:" + testwire::ToHex(Bytes(maxAcl.begin() + 1, maxAcl.end()))}},
        {"longest SCO", maxSco, {"3:" + testwire::ToHex(Bytes(maxSco.begin() + 1, maxSco.end()))}},
        {"garbage is one loss, then the next packet", FromHex("00 05 ff ff 04 0e 00"), {"sync", "4:0e 00"}},
        {"a command indicator at the host end is garbage", FromHex("01 04 0f 00"), {"sync", "4:0f 00"}},
        {"two runs of garbage are two losses", FromHex("ff 04 10 00 ff 04 10 00"), {"sync", "4:10 00", "sync",
                                                                                      "4:10 00"}},
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

    // At the controller end commands are packets and events are garbage.
    H4RxMachine controller(false);
    Recorder atController;
    const Bytes line = FromHex("04 0e 00 01 03 0c 00");
    controller.Feed(line.data(), line.size(), atController);
    EXPECT_EQ(atController.got, (std::vector<std::string>{"sync", "1:03 0c 00"}));
}

}  // namespace
