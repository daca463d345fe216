#include "platform/platform.h"

#include <fcntl.h>
#include <net/if.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>

namespace plat {
namespace {

const char* const kPrefixes[] = {"/dev", "/sys", "/proc"};

// Length of the platform prefix that `p` starts with, or 0. The prefix must
// be followed by '/' or by the end of the word.
size_t PlatformPrefixAt(const char* p, const char* wordEnds) {
    for (const char* prefix : kPrefixes) {
        const size_t n = std::strlen(prefix);
        if (std::strncmp(p, prefix, n) != 0) continue;
        const char next = p[n];
        if (next == '/' || next == '\0' || std::strchr(wordEnds, next) != nullptr) return n;
    }
    return 0;
}

bool ShellSafe(const std::string& s) {
    for (const char c : s) {
        const bool ok = (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') ||
                        std::strchr("/._-+,@%:", c) != nullptr;
        if (!ok) return false;
    }
    return true;
}

std::string ShellQuote(const std::string& s) {
    std::string out = "'";
    for (const char c : s) {
        if (c == '\'') {
            out += "'\\''";
        } else {
            out += c;
        }
    }
    out += '\'';
    return out;
}

}  // namespace

std::string Root() {
    const char* root = std::getenv("TAVO_PLATFORM_ROOT");
    if (root == nullptr) return std::string();
    std::string r(root);
    while (r.size() > 1 && r.back() == '/') r.pop_back();
    if (r == "/") return std::string();
    return r;
}

bool IsPlatformPath(const char* path) {
    return path != nullptr && PlatformPrefixAt(path, "") != 0;
}

std::string MapPath(const char* path) {
    if (path == nullptr) return std::string();
    if (!IsPlatformPath(path)) return path;
    const std::string root = Root();
    if (root.empty()) return path;
    return root + path;
}

std::string MapCommand(const char* command) {
    if (command == nullptr) return std::string();
    const std::string root = Root();
    if (root.empty()) return command;
    const std::string inserted = ShellSafe(root) ? root : ShellQuote(root);
    // Characters behind which a new word (and so a path) may start, and that
    // end a word after a bare prefix such as "/dev".
    static const char kWordStarts[] = " \t\n'\"<>=;|&()`";
    std::string out;
    out.reserve(std::strlen(command) + 4 * inserted.size());
    for (const char* p = command; *p != '\0'; ++p) {
        const bool atWordStart = p == command || std::strchr(kWordStarts, p[-1]) != nullptr;
        if (atWordStart && *p == '/' && PlatformPrefixAt(p, kWordStarts) != 0) out += inserted;
        out += *p;
    }
    return out;
}

namespace {

// An interface name that cannot leave the net class directory.
bool SafeInterfaceName(const char* name) {
    if (name[0] == '\0' || std::strcmp(name, ".") == 0 || std::strcmp(name, "..") == 0) return false;
    return std::strchr(name, '/') == nullptr;
}

int InterfaceFlags(unsigned long request, struct ifreq* ifr, const std::string& root) {
    if (ifr == nullptr) {
        errno = EFAULT;
        return -1;
    }
    char name[IFNAMSIZ + 1] = {};
    std::memcpy(name, ifr->ifr_name, IFNAMSIZ);
    if (!SafeInterfaceName(name)) {
        errno = ENODEV;
        return -1;
    }
    const std::string path = root + "/sys/class/net/" + name + "/flags";
    if (request == SIOCGIFFLAGS) {
        FILE* f = std::fopen(path.c_str(), "r");
        if (f == nullptr) {
            errno = ENODEV;
            return -1;
        }
        unsigned int flags = 0;
        const int n = std::fscanf(f, "%x", &flags);
        std::fclose(f);
        if (n != 1) {
            errno = EIO;
            return -1;
        }
        ifr->ifr_flags = static_cast<short>(flags);
        return 0;
    }
    // Only an existing interface takes flags.
    FILE* f = ::access(path.c_str(), F_OK) == 0 ? std::fopen(path.c_str(), "w") : nullptr;
    if (f == nullptr) {
        errno = ENODEV;
        return -1;
    }
    const int n = std::fprintf(f, "0x%04x\n", static_cast<unsigned short>(ifr->ifr_flags));
    const int closed = std::fclose(f);
    if (n < 0 || closed != 0) {
        errno = EIO;
        return -1;
    }
    return 0;
}

}  // namespace

int Ioctl(int fd, unsigned long request, void* arg) {
    const std::string root = Root();
    if (!root.empty() && (request == SIOCGIFFLAGS || request == SIOCSIFFLAGS)) {
        return InterfaceFlags(request, static_cast<struct ifreq*>(arg), root);
    }
    return ::ioctl(fd, request, arg);
}

int Socket(int domain, int type, int protocol) {
    return ::socket(domain, type, protocol);
}

int Close(int fd) {
    return ::close(fd);
}

namespace {

// A device node that the simulator serves as a Unix socket: one datagram is
// one frame each way, as one read and one write on the real node give.
int ConnectSeqpacket(const std::string& path) {
    struct sockaddr_un address;
    std::memset(&address, 0, sizeof address);
    if (path.size() >= sizeof address.sun_path) {
        errno = ENAMETOOLONG;
        return -1;
    }
    address.sun_family = AF_UNIX;
    std::memcpy(address.sun_path, path.c_str(), path.size());
    const int fd = ::socket(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0);
    if (fd < 0) return -1;
    if (::connect(fd, reinterpret_cast<struct sockaddr*>(&address), sizeof address) != 0) {
        const int saved = errno;
        ::close(fd);
        errno = saved;
        return -1;
    }
    return fd;
}

}  // namespace

int Open(const char* path, int flags, mode_t mode) {
    const std::string mapped = MapPath(path);
    struct stat st;
    if (!Root().empty() && IsPlatformPath(path) && ::stat(mapped.c_str(), &st) == 0 && S_ISSOCK(st.st_mode)) {
        return ConnectSeqpacket(mapped);
    }
    return ::open(mapped.c_str(), flags, mode);
}

FILE* Fopen(const char* path, const char* mode) {
    return std::fopen(MapPath(path).c_str(), mode);
}

int Mkfifo(const char* path, mode_t mode) {
    return ::mkfifo(MapPath(path).c_str(), mode);
}

int Unlink(const char* path) {
    return ::unlink(MapPath(path).c_str());
}

int Access(const char* path, int how) {
    return ::access(MapPath(path).c_str(), how);
}

FILE* Popen(const char* command, const char* type) {
    return ::popen(MapCommand(command).c_str(), type);
}

int Pclose(FILE* stream) {
    return ::pclose(stream);
}

int System(const char* command) {
    return std::system(MapCommand(command).c_str());
}

}  // namespace plat
