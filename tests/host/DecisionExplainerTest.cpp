// The decision explainer: for each digit the decision, the deciding row and the timers, and
// at the end what the phone dials after how long, all read from the real service on the
// built-in Munich phone (examples/munich.json: rows 112 and 110 emergency, 2xx internal,
// 116117, 0 external with "#" or 5 s).

#include <string>

#include <gtest/gtest.h>

#include "DecisionExplainer.h"
#include "HostConfig.h"

namespace {

Explanation explain(const std::string& digits, bool onHook = false, const HostConfig& config = defaultHostConfig())
{
    return explainDigits(digits, config, onHook, [] { return std::make_unique<PluginLibrary>(DAS_PLUGIN_FILE); });
}

}  // namespace

TEST(DecisionExplainer, AnExternalNumberGoesWhenTheDialPlanTimerExpires)
{
    EXPECT_EQ(explanationText(explain("089")),
              "0: complete once the dial plan timer expires (row 5); stops Initial Digit; arms Dial Plan 5000 ms\n"
              "08: complete once the dial plan timer expires (row 5); arms Dial Plan 5000 ms\n"
              "089: complete once the dial plan timer expires (row 5); arms Dial Plan 5000 ms\n"
              "dials \"089\" after 5000 ms: the Dial Plan timer expired\n");
}

TEST(DecisionExplainer, AnInternalNumberIsSentAtOnceByItsRow)
{
    const Explanation explanation = explain("215");
    ASSERT_EQ(explanation.steps.size(), 3u);
    EXPECT_EQ(explanation.steps[0].decision, "needs more digits: row 3 may still match");
    EXPECT_EQ(explanation.steps[0].timersArmed, std::vector<std::string>{"Auto Dial 6000 ms"});
    EXPECT_EQ(explanation.steps[2].decision, "complete: sent at once");
    EXPECT_EQ(explanation.steps[2].row, 3);
    EXPECT_EQ(explanation.steps[2].sent, "215");
    EXPECT_EQ(explanation.dialled, "215");
    EXPECT_EQ(explanation.dialledAtMs, 0);
    EXPECT_EQ(explanation.because, "row 3 decided it at once");
}

TEST(DecisionExplainer, OnHookTheEmergencyNumberIsSentAtOnceAndDigitsAfterItAreNotDialled)
{
    const Explanation explanation = explain("1129", true);
    ASSERT_EQ(explanation.steps.size(), 3u);
    EXPECT_EQ(explanation.steps[2].decision, "an emergency number: sent at once");
    EXPECT_EQ(explanation.steps[2].row, 1);
    EXPECT_EQ(explanation.dialled, "112");
}

TEST(DecisionExplainer, TheTerminatorEndsAnExternalNumber)
{
    const Explanation explanation = explain("089#");
    EXPECT_EQ(explanation.steps.back().decision, "ends with the terminator: complete: sent at once");
    EXPECT_EQ(explanation.steps.back().timersStopped, std::vector<std::string>{"Dial Plan"});
    EXPECT_EQ(explanation.dialled, "089");
    EXPECT_EQ(explanation.dialledAtMs, 0);
}

TEST(DecisionExplainer, WithoutADecidingRowTheAutoDialTimerSendsTheNumber)
{
    EXPECT_EQ(explanationText(explain("5")), "5: no row decides; stops Initial Digit; arms Auto Dial 6000 ms\n"
                                             "dials \"5\" after 6000 ms: the Auto Dial (inter digit) timer expired\n");
}

TEST(DecisionExplainer, ADisabledPlanIsSaidFirst)
{
    HostConfig config = defaultHostConfig();
    config.dialPlan = rootItemsFromJson(R"({"dial-plan-enabled": "false"})");
    const std::string text = explanationText(explain("2", false, config));
    EXPECT_EQ(text.rfind("the dial plan is not enabled: the timers alone decide\n2: no decision: the dial plan is not enabled", 0), 0u)
        << text;
}

TEST(DecisionExplainer, TheJsonFormHasEveryStepAndTheOutcome)
{
    EXPECT_EQ(explanationJson(explain("215")),
              R"({"dialPlanEnabled":true,"steps":[)"
              R"({"digits":"2","decision":"needs more digits: row 3 may still match","row":3,"timersArmed":["Auto Dial 6000 ms"],"timersStopped":["Initial Digit"],"sent":""},)"
              R"({"digits":"21","decision":"needs more digits: row 3 may still match","row":3,"timersArmed":["Auto Dial 6000 ms"],"timersStopped":[],"sent":""},)"
              R"({"digits":"215","decision":"complete: sent at once","row":3,"timersArmed":[],"timersStopped":["Auto Dial"],"sent":"215"}],)"
              R"("dialled":{"digits":"215","afterMs":0,"because":"row 3 decided it at once"}})");
}
