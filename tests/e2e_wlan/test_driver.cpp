// CWlanDriver against the simulator: interface flags through the flags
// file, the firmware mode read from the variant parameter, and scans through the iw stand-in; and the factory's
// KillProcess through the ps stand-in. The switches themselves take seconds
// and live in test_slow.cpp.
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "e2e_util.h"
#include "factory/FactoryUtil.h"
#include "factory/ScanList.h"
#include "sim/access_point.h"

namespace {

using namespace std::chrono_literals;
using tavo::sim::AccessPoint;
namespace path = tavo::sim::path;

TEST(E2eWlanDriver, FailedFlagsIoctlsFailAndKeepTheSocketOpen) {
    // Either the flags file is missing, so the read fails, or it is the stat
    // file of process 1, which reads as hex ("1 (init) ..." gives 0x0001) and
    // refuses every write, as root too.
    for (const bool unwritable : {false, true}) {
        SCOPED_TRACE(unwritable ? "the write fails" : "the read fails");
        testsupport::SimEnv env;
        const std::string flags = env.Path(path::kWlanFlags);
        ASSERT_EQ(::unlink(flags.c_str()), 0);
        if (unwritable) { ASSERT_EQ(::symlink("/proc/1/stat", flags.c_str()), 0); }
        CWlanDriver driver;
        EXPECT_EQ(driver.EnableInterface(), 4);
        const int socket = driver.GetSocket();
        EXPECT_GE(socket, 1) << "after a failed ioctl the socket stays open";
        EXPECT_EQ(driver.DisableInterface(), 4);
        EXPECT_EQ(driver.GetSocket(), socket) << "the next call finds the socket open";
    }
}

// A SetMode to the running mode is what OpenDUT and CloseDUT do on every
// open and close without the switch in test_dut.cpp.
TEST(E2eWlanDriver, FirmwareModeIsTheVariantPrefix) {
    // No content: the file is removed.
    const std::pair<std::optional<std::string>, int> cases[] = {
        {"rk720_t\n", 0}, {"rk720_tx", 0}, {"rk720", 1},   {"rk720_", 1},
        {"RK720_T", 1},   {" rk720_t", 1}, {"", 1},        {std::nullopt, -1},
    };
    testsupport::SimEnv env;
    const std::string variant = env.Path(path::kFirmwareVariant);
    CWlanDriver driver;
    for (const auto& [content, mode] : cases) {
        SCOPED_TRACE(content.value_or("missing file"));
        ASSERT_TRUE(content ? testsupport::WriteFile(variant, *content) : ::unlink(variant.c_str()) == 0);
        EXPECT_EQ(driver.CheckCurrentFwMode(), mode);
    }
}

std::string Bssid(int n) {
    char text[18];
    std::snprintf(text, sizeof text, "02:00:00:00:00:%02x", n & 0xff);
    return text;
}

AccessPoint Ap(int n, double signal, const std::string& ssid, int frequency = 2412) {
    return {Bssid(n), frequency, signal, ssid};
}

// What the parse makes of an access point.
std::string Fd(int n, int signal, const std::string& ssid) {
    return Bssid(n) + " " + std::to_string(signal) + " " + ssid;
}

// One scan and its parse, the list emptied.
std::vector<std::string> ScanAndParse(CWlanDriver& driver) {
    EXPECT_EQ(driver.StartScan(), 0);
    CScanList list;
    EXPECT_EQ(driver.GetScanResult(list), 0);
    std::vector<std::string> out;
    while (SCAN_INFO_NODE* node = list.Pop()) {
        out.push_back(std::string(node->mac) + " " + std::to_string(node->signal_dbm) + " " + node->name);
        delete node;
    }
    EXPECT_FALSE(driver.IsScanLocked());
    return out;
}

TEST(E2eWlanScan, AccessPointsFromTheSimulator) {
    struct Case { const char* what; std::vector<AccessPoint> aps; std::vector<std::string> expected; };
    std::vector<Case> cases = {
        {"fractions are dropped", {Ap(2, -0.75, "b"), Ap(3, -100, "c", 5180), Ap(4, -1.01, "d"), Ap(5, 12.5, "e")},
         {Fd(2, 0, "b"), Fd(3, -100, "c"), Fd(4, -1, "d"), Fd(5, 12, "e")}},
    };
    for (const size_t length : {255u, 256u, 257u}) {
        const std::string ssid(length, 'S');
        cases.push_back({"long SSID: cut at 256, the rest of its line skipped",
                         {Ap(0x11, -40, ssid), Ap(0x12, -41, "next")},
                         {Fd(0x11, -40, ssid.substr(0, 256)), Fd(0x12, -41, "next")}});
    }
    AccessPoint silent = Ap(0x21, -20, "silent");
    silent.withSignal = false;
    cases.push_back({"no signal line: the next entry's signal and SSID are taken",
                     {silent, Ap(0x22, -60, "second"), Ap(0x23, -61, "third")},
                     {Fd(0x21, -60, "second"), Fd(0x23, -61, "third")}});
    cases.push_back({"no signal line in the last entry", {Ap(0x24, -62, "first"), silent}, {Fd(0x24, -62, "first")}});
    // Reading stops at the buffer's limit, and the tool, still writing,
    // must not hold the driver up.
    AccessPoint padded = Ap(0x31, -35, "padded");
    padded.padding = 2u << 20;
    cases.push_back({"two mebibytes of scan text: what lies past one is lost", {padded, Ap(0x32, -36, "lost")},
                     {Fd(0x31, -35, "padded")}});

    testsupport::SimEnv env;
    CWlanDriver driver;
    ASSERT_EQ(driver.EnableInterface(), 0) << "iw scans only on an interface that is up";
    for (const Case& c : cases) {
        env.Sim().SetAccessPoints(c.aps);
        EXPECT_EQ(ScanAndParse(driver), c.expected) << c.what;
    }
}

TEST(E2eWlanScan, ScanNeedsTheInterfaceUpAndWipesOldText) {
    testsupport::SimEnv env;
    env.Sim().SetAccessPoints({Ap(0x41, -44, "only")});
    CWlanDriver driver;
    // Down, iw answers on its error stream only: nothing to parse.
    EXPECT_EQ(ScanAndParse(driver), std::vector<std::string>{});
    ASSERT_EQ(driver.EnableInterface(), 0);
    EXPECT_EQ(driver.GetSocket(), -1) << "a successful call closes its socket";
    EXPECT_EQ(ScanAndParse(driver), std::vector<std::string>{Fd(0x41, -44, "only")});
    // Down again: the old text is wiped, not parsed a second time.
    ASSERT_EQ(driver.DisableInterface(), 0);
    EXPECT_EQ(ScanAndParse(driver), std::vector<std::string>{});
    EXPECT_STREQ(driver.GetScanOutput(), "");
}

using Child = std::unique_ptr<testsupport::ChildProcess>;

// /bin/sleep under `name`: a link of that name in root/bin, which SimEnv
// puts first on PATH; ps shows the child's argv[0], the name.
Child Start(testsupport::SimEnv& env, const std::string& name) {
    const std::string link = env.Path("/bin/" + name);
    if (::access(link.c_str(), F_OK) != 0 && ::symlink("/bin/sleep", link.c_str()) != 0) return nullptr;
    auto child = std::make_unique<testsupport::ChildProcess>(std::vector<std::string>{name, "60"});
    const std::string cmdline = "/proc/" + std::to_string(child->Pid()) + "/cmdline";
    const bool started = testsupport::WaitUntil(
        [&] { return testsupport::ReadFile(cmdline).value_or("").rfind(name + '\0', 0) == 0; }, 10s);
    return child->Pid() > 0 && started ? std::move(child) : nullptr;
}

TEST(E2eKillProcess, EndsEveryProcessOfExactlyThatName) {
    testsupport::SimEnv env;
    const std::string name = "tavo-victim-" + std::to_string(::getpid());
    std::vector<Child> victims, bystanders;
    for (int i = 0; i < 3; ++i) victims.push_back(Start(env, name));
    for (const std::string& other : {name.substr(0, name.size() - 1), name + "0"}) {
        bystanders.push_back(Start(env, other));
    }
    for (const Child& c : victims) ASSERT_NE(c, nullptr);
    for (const Child& c : bystanders) ASSERT_NE(c, nullptr);

    for (const std::string& miss : {"TAVO" + name.substr(4), name.substr(1), std::string()}) {
        EXPECT_EQ(KillProcess(miss.c_str()), 0) << '"' << miss << '"';
    }
    for (const Child& c : victims) EXPECT_FALSE(c->Wait(0ms).has_value()) << "no exact match, no kill";
    EXPECT_EQ(KillProcess(name.c_str()), 0);
    for (const Child& child : victims) {
        const std::optional<int> status = child->Wait(10s);
        ASSERT_TRUE(status.has_value()) << "child " << child->Pid() << " still runs";
        EXPECT_TRUE(WIFSIGNALED(*status) && WTERMSIG(*status) == SIGTERM) << "plain kill sends the default signal";
    }
    // Had a bystander matched, its kill would have run before KillProcess
    // returned.
    for (const Child& c : bystanders) EXPECT_FALSE(c->Wait(0ms).has_value()) << c->Pid();
}

}  // namespace
