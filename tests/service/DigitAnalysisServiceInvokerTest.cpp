// The request invoker against a recording service: which request calls which operation
// with which arguments, and which reply text goes back, byte for byte.

#include <algorithm>
#include <ostream>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "CallPartyIdentifier.h"
#include "CapturingLogSink.h"
#include "DigitAnalysisServiceEventProxy.h"
#include "DigitAnalysisServiceIfc.h"
#include "DigitAnalysisServiceInvoker.h"
#include "DigitAnalysisServicePlugin.h"
#include "Executable.h"
#include "InProcessContext.h"
#include "RecordingInvokerResponse.h"
#include "RecordingPeers.h"

namespace {

std::string inQuotes(const std::string& text) { return "\"" + text + "\""; }
std::string flag(bool value) { return value ? "true" : "false"; }

// A service that records each call with its arguments and answers as configured.
class RecordingService : public Executable, public DigitAnalysisServiceIfc {
public:
    void init(Context&) override {}
    void shutdown() override {}

    // What the next calls answer.
    bool result = true;               // every bool operation
    int dialStringResult = eMatchNone;
    std::string rewrittenNumber;      // when set, operations that may rewrite a number do
    std::string diagnosticCall = "false";
    std::string emergencyNumbers;
    std::string latestDigits;
    std::string lockBypassNumbers;

    std::vector<std::string> calls;
    DigitAnalysisServiceEventIfc* lastObserver = nullptr;

    void startDialling(const std::string& digits, DigitAnalysisServiceEventIfc* observer, bool isFollowOnCall) override
    {
        record("startDialling(" + inQuotes(digits) + ", " + who(observer) + ", " + flag(isFollowOnCall) + ")");
    }
    void dialPartyDetailsResponse(CallPartyIdentifier& party, bool valid, bool isFollowOnCall) override
    {
        std::string serial;
        party.serialize(serial);
        record("dialPartyDetailsResponse(" + inQuotes(serial) + ", " + flag(valid) + ", " + flag(isFollowOnCall) + ")");
    }
    void startOnHookDialling(DigitAnalysisServiceEventIfc* observer) override
    {
        record("startOnHookDialling(" + who(observer) + ")");
    }
    void stopDialling(DigitAnalysisServiceEventIfc* observer) override { record("stopDialling(" + who(observer) + ")"); }
    void resetAutoDialTimer() override { record("resetAutoDialTimer()"); }
    void suspendDialling() override { record("suspendDialling()"); }
    void resumeDialling() override { record("resumeDialling()"); }
    int dialString(std::string* digits, bool complete, DigitAnalysisServiceEventIfc* observer) override
    {
        record("dialString(" + inQuotes(*digits) + ", " + flag(complete) + ", " + who(observer) + ")");
        rewrite(*digits);
        return dialStringResult;
    }
    bool setCallContextProvider(DigitAnalysisServiceEventIfc* provider) override
    {
        record("setCallContextProvider(" + who(provider) + ")");
        return result;
    }
    bool clearCallContextProvider(DigitAnalysisServiceEventIfc* provider) override
    {
        record("clearCallContextProvider(" + who(provider) + ")");
        return result;
    }
    bool setDialler(DigitAnalysisServiceEventIfc* dialler) override
    {
        record("setDialler(" + who(dialler) + ")");
        return result;
    }
    void startBlindTransferDialling() override { record("startBlindTransferDialling()"); }
    bool isCanonicalDataValid() override
    {
        record("isCanonicalDataValid()");
        return result;
    }
    bool convertToCanonical(std::string& number) override { return convert("convertToCanonical", number); }
    bool convertToLocalDialable(std::string& number, std::string& second) override
    {
        record("convertToLocalDialable(" + inQuotes(number) + ", " + inQuotes(second) + ")");
        rewrite(number);
        second = diagnosticCall;
        return result;
    }
    bool convertToDialableRingCentral(std::string& number) override
    {
        return convert("convertToDialableRingCentral", number);
    }
    bool convertCanonicalToLocalDialable(std::string& number) override
    {
        return convert("convertCanonicalToLocalDialable", number);
    }
    void getEmergencyNumbersDialString(std::string* out) override
    {
        record("getEmergencyNumbersDialString(" + inQuotes(*out) + ")");
        *out += emergencyNumbers;
    }
    void getLatestDialledDigits(std::string* out) override
    {
        record("getLatestDialledDigits(" + inQuotes(*out) + ")");
        *out += latestDigits;
    }
    void getLockBypassNumbersDialString(std::string* out) override
    {
        record("getLockBypassNumbersDialString(" + inQuotes(*out) + ")");
        *out += lockBypassNumbers;
    }
    bool isEmergencyNumber(std::string& number, bool exactMatch) override
    {
        record("isEmergencyNumber(" + inQuotes(number) + ", " + flag(exactMatch) + ")");
        return result;
    }
    bool isLockBypass(std::string& number) override { return convert("isLockBypass", number); }
    bool isFACPrefix(const std::string& number) override
    {
        record("isFACPrefix(" + inQuotes(number) + ")");
        return result;
    }

private:
    void record(const std::string& call) { calls.push_back(call); }
    std::string who(DigitAnalysisServiceEventIfc* observer)
    {
        lastObserver = observer;
        return observer == nullptr ? "null" : "callback";
    }
    void rewrite(std::string& number) const
    {
        if (!rewrittenNumber.empty()) number = rewrittenNumber;
    }
    bool convert(const std::string& operation, std::string& number)
    {
        record(operation + "(" + inQuotes(number) + ")");
        rewrite(number);
        return result;
    }
};

const std::vector<std::string> kCompletedOnly{"complete"};
const std::vector<std::string> kRepliedThenCompleted{"send", "complete"};

class InvokerRequests : public ::testing::Test {
protected:
    void SetUp() override { invoker.initInvoker(&context); }

    void send(const std::string& text)
    {
        invoker.handleMessage(&service, text.data(), static_cast<int>(text.size()), &response);
    }

    // Exactly one reply, of exactly its own length, then exactly one completion.
    void expectReply(const std::string& reply)
    {
        EXPECT_EQ(response.replies, std::vector<std::string>{reply});
        EXPECT_EQ(response.lengths, std::vector<int>{static_cast<int>(reply.size())});
        EXPECT_EQ(response.events, kRepliedThenCompleted);
    }

    void expectCompletedWithoutReply() { EXPECT_EQ(response.events, kCompletedOnly); }

    // The malformed request was logged, answered "errorresponse" and not passed on.
    void expectErrorReply(const std::string& request)
    {
        expectReply("errorresponse");
        EXPECT_EQ(response.lengths, std::vector<int>{13});
        EXPECT_TRUE(service.calls.empty());
        EXPECT_TRUE(log.contains("Invalid request string: '" + request + "'", 2));
    }

    void expectCalls(const std::vector<std::string>& calls) { EXPECT_EQ(service.calls, calls); }

    CapturingLogSink log;
    InProcessContext context;
    RecordingService service;
    RecordingInvokerResponse response;
    DigitAnalysisServiceInvoker invoker;
};

// ---- row 1: startdiallingrequest -------------------------------------------------------

TEST_F(InvokerRequests, StartDiallingPassesDigitsAndFollowOnFlag)
{
    send("startdiallingrequest:5,1");
    expectCalls({"startDialling(\"5\", null, true)"});
    expectCompletedWithoutReply();
}

TEST_F(InvokerRequests, StartDiallingWithEmptyDigitsAndFollowOn)
{
    send("startdiallingrequest:,1");
    expectCalls({"startDialling(\"\", null, true)"});
    expectCompletedWithoutReply();
}

TEST_F(InvokerRequests, StartDiallingFollowOnOnlyForExactlyOne)
{
    send("startdiallingrequest:5,yes");
    expectCalls({"startDialling(\"5\", null, false)"});
    expectCompletedWithoutReply();
}

TEST_F(InvokerRequests, StartDiallingKeywordMayStandAnywhere)
{
    send("xx startdiallingrequest:5,1");
    expectCalls({"startDialling(\"5\", null, true)"});
}

TEST_F(InvokerRequests, StartDiallingWithoutColonIsAnError)
{
    send("startdiallingrequest5,1");
    expectErrorReply("startdiallingrequest5,1");
}

TEST_F(InvokerRequests, StartDiallingWithoutCommaIsAnError)
{
    send("startdiallingrequest:5");
    expectErrorReply("startdiallingrequest:5");
}

TEST_F(InvokerRequests, StartDiallingWithCommaBeforeColonTakesNoDigits)
{
    send("startdiallingrequest,1:5");
    expectCalls({"startDialling(\"\", null, false)"});
    expectCompletedWithoutReply();
}

// ---- row 2: dialpartydetailsresponse ---------------------------------------------------

TEST_F(InvokerRequests, DialPartyDetailsResponsePassesTheParty)
{
    std::string serial;
    CallPartyIdentifier("Anna", "0891234", "sip:anna@example.net").serialize(serial);
    send("dialpartydetailsresponse:" + serial);
    expectCalls({"dialPartyDetailsResponse(" + inQuotes(serial) + ", true, false)"});
    expectCompletedWithoutReply();
}

TEST_F(InvokerRequests, NoDialPartyGivesEmptyPartyAndBothFlagsFalse)
{
    send("dialpartydetailsresponse:no_dial_party");
    std::string empty;
    CallPartyIdentifier().serialize(empty);
    expectCalls({"dialPartyDetailsResponse(" + inQuotes(empty) + ", false, false)"});
    expectCompletedWithoutReply();
}

TEST_F(InvokerRequests, DialPartyDetailsResponseWithoutColonHasEmptyPartyText)
{
    send("dialpartydetailsresponse");
    std::string empty;
    CallPartyIdentifier().serialize(empty);
    expectCalls({"dialPartyDetailsResponse(" + inQuotes(empty) + ", true, false)"});
    expectCompletedWithoutReply();
    EXPECT_TRUE(log.texts(2).empty());
}

TEST_F(InvokerRequests, DialPartyDetailsResponseWithUnreadablePartyPassesAnEmptyParty)
{
    send("dialpartydetailsresponse:not a party");
    std::string empty;
    CallPartyIdentifier().serialize(empty);
    expectCalls({"dialPartyDetailsResponse(" + inQuotes(empty) + ", true, false)"});
}

// ---- rows 3 to 8: keyword-only requests without a reply --------------------------------

struct KeywordOnlyRow {
    const char* request;
    const char* call;
};

class InvokerKeywordOnlyRequests : public InvokerRequests, public ::testing::WithParamInterface<KeywordOnlyRow> {};

TEST_P(InvokerKeywordOnlyRequests, CallsTheOperationAndCompletesWithoutReply)
{
    send(GetParam().request);
    expectCalls({GetParam().call});
    expectCompletedWithoutReply();
}

TEST_P(InvokerKeywordOnlyRequests, KeywordIsFoundInsideOtherText)
{
    send(std::string("x") + GetParam().request + ":whatever,1");
    expectCalls({GetParam().call});
    expectCompletedWithoutReply();
}

INSTANTIATE_TEST_SUITE_P(Rows3To8, InvokerKeywordOnlyRequests,
                         ::testing::Values(KeywordOnlyRow{"startblindtransferdiallingrequest", "startBlindTransferDialling()"},
                                           KeywordOnlyRow{"startonhookdiallingrequest", "startOnHookDialling(null)"},
                                           KeywordOnlyRow{"stopdiallingrequest", "stopDialling(null)"},
                                           KeywordOnlyRow{"resetAutoDialTimer", "resetAutoDialTimer()"},
                                           KeywordOnlyRow{"suspenddiallingrequest", "suspendDialling()"},
                                           KeywordOnlyRow{"resumediallingrequest", "resumeDialling()"}));

TEST_F(InvokerRequests, LeadingCharacterStillStopsDialling)
{
    send("xstopdiallingrequest");
    expectCalls({"stopDialling(null)"});
    expectCompletedWithoutReply();
}

TEST_F(InvokerRequests, KeywordsAreCaseSensitive)
{
    send("resetautodialtimer");
    send("STOPDIALLINGREQUEST");
    EXPECT_TRUE(service.calls.empty());
    EXPECT_EQ(response.events, (std::vector<std::string>{"complete", "complete"}));
}

// ---- row 9: dialstringrequest ----------------------------------------------------------

TEST_F(InvokerRequests, DialStringFullMatchEchoesDigitsWithOne)
{
    service.dialStringResult = eMatchFull;
    send("dialstringrequest:123,1");
    expectCalls({"dialString(\"123\", true, null)"});
    expectReply("dialstringresponse:123,1");
}

TEST_F(InvokerRequests, DialStringNoMatchRepliesWithoutDigits)
{
    service.dialStringResult = eMatchNone;
    send("dialstringrequest:123,1");
    expectReply("dialstringresponse:,0");
}

TEST_F(InvokerRequests, DialStringEmergencyNumberEchoesDigitsWithTwo)
{
    service.dialStringResult = eMatchEmergencyNumber;
    send("dialstringrequest:112,0");
    expectCalls({"dialString(\"112\", false, null)"});
    expectReply("dialstringresponse:112,2");
}

TEST_F(InvokerRequests, DialStringRepliesWithTheDigitsAsTheServiceLeftThem)
{
    service.dialStringResult = eMatchFull;
    service.rewrittenNumber = "0891234";
    send("dialstringrequest:089-1234,1");
    expectReply("dialstringresponse:0891234,1");
}

TEST_F(InvokerRequests, DialStringCompleteOnlyForExactlyOne)
{
    send("dialstringrequest:123,yes");
    send("dialstringrequest:123,1,");
    expectCalls({"dialString(\"123\", false, null)", "dialString(\"123\", false, null)"});
}

TEST_F(InvokerRequests, DialStringWithoutCommaIsAnError)
{
    send("dialstringrequest:123");
    expectErrorReply("dialstringrequest:123");
}

TEST_F(InvokerRequests, DialStringWithoutColonIsAnError)
{
    send("dialstringrequest123,1");
    expectErrorReply("dialstringrequest123,1");
}

TEST_F(InvokerRequests, DialStringResultOutsideTheMatchCodesGetsNoReply)
{
    service.dialStringResult = 3;
    send("dialstringrequest:123,1");
    expectCalls({"dialString(\"123\", true, null)"});
    expectCompletedWithoutReply();
    service.dialStringResult = -1;
    send("dialstringrequest:123,1");
    EXPECT_TRUE(response.replies.empty());
}

TEST_F(InvokerRequests, DialStringWithCommaBeforeColonTakesDigitsToTheEnd)
{
    service.dialStringResult = eMatchFull;
    send("dialstringrequest,1:123");
    expectCalls({"dialString(\"123\", false, null)"});
    expectReply("dialstringresponse:123,1");
}

// ---- rows 10 to 12: registrations -------------------------------------------------------

TEST_F(InvokerRequests, SetCallContextProviderRepliesWithTheResult)
{
    send("set_call_context_provider_request");
    expectCalls({"setCallContextProvider(null)"});
    expectReply("set_call_context_provider_response:,1");
}

TEST_F(InvokerRequests, ClearCallContentProviderRepliesWithTheResult)
{
    service.result = false;
    send("clear_call_content_provider_request");
    expectCalls({"clearCallContextProvider(null)"});
    expectReply("clear_call_content_provider_response:,0");
}

TEST_F(InvokerRequests, ClearCallContextProviderSpelledWithContextIsNotARequest)
{
    send("clear_call_context_provider_request");
    EXPECT_TRUE(service.calls.empty());
    expectCompletedWithoutReply();
}

TEST_F(InvokerRequests, SetDiallerRepliesWithTheResult)
{
    send("set_dialler_request");
    expectCalls({"setDialler(null)"});
    expectReply("set_dialler_response:,1");
}

// ---- row 13: isCanonicalDataValidRequest -----------------------------------------------

TEST_F(InvokerRequests, IsCanonicalDataValidRepliesBareFlag)
{
    send("isCanonicalDataValidRequest");
    expectCalls({"isCanonicalDataValid()"});
    expectReply("isCanonicalDataValidResponse:1");
}

TEST_F(InvokerRequests, IsCanonicalDataValidMustStartTheRequest)
{
    send(" isCanonicalDataValidRequest");
    EXPECT_TRUE(service.calls.empty());
    expectCompletedWithoutReply();
}

// ---- rows 14 to 17: conversions ---------------------------------------------------------

TEST_F(InvokerRequests, CanonicalConversionRepliesWithTheConvertedNumber)
{
    service.rewrittenNumber = "+49891234";
    send("canonicalconversionrequest:0891234");
    expectCalls({"convertToCanonical(\"0891234\")"});
    expectReply("canonicalconversionresponse:+49891234,1");
}

TEST_F(InvokerRequests, CanonicalConversionNumberEndsAtTheFirstComma)
{
    send("canonicalconversionrequest:0891234,more,text");
    expectCalls({"convertToCanonical(\"0891234\")"});
}

TEST_F(InvokerRequests, CanonicalConversionFailureRepliesZeroWithoutNumber)
{
    service.result = false;
    service.rewrittenNumber = "ignored";
    send("canonicalconversionrequest:123");
    expectReply("canonicalconversionresponse:,0");
}

TEST_F(InvokerRequests, CanonicalConversionWithoutColonIsAnError)
{
    send("canonicalconversionrequest123");
    expectErrorReply("canonicalconversionrequest123");
}

TEST_F(InvokerRequests, CanonicalConversionWithLeadingBlankIsIgnored)
{
    send(" canonicalconversionrequest:123");
    EXPECT_TRUE(service.calls.empty());
    expectCompletedWithoutReply();
    EXPECT_TRUE(log.records().empty());
}

TEST_F(InvokerRequests, LocalDialableConversionPassesSecondFieldAndRepliesWithDiagnosticFlag)
{
    service.rewrittenNumber = "0891234";
    service.diagnosticCall = "true";
    send("localdialableconversionrequest:+49891234,false,");
    expectCalls({"convertToLocalDialable(\"+49891234\", \"false\")"});
    expectReply("localdialableconversionresponse:0891234,true,1");
}

TEST_F(InvokerRequests, LocalDialableConversionSecondFieldRunsToTheEndWithoutSecondComma)
{
    send("localdialableconversionrequest:+49891234,abc");
    expectCalls({"convertToLocalDialable(\"+49891234\", \"abc\")"});
}

TEST_F(InvokerRequests, LocalDialableConversionSecondFieldIsEmptyWithoutComma)
{
    send("localdialableconversionrequest:+49891234");
    expectCalls({"convertToLocalDialable(\"+49891234\", \"\")"});
}

TEST_F(InvokerRequests, LocalDialableConversionFailureRepliesFalseZero)
{
    service.result = false;
    service.diagnosticCall = "true";
    send("localdialableconversionrequest:+49891234,false,");
    expectReply("localdialableconversionresponse:,false,0");
}

TEST_F(InvokerRequests, LocalDialableConversionWithoutColonIsAnError)
{
    send("localdialableconversionrequest+49891234");
    expectErrorReply("localdialableconversionrequest+49891234");
}

TEST_F(InvokerRequests, LocalDialableConversionMustStartTheRequest)
{
    send("xlocaldialableconversionrequest:+49891234");
    EXPECT_TRUE(service.calls.empty());
    expectCompletedWithoutReply();
}

TEST_F(InvokerRequests, RingCentralConversionRepliesWithTheConvertedNumber)
{
    service.rewrittenNumber = "+12125551234";
    send("ringcentralconversionrequest:2125551234,x");
    expectCalls({"convertToDialableRingCentral(\"2125551234\")"});
    expectReply("ringcentralconversionresponse:+12125551234,1");
}

TEST_F(InvokerRequests, RingCentralConversionFailureRepliesZero)
{
    service.result = false;
    send("ringcentralconversionrequest:2125551234");
    expectReply("ringcentralconversionresponse:,0");
}

TEST_F(InvokerRequests, RingCentralConversionWithoutColonIsAnError)
{
    send("ringcentralconversionrequest");
    expectErrorReply("ringcentralconversionrequest");
}

TEST_F(InvokerRequests, RingCentralConversionMustStartTheRequest)
{
    send(" ringcentralconversionrequest:1");
    EXPECT_TRUE(service.calls.empty());
    expectCompletedWithoutReply();
}

TEST_F(InvokerRequests, CanonicalToLocalDialableIsNotTakenForLocalDialable)
{
    service.rewrittenNumber = "00442071234567";
    send("canonicaltolocaldialableconversionrequest:+442071234567");
    expectCalls({"convertCanonicalToLocalDialable(\"+442071234567\")"});
    expectReply("canonicaltolocaldialableconversionresponse:00442071234567,1");
}

TEST_F(InvokerRequests, CanonicalToLocalDialableFailureRepliesZero)
{
    service.result = false;
    send("canonicaltolocaldialableconversionrequest:+442071234567");
    expectReply("canonicaltolocaldialableconversionresponse:,0");
}

TEST_F(InvokerRequests, CanonicalToLocalDialableWithoutColonIsAnError)
{
    send("canonicaltolocaldialableconversionrequest+44");
    expectErrorReply("canonicaltolocaldialableconversionrequest+44");
}

TEST_F(InvokerRequests, CanonicalToLocalDialableMustStartTheRequest)
{
    send(" canonicaltolocaldialableconversionrequest:+44");
    EXPECT_TRUE(service.calls.empty());
    expectCompletedWithoutReply();
}

// ---- rows 18 to 20: lists and latest digits ---------------------------------------------

TEST_F(InvokerRequests, EmergencyNumbersRepliedBare)
{
    service.emergencyNumbers = "112,110";
    send("getEmergencyNumbersDialStringRequest");
    expectCalls({"getEmergencyNumbersDialString(\"\")"});
    expectReply("112,110");
}

TEST_F(InvokerRequests, NoEmergencyNumbersRepliesNotSet)
{
    send("getEmergencyNumbersDialStringRequest");
    expectReply("emergencynumbernotset");
}

TEST_F(InvokerRequests, LatestDialledDigitsRepliedBare)
{
    service.latestDigits = "0891234";
    send("xgetLatestDialledDigitsRequest:");
    expectCalls({"getLatestDialledDigits(\"\")"});
    expectReply("0891234");
}

TEST_F(InvokerRequests, NoLatestDialledDigitsStillSendsAnEmptyReply)
{
    send("getLatestDialledDigitsRequest");
    expectReply("");
    EXPECT_EQ(response.lengths, std::vector<int>{0});
}

TEST_F(InvokerRequests, LockBypassNumbersRepliedBare)
{
    service.lockBypassNumbers = "999";
    send("getLockBypassNumbersDialStringRequest");
    expectCalls({"getLockBypassNumbersDialString(\"\")"});
    expectReply("999");
}

TEST_F(InvokerRequests, NoLockBypassNumbersRepliesNotSet)
{
    send("getLockBypassNumbersDialStringRequest");
    expectReply("lockbypassnumbernotset");
}

// ---- row 21: isEmergencyNumberRequest ---------------------------------------------------

TEST_F(InvokerRequests, EmergencyNumberFalseFlagTestsByPrefix)
{
    send("isEmergencyNumberRequest:false:112");
    expectCalls({"isEmergencyNumber(\"112\", false)"});
    expectReply("isEmergencyNumberResponse:1");
}

TEST_F(InvokerRequests, EmergencyNumberTrueOrEmptyFlagTestsExactly)
{
    service.result = false;
    send("isEmergencyNumberRequest:true:112");
    send("isEmergencyNumberRequest::112");
    send("isEmergencyNumberRequest:FALSE:112");
    expectCalls({"isEmergencyNumber(\"112\", true)", "isEmergencyNumber(\"112\", true)",
                 "isEmergencyNumber(\"112\", true)"});
    EXPECT_EQ(response.replies, std::vector<std::string>(3, "isEmergencyNumberResponse:0"));
}

TEST_F(InvokerRequests, EmergencyNumberEndsAtTheFirstCommaAfterTheSecondColon)
{
    send("isEmergencyNumberRequest:false:112,more");
    send("isEmergencyNumberRequest:a,b:112");
    expectCalls({"isEmergencyNumber(\"112\", false)", "isEmergencyNumber(\"112\", true)"});
}

TEST_F(InvokerRequests, EmergencyNumberWithOneColonIsAnError)
{
    send("isEmergencyNumberRequest:112");
    expectErrorReply("isEmergencyNumberRequest:112");
}

TEST_F(InvokerRequests, EmergencyNumberWithoutColonIsAnError)
{
    send("isEmergencyNumberRequest");
    expectErrorReply("isEmergencyNumberRequest");
}

// ---- rows 22 and 23: lock bypass and FAC prefix -----------------------------------------

TEST_F(InvokerRequests, LockBypassRepliesWithTheNumberAsTheServiceLeftIt)
{
    service.rewrittenNumber = "999";
    send("islockbypassrequest:0999,x");
    expectCalls({"isLockBypass(\"0999\")"});
    expectReply("islockbypassresponse:999,1");
}

TEST_F(InvokerRequests, NoLockBypassRepliesZeroWithoutNumber)
{
    service.result = false;
    send("islockbypassrequest:0999");
    expectReply("islockbypassresponse:,0");
}

TEST_F(InvokerRequests, LockBypassWithoutColonIsSilentlyCompleted)
{
    send("islockbypassrequest");
    EXPECT_TRUE(service.calls.empty());
    expectCompletedWithoutReply();
    EXPECT_TRUE(log.records().empty());
}

TEST_F(InvokerRequests, FacPrefixEchoesTheNumberWhenItIsAPrefix)
{
    send("isfacprefixrequest:*72");
    expectCalls({"isFACPrefix(\"*72\")"});
    expectReply("isfacprefixresponse:*72,1");
}

TEST_F(InvokerRequests, FacPrefixEchoesTheNumberWhenItIsNot)
{
    service.result = false;
    send("isfacprefixrequest:*72");
    expectReply("isfacprefixresponse:*72,0");
}

TEST_F(InvokerRequests, FacPrefixAloneGetsNoReplyAtAll)
{
    send("isfacprefixrequest");
    EXPECT_TRUE(service.calls.empty());
    expectCompletedWithoutReply();
    EXPECT_TRUE(log.records().empty());
}

// ---- unrecognised requests and recognition order ---------------------------------------

TEST_F(InvokerRequests, UnknownRequestIsCompletedSilently)
{
    send("hello");
    EXPECT_TRUE(service.calls.empty());
    expectCompletedWithoutReply();
    EXPECT_TRUE(log.records().empty());
}

TEST_F(InvokerRequests, EarlierRowWinsWhenTwoKeywordsOccur)
{
    send("stopdiallingrequest startdiallingrequest:5,1");
    send("isEmergencyNumberRequest:false:dialstringrequest,1");
    send("isfacprefixrequest:islockbypassrequest:1");
    expectCalls({"startDialling(\"5\", null, true)", "dialString(\"false:dialstringrequest\", true, null)",
                 "isLockBypass(\"islockbypassrequest:1\")"});
}

TEST_F(InvokerRequests, ListRequestsAreNotTakenForDialString)
{
    send("getEmergencyNumbersDialStringRequest");
    send("getLockBypassNumbersDialStringRequest");
    expectCalls({"getEmergencyNumbersDialString(\"\")", "getLockBypassNumbersDialString(\"\")"});
}

// ---- reply conventions ------------------------------------------------------------------

struct ReplyConvention {
    const char* request;
    bool result;
    const char* reply;
};

void PrintTo(const ReplyConvention& row, std::ostream* out) { *out << row.request << " -> " << row.reply; }

class InvokerReplyConventions : public InvokerRequests, public ::testing::WithParamInterface<ReplyConvention> {};

TEST_P(InvokerReplyConventions, ReplyIsExactly)
{
    service.result = GetParam().result;
    service.rewrittenNumber = "N";
    service.diagnosticCall = "false";
    send(GetParam().request);
    expectReply(GetParam().reply);
}

INSTANTIATE_TEST_SUITE_P(
    YesNoSuffixesBareFlagsAndFixedWords, InvokerReplyConventions,
    ::testing::Values(ReplyConvention{"canonicalconversionrequest:1", true, "canonicalconversionresponse:N,1"},
                      ReplyConvention{"canonicalconversionrequest:1", false, "canonicalconversionresponse:,0"},
                      ReplyConvention{"localdialableconversionrequest:1,x,", true, "localdialableconversionresponse:N,false,1"},
                      ReplyConvention{"localdialableconversionrequest:1,x,", false, "localdialableconversionresponse:,false,0"},
                      ReplyConvention{"ringcentralconversionrequest:1", true, "ringcentralconversionresponse:N,1"},
                      ReplyConvention{"ringcentralconversionrequest:1", false, "ringcentralconversionresponse:,0"},
                      ReplyConvention{"canonicaltolocaldialableconversionrequest:1", true,
                                      "canonicaltolocaldialableconversionresponse:N,1"},
                      ReplyConvention{"canonicaltolocaldialableconversionrequest:1", false,
                                      "canonicaltolocaldialableconversionresponse:,0"},
                      ReplyConvention{"islockbypassrequest:1", true, "islockbypassresponse:N,1"},
                      ReplyConvention{"islockbypassrequest:1", false, "islockbypassresponse:,0"},
                      ReplyConvention{"set_call_context_provider_request", true, "set_call_context_provider_response:,1"},
                      ReplyConvention{"set_call_context_provider_request", false, "set_call_context_provider_response:,0"},
                      ReplyConvention{"clear_call_content_provider_request", true, "clear_call_content_provider_response:,1"},
                      ReplyConvention{"clear_call_content_provider_request", false, "clear_call_content_provider_response:,0"},
                      ReplyConvention{"set_dialler_request", true, "set_dialler_response:,1"},
                      ReplyConvention{"set_dialler_request", false, "set_dialler_response:,0"},
                      ReplyConvention{"isCanonicalDataValidRequest", true, "isCanonicalDataValidResponse:1"},
                      ReplyConvention{"isCanonicalDataValidRequest", false, "isCanonicalDataValidResponse:0"},
                      ReplyConvention{"isEmergencyNumberRequest:true:1", true, "isEmergencyNumberResponse:1"},
                      ReplyConvention{"isEmergencyNumberRequest:true:1", false, "isEmergencyNumberResponse:0"},
                      ReplyConvention{"isfacprefixrequest:1", true, "isfacprefixresponse:1,1"},
                      ReplyConvention{"isfacprefixrequest:1", false, "isfacprefixresponse:1,0"},
                      ReplyConvention{"getEmergencyNumbersDialStringRequest", true, "emergencynumbernotset"},
                      ReplyConvention{"getLockBypassNumbersDialStringRequest", true, "lockbypassnumbernotset"}));

// ---- the message itself: length, NUL bytes, missing response -----------------------------

TEST_F(InvokerRequests, OnlyLengthBytesAreRead)
{
    const char buffer[] = "isfacprefixrequest:*72GARBAGE";
    invoker.handleMessage(&service, buffer, 22, &response);
    expectCalls({"isFACPrefix(\"*72\")"});
    expectReply("isfacprefixresponse:*72,1");
}

TEST_F(InvokerRequests, NulBytesArePartOfTheRequest)
{
    service.dialStringResult = eMatchFull;
    send(std::string("dialstringrequest:1\0002,1", 23));
    expectCalls({"dialString(" + inQuotes(std::string("1\0002", 3)) + ", true, null)"});
    expectReply(std::string("dialstringresponse:1\0002,1", 24));
}

TEST_F(InvokerRequests, KeywordAfterANulByteIsStillFound)
{
    send(std::string("\0stopdiallingrequest", 20));
    expectCalls({"stopDialling(null)"});
}

TEST_F(InvokerRequests, ErrorReplyForARequestWithNulBytes)
{
    send(std::string("dialstringrequest:1\0002", 21));
    expectReply("errorresponse");
    EXPECT_TRUE(service.calls.empty());
}

TEST_F(InvokerRequests, NullDataOrNegativeLengthIsAnEmptyRequest)
{
    invoker.handleMessage(&service, nullptr, 10, &response);
    invoker.handleMessage(&service, "stopdiallingrequest", -5, &response);
    invoker.handleMessage(&service, "stopdiallingrequest", 0, &response);
    EXPECT_TRUE(service.calls.empty());
    EXPECT_EQ(response.events, (std::vector<std::string>{"complete", "complete", "complete"}));
}

TEST_F(InvokerRequests, WithoutResponseObjectTheRequestIsStillHandled)
{
    service.dialStringResult = eMatchFull;
    const std::string stop = "stopdiallingrequest";
    const std::string dial = "dialstringrequest:1,1";
    const std::string bad = "dialstringrequest:1";
    invoker.handleMessage(&service, stop.data(), static_cast<int>(stop.size()), nullptr);
    invoker.handleMessage(&service, dial.data(), static_cast<int>(dial.size()), nullptr);
    invoker.handleMessage(&service, bad.data(), static_cast<int>(bad.size()), nullptr);
    expectCalls({"stopDialling(null)", "dialString(\"1\", true, null)"});
    EXPECT_TRUE(log.contains("Invalid request string: 'dialstringrequest:1'", 2));
}

TEST_F(InvokerRequests, AnExecutableThatIsNoServiceIsNotCalled)
{
    PassivePeer notAService;
    const std::string text = "dialstringrequest:1,1";
    invoker.handleMessage(&notAService, text.data(), static_cast<int>(text.size()), &response);
    invoker.handleMessage(nullptr, text.data(), static_cast<int>(text.size()), &response);
    EXPECT_EQ(response.events, (std::vector<std::string>{"complete", "complete"}));
}

TEST_F(InvokerRequests, ErrorLineNamesItsSourceAndComponent)
{
    send("dialstringrequest:1");
    const auto records = log.records();
    ASSERT_EQ(records.size(), 1u);
    EXPECT_EQ(records[0].component, "DigitAnalysisService");
    EXPECT_EQ(records[0].sourceFile, "src/DigitAnalysisServiceInvoker");
    EXPECT_EQ(records[0].level, 2);
    EXPECT_EQ(records[0].text, "Invalid request string: 'dialstringrequest:1'");
}

TEST(InvokerErrorRequest, LogsRepliesAndCompletes)
{
    CapturingLogSink log;
    RecordingInvokerResponse response;
    handleErrorRequest("what:ever", &response);
    EXPECT_EQ(response.replies, std::vector<std::string>{"errorresponse"});
    EXPECT_EQ(response.lengths, std::vector<int>{13});
    EXPECT_EQ(response.events, kRepliedThenCompleted);
    EXPECT_EQ(log.texts(2), std::vector<std::string>{"Invalid request string: 'what:ever'"});
}

// ---- bad input ------------------------------------------------------------------------

const char* const kAllKeywords[] = {
    "startdiallingrequest", "dialpartydetailsresponse", "startblindtransferdiallingrequest",
    "startonhookdiallingrequest", "stopdiallingrequest", "resetAutoDialTimer", "suspenddiallingrequest",
    "resumediallingrequest", "dialstringrequest", "set_call_context_provider_request",
    "clear_call_content_provider_request", "set_dialler_request", "isCanonicalDataValidRequest",
    "canonicalconversionrequest", "localdialableconversionrequest", "ringcentralconversionrequest",
    "canonicaltolocaldialableconversionrequest", "getEmergencyNumbersDialStringRequest",
    "getLatestDialledDigitsRequest", "getLockBypassNumbersDialStringRequest", "isEmergencyNumberRequest",
    "islockbypassrequest", "isfacprefixrequest"};

class InvokerBadInput : public InvokerRequests {
protected:
    // However odd the request, it is completed exactly once, with at most one reply and at
    // most one call of the service.
    void expectHandledOnce(const std::string& text)
    {
        response = RecordingInvokerResponse();
        service.calls.clear();
        send(text);
        EXPECT_EQ(std::count(response.events.begin(), response.events.end(), "complete"), 1) << text;
        EXPECT_LE(response.replies.size(), 1u) << text;
        EXPECT_LE(service.calls.size(), 1u) << text;
        if (!response.events.empty()) {
            EXPECT_EQ(response.events.back(), "complete") << text;
        }
    }
};

TEST_F(InvokerBadInput, EmptyRequestIsCompletedSilently)
{
    send("");
    EXPECT_TRUE(service.calls.empty());
    expectCompletedWithoutReply();
}

TEST_F(InvokerBadInput, OneMegabyteOfDigitsIsDialledWhole)
{
    service.dialStringResult = eMatchFull;
    const std::string digits(1 << 20, '5');
    send("dialstringrequest:" + digits + ",1");
    ASSERT_EQ(response.replies.size(), 1u);
    EXPECT_EQ(response.replies[0], "dialstringresponse:" + digits + ",1");
    EXPECT_EQ(response.lengths[0], static_cast<int>(digits.size() + 21));
}

TEST_F(InvokerBadInput, OneMegabyteOfNoiseIsCompletedSilently)
{
    std::string noise(1 << 20, 'x');
    for (std::size_t i = 0; i < noise.size(); i += 7) noise[i] = static_cast<char>(i % 256);
    send(noise);
    EXPECT_TRUE(service.calls.empty());
    expectCompletedWithoutReply();
}

TEST_F(InvokerBadInput, OneMegabyteOfSeparatorsAfterEveryKeyword)
{
    std::string separators(1 << 20, ':');
    for (std::size_t i = 1; i < separators.size(); i += 2) separators[i] = ',';
    for (const char* keyword : kAllKeywords) expectHandledOnce(keyword + separators);
}

TEST_F(InvokerBadInput, EveryKeywordAloneRepeatedAndOverlapping)
{
    for (const char* first : kAllKeywords) {
        expectHandledOnce(first);
        expectHandledOnce(std::string(first) + first);
        expectHandledOnce(std::string(first) + ":" + first + "," + first);
        for (const char* second : kAllKeywords) {
            expectHandledOnce(std::string(first) + second);
            expectHandledOnce(std::string(first) + ":" + second + ":1,1");
            // Overlapping: the second keyword begins inside the first one's last letters.
            const std::string a(first);
            expectHandledOnce(a.substr(0, a.size() - 3) + second);
        }
    }
}

TEST_F(InvokerBadInput, ColonsAndCommasInEveryOrder)
{
    std::string pieces = ",,12::";
    std::sort(pieces.begin(), pieces.end());
    do {
        for (const char* keyword : kAllKeywords) {
            expectHandledOnce(keyword + pieces);
            expectHandledOnce(pieces + keyword);
            expectHandledOnce(pieces.substr(0, 3) + keyword + pieces.substr(3));
        }
    } while (std::next_permutation(pieces.begin(), pieces.end()));
}

TEST_F(InvokerBadInput, NulBytesAroundEveryKeyword)
{
    const std::string nul(1, '\0');
    for (const char* keyword : kAllKeywords) {
        expectHandledOnce(nul + keyword + nul + ":" + nul + "," + nul);
        expectHandledOnce(keyword + (":" + nul + ",1"));
        expectHandledOnce(keyword + nul);
    }
}

// ---- the requesting client's callback ----------------------------------------------------

class InvokerCallback : public InvokerRequests {
protected:
    void SetUp() override
    {
        InvokerRequests::SetUp();
        context.registerProxy("DigitAnalysisServiceEventIfc", "dialler", &diallerProxy);
        context.registerProxy("DigitAnalysisServiceEventIfc", "stranger", &notAnEventInterface);
        context.registerProxy("SomeOtherIfc", "other", &diallerProxy);
    }

    void sendFrom(const std::string& sender, const std::string& text)
    {
        RecordingInvokerResponse from(sender);
        invoker.handleMessage(&service, text.data(), static_cast<int>(text.size()), &from);
        replies.insert(replies.end(), from.replies.begin(), from.replies.end());
    }

    DigitAnalysisServiceEventProxy diallerProxy;
    PassivePeer notAnEventInterface;
    std::vector<std::string> replies;
};

TEST_F(InvokerCallback, NoSenderNameGivesNoCallback)
{
    RecordingInvokerResponse anonymous;
    EXPECT_EQ(invoker.getCallbackInterface(&anonymous), nullptr);
    EXPECT_EQ(anonymous.senderQueries, 1);
}

TEST_F(InvokerCallback, NameWithoutProxyGivesNoCallback)
{
    RecordingInvokerResponse unknown("nobody");
    RecordingInvokerResponse otherInterface("other");
    EXPECT_EQ(invoker.getCallbackInterface(&unknown), nullptr);
    EXPECT_EQ(invoker.getCallbackInterface(&otherInterface), nullptr);
}

TEST_F(InvokerCallback, NameWithProxyGivesTheProxy)
{
    RecordingInvokerResponse dialler("dialler");
    EXPECT_EQ(invoker.getCallbackInterface(&dialler), static_cast<DigitAnalysisServiceEventIfc*>(&diallerProxy));
}

TEST_F(InvokerCallback, ProxyThatIsNoEventInterfaceGivesNoCallback)
{
    RecordingInvokerResponse stranger("stranger");
    EXPECT_EQ(invoker.getCallbackInterface(&stranger), nullptr);
}

TEST_F(InvokerCallback, FrameworkBaseContextFindsNoProxy)
{
    FrameworkContext baseContext;
    DigitAnalysisServiceInvoker plain;
    plain.initInvoker(&baseContext);
    RecordingInvokerResponse dialler("dialler");
    EXPECT_EQ(plain.getCallbackInterface(&dialler), nullptr);
}

TEST_F(InvokerCallback, WithoutContextOrResponseThereIsNoCallback)
{
    DigitAnalysisServiceInvoker uninitialised;
    RecordingInvokerResponse dialler("dialler");
    EXPECT_EQ(uninitialised.getCallbackInterface(&dialler), nullptr);
    EXPECT_EQ(invoker.getCallbackInterface(nullptr), nullptr);
}

TEST_F(InvokerCallback, SetDiallerFromAnonymousClientPassesNullAndRepliesWithTheResult)
{
    service.result = false;
    sendFrom("", "set_dialler_request");
    service.result = true;
    sendFrom("", "set_dialler_request");
    expectCalls({"setDialler(null)", "setDialler(null)"});
    EXPECT_EQ(replies, (std::vector<std::string>{"set_dialler_response:,0", "set_dialler_response:,1"}));
}

TEST_F(InvokerCallback, SetDiallerFromClientWithoutProxyPassesNull)
{
    sendFrom("nobody", "set_dialler_request");
    expectCalls({"setDialler(null)"});
    EXPECT_EQ(service.lastObserver, nullptr);
    EXPECT_EQ(replies, std::vector<std::string>{"set_dialler_response:,1"});
}

TEST_F(InvokerCallback, SetDiallerFromClientWithProxyPassesTheProxy)
{
    sendFrom("dialler", "set_dialler_request");
    expectCalls({"setDialler(callback)"});
    EXPECT_EQ(service.lastObserver, static_cast<DigitAnalysisServiceEventIfc*>(&diallerProxy));
    EXPECT_EQ(replies, std::vector<std::string>{"set_dialler_response:,1"});
}

TEST_F(InvokerCallback, EveryObserverRequestPassesTheSendersProxy)
{
    for (const char* request : {"startdiallingrequest:1,0", "startonhookdiallingrequest", "stopdiallingrequest",
                                "dialstringrequest:1,0", "set_call_context_provider_request",
                                "clear_call_content_provider_request"}) {
        sendFrom("dialler", request);
        EXPECT_EQ(service.lastObserver, static_cast<DigitAnalysisServiceEventIfc*>(&diallerProxy)) << request;
        service.lastObserver = nullptr;
    }
}

TEST_F(InvokerCallback, CallbackIsLookedUpForEveryMessageWithAResponse)
{
    RecordingInvokerResponse from("dialler");
    const std::string text = "hello";
    invoker.handleMessage(&service, text.data(), static_cast<int>(text.size()), &from);
    invoker.handleMessage(&service, text.data(), static_cast<int>(text.size()), &from);
    EXPECT_EQ(from.senderQueries, 2);
}

TEST(InvokerFactory, CreatesAnInvokerWithoutContext)
{
    Invoker* created = createDigitAnalysisServiceInvoker();
    auto* invoker = dynamic_cast<DigitAnalysisServiceInvoker*>(created);
    ASSERT_NE(invoker, nullptr);
    RecordingInvokerResponse dialler("dialler");
    EXPECT_EQ(invoker->getCallbackInterface(&dialler), nullptr);
    delete created;
}

}  // namespace
