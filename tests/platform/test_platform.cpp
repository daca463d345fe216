// TAVO_PLATFORM_ROOT: platform paths move under the root, in file calls and
// inside shell command text.
#include <gtest/gtest.h>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <fstream>
#include <string>

#include "platform/platform.h"

namespace {

class RootEnv {
public:
    explicit RootEnv(const char* root) {
        if (root == nullptr) {
            unsetenv("TAVO_PLATFORM_ROOT");
        } else {
            setenv("TAVO_PLATFORM_ROOT", root, 1);
        }
    }
    ~RootEnv() { unsetenv("TAVO_PLATFORM_ROOT"); }
};

TEST(PlatformPaths, MapPathRebasesOnlyPlatformPaths) {
    struct Case {
        const char* root;
        const char* path;
        const char* mapped;
    } const cases[] = {
        {nullptr, "/dev/q7c3310udi0", "/dev/q7c3310udi0"},
        {"", "/sys/module/x", "/sys/module/x"},
        {"/tmp/r", "/dev/q7c3310udi0", "/tmp/r/dev/q7c3310udi0"},
        {"/tmp/r/", "/sys/module/tavo_wlan/parameters/fw", "/tmp/r/sys/module/tavo_wlan/parameters/fw"},
        {"/tmp/r", "/proc/driver/rk720_clk0/restart", "/tmp/r/proc/driver/rk720_clk0/restart"},
        {"/tmp/r", "/dev", "/tmp/r/dev"},
        {"/tmp/r", "/devices/x", "/devices/x"},
        {"/tmp/r", "/system/bin/sh", "/system/bin/sh"},
        {"/tmp/r", "/tmp/file", "/tmp/file"},
        {"/tmp/r", "dev/relative", "dev/relative"},
        {"/", "/dev/x", "/dev/x"},
    };
    for (const Case& c : cases) {
        RootEnv env(c.root);
        EXPECT_EQ(plat::MapPath(c.path), c.mapped) << (c.root ? c.root : "(unset)") << " " << c.path;
    }
    EXPECT_EQ(plat::MapPath(nullptr), "");
}

TEST(PlatformPaths, MapCommandRewritesPathsThatStartAWord) {
    struct Case {
        const char* root;
        const char* command;
        const char* mapped;
    } const cases[] = {
        {nullptr, "echo 1 > /sys/module/a/parameters/b", "echo 1 > /sys/module/a/parameters/b"},
        {"/r", "echo 1 > /sys/module/a/parameters/b", "echo 1 > /r/sys/module/a/parameters/b"},
        {"/r", "echo 1 >/sys/m/p", "echo 1 >/r/sys/m/p"},
        {"/r", "cat /proc/x /dev/y", "cat /r/proc/x /r/dev/y"},
        {"/r", "btcli -f '/dev/btcli_fifo'", "btcli -f '/r/dev/btcli_fifo'"},
        {"/r", "x --file=/dev/f;cat</dev/g|tee \"/sys/h\"", "x --file=/r/dev/f;cat</r/dev/g|tee \"/r/sys/h\""},
        {"/r", "ls /devices /usr/dev/x a/dev/b /dev", "ls /devices /usr/dev/x a/dev/b /r/dev"},
        {"/r", "/dev/tool arg", "/r/dev/tool arg"},
        {"/r", "ps", "ps"},
        {"/r", "", ""},
        {"/my root", "echo 1 > /sys/a", "echo 1 > '/my root'/sys/a"},
        {"/it's", "cat /dev/a", "cat '/it'\\''s'/dev/a"},
    };
    for (const Case& c : cases) {
        RootEnv env(c.root);
        EXPECT_EQ(plat::MapCommand(c.command), c.mapped) << c.command;
    }
}

class TempRoot : public ::testing::Test {
protected:
    void SetUp() override {
        char tmpl[] = "/tmp/wlbt-plat-XXXXXX";
        ASSERT_NE(mkdtemp(tmpl), nullptr);
        root_ = tmpl;
        ASSERT_EQ(mkdir((root_ + "/dev").c_str(), 0755), 0);
        ASSERT_EQ(mkdir((root_ + "/sys").c_str(), 0755), 0);
        setenv("TAVO_PLATFORM_ROOT", root_.c_str(), 1);
    }
    void TearDown() override {
        unsetenv("TAVO_PLATFORM_ROOT");
        std::system(("rm -rf '" + root_ + "'").c_str());
    }
    std::string Read(const std::string& path) {
        std::ifstream in(path);
        return std::string(std::istreambuf_iterator<char>(in), {});
    }
    std::string root_;
};

TEST_F(TempRoot, FileCallsWorkUnderTheRoot) {
    int fd = plat::Open("/dev/node", O_CREAT | O_WRONLY, 0644);
    ASSERT_GE(fd, 0);
    ASSERT_EQ(write(fd, "abc", 3), 3);
    close(fd);
    EXPECT_EQ(Read(root_ + "/dev/node"), "abc");
    EXPECT_EQ(plat::Access("/dev/node", F_OK), 0);

    FILE* f = plat::Fopen("/sys/param", "w");
    ASSERT_NE(f, nullptr);
    std::fputs("rk720_t\n", f);
    std::fclose(f);
    EXPECT_EQ(Read(root_ + "/sys/param"), "rk720_t\n");

    ASSERT_EQ(plat::Mkfifo("/dev/btcli_fifo", 0666), 0);
    struct stat st;
    ASSERT_EQ(stat((root_ + "/dev/btcli_fifo").c_str(), &st), 0);
    EXPECT_TRUE(S_ISFIFO(st.st_mode));
    EXPECT_EQ(plat::Unlink("/dev/btcli_fifo"), 0);
    EXPECT_NE(stat((root_ + "/dev/btcli_fifo").c_str(), &st), 0);
}

TEST_F(TempRoot, ShellCommandsSeeRebasedPaths) {
    EXPECT_EQ(plat::System("echo rk720 > /sys/fw"), 0);
    EXPECT_EQ(Read(root_ + "/sys/fw"), "rk720\n");
    FILE* p = plat::Popen("cat /sys/fw", "r");
    ASSERT_NE(p, nullptr);
    char line[64] = {};
    ASSERT_NE(std::fgets(line, sizeof line, p), nullptr);
    EXPECT_STREQ(line, "rk720\n");
    EXPECT_EQ(plat::Pclose(p), 0);
}

}  // namespace
