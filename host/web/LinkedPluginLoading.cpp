// The plug-in linked into the program, for a build without a dynamic loader (the browser
// build): a path names nothing to load, every PluginLibrary is the linked-in service.

#include "DialPlanLoggerTexts.h"
#include "DigitAnalysisServicePlugin.h"
#include "PluginLibrary.h"

namespace {
const LinkedPlugin& linkedPlugin()
{
    static const LinkedPlugin linked{&createDigitAnalysisService, &createDigitAnalysisServiceInvoker,
                                     &createDigitAnalysisServiceEventProxy, &dialPlanLoggerTexts_FileNameMips};
    return linked;
}
}  // namespace

PluginLibrary::PluginLibrary(const std::string&) : PluginLibrary(linkedPlugin()) {}

std::string PluginLibrary::defaultPath() { return "(linked in)"; }
