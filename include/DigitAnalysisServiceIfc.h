#pragma once
// The client interface of the digit analysis service.

#include <string>

#include "DigitAnalysisTypes.h"

class CallPartyIdentifier;
class DigitAnalysisServiceEventIfc;

class DigitAnalysisServiceIfc {
public:
    virtual void startDialling(const std::string& digits, DigitAnalysisServiceEventIfc* pEventObserver,
                               bool isFollowOnCall) = 0;
    virtual void dialPartyDetailsResponse(CallPartyIdentifier& party, bool dialPartyDetailsValid,
                                          bool isFollowOnCall) = 0;
    virtual void startOnHookDialling(DigitAnalysisServiceEventIfc* pEventObserver) = 0;
    virtual void stopDialling(DigitAnalysisServiceEventIfc* pEventObserver) = 0;
    virtual void resetAutoDialTimer() = 0;
    virtual void suspendDialling() = 0;
    virtual void resumeDialling() = 0;
    // Returns a DigitAnalysisMatch value.
    virtual int dialString(std::string* digits, bool complete, DigitAnalysisServiceEventIfc* pEventObserver) = 0;
    virtual bool setCallContextProvider(DigitAnalysisServiceEventIfc* provider) = 0;
    virtual bool clearCallContextProvider(DigitAnalysisServiceEventIfc* provider) = 0;
    virtual bool setDialler(DigitAnalysisServiceEventIfc* dialler) = 0;
    virtual void startBlindTransferDialling() = 0;
    virtual bool isCanonicalDataValid() = 0;
    virtual bool convertToCanonical(std::string& number) = 0;
    virtual bool convertToLocalDialable(std::string& number, std::string& diagnosticCall) = 0;
    virtual bool convertToDialableRingCentral(std::string& number) = 0;
    virtual bool convertCanonicalToLocalDialable(std::string& number) = 0;
    virtual void getEmergencyNumbersDialString(std::string* out) = 0;
    virtual void getLatestDialledDigits(std::string* out) = 0;
    virtual void getLockBypassNumbersDialString(std::string* out) = 0;
    virtual bool isEmergencyNumber(std::string& number, bool exactMatch) = 0;
    virtual bool isLockBypass(std::string& number) = 0;
    virtual bool isFACPrefix(const std::string& number) = 0;

protected:
    ~DigitAnalysisServiceIfc() = default;
};
