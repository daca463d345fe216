// Fuzz target for the parse of `iw dev wlan0 scan` text into the scan list
// (CWlanDriver::GetScanResult). The input stands in for what the tool
// printed: it is put into the driver's own scan buffer, where StartScan
// leaves the tool's text, so that the parse runs exactly as after a scan.
//
// What must hold: every entry comes from a "BSS " and an "SSID: " of the
// text, so there are no more entries than either; an address is at most the
// 17 characters of one and follows a "BSS "; a name is at most 256
// characters, has no line end, and is what followed an "SSID: "; the list's
// count is the number of nodes it hands out.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string>

#include "factory/ScanList.h"
#include "fuzz/fuzz_check.h"
#include "wlan/WlanDriver.h"

namespace {

size_t Occurrences(const std::string& text, const std::string& needle) {
    size_t count = 0;
    for (size_t at = text.find(needle); at != std::string::npos; at = text.find(needle, at + 1)) ++count;
    return count;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    // One driver for the whole run: its 1 MiB buffer is the tool's output.
    static CWlanDriver driver;
    static size_t dirty = 0;
    char* const buffer = const_cast<char*>(driver.GetScanOutput());
    if (buffer == nullptr) return 0;

    // The last byte of the buffer stays a terminator, as StartScan keeps it.
    const size_t length = size < CWlanDriver::kScanOutputSize - 1 ? size : CWlanDriver::kScanOutputSize - 1;
    // Clear what the last input and its parse left (the parse writes
    // terminators up to 22 bytes past the text), rather than the whole MiB.
    std::memset(buffer, 0, dirty < CWlanDriver::kScanOutputSize ? dirty : CWlanDriver::kScanOutputSize);
    if (length > 0) std::memcpy(buffer, data, length);
    dirty = length + 64;

    const std::string text(reinterpret_cast<const char*>(data), length);
    CScanList list;
    FUZZ_CHECK(driver.GetScanResult(list) == CWlanDriver::kOk);

    const int counted = list.GetNodeCount();
    FUZZ_CHECK(counted >= 0 && static_cast<size_t>(counted) <= Occurrences(text, "BSS ") &&
          static_cast<size_t>(counted) <= Occurrences(text, "SSID: "));
    int popped = 0;
    for (SCAN_INFO_NODE* node = list.Pop(); node != nullptr; node = list.Pop()) {
        ++popped;
        const size_t mac = strnlen(node->mac, sizeof node->mac);
        const size_t name = strnlen(node->name, sizeof node->name);
        FUZZ_CHECK(mac <= 17 && name <= 256);
        FUZZ_CHECK(text.find("BSS " + std::string(node->mac, mac)) != std::string::npos);
        FUZZ_CHECK(std::memchr(node->name, '\n', name) == nullptr);
        FUZZ_CHECK(text.find("SSID: " + std::string(node->name, name)) != std::string::npos);
        delete node;
    }
    FUZZ_CHECK(popped == counted && list.isEmpty());
    return 0;
}
