// What the packet capture costs a link thread: one 23-byte H4 packet (a
// tunnelled vendor fragment's size) handed to the capture with it off, and
// with both files on. Prints the medians, their ratio, and how many packets
// the writers could not keep up with (dropped and counted).
#include <benchmark/benchmark.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <string>

#include "enginefw/capture.h"
#include "median_reporter.h"

namespace {

const uint8_t kPacket[22] = {0xc2, 0x02, 0x00, 0x09, 0x00, 0x01, 0x00, 0x04, 0x50, 0x00, 0x00,
                             0x34, 0x00, 0x14, 0x00, 0x00, 0x00, 0x00, 0x00};

void BM_CaptureOff(benchmark::State& state) {
    unsetenv("TAVO_CAPTURE");
    unsetenv("TAVO_BTSNOOP");
    capture::Shutdown();
    for (auto _ : state) capture::H4Packet(capture::kSent, 1, kPacket, sizeof kPacket);
}

std::string gDir;
uint64_t gDropped = 0;

void BM_CaptureOn(benchmark::State& state) {
    setenv("TAVO_CAPTURE", (gDir + "/bench.pcapng").c_str(), 1);
    setenv("TAVO_BTSNOOP", (gDir + "/bench.btsnoop").c_str(), 1);
    capture::Shutdown();
    for (auto _ : state) capture::H4Packet(capture::kSent, 1, kPacket, sizeof kPacket);
    gDropped += capture::CurrentCounts().dropped[capture::kH4];
    capture::Shutdown();
}

}  // namespace

BENCHMARK(BM_CaptureOff)->Repetitions(5);
BENCHMARK(BM_CaptureOn)->Repetitions(5);

int main(int argc, char** argv) {
    char dir[] = "/tmp/wlbt-bench-capture-XXXXXX";
    if (mkdtemp(dir) == nullptr) return 1;
    gDir = dir;
    benchmark::Initialize(&argc, argv);
    MedianReporter reporter;
    benchmark::RunSpecifiedBenchmarks(&reporter);
    reporter.PrintRatio("BM_CaptureOn", "per packet, both capture files on", "BM_CaptureOff", "per packet, capture off");
    std::printf("packets dropped while on: %llu\n", static_cast<unsigned long long>(gDropped));
    std::system(("rm -rf '" + gDir + "'").c_str());
    return 0;
}
