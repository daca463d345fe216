// CCommsTestSocket over loopback TCP (on a port the kernel just found free,
// so parallel runs do not collide) and over the abstract Unix name. Open
// blocks in accept, so every client is a Station thread that connects once
// the server has logged that it waits.
#include <gtest/gtest.h>

#include <arpa/inet.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <cstring>
#include <functional>
#include <string>
#include <thread>

#include "CommsTestSocket.h"
#include "support/chores.h"
#include "support/log_capture.h"

namespace {

constexpr char kTag[] = "SOCKET";
constexpr std::chrono::seconds kBound(10);

sockaddr_in Loopback(int port) {
    sockaddr_in a{};
    a.sin_family = AF_INET;
    a.sin_port = htons(static_cast<uint16_t>(port));
    a.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    return a;
}

// A listener on a port of every address that the kernel picked; without
// SO_REUSEADDR, and listening, so nobody else can bind that port.
int HoldPort(int* port) {
    const int fd = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_in a = Loopback(0);
    a.sin_addr.s_addr = htonl(INADDR_ANY);
    socklen_t len = sizeof a;
    if (bind(fd, reinterpret_cast<sockaddr*>(&a), len) != 0 || listen(fd, 1) != 0 ||
        getsockname(fd, reinterpret_cast<sockaddr*>(&a), &len) != 0)
        ADD_FAILURE() << "no scratch listener";
    *port = ntohs(a.sin_port);
    return fd;
}

int FreePort() {
    int port = 0;
    close(HoldPort(&port));
    return port;
}

std::string Waiting(int port) { return "Waiting a client. Port=" + std::to_string(port) + "\n"; }

// Up to `n` bytes, waiting at most kBound for the first; "" on end or error.
std::string Recv(int fd, size_t n) {
    pollfd p{fd, POLLIN, 0};
    std::string s(n, '\0');
    const ssize_t got = poll(&p, 1, static_cast<int>(std::chrono::milliseconds(kBound).count())) == 1 ? read(fd, &s[0], n) : -1;
    s.resize(got > 0 ? static_cast<size_t>(got) : 0);
    return s;
}

template <class Address>
sockaddr_storage Storage(const Address& a) {
    sockaddr_storage s{};
    std::memcpy(&s, &a, sizeof a);
    return s;
}

// A client whose socket exists from construction; it connects on its own
// thread once `ready` is logged, and gives up when the test ends first. A
// failed connect shuts the server's listener down, so that Open ends (1030)
// instead of waiting for a client forever.
class Station {
public:
    Station(const testsupport::LogCapture& log, std::string ready, const CCommsTestSocket& server,
            const sockaddr_storage& to, socklen_t len)
        : fd_(socket(to.ss_family, SOCK_STREAM | SOCK_CLOEXEC, 0)), to_(to) {
        thread_ = std::thread([this, &log, ready, &server, len] {
            if (!testsupport::WaitUntil([&] { return quit_ || log.Contains(kTag, ready); }, kBound) || quit_)
                return;
            connected_ = connect(fd_, reinterpret_cast<sockaddr*>(&to_), len) == 0;
            if (!connected_) shutdown(server.m_listen_fd, SHUT_RDWR);
        });
    }
    Station(const testsupport::LogCapture& log, const CCommsTestSocket& server, int port)
        : Station(log, Waiting(port), server, Storage(Loopback(port)), sizeof(sockaddr_in)) {}
    ~Station() {
        quit_ = true;
        Join();
        close(fd_);
    }
    // The connected socket once the thread is done, -1 if it never connected.
    int Join() {
        if (thread_.joinable()) thread_.join();
        return connected_ ? fd_ : -1;
    }

private:
    int fd_;
    sockaddr_storage to_;
    std::atomic<bool> quit_{false};
    bool connected_ = false;
    std::thread thread_;
};

// A TCP server connected to its one client.
struct Connected {
    testsupport::LogCapture log;
    int port = FreePort();
    CCommsTestSocket sock;
    Station station{log, sock, port};
    int rc = sock.Open(port, 2);
    int client = station.Join();
};

TEST(CommsTestSocket, TcpServesOneClientBothWaysThenClosesAndOpensAgain) {
    Connected c;
    ASSERT_EQ(c.rc, 0);
    ASSERT_GE(c.client, 0);
    ASSERT_EQ(send(c.client, "first", 5, 0), 5);
    char buf[16] = {};
    EXPECT_EQ(c.sock.Read(buf, sizeof buf), 5);
    EXPECT_EQ(std::string(buf, 5), "first");
    EXPECT_EQ(c.sock.Write("pong", 4), 4);
    EXPECT_EQ(Recv(c.client, 16), "pong");

    EXPECT_EQ(c.sock.Close(), 0);
    EXPECT_EQ(Recv(c.client, 16), "") << "the client sees the end of its connection";

    c.log.Clear();
    Station again(c.log, c.sock, c.port);
    ASSERT_EQ(c.sock.Open(c.port, 2), 0);
    EXPECT_GE(again.Join(), 0);
}

TEST(CommsTestSocket, AnyFamilyButTcpListensOnTheAbstractName) {
    // "@wlbt_stream": the leading NUL, the name, no terminator, 14 bytes.
    sockaddr_un to{};
    to.sun_family = AF_UNIX;
    std::memcpy(to.sun_path + 1, "wlbt_stream", 11);
    testsupport::LogCapture log;
    CCommsTestSocket sock;
    Station station(log, "Waiting for android client\n", sock, Storage(to), 14);
    const int rc = sock.Open(1);
    if (rc == 1028) GTEST_SKIP() << "another process holds the abstract name wlbt_stream";
    ASSERT_EQ(rc, 0);
    const int fd = station.Join();
    ASSERT_GE(fd, 0) << "nothing to connect to at the 14-byte abstract address";
    ASSERT_EQ(send(fd, "up", 2, 0), 2);
    char buf[8] = {};
    EXPECT_EQ(sock.Read(buf, sizeof buf), 2);
    EXPECT_EQ(sock.Write("down", 4), 4);
    EXPECT_EQ(Recv(fd, 8), "down");
}

TEST(CommsTestSocket, RefusedCallsAnswerWithTheirCode) {
    Connected c;
    ASSERT_EQ(c.rc, 0);
    ASSERT_GE(c.client, 0);
    ASSERT_EQ(send(c.client, "abc", 3, 0), 3);
    CCommsTestSocket closed;
    char buf[8] = "keep";
    struct Row {
        const char* what;
        CCommsTestSocket& sock;
        std::function<int(CCommsTestSocket&)> call;
        int code;
    } rows[] = {
        {"read before open", closed, [&](auto& s) { return s.Read(buf, 4); }, 1025},
        {"write before open", closed, [](auto& s) { return s.Write("x", 1); }, 1025},
        {"null read", c.sock, [](auto& s) { return s.Read(nullptr, 4); }, 1031},
        {"null write", c.sock, [](auto& s) { return s.Write(nullptr, 4); }, 1025},
        {"second open", c.sock, [](auto& s) { return s.Open(1); }, 1026},
    };
    for (auto& row : rows) EXPECT_EQ(row.call(row.sock), row.code) << row.what;
    EXPECT_STREQ(buf, "keep") << "no refused read touched the buffer";
    EXPECT_EQ(c.sock.Read(buf, 3), 3) << "nor took the client's bytes";
    EXPECT_EQ(c.sock.Write("z", 1), 1);
    EXPECT_EQ(Recv(c.client, 8), "z") << "no refused write sent a byte";
}

TEST(CommsTestSocket, FailedBindKeepsTheSocketUntilClose) {
    int port = 0;
    const int held = HoldPort(&port);
    for (const int bad : {port, 65536}) {
        SCOPED_TRACE(bad);
        CCommsTestSocket sock;
        EXPECT_EQ(sock.Open(bad, 2), 1028);
        ASSERT_GT(sock.m_listen_fd, 0);
        EXPECT_EQ(sock.Open(FreePort(), 2), 1026) << "a retry before Close";
        EXPECT_EQ(sock.Close(), 0);
        EXPECT_EQ(sock.m_listen_fd, 0);
    }
    close(held);
}

}  // namespace
