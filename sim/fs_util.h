// Small file helpers shared by the simulator and its stand-ins. Failures
// throw std::runtime_error with the path and the system's reason.
#pragma once

#include <cstddef>
#include <functional>
#include <string>

namespace tavo::sim {

// "what: path: strerror(errno)" as a runtime_error.
[[noreturn]] void ThrowSystemError(const std::string& what, const std::string& path);

// Creates `path` and its missing parents (mode 0755). An existing directory
// is fine; an existing non-directory is an error.
void MakeDirs(const std::string& path);

// Replaces the content of `path` (created with mode 0644 when missing).
// The file is truncated and rewritten in place, as `echo > file` does, so
// that an inotify watch on the file itself survives.
void WriteFile(const std::string& path, const std::string& content);

// Writes a temporary file beside `path` and renames it over `path`, so that
// a reader in another process sees the old or the new content, never a mix.
void WriteFileAtomic(const std::string& path, const std::string& content);

// Reads at most `limit` bytes. Returns false when the file cannot be opened.
bool ReadFile(const std::string& path, std::string& content, std::size_t limit);

// Reads a state file of lines: calls `line` with each line that is neither
// empty nor a '#' comment, and its number, until it returns a non-empty
// reason. A missing file is an empty one. False, with `error` naming the
// path (and the line), when the file cannot be read, is larger than
// `limit` bytes, or a line is refused.
bool ReadStateLines(const std::string& path, std::size_t limit, std::string& error,
                    const std::function<std::string(const std::string& line)>& line);

// `text` without trailing white space (line feeds included).
std::string TrimRight(const std::string& text);

// Removes `path` and everything below it without following symbolic links.
// A missing path is fine. Returns false when something could not be removed.
bool RemoveTree(const std::string& path);

// `path` made absolute against the working directory, without trailing
// slashes (except for "/" itself). Does not resolve symbolic links.
std::string AbsolutePath(const std::string& path);

// Printable form of arbitrary bytes for log lines: control characters,
// backslash and bytes from 0x7f on become \xNN; cut at `limit` bytes of
// input with "..." behind.
std::string Printable(const std::string& bytes, std::size_t limit = 256);

}  // namespace tavo::sim
