#include "support/fake_tool.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <fstream>
#include <stdexcept>

namespace testsupport {

FakeTool::FakeTool(const std::string& name, const std::string& script) {
    char tmpl[] = "/tmp/wlbt-tool-XXXXXX";
    if (mkdtemp(tmpl) == nullptr) throw std::runtime_error("mkdtemp failed");
    dir_ = tmpl;
    const std::string path = dir_ + "/" + name;
    {
        std::ofstream out(path);
        out << "#!/bin/sh\n" << script << "\n";
    }
    chmod(path.c_str(), 0755);
    const char* old = std::getenv("PATH");
    hadPath_ = old != nullptr;
    if (hadPath_) oldPath_ = old;
    const std::string newPath = dir_ + (hadPath_ ? ":" + oldPath_ : std::string());
    setenv("PATH", newPath.c_str(), 1);
}

FakeTool::~FakeTool() {
    if (hadPath_) {
        setenv("PATH", oldPath_.c_str(), 1);
    } else {
        unsetenv("PATH");
    }
    std::system(("rm -rf '" + dir_ + "'").c_str());
}

std::string FakeTool::WriteFile(const std::string& name, const std::string& content) const {
    const std::string path = dir_ + "/" + name;
    std::ofstream out(path, std::ios::binary);
    out << content;
    return path;
}

}  // namespace testsupport
