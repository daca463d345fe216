// The host Android log: records reach the installed sink, and the logcat
// rendering is one prefixed line per line of text.
#include <gtest/gtest.h>

#include <android/log.h>

#include <string>

#include "platform/log_sink.h"
#include "support/log_capture.h"

namespace {

TEST(HostLog, PrintFormatsAndReachesTheSink) {
    testsupport::LogCapture log;
    __android_log_print(ANDROID_LOG_VERBOSE, "WLANDUT", "channel %d band %s\n", 36, "5G");
    const std::string big(3000, 'x');
    __android_log_print(ANDROID_LOG_ERROR, "BT_DRIVER", "%s", big.c_str());
    const auto records = log.Records();
    ASSERT_EQ(records.size(), 2u);
    EXPECT_EQ(records[0].prio, ANDROID_LOG_VERBOSE);
    EXPECT_EQ(records[0].tag, "WLANDUT");
    EXPECT_EQ(records[0].text, "channel 36 band 5G\n");
    EXPECT_EQ(records[1].text, big) << "long messages are not cut";
}

TEST(HostLog, LogcatRendering) {
    struct Case {
        int prio;
        const char* text;
        const char* line;
    } const cases[] = {
        {ANDROID_LOG_VERBOSE, "ret : 0\n", "V/TAG(42): ret : 0\n"},
        {ANDROID_LOG_ERROR, "no line end", "E/TAG(42): no line end\n"},
        {ANDROID_LOG_INFO, "a\nb\n", "I/TAG(42): a\nI/TAG(42): b\n"},
        {ANDROID_LOG_DEBUG, "", "D/TAG(42): \n"},
        {99, "x", "?/TAG(42): x\n"},
    };
    for (const Case& c : cases) {
        EXPECT_EQ(plat::FormatLogcat({c.prio, "TAG", c.text}, 42), c.line) << c.text;
    }
}

}  // namespace
