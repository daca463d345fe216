// What the worker ring costs: a log-only WLAN command through
// ForwardCMD_WiFiBT (thread creation and the polled wait included), beside a
// direct call of the same execute function on the calling thread.
#include <benchmark/benchmark.h>

#include "median_reporter.h"

#include <cstdio>
#include <map>
#include <string>
#include <vector>

#include "WiFiBtFactoryService.h"
#include "factory/CommandHandler.h"

namespace {

const char* const kCommand = "AT+WIFIRF=0,6,0,0";  // AT_COMMAND_WIFI_SET_SSID: log only

void BM_ForwardRoundTrip(benchmark::State& state) {
    OpenWiFiBtFactoryService();
    std::vector<char> result(WLBT_RESULT_BUFFER_SIZE);
    for (auto _ : state) {
        ForwardCMD_WiFiBT(kCommand, result.data(), 3000);
        benchmark::DoNotOptimize(result.data());
    }
    CloseWiFiBtFactoryService();
}

void BM_DirectExecute(benchmark::State& state) {
    CCommandHandler handler(nullptr, nullptr);
    handler.FindAppCommand(kCommand);
    std::vector<char> result(WLBT_RESULT_BUFFER_SIZE);
    for (auto _ : state) {
        handler.ExecuteATCommand_WiFi(kCommand, result.data());
        benchmark::DoNotOptimize(result.data());
    }
}

}  // namespace

int main(int argc, char** argv) {
    benchmark::RegisterBenchmark("BM_ForwardRoundTrip", BM_ForwardRoundTrip)
        ->Repetitions(9)->ReportAggregatesOnly(true)->UseRealTime();
    benchmark::RegisterBenchmark("BM_DirectExecute", BM_DirectExecute)
        ->Repetitions(9)->ReportAggregatesOnly(true)->UseRealTime();
    benchmark::Initialize(&argc, argv);
    MedianReporter reporter;
    benchmark::RunSpecifiedBenchmarks(&reporter);
    reporter.PrintRatio("BM_ForwardRoundTrip", "ForwardCMD_WiFiBT round trip", "BM_DirectExecute", "direct ExecuteATCommand_WiFi");
    benchmark::Shutdown();
    return 0;
}
