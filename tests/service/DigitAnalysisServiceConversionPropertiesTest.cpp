// Properties of the number conversions over many generated inputs, and their behaviour on
// hostile input: very long strings, control bytes, bytes above 127, unbalanced brackets and
// settings that are not numbers where numbers are expected.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <random>

#include "ServiceHarness.h"

namespace {

constexpr int kGeneratedInputs = 10000;

// Dialled-looking strings: digits, blanks, punctuation, letters, "+", "*", "#", brackets,
// and now and then an empty string. The same seed gives the same inputs on every run.
class InputGenerator {
public:
    explicit InputGenerator(unsigned seed) : m_random(seed) {}

    std::string next()
    {
        static const std::string kAlphabet =
            "0123456789012345678901234567890123456789 .,;!?-/ABCDEFGHIJKLMNOPQRSTUVWXYZabcxyz+*#()[]{}<>";
        const int length = pick(0, 24);
        std::string text;
        // Often start as real numbers do, so that the prefixes and rules get exercised.
        static const char* const kStarts[] = {"", "+", "+49", "00", "0", "9", "011", "1", "+1", "0049", "90"};
        if (pick(0, 2) > 0) text = kStarts[pick(0, 10)];
        for (int i = 0; i < length; ++i) text += kAlphabet[static_cast<std::size_t>(pick(0, kAlphabet.size() - 1))];
        return text;
    }

private:
    std::mt19937 m_random;

    int pick(int low, std::size_t high)
    {
        return std::uniform_int_distribution<int>(low, static_cast<int>(high))(m_random);
    }
};

using Conversion = std::function<bool(DigitAnalysisService&, std::string&)>;

struct NamedConversion {
    const char* name;
    Conversion convert;
    bool trueMeansChanged;  // the canonical form may come back unchanged with true
};

const std::vector<NamedConversion>& conversions()
{
    static const std::vector<NamedConversion> all{
        {"convertToCanonical", [](DigitAnalysisService& s, std::string& n) { return s.convertToCanonical(n); },
         false},
        {"convertCanonicalToLocalDialable",
         [](DigitAnalysisService& s, std::string& n) { return s.convertCanonicalToLocalDialable(n); }, true},
        {"convertToDialableRingCentral",
         [](DigitAnalysisService& s, std::string& n) { return s.convertToDialableRingCentral(n); }, true},
        {"convertToLocalDialable",
         [](DigitAnalysisService& s, std::string& n) {
             std::string diagnostic;
             return s.convertToLocalDialable(n, diagnostic);
         },
         true},
    };
    return all;
}

// German settings with every optional feature on: lists, extension digits, an enterprise
// node, local codes, a diagnostic prefix and the RingCentral server flag.
void configureGermanEverything(ServiceHarness& harness)
{
    harness.setGermanCanonicalSettings();
    harness.setCanonicalSetting("localEnterpriseNode", "722");
    harness.setCanonicalSetting("extensionInitialDigits", "2,3");
    harness.setCanonicalSetting("operatorCode", "0,11833");
    harness.setCanonicalSetting("emergencyNumber", "112,110");
    harness.setCanonicalSetting("dialNeedsAccessCode", "1");
    EXPECT_TRUE(harness.store.mergeSerialized("canonicalDialSettings{"
                                              "lookUp{localCode=\"7\";internationalCode=\"+49897\"};"
                                              "lookUp{localCode=\"722\";internationalCode=\"+4989722\"}}"));
    harness.store.setItem("diagnostic-call-prefix", "999");
    harness.store.setItem("server-type", "fac-prefix-numbers", "7");
}

void configureUs(ServiceHarness& harness)
{
    harness.setUsCanonicalSettings();
    harness.setCanonicalSetting("nationalPrefix", "1");
    harness.setCanonicalSetting("dialExternalForm", "1");
    harness.setCanonicalSetting("dialInternalForm", "1");
    harness.store.setItem("server-type", "fac-prefix-numbers", "7");
}

void configureEnterpriseExpectingDialNumber(ServiceHarness& harness)
{
    configureGermanEverything(harness);
    harness.setCanonicalSetting("expectDialNumber", "true");
    harness.setCanonicalSetting("dialInternalForm", "3");
    harness.setCanonicalSetting("dialExternalForm", "1");
}

struct PropertySettings {
    const char* name;
    void (*configure)(ServiceHarness&);
};

std::ostream& operator<<(std::ostream& out, const PropertySettings& settings) { return out << settings.name; }

class ConversionProperties : public ::testing::TestWithParam<PropertySettings> {
protected:
    ServiceHarness harness;

    DigitAnalysisService& start()
    {
        GetParam().configure(harness);
        return harness.start();
    }
};

TEST_P(ConversionProperties, FalseLeavesTheInputAsItWasAndEqualInputsGiveEqualResults)
{
    auto& service = start();
    for (const NamedConversion& conversion : conversions()) {
        InputGenerator generator(20261122);
        int converted = 0;
        for (int i = 0; i < kGeneratedInputs; ++i) {
            const std::string input = generator.next();
            std::string first = input;
            const bool firstResult = conversion.convert(service, first);
            std::string second = input;
            const bool secondResult = conversion.convert(service, second);

            ASSERT_EQ(firstResult, secondResult) << conversion.name << " of '" << input << "'";
            ASSERT_EQ(first, second) << conversion.name << " of '" << input << "'";
            if (!firstResult) {
                ASSERT_EQ(first, input) << conversion.name << " returned false but changed '" << input << "'";
            } else if (conversion.trueMeansChanged) {
                ASSERT_NE(first, input) << conversion.name << " returned true but left '" << input << "'";
            }
            if (firstResult) ++converted;
        }
        // The generated inputs must reach the conversions, not only their guards.
        EXPECT_GT(converted, kGeneratedInputs / 20) << conversion.name;
    }
}

TEST_P(ConversionProperties, CanonicalTrueWithoutChangeOnlyForNumbersAlreadyInPlusForm)
{
    auto& service = start();
    InputGenerator generator(7);
    for (int i = 0; i < kGeneratedInputs; ++i) {
        const std::string input = generator.next();
        std::string number = input;
        if (service.convertToCanonical(number) && number == input) {
            ASSERT_EQ(input[0], '+') << input;
        }
    }
}

INSTANTIATE_TEST_SUITE_P(Settings, ConversionProperties,
                         ::testing::Values(PropertySettings{"German", configureGermanEverything},
                                           PropertySettings{"Us", configureUs},
                                           PropertySettings{"Enterprise", configureEnterpriseExpectingDialNumber}),
                         [](const ::testing::TestParamInfo<PropertySettings>& info) {
                             return std::string(info.param.name);
                         });

// Hostile input on the German settings.
class HostileInput : public ::testing::Test {
protected:
    ServiceHarness harness;
    DigitAnalysisService* service = nullptr;

    void SetUp() override
    {
        configureGermanEverything(harness);
        service = &harness.start();
    }

    // Runs every conversion on the input: a false result must leave it byte for byte.
    void convertAll(const std::string& input)
    {
        for (const NamedConversion& conversion : conversions()) {
            std::string number = input;
            if (!conversion.convert(*service, number)) {
                EXPECT_EQ(number, input) << conversion.name;
            }
        }
    }
};

TEST_F(HostileInput, SixtyFourKilobyteStrings)
{
    const std::size_t size = 64 * 1024;
    convertAll(std::string(size, '5'));
    convertAll("+" + std::string(size, '4'));
    convertAll(std::string(size, '('));
    convertAll(std::string(size, ' '));
    convertAll(std::string(size, 'A'));
    convertAll("0" + std::string(size, '0'));
    InputGenerator generator(64);
    std::string mixed;
    while (mixed.size() < size) mixed += generator.next();
    convertAll(mixed);

    std::string longNumber = std::string(size, '5');
    ASSERT_TRUE(service->convertToCanonical(longNumber));
    EXPECT_EQ(longNumber, "+4989" + std::string(size, '5'));
}

TEST_F(HostileInput, ControlBytesAndBytesAbove127)
{
    std::string allBytes;
    for (int byte = 1; byte < 256; ++byte) allBytes += static_cast<char>(byte);
    convertAll(allBytes);
    convertAll(std::string("089\0" "1234", 8));
    convertAll(std::string("\0", 1));
    convertAll("\x80\xff\xfe");
    convertAll("089\x01\x02\x7f" "1234");
    convertAll("\xc3\xa9" "1234");  // a letter in a multi-byte encoding is two bytes here

    std::string withControlBytes = "089\t1234\r\n";
    EXPECT_TRUE(service->convertToCanonical(withControlBytes));
    EXPECT_EQ(withControlBytes, "+49891234");

    std::string highBytes = "\xe9" "089 1234";
    EXPECT_TRUE(service->convertToCanonical(highBytes));
    EXPECT_EQ(highBytes, "+49891234");
}

TEST_F(HostileInput, UnbalancedBrackets)
{
    for (const std::string input : {"+49 (0 89 1234", "+49 0) 89 1234", "((((", "))))", "+44 (0", "(0)", "+(0)",
                                    "+49(0", "49(0)", "0049(0)(0)891234", "{[<0>]}"}) {
        convertAll(input);
    }
    std::string unclosed = "+49 (0 89 1234";
    EXPECT_TRUE(service->convertToCanonical(unclosed));
    EXPECT_EQ(unclosed, "+49891234");  // the national prefix is then dropped as written without brackets
}

TEST_F(HostileInput, EmptyAndPunctuationOnlyNumbers)
{
    for (const std::string input : {"", " ", "+", "++", "-", "()", "*", "#", "**#"}) convertAll(input);
}

// Settings that are not what they should be.
class OddSettings : public ::testing::Test {
protected:
    ServiceHarness harness;

    DigitAnalysisService& startWithMinimum(const std::string& minimum)
    {
        harness.setGermanCanonicalSettings();
        harness.setCanonicalSetting("minLocalNumberLength", minimum);
        harness.setCanonicalSetting("localCallPrefix", "9");
        harness.store.setItem("server-type", "fac-prefix-numbers", "7");
        return harness.start();
    }

    static std::pair<bool, std::string> canonical(DigitAnalysisService& service, std::string number)
    {
        const bool result = service.convertToCanonical(number);
        return {result, number};
    }

    static std::pair<bool, std::string> ringCentral(DigitAnalysisService& service, std::string number)
    {
        const bool result = service.convertToDialableRingCentral(number);
        return {result, number};
    }
};

using Result = std::pair<bool, std::string>;

TEST_F(OddSettings, MinimumLengthThatIsNoNumberCountsAsZero)
{
    auto& service = startWithMinimum("abc");
    EXPECT_EQ(canonical(service, "12"), Result(true, "+498912"));
    EXPECT_EQ(ringCentral(service, "12"), Result(true, "908912"));
}

TEST_F(OddSettings, MinimumLengthWithTrailingTextIsItsLeadingNumber)
{
    auto& service = startWithMinimum("3abc");
    EXPECT_EQ(canonical(service, "12"), Result(false, "12"));
    EXPECT_EQ(canonical(service, "123"), Result(true, "+4989123"));
}

TEST_F(OddSettings, NegativeMinimumLength)
{
    auto& service = startWithMinimum("-5");
    EXPECT_EQ(canonical(service, "1"), Result(true, "+49891"));
    EXPECT_EQ(ringCentral(service, "1"), Result(true, "90891"));
}

TEST_F(OddSettings, HugeMinimumLength)
{
    auto& service = startWithMinimum("99999999999999999999999");
    EXPECT_EQ(canonical(service, "1234567"), Result(false, "1234567"));
    EXPECT_EQ(ringCentral(service, "1234567"), Result(false, "1234567"));
    EXPECT_EQ(canonical(service, "+49 089 1234"), Result(true, "+490891234"));  // too short to drop the 0
}

TEST_F(OddSettings, HugeNegativeMinimumLength)
{
    auto& service = startWithMinimum("-99999999999999999999999");
    EXPECT_EQ(canonical(service, "+49 089"), Result(true, "+4989"));
}

TEST_F(OddSettings, SettingsWithBlanksAndHighBytesNeverMatchButDoNotHarm)
{
    harness.setCanonicalSetting("countryCode", "4\xff");
    harness.setCanonicalSetting("nationalPrefix", " ");
    harness.setCanonicalSetting("areaCode", "\x01");
    harness.setCanonicalSetting("internationalPrefix", "((");
    harness.setCanonicalSetting("emergencyNumber", ",,, ,");
    harness.setCanonicalSetting("operatorCode", "\xfe");
    auto& service = harness.start();
    InputGenerator generator(3);
    for (int i = 0; i < 2000; ++i) {
        const std::string input = generator.next();
        std::string number = input;
        if (!service.convertToCanonical(number)) {
            ASSERT_EQ(number, input);
        }
        std::string local = input;
        if (!service.convertCanonicalToLocalDialable(local)) {
            ASSERT_EQ(local, input);
        }
    }
}

}  // namespace
