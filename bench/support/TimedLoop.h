#pragma once
// The timing loop the benchmarks share: calls `operation` with each input in turn, under
// the logging mode of the benchmark's "trace" argument (or with logging off for benchmarks
// registered without one), and reports the heap allocations per call next to the time.
// `operation` returns whether its result was the right one; every call is checked, and one
// wrong result skips the benchmark with an error, so that a change that breaks a result
// cannot look fast.

#include <benchmark/benchmark.h>

#include <cstddef>
#include <vector>

#include "BenchLogging.h"
#include "CountingAllocator.h"

enum class LoggingArgument { kTrace, kNone };

template <typename Input, typename Operation>
void timedLoop(benchmark::State& state, const std::vector<Input>& inputs, Operation operation,
               LoggingArgument argument = LoggingArgument::kTrace)
{
    if (inputs.empty()) {
        state.SkipWithError("no inputs");
        return;
    }
    const int mode = argument == LoggingArgument::kTrace ? static_cast<int>(state.range(0)) : benchlog::kOff;
    benchlog::use(mode);
    std::size_t next = 0;
    bool allRight = true;
    const heapcount::Snapshot before = heapcount::now();
    for (auto _ : state) {
        allRight &= operation(inputs[next]);
        if (++next == inputs.size()) next = 0;
    }
    const heapcount::Snapshot after = heapcount::now();
    if (!allRight) {
        benchlog::use(benchlog::kOff);
        state.SkipWithError("a result in the timed loop was wrong");
        return;
    }
    state.counters["allocs/call"] = benchmark::Counter(static_cast<double>(after.allocations - before.allocations),
                                                       benchmark::Counter::kAvgIterations);
    if (argument == LoggingArgument::kTrace) state.SetLabel(benchlog::label(mode));
    benchlog::use(benchlog::kOff);
}
