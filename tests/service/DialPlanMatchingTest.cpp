// Matching dialled digits against the dial plan: matchEntry's outcomes, getAction in
// immediate and on-hook mode, the lock-bypass test and the special-number lists.

#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "CapturingLogSink.h"
#include "DialPlan.h"
#include "DialPlanEntries.h"
#include "ServiceHarness.h"

namespace {

using Entries = std::vector<t_dialPlanEntry>;

// Short names for the shared helpers: the tables below list many entries.
t_dialPlanEntry entry(const std::string& action, const std::string& digits, std::uint32_t minimum,
                      std::uint32_t maximum, std::uint32_t timer, const std::string& terminator = "",
                      bool terminatorSent = false, const std::string& special = "")
{
    return dialPlanEntry(action, digits, minimum, maximum, timer, terminator, terminatorSent, special);
}

class DialPlanMatching : public ::testing::Test {
protected:
    ServiceHarness harness;  // keeps the plan's log file in a temporary directory
    CapturingLogSink log;
    DialPlan plan;

    void use(const Entries& entries, bool onHook = false, bool immediate = false)
    {
        loadDialPlanEntries(plan, entries);
        plan.setEnabled(true);
        plan.setOnhookDialling(onHook);
        plan.setImmediateDiallingEnabled(immediate);
        log.clear();
    }

    int action(std::string& digits, unsigned int& timer) { return plan.getAction(&digits, &timer); }
};

// ---- matchEntry ------------------------------------------------------------------------------

TEST_F(DialPlanMatching, MatchEntryLogsTheEntryPatternAndDigits)
{
    use({entry("S", "11x", 3, 3, 0)});
    std::string digits = "12";
    EXPECT_EQ(plan.matchEntry(&digits, 0), 0u);
    EXPECT_EQ(log.texts(5), (std::vector<std::string>{
                                "DialPlan::matchEntry",
                                "\n**************************\nentryNumber:  0\npattern:      11x\ndialedDigits: 12\n",
                                "no match"}));
}

TEST_F(DialPlanMatching, XInThePatternMatchesAnyCharacterInEitherCase)
{
    use({entry("S", "1xX", 3, 3, 0)});
    std::string digits = "1*#";
    EXPECT_EQ(plan.matchEntry(&digits, 0), 4u);
    EXPECT_TRUE(log.contains("full match", 5));
}

TEST_F(DialPlanMatching, PatternCharactersOtherThanXAreCaseSensitive)
{
    use({entry("S", "a", 1, 1, 0)});
    std::string digits = "A";
    EXPECT_EQ(plan.matchEntry(&digits, 0), 0u);
}

TEST_F(DialPlanMatching, CheckEntryIgnoresDigitsBeyondItsPattern)
{
    use({entry("C", "110", 3, 3, 1)});
    std::string digits = "1101";
    EXPECT_EQ(plan.matchEntry(&digits, 0), 0u);
    EXPECT_TRUE(log.contains("more dialed digits than pattern and action check - ignore entry", 5));
}

TEST_F(DialPlanMatching, FewerDigitsThanPatternIsAPossibleMatch)
{
    use({entry("S", "11x", 3, 3, 0)});
    std::string digits = "11";
    EXPECT_EQ(plan.matchEntry(&digits, 0), 1u);
    EXPECT_TRUE(log.contains("match possible", 5));
}

TEST_F(DialPlanMatching, BelowTheMinimumIsAPartialMatch)
{
    use({entry("S", "5", 3, 10, 2)});
    std::string digits = "55";
    EXPECT_EQ(plan.matchEntry(&digits, 0), 2u);
    EXPECT_TRUE(log.contains("partial match", 5));
}

TEST_F(DialPlanMatching, BetweenMinimumAndMaximumIsAFullMinimalMatch)
{
    use({entry("S", "0", 1, 24, 3)});
    std::string digits = "0123";
    EXPECT_EQ(plan.matchEntry(&digits, 0), 3u);
    EXPECT_TRUE(log.contains("full (minimal) match", 5));
}

TEST_F(DialPlanMatching, AtTheMaximumIsAFullMatch)
{
    use({entry("S", "0", 1, 4, 3)});
    std::string digits = "0123";
    EXPECT_EQ(plan.matchEntry(&digits, 0), 4u);
}

TEST_F(DialPlanMatching, SendEntryPatternIsAPrefixOfLongerNumbers)
{
    use({entry("S", "0", 1, 4, 3)});
    std::string digits = "012345";
    EXPECT_EQ(plan.matchEntry(&digits, 0), 4u);
}

// ---- getAction: edge cases with their logs -----------------------------------------------------

TEST_F(DialPlanMatching, ZeroEntryStartsTimerThreeAndSendsAtTwentyFourDigits)
{
    use({entry("S", "0", 1, 24, 3)});
    std::string digits = "0";
    unsigned int timer = 99;
    EXPECT_EQ(action(digits, timer), DIAL_PLAN_ACTION_START_TIMER);
    EXPECT_EQ(timer, 3u);
    EXPECT_TRUE(log.contains("action = DIAL_PLAN_ACTION_START_TIMER", 5));

    digits = "0" + std::string(23, '5');
    EXPECT_EQ(action(digits, timer), DIAL_PLAN_ACTION_SEND);
    EXPECT_EQ(timer, 0u);
}

TEST_F(DialPlanMatching, ElevenXWaitsThenSends)
{
    use({entry("S", "11x", 3, 3, 0)});
    unsigned int timer = 0;
    std::string one = "1", eleven = "11", full = "115", other = "12";
    EXPECT_EQ(action(one, timer), DIAL_PLAN_ACTION_NONE);
    EXPECT_EQ(action(eleven, timer), DIAL_PLAN_ACTION_NONE);
    EXPECT_EQ(action(other, timer), DIAL_PLAN_ACTION_NONE);
    EXPECT_TRUE(log.contains("no match", 5));
    log.clear();
    EXPECT_EQ(action(full, timer), DIAL_PLAN_ACTION_SEND);
    EXPECT_EQ(log.texts(5).back(), "digits to be sent: 115");
}

TEST_F(DialPlanMatching, CheckEntryStartsItsTimerAndIsSkippedWhenOverdialled)
{
    use({entry("C", "110", 3, 3, 1), entry("S", "1", 1, 24, 4)});
    unsigned int timer = 0;
    std::string digits = "110";
    EXPECT_EQ(action(digits, timer), DIAL_PLAN_ACTION_START_TIMER);
    EXPECT_EQ(timer, 1u);
    EXPECT_EQ(digits, "110");

    log.clear();
    digits = "1101";
    EXPECT_EQ(action(digits, timer), DIAL_PLAN_ACTION_START_TIMER);
    EXPECT_EQ(timer, 4u);
    EXPECT_TRUE(log.contains("more dialed digits than pattern and action check - ignore entry", 5));
    EXPECT_TRUE(log.contains("valid entry found at index 1", 5));
}

TEST_F(DialPlanMatching, TerminatorIsRemovedUnlessItIsSent)
{
    use({entry("S", "x", 1, 24, 5, "#", false)});
    unsigned int timer = 0;
    std::string digits = "123#";
    EXPECT_EQ(action(digits, timer), DIAL_PLAN_ACTION_SEND);
    EXPECT_EQ(digits, "123");
    EXPECT_EQ(log.texts(5), (std::vector<std::string>{
                                "getAction", "valid entry found at index 0", "DialPlan::matchEntry",
                                "\n**************************\nentryNumber:  0\npattern:      x\ndialedDigits: 123#\n",
                                "full (minimal) match", "last digit is terminator, action = DIAL_PLAN_ACTION_SEND",
                                "terminator removed", "digits to be sent: 123"}));

    use({entry("S", "x", 1, 24, 5, "#", true)});
    digits = "123#";
    EXPECT_EQ(action(digits, timer), DIAL_PLAN_ACTION_SEND);
    EXPECT_EQ(digits, "123#");
    EXPECT_FALSE(log.contains("terminator removed"));
}

TEST_F(DialPlanMatching, EarlierEntryThatMayStillMatchHidesLaterCompleteOne)
{
    use({entry("S", "1234", 4, 4, 0), entry("S", "1", 1, 1, 0)});
    unsigned int timer = 0;
    std::string digits = "12";
    EXPECT_EQ(action(digits, timer), DIAL_PLAN_ACTION_NONE);
    EXPECT_TRUE(log.contains("action = DIAL_PLAN_ACTION_NONE", 5));
    EXPECT_FALSE(log.contains("valid entry found at index 1"));
}

TEST_F(DialPlanMatching, OnHookSendsEmergencyAtOnce)
{
    use({entry("S", "112", 3, 3, 0, "", false, "E")}, true, false);
    unsigned int timer = 0;
    std::string digits = "112";
    EXPECT_EQ(action(digits, timer), DIAL_PLAN_ACTION_SEND_EMERGENCY);
    EXPECT_TRUE(log.contains("immediate dialling not activated - check for emergency numbers", 5));
    EXPECT_TRUE(log.contains("action = DIAL_PLAN_ACTION_SEND_EMERGENCY", 5));
    EXPECT_EQ(log.texts(5).back(), "digits to be sent: 112");
}

TEST_F(DialPlanMatching, OnHookSendsOrdinaryNumberOnlyWithTerminator)
{
    use({entry("S", "0", 1, 24, 5, "#", false)}, true, false);
    unsigned int timer = 0;
    std::string digits = "0123";
    EXPECT_EQ(action(digits, timer), DIAL_PLAN_ACTION_UNDEFINED);
    EXPECT_EQ(digits, "0123");
    // The full test and then the full (minimal) test each examine the entry.
    EXPECT_EQ(log.count("DialPlan::matchEntry"), 2);

    log.clear();
    digits = "0123#";
    EXPECT_EQ(action(digits, timer), DIAL_PLAN_ACTION_SEND);
    EXPECT_EQ(digits, "0123");
    EXPECT_TRUE(log.contains("last digit is terminator, action = DIAL_PLAN_ACTION_SEND", 5));
    EXPECT_TRUE(log.contains("terminator removed", 5));
}

TEST_F(DialPlanMatching, DisabledPlanGivesUndefinedAndTimerZero)
{
    use({entry("S", "0", 1, 24, 3)});
    plan.setEnabled(false);
    log.clear();
    unsigned int timer = 77;
    std::string digits = "0";
    EXPECT_EQ(action(digits, timer), DIAL_PLAN_ACTION_UNDEFINED);
    EXPECT_EQ(timer, 0u);
    EXPECT_EQ(log.texts(5), (std::vector<std::string>{"getAction", "no dial plan active"}));
}

TEST_F(DialPlanMatching, GetActionKeepsACopyOfTheDigits)
{
    use({entry("S", "x", 1, 24, 5, "#", false)});
    std::string digits = "55#";
    plan.getAction(&digits, nullptr);
    EXPECT_EQ(plan.getDialledDigits(), "55#");
    EXPECT_EQ(digits, "55");
}

TEST_F(DialPlanMatching, TimerOutputMayBeAbsent)
{
    use({entry("S", "0", 1, 24, 3)});
    std::string digits = "0";
    EXPECT_EQ(plan.getAction(&digits, nullptr), DIAL_PLAN_ACTION_START_TIMER);
}

TEST_F(DialPlanMatching, EmptyDigitStringEndsTheScan)
{
    use({entry("S", "", 1, 1, 0), entry("S", "1", 1, 1, 0)});
    unsigned int timer = 0;
    std::string digits = "1";
    EXPECT_EQ(action(digits, timer), DIAL_PLAN_ACTION_NONE);
    EXPECT_TRUE(log.contains("end of entry list reached", 5));
    EXPECT_FALSE(log.contains("DialPlan::matchEntry"));
}

TEST_F(DialPlanMatching, OtherActionAtMinimumWithTerminatorSendsDigitsUnchanged)
{
    use({entry("Q", "12#", 3, 9, 2, "#")});
    unsigned int timer = 0;
    std::string digits = "12#";
    EXPECT_EQ(action(digits, timer), DIAL_PLAN_ACTION_SEND);
    EXPECT_EQ(digits, "12#");
    EXPECT_TRUE(log.contains("last digit is terminator, action = DIAL_PLAN_ACTION_SEND", 5));
    EXPECT_FALSE(log.contains("digits to be sent: 12#"));
}

// ---- getAction: the table ----------------------------------------------------------------------

struct ActionCase {
    const char* name;
    const Entries* plan;
    bool enabled;
    const char* digits;
    bool onHook;
    bool immediate;
    int action;
    const char* digitsAfter;
    unsigned int timer;
};

const Entries kNoEntries{};
const Entries kZero{entry("S", "0", 1, 24, 3)};
const Entries kElevenX{entry("S", "11x", 3, 3, 0)};
const Entries kCheck110{entry("C", "110", 3, 3, 1), entry("S", "1", 1, 24, 4)};
const Entries kAnyHash{entry("S", "x", 1, 24, 5, "#", false)};
const Entries kAnyHashSent{entry("S", "x", 1, 24, 5, "#", true)};
const Entries kLongFirst{entry("S", "1234", 4, 4, 0), entry("S", "1", 1, 1, 0)};
const Entries kPartial{entry("S", "5", 3, 10, 2)};
const Entries kEmptyFirst{entry("S", "", 1, 1, 0), entry("S", "1", 1, 1, 0)};
const Entries kSpecial{entry("S", "112", 3, 3, 0, "", false, "E"), entry("S", "0", 1, 24, 5, "#", false)};
const Entries kSendSpecial{entry("S", "112", 3, 3, 0, "", false, "E"), entry("S", "1190", 4, 4, 0, "", false, "b"),
                           entry("S", "12#", 3, 3, 0, "#", false, "E"), entry("S", "13*", 3, 3, 0, "*", true, "b"),
                           entry("S", "9#", 2, 2, 0, "#", false), entry("S", "98", 2, 2, 0, "#", false)};
const Entries kCheckSpecial{entry("C", "999", 3, 3, 2, "", false, "E"), entry("C", "888", 3, 3, 3, "", false, "b"),
                            entry("C", "777", 3, 3, 4)};
const Entries kTimerSpecial{entry("S", "20", 2, 8, 4, "", false, "E"), entry("S", "30", 2, 8, 5, "", false, "b"),
                            entry("S", "40", 2, 8, 6, "#", false, "E"), entry("S", "50", 2, 8, 7, "#", false, "b"),
                            entry("S", "60", 2, 8, 8, "#", true, "b")};
// The first complete entry decides on-hook, even when it does not qualify for sending.
const Entries kOnHookHiding{entry("S", "5", 2, 2, 0), entry("S", "5x", 2, 2, 0, "", false, "E")};
// As storage may deliver them: not validated, other actions, check entries with a range.
const Entries kStored{entry("C", "33#", 3, 5, 6, "#"),       entry("C", "44#", 3, 5, 7, "#", false, "E"),
                      entry("C", "55#", 3, 5, 8, "#", false, "b"), entry("Q", "66#", 3, 9, 2, "#"),
                      entry("Q", "67", 2, 9, 3),             entry("Q", "68", 2, 2, 0),
                      entry("C", "71", 2, 5, 9, "", false, "E")};

// Each case was worked out by hand from the rules; the comment names the rule it exercises.
const ActionCase kActionCases[] = {
    // Plan not enabled: undefined in both modes.
    {"DisabledImmediate", &kZero, false, "0", false, false, 0, "0", 0},
    {"DisabledOnHook", &kSpecial, false, "112", true, false, 0, "112", 0},
    // Immediate mode, no entries.
    {"ImmediateNoEntries", &kNoEntries, true, "1", false, false, 1, "1", 0},
    // Immediate mode scan: end of list, no match anywhere, possible and partial matches.
    {"ImmediateEmptyDigitStringEndsScan", &kEmptyFirst, true, "1", false, false, 1, "1", 0},
    {"ImmediateNoEntryMatches", &kElevenX, true, "2", false, false, 1, "2", 0},
    {"ImmediateMatchPossible", &kElevenX, true, "11", false, false, 1, "11", 0},
    {"ImmediatePartialMatch", &kPartial, true, "55", false, false, 1, "55", 0},
    {"ImmediateEarlierPossibleHidesLater", &kLongFirst, true, "12", false, false, 1, "12", 0},
    {"ImmediateOverdialledCheckSkipped", &kCheck110, true, "1101", false, false, 2, "1101", 4},
    // Full match of a send entry.
    {"FullSend", &kElevenX, true, "115", false, false, 5, "115", 0},
    {"FullSendAtTwentyFour", &kZero, true, "012345678901234567890123", false, false, 5, "012345678901234567890123", 0},
    {"FullSendEmergency", &kSendSpecial, true, "112", false, false, 6, "112", 0},
    {"FullSendLockBypass", &kSendSpecial, true, "1190", false, false, 7, "1190", 0},
    {"FullSendEmergencyTerminatorRemoved", &kSendSpecial, true, "12#", false, false, 6, "12", 0},
    {"FullSendLockBypassTerminatorSent", &kSendSpecial, true, "13*", false, false, 7, "13*", 0},
    {"FullSendOrdinaryTerminatorRemoved", &kSendSpecial, true, "9#", false, false, 5, "9", 0},
    {"FullSendWithoutTerminator", &kSendSpecial, true, "98", false, false, 5, "98", 0},
    // Full match of a check entry: a timer action with the entry's timer.
    {"FullCheck", &kCheck110, true, "110", false, false, 2, "110", 1},
    {"FullCheckEmergency", &kCheckSpecial, true, "999", false, false, 3, "999", 2},
    {"FullCheckLockBypass", &kCheckSpecial, true, "888", false, false, 4, "888", 3},
    {"FullCheckOrdinary", &kCheckSpecial, true, "777", false, false, 2, "777", 4},
    // Full match of another action: send.
    {"FullOtherAction", &kStored, true, "68", false, false, 5, "68", 0},
    // Full (minimal) match with the terminator last.
    {"MinimalTerminatorSend", &kAnyHash, true, "123#", false, false, 5, "123", 0},
    {"MinimalTerminatorSendKept", &kAnyHashSent, true, "123#", false, false, 5, "123#", 0},
    {"MinimalTerminatorSendEmergency", &kTimerSpecial, true, "401#", false, false, 6, "401", 0},
    {"MinimalTerminatorSendLockBypass", &kTimerSpecial, true, "50#", false, false, 7, "50", 0},
    {"MinimalTerminatorSendLockBypassKept", &kTimerSpecial, true, "6012#", false, false, 7, "6012#", 0},
    {"MinimalTerminatorCheck", &kStored, true, "33#", false, false, 2, "33#", 6},
    {"MinimalTerminatorCheckEmergency", &kStored, true, "44#", false, false, 3, "44#", 7},
    {"MinimalTerminatorCheckLockBypass", &kStored, true, "55#", false, false, 4, "55#", 8},
    {"MinimalTerminatorOtherAction", &kStored, true, "66#", false, false, 5, "66#", 0},
    // Full (minimal) match without the terminator: a timer action whatever the action.
    {"MinimalTimer", &kZero, true, "0", false, false, 2, "0", 3},
    {"MinimalTimerEmergency", &kTimerSpecial, true, "201", false, false, 3, "201", 4},
    {"MinimalTimerLockBypass", &kTimerSpecial, true, "30", false, false, 4, "30", 5},
    {"MinimalTimerTerminatorNotLast", &kAnyHash, true, "12#3", false, false, 2, "12#3", 5},
    {"MinimalTimerOtherAction", &kStored, true, "67", false, false, 2, "67", 3},
    {"MinimalTimerCheckEmergency", &kStored, true, "71", false, false, 3, "71", 9},
    // Immediate mode also rules on-hook dialling when immediate dialling is enabled.
    {"OnHookWithImmediateDialling", &kSpecial, true, "0123", true, true, 2, "0123", 5},
    {"OffHookWithImmediateDialling", &kSpecial, true, "0123#", false, true, 5, "0123", 0},
    // On-hook mode without immediate dialling.
    {"OnHookNoEntries", &kNoEntries, true, "1", true, false, 0, "1", 0},
    {"OnHookEmptyDigitStringEndsScan", &kEmptyFirst, true, "1", true, false, 0, "1", 0},
    {"OnHookNoEntryMatches", &kElevenX, true, "2", true, false, 0, "2", 0},
    {"OnHookPossibleMatchGoesOnToNextEntry", &kLongFirst, true, "1", true, false, 0, "1", 0},
    {"OnHookFullEmergency", &kSpecial, true, "112", true, false, 6, "112", 0},
    {"OnHookFullLockBypass", &kSendSpecial, true, "1190", true, false, 7, "1190", 0},
    {"OnHookFullEmergencyTerminatorRemoved", &kSendSpecial, true, "12#", true, false, 6, "12", 0},
    {"OnHookFullLockBypassTerminatorSent", &kSendSpecial, true, "13*", true, false, 7, "13*", 0},
    {"OnHookFullOrdinaryWithTerminator", &kSendSpecial, true, "9#", true, false, 5, "9", 0},
    {"OnHookFullOrdinaryWithoutTerminator", &kSendSpecial, true, "98", true, false, 0, "98", 0},
    {"OnHookFullCheckNotSent", &kCheck110, true, "110", true, false, 0, "110", 0},
    {"OnHookFullOtherActionNotSent", &kStored, true, "68", true, false, 0, "68", 0},
    {"OnHookMinimalWithoutTerminator", &kSpecial, true, "0123", true, false, 0, "0123", 0},
    {"OnHookMinimalEmergencyWithoutTerminator", &kTimerSpecial, true, "20", true, false, 0, "20", 0},
    {"OnHookMinimalTerminatorSend", &kSpecial, true, "0123#", true, false, 5, "0123", 0},
    {"OnHookMinimalTerminatorSendKept", &kAnyHashSent, true, "123#", true, false, 5, "123#", 0},
    {"OnHookMinimalTerminatorEmergency", &kTimerSpecial, true, "401#", true, false, 6, "401", 0},
    {"OnHookMinimalTerminatorLockBypass", &kTimerSpecial, true, "50#", true, false, 7, "50", 0},
    {"OnHookMinimalTerminatorCheckNotSent", &kStored, true, "33#", true, false, 0, "33#", 0},
    {"OnHookFirstDecidingEntryHidesLater", &kOnHookHiding, true, "55", true, false, 0, "55", 0},
    {"ImmediateFirstCompleteEntryDecides", &kOnHookHiding, true, "55", false, false, 5, "55", 0},
};

class DialPlanActionTable : public ::testing::TestWithParam<ActionCase> {
protected:
    ServiceHarness harness;  // keeps the plan's log file in a temporary directory
};

TEST_P(DialPlanActionTable, GivesTheActionDigitsAndTimer)
{
    const ActionCase& testCase = GetParam();
    DialPlan plan;
    loadDialPlanEntries(plan, *testCase.plan);
    plan.setEnabled(testCase.enabled);
    plan.setOnhookDialling(testCase.onHook);
    plan.setImmediateDiallingEnabled(testCase.immediate);

    std::string digits = testCase.digits;
    unsigned int timer = 12345;
    EXPECT_EQ(plan.getAction(&digits, &timer), testCase.action);
    EXPECT_EQ(digits, testCase.digitsAfter);
    EXPECT_EQ(timer, testCase.timer);
}

INSTANTIATE_TEST_SUITE_P(ByHand, DialPlanActionTable, ::testing::ValuesIn(kActionCases),
                         [](const ::testing::TestParamInfo<ActionCase>& info) { return std::string(info.param.name); });

TEST(DialPlanActionTableSize, CoversAtLeastFortyCases)
{
    EXPECT_GE(sizeof kActionCases / sizeof kActionCases[0], 40u);
}

// ---- Special numbers ----------------------------------------------------------------------------

TEST_F(DialPlanMatching, LockBypassNumberIsPaddedToItsMaximumLength)
{
    use({entry("S", "0", 1, 5, 3, "", false, "b")});
    plan.extractSpecialNumbers();
    EXPECT_EQ(plan.getLockBypassNumbers(), "0xxxx");
    EXPECT_TRUE(log.contains("extractSpecialNumbers", 5));
    EXPECT_TRUE(log.contains("lock bypass number - list of lock bypass numbers is now: 0xxxx", 5));
}

TEST_F(DialPlanMatching, EmergencyNumbersAreJoinedByCommasInEntryOrder)
{
    use({entry("S", "112", 3, 3, 0, "", false, "E"), entry("S", "0", 1, 5, 3), entry("S", "110", 3, 3, 0, "", false, "E")});
    plan.extractSpecialNumbers();
    EXPECT_EQ(plan.getEmergencyNumbers(), "112,110");
    EXPECT_EQ(plan.getLockBypassNumbers(), "");
    EXPECT_TRUE(log.contains("emergency number - list of emergency numbers is now: 112", 5));
    EXPECT_TRUE(log.contains("emergency number - list of emergency numbers is now: 112,110", 5));
}

TEST_F(DialPlanMatching, ExtractingAgainAppendsToTheLists)
{
    use({entry("S", "112", 3, 3, 0, "", false, "E"), entry("S", "12", 2, 3, 0, "", false, "b")});
    plan.extractSpecialNumbers();
    plan.extractSpecialNumbers();
    EXPECT_EQ(plan.getEmergencyNumbers(), "112,112");
    EXPECT_EQ(plan.getLockBypassNumbers(), "12x,12x");
}

TEST_F(DialPlanMatching, LockBypassNumberLongerThanItsMaximumIsNotCut)
{
    use({entry("S", "12345", 1, 3, 0, "", false, "b")});
    plan.extractSpecialNumbers();
    EXPECT_EQ(plan.getLockBypassNumbers(), "12345");
}

TEST_F(DialPlanMatching, HugeStoredMaximumDoesNotExhaustMemory)
{
    use({entry("S", "0", 1, 4000000000u, 0, "", false, "b")});
    plan.extractSpecialNumbers();
    EXPECT_EQ(plan.getLockBypassNumbers().size(), 65535u);
}

TEST_F(DialPlanMatching, IsLockBypassNeedsACompleteLockBypassEntry)
{
    use({entry("S", "", 1, 1, 0), entry("S", "0", 3, 5, 2, "", false, "b"), entry("S", "1", 1, 3, 2)});
    plan.setEnabled(false);  // the switch is not consulted
    log.clear();
    std::string partial = "01", minimal = "012", full = "01234", ordinary = "123";
    EXPECT_FALSE(plan.isLockBypass(partial));
    EXPECT_TRUE(plan.isLockBypass(minimal));
    EXPECT_TRUE(plan.isLockBypass(full));
    EXPECT_FALSE(plan.isLockBypass(ordinary));
    EXPECT_TRUE(log.contains("isLockedBypass", 5));
}

TEST_F(DialPlanMatching, IsLockBypassLooksPastAnEmptyDigitString)
{
    use({entry("S", "", 0, 0, 0), entry("S", "7", 1, 1, 0, "", false, "b")});
    std::string digits = "7";
    // The empty entry matches anything fully but is no lock-bypass entry; the scan goes on.
    EXPECT_TRUE(plan.isLockBypass(digits));
    EXPECT_EQ(log.count("DialPlan::matchEntry"), 2);
}

// ---- Bad input ---------------------------------------------------------------------------------

TEST_F(DialPlanMatching, NullDigitsAreTakenAsNoDigits)
{
    use({entry("S", "0", 1, 24, 3)});
    unsigned int timer = 5;
    EXPECT_EQ(plan.getAction(nullptr, &timer), DIAL_PLAN_ACTION_NONE);
    EXPECT_EQ(timer, 0u);
    EXPECT_EQ(plan.matchEntry(nullptr, 0), 1u);
}

TEST_F(DialPlanMatching, EntryIndexBeyondTheTableIsNoMatch)
{
    use({entry("S", "0", 1, 24, 3)});
    std::string digits = "0";
    EXPECT_EQ(plan.matchEntry(&digits, 50), 0u);
    EXPECT_EQ(plan.matchEntry(&digits, 4000000000u), 0u);
}

TEST_F(DialPlanMatching, EntryCountOutsideTheTableIsKeptWithinIt)
{
    use({entry("S", "0", 1, 24, 3)});
    plan.setNumberOfEntries(1000);
    std::string digits = "9";
    unsigned int timer = 0;
    EXPECT_EQ(action(digits, timer), DIAL_PLAN_ACTION_NONE);
    plan.setNumberOfEntries(-3);
    EXPECT_EQ(action(digits, timer), DIAL_PLAN_ACTION_NONE);
    EXPECT_FALSE(plan.isLockBypass(digits));
}

TEST_F(DialPlanMatching, BytesAboveSevenBitAndNulAreComparedLiterally)
{
    const std::string pattern("\xE9\0x", 3);
    use({entry("S", pattern, 3, 3, 0)});
    std::string same("\xE9\0z", 3), different("\xE9\1z", 3);
    unsigned int timer = 0;
    EXPECT_EQ(action(same, timer), DIAL_PLAN_ACTION_SEND);
    EXPECT_EQ(action(different, timer), DIAL_PLAN_ACTION_NONE);
}

TEST_F(DialPlanMatching, MultiCharacterTerminatorNeverMatches)
{
    use({entry("S", "x", 1, 24, 5, "##", false)});
    std::string digits = "12##";
    unsigned int timer = 0;
    EXPECT_EQ(action(digits, timer), DIAL_PLAN_ACTION_START_TIMER);
    EXPECT_EQ(digits, "12##");
}

}  // namespace
