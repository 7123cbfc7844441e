// With trace logging off the dial plan passes over entries whose pattern disagrees without
// matching them in full: its decisions must be the very ones it takes with trace logging on.

#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "CapturingLogSink.h"
#include "DialPlan.h"
#include "DialPlanEntries.h"
#include "Logging.h"
#include "ServiceHarness.h"

namespace {

struct Decision {
    int action;
    unsigned int timer;
    std::string digits;

    bool operator==(const Decision& other) const
    {
        return action == other.action && timer == other.timer && digits == other.digits;
    }
};

std::ostream& operator<<(std::ostream& out, const Decision& decision)
{
    return out << "action " << decision.action << ", timer " << decision.timer << ", digits '" << decision.digits << "'";
}

class DialPlanWithLoggingOff : public ::testing::Test {
protected:
    ServiceHarness harness;  // keeps the plan's log file in a temporary directory
    DialPlan plan;

    void SetUp() override
    {
        const std::vector<t_dialPlanEntry> entries = {
            dialPlanEntry("S", "112", 3, 3, 0, "", false, "E"),
            dialPlanEntry("S", "2000", 4, 4, 0, "", false, "b"),
            dialPlanEntry("S", "1x8xx", 5, 5, 0),
            dialPlanEntry("C", "0900", 4, 4, 9),
            dialPlanEntry("S", "2X", 3, 3, 0),
            dialPlanEntry("S", "0015x", 12, 13, 3, "#"),
            dialPlanEntry("C", "00180x", 6, 6, 5, "", false, "E"),
            dialPlanEntry("S", "000", 8, 24, 5, "#"),
            dialPlanEntry("S", "00", 8, 24, 4, "#", false, "b"),
            dialPlanEntry("S", "0", 5, 24, 3, "#"),
        };
        loadDialPlanEntries(plan, entries);
        plan.setEnabled(true);
    }

    Decision decide(const std::string& digits)
    {
        Decision decision{0, 0, digits};
        decision.action = plan.getAction(&decision.digits, &decision.timer);
        return decision;
    }

    // Every prefix of every number, decided with trace logging off and then on.
    void expectTheSameDecisions()
    {
        const std::vector<std::string> numbers = {"112",          "2000",          "2712",           "17800",
                                                  "0900123",      "001512345678#", "0018012",        "00044207946",
                                                  "0089123456#",  "01234#",        "0123456789012#", "3",
                                                  "xX*#",         "1x8"};
        for (const std::string& number : numbers) {
            for (std::size_t length = 1; length <= number.size(); ++length) {
                const std::string digits = number.substr(0, length);
                platformlog::setThreshold(platformlog::kDefaultThreshold);
                const Decision quiet = decide(digits);
                Decision traced;
                {
                    CapturingLogSink log;
                    traced = decide(digits);
                }
                EXPECT_EQ(quiet, traced) << "digits " << digits;
            }
        }
    }
};

TEST_F(DialPlanWithLoggingOff, DecidesOffHookAsWithTraceOn)
{
    plan.setOnhookDialling(false);
    expectTheSameDecisions();
}

TEST_F(DialPlanWithLoggingOff, DecidesOnHookAsWithTraceOn)
{
    plan.setOnhookDialling(true);
    plan.setImmediateDiallingEnabled(false);
    expectTheSameDecisions();
}

TEST_F(DialPlanWithLoggingOff, DecidesWithImmediateDiallingAsWithTraceOn)
{
    plan.setOnhookDialling(true);
    plan.setImmediateDiallingEnabled(true);
    expectTheSameDecisions();
}

TEST_F(DialPlanWithLoggingOff, StillFindsAnEntryBehindManyThatDisagree)
{
    platformlog::setThreshold(platformlog::kDefaultThreshold);
    EXPECT_EQ(decide("0089123456#"), (Decision{DIAL_PLAN_ACTION_SEND_LOCKBYPASS, 0, "0089123456"}));
    EXPECT_EQ(decide("0018012"), (Decision{DIAL_PLAN_ACTION_NONE, 0, "0018012"}));
    EXPECT_EQ(decide("001801"), (Decision{DIAL_PLAN_ACTION_START_TIMER_EMERGENCY, 5, "001801"}));
}

}  // namespace
