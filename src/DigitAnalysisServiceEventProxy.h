#pragma once
// Stands in for a dialler or call context provider in another process: each call the
// service makes becomes a text message on the framework's proxy request channel.

#include <string>

#include "DigitAnalysisServiceEventIfc.h"
#include "Executable.h"

class DigitAnalysisServiceEventProxy : public Proxy, public DigitAnalysisServiceEventIfc {
public:
    DigitAnalysisServiceEventProxy();
    ~DigitAnalysisServiceEventProxy() override;

    void initProxy(ProxyRequest& request) override;

    // The order of these declarations is the order of the proxy's own virtual table.
    void handleInterDigitTimeout(InterDigitTimeOutEvent* event) override;
    void handleInitialDigitTimeout(const std::string& digits) override;
    void handleDialingStarted(const std::string& line) override;
    void handleDialingStarted(const std::string& line, const CallPartyIdentifier& party) override;
    bool isDiallingOk(const std::string& digits) override;
    void handleDialingStopped() override;
    bool getDialPartyDetails(CallPartyIdentifier& party) override;
    void getEventHandlerName(std::string& name) const override;

    void setCallBackChan(DigitAnalysisServiceEventIfc* callback);
    const std::string& getCallBackChan() const { return m_callBackChannel; }

private:
    ProxyRequest* m_request = nullptr;
    std::string m_callBackChannel;

    void sendEvent(const std::string& message) const;
    void sendRequest(const std::string& request, std::string& reply) const;
};
