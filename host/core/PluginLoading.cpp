// Loading the plug-in with the dynamic loader: the native host programs' way.

#include <dlfcn.h>

#include <filesystem>
#include <vector>

#include "PluginLibrary.h"

namespace {
const char* const kPluginFileName = "libDigitAnalysisService.so";

std::filesystem::path programDirectory()
{
    std::error_code error;
    const auto program = std::filesystem::read_symlink("/proc/self/exe", error);
    return error ? std::filesystem::current_path() : program.parent_path();
}
}  // namespace

PluginLibrary::PluginLibrary(const std::string& path)
    : m_path(path), m_handle(dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL), &dlclose)
{
    if (!m_handle) {
        const char* reason = dlerror();
        throw PluginError("cannot load the plug-in " + path + ": " + (reason != nullptr ? reason : "unknown reason"));
    }
    m_createService = reinterpret_cast<Executable* (*)()>(symbol("createDigitAnalysisService"));
    m_createInvoker = reinterpret_cast<Invoker* (*)()>(symbol("createDigitAnalysisServiceInvoker"));
    m_createEventProxy = reinterpret_cast<Proxy* (*)()>(symbol("createDigitAnalysisServiceEventProxy"));
    // Optional: setDialPlanLogFile says so when a plug-in has none.
    m_logFileLabel = static_cast<const char**>(dlsym(m_handle.get(), "dialPlanLoggerTexts_FileNameMips"));
}

void* PluginLibrary::symbol(const char* name) const
{
    void* address = dlsym(m_handle.get(), name);
    if (address == nullptr) throw PluginError("the plug-in " + m_path + " does not export " + name);
    return address;
}

std::string PluginLibrary::defaultPath()
{
    const auto directory = programDirectory();
    const std::vector<std::filesystem::path> candidates = {
        directory / kPluginFileName, directory.parent_path() / kPluginFileName,
        directory.parent_path() / "lib" / kPluginFileName};
    for (const auto& candidate : candidates) {
        std::error_code error;
        if (std::filesystem::exists(candidate, error)) return candidate.string();
    }
    return DAS_INSTALLED_PLUGIN;
}
