#pragma once
// The service started on the in-process platform with a virtual clock, for the tools that
// tell an engineer what a plan will do (the plan checker and the decision explainer). It
// loads a configuration as das-sim does, writes the dial plan through the management face,
// dials as a dialler client does, and keeps the service's own trace lines, from which the
// tools read what the service decided. Nothing is printed. One session at a time in a
// process: it takes over the platform's log sink while it lives.

#include <memory>
#include <string>
#include <vector>

#include "HostConfig.h"
#include "InProcessContext.h"
#include "PluginHost.h"
#include "RecordingPeers.h"

class Executable;
class ProxyRequest;

class ServiceSession {
public:
    // Applies the configuration's store items, team lines and hardware and starts the
    // service; the configuration's dial plan is not written (writePlan does that). Throws
    // PluginError when the plug-in cannot be used.
    ServiceSession(std::unique_ptr<PluginLibrary> plugin, const HostConfig& config);
    ~ServiceSession();
    ServiceSession(const ServiceSession&) = delete;
    ServiceSession& operator=(const ServiceSession&) = delete;

    // A management write of `plan`'s root items; the service's answer.
    bool writePlan(const ManageableData& plan);
    // A management read of `roots`: the items the service answers with.
    ManageableData read(const std::vector<std::string>& roots);

    // A request of the client "dialler" (whose event proxy the service can find); returns
    // its replies.
    std::vector<std::string> request(const std::string& text);
    // The events the service sent to "dialler" since the last call.
    std::vector<std::string> takeEvents();

    // The service's trace lines (level 5) since the last call, texts only.
    std::vector<std::string> takeTrace();

    InProcessContext& context() { return m_context; }

private:
    class DiallerChannel;

    InProcessContext m_context;
    RecordingDataAccessService m_store;
    FixedClock m_clock{2026, 1, 15, 9, 30, 0};
    PluginHost m_host;
    std::unique_ptr<DiallerChannel> m_channel;
    std::unique_ptr<Executable> m_proxy;
    std::vector<std::string> m_trace;
};
