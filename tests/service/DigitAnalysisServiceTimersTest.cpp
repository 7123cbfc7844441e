// The five dialling timers: the record operations on the framework's timers, and what each
// expiry tells the dialler.

#include <cstdio>
#include <string>
#include <type_traits>
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

using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::Not;

namespace {

std::string operation(const char* what, int timerId) { return std::string(what) + " " + std::to_string(timerId); }

// Whether a client of the service could call the operation: false when it is private.
template <typename Service, typename = void>
struct ClientCanMakeTimer : std::false_type {};
template <typename Service>
struct ClientCanMakeTimer<Service, std::void_t<decltype(std::declval<Service&>().makeTimer(nullptr))>>
    : std::true_type {};
template <typename Service, typename = void>
struct ClientCanBeginTimer : std::false_type {};
template <typename Service>
struct ClientCanBeginTimer<Service, std::void_t<decltype(std::declval<Service&>().beginTimer(nullptr))>>
    : std::true_type {};
template <typename Service, typename = void>
struct ClientCanReadTimerRecord : std::false_type {};
template <typename Service>
struct ClientCanReadTimerRecord<Service, std::void_t<decltype(std::declval<const Service&>().autoDialTimer())>>
    : std::true_type {};

std::string pointerText(const void* pointer)
{
    char text[32];
    std::snprintf(text, sizeof text, "%p", pointer);
    return text;
}

class DiallingTimers : public ::testing::Test {
protected:
    CapturingLogSink log;
    ServiceHarness harness;
    DigitAnalysisService* service = nullptr;

    void startService(const std::string& softwareType = "Valtrek SIP")
    {
        harness.store.setItem("software-type", softwareType);
        service = &harness.start();
        service->setDialler(&harness.dialler);
        harness.context.clearTimerOperations();
        log.clear();
    }

    int dial(const std::string& digits, bool complete = false)
    {
        std::string text = digits;
        return service->dialString(&text, complete, &harness.dialler);
    }

    void lockPhone()
    {
        harness.store.setItem("phone-lock-active", "true");
        service->extractPhoneLockActiveData();
    }

    std::vector<std::string> timerOperations() const { return harness.context.timerOperations(); }
    std::vector<std::string> diallerCalls() const { return harness.dialler.calls(); }

    int initialDigitId() const { return DigitAnalysisServiceTestAccess::initialDigitTimer(*service).timerID; }
    int autoDialId() const { return DigitAnalysisServiceTestAccess::autoDialTimer(*service).timerID; }
    int extendedId() const { return DigitAnalysisServiceTestAccess::extendedInitialDigitTimer(*service).timerID; }
    int partyDetailsId() const { return DigitAnalysisServiceTestAccess::partyDetailsTimer(*service).timerID; }
    int dialPlanId() const { return DigitAnalysisServiceTestAccess::dialPlanTimer(*service).timerID; }
};

// ----- The record operations, on a record of the test's own -------------------------------

TEST_F(DiallingTimers, InitTimerDetailsGivesARecordWithoutTimer)
{
    startService();
    TimerDetails record{true, true, 7, 1};
    DigitAnalysisServiceTestAccess::initTimerDetails(*service, &record, 1234);
    EXPECT_EQ(record.timerID, -1);
    EXPECT_EQ(record.duration, 1234);
    EXPECT_FALSE(record.timerRunning);
    EXPECT_FALSE(record.updatePending);
    EXPECT_TRUE(log.contains("initTimerDetails", 5));
}

TEST_F(DiallingTimers, EveryRecordOperationLogsTheWholeRecord)
{
    startService();
    TimerDetails record;
    DigitAnalysisServiceTestAccess::initTimerDetails(*service, &record, 1000);
    const std::string at = pointerText(&record);

    DigitAnalysisServiceTestAccess::makeTimer(*service, &record);
    const std::string id = std::to_string(record.timerID);
    DigitAnalysisServiceTestAccess::beginTimer(*service, &record);
    DigitAnalysisServiceTestAccess::endTimer(*service, &record);
    DigitAnalysisServiceTestAccess::actionTimeout(*service, &record, record.timerID);

    EXPECT_TRUE(log.contains("makeTimer details = " + at +
                                 " (duration = 1000,  timerID = -1, timerRunning = 0, updatePending = 0)\n",
                             5));
    EXPECT_TRUE(log.contains("beginTimer details = " + at + " (duration = 1000,  timerID = " + id +
                                 ", timerRunning = 0, updatePending = 0)\n",
                             5));
    EXPECT_TRUE(log.contains("+ DigitAnalysisService::endTimer details = " + at + " (duration = 1000,  timerID = " +
                                 id + ", timerRunning = 1, updatePending = 0)\n",
                             5));
    EXPECT_TRUE(log.contains("actionTimeout details = " + at + " (duration = 1000,  timerID = " + id +
                                 ", timerRunning = 0, updatePending = 0)\n",
                             5));
}

TEST_F(DiallingTimers, MakeTimerCreatesTheTimerAndReplacesAnOldOne)
{
    startService();
    TimerDetails record;
    DigitAnalysisServiceTestAccess::initTimerDetails(*service, &record, 1000);
    ASSERT_TRUE(DigitAnalysisServiceTestAccess::makeTimer(*service, &record));
    const int first = record.timerID;
    record.duration = 2000;
    ASSERT_TRUE(DigitAnalysisServiceTestAccess::makeTimer(*service, &record));

    EXPECT_THAT(timerOperations(), ElementsAre(operation("create", first) + " 1000",
                                               operation("create", record.timerID) + " 2000", operation("delete", first)));
    EXPECT_FALSE(record.updatePending);
    EXPECT_FALSE(record.timerRunning);
}

TEST_F(DiallingTimers, MakeTimerOnARunningTimerOnlyMarksTheUpdateUntilItIsStopped)
{
    startService();
    TimerDetails record;
    DigitAnalysisServiceTestAccess::initTimerDetails(*service, &record, 1000);
    DigitAnalysisServiceTestAccess::makeTimer(*service, &record);
    DigitAnalysisServiceTestAccess::beginTimer(*service, &record);
    const int old = record.timerID;
    harness.context.clearTimerOperations();

    record.duration = 2000;
    EXPECT_TRUE(DigitAnalysisServiceTestAccess::makeTimer(*service, &record));
    EXPECT_TRUE(record.updatePending);
    EXPECT_EQ(record.timerID, old);
    EXPECT_THAT(timerOperations(), IsEmpty());
    EXPECT_TRUE(harness.context.timerRunning(old));
    EXPECT_EQ(harness.context.timerDuration(old), 1000);

    DigitAnalysisServiceTestAccess::endTimer(*service, &record);
    EXPECT_THAT(timerOperations(), ElementsAre(operation("stop", old), operation("create", record.timerID) + " 2000",
                                               operation("delete", old)));
    EXPECT_FALSE(record.updatePending);
    EXPECT_FALSE(record.timerRunning);
}

TEST_F(DiallingTimers, FailedCreationKeepsTheOldTimerAndIsRetriedAtTheNextStop)
{
    startService();
    TimerDetails record;
    DigitAnalysisServiceTestAccess::initTimerDetails(*service, &record, 1000);
    DigitAnalysisServiceTestAccess::makeTimer(*service, &record);
    const int old = record.timerID;
    harness.context.clearTimerOperations();

    harness.context.failNextTimerCreations(1);
    record.duration = 2000;
    EXPECT_FALSE(DigitAnalysisServiceTestAccess::makeTimer(*service, &record));
    EXPECT_EQ(record.timerID, old);
    EXPECT_TRUE(record.updatePending);

    DigitAnalysisServiceTestAccess::beginTimer(*service, &record);
    DigitAnalysisServiceTestAccess::endTimer(*service, &record);
    EXPECT_THAT(timerOperations(),
                ElementsAre("create-failed 2000", operation("reset", old), operation("start", old), operation("stop", old),
                            operation("create", record.timerID) + " 2000", operation("delete", old)));
    EXPECT_NE(record.timerID, old);
    EXPECT_FALSE(record.updatePending);
}

TEST_F(DiallingTimers, BeginTimerResetsThenStartsAStoppedTimerAndOnlyResetsARunningOne)
{
    startService();
    TimerDetails record;
    DigitAnalysisServiceTestAccess::initTimerDetails(*service, &record, 1000);
    DigitAnalysisServiceTestAccess::makeTimer(*service, &record);
    const int id = record.timerID;
    harness.context.clearTimerOperations();

    DigitAnalysisServiceTestAccess::beginTimer(*service, &record);
    EXPECT_TRUE(record.timerRunning);
    DigitAnalysisServiceTestAccess::beginTimer(*service, &record);
    EXPECT_THAT(timerOperations(), ElementsAre(operation("reset", id), operation("start", id), operation("reset", id)));
}

TEST_F(DiallingTimers, BeginTimerNeverStartsARecordWithoutATimer)
{
    startService();
    TimerDetails record;
    DigitAnalysisServiceTestAccess::initTimerDetails(*service, &record, 1000);
    DigitAnalysisServiceTestAccess::beginTimer(*service, &record);
    EXPECT_FALSE(record.timerRunning);
    EXPECT_THAT(timerOperations(), IsEmpty());
}

TEST_F(DiallingTimers, EndTimerStopsOnlyARunningTimer)
{
    startService();
    TimerDetails record;
    DigitAnalysisServiceTestAccess::initTimerDetails(*service, &record, 1000);
    DigitAnalysisServiceTestAccess::makeTimer(*service, &record);
    harness.context.clearTimerOperations();
    DigitAnalysisServiceTestAccess::endTimer(*service, &record);
    EXPECT_THAT(timerOperations(), IsEmpty());
    DigitAnalysisServiceTestAccess::beginTimer(*service, &record);
    DigitAnalysisServiceTestAccess::endTimer(*service, &record);
    EXPECT_THAT(timerOperations(), Contains(operation("stop", record.timerID)));
    EXPECT_FALSE(harness.context.timerRunning(record.timerID));
}

// The Auto Dial record's pending update decides how any record is begun: by re-creation
// (through endTimer) instead of a reset.
TEST_F(DiallingTimers, BeginTimerFollowsTheAutoDialRecordsPendingUpdateWhateverRecordIsBegun)
{
    harness.context.setTimerCreationFails(true);
    startService();
    harness.context.setTimerCreationFails(false);
    ASSERT_TRUE(DigitAnalysisServiceTestAccess::autoDialTimer(*service).updatePending);

    TimerDetails record;
    DigitAnalysisServiceTestAccess::initTimerDetails(*service, &record, 1000);
    DigitAnalysisServiceTestAccess::makeTimer(*service, &record);
    harness.context.clearTimerOperations();
    DigitAnalysisServiceTestAccess::beginTimer(*service, &record);
    EXPECT_THAT(timerOperations(), ElementsAre(operation("start", record.timerID)));
}

TEST_F(DiallingTimers, TimersThatCouldNotBeCreatedAtInitAreCreatedWhenFirstBegun)
{
    harness.context.setTimerCreationFails(true);
    startService();
    harness.context.setTimerCreationFails(false);

    service->startDialling("line1", &harness.dialler, false);
    // The Party Details record is stopped on the way (and so created), the Initial Digit
    // record is begun, which with the Auto Dial update pending goes through a stop too.
    const int created = initialDigitId();
    ASSERT_NE(created, -1);
    EXPECT_THAT(timerOperations(), ElementsAre(operation("create", partyDetailsId()) + " 250",
                                               operation("create", created) + " 30000", operation("start", created)));
    EXPECT_EQ(DigitAnalysisServiceTestAccess::autoDialTimer(*service).timerID, -1);
    EXPECT_TRUE(DigitAnalysisServiceTestAccess::autoDialTimer(*service).updatePending);

    harness.context.advance(30000);
    EXPECT_THAT(diallerCalls(), ElementsAre("handleDialingStarted line1", "handleInitialDigitTimeout "));
}

TEST_F(DiallingTimers, ActionTimeoutActsOnlyOnTheRunningTimerOfTheRecord)
{
    startService();
    TimerDetails record;
    DigitAnalysisServiceTestAccess::initTimerDetails(*service, &record, 1000);
    DigitAnalysisServiceTestAccess::makeTimer(*service, &record);
    DigitAnalysisServiceTestAccess::beginTimer(*service, &record);

    EXPECT_TRUE(DigitAnalysisServiceTestAccess::actionTimeout(*service, &record, record.timerID));
    EXPECT_FALSE(record.timerRunning);
    EXPECT_FALSE(DigitAnalysisServiceTestAccess::actionTimeout(*service, &record, record.timerID));
    EXPECT_FALSE(log.contains("actionTimeout - timeout from a timer that has been updated!\n"));

    EXPECT_FALSE(DigitAnalysisServiceTestAccess::actionTimeout(*service, &record, record.timerID + 100));
    EXPECT_TRUE(log.contains("actionTimeout - timeout from a timer that has been updated!\n", 5));
}

// ----- Expiries ---------------------------------------------------------------------------

TEST_F(DiallingTimers, AnExpiryOfAnUnknownTimerIsLoggedAsInvalid)
{
    startService();
    service->timerEvent(99);
    service->timerEvent(-1);
    EXPECT_TRUE(log.contains("timerEvent(timerId = 99)", 5));
    EXPECT_EQ(log.count("timerEvent(timerId): Invalid timer event."), 2);
    EXPECT_TRUE(log.contains("timerEvent(timerId): Invalid timer event.", 2));
    EXPECT_THAT(diallerCalls(), IsEmpty());
}

TEST_F(DiallingTimers, InitialDigitExpiryTellsTheDiallerTheLatestDigits)
{
    startService();
    service->startDialling("line1", &harness.dialler, false);
    harness.context.advance(30000);
    EXPECT_THAT(diallerCalls(), ElementsAre("handleDialingStarted line1", "handleInitialDigitTimeout "));
    EXPECT_TRUE(log.contains("timerEvent(timerId): Initial Digit Time Out Event", 5));
    const int id = initialDigitId();
    EXPECT_THAT(timerOperations(), ElementsAre(operation("reset", id), operation("start", id), operation("expire", id),
                                               operation("stop", id)));
}

TEST_F(DiallingTimers, InitialDigitExpiryWithoutDiallerIsLoggedAsError)
{
    startService();
    service->startDialling("line1", &harness.dialler, false);
    service->setDialler(nullptr);
    harness.context.advance(30000);
    EXPECT_TRUE(log.contains("No Dialler to receive Initial Digit Time Out Event", 2));
    EXPECT_THAT(diallerCalls(), ElementsAre("handleDialingStarted line1"));
}

TEST_F(DiallingTimers, InitialDigitExpiryAfterStopDiallingIsIgnored)
{
    startService();
    service->startDialling("line1", &harness.dialler, false);
    service->stopDialling(&harness.dialler);
    harness.dialler.clear();
    harness.context.deliverExpiry(initialDigitId());
    EXPECT_TRUE(log.contains("timerEvent(timerId): Initial Digit Time Out Event", 5));
    EXPECT_TRUE(log.contains("timerEvent(timerId): Ignoring Initial Digit Time Out Event", 5));
    EXPECT_THAT(diallerCalls(), IsEmpty());
}

TEST_F(DiallingTimers, AutoDialExpiryAfterStopDiallingIsIgnored)
{
    startService();
    service->startDialling("line1", &harness.dialler, false);
    dial("12");
    ASSERT_TRUE(DigitAnalysisServiceTestAccess::autoDialTimer(*service).timerRunning);
    service->stopDialling(&harness.dialler);
    harness.dialler.clear();
    harness.context.deliverExpiry(autoDialId());
    EXPECT_TRUE(log.contains("timerEvent(timerId): Ignoring Auto Dial (inter digit) Time Out Event", 5));
    EXPECT_FALSE(log.contains("timerEvent(timerId): Auto Dial (inter digit) Time Out Event"));
    EXPECT_THAT(diallerCalls(), IsEmpty());
}

TEST_F(DiallingTimers, AutoDialExpirySendsTheLatestDigits)
{
    startService();
    service->startDialling("line1", &harness.dialler, false);
    dial("1");
    dial("12");
    harness.context.advance(6000);
    EXPECT_THAT(diallerCalls(), ElementsAre("handleDialingStarted line1", "handleInterDigitTimeout 12"));
    EXPECT_TRUE(log.contains("timerEvent(timerId): Auto Dial (inter digit) Time Out Event", 5));
    EXPECT_TRUE(log.contains("m_dialler->handleInitialDigitTimeout 0 12", 5));
}

TEST_F(DiallingTimers, AutoDialExpiryWithoutDiallerIsLoggedAsError)
{
    startService();
    service->startDialling("line1", &harness.dialler, false);
    dial("12");
    service->setDialler(nullptr);
    harness.context.advance(6000);
    EXPECT_TRUE(log.contains("No Dialler to receive Auto Dial (inter digit) Time Out Event", 2));
    EXPECT_THAT(diallerCalls(), ElementsAre("handleDialingStarted line1"));
}

TEST_F(DiallingTimers, LockedPhoneKeepsAnInterDigitExpiryOfOrdinaryDigitsFromEveryone)
{
    startService();
    service->startDialling("line1", &harness.dialler, false);
    dial("555");
    lockPhone();
    harness.context.advance(6000);
    EXPECT_THAT(diallerCalls(), ElementsAre("handleDialingStarted line1"));
    EXPECT_FALSE(log.contains("m_dialler->handleInitialDigitTimeout 1 555"));
}

TEST_F(DiallingTimers, LockedPhoneDeliversAnInterDigitExpiryOfTheEmergencyNumber)
{
    startService();
    service->startDialling("line1", &harness.dialler, false);
    dial("555");
    // Configured while the wait runs: dialled before, the number would have gone at once.
    harness.store.setItem("emergency-e164", "555");
    service->extractEmergencyE164Data();
    lockPhone();
    harness.context.advance(6000);
    EXPECT_THAT(diallerCalls(), ElementsAre("handleDialingStarted line1", "handleInterDigitTimeout 555"));
    EXPECT_TRUE(log.contains("m_dialler->handleInitialDigitTimeout 1 555", 5));
}

TEST_F(DiallingTimers, LockedPhoneDeliversAnInterDigitExpiryWhenDigitsAndEmergencyNumberAreBothEmpty)
{
    ScopedHardwareVariant variant(3);
    startService();
    service->startDialling("line1", &harness.dialler, false);
    lockPhone();
    service->resetAutoDialTimer();
    harness.context.advance(6000);
    EXPECT_THAT(diallerCalls(), ElementsAre("handleDialingStarted line1", "handleInterDigitTimeout "));
}

TEST_F(DiallingTimers, SoftwareType2OnVariant3SendsZeroAtTheInterDigitExpiry)
{
    ScopedHardwareVariant variant(3);
    startService("Valtrek NRX");
    service->startDialling("line1", &harness.dialler, false);
    dial("123");
    dial("123", true);
    harness.context.advance(6000);
    EXPECT_THAT(diallerCalls(), ElementsAre("handleDialingStarted line1", "handleInterDigitTimeout 0"));
}

TEST_F(DiallingTimers, SoftwareType2OnVariant4SendsZeroAtTheInterDigitExpiry)
{
    ScopedHardwareVariant variant(4);
    startService("Valtrek NRX");
    service->startDialling("line1", &harness.dialler, false);
    harness.context.advance(6000);
    EXPECT_THAT(diallerCalls(), ElementsAre("handleDialingStarted line1", "handleInterDigitTimeout 0"));
}

TEST_F(DiallingTimers, SoftwareType3OnVariant3SendsTheLatestDigitsUnchanged)
{
    ScopedHardwareVariant variant(3);
    startService("Valtrek TDM");
    service->startDialling("line1", &harness.dialler, false);
    harness.context.advance(6000);
    EXPECT_THAT(diallerCalls(), ElementsAre("handleDialingStarted line1", "handleInterDigitTimeout "));
}

TEST_F(DiallingTimers, SoftwareType1OnVariant3SendsWhatWasDialled)
{
    ScopedHardwareVariant variant(3);
    startService();
    service->startDialling("line1", &harness.dialler, false);
    dial("123");
    harness.context.advance(6000);
    EXPECT_THAT(diallerCalls(), ElementsAre("handleDialingStarted line1", "handleInterDigitTimeout 123"));
}

TEST_F(DiallingTimers, ResetAutoDialTimerOnVariant0HasNoEffect)
{
    ScopedHardwareVariant variant(0);
    startService();
    service->startDialling("line1", &harness.dialler, false);
    dial("1");
    harness.context.clearTimerOperations();
    harness.context.advance(5000);
    service->resetAutoDialTimer();
    EXPECT_THAT(timerOperations(), IsEmpty());
    harness.context.advance(1000);
    EXPECT_THAT(diallerCalls(), ElementsAre("handleDialingStarted line1", "handleInterDigitTimeout 1"));
}

TEST_F(DiallingTimers, ResetAutoDialTimerOnVariant3ExtendsTheInterDigitWait)
{
    ScopedHardwareVariant variant(3);
    startService();
    service->startDialling("line1", &harness.dialler, false);
    dial("1");
    harness.context.clearTimerOperations();
    harness.context.advance(5000);
    service->resetAutoDialTimer();
    EXPECT_THAT(timerOperations(), ElementsAre(operation("reset", autoDialId())));
    harness.context.advance(5000);
    EXPECT_THAT(diallerCalls(), ElementsAre("handleDialingStarted line1"));
    harness.context.advance(1000);
    EXPECT_THAT(diallerCalls(), ElementsAre("handleDialingStarted line1", "handleInterDigitTimeout 1"));
}

TEST_F(DiallingTimers, ResetAutoDialTimerOnVariant4StartsAStoppedInterDigitTimer)
{
    ScopedHardwareVariant variant(4);
    startService();
    service->resetAutoDialTimer();
    EXPECT_THAT(timerOperations(), ElementsAre(operation("reset", autoDialId()), operation("start", autoDialId())));
}

TEST_F(DiallingTimers, ExtendedInitialDigitExpiryTellsTheDiallerTheLatestDigits)
{
    startService();
    service->startDialling("line1", &harness.dialler, false);
    service->suspendDialling();
    harness.context.advance(119999);
    EXPECT_THAT(diallerCalls(), ElementsAre("handleDialingStarted line1"));
    harness.context.advance(1);
    EXPECT_THAT(diallerCalls(), ElementsAre("handleDialingStarted line1", "handleInitialDigitTimeout "));
    EXPECT_TRUE(log.contains("timerEvent(timerId): Extended Initial Digit Time Out Event", 5));
}

TEST_F(DiallingTimers, PartyDetailsExpiryStartsDiallingWithoutPartyDetails)
{
    startService();
    service->setCallContextProvider(&harness.provider);
    service->startDialling("line1", &harness.dialler, false);
    harness.context.advance(250);
    EXPECT_TRUE(log.contains("timerEvent(timerId): Party Details Time Out Event", 5));
    EXPECT_TRUE(log.contains("dialPartyDetailsResponse, dialPartyDetailsValid: 0, isFollowOnCall: 0", 5));
    EXPECT_THAT(harness.provider.calls(), ElementsAre("getDialPartyDetails"));
    EXPECT_THAT(diallerCalls(), ElementsAre("handleDialingStarted line1"));
    EXPECT_TRUE(DigitAnalysisServiceTestAccess::initialDigitTimer(*service).timerRunning);
}

TEST_F(DiallingTimers, PartyDetailsExpiryAfterTheAnswerIsIgnored)
{
    startService();
    service->setCallContextProvider(&harness.provider);
    service->startDialling("line1", &harness.dialler, false);
    CallPartyIdentifier party("Bob", "200", "sip:200@pbx");
    service->dialPartyDetailsResponse(party, true, false);
    harness.dialler.clear();
    harness.context.deliverExpiry(partyDetailsId());
    EXPECT_TRUE(log.contains("timerEvent(timerId): Party Details Time Out Event", 5));
    EXPECT_TRUE(log.contains("timerEvent(timerId): Ignoring Party Details Time Out Event", 5));
    EXPECT_THAT(diallerCalls(), IsEmpty());
}

// ----- Dial plan timer: expiry and re-making with a new duration ---------------------------

class DialPlanTimer : public DiallingTimers {
protected:
    // Two "S" entries with a timer: "1" waits 3 s, "2" waits 5 s.
    void configureTwoTimerEntries()
    {
        ManageableData data;
        data.populate("dial-plan-enabled", "dial-plan-enabled", "true");
        data.populate("dial-plan-id", "dial-plan-id", "timers");
        data.populate("dialPlanSettings", "dialPlanEntry[1]/digit-string", "1");
        data.populate("dialPlanSettings", "dialPlanEntry[1]/action", "S");
        data.populate("dialPlanSettings", "dialPlanEntry[1]/timer", "3");
        data.populate("dialPlanSettings", "dialPlanEntry[2]/digit-string", "2");
        data.populate("dialPlanSettings", "dialPlanEntry[2]/action", "S");
        data.populate("dialPlanSettings", "dialPlanEntry[2]/timer", "5");
        ASSERT_TRUE(DigitAnalysisServiceTestAccess::getDialPlan(*service)->setData(data));
        ASSERT_TRUE(DigitAnalysisServiceTestAccess::getDialPlan(*service)->getEnabled());
    }
};

TEST_F(DialPlanTimer, ExpirySendsTheLatestDigitsWithoutTheInterDigitLogLine)
{
    startService();
    configureTwoTimerEntries();
    service->startDialling("line1", &harness.dialler, false);
    dial("1");
    harness.context.advance(2999);
    EXPECT_THAT(diallerCalls(), ElementsAre("handleDialingStarted line1"));
    harness.context.advance(1);
    EXPECT_THAT(diallerCalls(), ElementsAre("handleDialingStarted line1", "handleInterDigitTimeout 1"));
    EXPECT_TRUE(log.contains("timerEvent(timerId): Dial Plan Time Out Event", 5));
    EXPECT_FALSE(log.contains("m_dialler->handleInitialDigitTimeout 0 1"));
}

TEST_F(DialPlanTimer, ExpiryWithoutDiallerIsLoggedAsError)
{
    startService();
    configureTwoTimerEntries();
    service->startDialling("line1", &harness.dialler, false);
    dial("1");
    service->setDialler(nullptr);
    harness.context.advance(3000);
    EXPECT_TRUE(log.contains("No Dialler to receive Dial Plan Time Out Event", 2));
    EXPECT_THAT(diallerCalls(), ElementsAre("handleDialingStarted line1"));
}

TEST_F(DialPlanTimer, ExpiryOfAStoppedDialPlanTimerIsIgnored)
{
    startService();
    configureTwoTimerEntries();
    service->startDialling("line1", &harness.dialler, false);
    dial("1");
    dial("");
    harness.dialler.clear();
    harness.context.deliverExpiry(dialPlanId());
    EXPECT_TRUE(log.contains("timerEvent(timerId): Ignoring Dial Plan Time Out Event", 5));
    EXPECT_THAT(diallerCalls(), IsEmpty());
}

// A new duration while the timer runs: it goes on with the old one, is re-created when it
// stops, and a late expiry of the replaced timer is recognised as stale.
TEST_F(DialPlanTimer, ChangedDurationWhileRunningTakesEffectAfterTheStopAndTheOldExpiryIsStale)
{
    startService();
    configureTwoTimerEntries();
    service->startDialling("line1", &harness.dialler, false);
    dial("1");
    const int threeSeconds = dialPlanId();
    ASSERT_EQ(harness.context.timerDuration(threeSeconds), 3000);
    service->stopDialling(&harness.dialler);
    ASSERT_TRUE(DigitAnalysisServiceTestAccess::dialPlanTimer(*service).timerRunning) << "stopDialling leaves the dial plan timer alone";

    service->startDialling("line1", &harness.dialler, false);
    harness.context.clearTimerOperations();
    dial("2");
    EXPECT_EQ(DigitAnalysisServiceTestAccess::dialPlanTimer(*service).timerID, threeSeconds);
    EXPECT_EQ(DigitAnalysisServiceTestAccess::dialPlanTimer(*service).duration, 5000);
    EXPECT_TRUE(DigitAnalysisServiceTestAccess::dialPlanTimer(*service).updatePending);
    EXPECT_EQ(harness.context.timerDuration(threeSeconds), 3000);
    EXPECT_THAT(timerOperations(), Contains(operation("reset", threeSeconds)));
    EXPECT_THAT(timerOperations(), Not(Contains(::testing::StartsWith("create"))));

    harness.context.advance(3000);
    const int fiveSeconds = dialPlanId();
    EXPECT_NE(fiveSeconds, threeSeconds);
    EXPECT_EQ(harness.context.timerDuration(fiveSeconds), 5000);
    EXPECT_FALSE(harness.context.timerExists(threeSeconds));
    EXPECT_FALSE(DigitAnalysisServiceTestAccess::dialPlanTimer(*service).updatePending);
    EXPECT_THAT(diallerCalls(), Contains("handleInterDigitTimeout 2"));

    harness.dialler.clear();
    log.clear();
    service->timerEvent(threeSeconds);  // the framework's copy of the old expiry, already on its way
    EXPECT_TRUE(log.contains("actionTimeout - timeout from a timer that has been updated!\n", 5));
    EXPECT_TRUE(log.contains("timerEvent(timerId): Ignoring Dial Plan Time Out Event", 5));
    EXPECT_FALSE(log.contains("timerEvent(timerId): Invalid timer event."));
    EXPECT_THAT(diallerCalls(), IsEmpty());
}

// The timer records are the service's own bookkeeping: a client (the framework, a dialler)
// drives timers only through the service's operations; the tests reach the records through
// DigitAnalysisServiceTestAccess.
TEST(DiallingTimerRecords, AreNotPartOfTheServicesPublicFace)
{
    EXPECT_FALSE(ClientCanMakeTimer<DigitAnalysisService>::value);
    EXPECT_FALSE(ClientCanBeginTimer<DigitAnalysisService>::value);
    EXPECT_FALSE(ClientCanReadTimerRecord<DigitAnalysisService>::value);
}

}  // namespace
