// What the Bluetooth link adds to one command: an HCI command sent through the
// device controller to the simulated controller's pseudo-terminal and its
// Command Complete back up to the provider, beside a bare ping-pong of the
// same bytes over a pseudo-terminal between two threads.
#include <benchmark/benchmark.h>

#include "median_reporter.h"

#include <fcntl.h>
#include <poll.h>
#include <termios.h>
#include <unistd.h>

#include <condition_variable>
#include <cstdio>
#include <cstdlib>
#include <mutex>
#include <string>
#include <thread>

#include "link/devicecontroller.h"
#include "sim/btctl/bt_controller.h"

namespace {

const unsigned char kCommand[] = {0x01, 0x01, 0x10, 0x00};  // Read Local Version, with its indicator
const size_t kAnswerLength = 1 + 2 + 12;                    // indicator, header, Command Complete

class Waiter : public TesselDeviceController_newStyle::CallBackProvider {
public:
    void onPDU(const PDU&) override {
        std::lock_guard<std::mutex> hold(mutex_);
        ++replies_;
        cv_.notify_one();
    }
    void onTransportFailure(FailureMode) override {}
    bool WaitFor(unsigned long n) {
        std::unique_lock<std::mutex> hold(mutex_);
        return cv_.wait_for(hold, std::chrono::seconds(5), [&] { return replies_ >= n; });
    }

private:
    std::mutex mutex_;
    std::condition_variable cv_;
    unsigned long replies_ = 0;
};

void BM_CommandThroughController(benchmark::State& state) {
    char tmpl[] = "/tmp/wlbt-bench-XXXXXX";
    if (mkdtemp(tmpl) == nullptr) std::abort();
    const std::string link = std::string(tmpl) + "/tavo_h4_0";
    tavo::sim::btctl::BtController chip;
    chip.Start({link, [](const std::string&) {}});
    Waiter waiter;
    {
        TesselDeviceController_newStyle controller(H4Configuration(link.c_str(), 3000000, true), waiter);
        if (!controller.startTransport()) {
            state.SkipWithError("the link did not open");
        } else {
            controller.createWorker();
            const PDU command(PDU::hci_channel, kCommand + 1, sizeof kCommand - 1);
            unsigned long sent = 0;
            for (auto _ : state) {
                controller.send(command, true);
                if (!waiter.WaitFor(++sent)) {
                    state.SkipWithError("no Command Complete");
                    break;
                }
            }
        }
    }
    chip.Stop();
    rmdir(tmpl);
    state.SetItemsProcessed(state.iterations());
}

// The same bytes both ways over a bare pseudo-terminal: one thread answers
// each command with a Command Complete's worth of bytes.
void BM_BarePtyPingPong(benchmark::State& state) {
    const int master = posix_openpt(O_RDWR | O_NOCTTY);
    if (master < 0 || grantpt(master) != 0 || unlockpt(master) != 0) {
        state.SkipWithError("no pseudo-terminal");
        return;
    }
    const int slave = open(ptsname(master), O_RDWR | O_NOCTTY);
    termios raw{};
    tcgetattr(slave, &raw);
    cfmakeraw(&raw);
    tcsetattr(slave, TCSANOW, &raw);
    std::thread answerer([master] {
        unsigned char buffer[64];
        const unsigned char answer[kAnswerLength] = {0x04, 0x0e, 0x0c, 0x01, 0x01, 0x10};
        size_t have = 0;
        for (;;) {
            const ssize_t n = read(master, buffer + have, sizeof kCommand - have);
            if (n <= 0) return;
            have += static_cast<size_t>(n);
            if (have == sizeof kCommand) {
                if (buffer[0] == 0xFF) return;  // the end
                have = 0;
                if (write(master, answer, sizeof answer) != static_cast<ssize_t>(sizeof answer)) return;
            }
        }
    });
    unsigned char buffer[kAnswerLength];
    for (auto _ : state) {
        if (write(slave, kCommand, sizeof kCommand) != static_cast<ssize_t>(sizeof kCommand)) break;
        size_t have = 0;
        while (have < kAnswerLength) {
            const ssize_t n = read(slave, buffer + have, kAnswerLength - have);
            if (n <= 0) break;
            have += static_cast<size_t>(n);
        }
    }
    const unsigned char end[sizeof kCommand] = {0xFF, 0xFF, 0xFF, 0xFF};
    if (write(slave, end, sizeof end) < 0) std::perror("bench_link");
    answerer.join();
    close(slave);
    close(master);
    state.SetItemsProcessed(state.iterations());
}

}  // namespace

BENCHMARK(BM_CommandThroughController)->Repetitions(5)->UseRealTime();
BENCHMARK(BM_BarePtyPingPong)->Repetitions(5)->UseRealTime();

int main(int argc, char** argv) {
    benchmark::Initialize(&argc, argv);
    MedianReporter reporter;
    benchmark::RunSpecifiedBenchmarks(&reporter);
    reporter.PrintRatio("BM_CommandThroughController", "command through the device controller",
                        "BM_BarePtyPingPong", "bare pty ping-pong");
    for (const char* name : {"BM_CommandThroughController", "BM_BarePtyPingPong"}) {
        const auto median = reporter.medians.find(name);
        if (median != reporter.medians.end() && median->second > 0) {
            std::printf("%s: %.0f packets/s\n", name, 1e9 / median->second);
        }
    }
    return 0;
}
