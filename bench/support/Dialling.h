#pragma once
// A dialling session on a Munich phone with the 50-entry office plan, and the number dialled
// in it: access code, national prefix, area 89 and an eight-digit subscriber, twelve digits
// in all. The plan waits for four digits, runs the dial plan timer from the ninth and sends
// at the twelfth.

#include <memory>
#include <string>
#include <vector>

#include "ServiceHarness.h"

namespace benchdialling {

constexpr const char* kNumber = "008912345678";

// The digit strings the dialler passes, one digit more each time: "0", "00", ... kNumber.
std::vector<std::string> growingDigits();

// A started phone with the office plan and a dialler, dialling begun off-hook; null when
// the plan did not load.
std::unique_ptr<ServiceHarness> startSession();

// Whether dialling kNumber digit by digit gives "keep collecting" eleven times, then "send".
bool sendsAtTheTwelfthDigit(DigitAnalysisService& service);

}  // namespace benchdialling
