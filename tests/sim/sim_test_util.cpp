#include "sim_test_util.h"

#include <sys/wait.h>

#include <cstdio>
#include <fstream>
#include <sstream>

namespace simtest {

CommandResult Run(const std::string& command) {
    CommandResult result;
    FILE* pipe = ::popen(command.c_str(), "r");
    if (pipe == nullptr) return result;
    char buffer[65536];
    size_t n = 0;
    while ((n = std::fread(buffer, 1, sizeof buffer, pipe)) > 0) result.out.append(buffer, n);
    const int status = ::pclose(pipe);
    if (status != -1 && WIFEXITED(status)) result.status = WEXITSTATUS(status);
    return result;
}

std::string Rebase(const std::string& command, const std::string& root) {
    static const char* const kPrefixes[] = {"/sys/", "/proc/", "/dev/"};
    std::string out;
    for (size_t i = 0; i < command.size(); ++i) {
        if (i == 0 || command[i - 1] == ' ') {
            for (const char* prefix : kPrefixes) {
                if (command.compare(i, std::char_traits<char>::length(prefix), prefix) == 0) {
                    out += root;
                    break;
                }
            }
        }
        out += command[i];
    }
    return out;
}

std::string ReadText(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    if (!in) return "<missing>";
    std::ostringstream text;
    text << in.rdbuf();
    return text.str();
}

std::vector<std::string> Lines(const std::string& text) {
    std::vector<std::string> lines;
    std::istringstream in(text);
    std::string line;
    while (std::getline(in, line)) lines.push_back(line);
    return lines;
}

std::vector<std::string> ScanBlocks(const std::string& scan) {
    std::vector<std::string> blocks;
    for (const std::string& line : Lines(scan)) {
        if (line.compare(0, 4, "BSS ") == 0) blocks.emplace_back();
        if (!blocks.empty()) blocks.back() += line + "\n";
    }
    return blocks;
}

}  // namespace simtest
