// One vendor radio-test round trip through the whole Bluetooth path
// (bt_txdata1: connection, command factory, controller queue and worker, H4,
// UART threads, pseudo-terminal, simulated controller, and back), beside a bare
// ping-pong of the same H4 bytes over a pseudo-terminal between two threads,
// and the time the same bytes take on a 3,000,000-baud line.
#include <benchmark/benchmark.h>

#include "median_reporter.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <termios.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <string>
#include <thread>
#include <vector>

#include "bt_interface.h"
#include "sim/btctl/bt_controller.h"

namespace {

// bt_txdata1(2402) with sequence 1, and its reply, as they cross the line.
const std::vector<unsigned char> kRequest = {0x01, 0x00, 0xfc, 0x13, 0xc2, 0x02, 0x00, 0x09, 0x00, 0x01, 0x00,
                                             0x04, 0x50, 0x00, 0x00, 0x04, 0x00, 0x62, 0x09, 0x00, 0x00, 0x00, 0x00};
const std::vector<unsigned char> kReply = {0x04, 0xff, 0x14, 0x42, 0xc2, 0x01, 0x00, 0x09, 0x00, 0x01, 0x00,
                                           0x04, 0x50, 0x00, 0x00, 0x04, 0x00, 0x62, 0x09, 0x00, 0x00, 0x00, 0x00};

void BM_RadioTestThroughTheLibrary(benchmark::State& state) {
    char tmpl[] = "/tmp/wlbt-bench-XXXXXX";
    if (mkdtemp(tmpl) == nullptr) std::abort();
    const std::string root = tmpl;
    mkdir((root + "/dev").c_str(), 0755);
    setenv("TAVO_PLATFORM_ROOT", root.c_str(), 1);
    tavo::sim::btctl::BtController chip;
    chip.Start({root + "/dev/tavo_h4_0", [](const std::string&) {}});
    if (bt_open_device() != 0) {
        state.SkipWithError(bt_get_last_error());
    } else {
        for (auto _ : state) {
            if (bt_txdata1(2402) != 0) {
                state.SkipWithError(bt_get_last_error());
                break;
            }
        }
        bt_close_device();
    }
    chip.Stop();
    std::system(("rm -rf '" + root + "'").c_str());
    state.SetItemsProcessed(state.iterations());
}

bool ReadAll(int fd, unsigned char* buffer, size_t n) {
    size_t have = 0;
    while (have < n) {
        const ssize_t r = read(fd, buffer + have, n - have);
        if (r <= 0) return false;
        have += static_cast<size_t>(r);
    }
    return true;
}

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
    std::thread chip([master] {
        std::vector<unsigned char> buffer(kRequest.size());
        while (ReadAll(master, buffer.data(), buffer.size()) && buffer[0] == 0x01) {
            if (write(master, kReply.data(), kReply.size()) != static_cast<ssize_t>(kReply.size())) return;
        }
    });
    std::vector<unsigned char> buffer(kReply.size());
    for (auto _ : state) {
        if (write(slave, kRequest.data(), kRequest.size()) != static_cast<ssize_t>(kRequest.size())) break;
        if (!ReadAll(slave, buffer.data(), buffer.size())) break;
    }
    std::vector<unsigned char> end(kRequest.size(), 0xFF);
    if (write(slave, end.data(), end.size()) < 0) std::perror("bench_bt");
    chip.join();
    close(slave);
    close(master);
    state.SetItemsProcessed(state.iterations());
}

}  // namespace

BENCHMARK(BM_RadioTestThroughTheLibrary)->Repetitions(5)->UseRealTime();
BENCHMARK(BM_BarePtyPingPong)->Repetitions(5)->UseRealTime();

int main(int argc, char** argv) {
    benchmark::Initialize(&argc, argv);
    MedianReporter reporter;
    benchmark::RunSpecifiedBenchmarks(&reporter);
    reporter.PrintRatio("BM_RadioTestThroughTheLibrary", "radio test through bt_txdata1", "BM_BarePtyPingPong",
                        "bare pty ping-pong of the same bytes");
    // Ten bits a byte on the line: start, eight data bits, stop.
    const double wire = (kRequest.size() + kReply.size()) * 10 / 3000000.0 * 1e9;
    std::printf("the same %zu bytes on a 3,000,000-baud line: %.0f ns\n", kRequest.size() + kReply.size(), wire);
    return 0;
}
