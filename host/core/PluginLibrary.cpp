#include "PluginLibrary.h"

#include "Executable.h"

PluginLibrary::PluginLibrary(const LinkedPlugin& linked) : m_path("(linked in)")
{
    if (linked.createService == nullptr || linked.createInvoker == nullptr || linked.createEventProxy == nullptr)
        throw PluginError("the linked-in plug-in lacks a factory");
    m_createService = linked.createService;
    m_createInvoker = linked.createInvoker;
    m_createEventProxy = linked.createEventProxy;
    m_logFileLabel = linked.dialPlanLogFileLabel;
}

PluginLibrary::~PluginLibrary() = default;

Executable* PluginLibrary::createService() const { return m_createService(); }
Invoker* PluginLibrary::createInvoker() const { return m_createInvoker(); }
Proxy* PluginLibrary::createEventProxy() const { return m_createEventProxy(); }

void PluginLibrary::setDialPlanLogFile(const std::string& fileName)
{
    if (m_logFileLabel == nullptr) throw PluginError("the plug-in " + m_path + " has no dial plan log file label");
    m_logFileName = fileName;
    *m_logFileLabel = m_logFileName.c_str();
}
