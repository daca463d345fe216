// The tree the simulator lays out, its boot values, and the lifecycle.
#include <gtest/gtest.h>

#include <dirent.h>
#include <sys/stat.h>

#include <fstream>
#include <stdexcept>
#include <string>

#include "sim/simulator.h"
#include "sim_test_util.h"
#include "support/sim_env.h"

namespace {

bool IsDir(const std::string& path) {
    struct stat st {};
    return ::stat(path.c_str(), &st) == 0 && S_ISDIR(st.st_mode);
}

size_t Entries(const std::string& dir) {
    size_t count = 0;
    if (DIR* d = ::opendir(dir.c_str())) {
        while (const struct dirent* e = ::readdir(d)) {
            const std::string name = e->d_name;
            if (name != "." && name != "..") ++count;
        }
        ::closedir(d);
    }
    return count;
}

// The values a freshly booted phone shows.
struct BootValue {
    const char* path;
    const char* content;
} const kBootValues[] = {
    {"/sys/module/tavo_rk/parameters/firmware_variant", "rk720\n"},
    {"/sys/module/tavo_rk/parameters/enable_auto_sense", "1\n"},
    {"/sys/module/tavo_rk/parameters/use_new_fw_structure", "0\n"},
    {"/sys/module/tavo_wlan/parameters/EnableTestMode", "0\n"},
    {"/sys/module/tavo_bt/parameters/disable_service", "N\n"},
    {"/sys/module/tavo_bt/parameters/force_crash", "0\n"},
    {"/proc/driver/rk720_clk0/restart", "N\n"},
    {"/sys/class/net/wlan0/flags", "0x1002\n"},
    {"/sys/kernel/debug/tavo/ring0/norlog", ""},
};

TEST(SimTree, BootValues) {
    testsupport::SimEnv env;
    for (const BootValue& v : kBootValues) {
        EXPECT_EQ(simtest::ReadText(env.Path(v.path)), v.content) << v.path;
    }
    EXPECT_EQ(env.Sim().RunningFirmware(), "rk720");
    EXPECT_FALSE(env.Sim().TestFirmwareRunning());
    EXPECT_EQ(env.Sim().Firmware().switches, 0u);
    EXPECT_EQ(env.Sim().Firmware().restarts, 0u);
}

TEST(SimTree, DirectoriesAndControlFiles) {
    testsupport::SimEnv env;
    for (const char* dir : {"/dev", "/bin", "/sim"}) EXPECT_TRUE(IsDir(env.Path(dir))) << dir;
    // The only node is the WLAN test firmware's, served as a socket.
    EXPECT_EQ(Entries(env.Path("/dev")), 1u);
    struct stat st;
    ASSERT_EQ(stat(env.Path("/dev/q7c3310udi0").c_str(), &st), 0);
    EXPECT_TRUE(S_ISSOCK(st.st_mode));
    EXPECT_NE(simtest::ReadText(env.Path("/sim/log")).find("simulator: started on " + env.Root()), std::string::npos);
    EXPECT_NE(simtest::ReadText(env.Path("/sim/access_points")), "<missing>");
}

// A second start is a fresh boot: whatever the last run left is reset.
TEST(SimTree, StartAgainBootsAfresh) {
    testsupport::TempDir dir;
    tavo::sim::Simulator sim(dir.Path());
    sim.Start();
    for (const BootValue& v : kBootValues) {
        std::ofstream(sim.Path(v.path)) << "changed\n";
    }
    sim.Stop();
    EXPECT_FALSE(sim.IsRunning());
    sim.Start();
    for (const BootValue& v : kBootValues) EXPECT_EQ(simtest::ReadText(sim.Path(v.path)), v.content) << v.path;
    // The log file keeps what earlier runs wrote.
    const std::string log = simtest::ReadText(sim.Path("/sim/log"));
    EXPECT_NE(log.find("simulator: stopped"), std::string::npos);
    EXPECT_NE(log.rfind("simulator: started"), log.find("simulator: started"));
}

TEST(SimTree, RootIsMadeWithItsParents) {
    testsupport::TempDir dir;
    tavo::sim::Simulator sim(dir.Path() + "/a/b/root/");
    EXPECT_EQ(sim.Root(), dir.Path() + "/a/b/root");
    sim.Start();
    EXPECT_EQ(simtest::ReadText(dir.Path() + "/a/b/root/sys/class/net/wlan0/flags"), "0x1002\n");
}

TEST(SimTree, BadRootsAreRefused) {
    testsupport::TempDir dir;
    const std::string file = dir.Path() + "/plain";
    std::ofstream(file) << "x";
    tavo::sim::Simulator onFile(file);
    try {
        onFile.Start();
        FAIL() << "a root that is a file was accepted";
    } catch (const std::runtime_error& e) {
        EXPECT_NE(std::string(e.what()).find(file), std::string::npos) << e.what();
    }
    EXPECT_FALSE(onFile.IsRunning());
    EXPECT_THROW(tavo::sim::Simulator("/"), std::invalid_argument);
    EXPECT_THROW(tavo::sim::Simulator("//"), std::invalid_argument);
}

TEST(SimTree, StartTwiceIsRefusedAndStopIsIdempotent) {
    testsupport::TempDir dir;
    tavo::sim::Simulator sim(dir.Path());
    sim.Stop();  // never started
    sim.Start();
    EXPECT_THROW(sim.Start(), std::logic_error);
    EXPECT_TRUE(sim.IsRunning());
    sim.Stop();
    sim.Stop();
    EXPECT_FALSE(sim.IsRunning());
}

}  // namespace
