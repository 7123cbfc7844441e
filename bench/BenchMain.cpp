// Runs the registered benchmarks with the console output Google Benchmark gives, then
// prints the reports that compare results of the same run.

#include <benchmark/benchmark.h>

#include "Reports.h"

namespace {
// The console reporter, also keeping each benchmark's real and CPU time per iteration.
class RecordingReporter : public benchmark::ConsoleReporter {
public:
    void ReportRuns(const std::vector<Run>& runs) override
    {
        ConsoleReporter::ReportRuns(runs);
        for (const Run& run : runs) {
            if (run.error_occurred || run.iterations == 0) continue;
            // With repetitions, the median aggregate stands for the benchmark.
            if (run.run_type == Run::RT_Aggregate && run.aggregate_name != "median") continue;
            const double toNanoseconds = benchmark::GetTimeUnitMultiplier(benchmark::kNanosecond) /
                                         benchmark::GetTimeUnitMultiplier(run.time_unit);
            const benchreports::Timing timing{run.GetAdjustedRealTime() * toNanoseconds,
                                              run.GetAdjustedCPUTime() * toNanoseconds};
            std::string name = run.run_name.function_name;
            if (!run.run_name.args.empty()) name += "/" + run.run_name.args;
            if (results.count(name) == 0 || run.run_type == Run::RT_Aggregate) results[name] = timing;
        }
    }
    benchreports::Results results;
};
}  // namespace

int main(int argc, char** argv)
{
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
    RecordingReporter reporter;
    benchmark::RunSpecifiedBenchmarks(&reporter);
    benchmark::Shutdown();
    benchreports::printAll(reporter.results);
    return 0;
}
