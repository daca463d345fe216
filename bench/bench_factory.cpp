// The whole factory sequence of scripts/run.sh (wlbt --sim with the lab's
// settings, tools/sequences/factory.at) timed from outside, beside the sum of
// the waits that the commands' design itself asks for: the firmware switch's
// pause, the second the btcli tool gets to start, and the sleeps of the
// tool's scripts. Their ratio shows what the library and the simulator add.
#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <map>
#include <string>
#include <vector>

#include "tools/wlbt_station.h"

extern char** environ;

namespace {

// What one command waits by design, in seconds, and why.
struct Mandate {
    const char* command;
    double seconds;
    const char* why;
};

const Mandate kMandates[] = {
    {"AT+WIFIRF=0,1,1,0", 1.0, "firmware switch to the test firmware"},
    {"AT+WIFIRF=0,1,0,0", 1.0, "firmware switch back to the normal firmware"},
    {"AT+BTRF=1,8,2,0", 1.5, "btcli start (0.5 s) and its read-address script (1 s)"},
    {"AT+BTRF=0,7,1,0", 1.0, "the fixed BR/EDR transmit's second for its settings"},
    {"ATA+BT=1", 7.5, "btcli start (0.5 s) and the inquiry script (7 s), waited for by the fetch"},
    {"UNIT=6", 7.5, "btcli start (0.5 s) and the inquiry script (7 s)"},
    {"UNIT=8", 10.0, "the ten-second unit command"},
};

std::vector<std::string> ReadLines(const std::string& path) {
    std::vector<std::string> lines;
    std::ifstream in(path);
    std::string line;
    while (std::getline(in, line)) {
        if (!line.empty() && line[0] != '#') lines.push_back(line);
    }
    return lines;
}

// One run of the tool; its wall time in seconds, or a negative value when it
// did not end with status 0 (some reply was not OK).
double RunOnce(const std::vector<std::string>& args, const std::string& output) {
    std::vector<char*> argv;
    for (const std::string& a : args) argv.push_back(const_cast<char*>(a.c_str()));
    argv.push_back(nullptr);
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addopen(&actions, 1, output.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
    posix_spawn_file_actions_adddup2(&actions, 1, 2);
    const auto start = std::chrono::steady_clock::now();
    pid_t pid = 0;
    const int spawned = posix_spawn(&pid, argv[0], &actions, nullptr, argv.data(), environ);
    posix_spawn_file_actions_destroy(&actions);
    if (spawned != 0) return -1;
    int status = 0;
    if (waitpid(pid, &status, 0) != pid) return -1;
    const std::chrono::duration<double> took = std::chrono::steady_clock::now() - start;
    return WIFEXITED(status) && WEXITSTATUS(status) == 0 ? took.count() : -1;
}

}  // namespace

int main(int argc, char** argv) {
    const int runs = argc > 1 ? std::max(1, std::atoi(argv[1])) : 3;
    const std::string sequences = WLBT_SEQUENCES_DIR;
    const std::string sequence = sequences + "/factory.at";

    std::vector<std::string> commands;
    std::string error;
    if (!wlbt::ReadSequenceFile(sequence, commands, error)) {
        std::fprintf(stderr, "%s\n", error.c_str());
        return 1;
    }
    double mandated = 0;
    std::map<std::string, std::pair<int, double>> reasons;
    for (const std::string& c : commands) {
        for (const Mandate& m : kMandates) {
            if (c == m.command) {
                mandated += m.seconds;
                auto& r = reasons[m.why];
                ++r.first;
                r.second += m.seconds;
            }
        }
    }

    std::vector<std::string> args = {WLBT_TOOL, "--sim"};
    for (const std::string& setting : ReadLines(sequences + "/lab.args")) args.push_back(setting);
    args.push_back("-f");
    args.push_back(sequence);

    // The tool's output of the last run stays for a look.
    const std::string output = "/tmp/bench_factory_wlbt.txt";
    std::vector<double> times;
    for (int i = 0; i < runs; ++i) {
        const double t = RunOnce(args, output);
        if (t < 0) {
            std::fprintf(stderr, "run %d: wlbt did not answer every command OK; its output is in %s\n", i + 1,
                         output.c_str());
            return 1;
        }
        times.push_back(t);
    }
    std::sort(times.begin(), times.end());
    const double median = times[times.size() / 2];

    std::printf("factory sequence %s: %zu commands, median of %d runs\n", sequence.c_str(), commands.size(), runs);
    std::printf("wall time:        %.2f s (fastest %.2f s, slowest %.2f s)\n", median, times.front(), times.back());
    std::printf("mandated delays:  %.2f s\n", mandated);
    for (const auto& [why, r] : reasons) std::printf("  %d x %s: %.2f s\n", r.first, why.c_str(), r.second);
    if (mandated > 0) std::printf("ratio wall/mandated: %.2f\n", median / mandated);
    return 0;
}
