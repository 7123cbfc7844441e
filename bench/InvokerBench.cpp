// The invoker's handleMessage for the two requests a phone sends most: "dialstringrequest"
// with each digit, and "canonicalconversionrequest" for numbers shown and stored. A named
// client sends them, so the callback look-up runs as it does on a phone. The per-digit
// figures of the service are taken here, on the path a client's request takes.

#include <benchmark/benchmark.h>

#include <cstdio>
#include <memory>
#include <string>
#include <vector>

#include "Corpus.h"
#include "DialPlan.h"
#include "DialPlans.h"
#include "Dialling.h"
#include "DigitAnalysisServiceInvoker.h"
#include "DigitAnalysisServiceTestAccess.h"
#include "Expected.h"
#include "InvokerResponse.h"
#include "Phones.h"
#include "Reports.h"
#include "TimedLoop.h"

namespace {

constexpr const char* kClientName = "CallView";

// A reply channel that keeps only the last reply, as a client reads it.
class KeptReply : public InvokerResponse {
public:
    void sendResponse(const char* data, int length) override { reply.assign(data, static_cast<std::size_t>(length)); }
    void responseComplete() override { ++completed; }
    void getSenderName(std::string& name) override { name = kClientName; }
    std::string reply;
    int completed = 0;
};

struct InvokerSession {
    std::unique_ptr<ServiceHarness> phone = benchdialling::startSession();
    DigitAnalysisServiceInvoker invoker;
    KeptReply response;

    InvokerSession()
    {
        if (!phone) return;
        phone->context.registerProxy("DigitAnalysisServiceEventIfc", kClientName, &phone->dialler);
        invoker.initInvoker(&phone->context);
    }
    void send(const std::string& request)
    {
        response.reply.clear();
        invoker.handleMessage(&phone->service(), request.data(), static_cast<int>(request.size()), &response);
    }
};

// A request and the reply it must get.
struct Exchange {
    std::string request;
    std::string reply;
};

void BM_Invoker_DialStringRequest(benchmark::State& state)
{
    InvokerSession session;
    std::vector<Exchange> exchanges;
    for (const std::string& digits : benchdialling::growingDigits()) {
        exchanges.push_back({"dialstringrequest:" + digits + ",0", "dialstringresponse:,0"});
    }
    exchanges.back().reply = "dialstringresponse:" + std::string(benchdialling::kNumber) + ",1";
    if (session.phone) {
        for (const Exchange& exchange : exchanges) session.send(exchange.request);
    }
    if (!session.phone || session.response.reply != exchanges.back().reply) {
        state.SkipWithError("the twelfth dialstringrequest is not answered with the number and ,1");
        return;
    }
    int untilClearing = 12 * 64;
    timedLoop(state, exchanges, [&](const Exchange& exchange) {
        session.send(exchange.request);
        if (--untilClearing == 0) {
            session.phone->context.clearTimerOperations();
            untilClearing = 12 * 64;
        }
        return session.response.reply == exchange.reply;
    });
}
BENCHMARK(BM_Invoker_DialStringRequest)->ArgName("trace")->Arg(0)->Arg(1);

// The most a digit can cost: on-hook dialling (without immediate dialling) with the 50-row
// plan of 24-character "x" patterns, the digits of a 24-digit number sent one by one as
// dialstringrequests, time per digit.
//
// Why no plan of 50 rows and 24 digits costs more: after each digit the on-hook scan looks
// at the rows in order, and a row can end the scan (it is complete and decides), be passed
// over after one comparison of its pattern with the digits (it disagrees), or agree without
// being complete, and then it is matched in full and the scan goes on. The last is the
// dearest a row can be, and here every row is that for each of the first 23 digits: an "x"
// agrees with any digit, so every row is compared over all the digits dialled so far and
// none is complete before the 24th. A pattern cannot be longer than 24 characters and a
// plan has at most 50 rows. At the 24th digit the first row is complete, and without the
// terminator it decides "do not send yet", which ends the scan: any row that is complete
// there ends it, and any that disagrees is passed over, so the 24th digit is dear only in
// a plan that cannot also make the first 23 digits dear.
void BM_DialString_OnHookWorstCase(benchmark::State& state)
{
    std::unique_ptr<ServiceHarness> phone = benchphones::start("DE");
    DialPlan* plan = DigitAnalysisServiceTestAccess::getDialPlan(phone->service());
    ManageableData data = benchplans::configuration(benchplans::onHookWorstCasePlan());
    if (plan == nullptr || !plan->setData(data) || plan->getNumberOfEntries() != 50) {
        state.SkipWithError("the 50-row on-hook plan did not load");
        return;
    }
    phone->service().setDialler(&phone->dialler);
    phone->context.registerProxy("DigitAnalysisServiceEventIfc", kClientName, &phone->dialler);
    DigitAnalysisServiceInvoker invoker;
    invoker.initInvoker(&phone->context);
    KeptReply response;
    auto send = [&](const std::string& request) {
        response.reply.clear();
        invoker.handleMessage(&phone->service(), request.data(), static_cast<int>(request.size()), &response);
        return response.reply;
    };

    // Every digit is analysed on-hook: 24 digits without the terminator are not sent (off-hook
    // they would be), 23 digits and the terminator are, without it.
    const std::string number = benchplans::worstCaseDigits();
    const std::string terminated = number.substr(0, 23) + "#";
    send("startonhookdiallingrequest");
    if (send("dialstringrequest:" + number + ",0") != "dialstringresponse:,0" ||
        send("dialstringrequest:" + terminated + ",0") != "dialstringresponse:" + number.substr(0, 23) + ",1") {
        state.SkipWithError("a digit is not analysed on-hook with the 50-row plan");
        return;
    }
    send("startonhookdiallingrequest");
    std::vector<Exchange> exchanges;
    for (std::size_t length = 1; length <= number.size(); ++length) {
        exchanges.push_back({"dialstringrequest:" + number.substr(0, length) + ",0", "dialstringresponse:,0"});
    }
    int untilClearing = 24 * 32;
    timedLoop(state, exchanges, [&](const Exchange& exchange) {
        send(exchange.request);
        if (--untilClearing == 0) {
            phone->context.clearTimerOperations();
            untilClearing = 24 * 32;
        }
        return response.reply == exchange.reply;
    });
    // The last digits the service kept are those of the last request: it analysed them all.
    if (!state.error_occurred() && send("getLatestDialledDigitsRequest") != number.substr(0, (state.iterations() - 1) % 24 + 1)) {
        state.SkipWithError("the service did not keep the digits of the last request");
    }
}
BENCHMARK(BM_DialString_OnHookWorstCase)->ArgName("trace")->Arg(0)->Arg(1);

void BM_Invoker_CanonicalConversionRequest(benchmark::State& state)
{
    InvokerSession session;
    std::vector<Exchange> exchanges;
    for (const auto& conversions : benchexpected::conversionsOf("DE")) {
        const auto& canonical = conversions.canonical;
        exchanges.push_back({"canonicalconversionrequest:" + conversions.number.text,
                             "canonicalconversionresponse:" + (canonical.converted ? canonical.text + ",1" : ",0")});
    }
    if (session.phone) session.send("canonicalconversionrequest:089 1234");
    if (!session.phone || exchanges.empty() || session.response.reply != "canonicalconversionresponse:+49891234,1") {
        state.SkipWithError("canonicalconversionrequest:089 1234 is not answered with +49891234,1");
        return;
    }
    timedLoop(state, exchanges, [&](const Exchange& exchange) {
        session.send(exchange.request);
        return session.response.reply == exchange.reply;
    });
}
BENCHMARK(BM_Invoker_CanonicalConversionRequest)->ArgName("trace")->Arg(0)->Arg(1);

// After the run: the per-digit figures on the request path against libphonenumber's
// as-you-type formatter, when this run measured both.
const bool kReportsRegistered = benchreports::add([](const benchreports::Results& results) {
    const auto library = results.find("BM_LibPhoneNumber_AsYouType");
    if (library == results.end()) return;
    for (const char* name : {"BM_DialString_OnHookWorstCase/trace:0", "BM_Invoker_DialStringRequest/trace:0"}) {
        const auto ours = results.find(name);
        if (ours == results.end()) continue;
        std::printf("per digit: %s %.0f ns, libphonenumber as-you-type (DE) %.0f ns: %.1fx (CPU time %.0f ns, %.0f ns: "
                    "%.1fx)\n",
                    name, ours->second.real, library->second.real, library->second.real / ours->second.real,
                    ours->second.cpu, library->second.cpu, library->second.cpu / ours->second.cpu);
    }
});

}  // namespace
