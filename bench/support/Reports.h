#pragma once
// Summaries printed after the benchmarks of one run have finished, computed from the
// results of that run (ratios between benchmarks, agreement counts).

#include <functional>
#include <map>
#include <string>

namespace benchreports {

// Time per iteration in nanoseconds: real (wall clock) and the thread's CPU time. On a
// shared machine the real time also counts the waits for a core; the CPU time does not.
struct Timing {
    double real = 0;
    double cpu = 0;
};

// Times by benchmark name, for the runs of this process.
using Results = std::map<std::string, Timing>;
using Report = std::function<void(const Results&)>;

// Registers a report; returns true so that it can initialise a namespace-scope constant.
bool add(Report report);
void printAll(const Results& results);

}  // namespace benchreports
