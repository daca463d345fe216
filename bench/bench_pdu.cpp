// Packets per second through the command factory: every HCI command built from
// an array, every Command Complete taken apart, and the same for every vendor
// class. Prints the median packets per second of several runs of each.
#include <benchmark/benchmark.h>

#include <cstdio>
#include <cstring>
#include <memory>
#include <vector>

#include "median_reporter.h"
#include "pdu/hci_factory.h"

namespace {

std::vector<const PacketClassInfo*> Family(const char* family) {
    std::vector<const PacketClassInfo*> out;
    for (unsigned long i = 0; i < kPacketClassCount; ++i) {
        if (std::strcmp(kPacketClasses[i].family, family) == 0) out.push_back(&kPacketClasses[i]);
    }
    return out;
}

void BM_BuildEveryCommand(benchmark::State& state) {
    const auto classes = Family("cmd");
    std::vector<unsigned long> array(14, 1);
    array[0] = array.size();
    for (auto _ : state) {
        for (const PacketClassInfo* c : classes) {
            array[1] = c->code;
            std::unique_ptr<HCIPDU> pdu(HCIPDUFactory::createCommandPDU(array.data()));
            benchmark::DoNotOptimize(pdu.get());
        }
    }
    state.SetItemsProcessed(state.iterations() * static_cast<int64_t>(classes.size()));
}

void BM_DecomposeEveryReturn(benchmark::State& state) {
    std::vector<PDU> replies;
    for (const PacketClassInfo* c : Family("ret")) replies.push_back(HCICommandCompletePDU(c->code, c->size));
    std::vector<unsigned long> array(512);
    for (auto _ : state) {
        for (const PDU& reply : replies) {
            array[0] = array.size();
            BadPDUReason reason = bad_return_length;
            benchmark::DoNotOptimize(HCIPDUFactory::decomposeCommandCompletePDU(reply, array.data(), reason));
        }
    }
    state.SetItemsProcessed(state.iterations() * static_cast<int64_t>(replies.size()));
}

void BM_BuildEveryVendorCommand(benchmark::State& state) {
    const auto classes = Family("vendor");
    unsigned long array[] = {9, 2, 1, 0, 1, 2, 3, 4, 5};
    for (auto _ : state) {
        for (const PacketClassInfo* c : classes) {
            array[3] = c->code;
            benchmark::DoNotOptimize(HCIPDUFactory::createTSCMD_PDU(array).size());
        }
    }
    state.SetItemsProcessed(state.iterations() * static_cast<int64_t>(classes.size()));
}

void BM_DecomposeEveryVendorReply(benchmark::State& state) {
    std::vector<PDU> replies;
    for (const PacketClassInfo* c : Family("vendor")) {
        TSCMD_PDU reply(c->code, c->size);
        reply.set_req_type(1);
        replies.push_back(reply);
    }
    std::vector<unsigned long> array(512);
    for (auto _ : state) {
        for (const PDU& reply : replies) {
            array[0] = array.size();
            BadPDUReason reason = bad_return_length;
            benchmark::DoNotOptimize(HCIPDUFactory::decomposeTSCMD_PDU(reply, array.data(), reason));
        }
    }
    state.SetItemsProcessed(state.iterations() * static_cast<int64_t>(replies.size()));
}

}  // namespace

BENCHMARK(BM_BuildEveryCommand)->Repetitions(5);
BENCHMARK(BM_DecomposeEveryReturn)->Repetitions(5);
BENCHMARK(BM_BuildEveryVendorCommand)->Repetitions(5);
BENCHMARK(BM_DecomposeEveryVendorReply)->Repetitions(5);

int main(int argc, char** argv) {
    benchmark::Initialize(&argc, argv);
    MedianReporter reporter;
    benchmark::RunSpecifiedBenchmarks(&reporter);
    // One iteration handles every class of its family once.
    const struct {
        const char* name;
        const char* family;
        const char* what;
    } lines[] = {{"BM_BuildEveryCommand", "cmd", "HCI commands built"},
                 {"BM_DecomposeEveryReturn", "ret", "Command Completes decomposed"},
                 {"BM_BuildEveryVendorCommand", "vendor", "vendor commands built"},
                 {"BM_DecomposeEveryVendorReply", "vendor", "vendor replies decomposed"}};
    for (const auto& line : lines) {
        const auto median = reporter.medians.find(line.name);
        if (median == reporter.medians.end() || median->second <= 0) continue;
        std::printf("median %s: %.0f packets/s\n", line.what, Family(line.family).size() * 1e9 / median->second);
    }
    return 0;
}
