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

#include <array>
#include <cstdint>
#include <cstdlib>
#include <memory>

DigitAnalysisService* DigitAnalysisService::theInstance = nullptr;

extern "C" Executable* createDigitAnalysisService()
{
    return new DigitAnalysisService();
}

// ---------------------------------------------------------------------------------------
// Service frame and life cycle
// ---------------------------------------------------------------------------------------

namespace {

constexpr const char* kMgmtRootId = "DigitAnalysisMgmtId";
constexpr const char* kDataAccessServiceName = "DataAccessServiceIfc";

// The keys the service registers for change notifications, in registration order.
constexpr const char* kObservedKeys[] = {
    das_keys::kCanonicalDialSettings, das_keys::kEmergencyE164,     das_keys::kPhoneLockActive,
    das_keys::kInitialDigitTimer,     das_keys::kAutoDialTimer,     das_keys::kNewCanonicalSettings,
    das_keys::kHotLineWarmLine,       das_keys::kHotLineWarmLineDigits, das_keys::kHotKeypadDialling,
    das_keys::kMobilityCurrentUser,   das_keys::kFacPrefixNumbers,  das_keys::kServerType,
};

// The configuration value of a plain item: false when the store cannot give it or the
// node is absent from what it gave.
bool queryItem(LocalMgmtIfc* localMgmt, const std::string& itemKey, const std::string& nodeKey, std::string& value)
{
    ManageableData data;
    data.setRootId(itemKey);
    if (!localMgmt->queryData(data)) return false;
    const DataNode* node = data.interogate(nodeKey);
    if (node == nullptr) return false;
    value = node->getValue();
    return true;
}

// The leading decimal number of a configuration text, 0 when there is none. Read as 64 bits
// so that the result does not depend on the width of long.
long long leadingInteger(const std::string& text) { return std::strtoll(text.c_str(), nullptr, 10); }

// Seconds from configuration to a timer duration in milliseconds, computed in unsigned
// 32-bit arithmetic.
int secondsToMilliseconds(const std::string& text)
{
    return static_cast<int>(static_cast<std::uint32_t>(leadingInteger(text)) * 1000u);
}

}  // namespace

DigitAnalysisService::DigitAnalysisService()
{
    DAS_TRACE("DigitAnalysisService()");
    theInstance = this;
    initTimerDetails(&m_initialDigitTimer, 30000);
    initTimerDetails(&m_autoDialTimer, 6000);
    initTimerDetails(&m_partyDetailsTimer, 250);
    initTimerDetails(&m_extendedInitialDigitTimer, 120000);
    initTimerDetails(&m_dialPlanTimer, 6000);
    m_softwareType = 0;
    m_hwSubPlatformVariant = HardwareVersion::getHWSubPlatformVariant();
}

DigitAnalysisService::~DigitAnalysisService()
{
    DAS_TRACE("~DigitAnalysisService()");
    CriticalSection lock(m_serviceLock);
    for (TimerDetails* timer : {&m_initialDigitTimer, &m_partyDetailsTimer, &m_autoDialTimer, &m_dialPlanTimer,
                                &m_extendedInitialDigitTimer}) {
        if (timer->timerID != -1 && m_context != nullptr) m_context->deleteTimer(timer->timerID);
    }
    delete m_dialPlan;
    m_dialPlan = nullptr;
    if (theInstance == this) theInstance = nullptr;
}

void DigitAnalysisService::init(Context& context)
{
    DAS_TRACE("init");
    m_context = &context;
    findKDRB();
    readSoftwareType();
    DAS_TRACE("init software-type = %d ", m_softwareType);

    m_canonicalDataValid = 0;
    loadData();

    if (!makeTimer(&m_initialDigitTimer)) DAS_LOG(kLogError, "ERROR: Creating Initial Digit Timer.");
    if (!makeTimer(&m_partyDetailsTimer)) DAS_LOG(kLogError, "ERROR: Creating Party Details Timer.");
    if (!makeTimer(&m_autoDialTimer)) DAS_LOG(kLogError, "ERROR: Creating Auto Dial Timer.");

    m_dataAccessService = dynamic_cast<DataAccessServiceIfc*>(context.findExecutable(kDataAccessServiceName));
    if (m_dataAccessService == nullptr) DAS_LOG(kLogError, "Cannot find %s", kDataAccessServiceName);
    loadDialPlan();

    if (!makeTimer(&m_dialPlanTimer)) DAS_LOG(kLogError, "ERROR: Creating Dial Plan Timer.");
    if (!makeTimer(&m_extendedInitialDigitTimer)) DAS_LOG(kLogError, "ERROR: Creating Extended Initial Digit Timer.");

    if (m_teamService == nullptr) findTeamService();
    if (m_localMgmt != nullptr) m_localMgmt->registerAgent(kMgmtRootId, this, true);
}

void DigitAnalysisService::readSoftwareType()
{
    if (m_localMgmt == nullptr) return;
    ManageableData data;
    data.setRootId(das_keys::kSoftwareType);
    if (!m_localMgmt->queryData(data)) return;
    // The value is read afresh for each comparison, as the store's container gives it.
    const auto valueIs = [&data](const char* expected) {
        std::string value;
        return data.interogate(das_keys::kSoftwareType, value) && value == expected;
    };
    if (valueIs("Valtrek NRX")) {
        m_softwareType = 2;
    } else if (valueIs("Valtrek TDM")) {
        m_softwareType = 3;
    } else if (valueIs("Valtrek SIP")) {
        m_softwareType = 1;
    }
}

void DigitAnalysisService::loadDialPlan()
{
    auto* dialPlan = new DialPlan();
    dialPlan->setContext(m_context);
    dialPlan->setDAS(m_dataAccessService);
    {
        CriticalSection lock(m_serviceLock);
        m_dialPlan = dialPlan;
    }
    if (dialPlan->readDialPlanOverviewFromDAS()) {
        dialPlan->readDialPlanEntriesFromDAS();
    } else {
        DAS_TRACE("no dial plan in database");
    }
}

void DigitAnalysisService::run() {}

void DigitAnalysisService::shutdown() {}

bool DigitAnalysisService::findMCS()
{
    DAS_TRACE("findMCS");
    Executable* found = m_context != nullptr ? m_context->findExecutable("MediaControlServiceIfc") : nullptr;
    CriticalSection lock(m_serviceLock);
    m_mediaControlService = dynamic_cast<MediaControlServiceIfc*>(found);
    return m_mediaControlService != nullptr;
}

bool DigitAnalysisService::findTeamService()
{
    DAS_TRACE("findTeamService");
    Executable* found = m_context != nullptr ? m_context->findExecutable("TeamServiceIfc") : nullptr;
    CriticalSection lock(m_serviceLock);
    m_teamService = dynamic_cast<TeamServiceIfc*>(found);
    return m_teamService != nullptr;
}

// ---------------------------------------------------------------------------------------
// Configuration items and canonical dial settings
// ---------------------------------------------------------------------------------------

bool DigitAnalysisService::findKDRB()
{
    DAS_TRACE("findKDRB");
    LocalMgmtIfc* localMgmt =
        m_context != nullptr ? dynamic_cast<LocalMgmtIfc*>(m_context->findExecutable("LocalMgmtIfc")) : nullptr;
    {
        CriticalSection lock(m_serviceLock);
        m_localMgmt = localMgmt;
    }
    if (localMgmt == nullptr) return false;

    std::string failed;
    bool registered = false;
    for (const char* key : kObservedKeys) {
        registered = localMgmt->registerAgent(key, this, true);
        if (!registered) failed += key;
    }
    if (!failed.empty()) DAS_LOG(kLogError, "findKDRB - observe %s failed", failed.c_str());
    // Only the last registration decides the result; earlier failures are logged above.
    return registered;
}

void DigitAnalysisService::loadData()
{
    DAS_TRACE("loadData");
    {
        CriticalSection lock(m_serviceLock);
        m_canonicalData.setRootId(das_keys::kCanonicalDialSettings, m_localMgmt);
        if (m_localMgmt != nullptr) m_localMgmt->queryData(m_canonicalData);
    }
    extractData(false);
    // Without a configuration store only the readers that can do without one run.
    const bool haveStore = m_localMgmt != nullptr;
    if (haveStore) extractEmergencyE164Data();
    if (haveStore) extractPhoneLockActiveData();
    extractIntitialDigitTimerData();
    extractInterDigitTimerData();
    if (haveStore) extractHotWarmPhoneType();
    if (haveStore) extractHotWarmPhoneDigits();
    if (haveStore) extractFACPrefixNumbers();
    if (haveStore) extractServerType();
}

void DigitAnalysisService::extractData(bool reinitialise)
{
    DAS_TRACE("+++ DigitAnalysisService::extractData");
    if (reinitialise) {
        DAS_TRACE("ExtractData, re-initialise ");
        CriticalSection lock(m_serviceLock);
        for (std::string* text : canonicalTextMembers()) text->clear();
        m_ChkExpectDialNum = false;
        m_dialInternalForm = 0;
        m_dialExternalForm = 0;
        m_dialNeedsIntGWcode = 0;
        m_dialNeedsAccessCode = 1;
    }
    if (m_localMgmt != nullptr) {
        readCanonicalSettings();
        readLocalCodeLookup();
    }
    DAS_TRACE("--- DigitAnalysisService::extractData");
}

std::array<std::string*, 10> DigitAnalysisService::canonicalTextMembers()
{
    return {&m_TextCountryCode,     &m_TextNationalPrefix,       &m_TextAreaCode,
            &m_TextMinLocalNumberLength, &m_TextLocalEnterpriseNode, &m_TextLocalCallPrefix,
            &m_TextInternationalPrefix,  &m_TextOperatorCode,        &m_TextEmergencyNumber,
            &m_TextExtensionInitialDigits};
}

void DigitAnalysisService::readCanonicalSettings()
{
    static constexpr const char* kTextKeys[] = {"countryCode",     "nationalPrefix",      "areaCode",
                                                "minLocalNumberLength", "localEnterpriseNode", "localCallPrefix",
                                                "internationalPrefix",  "operatorCode",        "emergencyNumber",
                                                "extensionInitialDigits"};
    static constexpr const char* kDialFormKeys[] = {"dialInternalForm", "dialExternalForm", "dialNeedsAccessCode",
                                                    "dialNeedsIntGWcode"};
    ManageableData defaults;
    bool defaultsNeeded = false;
    {
        CriticalSection lock(m_serviceLock);
        const auto texts = canonicalTextMembers();
        for (std::size_t i = 0; i < texts.size(); ++i) {
            if (const DataNode* node = m_canonicalData.interogate(kTextKeys[i])) *texts[i] = node->getValue();
        }
        if (const DataNode* node = m_canonicalData.interogate("expectDialNumber")) {
            m_ChkExpectDialNum = node->getValue() == "true";
        }
        DAS_TRACE("Country %s national %s area %s minLocal %s Enterprise %s localPrefix %s intPrefix %s opCode %s "
                  "emerg %s InitialExtension %s m_ChkExpectDialNum %d",
                  m_TextCountryCode.c_str(), m_TextNationalPrefix.c_str(), m_TextAreaCode.c_str(),
                  m_TextMinLocalNumberLength.c_str(), m_TextLocalEnterpriseNode.c_str(),
                  m_TextLocalCallPrefix.c_str(), m_TextInternationalPrefix.c_str(), m_TextOperatorCode.c_str(),
                  m_TextEmergencyNumber.c_str(), m_TextExtensionInitialDigits.c_str(), m_ChkExpectDialNum ? 1 : 0);

        unsigned int* const dialForms[] = {&m_dialInternalForm, &m_dialExternalForm, &m_dialNeedsAccessCode,
                                           &m_dialNeedsIntGWcode};
        for (std::size_t i = 0; i < 4; ++i) {
            if (const DataNode* node = m_canonicalData.interogate(kDialFormKeys[i])) {
                *dialForms[i] = ClientUtils::stou(node->getValue());
            } else {
                defaults.setRootId(das_keys::kCanonicalDialSettings, m_localMgmt);
                defaults.populate(kDialFormKeys[i], ClientUtils::itos(static_cast<int>(*dialForms[i])));
                defaultsNeeded = true;
            }
        }
    }
    if (defaultsNeeded) {
        DAS_TRACE("Setting defaults for any missing dial* items - '%s'", defaults.serialize().c_str());
        m_localMgmt->updateData(defaults);
    }
}

void DigitAnalysisService::readLocalCodeLookup()
{
    std::unique_ptr<DxlResultSet> localCodes;
    std::unique_ptr<DxlResultSet> internationalCodes;
    {
        CriticalSection lock(m_serviceLock);
        DxlDocument* document = m_canonicalData.getDocument(das_keys::kCanonicalDialSettings);
        if (document != nullptr) {
            localCodes = document->select("lookUp/localCode");
            internationalCodes = document->select("lookUp/internationalCode");
        }
        m_localCodeLookup.clear();
    }
    // The rows are read without the lock into a table of our own, which then replaces the
    // held one in one step, so a conversion never sees a half-filled table.
    std::multimap<std::string, std::string> lookup;
    while (localCodes && internationalCodes && !localCodes->eof()) {
        std::string localCode;
        std::string internationalCode;
        bool localIsNull = true;
        bool internationalIsNull = true;
        localCodes->getValue(localCode, &localIsNull);
        internationalCodes->getValue(internationalCode, &internationalIsNull);
        if (!localIsNull && !internationalIsNull) lookup.emplace(localCode, internationalCode);
        localCodes->next();
        internationalCodes->next();
    }
    CriticalSection lock(m_serviceLock);
    m_localCodeLookup = std::move(lookup);
    m_canonicalDataValid = 1;
}

void DigitAnalysisService::extractEmergencyE164Data()
{
    DAS_TRACE("extractEmergencyE164Data");
    std::string value;
    if (m_localMgmt == nullptr || !queryItem(m_localMgmt, das_keys::kEmergencyE164, das_keys::kEmergencyE164, value)) {
        return;
    }
    CriticalSection lock(m_serviceLock);
    m_emergencyE164 = value;
}

void DigitAnalysisService::extractPhoneLockActiveData()
{
    DAS_TRACE("extractPhoneLockActiveData");
    std::string value;
    if (m_localMgmt == nullptr ||
        !queryItem(m_localMgmt, das_keys::kPhoneLockActive, das_keys::kPhoneLockActive, value)) {
        return;
    }
    CriticalSection lock(m_serviceLock);
    m_phoneLockActive = value == "true";
}

void DigitAnalysisService::extractIntitialDigitTimerData()
{
    DAS_TRACE("extractIntitialDigitTimerData");
    std::string value;
    if (m_localMgmt == nullptr ||
        !queryItem(m_localMgmt, das_keys::kInitialDigitTimer, das_keys::kInitialDigitTimer, value)) {
        return;
    }
    CriticalSection lock(m_serviceLock);
    m_initialDigitTimer.duration = secondsToMilliseconds(value);
}

void DigitAnalysisService::extractInterDigitTimerData()
{
    DAS_TRACE("extractInterDigitTimerData");
    std::string value;
    if (m_localMgmt == nullptr || !queryItem(m_localMgmt, das_keys::kAutoDialTimer, das_keys::kAutoDialTimer, value)) {
        return;
    }
    CriticalSection lock(m_serviceLock);
    m_autoDialTimer.duration = secondsToMilliseconds(value);
}

void DigitAnalysisService::extractHotWarmPhoneType()
{
    DAS_TRACE("extractHotWarmPhoneType");
    std::string value;
    if (m_localMgmt == nullptr ||
        !queryItem(m_localMgmt, das_keys::kHotLineWarmLine, das_keys::kHotLineWarmLine, value)) {
        return;
    }
    CriticalSection lock(m_serviceLock);
    m_hotWarmPhoneType = static_cast<int>(leadingInteger(value));
}

void DigitAnalysisService::extractHotWarmPhoneDigits()
{
    DAS_TRACE("extractHotWarmPhoneDigits");
    std::string value;
    if (m_localMgmt == nullptr ||
        !queryItem(m_localMgmt, das_keys::kHotLineWarmLineDigits, das_keys::kHotLineWarmLineDigits, value)) {
        return;
    }
    CriticalSection lock(m_serviceLock);
    m_hotWarmPhoneDigits = value;
}

void DigitAnalysisService::extractServerType()
{
    DAS_TRACE("extractServerType");
    // The item is queried as "server-type" but its value is looked up under the FAC prefix
    // key; with a store that answers only the queried item the flag keeps its value, and
    // a change notification of "server-type" sets it.
    std::string value;
    if (m_localMgmt == nullptr ||
        !queryItem(m_localMgmt, das_keys::kServerType, das_keys::kFacPrefixNumbers, value)) {
        return;
    }
    CriticalSection lock(m_serviceLock);
    m_ringCentralServer = value == "7";
}

bool DigitAnalysisService::isCanonicalDataValid()
{
    const bool flag = m_canonicalDataValid != 0;
    std::string countryCode;
    {
        CriticalSection lock(m_serviceLock);
        countryCode = m_TextCountryCode;
    }
    const bool result = flag && !countryCode.empty();
    DAS_TRACE("isCanonicalDataValid() m_canonicalDataValid[%s] m_TextCountryCode[%s]", flag ? "true" : "false",
              countryCode.c_str());
    return result;
}

void DigitAnalysisService::resetUserData() { DAS_TRACE("resetUserData"); }

std::map<std::string, std::string> DigitAnalysisService::canonicalSettings() const
{
    return {{"countryCode", m_TextCountryCode},
            {"nationalPrefix", m_TextNationalPrefix},
            {"areaCode", m_TextAreaCode},
            {"minLocalNumberLength", m_TextMinLocalNumberLength},
            {"localEnterpriseNode", m_TextLocalEnterpriseNode},
            {"localCallPrefix", m_TextLocalCallPrefix},
            {"internationalPrefix", m_TextInternationalPrefix},
            {"operatorCode", m_TextOperatorCode},
            {"emergencyNumber", m_TextEmergencyNumber},
            {"extensionInitialDigits", m_TextExtensionInitialDigits},
            {"expectDialNumber", m_ChkExpectDialNum ? "true" : "false"},
            {"dialInternalForm", std::to_string(m_dialInternalForm)},
            {"dialExternalForm", std::to_string(m_dialExternalForm)},
            {"dialNeedsAccessCode", std::to_string(m_dialNeedsAccessCode)},
            {"dialNeedsIntGWcode", std::to_string(m_dialNeedsIntGWcode)}};
}

// ---------------------------------------------------------------------------------------
// Dialling timers
// ---------------------------------------------------------------------------------------

void DigitAnalysisService::initTimerDetails(TimerDetails* details, int duration)
{
    DAS_TRACE("initTimerDetails");
    details->timerID = -1;
    details->duration = duration;
    details->timerRunning = false;
    details->updatePending = false;
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
