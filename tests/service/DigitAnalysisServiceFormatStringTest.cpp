// Text from clients and from configuration is only ever a value in a log line, never its
// format: "%n%s%x" in every request field, every configuration value and every dial plan
// field passes through as the same four characters and breaks nothing.

#include <fstream>
#include <iterator>
#include <memory>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "DigitAnalysisServiceInvoker.h"
#include "DigitAnalysisServicePlugin.h"
#include "ManageableData.h"
#include "RecordingInvokerResponse.h"
#include "ServiceHarness.h"

namespace {

const std::string kFormat = "%n%s%x";

// Replaces each "{}" of a template with the format text.
std::string withFormat(std::string text)
{
    for (auto at = text.find("{}"); at != std::string::npos; at = text.find("{}", at + kFormat.size()))
        text.replace(at, 2, kFormat);
    return text;
}

class SecurityFormatString : public ::testing::Test {
protected:
    CapturingLogSink log{5};
    ServiceHarness harness;
    std::unique_ptr<Invoker> invoker{createDigitAnalysisServiceInvoker()};

    void SetUp() override
    {
        harness.setGermanCanonicalSettings();
        harness.context.registerProxy("DigitAnalysisServiceEventIfc", "dialler", &harness.dialler);
        invoker->initInvoker(&harness.context);
    }

    RecordingInvokerResponse send(const std::string& text)
    {
        RecordingInvokerResponse response("dialler");
        invoker->handleMessage(&harness.service(), text.data(), static_cast<int>(text.size()), &response);
        EXPECT_EQ(response.completions, 1) << text;
        EXPECT_LE(response.replies.size(), 1u) << text;
        return response;
    }

    // No line was formatted from a text that carried conversions of its own: a "%s" that
    // took a missing argument would show as "(null)" or garbage, a "%n" would have crashed.
    void expectNoLineFormattedFromText() const
    {
        for (const auto& text : log.texts()) EXPECT_EQ(text.find("(null)"), std::string::npos) << text;
    }

    bool logged(const std::string& line) const { return log.contains(withFormat(line)); }
};

TEST_F(SecurityFormatString, RequestFieldsAreTakenAsText)
{
    harness.start();
    const std::vector<std::string> requests = {
        "set_dialler_request",
        "startdiallingrequest:{},0",
        "dialpartydetailsresponse:{}",
        "dialstringrequest:{},0",
        "dialstringrequest:{},1",
        "dialstringrequest:{}",
        "startdiallingrequest{}",
        "canonicalconversionrequest:{},{}",
        "localdialableconversionrequest:{},{},",
        "ringcentralconversionrequest:{}",
        "canonicaltolocaldialableconversionrequest:+{}",
        "isEmergencyNumberRequest:{}:{}",
        "isEmergencyNumberRequest:{}",
        "islockbypassrequest:{}",
        "isfacprefixrequest:{}",
        "getLatestDialledDigitsRequest",
        "{}stopdiallingrequest{}",
        "{}",
    };
    for (const auto& request : requests) send(withFormat(request));

    EXPECT_TRUE(log.contains(withFormat("Invalid request string: 'dialstringrequest:{}'"), 2));
    EXPECT_TRUE(log.contains(withFormat("Invalid request string: 'isEmergencyNumberRequest:{}'"), 2));
    EXPECT_TRUE(logged("startDialling {}"));
    EXPECT_TRUE(logged("+++ convertToCanonical({})"));
    EXPECT_TRUE(logged("+++ convertToDialableRingCentral({})"));
    EXPECT_TRUE(logged("convertToLocalDialable({})"));
    EXPECT_EQ(send(withFormat("isfacprefixrequest:{}")).replies, std::vector<std::string>{withFormat("isfacprefixresponse:{},0")});
    expectNoLineFormattedFromText();
    EXPECT_EQ(send("isCanonicalDataValidRequest").replies, std::vector<std::string>{"isCanonicalDataValidResponse:1"});
}

TEST_F(SecurityFormatString, ConfigurationValuesAreTakenAsText)
{
    for (const char* key : {"nationalPrefix", "areaCode", "localEnterpriseNode", "operatorCode", "emergencyNumber",
                            "extensionInitialDigits"})
        harness.setCanonicalSetting(key, kFormat);
    harness.store.setItem("emergency-e164", kFormat);
    harness.store.setItem("fac-prefix-numbers", kFormat);
    harness.store.setItem("diagnostic-call-prefix", kFormat);
    harness.store.setItem("hot-line-warm-line", "1");
    harness.store.setItem("hot-line-warm-line-digits", kFormat);
    harness.store.setItem("mobility-current-user", kFormat);
    harness.start();

    EXPECT_EQ(send(withFormat("isfacprefixrequest:{}")).replies, std::vector<std::string>{withFormat("isfacprefixresponse:{},1")});
    send(withFormat("localdialableconversionrequest:x{}+49891234,false,"));
    EXPECT_TRUE(logged("Diagnostic call prefix detected in dial string!"));
    send("canonicalconversionrequest:089 1234");
    send("set_dialler_request");
    send("startdiallingrequest:1,0");
    harness.context.advance(300);

    ManageableData change;
    change.populate("autodialtimer", "autodialtimer", kFormat);
    change.populate("server-type", "server-type", kFormat);
    change.populate("canonicalDialSettings", "countryCode", kFormat);
    harness.store.mergeSerialized(change.serialize());
    harness.service().manageableDataChanged(change);
    send("canonicalconversionrequest:089 1234");

    expectNoLineFormattedFromText();
    EXPECT_EQ(send("isCanonicalDataValidRequest").replies.size(), 1u);
}

TEST_F(SecurityFormatString, DialPlanFieldsAreTakenAsText)
{
    harness.start();
    ManageableData plan;
    plan.populate("dial-plan-id", "dial-plan-id", kFormat);
    plan.populate("dial-plan-enabled", "dial-plan-enabled", "true");
    plan.populate("dialPlanSettings", "dialPlanEntry[1]/digit-string", "1" + kFormat);
    plan.populate("dialPlanSettings", "dialPlanEntry[1]/action", "S");
    plan.populate("dialPlanSettings", "dialPlanEntry[1]/comment", kFormat);
    plan.populate("dialPlanSettings", "dialPlanEntry[1]/terminating-char", kFormat);
    harness.service().setData(plan);

    send("set_dialler_request");
    send("startdiallingrequest:1,0");
    send(withFormat("dialstringrequest:1{},0"));

    std::ifstream file(harness.logFilePath());
    const std::string contents((std::istreambuf_iterator<char>(file)), std::istreambuf_iterator<char>());
    EXPECT_NE(contents.find(kFormat), std::string::npos) << contents;
    expectNoLineFormattedFromText();
}

}  // namespace
