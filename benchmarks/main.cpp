// Runs the benchmarks, and prints after them how each compares with its reference of the same run:
// on shared machines only these ratios mean something.

#include "Ratios.h"

#include "fus/Log.h"

#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstdio>
#include <map>
#include <vector>

namespace fus::bench {

namespace {

std::vector<Ratio>& ratios() {
    static std::vector<Ratio> all;
    return all;
}

/// Remembers the time of every benchmark: the median of its repetitions.
class RatioReporter : public benchmark::ConsoleReporter {
public:
    RatioReporter() : ConsoleReporter(OO_Tabular) {}

    void ReportRuns(const std::vector<Run>& runs) override {
        for (const Run& run : runs) {
            if (run.run_type == Run::RT_Iteration && !run.error_occurred) {
                // what runs on one thread alone is measured by its own time, whoever else is busy
                m_times[run.run_name.function_name].push_back(run.run_name.time_type.empty()
                                                                  ? run.GetAdjustedCPUTime()
                                                                  : run.GetAdjustedRealTime());
            }
        }
        ConsoleReporter::ReportRuns(runs);
    }

    void Finalize() override {
        std::printf("\n%-34s %-34s %8s  aim\n", "measured", "reference", "ratio");
        for (const Ratio& ratio : ratios()) {
            print(ratio);
        }
    }

private:
    void print(const Ratio& ratio) {
        const double subject = median(ratio.subject);
        const double reference = median(ratio.reference);
        if (subject <= 0 || reference <= 0) {
            return; // filtered out
        }
        const bool speed = ratio.kind == Ratio::SPEED;
        const double value = speed ? reference / subject : subject / reference;
        const bool reached = speed ? value >= ratio.aim : value <= ratio.aim;
        std::printf("%-34s %-34s %8.3f  at %s %g%s\n", ratio.subject.c_str(),
                    ratio.reference.c_str(), value, speed ? "least" : "most", ratio.aim,
                    reached ? "" : "  MISSED");
    }

    double median(const std::string& name) {
        std::vector<double>& times = m_times[name];
        if (times.empty()) {
            return 0;
        }
        std::sort(times.begin(), times.end());
        return times[times.size() / 2];
    }

    std::map<std::string, std::vector<double>> m_times;
};

} // namespace

RegisterRatio::RegisterRatio(const char* subject, const char* reference, Ratio::Kind kind,
                             double aim) {
    ratios().push_back({subject, reference, kind, aim});
}

} // namespace fus::bench

int main(int argc, char** argv) {
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv)) {
        return 2;
    }
    fus::Log::getInstance().setLevel(fus::Log::ERROR);
    fus::bench::RatioReporter reporter;
    benchmark::RunSpecifiedBenchmarks(&reporter);
    benchmark::Shutdown();
    return 0;
}
