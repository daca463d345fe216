// A console reporter that also keeps the median of each repeated benchmark,
// so that a benchmark program can print the ratio of two medians.
#pragma once

#include <benchmark/benchmark.h>

#include <cstdio>
#include <map>
#include <string>
#include <vector>

class MedianReporter : public benchmark::ConsoleReporter {
public:
    void ReportRuns(const std::vector<Run>& runs) override {
        for (const Run& run : runs) {
            if (run.run_type == Run::RT_Aggregate && run.aggregate_name == "median") {
                medians[run.run_name.function_name] = run.GetAdjustedRealTime();
            }
        }
        ConsoleReporter::ReportRuns(runs);
    }

    // Prints both medians (ns) and their ratio, when both ran.
    void PrintRatio(const std::string& measured, const char* measuredText, const std::string& base,
                    const char* baseText) const {
        const auto m = medians.find(measured);
        const auto b = medians.find(base);
        if (m == medians.end() || b == medians.end() || b->second <= 0) return;
        std::printf("median %s: %.0f ns\n", measuredText, m->second);
        std::printf("median %s: %.0f ns\n", baseText, b->second);
        std::printf("ratio: %.2f\n", m->second / b->second);
    }

    std::map<std::string, double> medians;
};
