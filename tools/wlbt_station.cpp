#include "tools/wlbt_station.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <memory>

namespace wlbt {

namespace {

Verdict FieldVerdict(std::string_view field) {
    if (field == "OK") return Verdict::kOk;
    if (field == "NG") return Verdict::kNg;
    return Verdict::kNone;
}

// In the service's order of dispatch: the first prefix that matches wins.
constexpr const char* kFamilies[] = {"AT+WIFI", "AT+BTRF=", "ATA+WIFI=", "ATA+BT=", "UNIT="};
constexpr int kOther = sizeof kFamilies / sizeof kFamilies[0];

int FamilyIndex(std::string_view command) {
    for (int i = 0; i < kOther; ++i) {
        if (command.substr(0, std::strlen(kFamilies[i])) == kFamilies[i]) return i;
    }
    return kOther;
}

// The whole file split into lines; false, with the system's reason, when it
// cannot be read (a directory opens, but its read fails).
bool ReadLines(const std::string& path, std::vector<std::string>& lines, std::string& reason) {
    std::unique_ptr<FILE, int (*)(FILE*)> file(std::fopen(path.c_str(), "rb"), std::fclose);
    if (!file) {
        reason = std::strerror(errno);
        return false;
    }
    std::string text;
    char buffer[4096];
    size_t n;
    while ((n = std::fread(buffer, 1, sizeof buffer, file.get())) > 0) text.append(buffer, n);
    if (std::ferror(file.get())) {
        reason = std::strerror(errno);
        return false;
    }
    size_t start = 0;
    while (start < text.size()) {
        size_t end = text.find('\n', start);
        if (end == std::string::npos) end = text.size();
        lines.push_back(text.substr(start, end - start));
        start = end + 1;
    }
    return true;
}

std::string DirectoryOf(const std::string& path) {
    const size_t slash = path.rfind('/');
    if (slash == std::string::npos) return "";
    return slash == 0 ? "/" : path.substr(0, slash);
}

bool ReadSequenceLines(const std::string& path, const std::vector<std::string>& lines, int depth,
                       std::vector<std::string>& commands, std::string& error) {
    const std::string dir = DirectoryOf(path);
    for (size_t i = 0; i < lines.size(); ++i) {
        if (!ReadSequenceLine(lines[i], path + ":" + std::to_string(i + 1), dir, depth, commands, error)) {
            return false;
        }
    }
    return true;
}

}  // namespace

Verdict ReadVerdict(std::string_view result) {
    if (result == "OK" || result == "NG") return FieldVerdict(result);
    if (result.substr(0, 3) == "OK:") return Verdict::kOk;
    if (result.empty() || result[0] != '+') return Verdict::kNone;
    const size_t colon = result.find(':');
    if (colon == std::string_view::npos) return Verdict::kNone;
    const std::string_view name = result.substr(1, colon - 1);
    const std::string_view fields = result.substr(colon + 1);
    if (name == "WIFIRF" || name == "BTRF" || name == "UNIT") {
        const size_t comma = fields.find(',');
        if (comma == std::string_view::npos) return Verdict::kNone;
        const std::string_view rest = fields.substr(comma + 1);
        return FieldVerdict(rest.substr(0, rest.find(',')));
    }
    // The name form appends the verdict after any text value, which may
    // itself hold commas or the letters of a verdict.
    const size_t comma = fields.rfind(',');
    if (comma == std::string_view::npos) return Verdict::kNone;
    return FieldVerdict(fields.substr(comma + 1));
}

const char* FamilyOf(std::string_view command) {
    const int i = FamilyIndex(command);
    return i == kOther ? "other" : kFamilies[i];
}

void Summary::Add(std::string_view command, bool passed) {
    Count& count = counts_[FamilyIndex(command)];
    ++(passed ? count.ok : count.ng);
}

std::string Summary::Text() const {
    std::string text;
    for (int i = 0; i <= kOther; ++i) {
        const Count& c = counts_[i];
        if (c.ok + c.ng == 0) continue;
        text += std::string("summary ") + (i == kOther ? "other" : kFamilies[i]) + ": " +
                std::to_string(c.ok + c.ng) + " commands, " + std::to_string(c.ok) + " OK, " +
                std::to_string(c.ng) + " NG\n";
    }
    return text;
}

bool ReadSequenceLine(std::string line, const std::string& where, const std::string& dir, int depth,
                      std::vector<std::string>& commands, std::string& error) {
    if (!line.empty() && line.back() == '\r') line.pop_back();
    if (line.empty() || line[0] == '#') return true;
    if (line[0] != '@') {
        commands.push_back(line);
        return true;
    }
    const size_t first = line.find_first_not_of(" \t", 1);
    if (first == std::string::npos) {
        error = where + ": an include line needs a file name after '@'";
        return false;
    }
    const std::string name = line.substr(first, line.find_last_not_of(" \t") + 1 - first);
    std::string path = name;
    if (name[0] != '/' && !dir.empty()) path = dir + (dir.back() == '/' ? "" : "/") + name;
    if (depth >= kMaxIncludeDepth) {
        error = where + ": cannot include " + path + ": includes nest deeper than " +
                std::to_string(kMaxIncludeDepth) + " files";
        return false;
    }
    std::vector<std::string> lines;
    std::string reason;
    if (!ReadLines(path, lines, reason)) {
        error = where + ": cannot read " + path + ": " + reason;
        return false;
    }
    return ReadSequenceLines(path, lines, depth + 1, commands, error);
}

bool ReadSequenceFile(const std::string& path, std::vector<std::string>& commands, std::string& error) {
    std::vector<std::string> lines;
    std::string reason;
    if (!ReadLines(path, lines, reason)) {
        error = "cannot read " + path + ": " + reason;
        return false;
    }
    return ReadSequenceLines(path, lines, 0, commands, error);
}

WaitIndicator::WaitIndicator(const std::string& command, Sink sink, std::chrono::milliseconds first,
                             std::chrono::milliseconds period)
    // Cut so that the line stays on one row of an 80-column terminal, where
    // '\r' can still rewrite it.
    : command_(command.size() > 50 ? command.substr(0, 47) + "..." : command), sink_(std::move(sink)) {
    thread_ = std::thread(&WaitIndicator::Run, this, first, period);
}

WaitIndicator::~WaitIndicator() {
    {
        std::lock_guard<std::mutex> lock(mutex_);
        done_ = true;
    }
    wake_.notify_one();
    thread_.join();
}

void WaitIndicator::Run(std::chrono::milliseconds first, std::chrono::milliseconds period) {
    using Clock = std::chrono::steady_clock;
    const Clock::time_point start = Clock::now();
    Clock::time_point next = start + first;
    bool shown = false;
    std::unique_lock<std::mutex> lock(mutex_);
    while (!wake_.wait_until(lock, next, [this] { return done_; })) {
        const auto now = Clock::now();
        const long long ms = std::chrono::duration_cast<std::chrono::milliseconds>(now - start).count();
        const std::string text = "\r  waiting for " + command_ + " ... " + std::to_string((ms + 500) / 1000) + " s";
        // Written without the lock, so that the end never waits on a slow
        // terminal for more than the one line in progress.
        lock.unlock();
        sink_(text);
        shown = true;
        lock.lock();
        while (next <= now) next += std::max(period, std::chrono::milliseconds(1));
    }
    lock.unlock();
    if (shown) sink_("\r\033[K");
}

}  // namespace wlbt
