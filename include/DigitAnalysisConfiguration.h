#pragma once
// The names of the configuration the digit analysis service reads: the items of the
// configuration store it reads and registers for, and the settings of the canonical dial
// settings document. The service and the host programs both take the names from here, so that
// each is written once (docs/configuration.md says what each item does).

#include <cstddef>

namespace das_keys {
// Items of the configuration store.
inline constexpr const char* kCanonicalDialSettings = "canonicalDialSettings";
inline constexpr const char* kEmergencyE164 = "emergency-e164";
inline constexpr const char* kPhoneLockActive = "phone-lock-active";
inline constexpr const char* kInitialDigitTimer = "initial-digit-timer";
inline constexpr const char* kAutoDialTimer = "autodialtimer";
inline constexpr const char* kNewCanonicalSettings = "new-canonical-settings";
inline constexpr const char* kHotLineWarmLine = "hot-line-warm-line";
inline constexpr const char* kHotLineWarmLineDigits = "hot-line-warm-line-digits";
inline constexpr const char* kHotKeypadDialling = "hot-keypad-dialling";
inline constexpr const char* kMobilityCurrentUser = "mobility-current-user";
inline constexpr const char* kFacPrefixNumbers = "fac-prefix-numbers";
inline constexpr const char* kServerType = "server-type";
inline constexpr const char* kDialPlanEnabled = "dial-plan-enabled";
inline constexpr const char* kDiagnosticCallPrefix = "diagnostic-call-prefix";
inline constexpr const char* kSoftwareType = "software-type";

// The items the service registers for change notifications, in the order it registers them.
inline constexpr const char* kObservedKeys[] = {
    kCanonicalDialSettings, kEmergencyE164,       kPhoneLockActive,      kInitialDigitTimer,
    kAutoDialTimer,         kNewCanonicalSettings, kHotLineWarmLine,     kHotLineWarmLineDigits,
    kHotKeypadDialling,     kMobilityCurrentUser,  kFacPrefixNumbers,    kServerType,
};

// The canonical dial settings held as text, in the order the service reads them.
inline constexpr const char* kCanonicalTextKeys[] = {
    "countryCode",         "nationalPrefix", "areaCode",     "minLocalNumberLength", "localEnterpriseNode",
    "localCallPrefix",     "internationalPrefix", "operatorCode", "emergencyNumber", "extensionInitialDigits",
};
// The canonical dial setting read as a flag.
inline constexpr const char* kCanonicalExpectDialNumber = "expectDialNumber";
// The canonical dial settings that choose the dialable forms, held as numbers.
inline constexpr const char* kCanonicalDialFormKeys[] = {
    "dialInternalForm", "dialExternalForm", "dialNeedsAccessCode", "dialNeedsIntGWcode",
};
// The local code look-up table of the canonical dial settings: rows of "lookUp" with these
// two settings each.
inline constexpr const char* kCanonicalLookUp = "lookUp";
inline constexpr const char* kCanonicalLookUpKeys[] = {"localCode", "internationalCode"};

inline constexpr std::size_t kCanonicalSettingCount =
    sizeof kCanonicalTextKeys / sizeof kCanonicalTextKeys[0] + 1 + sizeof kCanonicalDialFormKeys / sizeof kCanonicalDialFormKeys[0];
}  // namespace das_keys
