// The host stand-ins: the Android log reaching its sink and rendered as
// logcat lines, and TAVO_PLATFORM_ROOT moving platform paths under a root,
// in file paths and inside shell command text. The file calls themselves
// run against the simulator's tree in every end-to-end test.
#include <android/log.h>
#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "platform/log_sink.h"
#include "platform/platform.h"
#include "support/chores.h"
#include "support/log_capture.h"

namespace {

TEST(HostLog, PrintFormatsAndReachesTheSinkUncut) {
    testsupport::LogCapture log;
    __android_log_print(ANDROID_LOG_VERBOSE, "WLANDUT", "channel %d band %s\n", 36, "5G");
    const std::string big(3000, 'x');
    __android_log_print(ANDROID_LOG_ERROR, "BT_DRIVER", "%s", big.c_str());
    EXPECT_EQ(log.Texts("WLANDUT"), std::vector<std::string>{"channel 36 band 5G\n"});
    EXPECT_EQ(log.Texts("BT_DRIVER"), std::vector<std::string>{big});
    EXPECT_EQ(log.Records().at(0).prio, ANDROID_LOG_VERBOSE);
}

TEST(HostLog, LogcatRenderingIsOnePrefixedLinePerLine) {
    struct Case { int prio; const char* text, *line; } const cases[] = {
        {ANDROID_LOG_VERBOSE, "ret : 0\n", "V/TAG(42): ret : 0\n"},
        {ANDROID_LOG_ERROR, "no line end", "E/TAG(42): no line end\n"},
        {ANDROID_LOG_INFO, "a\nb\n", "I/TAG(42): a\nI/TAG(42): b\n"}, {ANDROID_LOG_DEBUG, "", "D/TAG(42): \n"},
        {99, "x", "?/TAG(42): x\n"},
    };
    for (const Case& c : cases) EXPECT_EQ(plat::FormatLogcat({c.prio, "TAG", c.text}, 42), c.line) << c.text;
}

// TAVO_PLATFORM_ROOT for a scope; null: unset.
std::unique_ptr<testsupport::ScopedEnv> Root(const char* root) {
    auto env = std::make_unique<testsupport::ScopedEnv>("TAVO_PLATFORM_ROOT", root ? root : "");
    if (root == nullptr) unsetenv("TAVO_PLATFORM_ROOT");
    return env;
}

TEST(PlatformPaths, MapPathRebasesOnlyPlatformPaths) {
    struct Case { const char* root, *path, *mapped; } const cases[] = {
        {nullptr, "/dev/q7c3310udi0", "/dev/q7c3310udi0"}, {"", "/sys/module/x", "/sys/module/x"},
        {"/", "/dev/x", "/dev/x"}, {"/tmp/r", "/dev/q7c3310udi0", "/tmp/r/dev/q7c3310udi0"},
        {"/tmp/r/", "/sys/module/tavo_wlan/parameters/fw", "/tmp/r/sys/module/tavo_wlan/parameters/fw"},
        {"/tmp/r", "/proc/driver/rk720_clk0/restart", "/tmp/r/proc/driver/rk720_clk0/restart"},
        {"/tmp/r", "/dev", "/tmp/r/dev"}, {"/tmp/r", "/devices/x", "/devices/x"},
        {"/tmp/r", "/system/bin/sh", "/system/bin/sh"}, {"/tmp/r", "dev/relative", "dev/relative"},
    };
    for (const Case& c : cases) {
        const auto env = Root(c.root);
        EXPECT_EQ(plat::MapPath(c.path), c.mapped) << (c.root ? c.root : "(unset)") << " " << c.path;
    }
    EXPECT_EQ(plat::MapPath(nullptr), "");
}

TEST(PlatformPaths, MapCommandRewritesPathsThatStartAWord) {
    struct Case { const char* root, *command, *mapped; } const cases[] = {
        {nullptr, "echo 1 > /sys/module/a/parameters/b", "echo 1 > /sys/module/a/parameters/b"},
        {"/r", "echo 1 > /sys/module/a/parameters/b", "echo 1 > /r/sys/module/a/parameters/b"},
        {"/r", "echo 1 >/sys/m/p", "echo 1 >/r/sys/m/p"}, {"/r", "cat /proc/x /dev/y", "cat /r/proc/x /r/dev/y"},
        {"/r", "btcli -f '/dev/btcli_fifo'", "btcli -f '/r/dev/btcli_fifo'"},
        {"/r", "x --file=/dev/f;cat</dev/g|tee \"/sys/h\"", "x --file=/r/dev/f;cat</r/dev/g|tee \"/r/sys/h\""},
        {"/r", "ls /devices /usr/dev/x a/dev/b /dev", "ls /devices /usr/dev/x a/dev/b /r/dev"},
        {"/r", "/dev/tool arg", "/r/dev/tool arg"}, {"/r", "", ""},
        {"/my root", "echo 1 > /sys/a", "echo 1 > '/my root'/sys/a"},
        {"/it's", "cat /dev/a", "cat '/it'\\''s'/dev/a"},
    };
    for (const Case& c : cases) {
        const auto env = Root(c.root);
        EXPECT_EQ(plat::MapCommand(c.command), c.mapped) << c.command;
    }
}

}  // namespace
