#include "DigitAnalysisServiceEventProxy.h"

#include "CallPartyIdentifier.h"
#include "DigitAnalysisServicePlugin.h"
#include "FrameworkContext.h"
#include "InterDigitTimeOutEvent.h"
#include "ProxyRequest.h"
#include "Serializer.h"

namespace {

constexpr const char* kMessageFormat = "DIG_AS_TEXT";
constexpr const char* kInitialDigitTimeoutEvent = "handleinitialdigittimeoutevent:";
constexpr const char* kDialingStartedEvent = "handledialingstartedevent";
constexpr const char* kDialingStartedWithPartyEvent = "handledialingstarted_dialparty_event:";
constexpr const char* kDialingStoppedEvent = "handledialingstoppedevent";
constexpr const char* kGetDialPartyDetailsEvent = "get_dial_party_details_event";
constexpr const char* kGetEventHandlerNameRequest = "get_event_handler_name_event";
constexpr const char* kIsDiallingOkRequest = "isdiallingokrequest";
constexpr const char* kIsDiallingOkResponse = "isdiallingokresponse";

// "<keyword>" alone, or "<keyword>:<argument>" when there is an argument; the argument is
// sent as it stands, not serialised.
std::string withOptionalArgument(const char* keyword, const std::string& argument)
{
    std::string message(keyword);
    if (!argument.empty()) message += ":" + argument;
    return message;
}

// The reply must name the response and carry exactly "1" after its first comma.
bool replySaysYes(const std::string& reply)
{
    const auto comma = reply.find(',');
    if (comma == std::string::npos || reply.find(kIsDiallingOkResponse) == std::string::npos) return false;
    return reply.compare(comma + 1, std::string::npos, "1") == 0;
}

}  // namespace

extern "C" Proxy* createDigitAnalysisServiceEventProxy()
{
    return new DigitAnalysisServiceEventProxy();
}

DigitAnalysisServiceEventProxy::DigitAnalysisServiceEventProxy() = default;

DigitAnalysisServiceEventProxy::~DigitAnalysisServiceEventProxy() = default;

void DigitAnalysisServiceEventProxy::initProxy(ProxyRequest& request)
{
    m_request = &request;
    m_request->setMessageFormat(kMessageFormat);
}

// Before initProxy there is no channel: the message has nowhere to go and is dropped.
void DigitAnalysisServiceEventProxy::sendEvent(const std::string& message) const
{
    if (m_request != nullptr) m_request->sendEvent(message);
}

void DigitAnalysisServiceEventProxy::sendRequest(const std::string& request, std::string& reply) const
{
    if (m_request != nullptr) m_request->sendRequest(request, reply);
}

void DigitAnalysisServiceEventProxy::handleInterDigitTimeout(InterDigitTimeOutEvent* event)
{
    // The dialler takes the bare dial string as the number to send; nothing to send, no message.
    if (event == nullptr || event->getDialString().empty()) return;
    sendEvent(event->getDialString());
}

void DigitAnalysisServiceEventProxy::handleInitialDigitTimeout(const std::string& digits)
{
    std::string message(kInitialDigitTimeoutEvent);
    Serializer::serialize(message, digits, false);
    sendEvent(message);
}

void DigitAnalysisServiceEventProxy::handleDialingStarted(const std::string& line)
{
    sendEvent(withOptionalArgument(kDialingStartedEvent, line));
}

void DigitAnalysisServiceEventProxy::handleDialingStarted(const std::string& line, const CallPartyIdentifier& party)
{
    std::string message(kDialingStartedWithPartyEvent);
    Serializer::serialize(message, line, false);
    party.serialize(message);
    sendEvent(message);
}

bool DigitAnalysisServiceEventProxy::isDiallingOk(const std::string& digits)
{
    std::string reply;
    sendRequest(withOptionalArgument(kIsDiallingOkRequest, digits), reply);
    return replySaysYes(reply);
}

void DigitAnalysisServiceEventProxy::handleDialingStopped() { sendEvent(kDialingStoppedEvent); }

bool DigitAnalysisServiceEventProxy::getDialPartyDetails(CallPartyIdentifier& party)
{
    // The answer comes back later as a request of its own; the identifier stays as it is.
    (void)party;
    sendEvent(kGetDialPartyDetailsEvent);
    return true;
}

void DigitAnalysisServiceEventProxy::getEventHandlerName(std::string& name) const
{
    sendRequest(kGetEventHandlerNameRequest, name);
}

void DigitAnalysisServiceEventProxy::setCallBackChan(DigitAnalysisServiceEventIfc* callback)
{
    m_callBackChannel.clear();
    if (callback == nullptr || m_request == nullptr) return;
    FrameworkContext* context = m_request->getFrameworkContext();
    if (context == nullptr) return;
    m_callBackChannel = context->findChannel(dynamic_cast<Executable*>(callback));
}
