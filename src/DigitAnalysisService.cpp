#define DAS_LOG_SOURCE "src/DigitAnalysisService"

#include "DigitAnalysisService.h"

#include "CallPartyIdentifier.h"
#include "ClientUtils.h"
#include "DataAccessServiceIfc.h"
#include "DialPlan.h"
#include "DigitAnalysisServicePlugin.h"
#include "FrameworkContext.h"
#include "HardwareVersion.h"
#include "InterDigitTimeOutEvent.h"
#include "MediaControlServiceIfc.h"
#include "ServiceLog.h"
#include "TeamServiceIfc.h"

DigitAnalysisService* DigitAnalysisService::theInstance = nullptr;

extern "C" Executable* createDigitAnalysisService()
{
    return new DigitAnalysisService();
}

// ---------------------------------------------------------------------------------------
// Service frame and life cycle
// ---------------------------------------------------------------------------------------

DigitAnalysisService::DigitAnalysisService() {}

DigitAnalysisService::~DigitAnalysisService() {}

void DigitAnalysisService::init(Context& context) { (void)context; }

void DigitAnalysisService::run() {}

void DigitAnalysisService::shutdown() {}

bool DigitAnalysisService::findMCS() { return false; }

bool DigitAnalysisService::findTeamService() { return false; }

// ---------------------------------------------------------------------------------------
// Configuration items and canonical dial settings
// ---------------------------------------------------------------------------------------

bool DigitAnalysisService::findKDRB() { return false; }

void DigitAnalysisService::loadData() {}

void DigitAnalysisService::extractData(bool reinitialise) { (void)reinitialise; }

void DigitAnalysisService::extractEmergencyE164Data() {}

void DigitAnalysisService::extractPhoneLockActiveData() {}

void DigitAnalysisService::extractIntitialDigitTimerData() {}

void DigitAnalysisService::extractInterDigitTimerData() {}

void DigitAnalysisService::extractHotWarmPhoneType() {}

void DigitAnalysisService::extractHotWarmPhoneDigits() {}

void DigitAnalysisService::extractServerType() {}

bool DigitAnalysisService::isCanonicalDataValid() { return false; }

void DigitAnalysisService::resetUserData() {}

std::map<std::string, std::string> DigitAnalysisService::canonicalSettings() const { return {}; }

// ---------------------------------------------------------------------------------------
// Dialling timers
// ---------------------------------------------------------------------------------------

void DigitAnalysisService::initTimerDetails(TimerDetails* details, int duration)
{
    (void)details;
    (void)duration;
}

bool DigitAnalysisService::makeTimer(TimerDetails* details)
{
    (void)details;
    return false;
}

void DigitAnalysisService::beginTimer(TimerDetails* details) { (void)details; }

void DigitAnalysisService::endTimer(TimerDetails* details) { (void)details; }

bool DigitAnalysisService::actionTimeout(TimerDetails* details, int timerId)
{
    (void)details;
    (void)timerId;
    return false;
}

void DigitAnalysisService::timerEvent(int timerId) { (void)timerId; }

void DigitAnalysisService::actOnInitialDigitTimeout(bool actioned) { (void)actioned; }

void DigitAnalysisService::resetAutoDialTimer() {}

// ---------------------------------------------------------------------------------------
// Dialling session
// ---------------------------------------------------------------------------------------

void DigitAnalysisService::startDialling(const std::string& line, DigitAnalysisServiceEventIfc* pEventObserver,
                                         bool isFollowOnCall)
{
    (void)line;
    (void)pEventObserver;
    (void)isFollowOnCall;
}

void DigitAnalysisService::startDialling(const std::string& line, bool isFollowOnCall)
{
    (void)line;
    (void)isFollowOnCall;
}

void DigitAnalysisService::startOnHookDialling(DigitAnalysisServiceEventIfc* pEventObserver)
{
    (void)pEventObserver;
}

void DigitAnalysisService::startOnHookDialling() {}

void DigitAnalysisService::startBlindTransferDialling() {}

void DigitAnalysisService::dialPartyDetailsResponse(CallPartyIdentifier& identifier, bool dialPartyDetailsValid,
                                                    bool isFollowOnCall)
{
    (void)identifier;
    (void)dialPartyDetailsValid;
    (void)isFollowOnCall;
}

int DigitAnalysisService::dialString(std::string* digits, bool complete, DigitAnalysisServiceEventIfc* pEventObserver)
{
    (void)digits;
    (void)complete;
    (void)pEventObserver;
    return eMatchNone;
}

int DigitAnalysisService::dialString(std::string* digits, bool complete)
{
    (void)digits;
    (void)complete;
    return eMatchNone;
}

void DigitAnalysisService::stopDialling(DigitAnalysisServiceEventIfc* pEventObserver) { (void)pEventObserver; }

void DigitAnalysisService::stopDialling() {}

void DigitAnalysisService::suspendDialling() {}

void DigitAnalysisService::resumeDialling() {}

bool DigitAnalysisService::setDialler(DigitAnalysisServiceEventIfc* dialler)
{
    (void)dialler;
    return true;
}

bool DigitAnalysisService::setCallContextProvider(DigitAnalysisServiceEventIfc* provider)
{
    (void)provider;
    return true;
}

bool DigitAnalysisService::clearCallContextProvider(DigitAnalysisServiceEventIfc* provider)
{
    (void)provider;
    return false;
}

void DigitAnalysisService::getLatestDialledDigits(std::string* out) { (void)out; }

// ---------------------------------------------------------------------------------------
// Hot line, warm line and dial tone
// ---------------------------------------------------------------------------------------

void DigitAnalysisService::makeHotCall(const std::string& digits) { (void)digits; }

void DigitAnalysisService::makeWarmCall(const std::string& digits, const std::string& line,
                                        CallPartyIdentifier identifier)
{
    (void)digits;
    (void)line;
    (void)identifier;
}

void DigitAnalysisService::playDialTone() {}

void DigitAnalysisService::stopDialTone() {}

// ---------------------------------------------------------------------------------------
// Digit string utilities
// ---------------------------------------------------------------------------------------

void DigitAnalysisService::convertAlphaToNumeric(std::string& text, bool& converted)
{
    (void)text;
    converted = false;
}

bool DigitAnalysisService::remove(std::string& text, const std::string& toRemove)
{
    (void)text;
    (void)toRemove;
    return false;
}

bool DigitAnalysisService::replace(std::string& text, const std::string& toFind, const std::string& replacement)
{
    (void)text;
    (void)toFind;
    (void)replacement;
    return false;
}

void DigitAnalysisService::removePunctuation(std::string& text) { (void)text; }

void DigitAnalysisService::removeUnwantedChars(std::string& text) { (void)text; }

std::string DigitAnalysisService::getToken(const std::string& list, std::string::size_type& position)
{
    (void)list;
    (void)position;
    return {};
}

void DigitAnalysisService::tokenize(std::string list, std::vector<std::string>& tokens)
{
    (void)list;
    (void)tokens;
}

bool DigitAnalysisService::prefixMatchesList(const std::string& number, const std::string& list, std::string& matched)
{
    (void)number;
    (void)list;
    matched.clear();
    return false;
}

bool DigitAnalysisService::isCountryCodeNationalCodeLocalEnterpriseNode(const std::string& number) const
{
    (void)number;
    return false;
}

// ---------------------------------------------------------------------------------------
// Emergency, lock-bypass and feature access code numbers
// ---------------------------------------------------------------------------------------

bool DigitAnalysisService::isEmergencyNumber(std::string& number, bool exactMatch)
{
    (void)number;
    (void)exactMatch;
    return false;
}

int DigitAnalysisService::digitsMatchEmergencyNumber(const std::string& digits)
{
    (void)digits;
    return eMatchNone;
}

void DigitAnalysisService::getEmergencyNumberDialString(std::string* out) { (void)out; }

void DigitAnalysisService::getCanonicalDialEmergencyNumbersString(std::string* out) { (void)out; }

void DigitAnalysisService::getEmergencyNumbersDialString(std::string* out) { (void)out; }

void DigitAnalysisService::getLockBypassNumbersDialString(std::string* out) { (void)out; }

bool DigitAnalysisService::isLockBypass(std::string& number)
{
    (void)number;
    return false;
}

void DigitAnalysisService::setFACPrefixes(const std::string& prefixes) { (void)prefixes; }

bool DigitAnalysisService::isFACPrefix(const std::string& number)
{
    (void)number;
    return false;
}

void DigitAnalysisService::extractFACPrefixNumbers() {}

// ---------------------------------------------------------------------------------------
// Canonical conversion
// ---------------------------------------------------------------------------------------

bool DigitAnalysisService::convertToCanonical(std::string& number)
{
    (void)number;
    return false;
}

// ---------------------------------------------------------------------------------------
// Local dialable conversion and diagnostic calls
// ---------------------------------------------------------------------------------------

bool DigitAnalysisService::convertCanonicalToLocalDialable(std::string& number)
{
    (void)number;
    return false;
}

bool DigitAnalysisService::detectDiagnosticCall(std::string& number)
{
    (void)number;
    return false;
}

bool DigitAnalysisService::convertToLocalDialable(std::string& number, std::string& diagnosticCall)
{
    (void)number;
    diagnosticCall = "false";
    return false;
}

// ---------------------------------------------------------------------------------------
// RingCentral dialable conversion
// ---------------------------------------------------------------------------------------

bool DigitAnalysisService::convertToDialableRingCentral(std::string& number)
{
    (void)number;
    return false;
}

// ---------------------------------------------------------------------------------------
// Configuration change handling
// ---------------------------------------------------------------------------------------

void DigitAnalysisService::manageableDataChanged(ManageableData& data) { (void)data; }

bool DigitAnalysisService::setData(ManageableData& data)
{
    (void)data;
    return false;
}

bool DigitAnalysisService::getData(ManageableData& data)
{
    (void)data;
    return false;
}
