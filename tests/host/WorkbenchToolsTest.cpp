// The workbench's answers about a whole configuration, as the page reads them: the checker's
// diagnostics, the explanation of a number, and the dial plan as the service holds it.

#include <memory>
#include <string>

#include <gtest/gtest.h>

#include "DecisionExplainer.h"
#include "HostConfig.h"
#include "JsonText.h"
#include "TextFiles.h"
#include "WorkbenchTools.h"

namespace {

std::unique_ptr<PluginLibrary> plugin() { return std::make_unique<PluginLibrary>(DAS_PLUGIN_FILE); }

const std::string kOffice = readFile(std::string(DAS_SOURCE_DIR) + "/tests/data/office.json");

}  // namespace

TEST(WorkbenchTools, TheCheckGivesEachDiagnosticAtItsPlaceAndTheCounts)
{
    const Json check = parseJsonText(checkJson(kOffice, plugin));
    ASSERT_EQ(check["diagnostics"].size(), 3u);
    EXPECT_EQ(check["diagnostics"][0]["severity"], "warning");
    EXPECT_EQ(check["diagnostics"][0]["line"], 9);
    EXPECT_EQ(check["diagnostics"][0]["column"], 9);
    EXPECT_EQ(check["diagnostics"][1]["severity"], "note");
    EXPECT_EQ(check["diagnostics"][1]["text"], "row 3 is here");
    EXPECT_EQ(check["errors"], 0);
    EXPECT_EQ(check["warnings"], 2);
    EXPECT_TRUE(parseJsonText(checkJson(defaultConfigText(), plugin))["diagnostics"].empty());
}

TEST(WorkbenchTools, TheExplanationIsDasSimsJsonExplanation)
{
    EXPECT_EQ(explainJson(kOffice, "0891234", false, plugin),
              explanationJson(explainDigits("0891234", parseHostConfig(kOffice), false, plugin)));
}

TEST(WorkbenchTools, ThePlanIsEveryRowAsTheServiceHoldsIt)
{
    const Json plan = parseJsonText(planJson(defaultConfigText(), plugin));
    EXPECT_EQ(plan["id"], "DE-1");
    EXPECT_EQ(plan["enabled"], "true");
    ASSERT_EQ(plan["rows"].size(), 5u);
    EXPECT_EQ(plan["rows"][2]["row"], 3);
    EXPECT_EQ(plan["rows"][2]["digit-string"], "2xx");
    EXPECT_EQ(plan["rows"][2]["min-digit-len"], "3") << "with the lengths the service worked out";
}

TEST(WorkbenchTools, ARefusedPlanShowsItsErrorRow)
{
    const Json plan = parseJsonText(planJson(
        R"({"dialPlan": {"dial-plan-id": "R", "dialPlanSettings": [{"digit-string": "110", "action": "C", "timer": "0"}]}})",
        plugin));
    EXPECT_EQ(plan["error"], "true");
    EXPECT_EQ(plan["errorRow"], "1");
}

TEST(WorkbenchTools, AConfigurationDasSimRefusesIsAnErrorWithItsPlace)
{
    for (const std::string& answer : {explainJson("{\n  \"colour\": 1}", "1", false, plugin), planJson("{\n  \"colour\": 1}", plugin)}) {
        const Json refused = parseJsonText(answer);
        EXPECT_EQ(refused["line"], 2);
        EXPECT_EQ(refused["column"], 3);
        EXPECT_EQ(refused["error"].get<std::string>().rfind("2:3: ", 0), 0u) << answer;
    }
}
