// The ps stand-in, in the Android toolbox format:
//
//   USER      PID   PPID  VSIZE  RSS   WCHAN              PC  NAME
//   root      1     0     167744 12104 do_epoll_w 0000000000 S /sbin/init
//
// One row per process of the workstation (read from the real /proc, not
// from the simulator's root), or, run under a simulator, per process of
// that simulated phone (see PsMain). VSIZE and RSS are in KiB, capped at
// 2147483647 so that readers scanning them with %d stay in range. WCHAN is
// the kernel's wait channel cut to 10 characters ("0" when unknown), PC the
// saved instruction pointer. NAME is argv[0] as the process was started,
// in full, the way Android's ps shows it: a tool started through PATH by a
// shell shows its bare name ("btcli"), one started by path shows that path.
// A process with an empty command line (a kernel thread) shows its kernel
// name. Control characters in a name are shown as '?', so that one process
// is always one line.
//
// With one argument, only processes whose pid equals it (all digits) or
// whose NAME begins with it are listed, as Android's ps filters.
#pragma once

#include <ostream>
#include <string>
#include <vector>

namespace tavo::sim {

struct ProcessRow {
    std::string user;
    int pid = 0;
    int ppid = 0;
    unsigned long vsizeKb = 0;
    unsigned long rssKb = 0;
    std::string wchan;
    unsigned long pc = 0;
    char state = '?';
    std::string name;
};

// The header line, with its line feed.
std::string PsHeader();
// One row, with its line feed.
std::string FormatPsRow(const ProcessRow& row);

// Reads process `pid` below `procDir` ("/proc"). False when it is gone or
// its stat file cannot be understood.
bool ReadProcess(const std::string& procDir, int pid, ProcessRow& row);

// `args` without the program name. Returns the exit status. With a `world`
// (a simulator's root), only the processes started in it are listed: those
// whose environment holds TAVO_PLATFORM_ROOT with that value. So a tool that
// the library kills by name is never one of another simulated phone's (two
// simulators side by side, tests run in parallel).
int PsMain(const std::vector<std::string>& args, std::ostream& out, std::ostream& err,
           const std::string& procDir = "/proc", const std::string& world = "");

}  // namespace tavo::sim
