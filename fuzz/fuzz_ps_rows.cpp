// Fuzz target for the reading of `ps` rows that decides which process
// KillProcess ends. The first line of the input is the process name, the
// rest is what `ps` printed; the rows are read as KillProcess reads them
// (fgets into 1024 bytes, the header skipped). Whenever a row is picked, the
// pid that would be signalled must be the number the row shows in its pid
// column, and the row must hold the name: a misread row means `kill` hits
// some other process.
#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

#include "factory/FactoryUtil.h"
#include "fuzz/fuzz_check.h"

namespace {

// The second whitespace-separated column as the number it spells, or
// nothing when it is not one.
bool PidColumn(const char* row, long long& value) {
    const char* p = row;
    while (*p == ' ' || *p == '\t' || *p == '\n' || *p == '\r' || *p == '\v' || *p == '\f') ++p;
    while (*p != '\0' && *p != ' ' && *p != '\t' && *p != '\n' && *p != '\r' && *p != '\v' && *p != '\f') ++p;
    errno = 0;
    char* end = nullptr;
    value = std::strtoll(p, &end, 10);
    return end != p && errno == 0;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    if (size > 65536) return 0;
    const char* text = reinterpret_cast<const char*>(data);
    const void* newline = std::memchr(text, '\n', size);
    const size_t nameLength = newline != nullptr ? static_cast<size_t>(static_cast<const char*>(newline) - text) : size;
    const std::string name(text, nameLength);
    const size_t rest = newline != nullptr ? size - nameLength - 1 : 0;
    if (rest == 0) {
        FUZZ_CHECK(PsRowPid("", name.c_str()) == 0);
        return 0;
    }
    // A copy, since fmemopen wants a writable buffer.
    std::string output(text + nameLength + 1, rest);
    FILE* ps = fmemopen(&output[0], output.size(), "r");
    if (ps == nullptr) return 0;
    char line[1024];
    if (std::fgets(line, sizeof line, ps) != nullptr) {
        while (std::fgets(line, sizeof line, ps) != nullptr) {
            const int pid = PsRowPid(line, name.c_str());
            if (pid == 0) continue;
            long long shown = 0;
            FUZZ_CHECK(pid > 0 && PidColumn(line, shown) && shown == pid);
            // A name with a NUL in it is the part before the NUL, as for any C caller.
            FUZZ_CHECK(name.c_str()[0] != '\0' && std::strstr(line, name.c_str()) != nullptr);
            char kill[32];
            FUZZ_CHECK(std::snprintf(kill, sizeof kill, "kill %d\n", pid) < static_cast<int>(sizeof kill));
        }
    }
    std::fclose(ps);
    FUZZ_CHECK(PsRowPid(nullptr, name.c_str()) == 0);
    return 0;
}
