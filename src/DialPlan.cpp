#define DAS_LOG_SOURCE "src/DialPlan"

#include "DialPlan.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <vector>

#include "ClientUtils.h"
#include "ClockServiceIfc.h"
#include "CodeSize.h"
#include "DataAccessServiceIfc.h"
#include "DialPlanLoggerTexts.h"
#include "Executable.h"
#include "MgmtAgentIfc.h"
#include "ServiceLog.h"
#include "Utils.h"

namespace {

// Results of matchEntry.
constexpr unsigned int kNoMatch = 0;
constexpr unsigned int kMatchPossible = 1;
constexpr unsigned int kPartialMatch = 2;
constexpr unsigned int kFullMinimalMatch = 3;
constexpr unsigned int kFullMatch = 4;

const std::string kActionSend = "S";
const std::string kActionCheck = "C";
const std::string kEmergencyIndication = "E";
const std::string kLockBypassIndication = "b";

// Configuration items of the dial plan.
const std::string kHotKeypadDialling = "hot-keypad-dialling";
const std::string kImmediateDiallingEnabled = "immediateDiallingEnabled";
const std::string kDialPlanEnabledItem = "dial-plan-enabled";
const std::string kDialPlanIdItem = "dial-plan-id";
const std::string kDialPlanErrorItem = "dial-plan-error";
const std::string kDialPlanErrorRowItem = "dial-plan-error-row";
const std::string kDialPlanSettingsItem = "dialPlanSettings";

// Items of one configuration row, below "dialPlanEntry[n]/".
const std::string kDigitStringItem = "digit-string";
const std::string kActionItem = "action";
const std::string kMinDigitLengthItem = "min-digit-len";
const std::string kMaxDigitLengthItem = "max-digit-len";
const std::string kTimerItem = "timer";
const std::string kTerminatorItem = "terminating-char";
const std::string kSpecialNumberItem = "spec-num-indic";
const std::string kCommentItem = "comment";
const std::string kTerminatorSentItem = "terminating-char-sent";

// The longest number a dial plan entry can describe is "24"; with a timer the maximum may
// be any 16-bit configuration value. An entry read from storage is not validated and may
// claim up to 2^32 - 1 digits, so lock-bypass padding stops at the largest length the
// configuration can give rather than exhausting memory.
constexpr std::size_t kLongestLockBypassPadding = 65535;

constexpr std::uint32_t kLongestFixedNumber = 24;
constexpr std::uint32_t kDefaultCheckTimer = 1;
constexpr std::uint32_t kHighestTimer = 9;

// A code of getAction together with the name it is logged under.
struct ActionChoice {
    int code;
    const char* name;
};

ActionChoice sendAction(const t_dialPlanEntry& entry)
{
    if (entry.specialNumberIndication == kEmergencyIndication)
        return {DIAL_PLAN_ACTION_SEND_EMERGENCY, "DIAL_PLAN_ACTION_SEND_EMERGENCY"};
    if (entry.specialNumberIndication == kLockBypassIndication)
        return {DIAL_PLAN_ACTION_SEND_LOCKBYPASS, "DIAL_PLAN_ACTION_SEND_LOCKBYPASS"};
    return {DIAL_PLAN_ACTION_SEND, "DIAL_PLAN_ACTION_SEND"};
}

ActionChoice timerAction(const t_dialPlanEntry& entry)
{
    if (entry.specialNumberIndication == kEmergencyIndication)
        return {DIAL_PLAN_ACTION_START_TIMER_EMERGENCY, "DIAL_PLAN_ACTION_START_TIMER_EMERGENCY"};
    if (entry.specialNumberIndication == kLockBypassIndication)
        return {DIAL_PLAN_ACTION_START_TIMER_LOCKBYPASS, "DIAL_PLAN_ACTION_START_TIMER_LOCKBYPASS"};
    return {DIAL_PLAN_ACTION_START_TIMER, "DIAL_PLAN_ACTION_START_TIMER"};
}

bool lastDigitIsTerminator(const t_dialPlanEntry& entry, const std::string& digits)
{
    return !entry.terminator.empty() && !digits.empty() && entry.terminator.size() == 1 &&
           digits.back() == entry.terminator.front();
}

// Takes the terminator off the digits unless the entry sends it with the number.
void removeTerminator(const t_dialPlanEntry& entry, std::string& digits)
{
    if (entry.terminatorSent || digits.empty()) return;
    digits.pop_back();
    DAS_TRACE("terminator removed");
}

// Marks, in the top bit of each byte, the bytes of `word` that are not zero. No byte can
// carry into the next: (b & 0x7f) + 0x7f is at most 0xfe.
std::uint64_t nonZeroBytes(std::uint64_t word)
{
    constexpr std::uint64_t kLowBits = 0x7f7f7f7f7f7f7f7fULL;
    return (((word & kLowBits) + kLowBits) | word) & ~kLowBits;
}

// Whether one pattern character accepts one dialled character. 'x' and 'X' are the only
// characters that read 'x' with the lower-case bit (0x20) set.
bool characterAgrees(char wanted, char given) { return wanted == given || (wanted | 0x20) == 'x'; }

// Whether the eight pattern characters at `wanted` accept the eight dialled ones at `given`:
// a character disagrees when it differs from the dialled one and is not a wildcard.
bool wordAgrees(const char* wanted, const char* given)
{
    constexpr std::uint64_t kEveryByte = 0x0101010101010101ULL;
    std::uint64_t wantedWord;
    std::uint64_t givenWord;
    std::memcpy(&wantedWord, wanted, 8);
    std::memcpy(&givenWord, given, 8);
    const std::uint64_t differing = nonZeroBytes(wantedWord ^ givenWord);
    const std::uint64_t notWildcard = nonZeroBytes((wantedWord | kEveryByte * 0x20) ^ (kEveryByte * 'x'));
    return (differing & notWildcard) == 0;
}

// Whether the pattern agrees with the `dialled` characters at `given` over the shorter of
// the two lengths: "x" and "X" match any one character, every other character only
// itself. This runs for every entry after every digit, so long patterns are compared
// eight characters at a time, and it is made inline wherever it is used.
__attribute__((always_inline)) inline bool agreesWith(const std::string& pattern, const char* given, std::size_t dialled)
{
    const std::size_t compared = std::min(pattern.size(), dialled);
    const char* wanted = pattern.data();
    std::size_t i = 0;
    for (; i + 8 <= compared; i += 8) {
        if (!wordAgrees(wanted + i, given + i)) return false;
    }
    // The last characters of a long comparison as one more word, overlapping the one before.
    if (i < compared && compared >= 8) return wordAgrees(wanted + compared - 8, given + compared - 8);
    for (; i < compared; ++i) {
        if (!characterAgrees(wanted[i], given[i])) return false;
    }
    return true;
}

// Whether the pattern agrees with the dialled digits (agreesWith).
bool patternAgrees(const std::string& pattern, const std::string& dialled)
{
    return agreesWith(pattern, dialled.data(), dialled.size());
}

// How an entry meets the dialled digits: matchEntry's result with its reason (two reasons
// give "no match").
enum class Meeting { kDisagrees, kCheckIgnored, kPossible, kPartial, kFull, kFullMinimal };

// How an entry whose pattern agrees with the digits meets them.
inline Meeting agreeingMeetingOf(const t_dialPlanEntry& entry, std::size_t dialledCount)
{
    const std::size_t patternLength = entry.digitString.size();
    if (dialledCount > patternLength && entry.action == kActionCheck) return Meeting::kCheckIgnored;
    if (dialledCount < patternLength) return Meeting::kPossible;
    if (entry.minDigitLength > dialledCount) return Meeting::kPartial;
    if (entry.maxDigitLength <= dialledCount) return Meeting::kFull;
    return Meeting::kFullMinimal;
}

Meeting meetingOf(const t_dialPlanEntry& entry, const std::string& dialled)
{
    return patternAgrees(entry.digitString, dialled) ? agreeingMeetingOf(entry, dialled.size()) : Meeting::kDisagrees;
}

unsigned int resultOf(Meeting meeting)
{
    switch (meeting) {
    case Meeting::kPossible: return kMatchPossible;
    case Meeting::kPartial: return kPartialMatch;
    case Meeting::kFull: return kFullMatch;
    case Meeting::kFullMinimal: return kFullMinimalMatch;
    default: return kNoMatch;
    }
}

void setTimerOutput(unsigned int* timer, const t_dialPlanEntry& entry)
{
    if (timer != nullptr) *timer = entry.timer;
}

// A logger text that a phone may have replaced, null included.
std::string loggerText(const char* text) { return text != nullptr ? text : ""; }

// The log file's directory, opened without following a symbolic link at it (a link planted
// at /tmp/logs would otherwise steer the write, or the delete, into any directory), and the
// file's own name in it. -1 when the directory is missing, is a link or is no directory.
int openLogDirectory(const std::string& fileName, std::string& baseName)
{
    const std::size_t slash = fileName.rfind('/');
    baseName = slash == std::string::npos ? fileName : fileName.substr(slash + 1);
    const std::string directory =
        slash == std::string::npos ? std::string(".") : slash == 0 ? std::string("/") : fileName.substr(0, slash);
    if (baseName.empty()) return -1;
    return ::open(directory.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC);
}

void deleteLogFile(const std::string& fileName)
{
    if (fileName.empty()) return;
    std::string baseName;
    const int directory = openLogDirectory(fileName, baseName);
    if (directory < 0) return;
    ::unlinkat(directory, baseName.c_str(), 0);
    ::close(directory);
}

// Writes the whole file, or nothing when the file or its directory is a symbolic link or the
// directory is missing: the file is diagnostic only, and following a link could overwrite
// another file.
void writeLogFile(const std::string& fileName, const std::string& content)
{
    if (fileName.empty()) return;
    std::string baseName;
    const int directory = openLogDirectory(fileName, baseName);
    if (directory < 0) return;
    const int fd = ::openat(directory, baseName.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_NOFOLLOW | O_CLOEXEC, 0644);
    ::close(directory);
    if (fd < 0) return;
    std::size_t written = 0;
    while (written < content.size()) {
        const ssize_t result = ::write(fd, content.data() + written, content.size() - written);
        if (result < 0 && errno == EINTR) continue;
        if (result <= 0) break;
        written += static_cast<std::size_t>(result);
    }
    ::close(fd);
}

std::string rowPrefix(int rowNumber) { return "dialPlanEntry[" + ClientUtils::itos(rowNumber) + "]/"; }

// A length or timer from configuration: empty means "not given".
std::uint32_t configuredNumber(const std::string& text)
{
    if (text.empty()) return DIAL_PLAN_VALUE_NOT_SET;
    unsigned short number = 0;
    // Text that is not a number from 0 to 65535 reads as 0.
    (void)ClientUtils::stringToUnsignedShort(text, number);
    return number;
}

// A length or timer for getData: "not given" is written as an empty value.
std::string configurationNumberText(std::uint32_t value)
{
    return value == DIAL_PLAN_VALUE_NOT_SET ? std::string() : std::to_string(value);
}

void logInvalidLengths(const t_dialPlanEntry& entry)
{
    DAS_TRACE("\ninvalid digit length: \ndigit string:         %sminimum digit length: %dmaximum digit length: %d",
              entry.digitString.c_str(), static_cast<int>(entry.minDigitLength),
              static_cast<int>(entry.maxDigitLength));
}

// A check entry describes one number of exactly its pattern's length.
bool validateCheckEntry(t_dialPlanEntry& entry)
{
    const std::size_t length = entry.digitString.size();
    if (entry.timer == DIAL_PLAN_VALUE_NOT_SET) {
        entry.timer = kDefaultCheckTimer;
    } else if (entry.timer < 1 || entry.timer > kHighestTimer) {
        DAS_TRACE("invalid timer value: %d", static_cast<int>(entry.timer));
        return false;
    }
    if (entry.minDigitLength == DIAL_PLAN_VALUE_NOT_SET) entry.minDigitLength = static_cast<std::uint32_t>(length);
    if (entry.maxDigitLength == DIAL_PLAN_VALUE_NOT_SET) entry.maxDigitLength = static_cast<std::uint32_t>(length);
    if (entry.minDigitLength == length && entry.maxDigitLength == length) return true;
    logInvalidLengths(entry);
    return false;
}

// A send entry without a timer: a number of one length, sent as soon as it is complete.
bool validateFixedLengthEntry(t_dialPlanEntry& entry)
{
    const std::size_t length = entry.digitString.size();
    const bool minimumGiven = entry.minDigitLength != DIAL_PLAN_VALUE_NOT_SET;
    const bool maximumGiven = entry.maxDigitLength != DIAL_PLAN_VALUE_NOT_SET;
    if (!minimumGiven && !maximumGiven) {
        entry.minDigitLength = static_cast<std::uint32_t>(length);
        entry.maxDigitLength = static_cast<std::uint32_t>(length);
    } else if (!minimumGiven) {
        entry.minDigitLength = entry.maxDigitLength;
    } else if (!maximumGiven) {
        entry.maxDigitLength = entry.minDigitLength;
    } else if (entry.minDigitLength != entry.maxDigitLength) {
        DAS_TRACE("\ninvalid digit length: \nminimum digit length: %dmaximum digit length: %d",
                  static_cast<int>(entry.minDigitLength), static_cast<int>(entry.maxDigitLength));
        return false;
    }
    if (entry.maxDigitLength > kLongestFixedNumber || length > entry.maxDigitLength) {
        DAS_TRACE("\ninvalid digit length: \ndigit string:         %sminimum digit length: %d",
                  entry.digitString.c_str(), static_cast<int>(entry.minDigitLength));
        return false;
    }
    return true;
}

// A send entry with a timer: the timer runs from the minimum length until the maximum.
bool validateVariableLengthEntry(t_dialPlanEntry& entry)
{
    const std::size_t length = entry.digitString.size();
    if (entry.minDigitLength == DIAL_PLAN_VALUE_NOT_SET) entry.minDigitLength = static_cast<std::uint32_t>(length);
    if (entry.maxDigitLength == DIAL_PLAN_VALUE_NOT_SET) entry.maxDigitLength = kLongestFixedNumber;
    if (entry.minDigitLength >= length && entry.minDigitLength < entry.maxDigitLength) return true;
    logInvalidLengths(entry);
    return false;
}

int fullMatchAction(const t_dialPlanEntry& entry, std::string& digits, unsigned int* timer)
{
    if (entry.action == kActionCheck) {
        const ActionChoice choice = timerAction(entry);
        DAS_TRACE("action = %s", choice.name);
        setTimerOutput(timer, entry);
        return choice.code;
    }
    // A send entry, or an entry from storage with an action of its own: send the number.
    const ActionChoice choice = entry.action == kActionSend ? sendAction(entry)
                                                            : ActionChoice{DIAL_PLAN_ACTION_SEND, "DIAL_PLAN_ACTION_SEND"};
    DAS_TRACE("action = %s", choice.name);
    if (entry.action == kActionSend && lastDigitIsTerminator(entry, digits)) {
        DAS_TRACE("last digit is terminator");
        removeTerminator(entry, digits);
    }
    DAS_TRACE("digits to be sent: %s", digits.c_str());
    return choice.code;
}

int minimalMatchAction(const t_dialPlanEntry& entry, std::string& digits, unsigned int* timer)
{
    if (!lastDigitIsTerminator(entry, digits)) {
        const ActionChoice choice = timerAction(entry);
        DAS_TRACE("action = %s", choice.name);
        setTimerOutput(timer, entry);
        return choice.code;
    }
    if (entry.action == kActionSend) {
        const ActionChoice choice = sendAction(entry);
        DAS_TRACE("last digit is terminator, action = %s", choice.name);
        removeTerminator(entry, digits);
        DAS_TRACE("digits to be sent: %s", digits.c_str());
        return choice.code;
    }
    if (entry.action == kActionCheck) {
        const ActionChoice choice = timerAction(entry);
        DAS_TRACE("last digit is terminator, action = %s", choice.name);
        setTimerOutput(timer, entry);
        return choice.code;
    }
    DAS_TRACE("last digit is terminator, action = DIAL_PLAN_ACTION_SEND");
    return DIAL_PLAN_ACTION_SEND;
}

int onHookFullMatchAction(const t_dialPlanEntry& entry, std::string& digits)
{
    if (entry.action != kActionSend) return DIAL_PLAN_ACTION_UNDEFINED;
    const ActionChoice choice = sendAction(entry);
    const bool terminated = lastDigitIsTerminator(entry, digits);
    if (choice.code == DIAL_PLAN_ACTION_SEND) {
        if (!terminated) return DIAL_PLAN_ACTION_UNDEFINED;
        DAS_TRACE("last digit is terminator");
        DAS_TRACE("action = %s", choice.name);
        removeTerminator(entry, digits);
    } else {
        DAS_TRACE("action = %s", choice.name);
        if (terminated) {
            DAS_TRACE("last digit is terminator");
            removeTerminator(entry, digits);
        }
    }
    DAS_TRACE("digits to be sent: %s", digits.c_str());
    return choice.code;
}

int onHookMinimalMatchAction(const t_dialPlanEntry& entry, std::string& digits)
{
    if (!lastDigitIsTerminator(entry, digits) || entry.action != kActionSend) return DIAL_PLAN_ACTION_UNDEFINED;
    const ActionChoice choice = sendAction(entry);
    DAS_TRACE("last digit is terminator, action = %s", choice.name);
    removeTerminator(entry, digits);
    DAS_TRACE("digits to be sent: %s", digits.c_str());
    return choice.code;
}

}  // namespace

// ---- Life cycle, switches and peers --------------------------------------------------------

DAS_COLD DialPlan::DialPlan()
{
    DAS_TRACE("DialPlan()");
    m_logFileName = loggerText(dialPlanLoggerTexts_FileNameMips);
    deleteLogFile(m_logFileName);
}

DAS_COLD DialPlan::~DialPlan() { DAS_TRACE("~DialPlan()"); }

void DialPlan::setEnabled(bool enabled)
{
    m_enabled = enabled;
    DAS_TRACE("DialPlan::setEnabled - %s", ClientUtils::btos(enabled).c_str());
}

void DialPlan::setImmediateDiallingEnabled(bool enabled)
{
    m_immediateDiallingEnabled = enabled;
    DAS_TRACE("DialPlan::setImmediateDiallingEnabled - %s", ClientUtils::btos(enabled).c_str());
}

void DialPlan::setOnhookDialling(bool onHook)
{
    m_onHookDialling = onHook;
    DAS_TRACE("DialPlan::setOnhookDialling - %s", ClientUtils::btos(onHook).c_str());
}

DAS_COLD void DialPlan::setContext(SvcRTEContext* context)
{
    DAS_TRACE("setContext");
    m_context = context;
    if (m_context == nullptr) return;

    if (Executable* clock = m_context->findExecutable("ClockServiceIfc")) {
        m_clockService = dynamic_cast<ClockServiceIfc*>(clock);
    }
    Executable* localMgmt = m_context->findExecutable("LocalMgmtIfc");
    m_localMgmt = localMgmt != nullptr ? dynamic_cast<LocalMgmtIfc*>(localMgmt) : nullptr;
    if (m_localMgmt == nullptr) return;

    readImmediateDiallingSwitch();
}

DAS_COLD void DialPlan::readImmediateDiallingSwitch()
{
    m_managementData.clearAll();
    m_managementData.setRootId(kHotKeypadDialling, m_localMgmt);
    if (!m_localMgmt->queryData(m_managementData)) {
        DAS_TRACE("hot-keypad-dialling item not found in database");
        m_immediateDiallingEnabled = false;
        return;
    }
    const DataNode* node = m_managementData.interogate(kImmediateDiallingEnabled);
    if (node != nullptr && node->hasValue()) {
        m_immediateDiallingEnabled = node->getValue() == Utils::TRUE;
        DAS_TRACE("immediateDiallingEnabled is %s", ClientUtils::btos(m_immediateDiallingEnabled).c_str());
    } else {
        DAS_TRACE("immediateDiallingEnabled value not set");
        m_immediateDiallingEnabled = false;
    }
}

int DialPlan::entriesInUse() const { return std::clamp(m_numberOfEntries, 0, kMaxEntries); }

// ---- Configuration -------------------------------------------------------------------------

DAS_COLD bool DialPlan::validateEntry(int index)
{
    DAS_TRACE("DialPlan::validateEntry (%d)", index + 1);
    if (index < 0 || index >= kMaxEntries) return false;
    t_dialPlanEntry& entry = m_entries[index];
    const std::size_t length = entry.digitString.size();
    if (length == 0) {
        DAS_TRACE("digit string missing!");
        return false;
    }
    if (entry.action == kActionCheck) return validateCheckEntry(entry);
    if (entry.action == kActionSend) {
        if (entry.timer == DIAL_PLAN_VALUE_NOT_SET) entry.timer = 0;
        if (entry.timer == 0) return validateFixedLengthEntry(entry);
        if (entry.timer <= kHighestTimer) return validateVariableLengthEntry(entry);
        DAS_TRACE("invalid timer value: %d", static_cast<int>(entry.timer));
        return false;
    }
    DAS_TRACE("unknown action: %s", entry.action.c_str());
    return false;
}

DAS_COLD void DialPlan::appendEntryLogText(const char* label, const std::string& value)
{
    m_entriesLogText += loggerText(label);
    m_entriesLogText += value;
}

DAS_COLD bool DialPlan::setDialPlanEntries(ManageableData* data)
{
    DAS_TRACE("setDialPlanEntries( ManageableData* manageableData )");
    if (data == nullptr) return false;
    data->setRootId(kDialPlanSettingsItem);

    for (int rowNumber = 1; rowNumber <= kMaxEntries; ++rowNumber) {
        const std::string prefix = rowPrefix(rowNumber);
        std::string digitString;
        if (!data->interogate(prefix + kDigitStringItem, digitString)) {
            DAS_TRACE("no digitString for entry %s - exit loop", ClientUtils::itos(rowNumber).c_str());
            break;
        }
        const int index = rowNumber - 1;
        readConfigurationRow(*data, prefix, rowNumber, digitString);
        if (!validateEntry(index)) {
            DAS_TRACE("error found in entry %d", rowNumber);
            m_errorRow = static_cast<std::uint32_t>(rowNumber);
            m_error = true;
            return false;
        }
        logEntryData(rowNumber);
    }
    if (m_numberOfEntries == 0) DAS_TRACE("no dial plan entry found!");
    return true;
}

// Takes one configuration row into the entry of its number; items that are absent leave
// the entry's field as it was. Special numbers are listed before validation completes the
// lengths, so a lock-bypass number is padded to the maximum length as configured.
DAS_COLD void DialPlan::readConfigurationRow(const ManageableData& data, const std::string& prefix,
                                             int rowNumber, const std::string& digitString)
{
    t_dialPlanEntry& entry = m_entries[rowNumber - 1];
    entry.digitString = digitString;
    ++m_numberOfEntries;
    m_entriesLogText += loggerText(dialPlanLoggerTexts_separation_line);
    m_entriesLogText += loggerText(dialPlanLoggerTexts_entry_header);
    appendEntryLogText(dialPlanLoggerTexts_entry_number, ClientUtils::itos(rowNumber));
    appendEntryLogText(dialPlanLoggerTexts_digit_string, digitString);

    std::string value;
    if (data.interogate(prefix + kActionItem, value)) {
        entry.action = value;
        appendEntryLogText(dialPlanLoggerTexts_action, value);
    }
    if (data.interogate(prefix + kMinDigitLengthItem, value)) {
        entry.minDigitLength = configuredNumber(value);
        appendEntryLogText(dialPlanLoggerTexts_min_digit_length, value);
    }
    if (data.interogate(prefix + kMaxDigitLengthItem, value)) {
        entry.maxDigitLength = configuredNumber(value);
        appendEntryLogText(dialPlanLoggerTexts_max_digit_length, value);
    }
    if (data.interogate(prefix + kTimerItem, value)) {
        entry.timer = configuredNumber(value);
        appendEntryLogText(dialPlanLoggerTexts_timer, value);
    }
    if (data.interogate(prefix + kTerminatorItem, value)) {
        entry.terminator = value;
        appendEntryLogText(dialPlanLoggerTexts_terminator, value);
    }
    if (data.interogate(prefix + kSpecialNumberItem, value)) {
        entry.specialNumberIndication = value;
        appendEntryLogText(dialPlanLoggerTexts_special_number, value);
        appendSpecialNumber(entry);
    }
    if (data.interogate(prefix + kCommentItem, value)) {
        entry.comment = value;
        appendEntryLogText(dialPlanLoggerTexts_comment, value);
    }
    if (data.interogate(prefix + kTerminatorSentItem, value)) {
        entry.terminatorSent = value == Utils::TRUE;
        appendEntryLogText(dialPlanLoggerTexts_terminator_sent, value);
    }
}

DAS_COLD void DialPlan::logEntryData(int rowNumber)
{
    const t_dialPlanEntry& entry = m_entries[rowNumber - 1];
    DAS_TRACE("\n****** data of entry %d: ****\ndigit string:         %s\naction:               %s\n"
              "minimum digit length: %d\nmaximum digit length: %d\ntimer:                %d\n"
              "terminator:           %s\nspecial number:       %s\ncomment:              %s\n"
              "terminator sent:      %s\n",
              rowNumber, entry.digitString.c_str(), entry.action.c_str(), static_cast<int>(entry.minDigitLength),
              static_cast<int>(entry.maxDigitLength), static_cast<int>(entry.timer), entry.terminator.c_str(),
              entry.specialNumberIndication.c_str(), entry.comment.c_str(),
              ClientUtils::btos(entry.terminatorSent).c_str());
}

DAS_COLD bool DialPlan::setData(ManageableData& data)
{
    DAS_TRACE("setData");
    deleteLogFile(m_logFileName);
    m_headerLogText.clear();
    m_planLogText.clear();
    logDialPlanHeader();

    std::vector<std::string> rootIds;
    data.getRootIds(rootIds);
    for (const std::string& rootId : rootIds) {
        std::string value;
        // An item without a value is applied as the empty text.
        (void)data.interogate(rootId, rootId, value);
        applyConfigurationItem(data, rootId, value);
    }

    logDialPlan();
    if (m_error) return false;
    writeDialPlanOverviewToDAS();
    writeDialPlanEntriesToDAS();
    return true;
}

DAS_COLD void DialPlan::applyConfigurationItem(ManageableData& data, const std::string& name, const std::string& value)
{
    if (name == kDialPlanEnabledItem) {
        const bool enabled = value == Utils::TRUE;
        DAS_TRACE("dialPlanEnabled is %s", ClientUtils::btos(enabled).c_str());
        setEnabled(enabled);
    } else if (name == kDialPlanIdItem) {
        applyIdentity(value);
    } else if (name == kDialPlanErrorItem) {
        if (value.empty()) {
            DAS_TRACE("dialPlanError is empty");
            m_error = false;
        } else {
            DAS_TRACE("dialPlanError is %s", value.c_str());
            m_error = value == Utils::TRUE;
            if (m_error) setEnabled(false);
        }
    } else if (name == kDialPlanErrorRowItem) {
        if (value.empty()) {
            DAS_TRACE("dialPlanErrorRow is empty");
            m_errorRow = 0;
        } else {
            DAS_TRACE("dialPlanErrorRow is %s", value.c_str());
            unsigned short row = 0;
            // Text that is not a number from 0 to 65535 reads as row 0.
            (void)ClientUtils::stringToUnsignedShort(value, row);
            m_errorRow = row;
        }
    } else if (name == kDialPlanSettingsItem) {
        DAS_TRACE("dialPlanSettings");
        m_emergencyNumbers.clear();
        m_lockBypassNumbers.clear();
        m_entriesLogText.clear();
        m_numberOfEntries = 0;
        m_error = !setDialPlanEntries(&data);
        if (m_error) setEnabled(false);
    } else {
        DAS_TRACE("setData: unknown item: %s, value: %s\n", name.c_str(), value.c_str());
    }
}

// A plan without an identity is no plan: its entries are dropped and it is switched off.
DAS_COLD void DialPlan::applyIdentity(const std::string& identity)
{
    m_identity = identity;
    if (!identity.empty()) {
        DAS_TRACE("dialPlanIdentity is %s", identity.c_str());
        return;
    }
    DAS_TRACE("dialPlanIdentity is empty!");
    m_numberOfEntries = 0;
    m_entriesLogText.clear();
    setEnabled(false);
}

DAS_COLD bool DialPlan::getData(ManageableData& data)
{
    DAS_TRACE("getData");
    const auto addItem = [&](const std::string& rootId, const std::string& node, const std::string& value) {
        data.addRootId(rootId, m_localMgmt);
        data.populate(rootId, node, value);
    };
    addItem(kDialPlanEnabledItem, "dialPlanEnabled", ClientUtils::btos(m_enabled));
    addItem(kDialPlanIdItem, "dialPlanId", m_identity);
    addItem(kDialPlanErrorItem, "dialPlanError", ClientUtils::btos(m_error));
    addItem(kDialPlanErrorRowItem, "dialPlanErrorRow", m_error ? std::to_string(m_errorRow) : std::string());

    data.addRootId(kDialPlanSettingsItem, m_localMgmt);
    for (int index = 0; index < entriesInUse(); ++index) addEntryItems(data, index);

    DAS_TRACE("\n************ serialized dial plan data: **********\n %s", data.serialize().c_str());
    return true;
}

DAS_COLD void DialPlan::addEntryItems(ManageableData& data, int index)
{
    const t_dialPlanEntry& entry = m_entries[index];
    const std::string prefix = rowPrefix(index + 1);
    const auto put = [&](const std::string& item, const std::string& value, const char* failure) {
        if (!data.populate(kDialPlanSettingsItem, prefix + item, value)) DAS_TRACE("%s", failure);
    };
    put(kDigitStringItem, entry.digitString, "getData error - digit string");
    put(kActionItem, entry.action, "getData error - action");
    put(kMinDigitLengthItem, configurationNumberText(entry.minDigitLength), "getData error - minimum digit length");
    put(kMaxDigitLengthItem, configurationNumberText(entry.maxDigitLength), "getData error - maximum digit length");
    put(kTimerItem, configurationNumberText(entry.timer), "getData error - timer");
    put(kTerminatorItem, entry.terminator, "getData error - terminating char");
    put(kSpecialNumberItem, entry.specialNumberIndication, "getData error - special number indication");
    put(kCommentItem, entry.comment, "getData error - comment");
    put(kTerminatorSentItem, ClientUtils::btos(entry.terminatorSent), "getData error - terminating character sent");
}

// ---- Matching ------------------------------------------------------------------------------

unsigned int DialPlan::matchEntry(std::string* digits, unsigned int index)
{
    DAS_TRACE("DialPlan::matchEntry");
    if (index >= static_cast<unsigned int>(kMaxEntries)) return kNoMatch;
    static const std::string noDigits;
    const std::string& dialled = digits != nullptr ? *digits : noDigits;
    const t_dialPlanEntry& entry = m_entries[index];
    const std::string& pattern = entry.digitString;
    DAS_TRACE("\n**************************\nentryNumber:  %d\npattern:      %s\ndialedDigits: %s\n",
              static_cast<int>(index), pattern.c_str(), dialled.c_str());

    const Meeting meeting = meetingOf(entry, dialled);
    switch (meeting) {
    case Meeting::kDisagrees: DAS_TRACE("no match"); break;
    case Meeting::kCheckIgnored: DAS_TRACE("more dialed digits than pattern and action check - ignore entry"); break;
    case Meeting::kPossible: DAS_TRACE("match possible"); break;
    case Meeting::kPartial: DAS_TRACE("partial match"); break;
    case Meeting::kFull: DAS_TRACE("full match"); break;
    case Meeting::kFullMinimal: DAS_TRACE("full (minimal) match"); break;
    }
    return resultOf(meeting);
}

unsigned int DialPlan::tracedEntryResult(std::string& digits, int index)
{
    DAS_TRACE("valid entry found at index %d", index);
    return matchEntry(&digits, static_cast<unsigned int>(index));
}

// With trace logging off nothing of matchEntry or of "valid entry found" would be written,
// so the scans ask once whether it is on and, when it is not, search with this instead:
// one comparison of the pattern per entry and digit (there were three on-hook), most
// entries passed over after their first character, and nothing called in the loop, so the
// digits stay in registers.
int DialPlan::firstDecidingEntry(const std::string& digits, unsigned int decidingResults, unsigned int& result) const
{
    const char* const given = digits.data();
    const std::size_t dialled = digits.size();
    const int count = entriesInUse();
    for (int index = 0; index < count; ++index) {
        const t_dialPlanEntry& entry = m_entries[index];
        const std::string& pattern = entry.digitString;
        if (pattern.empty()) return -1;
        if (dialled != 0 && !characterAgrees(pattern[0], given[0])) continue;
        if (!agreesWith(pattern, given, dialled)) continue;
        const unsigned int entryResult = resultOf(agreeingMeetingOf(entry, dialled));
        if (((1u << entryResult) & decidingResults) != 0) {
            result = entryResult;
            return index;
        }
    }
    return -1;
}

int DialPlan::getAction(std::string* digits, unsigned int* timer)
{
    DAS_TRACE("getAction");
    if (timer != nullptr) *timer = 0;
    if (!m_enabled) {
        DAS_TRACE("no dial plan active");
        return DIAL_PLAN_ACTION_UNDEFINED;
    }
    std::string noDigits;
    std::string& dialled = digits != nullptr ? *digits : noDigits;
    m_dialledDigits = dialled;
    if (m_immediateDiallingEnabled || !m_onHookDialling) return getImmediateAction(dialled, timer);
    DAS_TRACE("immediate dialling not activated - check for emergency numbers");
    return getOnHookAction(dialled);
}

// Off-hook (or with immediate dialling): the first entry that matches, or may still match,
// decides; later entries are not looked at.
int DialPlan::getImmediateAction(std::string& digits, unsigned int* timer)
{
    const int count = entriesInUse();
    if (!loggingOnAppVex(kDasLogComponent, kLogTrace)) {
        constexpr unsigned int kDeciding =
            1u << kMatchPossible | 1u << kPartialMatch | 1u << kFullMatch | 1u << kFullMinimalMatch;
        unsigned int result = kNoMatch;
        const int index = firstDecidingEntry(digits, kDeciding, result);
        if (index < 0) return DIAL_PLAN_ACTION_NONE;
        return immediateDecision(m_entries[index], result, digits, timer);
    }
    for (int index = 0; index < count; ++index) {
        const t_dialPlanEntry& entry = m_entries[index];
        if (entry.digitString.empty()) {
            DAS_TRACE("end of entry list reached");
            return DIAL_PLAN_ACTION_NONE;
        }
        const unsigned int result = tracedEntryResult(digits, index);
        if (result != kNoMatch) return immediateDecision(entry, result, digits, timer);
    }
    return DIAL_PLAN_ACTION_NONE;
}

// Off-hook: the code of the first entry that matches, or may still match.
int DialPlan::immediateDecision(const t_dialPlanEntry& entry, unsigned int result, std::string& digits, unsigned int* timer)
{
    switch (result) {
    case kMatchPossible:
    case kPartialMatch:
        DAS_TRACE("action = DIAL_PLAN_ACTION_NONE");
        return DIAL_PLAN_ACTION_NONE;
    case kFullMatch:
        return fullMatchAction(entry, digits, timer);
    case kFullMinimalMatch:
        return minimalMatchAction(entry, digits, timer);
    default:
        return DIAL_PLAN_ACTION_NONE;
    }
}

// On-hook without immediate dialling only sends: emergency and lock-bypass numbers as soon
// as they are complete, ordinary numbers only when they end with the terminator.
int DialPlan::getOnHookAction(std::string& digits)
{
    const int count = entriesInUse();
    if (!loggingOnAppVex(kDasLogComponent, kLogTrace)) {
        unsigned int result = kNoMatch;
        const int index = firstDecidingEntry(digits, 1u << kFullMatch | 1u << kFullMinimalMatch, result);
        if (index < 0) return DIAL_PLAN_ACTION_UNDEFINED;
        const t_dialPlanEntry& entry = m_entries[index];
        return result == kFullMatch ? onHookFullMatchAction(entry, digits) : onHookMinimalMatchAction(entry, digits);
    }
    for (int index = 0; index < count; ++index) {
        const t_dialPlanEntry& entry = m_entries[index];
        if (entry.digitString.empty()) {
            DAS_TRACE("end of entry list reached");
            return DIAL_PLAN_ACTION_UNDEFINED;
        }
        // An entry that is not a full match is matched a second time, and both matches are
        // written, as they always were.
        if (tracedEntryResult(digits, index) == kFullMatch) return onHookFullMatchAction(entry, digits);
        if (matchEntry(&digits, static_cast<unsigned int>(index)) == kFullMinimalMatch) {
            return onHookMinimalMatchAction(entry, digits);
        }
    }
    return DIAL_PLAN_ACTION_UNDEFINED;
}

bool DialPlan::isLockBypass(std::string& digits)
{
    DAS_TRACE("isLockedBypass");
    const int count = entriesInUse();
    for (int index = 0; index < count; ++index) {
        const unsigned int match = matchEntry(&digits, static_cast<unsigned int>(index));
        if ((match == kFullMinimalMatch || match == kFullMatch) &&
            m_entries[index].specialNumberIndication == kLockBypassIndication) {
            return true;
        }
    }
    return false;
}

DAS_COLD void DialPlan::extractSpecialNumbers()
{
    DAS_TRACE("extractSpecialNumbers");
    const int count = entriesInUse();
    for (int index = 0; index < count; ++index) appendSpecialNumber(m_entries[index]);
}

// Emergency numbers are listed as they are; a lock-bypass number is padded with "x" to its
// maximum length so that it reads as the pattern of a complete number.
DAS_COLD void DialPlan::appendSpecialNumber(const t_dialPlanEntry& entry)
{
    if (entry.specialNumberIndication == kEmergencyIndication) {
        if (!m_emergencyNumbers.empty()) m_emergencyNumbers += ",";
        m_emergencyNumbers += entry.digitString;
        DAS_TRACE("emergency number - list of emergency numbers is now: %s", m_emergencyNumbers.c_str());
    } else if (entry.specialNumberIndication == kLockBypassIndication) {
        if (!m_lockBypassNumbers.empty()) m_lockBypassNumbers += ",";
        std::string padded = entry.digitString;
        const std::size_t paddedLength =
            std::min(static_cast<std::size_t>(entry.maxDigitLength), kLongestLockBypassPadding);
        if (padded.size() < paddedLength) padded.resize(paddedLength, 'x');
        m_lockBypassNumbers += padded;
        DAS_TRACE("lock bypass number - list of lock bypass numbers is now: %s", m_lockBypassNumbers.c_str());
    }
}

// ---- Storage -------------------------------------------------------------------------------

DAS_COLD bool DialPlan::readDialPlanOverviewFromDAS()
{
    DAS_TRACE("readDialPlanOverviewFromDAS");
    if (m_dataAccessService == nullptr) return false;
    const std::string response = m_dataAccessService->processRequest(Utils::readDialPlanOverview());
    DAS_TRACE("result from DAS: \n%s", response.c_str());
    const bool found = Utils::parseXMLDialPlanOverview(response, *this);

    deleteLogFile(m_logFileName);
    m_headerLogText.clear();
    m_planLogText.clear();
    m_entriesLogText.clear();
    logDialPlanHeader();
    return found;
}

DAS_COLD bool DialPlan::writeDialPlanOverviewToDAS()
{
    DAS_TRACE("writeDialPlanOverviewToDAS");
    if (m_dataAccessService == nullptr) return false;
    // The stored entries go first, so that the entries write that follows replaces them.
    m_dataAccessService->processRequest(Utils::deleteDialPlan());
    const std::string message = Utils::writeDialPlanOverview(m_identity, m_enabled, m_error, m_errorRow);
    DAS_TRACE("message to DAS: \n%s", message.c_str());
    const std::string response = m_dataAccessService->processRequest(message);
    DAS_TRACE("response from DAS: \n%s", response.c_str());
    return true;
}

// The entries read replace the plan's entries, so the special-number lists are rebuilt
// from them rather than added to.
DAS_COLD bool DialPlan::readDialPlanEntriesFromDAS()
{
    DAS_TRACE("readDialPlanEntriesFromDAS");
    if (m_dataAccessService == nullptr) return false;
    const std::string response = m_dataAccessService->processRequest(Utils::readDialPlan());
    DAS_TRACE("result from DAS: \n%s", response.c_str());
    Utils::parseXMLDialPlanEntries(response, *this);

    m_emergencyNumbers.clear();
    m_lockBypassNumbers.clear();
    extractSpecialNumbers();
    logDialPlanEntries();
    logDialPlan();
    return true;
}

DAS_COLD bool DialPlan::writeDialPlanEntriesToDAS()
{
    DAS_TRACE("writeDialPlanEntriesToDAS");
    if (m_dataAccessService == nullptr) return false;
    const std::string message = Utils::writeDialPlan(this);
    DAS_TRACE("message to DAS: \n%s", message.c_str());
    const std::string response = m_dataAccessService->processRequest(message);
    DAS_TRACE("response from DAS: \n%s", response.c_str());
    return true;
}

// ---- Log file ------------------------------------------------------------------------------

DAS_COLD void DialPlan::logDialPlanHeader()
{
    DAS_TRACE("logDialPlanHeader");
    m_headerLogText += loggerText(dialPlanLoggerTexts_header_first_line);
    m_headerLogText += loggerText(dialPlanLoggerTexts_header_creation_date);
    if (m_clockService != nullptr) m_headerLogText += creationDate();
    m_headerLogText += loggerText(dialPlanLoggerTexts_header_last_line);
}

DAS_COLD std::string DialPlan::creationDate()
{
    int hour = 0, minute = 0, second = 0, day = 0, month = 0, year = 0;
    m_clockService->getTime(hour, minute, second);
    m_clockService->getDate(day, month, year);
    char buffer[21];
    const int length = std::snprintf(buffer, sizeof buffer, "%04d-%02d-%02d  %02d:%02d:%02d", year, month, day,
                                     hour, minute, second);
    if (length < 0) return std::string();
    // A date out of range is cut to the buffer, as the header has room for 20 characters.
    return std::string(buffer, std::min(static_cast<std::size_t>(length), sizeof buffer - 1));
}

DAS_COLD void DialPlan::logDialPlan()
{
    DAS_TRACE("logDialPlan");
    m_planLogText += loggerText(dialPlanLoggerTexts_enabled) + ClientUtils::btos(m_enabled);
    m_planLogText += loggerText(dialPlanLoggerTexts_identity) + m_identity;
    m_planLogText += loggerText(dialPlanLoggerTexts_error) + ClientUtils::btos(m_error);
    m_planLogText += loggerText(dialPlanLoggerTexts_error_row);
    if (m_error) m_planLogText += std::to_string(m_errorRow);

    m_logFileName = loggerText(dialPlanLoggerTexts_FileNameMips);
    writeLogFile(m_logFileName, m_headerLogText + m_planLogText + m_entriesLogText);
    m_headerLogText.clear();
    m_planLogText.clear();
}

DAS_COLD void DialPlan::logDialPlanEntries()
{
    const int count = entriesInUse();
    for (int index = 0; index < count; ++index) {
        const t_dialPlanEntry& entry = m_entries[index];
        m_entriesLogText += loggerText(dialPlanLoggerTexts_separation_line);
        m_entriesLogText += loggerText(dialPlanLoggerTexts_entry_header);
        appendEntryLogText(dialPlanLoggerTexts_entry_number, ClientUtils::itos(index + 1));
        appendEntryLogText(dialPlanLoggerTexts_digit_string, entry.digitString);
        appendEntryLogText(dialPlanLoggerTexts_action, entry.action);
        appendEntryLogText(dialPlanLoggerTexts_min_digit_length, std::to_string(entry.minDigitLength));
        appendEntryLogText(dialPlanLoggerTexts_max_digit_length, std::to_string(entry.maxDigitLength));
        appendEntryLogText(dialPlanLoggerTexts_timer, std::to_string(entry.timer));
        appendEntryLogText(dialPlanLoggerTexts_terminator, entry.terminator);
        appendEntryLogText(dialPlanLoggerTexts_special_number, entry.specialNumberIndication);
        appendEntryLogText(dialPlanLoggerTexts_comment, entry.comment);
        appendEntryLogText(dialPlanLoggerTexts_terminator_sent, ClientUtils::btos(entry.terminatorSent));
    }
}
