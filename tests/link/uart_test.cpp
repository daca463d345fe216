// The UART layer on a pseudo-terminal: its settings, the asynchronous read and
// write, the wait results, and a line that hangs up.
#include <gtest/gtest.h>

#include <fcntl.h>
#include <sys/stat.h>
#include <poll.h>
#include <unistd.h>

#include <memory>
#include <string>
#include <vector>

#include "link/phys/posix/uart/uart.h"
#include "platform/platform.h"

namespace {

// The test holds the master; the port under test opens the slave as the
// library does, through /dev/tavo_h4_0 under the platform root.
class Pty {
public:
    Pty() {
        master_ = posix_openpt(O_RDWR | O_NOCTTY);
        if (master_ < 0 || grantpt(master_) != 0 || unlockpt(master_) != 0) return;
        const std::string dev = plat::Root() + "/dev";
        mkdir(dev.c_str(), 0755);
        unlink((dev + "/tavo_h4_0").c_str());
        if (symlink(ptsname(master_), (dev + "/tavo_h4_0").c_str()) == 0) slave_ = "/dev/tavo_h4_0";
    }
    ~Pty() { HangUp(); }
    bool Ok() const { return !slave_.empty(); }
    const char* Slave() const { return slave_.c_str(); }
    void HangUp() {
        if (master_ >= 0) close(master_);
        master_ = -1;
    }
    void Put(const std::string& bytes) { ASSERT_EQ(write(master_, bytes.data(), bytes.size()), (ssize_t)bytes.size()); }
    // What the port wrote, read with a bound.
    std::string Take(size_t n) {
        std::string got;
        while (got.size() < n) {
            pollfd p{master_, POLLIN, 0};
            if (poll(&p, 1, 5000) <= 0) break;
            char buffer[4096];
            const ssize_t r = read(master_, buffer, std::min(sizeof buffer, n - got.size()));
            if (r <= 0) break;
            got.append(buffer, static_cast<size_t>(r));
        }
        return got;
    }

private:
    int master_ = -1;
    std::string slave_;
};

std::unique_ptr<UARTAbstraction> Port(const char* name, unsigned long baud) {
    return std::unique_ptr<UARTAbstraction>(UARTConfiguration(name, baud, UARTConfiguration::none, 1, true, 1).make());
}

// Waits for one result other than a time-out, with a bound.
UARTWaitResult WaitFor(UARTAbstraction& port, unsigned long* count) {
    UARTWaitResult result = waitTimeout;
    for (int i = 0; i < 50 && result == waitTimeout; ++i) result = port.wait(100, count);
    return result;
}

TEST(Uart, ReadsAndWritesWithoutBlockingAndWaitsForEither) {
    Pty pty;
    if (!pty.Ok()) GTEST_SKIP() << "no pseudo-terminal on this host";
    auto port = Port(pty.Slave(), 3000000);
    ASSERT_TRUE(port->open());
    EXPECT_EQ(port->getBaudRate(), 3000000u);
    EXPECT_EQ(port->getName(), pty.Slave());
    unsigned long count = 99;
    unsigned char buffer[8] = {};
    EXPECT_TRUE(port->read(buffer, 0, &count));
    EXPECT_TRUE(port->write(buffer, 0, &count));
    EXPECT_EQ(count, 0u);
    EXPECT_EQ(port->wait(10, &count), waitTimeout);

    const unsigned char hello[] = {0x01, 0x03, 0x0c, 0x00};
    EXPECT_FALSE(port->write(hello, sizeof hello, &count));
    EXPECT_EQ(WaitFor(*port, &count), waitTxDone);
    EXPECT_EQ(pty.Take(4), std::string("\x01\x03\x0c\x00", 4));

    EXPECT_FALSE(port->read(buffer, 3, &count));
    pty.Put("\x04\x0e\x04");
    EXPECT_EQ(WaitFor(*port, &count), waitRxDone);
    EXPECT_EQ(count, 3u);
    EXPECT_EQ(buffer[1], 0x0e);

    port->reqXmit();
    EXPECT_EQ(port->wait(1000, &count), waitXmitRequest);
    port->abortWait();
    port->reqXmit();
    EXPECT_EQ(port->wait(1000, &count), waitAborted);
    EXPECT_EQ(port->wait(1000, &count), waitXmitRequest);
    EXPECT_FALSE(port->setHWFC(static_cast<UARTAbstraction::fcmode>(2)));
    EXPECT_TRUE(port->setHWFC(UARTAbstraction::fc_none));
}

TEST(Uart, AWriteWhileOneIsInFlightIsLost) {
    Pty pty;
    if (!pty.Ok()) GTEST_SKIP() << "no pseudo-terminal on this host";
    auto port = Port(pty.Slave(), 115200);
    ASSERT_TRUE(port->open());
    // More than the line holds: the first write stays in flight until the test reads.
    const std::vector<unsigned char> big(64 * 1024, 0xA5);
    const unsigned char second[] = {0x5A};
    unsigned long count = 0;
    EXPECT_FALSE(port->write(big.data(), big.size(), &count));
    EXPECT_FALSE(port->write(second, 1, &count));
    EXPECT_EQ(pty.Take(big.size()), std::string(big.begin(), big.end()));
    EXPECT_EQ(WaitFor(*port, &count), waitTxDone);
    EXPECT_EQ(port->wait(50, &count), waitTimeout);
}

TEST(Uart, RefusedSettingsLeaveThePortClosed) {
    Pty pty;
    if (!pty.Ok()) GTEST_SKIP() << "no pseudo-terminal on this host";
    auto slow = Port(pty.Slave(), 19200);
    EXPECT_FALSE(slow->open());
    EXPECT_EQ(slow->getBaudRate(), 19200u);
    EXPECT_FALSE(slow->setBaudRate(19200));

    std::unique_ptr<UARTAbstraction> wide(
        UARTConfiguration(L"/dev/tavo_h4_0", 3000000, UARTConfiguration::none, 1, true, 1).make());
    EXPECT_FALSE(wide->open());
    EXPECT_EQ(wide->getName(), "wide?");
    EXPECT_FALSE(Port("/nonexistent/tty", 3000000)->open());
}

TEST(Uart, ALineThatHangsUpFinishesTheReadEmptyAndThenDies) {
    Pty pty;
    if (!pty.Ok()) GTEST_SKIP() << "no pseudo-terminal on this host";
    auto port = Port(pty.Slave(), 3000000);
    ASSERT_TRUE(port->open());
    unsigned char buffer[4];
    unsigned long count = 99;
    port->read(buffer, sizeof buffer, &count);
    pty.HangUp();
    EXPECT_EQ(WaitFor(*port, &count), waitRxDone);
    EXPECT_EQ(count, 0u);
    EXPECT_EQ(WaitFor(*port, &count), waitDied);
    EXPECT_EQ(port->wait(10, &count), waitTimeout);  // said once
}

}  // namespace
