#pragma once
// The dial plan engineer's explainer: dials a number into the real service, one digit at a
// time on a virtual clock, and says after each digit what the service decided (needs more
// digits, complete, sent at once as an emergency or lock-bypass number, terminator), which
// row decided it and which timer it armed, then runs the clock until the phone is idle and
// says what it dialled and when. What it reports is read from the service's own trace.

#include <string>
#include <vector>

#include "HostConfig.h"
#include "PlanChecker.h"
#include "ServiceTrace.h"

// One digit dialled: what the service decided on the digits so far (ServiceTrace.h).
struct ExplainedDigit : DigitDecision {
    std::string digits;  // the digits dialled so far, this one last
    std::string sent;    // the digits the phone sends now; empty: none
};

struct Explanation {
    std::vector<ExplainedDigit> steps;
    std::string dialled;          // what the phone dials in the end; empty: nothing
    long long dialledAtMs = -1;   // virtual time after the last digit; -1: never
    std::string because;          // what made it dial (a decision or a timer that expired)
    bool dialPlanEnabled = false;
};

// Explains `digits` dialled after an off-hook start of dialling on no particular line (or on-hook, with
// `onHook`) on a phone with `config` and its dial plan. Runs the clock for at most ten minutes
// after the last digit. Throws PluginError when the plug-in cannot be used.
Explanation explainDigits(const std::string& digits, const HostConfig& config, bool onHook, const PluginLoader& loadPlugin);

// The explanation for people: one line per digit, then the outcome.
std::string explanationText(const Explanation& explanation);
// The same as a JSON object (docs/dial-plan.md gives its members).
std::string explanationJson(const Explanation& explanation);
