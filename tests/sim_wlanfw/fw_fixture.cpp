#include "fw_fixture.h"

#include <ftw.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <thread>

namespace wlanfw_test {

namespace wf = tavo::sim::wlanfw;

wf::TimePoint ManualClock::Now() const { return wf::TimePoint(std::chrono::microseconds(micros_.load())); }

void LineLog::Add(const std::string& line) {
    {
        std::lock_guard<std::mutex> lock(mutex_);
        lines_.push_back(line);
    }
    changed_.notify_all();
}

std::size_t LineLog::Count() const {
    std::lock_guard<std::mutex> lock(mutex_);
    return lines_.size();
}

std::vector<std::string> LineLog::Lines() const {
    std::lock_guard<std::mutex> lock(mutex_);
    return lines_;
}

bool LineLog::WaitFor(const std::string& text, std::size_t from, std::chrono::milliseconds limit) const {
    std::unique_lock<std::mutex> lock(mutex_);
    return changed_.wait_for(lock, limit, [&] {
        for (std::size_t i = from; i < lines_.size(); ++i) {
            if (lines_[i].find(text) != std::string::npos) return true;
        }
        return false;
    });
}

wf::FirmwareView ChipFirmware::View() const {
    std::lock_guard<std::mutex> lock(mutex_);
    return wf::FirmwareView{variant_, variant_.rfind("rk720_t", 0) == 0, generation_};
}

void ChipFirmware::Load(const std::string& variant) {
    std::lock_guard<std::mutex> lock(mutex_);
    variant_ = variant;
    ++generation_;
}

namespace {

int RemoveEntry(const char* path, const struct stat*, int, struct FTW*) { return ::remove(path); }

}  // namespace

TempRoot::TempRoot() {
    char templ[] = "/tmp/wlanfw_test.XXXXXX";
    const char* made = ::mkdtemp(templ);
    if (made == nullptr) {
        ADD_FAILURE() << "mkdtemp: " << std::strerror(errno);
        return;
    }
    path_ = made;
    if (::mkdir((path_ + "/dev").c_str(), 0755) != 0) ADD_FAILURE() << "mkdir dev: " << std::strerror(errno);
}

TempRoot::~TempRoot() {
    if (!path_.empty()) ::nftw(path_.c_str(), RemoveEntry, 8, FTW_DEPTH | FTW_PHYS);
}

bool WaitUntil(const std::function<bool()>& condition, std::chrono::milliseconds limit) {
    const auto end = std::chrono::steady_clock::now() + limit;
    while (!condition()) {
        if (std::chrono::steady_clock::now() >= end) return false;
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    return true;
}

Frame SplitFrame(const Bytes& raw) {
    Frame frame;
    frame.raw = raw;
    if (raw.size() < 16) {
        ADD_FAILURE() << "frame of " << raw.size() << " bytes has no whole header";
        return frame;
    }
    const std::uint32_t total = U32(raw, 0);
    const std::uint32_t signalLength = U32(raw, 12);
    EXPECT_EQ(total, raw.size()) << "total length in the header";
    if (signalLength > raw.size() - 16) {
        ADD_FAILURE() << "signal length " << signalLength << " beyond the frame";
        return frame;
    }
    frame.signal.assign(raw.begin() + 16, raw.begin() + 16 + signalLength);
    frame.bulk.assign(raw.begin() + 16 + signalLength, raw.end());
    return frame;
}

Client::Client(const std::string& path) {
    struct sockaddr_un address;
    std::memset(&address, 0, sizeof address);
    address.sun_family = AF_UNIX;
    if (path.size() >= sizeof address.sun_path) {
        ADD_FAILURE() << "path too long: " << path;
        return;
    }
    std::memcpy(address.sun_path, path.c_str(), path.size());
    fd_ = ::socket(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0);
    if (fd_ < 0 || ::connect(fd_, reinterpret_cast<struct sockaddr*>(&address), sizeof address) != 0) {
        ADD_FAILURE() << "connect " << path << ": " << std::strerror(errno);
        if (fd_ >= 0) ::close(fd_);
        fd_ = -1;
    }
}

Client::~Client() {
    if (fd_ >= 0) ::close(fd_);
}

void Client::Send(const Bytes& datagram) {
    ASSERT_GE(fd_, 0);
    const ssize_t sent = ::send(fd_, datagram.data(), datagram.size(), MSG_NOSIGNAL);
    EXPECT_EQ(sent, static_cast<ssize_t>(datagram.size())) << std::strerror(errno);
}

std::optional<Bytes> Client::Receive(std::chrono::milliseconds limit) {
    if (fd_ < 0) return std::nullopt;
    struct pollfd p = {fd_, POLLIN, 0};
    const int ready = ::poll(&p, 1, static_cast<int>(limit.count()));
    if (ready <= 0) return std::nullopt;
    Bytes buffer(65536);
    const ssize_t got = ::recv(fd_, buffer.data(), buffer.size(), MSG_DONTWAIT);
    if (got < 0) return std::nullopt;
    if (got == 0 && (p.revents & POLLHUP) != 0) {
        ended_ = true;
        return std::nullopt;
    }
    buffer.resize(static_cast<std::size_t>(got));
    return buffer;
}

WlanFwTest::WlanFwTest() : fw_(clock_.Source()) {}

wf::FirmwareHost WlanFwTest::Host() {
    wf::FirmwareHost host;
    host.nodePath = NodePath();
    host.log = [this](const std::string& line) { log_.Add(line); };
    host.firmware = [this] { return chip_.View(); };
    return host;
}

void WlanFwTest::SetUp() {
    ASSERT_NO_THROW(fw_.Start(Host()));
    client_ = std::make_unique<Client>(NodePath());
    ASSERT_TRUE(client_->Connected());
}

void WlanFwTest::TearDown() {
    client_.reset();
    fw_.Stop();
}

Frame WlanFwTest::Exchange(const Bytes& request) {
    client_->Send(request);
    const std::optional<Bytes> raw = client_->Receive();
    if (!raw) {
        ADD_FAILURE() << "no answer to request 0x" << std::hex << U16(request, 0);
        return Frame{};
    }
    return SplitFrame(*raw);
}

void WlanFwTest::ExpectNoAnswer(const Bytes& request, const std::string& logText) {
    const std::size_t from = log_.Count();
    client_->Send(request);
    ASSERT_TRUE(log_.WaitFor(logText, from)) << "no log line with \"" << logText << "\"";
    ExpectNothingPending();
}

void WlanFwTest::ExpectNothingPending() {
    // The firmware logs after it sent, so whatever it sent is here already.
    const std::optional<Bytes> stray = client_->Receive(std::chrono::milliseconds(0));
    EXPECT_FALSE(stray.has_value()) << "unexpected frame of " << (stray ? stray->size() : 0) << " bytes";
}

}  // namespace wlanfw_test
