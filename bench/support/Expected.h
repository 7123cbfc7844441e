#pragma once
// What the service answered for the corpus and the office plan when the benchmarks were
// written (corpus/expected.tsv, corpus/office-actions.tsv, made by das_expected). The timed
// loops compare every result with these, so that a change that breaks a conversion or a
// decision skips its benchmark with an error instead of looking fast.

#include <string>
#include <vector>

#include "Corpus.h"

namespace benchexpected {

// One conversion: whether the service said it converted, and the number afterwards.
struct Result {
    bool converted = false;
    std::string text;
    bool operator==(const Result& other) const { return converted == other.converted && text == other.text; }
};

// A corpus number with what the three conversions gave: the canonical conversion, the
// RingCentral conversion (on a phone attached to a RingCentral server) and, when the
// canonical conversion converted, the local dialable conversion of its canonical form.
struct Conversions {
    benchcorpus::Number number;
    Result canonical;
    Result ringCentral;
    Result localFromCanonical;
};

// One office dialling prefix with getAction's answer, its timer output and the digits after.
struct Action {
    std::string digits;
    int action = 0;
    unsigned int timer = 0;
    std::string digitsAfter;
};

// The corpus numbers of one region with their results, in corpus order; empty when the file
// is unreadable or does not list every number of the corpus.
const std::vector<Conversions>& conversionsOf(const std::string& region);
// Every prefix of every office dialling, in order; empty when the file is unreadable.
const std::vector<Action>& officeActions();

// The file paths, for das_expected.
std::string conversionsPath();
std::string officeActionsPath();

}  // namespace benchexpected
