#pragma once
// The keywords of the requests the digit analysis service's invoker understands: a request
// is recognised by the keyword it begins with (docs/protocol-requests.md gives each one's
// form and reply). The invoker's request table and the clients that check what they send
// both take the keywords from here, so that each is written once.

namespace das_requests {
inline constexpr const char* kStartDialling = "startdiallingrequest";
inline constexpr const char* kDialPartyDetails = "dialpartydetailsresponse";
inline constexpr const char* kStartBlindTransferDialling = "startblindtransferdiallingrequest";
inline constexpr const char* kStartOnHookDialling = "startonhookdiallingrequest";
inline constexpr const char* kStopDialling = "stopdiallingrequest";
inline constexpr const char* kResetAutoDialTimer = "resetAutoDialTimer";
inline constexpr const char* kSuspendDialling = "suspenddiallingrequest";
inline constexpr const char* kResumeDialling = "resumediallingrequest";
inline constexpr const char* kDialString = "dialstringrequest";
inline constexpr const char* kSetCallContextProvider = "set_call_context_provider_request";
inline constexpr const char* kClearCallContentProvider = "clear_call_content_provider_request";
inline constexpr const char* kSetDialler = "set_dialler_request";
inline constexpr const char* kIsCanonicalDataValid = "isCanonicalDataValidRequest";
inline constexpr const char* kCanonicalConversion = "canonicalconversionrequest";
inline constexpr const char* kLocalDialableConversion = "localdialableconversionrequest";
inline constexpr const char* kRingCentralConversion = "ringcentralconversionrequest";
inline constexpr const char* kCanonicalToLocalDialableConversion = "canonicaltolocaldialableconversionrequest";
inline constexpr const char* kGetEmergencyNumbersDialString = "getEmergencyNumbersDialStringRequest";
inline constexpr const char* kGetLatestDialledDigits = "getLatestDialledDigitsRequest";
inline constexpr const char* kGetLockBypassNumbersDialString = "getLockBypassNumbersDialStringRequest";
inline constexpr const char* kIsEmergencyNumber = "isEmergencyNumberRequest";
inline constexpr const char* kIsLockBypass = "islockbypassrequest";
inline constexpr const char* kIsFacPrefix = "isfacprefixrequest";

// Every keyword, in the order the invoker tries them.
inline constexpr const char* kAllKeywords[] = {
    kStartDialling,
    kDialPartyDetails,
    kStartBlindTransferDialling,
    kStartOnHookDialling,
    kStopDialling,
    kResetAutoDialTimer,
    kSuspendDialling,
    kResumeDialling,
    kDialString,
    kSetCallContextProvider,
    kClearCallContentProvider,
    kSetDialler,
    kIsCanonicalDataValid,
    kCanonicalConversion,
    kLocalDialableConversion,
    kRingCentralConversion,
    kCanonicalToLocalDialableConversion,
    kGetEmergencyNumbersDialString,
    kGetLatestDialledDigits,
    kGetLockBypassNumbersDialString,
    kIsEmergencyNumber,
    kIsLockBypass,
    kIsFacPrefix,
};

// The reply to a request the invoker cannot handle (a known keyword with a malformed rest).
inline constexpr char kErrorReply[] = "errorresponse";
}  // namespace das_requests
