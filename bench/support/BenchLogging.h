#pragma once
// The two logging conditions every benchmark runs under: off (threshold below trace, the
// phone's normal setting) and trace (level 5 on, lines formatted and handed to a sink that
// drops them, so the cost is the service's and the platform's, not a terminal's).

#include <string>

namespace benchlog {

enum Mode { kOff = 0, kTrace = 1 };

// Installs the null sink and the threshold of `mode`.
void use(int mode);
std::string label(int mode);

}  // namespace benchlog
