#include "factory/FactoryUtil.h"

#include <climits>
#include <cstdio>
#include <cstring>

#include "factory/factory_log.h"
#include "platform/platform.h"

void trim(char* s, int n) {
    if (s == nullptr) return;
    for (int i = 0; i < n; ++i) {
        const char c = s[i];
        if (c == '\0') break;
        if (c == '\r' || c == '\n') s[i] = '\0';
    }
}

int isNumChar(char c) {
    if (c >= '0' && c <= '9') return 0;
    if (c >= 'a' && c <= 'f') return 0;
    if (c >= 'A' && c <= 'F') return 0;
    return 1;
}

int str2num(const char* s) {
    if (s == nullptr) return 0;
    while (*s == ' ' || *s == '\t') ++s;
    bool negative = false;
    if (*s == '-') {
        negative = true;
        ++s;
    }
    // Unsigned arithmetic: a long run of digits wraps instead of overflowing.
    unsigned int value = 0;
    while (*s != '\0' && isNumChar(*s) == 0) {
        value = value * 10u + static_cast<unsigned int>(*s - '0');
        ++s;
    }
    if (negative) value = 0u - value;
    return static_cast<int>(value);
}

void reverse_array(char* s, int n) {
    if (s == nullptr) return;
    for (int i = 0, j = n - 1; i < j; ++i, --j) {
        const char t = s[i];
        s[i] = s[j];
        s[j] = t;
    }
}

void num2str(int v, char* out) {
    if (out == nullptr) return;
    // The magnitude is taken unsigned so that INT_MIN has one too.
    unsigned int magnitude = v < 0 ? 0u - static_cast<unsigned int>(v) : static_cast<unsigned int>(v);
    int n = 0;
    do {
        out[n++] = static_cast<char>('0' + magnitude % 10u);
        magnitude /= 10u;
    } while (magnitude != 0u);
    if (v < 0) out[n++] = '-';
    out[n] = '\0';
    reverse_array(out, n);
}

int hex2num(char c) {
    if (c >= '0' && c <= '9') return c - '0';
    if (c >= 'a' && c <= 'f') return c - 'a' + 10;
    if (c >= 'A' && c <= 'F') return c - 'A' + 10;
    return 0;
}

int hexstr2num(char* s, int n) {
    if (s == nullptr) return 0;
    unsigned int value = 0;
    for (int i = 0; i < n && s[i] != '\0' && isNumChar(s[i]) == 0; ++i) {
        value = (value << 4) | static_cast<unsigned int>(hex2num(s[i]));
    }
    return static_cast<int>(value);
}

int findString(const char* text, const char* needle) {
    if (text == nullptr || needle == nullptr || *text == '\0' || *needle == '\0') return -1;
    const char* hit = std::strstr(text, needle);
    return hit == nullptr ? -1 : static_cast<int>(hit - text);
}

int PsRowPid(const char* row, const char* name) {
    if (row == nullptr) return 0;
    char user[1024], wchan[1024], pc[1024], process[1024];
    // Read wide: a pid column beyond an int, read as an int, would come out
    // as some other process's pid (even 1).
    long pid = 0;
    long ppid = 0, vsize = 0, rss = 0;
    char state = 0;
    const int fields = std::sscanf(row, "%1023s %ld %ld %ld %ld %1023s %1023s %c %1023s", user, &pid, &ppid,
                                   &vsize, &rss, wchan, pc, &state, process);
    // A pid of 0 or below would make `kill` signal a whole process group.
    if (fields != 9 || pid <= 0 || pid > INT_MAX || name == nullptr || std::strcmp(process, name) != 0) return 0;
    return static_cast<int>(pid);
}

int KillProcess(const char* name) {
    FILE* ps = plat::Popen("ps", "r");
    if (ps == nullptr) return -1;
    char line[1024];
    // The first line is the column header.
    if (std::fgets(line, sizeof line, ps) != nullptr) {
        while (std::fgets(line, sizeof line, ps) != nullptr) {
            const int pid = PsRowPid(line, name);
            if (pid <= 0) continue;
            FLOG(TAG_SERVICE_UTIL, "Killing %s", line);
            char kill[32];
            std::snprintf(kill, sizeof kill, "kill %d\n", pid);
            plat::System(kill);
        }
    }
    plat::Pclose(ps);
    return 0;
}

int _RunShellCmd(const char* command) {
    FILE* out = plat::Popen(command, "r");
    if (out == nullptr) return -1;
    char line[1024];
    while (std::fgets(line, sizeof line, out) != nullptr) FLOG(TAG_SERVICE_UTIL, "%s\n", line);
    plat::Pclose(out);
    return 0;
}
