// Fuzz target for the AT text layer: classification, number reading, field
// extraction and every result form, on arbitrary bytes.
//
// What must hold: a field is terminated within its buffer, holds no comma,
// and is empty when none was found; a parameter position points into the
// text; every result string ends within the result buffer.
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

#include "factory/AtCommand.h"
#include "factory/CommandHandler.h"
#include "fuzz/fuzz_check.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    if (size > 4096) return 0;
    // The first byte steers the positions and counts; the rest is the text.
    const uint8_t steer = size > 0 ? data[0] : 0;
    std::string text(reinterpret_cast<const char*>(data) + (size > 0 ? 1 : 0), size > 0 ? size - 1 : 0);
    const char* command = text.c_str();  // cut at the first NUL, as a C caller would

    CCommandHandler h(nullptr, nullptr);
    const int family = h.FindAppCommand(command);
    AT_COMMAND parsed = h.BuildATCommand(command, steer % 6, steer % 70);
    const AT_COMMAND* tables[] = {at_cmd_list_wifi, at_cmd_list_bt, at_cmd_list_unit_test,
                                  ata_cmd_list_wifi, ata_cmd_list_bt};
    const int id = h.FindAtCommandId(&parsed, tables[steer % 5]);

    char field[8];
    std::memset(field, 'x', sizeof field);
    const bool found = h.GetDataString(command, steer % 7, steer % 70, field, sizeof field);
    FUZZ_CHECK(std::memchr(field, '\0', sizeof field) != nullptr);
    FUZZ_CHECK(std::strchr(field, ',') == nullptr);
    FUZZ_CHECK(found || field[0] == '\0');
    const char* position = h.GetParamPos(command, steer % 6);
    FUZZ_CHECK(position == nullptr || (position >= command && position <= command + std::strlen(command)));
    int value = 0;
    h.GetIntParam(command, steer % 70, steer % 20, value);

    std::vector<char> out(CCommandHandler::kResultSize, '\0');
    std::memcpy(out.data(), command, std::min<size_t>(std::strlen(command), out.size() - 1));
    h.BuildResultString(command, family == APP_UNKNOWN ? steer % 6 : family, id, steer % 7, value,
                        parsed.data, out.data());
    FUZZ_CHECK(std::memchr(out.data(), '\0', out.size()) != nullptr);
    return 0;
}
