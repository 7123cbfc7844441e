#define DAS_LOG_SOURCE "src/DigitAnalysisService"

#include "DigitAnalysisService.h"

#include "CallPartyIdentifier.h"
#include "ClientUtils.h"
#include "CodeSize.h"
#include "DataAccessServiceIfc.h"
#include "DialPlan.h"
#include "DigitAnalysisServicePlugin.h"
#include "FrameworkContext.h"
#include "HardwareVersion.h"
#include "InterDigitTimeOutEvent.h"
#include "MediaControlServiceIfc.h"
#include "NumberText.h"
#include "ServiceLog.h"
#include "TeamServiceIfc.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <iterator>
#include <initializer_list>
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

DAS_COLD DigitAnalysisService::DigitAnalysisService()
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

DAS_COLD DigitAnalysisService::~DigitAnalysisService()
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

DAS_COLD void DigitAnalysisService::init(Context& context)
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
    // Refused, the service still runs; management then cannot reach the dial plan.
    if (m_localMgmt != nullptr) (void)m_localMgmt->registerAgent(kMgmtRootId, this, true);
}

DAS_COLD void DigitAnalysisService::readSoftwareType()
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

DAS_COLD void DigitAnalysisService::loadDialPlan()
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

DAS_COLD bool DigitAnalysisService::findMCS()
{
    DAS_TRACE("findMCS");
    Executable* found = m_context != nullptr ? m_context->findExecutable("MediaControlServiceIfc") : nullptr;
    CriticalSection lock(m_serviceLock);
    m_mediaControlService = dynamic_cast<MediaControlServiceIfc*>(found);
    return m_mediaControlService != nullptr;
}

DAS_COLD bool DigitAnalysisService::findTeamService()
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

DAS_COLD bool DigitAnalysisService::findKDRB()
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
    for (const char* key : das_keys::kObservedKeys) {
        registered = localMgmt->registerAgent(key, this, true);
        if (!registered) failed += key;
    }
    if (!failed.empty()) DAS_LOG(kLogError, "findKDRB - observe %s failed", failed.c_str());
    // Only the last registration decides the result; earlier failures are logged above.
    return registered;
}

DAS_COLD void DigitAnalysisService::loadData()
{
    DAS_TRACE("loadData");
    {
        CriticalSection lock(m_serviceLock);
        m_canonicalData.setRootId(das_keys::kCanonicalDialSettings, m_localMgmt);
        // Absent settings are no fault here: the readers below give each its default.
        if (m_localMgmt != nullptr) (void)m_localMgmt->queryData(m_canonicalData);
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

DAS_COLD void DigitAnalysisService::extractData(bool reinitialise)
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

DAS_COLD void DigitAnalysisService::readCanonicalSettings()
{
    const auto& textKeys = das_keys::kCanonicalTextKeys;
    const auto& dialFormKeys = das_keys::kCanonicalDialFormKeys;
    ManageableData defaults;
    bool defaultsNeeded = false;
    {
        CriticalSection lock(m_serviceLock);
        const auto texts = canonicalTextMembers();
        for (std::size_t i = 0; i < texts.size(); ++i) {
            if (const DataNode* node = m_canonicalData.interogate(textKeys[i])) *texts[i] = node->getValue();
        }
        if (const DataNode* node = m_canonicalData.interogate(das_keys::kCanonicalExpectDialNumber)) {
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
            if (const DataNode* node = m_canonicalData.interogate(dialFormKeys[i])) {
                *dialForms[i] = ClientUtils::stou(node->getValue());
            } else {
                defaults.setRootId(das_keys::kCanonicalDialSettings, m_localMgmt);
                defaults.populate(dialFormKeys[i], ClientUtils::itos(static_cast<int>(*dialForms[i])));
                defaultsNeeded = true;
            }
        }
    }
    if (defaultsNeeded) {
        DAS_TRACE("Setting defaults for any missing dial* items - '%s'", defaults.serialize().c_str());
        // Defaults written back for the other readers; the service goes on with them either way.
        (void)m_localMgmt->updateData(defaults);
    }
}

DAS_COLD void DigitAnalysisService::readLocalCodeLookup()
{
    std::unique_ptr<DxlResultSet> localCodes;
    std::unique_ptr<DxlResultSet> internationalCodes;
    {
        CriticalSection lock(m_serviceLock);
        DxlDocument* document = m_canonicalData.getDocument(das_keys::kCanonicalDialSettings);
        if (document != nullptr) {
            localCodes = document->select(std::string(das_keys::kCanonicalLookUp) + "/" + das_keys::kCanonicalLookUpKeys[0]);
            internationalCodes = document->select(std::string(das_keys::kCanonicalLookUp) + "/" + das_keys::kCanonicalLookUpKeys[1]);
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
        // Both columns have a row here (the loop stops at the end of either).
        (void)localCodes->getValue(localCode, &localIsNull);
        (void)internationalCodes->getValue(internationalCode, &internationalIsNull);
        if (!localIsNull && !internationalIsNull) lookup.emplace(localCode, internationalCode);
        localCodes->next();
        internationalCodes->next();
    }
    CriticalSection lock(m_serviceLock);
    m_localCodeLookup = std::move(lookup);
    m_canonicalDataValid = 1;
}

DAS_COLD void DigitAnalysisService::extractEmergencyE164Data()
{
    DAS_TRACE("extractEmergencyE164Data");
    std::string value;
    if (!querySingleItem(das_keys::kEmergencyE164, das_keys::kEmergencyE164, value)) return;
    CriticalSection lock(m_serviceLock);
    m_emergencyE164 = value;
}

DAS_COLD void DigitAnalysisService::extractPhoneLockActiveData()
{
    DAS_TRACE("extractPhoneLockActiveData");
    std::string value;
    if (!querySingleItem(das_keys::kPhoneLockActive, das_keys::kPhoneLockActive, value)) return;
    CriticalSection lock(m_serviceLock);
    m_phoneLockActive = value == "true";
}

DAS_COLD void DigitAnalysisService::extractIntitialDigitTimerData()
{
    DAS_TRACE("extractIntitialDigitTimerData");
    std::string value;
    if (!querySingleItem(das_keys::kInitialDigitTimer, das_keys::kInitialDigitTimer, value)) return;
    CriticalSection lock(m_serviceLock);
    m_initialDigitTimer.duration = secondsToMilliseconds(value);
}

DAS_COLD void DigitAnalysisService::extractInterDigitTimerData()
{
    DAS_TRACE("extractInterDigitTimerData");
    std::string value;
    if (!querySingleItem(das_keys::kAutoDialTimer, das_keys::kAutoDialTimer, value)) return;
    CriticalSection lock(m_serviceLock);
    m_autoDialTimer.duration = secondsToMilliseconds(value);
}

DAS_COLD void DigitAnalysisService::extractHotWarmPhoneType()
{
    DAS_TRACE("extractHotWarmPhoneType");
    std::string value;
    if (!querySingleItem(das_keys::kHotLineWarmLine, das_keys::kHotLineWarmLine, value)) return;
    CriticalSection lock(m_serviceLock);
    m_hotWarmPhoneType = static_cast<int>(leadingInteger(value));
}

DAS_COLD void DigitAnalysisService::extractHotWarmPhoneDigits()
{
    DAS_TRACE("extractHotWarmPhoneDigits");
    std::string value;
    if (!querySingleItem(das_keys::kHotLineWarmLineDigits, das_keys::kHotLineWarmLineDigits, value)) return;
    CriticalSection lock(m_serviceLock);
    m_hotWarmPhoneDigits = value;
}

DAS_COLD void DigitAnalysisService::extractServerType()
{
    DAS_TRACE("extractServerType");
    // The item is queried as "server-type" but its value is looked up under the FAC prefix
    // key; with a store that answers only the queried item the flag keeps its value, and
    // a change notification of "server-type" sets it.
    std::string value;
    if (!querySingleItem(das_keys::kServerType, das_keys::kFacPrefixNumbers, value)) return;
    CriticalSection lock(m_serviceLock);
    m_ringCentralServer = value == "7";
}

DAS_COLD bool DigitAnalysisService::querySingleItem(const char* itemKey, const char* nodeKey, std::string& value)
{
    return m_localMgmt != nullptr && queryItem(m_localMgmt, itemKey, nodeKey, value);
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

DAS_COLD std::map<std::string, std::string> DigitAnalysisService::canonicalSettings() const
{
    const std::string* const texts[] = {&m_TextCountryCode,          &m_TextNationalPrefix,    &m_TextAreaCode,
                                        &m_TextMinLocalNumberLength, &m_TextLocalEnterpriseNode, &m_TextLocalCallPrefix,
                                        &m_TextInternationalPrefix,  &m_TextOperatorCode,      &m_TextEmergencyNumber,
                                        &m_TextExtensionInitialDigits};
    static_assert(std::size(texts) == std::size(das_keys::kCanonicalTextKeys), "one member per text setting");
    const unsigned int forms[] = {m_dialInternalForm, m_dialExternalForm, m_dialNeedsAccessCode, m_dialNeedsIntGWcode};
    static_assert(std::size(forms) == std::size(das_keys::kCanonicalDialFormKeys), "one member per dial form");
    std::map<std::string, std::string> result;
    for (std::size_t i = 0; i < std::size(texts); ++i) result[das_keys::kCanonicalTextKeys[i]] = *texts[i];
    result[das_keys::kCanonicalExpectDialNumber] = m_ChkExpectDialNum ? "true" : "false";
    for (std::size_t i = 0; i < std::size(forms); ++i) result[das_keys::kCanonicalDialFormKeys[i]] = std::to_string(forms[i]);
    return result;
}

// ---------------------------------------------------------------------------------------
// Dialling timers
// ---------------------------------------------------------------------------------------

namespace {

// One line with the whole record, in the form every timer operation logs it.
void logTimerDetails(const char* operation, const TimerDetails* details)
{
    DAS_TRACE("%s details = %p (duration = %d,  timerID = %d, timerRunning = %d, updatePending = %d)\n", operation,
              static_cast<const void*>(details), details->duration, details->timerID,
              static_cast<int>(details->timerRunning), static_cast<int>(details->updatePending));
}

}  // namespace

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
    logTimerDetails("makeTimer", details);
    if (details->timerRunning) {
        // A running countdown is left alone; the next endTimer re-creates it.
        details->updatePending = true;
        return true;
    }
    const int newId = m_context != nullptr ? m_context->createTimer(this, details->duration) : Context::kNoTimer;
    if (newId == Context::kNoTimer) {
        details->updatePending = true;  // retried at the next stop
        return false;
    }
    if (details->timerID != Context::kNoTimer) {
        m_context->deleteTimer(details->timerID);
        // An expiry of the old timer may still be on its way: remember whose it was.
        m_replacedTimerIds[details] = details->timerID;
    }
    details->timerID = newId;
    details->updatePending = false;
    return true;
}

void DigitAnalysisService::beginTimer(TimerDetails* details)
{
    logTimerDetails("beginTimer", details);
    // Held throughout, not only around the reset: resetAutoDialTimer reaches here without
    // the lock, and the record must not be touched unguarded.
    CriticalSection lock(m_serviceLock);
    startOrResetTimer(details);
}

void DigitAnalysisService::beginTimerHeld(TimerDetails* details)
{
    logTimerDetails("beginTimer", details);
    startOrResetTimer(details);
}

void DigitAnalysisService::startOrResetTimer(TimerDetails* details)
{
    // The Auto Dial record decides between reset and re-creation whichever record is begun.
    if (!m_autoDialTimer.updatePending) {
        if (details->timerID != Context::kNoTimer) m_context->resetTimer(details->timerID);
    } else {
        endTimer(details);
    }
    if (details->timerID == Context::kNoTimer || details->timerRunning) return;
    m_context->startTimer(details->timerID);
    details->timerRunning = true;
}

void DigitAnalysisService::endTimer(TimerDetails* details)
{
    logTimerDetails("+ DigitAnalysisService::endTimer", details);
    if (details->timerRunning) m_context->stopTimer(details->timerID);
    details->timerRunning = false;
    // A failed re-creation stays marked and is tried again at the next stop.
    if (details->updatePending) (void)makeTimer(details);
}

bool DigitAnalysisService::actionTimeout(TimerDetails* details, int timerId)
{
    logTimerDetails("actionTimeout", details);
    if (timerId == details->timerID) {
        if (!details->timerRunning) return false;
        endTimer(details);
        return true;
    }
    DAS_TRACE("actionTimeout - timeout from a timer that has been updated!\n");
    return false;
}

TimerDetails* DigitAnalysisService::timerOwning(int timerId)
{
    TimerDetails* const inDispatchOrder[] = {&m_autoDialTimer, &m_initialDigitTimer, &m_extendedInitialDigitTimer,
                                             &m_dialPlanTimer, &m_partyDetailsTimer};
    if (timerId == Context::kNoTimer) return nullptr;
    for (TimerDetails* details : inDispatchOrder) {
        if (details->timerID == timerId) return details;
    }
    // A timer that was re-created: its late expiry still belongs to the record, which
    // ignores it as stale.
    for (TimerDetails* details : inDispatchOrder) {
        const auto replaced = m_replacedTimerIds.find(details);
        if (replaced != m_replacedTimerIds.end() && replaced->second == timerId) return details;
    }
    return nullptr;
}

void DigitAnalysisService::timerEvent(int timerId)
{
    DAS_TRACE("timerEvent(timerId = %d)", timerId);
    CriticalSection lock(m_serviceLock);
    TimerDetails* const details = timerOwning(timerId);
    if (details == &m_autoDialTimer) {
        autoDialTimeout(timerId);
    } else if (details == &m_initialDigitTimer) {
        DAS_TRACE("timerEvent(timerId): Initial Digit Time Out Event");
        actOnInitialDigitTimeout(actionTimeout(&m_initialDigitTimer, timerId));
    } else if (details == &m_extendedInitialDigitTimer) {
        DAS_TRACE("timerEvent(timerId): Extended Initial Digit Time Out Event");
        actOnInitialDigitTimeout(actionTimeout(&m_extendedInitialDigitTimer, timerId));
    } else if (details == &m_dialPlanTimer) {
        dialPlanTimeout(timerId);
    } else if (details == &m_partyDetailsTimer) {
        DAS_TRACE("timerEvent(timerId): Party Details Time Out Event");
        if (actionTimeout(&m_partyDetailsTimer, timerId)) {
            CallPartyIdentifier noParty;
            dialPartyDetailsResponse(noParty, false, false);
        } else {
            DAS_TRACE("timerEvent(timerId): Ignoring Party Details Time Out Event");
        }
    } else {
        DAS_LOG(kLogError, "timerEvent(timerId): Invalid timer event.");
    }
}

void DigitAnalysisService::autoDialTimeout(int timerId)
{
    if (!actionTimeout(&m_autoDialTimer, timerId)) {
        DAS_TRACE("timerEvent(timerId): Ignoring Auto Dial (inter digit) Time Out Event");
        return;
    }
    DAS_TRACE("timerEvent(timerId): Auto Dial (inter digit) Time Out Event");
    InterDigitTimeOutEvent event;
    event.setDialString(m_latestDialledDigits);
    if (m_dialler == nullptr) {
        DAS_LOG(kLogError, "No Dialler to receive Auto Dial (inter digit) Time Out Event");
        return;
    }
    if (m_phoneLockActive) {
        // A locked phone lets only the emergency number and lock-bypass numbers through.
        std::string latest = m_latestDialledDigits;
        if (latest != m_emergencyE164 && !isLockBypass(latest)) return;
    }
    DAS_TRACE("m_dialler->handleInitialDigitTimeout %d %s", static_cast<int>(m_phoneLockActive),
              m_latestDialledDigits.c_str());
    // These phones dial through their own signalling: "0" only tells it to go ahead.
    if (m_softwareType == 2 && isVariant3Or4()) event.setDialString("0");
    m_dialler->handleInterDigitTimeout(&event);
}

void DigitAnalysisService::dialPlanTimeout(int timerId)
{
    if (!actionTimeout(&m_dialPlanTimer, timerId)) {
        DAS_TRACE("timerEvent(timerId): Ignoring Dial Plan Time Out Event");
        return;
    }
    DAS_TRACE("timerEvent(timerId): Dial Plan Time Out Event");
    InterDigitTimeOutEvent event;
    event.setDialString(m_latestDialledDigits);
    if (m_dialler == nullptr) {
        DAS_LOG(kLogError, "No Dialler to receive Dial Plan Time Out Event");
        return;
    }
    if (m_phoneLockActive && m_latestDialledDigits != m_emergencyE164 && !m_lockBypassMatch) return;
    m_dialler->handleInterDigitTimeout(&event);
}

void DigitAnalysisService::actOnInitialDigitTimeout(bool actioned)
{
    if (!actioned) {
        DAS_TRACE("timerEvent(timerId): Ignoring Initial Digit Time Out Event");
        return;
    }
    CriticalSection lock(m_serviceLock);
    if (m_dialler != nullptr) {
        m_dialler->handleInitialDigitTimeout(m_latestDialledDigits);
    } else {
        DAS_LOG(kLogError, "No Dialler to receive Initial Digit Time Out Event");
    }
}

void DigitAnalysisService::resetAutoDialTimer()
{
    if (isVariant3Or4()) beginTimer(&m_autoDialTimer);
}

// ---------------------------------------------------------------------------------------
// Dialling session
// ---------------------------------------------------------------------------------------

namespace {

const char* trueOrFalse(bool flag) { return flag ? "true" : "false"; }

const void* asPointer(const DigitAnalysisServiceEventIfc* observer) { return static_cast<const void*>(observer); }

}  // namespace

void DigitAnalysisService::startDialling(const std::string& line, DigitAnalysisServiceEventIfc* pEventObserver,
                                         bool isFollowOnCall)
{
    (void)pEventObserver;
    DAS_TRACE("startDialling(pEventObserver)");
    {
        CriticalSection lock(m_serviceLock);
        m_dialTonePendingAfterStart = true;
    }
    startDialling(line, isFollowOnCall);
    CriticalSection lock(m_serviceLock);
    // A hot or warm call placed during the start has stopped the tone and cleared the flag.
    if (m_softwareType == 1 && m_dialler != nullptr && m_dialTonePendingAfterStart) playDialTone();
    m_dialTonePendingAfterStart = false;
}

void DigitAnalysisService::startDialling(const std::string& line, bool isFollowOnCall)
{
    DAS_TRACE("startDialling %s", line.c_str());
    CriticalSection lock(m_serviceLock);
    if (m_dialPlan != nullptr) m_dialPlan->setOnhookDialling(m_onHookDialling);
    if (m_callContextProvider != nullptr) DAS_TRACE("Call Context Provider: %p", asPointer(m_callContextProvider));
    if (m_dialler == nullptr) DAS_LOG(kLogError, "No CallView dialler has been set yet!");
    m_latestDialledDigits.clear();

    if (isSoftwareType2Or3()) {
        DigitAnalysisServiceEventIfc* listener = m_callContextProvider != nullptr ? m_callContextProvider : m_dialler;
        if (listener != nullptr) listener->handleDialingStarted(line);
        if (isVariant3Or4()) beginTimer(&m_autoDialTimer);
        return;
    }

    m_startDigits = line;
    CallPartyIdentifier noParty;
    if (m_callContextProvider != nullptr) {
        DAS_TRACE("startDialling - Call context provide exists, get Dial party details");
        beginTimer(&m_partyDetailsTimer);
        m_callContextProvider->getDialPartyDetails(noParty);
    } else {
        DAS_TRACE("startDialling - Call context provider not exist, continue with no Dial party details");
        dialPartyDetailsResponse(noParty, false, isFollowOnCall);
    }
}

void DigitAnalysisService::startOnHookDialling(DigitAnalysisServiceEventIfc* pEventObserver)
{
    (void)pEventObserver;
    startOnHookDialling();
}

void DigitAnalysisService::startOnHookDialling()
{
    DAS_TRACE("startOnHookDialling()");
    {
        CriticalSection lock(m_serviceLock);
        m_onHookDialling = true;
    }
    startDialling("", false);
    CriticalSection lock(m_serviceLock);
    m_onHookDialling = false;
}

void DigitAnalysisService::startBlindTransferDialling()
{
    DAS_TRACE("startBlindTransferDialling()");
    {
        CriticalSection lock(m_serviceLock);
        m_blindTransferDialling = true;
    }
    startOnHookDialling();
}

void DigitAnalysisService::dialPartyDetailsResponse(CallPartyIdentifier& identifier, bool dialPartyDetailsValid,
                                                    bool isFollowOnCall)
{
    DAS_TRACE("dialPartyDetailsResponse, dialPartyDetailsValid: %d, isFollowOnCall: %d",
              static_cast<int>(dialPartyDetailsValid), static_cast<int>(isFollowOnCall));
    CriticalSection lock(m_serviceLock);
    endTimer(&m_partyDetailsTimer);
    if (m_dialler == nullptr || m_teamService == nullptr) return;

    if (dialPartyDetailsValid) {
        std::string party;
        identifier.serialize(party);
        DAS_TRACE("dialPartyDetailsResponse: %s", party.c_str());
        m_dialler->handleDialingStarted(m_startDigits, identifier);
    } else if (m_startDigits.empty()) {
        m_dialler->handleDialingStarted(m_startDigits);
    } else {
        if (placeHotOrWarmCall(identifier, isFollowOnCall)) return;
        m_dialler->handleDialingStarted(m_startDigits);
    }
    m_startDigits.clear();
    beginTimer(&m_initialDigitTimer);
}

namespace {

// Which call, if any, a start of dialling turns into.
enum class HotWarmCall { None, HotPhone, WarmPhone, HotLine, WarmLine };

// The phone-level setting counts only with digits to dial.
enum class PhoneSetting { None, Hot, Warm };

PhoneSetting phoneSetting(int hotWarmPhoneType, const std::string& hotWarmPhoneDigits)
{
    if (hotWarmPhoneDigits.empty()) return PhoneSetting::None;
    if (hotWarmPhoneType == 1) return PhoneSetting::Hot;
    if (hotWarmPhoneType == 2) return PhoneSetting::Warm;
    return PhoneSetting::None;
}

// Line types: 1 and 3 hot line, 2 and 4 warm line (3 and 4 over the phone setting),
// 5 suppresses the phone setting. A follow-on call never becomes a hot phone call.
HotWarmCall decideHotWarmCall(int lineType, bool hasDestination, PhoneSetting phone, bool isFollowOnCall)
{
    const bool hotPhoneApplies = phone == PhoneSetting::Hot && !isFollowOnCall;
    if (lineType == 0) {
        if (hotPhoneApplies) return HotWarmCall::HotPhone;
        if (phone == PhoneSetting::Warm) return HotWarmCall::WarmPhone;
        return HotWarmCall::None;
    }
    if (!hasDestination) {
        if (hotPhoneApplies && lineType != 5) return HotWarmCall::HotPhone;
        if (phone == PhoneSetting::Warm && lineType != 5) return HotWarmCall::WarmPhone;
        return HotWarmCall::None;
    }
    if (lineType == 3) return HotWarmCall::HotLine;
    if (lineType == 4) return HotWarmCall::WarmLine;
    if (phone == PhoneSetting::Hot) {
        if (lineType != 5 && !isFollowOnCall) return HotWarmCall::HotPhone;
        if (lineType == 1) return HotWarmCall::HotLine;
        if (lineType == 2) return HotWarmCall::WarmLine;
        return HotWarmCall::None;
    }
    if (phone == PhoneSetting::Warm) return lineType != 5 ? HotWarmCall::WarmPhone : HotWarmCall::None;
    if (lineType == 1) return HotWarmCall::HotLine;
    if (lineType == 2) return HotWarmCall::WarmLine;
    return HotWarmCall::None;
}

constexpr const char* kNoDestination = "??";

}  // namespace

bool DigitAnalysisService::placeHotOrWarmCall(const CallPartyIdentifier& identifier, bool isFollowOnCall)
{
    const std::string line = m_startDigits;
    const int lineType = m_teamService->getHotWarmLineType(line);
    std::string destination = kNoDestination;
    if (lineType != 0) {
        destination = m_teamService->getHotWarmLineDestination(line);
        if (destination == kNoDestination) DAS_LOG(kLogWarning, "No destination programmed for Hot or Warm Line");
    }
    const std::string phoneDigits = m_hotWarmPhoneDigits;
    switch (decideHotWarmCall(lineType, destination != kNoDestination,
                              phoneSetting(m_hotWarmPhoneType, m_hotWarmPhoneDigits), isFollowOnCall)) {
    case HotWarmCall::HotPhone:
        DAS_TRACE("HOT PHONE call to %s", phoneDigits.c_str());
        makeHotCall(phoneDigits);
        return true;
    case HotWarmCall::WarmPhone:
        DAS_TRACE("Invoked WARM PHONE call to %s", phoneDigits.c_str());
        makeWarmCall(phoneDigits, line, identifier);
        return true;
    case HotWarmCall::HotLine:
        DAS_TRACE("HOT LINE %s call to %s", line.c_str(), destination.c_str());
        makeHotCall(destination);
        return true;
    case HotWarmCall::WarmLine:
        DAS_TRACE("Invoked WARM LINE %s call to %s", line.c_str(), destination.c_str());
        makeWarmCall(destination, line, identifier);
        return true;
    case HotWarmCall::None:
        break;
    }
    return false;
}

void DigitAnalysisService::clearSession()
{
    m_blindTransferDialling = false;
    m_latestDialledDigits.clear();
}

void DigitAnalysisService::keepDigits(std::string* digits)
{
    m_latestDialledDigits = *digits;
    digits->clear();
}

void DigitAnalysisService::discardDigits(std::string* digits)
{
    digits->clear();
    m_latestDialledDigits.clear();
}

void DigitAnalysisService::updateDialPlanTimer(unsigned int seconds)
{
    const int duration = static_cast<int>(seconds * 1000u);
    if (m_dialPlanTimer.duration == duration) return;
    m_dialPlanTimer.duration = duration;
    if (!makeTimer(&m_dialPlanTimer)) DAS_LOG(kLogError, "Could not update the value of the dial plan timer!");
}

int DigitAnalysisService::dialPlanAction(std::string* digits, unsigned int* timer)
{
    return m_dialPlan != nullptr ? m_dialPlan->getAction(digits, timer) : DIAL_PLAN_ACTION_UNDEFINED;
}

int DigitAnalysisService::dialString(std::string* digits, bool complete, DigitAnalysisServiceEventIfc* pEventObserver)
{
    (void)pEventObserver;
    if (digits == nullptr) return eMatchNone;
    DAS_TRACE("dialString (digits = %s,complete = %s,pEventObserver )", digits->c_str(), trueOrFalse(complete));
    CriticalSection lock(m_serviceLock);
    if (m_dialler == nullptr) {
        DAS_TRACE("dialString (- ERROR - NO Dialler");
        return eMatchNone;
    }
    if (isSoftwareType2Or3()) {
        if (!complete) return eMatchNone;
        DAS_TRACE("return value = eMatchFull");
        return eMatchFull;
    }

    if (digits->empty()) {
        if (!m_blindTransferDialling) playDialTone();
        endTimer(&m_autoDialTimer);
        endTimer(&m_dialPlanTimer);
        beginTimerHeld(&m_initialDigitTimer);
    } else {
        stopDialToneHeld();
        endTimer(&m_initialDigitTimer);
        endTimer(&m_extendedInitialDigitTimer);
    }

    if (digitsMatchEmergencyNumberHeld(*digits) == eMatchEmergencyNumber) {
        if (m_phoneLockActive) return eMatchEmergencyNumber;
        endTimer(&m_autoDialTimer);
        clearSession();
        DAS_TRACE("return value = eMatchFull");
        return eMatchFull;
    }
    return m_phoneLockActive ? dialStringLocked(digits, complete) : dialStringUnlocked(digits, complete);
}

int DigitAnalysisService::dialStringUnlocked(std::string* digits, bool complete)
{
    unsigned int timer = 0;
    if (complete) {
        dialPlanAction(digits, &timer);  // only for its clean-up of the digits
        endTimer(&m_autoDialTimer);
        endTimer(&m_dialPlanTimer);
        clearSession();
        DAS_TRACE("return value = eMatchFull");
        return eMatchFull;
    }
    if (digits->empty()) {
        keepDigits(digits);
        DAS_TRACE("return value = eMatchNone");
        return eMatchNone;
    }

    const int action = dialPlanAction(digits, &timer);
    switch (action) {
    case DIAL_PLAN_ACTION_START_TIMER:
    case DIAL_PLAN_ACTION_START_TIMER_EMERGENCY:
    case DIAL_PLAN_ACTION_START_TIMER_LOCKBYPASS:
        if (m_autoDialTimer.timerRunning) endTimer(&m_autoDialTimer);
        updateDialPlanTimer(timer);
        beginTimerHeld(&m_dialPlanTimer);
        keepDigits(digits);
        DAS_TRACE("return value = eMatchNone");
        return eMatchNone;
    default:
        break;
    }
    // A lock-bypass number on an unlocked phone is sent at once only with immediate dialling.
    const bool send = action == DIAL_PLAN_ACTION_SEND || action == DIAL_PLAN_ACTION_SEND_EMERGENCY ||
                      (action == DIAL_PLAN_ACTION_SEND_LOCKBYPASS && m_dialPlan->getImmediateDiallingEnabled());
    if (send) {
        if (m_autoDialTimer.timerRunning) endTimer(&m_autoDialTimer);
        if (m_dialPlanTimer.timerRunning) endTimer(&m_dialPlanTimer);
        clearSession();
        DAS_TRACE("return value = eMatchFull");
        return eMatchFull;
    }
    if (m_dialPlanTimer.timerRunning) endTimer(&m_dialPlanTimer);
    beginTimerHeld(&m_autoDialTimer);
    keepDigits(digits);
    DAS_TRACE("return value = eMatchNone");
    return eMatchNone;
}

int DigitAnalysisService::dialStringLocked(std::string* digits, bool complete)
{
    if (m_dialPlan == nullptr || !m_dialPlan->getEnabled()) {
        discardDigits(digits);
        DAS_TRACE("return value = eMatchNone");
        return eMatchNone;
    }
    unsigned int timer = 0;
    if (!complete) {
        switch (dialPlanAction(digits, &timer)) {
        case DIAL_PLAN_ACTION_SEND_EMERGENCY:
        case DIAL_PLAN_ACTION_SEND_LOCKBYPASS:
            if (m_dialPlanTimer.timerRunning) endTimer(&m_dialPlanTimer);
            if (m_autoDialTimer.timerRunning) endTimer(&m_autoDialTimer);
            clearSession();
            DAS_TRACE("return value = eMatchFull");
            m_lockBypassMatch = true;
            return eMatchFull;
        case DIAL_PLAN_ACTION_START_TIMER_EMERGENCY:
        case DIAL_PLAN_ACTION_START_TIMER_LOCKBYPASS:
            if (m_autoDialTimer.timerRunning) endTimer(&m_autoDialTimer);
            updateDialPlanTimer(timer);
            beginTimerHeld(&m_dialPlanTimer);
            keepDigits(digits);
            DAS_TRACE("return value = eMatchNone");
            m_lockBypassMatch = true;
            return eMatchNone;
        default:
            discardDigits(digits);
            DAS_TRACE("return value = eMatchNone");
            m_lockBypassMatch = false;
            return eMatchNone;
        }
    }
    dialPlanAction(digits, &timer);  // only for its clean-up of the digits
    endTimer(&m_autoDialTimer);
    endTimer(&m_dialPlanTimer);
    if (m_lockBypassMatch) {
        clearSession();
        DAS_TRACE("return value = eMatchFull");
        return eMatchFull;
    }
    discardDigits(digits);
    DAS_TRACE("return value = eMatchNone");
    return eMatchNone;
}

int DigitAnalysisService::dialString(std::string* digits, bool complete)
{
    if (digits == nullptr) return eMatchNone;
    DAS_TRACE("dialString (digits %s,complete %s )", digits->c_str(), trueOrFalse(complete));
    if (isSoftwareType2Or3()) return complete ? eMatchFull : eMatchNone;
    CriticalSection lock(m_serviceLock);
    if (digits->empty() && !m_blindTransferDialling) {
        playDialTone();
    } else {
        stopDialTone();
    }
    if (m_phoneLockActive) {
        if (*digits == m_emergencyE164) return eMatchEmergencyNumber;
        digits->clear();
        return eMatchNone;
    }
    if (!complete) {
        keepDigits(digits);
        return eMatchNone;
    }
    return eMatchFull;
}

void DigitAnalysisService::stopDialling(DigitAnalysisServiceEventIfc* pEventObserver)
{
    if (pEventObserver != nullptr) stopDialling();
}

void DigitAnalysisService::stopDialling()
{
    DAS_TRACE("stopDialling()");
    if (isSoftwareType2Or3()) {
        CriticalSection lock(m_serviceLock);
        if (m_callContextProvider != nullptr) {
            m_callContextProvider->handleDialingStopped();
        } else if (m_dialler != nullptr) {
            DAS_TRACE("stopDialling(): call handleDialingStopped");
            m_dialler->handleDialingStopped();
        } else {
            DAS_LOG(kLogError, "No Dialler to receive dialing stopped event");
        }
        if (isVariant3Or4()) endTimer(&m_autoDialTimer);
        return;
    }
    {
        CriticalSection lock(m_serviceLock);
        if (m_dialler != nullptr) {
            m_dialler->handleDialingStopped();
            endTimer(&m_initialDigitTimer);
            endTimer(&m_extendedInitialDigitTimer);
            endTimer(&m_autoDialTimer);
            DAS_TRACE("stopDialling(): clear latestDigits");
            m_latestDialledDigits.clear();
        } else {
            DAS_LOG(kLogError, "No Dialler to receive dialling stopped event");
        }
        m_blindTransferDialling = false;
    }
    stopDialTone();
}

void DigitAnalysisService::suspendDialling()
{
    CriticalSection lock(m_serviceLock);
    if (!m_initialDigitTimer.timerRunning) return;
    endTimer(&m_initialDigitTimer);
    beginTimer(&m_extendedInitialDigitTimer);
}

void DigitAnalysisService::resumeDialling()
{
    CriticalSection lock(m_serviceLock);
    if (!m_extendedInitialDigitTimer.timerRunning) return;
    endTimer(&m_extendedInitialDigitTimer);
    beginTimer(&m_initialDigitTimer);
}

bool DigitAnalysisService::setDialler(DigitAnalysisServiceEventIfc* dialler)
{
    DAS_TRACE("setDialler(DigitAnalysisServiceEventIfc*): %p", asPointer(dialler));
    CriticalSection lock(m_serviceLock);
    if (m_dialler != nullptr) DAS_TRACE("m_dialler is already set");
    m_dialler = dialler;
    return true;
}

bool DigitAnalysisService::setCallContextProvider(DigitAnalysisServiceEventIfc* provider)
{
    {
        CriticalSection lock(m_serviceLock);
        m_callContextProvider = provider;
    }
    DAS_TRACE("setCallContextProvider(%p)", asPointer(provider));
    return true;
}

bool DigitAnalysisService::clearCallContextProvider(DigitAnalysisServiceEventIfc* provider)
{
    DAS_TRACE("clearCallContextProvider(callContextEventObserver): %p", asPointer(provider));
    CriticalSection lock(m_serviceLock);
    if (provider == m_callContextProvider) {
        m_callContextProvider = nullptr;
        return true;
    }
    DAS_TRACE("clearCallContextProvider(callContextEventObserver) : Attempt to clear Call Context Provider (%p) when "
              "Call Context (%p) is not previous setter!",
              asPointer(m_callContextProvider), asPointer(provider));
    return false;
}

void DigitAnalysisService::getLatestDialledDigits(std::string* out)
{
    DAS_TRACE("getLatestDialledDigits");
    if (out == nullptr) return;
    CriticalSection lock(m_serviceLock);
    *out = m_dialler != nullptr ? m_latestDialledDigits : std::string();
}

// ---------------------------------------------------------------------------------------
// Hot line, warm line and dial tone
// ---------------------------------------------------------------------------------------

namespace {

constexpr const char* kDialToneDescription = "<tone><type><basic>dialtone</basic></type></tone>";
constexpr int kPhoneDefault = -1;  // audio path, volume and duration as the phone chooses

}  // namespace

void DigitAnalysisService::makeHotCall(const std::string& digits)
{
    DAS_TRACE("makeHotCall");
    // Ends the session's timers and tone as for a complete number.
    std::string toDial = digits;
    const int match = dialString(&toDial, true, nullptr);
    InterDigitTimeOutEvent event;
    event.setDialString(digits);
    CriticalSection lock(m_serviceLock);
    // A locked phone places no hot call except to an emergency number.
    if (m_dialler != nullptr && (match == eMatchEmergencyNumber || !m_phoneLockActive)) {
        m_dialler->handleInterDigitTimeout(&event);
    }
}

void DigitAnalysisService::makeWarmCall(const std::string& digits, const std::string& line,
                                        CallPartyIdentifier identifier)
{
    (void)identifier;
    DAS_TRACE("makeWarmCall");
    CriticalSection lock(m_serviceLock);
    if (!m_phoneLockActive || digitsMatchEmergencyNumber(digits) == eMatchEmergencyNumber) {
        m_latestDialledDigits = digits;
    } else {
        DAS_TRACE("makeWarmCall digitsToDial reset, because phone is locked");
        m_latestDialledDigits.clear();
    }
    // The warm call itself is the Initial Digit expiry, carrying the latest digits.
    endTimer(&m_autoDialTimer);
    beginTimer(&m_initialDigitTimer);
    if (m_dialler != nullptr) m_dialler->handleDialingStarted(line);
}

// Both tone operations take the service lock before the dial-tone lock. The look-up of the
// media control service (findMCS) takes the service lock while the dial-tone lock is held;
// since the caller then already holds the service lock, that only re-enters it and never
// waits, so no thread can hold the dial-tone lock while waiting for the service lock.
void DigitAnalysisService::playDialTone()
{
    CriticalSection serviceLock(m_serviceLock);
    CriticalSection toneLock(m_dialToneLock);
    if (m_dialTonePlaying) return;
    DAS_TRACE("playDialTone()");
    if (m_mediaControlService == nullptr) findMCS();
    if (m_mediaControlService == nullptr) return;
    m_mediaControlService->playTone(kDialToneDescription, kPhoneDefault, kPhoneDefault, kPhoneDefault);
    m_dialTonePlaying = true;
}

void DigitAnalysisService::stopDialTone()
{
    CriticalSection serviceLock(m_serviceLock);
    stopDialToneHeld();
}

void DigitAnalysisService::stopDialToneHeld()
{
    CriticalSection toneLock(m_dialToneLock);
    if (m_dialTonePlaying) {
        DAS_TRACE("stopDialTone()");
        if (m_mediaControlService == nullptr) findMCS();
        if (m_mediaControlService == nullptr) {
            m_dialTonePendingAfterStart = false;
            return;
        }
        m_mediaControlService->stopTone(kDialToneDescription);
        m_dialTonePlaying = false;
    }
    m_dialTonePendingAfterStart = false;
}

// ---------------------------------------------------------------------------------------
// Digit string utilities
// ---------------------------------------------------------------------------------------

namespace {

// Whether `text` holds `piece` at `at` (`at` is at most its length).
bool holdsAt(const std::string& text, std::size_t at, const std::string& piece)
{
    return piece.size() <= text.size() - at && std::memcmp(text.data() + at, piece.data(), piece.size()) == 0;
}

// True when `prefix` is not empty and `text` begins with it.
bool startsWith(const std::string& text, const std::string& prefix) { return !prefix.empty() && holdsAt(text, 0, prefix); }

// startsWith of the pieces joined, without making the joined string: the conversions try
// up to fourteen prefixes made of their settings for every number.
bool startsWithJoined(const std::string& text, std::initializer_list<const std::string*> pieces)
{
    std::size_t at = 0;
    for (const std::string* piece : pieces) {
        if (!holdsAt(text, at, *piece)) return false;
        at += piece->size();
    }
    return at > 0;
}

// Whether `text` is `first` followed by `second`.
bool equalsJoined(const std::string& text, const std::string& first, const std::string& second)
{
    return text.size() == first.size() + second.size() && holdsAt(text, 0, first) && holdsAt(text, first.size(), second);
}

bool isLetter(char c) { return std::isalpha(static_cast<unsigned char>(c)) != 0; }

bool beginsWithFeatureAccessCode(const std::string& text)
{
    return !text.empty() && (text[0] == '#' || text[0] == '*');
}

bool isUnnamedCaller(const std::string& number) { return number == "NoNumberProvided" || number == "anonymous"; }

// The minimum local number length as a base-10 number (text that is no number reads as 0).
// Kept within +-1e9 so that adding a string length can never overflow; no dialled string
// comes near that length, so every comparison gives what the unbounded value would.
long long minimumLength(const std::string& text)
{
    constexpr long long kBound = 1000000000LL;
    const long long value = std::strtol(text.c_str(), nullptr, 10);
    return std::max(-kBound, std::min(kBound, value));
}

long long lengthOf(const std::string& text) { return static_cast<long long>(text.size()); }

// The telephone keypad digit of an upper-case letter.
char keypadDigit(char letter)
{
    static const char kDigits[] = "22233344455566677778889999";
    return kDigits[letter - 'A'];
}

}  // namespace

void DigitAnalysisService::convertAlphaToNumeric(std::string& text, bool& converted)
{
    DAS_TRACE("convertAlphaToNumeric");
    converted = false;
    for (char& c : text) {
        if (c == '<' || c == '[' || c == '{') {
            c = '(';
        } else if (c == '>' || c == ']' || c == '}') {
            c = ')';
        } else if (c >= 'A' && c <= 'Z') {
            c = keypadDigit(c);
            converted = true;
        }
    }
}

bool DigitAnalysisService::remove(std::string& text, const std::string& toRemove)
{
    const std::string::size_type position = text.find(toRemove);
    if (position == std::string::npos) return false;
    text.erase(position, toRemove.size());
    return true;
}

bool DigitAnalysisService::replace(std::string& text, const std::string& toFind, const std::string& replacement)
{
    const std::string::size_type position = text.find(toFind);
    if (position == std::string::npos) return false;
    remove(text, toFind);
    text.insert(position, replacement);
    return true;
}

void DigitAnalysisService::removePunctuation(std::string& text)
{
    DAS_TRACE("removePunctuation");
    numbertext::removePunctuation(text);
}

void DigitAnalysisService::copyWithoutPunctuation(const std::string& from, std::string& to)
{
    DAS_TRACE("removePunctuation");
    numbertext::copyWithoutPunctuation(from, to);
}

void DigitAnalysisService::removeUnwantedChars(std::string& text)
{
    DAS_TRACE("removeUnwantedChars");
    numbertext::keepDialable(text);
}

std::string DigitAnalysisService::getToken(const std::string& list, std::string::size_type& position)
{
    DAS_TRACE("getToken()");
    position = std::min(position, list.size());
    while (position < list.size() && list[position] == ',') ++position;
    std::string token;
    while (position < list.size() && list[position] != ',') token += list[position++];
    if (position < list.size()) ++position;  // step over the comma that ended the token
    return token;
}

// The list is taken by value, as the operation is defined.
// cppcheck-suppress passedByValue
void DigitAnalysisService::tokenize(std::string list, std::vector<std::string>& tokens)
{
    DAS_TRACE("tokenize(%s)", list.c_str());
    std::string::size_type position = 0;
    for (std::string token = getToken(list, position); !token.empty(); token = getToken(list, position)) {
        tokens.push_back(token);
    }
}

bool DigitAnalysisService::prefixMatchesList(const std::string& number, const std::string& list, std::string& matched)
{
    matched.clear();
    if (list.empty()) return false;
    // Without trace logging nothing of the steps below is seen but the result: the list is
    // read where it stands, without the copies of the tokens.
    if (!loggingOnAppVex(kDasLogComponent, kLogTrace)) return numbertext::firstListEntryBeginning(number, list, matched);
    std::vector<std::string> entries;
    tokenize(list, entries);
    bool found = false;
    for (std::string& entry : entries) {
        removePunctuation(entry);
        if (startsWith(number, entry)) {
            matched = entry;
            found = true;
            break;  // the first entry in list order wins, not the longest
        }
    }
    DAS_TRACE("prefixMatchesList %s in %s result=%d (%s)", number.c_str(), list.c_str(), found ? 1 : 0,
              matched.c_str());
    return found;
}

bool DigitAnalysisService::isCountryCodeNationalCodeLocalEnterpriseNode(const std::string& number) const
{
    if (m_TextCountryCode.empty() || m_TextLocalEnterpriseNode.empty()) return false;
    // The middle piece is the area code: the node prefix is country, area, node.
    return startsWith(number, m_TextCountryCode + m_TextAreaCode + m_TextLocalEnterpriseNode);
}

// ---------------------------------------------------------------------------------------
// Emergency, lock-bypass and feature access code numbers
// ---------------------------------------------------------------------------------------

namespace {

// Appends `entries` to a comma list, with a comma only between entries.
void appendToList(std::string& list, const std::string& entries)
{
    if (entries.empty()) return;
    if (!list.empty()) list += ",";
    list += entries;
}

// Every piece of the list counts, empty ones included, so "112,,911" lets empty digits
// through; a list without a comma only matches when it is not empty.
bool matchesEmergencyNumberExactly(const std::string& digits, const std::string& e164, const std::string& list)
{
    if (!e164.empty() && e164 == digits) return true;
    if (list.find(',') == std::string::npos) return !list.empty() && list == digits;
    std::string::size_type start = 0;
    for (;;) {
        const std::string::size_type comma = list.find(',', start);
        if (list.compare(start, comma == std::string::npos ? std::string::npos : comma - start, digits) == 0)
            return true;
        if (comma == std::string::npos) return false;
        start = comma + 1;
    }
}

}  // namespace

bool DigitAnalysisService::isEmergencyNumber(std::string& number, bool exactMatch)
{
    // An empty dial string is never to be refused because the phone is locked.
    if (number.empty()) return true;
    std::string emergencyNumbers;
    getEmergencyNumbersDialString(&emergencyNumbers);
    std::string matched;
    const bool found = prefixMatchesList(number, emergencyNumbers, matched);
    if (!exactMatch) return found;
    // Only the first entry that begins the number is compared: an earlier, shorter entry
    // hides a later one equal to the number.
    return found && matched == number;
}

int DigitAnalysisService::digitsMatchEmergencyNumber(const std::string& digits)
{
    CriticalSection lock(m_serviceLock);
    return digitsMatchEmergencyNumberHeld(digits);
}

int DigitAnalysisService::digitsMatchEmergencyNumberHeld(const std::string& digits)
{
    if (matchesEmergencyNumberExactly(digits, m_emergencyE164, m_TextEmergencyNumber)) {
        DAS_TRACE("return value = eMatchEmergencyNumber");
        return eMatchEmergencyNumber;
    }
    return eMatchNone;
}

void DigitAnalysisService::getEmergencyNumberDialString(std::string* out)
{
    DAS_TRACE("getEmergencyNumberDialString");
    CriticalSection lock(m_serviceLock);
    *out = m_emergencyE164;
}

void DigitAnalysisService::getCanonicalDialEmergencyNumbersString(std::string* out)
{
    DAS_TRACE("getCanonicalDialEmergencyNumbersString");
    CriticalSection lock(m_serviceLock);
    *out = m_TextEmergencyNumber;
}

void DigitAnalysisService::getEmergencyNumbersDialString(std::string* out)
{
    DAS_TRACE("getEmergencyNumbersDialString");
    std::string dialPlanNumbers;
    {
        CriticalSection lock(m_serviceLock);
        if (!m_emergencyE164.empty()) *out = m_emergencyE164;
        appendToList(*out, m_TextEmergencyNumber);
        if (m_dialPlan != nullptr) dialPlanNumbers = m_dialPlan->getEmergencyNumbers();
    }
    appendToList(*out, dialPlanNumbers);
    DAS_TRACE("list of emergency numbers: %s", out->c_str());
}

void DigitAnalysisService::getLockBypassNumbersDialString(std::string* out)
{
    DAS_TRACE("getLockBypassNumbersDialString");
    std::string dialPlanNumbers;
    {
        CriticalSection lock(m_serviceLock);
        if (m_dialPlan != nullptr) dialPlanNumbers = m_dialPlan->getLockBypassNumbers();
    }
    appendToList(*out, dialPlanNumbers);
    DAS_TRACE("list of lock bypass numbers: %s", out->c_str());
}

bool DigitAnalysisService::isLockBypass(std::string& number)
{
    CriticalSection lock(m_serviceLock);
    return m_dialPlan != nullptr && m_dialPlan->isLockBypass(number);
}

void DigitAnalysisService::setFACPrefixes(const std::string& prefixes)
{
    // Blanks separate prefixes as commas do.
    std::string separated = prefixes;
    std::replace(separated.begin(), separated.end(), ' ', ',');
    CriticalSection lock(m_serviceLock);
    m_facPrefixes.clear();
    std::string::size_type position = 0;
    while (position < separated.size()) {
        const std::string::size_type comma = std::min(separated.find(',', position), separated.size());
        if (comma > position) m_facPrefixes.push_back(separated.substr(position, comma - position));
        position = comma + 1;
    }
}

bool DigitAnalysisService::isFACPrefix(const std::string& number)
{
    CriticalSection lock(m_serviceLock);
    for (const std::string& prefix : m_facPrefixes) {
        if (prefix.size() <= number.size() && number.compare(0, prefix.size(), prefix) == 0) return true;
    }
    return false;
}

DAS_COLD void DigitAnalysisService::extractFACPrefixNumbers()
{
    DAS_TRACE("extractFACPrefixNumbers");
    std::string prefixes;
    if (querySingleItem(das_keys::kFacPrefixNumbers, das_keys::kFacPrefixNumbers, prefixes)) setFACPrefixes(prefixes);
}

// ---------------------------------------------------------------------------------------
// Canonical conversion
// ---------------------------------------------------------------------------------------

// The canonical conversion of one number: the working strings of one call and its steps.
// It reads the service's canonical dial settings while the caller holds the service lock.
class DigitAnalysisService::CanonicalConversion {
public:
    CanonicalConversion(DigitAnalysisService& service, const std::string& input)
        : m_service(service),
          m_input(input),
          L(service.m_TextLocalCallPrefix),
          I(service.m_TextInternationalPrefix),
          C(service.m_TextCountryCode),
          N(service.m_TextNationalPrefix),
          A(service.m_TextAreaCode),
          E(service.m_TextLocalEnterpriseNode),
          M(minimumLength(service.m_TextMinLocalNumberLength))
    {
    }

    bool run(std::string& number);

private:
    DigitAnalysisService& m_service;
    // The caller's number: read only before it is given its result at the very end.
    const std::string& m_input;
    const std::string& L;
    const std::string& I;
    const std::string& C;
    const std::string& N;
    const std::string& A;
    const std::string& E;
    const long long M;

    std::string W;  // the working string
    std::string S;  // W as it was after cleaning
    std::string m_changesMade;
    bool m_alpha = false;
    bool m_restricted = false;

    // The steps that read the service's settings run inside convertToCanonical, under the
    // service lock; the analysis cannot tie m_service's lock to the caller's, so they are
    // not analysed.
    bool refused() DAS_NO_THREAD_SAFETY_ANALYSIS;
    bool exactListMatch(const std::string& list);
    void clean();
    void removeBracketedZeroOfForeignNumber() DAS_NO_THREAD_SAFETY_ANALYSIS;
    bool finishInternationalForm(std::string& number);
    void applyGeneralRules() DAS_NO_THREAD_SAFETY_ANALYSIS;
    // What a general rule puts in place of the prefix it found: "+", "+" and the country
    // code, or those and the area code.
    enum Replacement { kPlusOnly, kCountry, kCountryAndArea };
    void applyRule(std::size_t prefixLength, Replacement by, const char* code);
    void applyUsRules();
    void applyNorthAmericanPlan(long long trueLength);
    void usConversionFailed();
    bool outcome(std::string& number) DAS_NO_THREAD_SAFETY_ANALYSIS;
    bool applyLocalCodeLookup(std::string& number) DAS_NO_THREAD_SAFETY_ANALYSIS;
    void logWorkingString() { DAS_TRACE("convertToCanonical() - working string='%s'.", W.c_str()); }
};

bool DigitAnalysisService::convertToCanonical(std::string& number)
{
    DAS_TRACE("+++ convertToCanonical(%s)", number.c_str());
    if (number.empty()) return false;
    CriticalSection lock(m_serviceLock);
    CanonicalConversion conversion(*this, number);
    return conversion.run(number);
}

bool DigitAnalysisService::CanonicalConversion::run(std::string& number)
{
    if (refused()) return false;
    clean();
    if (startsWith(W, "+")) return finishInternationalForm(number);
    logWorkingString();
    S = W;
    if (C == "1") {
        applyUsRules();
    } else {
        applyGeneralRules();
    }
    return outcome(number);
}

// The guards, in order; true when one of them ends the conversion.
bool DigitAnalysisService::CanonicalConversion::refused()
{
    if (!m_service.m_canonicalDataValid) {
        DAS_TRACE(
            "convertToCanonical() - no conversion possible as no valid Canonical Parameters have been "
            "loaded. Output string is '%s'.",
            m_input.c_str());
        return true;
    }
    if (C.empty()) {
        DAS_TRACE(
            "convertToCanonical() - no conversion possible as Country Code parameter is undefined. "
            "Output string is '%s'.",
            m_input.c_str());
        return true;
    }
    if (isUnnamedCaller(m_input)) {
        DAS_TRACE("convertToCanonical() - nothing to convert '%s'.", m_input.c_str());
        return true;
    }
    if (m_service.m_ringCentralServer && isLetter(m_input[0])) {
        DAS_TRACE(
            "convertToCanonical() - no conversion for alpha-numeric Ring Central URI's. Output string "
            "is '%s'.",
            m_input.c_str());
        return true;
    }
    m_service.copyWithoutPunctuation(m_input, W);
    if (W.empty()) {
        DAS_TRACE(
            "convertToCanonical() - no conversion possible as true digit length of input string is "
            "one. Output string is '%s'.",
            m_input.c_str());
        return true;
    }
    if (beginsWithFeatureAccessCode(W)) {
        DAS_TRACE(
            "convertToCanonical() - no conversion possible as a Feature Access Code is found. Output "
            "string is '%s'.",
            m_input.c_str());
        return true;
    }
    if (exactListMatch(m_service.m_TextOperatorCode)) {
        DAS_TRACE(
            "convertToCanonical() - exact match to Operator Number found, therefore no conversion. "
            "Output string is '%s'.",
            m_input.c_str());
        return true;
    }
    if (exactListMatch(m_service.m_TextEmergencyNumber)) {
        DAS_TRACE(
            "convertToCanonical() - exact match to Emergency Number found - therefore no conversion. "
            "Output string is '%s'.",
            m_input.c_str());
        return true;
    }
    return false;
}

bool DigitAnalysisService::CanonicalConversion::exactListMatch(const std::string& list)
{
    std::string matched;
    return m_service.prefixMatchesList(W, list, matched) && matched == W;
}

void DigitAnalysisService::CanonicalConversion::clean()
{
    m_service.convertAlphaToNumeric(W, m_alpha);
    logWorkingString();
    // The own country code followed by the national prefix in brackets: 49(0)89...
    if (W.find('(') != std::string::npos && W.find(C + "(" + N + ")") != std::string::npos) {
        m_service.remove(W, "(" + N + ")");
    }
    removeBracketedZeroOfForeignNumber();
    m_service.removeUnwantedChars(W);
    logWorkingString();
}

// A foreign number keeps no bracketed "(0)"; whether it is foreign is judged on a copy
// given its leading "+" as the international prefix would give it.
void DigitAnalysisService::CanonicalConversion::removeBracketedZeroOfForeignNumber()
{
    if (W.find("(0)") == std::string::npos) return;  // nothing to remove, whatever the number
    std::string preview = W;
    if (!L.empty() && !I.empty() && startsWith(preview, L + I)) {
        m_service.replace(preview, L + I, "+");
    } else if (startsWith(preview, I)) {
        // The three cases follow the rule as it is worded; two of them act alike.
        // NOLINTNEXTLINE(bugprone-branch-clone)
        if (L + N != I) {
            m_service.replace(preview, I, "+");
        } else if (!m_service.m_ChkExpectDialNum && startsWith(preview, I + C)) {
            m_service.replace(preview, I, "+");
        } else {
            m_service.replace(preview, I, "+" + C);
        }
    }
    if (startsWith(preview, "+") && preview.find("+" + C) == std::string::npos) m_service.remove(W, "(0)");
}

bool DigitAnalysisService::CanonicalConversion::finishInternationalForm(std::string& number)
{
    const std::string withNationalPrefix = "+" + C + N + A;
    if (startsWith(W, withNationalPrefix) && lengthOf(W) >= M + lengthOf(withNationalPrefix)) {
        m_service.replace(W, withNationalPrefix, "+" + C + A);
        DAS_TRACE(
            "convertToCanonical() - National prefix present without brackets - just removed it. Output "
            "string is '%s'.",
            W.c_str());
    }
    logWorkingString();
    number = W;
    DAS_TRACE("--- convertToCanonical()");
    return true;
}

void DigitAnalysisService::CanonicalConversion::applyGeneralRules()
{
    const bool hasL = !L.empty(), hasI = !I.empty(), hasN = !N.empty(), hasA = !A.empty();
    const long long length = lengthOf(W);
    const std::size_t l = L.size(), i = I.size(), c = C.size(), n = N.size(), a = A.size();
    if (hasL && hasI && hasN && startsWithJoined(W, {&L, &I, &C, &N})) {
        applyRule(l + i + c + n, kCountry, ",01");
    } else if (hasL && hasI && startsWithJoined(W, {&L, &I, &C})) {
        applyRule(l + i + c, kCountry, ",02");
    } else if (hasI && hasN && startsWithJoined(W, {&I, &C, &N})) {
        applyRule(i + c + n, kCountry, ",03");
    } else if (hasI && startsWithJoined(W, {&I, &C}) && m_service.m_ChkExpectDialNum && equalsJoined(I, L, N)) {
        applyRule(i, kCountry, ",04exp");  // what follows the prefix is taken as a national number
    } else if (hasI && startsWithJoined(W, {&I, &C})) {
        applyRule(i + c, kCountry, ",04");
    } else if (hasL && hasN && hasA && startsWithJoined(W, {&L, &N, &A})) {
        applyRule(l + n + a, kCountryAndArea, ",05");
    } else if (hasN && hasA && startsWithJoined(W, {&N, &A})) {
        applyRule(n + a, kCountryAndArea, ",06");
    } else if (hasL && hasN && m_alpha && startsWithJoined(W, {&L, &N})) {
        applyRule(l + n, kCountry, ",07");
    } else if (hasN && m_alpha && startsWith(W, N)) {
        applyRule(n, kCountry, ",08");
    } else if (hasL && hasI && startsWithJoined(W, {&L, &I})) {
        applyRule(l + i, kPlusOnly, ",09");
    } else if (hasL && hasN && startsWithJoined(W, {&L, &N}) && length > M + 1) {
        applyRule(l + n, kCountry, ",10");
    } else if (hasI && startsWith(W, I) && length >= lengthOf(I) + 6) {
        applyRule(i, kPlusOnly, ",11");
    } else if (hasL && startsWith(W, L) && length > M) {
        applyRule(l, kCountryAndArea, ",12");
    } else if (hasN && startsWith(W, N) && length > M + 2) {
        applyRule(n, kCountry, ",13");
    } else if (m_service.isCountryCodeNationalCodeLocalEnterpriseNode(W)) {
        W.insert(0, "+");
        m_changesMade += ",14";
    }
}

// Each rule replaces the prefix W was found to begin with; the first occurrence of the
// prefix, which a replacement of it would find, is that one.
void DigitAnalysisService::CanonicalConversion::applyRule(std::size_t prefixLength, Replacement by, const char* code)
{
    std::string replacement = "+";
    if (by != kPlusOnly) replacement += C;
    if (by == kCountryAndArea) replacement += A;
    W.replace(0, prefixLength, replacement);
    m_changesMade += code;
}

// The North-American rules. The true digit length counts what stands before a "#" or "*".
void DigitAnalysisService::CanonicalConversion::applyUsRules()
{
    m_restricted = true;
    long long trueLength = static_cast<long long>(std::min(W.find_first_of("#*"), W.size()));
    if (!I.empty()) {
        bool erased = false;
        if (startsWithJoined(W, {&L, &I})) {
            W.erase(0, L.size() + I.size());
            trueLength -= lengthOf(L) + lengthOf(I);
            erased = true;
        } else if (L != I && startsWith(W, I)) {
            W.erase(0, I.size());
            trueLength -= lengthOf(I);
            erased = true;
        }
        if (erased) {
            if (startsWith(W, "1")) {
                applyNorthAmericanPlan(trueLength);
            } else if (trueLength < 6) {
                usConversionFailed();
            } else {
                W.insert(0, "+");
                m_changesMade += ",us00";
            }
            return;
        }
    }
    if (startsWith(W, L)) {
        W.erase(0, L.size());
        trueLength -= lengthOf(L);
    } else if (trueLength < M) {
        return;
    }
    applyNorthAmericanPlan(trueLength);
}

void DigitAnalysisService::CanonicalConversion::applyNorthAmericanPlan(long long trueLength)
{
    if (trueLength == 7 && A.size() == 3) {
        W = "+1" + A + W;
        m_changesMade += ",us01";
    } else if (trueLength == 10) {
        W = "+1" + W;
        m_changesMade += ",us02";
    } else if (startsWith(W, "1") && trueLength == 11) {
        W = "+" + W;
        m_changesMade += ",us03";
    } else {
        usConversionFailed();
    }
}

void DigitAnalysisService::CanonicalConversion::usConversionFailed()
{
    W = S;
    DAS_TRACE("convertToCanonical() - U.S. canonical conversion failed = '%s'.", W.c_str());
}

bool DigitAnalysisService::CanonicalConversion::outcome(std::string& number)
{
    DAS_TRACE("convertToCanonical() - working string='%s', changesMade='%s'.", W.c_str(), m_changesMade.c_str());
    if (W != S) {
        number = W;
        DAS_TRACE("--- convertToCanonical()");
        return true;
    }
    // No rule applied: an internal number.
    std::string matched;
    if (m_service.prefixMatchesList(W, m_service.m_TextExtensionInitialDigits, matched)) {
        W = E + W;
        logWorkingString();
    }
    logWorkingString();
    if (applyLocalCodeLookup(number)) return true;
    if (!m_restricted && lengthOf(W) >= M) {
        W = "+" + C + A + W;
        logWorkingString();
        number = W;
        return true;
    }
    logWorkingString();
    if (W == m_input) {
        DAS_TRACE("No conversion occurred. Output string is '%s'", W.c_str());
        return false;
    }
    number = W;
    DAS_TRACE("Minor formatting conversion occurred. Output string is '%s'", W.c_str());
    return true;
}

// The longest local code that begins W is replaced by its international code; among
// equal codes the first in the table wins.
bool DigitAnalysisService::CanonicalConversion::applyLocalCodeLookup(std::string& number)
{
    const std::pair<const std::string, std::string>* best = nullptr;
    for (const auto& entry : m_service.m_localCodeLookup) {
        if (startsWith(W, entry.first) && (best == nullptr || entry.first.size() > best->first.size())) best = &entry;
    }
    if (best == nullptr) return false;
    m_service.replace(W, best->first, best->second);
    number = W;
    DAS_TRACE("convertToCanonical() - string contained Local Node as a prefix. Output string is now '%s'.", W.c_str());
    return true;
}

// ---------------------------------------------------------------------------------------
// Local dialable conversion and diagnostic calls
// ---------------------------------------------------------------------------------------

bool DigitAnalysisService::convertCanonicalToLocalDialable(std::string& number)
{
    DAS_TRACE("convertCanonicalToLocalDialable() - input string is '%s'", number.c_str());
    if (number.empty()) return false;
    if (number[0] != '+') {
        DAS_TRACE(
            "convertCanonicalToLocalDialable() - no conversion as string does not begin with '+'. Output "
            "string is '%s'",
            number.c_str());
        return false;
    }
    std::string output = number;
    {
        CriticalSection lock(m_serviceLock);
        if (!dialOwnNetworkForm(number, output)) dialOutsideNetworkForm(number, output);
    }
    DAS_TRACE("convertCanonicalToLocalDialable() - output string is '%s'", output.c_str());
    const bool changed = output != number;
    number = output;
    return changed;
}

// Cases a and b: a number of the own network is dialled by its local code. The entry
// with the longest international code wins; among equal lengths the first in key order.
bool DigitAnalysisService::dialOwnNetworkForm(const std::string& number, std::string& output)
{
    if (m_dialInternalForm == 2 || m_localCodeLookup.empty()) return false;
    std::string::size_type bestLength = 0;
    for (const auto& entry : m_localCodeLookup) {
        const std::string& localCode = entry.first;
        const std::string& internationalCode = entry.second;
        if (localCode.empty() || internationalCode.size() <= bestLength || !startsWith(number, internationalCode))
            continue;
        bestLength = internationalCode.size();
        output = number;
        if (m_dialInternalForm == 1) {
            replace(output, internationalCode, localCode);
            DAS_TRACE("convertCanonicalToLocalDialable() - a: input is '%s', output is '%s'.", number.c_str(),
                      output.c_str());
        } else {
            // A number of the own node is dialled without any prefix.
            replace(output, internationalCode, localCode == m_TextLocalEnterpriseNode ? std::string() : localCode);
            DAS_TRACE("convertCanonicalToLocalDialable() - b: input is '%s', output is '%s'.", number.c_str(),
                      output.c_str());
        }
    }
    return bestLength > 0;
}

// Cases c to f: a number outside the own network, in the form the dial settings ask for.
void DigitAnalysisService::dialOutsideNetworkForm(const std::string& number, std::string& output)
{
    const std::string& C = m_TextCountryCode;
    const std::string& A = m_TextAreaCode;
    const std::string ownArea = "+" + C + A;
    if (m_dialExternalForm != 1 && m_dialExternalForm != 2 && !C.empty() && !A.empty() && startsWith(output, ownArea)) {
        output.erase(0, ownArea.size());
        DAS_TRACE("convertCanonicalToLocalDialable() - c: input is '%s', output is '%s'.", number.c_str(),
                  output.c_str());
    } else if (m_dialExternalForm != 2 && !C.empty() && startsWith(output, "+" + C)) {
        replace(output, "+" + C, m_TextNationalPrefix);
        DAS_TRACE("convertCanonicalToLocalDialable() - d: input is '%s', output is '%s'.", number.c_str(),
                  output.c_str());
    }
    if (startsWith(output, "+")) {
        // With a gateway that resolves "+", the international form is sent as it stands.
        if (m_dialNeedsIntGWcode != 1) replace(output, "+", m_TextInternationalPrefix);
        DAS_TRACE("convertCanonicalToLocalDialable() - e: input is '%s', output is '%s'.", number.c_str(),
                  output.c_str());
        if (startsWith(output, "+")) return;
    }
    if (m_dialNeedsAccessCode == 1) {
        output.insert(0, m_TextLocalCallPrefix);
        DAS_TRACE("convertCanonicalToLocalDialable() - f: input is '%s', output is '%s'.", number.c_str(),
                  output.c_str());
    }
}

bool DigitAnalysisService::detectDiagnosticCall(std::string& number)
{
    std::string prefix;
    const bool configured = querySingleItem(das_keys::kDiagnosticCallPrefix, das_keys::kDiagnosticCallPrefix, prefix);
    if (!configured || prefix.empty()) return false;
    const std::string::size_type position = number.find(prefix);
    if (position == std::string::npos) {
        DAS_TRACE("Diagnostic call prefix NOT detected in dial string!");
        return false;
    }
    DAS_TRACE("Diagnostic call prefix detected in dial string!");
    number.erase(0, position + prefix.size());
    return true;
}

bool DigitAnalysisService::convertToLocalDialable(std::string& number, std::string& diagnosticCall)
{
    DAS_TRACE("convertToLocalDialable(%s)", number.c_str());
    diagnosticCall = "false";
    bool changed = false;
    if (detectDiagnosticCall(number)) {
        diagnosticCall = "true";
        convertCanonicalToLocalDialable(number);
        DAS_TRACE("convertToLocalDialable - diagnostic call detected - output string is '%s'", number.c_str());
        changed = true;
    } else {
        changed = convertCanonicalToLocalDialable(number);
    }
    DAS_TRACE("convertToLocalDialable - output string is '%s'", number.c_str());
    return changed;
}

// ---------------------------------------------------------------------------------------
// RingCentral dialable conversion
// ---------------------------------------------------------------------------------------

bool DigitAnalysisService::convertToDialableRingCentral(std::string& number)
{
    DAS_TRACE("+++ convertToDialableRingCentral(%s)", number.c_str());
    if (number.empty()) return false;
    CriticalSection lock(m_serviceLock);
    std::string working;
    if (ringCentralRefuses(number, working)) return false;
    completeRingCentralNumber(working);
    if (working == number) {
        DAS_TRACE("No conversion occurred. Output string is '%s'", number.c_str());
        return false;
    }
    number = working;
    DAS_TRACE("Minor formatting conversion occurred. Output string is '%s'", number.c_str());
    return true;
}

// The guards of the RingCentral conversion; on false `working` holds the cleaned number.
bool DigitAnalysisService::ringCentralRefuses(const std::string& number, std::string& working)
{
    if (!m_ringCentralServer || !m_canonicalDataValid) {
        DAS_TRACE(
            "convertToDialableRingCentral() - no conversion possible as no valid Parameters have been "
            "set. Output string is '%s'.",
            number.c_str());
        return true;
    }
    if (m_TextNationalPrefix.empty() || m_TextAreaCode.empty()) {
        DAS_TRACE(
            "convertToDialableRingCentral() national prefix or national code empty - no conversion. "
            "Output string is '%s'.",
            number.c_str());
        return true;
    }
    if (isUnnamedCaller(number)) {
        DAS_TRACE("convertToDialableRingCentral() - nothing to convert '%s'.", number.c_str());
        return true;
    }
    if (m_dialPlan != nullptr) {
        m_dialPlan->setOnhookDialling(false);
        std::string digits = number;
        unsigned int timer = 0;
        if (m_dialPlan->getAction(&digits, &timer) > 1) {
            DAS_TRACE(
                "convertToDialableRingCentral() - no conversion as number has a dial plan match. Output "
                "string is '%s'.",
                number.c_str());
            return true;
        }
    }
    if (isLetter(number[0])) {
        DAS_TRACE("convertToDialableRingCentral() - no conversion for alpha-numeric URI's '%s'.", number.c_str());
        return true;
    }
    working = number;
    removePunctuation(working);
    if (working.empty()) {
        DAS_TRACE(
            "convertToDialableRingCentral() - no conversion possible as true digit length of input "
            "string is one. Output string is '%s'.",
            number.c_str());
        return true;
    }
    if (beginsWithFeatureAccessCode(working)) {
        DAS_TRACE(
            "convertToDialableRingCentral() - no conversion possible as a Feature Access Code is found. "
            "Output string is '%s'.",
            number.c_str());
        return true;
    }
    if (working[0] == '+') {
        DAS_TRACE(
            "convertToDialableRingCentral() found internation prefix symbol - no conversion. Output "
            "string is '%s'.",
            number.c_str());
        return true;
    }
    std::string matched;
    if (prefixMatchesList(working, m_TextOperatorCode, matched) && matched == working) {
        DAS_TRACE(
            "convertToDialableRingCentral() - exact match to Operator Number found, therefore no "
            "conversion. Output string is '%s'.",
            number.c_str());
        return true;
    }
    if (prefixMatchesList(working, m_TextEmergencyNumber, matched) && matched == working) {
        DAS_TRACE(
            "convertToDialableRingCentral() - exact match to Emergency Number found - therefore no "
            "conversion. Output string is '%s'.",
            number.c_str());
        return true;
    }
    return false;
}

// Gives a cleaned number the full national form: access code, national prefix, area code.
// Internal extensions and numbers that already carry a prefix stay as they are.
void DigitAnalysisService::completeRingCentralNumber(std::string& working)
{
    const std::string& L = m_TextLocalCallPrefix;
    const std::string& I = m_TextInternationalPrefix;
    const std::string& N = m_TextNationalPrefix;
    const long long M = minimumLength(m_TextMinLocalNumberLength);
    bool alpha = false;
    convertAlphaToNumeric(working, alpha);
    DAS_TRACE("convertToDialableRingCentral() - working string='%s'.", working.c_str());
    const bool shorterThanLocal = lengthOf(working) < M;
    if (shorterThanLocal && !startsWith(working, L)) {
        DAS_TRACE(
            "convertToDialableRingCentral() assume internal extension due to number length - no conversion. "
            "Output string is '%s'.",
            working.c_str());
        return;
    }
    if (startsWith(working, L + N) || (!I.empty() && startsWith(working, L + I))) {
        DAS_TRACE(
            "convertToDialableRingCentral() found national or internation prefix with PSTN access code - no "
            "conversion. Output string is '%s'.",
            working.c_str());
        return;
    }
    if (!shorterThanLocal && (startsWith(working, N) || startsWith(working, I))) {
        DAS_TRACE(
            "convertToDialableRingCentral() found national or internation prefix - no conversion. Output "
            "string is '%s'.",
            working.c_str());
        return;
    }
    if (startsWith(working, L)) working.erase(0, L.size());
    working = L + N + m_TextAreaCode + working;
}

// ---------------------------------------------------------------------------------------
// Configuration change handling
// ---------------------------------------------------------------------------------------

DAS_COLD void DigitAnalysisService::manageableDataChanged(ManageableData& data)
{
    DAS_TRACE("manageableDataChanged");
    std::vector<std::string> rootIds;
    data.getRootIds(rootIds);

    bool newSettings = false;
    bool canonical = false;
    for (const std::string& rootId : rootIds) {
        if (rootId == das_keys::kNewCanonicalSettings) {
            newSettings = true;
            DAS_TRACE("new settings");
        } else if (rootId == das_keys::kCanonicalDialSettings) {
            canonical = true;
            DAS_TRACE("canonical");
        } else {
            DAS_TRACE("other %s", rootId.c_str());
        }
    }

    // "new-canonical-settings" beside the settings says they are complete: they replace the
    // held ones and nothing else in the notification is applied.
    if (newSettings && canonical) {
        replaceCanonicalSettings(data);
        return;
    }
    for (const std::string& rootId : rootIds) applyChangedItem(data, rootId);
}

DAS_COLD void DigitAnalysisService::replaceCanonicalSettings(ManageableData& notification)
{
    {
        CriticalSection lock(m_serviceLock);
        m_canonicalData.clearAll();
    }
    // Present: the classification above found it.
    (void)notification.removeRootId(das_keys::kNewCanonicalSettings);
    const std::string settings = notification.serialize();
    DAS_TRACE("new canonical dial settings\n %s", settings.c_str());
    {
        CriticalSection lock(m_serviceLock);
        // The text was serialised from a container just above: it is well formed.
        (void)m_canonicalData.deserialize(settings);
    }
    // Re-initialising, so that an item the new settings lack does not survive from the old.
    extractData(true);
}

DAS_COLD void DigitAnalysisService::mergeCanonicalSettings(ManageableData& notification)
{
    {
        CriticalSection lock(m_serviceLock);
        m_canonicalDataValid = 0;
    }
    const std::string changed = notification.serialize();
    DAS_TRACE("additional canonical dial settings\n %s", changed.c_str());
    std::string all;
    {
        CriticalSection lock(m_serviceLock);
        // The text was serialised from a container just above: it is well formed.
        (void)m_canonicalData.deserialize(changed);
        all = m_canonicalData.serialize();
    }
    DAS_TRACE("all canonical dial settings\n %s", all.c_str());
    extractData(false);
}

DAS_COLD void DigitAnalysisService::applyChangedItem(ManageableData& notification, const std::string& key)
{
    std::string value;
    // An item without a value is applied as the empty text.
    (void)notification.interogate(key, key, value);

    if (key == das_keys::kInitialDigitTimer) {
        changeTimerDuration(&m_initialDigitTimer, value);
    } else if (key == das_keys::kEmergencyE164) {
        CriticalSection lock(m_serviceLock);
        m_emergencyE164 = value;
        DAS_TRACE("emergency e164 %s", m_emergencyE164.c_str());
    } else if (key == das_keys::kPhoneLockActive) {
        CriticalSection lock(m_serviceLock);
        m_phoneLockActive = value == "true";
        DAS_TRACE("phone lock %s", value.c_str());
    } else if (key == das_keys::kAutoDialTimer) {
        changeTimerDuration(&m_autoDialTimer, value);
    } else if (key == das_keys::kCanonicalDialSettings) {
        mergeCanonicalSettings(notification);
    } else if (key == das_keys::kHotLineWarmLine) {
        CriticalSection lock(m_serviceLock);
        m_hotWarmPhoneType = static_cast<int>(leadingInteger(value));
        DAS_TRACE("hot warm phone type %d", m_hotWarmPhoneType);
    } else if (key == das_keys::kHotLineWarmLineDigits) {
        CriticalSection lock(m_serviceLock);
        m_hotWarmPhoneDigits = value;
        DAS_TRACE("hot warm digits %s", m_hotWarmPhoneDigits.c_str());
    } else if (key == das_keys::kDialPlanEnabled) {
        DAS_TRACE("dial plan enabled = %s", value.c_str());
        CriticalSection lock(m_serviceLock);
        if (m_dialPlan != nullptr) m_dialPlan->setEnabled(value == "true");
    } else if (key == das_keys::kHotKeypadDialling) {
        DAS_TRACE("immediate dialling = %s", value.c_str());
        CriticalSection lock(m_serviceLock);
        if (m_dialPlan != nullptr) m_dialPlan->setImmediateDiallingEnabled(value == "true");
    } else if (key == das_keys::kMobilityCurrentUser) {
        DAS_TRACE("mobility current user = %s", value.c_str());
        if (value == "base") reloadDialPlanFromStorage();
    } else if (key == das_keys::kFacPrefixNumbers) {
        DAS_TRACE("FAC prefix numbers = %s", value.c_str());
        setFACPrefixes(value);
    } else if (key == das_keys::kServerType) {
        DAS_TRACE("server-type = %s", value.c_str());
        CriticalSection lock(m_serviceLock);
        m_ringCentralServer = value == "7";
    }
}

// Unlike the start-up readers, an empty value is ignored and the timer is re-made only when
// its duration really changes.
DAS_COLD void DigitAnalysisService::changeTimerDuration(TimerDetails* timer, const std::string& seconds)
{
    if (seconds.empty()) return;
    const int duration = secondsToMilliseconds(seconds);
    const bool autoDial = timer == &m_autoDialTimer;
    bool remade = true;
    {
        CriticalSection lock(m_serviceLock);
        if (duration == timer->duration) return;
        timer->duration = duration;
        if (autoDial) {
            DAS_TRACE("autoDial duration = %d", duration);
        } else {
            DAS_TRACE("duration = %d", duration);
        }
        remade = makeTimer(timer);
    }
    if (remade) return;
    // The new duration stays stored and takes effect at the next successful re-make.
    if (autoDial) {
        DAS_LOG(kLogError, "Could not create a new Auto Dial (aka interDigit) Timer.");
    } else {
        DAS_LOG(kLogError, "Could not create a new Initial Digit Timer.");
    }
}

void DigitAnalysisService::reloadDialPlanFromStorage()
{
    CriticalSection lock(m_serviceLock);
    if (m_dialPlan == nullptr) return;
    if (!m_dialPlan->readDialPlanOverviewFromDAS()) {
        DAS_TRACE("no dial plan in database");
        return;
    }
    m_dialPlan->readDialPlanEntriesFromDAS();
}

DAS_COLD bool DigitAnalysisService::setData(ManageableData& data)
{
    DAS_TRACE("setData");
    std::vector<std::string> rootIds;
    data.getRootIds(rootIds);
    DAS_TRACE("manageableDataChanged %d\n", static_cast<int>(rootIds.size()));
    for (const std::string& rootId : rootIds) {
        std::string value;
        // Only logged: an item without a value shows as empty.
        (void)data.interogate(rootId, rootId, value);
        DAS_TRACE("setData: option: %s, value: %s\n", rootId.c_str(), value.c_str());
    }
    CriticalSection lock(m_serviceLock);
    return m_dialPlan != nullptr && m_dialPlan->setData(data);
}

DAS_COLD bool DigitAnalysisService::getData(ManageableData& data)
{
    DAS_TRACE("getData");
    std::vector<std::string> rootIds;
    data.getRootIds(rootIds);
    DAS_TRACE("manageableDataChanged %d\n", static_cast<int>(rootIds.size()));
    for (const std::string& rootId : rootIds) DAS_TRACE("getData: option: %s", rootId.c_str());
    CriticalSection lock(m_serviceLock);
    return m_dialPlan != nullptr && m_dialPlan->getData(data);
}
