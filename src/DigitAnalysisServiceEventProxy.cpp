#include "DigitAnalysisServiceEventProxy.h"

#include "DigitAnalysisServicePlugin.h"

extern "C" Proxy* createDigitAnalysisServiceEventProxy()
{
    return new DigitAnalysisServiceEventProxy();
}

DigitAnalysisServiceEventProxy::DigitAnalysisServiceEventProxy() = default;

DigitAnalysisServiceEventProxy::~DigitAnalysisServiceEventProxy() = default;

void DigitAnalysisServiceEventProxy::initProxy(ProxyRequest& request) { m_request = &request; }

void DigitAnalysisServiceEventProxy::handleInterDigitTimeout(InterDigitTimeOutEvent* event) { (void)event; }

void DigitAnalysisServiceEventProxy::handleInitialDigitTimeout(const std::string& digits) { (void)digits; }

void DigitAnalysisServiceEventProxy::handleDialingStarted(const std::string& line) { (void)line; }

void DigitAnalysisServiceEventProxy::handleDialingStarted(const std::string& line, const CallPartyIdentifier& party)
{
    (void)line;
    (void)party;
}

bool DigitAnalysisServiceEventProxy::isDiallingOk(const std::string& digits)
{
    (void)digits;
    return false;
}

void DigitAnalysisServiceEventProxy::handleDialingStopped() {}

bool DigitAnalysisServiceEventProxy::getDialPartyDetails(CallPartyIdentifier& party)
{
    (void)party;
    return true;
}

void DigitAnalysisServiceEventProxy::getEventHandlerName(std::string& name) const { (void)name; }

void DigitAnalysisServiceEventProxy::setCallBackChan(DigitAnalysisServiceEventIfc* callback) { (void)callback; }
