#pragma once
// A dialler (or call context provider) that records every call the service makes on it,
// one line per call, and answers as told.

#include <mutex>
#include <string>
#include <vector>

#include "DigitAnalysisServiceEventIfc.h"
#include "RecordingPeers.h"

class RecordingDialler : public PassivePeer, public DigitAnalysisServiceEventIfc {
public:
    // Calls are recorded as:
    //   "handleInterDigitTimeout <dial string>"   "handleInitialDigitTimeout <digits>"
    //   "isDiallingOk <digits>"                    "handleDialingStarted <line>"
    //   "handleDialingStarted <line> <party serial form>"
    //   "handleDialingStopped"  "getDialPartyDetails"  "getEventHandlerName"
    void handleInterDigitTimeout(InterDigitTimeOutEvent* event) override;
    void handleInitialDigitTimeout(const std::string& digits) override;
    bool isDiallingOk(const std::string& digits) override;
    void handleDialingStarted(const std::string& line) override;
    void handleDialingStarted(const std::string& line, const CallPartyIdentifier& party) override;
    void handleDialingStopped() override;
    bool getDialPartyDetails(CallPartyIdentifier& party) override;
    void getEventHandlerName(std::string& name) const override;

    std::vector<std::string> calls() const;
    void clear();
    void setDiallingOk(bool ok) { m_diallingOk = ok; }

private:
    void record(const std::string& call) const;
    mutable std::mutex m_mutex;
    mutable std::vector<std::string> m_calls;
    bool m_diallingOk = true;
};
