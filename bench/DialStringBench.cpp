// dialString per digit through the service: the service lock, the dial tone and timer
// handling on the in-process platform's virtual clock, the emergency numbers and the
// 50-entry office plan, for a twelve-digit number dialled one digit at a time.

#include <benchmark/benchmark.h>

#include <string>
#include <vector>

#include "Dialling.h"
#include "TimedLoop.h"

namespace {

// The in-process context records every timer operation for tests to read; the record is
// emptied every few numbers so that it does not grow through the run.
constexpr int kDigitsBetweenClearing = 12 * 64;

void BM_DialString_PerDigit(benchmark::State& state)
{
    auto phone = benchdialling::startSession();
    if (!phone || !benchdialling::sendsAtTheTwelfthDigit(phone->service())) {
        state.SkipWithError("dialling 008912345678 does not collect eleven digits and send at the twelfth");
        return;
    }
    DigitAnalysisService& service = phone->service();
    std::string work;
    work.reserve(32);
    // Keep collecting for eleven digits, send at the twelfth.
    struct Digit {
        std::string digits;
        int match;
    };
    std::vector<Digit> inputs;
    for (const std::string& digits : benchdialling::growingDigits()) inputs.push_back({digits, eMatchNone});
    inputs.back().match = eMatchFull;
    int untilClearing = kDigitsBetweenClearing;
    timedLoop(state, inputs, [&](const Digit& digit) {
        work.assign(digit.digits);  // a kept number comes back empty
        const int match = service.dialString(&work, false, nullptr);
        if (--untilClearing == 0) {
            phone->context.clearTimerOperations();
            untilClearing = kDigitsBetweenClearing;
        }
        return match == digit.match;
    });
}
BENCHMARK(BM_DialString_PerDigit)->ArgName("trace")->Arg(0)->Arg(1);

}  // namespace
