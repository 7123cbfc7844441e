#pragma once
// The plug-in host: the loaded plug-in and the framework side it runs in, set up once for
// every host program (the simulator, the daemon, and any other that starts the service).
// It registers the service's peers in the context it is given (the configuration store, the
// data access store it is handed, media control, the team service and the clock), applies a
// configuration, starts the service with its invoker and management face, and makes the event
// proxies of named clients. It knows neither sockets nor SQLite nor how a program reports:
// what it is given decides that. Not for: scheduling requests (the caller's threads call the
// invoker) or storing dial plans (the caller's store does that through the management face).

#include <memory>
#include <string>

#include "DirectoryContext.h"
#include "HostConfig.h"
#include "HostPeers.h"
#include "MemoryConfigStore.h"
#include "PluginLibrary.h"
#include "RecordingPeers.h"

class Executable;
class Invoker;
class MgmtAgentIfc;
class ProxyRequest;

// What a plug-in host is made of; the host borrows the context, the store and the clock, which
// must outlive it.
struct PluginHostParts {
    DirectoryContext& context;
    // The data access store the service talks to (the SQLite store, or any other).
    DataAccessServiceIfc& store;
    // The service's clock peer (a fixed clock in the simulator, the system clock in the daemon).
    Executable& clock;
    // Called with each store request and its response; may be empty.
    ObservedDataAccessService::Observer storeObserver;
    // Called with each tone line ("play ...", "stop ..."); may be empty.
    ReportingMediaControl::Reporter toneReporter;
};

class PluginHost {
public:
    // Takes the plug-in and registers the peers in the context; the service is not started.
    PluginHost(std::unique_ptr<PluginLibrary> plugin, PluginHostParts parts);
    // Stops the service (stopService) if it still runs.
    ~PluginHost();
    PluginHost(const PluginHost&) = delete;
    PluginHost& operator=(const PluginHost&) = delete;

    // The interface name the service looks client event proxies up under.
    static const char* const kEventInterface;

    // Merges the configuration's store items into the configuration store, sets its team
    // lines and its hardware sub-platform variant. Call it before startService, or from the
    // thread that makes the service's management calls.
    void applyConfig(const HostConfig& config);

    // Creates the service, initialises it in the context, creates its invoker and finds its
    // management face. Throws PluginError when the plug-in creates no service or no invoker,
    // or its service has no management face; nothing is started then.
    void startService();
    bool started() const { return m_service != nullptr; }
    // Destroys the service, then its invoker. Proxies the service borrowed must go after this.
    void stopService();

    // The running service, its invoker and management face; only after startService.
    Executable& service() { return *m_service; }
    Invoker& invoker() { return *m_invoker; }
    MgmtAgentIfc& agent() { return *m_agent; }

    // A new event proxy of the plug-in for client `name`, speaking through `channel` (borrowed:
    // it must outlive the proxy), registered so that the service finds it under that name.
    // Null when the plug-in created none. The caller owns the proxy; it goes after the service.
    std::unique_ptr<Executable> openEventProxy(const std::string& name, ProxyRequest& channel);
    // The service no longer finds a proxy under `name`.
    void withdrawEventProxy(const std::string& name);

    PluginLibrary& plugin() { return *m_plugin; }
    DirectoryContext& context() { return m_context; }
    MemoryConfigStore& configStore() { return m_configStore; }
    RecordingTeamService& team() { return m_team; }

private:
    std::unique_ptr<PluginLibrary> m_plugin;
    DirectoryContext& m_context;
    MemoryConfigStore m_configStore;
    ObservedDataAccessService m_dataAccess;
    ReportingMediaControl m_media;
    RecordingTeamService m_team;
    std::unique_ptr<Executable> m_service;
    std::unique_ptr<Invoker> m_invoker;
    MgmtAgentIfc* m_agent = nullptr;
};
