// The service session the checker and the explainer use: the service started with a
// configuration, its plan written through management, a dialler's requests and events, and
// the service's trace kept while the session lives.

#include <algorithm>
#include <string>

#include <gtest/gtest.h>

#include "HostConfig.h"
#include "Logging.h"
#include "ServiceSession.h"

namespace {

std::unique_ptr<ServiceSession> startSession()
{
    return std::make_unique<ServiceSession>(std::make_unique<PluginLibrary>(DAS_PLUGIN_FILE), defaultHostConfig());
}

bool contains(const std::vector<std::string>& lines, const std::string& line)
{
    return std::find(lines.begin(), lines.end(), line) != lines.end();
}

}  // namespace

TEST(ServiceSession, WritesThePlanThroughManagementAndReadsItBack)
{
    auto session = startSession();
    const HostConfig config = defaultHostConfig();
    EXPECT_TRUE(session->writePlan(config.dialPlan));
    bool found = false;
    for (const auto& [path, value] : session->read({"dial-plan-id"}).items()) {
        if (path == "dial-plan-id/dialPlanId") found = value == "DE-1";
    }
    EXPECT_TRUE(found);
}

TEST(ServiceSession, TheDiallerGetsRepliesAndEvents)
{
    auto session = startSession();
    EXPECT_EQ(session->request("set_dialler_request"), std::vector<std::string>{"set_dialler_response:,1"});
    EXPECT_TRUE(session->request("startdiallingrequest:,0").empty());
    EXPECT_EQ(session->takeEvents(), std::vector<std::string>{"handledialingstartedevent"});
    EXPECT_TRUE(session->takeEvents().empty());
}

TEST(ServiceSession, KeepsTheServicesTraceUntilTakenAndGivesTheLogBackAfterwards)
{
    auto session = startSession();
    const std::vector<std::string> start = session->takeTrace();
    EXPECT_TRUE(contains(start, "DialPlan()")) << "the service's start is traced";
    EXPECT_TRUE(session->takeTrace().empty());
    session->request("dialstringrequest:5,0");
    EXPECT_FALSE(session->takeTrace().empty());
    session.reset();
    EXPECT_EQ(platformlog::threshold(), platformlog::kDefaultThreshold) << "trace logging is off again";
}
