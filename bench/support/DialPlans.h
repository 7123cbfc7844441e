#pragma once
// The dial plans the benchmarks run against, written as a phone's configuration would give
// them ("dialPlanSettings/dialPlanEntry[n]/..."), and the digits dialled against them.

#include <string>
#include <vector>

#include "ManageableData.h"

namespace benchplans {

struct Row {
    std::string digitString;
    std::string action;          // "S" or "C"
    std::string timer;           // empty: not given
    std::string minDigitLength;  // empty: not given
    std::string maxDigitLength;  // empty: not given
    std::string terminator;
    std::string special;         // "E", "b" or empty
};

// The configuration items of an enabled plan with these rows.
ManageableData configuration(const std::vector<Row>& rows);

// A 50-entry plan of a Munich office behind a private exchange (access code 0): emergency
// and service numbers, extension ranges, premium-rate checks, then national, mobile and
// international numbers after the access code.
std::vector<Row> officePlan();
// Numbers dialled on that office phone: extensions, emergency, local, national, mobile and
// international numbers, all after the access code where one is needed.
std::vector<std::string> officeDiallings();

// The office plan with the emergency number 112 as its first entry; "112" is decided by it.
std::vector<Row> bestCasePlan();
// 50 send entries of 24 characters, each agreeing with worstCaseDigits() in its first 23
// characters and differing in the last, so that every entry is compared in full and none
// matches.
std::vector<Row> worstCasePlan();
std::string worstCaseDigits();

// 50 ordinary send entries, each a pattern of 24 "x" with the terminator "#": every entry
// agrees with every digit string, none is complete before the 24th digit, and on-hook none
// sends without the terminator.
std::vector<Row> onHookWorstCasePlan();

}  // namespace benchplans
