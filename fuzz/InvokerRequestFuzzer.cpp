// One client request, as arbitrary bytes, to a fully configured service through its invoker.

#include "FuzzSupport.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    fuzzing::ConfiguredService service;
    service.request(fuzzing::toText(data, size));
    return 0;
}
