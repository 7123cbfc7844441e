// Reading the service's trace: timer lines, expiries, the five timers' names and the decision
// on one request's digits, from texts exactly as the service writes them.

#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "ServiceTrace.h"

namespace {

std::string timerText(const std::string& operation, const std::string& record, int duration, int id, int running)
{
    return operation + " details = " + record + " (duration = " + std::to_string(duration) +
           ",  timerID = " + std::to_string(id) + ", timerRunning = " + std::to_string(running) + ", updatePending = 0)\n";
}

ServiceTimers startedTimers()
{
    ServiceTimers timers;
    const char* const records[] = {"0x10", "0x20", "0x30", "0x40", "0x50", "0x60"};
    for (const char* record : records) timers.learn(timerText("makeTimer", record, 1000, -1, 0));
    return timers;
}

}  // namespace

TEST(ServiceTrace, ATimerLineGivesItsOperationRecordDurationIdAndWhetherItRan)
{
    const auto line = parseTimerLine(timerText("+ DigitAnalysisService::endTimer", "0x5581", 5000, 6, 1));
    ASSERT_TRUE(line.has_value());
    EXPECT_EQ(line->operation, TimerLine::Operation::kEnd);
    EXPECT_EQ(line->record, "0x5581");
    EXPECT_EQ(line->durationMs, 5000);
    EXPECT_EQ(line->timerId, 6);
    EXPECT_TRUE(line->wasRunning);
    EXPECT_FALSE(parseTimerLine("initTimerDetails").has_value());
}

TEST(ServiceTrace, AnExpiryNamesItsTimer)
{
    EXPECT_EQ(expiredTimerName("timerEvent(timerId): Dial Plan Time Out Event"), "Dial Plan");
    EXPECT_FALSE(expiredTimerName("timerEvent(timerId = 6)").has_value());
    EXPECT_EQ(expiredTimerId("timerEvent(timerId = 6)"), 6);
    EXPECT_FALSE(expiredTimerId("timerEvent(timerId): Dial Plan Time Out Event").has_value());
}

TEST(ServiceTrace, TheFirstFiveTimersMadeAreNamedInTheServicesOrder)
{
    const ServiceTimers timers = startedTimers();
    EXPECT_EQ(timers.name("0x10"), "Initial Digit");
    EXPECT_EQ(timers.name("0x30"), "Auto Dial");
    EXPECT_EQ(timers.name("0x50"), "Extended Initial Digit");
    EXPECT_EQ(timers.name("0x60"), "a timer") << "a sixth record is none of the five";
}

TEST(ServiceTrace, TheDecisionNamesTheDecidingRowAndTheTimers)
{
    const std::vector<std::string> trace = {
        "valid entry found at index 4",
        "action = DIAL_PLAN_ACTION_START_TIMER",
        timerText("+ DigitAnalysisService::endTimer", "0x10", 30000, 1, 1),
        timerText("+ DigitAnalysisService::endTimer", "0x30", 6000, 3, 0),
        timerText("beginTimer", "0x40", 5000, 6, 0),
    };
    const DigitDecision decision = readDecision(trace, startedTimers());
    EXPECT_EQ(decision.decision, "complete once the dial plan timer expires");
    EXPECT_EQ(decision.row, 5);
    EXPECT_EQ(decision.timersStopped, std::vector<std::string>{"Initial Digit"}) << "a timer that was not running is not stopped";
    EXPECT_EQ(decision.timersArmed, std::vector<std::string>{"Dial Plan 5000 ms"});
}

TEST(ServiceTrace, NeedingMoreDigitsSaysWhichRowMayStillMatch)
{
    const DigitDecision decision =
        readDecision({"valid entry found at index 2", "action = DIAL_PLAN_ACTION_NONE"}, startedTimers());
    EXPECT_EQ(decision.decision, "needs more digits: row 3 may still match");
}

TEST(ServiceTrace, WithoutAnActionNoRowDecides)
{
    EXPECT_EQ(readDecision({"end of entry list reached"}, startedTimers()).decision, "no row decides");
    EXPECT_EQ(readDecision({}, startedTimers()).decision, "no decision");
}
