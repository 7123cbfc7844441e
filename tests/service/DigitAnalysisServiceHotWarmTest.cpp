// Hot line, warm line and dial tone: which call a start of dialling turns into, how hot
// and warm calls reach the dialler, and the dial tone requests to the media control service.

#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "CallPartyIdentifier.h"
#include "DigitAnalysisServiceTestAccess.h"
#include "ServiceHarness.h"

using ::testing::ElementsAre;
using ::testing::IsEmpty;

namespace {

const std::string kPlayDialTone = "play <tone><type><basic>dialtone</basic></type></tone> -1 -1 -1";
const std::string kStopDialTone = "stop <tone><type><basic>dialtone</basic></type></tone>";

constexpr const char* kLine = "line1";
constexpr const char* kPhoneDigits = "7777";      // the phone-level hot/warm destination
constexpr const char* kLineDestination = "4444";  // the line's own destination

class HotWarmFixture : public ::testing::Test {
protected:
    CapturingLogSink log;
    ServiceHarness harness;
    DigitAnalysisService* service = nullptr;

    // Phone type 1 hot, 2 warm, 0 none.
    void setPhone(int type, const std::string& digits = kPhoneDigits)
    {
        harness.store.setItem("hot-line-warm-line", std::to_string(type));
        harness.store.setItem("hot-line-warm-line-digits", digits);
    }

    void startService()
    {
        harness.store.setItem("software-type", "Valtrek SIP");
        service = &harness.start();
        service->setDialler(&harness.dialler);
        harness.context.clearTimerOperations();
        log.clear();
    }

    std::string latestDigits()
    {
        std::string latest;
        service->getLatestDialledDigits(&latest);
        return latest;
    }

    // What the start of dialling turned into, as the dialler sees it.
    std::string outcome()
    {
        const std::vector<std::string> calls = harness.dialler.calls();
        const std::string hot = "handleInterDigitTimeout ";
        if (calls.size() == 1 && calls[0].rfind(hot, 0) == 0) return "hot call to " + calls[0].substr(hot.size());
        if (calls == std::vector<std::string>{std::string("handleDialingStarted ") + kLine}) {
            const std::string latest = latestDigits();
            return latest.empty() ? "dialling" : "warm call to " + latest;
        }
        std::string unexpected = "unexpected:";
        for (const auto& call : calls) unexpected += " [" + call + "]";
        return unexpected;
    }

    std::vector<std::string> toneRequests() const { return harness.media.calls(); }
};

// ----- The hot/warm decision, one row at a time ------------------------------------------------

struct DecisionRow {
    const char* name;
    int phoneType;
    const char* phoneDigits;
    int lineType;
    const char* destination;
    bool followOn;
    const char* expectedOutcome;
    const char* expectedLog;  // empty: none of the call lines is logged
};

class HotWarmDecision : public HotWarmFixture, public ::testing::WithParamInterface<DecisionRow> {};

const char* const kCallLogLines[] = {"HOT PHONE call to ", "Invoked WARM PHONE call to ", "HOT LINE ",
                                     "Invoked WARM LINE "};

TEST_P(HotWarmDecision, PlacesTheCallOfItsRow)
{
    const DecisionRow& row = GetParam();
    setPhone(row.phoneType, row.phoneDigits);
    harness.team.setLine(kLine, row.lineType, row.destination);
    startService();

    service->startDialling(kLine, &harness.dialler, row.followOn);

    EXPECT_EQ(outcome(), row.expectedOutcome);
    if (*row.expectedLog != '\0') {
        EXPECT_TRUE(log.contains(row.expectedLog, 5));
    } else {
        for (const char* line : kCallLogLines) {
            for (const auto& text : log.texts()) EXPECT_NE(text.rfind(line, 0), 0u) << text;
        }
    }
}

// clang-format off
const DecisionRow kDecisionRows[] = {
    // Line type 0: only the phone-level setting counts; the destination is not asked for.
    {"Type0HotPhone",                 1, "7777", 0, "??",   false, "hot call to 7777",  "HOT PHONE call to 7777"},
    {"Type0HotPhoneFollowOn",         1, "7777", 0, "??",   true,  "dialling",          ""},
    {"Type0WarmPhone",                2, "7777", 0, "??",   false, "warm call to 7777", "Invoked WARM PHONE call to 7777"},
    {"Type0WarmPhoneFollowOn",        2, "7777", 0, "??",   true,  "warm call to 7777", "Invoked WARM PHONE call to 7777"},
    {"Type0NoPhoneSetting",           0, "7777", 0, "??",   false, "dialling",          ""},
    {"Type0HotPhoneWithoutDigits",    1, "",     0, "??",   false, "dialling",          ""},
    {"Type0UnknownPhoneType",         3, "7777", 0, "??",   false, "dialling",          ""},
    // No destination programmed for the line.
    {"NoDestinationHotPhone",         1, "7777", 1, "??",   false, "hot call to 7777",  "HOT PHONE call to 7777"},
    {"NoDestinationHotPhoneType5",    1, "7777", 5, "??",   false, "dialling",          ""},
    {"NoDestinationHotPhoneFollowOn", 1, "7777", 1, "??",   true,  "dialling",          ""},
    {"NoDestinationWarmPhone",        2, "7777", 3, "??",   false, "warm call to 7777", "Invoked WARM PHONE call to 7777"},
    {"NoDestinationWarmPhoneType5",   2, "7777", 5, "??",   false, "dialling",          ""},
    {"NoDestinationNoPhoneSetting",   0, "",     1, "??",   false, "dialling",          ""},
    // Line types 3 and 4 take precedence over the phone-level setting.
    {"Type3OverWarmPhone",            2, "7777", 3, "4444", false, "hot call to 4444",  "HOT LINE line1 call to 4444"},
    {"Type3OnFollowOnCall",           0, "",     3, "4444", true,  "hot call to 4444",  "HOT LINE line1 call to 4444"},
    {"Type4OverHotPhone",             1, "7777", 4, "4444", false, "warm call to 4444", "Invoked WARM LINE line1 call to 4444"},
    // Destination present, hot phone.
    {"HotPhoneOverType1",             1, "7777", 1, "4444", false, "hot call to 7777",  "HOT PHONE call to 7777"},
    {"HotPhoneOverType2",             1, "7777", 2, "4444", false, "hot call to 7777",  "HOT PHONE call to 7777"},
    {"HotPhoneFollowOnType1",         1, "7777", 1, "4444", true,  "hot call to 4444",  "HOT LINE line1 call to 4444"},
    {"HotPhoneFollowOnType2",         1, "7777", 2, "4444", true,  "warm call to 4444", "Invoked WARM LINE line1 call to 4444"},
    {"HotPhoneType5",                 1, "7777", 5, "4444", false, "dialling",          ""},
    // Destination present, warm phone.
    {"WarmPhoneOverType1",            2, "7777", 1, "4444", false, "warm call to 7777", "Invoked WARM PHONE call to 7777"},
    {"WarmPhoneOverType2OnFollowOn",  2, "7777", 2, "4444", true,  "warm call to 7777", "Invoked WARM PHONE call to 7777"},
    {"WarmPhoneType5",                2, "7777", 5, "4444", false, "dialling",          ""},
    // Destination present, no phone-level setting.
    {"NoPhoneSettingType1",           0, "",     1, "4444", false, "hot call to 4444",  "HOT LINE line1 call to 4444"},
    {"NoPhoneSettingType1FollowOn",   0, "",     1, "4444", true,  "hot call to 4444",  "HOT LINE line1 call to 4444"},
    {"NoPhoneSettingType2",           0, "",     2, "4444", false, "warm call to 4444", "Invoked WARM LINE line1 call to 4444"},
    {"NoPhoneSettingType5",           0, "",     5, "4444", false, "dialling",          ""},
    {"NoPhoneSettingUnknownType",     0, "",     7, "4444", false, "dialling",          ""},
    {"WarmPhoneWithoutDigitsType2",   2, "",     2, "4444", false, "warm call to 4444", "Invoked WARM LINE line1 call to 4444"},
};
// clang-format on

INSTANTIATE_TEST_SUITE_P(Rows, HotWarmDecision, ::testing::ValuesIn(kDecisionRows),
                         [](const ::testing::TestParamInfo<DecisionRow>& info) { return std::string(info.param.name); });

TEST_F(HotWarmFixture, MissingLineDestinationIsAWarning)
{
    setPhone(0);
    harness.team.setLine(kLine, 1, "??");
    startService();
    service->startDialling(kLine, &harness.dialler, false);
    EXPECT_TRUE(log.contains("No destination programmed for Hot or Warm Line", 3));
    EXPECT_THAT(harness.team.queries(), ElementsAre("type line1", "destination line1"));
}

TEST_F(HotWarmFixture, LineType0AsksForNoDestination)
{
    setPhone(1);
    startService();
    service->startDialling(kLine, &harness.dialler, false);
    EXPECT_THAT(harness.team.queries(), ElementsAre("type line1"));
    EXPECT_FALSE(log.contains("No destination programmed for Hot or Warm Line"));
}

TEST_F(HotWarmFixture, HotPhoneWithoutProviderPlacesTheHotCallInsteadOfStartingDialling)
{
    setPhone(1);
    startService();
    service->startDialling(kLine, &harness.dialler, false);
    EXPECT_THAT(harness.dialler.calls(), ElementsAre("handleInterDigitTimeout 7777"));
    EXPECT_THAT(toneRequests(), IsEmpty()) << "a hot call plays no dial tone";
    EXPECT_FALSE(DigitAnalysisServiceTestAccess::initialDigitTimer(*service).timerRunning);
    EXPECT_TRUE(log.contains("makeHotCall", 5));
}

TEST_F(HotWarmFixture, HotPhoneOnAFollowOnCallStartsNormalDialling)
{
    setPhone(1);
    startService();
    service->startDialling(kLine, &harness.dialler, true);
    EXPECT_THAT(harness.dialler.calls(), ElementsAre("handleDialingStarted line1"));
    EXPECT_THAT(toneRequests(), ElementsAre(kPlayDialTone));
    EXPECT_TRUE(DigitAnalysisServiceTestAccess::initialDigitTimer(*service).timerRunning);
}

TEST_F(HotWarmFixture, PartyDetailsFromTheProviderSkipTheHotWarmDecision)
{
    setPhone(1);
    startService();
    service->setCallContextProvider(&harness.provider);
    service->startDialling(kLine, &harness.dialler, false);
    CallPartyIdentifier party("Bob", "200", "sip:200@pbx");
    service->dialPartyDetailsResponse(party, true, false);
    EXPECT_THAT(harness.dialler.calls(), ElementsAre("handleDialingStarted line1 3:Bob3:20011:sip:200@pbx"));
    EXPECT_THAT(harness.team.queries(), IsEmpty());
}

TEST_F(HotWarmFixture, ProviderWithoutPartyDetailsLeavesTheDecisionToTheLine)
{
    harness.team.setLine(kLine, 1, kLineDestination);
    startService();
    service->setCallContextProvider(&harness.provider);
    service->startDialling(kLine, &harness.dialler, false);
    CallPartyIdentifier noParty;
    service->dialPartyDetailsResponse(noParty, false, false);
    EXPECT_THAT(harness.dialler.calls(), ElementsAre("handleInterDigitTimeout 4444"));
}

// ----- Warm calls --------------------------------------------------------------------------------

TEST_F(HotWarmFixture, WarmCallHappensAtTheInitialDigitExpiry)
{
    setPhone(2);
    startService();
    service->startDialling(kLine, &harness.dialler, false);
    EXPECT_THAT(toneRequests(), ElementsAre(kPlayDialTone));
    harness.context.advance(30000);
    EXPECT_THAT(harness.dialler.calls(), ElementsAre("handleDialingStarted line1", "handleInitialDigitTimeout 7777"));
    EXPECT_TRUE(log.contains("makeWarmCall", 5));
}

TEST_F(HotWarmFixture, DigitDialledFirstReplacesTheWarmDestination)
{
    setPhone(2);
    startService();
    service->startDialling(kLine, &harness.dialler, false);
    std::string digits = "3";
    service->dialString(&digits, false, &harness.dialler);
    EXPECT_EQ(latestDigits(), "3");
    EXPECT_FALSE(DigitAnalysisServiceTestAccess::initialDigitTimer(*service).timerRunning);
}

TEST_F(HotWarmFixture, WarmCallEndsTheInterDigitWaitAndRestartsTheInitialDigitWait)
{
    startService();
    service->startDialling(kLine, &harness.dialler, false);
    std::string digits = "3";
    service->dialString(&digits, false, &harness.dialler);
    ASSERT_TRUE(DigitAnalysisServiceTestAccess::autoDialTimer(*service).timerRunning);
    harness.context.clearTimerOperations();
    harness.dialler.clear();

    service->makeWarmCall("5555", "line2", CallPartyIdentifier());
    const int autoDial = DigitAnalysisServiceTestAccess::autoDialTimer(*service).timerID;
    const int initialDigit = DigitAnalysisServiceTestAccess::initialDigitTimer(*service).timerID;
    EXPECT_THAT(harness.context.timerOperations(),
                ElementsAre("stop " + std::to_string(autoDial), "reset " + std::to_string(initialDigit),
                            "start " + std::to_string(initialDigit)));
    EXPECT_THAT(harness.dialler.calls(), ElementsAre("handleDialingStarted line2"));
    EXPECT_EQ(latestDigits(), "5555");
}

// ----- The phone lock ------------------------------------------------------------------------

class LockedHotWarm : public HotWarmFixture {
protected:
    void startLocked()
    {
        harness.setCanonicalSetting("emergencyNumber", "112,110");
        harness.store.setItem("phone-lock-active", "true");
        startService();
        ASSERT_TRUE(DigitAnalysisServiceTestAccess::phoneLockActive(*service));
    }
};

TEST_F(LockedHotWarm, HotCallToAnOrdinaryNumberIsNotReported)
{
    setPhone(1);
    startLocked();
    service->startDialling(kLine, &harness.dialler, false);
    EXPECT_THAT(harness.dialler.calls(), IsEmpty());
    EXPECT_TRUE(log.contains("HOT PHONE call to 7777", 5));
}

TEST_F(LockedHotWarm, HotCallToAnEmergencyNumberIsReported)
{
    setPhone(1, "112");
    startLocked();
    service->startDialling(kLine, &harness.dialler, false);
    EXPECT_THAT(harness.dialler.calls(), ElementsAre("handleInterDigitTimeout 112"));
}

TEST_F(LockedHotWarm, WarmCallToAnOrdinaryNumberStartsDiallingWithEmptyDigits)
{
    setPhone(2);
    startLocked();
    service->startDialling(kLine, &harness.dialler, false);
    EXPECT_TRUE(log.contains("makeWarmCall digitsToDial reset, because phone is locked", 5));
    EXPECT_EQ(latestDigits(), "");
    harness.context.advance(30000);
    EXPECT_THAT(harness.dialler.calls(), ElementsAre("handleDialingStarted line1", "handleInitialDigitTimeout "));
}

TEST_F(LockedHotWarm, WarmCallToAnEmergencyNumberKeepsItsDigits)
{
    setPhone(2, "110");
    startLocked();
    service->startDialling(kLine, &harness.dialler, false);
    EXPECT_FALSE(log.contains("makeWarmCall digitsToDial reset, because phone is locked"));
    harness.context.advance(30000);
    EXPECT_THAT(harness.dialler.calls(), ElementsAre("handleDialingStarted line1", "handleInitialDigitTimeout 110"));
}

// ----- Dial tone ---------------------------------------------------------------------------------

TEST_F(HotWarmFixture, PlayingDialToneTwicePlaysItOnce)
{
    startService();
    service->playDialTone();
    service->playDialTone();
    EXPECT_THAT(toneRequests(), ElementsAre(kPlayDialTone));
    EXPECT_EQ(log.count("playDialTone()"), 1);
}

TEST_F(HotWarmFixture, StoppingDialToneStopsItOnce)
{
    startService();
    service->playDialTone();
    service->stopDialTone();
    service->stopDialTone();
    EXPECT_THAT(toneRequests(), ElementsAre(kPlayDialTone, kStopDialTone));
    EXPECT_EQ(log.count("stopDialTone()"), 1);
}

// A hot call ends the session with stopDialTone while no tone plays: nothing is sent, but the
// tone that the start of dialling had pending is cancelled.
TEST_F(HotWarmFixture, StoppingDialToneThatIsNotPlayingSendsNothingButCancelsThePendingTone)
{
    setPhone(1);
    startService();
    service->startDialling(kLine, &harness.dialler, false);
    EXPECT_THAT(toneRequests(), IsEmpty());
    EXPECT_FALSE(log.contains("stopDialTone()"));
}

TEST_F(HotWarmFixture, MediaControlServiceIsLookedUpAtTheFirstDialTone)
{
    startService();
    EXPECT_EQ(DigitAnalysisServiceTestAccess::mediaControlService(*service), nullptr);
    service->playDialTone();
    EXPECT_EQ(DigitAnalysisServiceTestAccess::mediaControlService(*service), &harness.media);
    EXPECT_TRUE(log.contains("findMCS", 5));
}

TEST_F(HotWarmFixture, DialToneWaitsForAMediaControlServiceThatAppearsLate)
{
    harness.context.unregisterExecutable("MediaControlServiceIfc");
    startService();
    service->playDialTone();
    EXPECT_THAT(toneRequests(), IsEmpty());
    EXPECT_TRUE(log.contains("playDialTone()", 5));

    harness.context.registerExecutable("MediaControlServiceIfc", &harness.media);
    service->playDialTone();
    EXPECT_THAT(toneRequests(), ElementsAre(kPlayDialTone));
}

}  // namespace
