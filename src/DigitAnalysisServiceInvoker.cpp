#define DAS_LOG_SOURCE "src/DigitAnalysisServiceInvoker"

#include "DigitAnalysisServiceInvoker.h"

#include "CallPartyIdentifier.h"
#include "DigitAnalysisServiceEventIfc.h"
#include "DigitAnalysisServiceIfc.h"
#include "DigitAnalysisServicePlugin.h"
#include "FrameworkContext.h"
#include "InvokerResponse.h"
#include "ServiceLog.h"

extern "C" Invoker* createDigitAnalysisServiceInvoker()
{
    return new DigitAnalysisServiceInvoker();
}

namespace {

// Looked up for every message of a named client: made once, not for each look-up.
const std::string& eventInterfaceName()
{
    static const std::string name = "DigitAnalysisServiceEventIfc";
    return name;
}
constexpr const char kErrorReply[] = "errorresponse";

// What handling one request produced.
struct Outcome {
    enum Kind { kNoReply, kReply, kError };
    Kind kind = kNoReply;
    std::string reply;

    static Outcome none() { return {}; }
    static Outcome error() { return {kError, {}}; }
    static Outcome replyWith(std::string text) { return {kReply, std::move(text)}; }
};

// One request message with what its handler needs.
struct Request {
    const std::string& text;
    DigitAnalysisServiceIfc& service;
    DigitAnalysisServiceEventIfc* callback;

    std::string::size_type colon() const { return text.find(':'); }
    std::string::size_type comma() const { return text.find(','); }
    bool hasColon() const { return colon() != std::string::npos; }
    bool hasComma() const { return comma() != std::string::npos; }

    // From after the first ":" up to the first ",", or to the end when there is no comma
    // or it stands before the colon. Callers make sure there is a colon.
    std::string field() const
    {
        const auto start = colon() + 1;
        const auto end = comma();
        if (end == std::string::npos || end < start) return text.substr(start);
        return text.substr(start, end - start);
    }

    // Everything after the first ",". Callers make sure there is a comma.
    std::string tail() const { return text.substr(comma() + 1); }
};

std::string yesNoSuffix(bool yes) { return yes ? ",1" : ",0"; }
std::string bareYesNo(bool yes) { return yes ? "1" : "0"; }

// A conversion reply: the converted number and ",1", or ",0" alone.
std::string conversionReply(const std::string& prefix, bool converted, const std::string& number)
{
    return converted ? prefix + number + ",1" : prefix + ",0";
}

Outcome startDiallingRequest(const Request& request)
{
    if (!request.hasColon() || !request.hasComma()) return Outcome::error();
    const auto start = request.colon() + 1;
    const auto end = request.comma();
    const std::string digits = start < end ? request.text.substr(start, end - start) : std::string();
    request.service.startDialling(digits, request.callback, request.tail() == "1");
    return Outcome::none();
}

Outcome dialPartyDetailsResponse(const Request& request)
{
    const std::string party = request.hasColon() ? request.text.substr(request.colon() + 1) : std::string();
    CallPartyIdentifier identifier;
    if (party.find("no_dial_party") != std::string::npos) {
        request.service.dialPartyDetailsResponse(identifier, false, false);
    } else {
        // A party text that does not read leaves the identifier empty; the details still count as given.
        (void)identifier.deserialize(party);
        request.service.dialPartyDetailsResponse(identifier, true, false);
    }
    return Outcome::none();
}

Outcome startBlindTransferDiallingRequest(const Request& request)
{
    request.service.startBlindTransferDialling();
    return Outcome::none();
}

Outcome startOnHookDiallingRequest(const Request& request)
{
    request.service.startOnHookDialling(request.callback);
    return Outcome::none();
}

Outcome stopDiallingRequest(const Request& request)
{
    request.service.stopDialling(request.callback);
    return Outcome::none();
}

Outcome resetAutoDialTimerRequest(const Request& request)
{
    request.service.resetAutoDialTimer();
    return Outcome::none();
}

Outcome suspendDiallingRequest(const Request& request)
{
    request.service.suspendDialling();
    return Outcome::none();
}

Outcome resumeDiallingRequest(const Request& request)
{
    request.service.resumeDialling();
    return Outcome::none();
}

Outcome dialStringRequest(const Request& request)
{
    if (!request.hasColon() || !request.hasComma()) return Outcome::error();
    std::string digits = request.field();
    const int match = request.service.dialString(&digits, request.tail() == "1", request.callback);
    switch (match) {
    case eMatchFull: return Outcome::replyWith("dialstringresponse:" + digits + ",1");
    case eMatchNone: return Outcome::replyWith("dialstringresponse:,0");
    case eMatchEmergencyNumber: return Outcome::replyWith("dialstringresponse:" + digits + ",2");
    default: return Outcome::none();
    }
}

Outcome setCallContextProviderRequest(const Request& request)
{
    const bool set = request.service.setCallContextProvider(request.callback);
    return Outcome::replyWith("set_call_context_provider_response:" + yesNoSuffix(set));
}

Outcome clearCallContentProviderRequest(const Request& request)
{
    const bool cleared = request.service.clearCallContextProvider(request.callback);
    return Outcome::replyWith("clear_call_content_provider_response:" + yesNoSuffix(cleared));
}

Outcome setDiallerRequest(const Request& request)
{
    const bool set = request.service.setDialler(request.callback);
    return Outcome::replyWith("set_dialler_response:" + yesNoSuffix(set));
}

Outcome isCanonicalDataValidRequest(const Request& request)
{
    return Outcome::replyWith("isCanonicalDataValidResponse:" + bareYesNo(request.service.isCanonicalDataValid()));
}

Outcome canonicalConversionRequest(const Request& request)
{
    if (!request.hasColon()) return Outcome::error();
    std::string number = request.field();
    const bool converted = request.service.convertToCanonical(number);
    return Outcome::replyWith(conversionReply("canonicalconversionresponse:", converted, number));
}

// The second field: after the first comma up to the next one (or the end); empty when the
// request has no comma at all.
std::string secondField(const Request& request)
{
    if (!request.hasComma()) return {};
    const auto start = request.comma() + 1;
    const auto end = request.text.find(',', start);
    return end == std::string::npos ? request.text.substr(start) : request.text.substr(start, end - start);
}

Outcome localDialableConversionRequest(const Request& request)
{
    if (!request.hasColon()) return Outcome::error();
    std::string number = request.field();
    std::string diagnosticCall = secondField(request);
    if (!request.service.convertToLocalDialable(number, diagnosticCall)) {
        return Outcome::replyWith("localdialableconversionresponse:,false,0");
    }
    return Outcome::replyWith("localdialableconversionresponse:" + number + "," + diagnosticCall + ",1");
}

Outcome ringCentralConversionRequest(const Request& request)
{
    if (!request.hasColon()) return Outcome::error();
    std::string number = request.field();
    const bool converted = request.service.convertToDialableRingCentral(number);
    return Outcome::replyWith(conversionReply("ringcentralconversionresponse:", converted, number));
}

Outcome canonicalToLocalDialableConversionRequest(const Request& request)
{
    if (!request.hasColon()) return Outcome::error();
    std::string number = request.field();
    const bool converted = request.service.convertCanonicalToLocalDialable(number);
    return Outcome::replyWith(conversionReply("canonicaltolocaldialableconversionresponse:", converted, number));
}

Outcome getEmergencyNumbersDialStringRequest(const Request& request)
{
    std::string numbers;
    request.service.getEmergencyNumbersDialString(&numbers);
    return Outcome::replyWith(numbers.empty() ? "emergencynumbernotset" : numbers);
}

Outcome getLatestDialledDigitsRequest(const Request& request)
{
    std::string digits;
    request.service.getLatestDialledDigits(&digits);
    return Outcome::replyWith(digits);
}

Outcome getLockBypassNumbersDialStringRequest(const Request& request)
{
    std::string numbers;
    request.service.getLockBypassNumbersDialString(&numbers);
    return Outcome::replyWith(numbers.empty() ? "lockbypassnumbernotset" : numbers);
}

// "isEmergencyNumberRequest:<exact flag>:<number>[,...]"
Outcome isEmergencyNumberRequest(const Request& request)
{
    const auto firstColon = request.colon();
    if (firstColon == std::string::npos) return Outcome::error();
    const auto secondColon = request.text.find(':', firstColon + 1);
    if (secondColon == std::string::npos) return Outcome::error();

    const bool exactMatch = request.text.substr(firstColon + 1, secondColon - firstColon - 1) != "false";
    const auto start = secondColon + 1;
    const auto comma = request.comma();
    std::string number = comma == std::string::npos || comma < secondColon ? request.text.substr(start)
                                                                            : request.text.substr(start, comma - start);
    const bool emergency = request.service.isEmergencyNumber(number, exactMatch);
    return Outcome::replyWith("isEmergencyNumberResponse:" + bareYesNo(emergency));
}

Outcome isLockBypassRequest(const Request& request)
{
    if (!request.hasColon()) return Outcome::none();
    std::string number = request.field();
    const bool bypass = request.service.isLockBypass(number);
    return Outcome::replyWith(conversionReply("islockbypassresponse:", bypass, number));
}

// Unlike the other yes/no replies, the number is echoed whatever the answer.
Outcome isFACPrefixRequest(const Request& request)
{
    if (!request.hasColon()) return Outcome::none();
    const std::string number = request.field();
    const bool prefix = request.service.isFACPrefix(number);
    return Outcome::replyWith("isfacprefixresponse:" + number + yesNoSuffix(prefix));
}

enum class Match { kContains, kStartsWith };

struct RequestRow {
    const char* keyword;
    Match match;
    Outcome (*handle)(const Request&);
};

// Tested in this order; the first match wins. The conversion keywords must start the
// request: "localdialableconversionrequest" is also part of
// "canonicaltolocaldialableconversionrequest".
const RequestRow kRequestRows[] = {
    {"startdiallingrequest", Match::kContains, startDiallingRequest},
    {"dialpartydetailsresponse", Match::kContains, dialPartyDetailsResponse},
    {"startblindtransferdiallingrequest", Match::kContains, startBlindTransferDiallingRequest},
    {"startonhookdiallingrequest", Match::kContains, startOnHookDiallingRequest},
    {"stopdiallingrequest", Match::kContains, stopDiallingRequest},
    {"resetAutoDialTimer", Match::kContains, resetAutoDialTimerRequest},
    {"suspenddiallingrequest", Match::kContains, suspendDiallingRequest},
    {"resumediallingrequest", Match::kContains, resumeDiallingRequest},
    {"dialstringrequest", Match::kContains, dialStringRequest},
    {"set_call_context_provider_request", Match::kContains, setCallContextProviderRequest},
    {"clear_call_content_provider_request", Match::kContains, clearCallContentProviderRequest},
    {"set_dialler_request", Match::kContains, setDiallerRequest},
    {"isCanonicalDataValidRequest", Match::kStartsWith, isCanonicalDataValidRequest},
    {"canonicalconversionrequest", Match::kStartsWith, canonicalConversionRequest},
    {"localdialableconversionrequest", Match::kStartsWith, localDialableConversionRequest},
    {"ringcentralconversionrequest", Match::kStartsWith, ringCentralConversionRequest},
    {"canonicaltolocaldialableconversionrequest", Match::kStartsWith, canonicalToLocalDialableConversionRequest},
    {"getEmergencyNumbersDialStringRequest", Match::kContains, getEmergencyNumbersDialStringRequest},
    {"getLatestDialledDigitsRequest", Match::kContains, getLatestDialledDigitsRequest},
    {"getLockBypassNumbersDialStringRequest", Match::kContains, getLockBypassNumbersDialStringRequest},
    {"isEmergencyNumberRequest", Match::kContains, isEmergencyNumberRequest},
    {"islockbypassrequest", Match::kContains, isLockBypassRequest},
    {"isfacprefixrequest", Match::kContains, isFACPrefixRequest},
};

bool matches(const RequestRow& row, const std::string& text)
{
    if (row.match == Match::kStartsWith) return text.compare(0, std::char_traits<char>::length(row.keyword), row.keyword) == 0;
    return text.find(row.keyword) != std::string::npos;
}

Outcome dispatch(const Request& request)
{
    for (const RequestRow& row : kRequestRows) {
        if (matches(row, request.text)) return row.handle(request);
    }
    return Outcome::none();
}

}  // namespace

DigitAnalysisServiceInvoker::~DigitAnalysisServiceInvoker() = default;

void DigitAnalysisServiceInvoker::initInvoker(FrameworkContext* context) { m_context = context; }

void DigitAnalysisServiceInvoker::handleMessage(Executable* service, const char* data, int length,
                                                InvokerResponse* response)
{
    // Exactly `length` bytes: the request need not be terminated and may hold NUL bytes.
    const std::string text = data != nullptr && length > 0 ? std::string(data, static_cast<std::size_t>(length))
                                                           : std::string();
    auto* das = dynamic_cast<DigitAnalysisServiceIfc*>(service);
    DigitAnalysisServiceEventIfc* callback = response != nullptr ? getCallbackInterface(response) : nullptr;

    const Outcome outcome = das != nullptr ? dispatch(Request{text, *das, callback}) : Outcome::none();
    if (outcome.kind == Outcome::kError) {
        handleErrorRequest(text, response);
        return;
    }
    if (response == nullptr) return;  // nobody to answer: a reply is dropped
    if (outcome.kind == Outcome::kReply) {
        response->sendResponse(outcome.reply.data(), static_cast<int>(outcome.reply.size()));
    }
    response->responseComplete();
}

DigitAnalysisServiceEventIfc* DigitAnalysisServiceInvoker::getCallbackInterface(InvokerResponse* response)
{
    if (response == nullptr || m_context == nullptr) return nullptr;
    std::string clientName;
    response->getSenderName(clientName);
    if (clientName.empty()) return nullptr;
    Executable* proxy = m_context->findProxy(eventInterfaceName(), clientName);
    return dynamic_cast<DigitAnalysisServiceEventIfc*>(proxy);
}

void handleErrorRequest(const std::string& request, InvokerResponse* response)
{
    // Logged whether or not error logging is switched on for the component.
    logAppVex(kDasLogComponent, DAS_LOG_SOURCE, kLogError, __LINE__, "Invalid request string: '%s'", request.c_str());
    if (response == nullptr) return;
    response->sendResponse(kErrorReply, static_cast<int>(sizeof(kErrorReply) - 1));
    response->responseComplete();
}
