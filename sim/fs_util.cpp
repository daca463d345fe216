#include "sim/fs_util.h"

#include <fcntl.h>
#include <ftw.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <sstream>
#include <stdexcept>
#include <vector>

#include "sim/unique_fd.h"

namespace tavo::sim {

void ThrowSystemError(const std::string& what, const std::string& path) {
    const int saved = errno;
    throw std::runtime_error(what + ": " + path + ": " + std::strerror(saved));
}

void MakeDirs(const std::string& path) {
    if (path.empty()) throw std::runtime_error("empty directory path");
    std::string partial;
    size_t pos = 0;
    while (pos != std::string::npos) {
        const size_t next = path.find('/', pos + 1);
        partial = path.substr(0, next);
        pos = next;
        if (partial.empty() || partial == "/") continue;
        if (::mkdir(partial.c_str(), 0755) != 0 && errno != EEXIST) ThrowSystemError("cannot create directory", partial);
    }
    struct stat st {};
    if (::stat(path.c_str(), &st) != 0) ThrowSystemError("cannot create directory", path);
    if (!S_ISDIR(st.st_mode)) {
        errno = ENOTDIR;
        ThrowSystemError("cannot create directory", path);
    }
}

namespace {

void WriteAll(int fd, const std::string& content, const std::string& path) {
    size_t done = 0;
    while (done < content.size()) {
        const ssize_t n = ::write(fd, content.data() + done, content.size() - done);
        if (n < 0) {
            if (errno == EINTR) continue;
            ThrowSystemError("cannot write", path);
        }
        done += static_cast<size_t>(n);
    }
}

}  // namespace

void WriteFile(const std::string& path, const std::string& content) {
    UniqueFd fd(::open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0644));
    if (!fd.Valid()) ThrowSystemError("cannot open for writing", path);
    WriteAll(fd.Get(), content, path);
    if (::close(fd.Release()) != 0) ThrowSystemError("cannot write", path);
}

void WriteFileAtomic(const std::string& path, const std::string& content) {
    std::string tmpl = path + ".tmp-XXXXXX";
    std::vector<char> name(tmpl.begin(), tmpl.end());
    name.push_back('\0');
    UniqueFd fd(::mkostemp(name.data(), O_CLOEXEC));
    if (!fd.Valid()) ThrowSystemError("cannot create temporary file", tmpl);
    const std::string tmp(name.data());
    try {
        ::fchmod(fd.Get(), 0644);
        WriteAll(fd.Get(), content, tmp);
        fd.Reset();
        if (::rename(tmp.c_str(), path.c_str()) != 0) ThrowSystemError("cannot replace", path);
    } catch (...) {
        ::unlink(tmp.c_str());
        throw;
    }
}

bool ReadFile(const std::string& path, std::string& content, std::size_t limit) {
    content.clear();
    UniqueFd fd(::open(path.c_str(), O_RDONLY | O_CLOEXEC));
    if (!fd.Valid()) return false;
    char buffer[4096];
    while (content.size() < limit) {
        const size_t want = std::min(sizeof buffer, limit - content.size());
        const ssize_t n = ::read(fd.Get(), buffer, want);
        if (n < 0) {
            if (errno == EINTR) continue;
            return false;
        }
        if (n == 0) break;
        content.append(buffer, static_cast<size_t>(n));
    }
    return true;
}

bool ReadStateLines(const std::string& path, std::size_t limit, std::string& error,
                    const std::function<std::string(const std::string& line)>& line) {
    std::string text;
    if (!ReadFile(path, text, limit + 1)) {
        if (errno == ENOENT) return true;
        error = path + ": " + std::strerror(errno);
        return false;
    }
    if (text.size() > limit) {
        error = path + ": larger than " + std::to_string(limit) + " bytes";
        return false;
    }
    std::istringstream in(text);
    std::string one;
    for (int number = 1; std::getline(in, one); ++number) {
        if (one.empty() || one[0] == '#') continue;
        const std::string reason = line(one);
        if (!reason.empty()) {
            error = path + ":" + std::to_string(number) + ": " + reason;
            return false;
        }
    }
    return true;
}

std::string TrimRight(const std::string& text) {
    size_t end = text.size();
    while (end > 0 && std::strchr(" \t\r\n\v\f", text[end - 1]) != nullptr) --end;
    return text.substr(0, end);
}

namespace {

// Keeps going past failures: as much as possible goes, the caller checks
// at the end.
int RemoveOne(const char* path, const struct stat*, int type, struct FTW*) {
    if (type == FTW_DP) {
        ::rmdir(path);
    } else {
        ::unlink(path);
    }
    return 0;
}

}  // namespace

bool RemoveTree(const std::string& path) {
    struct stat st {};
    if (::lstat(path.c_str(), &st) != 0) return errno == ENOENT;
    ::nftw(path.c_str(), RemoveOne, 16, FTW_DEPTH | FTW_PHYS);
    return ::lstat(path.c_str(), &st) != 0 && errno == ENOENT;
}

std::string AbsolutePath(const std::string& path) {
    std::string out = path;
    if (out.empty() || out[0] != '/') {
        std::vector<char> cwd(4096);
        if (::getcwd(cwd.data(), cwd.size()) == nullptr) ThrowSystemError("cannot read working directory", ".");
        std::string base(cwd.data());
        if (base != "/") base += '/';
        out = base + out;
    }
    while (out.size() > 1 && out.back() == '/') out.pop_back();
    return out;
}

std::string Printable(const std::string& bytes, std::size_t limit) {
    std::string out;
    const size_t n = std::min(bytes.size(), limit);
    for (size_t i = 0; i < n; ++i) {
        const unsigned char c = static_cast<unsigned char>(bytes[i]);
        if (c < 0x20 || c >= 0x7f || c == '\\') {
            char hex[5];
            std::snprintf(hex, sizeof hex, "\\x%02x", c);
            out += hex;
        } else {
            out += static_cast<char>(c);
        }
    }
    if (bytes.size() > limit) out += "...";
    return out;
}

}  // namespace tavo::sim
