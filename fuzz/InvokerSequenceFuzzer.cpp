// A conversation with a fully configured service: the input is cut into lines, each a
// request or a script step (clock advance, configuration change, management write), so that
// sessions, timers and configuration changes meet in every order.

#include "FuzzSupport.h"

namespace {
constexpr std::size_t kMaxLines = 64;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    fuzzing::ConfiguredService service;
    for (const auto& line : fuzzing::splitLines(fuzzing::toText(data, size), kMaxLines)) service.scriptLine(line);
    return 0;
}
