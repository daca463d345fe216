// SimEnv points the process at a fresh simulator and puts everything back.
#include <gtest/gtest.h>

#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <optional>
#include <string>

#include "sim_test_util.h"
#include "support/sim_env.h"

namespace {

std::optional<std::string> Env(const char* name) {
    const char* value = std::getenv(name);
    return value != nullptr ? std::optional<std::string>(value) : std::nullopt;
}

std::string LinkTarget(const std::string& path) {
    char buffer[4096];
    const ssize_t n = ::readlink(path.c_str(), buffer, sizeof buffer);
    return n > 0 ? std::string(buffer, static_cast<size_t>(n)) : std::string();
}

TEST(SimEnvTest, SetsAndRestoresTheEnvironment) {
    struct Case {
        const char* what;
        std::optional<std::string> root;  // TAVO_PLATFORM_ROOT before
        std::optional<std::string> path;  // PATH before
    } const cases[] = {
        {"both set", std::string("/old/root"), std::string("/usr/bin:/bin")},
        {"root unset", std::nullopt, std::string("/usr/bin:/bin")},
        {"root empty", std::string(""), std::string("/usr/bin:/bin")},
    };
    const std::optional<std::string> originalRoot = Env("TAVO_PLATFORM_ROOT");
    const std::optional<std::string> originalPath = Env("PATH");
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        if (c.root) {
            ::setenv("TAVO_PLATFORM_ROOT", c.root->c_str(), 1);
        } else {
            ::unsetenv("TAVO_PLATFORM_ROOT");
        }
        ::setenv("PATH", c.path->c_str(), 1);
        std::string root;
        {
            testsupport::SimEnv env;
            root = env.Root();
            EXPECT_EQ(Env("TAVO_PLATFORM_ROOT"), root);
            EXPECT_EQ(Env("PATH"), root + "/bin:" + *c.path);
            EXPECT_TRUE(env.Sim().IsRunning());
            EXPECT_EQ(env.Sim().Root(), root);
            for (const char* tool : {"iw", "ps"}) {
                EXPECT_EQ(LinkTarget(root + "/bin/" + tool), testsupport::SimEnv::Binary()) << tool;
                EXPECT_EQ(simtest::Run(std::string("command -v ") + tool).out, root + "/bin/" + tool + "\n");
            }
        }
        EXPECT_EQ(Env("TAVO_PLATFORM_ROOT"), c.root);
        EXPECT_EQ(Env("PATH"), c.path);
        struct stat st {};
        EXPECT_NE(::stat(root.c_str(), &st), 0) << root << " was left behind";
    }
    if (originalRoot) {
        ::setenv("TAVO_PLATFORM_ROOT", originalRoot->c_str(), 1);
    } else {
        ::unsetenv("TAVO_PLATFORM_ROOT");
    }
    if (originalPath) ::setenv("PATH", originalPath->c_str(), 1);
}

TEST(SimEnvTest, EachEnvHasItsOwnRoot) {
    testsupport::SimEnv first;
    const std::string firstRoot = first.Root();
    std::string secondRoot;
    {
        testsupport::SimEnv second;
        secondRoot = second.Root();
        EXPECT_NE(firstRoot, secondRoot);
        EXPECT_EQ(std::getenv("TAVO_PLATFORM_ROOT"), secondRoot);
    }
    // The inner one put back what the outer one set.
    EXPECT_EQ(std::getenv("TAVO_PLATFORM_ROOT"), firstRoot);
    EXPECT_TRUE(first.Sim().IsRunning());
}

}  // namespace
