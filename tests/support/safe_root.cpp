// Linked into every test program: unless a test says otherwise, the library
// sees an empty scratch directory as its platform root, so no test can reach
// the host's real /dev, /sys or /proc (a firmware switch or an interface
// change on a workstation that has such devices). SimEnv and the tests that
// need a tree set their own root on top of this one.
#include <gtest/gtest.h>

#include <cstdlib>
#include <string>

namespace {

class SafeRoot : public ::testing::Environment {
public:
    void SetUp() override {
        if (std::getenv("TAVO_PLATFORM_ROOT") != nullptr) return;
        char tmpl[] = "/tmp/wlbt-safe-root-XXXXXX";
        if (mkdtemp(tmpl) == nullptr) return;
        dir_ = tmpl;
        setenv("TAVO_PLATFORM_ROOT", dir_.c_str(), 1);
    }
    void TearDown() override {
        if (dir_.empty()) return;
        unsetenv("TAVO_PLATFORM_ROOT");
        std::system(("rm -rf '" + dir_ + "'").c_str());
    }

private:
    std::string dir_;
};

const ::testing::Environment* const kSafeRoot = ::testing::AddGlobalTestEnvironment(new SafeRoot);

}  // namespace
