#pragma once
// Dial plan entries written directly into a plan, as validation leaves them (or as storage
// delivers them, unvalidated), for tests that exercise matching without configuration.

#include <cstdint>
#include <string>
#include <vector>

#include "DialPlan.h"

inline t_dialPlanEntry dialPlanEntry(const std::string& action, const std::string& digits, std::uint32_t minimum,
                                     std::uint32_t maximum, std::uint32_t timer, const std::string& terminator = "",
                                     bool terminatorSent = false, const std::string& special = "")
{
    t_dialPlanEntry result;
    result.digitString = digits;
    result.action = action;
    result.minDigitLength = minimum;
    result.maxDigitLength = maximum;
    result.timer = timer;
    result.terminator = terminator;
    result.terminatorSent = terminatorSent;
    result.specialNumberIndication = special;
    return result;
}

// Puts `entries` into the plan's table, first to last, and sets the number of entries.
inline void loadDialPlanEntries(DialPlan& plan, const std::vector<t_dialPlanEntry>& entries)
{
    for (std::size_t i = 0; i < entries.size(); ++i) *plan.getEntry(static_cast<int>(i)) = entries[i];
    plan.setNumberOfEntries(static_cast<int>(entries.size()));
}
