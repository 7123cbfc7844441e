// Configuration changes at run time: replacing or merging the canonical dial settings,
// single items, timers re-made when their duration changes, dial plan switches and reload,
// and the management reads and writes passed to the dial plan.

#include <algorithm>
#include <cstdint>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "DialPlan.h"
#include "DigitAnalysisServiceTestAccess.h"
#include "ServiceHarness.h"

using ::testing::ElementsAre;
using ::testing::IsEmpty;

namespace {

// A change notification as the configuration store sends it.
class Notification {
public:
    Notification& item(const std::string& key, const std::string& value)
    {
        m_data.populate(key, key, value);
        return *this;
    }
    Notification& setting(const std::string& key, const std::string& value)
    {
        m_data.populate("canonicalDialSettings", key, value);
        return *this;
    }
    Notification& completeReplacement()
    {
        m_data.addRootId("new-canonical-settings");
        return *this;
    }
    ManageableData& data() { return m_data; }

private:
    ManageableData m_data;
};

class ConfigurationChange : public ::testing::Test {
protected:
    CapturingLogSink log;
    ServiceHarness harness;

    DigitAnalysisService& start()
    {
        auto& service = harness.start();
        harness.context.clearTimerOperations();
        log.clear();
        return service;
    }

    void notify(Notification& notification) { harness.service().manageableDataChanged(notification.data()); }
    void notify(Notification&& notification) { notify(notification); }

    std::string setting(const std::string& key) { return DigitAnalysisServiceTestAccess::canonicalSettings(harness.service()).at(key); }
};

// ---- classification --------------------------------------------------------------------

TEST_F(ConfigurationChange, ClassifiesEveryRootIdBeforeApplyingAny)
{
    start();
    notify(Notification().item("emergency-e164", "911").item("no-such-item", "x").completeReplacement());
    const auto texts = log.texts(5);
    ASSERT_GE(texts.size(), 5u);
    EXPECT_THAT(std::vector<std::string>(texts.begin(), texts.begin() + 5),
                ElementsAre("manageableDataChanged", "other emergency-e164", "other no-such-item", "new settings",
                            "emergency e164 911"));
}

// ---- canonical dial settings -------------------------------------------------------------

TEST_F(ConfigurationChange, CompleteReplacementDropsItemsTheNewSettingsLack)
{
    harness.setGermanCanonicalSettings();
    start();
    ASSERT_EQ(setting("areaCode"), "89");

    notify(Notification().completeReplacement().setting("countryCode", "44").setting("nationalPrefix", "0"));

    EXPECT_EQ(setting("countryCode"), "44");
    EXPECT_EQ(setting("nationalPrefix"), "0");
    EXPECT_EQ(setting("areaCode"), "");
    EXPECT_EQ(setting("internationalPrefix"), "");
    EXPECT_TRUE(harness.service().isCanonicalDataValid());
}

TEST_F(ConfigurationChange, CompleteReplacementLogsTheNewSettingsWithoutTheMark)
{
    start();
    Notification notification;
    notification.completeReplacement().setting("countryCode", "44");
    notify(notification);
    EXPECT_TRUE(log.contains("new settings", 5));
    EXPECT_TRUE(log.contains("canonical", 5));
    EXPECT_TRUE(log.contains("new canonical dial settings\n canonicalDialSettings{countryCode=\"44\"}", 5));
}

TEST_F(ConfigurationChange, CompleteReplacementResetsDialFormsToTheirDefaults)
{
    harness.setCanonicalSetting("dialNeedsAccessCode", "0");
    harness.setCanonicalSetting("dialExternalForm", "2");
    start();
    ASSERT_EQ(setting("dialNeedsAccessCode"), "0");
    notify(Notification().completeReplacement().setting("countryCode", "44"));
    EXPECT_EQ(setting("dialNeedsAccessCode"), "1");
    EXPECT_EQ(setting("dialExternalForm"), "0");
}

TEST_F(ConfigurationChange, PartialMergeKeepsItemsTheChangeLacks)
{
    harness.setGermanCanonicalSettings();
    start();

    notify(Notification().setting("countryCode", "44"));

    EXPECT_EQ(setting("countryCode"), "44");
    EXPECT_EQ(setting("areaCode"), "89");
    EXPECT_EQ(setting("internationalPrefix"), "00");
    EXPECT_TRUE(harness.service().isCanonicalDataValid());
}

TEST_F(ConfigurationChange, PartialMergeLogsTheChangeAndTheMergedSettings)
{
    harness.setCanonicalSetting("countryCode", "49");
    harness.setCanonicalSetting("areaCode", "89");
    start();
    notify(Notification().setting("areaCode", "30"));
    EXPECT_TRUE(log.contains("canonical", 5));
    EXPECT_TRUE(log.contains("additional canonical dial settings\n canonicalDialSettings{areaCode=\"30\"}", 5));
    const auto texts = log.texts(5);
    const auto all = std::find_if(texts.begin(), texts.end(), [](const std::string& text) {
        return text.rfind("all canonical dial settings\n canonicalDialSettings{", 0) == 0;
    });
    ASSERT_NE(all, texts.end());
    EXPECT_NE(all->find("countryCode=\"49\""), std::string::npos);
    EXPECT_NE(all->find("areaCode=\"30\""), std::string::npos);
}

TEST_F(ConfigurationChange, PartialMergeReplacesTheLookUpRows)
{
    start();
    ManageableData change;
    change.populate("canonicalDialSettings", "lookUp[1]/localCode", "089");
    change.populate("canonicalDialSettings", "lookUp[1]/internationalCode", "4989");
    harness.service().manageableDataChanged(change);
    EXPECT_THAT(DigitAnalysisServiceTestAccess::localCodeLookup(harness.service()), ElementsAre(std::make_pair(std::string("089"), std::string("4989"))));
}

TEST_F(ConfigurationChange, CompleteReplacementDoesNotApplyOtherItemsOfTheNotification)
{
    harness.store.setItem("autodialtimer", "6");
    start();
    notify(Notification().completeReplacement().setting("countryCode", "44").item("autodialtimer", "8"));
    EXPECT_EQ(DigitAnalysisServiceTestAccess::autoDialTimer(harness.service()).duration, 6000);
    EXPECT_FALSE(log.contains("autoDial duration = 8000"));
    EXPECT_THAT(harness.context.timerOperations(), IsEmpty());
}

TEST_F(ConfigurationChange, NewSettingsMarkAloneChangesNothing)
{
    harness.setGermanCanonicalSettings();
    start();
    const auto before = DigitAnalysisServiceTestAccess::canonicalSettings(harness.service());
    notify(Notification().completeReplacement());
    EXPECT_EQ(DigitAnalysisServiceTestAccess::canonicalSettings(harness.service()), before);
    EXPECT_TRUE(log.contains("new settings", 5));
    EXPECT_FALSE(log.contains("canonical", 5));
}

// ---- timers ---------------------------------------------------------------------------

TEST_F(ConfigurationChange, AutoDialTimerUnchangedDurationRemakesNoTimer)
{
    harness.store.setItem("autodialtimer", "6");
    start();
    notify(Notification().item("autodialtimer", "6"));
    EXPECT_EQ(DigitAnalysisServiceTestAccess::autoDialTimer(harness.service()).duration, 6000);
    EXPECT_THAT(harness.context.timerOperations(), IsEmpty());
    EXPECT_EQ(log.count("autoDial duration = 6000"), 0);
}

TEST_F(ConfigurationChange, AutoDialTimerNewDurationRemakesTheTimer)
{
    harness.store.setItem("autodialtimer", "6");
    auto& service = start();
    const int oldTimer = DigitAnalysisServiceTestAccess::autoDialTimer(service).timerID;

    notify(Notification().item("autodialtimer", "8"));

    EXPECT_EQ(DigitAnalysisServiceTestAccess::autoDialTimer(service).duration, 8000);
    EXPECT_TRUE(log.contains("autoDial duration = 8000", 5));
    const int newTimer = DigitAnalysisServiceTestAccess::autoDialTimer(service).timerID;
    EXPECT_NE(newTimer, oldTimer);
    EXPECT_THAT(harness.context.timerOperations(),
                ElementsAre("create " + std::to_string(newTimer) + " 8000", "delete " + std::to_string(oldTimer)));
    EXPECT_EQ(harness.context.timerDuration(newTimer), 8000);
}

TEST_F(ConfigurationChange, AutoDialTimerEmptyValueIsIgnored)
{
    harness.store.setItem("autodialtimer", "6");
    start();
    notify(Notification().item("autodialtimer", ""));
    EXPECT_EQ(DigitAnalysisServiceTestAccess::autoDialTimer(harness.service()).duration, 6000);
    EXPECT_THAT(harness.context.timerOperations(), IsEmpty());
}

TEST_F(ConfigurationChange, AutoDialTimerZeroSetsZeroMilliseconds)
{
    start();
    notify(Notification().item("autodialtimer", "0"));
    EXPECT_EQ(DigitAnalysisServiceTestAccess::autoDialTimer(harness.service()).duration, 0);
    EXPECT_TRUE(log.contains("autoDial duration = 0", 5));
}

TEST_F(ConfigurationChange, AutoDialTimerThatCannotBeRemadeIsLoggedAndKeepsTheDuration)
{
    start();
    harness.context.failNextTimerCreations(1);
    notify(Notification().item("autodialtimer", "9"));
    EXPECT_EQ(DigitAnalysisServiceTestAccess::autoDialTimer(harness.service()).duration, 9000);
    EXPECT_TRUE(log.contains("Could not create a new Auto Dial (aka interDigit) Timer.", 2));
}

TEST_F(ConfigurationChange, InitialDigitTimerNewDurationRemakesTheTimer)
{
    auto& service = start();
    const int oldTimer = DigitAnalysisServiceTestAccess::initialDigitTimer(service).timerID;
    notify(Notification().item("initial-digit-timer", "45"));
    EXPECT_EQ(DigitAnalysisServiceTestAccess::initialDigitTimer(service).duration, 45000);
    EXPECT_TRUE(log.contains("duration = 45000", 5));
    const int newTimer = DigitAnalysisServiceTestAccess::initialDigitTimer(service).timerID;
    EXPECT_THAT(harness.context.timerOperations(),
                ElementsAre("create " + std::to_string(newTimer) + " 45000", "delete " + std::to_string(oldTimer)));
}

TEST_F(ConfigurationChange, InitialDigitTimerUnchangedOrEmptyRemakesNoTimer)
{
    start();
    notify(Notification().item("initial-digit-timer", "30"));
    notify(Notification().item("initial-digit-timer", ""));
    EXPECT_EQ(DigitAnalysisServiceTestAccess::initialDigitTimer(harness.service()).duration, 30000);
    EXPECT_THAT(harness.context.timerOperations(), IsEmpty());
    EXPECT_FALSE(log.contains("duration = 30000"));
}

TEST_F(ConfigurationChange, InitialDigitTimerThatCannotBeRemadeIsLogged)
{
    start();
    harness.context.failNextTimerCreations(1);
    notify(Notification().item("initial-digit-timer", "12"));
    EXPECT_EQ(DigitAnalysisServiceTestAccess::initialDigitTimer(harness.service()).duration, 12000);
    EXPECT_TRUE(log.contains("Could not create a new Initial Digit Timer.", 2));
}

TEST_F(ConfigurationChange, TimerValueThatIsNotANumberGivesZero)
{
    start();
    notify(Notification().item("initial-digit-timer", "abc"));
    EXPECT_EQ(DigitAnalysisServiceTestAccess::initialDigitTimer(harness.service()).duration, 0);
}

// ---- single items -----------------------------------------------------------------------

TEST_F(ConfigurationChange, EmergencyE164IsStoredAndAnEmptyValueClearsIt)
{
    start();
    notify(Notification().item("emergency-e164", "+4989112"));
    EXPECT_EQ(DigitAnalysisServiceTestAccess::emergencyE164(harness.service()), "+4989112");
    EXPECT_TRUE(log.contains("emergency e164 +4989112", 5));
    notify(Notification().item("emergency-e164", ""));
    EXPECT_EQ(DigitAnalysisServiceTestAccess::emergencyE164(harness.service()), "");
    EXPECT_TRUE(log.contains("emergency e164 ", 5));
}

TEST_F(ConfigurationChange, PhoneLockOnlyForExactlyTrue)
{
    start();
    notify(Notification().item("phone-lock-active", "true"));
    EXPECT_TRUE(DigitAnalysisServiceTestAccess::phoneLockActive(harness.service()));
    EXPECT_TRUE(log.contains("phone lock true", 5));
    notify(Notification().item("phone-lock-active", "TRUE"));
    EXPECT_FALSE(DigitAnalysisServiceTestAccess::phoneLockActive(harness.service()));
    EXPECT_TRUE(log.contains("phone lock TRUE", 5));
}

TEST_F(ConfigurationChange, HotWarmPhoneTypeAndDigits)
{
    start();
    notify(Notification().item("hot-line-warm-line", "2").item("hot-line-warm-line-digits", "4711"));
    EXPECT_EQ(DigitAnalysisServiceTestAccess::hotWarmPhoneType(harness.service()), 2);
    EXPECT_EQ(DigitAnalysisServiceTestAccess::hotWarmPhoneDigits(harness.service()), "4711");
    EXPECT_TRUE(log.contains("hot warm phone type 2", 5));
    EXPECT_TRUE(log.contains("hot warm digits 4711", 5));
    notify(Notification().item("hot-line-warm-line", "warm"));
    EXPECT_EQ(DigitAnalysisServiceTestAccess::hotWarmPhoneType(harness.service()), 0);
}

TEST_F(ConfigurationChange, DialPlanSwitches)
{
    auto& service = start();
    notify(Notification().item("dial-plan-enabled", "true").item("hot-keypad-dialling", "true"));
    EXPECT_TRUE(DigitAnalysisServiceTestAccess::getDialPlan(service)->getEnabled());
    EXPECT_TRUE(DigitAnalysisServiceTestAccess::getDialPlan(service)->getImmediateDiallingEnabled());
    EXPECT_TRUE(log.contains("dial plan enabled = true", 5));
    EXPECT_TRUE(log.contains("immediate dialling = true", 5));
    notify(Notification().item("dial-plan-enabled", "yes").item("hot-keypad-dialling", "True"));
    EXPECT_FALSE(DigitAnalysisServiceTestAccess::getDialPlan(service)->getEnabled());
    EXPECT_FALSE(DigitAnalysisServiceTestAccess::getDialPlan(service)->getImmediateDiallingEnabled());
}

TEST_F(ConfigurationChange, FacPrefixNumbersReplaceTheList)
{
    start();
    notify(Notification().item("fac-prefix-numbers", "*7,#8"));
    EXPECT_THAT(DigitAnalysisServiceTestAccess::facPrefixes(harness.service()), ElementsAre("*7", "#8"));
    EXPECT_TRUE(log.contains("FAC prefix numbers = *7,#8", 5));
    notify(Notification().item("fac-prefix-numbers", ""));
    EXPECT_THAT(DigitAnalysisServiceTestAccess::facPrefixes(harness.service()), IsEmpty());
}

TEST_F(ConfigurationChange, ServerTypeSevenSetsTheFlagAndZeroSevenClearsIt)
{
    start();
    notify(Notification().item("server-type", "7"));
    EXPECT_TRUE(DigitAnalysisServiceTestAccess::ringCentralServer(harness.service()));
    EXPECT_TRUE(log.contains("server-type = 7", 5));
    notify(Notification().item("server-type", "07"));
    EXPECT_FALSE(DigitAnalysisServiceTestAccess::ringCentralServer(harness.service()));
    EXPECT_TRUE(log.contains("server-type = 07", 5));
}

TEST_F(ConfigurationChange, UnknownKeysAreIgnored)
{
    harness.setGermanCanonicalSettings();
    auto& service = start();
    const auto settings = DigitAnalysisServiceTestAccess::canonicalSettings(service);
    notify(Notification().item("no-such-item", "7").item("software-type", "Valtrek NRX").item("Server-Type", "7"));
    EXPECT_EQ(DigitAnalysisServiceTestAccess::canonicalSettings(service), settings);
    EXPECT_FALSE(DigitAnalysisServiceTestAccess::ringCentralServer(service));
    EXPECT_EQ(DigitAnalysisServiceTestAccess::getSoftwareType(service), 0);
    EXPECT_THAT(harness.context.timerOperations(), IsEmpty());
    EXPECT_THAT(log.texts(5), ElementsAre("manageableDataChanged", "other no-such-item", "other software-type",
                                          "other Server-Type"));
}

// ---- dial plan reload ------------------------------------------------------------------

class DialPlanReload : public ConfigurationChange {
protected:
    // Stores a one-entry plan "stored-plan" and then changes the plan held in memory.
    void storePlanThenChangeIt()
    {
        DialPlan* plan = DigitAnalysisServiceTestAccess::getDialPlan(start());
        plan->setIdentity("stored-plan");
        plan->setEnabled(true);
        t_dialPlanEntry* entry = plan->getEntry(0);
        entry->digitString = "0xxxx";
        entry->action = "S";
        plan->setNumberOfEntries(1);
        ASSERT_TRUE(plan->writeDialPlanOverviewToDAS());
        ASSERT_TRUE(plan->writeDialPlanEntriesToDAS());
        plan->setIdentity("changed-in-memory");
        plan->setNumberOfEntries(0);
        harness.das.clearRequests();
        log.clear();
    }
};

TEST_F(DialPlanReload, BaseUserReReadsThePlanFromStorage)
{
    storePlanThenChangeIt();
    notify(Notification().item("mobility-current-user", "base"));
    DialPlan* plan = DigitAnalysisServiceTestAccess::getDialPlan(harness.service());
    EXPECT_TRUE(log.contains("mobility current user = base", 5));
    EXPECT_EQ(plan->getIdentity(), "stored-plan");
    ASSERT_EQ(plan->getNumberOfEntries(), 1);
    EXPECT_EQ(plan->getEntry(0)->digitString, "0xxxx");
    EXPECT_EQ(harness.das.requests().size(), 2u);
    EXPECT_FALSE(log.contains("no dial plan in database"));
}

TEST_F(DialPlanReload, OtherUsersChangeNothing)
{
    storePlanThenChangeIt();
    notify(Notification().item("mobility-current-user", "Base"));
    notify(Notification().item("mobility-current-user", "anna"));
    EXPECT_TRUE(log.contains("mobility current user = Base", 5));
    EXPECT_EQ(DigitAnalysisServiceTestAccess::getDialPlan(harness.service())->getIdentity(), "changed-in-memory");
    EXPECT_THAT(harness.das.requests(), IsEmpty());
}

TEST_F(DialPlanReload, BaseUserWithoutStoredPlanKeepsThePlan)
{
    auto& service = start();
    DigitAnalysisServiceTestAccess::getDialPlan(service)->setIdentity("in-memory");
    notify(Notification().item("mobility-current-user", "base"));
    EXPECT_TRUE(log.contains("no dial plan in database", 5));
    EXPECT_EQ(DigitAnalysisServiceTestAccess::getDialPlan(service)->getIdentity(), "in-memory");
}

// ---- management reads and writes --------------------------------------------------------

TEST_F(ConfigurationChange, SetDataLogsEachOptionAndPassesToTheDialPlan)
{
    auto& service = start();
    ManageableData data;
    data.populate("dial-plan-enabled", "dial-plan-enabled", "true");
    data.populate("dial-plan-id", "dial-plan-id", "office");

    EXPECT_TRUE(service.setData(data));

    const auto texts = log.texts(5);
    ASSERT_GE(texts.size(), 4u);
    EXPECT_THAT(std::vector<std::string>(texts.begin(), texts.begin() + 4),
                ElementsAre("setData", "manageableDataChanged 2\n", "setData: option: dial-plan-enabled, value: true\n",
                            "setData: option: dial-plan-id, value: office\n"));
    EXPECT_TRUE(DigitAnalysisServiceTestAccess::getDialPlan(service)->getEnabled());
    EXPECT_EQ(DigitAnalysisServiceTestAccess::getDialPlan(service)->getIdentity(), "office");
}

TEST_F(ConfigurationChange, SetDataGivesTheDialPlansRefusal)
{
    auto& service = start();
    ManageableData data;
    data.populate("dial-plan-error", "dial-plan-error", "true");
    EXPECT_FALSE(service.setData(data));
    EXPECT_TRUE(log.contains("setData: option: dial-plan-error, value: true\n", 5));
}

TEST_F(ConfigurationChange, GetDataLogsEachOptionAndLetsTheDialPlanFillIt)
{
    auto& service = start();
    DigitAnalysisServiceTestAccess::getDialPlan(service)->setIdentity("office");
    ManageableData data;
    data.addRootId("dial-plan-enabled");
    data.addRootId("dial-plan-id");

    EXPECT_TRUE(service.getData(data));

    const auto texts = log.texts(5);
    ASSERT_GE(texts.size(), 4u);
    EXPECT_THAT(std::vector<std::string>(texts.begin(), texts.begin() + 4),
                ElementsAre("getData", "manageableDataChanged 2\n", "getData: option: dial-plan-enabled",
                            "getData: option: dial-plan-id"));
    std::string identity;
    EXPECT_TRUE(data.interogate("dial-plan-id", "dialPlanId", identity));
    EXPECT_EQ(identity, "office");
}

// ---- bad input ----------------------------------------------------------------------------

TEST_F(ConfigurationChange, EveryKeyWithAnEmptyValue)
{
    harness.setGermanCanonicalSettings();
    harness.store.setItem("emergency-e164", "112");
    auto& service = start();
    Notification notification;
    for (const char* key : {"initial-digit-timer", "emergency-e164", "phone-lock-active", "autodialtimer",
                            "hot-line-warm-line", "hot-line-warm-line-digits", "dial-plan-enabled",
                            "hot-keypad-dialling", "mobility-current-user", "fac-prefix-numbers", "server-type"}) {
        notification.item(key, "");
    }
    notify(notification);
    EXPECT_EQ(DigitAnalysisServiceTestAccess::initialDigitTimer(service).duration, 30000);
    EXPECT_EQ(DigitAnalysisServiceTestAccess::autoDialTimer(service).duration, 6000);
    EXPECT_EQ(DigitAnalysisServiceTestAccess::emergencyE164(service), "");
    EXPECT_FALSE(DigitAnalysisServiceTestAccess::phoneLockActive(service));
    EXPECT_EQ(DigitAnalysisServiceTestAccess::hotWarmPhoneType(service), 0);
    EXPECT_FALSE(DigitAnalysisServiceTestAccess::ringCentralServer(service));
    EXPECT_EQ(setting("areaCode"), "89");
}

TEST_F(ConfigurationChange, EmptyNotificationChangesNothing)
{
    harness.setGermanCanonicalSettings();
    auto& service = start();
    const auto settings = DigitAnalysisServiceTestAccess::canonicalSettings(service);
    ManageableData empty;
    service.manageableDataChanged(empty);
    EXPECT_EQ(DigitAnalysisServiceTestAccess::canonicalSettings(service), settings);
    EXPECT_THAT(log.texts(), ElementsAre("manageableDataChanged"));
}

TEST_F(ConfigurationChange, AThousandRootIds)
{
    harness.setGermanCanonicalSettings();
    auto& service = start();
    Notification notification;
    for (int i = 0; i < 1000; ++i) notification.item("unknown-" + std::to_string(i), std::to_string(i));
    notification.item("server-type", "7").item("autodialtimer", "5");
    notify(notification);
    EXPECT_EQ(log.count("other unknown-999"), 1);
    EXPECT_TRUE(DigitAnalysisServiceTestAccess::ringCentralServer(service));
    EXPECT_EQ(DigitAnalysisServiceTestAccess::autoDialTimer(service).duration, 5000);
    EXPECT_EQ(setting("areaCode"), "89");
    EXPECT_TRUE(service.isCanonicalDataValid());
}

TEST_F(ConfigurationChange, AThousandRootIdsBesideACompleteReplacement)
{
    harness.setGermanCanonicalSettings();
    auto& service = start();
    Notification notification;
    notification.completeReplacement().setting("countryCode", "44");
    for (int i = 0; i < 1000; ++i) notification.item("unknown-" + std::to_string(i), "x");
    notify(notification);
    EXPECT_EQ(setting("countryCode"), "44");
    EXPECT_EQ(setting("areaCode"), "");
    EXPECT_TRUE(service.isCanonicalDataValid());
    // A second, partial change still merges into what the replacement left.
    notify(Notification().setting("areaCode", "20"));
    EXPECT_EQ(setting("countryCode"), "44");
    EXPECT_EQ(setting("areaCode"), "20");
}

TEST_F(ConfigurationChange, OddNamesAndValuesSurviveTheRoundTripThroughText)
{
    harness.setGermanCanonicalSettings();
    auto& service = start();
    const std::string odd = std::string("a\"b;c{d}e=f\\g\n\0h", 17);
    Notification notification;
    notification.setting("areaCode", odd).item(odd, odd);
    notify(notification);
    EXPECT_EQ(setting("areaCode"), odd);
    EXPECT_EQ(setting("countryCode"), "49");
    EXPECT_TRUE(service.isCanonicalDataValid());
}

TEST_F(ConfigurationChange, HugeTimerValueDoesNotCrash)
{
    auto& service = start();
    notify(Notification().item("autodialtimer", "99999999999999999999999"));
    notify(Notification().item("initial-digit-timer", "-5"));
    EXPECT_EQ(DigitAnalysisServiceTestAccess::autoDialTimer(service).duration,
              static_cast<int>(static_cast<std::uint32_t>(9223372036854775807LL) * 1000u));
    EXPECT_EQ(DigitAnalysisServiceTestAccess::initialDigitTimer(service).duration, static_cast<int>(static_cast<std::uint32_t>(-5LL) * 1000u));
}

}  // namespace
