// The chip simulator. Which control writes reload the firmware and what
// they leave in the log, a reload the very next firmware request never
// misses, components started in order and told of every reload, and a start
// that is a fresh boot (and one that fails undone). Then the programs it
// installs and the files behind them: tavo-sim (the lines it prints, running
// until a stop signal, its options), iw's scan text as the library's scan
// reads it and iw's errors, ps rows as KillProcess reads them over a
// hand-made proc directory, and the access point lines of iw's control file.
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cstdio>
#include <mutex>
#include <sstream>
#include <stdexcept>
#include <string>
#include <vector>

#include "sim/access_point.h"
#include "sim/component.h"
#include "sim/firmware_loader.h"
#include "sim/ps_tool.h"
#include "sim/serve.h"
#include "sim/simulator.h"
#include "support/sim_env.h"
#include "wlan_interface.h"

namespace {

using namespace std::chrono_literals;
using tavo::sim::AccessPoint;

// A shell line run as the library's system() and popen() run theirs: its
// exit status (-1 when it did not exit by itself) and what it wrote to
// standard output and error.
struct ShellResult { int status; std::string out; };
ShellResult Sh(const std::string& line) {
    FILE* pipe = ::popen(("{\n" + line + "\n} 2>&1").c_str(), "r");
    if (pipe == nullptr) return {-1, ""};
    std::string out;
    char buffer[4096];
    for (size_t n; (n = std::fread(buffer, 1, sizeof buffer, pipe)) > 0;) out.append(buffer, n);
    const int status = ::pclose(pipe);
    return {status != -1 && WIFEXITED(status) ? WEXITSTATUS(status) : -1, out};
}

#define PARAMS "$TAVO_PLATFORM_ROOT/sys/module/"
#define RESTART "$TAVO_PLATFORM_ROOT/proc/driver/rk720_clk0/restart"
constexpr char kTest[] = "echo -n rk720_t > " PARAMS "tavo_rk/parameters/firmware_variant";
constexpr char kCrash[] = "echo 0xDEADDEAD > " PARAMS "tavo_bt/parameters/force_crash";
// The firmware switch's last line, as the library runs it.
constexpr char kRestart[] = "[ -f " RESTART " ] && echo Y > " RESTART;

TEST(SimReload, WhatReloadsAndWhatDoesNot) {
    // commands: each run to its end before the next, as the library runs them; logged: in the log file
    struct Row { const char* what; std::vector<std::string> commands; const char* running; unsigned restarts, switches;
                 const char* logged; } const rows[] = {
        {"the variant alone", {"echo 1 > " PARAMS "tavo_wlan/parameters/EnableTestMode", kTest}, "rk720", 0, 0,
         "param: tavo_wlan/EnableTestMode = 1\nparam: tavo_rk/firmware_variant = rk720_t\n"},
        {"restart without a new variant", {kRestart}, "rk720", 1, 0, "firmware: rk720 -> rk720 (restart)"},
        {"an empty variant leaves no firmware", {"echo -n > " PARAMS "tavo_rk/parameters/firmware_variant", kCrash},
         "", 1, 1, "firmware: rk720 -> (none) (force_crash)"},
        // The directories are watched, so a file made anew is still seen.
        {"force_crash removed and made again", {"rm " PARAMS "tavo_bt/parameters/force_crash", kTest, kCrash},
         "rk720_t", 1, 1, "firmware: rk720 -> rk720_t (force_crash)"},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.what);
        testsupport::SimEnv env;
        for (const std::string& command : row.commands) {
            ASSERT_EQ(Sh(command).status, 0) << command;
            env.Sim().SettleReloads();
        }
        const tavo::sim::FirmwareStatus status = env.Sim().Firmware();
        EXPECT_EQ(status.running + " " + std::to_string(status.restarts) + " " + std::to_string(status.switches),
                  row.running + (" " + std::to_string(row.restarts)) + " " + std::to_string(row.switches));
        EXPECT_EQ(env.Sim().TestFirmwareRunning(), std::string(row.running).rfind("rk720_t", 0) == 0);
        const std::string log = testsupport::ReadFile(env.Path("/sim/log")).value_or("");
        EXPECT_NE(log.find(row.logged), std::string::npos) << log;
        EXPECT_EQ(log.find("firmware: ") != std::string::npos, row.restarts > 0);
    }
}

TEST(SimReload, ParameterValues) {
    const auto crash = tavo::sim::FirmwareLoader::IsCrashValue, truth = tavo::sim::FirmwareLoader::IsTrue;
    for (const char* text : {"0xDEADDEAD\n", "0xdeaddead", "3735936685\n"}) EXPECT_TRUE(crash(text)) << text;
    for (const char* text : {"0xDEADDEAD0", "-0xDEADDEAD", " 0xDEADDEAD", "", "Y\n"}) EXPECT_FALSE(crash(text)) << text;
    for (const char* text : {"Y\n", "y", "1\n"}) EXPECT_TRUE(truth(text)) << text;
    for (const char* text : {"N\n", "0", "", "0xDEADDEAD\n"}) EXPECT_FALSE(truth(text)) << text;
}

// The library sends its first request the moment the switch's last line
// returns; the reload that line triggers must be done before the firmware
// answers, or the parameters set now are forgotten at the next request.
// The file watcher is held on the restart's line until the request is in,
// so a firmware that answers before it acts on the reload fails every round.
TEST(SimReload, RequestRightAfterTheClockRestartMeetsTheReloadedFirmware) {
    std::atomic<uint64_t> requests{0};
    testsupport::SimEnv env;
    ASSERT_TRUE(env.LoadTestFirmware());
    ASSERT_EQ(wlan_open_device(), 0) << wlan_get_last_error();
    uint64_t mark = env.Sim().Log().Count();
    ASSERT_EQ(wlan_select_radio(COMMSTEST_RADIO_1), 0) << "the firmware has seen a request before the first reload";
    std::string answered = "select_radio_req -> 0x9112";
    env.Sim().Log().SetObserver([&](const std::string& line) {
        if (line != "param: rk720_clk0/restart = Y") return;
        testsupport::WaitUntil([&] { return env.WlanFw().RequestCount(0x9007) > requests; }, 10s);
    });
    const CommstestMacAddress mac = {{0x02, 0, 0, 0, 0, 1}};
    constexpr unsigned kRounds = 20;
    for (unsigned i = 0; i < kRounds; ++i) {
        SCOPED_TRACE(i);
        // The exchange before is in the log: nothing else waits to write to it while the watcher is held.
        ASSERT_TRUE(env.Sim().Log().WaitFor(answered, 10s, mark));
        const unsigned restarts = env.Sim().Firmware().restarts;
        requests = env.WlanFw().RequestCount(0x9007);
        ASSERT_TRUE(testsupport::WriteFile(env.Path("/proc/driver/rk720_clk0/restart"), "Y\n"));
        const uint16_t length = static_cast<uint16_t>(100 + i);
        const int32_t code = wlan_set_tx_params(COMMSTEST_BW_20MHZ, COMMSTEST_POSITION_0, COMMSTEST_RATE_NONE, 2412, 0,
                                                length, 4000000000u, COMMSTEST_TX_FLAG_BASE, COMMSTEST_REGDOMAIN_0,
                                                COMMSTEST_TX_FLAGS2_NONE, COMMSTEST_HE_MODE_NONE, 0, 0);
        ASSERT_EQ(code, 0) << wlan_get_last_error();
        EXPECT_EQ(env.Sim().Firmware().restarts, restarts + 1) << "reloaded before the answer";
        // The stream of the round before ended with the reload; the parameters just set hold.
        mark = env.Sim().Log().Count();
        answered = "tx_start_req -> 0x9104";
        ASSERT_EQ(wlan_tx_start(0, COMMSTEST_TX_DATA_0, 0, mac, mac, mac), 0) << wlan_get_last_error();
        EXPECT_EQ(env.WlanFw().TxParamsInForce().value_or(tavo::sim::wlanfw::SetTxParamsRequest{}).length, length);
    }
    env.Sim().Log().SetObserver(nullptr);
    wlan_close_device();
    const std::vector<std::string> lines = env.Sim().Log().Lines();
    EXPECT_EQ(std::count(lines.begin(), lines.end(), "wlanfw: firmware restarted; test state cleared"), long{kRounds});
}

struct Journal {
    std::mutex mutex;  // the reload news come on the watcher's thread
    std::vector<std::string> entries;
    void Add(const std::string& entry) {
        const std::lock_guard<std::mutex> lock(mutex);
        entries.push_back(entry);
    }
};

class Recorder : public tavo::sim::Component {
public:
    Recorder(const char* name, Journal& journal, bool fail = false) : name_(name), journal_(journal), fail_(fail) {}
    const char* Name() const override { return name_; }
    void Start(const tavo::sim::SimContext& context) override {
        if (fail_) throw std::runtime_error("cannot start");
        const std::string variant = context.tree.Path("/sys/module/tavo_rk/parameters/firmware_variant");
        journal_.Add(std::string("start ") + name_ + " " + testsupport::ReadFile(variant).value_or("none"));
    }
    void Stop() override { journal_.Add(std::string("stop ") + name_); }
    void OnFirmwareRestart(const tavo::sim::FirmwareRestart& e) override {
        journal_.Add(std::string("reload ") + name_ + " " + e.from + "->" + e.to + " " + tavo::sim::CauseName(e.cause));
    }

private:
    const char* name_;
    Journal& journal_;
    bool fail_;
};

TEST(SimComponents, StartInOrderHearEveryReloadAndStopInReverse) {
    Journal journal;
    testsupport::TempDir dir;
    {
        tavo::sim::Simulator sim(dir / "root");
        sim.Emplace<Recorder>("a", journal);
        sim.Emplace<Recorder>("b", journal);
        sim.Start();
        EXPECT_THROW(sim.Emplace<Recorder>("late", journal), std::logic_error);
        ASSERT_TRUE(testsupport::WriteFile(sim.Path("/sys/module/tavo_rk/parameters/firmware_variant"), "rk720_t"));
        ASSERT_TRUE(testsupport::WriteFile(sim.Path("/sys/module/tavo_bt/parameters/force_crash"), "0xDEADDEAD\n"));
        ASSERT_TRUE(sim.WaitForFirmware("rk720_t", 10s));
        sim.Stop();
        // Stopped: a write reaches nobody.
        ASSERT_TRUE(testsupport::WriteFile(sim.Path("/proc/driver/rk720_clk0/restart"), "Y\n"));
        sim.SettleReloads();
        EXPECT_EQ(sim.Firmware().restarts, 1u);
    }
    EXPECT_EQ(journal.entries, (std::vector<std::string>{"start a rk720\n", "start b rk720\n",
                                                         "reload a rk720->rk720_t force_crash",
                                                         "reload b rk720->rk720_t force_crash", "stop b", "stop a"}));
    // A start that fails stops what it started, and only that.
    journal.entries.clear();
    tavo::sim::Simulator sim(dir / "second");
    sim.Emplace<Recorder>("a", journal);
    sim.Emplace<Recorder>("broken", journal, true);
    sim.Emplace<Recorder>("c", journal);
    EXPECT_THROW(sim.Start(), std::runtime_error);
    EXPECT_FALSE(sim.IsRunning());
    EXPECT_EQ(journal.entries, (std::vector<std::string>{"start a rk720\n", "stop a"}));
    EXPECT_TRUE(sim.Log().Contains("simulator: start failed"));
    EXPECT_THROW(sim.AddComponent(nullptr), std::invalid_argument);
}

TEST(SimLifecycle, StartAgainBootsAfresh) {
    testsupport::TempDir dir;
    tavo::sim::Simulator sim(dir / "a/b/root/");
    sim.Stop();  // never started
    sim.Start();
    EXPECT_THROW(sim.Start(), std::logic_error);
    // What the library reads to decide its first steps.
    const std::pair<const char*, const char*> boot[] = {{"/sys/module/tavo_rk/parameters/firmware_variant", "rk720\n"},
                                                        {"/sys/class/net/wlan0/flags", "0x1002\n"}};
    for (const auto& [path, value] : boot) ASSERT_TRUE(testsupport::WriteFile(sim.Path(path), "changed\n"));
    sim.Stop();
    sim.Stop();
    EXPECT_FALSE(sim.IsRunning());
    sim.Start();
    for (const auto& [path, value] : boot) EXPECT_EQ(testsupport::ReadFile(sim.Path(path)), value) << path;
}

bool Has(const std::optional<std::string>& text, const std::string& part) {
    return text && text->find(part) != std::string::npos;
}

TEST(SimProgram, RunsUntilSignalled) {
    for (const int sig : {SIGTERM, SIGINT}) {
        SCOPED_TRACE(sig);
        testsupport::TempDir dir;
        const std::string root = dir / "root";
        testsupport::ChildProcess program({"sh", "-c", "exec " TAVO_SIM_BINARY " --quiet --ap "
                                           "'02:00:00:00:00:01,2412,-40.5,Lab, floor 2' --bt-device "
                                           "00:11:22:33:44:55,Tester,-72,2 --root " + root + " > " + (dir / "out")});
        const std::string exports = "export TAVO_PLATFORM_ROOT=" + root + "\nexport PATH=" + root + "/bin:$PATH\n";
        ASSERT_TRUE(testsupport::WaitUntil([&] { return testsupport::ReadFile(dir / "out") == exports; }, 20s));

        // The printed lines are all a shell needs.
        ASSERT_TRUE(testsupport::WriteFile(root + "/sys/class/net/wlan0/flags", "0x1003\n"));
        const ShellResult scan = Sh(
            "env -u TAVO_PLATFORM_ROOT sh -c '" + exports + "iw dev wlan0 scan; echo i | btcli; echo -n rk720_t > "
            "$TAVO_PLATFORM_ROOT/sys/module/tavo_rk/parameters/firmware_variant; echo 0xDEADDEAD > "
            "$TAVO_PLATFORM_ROOT/sys/module/tavo_bt/parameters/force_crash'");
        EXPECT_TRUE(scan.status == 0 && Has(scan.out, "\tSSID: Lab, floor 2\n") &&
                    Has(scan.out, "\nextended_inquiry_result: num:0x01 ba:0x001122334455 psrm:0x01")) << scan.out;
        const std::string log = root + "/sim/log", reloaded = "firmware: rk720 -> rk720_t (force_crash)";
        EXPECT_TRUE(testsupport::WaitUntil([&] { return Has(testsupport::ReadFile(log), reloaded); }, 10s));

        ::kill(program.Pid(), sig);
        EXPECT_EQ(program.Wait(20s), std::optional<int>(0)) << "exited with 0";
        const std::string text = testsupport::ReadFile(log).value_or("");
        EXPECT_TRUE(Has(text, sig == SIGTERM ? "simulator: stopping on SIGTERM\n" : "simulator: stopping on SIGINT\n"));
        EXPECT_EQ(text.substr(text.rfind("simulator: ")), "simulator: stopped\n");
        // The tree stays for the developer to look at.
        EXPECT_EQ(testsupport::ReadFile(root + "/sys/module/tavo_rk/parameters/firmware_variant"), "rk720_t");
    }
}

TEST(SimProgram, UsageAndErrors) {
    testsupport::TempDir dir;
    const std::string root = " " + dir.Path(), ap = "--ap 02:00:00:00:00:01";
    struct Row { std::string args; int status; std::string text; } const rows[] = {
        {"--help", 0, "  --btctl SETTING   steers the Bluetooth controller on DIR/dev/tavo_h4_0"},
        {"", 2, "tavo-sim: no root directory given"}, {"--bogus" + root, 2, "tavo-sim: unknown option \"--bogus\""},
        {"--root", 2, "tavo-sim: --root needs a value"}, {ap + ",8000,-40,x" + root, 2, "--ap: bad frequency"},
        {"--wlanfw loud" + root, 1, "tavo-sim: --wlanfw loud: unknown wlanfw setting: loud"},
        {"--bt-device 00:11:22:33:44:55,x,0" + root, 2, "tavo-sim: --bt-device: bad RSSI \"0\""},
        {"--root=//", 1, "tavo-sim: the simulator's root must not be /"},
    };
    for (const Row& row : rows) {
        const ShellResult r = Sh(TAVO_SIM_BINARY " " + row.args + " </dev/null");
        EXPECT_EQ(r.status, row.status) << row.args << "\n" << r.out;
        EXPECT_NE(r.out.find(row.text), std::string::npos) << row.args << "\n" << r.out;
    }
}

// Roots the shell would read otherwise are quoted.
TEST(SimProgram, ExportLinesQuoteWhatTheShellWouldRead) {
    EXPECT_EQ(tavo::sim::ExportLines("/tmp/it's"),
              "export TAVO_PLATFORM_ROOT='/tmp/it'\\''s'\nexport PATH='/tmp/it'\\''s/bin':\"$PATH\"\n");
}

TEST(SimIw, ScanOutputAndErrors) {
    // command: with its standard error; parts: in this order; controlFile: written over the access point list
    struct Row { const char* what; std::vector<AccessPoint> aps; const char* flags; const char* command; int status;
                 std::vector<std::string> parts; const char* controlFile = nullptr; } const rows[] = {
        {"2.4 GHz entry, then a 5 GHz one without signal, SSID escaped",
         {{"02:00:00:00:00:0A", 2412, -45.5, "first"}, {"02:00:00:00:00:02", 5180, -70, " odd\tname\n\\ ", false}},
         "0x1003", "iw dev wlan0 scan", 0,
         {"BSS 02:00:00:00:00:0a(on wlan0)\n", "\tSSID: first\n", "\tBSS Load:\n",
          "\nBSS 02:00:00:00:00:02(on wlan0)\n", "\tSSID: \\x20odd\\x09name\\x0a\\x5c\\x20\n"}},
        {"interface that leaves the tree", {}, "0x1003", "iw dev ../../.. scan", 237,
         {"command failed: No such device (-19)\n"}},
        {"garbled flags", {}, "0xzz", "iw dev wlan0 scan", 251, {"command failed: Input/output error (-5)\n"}},
        {"bad control file", {}, "0x1003", "iw dev wlan0 scan", 1, {"access_points:3: bad frequency"},
         "# comment\n02:00:00:00:00:01\t2412\t-40.00\t-\tgood\n02:00:00:00:00:02\t24x2\t-40\t-\tbad\n"},
    };
    testsupport::SimEnv env;
    for (const Row& row : rows) {
        SCOPED_TRACE(row.what);
        env.Sim().SetAccessPoints(row.aps);
        if (row.controlFile != nullptr) {
            ASSERT_TRUE(testsupport::WriteFile(env.Path("/sim/access_points"), row.controlFile));
        }
        ASSERT_TRUE(testsupport::WriteFile(env.Path("/sys/class/net/wlan0/flags"), std::string(row.flags) + "\n"));
        const ShellResult r = Sh(std::string(row.command) + " 2>&1");
        EXPECT_EQ(r.status, row.status) << r.out.substr(0, 400);
        size_t at = 0;
        for (const std::string& part : row.parts) {
            at = r.out.find(part, at);
            ASSERT_NE(at, std::string::npos) << "missing or out of order: " << part << "\n" << r.out.substr(0, 2000);
        }
        // Entries start at a line's start; every other "BSS " (of "BSS Load:") stands behind a tab.
        EXPECT_EQ(r.out.find("\nBSS Load"), std::string::npos);
    }
}

constexpr char kHeader[] = "USER      PID   PPID  VSIZE  RSS   WCHAN              PC  NAME\n";

// The rows after the header without their first column (the host's user
// name), blanks squeezed: "<pid> <ppid> <vsize> <rss> <wchan> <pc> <state> <name>".
std::string Rows(const std::string& listing) {
    std::istringstream lines(listing);
    std::string line, out;
    std::getline(lines, line);
    while (std::getline(lines, line)) {
        const auto blanks = [](char a, char b) { return a == ' ' && b == ' '; };
        line.erase(std::unique(line.begin(), line.end(), blanks), line.end());
        out += (out.empty() ? "" : "\n") + line.substr(line.find(' ') + 1);
    }
    return out;
}

TEST(SimPs, RowsFromProcEntries) {
    std::string tail;  // stat fields 5 to 22
    for (int field = 5; field <= 22; ++field) tail += " 0";
    // 25 pages of resident memory, in KiB.
    const std::string rss = std::to_string(25 * ::sysconf(_SC_PAGESIZE) / 1024);
    const std::string sleepRow = "7 1 8000 " + rss + " do_nanosle 0000001000 S sleep";
    const std::string plain = "7 (sleep) S 1" + tail + " 8192000 25 0 0 0 0 0 4096";
    const std::string sleep30 = std::string("sleep\0" "30\0", 9), x = "7 (x) S 1" + tail + " ";
    // out: as Rows gives them
    struct Row { const char* what; std::string stat, cmdline, out; } const rows[] = {
        {"plain", plain, sleep30, sleepRow},
        {"comm with ') ' inside, no command line", "7 (a) b (c) S 2" + tail + " 0 0", "",
         "7 2 0 0 do_nanosle 0000000000 S a) b (c"},
        {"control characters", x + "0 0", std::string("bad\nname\0", 9), "7 1 0 0 do_nanosle 0000000000 S bad?name"},
        {"vsize capped for %d readers", x + "99999999999999999 0", "x", "7 1 2147483647 0 do_nanosle 0000000000 S x"},
        {"stat cut short", "7 (x) S 1 0 0", "x", ""},
    };
    testsupport::TempDir proc;
    ASSERT_EQ(::mkdir((proc / "7").c_str(), 0755), 0);
    ASSERT_TRUE(testsupport::WriteFile(proc / "7/wchan", "do_nanosleep_with_long_name"));
    for (const Row& row : rows) {
        SCOPED_TRACE(row.what);
        ASSERT_TRUE(testsupport::WriteFile(proc / "7/stat", row.stat + "\n"));
        ASSERT_TRUE(testsupport::WriteFile(proc / "7/cmdline", row.cmdline));
        std::ostringstream out, err;
        EXPECT_EQ(tavo::sim::PsMain({}, out, err, proc.Path()), 0);
        EXPECT_EQ(out.str().substr(0, sizeof kHeader - 1), kHeader);
        EXPECT_EQ(Rows(out.str()), row.out) << out.str();
    }

    // Under a simulator's root only its own processes are listed.
    ASSERT_TRUE(testsupport::WriteFile(proc / "7/stat", plain + "\n"));
    ASSERT_TRUE(testsupport::WriteFile(proc / "7/cmdline", sleep30));
    const struct { std::string environ; const char* world; bool listed; } worlds[] = {
        {std::string("A=1\0TAVO_PLATFORM_ROOT=/r1\0", 28), "/r1", true},
        {std::string("A=1\0TAVO_PLATFORM_ROOT=/r1\0", 28), "/r", false},
        {std::string("A=1\0TAVO_PLATFORM_ROOT=/r1x\0", 29), "/r1", false},
        {std::string("XTAVO_PLATFORM_ROOT=/r1\0", 24), "/r1", false},
    };
    for (const auto& w : worlds) {
        SCOPED_TRACE(w.environ);
        ASSERT_TRUE(testsupport::WriteFile(proc / "7/environ", w.environ));
        std::ostringstream out, err;
        EXPECT_EQ(tavo::sim::PsMain({}, out, err, proc.Path(), w.world), 0);
        EXPECT_EQ(Rows(out.str()), w.listed ? sleepRow : "");
    }
}

TEST(SimAccessPoints, ControlFileLinesAndLimits) {
    const std::string bssid = "02:00:00:00:00:01\t", rest = "\t-40\t-\tx";
    const std::string ssid1024(AccessPoint::kMaxSsidLength, 's');
    struct Row { std::string line; std::string outcome; } const rows[] = {
        {"0A:0B:0C:0D:0E:0F\t5180\t-7.5\tnosignal,pad=2048\ta\\x09b\\x5cc\\x0ad\\xff e\\x00",
         "0a:0b:0c:0d:0e:0f\t5180\t-7.50\tnosignal,pad=2048\ta\\x09b\\x5cc\\x0ad\\xff e\\x00"},
        {bssid + "7200\t50\tpad=16777216\t" + ssid1024, bssid + "7200\t50.00\tpad=16777216\t" + ssid1024},
        {bssid + "1\t-200\t-\t", bssid + "1\t-200.00\t-\t"},
        {bssid + "2412\t-40\t-", "want 5"}, {"02-00-00-00-00-01\t2412" + rest, "bad BSSID"},
        {bssid + "0" + rest, "bad frequency"}, {bssid + "7201" + rest, "bad frequency"},
        {bssid + "2412\t50.5\t-\tx", "bad signal"}, {bssid + "2412\t-200.5\t-\tx", "bad signal"},
        {bssid + "2412\tnan\t-\tx", "bad signal"}, {bssid + "2412\t-40\tpad=16777217\tx", "bad option"},
        {bssid + "2412\t-40\t\tx", "bad option"}, {bssid + "2412\t-40\t-\t" + ssid1024 + "s", "SSID longer"},
        {bssid + "2412" + rest + "\\x4", "bad escape"}, {bssid + "2412" + rest + "\x01", "bad escape"},
    };
    for (const Row& row : rows) {
        AccessPoint ap;
        ap.ssid = "kept";
        std::string error;
        const bool ok = tavo::sim::DecodeAccessPoint(row.line, ap, error);
        EXPECT_NE((ok ? tavo::sim::EncodeAccessPoint(ap) : error).find(row.outcome), std::string::npos)
            << row.line.substr(0, 80) << " -> " << (ok ? "accepted" : error);
        EXPECT_TRUE(ok || ap.ssid == "kept") << "a refused line changed the access point";
    }
}

}  // namespace
