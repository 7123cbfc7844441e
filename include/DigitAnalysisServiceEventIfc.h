#pragma once
// The dialler's callback interface: how the digit analysis service reports to its client.

#include <string>

class InterDigitTimeOutEvent;
class CallPartyIdentifier;

class DigitAnalysisServiceEventIfc {
public:
    // The number is complete: dial the event's dial string.
    virtual void handleInterDigitTimeout(InterDigitTimeOutEvent* event) = 0;
    // Nothing (more) was dialled before the initial-digit wait ended.
    virtual void handleInitialDigitTimeout(const std::string& digits) = 0;
    virtual bool isDiallingOk(const std::string& digits) = 0;
    virtual void handleDialingStarted(const std::string& line) = 0;
    virtual void handleDialingStarted(const std::string& line, const CallPartyIdentifier& party) = 0;
    virtual void handleDialingStopped() = 0;
    // Asks a call context provider for the party of the call being dialled.
    virtual bool getDialPartyDetails(CallPartyIdentifier& party) = 0;
    virtual void getEventHandlerName(std::string& name) const = 0;

protected:
    ~DigitAnalysisServiceEventIfc() = default;
};
