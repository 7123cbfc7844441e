#pragma once
// The service on the in-process platform, set up as the phone of a region: a phone in Munich
// (country 49, national prefix 0, area 89, access code 0, international prefix 00, minimum
// local length 3) or in New York (country 1, national prefix 1, area 212, access code 9,
// international prefix 011, minimum local length 7); both behind an exchange that needs the
// access code, optionally attached to a RingCentral server.

#include <memory>
#include <string>

#include "ServiceHarness.h"

namespace benchphones {

std::unique_ptr<ServiceHarness> start(const std::string& region, bool ringCentral = false);

}  // namespace benchphones
