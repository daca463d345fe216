// A thousand open/close cycles of the service while the simulated devices
// come and go: the WLAN node removed, the Bluetooth line hung up, the whole
// simulator stopped, before a cycle or in the middle of one with the DUT
// open, and every hundred cycles the simulator torn down and made anew on
// another root. Each command answers with its documented reply for the
// devices there are (a vanished device gives the failure reply, never a
// crash or a hang), the cycle after the devices come back works again,
// and nothing the cycles opened (threads, descriptors) is left behind.
#include <gtest/gtest.h>

#include <dirent.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <memory>
#include <string>
#include <vector>

#include "WiFiBtFactoryService.h"
#include "sim/tree.h"
#include "stress/ledger.h"

namespace {

using namespace std::chrono_literals;

constexpr int kCycles = 1000;
constexpr int kCyclesPerLab = 100;

// Entries of a /proc/self directory, "." and ".." aside.
int CountEntries(const char* dir) {
    DIR* d = opendir(dir);
    if (d == nullptr) return -1;
    int n = 0;
    while (const dirent* e = readdir(d)) {
        if (e->d_name[0] != '.') ++n;
    }
    closedir(d);
    return n - (std::string(dir) == "/proc/self/fd" ? 1 : 0);  // the directory's own descriptor
}

// What is gone when a cycle runs. The radio a cycle drives alternates, and
// each radio meets every state in turn.
enum class Gone { kNothing, kWlanNode, kBtLine, kSimulator, kMidCycle };
const char* const kGoneNames[] = {"devices there", "wlan node removed", "bt line hung up", "simulator stopped",
                                  "device gone mid-cycle"};

class Cycles {
public:
    void Run(int cycles);
    stress::Ledger& Ledger() { return ledger_; }
    testsupport::SimEnv& Env() { return lab_->env; }

private:
    std::string Kind(const char* what, Gone gone) const { return std::string(what) + " (" + kGoneNames[static_cast<int>(gone)] + ")"; }
    void MakeGone(Gone gone);
    void BringBack();
    void WlanCycle(Gone gone, int cycle);
    void BtCycle(Gone gone, int cycle);
    void Common(Gone gone, int cycle);

    std::unique_ptr<stress::Lab> lab_ = std::make_unique<stress::Lab>();
    stress::Ledger ledger_;
    bool restartNeeded_ = false;
};

void Cycles::MakeGone(Gone gone) {
    switch (gone) {
        case Gone::kWlanNode:
            ledger_.Check("wlan node removed", ::unlink(Env().Path(tavo::sim::path::kWlanNode).c_str()) == 0,
                          "the WLAN node could not be removed");
            break;
        case Gone::kBtLine: Env().BtCtl().HangUp(); break;
        case Gone::kSimulator: Env().Sim().Stop(); break;
        default: return;
    }
    restartNeeded_ = true;
}

// A hung-up line and a removed node come back when the simulator starts
// again, as after the chip's restart.
void Cycles::BringBack() {
    if (!restartNeeded_) return;
    Env().Sim().Stop();
    Env().Sim().Start();
    restartNeeded_ = false;
}

void Cycles::WlanCycle(Gone gone, int cycle) {
    const bool there = gone != Gone::kWlanNode && gone != Gone::kSimulator;
    if (Env().Sim().IsRunning() && cycle % 4 == 0) {
        ledger_.Check("test firmware loaded", Env().LoadTestFirmware(), "the test firmware did not come up");
    }
    ledger_.Expect(Kind("wlan open", gone), "AT+WIFIRF=0,1,1,0", 0, there ? "+WIFIRF:0,OK" : "+WIFIRF:4,NG");
    if (gone == Gone::kMidCycle) {
        Env().Sim().Stop();
        restartNeeded_ = true;
    }
    const int degrees = 20 + cycle % 60;
    Env().WlanFw().SetTemperature(static_cast<std::uint64_t>(degrees));
    const bool answers = there && gone != Gone::kMidCycle;
    ledger_.Expect(Kind("wlan firmware read", gone), "AT+WIFIRF=0,5,0,0", 0,
                   answers ? "+WIFIRF:0,OK," + std::to_string(degrees) : "+WIFIRF:5,NG,0");
}

void Cycles::BtCycle(Gone gone, int cycle) {
    const bool there = gone != Gone::kBtLine && gone != Gone::kSimulator;
    ledger_.Expect(Kind("bt open", gone), "AT+BTRF=2,1,1,0", 0, there ? "+BTRF:0,OK" : "+BTRF:5,NG");
    if (gone == Gone::kMidCycle) {
        Env().BtCtl().HangUp();
        restartNeeded_ = true;
    }
    const int gain = cycle % 26;
    const bool answers = there && gone != Gone::kMidCycle;
    ledger_.Expect(Kind("bt vendor setting", gone), "AT+BTRF=2,0,3," + std::to_string(gain), 0,
                   answers ? "+BTRF:0,OK" : "+BTRF:5,NG");
    if (answers) {
        ledger_.Check("controller read-back", Env().BtCtl().Radio().txPower == gain, "tx power " + std::to_string(gain));
    }
}

// Commands that need no device answer the same whatever has gone.
void Cycles::Common(Gone gone, int cycle) {
    const std::string channel = std::to_string(36 + cycle % 130);
    ledger_.Expect(Kind("bt setting", gone), "AT+BTRF=1,0,0," + std::to_string(cycle % 40), 0, "+BTRF:0,OK");
    ledger_.Expect(Kind("wlan setter", gone), "AT+WIFIRF=0,0,0," + channel, 0, "+WIFIRF:0,OK");
    ledger_.Expect(Kind("wlan getter", gone), "AT+WIFIRF=1,0,0,0", 0, "+WIFIRF:0,OK," + channel + "\n");
    if (cycle % 2 == 0) {
        ledger_.Expect("no family", "AT+BT=" + channel, WLBT_ERR_UNKNOWN_FAMILY, "NG");
    } else {
        ledger_.Expect("too long", "AT+WIFIRF=0,0,0," + std::string(49, '1'), WLBT_ERR_TOO_LONG, "untouched");
    }
}

void Cycles::Run(int cycles) {
    for (int cycle = 0; cycle < cycles; ++cycle) {
        if (cycle > 0 && cycle % kCyclesPerLab == 0) {
            lab_.reset();  // the old root goes before the new one is made
            lab_ = std::make_unique<stress::Lab>();
            restartNeeded_ = false;
            ledger_.Note("simulator made anew");
        }
        // Even cycles drive the WLAN DUT, odd ones the Bluetooth DUT; each
        // radio meets every state in turn, and every cycle starts from the
        // devices the last one left: gone ones come back first.
        const bool wlan = cycle % 2 == 0;
        const Gone gone = static_cast<Gone>((cycle / 2) % 5);
        BringBack();
        MakeGone(gone);

        ledger_.Check("service opened", OpenWiFiBtFactoryService() == WLBT_OK, "open failed");
        wlan ? WlanCycle(gone, cycle) : BtCycle(gone, cycle);
        Common(gone, cycle);
        ledger_.Check("service closed", CloseWiFiBtFactoryService() == WLBT_OK, "close failed");
        ledger_.Expect("after close", "AT+WIFIRF=1,0,0,0", WLBT_ERR_NOT_OPEN, "untouched");
    }
    BringBack();
}

TEST(OpenClose, AThousandCyclesWhileTheDevicesVanishAndComeBack) {
    Cycles cycles;
    const int threads = CountEntries("/proc/self/task");
    // The ERROR lines of the refused commands stay out of the test's output;
    // the capture's own descriptor is open before the count.
    testing::internal::CaptureStdout();
    const int descriptors = CountEntries("/proc/self/fd");
    cycles.Run(kCycles);
    // The last cycle's lab is made anew, so both counts compare like with like.
    const bool noThreadLeft = testsupport::WaitUntil([&] { return CountEntries("/proc/self/task") == threads; }, 10s);
    const bool noDescriptorLeft = CountEntries("/proc/self/fd") == descriptors;
    testing::internal::GetCapturedStdout();

    stress::Ledger& ledger = cycles.Ledger();
    ledger.Print("open/close cycles");
    ledger.ReportFailures();
    EXPECT_EQ(ledger.Failures(), 0);
    EXPECT_TRUE(noThreadLeft) << CountEntries("/proc/self/task") << " threads, " << threads << " before";
    EXPECT_TRUE(noDescriptorLeft) << CountEntries("/proc/self/fd") << " descriptors, " << descriptors << " before";
}

}  // namespace
