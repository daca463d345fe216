// wlbt: drives the factory-test service from a workstation or a shell.
//
// Opens the service, forwards each AT command (from the arguments, or line by
// line from standard input), prints each command with its result string and
// return code, and closes the service.
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <iostream>
#include <string>
#include <vector>

#include "WiFiBtFactoryService.h"

namespace {

void Usage(FILE* out) {
    std::fputs(
        "usage: wlbt [-v] [-t TIMEOUT] [COMMAND...]\n"
        "\n"
        "Forwards AT commands to the WLAN/Bluetooth factory-test service and prints\n"
        "each result string and return code. Without COMMAND arguments, commands are\n"
        "read from standard input, one per line; empty lines and lines starting with\n"
        "'#' are skipped.\n"
        "\n"
        "  -v          show the library's log lines on standard error\n"
        "  -t TIMEOUT  time limit handed to the service (accepted, has no effect)\n"
        "  -h          this help\n"
        "\n"
        "Exit status: 0 when every command returned 0, 1 when some command returned\n"
        "another code, 2 on a usage error or when the service could not be opened.\n",
        out);
}

// The result with control characters made visible, so that the line feed
// that text values carry shows in the output.
std::string Visible(const char* text) {
    std::string out;
    for (const char* p = text; *p != '\0'; ++p) {
        const unsigned char c = static_cast<unsigned char>(*p);
        if (c == '\n') {
            out += "\\n";
        } else if (c == '\r') {
            out += "\\r";
        } else if (c == '\\' || c == '"') {
            out += '\\';
            out += static_cast<char>(c);
        } else if (c < 0x20 || c >= 0x7f) {
            char hex[8];
            std::snprintf(hex, sizeof hex, "\\x%02x", c);
            out += hex;
        } else {
            out += static_cast<char>(c);
        }
    }
    return out;
}

int Forward(const std::string& command, int timeout) {
    std::vector<char> result(WLBT_RESULT_BUFFER_SIZE, '\0');
    const int rc = ForwardCMD_WiFiBT(command.c_str(), result.data(), timeout);
    result.back() = '\0';
    std::printf("%s\n", command.c_str());
    if (result[0] == '\0') {
        std::printf("  rc %d  (no result)\n", rc);
    } else {
        std::printf("  rc %d  \"%s\"\n", rc, Visible(result.data()).c_str());
    }
    std::fflush(stdout);
    return rc;
}

}  // namespace

int main(int argc, char** argv) {
    int timeout = 3000;
    bool verbose = false;
    int opt;
    while ((opt = getopt(argc, argv, "vt:h")) != -1) {
        switch (opt) {
            case 'v': verbose = true; break;
            case 't': timeout = std::atoi(optarg); break;
            case 'h': Usage(stdout); return 0;
            default: Usage(stderr); return 2;
        }
    }
    // The host log implementation reads TAVO_LOG on its first line.
    if (verbose) setenv("TAVO_LOG", "-", 1);

    const int openRc = OpenWiFiBtFactoryService();
    if (openRc != 0) {
        std::fprintf(stderr, "wlbt: OpenWiFiBtFactoryService returned %d\n", openRc);
        return 2;
    }
    bool allZero = true;
    if (optind < argc) {
        for (int i = optind; i < argc; ++i) allZero = Forward(argv[i], timeout) == 0 && allZero;
    } else {
        std::string line;
        while (std::getline(std::cin, line)) {
            if (!line.empty() && line.back() == '\r') line.pop_back();
            if (line.empty() || line[0] == '#') continue;
            allZero = Forward(line, timeout) == 0 && allZero;
        }
    }
    const int closeRc = CloseWiFiBtFactoryService();
    if (closeRc != 0) std::fprintf(stderr, "wlbt: CloseWiFiBtFactoryService returned %d\n", closeRc);
    return allZero ? 0 : 1;
}
