// Digit string utilities and the emergency, lock-bypass and feature access code numbers.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "DialPlan.h"
#include "DigitAnalysisServiceTestAccess.h"
#include "ServiceHarness.h"

using ::testing::ElementsAre;
using ::testing::IsEmpty;

namespace {

// Gives the service's dial plan send entries of a fixed length, each marked "E" (emergency),
// "b" (lock bypass) or not at all, and lists its special numbers.
void useDialPlan(DigitAnalysisService& service, const std::vector<std::pair<std::string, std::string>>& entries)
{
    DialPlan* plan = DigitAnalysisServiceTestAccess::getDialPlan(service);
    ASSERT_NE(plan, nullptr);
    for (std::size_t i = 0; i < entries.size(); ++i) {
        t_dialPlanEntry& entry = *plan->getEntry(static_cast<int>(i));
        entry = t_dialPlanEntry();
        entry.digitString = entries[i].first;
        entry.action = "S";
        entry.minDigitLength = static_cast<std::uint32_t>(entries[i].first.size());
        entry.maxDigitLength = entry.minDigitLength;
        entry.timer = 0;
        entry.specialNumberIndication = entries[i].second;
    }
    plan->setNumberOfEntries(static_cast<int>(entries.size()));
    plan->setEnabled(true);
    plan->extractSpecialNumbers();
}

// A service created without init: no settings, no dial plan.
class DigitStrings : public ::testing::Test {
protected:
    CapturingLogSink log;
    ServiceHarness harness;
    DigitAnalysisService& service = harness.create();

    int linesStartingWith(const std::string& start) const
    {
        int count = 0;
        for (const std::string& text : log.texts())
            if (text.rfind(start, 0) == 0) ++count;
        return count;
    }
};

TEST_F(DigitStrings, AlphaToNumericConvertsUpperCaseLettersToKeypadDigits)
{
    std::string number = "1-800-FLOWERS";
    bool converted = false;
    service.convertAlphaToNumeric(number, converted);
    EXPECT_EQ(number, "1-800-3569377");
    EXPECT_TRUE(converted);
    EXPECT_TRUE(log.contains("convertAlphaToNumeric", 5));
}

TEST_F(DigitStrings, AlphaToNumericMapsEveryLetterOfTheKeypad)
{
    std::string letters = "ABCDEFGHIJKLMNOPQRSTUVWXYZ";
    bool converted = false;
    service.convertAlphaToNumeric(letters, converted);
    EXPECT_EQ(letters, "22233344455566677778889999");
}

TEST_F(DigitStrings, AlphaToNumericLeavesLowerCaseLettersAlone)
{
    std::string number = "1800flowers";
    bool converted = true;
    service.convertAlphaToNumeric(number, converted);
    EXPECT_EQ(number, "1800flowers");
    EXPECT_FALSE(converted);
}

TEST_F(DigitStrings, AlphaToNumericRewritesBracketsWithoutSettingTheFlag)
{
    std::string number = "{0}";
    bool converted = true;
    service.convertAlphaToNumeric(number, converted);
    EXPECT_EQ(number, "(0)");
    EXPECT_FALSE(converted);

    std::string brackets = "<[{x}]>";
    service.convertAlphaToNumeric(brackets, converted);
    EXPECT_EQ(brackets, "(((x)))");
}

TEST_F(DigitStrings, RemoveUnwantedCharsKeepsDigitsStarHashAndALeadingPlus)
{
    std::string number = "+49 (89) 1234-5";
    service.removeUnwantedChars(number);
    EXPECT_EQ(number, "+498912345");
    EXPECT_TRUE(log.contains("removeUnwantedChars", 5));
}

TEST_F(DigitStrings, RemoveUnwantedCharsDropsAPlusAfterTheFirstPosition)
{
    std::string number = "00+49";
    service.removeUnwantedChars(number);
    EXPECT_EQ(number, "0049");
}

TEST_F(DigitStrings, RemoveUnwantedCharsKeepsStarsAndHashes)
{
    std::string number = "*#*";
    service.removeUnwantedChars(number);
    EXPECT_EQ(number, "*#*");

    std::string empty;
    service.removeUnwantedChars(empty);
    EXPECT_EQ(empty, "");
}

TEST_F(DigitStrings, RemovePunctuationDropsPunctuationAndUpperCases)
{
    std::string text = "a.b, c";
    service.removePunctuation(text);
    EXPECT_EQ(text, "ABC");
    EXPECT_TRUE(log.contains("removePunctuation", 5));

    std::string onlyPunctuation = " .,;!?";
    service.removePunctuation(onlyPunctuation);
    EXPECT_EQ(onlyPunctuation, "");

    std::string brackets = "(0)-x";
    service.removePunctuation(brackets);
    EXPECT_EQ(brackets, "(0)-X");
}

TEST_F(DigitStrings, TokenizeSkipsEmptyEntriesAndKeepsBlanksInsideTokens)
{
    std::vector<std::string> tokens;
    service.tokenize(",,112,, 911 ,", tokens);
    EXPECT_THAT(tokens, ElementsAre("112", " 911 "));
    EXPECT_TRUE(log.contains("tokenize(,,112,, 911 ,)", 5));
}

TEST_F(DigitStrings, TokenizeOfAnEmptyListYieldsNoToken)
{
    std::vector<std::string> tokens;
    service.tokenize("", tokens);
    EXPECT_THAT(tokens, IsEmpty());
}

TEST_F(DigitStrings, TokenizeAppendsToWhatTheVectorHolds)
{
    std::vector<std::string> tokens{"first"};
    service.tokenize("1,2", tokens);
    EXPECT_THAT(tokens, ElementsAre("first", "1", "2"));
}

TEST_F(DigitStrings, GetTokenLeavesThePositionBehindTheCommaOrAtTheEnd)
{
    const std::string list = ",12,,34";
    std::string::size_type position = 0;
    EXPECT_EQ(service.getToken(list, position), "12");
    EXPECT_EQ(position, 4u);
    EXPECT_EQ(service.getToken(list, position), "34");
    EXPECT_EQ(position, 7u);
    EXPECT_EQ(service.getToken(list, position), "");
    EXPECT_EQ(position, 7u);
    EXPECT_TRUE(log.contains("getToken()", 5));
}

TEST_F(DigitStrings, PrefixMatchesListTakesTheFirstEntryInListOrder)
{
    std::string matched;
    EXPECT_TRUE(service.prefixMatchesList("9110", "911, 91", matched));
    EXPECT_EQ(matched, "911");
    EXPECT_TRUE(log.contains("prefixMatchesList 9110 in 911, 91 result=1 (911)", 5));

    EXPECT_TRUE(service.prefixMatchesList("9110", "91,911", matched));
    EXPECT_EQ(matched, "91");
}

TEST_F(DigitStrings, PrefixMatchesListAgainstAnEmptyListIsFalseWithoutALogLine)
{
    std::string matched = "old";
    EXPECT_FALSE(service.prefixMatchesList("9110", "", matched));
    EXPECT_EQ(matched, "");
    EXPECT_EQ(linesStartingWith("prefixMatchesList"), 0);
}

TEST_F(DigitStrings, PrefixMatchesListNeverMatchesAnEntryOfBlanksOnly)
{
    std::string matched;
    EXPECT_FALSE(service.prefixMatchesList("123", "   ,  ", matched));
    EXPECT_EQ(matched, "");
    EXPECT_TRUE(log.contains("prefixMatchesList 123 in    ,   result=0 ()", 5));
}

TEST_F(DigitStrings, PrefixMatchesListCleansEachEntryButNotTheNumber)
{
    std::string matched;
    EXPECT_TRUE(service.prefixMatchesList("9110", " 9 1.1", matched));
    EXPECT_EQ(matched, "911");
    EXPECT_TRUE(service.prefixMatchesList("ABC1", "abc", matched));
    EXPECT_EQ(matched, "ABC");
    EXPECT_FALSE(service.prefixMatchesList("911 0", "9110", matched));
}

TEST_F(DigitStrings, RemoveTakesOutOnlyTheFirstOccurrence)
{
    std::string text = "1000";
    EXPECT_TRUE(service.remove(text, "0"));
    EXPECT_EQ(text, "100");

    EXPECT_FALSE(service.remove(text, "9"));
    EXPECT_EQ(text, "100");
}

TEST_F(DigitStrings, ReplaceReplacesOnlyTheFirstOccurrence)
{
    std::string text = "+49(0)89";
    EXPECT_TRUE(service.replace(text, "(0)", ""));
    EXPECT_EQ(text, "+4989");

    std::string twice = "0101";
    EXPECT_TRUE(service.replace(twice, "01", "+"));
    EXPECT_EQ(twice, "+01");

    EXPECT_FALSE(service.replace(twice, "9", "x"));
    EXPECT_EQ(twice, "+01");
}

// The same utilities on a started service with the canonical settings loaded.
class LocalEnterpriseNode : public ::testing::Test {
protected:
    ServiceHarness harness;

    DigitAnalysisService& start(const std::string& node)
    {
        harness.setCanonicalSetting("countryCode", "49");
        harness.setCanonicalSetting("areaCode", "89");
        harness.setCanonicalSetting("localEnterpriseNode", node);
        return harness.start();
    }
};

TEST_F(LocalEnterpriseNode, NumberBeginningWithCountryAreaAndNodeIsOfTheNode)
{
    auto& service = start("722");
    EXPECT_TRUE(service.isCountryCodeNationalCodeLocalEnterpriseNode("4989722100"));
    EXPECT_FALSE(service.isCountryCodeNationalCodeLocalEnterpriseNode("49897"));
    EXPECT_FALSE(service.isCountryCodeNationalCodeLocalEnterpriseNode("+4989722100"));
}

TEST_F(LocalEnterpriseNode, NoNodeNumberWithoutANode)
{
    auto& service = start("");
    EXPECT_FALSE(service.isCountryCodeNationalCodeLocalEnterpriseNode("4989722100"));
    EXPECT_FALSE(service.isCountryCodeNationalCodeLocalEnterpriseNode("4989"));
    EXPECT_FALSE(service.isCountryCodeNationalCodeLocalEnterpriseNode(""));
}

TEST_F(LocalEnterpriseNode, NoNodeNumberWithoutACountryCode)
{
    harness.setCanonicalSetting("localEnterpriseNode", "722");
    auto& service = harness.start();
    EXPECT_FALSE(service.isCountryCodeNationalCodeLocalEnterpriseNode("722100"));
}

TEST_F(LocalEnterpriseNode, AnEmptyAreaCodeContributesNothing)
{
    harness.setCanonicalSetting("countryCode", "49");
    harness.setCanonicalSetting("localEnterpriseNode", "722");
    auto& service = harness.start();
    EXPECT_TRUE(service.isCountryCodeNationalCodeLocalEnterpriseNode("49722100"));
}

// Emergency and lock-bypass numbers as configured.
class EmergencyNumbers : public ::testing::Test {
protected:
    CapturingLogSink log;
    ServiceHarness harness;

    DigitAnalysisService& start(const std::string& e164, const std::string& emergencyNumber)
    {
        harness.setCanonicalSetting("countryCode", "49");
        if (!e164.empty()) harness.store.setItem("emergency-e164", e164);
        if (!emergencyNumber.empty()) harness.setCanonicalSetting("emergencyNumber", emergencyNumber);
        return harness.start();
    }

    std::string emergencyList(DigitAnalysisService& service)
    {
        std::string list;
        service.getEmergencyNumbersDialString(&list);
        return list;
    }
};

TEST_F(EmergencyNumbers, ListHasTheE164NumberFirstThenTheCanonicalList)
{
    auto& service = start("+4989112", "112,110");
    EXPECT_EQ(emergencyList(service), "+4989112,112,110");
    EXPECT_TRUE(log.contains("getEmergencyNumbersDialString", 5));
    EXPECT_TRUE(log.contains("list of emergency numbers: +4989112,112,110", 5));
}

TEST_F(EmergencyNumbers, ListEndsWithTheDialPlansEmergencyNumbers)
{
    auto& service = start("+4989112", "112,110");
    useDialPlan(service, {{"999", "E"}, {"1190", "b"}, {"123", ""}});
    EXPECT_EQ(emergencyList(service), "+4989112,112,110,999");
}

TEST_F(EmergencyNumbers, ListOfTheDialPlanAloneHasNoLeadingComma)
{
    auto& service = start("", "");
    useDialPlan(service, {{"999", "E"}});
    EXPECT_EQ(emergencyList(service), "999");
    EXPECT_TRUE(log.contains("list of emergency numbers: 999", 5));
}

TEST_F(EmergencyNumbers, DialPlanEmergencyNumbersCountForIsEmergencyNumber)
{
    auto& service = start("", "112");
    useDialPlan(service, {{"999", "E"}});
    std::string number = "999";
    EXPECT_TRUE(service.isEmergencyNumber(number, true));
}

TEST_F(EmergencyNumbers, DigitsMatchIgnoresTheDialPlansEmergencyNumbers)
{
    auto& service = start("", "112,110");
    useDialPlan(service, {{"999", "E"}});
    EXPECT_EQ(service.digitsMatchEmergencyNumber("999"), eMatchNone);
    EXPECT_EQ(service.digitsMatchEmergencyNumber("112"), eMatchEmergencyNumber);
}

TEST_F(EmergencyNumbers, LockBypassNumbersComeFromTheDialPlanOnly)
{
    auto& service = start("+4989112", "112");
    useDialPlan(service, {{"999", "E"}, {"1190", "b"}});
    std::string list;
    service.getLockBypassNumbersDialString(&list);
    EXPECT_EQ(list, "1190");
    EXPECT_TRUE(log.contains("list of lock bypass numbers: 1190", 5));

    std::string prefilled = "1180";
    service.getLockBypassNumbersDialString(&prefilled);
    EXPECT_EQ(prefilled, "1180,1190");
}

TEST_F(EmergencyNumbers, LockBypassIsTheDialPlansDecision)
{
    auto& service = start("", "112");
    useDialPlan(service, {{"999", "E"}, {"1190", "b"}});
    std::string bypass = "1190";
    EXPECT_TRUE(service.isLockBypass(bypass));
    std::string emergency = "999";
    EXPECT_FALSE(service.isLockBypass(emergency));
    std::string canonicalEmergency = "112";
    EXPECT_FALSE(service.isLockBypass(canonicalEmergency));
}

TEST_F(EmergencyNumbers, ListHasNoLeadingCommaWhenTheE164NumberIsUnset)
{
    auto& service = start("", "112,110");
    EXPECT_EQ(emergencyList(service), "112,110");
}

TEST_F(EmergencyNumbers, ListOfTheE164NumberAlone)
{
    auto& service = start("+4989112", "");
    EXPECT_EQ(emergencyList(service), "+4989112");
}

TEST_F(EmergencyNumbers, WithoutAnyNumberTheOutputIsLeftAsPassed)
{
    auto& service = start("", "");
    std::string list = "kept";
    service.getEmergencyNumbersDialString(&list);
    EXPECT_EQ(list, "kept");
    EXPECT_TRUE(log.contains("list of emergency numbers: kept", 5));
}

TEST_F(EmergencyNumbers, SimpleGettersReplaceTheOutput)
{
    auto& service = start("+4989112", "112,110");
    std::string out = "old";
    service.getEmergencyNumberDialString(&out);
    EXPECT_EQ(out, "+4989112");
    EXPECT_TRUE(log.contains("getEmergencyNumberDialString", 5));
    service.getCanonicalDialEmergencyNumbersString(&out);
    EXPECT_EQ(out, "112,110");
    EXPECT_TRUE(log.contains("getCanonicalDialEmergencyNumbersString", 5));
}

TEST_F(EmergencyNumbers, AnEmptyNumberCountsAsAnEmergencyNumber)
{
    auto& service = start("", "");
    std::string empty;
    EXPECT_TRUE(service.isEmergencyNumber(empty, false));
    EXPECT_TRUE(service.isEmergencyNumber(empty, true));
}

TEST_F(EmergencyNumbers, PrefixTestMatchesLongerNumbersButTheExactTestDoesNot)
{
    auto& service = start("", "112,110");
    std::string number = "1125";
    EXPECT_TRUE(service.isEmergencyNumber(number, false));
    EXPECT_FALSE(service.isEmergencyNumber(number, true));
    std::string exact = "112";
    EXPECT_TRUE(service.isEmergencyNumber(exact, true));
    std::string other = "113";
    EXPECT_FALSE(service.isEmergencyNumber(other, false));
}

TEST_F(EmergencyNumbers, AnEarlierShorterEntryHidesAnExactEntry)
{
    auto& service = start("", "11,112");
    std::string number = "112";
    EXPECT_FALSE(service.isEmergencyNumber(number, true));
    EXPECT_TRUE(service.isEmergencyNumber(number, false));
}

TEST_F(EmergencyNumbers, TheE164NumberIsPartOfTheList)
{
    auto& service = start("+4989112", "");
    std::string number = "+4989112";
    EXPECT_TRUE(service.isEmergencyNumber(number, true));
}

// A service whose emergency list comes from elsewhere: isEmergencyNumber asks for the list
// through the service's own virtual operation.
class ServiceWithSuppliedEmergencyList : public DigitAnalysisService {
public:
    void getEmergencyNumbersDialString(std::string* out) override { *out = "999"; }
};

TEST(EmergencyNumberList, IsTakenThroughTheVirtualOperation)
{
    ServiceWithSuppliedEmergencyList service;
    std::string number = "999";
    EXPECT_TRUE(service.isEmergencyNumber(number, true));
}

TEST_F(EmergencyNumbers, DigitsMatchAnEntryOfTheCanonicalList)
{
    auto& service = start("", "112,110");
    EXPECT_EQ(service.digitsMatchEmergencyNumber("110"), eMatchEmergencyNumber);
    EXPECT_TRUE(log.contains("return value = eMatchEmergencyNumber", 5));
    EXPECT_EQ(service.digitsMatchEmergencyNumber("11"), eMatchNone);
    EXPECT_EQ(service.digitsMatchEmergencyNumber("1100"), eMatchNone);
}

TEST_F(EmergencyNumbers, DigitsMatchTheE164NumberExactly)
{
    auto& service = start("+4989112", "");
    EXPECT_EQ(service.digitsMatchEmergencyNumber("+4989112"), eMatchEmergencyNumber);
    EXPECT_EQ(service.digitsMatchEmergencyNumber("+498911"), eMatchNone);
    EXPECT_EQ(service.digitsMatchEmergencyNumber(""), eMatchNone);
}

TEST_F(EmergencyNumbers, DigitsMatchASingleEntryList)
{
    auto& service = start("", "112");
    EXPECT_EQ(service.digitsMatchEmergencyNumber("112"), eMatchEmergencyNumber);
    EXPECT_EQ(service.digitsMatchEmergencyNumber(""), eMatchNone);
}

TEST_F(EmergencyNumbers, EmptyDigitsMatchAListWithAnEmptyPiece)
{
    auto& service = start("", "112,,911");
    EXPECT_EQ(service.digitsMatchEmergencyNumber(""), eMatchEmergencyNumber);
    EXPECT_EQ(service.digitsMatchEmergencyNumber("911"), eMatchEmergencyNumber);
}

TEST_F(EmergencyNumbers, DigitsAreComparedWithoutTrimming)
{
    auto& service = start("", "112, 110");
    EXPECT_EQ(service.digitsMatchEmergencyNumber("110"), eMatchNone);
    EXPECT_EQ(service.digitsMatchEmergencyNumber(" 110"), eMatchEmergencyNumber);
}

TEST_F(EmergencyNumbers, NoEmergencyDigitsWithoutAnyList)
{
    auto& service = start("", "");
    EXPECT_EQ(service.digitsMatchEmergencyNumber(""), eMatchNone);
    EXPECT_EQ(service.digitsMatchEmergencyNumber("112"), eMatchNone);
}

TEST_F(DigitStrings, LockBypassIsFalseBeforeAnyDialPlanExists)
{
    ASSERT_EQ(DigitAnalysisServiceTestAccess::getDialPlan(service), nullptr);
    std::string number = "110";
    EXPECT_FALSE(service.isLockBypass(number));
}

TEST_F(DigitStrings, LockBypassListWithoutADialPlanLeavesTheOutputAsPassed)
{
    std::string list;
    service.getLockBypassNumbersDialString(&list);
    EXPECT_EQ(list, "");
    EXPECT_TRUE(log.contains("getLockBypassNumbersDialString", 5));
    EXPECT_TRUE(log.contains("list of lock bypass numbers: ", 5));
}

TEST_F(DigitStrings, EmergencyListWithoutADialPlanOrSettingsIsEmpty)
{
    std::string list;
    service.getEmergencyNumbersDialString(&list);
    EXPECT_EQ(list, "");
}

TEST_F(DigitStrings, FacPrefixesAreSeparatedByBlanksAndCommas)
{
    service.setFACPrefixes("*7, ,#8,, 55");
    EXPECT_THAT(DigitAnalysisServiceTestAccess::facPrefixes(service), ElementsAre("*7", "#8", "55"));
    EXPECT_TRUE(service.isFACPrefix("*72"));
    EXPECT_TRUE(service.isFACPrefix("55"));
    EXPECT_TRUE(service.isFACPrefix("#8"));
    EXPECT_FALSE(service.isFACPrefix("*"));
    EXPECT_FALSE(service.isFACPrefix("5"));
    EXPECT_FALSE(service.isFACPrefix("7"));
    EXPECT_FALSE(service.isFACPrefix(""));
}

TEST_F(DigitStrings, AnEmptyFacPrefixValueEmptiesTheList)
{
    service.setFACPrefixes("*7");
    ASSERT_TRUE(service.isFACPrefix("*7"));
    service.setFACPrefixes("");
    EXPECT_THAT(DigitAnalysisServiceTestAccess::facPrefixes(service), IsEmpty());
    EXPECT_FALSE(service.isFACPrefix("*7"));
    EXPECT_FALSE(service.isFACPrefix(""));
}

TEST_F(DigitStrings, FacPrefixesReplaceThePreviousList)
{
    service.setFACPrefixes("*7 *8");
    service.setFACPrefixes(",,#9,,");
    EXPECT_THAT(DigitAnalysisServiceTestAccess::facPrefixes(service), ElementsAre("#9"));
    EXPECT_FALSE(service.isFACPrefix("*71"));
}

class FacPrefixConfiguration : public ::testing::Test {
protected:
    CapturingLogSink log;
    ServiceHarness harness;
};

TEST_F(FacPrefixConfiguration, AreReadFromTheConfigurationAtStartUp)
{
    harness.store.setItem("fac-prefix-numbers", "*7 #8,55");
    auto& service = harness.start();
    EXPECT_THAT(DigitAnalysisServiceTestAccess::facPrefixes(service), ElementsAre("*7", "#8", "55"));
    EXPECT_TRUE(log.contains("extractFACPrefixNumbers", 5));
}

TEST_F(FacPrefixConfiguration, AMissingItemLeavesTheListAsItWas)
{
    auto& service = harness.start();
    service.setFACPrefixes("*7");
    service.extractFACPrefixNumbers();
    EXPECT_THAT(DigitAnalysisServiceTestAccess::facPrefixes(service), ElementsAre("*7"));
}

TEST_F(FacPrefixConfiguration, AreReadAgainOnRequest)
{
    auto& service = harness.start();
    harness.store.setItem("fac-prefix-numbers", "#31#");
    service.extractFACPrefixNumbers();
    EXPECT_THAT(DigitAnalysisServiceTestAccess::facPrefixes(service), ElementsAre("#31#"));
}

TEST_F(FacPrefixConfiguration, WithoutAConfigurationStoreNothingIsRead)
{
    ServiceHarness withoutStore(false);
    auto& service = withoutStore.create();
    service.setFACPrefixes("*7");
    service.extractFACPrefixNumbers();
    EXPECT_THAT(DigitAnalysisServiceTestAccess::facPrefixes(service), ElementsAre("*7"));
}

}  // namespace
