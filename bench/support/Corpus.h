#pragma once
// The number corpus (corpus/numbers.tsv): numbers as dialled, typed and received on a phone
// in Munich (region DE) and in New York (region US), in national, international,
// access-code and local form.

#include <string>
#include <vector>

namespace benchcorpus {

struct Number {
    std::string region;  // "DE" or "US"
    std::string form;    // "national", "international", "access" or "local"
    std::string text;
};

// The whole corpus, read once (from $DAS_BENCH_CORPUS when set); empty when unreadable.
const std::vector<Number>& all();
// The corpus numbers of one region.
std::vector<Number> ofRegion(const std::string& region);

}  // namespace benchcorpus
