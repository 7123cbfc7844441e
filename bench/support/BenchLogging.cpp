#include "BenchLogging.h"

#include "Logging.h"

namespace benchlog {

void use(int mode)
{
    platformlog::setSink([](const LogRecord&) {});
    platformlog::setThreshold(mode == kTrace ? 5 : platformlog::kDefaultThreshold);
}

std::string label(int mode) { return mode == kTrace ? "logging=trace" : "logging=off"; }

}  // namespace benchlog
