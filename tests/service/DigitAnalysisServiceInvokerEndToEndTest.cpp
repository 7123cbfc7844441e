// Dialling sessions driven only by request texts: the real service behind the invoker, the
// dialler reached through the real event proxy, each event message checked as it leaves.

#include <memory>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "CallPartyIdentifier.h"
#include "DigitAnalysisServiceEventProxy.h"
#include "DigitAnalysisServiceInvoker.h"
#include "DigitAnalysisServicePlugin.h"
#include "RecordingInvokerResponse.h"
#include "RecordingProxyRequest.h"
#include "Serializer.h"
#include "ServiceHarness.h"

using ::testing::ElementsAre;
using ::testing::IsEmpty;

namespace {

// A client in another process, as the service sees it: a name, an event proxy registered
// for it and the channel its events travel on.
struct RemoteClient {
    RemoteClient(InProcessContext& context, const std::string& clientName) : name(clientName), channel(context)
    {
        proxy.initProxy(channel);
        context.registerProxy("DigitAnalysisServiceEventIfc", name, &proxy);
    }

    std::string name;
    RecordingProxyRequest channel;
    DigitAnalysisServiceEventProxy proxy;
};

std::string serialized(const std::string& text)
{
    std::string out;
    Serializer::serialize(out, text, false);
    return out;
}

class InvokerEndToEnd : public ::testing::Test {
protected:
    void SetUp() override
    {
        harness.setGermanCanonicalSettings();
        invoker->initInvoker(&harness.context);
    }

    // Sends a request from `client`; returns its reply, or "<no reply>".
    std::string request(const RemoteClient& client, const std::string& text)
    {
        RecordingInvokerResponse response(client.name);
        invoker->handleMessage(&harness.service(), text.data(), static_cast<int>(text.size()), &response);
        EXPECT_EQ(response.completions, 1) << text;
        EXPECT_LE(response.replies.size(), 1u) << text;
        return response.replies.empty() ? "<no reply>" : response.replies.front();
    }

    void advance(long long milliseconds) { harness.context.advance(milliseconds); }

    CapturingLogSink log;
    ServiceHarness harness;
    RemoteClient dialler{harness.context, "dialler"};
    RemoteClient provider{harness.context, "contextprovider"};
    std::unique_ptr<Invoker> invokerOwner{createDigitAnalysisServiceInvoker()};
    Invoker* invoker = invokerOwner.get();
};

TEST_F(InvokerEndToEnd, DiallingSessionWithInterDigitTimeout)
{
    harness.start();
    EXPECT_THAT(dialler.channel.formats, ElementsAre("DIG_AS_TEXT"));

    EXPECT_EQ(request(dialler, "set_dialler_request"), "set_dialler_response:,1");
    EXPECT_EQ(request(dialler, "isCanonicalDataValidRequest"), "isCanonicalDataValidResponse:1");

    EXPECT_EQ(request(dialler, "startdiallingrequest:line1,0"), "<no reply>");
    EXPECT_THAT(dialler.channel.takeEvents(), ElementsAre("handledialingstartedevent:line1"));

    EXPECT_EQ(request(dialler, "dialstringrequest:0,0"), "dialstringresponse:,0");
    advance(3000);
    EXPECT_EQ(request(dialler, "dialstringrequest:08,0"), "dialstringresponse:,0");
    advance(3000);
    EXPECT_EQ(request(dialler, "dialstringrequest:089,0"), "dialstringresponse:,0");
    EXPECT_EQ(request(dialler, "getLatestDialledDigitsRequest"), "089");
    // The wait for the next digit starts again with every digit.
    advance(5999);
    EXPECT_THAT(dialler.channel.takeEvents(), IsEmpty());
    advance(1);
    EXPECT_THAT(dialler.channel.takeEvents(), ElementsAre("089"));

    EXPECT_EQ(request(dialler, "stopdiallingrequest"), "<no reply>");
    EXPECT_THAT(dialler.channel.takeEvents(), ElementsAre("handledialingstoppedevent"));
    EXPECT_EQ(request(dialler, "getLatestDialledDigitsRequest"), "");
    EXPECT_THAT(dialler.channel.requests, IsEmpty());
}

TEST_F(InvokerEndToEnd, CompleteNumberIsSentAtOnceAndNoTimerFollows)
{
    harness.start();
    request(dialler, "set_dialler_request");
    request(dialler, "startdiallingrequest:line1,0");
    dialler.channel.takeEvents();

    EXPECT_EQ(request(dialler, "dialstringrequest:0891234,0"), "dialstringresponse:,0");
    EXPECT_EQ(request(dialler, "dialstringrequest:0891234,1"), "dialstringresponse:0891234,1");
    advance(60000);
    EXPECT_THAT(dialler.channel.takeEvents(), IsEmpty());
}

TEST_F(InvokerEndToEnd, InitialDigitTimeoutWhenNothingIsDialled)
{
    harness.start();
    request(dialler, "set_dialler_request");
    request(dialler, "startdiallingrequest:,1");
    EXPECT_THAT(dialler.channel.takeEvents(), ElementsAre("handledialingstartedevent"));
    advance(29999);
    EXPECT_THAT(dialler.channel.takeEvents(), IsEmpty());
    advance(1);
    EXPECT_THAT(dialler.channel.takeEvents(), ElementsAre("handleinitialdigittimeoutevent:" + serialized("")));
}

TEST_F(InvokerEndToEnd, SuspendedDiallingWaitsForTheExtendedInitialDigitTimeout)
{
    harness.start();
    request(dialler, "set_dialler_request");
    request(dialler, "startdiallingrequest:line1,0");
    dialler.channel.takeEvents();
    request(dialler, "suspenddiallingrequest");
    advance(119999);
    EXPECT_THAT(dialler.channel.takeEvents(), IsEmpty());
    advance(1);
    EXPECT_THAT(dialler.channel.takeEvents(), ElementsAre("handleinitialdigittimeoutevent:" + serialized("")));
}

TEST_F(InvokerEndToEnd, EmergencyNumberIsSentAtOnceOrReportedWhenLocked)
{
    harness.setCanonicalSetting("emergencyNumber", "112");
    harness.start();
    request(dialler, "set_dialler_request");
    EXPECT_EQ(request(dialler, "getEmergencyNumbersDialStringRequest"), "112");
    EXPECT_EQ(request(dialler, "isEmergencyNumberRequest:true:112"), "isEmergencyNumberResponse:1");
    EXPECT_EQ(request(dialler, "isEmergencyNumberRequest:true:1123"), "isEmergencyNumberResponse:0");

    request(dialler, "startdiallingrequest:line1,0");
    EXPECT_EQ(request(dialler, "dialstringrequest:112,0"), "dialstringresponse:112,1");
    request(dialler, "stopdiallingrequest");

    ManageableData lock;
    lock.populate("phone-lock-active", "phone-lock-active", "true");
    harness.service().manageableDataChanged(lock);
    request(dialler, "startdiallingrequest:line1,0");
    EXPECT_EQ(request(dialler, "dialstringrequest:112,0"), "dialstringresponse:112,2");
}

TEST_F(InvokerEndToEnd, CallContextProviderGivesThePartyOfTheCall)
{
    harness.start();
    EXPECT_EQ(request(dialler, "set_dialler_request"), "set_dialler_response:,1");
    EXPECT_EQ(request(provider, "set_call_context_provider_request"), "set_call_context_provider_response:,1");

    request(dialler, "startdiallingrequest:line1,0");
    EXPECT_THAT(provider.channel.takeEvents(), ElementsAre("get_dial_party_details_event"));
    EXPECT_THAT(dialler.channel.takeEvents(), IsEmpty());

    std::string party;
    CallPartyIdentifier("Anna", "0891234", "sip:anna@example.net").serialize(party);
    EXPECT_EQ(request(provider, "dialpartydetailsresponse:" + party), "<no reply>");
    EXPECT_THAT(dialler.channel.takeEvents(),
                ElementsAre("handledialingstarted_dialparty_event:" + serialized("line1") + party));
    // The answer stopped the wait for it.
    advance(250);
    EXPECT_THAT(dialler.channel.takeEvents(), IsEmpty());

    EXPECT_EQ(request(provider, "clear_call_content_provider_request"), "clear_call_content_provider_response:,1");
    EXPECT_EQ(request(provider, "clear_call_content_provider_request"), "clear_call_content_provider_response:,0");
}

TEST_F(InvokerEndToEnd, SilentCallContextProviderTimesOutAfterAQuarterSecond)
{
    harness.start();
    request(dialler, "set_dialler_request");
    request(provider, "set_call_context_provider_request");
    request(dialler, "startdiallingrequest:line1,0");
    provider.channel.takeEvents();
    advance(249);
    EXPECT_THAT(dialler.channel.takeEvents(), IsEmpty());
    advance(1);
    EXPECT_THAT(dialler.channel.takeEvents(), ElementsAre("handledialingstartedevent:line1"));
}

TEST_F(InvokerEndToEnd, AnonymousClientClearsTheDialler)
{
    harness.start();
    request(dialler, "set_dialler_request");
    RemoteClient anonymous(harness.context, "");
    EXPECT_EQ(request(anonymous, "set_dialler_request"), "set_dialler_response:,1");
    EXPECT_EQ(request(dialler, "dialstringrequest:1,0"), "dialstringresponse:,0");
    EXPECT_TRUE(log.contains("dialString (- ERROR - NO Dialler"));
}

TEST_F(InvokerEndToEnd, ConversionsThroughTheInvoker)
{
    harness.start();
    EXPECT_EQ(request(dialler, "canonicalconversionrequest:0891234"), "canonicalconversionresponse:+49891234,1");
    EXPECT_EQ(request(dialler, "canonicaltolocaldialableconversionrequest:+49891234"),
              "canonicaltolocaldialableconversionresponse:01234,1");
    EXPECT_EQ(request(dialler, "localdialableconversionrequest:+49891234,false,"),
              "localdialableconversionresponse:01234,false,1");
    EXPECT_EQ(request(dialler, "ringcentralconversionrequest:+49891234"), "ringcentralconversionresponse:,0");
}

TEST_F(InvokerEndToEnd, MalformedRequestsLeaveTheSessionRunning)
{
    harness.start();
    request(dialler, "set_dialler_request");
    request(dialler, "startdiallingrequest:line1,0");
    dialler.channel.takeEvents();
    EXPECT_EQ(request(dialler, "dialstringrequest:5"), "errorresponse");
    EXPECT_EQ(request(dialler, std::string(1 << 20, ',')), "<no reply>");
    EXPECT_EQ(request(dialler, "dialstringrequest:5,0"), "dialstringresponse:,0");
    advance(6000);
    EXPECT_THAT(dialler.channel.takeEvents(), ElementsAre("5"));
}

}  // namespace
