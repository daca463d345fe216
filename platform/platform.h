// The thin layer between the library and what only a phone has.
//
// On a phone every call here is the plain system call. On a workstation the
// environment variable TAVO_PLATFORM_ROOT=<dir> moves every absolute platform
// path the library touches (/dev/..., /sys/..., /proc/...) under <dir>, both
// for file calls and inside the text of shell commands, so that the library
// runs against the chip simulator's tree. Unset or empty, nothing changes.
#pragma once

#include <sys/types.h>

#include <cstdio>
#include <string>

namespace plat {

// The value of TAVO_PLATFORM_ROOT without trailing slashes, or "" when unset.
std::string Root();

// True when `path` names a platform path: "/dev", "/sys" or "/proc" or a path
// below one of them.
bool IsPlatformPath(const char* path);

// `path` moved under the root when it is a platform path and a root is set;
// otherwise `path` unchanged. A null path maps to "".
std::string MapPath(const char* path);

// Shell command text with every platform path that starts a word (at the
// start of the text or behind white space, a quote, a redirection or another
// shell operator) moved under the root. The root is inserted single-quoted
// when it holds characters the shell would interpret.
std::string MapCommand(const char* command);

// open. With a root set, a node that is a Unix socket is connected to as
// SOCK_SEQPACKET instead: the simulator serves device nodes that way.
int Open(const char* path, int flags, mode_t mode = 0);
// ioctl. With a root set, SIOCGIFFLAGS and SIOCSIFFLAGS (whose argument is
// a struct ifreq) read and write <root>/sys/class/net/<ifr_name>/flags, hex
// text such as "0x1003" as in Linux's sysfs, since no wireless interface
// exists on a workstation. A missing interface fails with ENODEV.
int Ioctl(int fd, unsigned long request, void* arg);
int Socket(int domain, int type, int protocol);
int Close(int fd);
FILE* Fopen(const char* path, const char* mode);
int Mkfifo(const char* path, mode_t mode);
int Unlink(const char* path);
int Access(const char* path, int how);
FILE* Popen(const char* command, const char* type);
int Pclose(FILE* stream);
int System(const char* command);

}  // namespace plat
