// Linked into every test program: unless a test says otherwise, the library
// sees an empty scratch directory as its platform root, so no test can reach
// the host's real /dev, /sys or /proc (a firmware switch or an interface
// change on a workstation that has such devices). SimEnv and the tests that
// need a tree set their own root on top of this one.
#include <gtest/gtest.h>

#include <cstdlib>
#include <memory>

#include "support/chores.h"

namespace {

class SafeRoot : public ::testing::Environment {
public:
    void SetUp() override {
        if (std::getenv("TAVO_PLATFORM_ROOT") != nullptr) return;
        dir_ = std::make_unique<testsupport::TempDir>("/tmp/wlbt-safe-root-");
        root_ = std::make_unique<testsupport::ScopedEnv>("TAVO_PLATFORM_ROOT", dir_->Path());
    }
    void TearDown() override {
        root_.reset();
        dir_.reset();
    }

private:
    std::unique_ptr<testsupport::TempDir> dir_;
    std::unique_ptr<testsupport::ScopedEnv> root_;
};

const ::testing::Environment* const kSafeRoot = ::testing::AddGlobalTestEnvironment(new SafeRoot);

}  // namespace
