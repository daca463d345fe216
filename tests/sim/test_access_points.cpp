// Access points: what is accepted, and their control file.
#include <gtest/gtest.h>

#include <cmath>
#include <fstream>
#include <limits>
#include <stdexcept>
#include <string>
#include <vector>

#include "sim/access_point.h"
#include "sim_test_util.h"
#include "support/sim_env.h"

namespace {

using tavo::sim::AccessPoint;

AccessPoint Good() {
    AccessPoint ap;
    ap.bssid = "02:00:00:00:00:01";
    ap.frequency = 2412;
    ap.signal = -45.5;
    ap.ssid = "HomeNet";
    return ap;
}

TEST(SimAccessPoints, Validation) {
    struct Case {
        const char* what;
        void (*change)(AccessPoint&);
        const char* error;  // part of the message; null when valid
    } const cases[] = {
        {"good", [](AccessPoint&) {}, nullptr},
        {"upper-case BSSID", [](AccessPoint& a) { a.bssid = "0A:BC:DE:F0:12:34"; }, nullptr},
        {"longest SSID", [](AccessPoint& a) { a.ssid.assign(AccessPoint::kMaxSsidLength, 's'); }, nullptr},
        {"empty SSID", [](AccessPoint& a) { a.ssid.clear(); }, nullptr},
        {"short BSSID", [](AccessPoint& a) { a.bssid = "02:00:00:00:00"; }, "bad BSSID"},
        {"dashes", [](AccessPoint& a) { a.bssid = "02-00-00-00-00-01"; }, "bad BSSID"},
        {"not hex", [](AccessPoint& a) { a.bssid = "0g:00:00:00:00:01"; }, "bad BSSID"},
        {"zero MHz", [](AccessPoint& a) { a.frequency = 0; }, "bad frequency"},
        {"too high", [](AccessPoint& a) { a.frequency = 7201; }, "bad frequency"},
        {"NaN signal", [](AccessPoint& a) { a.signal = std::nan(""); }, "bad signal"},
        {"infinite", [](AccessPoint& a) { a.signal = -std::numeric_limits<double>::infinity(); }, "bad signal"},
        {"too strong", [](AccessPoint& a) { a.signal = 50.5; }, "bad signal"},
        {"SSID too long", [](AccessPoint& a) { a.ssid.assign(AccessPoint::kMaxSsidLength + 1, 's'); }, "SSID longer"},
        {"padding too big", [](AccessPoint& a) { a.padding = AccessPoint::kMaxPadding + 1; }, "padding larger"},
    };
    testsupport::SimEnv env;
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        AccessPoint ap = Good();
        c.change(ap);
        const std::string error = tavo::sim::Validate(ap);
        if (c.error == nullptr) {
            EXPECT_EQ(error, "");
            EXPECT_NO_THROW(env.Sim().AddAccessPoint(ap));
        } else {
            EXPECT_NE(error.find(c.error), std::string::npos) << error;
            EXPECT_THROW(env.Sim().AddAccessPoint(ap), std::invalid_argument);
            EXPECT_THROW(env.Sim().SetAccessPoints({Good(), ap}), std::invalid_argument);
        }
    }
    // Refused lists leave the accepted ones as they were.
    EXPECT_EQ(env.Sim().AccessPoints().size(), 4u);
}

TEST(SimAccessPoints, ControlFileRoundTrip) {
    struct Case {
        const char* what;
        void (*change)(AccessPoint&);
        const char* line;
    } const cases[] = {
        {"plain", [](AccessPoint&) {}, "02:00:00:00:00:01\t2412\t-45.50\t-\tHomeNet"},
        {"no signal, padded", [](AccessPoint& a) { a.withSignal = false; a.padding = 2048; },
         "02:00:00:00:00:01\t2412\t-45.50\tnosignal,pad=2048\tHomeNet"},
        {"awkward SSID", [](AccessPoint& a) { a.ssid = std::string("a\tb\\c\nd\xff e\0", 11); },
         "02:00:00:00:00:01\t2412\t-45.50\t-\ta\\x09b\\x5cc\\x0ad\\xff e\\x00"},
        {"upper-case BSSID, 5 GHz", [](AccessPoint& a) { a.bssid = "0A:0B:0C:0D:0E:0F"; a.frequency = 5180; a.signal = -7; },
         "0a:0b:0c:0d:0e:0f\t5180\t-7.00\t-\tHomeNet"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        AccessPoint ap = Good();
        c.change(ap);
        EXPECT_EQ(tavo::sim::EncodeAccessPoint(ap), c.line);
        AccessPoint back;
        std::string error;
        ASSERT_TRUE(tavo::sim::DecodeAccessPoint(c.line, back, error)) << error;
        EXPECT_EQ(tavo::sim::EncodeAccessPoint(back), c.line);
        EXPECT_EQ(back.ssid, ap.ssid);
        EXPECT_EQ(back.withSignal, ap.withSignal);
        EXPECT_EQ(back.padding, ap.padding);
    }
}

TEST(SimAccessPoints, MalformedLines) {
    struct Case {
        std::string line;
        const char* error;
    } const cases[] = {
        {"02:00:00:00:00:01\t2412\t-40\t-", "want 5"},
        {"", "want 5"},
        {"02:00:00:00:00:01\t24x2\t-40\t-\tx", "bad frequency"},
        {"02:00:00:00:00:01\t\t-40\t-\tx", "bad frequency"},
        {"02:00:00:00:00:01\t99999999999999999999\t-40\t-\tx", "bad frequency"},
        {"02:00:00:00:00:01\t2412\t\t-\tx", "bad signal"},
        {"02:00:00:00:00:01\t2412\t-40dBm\t-\tx", "bad signal"},
        {"02:00:00:00:00:01\t2412\tnan\t-\tx", "bad signal"},
        {"02:00:00:00:00:01\t2412\t-40\tloud\tx", "bad option"},
        {"02:00:00:00:00:01\t2412\t-40\tpad=-1\tx", "bad option"},
        {"02:00:00:00:00:01\t2412\t-40\tpad=99999999999\tx", "bad option"},
        {"02:00:00:00:00:01\t2412\t-40\t\tx", "bad option"},
        {"02:00:00:00:00:01\t2412\t-40\t-\tx\\x4", "bad escape"},
        {"02:00:00:00:00:01\t2412\t-40\t-\tx\\q00", "bad escape"},
        {"02:00:00:00:00:01\t2412\t-40\t-\tx\\", "bad escape"},
        {"02:00:00:00:00:01\t2412\t-40\t-\tcontrol\x01", "bad escape"},
        {"nonsense\t2412\t-40\t-\tx", "bad BSSID"},
    };
    for (const Case& c : cases) {
        AccessPoint ap = Good();
        std::string error;
        EXPECT_FALSE(tavo::sim::DecodeAccessPoint(c.line, ap, error)) << c.line;
        EXPECT_NE(error.find(c.error), std::string::npos) << c.line << " -> " << error;
        EXPECT_EQ(ap.ssid, "HomeNet") << "a refused line changed the access point";
    }
}

TEST(SimAccessPoints, LoadAndSave) {
    testsupport::TempDir dir;
    const std::string path = dir.Path() + "/aps";
    std::vector<AccessPoint> aps;
    std::string error;
    EXPECT_TRUE(tavo::sim::LoadAccessPoints(path, aps, error)) << "a missing file is an empty list";
    EXPECT_TRUE(aps.empty());

    AccessPoint second = Good();
    second.bssid = "02:00:00:00:00:02";
    tavo::sim::SaveAccessPoints(path, {Good(), second});
    ASSERT_TRUE(tavo::sim::LoadAccessPoints(path, aps, error)) << error;
    ASSERT_EQ(aps.size(), 2u);
    EXPECT_EQ(aps[1].bssid, "02:00:00:00:00:02");

    std::ofstream(path, std::ios::app) << "\n# a comment\nbroken\n";
    EXPECT_FALSE(tavo::sim::LoadAccessPoints(path, aps, error));
    EXPECT_NE(error.find(path + ":7: want 5"), std::string::npos) << error;
    EXPECT_TRUE(aps.empty());
}

// Set before the start, the list waits and is written by Start.
TEST(SimAccessPoints, SetBeforeStart) {
    testsupport::SimEnv env([](tavo::sim::Simulator& sim) { sim.AddAccessPoint(Good()); });
    std::vector<AccessPoint> aps;
    std::string error;
    ASSERT_TRUE(tavo::sim::LoadAccessPoints(env.Path("/sim/access_points"), aps, error)) << error;
    ASSERT_EQ(aps.size(), 1u);
    EXPECT_EQ(aps[0].ssid, "HomeNet");
}

}  // namespace
