#include "scripted_firmware.h"
#include "support/wire_ids.h"

#include <poll.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <stdexcept>

namespace testsupport {

void Put16(Bytes& b, size_t offset, uint16_t v) {
    if (b.size() < offset + 2) b.resize(offset + 2);
    b[offset] = static_cast<uint8_t>(v);
    b[offset + 1] = static_cast<uint8_t>(v >> 8);
}

void Put32(Bytes& b, size_t offset, uint32_t v) {
    if (b.size() < offset + 4) b.resize(offset + 4);
    for (size_t i = 0; i < 4; ++i) b[offset + i] = static_cast<uint8_t>(v >> (8 * i));
}

Bytes FromHex(const std::string& hex) {
    Bytes out;
    unsigned int byte = 0;
    int digits = 0;
    for (const char c : hex) {
        int v;
        if (c >= '0' && c <= '9') {
            v = c - '0';
        } else if (c >= 'a' && c <= 'f') {
            v = c - 'a' + 10;
        } else if (c >= 'A' && c <= 'F') {
            v = c - 'A' + 10;
        } else {
            continue;
        }
        byte = (byte << 4) | static_cast<unsigned int>(v);
        if (++digits == 2) {
            out.push_back(static_cast<uint8_t>(byte));
            byte = 0;
            digits = 0;
        }
    }
    return out;
}

std::string ToHex(const Bytes& bytes) {
    std::string out;
    char two[4];
    for (size_t i = 0; i < bytes.size(); ++i) {
        std::snprintf(two, sizeof two, i == 0 ? "%02x" : " %02x", bytes[i]);
        out += two;
    }
    return out;
}

Bytes ScriptedFirmware::Frame(const Bytes& signal, const Bytes& bulk) {
    Bytes frame(16, 0);
    Put32(frame, 0, static_cast<uint32_t>(16 + signal.size() + bulk.size()));
    Put32(frame, 12, static_cast<uint32_t>(signal.size()));
    frame.insert(frame.end(), signal.begin(), signal.end());
    frame.insert(frame.end(), bulk.begin(), bulk.end());
    return frame;
}

Bytes ScriptedFirmware::Confirm(uint16_t id, uint16_t result, size_t size) {
    Bytes s(size, 0);
    Put16(s, 0, id);
    if (size >= 12) Put16(s, 10, result);
    return s;
}

uint16_t ScriptedFirmware::ConfirmOf(uint16_t requestId) {
    return testsupport::ConfirmIdOf(requestId);
}

ScriptedFirmware::ScriptedFirmware() {
    char tmpl[] = "/tmp/wlbt-fw-XXXXXX";
    if (mkdtemp(tmpl) == nullptr) throw std::runtime_error("mkdtemp");
    root_ = tmpl;
    mkdir((root_ + "/dev").c_str(), 0755);
    const char* old = std::getenv("TAVO_PLATFORM_ROOT");
    hadRoot_ = old != nullptr;
    if (hadRoot_) oldRoot_ = old;
    setenv("TAVO_PLATFORM_ROOT", root_.c_str(), 1);

    script_ = [](const Bytes& request) {
        const uint16_t id = static_cast<uint16_t>(request.size() >= 2 ? request[0] | (request[1] << 8) : 0);
        return std::vector<Reply>{{Frame(Confirm(ConfirmOf(id), 0, 40)), std::chrono::milliseconds(0)}};
    };

    listenFd_ = socket(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0);
    struct sockaddr_un address;
    std::memset(&address, 0, sizeof address);
    address.sun_family = AF_UNIX;
    const std::string path = root_ + "/dev/q7c3310udi0";
    std::strncpy(address.sun_path, path.c_str(), sizeof address.sun_path - 1);
    if (bind(listenFd_, reinterpret_cast<sockaddr*>(&address), sizeof address) != 0 || listen(listenFd_, 4) != 0) {
        throw std::runtime_error("cannot serve " + path);
    }
    if (pipe(wakeFd_) != 0) throw std::runtime_error("pipe");
    thread_ = std::thread([this] { Serve(); });
}

ScriptedFirmware::~ScriptedFirmware() {
    const char stop = 'x';
    (void)!write(wakeFd_[1], &stop, 1);
    thread_.join();
    close(listenFd_);
    close(wakeFd_[0]);
    close(wakeFd_[1]);
    if (hadRoot_) {
        setenv("TAVO_PLATFORM_ROOT", oldRoot_.c_str(), 1);
    } else {
        unsetenv("TAVO_PLATFORM_ROOT");
    }
    std::system(("rm -rf '" + root_ + "'").c_str());
}

void ScriptedFirmware::SetScript(Script script) {
    std::lock_guard<std::mutex> lock(mutex_);
    script_ = std::move(script);
}

std::vector<Bytes> ScriptedFirmware::Requests() const {
    std::lock_guard<std::mutex> lock(mutex_);
    return requests_;
}

void ScriptedFirmware::Serve() {
    int client = -1;
    for (;;) {
        struct pollfd fds[2] = {{wakeFd_[0], POLLIN, 0}, {client >= 0 ? client : listenFd_, POLLIN, 0}};
        if (poll(fds, 2, -1) < 0) continue;
        if (fds[0].revents != 0) break;
        if (client < 0) {
            client = accept(listenFd_, nullptr, nullptr);
            continue;
        }
        uint8_t buffer[8192];
        const ssize_t n = recv(client, buffer, sizeof buffer, 0);
        if (n <= 0) {
            close(client);
            client = -1;
            continue;
        }
        const Bytes request(buffer, buffer + n);
        std::vector<Reply> replies;
        {
            std::lock_guard<std::mutex> lock(mutex_);
            requests_.push_back(request);
            replies = script_(request);
        }
        for (const Reply& reply : replies) {
            if (reply.delay.count() > 0) {
                struct pollfd wake = {wakeFd_[0], POLLIN, 0};
                if (poll(&wake, 1, static_cast<int>(reply.delay.count())) > 0) goto done;
            }
            send(client, reply.frame.data(), reply.frame.size(), MSG_NOSIGNAL);
        }
    }
done:
    if (client >= 0) close(client);
}

}  // namespace testsupport
