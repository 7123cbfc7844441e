#include "ServiceSession.h"

#include <utility>

#include "Executable.h"
#include "InvokerResponse.h"
#include "Logging.h"
#include "MgmtAgentIfc.h"
#include "ProxyRequest.h"

namespace {

const char* const kDiallerName = "dialler";

// The replies of one request.
class CollectedResponse : public InvokerResponse {
public:
    void sendResponse(const char* data, int length) override
    {
        replies.emplace_back(data != nullptr && length > 0 ? std::string(data, static_cast<std::size_t>(length)) : "");
    }
    void responseComplete() override {}
    void getSenderName(std::string& name) override { name = kDiallerName; }
    std::vector<std::string> replies;
};

}  // namespace

// The dialler's side of its event proxy: events are kept, requests get an empty answer.
class ServiceSession::DiallerChannel : public ProxyRequest {
public:
    explicit DiallerChannel(FrameworkContext& context) : m_context(context) {}
    void setMessageFormat(const std::string&) override {}
    void sendEvent(const std::string& message) override { events.push_back(message); }
    void sendRequest(const std::string&, std::string& reply) override { reply.clear(); }
    FrameworkContext* getFrameworkContext() override { return &m_context; }
    std::vector<std::string> events;

private:
    FrameworkContext& m_context;
};

ServiceSession::ServiceSession(std::unique_ptr<PluginLibrary> plugin, const HostConfig& config)
    : m_host(std::move(plugin), PluginHostParts{m_context, m_store, m_clock, {}, {}})
{
    platformlog::setThreshold(platformlog::kTraceLevel);
    platformlog::setSink([this](const LogRecord& record) {
        if (record.level == platformlog::kTraceLevel) m_trace.push_back(record.text);
    });
    m_host.applyConfig(config);
    m_host.startService();
    m_channel = std::make_unique<DiallerChannel>(m_context);
    m_proxy = m_host.openEventProxy(kDiallerName, *m_channel);
}

ServiceSession::~ServiceSession()
{
    // The service borrows the proxy: it goes first.
    m_host.stopService();
    m_proxy.reset();
    platformlog::setSink({});
    platformlog::setThreshold(platformlog::kDefaultThreshold);
}

bool ServiceSession::writePlan(const ManageableData& plan)
{
    ManageableData data = plan;
    return m_host.agent().setData(data);
}

ManageableData ServiceSession::read(const std::vector<std::string>& roots)
{
    ManageableData data;
    for (const auto& root : roots) data.addRootId(root);
    (void)m_host.agent().getData(data);
    return data;
}

std::vector<std::string> ServiceSession::request(const std::string& text)
{
    CollectedResponse response;
    m_host.invoker().handleMessage(&m_host.service(), text.data(), static_cast<int>(text.size()), &response);
    return response.replies;
}

std::vector<std::string> ServiceSession::takeEvents() { return std::exchange(m_channel->events, {}); }

std::vector<std::string> ServiceSession::takeTrace() { return std::exchange(m_trace, {}); }
