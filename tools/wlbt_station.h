// What a station script needs from a run of wlbt beyond forwarding: the
// verdict of a result string, a tally of the command families, sequence
// files with their includes, and the line that shows a command is still
// being waited for.
#pragma once

#include <chrono>
#include <condition_variable>
#include <functional>
#include <mutex>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

namespace wlbt {

enum class Verdict { kNone, kOk, kNg };

// The verdict a result string carries, read only where the service puts it:
//   "OK", "NG"                       the whole text (the ATA families, and the
//                                    "NG" of a string that belongs to no family)
//   "OK:name,-40;..."                a scan list: OK; the names are free text
//                                    and are never looked into
//   "+WIFIRF:c,V...", "+BTRF:c,V...", "+UNIT:c,V..."
//                                    V, the second field; value fields follow it
//   "+NAME:c,...,V"                  any other name: V, the last field
// A field counts only when it is exactly "OK" or "NG". kNone when the text is
// empty or no verdict stands where one must.
Verdict ReadVerdict(std::string_view result);

// The family a command belongs to, by the prefix the service dispatches on:
// "AT+WIFI", "AT+BTRF=", "ATA+WIFI=", "ATA+BT=", "UNIT=", or "other".
const char* FamilyOf(std::string_view command);

// Commands that passed and failed, by family.
class Summary {
public:
    void Add(std::string_view command, bool passed);
    // One line per family that was used, in the order FamilyOf lists them:
    // "summary FAMILY: N commands, K OK, M NG\n".
    std::string Text() const;

private:
    struct Count {
        int ok = 0;
        int ng = 0;
    };
    Count counts_[6];
};

// How many files deep includes may nest below the file (or standard input)
// that a run starts from. It also ends a file that includes itself.
constexpr int kMaxIncludeDepth = 8;

// Appends the commands of one line of a sequence: nothing for an empty line
// or a '#' comment, the line itself (without a trailing '\r') for a command,
// and for "@PATH" every command of the sequence file PATH, in its place. A
// relative PATH is taken from `dir`, the directory of the file holding the
// line (empty: the current directory). `depth` is how many includes deep that
// file is; `where` ("file:line") names the line in error texts. False, with
// `error` set, when an included file cannot be read or nests too deep.
bool ReadSequenceLine(std::string line, const std::string& where, const std::string& dir, int depth,
                      std::vector<std::string>& commands, std::string& error);

// Appends the commands of a sequence file and of the files it includes.
bool ReadSequenceFile(const std::string& path, std::vector<std::string>& commands, std::string& error);

// While it lives, shows that `command` is still being waited for: after
// `first`, "\r  waiting for COMMAND ... N s", written again every `period`
// with the seconds since the start; at the end "\r\033[K" erases it, if it
// was shown. The end wakes the ticker at once, so a quick answer never waits
// for it.
class WaitIndicator {
public:
    using Sink = std::function<void(const std::string&)>;
    WaitIndicator(const std::string& command, Sink sink,
                  std::chrono::milliseconds first = std::chrono::milliseconds(500),
                  std::chrono::milliseconds period = std::chrono::milliseconds(1000));
    ~WaitIndicator();
    WaitIndicator(const WaitIndicator&) = delete;
    WaitIndicator& operator=(const WaitIndicator&) = delete;

private:
    void Run(std::chrono::milliseconds first, std::chrono::milliseconds period);

    std::string command_;
    Sink sink_;
    std::mutex mutex_;
    std::condition_variable wake_;
    bool done_ = false;
    std::thread thread_;
};

}  // namespace wlbt
