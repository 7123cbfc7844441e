#include "PluginLibrary.h"

#include <dlfcn.h>
#include <unistd.h>

#include <filesystem>
#include <vector>

#include "Executable.h"

namespace {
const char* const kPluginFileName = "libDigitAnalysisService.so";

std::filesystem::path programDirectory()
{
    std::error_code error;
    const auto program = std::filesystem::read_symlink("/proc/self/exe", error);
    return error ? std::filesystem::current_path() : program.parent_path();
}
}  // namespace

PluginLibrary::PluginLibrary(const std::string& path) : m_path(path)
{
    m_handle = dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL);
    if (m_handle == nullptr) {
        const char* reason = dlerror();
        throw PluginError("cannot load the plug-in " + path + ": " + (reason != nullptr ? reason : "unknown reason"));
    }
    m_createService = reinterpret_cast<Executable* (*)()>(symbol("createDigitAnalysisService"));
    m_createInvoker = reinterpret_cast<Invoker* (*)()>(symbol("createDigitAnalysisServiceInvoker"));
    m_createEventProxy = reinterpret_cast<Proxy* (*)()>(symbol("createDigitAnalysisServiceEventProxy"));
}

PluginLibrary::PluginLibrary(const LinkedPlugin& linked) : m_path("(linked in)")
{
    if (linked.createService == nullptr || linked.createInvoker == nullptr || linked.createEventProxy == nullptr)
        throw PluginError("the linked-in plug-in lacks a factory");
    m_createService = linked.createService;
    m_createInvoker = linked.createInvoker;
    m_createEventProxy = linked.createEventProxy;
    m_logFileLabel = linked.dialPlanLogFileLabel;
}

PluginLibrary::~PluginLibrary()
{
    if (m_handle != nullptr) dlclose(m_handle);
}

void* PluginLibrary::symbol(const char* name) const
{
    void* address = dlsym(m_handle, name);
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

Executable* PluginLibrary::createService() const { return m_createService(); }
Invoker* PluginLibrary::createInvoker() const { return m_createInvoker(); }
Proxy* PluginLibrary::createEventProxy() const { return m_createEventProxy(); }

void PluginLibrary::setDialPlanLogFile(const std::string& fileName)
{
    auto** label = m_handle == nullptr ? m_logFileLabel
                                       : reinterpret_cast<const char**>(symbol("dialPlanLoggerTexts_FileNameMips"));
    if (label == nullptr) throw PluginError("the plug-in " + m_path + " has no dial plan log file label");
    m_logFileName = fileName;
    *label = m_logFileName.c_str();
}
