// Puts a shell script under a given program name first on PATH for the
// lifetime of the object, for tests of code that runs external tools.
#pragma once

#include <memory>
#include <string>

#include "support/chores.h"

namespace testsupport {

class FakeTool {
public:
    // `script` is the body of a /bin/sh script.
    FakeTool(const std::string& name, const std::string& script);

    // Writes a data file next to the script; returns its path.
    std::string WriteFile(const std::string& name, const std::string& content) const;

private:
    TempDir dir_{"/tmp/wlbt-tool-"};
    std::unique_ptr<ScopedEnv> path_;
};

}  // namespace testsupport
