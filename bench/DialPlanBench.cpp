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
#include "Expected.h"
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

// Times getAction on each of `diallings` in turn, checking its answer, timer and digits.
void runGetAction(benchmark::State& state, DialPlan& plan, const std::vector<benchexpected::Action>& diallings)
{
    std::string work;
    work.reserve(64);
    unsigned int timer = 0;
    timedLoop(state, diallings, [&](const benchexpected::Action& dialling) {
        work.assign(dialling.digits);  // getAction may take a terminator off the digits
        const int action = plan.getAction(&work, &timer);
        return action == dialling.action && timer == dialling.timer && work == dialling.digitsAfter;
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
    runGetAction(state, loaded.plan, {{"112", DIAL_PLAN_ACTION_SEND_EMERGENCY, 0, "112"}});
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
    runGetAction(state, loaded.plan, {{digits, DIAL_PLAN_ACTION_NONE, 0, digits}});
}
BENCHMARK(BM_GetAction_WorstCase)->ArgName("trace")->Arg(0)->Arg(1);

// Every prefix of every office dialling, as the dialler passes them digit by digit, with
// the answers of corpus/office-actions.tsv.
void BM_GetAction_OfficePlanPerDigit(benchmark::State& state)
{
    static LoadedPlan loaded(benchplans::officePlan());
    if (!loaded.loaded || benchexpected::officeActions().empty()) {
        state.SkipWithError("the office plan did not load, or corpus/office-actions.tsv is missing");
        return;
    }
    runGetAction(state, loaded.plan, benchexpected::officeActions());
}
BENCHMARK(BM_GetAction_OfficePlanPerDigit)->ArgName("trace")->Arg(0)->Arg(1);

}  // namespace
