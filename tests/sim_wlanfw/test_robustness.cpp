// Whatever arrives on the node, the firmware neither crashes nor answers
// nonsense: short and unknown frames are dropped, oversized ones skipped,
// random ones answered with well-formed frames or not at all; clients come
// and go; the node's life follows Start and Stop.
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <cstring>
#include <fstream>
#include <random>
#include <string>
#include <vector>

#include "fw_fixture.h"

namespace wlanfw_test {
namespace {

namespace wf = tavo::sim::wlanfw;

using WlanfwRobustnessTest = WlanFwTest;

TEST_F(WlanfwRobustnessTest, ShortAndUnknownFramesAreDroppedAndLogged) {
    struct Row {
        Bytes datagram;
        std::string logged;
    };
    Bytes unknown = Signal(0x1234, 22);
    Bytes confirmId = Signal(0x9102, 16);  // a confirm sent back is no request
    Bytes nineBytes = Signal(0x9007, 46);
    nineBytes.resize(9);
    const std::vector<Row> rows = {
        {{}, "wlanfw: ignored 0-byte frame (shorter than a signal head)"},
        {{0x07}, "wlanfw: ignored 1-byte frame (shorter than a signal head)"},
        {{0x07, 0x90}, "wlanfw: ignored 2-byte frame (shorter than a signal head)"},
        {nineBytes, "wlanfw: ignored 9-byte frame (shorter than a signal head)"},
        {unknown, "wlanfw: ignored frame of unknown signal 0x1234 (22 bytes)"},
        {confirmId, "wlanfw: ignored frame of unknown signal 0x9102 (16 bytes)"},
        {Bytes(5000, 0x07), "wlanfw: ignored 5000-byte frame (longer than 4096)"},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.logged);
        ExpectNoAnswer(row.datagram, row.logged);
    }
    EXPECT_EQ(fw_.LastRequest(0x1234), unknown);
    EXPECT_EQ(ResultOf(SelectRadioReq(1)), 0) << "the firmware still answers";
}

TEST_F(WlanfwRobustnessTest, BytesBeyondTheAnnouncedBulkAreIgnored) {
    Bytes request = SetTxParamsReq(TxParams{});
    request.resize(wf::WlanFirmware::kMaxDatagram, 0xEE);  // the largest datagram taken
    EXPECT_EQ(ResultOf(request), 0);
    Bytes read = RxReadReq({0xE000});
    read.push_back(0x01);
    read.push_back(0xE0);
    ASSERT_EQ(ResultOf(RxStartReq()), 0);
    const Frame f = Exchange(read);
    EXPECT_EQ(U16(f.bulk, 0), 1) << "only the announced counter";
}

// Checks a frame the firmware sent: a header that fits the datagram and a
// head that agrees with it.
void ExpectWellFormed(const Bytes& raw) {
    ASSERT_GE(raw.size(), 16u + 10u);
    EXPECT_EQ(U32(raw, 0), raw.size());
    const std::uint32_t signalLength = U32(raw, 12);
    ASSERT_LE(signalLength, raw.size() - 16);
    ASSERT_GE(signalLength, 12u);
    EXPECT_EQ(U16(raw, 16 + 8), raw.size() - 16 - signalLength) << "bulk length";
}

TEST_F(WlanfwRobustnessTest, RandomDatagramsGetWellFormedAnswersOrNone) {
    std::mt19937 random(20240611);
    const std::vector<std::uint16_t> ids = {0x2001, 0x9005, 0x9006, 0x9007, 0x9008, 0x9009, 0x900A,
                                            0x900B, 0x900C, 0x900D, 0x901A, 0x901F, 0x9FFF, 0x0000};
    fw_.RemoveMib(0);  // the markers below must be unknown psids
    for (int batch = 0; batch < 40; ++batch) {
        for (int i = 0; i < 50; ++i) {
            Bytes datagram(random() % 120);
            for (std::uint8_t& byte : datagram) byte = static_cast<std::uint8_t>(random());
            if (datagram.size() >= 2 && random() % 4 != 0) Put16(datagram, 0, ids[random() % ids.size()]);
            if (datagram.size() >= 10 && random() % 2 == 0) Put16(datagram, 8, static_cast<std::uint16_t>(random() % 64));
            client_->Send(datagram);
        }
        // A marker request, answered after everything sent before it.
        const std::uint16_t marker = static_cast<std::uint16_t>(50000 + batch);
        client_->Send(MibGetReq(marker));
        for (;;) {
            const std::optional<Bytes> raw = client_->Receive();
            ASSERT_TRUE(raw.has_value()) << "batch " << batch;
            ExpectWellFormed(*raw);
            const Frame f = SplitFrame(*raw);
            if (f.Id() == 0x2101 && U16(f.bulk, 0) == marker) break;
        }
    }
    EXPECT_EQ(ResultOf(SelectRadioReq(3)), 0);
}

TEST_F(WlanfwRobustnessTest, NewConnectionAfterCloseIsServed) {
    for (int session = 0; session < 3; ++session) {
        SCOPED_TRACE(session);
        const std::size_t from = log_.Count();
        client_.reset();
        ASSERT_TRUE(log_.WaitFor("wlanfw: client disconnected", from));
        client_ = std::make_unique<Client>(NodePath());
        ASSERT_TRUE(client_->Connected());
        EXPECT_EQ(ResultOf(SelectRadioReq(1)), 0);
    }
}

TEST_F(WlanfwRobustnessTest, NewerConnectionTakesTheNodeOver) {
    const std::size_t from = log_.Count();
    Client second(NodePath());
    ASSERT_TRUE(log_.WaitFor("wlanfw: client replaced by a new connection", from));
    second.Send(SelectRadioReq(2));
    const std::optional<Bytes> raw = second.Receive();
    ASSERT_TRUE(raw.has_value());
    EXPECT_EQ(SplitFrame(*raw).Id(), 0x9112);
    EXPECT_FALSE(client_->Receive().has_value());
    EXPECT_TRUE(client_->Ended());
}

TEST_F(WlanfwRobustnessTest, ClientGoneBeforeTheAnswerIsHarmless) {
    fw_.SetChatter(50, std::chrono::milliseconds(0));
    client_->Send(SelectRadioReq(1));
    client_.reset();
    client_ = std::make_unique<Client>(NodePath());
    fw_.SetChatter(0);
    // Frames of the old exchange never reach the new client.
    const Frame f = Exchange(SelectRadioReq(2));
    EXPECT_EQ(f.Id(), 0x9112);
}

TEST_F(WlanfwRobustnessTest, NodeFollowsStartAndStop) {
    struct stat st;
    ASSERT_EQ(::lstat(NodePath().c_str(), &st), 0);
    EXPECT_TRUE(S_ISSOCK(st.st_mode));
    EXPECT_THROW(fw_.Start(Host()), std::runtime_error) << "already running";
    fw_.Stop();
    fw_.Stop();
    EXPECT_NE(::lstat(NodePath().c_str(), &st), 0) << "the node is removed";
    EXPECT_FALSE(fw_.Running());
    ASSERT_NO_THROW(fw_.Start(Host()));
    client_ = std::make_unique<Client>(NodePath());
    EXPECT_EQ(ResultOf(SelectRadioReq(1)), 0);
}

TEST_F(WlanfwRobustnessTest, StaleSocketIsReplacedButNothingElse) {
    fw_.Stop();
    // A socket left behind by a crashed run.
    {
        const int fd = ::socket(AF_UNIX, SOCK_SEQPACKET, 0);
        struct sockaddr_un address;
        std::memset(&address, 0, sizeof address);
        address.sun_family = AF_UNIX;
        std::strncpy(address.sun_path, NodePath().c_str(), sizeof address.sun_path - 1);
        ASSERT_EQ(::bind(fd, reinterpret_cast<struct sockaddr*>(&address), sizeof address), 0);
        ::close(fd);
    }
    ASSERT_NO_THROW(fw_.Start(Host()));
    client_ = std::make_unique<Client>(NodePath());
    EXPECT_EQ(ResultOf(SelectRadioReq(1)), 0);
    client_.reset();
    fw_.Stop();

    { std::ofstream(NodePath()) << "not a socket"; }
    EXPECT_THROW(fw_.Start(Host()), std::runtime_error);
    std::ifstream kept(NodePath());
    std::string text;
    std::getline(kept, text);
    EXPECT_EQ(text, "not a socket");
    EXPECT_FALSE(fw_.Running());
}

TEST_F(WlanfwRobustnessTest, StartFailsClearlyWithoutADirectoryOrHost) {
    fw_.Stop();
    wf::FirmwareHost host = Host();
    host.nodePath = root_.Path() + "/missing/q7c3310udi0";
    EXPECT_THROW(fw_.Start(host), std::runtime_error);
    host = Host();
    host.nodePath = root_.Path() + "/" + std::string(200, 'x');
    EXPECT_THROW(fw_.Start(host), std::runtime_error);
    host = Host();
    host.log = nullptr;
    EXPECT_THROW(fw_.Start(host), std::runtime_error);
    EXPECT_FALSE(fw_.Running());
}

}  // namespace
}  // namespace wlanfw_test
