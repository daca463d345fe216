#include "sim/ps_tool.h"

#include <dirent.h>
#include <pwd.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <map>
#include <memory>

#include "sim/fs_util.h"

namespace tavo::sim {
namespace {

constexpr char kHeader[] = "USER      PID   PPID  VSIZE  RSS   WCHAN              PC  NAME\n";
constexpr size_t kFileLimit = 8192;

bool ParseUnsigned(const std::string& text, unsigned long long& value) {
    if (text.empty() || text[0] < '0' || text[0] > '9') return false;
    errno = 0;
    char* end = nullptr;
    value = std::strtoull(text.c_str(), &end, 10);
    return errno == 0 && *end == '\0';
}

bool AllDigits(const std::string& text) {
    return !text.empty() && text.size() < 10 &&
           std::all_of(text.begin(), text.end(), [](char c) { return c >= '0' && c <= '9'; });
}

unsigned long CapKb(unsigned long long kb) {
    return static_cast<unsigned long>(std::min<unsigned long long>(kb, INT_MAX));
}

// A word for a column that must not split into two for a reader using %s.
std::string Word(const std::string& text, size_t limit) {
    std::string out;
    for (const char c : text) {
        if (out.size() == limit) break;
        const unsigned char u = static_cast<unsigned char>(c);
        if (u > 0x20 && u != 0x7f) out += c;
    }
    return out.empty() ? std::string("0") : out;
}

std::string UserName(uid_t uid) {
    static std::map<uid_t, std::string> cache;
    const auto found = cache.find(uid);
    if (found != cache.end()) return found->second;
    std::string name = std::to_string(uid);
    long size = ::sysconf(_SC_GETPW_R_SIZE_MAX);
    if (size < 1024) size = 16384;
    std::vector<char> buffer(static_cast<size_t>(size));
    struct passwd pw {};
    struct passwd* result = nullptr;
    if (::getpwuid_r(uid, &pw, buffer.data(), buffer.size(), &result) == 0 && result != nullptr &&
        pw.pw_name != nullptr && pw.pw_name[0] != '\0') {
        name = Word(pw.pw_name, 64);
    }
    cache.emplace(uid, name);
    return name;
}

}  // namespace

std::string PsHeader() {
    return kHeader;
}

std::string FormatPsRow(const ProcessRow& row) {
    char head[160];
    std::snprintf(head, sizeof head, "%-9s %-5d %-5d %-6lu %-5lu %-10s %010lx %c ", Word(row.user, 64).c_str(),
                  row.pid, row.ppid, row.vsizeKb, row.rssKb, Word(row.wchan, 10).c_str(), row.pc, row.state);
    std::string name = row.name;
    for (char& c : name) {
        const unsigned char u = static_cast<unsigned char>(c);
        if (u < 0x20 || u == 0x7f) c = '?';
    }
    if (name.empty()) name = "?";
    return head + name + "\n";
}

bool ReadProcess(const std::string& procDir, int pid, ProcessRow& row) {
    const std::string dir = procDir + "/" + std::to_string(pid);
    std::string stat;
    if (!ReadFile(dir + "/stat", stat, kFileLimit)) return false;
    // "pid (comm) state ppid ..."; comm may hold spaces and parentheses,
    // so it ends at the last ')'.
    const size_t open = stat.find('(');
    const size_t close = stat.rfind(')');
    if (open == std::string::npos || close == std::string::npos || close < open) return false;
    std::vector<std::string> fields;
    {
        size_t at = close + 1;
        while (at < stat.size()) {
            while (at < stat.size() && (stat[at] == ' ' || stat[at] == '\n')) ++at;
            const size_t end = stat.find_first_of(" \n", at);
            if (at < stat.size()) fields.push_back(stat.substr(at, end == std::string::npos ? end : end - at));
            at = end == std::string::npos ? stat.size() : end;
        }
    }
    // fields[0] is the state (the third field of stat), so field k of
    // proc(5) is fields[k - 3].
    unsigned long long ppid = 0, vsize = 0, rss = 0, pc = 0;
    if (fields.size() < 22 || fields[0].size() != 1 || !ParseUnsigned(fields[1], ppid) ||
        !ParseUnsigned(fields[20], vsize) || !ParseUnsigned(fields[21], rss)) {
        return false;
    }
    if (fields.size() > 27) ParseUnsigned(fields[27], pc);

    ProcessRow out;
    out.pid = pid;
    out.ppid = static_cast<int>(std::min<unsigned long long>(ppid, INT_MAX));
    out.state = fields[0][0];
    out.vsizeKb = CapKb(vsize / 1024);
    const long page = ::sysconf(_SC_PAGESIZE);
    out.rssKb = CapKb(rss * static_cast<unsigned long long>(page > 0 ? page : 4096) / 1024);
    out.pc = static_cast<unsigned long>(pc);

    struct stat st {};
    out.user = ::stat(dir.c_str(), &st) == 0 ? UserName(st.st_uid) : std::string("?");

    std::string wchan;
    if (ReadFile(dir + "/wchan", wchan, 256)) out.wchan = wchan;

    std::string cmdline;
    if (ReadFile(dir + "/cmdline", cmdline, kFileLimit)) out.name = cmdline.substr(0, cmdline.find('\0'));
    if (out.name.empty()) out.name = stat.substr(open + 1, close - open - 1);
    row = out;
    return true;
}

namespace {

// Whether the process's environment names `world` as its platform root.
// Another user's process, whose environment cannot be read, is not.
bool InWorld(const std::string& procDir, int pid, const std::string& world) {
    std::string environ;
    if (!ReadFile(procDir + "/" + std::to_string(pid) + "/environ", environ, 1u << 20)) return false;
    const std::string entry = std::string(1, '\0') + "TAVO_PLATFORM_ROOT=" + world;
    const std::string padded = std::string(1, '\0') + environ + std::string(1, '\0');
    for (size_t at = padded.find(entry); at != std::string::npos; at = padded.find(entry, at + 1)) {
        const char next = padded[at + entry.size()];
        if (next == '\0') return true;
        // A value that differs only by trailing slashes is the same root.
        size_t end = at + entry.size();
        while (padded[end] == '/') ++end;
        if (padded[end] == '\0') return true;
    }
    return false;
}

}  // namespace

int PsMain(const std::vector<std::string>& args, std::ostream& out, std::ostream& err, const std::string& procDir,
           const std::string& world) {
    std::string filter;
    if (args.size() == 1 && (args[0] == "--help" || args[0] == "-h")) {
        out << "Usage: ps [PID|NAME]\n"
               "Lists processes in the Android toolbox format; with an argument, only the\n"
               "process with that pid or the processes whose name begins with it.\n";
        return 0;
    }
    if (args.size() > 1 || (args.size() == 1 && (args[0].empty() || args[0][0] == '-'))) {
        err << "ps: unsupported arguments (this ps is the tavo-sim stand-in; usage: ps [PID|NAME])\n";
        return 1;
    }
    if (args.size() == 1) filter = args[0];

    std::unique_ptr<DIR, int (*)(DIR*)> dir(::opendir(procDir.c_str()), ::closedir);
    if (!dir) {
        err << "ps: " << procDir << ": " << std::strerror(errno) << "\n";
        return 1;
    }
    std::vector<int> pids;
    while (const struct dirent* entry = ::readdir(dir.get())) {
        const std::string name = entry->d_name;
        if (AllDigits(name)) pids.push_back(std::atoi(name.c_str()));
    }
    std::sort(pids.begin(), pids.end());

    const bool byPid = AllDigits(filter);
    out << kHeader;
    for (const int pid : pids) {
        if (byPid && std::to_string(pid) != filter) continue;
        ProcessRow row;
        if (!world.empty() && !InWorld(procDir, pid, world)) continue;
        if (!ReadProcess(procDir, pid, row)) continue;  // ended while we looked
        if (!filter.empty() && !byPid && row.name.compare(0, filter.size(), filter) != 0) continue;
        out << FormatPsRow(row);
    }
    out.flush();
    return out ? 0 : 1;
}

}  // namespace tavo::sim
