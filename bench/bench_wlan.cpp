// What the library adds to one firmware exchange: wlan_select_radio against
// the simulated firmware, beside a bare seqpacket ping-pong of the same
// request and confirm bytes between the same two endpoints.
#include <benchmark/benchmark.h>

#include "median_reporter.h"

#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <map>
#include <memory>
#include <string>

#include "sim/simulator.h"
#include "sim/wlanfw/wlanfw_component.h"
#include "wlan_interface.h"

namespace {

// The chip simulator on a temporary root, already on its test firmware.
class Chip {
public:
    Chip() {
        char tmpl[] = "/tmp/wlbt-bench-XXXXXX";
        if (mkdtemp(tmpl) == nullptr) std::abort();
        root_ = tmpl;
        sim_ = std::make_unique<tavo::sim::Simulator>(root_);
        sim_->Emplace<tavo::sim::wlanfw::WlanFirmwareComponent>();
        sim_->Start();
        std::ofstream(root_ + "/sys/module/tavo_rk/parameters/firmware_variant") << "rk720_t";
        std::ofstream(root_ + "/sys/module/tavo_bt/parameters/force_crash") << "0xDEADDEAD\n";
        if (!sim_->WaitForFirmware("rk720_t", std::chrono::seconds(5))) std::abort();
        setenv("TAVO_PLATFORM_ROOT", root_.c_str(), 1);
    }
    ~Chip() {
        sim_->Stop();
        std::system(("rm -rf '" + root_ + "'").c_str());
    }
    std::string Node() const { return root_ + "/dev/q7c3310udi0"; }

private:
    std::string root_;
    std::unique_ptr<tavo::sim::Simulator> sim_;
};

Chip* g_chip = nullptr;

void BM_WlanSelectRadio(benchmark::State& state) {
    if (wlan_open_device() != 0) {
        state.SkipWithError(wlan_get_last_error());
        return;
    }
    for (auto _ : state) {
        if (wlan_select_radio(COMMSTEST_RADIO_1) != 0) {
            state.SkipWithError(wlan_get_last_error());
            break;
        }
    }
    wlan_close_device();
}

void BM_BarePingPong(benchmark::State& state) {
    const int fd = socket(AF_UNIX, SOCK_SEQPACKET, 0);
    struct sockaddr_un address {};
    address.sun_family = AF_UNIX;
    std::strncpy(address.sun_path, g_chip->Node().c_str(), sizeof address.sun_path - 1);
    if (connect(fd, reinterpret_cast<sockaddr*>(&address), sizeof address) != 0) {
        state.SkipWithError("cannot connect");
        close(fd);
        return;
    }
    // select_radio_req for radio 1, as the library sends it.
    unsigned char request[24] = {0x1a, 0x90, 0, 0, 0x01, 0xc0, 0, 0, 0, 0, 0x01, 0};
    unsigned char reply[4096];
    for (auto _ : state) {
        if (send(fd, request, sizeof request, 0) != static_cast<ssize_t>(sizeof request) ||
            recv(fd, reply, sizeof reply, 0) <= 0) {
            state.SkipWithError("exchange failed");
            break;
        }
    }
    close(fd);
}


}  // namespace

int main(int argc, char** argv) {
    Chip chip;
    g_chip = &chip;
    benchmark::RegisterBenchmark("BM_WlanSelectRadio", BM_WlanSelectRadio)
        ->Repetitions(9)->ReportAggregatesOnly(true)->UseRealTime();
    benchmark::RegisterBenchmark("BM_BarePingPong", BM_BarePingPong)
        ->Repetitions(9)->ReportAggregatesOnly(true)->UseRealTime();
    benchmark::Initialize(&argc, argv);
    MedianReporter reporter;
    benchmark::RunSpecifiedBenchmarks(&reporter);
    reporter.PrintRatio("BM_WlanSelectRadio", "wlan_select_radio exchange", "BM_BarePingPong", "bare seqpacket ping-pong");
    benchmark::Shutdown();
    g_chip = nullptr;
    return 0;
}
