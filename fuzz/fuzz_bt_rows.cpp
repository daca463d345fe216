// Fuzz target for the parsers of btcli rows and firmware log rows: inquiry
// rows, the address row, and the bit-error, RSSI and packet-count rows, each
// fed rows cut from the input and filling the whole 256-row buffer. Every
// device found must have a name and a key of the parsed length, and the
// address is at most twelve characters.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <memory>

#include "bt/BtDutLib.h"
#include "fuzz/fuzz_check.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const size_t bytes = CBtDriver::kRows * CBtDriver::kRowSize;
    std::unique_ptr<char[]> rows(new char[bytes]());
    // Lines of the input become rows; a row is cut to its size, NUL-terminated.
    size_t row = 0;
    size_t column = 0;
    for (size_t i = 0; i < size && row < CBtDriver::kRows; ++i) {
        char* text = rows.get() + row * CBtDriver::kRowSize;
        if (column + 1 < CBtDriver::kRowSize) text[column++] = static_cast<char>(data[i]);
        if (data[i] == '\n') {
            ++row;
            column = 0;
        }
    }
    CScanList list;
    CBtDutLib::ParseInquiryRows(rows.get(), list);
    for (SCAN_INFO_NODE* node = list.Pop(); node != nullptr; node = list.Pop()) {
        FUZZ_CHECK(node->name[0] != '\0' && std::strlen(node->mac) <= 12 && node->rssi_count >= 1);
        delete node;
    }
    char mac[13];
    int offset = 0;
    const char* found = nullptr;
    if (CBtDutLib::MacFromRows(rows.get(), mac, offset, &found)) FUZZ_CHECK(std::strlen(mac) <= 12 && found != nullptr);
    int a = 0, b = 0;
    CBtDutLib::BerFromRows(rows.get(), rows.get() + CBtDriver::kRowSize, a, b);
    CBtDutLib::RssiFromRow(rows.get(), a);
    CBtDutLib::PktCountFromRow(rows.get(), a);
    return 0;
}
