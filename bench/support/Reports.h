#pragma once
// Summaries printed after the benchmarks of one run have finished, computed from the
// results of that run (ratios between benchmarks, agreement counts).

#include <functional>
#include <map>
#include <string>

namespace benchreports {

// Real time per iteration in nanoseconds, by benchmark name, for the runs of this process.
using Results = std::map<std::string, double>;
using Report = std::function<void(const Results&)>;

// Registers a report; returns true so that it can initialise a namespace-scope constant.
bool add(Report report);
void printAll(const Results& results);

}  // namespace benchreports
