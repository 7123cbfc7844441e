// das_expected: writes what the service answers today for the number corpus and the office
// plan (corpus/expected.tsv, corpus/office-actions.tsv), the results every timed loop of
// das_bench is checked against. Run it only when the service's behaviour has deliberately
// changed; the files are committed.
//
//   das_expected [--check]   --check: compare with the committed files instead of writing them

#include <cstdio>
#include <cstring>
#include <fstream>
#include <sstream>
#include <string>

#include "BenchLogging.h"
#include "Corpus.h"
#include "DialPlan.h"
#include "DialPlans.h"
#include "Expected.h"
#include "Phones.h"
#include "ScratchLogFile.h"

namespace {

std::string field(bool converted, const std::string& text) { return std::string(converted ? "1" : "0") + "\t" + text; }

std::string conversions()
{
    std::ostringstream out;
    for (const char* region : {"DE", "US"}) {
        auto phone = benchphones::start(region);
        auto ringCentralPhone = benchphones::start(region, true);
        for (const auto& number : benchcorpus::ofRegion(region)) {
            std::string canonical = number.text;
            const bool converted = phone->service().convertToCanonical(canonical);
            std::string ringCentral = number.text;
            const bool ringCentralConverted = ringCentralPhone->service().convertToDialableRingCentral(ringCentral);
            std::string local = canonical;
            const bool localConverted = converted && phone->service().convertCanonicalToLocalDialable(local);
            out << number.region << '\t' << number.form << '\t' << number.text << '\t' << field(converted, canonical)
                << '\t' << field(ringCentralConverted, ringCentral) << '\t'
                << field(localConverted, converted ? local : std::string()) << '\n';
        }
    }
    return out.str();
}

std::string officeActions()
{
    ScratchLogFile logFile;
    DialPlan plan;
    ManageableData data = benchplans::configuration(benchplans::officePlan());
    if (!plan.setData(data)) return {};
    std::ostringstream out;
    for (const std::string& number : benchplans::officeDiallings()) {
        for (std::size_t length = 1; length <= number.size(); ++length) {
            std::string digits = number.substr(0, length);
            unsigned int timer = 0;
            const int action = plan.getAction(&digits, &timer);
            out << number.substr(0, length) << '\t' << action << '\t' << timer << '\t' << digits << '\n';
        }
    }
    return out.str();
}

std::string contentsOf(const std::string& path)
{
    std::ifstream file(path);
    std::ostringstream text;
    text << file.rdbuf();
    return text.str();
}

// Writes or compares one file; false when it could not be written or differs.
bool handle(const std::string& path, const std::string& text, bool check)
{
    if (text.empty()) {
        std::fprintf(stderr, "das_expected: nothing computed for %s\n", path.c_str());
        return false;
    }
    if (check) {
        const bool same = contentsOf(path) == text;
        std::printf("%s: %s\n", path.c_str(), same ? "the service still answers the same" : "DIFFERS");
        return same;
    }
    std::ofstream file(path);
    file << text;
    std::printf("%s written\n", path.c_str());
    return static_cast<bool>(file);
}

}  // namespace

int main(int argc, char** argv)
{
    const bool check = argc > 1 && std::strcmp(argv[1], "--check") == 0;
    benchlog::use(benchlog::kOff);
    const bool conversionsOk = handle(benchexpected::conversionsPath(), conversions(), check);
    const bool actionsOk = handle(benchexpected::officeActionsPath(), officeActions(), check);
    return conversionsOk && actionsOk ? 0 : 1;
}
