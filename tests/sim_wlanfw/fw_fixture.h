// A WLAN firmware serving a node in a temporary directory, a client
// connected to it over a real SOCK_SEQPACKET socket, a clock the test
// advances by hand, a log the test can wait on, and the running firmware
// variant under the test's control.
#pragma once

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "sim/wlanfw/wlan_firmware.h"
#include "wire_builder.h"

namespace wlanfw_test {

// Generous bounds for things that happen at once on a healthy machine.
inline constexpr std::chrono::milliseconds kWait{10000};

class ManualClock {
public:
    tavo::sim::wlanfw::TimePoint Now() const;
    void Advance(std::chrono::microseconds step) { micros_ += step.count(); }
    tavo::sim::wlanfw::ClockSource Source() {
        return [this] { return Now(); };
    }

private:
    std::atomic<long long> micros_{1000000};
};

// Lines the firmware logged, to wait on.
class LineLog {
public:
    void Add(const std::string& line);
    std::size_t Count() const;
    std::vector<std::string> Lines() const;
    // Waits until a line numbered `from` or later contains `text`.
    bool WaitFor(const std::string& text, std::size_t from, std::chrono::milliseconds limit = kWait) const;

private:
    mutable std::mutex mutex_;
    mutable std::condition_variable changed_;
    std::vector<std::string> lines_;
};

// The firmware the chip runs, as the test sets it.
class ChipFirmware {
public:
    tavo::sim::wlanfw::FirmwareView View() const;
    // A reload, with this variant.
    void Load(const std::string& variant);

private:
    mutable std::mutex mutex_;
    std::string variant_ = "rk720_t";
    unsigned generation_ = 0;
};

// A temporary directory with a dev/ below it; removed with everything in it.
class TempRoot {
public:
    TempRoot();
    ~TempRoot();
    TempRoot(const TempRoot&) = delete;
    TempRoot& operator=(const TempRoot&) = delete;
    const std::string& Path() const { return path_; }

private:
    std::string path_;
};

// Polls `condition` until it holds, at most `limit`; for state that no
// event announces.
bool WaitUntil(const std::function<bool()>& condition, std::chrono::milliseconds limit = kWait);

// One frame as the firmware sent it.
struct Frame {
    Bytes raw;
    Bytes signal;
    Bytes bulk;
    std::uint16_t Id() const { return U16(signal, 0); }
    std::uint16_t Result() const { return U16(signal, 10); }
};

// Splits a UDI frame; fails the test when its header does not fit the
// datagram.
Frame SplitFrame(const Bytes& raw);

class Client {
public:
    // Connects to the node; fails the test if it cannot.
    explicit Client(const std::string& path);
    ~Client();
    Client(const Client&) = delete;
    Client& operator=(const Client&) = delete;

    bool Connected() const { return fd_ >= 0; }
    void Send(const Bytes& datagram);
    // The next datagram, or nothing when none arrives within `limit` or the
    // connection ended (see Ended).
    std::optional<Bytes> Receive(std::chrono::milliseconds limit = kWait);
    // True once a read saw the end of the connection.
    bool Ended() const { return ended_; }

private:
    int fd_ = -1;
    bool ended_ = false;
};

class WlanFwTest : public ::testing::Test {
protected:
    WlanFwTest();
    void SetUp() override;
    void TearDown() override;

    tavo::sim::wlanfw::FirmwareHost Host();
    std::string NodePath() const { return root_.Path() + "/dev/q7c3310udi0"; }

    // Sends `request` and returns the next frame; fails the test when none
    // comes.
    Frame Exchange(const Bytes& request);
    std::uint16_t ResultOf(const Bytes& request) { return Exchange(request).Result(); }
    // Sends `request`, waits for the firmware's log line that contains
    // `logText`, and checks that no datagram came back.
    void ExpectNoAnswer(const Bytes& request, const std::string& logText);
    // The firmware has nothing more in the client's socket.
    void ExpectNothingPending();

    TempRoot root_;
    ManualClock clock_;
    LineLog log_;
    ChipFirmware chip_;
    tavo::sim::wlanfw::WlanFirmware fw_;
    std::unique_ptr<Client> client_;
};

}  // namespace wlanfw_test
