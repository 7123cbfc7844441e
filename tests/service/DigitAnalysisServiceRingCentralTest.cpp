// RingCentral dialable conversion: numbers sent to the cloud service in full national
// dialling form (access code, national prefix, area code, subscriber number).

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <memory>

#include "DialPlan.h"
#include "DigitAnalysisServiceTestAccess.h"
#include "ServiceHarness.h"

namespace {

class RingCentralConversion : public ::testing::Test {
protected:
    CapturingLogSink log;
    std::unique_ptr<ServiceHarness> harness = std::make_unique<ServiceHarness>();

    // L 9, N 0, A 89, I 00, M 5, with or without the RingCentral server flag.
    DigitAnalysisService& start(bool ringCentral = true, const std::string& accessCode = "9")
    {
        harness->setCanonicalSetting("countryCode", "49");
        harness->setCanonicalSetting("localCallPrefix", accessCode);
        harness->setCanonicalSetting("nationalPrefix", "0");
        harness->setCanonicalSetting("areaCode", "89");
        harness->setCanonicalSetting("internationalPrefix", "00");
        harness->setCanonicalSetting("minLocalNumberLength", "5");
        harness->setCanonicalSetting("operatorCode", "11833");
        harness->setCanonicalSetting("emergencyNumber", "112,110");
        // The server type is looked up under the FAC prefix key of the queried item.
        if (ringCentral) harness->store.setItem("server-type", "fac-prefix-numbers", "7");
        auto& service = harness->start();
        log.clear();
        return service;
    }

    // Converts and checks that a false result left the number as it was.
    std::pair<bool, std::string> convert(DigitAnalysisService& service, const std::string& input)
    {
        std::string number = input;
        const bool converted = service.convertToDialableRingCentral(number);
        if (!converted) {
            EXPECT_EQ(number, input);
        }
        return {converted, number};
    }
};

using Result = std::pair<bool, std::string>;

TEST_F(RingCentralConversion, ShortNumberIsAnInternalExtension)
{
    auto& service = start();
    EXPECT_EQ(convert(service, "1234"), Result(false, "1234"));
    EXPECT_TRUE(log.contains("+++ convertToDialableRingCentral(1234)", 5));
    EXPECT_TRUE(log.contains("convertToDialableRingCentral() - working string='1234'.", 5));
    EXPECT_TRUE(log.contains("convertToDialableRingCentral() assume internal extension due to number length - no "
                             "conversion. Output string is '1234'.",
                             5));
    EXPECT_TRUE(log.contains("No conversion occurred. Output string is '1234'", 5));
}

TEST_F(RingCentralConversion, BlanksRemovedFromAnExtensionAreAMinorFormatting)
{
    auto& service = start();
    EXPECT_EQ(convert(service, "12 34"), Result(true, "1234"));
    EXPECT_TRUE(log.contains("Minor formatting conversion occurred. Output string is '1234'", 5));
}

TEST_F(RingCentralConversion, LocalNumberGetsAccessCodeNationalPrefixAndArea)
{
    auto& service = start();
    EXPECT_EQ(convert(service, "5551234"), Result(true, "90895551234"));
    EXPECT_TRUE(log.contains("Minor formatting conversion occurred. Output string is '90895551234'", 5));
}

TEST_F(RingCentralConversion, LeadingAccessCodeIsDroppedAndPutBack)
{
    auto& service = start();
    EXPECT_EQ(convert(service, "95551234"), Result(true, "90895551234"));
}

TEST_F(RingCentralConversion, ShortNumberWithAccessCodeIsCompleted)
{
    auto& service = start();
    EXPECT_EQ(convert(service, "9123"), Result(true, "9089123"));
}

TEST_F(RingCentralConversion, NumbersWithAccessCodeAndPrefixAreComplete)
{
    auto& service = start();
    const std::string completeWithAccessCode =
        "convertToDialableRingCentral() found national or internation prefix with PSTN access code - no "
        "conversion. Output string is '";
    EXPECT_EQ(convert(service, "90301234567"), Result(false, "90301234567"));
    EXPECT_TRUE(log.contains(completeWithAccessCode + "90301234567'.", 5));
    EXPECT_EQ(convert(service, "900442012"), Result(false, "900442012"));
    EXPECT_TRUE(log.contains(completeWithAccessCode + "900442012'.", 5));
}

TEST_F(RingCentralConversion, NumbersWithPrefixAreComplete)
{
    auto& service = start();
    const std::string complete =
        "convertToDialableRingCentral() found national or internation prefix - no conversion. Output string is '";
    EXPECT_EQ(convert(service, "0301234567"), Result(false, "0301234567"));
    EXPECT_TRUE(log.contains(complete + "0301234567'.", 5));
    EXPECT_EQ(convert(service, "004420123"), Result(false, "004420123"));
    EXPECT_TRUE(log.contains(complete + "004420123'.", 5));
}

TEST_F(RingCentralConversion, CompleteNumbersWrittenWithBlanksLoseTheBlanks)
{
    auto& service = start();
    EXPECT_EQ(convert(service, "9 030 1234567"), Result(true, "90301234567"));
    EXPECT_EQ(convert(service, "9 00 44 2012"), Result(true, "900442012"));
    EXPECT_EQ(convert(service, "030 1234567"), Result(true, "0301234567"));
    EXPECT_EQ(convert(service, "00 44 20123"), Result(true, "004420123"));
}

TEST_F(RingCentralConversion, ShortNumberWithAccessCodeAndNationalPrefixIsComplete)
{
    auto& service = start();
    EXPECT_EQ(convert(service, "9012"), Result(false, "9012"));
}

TEST_F(RingCentralConversion, WhenAccessCodeEqualsNationalPrefixNumbersWithItAreComplete)
{
    auto& service = start(true, "0");
    EXPECT_EQ(convert(service, "05551234"), Result(false, "05551234"));
    EXPECT_TRUE(log.contains("convertToDialableRingCentral() found national or internation prefix - no conversion. "
                             "Output string is '05551234'.",
                             5));
    EXPECT_EQ(convert(service, "0301234567"), Result(false, "0301234567"));
    EXPECT_EQ(convert(service, "5551234"), Result(true, "00895551234"));
}

TEST_F(RingCentralConversion, LettersAfterTheFirstDigitAreConverted)
{
    auto& service = start();
    EXPECT_EQ(convert(service, "555 flow"), Result(true, "90895553569"));
}

// Gives the dial plan one send entry for a fixed-length pattern, in on-hook mode.
void useDialPlanEntry(DigitAnalysisService& service, const std::string& pattern)
{
    DialPlan* plan = DigitAnalysisServiceTestAccess::getDialPlan(service);
    ASSERT_NE(plan, nullptr);
    t_dialPlanEntry& entry = *plan->getEntry(0);
    entry = t_dialPlanEntry();
    entry.digitString = pattern;
    entry.action = "S";
    entry.minDigitLength = static_cast<std::uint32_t>(pattern.size());
    entry.maxDigitLength = entry.minDigitLength;
    entry.timer = 0;
    plan->setNumberOfEntries(1);
    plan->setEnabled(true);
    plan->setOnhookDialling(true);
}

TEST_F(RingCentralConversion, NumberTheDialPlanSendsIsLeftUnchanged)
{
    auto& service = start();
    useDialPlanEntry(service, "555xxxx");
    EXPECT_EQ(convert(service, "5551234"), Result(false, "5551234"));
    EXPECT_TRUE(log.contains("convertToDialableRingCentral() - no conversion as number has a dial plan match. "
                             "Output string is '5551234'.",
                             5));
    EXPECT_FALSE(DigitAnalysisServiceTestAccess::getDialPlan(service)->getOnhookDialling()) << "the dial plan is consulted in off-hook mode";
}

TEST_F(RingCentralConversion, NumberTheDialPlanOnlyPartlyMatchesIsConverted)
{
    auto& service = start();
    useDialPlanEntry(service, "555xxxxx");
    EXPECT_EQ(convert(service, "5551234"), Result(true, "90895551234"));
}

TEST_F(RingCentralConversion, PlusFormIsRefused)
{
    auto& service = start();
    EXPECT_EQ(convert(service, "+49891234"), Result(false, "+49891234"));
    EXPECT_TRUE(log.contains("convertToDialableRingCentral() found internation prefix symbol - no conversion. "
                             "Output string is '+49891234'.",
                             5));
}

TEST_F(RingCentralConversion, FeatureAccessCodesAreRefused)
{
    auto& service = start();
    const std::string refused =
        "convertToDialableRingCentral() - no conversion possible as a Feature Access Code is found. Output string is "
        "'";
    EXPECT_EQ(convert(service, "*72"), Result(false, "*72"));
    EXPECT_TRUE(log.contains(refused + "*72'.", 5));
    EXPECT_EQ(convert(service, "#31#5551234"), Result(false, "#31#5551234"));
    EXPECT_TRUE(log.contains(refused + "#31#5551234'.", 5));
}

TEST_F(RingCentralConversion, AlphanumericUrisAreRefused)
{
    auto& service = start();
    EXPECT_EQ(convert(service, "alice@example"), Result(false, "alice@example"));
    EXPECT_TRUE(log.contains("convertToDialableRingCentral() - no conversion for alpha-numeric URI's 'alice@example'.",
                             5));
}

TEST_F(RingCentralConversion, PunctuationOnlyIsRefused)
{
    auto& service = start();
    EXPECT_EQ(convert(service, " . ,"), Result(false, " . ,"));
    EXPECT_TRUE(log.contains("convertToDialableRingCentral() - no conversion possible as true digit length of input "
                             "string is one. Output string is ' . ,'.",
                             5));
}

TEST_F(RingCentralConversion, UnnamedCallersAreNotConverted)
{
    auto& service = start();
    EXPECT_EQ(convert(service, "anonymous"), Result(false, "anonymous"));
    EXPECT_TRUE(log.contains("convertToDialableRingCentral() - nothing to convert 'anonymous'.", 5));
    EXPECT_EQ(convert(service, "NoNumberProvided"), Result(false, "NoNumberProvided"));
    EXPECT_TRUE(log.contains("convertToDialableRingCentral() - nothing to convert 'NoNumberProvided'.", 5));
}

TEST_F(RingCentralConversion, OperatorAndEmergencyNumbersAreNotConverted)
{
    auto& service = start();
    EXPECT_EQ(convert(service, "11833"), Result(false, "11833"));
    EXPECT_TRUE(log.contains("convertToDialableRingCentral() - exact match to Operator Number found, therefore no "
                             "conversion. Output string is '11833'.",
                             5));
    EXPECT_EQ(convert(service, "110"), Result(false, "110"));
    EXPECT_TRUE(log.contains("convertToDialableRingCentral() - exact match to Emergency Number found - therefore no "
                             "conversion. Output string is '110'.",
                             5));
    EXPECT_EQ(convert(service, "1123456"), Result(true, "90891123456"));
}

TEST_F(RingCentralConversion, WithoutTheServerFlagNothingIsConverted)
{
    auto& service = start(false);
    for (const std::string input : {"5551234", "12 34", "9123", "+49891234", "0301234567"}) {
        EXPECT_EQ(convert(service, input), Result(false, input));
        EXPECT_TRUE(log.contains("convertToDialableRingCentral() - no conversion possible as no valid Parameters have "
                                 "been set. Output string is '" +
                                     input + "'.",
                                 5));
    }
}

TEST_F(RingCentralConversion, WithoutCanonicalDataNothingIsConverted)
{
    auto& service = harness->create();
    EXPECT_EQ(convert(service, "5551234"), Result(false, "5551234"));
}

TEST_F(RingCentralConversion, WithoutAreaCodeNothingIsConverted)
{
    harness->setCanonicalSetting("areaCode", "");
    harness->setCanonicalSetting("nationalPrefix", "0");
    harness->store.setItem("server-type", "fac-prefix-numbers", "7");
    auto& service = harness->start();
    EXPECT_EQ(convert(service, "5551234"), Result(false, "5551234"));
    EXPECT_TRUE(log.contains("convertToDialableRingCentral() national prefix or national code empty - no "
                             "conversion. Output string is '5551234'.",
                             5));
}

TEST_F(RingCentralConversion, WithoutNationalPrefixNothingIsConverted)
{
    harness->setCanonicalSetting("areaCode", "89");
    harness->store.setItem("server-type", "fac-prefix-numbers", "7");
    auto& service = harness->start();
    EXPECT_EQ(convert(service, "5551234"), Result(false, "5551234"));
    EXPECT_TRUE(log.contains("convertToDialableRingCentral() national prefix or national code empty - no "
                             "conversion. Output string is '5551234'.",
                             5));
}

TEST_F(RingCentralConversion, EmptyNumberIsFalseAtOnce)
{
    auto& service = start();
    std::string number;
    EXPECT_FALSE(service.convertToDialableRingCentral(number));
    EXPECT_THAT(log.texts(5), ::testing::ElementsAre("+++ convertToDialableRingCentral()"));
}

TEST_F(RingCentralConversion, CanonicalConversionRefusesAlphanumericUrisToo)
{
    auto& service = start();
    std::string number = "alice";
    EXPECT_FALSE(service.convertToCanonical(number));
    EXPECT_EQ(number, "alice");
}

}  // namespace
