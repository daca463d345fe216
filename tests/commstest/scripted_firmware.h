// A scripted peer on the WLAN device node: serves <root>/dev/q7c3310udi0 as
// a SOCK_SEQPACKET socket under a fresh TAVO_PLATFORM_ROOT, records every
// request datagram, and answers each with what the test's script returns.
#pragma once

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <functional>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

namespace testsupport {

using Bytes = std::vector<uint8_t>;

// One frame to send back, after an optional delay.
struct Reply {
    Bytes frame;
    std::chrono::milliseconds delay{0};
};

class ScriptedFirmware {
public:
    using Script = std::function<std::vector<Reply>(const Bytes& request)>;

    // Answers every request with its confirm and result 0 unless a script is set.
    ScriptedFirmware();
    ~ScriptedFirmware();
    ScriptedFirmware(const ScriptedFirmware&) = delete;
    ScriptedFirmware& operator=(const ScriptedFirmware&) = delete;

    void SetScript(Script script);
    std::vector<Bytes> Requests() const;
    const std::string& Root() const { return root_; }

    // A UDI frame: 16-byte header, then signal and bulk.
    static Bytes Frame(const Bytes& signal, const Bytes& bulk = {});
    // A confirm signal of `size` bytes with its id and result code.
    static Bytes Confirm(uint16_t id, uint16_t result, size_t size = 12);
    // The confirm id that answers a request id.
    static uint16_t ConfirmOf(uint16_t requestId);

private:
    void Serve();

    std::string root_;
    std::string oldRoot_;
    bool hadRoot_ = false;
    int listenFd_ = -1;
    int wakeFd_[2] = {-1, -1};
    std::thread thread_;
    mutable std::mutex mutex_;
    Script script_;
    std::vector<Bytes> requests_;
};

// Little-endian helpers for building expected bytes.
void Put16(Bytes& b, size_t offset, uint16_t v);
void Put32(Bytes& b, size_t offset, uint32_t v);
Bytes FromHex(const std::string& hex);
std::string ToHex(const Bytes& bytes);

}  // namespace testsupport
