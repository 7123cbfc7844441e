// Canonical conversion: the guards, the cleaning, numbers already in "+" form, the general
// rules, the North-American rules and the internal-number stage, under several settings.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <map>
#include <memory>
#include <utility>
#include <vector>

#include "ServiceHarness.h"

namespace {

struct SettingsSet {
    std::vector<std::pair<std::string, std::string>> canonical;
    std::string lookUpRows;  // serialised "lookUp" rows of the canonical dial settings
    bool ringCentral = false;
    bool withStore = true;
};

using Items = std::vector<std::pair<std::string, std::string>>;

const Items kGerman{{"countryCode", "49"},     {"nationalPrefix", "0"},      {"areaCode", "89"},
                    {"localCallPrefix", "0"}, {"internationalPrefix", "00"}, {"minLocalNumberLength", "3"}};
const Items kUs{{"countryCode", "1"},
                {"areaCode", "212"},
                {"localCallPrefix", "9"},
                {"internationalPrefix", "011"},
                {"minLocalNumberLength", "7"}};

Items with(Items items, const Items& changes)
{
    for (const auto& change : changes) {
        bool replaced = false;
        for (auto& item : items) {
            if (item.first == change.first) {
                item.second = change.second;
                replaced = true;
            }
        }
        if (!replaced) items.push_back(change);
    }
    return items;
}

const std::string kEnterpriseLookUp =
    "canonicalDialSettings{"
    "lookUp{localCode=\"7\";internationalCode=\"+49897\"};"
    "lookUp{localCode=\"722\";internationalCode=\"+4989722\"};"
    "lookUp{localCode=\"722\";internationalCode=\"+4930722\"}}";

// The settings the cases below run under, by name.
const std::map<std::string, SettingsSet>& settingsSets()
{
    static const std::map<std::string, SettingsSet> sets{
        {"German", {kGerman, "", false, true}},
        {"Us", {kUs, "", false, true}},
        // The German settings with a local enterprise node, extension digits, local codes
        // and the dialled national number expected after the international prefix.
        {"Enterprise",
         {with(kGerman, {{"expectDialNumber", "true"},
                         {"localEnterpriseNode", "722"},
                         {"extensionInitialDigits", "2,3"}}),
          kEnterpriseLookUp, false, true}},
        {"British",
         {{{"countryCode", "44"},
           {"nationalPrefix", "0"},
           {"areaCode", "20"},
           {"localCallPrefix", "9"},
           {"internationalPrefix", "00"},
           {"minLocalNumberLength", "6"}},
          "", false, true}},
        {"Russian",
         {{{"countryCode", "7"},
           {"nationalPrefix", "8"},
           {"areaCode", "495"},
           {"localCallPrefix", "9"},
           {"internationalPrefix", "810"},
           {"minLocalNumberLength", "5"}},
          "", false, true}},
        {"GermanWithExtensions", {with(kGerman, {{"localEnterpriseNode", "60"}, {"extensionInitialDigits", "2"}}),
                                  "", false, true}},
        {"GermanWithLists", {with(kGerman, {{"operatorCode", "0,11833"}, {"emergencyNumber", "112,110"}}), "",
                             false, true}},
        {"GermanRingCentral", {kGerman, "", true, true}},
        {"NoStore", {kGerman, "", false, false}},
        {"NoCountryCode", {{{"areaCode", "89"}, {"nationalPrefix", "0"}}, "", false, true}},
        {"UsShortMinimum", {with(kUs, {{"minLocalNumberLength", "5"}}), "", false, true}},
        {"UsAccessEqualsInternational", {with(kUs, {{"localCallPrefix", "011"}}), "", false, true}},
        {"UsTwoDigitArea", {with(kUs, {{"areaCode", "21"}}), "", false, true}},
        {"UsNoInternationalPrefix", {with(kUs, {{"internationalPrefix", ""}}), "", false, true}},
    };
    return sets;
}

std::unique_ptr<ServiceHarness> harnessFor(const std::string& settingsName)
{
    const SettingsSet& settings = settingsSets().at(settingsName);
    auto harness = std::make_unique<ServiceHarness>(settings.withStore);
    for (const auto& item : settings.canonical) harness->setCanonicalSetting(item.first, item.second);
    if (!settings.lookUpRows.empty()) {
        EXPECT_TRUE(harness->store.mergeSerialized(settings.lookUpRows));
    }
    // The server type is looked up under the FAC prefix key of the queried item.
    if (settings.ringCentral) harness->store.setItem("server-type", "fac-prefix-numbers", "7");
    harness->start();
    return harness;
}

std::string changesMade(const std::string& working, const std::string& codes)
{
    return "convertToCanonical() - working string='" + working + "', changesMade='" + codes + "'.";
}

std::string workingString(const std::string& working) { return "convertToCanonical() - working string='" + working + "'."; }

struct CanonicalCase {
    const char* name;
    const char* settings;
    std::string input;
    std::string output;
    bool result;
    std::string logLine;    // a line the conversion must log at level 5
    bool reachesRuleChain;  // the line with changesMade is logged exactly once
};

std::ostream& operator<<(std::ostream& out, const CanonicalCase& c) { return out << c.name; }

const std::string kNoValidParameters =
    "convertToCanonical() - no conversion possible as no valid Canonical Parameters have been loaded. Output "
    "string is '0891234'.";
const std::string kFeatureAccessCode =
    "convertToCanonical() - no conversion possible as a Feature Access Code is found. Output string is '";

const std::vector<CanonicalCase> kCases{
    // The guards, in order.
    {"GuardNoValidParameters", "NoStore", "0891234", "0891234", false, kNoValidParameters, false},
    {"GuardNoCountryCode", "NoCountryCode", "0891234", "0891234", false,
     "convertToCanonical() - no conversion possible as Country Code parameter is undefined. Output string is "
     "'0891234'.",
     false},
    {"GuardAnonymous", "German", "anonymous", "anonymous", false, "convertToCanonical() - nothing to convert 'anonymous'.",
     false},
    {"GuardNoNumberProvided", "German", "NoNumberProvided", "NoNumberProvided", false,
     "convertToCanonical() - nothing to convert 'NoNumberProvided'.", false},
    {"GuardAlphanumericRingCentralUri", "GermanRingCentral", "alice@example", "alice@example", false,
     "convertToCanonical() - no conversion for alpha-numeric Ring Central URI's. Output string is 'alice@example'.",
     false},
    {"LettersWithoutTheRingCentralFlagAreDialled", "German", "ALICE", "+498925423", true, workingString("+498925423"),
     true},
    {"GuardBlanksAndPunctuationOnly", "German", " .,;!? ", " .,;!? ", false,
     "convertToCanonical() - no conversion possible as true digit length of input string is one. Output string is "
     "' .,;!? '.",
     false},
    {"GuardFeatureAccessCodeStar", "German", "*123", "*123", false, kFeatureAccessCode + "*123'.", false},
    {"GuardFeatureAccessCodeHash", "German", "#5", "#5", false, kFeatureAccessCode + "#5'.", false},
    {"GuardFeatureAccessCodeAfterBlank", "German", " *123", " *123", false, kFeatureAccessCode + " *123'.", false},
    {"GuardOperatorNumber", "GermanWithLists", "11833", "11833", false,
     "convertToCanonical() - exact match to Operator Number found, therefore no conversion. Output string is "
     "'11833'.",
     false},
    {"GuardEmergencyNumber", "GermanWithLists", "110", "110", false,
     "convertToCanonical() - exact match to Emergency Number found - therefore no conversion. Output string is "
     "'110'.",
     false},
    {"LongerThanAnEmergencyNumberIsConverted", "GermanWithLists", "1120", "+49891120", true,
     workingString("+49891120"), true},

    // Numbers already in "+" form.
    {"OwnCountryWithBracketedNationalPrefix", "German", "+49 (0) 89 1234", "+49891234", true,
     "--- convertToCanonical()", false},
    {"SquareBracketsCountAsRoundOnes", "German", "+49 [0] 89 1234", "+49891234", true, "--- convertToCanonical()",
     false},
    {"ForeignNumberLosesBracketedZero", "German", "+44 (0) 20 123", "+4420123", true, "--- convertToCanonical()",
     false},
    {"NationalPrefixWithoutBrackets", "German", "+49 089 1234", "+49891234", true,
     "convertToCanonical() - National prefix present without brackets - just removed it. Output string is "
     "'+49891234'.",
     false},
    {"NationalPrefixWithoutBracketsAtTheLengthThreshold", "German", "+49089123", "+4989123", true,
     "convertToCanonical() - National prefix present without brackets - just removed it. Output string is "
     "'+4989123'.",
     false},
    {"NationalPrefixKeptBelowTheLengthThreshold", "German", "+49 089", "+49089", true, "--- convertToCanonical()",
     false},
    {"CanonicalNumberIsReturnedWithTrue", "German", "+49891234", "+49891234", true, workingString("+49891234"),
     false},
    {"OwnCountryWithOtherNationalPrefixInBrackets", "Russian", "+7 (8) 495 1234567", "+74951234567", true,
     "--- convertToCanonical()", false},
    {"ForeignBracketedZeroIsAlwaysTheDigitZero", "Russian", "+44 (0) 20 123", "+4420123", true,
     "--- convertToCanonical()", false},
    {"ForeignBracketedNationalPrefixOtherThanZeroStays", "Russian", "+44 (8) 20 123", "+44820123", true,
     "--- convertToCanonical()", false},

    // Cleaning before the general rules.
    {"BracketedZeroAfterAccessAndInternationalPrefix", "German", "0 00 44 (0) 20 123", "+4420123", true,
     changesMade("+4420123", ",09"), true},
    {"BracketedZeroAfterOwnCountryCode", "German", "0049 (0) 89 1234", "+49891234", true,
     changesMade("+49891234", ",04"), true},
    {"BracketedZeroKeptWhenThePrefixReadsAsNational", "German", "00 44 (0) 20 123", "+4944020123", true,
     changesMade("+4944020123", ",10"), true},
    {"BracketedZeroOfForeignNumberAfterInternationalPrefix", "British", "00 33 (0) 1 23 45 67 89", "+33123456789", true,
     changesMade("+33123456789", ",11"), true},

    // The general rules.
    {"Rule01AccessInternationalCountryNational", "German", "0 00 49 0 89 1234", "+49891234", true,
     changesMade("+49891234", ",01"), true},
    {"Rule01British", "British", "9 0044 0 20 1234", "+44201234", true, changesMade("+44201234", ",01"), true},
    {"Rule02AccessInternationalOwnCountry", "German", "0 0049 89 1234", "+49891234", true,
     changesMade("+49891234", ",02"), true},
    {"Rule02British", "British", "9 0044 20 1234", "+44201234", true, changesMade("+44201234", ",02"), true},
    {"Rule03InternationalCountryNational", "German", "00 49 0 89 1234", "+49891234", true,
     changesMade("+49891234", ",03"), true},
    {"Rule03British", "British", "0044 020 1234 5678", "+442012345678", true, changesMade("+442012345678", ",03"),
     true},
    {"Rule04InternationalOwnCountry", "German", "0049 89 1234", "+49891234", true, changesMade("+49891234", ",04"),
     true},
    {"Rule04British", "British", "0044 20 1234 5678", "+442012345678", true, changesMade("+442012345678", ",04"),
     true},
    {"Rule04expTakesTheRestAsNationalNumber", "Enterprise", "0049 89 1234", "+4949891234", true,
     changesMade("+4949891234", ",04exp"), true},
    {"Rule05AccessNationalArea", "German", "0 089 1234", "+49891234", true, changesMade("+49891234", ",05"), true},
    {"Rule05British", "British", "9 020 1234 5678", "+442012345678", true, changesMade("+442012345678", ",05"), true},
    {"Rule06NationalArea", "German", "089 1234", "+49891234", true, changesMade("+49891234", ",06"), true},
    {"Rule06British", "British", "020 1234 5678", "+442012345678", true, changesMade("+442012345678", ",06"), true},
    {"Rule07AccessNationalWithLetters", "German", "00 ABC 1234", "+492221234", true, changesMade("+492221234", ",07"),
     true},
    {"Rule07British", "British", "90 FLOWERS", "+443569377", true, changesMade("+443569377", ",07"), true},
    {"Rule08NationalWithLetters", "German", "0 ABC 1234", "+492221234", true, changesMade("+492221234", ",08"), true},
    {"Rule08British", "British", "0 FLOWERS", "+443569377", true, changesMade("+443569377", ",08"), true},
    {"Rule09AccessInternational", "German", "0 00 44 20 123", "+4420123", true, changesMade("+4420123", ",09"), true},
    {"Rule09British", "British", "9 00 33 1234", "+331234", true, changesMade("+331234", ",09"), true},
    {"Rule10AccessNationalLongerThanMinimumPlusOne", "German", "0030 123", "+4930123", true,
     changesMade("+4930123", ",10"), true},
    {"Rule10British", "British", "90 30 1234", "+44301234", true, changesMade("+44301234", ",10"), true},
    {"Rule10NotAtMinimumPlusOneSoRule12", "German", "0030", "+4989030", true, changesMade("+4989030", ",12"), true},
    {"Rule11InternationalAtSixDigitsMore", "British", "0033 1234", "+331234", true, changesMade("+331234", ",11"),
     true},
    {"Rule11NotBelowSixDigitsMore", "British", "0033 123", "+44200033123", true, changesMade("0033123", ""), true},
    {"Rule12AccessLongerThanMinimum", "German", "0123", "+4989123", true, changesMade("+4989123", ",12"), true},
    {"Rule12British", "British", "9 1234567", "+44201234567", true, changesMade("+44201234567", ",12"), true},
    {"Rule12NotAtMinimum", "German", "012", "+4989012", true, changesMade("012", ""), true},
    {"Rule13NationalLongerThanMinimumPlusTwo", "British", "0 12345678", "+4412345678", true,
     changesMade("+4412345678", ",13"), true},
    {"Rule13NotAtMinimumPlusTwo", "British", "0 1234567", "+442001234567", true, changesMade("01234567", ""), true},
    {"Rule14LocalEnterpriseNode", "Enterprise", "49 89 722 100", "+4989722100", true,
     changesMade("+4989722100", ",14"), true},
    {"LettersWithoutPrefixAreDialledLocally", "German", "FLOWERS", "+49893569377", true, workingString("+49893569377"),
     true},

    // The North-American rules.
    {"Us00International", "Us", "011 44 20 123 4567", "+44201234567", true, changesMade("+44201234567", ",us00"),
     true},
    {"Us00AccessAndInternational", "Us", "9 011 44 20 123 4567", "+44201234567", true,
     changesMade("+44201234567", ",us00"), true},
    {"Us01SevenDigits", "Us", "5551234", "+12125551234", true, changesMade("+12125551234", ",us01"), true},
    {"Us01AfterAccessCode", "Us", "9 555 1234", "+12125551234", true, changesMade("+12125551234", ",us01"), true},
    {"Us01TrueLengthStopsAtHash", "Us", "5551234#99", "+12125551234#99", true,
     changesMade("+12125551234#99", ",us01"), true},
    {"Us02TenDigits", "Us", "2125551234", "+12125551234", true, changesMade("+12125551234", ",us02"), true},
    {"Us02WithBlanks", "Us", "212 555 1234", "+12125551234", true, changesMade("+12125551234", ",us02"), true},
    {"Us02WithBrackets", "Us", "(212) 555-1234", "+12125551234", true, changesMade("+12125551234", ",us02"), true},
    {"Us02AfterAccessCode", "Us", "9 2125551234", "+12125551234", true, changesMade("+12125551234", ",us02"), true},
    {"Us03ElevenDigitsWithOne", "Us", "12125551234", "+12125551234", true, changesMade("+12125551234", ",us03"),
     true},
    {"Us03AfterInternationalPrefix", "Us", "011 1 212 555 1234", "+12125551234", true,
     changesMade("+12125551234", ",us03"), true},
    {"UsFailsAfterInternationalPrefixAndIsReformatted", "Us", "011 4412", "0114412", true,
     "convertToCanonical() - U.S. canonical conversion failed = '0114412'.", true},
    {"UsInternationalFailsBelowSixDigits", "Us", "011 44123", "01144123", true,
     "convertToCanonical() - U.S. canonical conversion failed = '01144123'.", true},
    {"Us00AtSixDigits", "Us", "011 441234", "+441234", true, changesMade("+441234", ",us00"), true},
    {"UsFailsForUnknownLength", "UsShortMinimum", "55512", "55512", false,
     "convertToCanonical() - U.S. canonical conversion failed = '55512'.", true},
    {"UsShorterThanMinimumIsLeftAlone", "Us", "55512", "55512", false, "No conversion occurred. Output string is '55512'",
     true},
    {"UsRestrictedNumberIsOnlyReformatted", "Us", "1 2", "12", true,
     "Minor formatting conversion occurred. Output string is '12'", true},
    {"UsAccessCodeEqualToInternationalPrefix", "UsAccessEqualsInternational", "011 212 555 1234", "+12125551234", true,
     changesMade("+12125551234", ",us02"), true},
    {"UsSevenDigitsNeedAThreeDigitArea", "UsTwoDigitArea", "5551234", "5551234", false,
     "convertToCanonical() - U.S. canonical conversion failed = '5551234'.", true},
    {"UsWithoutInternationalPrefix", "UsNoInternationalPrefix", "011 4420", "+12120114420", true,
     changesMade("+12120114420", ",us01"), true},

    // Internal numbers.
    {"ExtensionGetsNodeThenLocalCode", "Enterprise", "2345", "+49897222345", true,
     "convertToCanonical() - string contained Local Node as a prefix. Output string is now '+49897222345'.", true},
    {"LongestLocalCodeWinsAndTheFirstOfEqualCodes", "Enterprise", "7221234", "+49897221234", true,
     "convertToCanonical() - string contained Local Node as a prefix. Output string is now '+49897221234'.", true},
    {"ShortLocalCode", "Enterprise", "7 1234", "+498971234", true,
     "convertToCanonical() - string contained Local Node as a prefix. Output string is now '+498971234'.", true},
    {"ExtensionGetsNodeThenOwnArea", "GermanWithExtensions", "2345", "+4989602345", true, workingString("602345"),
     true},
    {"LocalNumberGetsOwnArea", "German", "1234", "+49891234", true, workingString("+49891234"), true},
    {"LocalNumberInEnterpriseSettings", "Enterprise", "4567", "+49894567", true, workingString("+49894567"), true},
    {"ShortNumberIsNotConverted", "German", "12", "12", false, "No conversion occurred. Output string is '12'", true},
    {"ShortNumberIsOnlyReformatted", "German", "1-2", "12", true,
     "Minor formatting conversion occurred. Output string is '12'", true},
};

class CanonicalConversionTable : public ::testing::TestWithParam<CanonicalCase> {};

TEST_P(CanonicalConversionTable, ConvertsAsTheSettingsSay)
{
    const CanonicalCase& c = GetParam();
    auto harness = harnessFor(c.settings);
    CapturingLogSink log;
    std::string number = c.input;
    EXPECT_EQ(harness->service().convertToCanonical(number), c.result);
    EXPECT_EQ(number, c.output);
    EXPECT_TRUE(log.contains("+++ convertToCanonical(" + c.input + ")", 5));
    EXPECT_TRUE(log.contains(c.logLine, 5)) << "missing: " << c.logLine;
    int changesMadeLines = 0;
    for (const std::string& text : log.texts(5))
        if (text.find("', changesMade='") != std::string::npos) ++changesMadeLines;
    EXPECT_EQ(changesMadeLines, c.reachesRuleChain ? 1 : 0);
}

INSTANTIATE_TEST_SUITE_P(Cases, CanonicalConversionTable, ::testing::ValuesIn(kCases),
                         [](const ::testing::TestParamInfo<CanonicalCase>& info) { return std::string(info.param.name); });

TEST(CanonicalConversionCases, CoverEveryRuleAndTheThreeRequiredSettings)
{
    std::string allCodes;
    std::map<std::string, int> casesPerSettings;
    for (const CanonicalCase& c : kCases) {
        allCodes += c.logLine;
        ++casesPerSettings[c.settings];
    }
    EXPECT_GE(kCases.size(), 60u);
    for (const char* code : {",01'", ",02'", ",03'", ",04'", ",04exp'", ",05'", ",06'", ",07'", ",08'", ",09'", ",10'",
                             ",11'", ",12'", ",13'", ",14'", ",us00'", ",us01'", ",us02'", ",us03'"}) {
        EXPECT_NE(allCodes.find(code), std::string::npos) << code;
    }
    EXPECT_GT(casesPerSettings["German"], 0);
    EXPECT_GT(casesPerSettings["Us"], 0);
    EXPECT_GT(casesPerSettings["Enterprise"], 0);
}

// Single behaviours that need more than one log line or more than one call.
class CanonicalConversion : public ::testing::Test {
protected:
    CapturingLogSink log;
    std::unique_ptr<ServiceHarness> harness;

    DigitAnalysisService& start(const std::string& settings)
    {
        harness = harnessFor(settings);
        log.clear();
        return harness->service();
    }
};

TEST_F(CanonicalConversion, EmptyInputIsFalseAtOnce)
{
    auto& service = start("German");
    std::string number;
    EXPECT_FALSE(service.convertToCanonical(number));
    EXPECT_EQ(number, "");
    EXPECT_THAT(log.texts(5), ::testing::ElementsAre("+++ convertToCanonical()"));
}

TEST_F(CanonicalConversion, RuleConversionLogsEachStepInOrder)
{
    auto& service = start("German");
    std::string number = "089 1234";
    ASSERT_TRUE(service.convertToCanonical(number));
    std::vector<std::string> conversionLines;
    for (const std::string& text : log.texts(5))
        if (text.find("onvertToCanonical") != std::string::npos) conversionLines.push_back(text);
    EXPECT_THAT(conversionLines,
                ::testing::ElementsAre("+++ convertToCanonical(089 1234)", workingString("0891234"),
                                       workingString("0891234"), workingString("0891234"),
                                       changesMade("+49891234", ",06"), "--- convertToCanonical()"));
}

TEST_F(CanonicalConversion, ExtensionDigitsLogTheWorkingStringTwice)
{
    auto& service = start("GermanWithExtensions");
    std::string number = "2345";
    ASSERT_TRUE(service.convertToCanonical(number));
    EXPECT_EQ(log.count(workingString("602345")), 2);
    EXPECT_EQ(log.count(workingString("+4989602345")), 1);
}

TEST_F(CanonicalConversion, WithoutExtensionDigitsTheWorkingStringIsLoggedOnce)
{
    auto& service = start("German");
    std::string number = "12";
    ASSERT_FALSE(service.convertToCanonical(number));
    // Twice from cleaning, once from stage 3b, once in stage 4 and once before the outcome.
    EXPECT_EQ(log.count(workingString("12")), 5);
}

TEST_F(CanonicalConversion, UsFailureAfterThePrefixIsReformattedAsMinorConversion)
{
    auto& service = start("Us");
    std::string number = "011 4412";
    EXPECT_TRUE(service.convertToCanonical(number));
    EXPECT_EQ(number, "0114412");
    EXPECT_TRUE(log.contains("convertToCanonical() - U.S. canonical conversion failed = '0114412'.", 5));
    EXPECT_TRUE(log.contains("Minor formatting conversion occurred. Output string is '0114412'", 5));
}

TEST_F(CanonicalConversion, UsFailureOfUnknownLengthIsNoConversion)
{
    auto& service = start("UsShortMinimum");
    std::string number = "55512";
    EXPECT_FALSE(service.convertToCanonical(number));
    EXPECT_TRUE(log.contains("convertToCanonical() - U.S. canonical conversion failed = '55512'.", 5));
    EXPECT_TRUE(log.contains("No conversion occurred. Output string is '55512'", 5));
}

TEST_F(CanonicalConversion, UsShorterThanMinimumDoesNotFail)
{
    auto& service = start("Us");
    std::string number = "55512";
    EXPECT_FALSE(service.convertToCanonical(number));
    EXPECT_FALSE(log.contains("convertToCanonical() - U.S. canonical conversion failed = '55512'.", 5));
}

TEST_F(CanonicalConversion, RestrictedNumbersDoNotGetTheOwnArea)
{
    // The same short local number gets the own area under the general rules, not under the U.S. ones.
    auto& us = start("UsShortMinimum");
    std::string usNumber = "55512";
    EXPECT_FALSE(us.convertToCanonical(usNumber));
    auto& german = start("German");
    std::string germanNumber = "55512";
    EXPECT_TRUE(german.convertToCanonical(germanNumber));
    EXPECT_EQ(germanNumber, "+498955512");
}

TEST_F(CanonicalConversion, OperatorAndEmergencyGuardsNeedTheFirstMatchingEntryToBeExact)
{
    harness = std::make_unique<ServiceHarness>();
    for (const auto& item : kGerman) harness->setCanonicalSetting(item.first, item.second);
    harness->setCanonicalSetting("operatorCode", "11,118");
    auto& service = harness->start();
    std::string number = "118";
    EXPECT_TRUE(service.convertToCanonical(number));
    EXPECT_EQ(number, "+4989118");
}

TEST_F(CanonicalConversion, GuardsLeaveTheNumberUnchangedAndDoNotConvertAtAll)
{
    auto& service = start("GermanWithLists");
    for (std::string number : {"anonymous", "*72", "110", "11833", "  ", "#"}) {
        const std::string before = number;
        EXPECT_FALSE(service.convertToCanonical(number)) << before;
        EXPECT_EQ(number, before);
    }
}

}  // namespace
