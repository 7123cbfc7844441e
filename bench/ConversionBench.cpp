// The three number conversions over the corpus, on a Munich and a New York phone, and the
// same corpus through libphonenumber (parse in the phone's region, format to E.164; and its
// as-you-type formatter, key by key) in the same run. After the run: the time ratio of the
// two canonical conversions and how far their results agree.

#include <benchmark/benchmark.h>
#include <phonenumbers/asyoutypeformatter.h>
#include <phonenumbers/logger.h>
#include <phonenumbers/phonenumber.pb.h>
#include <phonenumbers/phonenumberutil.h>

#include <cstdio>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "Corpus.h"
#include "Expected.h"
#include "Phones.h"
#include "Reports.h"
#include "TimedLoop.h"

namespace {

using i18n::phonenumbers::AsYouTypeFormatter;
using i18n::phonenumbers::PhoneNumber;
using i18n::phonenumbers::PhoneNumberUtil;

const char* const kRegions[] = {"DE", "US"};

std::vector<std::string> corpusTexts(const std::string& region)
{
    std::vector<std::string> texts;
    for (const auto& number : benchcorpus::ofRegion(region)) texts.push_back(number.text);
    return texts;
}

PhoneNumberUtil& phoneNumberUtil()
{
    static PhoneNumberUtil* util = [] {
        PhoneNumberUtil* instance = PhoneNumberUtil::GetInstance();
        instance->SetLogger(new i18n::phonenumbers::NullLogger());
        return instance;
    }();
    return *util;
}

// libphonenumber's canonical form of `text` dialled in `region`; false when it cannot parse it.
bool libraryCanonical(const std::string& text, const char* region, PhoneNumber& parsed, std::string& e164)
{
    parsed.Clear();
    if (phoneNumberUtil().Parse(text, region, &parsed) != PhoneNumberUtil::NO_PARSING_ERROR) return false;
    phoneNumberUtil().Format(parsed, PhoneNumberUtil::E164, &e164);
    return true;
}

// A conversion's input and the result it must give (corpus/expected.tsv).
struct Case {
    std::string text;
    benchexpected::Result expected;
};

using Outcome = benchexpected::Result benchexpected::Conversions::*;

std::vector<Case> casesOf(const char* region, Outcome outcome)
{
    std::vector<Case> cases;
    for (const auto& conversions : benchexpected::conversionsOf(region)) {
        cases.push_back({conversions.number.text, conversions.*outcome});
    }
    return cases;
}

// Times `convert` (a conversion of the service, in place) over `cases`, checking each result.
template <typename Convert>
void runConversion(benchmark::State& state, const std::vector<Case>& cases, Convert convert)
{
    if (cases.empty()) {
        state.SkipWithError("corpus/expected.tsv is missing or does not follow the corpus");
        return;
    }
    std::string work;
    work.reserve(64);
    timedLoop(state, cases, [&](const Case& one) {
        work.assign(one.text);
        const bool converted = convert(work);
        return converted == one.expected.converted && work == one.expected.text;
    });
}

void BM_ConvertToCanonical(benchmark::State& state, const char* region)
{
    auto phone = benchphones::start(region);
    DigitAnalysisService& service = phone->service();
    runConversion(state, casesOf(region, &benchexpected::Conversions::canonical),
                  [&](std::string& number) { return service.convertToCanonical(number); });
}
BENCHMARK_CAPTURE(BM_ConvertToCanonical, DE, "DE")->ArgName("trace")->Arg(0)->Arg(1);
BENCHMARK_CAPTURE(BM_ConvertToCanonical, US, "US")->ArgName("trace")->Arg(0)->Arg(1);

void BM_LibPhoneNumber_ParseFormatE164(benchmark::State& state, const char* region)
{
    // The library is the yardstick, not under test: its results are checked against what
    // it gave for the same texts before the loop.
    struct LibraryCase {
        std::string text;
        bool parsed;
        std::string e164;
    };
    PhoneNumber parsed;
    std::vector<LibraryCase> cases;
    for (const std::string& text : corpusTexts(region)) {
        std::string e164;
        const bool ok = libraryCanonical(text, region, parsed, e164);
        cases.push_back({text, ok, e164});
    }
    std::string e164;
    timedLoop(state, cases, [&](const LibraryCase& one) {
        const bool ok = libraryCanonical(one.text, region, parsed, e164);
        return ok == one.parsed && (!ok || e164 == one.e164);
    }, LoggingArgument::kNone);
}
BENCHMARK_CAPTURE(BM_LibPhoneNumber_ParseFormatE164, DE, "DE");
BENCHMARK_CAPTURE(BM_LibPhoneNumber_ParseFormatE164, US, "US");

// One key press for the formatter: the character, whether it starts a new number, and for
// the last key of a number the text the formatter showed after it (empty otherwise).
struct KeyPress {
    char key;
    bool first;
    std::string shownAfterLast;
};

// The German corpus as a user types it on a phone: digits and "+" only, one key at a time.
std::vector<KeyPress> germanKeyPresses(AsYouTypeFormatter& formatter)
{
    std::vector<KeyPress> presses;
    std::string shown;
    for (const std::string& text : corpusTexts("DE")) {
        std::string keys;
        for (const char c : text) {
            if ((c >= '0' && c <= '9') || c == '+') keys += c;
        }
        if (keys.empty()) continue;
        formatter.Clear();
        for (std::size_t i = 0; i < keys.size(); ++i) {
            formatter.InputDigit(static_cast<unsigned char>(keys[i]), &shown);
            presses.push_back({keys[i], i == 0, i + 1 == keys.size() ? shown : std::string()});
        }
    }
    return presses;
}

// libphonenumber's nearest offer for per-digit analysis: its as-you-type formatter for the
// region DE, fed the German corpus one key at a time and cleared between numbers; time per
// key. What it shows after each number's last key is checked against what it showed for
// the same keys before the loop.
void BM_LibPhoneNumber_AsYouType(benchmark::State& state)
{
    std::unique_ptr<AsYouTypeFormatter> formatter(phoneNumberUtil().GetAsYouTypeFormatter("DE"));
    const std::vector<KeyPress> presses = germanKeyPresses(*formatter);
    std::string shown;
    timedLoop(state, presses, [&](const KeyPress& press) {
        if (press.first) formatter->Clear();
        formatter->InputDigit(static_cast<unsigned char>(press.key), &shown);
        return press.shownAfterLast.empty() || shown == press.shownAfterLast;
    }, LoggingArgument::kNone);
}
BENCHMARK(BM_LibPhoneNumber_AsYouType);

void BM_ConvertCanonicalToLocalDialable(benchmark::State& state, const char* region)
{
    auto phone = benchphones::start(region);
    DigitAnalysisService& service = phone->service();
    // It converts back the canonical forms the phone made of its corpus.
    std::vector<Case> cases;
    for (const auto& conversions : benchexpected::conversionsOf(region)) {
        if (conversions.canonical.converted) cases.push_back({conversions.canonical.text, conversions.localFromCanonical});
    }
    runConversion(state, cases, [&](std::string& number) { return service.convertCanonicalToLocalDialable(number); });
}
BENCHMARK_CAPTURE(BM_ConvertCanonicalToLocalDialable, DE, "DE")->ArgName("trace")->Arg(0)->Arg(1);
BENCHMARK_CAPTURE(BM_ConvertCanonicalToLocalDialable, US, "US")->ArgName("trace")->Arg(0)->Arg(1);

void BM_ConvertToDialableRingCentral(benchmark::State& state, const char* region)
{
    auto phone = benchphones::start(region, true);
    DigitAnalysisService& service = phone->service();
    runConversion(state, casesOf(region, &benchexpected::Conversions::ringCentral),
                  [&](std::string& number) { return service.convertToDialableRingCentral(number); });
}
BENCHMARK_CAPTURE(BM_ConvertToDialableRingCentral, DE, "DE")->ArgName("trace")->Arg(0)->Arg(1);
BENCHMARK_CAPTURE(BM_ConvertToDialableRingCentral, US, "US")->ArgName("trace")->Arg(0)->Arg(1);

// ---- After the run -------------------------------------------------------------------------

void printRatio(const benchreports::Results& results)
{
    benchreports::Timing service;
    benchreports::Timing library;
    for (const char* region : kRegions) {
        const auto ours = results.find(std::string("BM_ConvertToCanonical/") + region + "/trace:0");
        const auto theirs = results.find(std::string("BM_LibPhoneNumber_ParseFormatE164/") + region);
        if (ours == results.end() || theirs == results.end()) return;
        std::printf("canonical form, %s corpus: convertToCanonical %.0f ns, libphonenumber parse + E.164 %.0f ns: "
                    "%.1fx (CPU time %.0f ns, %.0f ns: %.1fx)\n",
                    region, ours->second.real, theirs->second.real, theirs->second.real / ours->second.real,
                    ours->second.cpu, theirs->second.cpu, theirs->second.cpu / ours->second.cpu);
        service.real += ours->second.real;
        service.cpu += ours->second.cpu;
        library.real += theirs->second.real;
        library.cpu += theirs->second.cpu;
    }
    std::printf("canonical form, whole corpus: libphonenumber / convertToCanonical = %.1fx (CPU time %.1fx)\n",
                library.real / service.real, library.cpu / service.cpu);
}

struct Disagreement {
    benchcorpus::Number number;
    std::string ours;    // empty: refused
    std::string theirs;  // empty: could not parse
};

// Where the service's canonical form and libphonenumber's E.164 form differ, the counts by
// region and form, and the first examples of each kind.
void printAgreement()
{
    std::map<std::string, std::pair<int, int>> byForm;  // agreeing, total
    std::map<std::string, std::vector<Disagreement>> byKind;
    int agreeing = 0;
    int total = 0;
    PhoneNumber parsed;
    for (const char* region : kRegions) {
        auto phone = benchphones::start(region);
        for (const auto& number : benchcorpus::ofRegion(region)) {
            std::string ours = number.text;
            if (!phone->service().convertToCanonical(ours)) ours.clear();
            std::string theirs;
            if (!libraryCanonical(number.text, region, parsed, theirs)) theirs.clear();
            const bool same = !ours.empty() && ours == theirs;
            auto& counts = byForm[number.region + " " + number.form];
            counts.first += same ? 1 : 0;
            ++counts.second;
            agreeing += same ? 1 : 0;
            ++total;
            if (same) continue;
            const char* kind = ours.empty() ? (theirs.empty() ? "both refuse" : "service refuses")
                                            : (theirs.empty() ? "libphonenumber refuses" : "different forms");
            byKind[number.region + " " + number.form + ", " + kind].push_back({number, ours, theirs});
        }
    }
    std::printf("canonical form agreement with libphonenumber: %d of %d numbers\n", agreeing, total);
    for (const auto& [form, counts] : byForm) std::printf("  %-18s %4d of %4d agree\n", form.c_str(), counts.first, counts.second);
    std::printf("disagreements by kind, with the first examples (input -> service | libphonenumber):\n");
    for (const auto& [kind, cases] : byKind) {
        std::printf("  %s: %zu\n", kind.c_str(), cases.size());
        for (std::size_t i = 0; i < cases.size() && i < 2; ++i) {
            std::printf("      %-26s -> %-16s | %s\n", cases[i].number.text.c_str(),
                        cases[i].ours.empty() ? "(unchanged)" : cases[i].ours.c_str(),
                        cases[i].theirs.empty() ? "(parse error)" : cases[i].theirs.c_str());
        }
    }
}

// Printed only when this run measured the canonical conversions (a filtered run may not).
const bool kReportsRegistered = benchreports::add([](const benchreports::Results& results) {
    const bool measured = results.lower_bound("BM_ConvertToCanonical") != results.end() &&
                          results.lower_bound("BM_ConvertToCanonical")->first.rfind("BM_ConvertToCanonical", 0) == 0;
    if (!measured) return;
    printRatio(results);
    printAgreement();
});

}  // namespace
