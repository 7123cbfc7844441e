// The invoker's handleMessage for the two requests a phone sends most: "dialstringrequest"
// with each digit, and "canonicalconversionrequest" for numbers shown and stored. A named
// client sends them, so the callback look-up runs as it does on a phone.

#include <benchmark/benchmark.h>

#include <memory>
#include <string>
#include <vector>

#include "Corpus.h"
#include "Dialling.h"
#include "DigitAnalysisServiceInvoker.h"
#include "InvokerResponse.h"
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

void BM_Invoker_DialStringRequest(benchmark::State& state)
{
    InvokerSession session;
    std::vector<std::string> requests;
    for (const std::string& digits : benchdialling::growingDigits()) requests.push_back("dialstringrequest:" + digits + ",0");
    if (session.phone) {
        for (const std::string& request : requests) session.send(request);
    }
    if (!session.phone || session.response.reply != "dialstringresponse:" + std::string(benchdialling::kNumber) + ",1") {
        state.SkipWithError("the twelfth dialstringrequest is not answered with the number and ,1");
        return;
    }
    int untilClearing = 12 * 64;
    timedLoop(state, requests, [&](const std::string& request) {
        session.send(request);
        if (--untilClearing == 0) {
            session.phone->context.clearTimerOperations();
            untilClearing = 12 * 64;
        }
    });
}
BENCHMARK(BM_Invoker_DialStringRequest)->ArgName("trace")->Arg(0)->Arg(1);

void BM_Invoker_CanonicalConversionRequest(benchmark::State& state)
{
    InvokerSession session;
    std::vector<std::string> requests;
    for (const auto& number : benchcorpus::ofRegion("DE")) requests.push_back("canonicalconversionrequest:" + number.text);
    if (session.phone) session.send("canonicalconversionrequest:089 1234");
    if (!session.phone || session.response.reply != "canonicalconversionresponse:+49891234,1") {
        state.SkipWithError("canonicalconversionrequest:089 1234 is not answered with +49891234,1");
        return;
    }
    timedLoop(state, requests, [&](const std::string& request) { session.send(request); });
}
BENCHMARK(BM_Invoker_CanonicalConversionRequest)->ArgName("trace")->Arg(0)->Arg(1);

}  // namespace
