// The dialling session: from the start of dialling through each change of the digits to
// the number being sent, with the dial plan, emergency numbers and the phone lock deciding.
// Whole sessions assert the exact sequence of dialler calls, tone requests and timer
// operations.

#include <cstdio>
#include <string>
#include <utility>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "CallPartyIdentifier.h"
#include "DialPlan.h"
#include "DigitAnalysisServiceTestAccess.h"
#include "ManageableData.h"
#include "ScopedHardwareVariant.h"
#include "ServiceHarness.h"

using ::testing::ElementsAre;
using ::testing::IsEmpty;

namespace {

const std::string kPlayDialTone = "play <tone><type><basic>dialtone</basic></type></tone> -1 -1 -1";
const std::string kStopDialTone = "stop <tone><type><basic>dialtone</basic></type></tone>";

// One dial plan row as configured; empty fields are left out of the configuration.
struct PlanEntry {
    PlanEntry(std::string digits, std::string entryAction, std::string seconds, std::string minimum = "",
              std::string maximum = "", std::string terminatingChar = "", std::string indication = "",
              std::string sent = "")
        : digitString(std::move(digits)), action(std::move(entryAction)), timer(std::move(seconds)),
          minDigits(std::move(minimum)), maxDigits(std::move(maximum)), terminator(std::move(terminatingChar)),
          special(std::move(indication)), terminatorSent(std::move(sent))
    {
    }
    std::string digitString;
    std::string action;
    std::string timer;
    std::string minDigits;
    std::string maxDigits;
    std::string terminator;
    std::string special;
    std::string terminatorSent;
};

// What dialString answered and what it left in its digits argument.
struct DialResult {
    int match;
    std::string digits;
};

std::string operation(const char* what, int timerId) { return std::string(what) + " " + std::to_string(timerId); }

class DiallingSession : public ::testing::Test {
protected:
    CapturingLogSink log;
    ServiceHarness harness;
    DigitAnalysisService* service = nullptr;
    // Ids of the timers as created at init.
    int initialDigit = -1, autoDial = -1, partyDetails = -1, extendedInitialDigit = -1, dialPlan = -1;

    void startService(const std::string& softwareType = "Valtrek SIP")
    {
        harness.store.setItem("software-type", softwareType);
        service = &harness.start();
        service->setDialler(&harness.dialler);
        initialDigit = DigitAnalysisServiceTestAccess::initialDigitTimer(*service).timerID;
        autoDial = DigitAnalysisServiceTestAccess::autoDialTimer(*service).timerID;
        partyDetails = DigitAnalysisServiceTestAccess::partyDetailsTimer(*service).timerID;
        extendedInitialDigit = DigitAnalysisServiceTestAccess::extendedInitialDigitTimer(*service).timerID;
        dialPlan = DigitAnalysisServiceTestAccess::dialPlanTimer(*service).timerID;
        clearRecords();
    }

    void clearRecords()
    {
        harness.context.clearTimerOperations();
        harness.dialler.clear();
        harness.provider.clear();
        harness.media.clearCalls();
        log.clear();
    }

    void configurePlan(const std::vector<PlanEntry>& entries, bool enabled = true)
    {
        ManageableData data;
        data.populate("dial-plan-enabled", "dial-plan-enabled", enabled ? "true" : "false");
        data.populate("dial-plan-id", "dial-plan-id", "session-plan");
        for (std::size_t row = 0; row < entries.size(); ++row) {
            const PlanEntry& entry = entries[row];
            const std::string prefix = "dialPlanEntry[" + std::to_string(row + 1) + "]/";
            const auto item = [&](const char* name, const std::string& value) {
                if (!value.empty()) data.populate("dialPlanSettings", prefix + name, value);
            };
            item("digit-string", entry.digitString);
            item("action", entry.action);
            item("timer", entry.timer);
            item("min-digit-len", entry.minDigits);
            item("max-digit-len", entry.maxDigits);
            item("terminating-char", entry.terminator);
            item("spec-num-indic", entry.special);
            item("terminating-char-sent", entry.terminatorSent);
        }
        ASSERT_TRUE(DigitAnalysisServiceTestAccess::getDialPlan(*service)->setData(data));
        ASSERT_EQ(DigitAnalysisServiceTestAccess::getDialPlan(*service)->getEnabled(), enabled);
        clearRecords();
    }

    DialResult dial(const std::string& digits, bool complete = false)
    {
        std::string text = digits;
        const int match = service->dialString(&text, complete, &harness.dialler);
        return {match, text};
    }

    void lockPhone()
    {
        harness.store.setItem("phone-lock-active", "true");
        service->extractPhoneLockActiveData();
    }

    std::string latestDigits()
    {
        std::string latest;
        service->getLatestDialledDigits(&latest);
        return latest;
    }

    std::vector<std::string> timerOperations() const { return harness.context.timerOperations(); }
    std::vector<std::string> diallerCalls() const { return harness.dialler.calls(); }
    std::vector<std::string> toneRequests() const { return harness.media.calls(); }
};

MATCHER_P2(IsDialResult, match, digits, "")
{
    *result_listener << "match " << arg.match << ", digits \"" << arg.digits << "\"";
    return arg.match == match && arg.digits == digits;
}

// ----- Whole sessions ---------------------------------------------------------------------

TEST_F(DiallingSession, OffHookWithoutAnyDigitEndsAtTheInitialDigitExpiry)
{
    startService();
    service->startDialling("line1", &harness.dialler, false);
    harness.context.advance(29999);
    EXPECT_THAT(diallerCalls(), ElementsAre("handleDialingStarted line1"));
    harness.context.advance(1);
    service->stopDialling(&harness.dialler);

    EXPECT_THAT(diallerCalls(),
                ElementsAre("handleDialingStarted line1", "handleInitialDigitTimeout ", "handleDialingStopped"));
    EXPECT_THAT(toneRequests(), ElementsAre(kPlayDialTone, kStopDialTone));
    EXPECT_THAT(timerOperations(), ElementsAre(operation("reset", initialDigit), operation("start", initialDigit),
                                               operation("expire", initialDigit), operation("stop", initialDigit)));
    EXPECT_TRUE(log.contains("startDialling(pEventObserver)", 5));
    EXPECT_TRUE(log.contains("startDialling line1", 5));
    EXPECT_TRUE(log.contains("startDialling - Call context provider not exist, continue with no Dial party details", 5));
    EXPECT_TRUE(log.contains("stopDialling(): clear latestDigits", 5));
}

TEST_F(DiallingSession, DigitsOneByOneUntilTheDialPlanSaysSend)
{
    startService();
    configurePlan({{"11x", "S", "0"}});
    service->startDialling("line1", &harness.dialler, false);

    EXPECT_THAT(dial("1"), IsDialResult(eMatchNone, ""));
    EXPECT_EQ(latestDigits(), "1");
    EXPECT_THAT(dial("11"), IsDialResult(eMatchNone, ""));
    EXPECT_THAT(dial("115"), IsDialResult(eMatchFull, "115"));
    EXPECT_EQ(latestDigits(), "");

    EXPECT_THAT(diallerCalls(), ElementsAre("handleDialingStarted line1"));
    EXPECT_THAT(toneRequests(), ElementsAre(kPlayDialTone, kStopDialTone));
    EXPECT_THAT(timerOperations(),
                ElementsAre(operation("reset", initialDigit), operation("start", initialDigit),
                            operation("stop", initialDigit), operation("reset", autoDial), operation("start", autoDial),
                            operation("reset", autoDial), operation("stop", autoDial)));
    EXPECT_EQ(log.count("return value = eMatchNone"), 2);
    EXPECT_EQ(log.count("return value = eMatchFull"), 1);
    EXPECT_TRUE(log.contains("dialString (digits = 115,complete = false,pEventObserver )", 5));
}

TEST_F(DiallingSession, DigitsToADialPlanWaitThatExpires)
{
    startService();
    configurePlan({{"0", "S", "3"}});
    service->startDialling("line1", &harness.dialler, false);

    EXPECT_THAT(dial("0"), IsDialResult(eMatchNone, ""));
    const int threeSeconds = DigitAnalysisServiceTestAccess::dialPlanTimer(*service).timerID;
    EXPECT_THAT(dial("08"), IsDialResult(eMatchNone, ""));
    harness.context.advance(3000);

    EXPECT_THAT(diallerCalls(), ElementsAre("handleDialingStarted line1", "handleInterDigitTimeout 08"));
    EXPECT_THAT(toneRequests(), ElementsAre(kPlayDialTone, kStopDialTone));
    EXPECT_THAT(timerOperations(),
                ElementsAre(operation("reset", initialDigit), operation("start", initialDigit),
                            operation("stop", initialDigit), operation("create", threeSeconds) + " 3000",
                            operation("delete", dialPlan), operation("reset", threeSeconds),
                            operation("start", threeSeconds), operation("reset", threeSeconds),
                            operation("expire", threeSeconds), operation("stop", threeSeconds)));
}

TEST_F(DiallingSession, DigitsWithoutDialPlanDecisionEndAtTheInterDigitExpiry)
{
    startService();
    service->startDialling("line1", &harness.dialler, false);

    EXPECT_THAT(dial("1"), IsDialResult(eMatchNone, ""));
    EXPECT_THAT(dial("12"), IsDialResult(eMatchNone, ""));
    EXPECT_THAT(dial("123"), IsDialResult(eMatchNone, ""));
    harness.context.advance(6000);

    EXPECT_THAT(diallerCalls(), ElementsAre("handleDialingStarted line1", "handleInterDigitTimeout 123"));
    EXPECT_THAT(toneRequests(), ElementsAre(kPlayDialTone, kStopDialTone));
    EXPECT_THAT(timerOperations(),
                ElementsAre(operation("reset", initialDigit), operation("start", initialDigit),
                            operation("stop", initialDigit), operation("reset", autoDial), operation("start", autoDial),
                            operation("reset", autoDial), operation("reset", autoDial), operation("expire", autoDial),
                            operation("stop", autoDial)));
}

TEST_F(DiallingSession, EnabledPlanWithoutMatchingEntryLeavesItToTheInterDigitTimer)
{
    startService();
    configurePlan({{"9", "S", "0"}});
    service->startDialling("line1", &harness.dialler, false);
    EXPECT_THAT(dial("12"), IsDialResult(eMatchNone, ""));
    EXPECT_TRUE(DigitAnalysisServiceTestAccess::autoDialTimer(*service).timerRunning);
    EXPECT_FALSE(DigitAnalysisServiceTestAccess::dialPlanTimer(*service).timerRunning);
}

TEST_F(DiallingSession, HashTerminatorSendsTheNumberWithoutIt)
{
    startService();
    configurePlan({{"x", "S", "5", "", "", "#", "", "false"}});
    service->startDialling("line1", &harness.dialler, false);

    EXPECT_THAT(dial("1"), IsDialResult(eMatchNone, ""));
    const int fiveSeconds = DigitAnalysisServiceTestAccess::dialPlanTimer(*service).timerID;
    EXPECT_THAT(dial("12"), IsDialResult(eMatchNone, ""));
    EXPECT_THAT(dial("12#"), IsDialResult(eMatchFull, "12"));

    EXPECT_THAT(diallerCalls(), ElementsAre("handleDialingStarted line1"));
    EXPECT_THAT(toneRequests(), ElementsAre(kPlayDialTone, kStopDialTone));
    EXPECT_THAT(timerOperations(),
                ElementsAre(operation("reset", initialDigit), operation("start", initialDigit),
                            operation("stop", initialDigit), operation("create", fiveSeconds) + " 5000",
                            operation("delete", dialPlan), operation("reset", fiveSeconds),
                            operation("start", fiveSeconds), operation("reset", fiveSeconds),
                            operation("stop", fiveSeconds)));
}

TEST_F(DiallingSession, HashTerminatorThatIsToBeSentStaysInTheNumber)
{
    startService();
    configurePlan({{"x", "S", "5", "", "", "#", "", "true"}});
    service->startDialling("line1", &harness.dialler, false);
    EXPECT_THAT(dial("12#"), IsDialResult(eMatchFull, "12#"));
}

TEST_F(DiallingSession, SuspendAndResumeSwapTheInitialDigitWaits)
{
    startService();
    service->startDialling("line1", &harness.dialler, false);
    service->suspendDialling();
    harness.context.advance(100000);
    service->resumeDialling();
    harness.context.advance(30000);

    EXPECT_THAT(diallerCalls(), ElementsAre("handleDialingStarted line1", "handleInitialDigitTimeout "));
    EXPECT_THAT(toneRequests(), ElementsAre(kPlayDialTone));
    EXPECT_THAT(timerOperations(),
                ElementsAre(operation("reset", initialDigit), operation("start", initialDigit),
                            operation("stop", initialDigit), operation("reset", extendedInitialDigit),
                            operation("start", extendedInitialDigit), operation("stop", extendedInitialDigit),
                            operation("reset", initialDigit), operation("start", initialDigit),
                            operation("expire", initialDigit), operation("stop", initialDigit)));
}

TEST_F(DiallingSession, SuspendAndResumeDoNothingWhileNoInitialDigitWaitRuns)
{
    startService();
    service->startDialling("line1", &harness.dialler, false);
    dial("1");
    harness.context.clearTimerOperations();
    service->suspendDialling();
    service->resumeDialling();
    EXPECT_THAT(timerOperations(), IsEmpty());
}

TEST_F(DiallingSession, ADigitEndsTheExtendedInitialDigitWait)
{
    startService();
    service->startDialling("line1", &harness.dialler, false);
    service->suspendDialling();
    harness.context.clearTimerOperations();
    dial("1");
    EXPECT_THAT(timerOperations(), ElementsAre(operation("stop", extendedInitialDigit), operation("reset", autoDial),
                                               operation("start", autoDial)));
}

TEST_F(DiallingSession, BlindTransferDialsWithoutDialTone)
{
    startService();
    service->startBlindTransferDialling();
    EXPECT_THAT(dial(""), IsDialResult(eMatchNone, ""));
    EXPECT_THAT(dial("2"), IsDialResult(eMatchNone, ""));
    EXPECT_THAT(dial("200", true), IsDialResult(eMatchFull, "200"));

    EXPECT_THAT(diallerCalls(), ElementsAre("handleDialingStarted "));
    EXPECT_THAT(toneRequests(), IsEmpty());
    EXPECT_THAT(timerOperations(),
                ElementsAre(operation("reset", initialDigit), operation("start", initialDigit),
                            operation("reset", initialDigit), operation("stop", initialDigit),
                            operation("reset", autoDial), operation("start", autoDial), operation("stop", autoDial)));
    EXPECT_TRUE(log.contains("startBlindTransferDialling()", 5));
    EXPECT_TRUE(log.contains("startOnHookDialling()", 5));

    // The number was sent: the next session is an ordinary one again.
    dial("");
    EXPECT_THAT(toneRequests(), ElementsAre(kPlayDialTone));
}

TEST_F(DiallingSession, EmptyDigitsInABlindTransferPlayNoToneButRestartTheInitialDigitTimer)
{
    startService();
    service->startBlindTransferDialling();
    harness.context.advance(20000);
    harness.context.clearTimerOperations();
    dial("");
    EXPECT_THAT(toneRequests(), IsEmpty());
    EXPECT_THAT(timerOperations(), ElementsAre(operation("reset", initialDigit)));
    harness.context.advance(29999);
    EXPECT_THAT(diallerCalls(), ElementsAre("handleDialingStarted "));
    harness.context.advance(1);
    EXPECT_THAT(diallerCalls(), ElementsAre("handleDialingStarted ", "handleInitialDigitTimeout "));
}

TEST_F(DiallingSession, StopDiallingEndsABlindTransfer)
{
    startService();
    service->startBlindTransferDialling();
    service->stopDialling(&harness.dialler);
    dial("");
    EXPECT_THAT(toneRequests(), ElementsAre(kPlayDialTone));
}

TEST_F(DiallingSession, OnHookDiallingSendsOrdinaryNumbersOnlyWithTheTerminator)
{
    startService();
    configurePlan({{"0", "S", "5", "", "", "#", "", "false"}});
    service->startOnHookDialling(&harness.dialler);

    EXPECT_THAT(dial("0"), IsDialResult(eMatchNone, ""));
    EXPECT_THAT(dial("0123"), IsDialResult(eMatchNone, ""));
    EXPECT_THAT(dial("0123#"), IsDialResult(eMatchFull, "0123"));

    EXPECT_THAT(diallerCalls(), ElementsAre("handleDialingStarted "));
    EXPECT_THAT(toneRequests(), IsEmpty());
    EXPECT_THAT(timerOperations(),
                ElementsAre(operation("reset", initialDigit), operation("start", initialDigit),
                            operation("stop", initialDigit), operation("reset", autoDial), operation("start", autoDial),
                            operation("reset", autoDial), operation("stop", autoDial)));
    EXPECT_TRUE(log.contains("startOnHookDialling()", 5));
    EXPECT_TRUE(log.contains("DialPlan::setOnhookDialling - true", 5));
}

TEST_F(DiallingSession, OffHookDiallingAfterOnHookDiallingIsNotOnHookAnyMore)
{
    startService();
    configurePlan({{"0", "S", "5", "", "", "#", "", "false"}});
    service->startOnHookDialling(&harness.dialler);
    service->stopDialling(&harness.dialler);
    service->startDialling("line1", &harness.dialler, false);
    EXPECT_FALSE(DigitAnalysisServiceTestAccess::getDialPlan(*service)->getOnhookDialling());
    EXPECT_THAT(dial("0"), IsDialResult(eMatchNone, ""));
    EXPECT_TRUE(DigitAnalysisServiceTestAccess::dialPlanTimer(*service).timerRunning) << "off-hook, the entry's wait applies";
}

TEST_F(DiallingSession, CallContextProviderThatAnswersGivesThePartyToTheDialler)
{
    startService();
    service->setCallContextProvider(&harness.provider);
    service->startDialling("line1", &harness.dialler, false);
    EXPECT_THAT(harness.provider.calls(), ElementsAre("getDialPartyDetails"));
    EXPECT_THAT(diallerCalls(), IsEmpty());

    CallPartyIdentifier party("Bob", "200", "sip:200@pbx");
    service->dialPartyDetailsResponse(party, true, false);
    harness.context.advance(30000);

    EXPECT_THAT(diallerCalls(), ElementsAre("handleDialingStarted line1 3:Bob3:20011:sip:200@pbx",
                                            "handleInitialDigitTimeout "));
    EXPECT_THAT(toneRequests(), ElementsAre(kPlayDialTone));
    EXPECT_THAT(timerOperations(),
                ElementsAre(operation("reset", partyDetails), operation("start", partyDetails),
                            operation("stop", partyDetails), operation("reset", initialDigit),
                            operation("start", initialDigit), operation("expire", initialDigit),
                            operation("stop", initialDigit)));
    EXPECT_TRUE(log.contains("startDialling - Call context provide exists, get Dial party details", 5));
    EXPECT_TRUE(log.contains("dialPartyDetailsResponse: 3:Bob3:20011:sip:200@pbx", 5));
    EXPECT_TRUE(log.contains("dialPartyDetailsResponse, dialPartyDetailsValid: 1, isFollowOnCall: 0", 5));
}

TEST_F(DiallingSession, CallContextProviderThatStaysSilentIsGivenUpAfter250Milliseconds)
{
    startService();
    service->setCallContextProvider(&harness.provider);
    service->startDialling("line1", &harness.dialler, false);
    harness.context.advance(249);
    EXPECT_THAT(diallerCalls(), IsEmpty());
    harness.context.advance(1);

    EXPECT_THAT(harness.provider.calls(), ElementsAre("getDialPartyDetails"));
    EXPECT_THAT(diallerCalls(), ElementsAre("handleDialingStarted line1"));
    EXPECT_THAT(toneRequests(), ElementsAre(kPlayDialTone));
    EXPECT_THAT(timerOperations(),
                ElementsAre(operation("reset", partyDetails), operation("start", partyDetails),
                            operation("expire", partyDetails), operation("stop", partyDetails),
                            operation("reset", initialDigit), operation("start", initialDigit)));
}

// ----- Software types 2 and 3 only report start and stop ----------------------------------

struct SignallingPhone {
    const char* softwareType;
    unsigned int variant;
};

class SignallingPhoneSession : public DiallingSession, public ::testing::WithParamInterface<SignallingPhone> {
protected:
    SignallingPhoneSession() : m_variant(GetParam().variant) {}

private:
    ScopedHardwareVariant m_variant;
};

TEST_P(SignallingPhoneSession, ReportsOnlyStartAndStop)
{
    startService(GetParam().softwareType);
    const bool runsInterDigitTimer = GetParam().variant == 3;

    service->startDialling("line1", &harness.dialler, false);
    EXPECT_THAT(dial("1"), IsDialResult(eMatchNone, "1"));
    EXPECT_THAT(dial("12", true), IsDialResult(eMatchFull, "12"));
    EXPECT_EQ(latestDigits(), "");
    service->stopDialling(&harness.dialler);

    EXPECT_THAT(diallerCalls(), ElementsAre("handleDialingStarted line1", "handleDialingStopped"));
    EXPECT_THAT(toneRequests(), IsEmpty());
    if (runsInterDigitTimer) {
        EXPECT_THAT(timerOperations(),
                    ElementsAre(operation("reset", autoDial), operation("start", autoDial), operation("stop", autoDial)));
    } else {
        EXPECT_THAT(timerOperations(), IsEmpty());
    }
    EXPECT_TRUE(log.contains("stopDialling(): call handleDialingStopped", 5));
}

TEST_P(SignallingPhoneSession, ReportsStartAndStopToTheCallContextProviderWhenThereIsOne)
{
    startService(GetParam().softwareType);
    service->setCallContextProvider(&harness.provider);
    service->startDialling("line1", &harness.dialler, false);
    service->stopDialling(&harness.dialler);
    EXPECT_THAT(harness.provider.calls(), ElementsAre("handleDialingStarted line1", "handleDialingStopped"));
    EXPECT_THAT(diallerCalls(), IsEmpty());
    EXPECT_FALSE(log.contains("stopDialling(): call handleDialingStopped"));
}

TEST_P(SignallingPhoneSession, StopWithoutAnyoneToTellIsLogged)
{
    startService(GetParam().softwareType);
    service->setDialler(nullptr);
    service->stopDialling(&harness.dialler);
    EXPECT_TRUE(log.contains("No Dialler to receive dialing stopped event", 2));
}

INSTANTIATE_TEST_SUITE_P(SoftwareTypesAndVariants, SignallingPhoneSession,
                         ::testing::Values(SignallingPhone{"Valtrek NRX", 0}, SignallingPhone{"Valtrek NRX", 3},
                                           SignallingPhone{"Valtrek TDM", 0}, SignallingPhone{"Valtrek TDM", 3}),
                         [](const ::testing::TestParamInfo<SignallingPhone>& info) {
                             return std::string(info.param.softwareType[8] == 'N' ? "Nrx" : "Tdm") + "OnVariant" +
                                    std::to_string(info.param.variant);
                         });

// ----- Start of dialling --------------------------------------------------------------------

TEST_F(DiallingSession, StartWithoutDiallerIsLoggedAndReportsNothing)
{
    startService();
    service->setDialler(nullptr);
    service->startDialling("line1", &harness.dialler, false);
    EXPECT_TRUE(log.contains("No CallView dialler has been set yet!", 2));
    EXPECT_THAT(timerOperations(), IsEmpty());
    EXPECT_THAT(toneRequests(), IsEmpty());
}

TEST_F(DiallingSession, StartWithoutTeamServiceReportsNothing)
{
    harness.context.unregisterExecutable("TeamServiceIfc");
    startService();
    service->startDialling("line1", &harness.dialler, false);
    EXPECT_THAT(diallerCalls(), IsEmpty());
    EXPECT_THAT(timerOperations(), IsEmpty());
}

TEST_F(DiallingSession, OnlyTheSipPhonePlaysDialToneAtTheStart)
{
    startService("");
    service->startDialling("line1", &harness.dialler, false);
    EXPECT_THAT(diallerCalls(), ElementsAre("handleDialingStarted line1"));
    EXPECT_THAT(toneRequests(), IsEmpty());
}

TEST_F(DiallingSession, StartWithAnEmptyLineAsksTheTeamServiceNothing)
{
    startService();
    service->startDialling("", &harness.dialler, false);
    EXPECT_THAT(diallerCalls(), ElementsAre("handleDialingStarted "));
    EXPECT_THAT(harness.team.queries(), IsEmpty());
}

TEST_F(DiallingSession, StartClearsTheDigitsOfTheLastSession)
{
    startService();
    service->startDialling("line1", &harness.dialler, false);
    dial("123");
    service->startDialling("line1", &harness.dialler, false);
    EXPECT_EQ(latestDigits(), "");
}

// ----- dialString -------------------------------------------------------------------------

TEST_F(DiallingSession, DialStringWithoutDiallerDecidesNothing)
{
    startService();
    service->setDialler(nullptr);
    EXPECT_THAT(dial("123", true), IsDialResult(eMatchNone, "123"));
    EXPECT_TRUE(log.contains("dialString (- ERROR - NO Dialler", 5));
    EXPECT_THAT(timerOperations(), IsEmpty());
}

TEST_F(DiallingSession, EmptyDigitsPlayDialToneAndWaitForTheFirstDigitAgain)
{
    startService();
    service->startDialling("line1", &harness.dialler, false);
    dial("1");
    harness.context.clearTimerOperations();
    harness.media.clearCalls();
    EXPECT_THAT(dial(""), IsDialResult(eMatchNone, ""));
    EXPECT_THAT(toneRequests(), ElementsAre(kPlayDialTone));
    EXPECT_THAT(timerOperations(), ElementsAre(operation("stop", autoDial), operation("reset", initialDigit),
                                               operation("start", initialDigit)));
    EXPECT_EQ(latestDigits(), "");
}

TEST_F(DiallingSession, CompleteDigitsAreSentAtOnce)
{
    startService();
    service->startDialling("line1", &harness.dialler, false);
    dial("12");
    EXPECT_THAT(dial("123", true), IsDialResult(eMatchFull, "123"));
    EXPECT_FALSE(DigitAnalysisServiceTestAccess::autoDialTimer(*service).timerRunning);
    EXPECT_EQ(latestDigits(), "");
    EXPECT_TRUE(log.contains("return value = eMatchFull", 5));
}

TEST_F(DiallingSession, CompleteDigitsLoseTheirTerminatorAsTheDialPlanSays)
{
    startService();
    configurePlan({{"x", "S", "5", "", "", "#", "", "false"}});
    service->startDialling("line1", &harness.dialler, false);
    EXPECT_THAT(dial("12#", true), IsDialResult(eMatchFull, "12"));
}

TEST_F(DiallingSession, EmergencyNumberIsSentAtOnceOnAnUnlockedPhone)
{
    harness.setCanonicalSetting("emergencyNumber", "112,110");
    startService();
    service->startDialling("line1", &harness.dialler, false);
    dial("1");
    EXPECT_THAT(dial("110"), IsDialResult(eMatchFull, "110"));
    EXPECT_FALSE(DigitAnalysisServiceTestAccess::autoDialTimer(*service).timerRunning);
    EXPECT_EQ(latestDigits(), "");
}

TEST_F(DiallingSession, DialPlanWaitOfFourSecondsRemakesTheTimerAndKeepsTheDigits)
{
    startService();
    configurePlan({{"0", "S", "4"}});
    service->startDialling("line1", &harness.dialler, false);
    EXPECT_THAT(dial("0"), IsDialResult(eMatchNone, ""));
    EXPECT_EQ(latestDigits(), "0");
    EXPECT_EQ(DigitAnalysisServiceTestAccess::dialPlanTimer(*service).duration, 4000);
    EXPECT_EQ(harness.context.timerDuration(DigitAnalysisServiceTestAccess::dialPlanTimer(*service).timerID), 4000);
    EXPECT_NE(DigitAnalysisServiceTestAccess::dialPlanTimer(*service).timerID, dialPlan);
    EXPECT_TRUE(DigitAnalysisServiceTestAccess::dialPlanTimer(*service).timerRunning);
}

TEST_F(DiallingSession, DialPlanWaitOfTheSameDurationKeepsTheTimer)
{
    startService();
    configurePlan({{"0", "S", "6"}});
    service->startDialling("line1", &harness.dialler, false);
    dial("0");
    EXPECT_EQ(DigitAnalysisServiceTestAccess::dialPlanTimer(*service).timerID, dialPlan);
    EXPECT_THAT(timerOperations(), ElementsAre(operation("reset", initialDigit), operation("start", initialDigit),
                                               operation("stop", initialDigit), operation("reset", dialPlan),
                                               operation("start", dialPlan)));
}

TEST_F(DiallingSession, DialPlanWaitEndsARunningInterDigitWait)
{
    startService();
    configurePlan({{"01", "C", "2"}});
    service->startDialling("line1", &harness.dialler, false);
    dial("0");
    ASSERT_TRUE(DigitAnalysisServiceTestAccess::autoDialTimer(*service).timerRunning);
    dial("01");
    EXPECT_FALSE(DigitAnalysisServiceTestAccess::autoDialTimer(*service).timerRunning);
    EXPECT_TRUE(DigitAnalysisServiceTestAccess::dialPlanTimer(*service).timerRunning);
    EXPECT_EQ(DigitAnalysisServiceTestAccess::dialPlanTimer(*service).duration, 2000);
}

TEST_F(DiallingSession, FailedRemakeOfTheDialPlanTimerIsLoggedAndRetriedAtTheNextStop)
{
    startService();
    configurePlan({{"0", "S", "3"}});
    service->startDialling("line1", &harness.dialler, false);
    harness.context.clearTimerOperations();
    harness.context.failNextTimerCreations(1);
    dial("0");
    EXPECT_TRUE(log.contains("Could not update the value of the dial plan timer!", 2));
    EXPECT_EQ(DigitAnalysisServiceTestAccess::dialPlanTimer(*service).timerID, dialPlan);
    EXPECT_TRUE(DigitAnalysisServiceTestAccess::dialPlanTimer(*service).updatePending);

    dial("");
    const int remade = DigitAnalysisServiceTestAccess::dialPlanTimer(*service).timerID;
    EXPECT_NE(remade, dialPlan);
    EXPECT_THAT(timerOperations(),
                ElementsAre(operation("stop", initialDigit), "create-failed 3000", operation("reset", dialPlan),
                            operation("start", dialPlan), operation("stop", dialPlan), operation("create", remade) + " 3000",
                            operation("delete", dialPlan), operation("reset", initialDigit),
                            operation("start", initialDigit)));
}

TEST_F(DiallingSession, SendEndsTheDialPlanWait)
{
    startService();
    configurePlan({{"0", "S", "3", "", "3"}});
    service->startDialling("line1", &harness.dialler, false);
    dial("0");
    ASSERT_TRUE(DigitAnalysisServiceTestAccess::dialPlanTimer(*service).timerRunning);
    EXPECT_THAT(dial("012"), IsDialResult(eMatchFull, "012"));
    EXPECT_FALSE(DigitAnalysisServiceTestAccess::dialPlanTimer(*service).timerRunning);
}

TEST_F(DiallingSession, NoDecisionEndsTheDialPlanWaitAndWaitsForTheNextDigit)
{
    startService();
    configurePlan({{"0", "C", "3"}});
    service->startDialling("line1", &harness.dialler, false);
    dial("0");
    ASSERT_TRUE(DigitAnalysisServiceTestAccess::dialPlanTimer(*service).timerRunning);
    EXPECT_THAT(dial("01"), IsDialResult(eMatchNone, ""));
    EXPECT_FALSE(DigitAnalysisServiceTestAccess::dialPlanTimer(*service).timerRunning);
    EXPECT_TRUE(DigitAnalysisServiceTestAccess::autoDialTimer(*service).timerRunning);
}

TEST_F(DiallingSession, EmergencyEntryOfTheDialPlanIsSentOnAnUnlockedPhone)
{
    startService();
    configurePlan({{"112", "S", "0", "", "", "", "E"}});
    service->startDialling("line1", &harness.dialler, false);
    EXPECT_THAT(dial("112"), IsDialResult(eMatchFull, "112"));
}

TEST_F(DiallingSession, LockBypassEntryOnAnUnlockedPhoneWaitsUnlessImmediateDiallingIsOn)
{
    startService();
    configurePlan({{"123", "S", "0", "", "", "", "b"}});
    service->startDialling("line1", &harness.dialler, false);
    EXPECT_THAT(dial("123"), IsDialResult(eMatchNone, ""));
    EXPECT_TRUE(DigitAnalysisServiceTestAccess::autoDialTimer(*service).timerRunning);

    DigitAnalysisServiceTestAccess::getDialPlan(*service)->setImmediateDiallingEnabled(true);
    EXPECT_THAT(dial("123"), IsDialResult(eMatchFull, "123"));
}

TEST_F(DiallingSession, ShortFormKeepsIncompleteDigitsAndSendsCompleteOnes)
{
    startService();
    std::string digits = "12";
    EXPECT_EQ(service->dialString(&digits, false), eMatchNone);
    EXPECT_EQ(digits, "");
    EXPECT_EQ(latestDigits(), "12");
    digits = "123";
    EXPECT_EQ(service->dialString(&digits, true), eMatchFull);
    EXPECT_EQ(digits, "123");
    EXPECT_TRUE(log.contains("dialString (digits 123,complete true )", 5));
    EXPECT_THAT(timerOperations(), IsEmpty());
}

TEST_F(DiallingSession, ShortFormPlaysToneOnEmptyDigitsAndStopsItOnDigits)
{
    startService();
    std::string digits;
    service->dialString(&digits, false);
    digits = "1";
    service->dialString(&digits, false);
    EXPECT_THAT(toneRequests(), ElementsAre(kPlayDialTone, kStopDialTone));
}

TEST_F(DiallingSession, ShortFormOnALockedPhoneLetsOnlyTheEmergencyNumberThrough)
{
    harness.store.setItem("emergency-e164", "+4989112");
    startService();
    lockPhone();
    std::string digits = "+4989112";
    EXPECT_EQ(service->dialString(&digits, true), eMatchEmergencyNumber);
    digits = "123";
    EXPECT_EQ(service->dialString(&digits, true), eMatchNone);
    EXPECT_EQ(digits, "");
}

TEST_F(DiallingSession, ShortFormOnSignallingPhonesDecidesByCompletenessAlone)
{
    startService("Valtrek TDM");
    std::string digits = "12";
    EXPECT_EQ(service->dialString(&digits, false), eMatchNone);
    EXPECT_EQ(service->dialString(&digits, true), eMatchFull);
    EXPECT_EQ(digits, "12");
    EXPECT_THAT(toneRequests(), IsEmpty());
}

// ----- Stop, dialler and call context provider ------------------------------------------------

TEST_F(DiallingSession, StopDiallingEndsEveryWaitButTheDialPlanWait)
{
    startService();
    configurePlan({{"0", "S", "3"}});
    service->startDialling("line1", &harness.dialler, false);
    dial("0");
    service->stopDialling(&harness.dialler);
    EXPECT_FALSE(DigitAnalysisServiceTestAccess::initialDigitTimer(*service).timerRunning);
    EXPECT_FALSE(DigitAnalysisServiceTestAccess::autoDialTimer(*service).timerRunning);
    EXPECT_TRUE(DigitAnalysisServiceTestAccess::dialPlanTimer(*service).timerRunning);
    EXPECT_EQ(latestDigits(), "");
    EXPECT_THAT(diallerCalls(), ElementsAre("handleDialingStarted line1", "handleDialingStopped"));
}

TEST_F(DiallingSession, StopDiallingWithoutObserverDoesNothing)
{
    startService();
    service->startDialling("line1", &harness.dialler, false);
    service->stopDialling(nullptr);
    EXPECT_THAT(diallerCalls(), ElementsAre("handleDialingStarted line1"));
    EXPECT_TRUE(DigitAnalysisServiceTestAccess::initialDigitTimer(*service).timerRunning);
}

TEST_F(DiallingSession, StopDiallingWithoutDiallerIsLoggedWithItsOwnSpelling)
{
    startService();
    service->setDialler(nullptr);
    service->stopDialling(&harness.dialler);
    EXPECT_TRUE(log.contains("No Dialler to receive dialling stopped event", 2));
    EXPECT_FALSE(log.contains("No Dialler to receive dialing stopped event"));
}

TEST_F(DiallingSession, ReplacingTheDiallerIsNotedAndAccepted)
{
    startService();
    RecordingDialler other;
    EXPECT_TRUE(service->setDialler(&other));
    EXPECT_TRUE(log.contains("m_dialler is already set", 5));
    service->startDialling("line1", &other, false);
    EXPECT_THAT(other.calls(), ElementsAre("handleDialingStarted line1"));
    EXPECT_THAT(diallerCalls(), IsEmpty());
}

TEST_F(DiallingSession, WithoutDiallerTheLatestDigitsAreEmpty)
{
    startService();
    service->startDialling("line1", &harness.dialler, false);
    dial("12");
    EXPECT_EQ(latestDigits(), "12");
    service->setDialler(nullptr);
    EXPECT_EQ(latestDigits(), "");
    EXPECT_TRUE(log.contains("getLatestDialledDigits", 5));
}

TEST_F(DiallingSession, ClearingTheCallContextProviderNeedsTheSamePointer)
{
    startService();
    RecordingDialler stranger;
    EXPECT_TRUE(service->setCallContextProvider(&harness.provider));
    EXPECT_FALSE(service->clearCallContextProvider(&stranger));

    char expected[256];
    std::snprintf(expected, sizeof expected,
                  "clearCallContextProvider(callContextEventObserver) : Attempt to clear Call Context Provider (%p) "
                  "when Call Context (%p) is not previous setter!",
                  static_cast<void*>(static_cast<DigitAnalysisServiceEventIfc*>(&harness.provider)),
                  static_cast<void*>(static_cast<DigitAnalysisServiceEventIfc*>(&stranger)));
    EXPECT_TRUE(log.contains(expected, 5));

    service->startDialling("line1", &harness.dialler, false);
    EXPECT_THAT(harness.provider.calls(), ElementsAre("getDialPartyDetails"));

    EXPECT_TRUE(service->clearCallContextProvider(&harness.provider));
    harness.provider.clear();
    service->startDialling("line1", &harness.dialler, false);
    EXPECT_THAT(harness.provider.calls(), IsEmpty());
}

// ----- The phone lock -----------------------------------------------------------------------

class LockedPhone : public DiallingSession {
protected:
    void startLocked()
    {
        harness.setCanonicalSetting("emergencyNumber", "112,110");
        harness.store.setItem("phone-lock-active", "true");
        startService();
        ASSERT_TRUE(DigitAnalysisServiceTestAccess::phoneLockActive(*service));
    }
};

TEST_F(LockedPhone, EmergencyDigitsAreReportedAndTheLatestDigitsStay)
{
    startLocked();
    configurePlan({{"0", "S", "3", "", "", "", "b"}});
    service->startDialling("line1", &harness.dialler, false);
    dial("0");
    ASSERT_EQ(latestDigits(), "0");
    EXPECT_THAT(dial("110"), IsDialResult(eMatchEmergencyNumber, "110"));
    EXPECT_EQ(latestDigits(), "0");
}

TEST_F(LockedPhone, LockBypassEntryToSendIsSentAtOnce)
{
    startLocked();
    configurePlan({{"123", "S", "0", "", "", "", "b"}});
    service->startDialling("line1", &harness.dialler, false);
    EXPECT_THAT(dial("123"), IsDialResult(eMatchFull, "123"));
    EXPECT_EQ(latestDigits(), "");
    // The match holds for the complete number too.
    EXPECT_THAT(dial("123", true), IsDialResult(eMatchFull, "123"));
}

TEST_F(LockedPhone, LockBypassEntryWithAWaitIsSentAtTheDialPlanExpiry)
{
    startLocked();
    configurePlan({{"0", "S", "3", "", "", "", "b"}});
    service->startDialling("line1", &harness.dialler, false);
    EXPECT_THAT(dial("0"), IsDialResult(eMatchNone, ""));
    EXPECT_EQ(latestDigits(), "0");
    EXPECT_EQ(DigitAnalysisServiceTestAccess::dialPlanTimer(*service).duration, 3000);
    harness.context.advance(3000);
    EXPECT_THAT(diallerCalls(), ElementsAre("handleDialingStarted line1", "handleInterDigitTimeout 0"));
}

TEST_F(LockedPhone, OtherDigitsAreEmptied)
{
    startLocked();
    configurePlan({{"0", "S", "3", "", "", "", "b"}});
    service->startDialling("line1", &harness.dialler, false);
    EXPECT_THAT(dial("555"), IsDialResult(eMatchNone, ""));
    EXPECT_EQ(latestDigits(), "");
    EXPECT_FALSE(DigitAnalysisServiceTestAccess::autoDialTimer(*service).timerRunning);
    EXPECT_FALSE(DigitAnalysisServiceTestAccess::dialPlanTimer(*service).timerRunning);
}

TEST_F(LockedPhone, OrdinaryDialPlanEntriesDoNotUnlock)
{
    startLocked();
    configurePlan({{"5", "S", "0", "", "3"}});
    service->startDialling("line1", &harness.dialler, false);
    EXPECT_THAT(dial("555"), IsDialResult(eMatchNone, ""));
    EXPECT_EQ(latestDigits(), "");
}

TEST_F(LockedPhone, WithoutEnabledDialPlanEveryDigitIsEmptied)
{
    startLocked();
    service->startDialling("line1", &harness.dialler, false);
    EXPECT_THAT(dial("0"), IsDialResult(eMatchNone, ""));
    EXPECT_EQ(latestDigits(), "");
}

TEST_F(LockedPhone, CompleteDigitsAreSentOnlyAfterALockBypassMatch)
{
    startLocked();
    configurePlan({{"123", "S", "0", "", "", "", "b"}});
    service->startDialling("line1", &harness.dialler, false);
    EXPECT_THAT(dial("555", true), IsDialResult(eMatchNone, ""));
    dial("123");
    EXPECT_THAT(dial("123", true), IsDialResult(eMatchFull, "123"));
    dial("9");
    EXPECT_THAT(dial("123", true), IsDialResult(eMatchNone, "")) << "the last decision cleared the match";
}

TEST_F(LockedPhone, DialPlanExpiryOfOrdinaryDigitsReachesNoOne)
{
    harness.setCanonicalSetting("emergencyNumber", "112,110");
    startService();
    configurePlan({{"0", "S", "3"}});
    service->startDialling("line1", &harness.dialler, false);
    dial("0");
    lockPhone();
    harness.context.advance(3000);
    EXPECT_THAT(diallerCalls(), ElementsAre("handleDialingStarted line1"));
}

TEST_F(LockedPhone, DialPlanExpiryOfTheEmergencyNumberIsDelivered)
{
    startService();
    configurePlan({{"0", "S", "3"}});
    service->startDialling("line1", &harness.dialler, false);
    dial("0");
    // Configured while the wait runs: dialled before, the number would have gone at once.
    harness.store.setItem("emergency-e164", "0");
    service->extractEmergencyE164Data();
    lockPhone();
    harness.context.advance(3000);
    EXPECT_THAT(diallerCalls(), ElementsAre("handleDialingStarted line1", "handleInterDigitTimeout 0"));
}

TEST_F(LockedPhone, InterDigitExpiryOfALockBypassNumberIsDelivered)
{
    startService();
    // A disabled plan decides nothing, but its lock-bypass numbers still count.
    configurePlan({{"0", "S", "3", "", "5", "", "b"}}, false);
    service->startDialling("line1", &harness.dialler, false);
    dial("0123");
    ASSERT_TRUE(DigitAnalysisServiceTestAccess::autoDialTimer(*service).timerRunning);
    lockPhone();
    harness.context.advance(6000);
    EXPECT_THAT(diallerCalls(), ElementsAre("handleDialingStarted line1", "handleInterDigitTimeout 0123"));
    EXPECT_TRUE(log.contains("m_dialler->handleInitialDigitTimeout 1 0123", 5));
}

}  // namespace
