#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "InProcessContext.h"
#include "MgmtAgentIfc.h"
#include "PluginHost.h"
#include "ProxyRequest.h"
#include "RecordingPeers.h"

namespace {

class SilentChannel : public ProxyRequest {
public:
    explicit SilentChannel(FrameworkContext& context) : m_context(context) {}
    void setMessageFormat(const std::string&) override {}
    void sendEvent(const std::string& message) override { events.push_back(message); }
    void sendRequest(const std::string&, std::string& reply) override { reply.clear(); }
    FrameworkContext* getFrameworkContext() override { return &m_context; }
    std::vector<std::string> events;

private:
    FrameworkContext& m_context;
};

struct Fixture {
    InProcessContext context;
    RecordingDataAccessService store;
    FixedClock clock{2026, 1, 15, 9, 30, 0};
    std::vector<std::string> tones;
    PluginHost host{std::make_unique<PluginLibrary>(DAS_PLUGIN_FILE),
                    PluginHostParts{context, store, clock, nullptr,
                                    [this](const std::string& line) { tones.push_back(line); }}};
};

}  // namespace

TEST(PluginHost, RegistersTheServicesPeersBeforeTheServiceStarts)
{
    Fixture f;
    EXPECT_EQ(f.context.findExecutable("LocalMgmtIfc"), &f.host.configStore());
    EXPECT_EQ(f.context.findExecutable("TeamServiceIfc"), &f.host.team());
    EXPECT_EQ(f.context.findExecutable("ClockServiceIfc"), &f.clock);
    EXPECT_NE(f.context.findExecutable("DataAccessServiceIfc"), nullptr);
    EXPECT_NE(f.context.findExecutable("MediaControlServiceIfc"), nullptr);
    EXPECT_FALSE(f.host.started());
}

TEST(PluginHost, StartsTheServiceWithItsManagementFace)
{
    Fixture f;
    f.host.startService();
    ASSERT_TRUE(f.host.started());
    ManageableData data;
    data.addRootId("dialPlan");
    EXPECT_TRUE(f.host.agent().getData(data));
    f.host.stopService();
    EXPECT_FALSE(f.host.started());
}

TEST(PluginHost, AppliesTheConfigurationsStoreItemsAndTeamLines)
{
    Fixture f;
    HostConfig config = parseHostConfig(R"({"items": {"autodialtimer": "7"}})");
    f.host.applyConfig(config);
    std::string value;
    EXPECT_TRUE(f.host.configStore().getItem("autodialtimer", value));
    EXPECT_EQ(value, "7");
}

TEST(PluginHost, AClientsEventProxyIsFoundUnderItsName)
{
    Fixture f;
    f.host.startService();
    SilentChannel channel(f.context);
    std::unique_ptr<Executable> proxy = f.host.openEventProxy("alice", channel);
    ASSERT_NE(proxy, nullptr);
    EXPECT_EQ(f.context.findProxy(PluginHost::kEventInterface, "alice"), proxy.get());
    EXPECT_EQ(f.context.findChannel(proxy.get()), "alice");
    f.host.withdrawEventProxy("alice");
    EXPECT_EQ(f.context.findProxy(PluginHost::kEventInterface, "alice"), nullptr);
    f.host.stopService();
}
