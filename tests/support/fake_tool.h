// Puts a shell script under a given program name first on PATH for the
// lifetime of the object, for tests of code that runs external tools.
#pragma once

#include <string>

namespace testsupport {

class FakeTool {
public:
    // `script` is the body of a /bin/sh script.
    FakeTool(const std::string& name, const std::string& script);
    ~FakeTool();
    FakeTool(const FakeTool&) = delete;
    FakeTool& operator=(const FakeTool&) = delete;

    const std::string& Dir() const { return dir_; }
    // Writes a data file next to the script; returns its path.
    std::string WriteFile(const std::string& name, const std::string& content) const;

private:
    std::string dir_;
    std::string oldPath_;
    bool hadPath_ = false;
};

}  // namespace testsupport
