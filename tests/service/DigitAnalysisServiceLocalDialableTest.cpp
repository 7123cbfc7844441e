// Local dialable conversion: own-network numbers by local code, outside numbers in the
// form the dial settings ask for, and diagnostic calls.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <memory>

#include "ServiceHarness.h"

namespace {

// Local codes of the own network: the node 722 (also the enterprise node), the code 3 for a
// shorter international code within it, the code 5, and two codes of equal international code.
const std::string kLookUpRows =
    "canonicalDialSettings{"
    "lookUp{localCode=\"722\";internationalCode=\"+4989722\"};"
    "lookUp{localCode=\"3\";internationalCode=\"+498972\"};"
    "lookUp{localCode=\"5\";internationalCode=\"+49895\"};"
    "lookUp{localCode=\"61\";internationalCode=\"+4930\"};"
    "lookUp{localCode=\"60\";internationalCode=\"+4930\"}}";

struct DialForms {
    unsigned internalForm = 0;
    unsigned externalForm = 0;
    unsigned accessCode = 1;
    unsigned gateway = 0;
    bool withLookUp = false;
};

// C 49, A 89, N 0, I 00, L 0, E 722 and the given dial forms.
std::unique_ptr<ServiceHarness> harnessFor(const DialForms& forms)
{
    auto harness = std::make_unique<ServiceHarness>();
    harness->setGermanCanonicalSettings();
    harness->setCanonicalSetting("localEnterpriseNode", "722");
    harness->setCanonicalSetting("dialInternalForm", std::to_string(forms.internalForm));
    harness->setCanonicalSetting("dialExternalForm", std::to_string(forms.externalForm));
    harness->setCanonicalSetting("dialNeedsAccessCode", std::to_string(forms.accessCode));
    harness->setCanonicalSetting("dialNeedsIntGWcode", std::to_string(forms.gateway));
    if (forms.withLookUp) {
        EXPECT_TRUE(harness->store.mergeSerialized(kLookUpRows));
    }
    harness->start();
    return harness;
}

std::string caseLine(char letter, const std::string& input, const std::string& output)
{
    return std::string("convertCanonicalToLocalDialable() - ") + letter + ": input is '" + input + "', output is '" +
           output + "'.";
}

struct LocalDialableCase {
    const char* name;
    DialForms forms;
    std::string input;
    std::string output;
    bool result;
    std::string logLine;  // "" when no lettered line may be logged
};

std::ostream& operator<<(std::ostream& out, const LocalDialableCase& c) { return out << c.name; }

const std::vector<LocalDialableCase> kCases{
    // a and b: the own network by local code; no access code is added.
    {"A_LocalCodeForm", {1, 0, 1, 0, true}, "+49897221234", "7221234", true, caseLine('a', "+49897221234", "7221234")},
    {"A_LongestInternationalCodeWins", {1, 2, 1, 1, true}, "+49897221234", "7221234", true,
     caseLine('a', "+49897221234", "7221234")},
    {"A_FirstInKeyOrderAmongEqualCodes", {1, 0, 1, 0, true}, "+49301234", "601234", true,
     caseLine('a', "+49301234", "601234")},
    {"A_ShortLocalCode", {1, 1, 0, 0, true}, "+498951234", "51234", true, caseLine('a', "+498951234", "51234")},
    {"B_OwnNodeWithoutPrefix", {0, 0, 1, 0, true}, "+49897221234", "1234", true,
     caseLine('b', "+49897221234", "1234")},
    {"B_OwnNodeWithoutPrefixForOtherForms", {3, 2, 0, 1, true}, "+49897221234", "1234", true,
     caseLine('b', "+49897221234", "1234")},
    {"B_OtherLocalCodeKept", {0, 0, 1, 0, true}, "+498951234", "51234", true, caseLine('b', "+498951234", "51234")},
    {"TableIgnoredUnderForm2", {2, 0, 1, 0, true}, "+49897221234", "07221234", true,
     caseLine('c', "+49897221234", "7221234")},
    {"TableIgnoredUnderForm2International", {2, 2, 0, 0, true}, "+49897221234", "0049897221234", true,
     caseLine('e', "+49897221234", "0049897221234")},
    {"NoTableEntryFallsThroughToOutsideForms", {1, 0, 1, 0, true}, "+49891234", "01234", true,
     caseLine('c', "+49891234", "1234")},

    // c: own area code dropped (external form 0 or any value other than 1 and 2).
    {"C_OwnAreaWithAccessCode", {0, 0, 1, 0, false}, "+49891234", "01234", true, caseLine('f', "+49891234", "01234")},
    {"C_OwnAreaWithoutAccessCode", {0, 0, 0, 0, false}, "+49891234", "1234", true, caseLine('c', "+49891234", "1234")},
    {"C_ExternalForm3ActsAsForm0", {0, 3, 1, 0, false}, "+49891234", "01234", true,
     caseLine('c', "+49891234", "1234")},
    {"C_GatewayDoesNotMatterForOwnArea", {0, 0, 1, 1, false}, "+49891234", "01234", true,
     caseLine('f', "+49891234", "01234")},

    // d: national form for the own country.
    {"D_OtherAreaWithAccessCode", {0, 0, 1, 0, false}, "+49301234", "00301234", true,
     caseLine('d', "+49301234", "0301234")},
    {"D_OtherAreaWithoutAccessCode", {0, 0, 0, 0, false}, "+49301234", "0301234", true,
     caseLine('d', "+49301234", "0301234")},
    {"D_ExternalForm1KeepsOwnArea", {0, 1, 1, 0, false}, "+49891234", "00891234", true,
     caseLine('d', "+49891234", "0891234")},
    {"D_ExternalForm1WithoutAccessCode", {1, 1, 0, 1, false}, "+49891234", "0891234", true,
     caseLine('d', "+49891234", "0891234")},
    {"D_ExternalForm3OtherArea", {3, 3, 1, 0, false}, "+49301234", "00301234", true,
     caseLine('d', "+49301234", "0301234")},

    // e: international form.
    {"E_ForeignWithAccessCode", {0, 0, 1, 0, false}, "+4420123", "0004420123", true,
     caseLine('e', "+4420123", "004420123")},
    {"E_ForeignWithoutAccessCode", {0, 1, 0, 0, false}, "+4420123", "004420123", true,
     caseLine('e', "+4420123", "004420123")},
    {"E_ExternalForm2OwnCountry", {0, 2, 0, 0, false}, "+49891234", "0049891234", true,
     caseLine('e', "+49891234", "0049891234")},
    {"E_ExternalForm2WithAccessCode", {0, 2, 1, 0, false}, "+49891234", "00049891234", true,
     caseLine('f', "+49891234", "00049891234")},
    {"E_GatewayKeepsThePlus", {0, 0, 1, 1, false}, "+4420123", "+4420123", false,
     caseLine('e', "+4420123", "+4420123")},
    {"E_GatewayKeepsThePlusUnderForm2", {0, 2, 1, 1, false}, "+49891234", "+49891234", false,
     caseLine('e', "+49891234", "+49891234")},
    {"E_GatewayWithoutAccessCode", {1, 1, 0, 1, false}, "+4420123", "+4420123", false,
     caseLine('e', "+4420123", "+4420123")},

    // f: the access code.
    {"F_AccessCodeBeforeNationalForm", {2, 1, 1, 0, false}, "+49301234", "00301234", true,
     caseLine('f', "+49301234", "00301234")},
    {"F_NoAccessCodeWhenNotNeeded", {2, 0, 0, 0, false}, "+4420123", "004420123", true, ""},

    {"F_OnlyValue1AddsTheAccessCode", {0, 0, 2, 0, false}, "+49891234", "1234", true,
     caseLine('c', "+49891234", "1234")},
    {"E_OnlyGatewayValue1KeepsThePlus", {0, 0, 0, 2, false}, "+4420123", "004420123", true,
     caseLine('e', "+4420123", "004420123")},

    // Not canonical.
    {"NotCanonicalIsUnchanged", {0, 0, 1, 0, true}, "0891234", "0891234", false, ""},
};

class LocalDialableTable : public ::testing::TestWithParam<LocalDialableCase> {};

TEST_P(LocalDialableTable, ConvertsAsTheDialFormsSay)
{
    const LocalDialableCase& c = GetParam();
    auto harness = harnessFor(c.forms);
    CapturingLogSink log;
    std::string number = c.input;
    EXPECT_EQ(harness->service().convertCanonicalToLocalDialable(number), c.result);
    EXPECT_EQ(number, c.output);
    EXPECT_TRUE(log.contains("convertCanonicalToLocalDialable() - input string is '" + c.input + "'", 5));
    if (!c.logLine.empty()) {
        EXPECT_TRUE(log.contains(c.logLine, 5)) << "missing: " << c.logLine;
    }
    if (c.input[0] == '+') {
        EXPECT_TRUE(log.contains("convertCanonicalToLocalDialable() - output string is '" + c.output + "'", 5));
    }
}

INSTANTIATE_TEST_SUITE_P(Cases, LocalDialableTable, ::testing::ValuesIn(kCases),
                         [](const ::testing::TestParamInfo<LocalDialableCase>& info) {
                             return std::string(info.param.name);
                         });

class LocalDialable : public ::testing::Test {
protected:
    CapturingLogSink log;
    std::unique_ptr<ServiceHarness> harness;

    DigitAnalysisService& start(const DialForms& forms)
    {
        harness = harnessFor(forms);
        log.clear();
        return harness->service();
    }

    std::vector<std::string> letteredLines() const
    {
        std::vector<std::string> lines;
        for (const std::string& text : log.texts(5))
            if (text.find(": input is '") != std::string::npos) lines.push_back(text.substr(36, 1));
        return lines;
    }
};

TEST_F(LocalDialable, EmptyNumberIsFalse)
{
    auto& service = start({});
    std::string number;
    EXPECT_FALSE(service.convertCanonicalToLocalDialable(number));
    EXPECT_EQ(number, "");
}

TEST_F(LocalDialable, NumberWithoutPlusIsRefusedWithItsLogLine)
{
    auto& service = start({});
    std::string number = "0891234";
    EXPECT_FALSE(service.convertCanonicalToLocalDialable(number));
    EXPECT_TRUE(log.contains(
        "convertCanonicalToLocalDialable() - no conversion as string does not begin with '+'. Output string is "
        "'0891234'",
        5));
}

TEST_F(LocalDialable, OwnAreaPassesThroughCasesCAndF)
{
    auto& service = start({0, 0, 1, 0, false});
    std::string number = "+49891234";
    ASSERT_TRUE(service.convertCanonicalToLocalDialable(number));
    EXPECT_THAT(letteredLines(), ::testing::ElementsAre("c", "f"));
}

TEST_F(LocalDialable, OtherAreaPassesThroughCasesDAndF)
{
    auto& service = start({0, 0, 1, 0, false});
    std::string number = "+49301234";
    ASSERT_TRUE(service.convertCanonicalToLocalDialable(number));
    EXPECT_THAT(letteredLines(), ::testing::ElementsAre("d", "f"));
}

TEST_F(LocalDialable, OwnNodeEndsTheConversionAfterCaseB)
{
    auto& service = start({0, 0, 1, 0, true});
    std::string number = "+49897221234";
    ASSERT_TRUE(service.convertCanonicalToLocalDialable(number));
    EXPECT_THAT(letteredLines(), ::testing::ElementsAre("b", "b"));  // the code 3, then the longer 722
    EXPECT_EQ(number, "1234");
}

TEST_F(LocalDialable, WithoutCountryCodeOnlyTheInternationalFormIsLeft)
{
    harness = std::make_unique<ServiceHarness>();
    harness->setCanonicalSetting("areaCode", "89");
    harness->setCanonicalSetting("internationalPrefix", "00");
    harness->setCanonicalSetting("localCallPrefix", "0");
    harness->setCanonicalSetting("dialNeedsAccessCode", "1");
    auto& service = harness->start();
    std::string number = "+49891234";
    EXPECT_TRUE(service.convertCanonicalToLocalDialable(number));
    EXPECT_EQ(number, "00049891234");
}

TEST_F(LocalDialable, InternationalPrefixThatIsAPlusKeepsTheNumberAsItIs)
{
    harness = std::make_unique<ServiceHarness>();
    harness->setGermanCanonicalSettings();
    harness->setCanonicalSetting("internationalPrefix", "+");
    harness->setCanonicalSetting("dialNeedsAccessCode", "1");
    auto& service = harness->start();
    std::string number = "+4420123";
    EXPECT_FALSE(service.convertCanonicalToLocalDialable(number));
    EXPECT_EQ(number, "+4420123");
}

TEST_F(LocalDialable, EmptyInternationalPrefixDropsThePlus)
{
    harness = std::make_unique<ServiceHarness>();
    harness->setGermanCanonicalSettings();
    harness->setCanonicalSetting("internationalPrefix", "");
    harness->setCanonicalSetting("dialNeedsAccessCode", "0");
    auto& service = harness->start();
    std::string number = "+4420123";
    EXPECT_TRUE(service.convertCanonicalToLocalDialable(number));
    EXPECT_EQ(number, "4420123");
}

// Diagnostic calls: a configured prefix anywhere in the number is cut off with all before it.
class DiagnosticCalls : public LocalDialable {
protected:
    DigitAnalysisService& startWithPrefix(const std::string& prefix)
    {
        harness = std::make_unique<ServiceHarness>();
        harness->setGermanCanonicalSettings();
        harness->setCanonicalSetting("dialNeedsAccessCode", "1");
        if (!prefix.empty()) harness->store.setItem("diagnostic-call-prefix", prefix);
        auto& service = harness->start();
        log.clear();
        return service;
    }
};

TEST_F(DiagnosticCalls, PrefixIsCutAndTheRestConverted)
{
    auto& service = startWithPrefix("999");
    std::string number = "0999+49891234";
    std::string diagnostic;
    EXPECT_TRUE(service.convertToLocalDialable(number, diagnostic));
    EXPECT_EQ(number, "01234");
    EXPECT_EQ(diagnostic, "true");
    EXPECT_TRUE(log.contains("convertToLocalDialable(0999+49891234)", 5));
    EXPECT_TRUE(log.contains("Diagnostic call prefix detected in dial string!", 5));
    EXPECT_TRUE(log.contains("convertToLocalDialable - diagnostic call detected - output string is '01234'", 5));
    EXPECT_TRUE(log.contains("convertToLocalDialable - output string is '01234'", 5));
}

TEST_F(DiagnosticCalls, DiagnosticCallIsTrueEvenWhenTheRestIsNotConverted)
{
    auto& service = startWithPrefix("999");
    std::string number = "999123";
    std::string diagnostic;
    EXPECT_TRUE(service.convertToLocalDialable(number, diagnostic));
    EXPECT_EQ(number, "123");
    EXPECT_EQ(diagnostic, "true");
}

TEST_F(DiagnosticCalls, NumberWithoutThePrefixIsConvertedAsItStands)
{
    auto& service = startWithPrefix("999");
    std::string number = "+49891234";
    std::string diagnostic = "unset";
    EXPECT_TRUE(service.convertToLocalDialable(number, diagnostic));
    EXPECT_EQ(number, "01234");
    EXPECT_EQ(diagnostic, "false");
    EXPECT_TRUE(log.contains("Diagnostic call prefix NOT detected in dial string!", 5));
    EXPECT_TRUE(log.contains("convertToLocalDialable - output string is '01234'", 5));
}

TEST_F(DiagnosticCalls, WithoutAPrefixNothingIsDetectedOrLogged)
{
    auto& service = startWithPrefix("");
    std::string number = "0999+49891234";
    std::string diagnostic;
    EXPECT_FALSE(service.convertToLocalDialable(number, diagnostic));
    EXPECT_EQ(number, "0999+49891234");
    EXPECT_EQ(diagnostic, "false");
    EXPECT_FALSE(log.contains("Diagnostic call prefix NOT detected in dial string!"));
    EXPECT_FALSE(service.detectDiagnosticCall(number));
}

TEST_F(DiagnosticCalls, AnEmptyPrefixCountsAsNone)
{
    harness = std::make_unique<ServiceHarness>();
    harness->store.setItem("diagnostic-call-prefix", "");
    auto& service = harness->start();
    log.clear();
    std::string number = "123";
    EXPECT_FALSE(service.detectDiagnosticCall(number));
    EXPECT_THAT(log.texts(), ::testing::IsEmpty());
}

TEST_F(DiagnosticCalls, PrefixIsReadAfreshEachTime)
{
    auto& service = startWithPrefix("999");
    harness->store.setItem("diagnostic-call-prefix", "88");
    std::string number = "1885";
    EXPECT_TRUE(service.detectDiagnosticCall(number));
    EXPECT_EQ(number, "5");
    harness->store.removeItem("diagnostic-call-prefix");
    std::string other = "1885";
    EXPECT_FALSE(service.detectDiagnosticCall(other));
    EXPECT_EQ(other, "1885");
}

TEST_F(DiagnosticCalls, OnlyTheFirstOccurrenceIsCut)
{
    auto& service = startWithPrefix("9");
    std::string number = "19293";
    EXPECT_TRUE(service.detectDiagnosticCall(number));
    EXPECT_EQ(number, "293");
}

// A service whose canonical-to-local conversion is supplied elsewhere: convertToLocalDialable
// reaches it through the service's own virtual operation.
class ServiceWithOwnLocalForm : public DigitAnalysisService {
public:
    bool convertCanonicalToLocalDialable(std::string& number) override
    {
        number = "local";
        return true;
    }
};

TEST(LocalDialableEntry, ConvertsThroughTheVirtualOperation)
{
    ServiceWithOwnLocalForm service;
    std::string number = "+49891234";
    std::string diagnostic;
    EXPECT_TRUE(service.convertToLocalDialable(number, diagnostic));
    EXPECT_EQ(number, "local");
    EXPECT_EQ(diagnostic, "false");
}

}  // namespace
