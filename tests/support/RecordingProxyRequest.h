#pragma once
// The request channel of an event proxy, as a client in another process would be reached:
// records each message format, event and request the proxy sends, and answers requests with
// `nextReply`. The one ProxyRequest double of the tests and the fuzz targets.

#include <string>
#include <vector>

#include "InProcessContext.h"
#include "ProxyRequest.h"

class RecordingProxyRequest : public ProxyRequest {
public:
    // The channel's framework context is its own `context`.
    RecordingProxyRequest() = default;
    // The channel's framework context is `frameworkContext`, which must outlive the channel.
    explicit RecordingProxyRequest(FrameworkContext& frameworkContext) : m_frameworkContext(&frameworkContext) {}
    RecordingProxyRequest(const RecordingProxyRequest&) = delete;
    RecordingProxyRequest& operator=(const RecordingProxyRequest&) = delete;

    void setMessageFormat(const std::string& format) override { formats.push_back(format); }
    void sendEvent(const std::string& message) override { events.push_back(message); }
    void sendRequest(const std::string& request, std::string& reply) override
    {
        requests.push_back(request);
        reply = nextReply;
    }
    FrameworkContext* getFrameworkContext() override { return m_frameworkContext; }

    // The events sent since the last call.
    std::vector<std::string> takeEvents()
    {
        std::vector<std::string> taken;
        taken.swap(events);
        return taken;
    }

    std::vector<std::string> formats;
    std::vector<std::string> events;
    std::vector<std::string> requests;
    std::string nextReply;
    InProcessContext context;

private:
    FrameworkContext* m_frameworkContext = &context;
};
