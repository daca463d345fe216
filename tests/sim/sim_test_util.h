// Helpers for the simulator's tests: run shell lines and read files.
#pragma once

#include <chrono>
#include <string>
#include <vector>

namespace simtest {

struct CommandResult {
    int status = -1;  // exit status; -1 when the command did not exit normally
    std::string out;  // standard output
};

// Runs `command` with /bin/sh (popen) and collects its standard output.
CommandResult Run(const std::string& command);

// `command` with every word that starts with /sys/, /proc/ or /dev/ moved
// under `root`, as the library's platform layer does it.
std::string Rebase(const std::string& command, const std::string& root);

// The whole file; "<missing>" when it cannot be read.
std::string ReadText(const std::string& path);

// The lines of `text`, without their line feeds.
std::vector<std::string> Lines(const std::string& text);

// Blocks of a scan: each starts at a line beginning with "BSS ".
std::vector<std::string> ScanBlocks(const std::string& scan);

}  // namespace simtest
