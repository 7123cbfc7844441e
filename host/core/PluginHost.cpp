#include "PluginHost.h"

#include "Executable.h"
#include "HardwareVersion.h"
#include "MgmtAgentIfc.h"
#include "ProxyRequest.h"

const char* const PluginHost::kEventInterface = "DigitAnalysisServiceEventIfc";

PluginHost::PluginHost(std::unique_ptr<PluginLibrary> plugin, PluginHostParts parts)
    : m_plugin(std::move(plugin)),
      m_context(parts.context),
      m_dataAccess(parts.store, std::move(parts.storeObserver)),
      m_media(std::move(parts.toneReporter))
{
    m_context.registerExecutable("LocalMgmtIfc", &m_configStore);
    m_context.registerExecutable("DataAccessServiceIfc", &m_dataAccess);
    m_context.registerExecutable("MediaControlServiceIfc", &m_media);
    m_context.registerExecutable("TeamServiceIfc", &m_team);
    m_context.registerExecutable("ClockServiceIfc", &parts.clock);
}

PluginHost::~PluginHost() { stopService(); }

void PluginHost::applyConfig(const HostConfig& config)
{
    m_configStore.mergeSerialized(config.storeItems.serialize());
    for (const auto& line : config.teamLines) m_team.setLine(line.line, line.type, line.destination);
    if (config.subPlatformVariant) HardwareVersion::setHWSubPlatformVariant(*config.subPlatformVariant);
}

void PluginHost::startService()
{
    std::unique_ptr<Executable> service(m_plugin->createService());
    if (!service) throw PluginError("the plug-in created no service");
    service->init(m_context);
    std::unique_ptr<Invoker> invoker(m_plugin->createInvoker());
    if (!invoker) throw PluginError("the plug-in created no invoker");
    invoker->initInvoker(&m_context);
    if (dynamic_cast<MgmtAgentIfc*>(service.get()) == nullptr)
        throw PluginError("the plug-in's service offers no management face");
    m_service = std::move(service);
    m_invoker = std::move(invoker);
    m_agent = dynamic_cast<MgmtAgentIfc*>(m_service.get());
}

void PluginHost::stopService()
{
    m_service.reset();
    m_invoker.reset();
    m_agent = nullptr;
}

std::unique_ptr<Executable> PluginHost::openEventProxy(const std::string& name, ProxyRequest& channel)
{
    Proxy* created = m_plugin->createEventProxy();
    if (created == nullptr) return nullptr;
    std::unique_ptr<Executable> proxy(created);
    created->initProxy(channel);
    m_context.registerProxy(kEventInterface, name, created);
    m_context.setChannelName(created, name);
    return proxy;
}

void PluginHost::withdrawEventProxy(const std::string& name) { m_context.registerProxy(kEventInterface, name, nullptr); }
