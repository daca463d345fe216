#include "support/fake_tool.h"

#include <sys/stat.h>

#include <cstdlib>

namespace testsupport {

FakeTool::FakeTool(const std::string& name, const std::string& script) {
    const std::string path = dir_ / name;
    testsupport::WriteFile(path, "#!/bin/sh\n" + script + "\n");
    ::chmod(path.c_str(), 0755);
    const char* old = std::getenv("PATH");
    path_ = std::make_unique<ScopedEnv>("PATH", old != nullptr ? dir_.Path() + ":" + old : dir_.Path());
}

std::string FakeTool::WriteFile(const std::string& name, const std::string& content) const {
    testsupport::WriteFile(dir_ / name, content);
    return dir_ / name;
}

}  // namespace testsupport
