#pragma once
// The digit analysis service: follows what the user dials, decides when the digits form a
// complete number, tells the dialler, and converts numbers between their dialable and
// canonical forms. The framework creates it through createDigitAnalysisService.

#include <array>
#include <atomic>
#include <map>
#include <string>
#include <vector>

#include "DigitAnalysisServiceEventIfc.h"
#include "DigitAnalysisServiceIfc.h"
#include "Executable.h"
#include "ManageableData.h"
#include "MgmtAgentIfc.h"
#include "Semaphore.h"

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

// Configuration keys the service reads and registers for.
namespace das_keys {
constexpr const char* kCanonicalDialSettings = "canonicalDialSettings";
constexpr const char* kEmergencyE164 = "emergency-e164";
constexpr const char* kPhoneLockActive = "phone-lock-active";
constexpr const char* kInitialDigitTimer = "initial-digit-timer";
constexpr const char* kAutoDialTimer = "autodialtimer";
constexpr const char* kNewCanonicalSettings = "new-canonical-settings";
constexpr const char* kHotLineWarmLine = "hot-line-warm-line";
constexpr const char* kHotLineWarmLineDigits = "hot-line-warm-line-digits";
constexpr const char* kHotKeypadDialling = "hot-keypad-dialling";
constexpr const char* kMobilityCurrentUser = "mobility-current-user";
constexpr const char* kFacPrefixNumbers = "fac-prefix-numbers";
constexpr const char* kServerType = "server-type";
constexpr const char* kDialPlanEnabled = "dial-plan-enabled";
constexpr const char* kDiagnosticCallPrefix = "diagnostic-call-prefix";
constexpr const char* kSoftwareType = "software-type";
}  // namespace das_keys

class DigitAnalysisService : public Service, public DigitAnalysisServiceIfc, public MgmtAgentIfc {
public:
    static DigitAnalysisService* theInstance;

    DigitAnalysisService();
    ~DigitAnalysisService() override;
    DigitAnalysisService(const DigitAnalysisService&) = delete;
    DigitAnalysisService& operator=(const DigitAnalysisService&) = delete;

    // Framework life cycle.
    void init(Context& context) override;
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

    // Timers.
    void initTimerDetails(TimerDetails* details, int duration);
    bool makeTimer(TimerDetails* details);
    void beginTimer(TimerDetails* details);
    void endTimer(TimerDetails* details);
    bool actionTimeout(TimerDetails* details, int timerId);
    void actOnInitialDigitTimeout(bool actioned);

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
    void removeUnwantedChars(std::string& text);
    std::string getToken(const std::string& list, std::string::size_type& position);
    void tokenize(std::string list, std::vector<std::string>& tokens);
    bool prefixMatchesList(const std::string& number, const std::string& list, std::string& matched);
    bool isCountryCodeNationalCodeLocalEnterpriseNode(const std::string& number) const;

    // Emergency, lock-bypass and feature access code numbers.
    int digitsMatchEmergencyNumber(const std::string& digits);
    void getEmergencyNumberDialString(std::string* out);
    void getCanonicalDialEmergencyNumbersString(std::string* out);
    void setFACPrefixes(const std::string& prefixes);
    void extractFACPrefixNumbers();

    // Diagnostic calls.
    bool detectDiagnosticCall(std::string& number);

    // Read-only views for the simulator's trace and for tests.
    int getSoftwareType() const { return m_softwareType; }
    const TimerDetails& autoDialTimer() const { return m_autoDialTimer; }
    const TimerDetails& initialDigitTimer() const { return m_initialDigitTimer; }
    const TimerDetails& partyDetailsTimer() const { return m_partyDetailsTimer; }
    const TimerDetails& extendedInitialDigitTimer() const { return m_extendedInitialDigitTimer; }
    const TimerDetails& dialPlanTimer() const { return m_dialPlanTimer; }
    DialPlan* getDialPlan() const { return m_dialPlan; }
    // The canonical dial settings by item key ("countryCode", ..., "dialNeedsIntGWcode").
    std::map<std::string, std::string> canonicalSettings() const;
    const std::multimap<std::string, std::string>& localCodeLookup() const { return m_localCodeLookup; }
    const std::string& emergencyE164() const { return m_emergencyE164; }
    bool phoneLockActive() const { return m_phoneLockActive; }
    int hotWarmPhoneType() const { return m_hotWarmPhoneType; }
    const std::string& hotWarmPhoneDigits() const { return m_hotWarmPhoneDigits; }
    bool ringCentralServer() const { return m_ringCentralServer; }
    const std::vector<std::string>& facPrefixes() const { return m_facPrefixes; }
    LocalMgmtIfc* localMgmt() const { return m_localMgmt; }
    TeamServiceIfc* teamService() const { return m_teamService; }
    MediaControlServiceIfc* mediaControlService() const { return m_mediaControlService; }
    DataAccessServiceIfc* dataAccessService() const { return m_dataAccessService; }

private:
    Context* m_context = nullptr;
    MediaControlServiceIfc* m_mediaControlService = nullptr;
    LocalMgmtIfc* m_localMgmt = nullptr;
    TeamServiceIfc* m_teamService = nullptr;
    DigitAnalysisServiceEventIfc* m_dialler = nullptr;
    DigitAnalysisServiceEventIfc* m_callContextProvider = nullptr;
    std::string m_startDigits;
    bool m_dialTonePlaying = false;
    bool m_blindTransferDialling = false;
    bool m_dialTonePendingAfterStart = false;
    std::string m_latestDialledDigits;

    TimerDetails m_autoDialTimer;
    TimerDetails m_initialDigitTimer;
    TimerDetails m_partyDetailsTimer;
    TimerDetails m_extendedInitialDigitTimer;

    // The canonical dial settings.
    std::string m_TextCountryCode;
    std::string m_TextNationalPrefix;
    std::string m_TextAreaCode;
    std::string m_TextMinLocalNumberLength;
    std::string m_TextLocalEnterpriseNode;
    std::string m_TextLocalCallPrefix;
    std::string m_TextInternationalPrefix;
    std::string m_TextOperatorCode;
    std::string m_TextEmergencyNumber;
    std::string m_TextExtensionInitialDigits;
    std::multimap<std::string, std::string> m_localCodeLookup;  // local code -> international code
    int m_hotWarmPhoneType = 0;
    std::string m_hotWarmPhoneDigits;
    ManageableData m_canonicalData;
    std::atomic<int> m_canonicalDataValid{0};  // read without the service lock
    bool m_ChkExpectDialNum = false;
    unsigned int m_dialInternalForm = 0;
    unsigned int m_dialExternalForm = 0;
    unsigned int m_dialNeedsAccessCode = 1;
    unsigned int m_dialNeedsIntGWcode = 0;

    Semaphore m_serviceLock{1, 1, true};
    Semaphore m_dialToneLock{1, 1, false};

    std::string m_emergencyE164;
    bool m_phoneLockActive = false;
    bool m_lockBypassMatch = false;
    int m_softwareType = 0;
    unsigned int m_hwSubPlatformVariant = 0;
    DialPlan* m_dialPlan = nullptr;
    TimerDetails m_dialPlanTimer;
    DataAccessServiceIfc* m_dataAccessService = nullptr;
    bool m_onHookDialling = false;
    std::vector<std::string> m_facPrefixes;
    bool m_ringCentralServer = false;

    // Pieces of init and extractData.
    void readSoftwareType();
    void loadDialPlan();
    void readCanonicalSettings();
    void readLocalCodeLookup();
    std::array<std::string*, 10> canonicalTextMembers();

    // Pieces of the timers and the dialling session.
    TimerDetails* timerOwning(int timerId);
    void autoDialTimeout(int timerId);
    void dialPlanTimeout(int timerId);
    bool placeHotOrWarmCall(const CallPartyIdentifier& identifier, bool isFollowOnCall);
    int dialPlanAction(std::string* digits, unsigned int* timer);
    int dialStringUnlocked(std::string* digits, bool complete);
    int dialStringLocked(std::string* digits, bool complete);
    void updateDialPlanTimer(unsigned int seconds);
    void clearSession();
    void keepDigits(std::string* digits);
    void discardDigits(std::string* digits);
    // The id each record's last re-creation replaced: a late expiry of it is stale.
    std::map<const TimerDetails*, int> m_replacedTimerIds;

    // Steps of the number conversions.
    class CanonicalConversion;
    bool dialOwnNetworkForm(const std::string& number, std::string& output);
    void dialOutsideNetworkForm(const std::string& number, std::string& output);
    bool ringCentralRefuses(const std::string& number, std::string& working);
    void completeRingCentralNumber(std::string& working);

    bool isSoftwareType2Or3() const { return m_softwareType == 2 || m_softwareType == 3; }
    bool isVariant3Or4() const { return m_hwSubPlatformVariant == 3 || m_hwSubPlatformVariant == 4; }
};
