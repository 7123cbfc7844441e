#define DAS_LOG_SOURCE "src/DigitAnalysisService"

#include "DigitAnalysisService.h"

#include <algorithm>
#include <cctype>
#include <cstdlib>

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

namespace {

// True when `prefix` is not empty and `text` begins with it.
bool startsWith(const std::string& text, const std::string& prefix)
{
    return !prefix.empty() && text.compare(0, prefix.size(), prefix) == 0;
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

// The value of a plain configuration item, asked of the configuration store afresh.
bool queryConfigurationItem(LocalMgmtIfc* localMgmt, const std::string& key, std::string& value)
{
    if (localMgmt == nullptr) return false;
    ManageableData data;
    data.setRootId(key);
    if (!localMgmt->queryData(data)) return false;
    const DataNode* node = data.interogate(key);
    if (node == nullptr) return false;
    value = node->getValue();
    return true;
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
    static const std::string kPunctuation = " .,;!?";
    std::string cleaned;
    cleaned.reserve(text.size());
    for (const char c : text) {
        if (kPunctuation.find(c) != std::string::npos) continue;
        cleaned += static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
    }
    text = cleaned;
}

void DigitAnalysisService::removeUnwantedChars(std::string& text)
{
    DAS_TRACE("removeUnwantedChars");
    static const std::string kWanted = "0123456789*#";
    std::string cleaned;
    cleaned.reserve(text.size());
    for (std::string::size_type i = 0; i < text.size(); ++i) {
        const char c = text[i];
        if (kWanted.find(c) != std::string::npos || (c == '+' && i == 0)) cleaned += c;
    }
    text = cleaned;
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

void DigitAnalysisService::extractFACPrefixNumbers()
{
    DAS_TRACE("extractFACPrefixNumbers");
    std::string prefixes;
    if (queryConfigurationItem(m_localMgmt, das_keys::kFacPrefixNumbers, prefixes)) setFACPrefixes(prefixes);
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
    const std::string m_input;
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

    bool refused();
    bool exactListMatch(const std::string& list);
    void clean();
    void removeBracketedZeroOfForeignNumber();
    bool finishInternationalForm(std::string& number);
    void applyGeneralRules();
    void applyUsRules();
    void applyNorthAmericanPlan(long long trueLength);
    void usConversionFailed();
    bool outcome(std::string& number);
    bool applyLocalCodeLookup(std::string& number);
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
    W = m_input;
    m_service.removePunctuation(W);
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
    if (W.find(C + "(" + N + ")") != std::string::npos) m_service.remove(W, "(" + N + ")");
    removeBracketedZeroOfForeignNumber();
    m_service.removeUnwantedChars(W);
    logWorkingString();
}

// A foreign number keeps no bracketed "(0)"; whether it is foreign is judged on a copy
// given its leading "+" as the international prefix would give it.
void DigitAnalysisService::CanonicalConversion::removeBracketedZeroOfForeignNumber()
{
    std::string preview = W;
    if (!L.empty() && !I.empty() && startsWith(preview, L + I)) {
        m_service.replace(preview, L + I, "+");
    } else if (startsWith(preview, I)) {
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
    auto apply = [this](const std::string& find, const std::string& insert, const char* code) {
        m_service.replace(W, find, insert);
        m_changesMade += code;
    };
    if (hasL && hasI && hasN && startsWith(W, L + I + C + N)) {
        apply(L + I + C + N, "+" + C, ",01");
    } else if (hasL && hasI && startsWith(W, L + I + C)) {
        apply(L + I + C, "+" + C, ",02");
    } else if (hasI && hasN && startsWith(W, I + C + N)) {
        apply(I + C + N, "+" + C, ",03");
    } else if (hasI && startsWith(W, I + C) && m_service.m_ChkExpectDialNum && L + N == I) {
        apply(I, "+" + C, ",04exp");  // what follows the prefix is taken as a national number
    } else if (hasI && startsWith(W, I + C)) {
        apply(I + C, "+" + C, ",04");
    } else if (hasL && hasN && hasA && startsWith(W, L + N + A)) {
        apply(L + N + A, "+" + C + A, ",05");
    } else if (hasN && hasA && startsWith(W, N + A)) {
        apply(N + A, "+" + C + A, ",06");
    } else if (hasL && hasN && m_alpha && startsWith(W, L + N)) {
        apply(L + N, "+" + C, ",07");
    } else if (hasN && m_alpha && startsWith(W, N)) {
        apply(N, "+" + C, ",08");
    } else if (hasL && hasI && startsWith(W, L + I)) {
        apply(L + I, "+", ",09");
    } else if (hasL && hasN && startsWith(W, L + N) && length > M + 1) {
        apply(L + N, "+" + C, ",10");
    } else if (hasI && startsWith(W, I) && length >= lengthOf(I) + 6) {
        apply(I, "+", ",11");
    } else if (hasL && startsWith(W, L) && length > M) {
        apply(L, "+" + C + A, ",12");
    } else if (hasN && startsWith(W, N) && length > M + 2) {
        apply(N, "+" + C, ",13");
    } else if (m_service.isCountryCodeNationalCodeLocalEnterpriseNode(W)) {
        W.insert(0, "+");
        m_changesMade += ",14";
    }
}

// The North-American rules. The true digit length counts what stands before a "#" or "*".
void DigitAnalysisService::CanonicalConversion::applyUsRules()
{
    m_restricted = true;
    long long trueLength = lengthOf(W.substr(0, W.find_first_of("#*")));
    if (!I.empty()) {
        bool erased = false;
        if (startsWith(W, L + I)) {
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
    if (!queryConfigurationItem(m_localMgmt, das_keys::kDiagnosticCallPrefix, prefix) || prefix.empty()) return false;
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
