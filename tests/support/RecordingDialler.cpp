#include "RecordingDialler.h"

#include "CallPartyIdentifier.h"
#include "InterDigitTimeOutEvent.h"

void RecordingDialler::record(const std::string& call) const
{
    std::lock_guard<std::mutex> lock(m_mutex);
    m_calls.push_back(call);
}

void RecordingDialler::handleInterDigitTimeout(InterDigitTimeOutEvent* event)
{
    record("handleInterDigitTimeout " + (event != nullptr ? event->getDialString() : std::string("<null>")));
}

void RecordingDialler::handleInitialDigitTimeout(const std::string& digits)
{
    record("handleInitialDigitTimeout " + digits);
}

bool RecordingDialler::isDiallingOk(const std::string& digits)
{
    record("isDiallingOk " + digits);
    return m_diallingOk;
}

void RecordingDialler::handleDialingStarted(const std::string& line) { record("handleDialingStarted " + line); }

void RecordingDialler::handleDialingStarted(const std::string& line, const CallPartyIdentifier& party)
{
    std::string serial;
    party.serialize(serial);
    record("handleDialingStarted " + line + " " + serial);
}

void RecordingDialler::handleDialingStopped() { record("handleDialingStopped"); }

bool RecordingDialler::getDialPartyDetails(CallPartyIdentifier&)
{
    record("getDialPartyDetails");
    return true;
}

void RecordingDialler::getEventHandlerName(std::string& name) const
{
    record("getEventHandlerName");
    name = "RecordingDialler";
}

std::vector<std::string> RecordingDialler::calls() const
{
    std::lock_guard<std::mutex> lock(m_mutex);
    return m_calls;
}

void RecordingDialler::clear()
{
    std::lock_guard<std::mutex> lock(m_mutex);
    m_calls.clear();
}
