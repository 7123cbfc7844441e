// The service object itself: construction, init, peer look-up and destruction.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "DialPlan.h"
#include "DigitAnalysisServicePlugin.h"
#include "DigitAnalysisServiceTestAccess.h"
#include "ScopedHardwareVariant.h"
#include "ServiceHarness.h"

using ::testing::ElementsAre;
using ::testing::IsEmpty;

namespace {

class ServiceFrame : public ::testing::Test {
protected:
    CapturingLogSink log;
    ServiceHarness harness;

    std::vector<std::string> timerCreations() const
    {
        std::vector<std::string> creations;
        for (const auto& operation : harness.context.timerOperations()) {
            if (operation.rfind("create", 0) == 0) creations.push_back(operation);
        }
        return creations;
    }
};

TEST_F(ServiceFrame, ConstructionLogsAndBecomesTheInstance)
{
    auto& service = harness.create();
    EXPECT_TRUE(log.contains("DigitAnalysisService()", 5));
    EXPECT_EQ(DigitAnalysisService::theInstance, &service);
    harness.destroy();
    EXPECT_EQ(DigitAnalysisService::theInstance, nullptr);
    EXPECT_TRUE(log.contains("~DigitAnalysisService()", 5));
}

TEST_F(ServiceFrame, ConstructionSetsTheTimerDurationsAndNoTimers)
{
    auto& service = harness.create();
    EXPECT_EQ(DigitAnalysisServiceTestAccess::initialDigitTimer(service).duration, 30000);
    EXPECT_EQ(DigitAnalysisServiceTestAccess::autoDialTimer(service).duration, 6000);
    EXPECT_EQ(DigitAnalysisServiceTestAccess::partyDetailsTimer(service).duration, 250);
    EXPECT_EQ(DigitAnalysisServiceTestAccess::extendedInitialDigitTimer(service).duration, 120000);
    EXPECT_EQ(DigitAnalysisServiceTestAccess::dialPlanTimer(service).duration, 6000);
    for (const TimerDetails* timer : {&DigitAnalysisServiceTestAccess::initialDigitTimer(service), &DigitAnalysisServiceTestAccess::autoDialTimer(service),
                                      &DigitAnalysisServiceTestAccess::partyDetailsTimer(service), &DigitAnalysisServiceTestAccess::extendedInitialDigitTimer(service),
                                      &DigitAnalysisServiceTestAccess::dialPlanTimer(service)}) {
        EXPECT_EQ(timer->timerID, -1);
        EXPECT_FALSE(timer->timerRunning);
        EXPECT_FALSE(timer->updatePending);
    }
    EXPECT_EQ(DigitAnalysisServiceTestAccess::getSoftwareType(service), 0);
    EXPECT_EQ(DigitAnalysisServiceTestAccess::getDialPlan(service), nullptr);
    EXPECT_EQ(log.count("initTimerDetails"), 5);
}

TEST_F(ServiceFrame, DestroyingAServiceThatWasNeverInitialisedDeletesNoTimers)
{
    harness.create();
    harness.destroy();
    EXPECT_THAT(harness.context.timerOperations(), IsEmpty());
}

TEST_F(ServiceFrame, ConstructionReadsTheHardwareVariant)
{
    DigitAnalysisService* created = nullptr;
    {
        ScopedHardwareVariant variant(3);
        created = &harness.create();
    }
    auto& service = *created;
    // Variant 3 makes resetAutoDialTimer act; on other variants it does nothing.
    service.init(harness.context);
    harness.context.clearTimerOperations();
    service.resetAutoDialTimer();
    EXPECT_FALSE(harness.context.timerOperations().empty());
}

TEST_F(ServiceFrame, DestructionDeletesEveryCreatedTimerInOrder)
{
    auto& service = harness.start();
    const int initial = DigitAnalysisServiceTestAccess::initialDigitTimer(service).timerID;
    const int party = DigitAnalysisServiceTestAccess::partyDetailsTimer(service).timerID;
    const int autoDial = DigitAnalysisServiceTestAccess::autoDialTimer(service).timerID;
    const int dialPlan = DigitAnalysisServiceTestAccess::dialPlanTimer(service).timerID;
    const int extended = DigitAnalysisServiceTestAccess::extendedInitialDigitTimer(service).timerID;
    harness.context.clearTimerOperations();
    harness.destroy();
    EXPECT_THAT(harness.context.timerOperations(),
                ElementsAre("delete " + std::to_string(initial), "delete " + std::to_string(party),
                            "delete " + std::to_string(autoDial), "delete " + std::to_string(dialPlan),
                            "delete " + std::to_string(extended)));
}

TEST_F(ServiceFrame, InitCreatesTheTimersInOrderWithConfiguredDurations)
{
    harness.store.setItem("initial-digit-timer", "20");
    harness.store.setItem("autodialtimer", "4");
    harness.start();
    const auto creations = timerCreations();
    ASSERT_EQ(creations.size(), 5u);
    EXPECT_THAT(creations, ElementsAre("create 1 20000", "create 2 250", "create 3 4000", "create 4 6000",
                                       "create 5 120000"));
    EXPECT_THAT(log.texts(2), IsEmpty());
}

TEST_F(ServiceFrame, RefusedTimersAreLoggedInCreationOrderAndInitCompletes)
{
    harness.context.setTimerCreationFails(true);
    auto& service = harness.start();
    EXPECT_THAT(log.texts(2), ElementsAre("ERROR: Creating Initial Digit Timer.", "ERROR: Creating Party Details Timer.",
                                          "ERROR: Creating Auto Dial Timer.", "ERROR: Creating Dial Plan Timer.",
                                          "ERROR: Creating Extended Initial Digit Timer."));
    EXPECT_EQ(DigitAnalysisServiceTestAccess::initialDigitTimer(service).timerID, -1);
    EXPECT_TRUE(DigitAnalysisServiceTestAccess::initialDigitTimer(service).updatePending);
    EXPECT_NE(DigitAnalysisServiceTestAccess::getDialPlan(service), nullptr);
    EXPECT_EQ(harness.store.registrations().back(), "DigitAnalysisMgmtId");
}

TEST_F(ServiceFrame, InitLogsAndReadsEverythingInOrder)
{
    harness.start();
    const auto texts = log.texts();
    const auto position = [&texts](const std::string& text) {
        return std::find(texts.begin(), texts.end(), text) - texts.begin();
    };
    ASSERT_LT(position("init"), static_cast<long>(texts.size()));
    EXPECT_LT(position("init"), position("findKDRB"));
    EXPECT_LT(position("findKDRB"), position("init software-type = 0 "));
    EXPECT_LT(position("init software-type = 0 "), position("loadData"));
    EXPECT_LT(position("loadData"), position("+++ DigitAnalysisService::extractData"));
    EXPECT_LT(position("extractInterDigitTimerData"), position("extractServerType"));
    EXPECT_LT(position("extractServerType"), position("findTeamService"));
}

TEST_F(ServiceFrame, SoftwareTypeValues)
{
    const std::pair<std::string, int> cases[] = {
        {"Valtrek SIP", 1}, {"Valtrek NRX", 2}, {"Valtrek TDM", 3}, {"Valtrek sip", 0}, {"", 0}, {"Valtrek SIP ", 0}};
    for (const auto& [value, expected] : cases) {
        ServiceHarness local;
        local.store.setItem("software-type", value);
        log.clear();
        EXPECT_EQ(DigitAnalysisServiceTestAccess::getSoftwareType(local.start()), expected) << value;
        EXPECT_TRUE(log.contains("init software-type = " + std::to_string(expected) + " ", 5)) << value;
    }
}

TEST_F(ServiceFrame, UnknownSoftwareTypeLeavesZero)
{
    harness.store.setItem("software-type", "Valtrek XYZ");
    EXPECT_EQ(DigitAnalysisServiceTestAccess::getSoftwareType(harness.start()), 0);
    EXPECT_TRUE(log.contains("init software-type = 0 ", 5));
}

TEST_F(ServiceFrame, MissingSoftwareTypeLeavesZero)
{
    EXPECT_EQ(DigitAnalysisServiceTestAccess::getSoftwareType(harness.start()), 0);
    EXPECT_TRUE(log.contains("init software-type = 0 ", 5));
}

TEST_F(ServiceFrame, FindsItsPeersByInterfaceName)
{
    auto& service = harness.start();
    EXPECT_EQ(DigitAnalysisServiceTestAccess::localMgmt(service), &harness.store);
    EXPECT_EQ(DigitAnalysisServiceTestAccess::dataAccessService(service), &harness.das);
    EXPECT_EQ(DigitAnalysisServiceTestAccess::teamService(service), &harness.team);
    // The media control service is looked up only when dial tone is first needed.
    EXPECT_EQ(DigitAnalysisServiceTestAccess::mediaControlService(service), nullptr);
    EXPECT_TRUE(service.findMCS());
    EXPECT_EQ(DigitAnalysisServiceTestAccess::mediaControlService(service), &harness.media);
    EXPECT_TRUE(log.contains("findMCS", 5));
    EXPECT_TRUE(log.contains("findTeamService", 5));
}

TEST_F(ServiceFrame, APeerOfTheWrongTypeIsStoredAsNull)
{
    harness.context.registerExecutable("TeamServiceIfc", &harness.media);
    harness.context.registerExecutable("DataAccessServiceIfc", &harness.team);
    auto& service = harness.start();
    EXPECT_EQ(DigitAnalysisServiceTestAccess::teamService(service), nullptr);
    EXPECT_EQ(DigitAnalysisServiceTestAccess::dataAccessService(service), nullptr);
    EXPECT_TRUE(log.contains("Cannot find DataAccessServiceIfc", 2));
    EXPECT_FALSE(service.findTeamService());
}

TEST_F(ServiceFrame, MissingDataAccessServiceIsLoggedAndThePlanIsEmpty)
{
    harness.context.unregisterExecutable("DataAccessServiceIfc");
    auto& service = harness.start();
    EXPECT_TRUE(log.contains("Cannot find DataAccessServiceIfc", 2));
    ASSERT_NE(DigitAnalysisServiceTestAccess::getDialPlan(service), nullptr);
    EXPECT_EQ(DigitAnalysisServiceTestAccess::getDialPlan(service)->getNumberOfEntries(), 0);
    EXPECT_TRUE(log.contains("no dial plan in database", 5));
}

TEST_F(ServiceFrame, UnreadableDialPlanOverviewLeavesAnEmptyPlan)
{
    harness.das.setReadResponse("DialPlanOverview", "<nothing/>");
    auto& service = harness.start();
    ASSERT_NE(DigitAnalysisServiceTestAccess::getDialPlan(service), nullptr);
    EXPECT_EQ(DigitAnalysisServiceTestAccess::getDialPlan(service)->getNumberOfEntries(), 0);
    EXPECT_FALSE(DigitAnalysisServiceTestAccess::getDialPlan(service)->getEnabled());
    EXPECT_TRUE(log.contains("no dial plan in database", 5));
}

TEST_F(ServiceFrame, InitReadsTheStoredDialPlanOverviewThenItsEntries)
{
    harness.start();
    const auto requests = harness.das.requests();
    ASSERT_EQ(requests.size(), 1u);  // nothing stored yet: no entries read
    EXPECT_NE(requests[0].find("<Schema name=\"DialPlanOverview\"><ReasonForMessage>ReadRequest"), std::string::npos);
    EXPECT_TRUE(log.contains("no dial plan in database", 5));
}

TEST_F(ServiceFrame, InitLoadsAPlanStoredEarlier)
{
    ManageableData plan;
    plan.populate("dial-plan-enabled", "dial-plan-enabled", "true");
    plan.populate("dial-plan-id", "dial-plan-id", "DE-1");
    plan.populate("dialPlanSettings", "dialPlanEntry[1]/digit-string", "112");
    plan.populate("dialPlanSettings", "dialPlanEntry[1]/action", "S");
    plan.populate("dialPlanSettings", "dialPlanEntry[1]/timer", "0");
    plan.populate("dialPlanSettings", "dialPlanEntry[1]/spec-num-indic", "E");
    ASSERT_TRUE(DigitAnalysisServiceTestAccess::getDialPlan(harness.start())->setData(plan));
    harness.destroy();
    harness.das.clearRequests();
    log.clear();

    auto& restarted = harness.start();
    const auto requests = harness.das.requests();
    ASSERT_EQ(requests.size(), 2u);
    EXPECT_NE(requests[0].find("DialPlanOverview"), std::string::npos);
    EXPECT_NE(requests[1].find("<Schema name=\"DialPlanEntries\"><ReasonForMessage>ReadRequest"), std::string::npos);
    DialPlan* dialPlan = DigitAnalysisServiceTestAccess::getDialPlan(restarted);
    ASSERT_NE(dialPlan, nullptr);
    EXPECT_TRUE(dialPlan->getEnabled());
    EXPECT_EQ(dialPlan->getIdentity(), "DE-1");
    ASSERT_EQ(dialPlan->getNumberOfEntries(), 1);
    EXPECT_EQ(dialPlan->getEntry(0)->digitString, "112");
    EXPECT_EQ(dialPlan->getEmergencyNumbers(), "112");
    EXPECT_FALSE(log.contains("no dial plan in database"));
}

TEST_F(ServiceFrame, ManagementRootIsRegisteredLast)
{
    harness.start();
    const auto registrations = harness.store.registrations();
    ASSERT_FALSE(registrations.empty());
    EXPECT_EQ(registrations.back(), "DigitAnalysisMgmtId");
    EXPECT_EQ(harness.store.agentFor("DigitAnalysisMgmtId"), static_cast<MgmtAgentIfc*>(&harness.service()));
}

TEST_F(ServiceFrame, WithoutAConfigurationStoreInitStillCompletes)
{
    ServiceHarness bare(false);
    log.clear();
    auto& service = bare.start();
    EXPECT_EQ(DigitAnalysisServiceTestAccess::localMgmt(service), nullptr);
    EXPECT_EQ(DigitAnalysisServiceTestAccess::getSoftwareType(service), 0);
    EXPECT_TRUE(log.contains("loadData", 5));
    EXPECT_TRUE(log.contains("extractIntitialDigitTimerData", 5));
    EXPECT_TRUE(log.contains("extractInterDigitTimerData", 5));
    EXPECT_FALSE(log.contains("extractPhoneLockActiveData"));
    EXPECT_FALSE(service.isCanonicalDataValid());
}

TEST_F(ServiceFrame, RunAndShutdownDoNothing)
{
    auto& service = harness.start();
    harness.context.clearTimerOperations();
    service.run();
    service.shutdown();
    EXPECT_THAT(harness.context.timerOperations(), IsEmpty());
}

TEST_F(ServiceFrame, FactoryCreatesTheServiceAsItsExecutable)
{
    std::unique_ptr<Executable> created(createDigitAnalysisService());
    EXPECT_NE(dynamic_cast<DigitAnalysisService*>(created.get()), nullptr);
    EXPECT_EQ(DigitAnalysisService::theInstance, dynamic_cast<DigitAnalysisService*>(created.get()));
}

}  // namespace
