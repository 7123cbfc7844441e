#pragma once
// The dialler's callback interface: how the digit analysis service reports to its client (the
// dialler, or the call context provider). A client in another process is reached through the
// service's event proxy, which turns each call into a text message. The framework fixes the
// order of the operations: add nothing in between and reorder nothing.
//
// For every operation: the service calls it with its service lock held, from whichever thread
// made the service act (a client request, the framework's timer thread for expiries), so an
// implementation may call the service back but must not wait for another thread that does.
// Arguments are lent for the call only. Nothing is expected to throw.

#include <string>

class InterDigitTimeOutEvent;
class CallPartyIdentifier;

class DigitAnalysisServiceEventIfc {
public:
    // The number is complete: dial the event's dial string now (an inter-digit or dial plan
    // wait ended, or a hot line calls its destination). `event` is never null.
    virtual void handleInterDigitTimeout(InterDigitTimeOutEvent* event) = 0;
    // Nothing (more) was dialled before the initial-digit wait ended; `digits` are the digits of
    // the session so far (a warm line's destination, or empty).
    virtual void handleInitialDigitTimeout(const std::string& digits) = 0;
    // Asks whether `digits` may be dialled now. True allows it; the service does not call it
    // today, but a client must still answer.
    [[nodiscard]] virtual bool isDiallingOk(const std::string& digits) = 0;
    // Dialling has started on `line` (empty for on-hook dialling): show the dialling state.
    virtual void handleDialingStarted(const std::string& line) = 0;
    // Dialling has started on `line` for a call with `party`, as the call context provider
    // described it.
    virtual void handleDialingStarted(const std::string& line, const CallPartyIdentifier& party) = 0;
    // The session has ended (stopDialling).
    virtual void handleDialingStopped() = 0;
    // Asks a call context provider for the party of the call being dialled. A provider in the
    // same process may fill `party` and answer at once; one in another process returns true
    // and answers later with the request "dialpartydetailsresponse". The service does not use
    // the result: it waits for dialPartyDetailsResponse or its 250 ms timer.
    virtual bool getDialPartyDetails(CallPartyIdentifier& party) = 0;
    // Sets `name` to the name this handler is known by (for logs and diagnostics).
    virtual void getEventHandlerName(std::string& name) const = 0;

protected:
    // Not deleted through this face: its owner deletes the object.
    ~DigitAnalysisServiceEventIfc() = default;
};
