#include "sim/btctl/firmware_log.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <stdexcept>

#include "sim/btctl/radio_test.h"
#include "sim/btctl/vendor_answer.h"
#include "sim/fs_util.h"
#include "sim/unique_fd.h"

namespace tavo::sim::btctl {
namespace {

constexpr off_t kRingLimit = 1 << 20;
constexpr off_t kRingKeep = kRingLimit / 4;
constexpr char kPrefix[] = "[ sim ] BT: ";

bool IsVendor(const Bytes& pdu, std::uint16_t id) {
    return pdu.size() >= kVendorHeaderBytes + 2 && VendorWord(pdu, kVendorVaridAt) == id;
}

std::string Line(const std::string& text) { return kPrefix + text + "\n"; }

// The ring as the firmware's own would be: bounded, newest lines kept.
std::string Trim(int fd, const std::string& path) {
    struct stat st {};
    if (::fstat(fd, &st) != 0 || st.st_size <= kRingLimit) return std::string();
    std::string tail(static_cast<std::size_t>(kRingKeep), '\0');
    const ssize_t n = ::pread(fd, &tail[0], tail.size(), st.st_size - kRingKeep);
    if (n <= 0) return std::string("cannot read ") + path + ": " + std::strerror(errno);
    tail.resize(static_cast<std::size_t>(n));
    tail.erase(0, tail.find('\n') + 1);
    try {
        WriteFileAtomic(path, tail);
    } catch (const std::runtime_error& e) {
        return e.what();
    }
    return std::string();
}

}  // namespace

std::optional<Report> ReportAfter(const Bytes& pdu) {
    if (!IsVendor(pdu, varid::kRadioTest)) return std::nullopt;
    switch (VendorWord(pdu, 10)) {
        case radiotest::kBer1: return Report::kBitErrors;
        case radiotest::kRxStart2: return Report::kCwRssi;
        case radiotest::kPause:
        case radiotest::kTxStart:
        case radiotest::kTxData1:
        case radiotest::kTxData2:
        case radiotest::kTxData3:
        case radiotest::kTxData4: return Report::kNone;
        default: return std::nullopt;
    }
}

bool IsLeEndWithCount(const Bytes& pdu) {
    return IsVendor(pdu, varid::kLeRadioTest) && VendorWord(pdu, 10) == letest::kEndWithCount;
}

std::string ReportBlock(Report report, const LogSteering& s) {
    if (report == Report::kCwRssi) return Line("RSSI_REPORT: " + std::to_string(s.cwRssi + 100));
    if (report != Report::kBitErrors) return std::string();
    const std::uint64_t errors = static_cast<std::uint64_t>(s.berBits) * s.berPpm / LogSteering::kMaxPpm;
    return Line("BIT_ERR[0] rx bits sec: " + std::to_string(s.berBits)) +
           Line("BIT_ERR[1] err bits sec: " + std::to_string(errors)) +
           Line("BIT_ERR[2] pkts sec: " + std::to_string(s.berBits / 27 / 8)) + Line("BIT_ERR[3] hec sec: 0") +
           Line("BIT_ERR[4] crc sec: 0");
}

std::string LeRxEndLine(std::uint16_t packets) { return Line("LE rx end pkt_count:" + std::to_string(packets)); }

std::string AppendToRing(const std::string& path, const std::string& text) {
    UniqueFd fd(::open(path.c_str(), O_RDWR | O_APPEND | O_CREAT | O_CLOEXEC, 0644));
    if (!fd.Valid()) return "cannot open " + path + ": " + std::strerror(errno);
    ssize_t n;
    do {
        n = ::write(fd.Get(), text.data(), text.size());
    } while (n < 0 && errno == EINTR);
    if (n != static_cast<ssize_t>(text.size())) return "cannot write " + path + ": " + std::strerror(errno);
    return Trim(fd.Get(), path);
}

}  // namespace tavo::sim::btctl
