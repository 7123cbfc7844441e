// DialPlan::getAction on 50-entry plans: the best case (the first entry decides), the worst
// case (every entry compared in full, none matches) and an office plan dialled digit by
// digit. Each runs with logging off and with trace logging to a null sink.

#include <benchmark/benchmark.h>

#include <memory>
#include <string>
#include <vector>

#include "CapturingLogSink.h"
#include "DialPlan.h"
#include "DialPlans.h"
#include "ScratchLogFile.h"
#include "TimedLoop.h"

namespace {

// A dial plan loaded from configuration as the service loads it, off-hook.
struct LoadedPlan {
    explicit LoadedPlan(const std::vector<benchplans::Row>& rows)
    {
        ManageableData data = benchplans::configuration(rows);
        loaded = plan.setData(data) && plan.getEnabled() &&
                 plan.getNumberOfEntries() == static_cast<int>(rows.size());
    }
    ScratchLogFile logFile;
    DialPlan plan;
    bool loaded = false;
};

// How many entries one getAction call examines, read from its trace lines.
int entriesExamined(DialPlan& plan, const std::string& digits)
{
    CapturingLogSink capture;
    std::string work = digits;
    unsigned int timer = 0;
    plan.getAction(&work, &timer);
    return capture.count("DialPlan::matchEntry");
}

// Times getAction on each of `diallings` in turn.
void runGetAction(benchmark::State& state, DialPlan& plan, const std::vector<std::string>& diallings)
{
    std::string work;
    work.reserve(64);
    unsigned int timer = 0;
    timedLoop(state, diallings, [&](const std::string& digits) {
        work.assign(digits);  // getAction may take a terminator off the digits
        benchmark::DoNotOptimize(plan.getAction(&work, &timer));
    });
}

void BM_GetAction_BestCase(benchmark::State& state)
{
    static LoadedPlan loaded(benchplans::bestCasePlan());
    std::string digits = "112";
    unsigned int timer = 0;
    if (!loaded.loaded || entriesExamined(loaded.plan, digits) != 1 ||
        loaded.plan.getAction(&digits, &timer) != DIAL_PLAN_ACTION_SEND_EMERGENCY) {
        state.SkipWithError("the best-case plan does not decide 112 at its first entry");
        return;
    }
    runGetAction(state, loaded.plan, {"112"});
}
BENCHMARK(BM_GetAction_BestCase)->ArgName("trace")->Arg(0)->Arg(1);

void BM_GetAction_WorstCase(benchmark::State& state)
{
    static LoadedPlan loaded(benchplans::worstCasePlan());
    const std::string digits = benchplans::worstCaseDigits();
    std::string work = digits;
    unsigned int timer = 0;
    if (!loaded.loaded || entriesExamined(loaded.plan, digits) != 50 ||
        loaded.plan.getAction(&work, &timer) != DIAL_PLAN_ACTION_NONE) {
        state.SkipWithError("the worst-case plan does not examine all 50 entries");
        return;
    }
    runGetAction(state, loaded.plan, {digits});
}
BENCHMARK(BM_GetAction_WorstCase)->ArgName("trace")->Arg(0)->Arg(1);

// Every prefix of every office dialling, as the dialler passes them digit by digit.
std::vector<std::string> officePrefixes()
{
    std::vector<std::string> prefixes;
    for (const std::string& number : benchplans::officeDiallings()) {
        for (std::size_t length = 1; length <= number.size(); ++length) prefixes.push_back(number.substr(0, length));
    }
    return prefixes;
}

void BM_GetAction_OfficePlanPerDigit(benchmark::State& state)
{
    static LoadedPlan loaded(benchplans::officePlan());
    static const std::vector<std::string> prefixes = officePrefixes();
    if (!loaded.loaded) {
        state.SkipWithError("the office plan did not load");
        return;
    }
    runGetAction(state, loaded.plan, prefixes);
}
BENCHMARK(BM_GetAction_OfficePlanPerDigit)->ArgName("trace")->Arg(0)->Arg(1);

}  // namespace
