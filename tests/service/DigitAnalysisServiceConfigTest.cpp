// Configuration read at start-up: registrations, the canonical dial settings with their
// defaults, and the single items.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "DigitAnalysisServiceTestAccess.h"
#include "ServiceHarness.h"

using ::testing::ElementsAre;
using ::testing::IsEmpty;

namespace {

class ServiceConfiguration : public ::testing::Test {
protected:
    CapturingLogSink log;
    ServiceHarness harness;

    void setAllDialForms()
    {
        harness.setCanonicalSetting("dialInternalForm", "1");
        harness.setCanonicalSetting("dialExternalForm", "2");
        harness.setCanonicalSetting("dialNeedsAccessCode", "0");
        harness.setCanonicalSetting("dialNeedsIntGWcode", "1");
    }
};

TEST_F(ServiceConfiguration, RegistersForTheObservedItemsInOrder)
{
    harness.start();
    EXPECT_THAT(harness.store.registrations(),
                ElementsAre("canonicalDialSettings", "emergency-e164", "phone-lock-active", "initial-digit-timer",
                            "autodialtimer", "new-canonical-settings", "hot-line-warm-line",
                            "hot-line-warm-line-digits", "hot-keypad-dialling", "mobility-current-user",
                            "fac-prefix-numbers", "server-type", "DigitAnalysisMgmtId"));
}

TEST_F(ServiceConfiguration, OnlyTheFacPrefixRegistrationFailingIsLoggedAndStillSucceeds)
{
    harness.store.refuseRegistration("fac-prefix-numbers");
    auto& service = harness.create();
    service.init(harness.context);
    EXPECT_THAT(log.texts(2), ElementsAre("findKDRB - observe fac-prefix-numbers failed"));
    EXPECT_TRUE(service.findKDRB());
}

TEST_F(ServiceConfiguration, FailedRegistrationsAreRunTogetherAndOnlyTheLastDecides)
{
    harness.store.refuseRegistration("emergency-e164");
    harness.store.refuseRegistration("server-type");
    auto& service = harness.create();
    service.init(harness.context);
    EXPECT_TRUE(log.contains("findKDRB - observe emergency-e164server-type failed", 2));
    log.clear();
    EXPECT_FALSE(service.findKDRB());
    EXPECT_EQ(log.count("findKDRB - observe emergency-e164server-type failed"), 1);
}

TEST_F(ServiceConfiguration, WithoutAStoreFindKdrbFails)
{
    ServiceHarness bare(false);
    auto& service = bare.create();
    service.init(bare.context);
    EXPECT_FALSE(service.findKDRB());
}

TEST_F(ServiceConfiguration, ReadsTheCanonicalDialSettings)
{
    harness.setGermanCanonicalSettings();
    harness.setCanonicalSetting("localEnterpriseNode", "722");
    harness.setCanonicalSetting("operatorCode", "0,010");
    harness.setCanonicalSetting("emergencyNumber", "112,110");
    harness.setCanonicalSetting("extensionInitialDigits", "2,3");
    harness.setCanonicalSetting("expectDialNumber", "true");
    setAllDialForms();
    auto& service = harness.start();
    const auto settings = DigitAnalysisServiceTestAccess::canonicalSettings(service);
    EXPECT_EQ(settings.at("countryCode"), "49");
    EXPECT_EQ(settings.at("nationalPrefix"), "0");
    EXPECT_EQ(settings.at("areaCode"), "89");
    EXPECT_EQ(settings.at("minLocalNumberLength"), "3");
    EXPECT_EQ(settings.at("localEnterpriseNode"), "722");
    EXPECT_EQ(settings.at("localCallPrefix"), "0");
    EXPECT_EQ(settings.at("internationalPrefix"), "00");
    EXPECT_EQ(settings.at("operatorCode"), "0,010");
    EXPECT_EQ(settings.at("emergencyNumber"), "112,110");
    EXPECT_EQ(settings.at("extensionInitialDigits"), "2,3");
    EXPECT_EQ(settings.at("expectDialNumber"), "true");
    EXPECT_EQ(settings.at("dialInternalForm"), "1");
    EXPECT_EQ(settings.at("dialExternalForm"), "2");
    EXPECT_EQ(settings.at("dialNeedsAccessCode"), "0");
    EXPECT_EQ(settings.at("dialNeedsIntGWcode"), "1");
    EXPECT_TRUE(log.contains("Country 49 national 0 area 89 minLocal 3 Enterprise 722 localPrefix 0 intPrefix 00 "
                             "opCode 0,010 emerg 112,110 InitialExtension 2,3 m_ChkExpectDialNum 1",
                             5));
    EXPECT_TRUE(service.isCanonicalDataValid());
    EXPECT_THAT(harness.store.updates(), IsEmpty());
}

TEST_F(ServiceConfiguration, ExpectDialNumberIsTrueOnlyForExactlyTrue)
{
    harness.setCanonicalSetting("expectDialNumber", "TRUE");
    EXPECT_EQ(DigitAnalysisServiceTestAccess::canonicalSettings(harness.start()).at("expectDialNumber"), "false");
}

TEST_F(ServiceConfiguration, MissingDialFormItemsAreWrittenBackWithTheirDefaults)
{
    harness.setGermanCanonicalSettings();
    harness.setCanonicalSetting("dialInternalForm", "1");
    harness.setCanonicalSetting("dialExternalForm", "0");
    harness.setCanonicalSetting("dialNeedsIntGWcode", "0");
    harness.start();
    const std::string defaults = "canonicalDialSettings{dialNeedsAccessCode=\"1\"}";
    EXPECT_THAT(harness.store.updates(), ElementsAre(defaults));
    EXPECT_EQ(log.count("Setting defaults for any missing dial* items - '" + defaults + "'"), 1);
    std::string stored;
    ASSERT_TRUE(harness.store.getItem("canonicalDialSettings", "dialNeedsAccessCode", stored));
    EXPECT_EQ(stored, "1");
}

TEST_F(ServiceConfiguration, AllMissingDialFormItemsAreWrittenBackTogether)
{
    harness.setGermanCanonicalSettings();
    harness.start();
    const std::string defaults =
        "canonicalDialSettings{dialInternalForm=\"0\";dialExternalForm=\"0\";dialNeedsAccessCode=\"1\";"
        "dialNeedsIntGWcode=\"0\"}";
    EXPECT_THAT(harness.store.updates(), ElementsAre(defaults));
    EXPECT_EQ(log.count("Setting defaults for any missing dial* items - '" + defaults + "'"), 1);
}

TEST_F(ServiceConfiguration, NoDefaultsAreWrittenWhenAllDialFormsArePresent)
{
    setAllDialForms();
    harness.start();
    EXPECT_THAT(harness.store.updates(), IsEmpty());
}

TEST_F(ServiceConfiguration, ReinitialisingReadClearsItemsTheStoreNoLongerHolds)
{
    harness.setGermanCanonicalSettings();
    setAllDialForms();
    auto& service = harness.start();
    harness.store.removeItem("canonicalDialSettings");
    harness.setCanonicalSetting("countryCode", "44");
    harness.setCanonicalSetting("dialInternalForm", "1");
    harness.setCanonicalSetting("dialExternalForm", "2");
    harness.setCanonicalSetting("dialNeedsAccessCode", "0");
    harness.setCanonicalSetting("dialNeedsIntGWcode", "1");
    service.loadData();  // refills the held document from the store
    EXPECT_EQ(DigitAnalysisServiceTestAccess::canonicalSettings(service).at("areaCode"), "89");  // a plain read keeps what is missing
    log.clear();
    service.extractData(true);
    EXPECT_TRUE(log.contains("ExtractData, re-initialise ", 5));
    EXPECT_EQ(DigitAnalysisServiceTestAccess::canonicalSettings(service).at("countryCode"), "44");
    EXPECT_EQ(DigitAnalysisServiceTestAccess::canonicalSettings(service).at("areaCode"), "");
}

TEST_F(ServiceConfiguration, LookUpRowsAreReadWithDuplicatesKeptAndNullRowsSkipped)
{
    harness.setGermanCanonicalSettings();
    ASSERT_TRUE(harness.store.mergeSerialized(
        "canonicalDialSettings{"
        "lookUp{localCode=\"722\";internationalCode=\"+4989722\"};"
        "lookUp{localCode=\"722\";internationalCode=\"+4930722\"};"
        "lookUp{localCode=\"600\"};"
        "lookUp{localCode=\"5\";internationalCode=\"+49895\"}}"));
    auto& service = harness.start();
    const auto& lookup = DigitAnalysisServiceTestAccess::localCodeLookup(service);
    ASSERT_EQ(lookup.size(), 3u);
    EXPECT_EQ(lookup.count("722"), 2u);
    EXPECT_EQ(lookup.count("600"), 0u);
    auto range = lookup.equal_range("722");
    EXPECT_EQ(range.first->second, "+4989722");
    EXPECT_EQ(std::next(range.first)->second, "+4930722");
    EXPECT_EQ(lookup.find("5")->second, "+49895");
}

TEST_F(ServiceConfiguration, CanonicalDataWithoutCountryCodeIsNotValid)
{
    harness.setCanonicalSetting("areaCode", "89");
    auto& service = harness.start();
    EXPECT_FALSE(service.isCanonicalDataValid());
    EXPECT_TRUE(log.contains("isCanonicalDataValid() m_canonicalDataValid[true] m_TextCountryCode[]", 5));
}

TEST_F(ServiceConfiguration, CanonicalDataAreValidAfterARead)
{
    harness.setCanonicalSetting("countryCode", "49");
    auto& service = harness.start();
    EXPECT_TRUE(service.isCanonicalDataValid());
    EXPECT_TRUE(log.contains("isCanonicalDataValid() m_canonicalDataValid[true] m_TextCountryCode[49]", 5));
}

TEST_F(ServiceConfiguration, CanonicalDataAreNotValidBeforeInit)
{
    auto& service = harness.create();
    EXPECT_FALSE(service.isCanonicalDataValid());
    EXPECT_TRUE(log.contains("isCanonicalDataValid() m_canonicalDataValid[false] m_TextCountryCode[]", 5));
}

TEST_F(ServiceConfiguration, TimerSecondsBecomeMilliseconds)
{
    harness.store.setItem("autodialtimer", "4");
    harness.store.setItem("initial-digit-timer", "12");
    auto& service = harness.start();
    EXPECT_EQ(DigitAnalysisServiceTestAccess::autoDialTimer(service).duration, 4000);
    EXPECT_EQ(DigitAnalysisServiceTestAccess::initialDigitTimer(service).duration, 12000);
}

TEST_F(ServiceConfiguration, NonNumericTimerGivesZeroMilliseconds)
{
    harness.store.setItem("autodialtimer", "abc");
    harness.store.setItem("initial-digit-timer", "7x");
    auto& service = harness.start();
    EXPECT_EQ(DigitAnalysisServiceTestAccess::autoDialTimer(service).duration, 0);
    EXPECT_EQ(DigitAnalysisServiceTestAccess::initialDigitTimer(service).duration, 7000);
}

TEST_F(ServiceConfiguration, TimerValueIsMultipliedInUnsigned32BitArithmetic)
{
    harness.store.setItem("autodialtimer", "4294968");  // 4294968000 wraps to 704 in 32 bits
    EXPECT_EQ(DigitAnalysisServiceTestAccess::autoDialTimer(harness.start()).duration, 704);
}

TEST_F(ServiceConfiguration, MissingTimerItemsKeepTheDefaults)
{
    auto& service = harness.start();
    EXPECT_EQ(DigitAnalysisServiceTestAccess::autoDialTimer(service).duration, 6000);
    EXPECT_EQ(DigitAnalysisServiceTestAccess::initialDigitTimer(service).duration, 30000);
}

TEST_F(ServiceConfiguration, PhoneLockIsActiveOnlyForExactlyTrue)
{
    harness.store.setItem("phone-lock-active", "TRUE");
    EXPECT_FALSE(DigitAnalysisServiceTestAccess::phoneLockActive(harness.start()));
    ServiceHarness locked;
    locked.store.setItem("phone-lock-active", "true");
    EXPECT_TRUE(DigitAnalysisServiceTestAccess::phoneLockActive(locked.start()));
}

TEST_F(ServiceConfiguration, ReadsTheSingleItems)
{
    harness.store.setItem("emergency-e164", "+4989112");
    harness.store.setItem("hot-line-warm-line", "2");
    harness.store.setItem("hot-line-warm-line-digits", "200");
    auto& service = harness.start();
    EXPECT_EQ(DigitAnalysisServiceTestAccess::emergencyE164(service), "+4989112");
    EXPECT_EQ(DigitAnalysisServiceTestAccess::hotWarmPhoneType(service), 2);
    EXPECT_EQ(DigitAnalysisServiceTestAccess::hotWarmPhoneDigits(service), "200");
    for (const char* reader : {"extractEmergencyE164Data", "extractPhoneLockActiveData", "extractIntitialDigitTimerData",
                               "extractInterDigitTimerData", "extractHotWarmPhoneType", "extractHotWarmPhoneDigits",
                               "extractServerType"}) {
        EXPECT_TRUE(log.contains(reader, 5)) << reader;
    }
}

TEST_F(ServiceConfiguration, HotWarmTypeIsTheLeadingNumber)
{
    harness.store.setItem("hot-line-warm-line", "1abc");
    EXPECT_EQ(DigitAnalysisServiceTestAccess::hotWarmPhoneType(harness.start()), 1);
}

TEST_F(ServiceConfiguration, ServerTypeIsLookedUpUnderTheFacPrefixKeySoAPlainStoreLeavesItClear)
{
    harness.store.setItem("server-type", "7");
    EXPECT_FALSE(DigitAnalysisServiceTestAccess::ringCentralServer(harness.start()));
}

TEST_F(ServiceConfiguration, ServerTypeFlagFollowsAFacPrefixNodeInTheServerTypeItem)
{
    // A store that answers the "server-type" query with a node named like the FAC prefix item.
    harness.store.setItem("server-type", "fac-prefix-numbers", "7");
    EXPECT_TRUE(DigitAnalysisServiceTestAccess::ringCentralServer(harness.start()));
}

TEST_F(ServiceConfiguration, ResetUserDataOnlyLogs)
{
    auto& service = harness.start();
    const auto before = DigitAnalysisServiceTestAccess::canonicalSettings(service);
    service.resetUserData();
    EXPECT_TRUE(log.contains("resetUserData", 5));
    EXPECT_EQ(DigitAnalysisServiceTestAccess::canonicalSettings(service), before);
}

}  // namespace
