#pragma once
// The digit analysis service: follows what the user dials, decides when the digits form a
// complete number, tells the dialler, and converts numbers between their dialable and
// canonical forms. The framework creates it through createDigitAnalysisService.

#include <array>
#include <atomic>
#include <map>
#include <string>
#include <vector>

#include "DigitAnalysisConfiguration.h"
#include "DigitAnalysisServiceEventIfc.h"
#include "DigitAnalysisServiceIfc.h"
#include "Executable.h"
#include "ManageableData.h"
#include "MgmtAgentIfc.h"
#include "Semaphore.h"
#include "ThreadSafety.h"

class CallPartyIdentifier;
class ClockServiceIfc;
class DataAccessServiceIfc;
class DialPlan;
class LocalMgmtIfc;
class MediaControlServiceIfc;
class TeamServiceIfc;

// The service's bookkeeping for one framework timer.
struct TimerDetails {
    bool timerRunning = false;
    bool updatePending = false;  // re-create the timer with the new duration at the next stop
    int timerID = -1;            // -1: no framework timer exists
    int duration = 0;            // milliseconds
};


class DigitAnalysisService : public Service, public DigitAnalysisServiceIfc, public MgmtAgentIfc {
public:
    static DigitAnalysisService* theInstance;

    DigitAnalysisService();
    ~DigitAnalysisService() override;
    DigitAnalysisService(const DigitAnalysisService&) = delete;
    DigitAnalysisService& operator=(const DigitAnalysisService&) = delete;

    // Framework life cycle.
    // Runs once, before the framework lets anything else reach the service: not analysed.
    void init(Context& context) override DAS_NO_THREAD_SAFETY_ANALYSIS;
    void shutdown() override;
    void timerEvent(int timerId) override;
    void run() override;

    // The service's operations. The order of these declarations is the order of the
    // service's own virtual table and is relied upon by the framework: do not reorder.
    void startDialling(const std::string& line, DigitAnalysisServiceEventIfc* pEventObserver,
                       bool isFollowOnCall) override;
    void dialPartyDetailsResponse(CallPartyIdentifier& identifier, bool dialPartyDetailsValid,
                                  bool isFollowOnCall) override;
    void startBlindTransferDialling() override;
    void startOnHookDialling(DigitAnalysisServiceEventIfc* pEventObserver) override;
    void stopDialling(DigitAnalysisServiceEventIfc* pEventObserver) override;
    void resetAutoDialTimer() override;
    void suspendDialling() override;
    void resumeDialling() override;
    int dialString(std::string* digits, bool complete, DigitAnalysisServiceEventIfc* pEventObserver) override;
    bool setCallContextProvider(DigitAnalysisServiceEventIfc* provider) override;
    bool clearCallContextProvider(DigitAnalysisServiceEventIfc* provider) override;
    bool setDialler(DigitAnalysisServiceEventIfc* dialler) override;
    bool isCanonicalDataValid() override;
    bool convertToCanonical(std::string& number) override;
    bool convertToLocalDialable(std::string& number, std::string& diagnosticCall) override;
    bool convertToDialableRingCentral(std::string& number) override;
    bool convertCanonicalToLocalDialable(std::string& number) override;
    void getEmergencyNumbersDialString(std::string* out) override;
    void getLockBypassNumbersDialString(std::string* out) override;
    bool isEmergencyNumber(std::string& number, bool exactMatch) override;
    void getLatestDialledDigits(std::string* out) override;
    bool setData(ManageableData& data) override;
    bool getData(ManageableData& data) override;
    void manageableDataChanged(ManageableData& data) override;
    void resetUserData() override;
    bool isLockBypass(std::string& number) override;
    bool isFACPrefix(const std::string& number) override;

    // Workers behind the interface forms above.
    void startDialling(const std::string& line, bool isFollowOnCall);
    void startOnHookDialling();
    void stopDialling();
    // Short form without the dial plan; kept as an operation of the class.
    int dialString(std::string* digits, bool complete);

    // Peer look-up.
    bool findMCS();
    bool findTeamService();
    bool findKDRB();

    // Configuration reading.
    void loadData();
    void extractData(bool reinitialise);
    void extractEmergencyE164Data();
    void extractPhoneLockActiveData();
    void extractIntitialDigitTimerData();
    void extractInterDigitTimerData();
    void extractHotWarmPhoneType();
    void extractHotWarmPhoneDigits();
    void extractServerType();

    // Hot line, warm line and dial tone.
    void makeHotCall(const std::string& digits);
    void makeWarmCall(const std::string& digits, const std::string& line, CallPartyIdentifier identifier);
    void playDialTone();
    void stopDialTone();

    // Digit string utilities.
    void convertAlphaToNumeric(std::string& text, bool& converted);
    bool remove(std::string& text, const std::string& toRemove);
    bool replace(std::string& text, const std::string& toFind, const std::string& replacement);
    void removePunctuation(std::string& text);
    // removePunctuation of `from` written to `to`, with the same log line: `to` keeps its
    // buffer, so a cleaned number that fits it costs no allocation.
    void copyWithoutPunctuation(const std::string& from, std::string& to);
    void removeUnwantedChars(std::string& text);
    std::string getToken(const std::string& list, std::string::size_type& position);
    void tokenize(std::string list, std::vector<std::string>& tokens);
    bool prefixMatchesList(const std::string& number, const std::string& list, std::string& matched);
    // Takes no lock of its own, as the other digit string utilities: the conversions call it
    // under the service lock.
    bool isCountryCodeNationalCodeLocalEnterpriseNode(const std::string& number) const DAS_NO_THREAD_SAFETY_ANALYSIS;

    // Emergency, lock-bypass and feature access code numbers.
    int digitsMatchEmergencyNumber(const std::string& digits);
    void getEmergencyNumberDialString(std::string* out);
    void getCanonicalDialEmergencyNumbersString(std::string* out);
    void setFACPrefixes(const std::string& prefixes);
    void extractFACPrefixNumbers();

    // Diagnostic calls.
    bool detectDiagnosticCall(std::string& number);

private:
    // The tests' seam to the timer record operations and the views below.
    friend struct DigitAnalysisServiceTestAccess;

    // Timer records (TimerDetails): one per framework timer, kept under the service lock.
    // Sets a record's duration (milliseconds) with no framework timer and nothing running.
    void initTimerDetails(TimerDetails* details, int duration);
    // (Re)creates the record's framework timer with its duration; on a running record only
    // marks the update for the next endTimer. False (record marked, old id kept) when the
    // framework has no timer to give. Called under the service lock, or by init; the record is
    // named by a pointer, which the thread safety analysis cannot follow to the member it guards.
    [[nodiscard]] bool makeTimer(TimerDetails* details) DAS_NO_THREAD_SAFETY_ANALYSIS;
    // Starts the record's timer, or restarts it from its full duration; takes the service lock.
    void beginTimer(TimerDetails* details);
    // Stops the record's timer and applies a pending duration change. Under the service lock.
    void endTimer(TimerDetails* details);
    // True when an expiry with `timerId` is this record's and the timer was running (it is then
    // stopped); false for a stale id (a re-created timer) or a stopped record. Under the lock.
    [[nodiscard]] bool actionTimeout(TimerDetails* details, int timerId);
    // The common end of both initial-digit expiries: tells the dialler when `actioned`.
    void actOnInitialDigitTimeout(bool actioned);

    // Read-only views for the tests, read between operations and without the service lock: not
    // analysed.
    int getSoftwareType() const { return m_softwareType; }
    const TimerDetails& autoDialTimer() const { return m_autoDialTimer; }
    const TimerDetails& initialDigitTimer() const { return m_initialDigitTimer; }
    const TimerDetails& partyDetailsTimer() const { return m_partyDetailsTimer; }
    const TimerDetails& extendedInitialDigitTimer() const { return m_extendedInitialDigitTimer; }
    const TimerDetails& dialPlanTimer() const { return m_dialPlanTimer; }
    DialPlan* getDialPlan() const DAS_NO_THREAD_SAFETY_ANALYSIS { return m_dialPlan; }
    // The canonical dial settings by item key ("countryCode", ..., "dialNeedsIntGWcode").
    std::map<std::string, std::string> canonicalSettings() const DAS_NO_THREAD_SAFETY_ANALYSIS;
    const std::multimap<std::string, std::string>& localCodeLookup() const { return m_localCodeLookup; }
    const std::string& emergencyE164() const { return m_emergencyE164; }
    bool phoneLockActive() const DAS_NO_THREAD_SAFETY_ANALYSIS { return m_phoneLockActive; }
    int hotWarmPhoneType() const DAS_NO_THREAD_SAFETY_ANALYSIS { return m_hotWarmPhoneType; }
    const std::string& hotWarmPhoneDigits() const { return m_hotWarmPhoneDigits; }
    bool ringCentralServer() const DAS_NO_THREAD_SAFETY_ANALYSIS { return m_ringCentralServer; }
    const std::vector<std::string>& facPrefixes() const { return m_facPrefixes; }
    LocalMgmtIfc* localMgmt() const { return m_localMgmt; }
    TeamServiceIfc* teamService() const DAS_NO_THREAD_SAFETY_ANALYSIS { return m_teamService; }
    MediaControlServiceIfc* mediaControlService() const DAS_NO_THREAD_SAFETY_ANALYSIS { return m_mediaControlService; }
    DataAccessServiceIfc* dataAccessService() const { return m_dataAccessService; }

    // Written only by init, before any other thread reaches the service; read-only after.
    Context* m_context = nullptr;
    MediaControlServiceIfc* m_mediaControlService DAS_GUARDED_BY(m_serviceLock) = nullptr;
    LocalMgmtIfc* m_localMgmt = nullptr;
    TeamServiceIfc* m_teamService DAS_GUARDED_BY(m_serviceLock) = nullptr;
    DigitAnalysisServiceEventIfc* m_dialler DAS_GUARDED_BY(m_serviceLock) = nullptr;
    DigitAnalysisServiceEventIfc* m_callContextProvider DAS_GUARDED_BY(m_serviceLock) = nullptr;
    std::string m_startDigits DAS_GUARDED_BY(m_serviceLock);
    bool m_dialTonePlaying DAS_GUARDED_BY(m_dialToneLock) = false;
    bool m_blindTransferDialling DAS_GUARDED_BY(m_serviceLock) = false;
    bool m_dialTonePendingAfterStart DAS_GUARDED_BY(m_serviceLock) = false;
    std::string m_latestDialledDigits DAS_GUARDED_BY(m_serviceLock);

    TimerDetails m_autoDialTimer DAS_GUARDED_BY(m_serviceLock);
    TimerDetails m_initialDigitTimer DAS_GUARDED_BY(m_serviceLock);
    TimerDetails m_partyDetailsTimer DAS_GUARDED_BY(m_serviceLock);
    TimerDetails m_extendedInitialDigitTimer DAS_GUARDED_BY(m_serviceLock);

    // The canonical dial settings.
    std::string m_TextCountryCode DAS_GUARDED_BY(m_serviceLock);
    std::string m_TextNationalPrefix DAS_GUARDED_BY(m_serviceLock);
    std::string m_TextAreaCode DAS_GUARDED_BY(m_serviceLock);
    std::string m_TextMinLocalNumberLength DAS_GUARDED_BY(m_serviceLock);
    std::string m_TextLocalEnterpriseNode DAS_GUARDED_BY(m_serviceLock);
    std::string m_TextLocalCallPrefix DAS_GUARDED_BY(m_serviceLock);
    std::string m_TextInternationalPrefix DAS_GUARDED_BY(m_serviceLock);
    std::string m_TextOperatorCode DAS_GUARDED_BY(m_serviceLock);
    std::string m_TextEmergencyNumber DAS_GUARDED_BY(m_serviceLock);
    std::string m_TextExtensionInitialDigits DAS_GUARDED_BY(m_serviceLock);
    std::multimap<std::string, std::string> m_localCodeLookup DAS_GUARDED_BY(m_serviceLock);  // local code -> international code
    int m_hotWarmPhoneType DAS_GUARDED_BY(m_serviceLock) = 0;
    std::string m_hotWarmPhoneDigits DAS_GUARDED_BY(m_serviceLock);
    ManageableData m_canonicalData DAS_GUARDED_BY(m_serviceLock);
    std::atomic<int> m_canonicalDataValid{0};  // read without the service lock
    bool m_ChkExpectDialNum DAS_GUARDED_BY(m_serviceLock) = false;
    unsigned int m_dialInternalForm DAS_GUARDED_BY(m_serviceLock) = 0;
    unsigned int m_dialExternalForm DAS_GUARDED_BY(m_serviceLock) = 0;
    unsigned int m_dialNeedsAccessCode DAS_GUARDED_BY(m_serviceLock) = 1;
    unsigned int m_dialNeedsIntGWcode DAS_GUARDED_BY(m_serviceLock) = 0;

    // The service lock (re-entrant) guards the members marked with it; the dial-tone lock only
    // the dial tone state, and is always taken after the service lock. Clang checks both
    // (-Wthread-safety, the "clang" preset).
    Semaphore m_serviceLock{1, 1, true};
    Semaphore m_dialToneLock{1, 1, false};

    std::string m_emergencyE164 DAS_GUARDED_BY(m_serviceLock);
    bool m_phoneLockActive DAS_GUARDED_BY(m_serviceLock) = false;
    bool m_lockBypassMatch DAS_GUARDED_BY(m_serviceLock) = false;
    int m_softwareType = 0;
    unsigned int m_hwSubPlatformVariant = 0;
    DialPlan* m_dialPlan DAS_GUARDED_BY(m_serviceLock) = nullptr;
    TimerDetails m_dialPlanTimer DAS_GUARDED_BY(m_serviceLock);
    DataAccessServiceIfc* m_dataAccessService = nullptr;  // written only by init
    bool m_onHookDialling DAS_GUARDED_BY(m_serviceLock) = false;
    std::vector<std::string> m_facPrefixes DAS_GUARDED_BY(m_serviceLock);
    bool m_ringCentralServer DAS_GUARDED_BY(m_serviceLock) = false;

    // Pieces of init and extractData.
    void readSoftwareType();
    void loadDialPlan();
    void readCanonicalSettings();
    void readLocalCodeLookup();
    // The value of a plain configuration item (node `nodeKey` of item `itemKey`); false
    // without a store or when the store does not give it.
    bool querySingleItem(const char* itemKey, const char* nodeKey, std::string& value);
    std::array<std::string*, 10> canonicalTextMembers();

    // Pieces of manageableDataChanged.
    void replaceCanonicalSettings(ManageableData& notification);
    void mergeCanonicalSettings(ManageableData& notification);
    void applyChangedItem(ManageableData& notification, const std::string& key);
    void changeTimerDuration(TimerDetails* timer, const std::string& seconds);
    void reloadDialPlanFromStorage();

    // Pieces of the timers and the dialling session.
    TimerDetails* timerOwning(int timerId) DAS_REQUIRES(m_serviceLock);
    void autoDialTimeout(int timerId) DAS_REQUIRES(m_serviceLock);
    void dialPlanTimeout(int timerId) DAS_REQUIRES(m_serviceLock);
    bool placeHotOrWarmCall(const CallPartyIdentifier& identifier, bool isFollowOnCall) DAS_REQUIRES(m_serviceLock);
    int dialPlanAction(std::string* digits, unsigned int* timer) DAS_REQUIRES(m_serviceLock);
    int dialStringUnlocked(std::string* digits, bool complete) DAS_REQUIRES(m_serviceLock);
    int dialStringLocked(std::string* digits, bool complete) DAS_REQUIRES(m_serviceLock);
    // beginTimer, stopDialTone and digitsMatchEmergencyNumber for callers that hold the
    // service lock already: a digit passes through all three, and each acquisition of the
    // re-entrant lock costs the platform a mutex and a search of its holders.
    void beginTimerHeld(TimerDetails* details) DAS_REQUIRES(m_serviceLock);
    void startOrResetTimer(TimerDetails* details) DAS_REQUIRES(m_serviceLock);
    void stopDialToneHeld() DAS_REQUIRES(m_serviceLock);
    int digitsMatchEmergencyNumberHeld(const std::string& digits) DAS_REQUIRES(m_serviceLock);
    void updateDialPlanTimer(unsigned int seconds) DAS_REQUIRES(m_serviceLock);
    void clearSession() DAS_REQUIRES(m_serviceLock);
    void keepDigits(std::string* digits) DAS_REQUIRES(m_serviceLock);
    void discardDigits(std::string* digits) DAS_REQUIRES(m_serviceLock);
    // The id each record's last re-creation replaced: a late expiry of it is stale.
    std::map<const TimerDetails*, int> m_replacedTimerIds DAS_GUARDED_BY(m_serviceLock);

    // Steps of the number conversions.
    class CanonicalConversion;
    bool dialOwnNetworkForm(const std::string& number, std::string& output) DAS_REQUIRES(m_serviceLock);
    void dialOutsideNetworkForm(const std::string& number, std::string& output) DAS_REQUIRES(m_serviceLock);
    bool ringCentralRefuses(const std::string& number, std::string& working) DAS_REQUIRES(m_serviceLock);
    void completeRingCentralNumber(std::string& working) DAS_REQUIRES(m_serviceLock);

    bool isSoftwareType2Or3() const { return m_softwareType == 2 || m_softwareType == 3; }
    bool isVariant3Or4() const { return m_hwSubPlatformVariant == 3 || m_hwSubPlatformVariant == 4; }
};
