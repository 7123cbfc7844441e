// The dialler's event proxy: every call the service makes on a dialler in another process
// becomes one text message on the proxy's request channel, byte for byte.

#include <memory>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "CallPartyIdentifier.h"
#include "DigitAnalysisServiceEventProxy.h"
#include "DigitAnalysisServicePlugin.h"
#include "InProcessContext.h"
#include "InterDigitTimeOutEvent.h"
#include "RecordingDialler.h"
#include "RecordingProxyRequest.h"
#include "ServiceHarness.h"

using ::testing::ElementsAre;
using ::testing::IsEmpty;

namespace {

class EventProxy : public ::testing::Test {
protected:
    EventProxy() { proxy.initProxy(channel); }

    bool diallingOkFor(const std::string& reply)
    {
        channel.nextReply = reply;
        return proxy.isDiallingOk("123");
    }

    RecordingProxyRequest channel;
    DigitAnalysisServiceEventProxy proxy;
};

TEST_F(EventProxy, InitProxySetsTheTextMessageFormat)
{
    EXPECT_THAT(channel.formats, ElementsAre("DIG_AS_TEXT"));
}

TEST_F(EventProxy, InterDigitTimeoutSendsTheBareDialString)
{
    InterDigitTimeOutEvent event;
    event.setDialString("0891234");
    proxy.handleInterDigitTimeout(&event);
    EXPECT_THAT(channel.events, ElementsAre("0891234"));
}

TEST_F(EventProxy, InterDigitTimeoutWithAnEmptyDialStringSendsNothing)
{
    InterDigitTimeOutEvent event;
    proxy.handleInterDigitTimeout(&event);
    EXPECT_THAT(channel.events, IsEmpty());
    EXPECT_THAT(channel.requests, IsEmpty());
}

TEST_F(EventProxy, InitialDigitTimeoutSerialisesTheDigits)
{
    proxy.handleInitialDigitTimeout("5555");
    proxy.handleInitialDigitTimeout("");
    EXPECT_THAT(channel.events, ElementsAre("handleinitialdigittimeoutevent:4:5555", "handleinitialdigittimeoutevent:0:"));
}

TEST_F(EventProxy, DialingStartedWithoutALineHasNoColon)
{
    proxy.handleDialingStarted("");
    EXPECT_THAT(channel.events, ElementsAre("handledialingstartedevent"));
}

TEST_F(EventProxy, DialingStartedCarriesTheLineUnserialised)
{
    proxy.handleDialingStarted("line1");
    EXPECT_THAT(channel.events, ElementsAre("handledialingstartedevent:line1"));
}

TEST_F(EventProxy, DialingStartedWithAPartySerialisesLineAndParty)
{
    proxy.handleDialingStarted("line1", CallPartyIdentifier("Bob", "200", "sip:200@pbx"));
    proxy.handleDialingStarted("", CallPartyIdentifier());
    EXPECT_THAT(channel.events, ElementsAre("handledialingstarted_dialparty_event:5:line13:Bob3:20011:sip:200@pbx",
                                            "handledialingstarted_dialparty_event:0:0:0:0:"));
}

TEST_F(EventProxy, DialingStoppedIsOneKeyword)
{
    proxy.handleDialingStopped();
    EXPECT_THAT(channel.events, ElementsAre("handledialingstoppedevent"));
}

TEST_F(EventProxy, DialPartyDetailsAreAskedForByEventAndTheIdentifierIsLeftAlone)
{
    CallPartyIdentifier party("Alice", "100", "sip:100@pbx");
    EXPECT_TRUE(proxy.getDialPartyDetails(party));
    EXPECT_THAT(channel.events, ElementsAre("get_dial_party_details_event"));
    EXPECT_THAT(channel.requests, IsEmpty());
    EXPECT_EQ(party, CallPartyIdentifier("Alice", "100", "sip:100@pbx"));
}

TEST_F(EventProxy, EventHandlerNameIsTheReplyText)
{
    channel.nextReply = "CallView dialler";
    std::string name;
    proxy.getEventHandlerName(name);
    EXPECT_THAT(channel.requests, ElementsAre("get_event_handler_name_event"));
    EXPECT_THAT(channel.events, IsEmpty());
    EXPECT_EQ(name, "CallView dialler");
}

TEST_F(EventProxy, IsDiallingOkRequestCarriesTheDigitsRaw)
{
    proxy.isDiallingOk("0891234");
    proxy.isDiallingOk("");
    EXPECT_THAT(channel.requests, ElementsAre("isdiallingokrequest:0891234", "isdiallingokrequest"));
    EXPECT_THAT(channel.events, IsEmpty());
}

TEST_F(EventProxy, IsDiallingOkIsTrueOnlyForExactlyOneAfterTheFirstComma)
{
    EXPECT_TRUE(diallingOkFor("isdiallingokresponse,1"));
    EXPECT_TRUE(diallingOkFor("reply:isdiallingokresponse,1"));
    EXPECT_FALSE(diallingOkFor("isdiallingokresponse,1 "));
    EXPECT_FALSE(diallingOkFor("isdiallingokresponse,0"));
    EXPECT_FALSE(diallingOkFor("isdiallingokresponse,"));
    EXPECT_FALSE(diallingOkFor("isdiallingokresponse,1,1"));
}

TEST_F(EventProxy, IsDiallingOkIsFalseWithoutTheResponseKeyword)
{
    EXPECT_FALSE(diallingOkFor("errorresponse,1"));
    EXPECT_FALSE(diallingOkFor(""));
}

TEST_F(EventProxy, IsDiallingOkIsFalseWithoutAComma)
{
    EXPECT_FALSE(diallingOkFor("isdiallingokresponse1"));
    EXPECT_FALSE(diallingOkFor("isdiallingokresponse"));
}

TEST_F(EventProxy, IsDiallingOkReadsAfterTheFirstCommaEvenBeforeTheKeyword)
{
    EXPECT_FALSE(diallingOkFor("x,isdiallingokresponse,1"));
    EXPECT_FALSE(diallingOkFor("1,1isdiallingokresponse"));
}

TEST_F(EventProxy, CallBackChannelIsTheNameTheContextKnowsForTheCallback)
{
    RecordingDialler dialler;
    channel.context.setChannelName(&dialler, "callview-channel");
    proxy.setCallBackChan(&dialler);
    EXPECT_EQ(proxy.getCallBackChan(), "callview-channel");
    proxy.setCallBackChan(nullptr);
    EXPECT_EQ(proxy.getCallBackChan(), "");
}

TEST_F(EventProxy, CallBackChannelOfAnUnknownCallbackIsEmpty)
{
    RecordingDialler known;
    RecordingDialler unknown;
    channel.context.setChannelName(&known, "callview-channel");
    proxy.setCallBackChan(&known);
    proxy.setCallBackChan(&unknown);
    EXPECT_EQ(proxy.getCallBackChan(), "");
}

TEST_F(EventProxy, FrameworkLifeCycleCallsSendNothing)
{
    InProcessContext context;
    proxy.init(context);
    proxy.timerEvent(3);
    proxy.shutdown();
    EXPECT_THAT(channel.events, IsEmpty());
    EXPECT_THAT(channel.requests, IsEmpty());
    EXPECT_THAT(channel.formats, ElementsAre("DIG_AS_TEXT"));
}

TEST(EventProxyFactory, CreatesAProxyWithTheDiallerInterface)
{
    std::unique_ptr<Proxy> created(createDigitAnalysisServiceEventProxy());
    ASSERT_NE(created, nullptr);
    auto* dialler = dynamic_cast<DigitAnalysisServiceEventIfc*>(created.get());
    ASSERT_NE(dialler, nullptr);
    RecordingProxyRequest channel;
    created->initProxy(channel);
    dialler->handleDialingStopped();
    EXPECT_THAT(channel.formats, ElementsAre("DIG_AS_TEXT"));
    EXPECT_THAT(channel.events, ElementsAre("handledialingstoppedevent"));
}

TEST(EventProxyWithoutChannel, CallsBeforeInitProxyAreDropped)
{
    DigitAnalysisServiceEventProxy proxy;
    proxy.handleDialingStopped();
    proxy.setCallBackChan(nullptr);
    std::string name = "unchanged";
    proxy.getEventHandlerName(name);
    EXPECT_EQ(name, "unchanged");
    EXPECT_FALSE(proxy.isDiallingOk("1"));
    EXPECT_EQ(proxy.getCallBackChan(), "");
}

// The proxy as the service's dialler: a whole off-hook session as the dialler's process sees it.
TEST(EventProxyAsDialler, AnOffHookSessionReachesTheDiallerAsTextMessages)
{
    CapturingLogSink log;
    ServiceHarness harness;
    harness.store.setItem("software-type", "Valtrek SIP");
    DigitAnalysisService& service = harness.start();
    RecordingProxyRequest channel;
    DigitAnalysisServiceEventProxy proxy;
    proxy.initProxy(channel);
    service.setDialler(&proxy);

    service.startDialling("line1", &proxy, false);
    harness.context.advance(30000);
    service.stopDialling(&proxy);

    EXPECT_THAT(channel.events, ElementsAre("handledialingstartedevent:line1", "handleinitialdigittimeoutevent:0:",
                                            "handledialingstoppedevent"));
}

}  // namespace
