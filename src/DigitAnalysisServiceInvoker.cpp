#define DAS_LOG_SOURCE "src/DigitAnalysisServiceInvoker"

#include "DigitAnalysisServiceInvoker.h"

#include "CallPartyIdentifier.h"
#include "DigitAnalysisServiceEventIfc.h"
#include "DigitAnalysisServiceIfc.h"
#include "DigitAnalysisRequestKeywords.h"
#include "DigitAnalysisServicePlugin.h"
#include "FrameworkContext.h"
#include "InvokerResponse.h"
#include "ServiceLog.h"

#include <cstddef>
#include <initializer_list>
#include <string_view>
#include <typeinfo>

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
using das_requests::kErrorReply;

// A reply text, built where it is used: the replies are short, so they need no allocation
// (a longer one, such as a long list of numbers, goes to the heap).
class ReplyText {
public:
    void append(std::string_view piece)
    {
        if (m_overflow.empty() && m_length + piece.size() <= sizeof m_inline) {
            piece.copy(m_inline + m_length, piece.size());
            m_length += piece.size();
            return;
        }
        if (m_overflow.empty()) m_overflow.assign(m_inline, m_length);
        m_overflow.append(piece.data(), piece.size());
    }
    const char* data() const { return m_overflow.empty() ? m_inline : m_overflow.data(); }
    std::size_t size() const { return m_overflow.empty() ? m_length : m_overflow.size(); }

private:
    char m_inline[112] = {};
    std::size_t m_length = 0;
    std::string m_overflow;  // not empty once the text has outgrown m_inline
};

// What handling one request produced.
struct Outcome {
    enum Kind { kNoReply, kReply, kError };
    Kind kind = kNoReply;
    ReplyText reply;

    static Outcome none() { return {}; }
    static Outcome error()
    {
        Outcome outcome;
        outcome.kind = kError;
        return outcome;
    }
    // The pieces, one after another.
    static Outcome replyWith(std::initializer_list<std::string_view> pieces)
    {
        Outcome outcome;
        outcome.kind = kReply;
        for (const std::string_view piece : pieces) outcome.reply.append(piece);
        return outcome;
    }
};

// One request message with what its handler needs. The text is the caller's, exactly
// `length` bytes (it need not be terminated and may hold NUL bytes); the positions of its
// first ":" and first "," are found once.
struct Request {
    Request(std::string_view text, DigitAnalysisServiceIfc& service, DigitAnalysisServiceEventIfc* callback)
        : text(text), service(service), callback(callback), colonAt(text.find(':')), commaAt(text.find(','))
    {
    }

    std::string_view text;
    DigitAnalysisServiceIfc& service;
    DigitAnalysisServiceEventIfc* callback;
    std::string_view::size_type colonAt;
    std::string_view::size_type commaAt;

    std::string_view::size_type colon() const { return colonAt; }
    std::string_view::size_type comma() const { return commaAt; }
    bool hasColon() const { return colonAt != std::string_view::npos; }
    bool hasComma() const { return commaAt != std::string_view::npos; }

    // From after the first ":" up to the first ",", or to the end when there is no comma
    // or it stands before the colon. Callers make sure there is a colon.
    std::string field() const
    {
        const auto start = colonAt + 1;
        const auto end = commaAt;
        if (end == std::string_view::npos || end < start) return std::string(text.substr(start));
        return std::string(text.substr(start, end - start));
    }

    // Whether everything after the first "," is "1". Callers make sure there is a comma.
    bool tailIsOne() const { return text.substr(commaAt + 1) == "1"; }
};

std::string_view yesNoSuffix(bool yes) { return yes ? ",1" : ",0"; }
std::string_view bareYesNo(bool yes) { return yes ? "1" : "0"; }

// A conversion reply: the converted number and ",1", or ",0" alone.
Outcome conversionReply(std::string_view prefix, bool converted, const std::string& number)
{
    return converted ? Outcome::replyWith({prefix, number, ",1"}) : Outcome::replyWith({prefix, ",0"});
}

Outcome startDiallingRequest(const Request& request)
{
    if (!request.hasColon() || !request.hasComma()) return Outcome::error();
    const auto start = request.colon() + 1;
    const auto end = request.comma();
    const std::string digits = start < end ? std::string(request.text.substr(start, end - start)) : std::string();
    request.service.startDialling(digits, request.callback, request.tailIsOne());
    return Outcome::none();
}

Outcome dialPartyDetailsResponse(const Request& request)
{
    const std::string party = request.hasColon() ? std::string(request.text.substr(request.colon() + 1)) : std::string();
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
    const int match = request.service.dialString(&digits, request.tailIsOne(), request.callback);
    switch (match) {
    case eMatchFull: return Outcome::replyWith({"dialstringresponse:", digits, ",1"});
    case eMatchNone: return Outcome::replyWith({"dialstringresponse:,0"});
    case eMatchEmergencyNumber: return Outcome::replyWith({"dialstringresponse:", digits, ",2"});
    default: return Outcome::none();
    }
}

Outcome setCallContextProviderRequest(const Request& request)
{
    const bool set = request.service.setCallContextProvider(request.callback);
    return Outcome::replyWith({"set_call_context_provider_response:", yesNoSuffix(set)});
}

Outcome clearCallContentProviderRequest(const Request& request)
{
    const bool cleared = request.service.clearCallContextProvider(request.callback);
    return Outcome::replyWith({"clear_call_content_provider_response:", yesNoSuffix(cleared)});
}

Outcome setDiallerRequest(const Request& request)
{
    const bool set = request.service.setDialler(request.callback);
    return Outcome::replyWith({"set_dialler_response:", yesNoSuffix(set)});
}

Outcome isCanonicalDataValidRequest(const Request& request)
{
    return Outcome::replyWith({"isCanonicalDataValidResponse:", bareYesNo(request.service.isCanonicalDataValid())});
}

Outcome canonicalConversionRequest(const Request& request)
{
    if (!request.hasColon()) return Outcome::error();
    std::string number = request.field();
    const bool converted = request.service.convertToCanonical(number);
    return conversionReply("canonicalconversionresponse:", converted, number);
}

// The second field: after the first comma up to the next one (or the end); empty when the
// request has no comma at all.
std::string secondField(const Request& request)
{
    if (!request.hasComma()) return {};
    const auto start = request.comma() + 1;
    const auto end = request.text.find(',', start);
    return std::string(end == std::string_view::npos ? request.text.substr(start) : request.text.substr(start, end - start));
}

Outcome localDialableConversionRequest(const Request& request)
{
    if (!request.hasColon()) return Outcome::error();
    std::string number = request.field();
    std::string diagnosticCall = secondField(request);
    if (!request.service.convertToLocalDialable(number, diagnosticCall)) {
        return Outcome::replyWith({"localdialableconversionresponse:,false,0"});
    }
    return Outcome::replyWith({"localdialableconversionresponse:", number, ",", diagnosticCall, ",1"});
}

Outcome ringCentralConversionRequest(const Request& request)
{
    if (!request.hasColon()) return Outcome::error();
    std::string number = request.field();
    const bool converted = request.service.convertToDialableRingCentral(number);
    return conversionReply("ringcentralconversionresponse:", converted, number);
}

Outcome canonicalToLocalDialableConversionRequest(const Request& request)
{
    if (!request.hasColon()) return Outcome::error();
    std::string number = request.field();
    const bool converted = request.service.convertCanonicalToLocalDialable(number);
    return conversionReply("canonicaltolocaldialableconversionresponse:", converted, number);
}

Outcome getEmergencyNumbersDialStringRequest(const Request& request)
{
    std::string numbers;
    request.service.getEmergencyNumbersDialString(&numbers);
    return Outcome::replyWith({numbers.empty() ? std::string_view("emergencynumbernotset") : std::string_view(numbers)});
}

Outcome getLatestDialledDigitsRequest(const Request& request)
{
    std::string digits;
    request.service.getLatestDialledDigits(&digits);
    return Outcome::replyWith({digits});
}

Outcome getLockBypassNumbersDialStringRequest(const Request& request)
{
    std::string numbers;
    request.service.getLockBypassNumbersDialString(&numbers);
    return Outcome::replyWith({numbers.empty() ? std::string_view("lockbypassnumbernotset") : std::string_view(numbers)});
}

// "isEmergencyNumberRequest:<exact flag>:<number>[,...]"
Outcome isEmergencyNumberRequest(const Request& request)
{
    const auto firstColon = request.colon();
    if (firstColon == std::string_view::npos) return Outcome::error();
    const auto secondColon = request.text.find(':', firstColon + 1);
    if (secondColon == std::string_view::npos) return Outcome::error();

    const bool exactMatch = request.text.substr(firstColon + 1, secondColon - firstColon - 1) != "false";
    const auto start = secondColon + 1;
    const auto comma = request.comma();
    std::string number(comma == std::string_view::npos || comma < secondColon ? request.text.substr(start)
                                                                               : request.text.substr(start, comma - start));
    const bool emergency = request.service.isEmergencyNumber(number, exactMatch);
    return Outcome::replyWith({"isEmergencyNumberResponse:", bareYesNo(emergency)});
}

Outcome isLockBypassRequest(const Request& request)
{
    if (!request.hasColon()) return Outcome::none();
    std::string number = request.field();
    const bool bypass = request.service.isLockBypass(number);
    return conversionReply("islockbypassresponse:", bypass, number);
}

// Unlike the other yes/no replies, the number is echoed whatever the answer.
Outcome isFACPrefixRequest(const Request& request)
{
    if (!request.hasColon()) return Outcome::none();
    const std::string number = request.field();
    const bool prefix = request.service.isFACPrefix(number);
    return Outcome::replyWith({"isfacprefixresponse:", number, yesNoSuffix(prefix)});
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
    {das_requests::kStartDialling, Match::kContains, startDiallingRequest},
    {das_requests::kDialPartyDetails, Match::kContains, dialPartyDetailsResponse},
    {das_requests::kStartBlindTransferDialling, Match::kContains, startBlindTransferDiallingRequest},
    {das_requests::kStartOnHookDialling, Match::kContains, startOnHookDiallingRequest},
    {das_requests::kStopDialling, Match::kContains, stopDiallingRequest},
    {das_requests::kResetAutoDialTimer, Match::kContains, resetAutoDialTimerRequest},
    {das_requests::kSuspendDialling, Match::kContains, suspendDiallingRequest},
    {das_requests::kResumeDialling, Match::kContains, resumeDiallingRequest},
    {das_requests::kDialString, Match::kContains, dialStringRequest},
    {das_requests::kSetCallContextProvider, Match::kContains, setCallContextProviderRequest},
    {das_requests::kClearCallContentProvider, Match::kContains, clearCallContentProviderRequest},
    {das_requests::kSetDialler, Match::kContains, setDiallerRequest},
    {das_requests::kIsCanonicalDataValid, Match::kStartsWith, isCanonicalDataValidRequest},
    {das_requests::kCanonicalConversion, Match::kStartsWith, canonicalConversionRequest},
    {das_requests::kLocalDialableConversion, Match::kStartsWith, localDialableConversionRequest},
    {das_requests::kRingCentralConversion, Match::kStartsWith, ringCentralConversionRequest},
    {das_requests::kCanonicalToLocalDialableConversion, Match::kStartsWith, canonicalToLocalDialableConversionRequest},
    {das_requests::kGetEmergencyNumbersDialString, Match::kContains, getEmergencyNumbersDialStringRequest},
    {das_requests::kGetLatestDialledDigits, Match::kContains, getLatestDialledDigitsRequest},
    {das_requests::kGetLockBypassNumbersDialString, Match::kContains, getLockBypassNumbersDialStringRequest},
    {das_requests::kIsEmergencyNumber, Match::kContains, isEmergencyNumberRequest},
    {das_requests::kIsLockBypass, Match::kContains, isLockBypassRequest},
    {das_requests::kIsFacPrefix, Match::kContains, isFACPrefixRequest},
};

constexpr std::size_t kRequestRowCount = sizeof kRequestRows / sizeof kRequestRows[0];
// Clients check a request's first word against the list of keywords; one row each.
static_assert(kRequestRowCount == sizeof das_requests::kAllKeywords / sizeof das_requests::kAllKeywords[0],
              "every request row has its keyword in DigitAnalysisRequestKeywords.h");

bool matches(const RequestRow& row, std::string_view text)
{
    if (row.match == Match::kStartsWith) return text.compare(0, std::char_traits<char>::length(row.keyword), row.keyword) == 0;
    return text.find(row.keyword) != std::string_view::npos;
}

// Every keyword is made of these characters only.
bool isKeywordCharacter(char c) { return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || c == '_'; }

// For each row, whether the table in its order can be skipped when a request begins with
// the row's keyword and nothing after the keyword is a keyword character: then no earlier
// row can match (no earlier "starts with" keyword is a prefix, else its row would have been
// taken first, and an earlier "contains" keyword could only stand inside this keyword), as
// long as no earlier "contains" keyword stands inside this one. False for every row when a
// keyword has another character.
struct ShortCuts {
    bool allowed[kRequestRowCount] = {};
    std::size_t lengths[kRequestRowCount] = {};
    ShortCuts()
    {
        for (std::size_t j = 0; j < kRequestRowCount; ++j) lengths[j] = std::char_traits<char>::length(kRequestRows[j].keyword);
        for (const RequestRow& row : kRequestRows) {
            for (const char* c = row.keyword; *c != '\0'; ++c) {
                if (!isKeywordCharacter(*c)) return;
            }
        }
        for (std::size_t j = 0; j < kRequestRowCount; ++j) {
            const std::string_view keyword = kRequestRows[j].keyword;
            allowed[j] = true;
            for (std::size_t i = 0; i < j; ++i) {
                if (kRequestRows[i].match == Match::kContains && keyword.find(kRequestRows[i].keyword, 1) != std::string_view::npos) {
                    allowed[j] = false;
                }
            }
        }
    }
};

// The row a request belongs to, as trying the rows in their order finds it. Requests begin
// with their keyword and carry numbers and flags after it, so most are recognised by their
// first bytes instead of searches of the whole text for each earlier keyword.
const RequestRow* rowFor(std::string_view text)
{
    static const ShortCuts shortCuts;
    for (std::size_t j = 0; j < kRequestRowCount && !text.empty(); ++j) {
        const std::size_t length = shortCuts.lengths[j];
        if (text[0] != kRequestRows[j].keyword[0] || text.compare(0, length, kRequestRows[j].keyword, length) != 0) continue;
        if (!shortCuts.allowed[j]) break;
        bool keywordCharacterFollows = false;
        for (std::size_t k = length; k < text.size() && !keywordCharacterFollows; ++k) {
            keywordCharacterFollows = isKeywordCharacter(text[k]);
        }
        if (keywordCharacterFollows) break;
        return &kRequestRows[j];
    }
    for (const RequestRow& row : kRequestRows) {
        if (matches(row, text)) return &row;
    }
    return nullptr;
}

Outcome dispatch(const Request& request)
{
    const RequestRow* row = rowFor(request.text);
    return row != nullptr ? row->handle(request) : Outcome::none();
}

// A peer found through a cross cast, kept for the next request of the same thread: the
// cast gives the same result for the same object, and an object at the same address is
// the same object when its dynamic type is the same too. Kept per thread, so that the
// invoker, which may be called on any framework thread, takes no lock for it.
template <typename To>
struct ResolvedPeer {
    const Executable* from = nullptr;
    const std::type_info* type = nullptr;
    To* to = nullptr;
};

template <typename To>
To* resolve(Executable* from, ResolvedPeer<To>& resolved)
{
    if (from == nullptr) return nullptr;
    const std::type_info* type = &typeid(*from);
    if (from != resolved.from || type != resolved.type) resolved = {from, type, dynamic_cast<To*>(from)};
    return resolved.to;
}

thread_local ResolvedPeer<DigitAnalysisServiceIfc> t_service;
thread_local ResolvedPeer<DigitAnalysisServiceEventIfc> t_callback;

}  // namespace

DigitAnalysisServiceInvoker::~DigitAnalysisServiceInvoker() = default;

void DigitAnalysisServiceInvoker::initInvoker(FrameworkContext* context) { m_context = context; }

void DigitAnalysisServiceInvoker::handleMessage(Executable* service, const char* data, int length,
                                                InvokerResponse* response)
{
    // Exactly `length` bytes: the request need not be terminated and may hold NUL bytes.
    const std::string_view text = data != nullptr && length > 0 ? std::string_view(data, static_cast<std::size_t>(length))
                                                                : std::string_view();
    auto* das = resolve(service, t_service);
    DigitAnalysisServiceEventIfc* callback = response != nullptr ? getCallbackInterface(response) : nullptr;

    const Outcome outcome = das != nullptr ? dispatch(Request(text, *das, callback)) : Outcome::none();
    if (outcome.kind == Outcome::kError) {
        handleErrorRequest(std::string(text), response);
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
    return resolve(m_context->findProxy(eventInterfaceName(), clientName), t_callback);
}

void handleErrorRequest(const std::string& request, InvokerResponse* response)
{
    // Logged whether or not error logging is switched on for the component.
    logAppVex(kDasLogComponent, DAS_LOG_SOURCE, kLogError, __LINE__, "Invalid request string: '%s'", request.c_str());
    if (response == nullptr) return;
    response->sendResponse(kErrorReply, static_cast<int>(sizeof(kErrorReply) - 1));
    response->responseComplete();
}
