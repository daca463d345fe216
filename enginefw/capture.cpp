#include "enginefw/capture.h"

#include <errno.h>
#include <fcntl.h>
#include <time.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <condition_variable>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <mutex>
#include <thread>
#include <vector>

namespace capture {

namespace {

// What a file may hold queued before records are dropped: at the line's
// 3 Mbaud this is over ten seconds of a disk that does not answer.
constexpr size_t kDefaultBufferLimit = 4u << 20;
// Command and result texts are cut here; the original length stays in the record.
constexpr size_t kMaxText = 4096;

constexpr uint32_t kLinkTypeH4WithPhdr = 201;
constexpr uint32_t kLinkTypeUser0 = 147;
constexpr uint32_t kLinkTypeUser1 = 148;
const char* const kInterfaceNames[kInterfaces] = {"bluetooth-h4", "wlan-fw", "at"};
const uint32_t kLinkTypes[kInterfaces] = {kLinkTypeH4WithPhdr, kLinkTypeUser0, kLinkTypeUser1};

// Microseconds from 0000-01-01 to 1970-01-01, the btsnoop epoch.
constexpr uint64_t kBtsnoopEpochOffset = 0x00dcddb30f2f8000ull;
constexpr uint32_t kBtsnoopH4 = 1002;

enum Mode { kUnknown = 0, kOff = 1, kOn = 2 };

// A growing little-endian pcapng block, or big-endian btsnoop record.
class Bytes {
public:
    void U8(uint8_t v) { b_.push_back(v); }
    void U16(uint16_t v) { Raw(&v, 2); }
    void U32(uint32_t v) { Raw(&v, 4); }
    void U64(uint64_t v) { Raw(&v, 8); }
    void Be16(uint16_t v) {
        U8(static_cast<uint8_t>(v >> 8));
        U8(static_cast<uint8_t>(v));
    }
    void Be32(uint32_t v) {
        for (int shift = 24; shift >= 0; shift -= 8) U8(static_cast<uint8_t>(v >> shift));
    }
    void Be64(uint64_t v) {
        for (int shift = 56; shift >= 0; shift -= 8) U8(static_cast<uint8_t>(v >> shift));
    }
    void Raw(const void* data, size_t n) {
        const auto* p = static_cast<const uint8_t*>(data);
        b_.insert(b_.end(), p, p + n);
    }
    void Pad4() {
        while (b_.size() % 4 != 0) b_.push_back(0);
    }
    // A pcapng option: code, length, value padded to 32 bits.
    void Option(uint16_t code, const void* value, size_t n) {
        U16(code);
        U16(static_cast<uint16_t>(n));
        Raw(value, n);
        Pad4();
    }
    void EndOfOptions() { U32(0); }
    size_t Size() const { return b_.size(); }
    std::vector<uint8_t>& Vector() { return b_; }

private:
    std::vector<uint8_t> b_;
};

// A pcapng block: type, total length, body, total length again.
std::vector<uint8_t> Block(uint32_t type, Bytes& body) {
    body.Pad4();
    const uint32_t total = static_cast<uint32_t>(body.Size() + 12);
    Bytes block;
    block.U32(type);
    block.U32(total);
    block.Raw(body.Vector().data(), body.Size());
    block.U32(total);
    return std::move(block.Vector());
}

std::vector<uint8_t> PcapngHead() {
    std::vector<uint8_t> head;
    Bytes shb;
    shb.U32(0x1A2B3C4D);  // byte-order magic
    shb.U16(1);
    shb.U16(0);
    shb.U64(~0ull);  // section length not known
    const char app[] = "wlbtfactory";
    shb.Option(4, app, sizeof app - 1);  // shb_userappl
    shb.EndOfOptions();
    head = Block(0x0A0D0D0A, shb);
    for (uint32_t i = 0; i < kInterfaces; ++i) {
        Bytes idb;
        idb.U16(static_cast<uint16_t>(kLinkTypes[i]));
        idb.U16(0);
        idb.U32(0);  // no snap length
        idb.Option(2, kInterfaceNames[i], std::strlen(kInterfaceNames[i]));  // if_name
        idb.EndOfOptions();  // microsecond timestamps, the default resolution
        const std::vector<uint8_t> block = Block(1, idb);
        head.insert(head.end(), block.begin(), block.end());
    }
    return head;
}

std::vector<uint8_t> BtsnoopHead() {
    Bytes head;
    head.Raw("btsnoop", 8);  // the NUL included
    head.Be32(1);
    head.Be32(kBtsnoopH4);
    return std::move(head.Vector());
}

bool WriteAll(int fd, const uint8_t* data, size_t n) {
    while (n > 0) {
        const ssize_t rc = ::write(fd, data, n);
        if (rc < 0) {
            if (errno == EINTR) continue;
            return false;
        }
        data += rc;
        n -= static_cast<size_t>(rc);
    }
    return true;
}

struct File {
    const char* what = "";
    std::string path;
    int fd = -1;
    std::vector<uint8_t> pending;
    uint64_t queued = 0;   // records handed to the writer
    uint64_t written = 0;  // of those, the ones in the file
    bool writeFailed = false;
    std::thread writer;
    std::condition_variable wake;
    std::condition_variable drained;
};

struct State {
    std::mutex lock;
    std::atomic<int> mode{kUnknown};
    bool stopping = false;
    bool exitHandlerSet = false;
    size_t limit = kDefaultBufferLimit;
    File pcap;
    File snoop;
    Counts counts;
    uint64_t snoopDropped = 0;
    uint64_t startUs = 0;
    uint64_t lastUs = 0;
    int64_t realBaseUs = 0;
    int64_t monoBaseUs = 0;
};

// Never destroyed: link threads may still report a packet while the
// process's static objects go.
State& S() {
    static State* state = new State;
    return *state;
}

int64_t ClockUs(clockid_t clock) {
    timespec ts{};
    clock_gettime(clock, &ts);
    return static_cast<int64_t>(ts.tv_sec) * 1000000 + ts.tv_nsec / 1000;
}

// Wall-clock microseconds that never go back: the wall clock read once,
// then the monotonic clock's progress. Under the lock, so that the order of
// records in a file is the order of their times.
uint64_t NowUs(State& s) {
    uint64_t now = static_cast<uint64_t>(s.realBaseUs + (ClockUs(CLOCK_MONOTONIC) - s.monoBaseUs));
    if (now < s.lastUs) now = s.lastUs;
    s.lastUs = now;
    return now;
}

void WriterLoop(State& s, File& f) {
    std::unique_lock<std::mutex> l(s.lock);
    for (;;) {
        f.wake.wait(l, [&] { return !f.pending.empty() || s.stopping; });
        if (f.pending.empty()) break;  // stopping, and all is out
        std::vector<uint8_t> out;
        out.swap(f.pending);
        const uint64_t upto = f.queued;
        l.unlock();
        const bool ok = WriteAll(f.fd, out.data(), out.size());
        l.lock();
        if (!ok && !f.writeFailed) {
            f.writeFailed = true;
            std::fprintf(stderr, "capture: writing %s failed: %s\n", f.path.c_str(), std::strerror(errno));
        }
        f.written = upto;
        f.drained.notify_all();
    }
}

bool OpenFile(State& s, File& f, const char* what, const char* path, const std::vector<uint8_t>& head) {
    if (path == nullptr || *path == '\0') return false;
    f.what = what;
    f.path = path;
    f.fd = ::open(path, O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0644);
    if (f.fd < 0) {
        std::fprintf(stderr, "capture: cannot open %s file %s: %s\n", what, path, std::strerror(errno));
        return false;
    }
    if (!WriteAll(f.fd, head.data(), head.size())) {
        std::fprintf(stderr, "capture: cannot write %s file %s: %s\n", what, path, std::strerror(errno));
        ::close(f.fd);
        f.fd = -1;
        return false;
    }
    f.pending.clear();
    f.queued = f.written = 0;
    f.writeFailed = false;
    f.writer = std::thread([&s, &f] { WriterLoop(s, f); });
    return true;
}

void Close(int modeAfter);

// Whatever still reports a packet after the exit handler finds no file, and
// no new one is opened over the finished capture.
void AtExit() { Close(kOff); }

int Init() {
    State& s = S();
    std::lock_guard<std::mutex> l(s.lock);
    int mode = s.mode.load(std::memory_order_relaxed);
    if (mode != kUnknown) return mode;
    s.realBaseUs = ClockUs(CLOCK_REALTIME);
    s.monoBaseUs = ClockUs(CLOCK_MONOTONIC);
    s.lastUs = 0;
    s.startUs = NowUs(s);
    s.counts = Counts{};
    s.snoopDropped = 0;
    s.stopping = false;
    const bool pcap = OpenFile(s, s.pcap, "pcapng", std::getenv("TAVO_CAPTURE"), PcapngHead());
    const bool snoop = OpenFile(s, s.snoop, "btsnoop", std::getenv("TAVO_BTSNOOP"), BtsnoopHead());
    mode = pcap || snoop ? kOn : kOff;
    if (mode == kOn && !s.exitHandlerSet) {
        s.exitHandlerSet = true;
        std::atexit(AtExit);
    }
    s.mode.store(mode, std::memory_order_release);
    return mode;
}

// Under the lock: false when the record does not fit and is dropped.
bool Queue(State& s, File& f, const std::vector<uint8_t>& record) {
    if (f.fd < 0 || s.stopping || f.pending.size() + record.size() > s.limit) return false;
    f.pending.insert(f.pending.end(), record.begin(), record.end());
    ++f.queued;
    f.wake.notify_one();
    return true;
}

// Under the lock: one Enhanced Packet Block.
void QueuePcap(State& s, Interface i, uint64_t us, const std::vector<uint8_t>& data, size_t originalLength,
               const char* comment = nullptr) {
    if (s.pcap.fd < 0) return;
    Bytes epb;
    epb.U32(i);
    epb.U32(static_cast<uint32_t>(us >> 32));
    epb.U32(static_cast<uint32_t>(us));
    epb.U32(static_cast<uint32_t>(data.size()));
    epb.U32(static_cast<uint32_t>(originalLength));
    epb.Raw(data.data(), data.size());
    if (comment != nullptr) {
        epb.Pad4();
        epb.Option(1, comment, strnlen(comment, kMaxText));  // opt_comment
        epb.EndOfOptions();
    }
    if (Queue(s, s.pcap, Block(6, epb))) {
        ++s.counts.written[i];
    } else {
        ++s.counts.dropped[i];
    }
}

void AtRecord(AtKind kind, int rc, const char* command, const char* result, size_t capacity) {
    if (!Active()) return;
    const size_t commandLength = command == nullptr ? 0 : strnlen(command, kMaxText);
    const size_t resultLength = result == nullptr ? 0 : strnlen(result, std::min(capacity, kMaxText));
    Bytes data;
    data.U8(kind);
    data.Be32(static_cast<uint32_t>(rc));
    data.Be16(static_cast<uint16_t>(commandLength));
    data.Raw(command, commandLength);
    if (kind == kAtResult) data.Raw(result, resultLength);
    State& s = S();
    std::lock_guard<std::mutex> l(s.lock);
    QueuePcap(s, kAt, NowUs(s), data.Vector(), data.Size());
}

}  // namespace

bool Active() {
    int mode = S().mode.load(std::memory_order_acquire);
    if (mode == kUnknown) mode = Init();
    return mode == kOn;
}

void H4Packet(Direction direction, uint8_t indicator, const uint8_t* packet, size_t length, const char* comment) {
    if (!Active()) return;
    Bytes data;
    data.Be32(direction);
    data.U8(indicator);
    data.Raw(packet, length);
    State& s = S();
    std::lock_guard<std::mutex> l(s.lock);
    const uint64_t us = NowUs(s);
    QueuePcap(s, kH4, us, data.Vector(), data.Size(), comment);
    if (s.snoop.fd < 0) return;
    Bytes record;
    const bool commandOrEvent = indicator == 1 || indicator == 4;
    record.Be32(static_cast<uint32_t>(length + 1));
    record.Be32(static_cast<uint32_t>(length + 1));
    record.Be32((direction == kReceived ? 1u : 0u) | (commandOrEvent ? 2u : 0u));
    record.Be32(static_cast<uint32_t>(s.snoopDropped));
    record.Be64(us + kBtsnoopEpochOffset);
    record.U8(indicator);
    record.Raw(packet, length);
    if (!Queue(s, s.snoop, record.Vector())) ++s.snoopDropped;
}

void WlanFrame(Direction direction, const uint8_t* frame, size_t length) {
    if (!Active()) return;
    Bytes data;
    data.Be32(direction);
    data.Raw(frame, length);
    State& s = S();
    std::lock_guard<std::mutex> l(s.lock);
    QueuePcap(s, kWlanFw, NowUs(s), data.Vector(), data.Size());
}

void AtCommand(const char* command) { AtRecord(kAtCommand, 0, command, nullptr, 0); }

void AtResult(const char* command, int rc, const char* result, size_t capacity) {
    AtRecord(kAtResult, rc, command, result, capacity);
}

void Flush() {
    State& s = S();
    std::unique_lock<std::mutex> l(s.lock);
    for (File* f : {&s.pcap, &s.snoop}) {
        const uint64_t target = f->queued;
        f->drained.wait(l, [&] { return f->fd < 0 || f->written >= target; });
    }
}

void Shutdown() { Close(kUnknown); }

namespace {

void Close(int modeAfter) {
    State& s = S();
    std::unique_lock<std::mutex> l(s.lock);
    if (s.mode.load(std::memory_order_relaxed) != kOn) {
        s.mode.store(modeAfter, std::memory_order_release);
        return;
    }
    // Producers see the capture stopping (and count what they bring as
    // dropped) until the mode changes at the end.
    s.stopping = true;
    for (File* f : {&s.pcap, &s.snoop}) f->wake.notify_all();
    l.unlock();
    for (File* f : {&s.pcap, &s.snoop}) {
        if (f->writer.joinable()) f->writer.join();
    }
    l.lock();
    if (s.pcap.fd >= 0) {
        // The statistics of each interface: packets written, packets dropped.
        const uint64_t us = NowUs(s);
        std::vector<uint8_t> tail;
        for (uint32_t i = 0; i < kInterfaces; ++i) {
            Bytes isb;
            isb.U32(i);
            isb.U32(static_cast<uint32_t>(us >> 32));
            isb.U32(static_cast<uint32_t>(us));
            isb.Option(2, &s.startUs, 8);  // isb_starttime
            isb.Option(3, &us, 8);  // isb_endtime
            isb.Option(4, &s.counts.written[i], 8);  // isb_ifrecv
            isb.Option(5, &s.counts.dropped[i], 8);  // isb_ifdrop
            isb.EndOfOptions();
            const std::vector<uint8_t> block = Block(5, isb);
            tail.insert(tail.end(), block.begin(), block.end());
        }
        WriteAll(s.pcap.fd, tail.data(), tail.size());
    }
    uint64_t dropped = s.snoopDropped;
    for (uint64_t d : s.counts.dropped) dropped += d;
    if (dropped > 0) std::fprintf(stderr, "capture: %llu records dropped\n", static_cast<unsigned long long>(dropped));
    for (File* f : {&s.pcap, &s.snoop}) {
        if (f->fd >= 0) ::close(f->fd);
        f->fd = -1;
        f->drained.notify_all();
    }
    s.stopping = false;
    s.mode.store(modeAfter, std::memory_order_release);
}

}  // namespace

Counts CurrentCounts() {
    State& s = S();
    std::lock_guard<std::mutex> l(s.lock);
    return s.counts;
}

void SetBufferLimitForTesting(size_t bytes) {
    State& s = S();
    std::lock_guard<std::mutex> l(s.lock);
    s.limit = bytes == 0 ? kDefaultBufferLimit : bytes;
}

}  // namespace capture
