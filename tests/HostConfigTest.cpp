// The phone configuration file: sections, item forms, the built-in Munich phone, and
// errors that name the file, line and column.

#include <cstdio>
#include <fstream>
#include <sstream>
#include <string>
#include <unistd.h>

#include <gtest/gtest.h>

#include "HostConfig.h"

namespace {

std::string readFile(const std::string& path)
{
    std::ifstream file(path, std::ios::binary);
    std::ostringstream content;
    content << file.rdbuf();
    return content.str();
}

// A configuration file that exists for the test's lifetime.
class TemporaryFile {
public:
    explicit TemporaryFile(const std::string& text)
    {
        char pattern[] = "/tmp/das-config-XXXXXX";
        const int fd = mkstemp(pattern);
        m_path = pattern;
        ::close(fd);
        std::ofstream(m_path, std::ios::binary) << text;
    }
    ~TemporaryFile() { std::remove(m_path.c_str()); }
    const std::string& path() const { return m_path; }

private:
    std::string m_path;
};

std::string value(const ManageableData& data, const std::string& root, const std::string& key)
{
    std::string text;
    EXPECT_TRUE(data.interogate(root, key, text)) << root << " " << key;
    return text;
}

// The error message of a configuration text that must be refused.
std::string refusal(const std::string& text, int& line, int& column)
{
    try {
        parseHostConfig(text);
    } catch (const JsonTextError& error) {
        line = error.line();
        column = error.column();
        return error.what();
    }
    ADD_FAILURE() << "accepted: " << text;
    return {};
}

}  // namespace

TEST(HostConfig, BuiltInConfigurationIsTheMunichExample)
{
    EXPECT_EQ(defaultConfigText(), readFile(std::string(DAS_SOURCE_DIR) + "/examples/munich.json"));
}

TEST(HostConfig, MunichPhoneHasItsItemsSettingsPlanAndHotLine)
{
    const HostConfig config = defaultHostConfig();
    EXPECT_EQ(value(config.storeItems, "software-type", "software-type"), "Valtrek SIP");
    EXPECT_EQ(value(config.storeItems, "hot-keypad-dialling", "immediateDiallingEnabled"), "true");
    EXPECT_EQ(value(config.storeItems, "canonicalDialSettings", "countryCode"), "49");
    EXPECT_EQ(value(config.storeItems, "canonicalDialSettings", "areaCode"), "89");
    ASSERT_TRUE(config.hasDialPlan);
    EXPECT_EQ(value(config.dialPlan, "dial-plan-id", "dial-plan-id"), "DE-1");
    EXPECT_EQ(value(config.dialPlan, "dialPlanSettings", "dialPlanEntry[1]/digit-string"), "112");
    EXPECT_EQ(value(config.dialPlan, "dialPlanSettings", "dialPlanEntry[2]/spec-num-indic"), "E");
    EXPECT_EQ(value(config.dialPlan, "dialPlanSettings", "dialPlanEntry[5]/terminating-char"), "#");
    ASSERT_EQ(config.teamLines.size(), 1u);
    EXPECT_EQ(config.teamLines[0].line, "1");
    EXPECT_EQ(config.teamLines[0].type, 1);
    EXPECT_EQ(config.teamLines[0].destination, "200");
    EXPECT_EQ(config.subPlatformVariant, 0u);
}

TEST(HostConfig, UsExampleIsAValidConfiguration)
{
    const HostConfig config = loadHostConfigFile(std::string(DAS_SOURCE_DIR) + "/examples/us.json");
    EXPECT_EQ(value(config.storeItems, "canonicalDialSettings", "countryCode"), "1");
    EXPECT_EQ(value(config.storeItems, "canonicalDialSettings", "areaCode"), "212");
    EXPECT_EQ(value(config.storeItems, "canonicalDialSettings", "localCallPrefix"), "9");
    EXPECT_EQ(value(config.storeItems, "canonicalDialSettings", "internationalPrefix"), "011");
}

TEST(HostConfig, LookUpRowsAreRowsOfTheCanonicalDocument)
{
    HostConfig config = parseHostConfig(R"({"canonicalDialSettings": {"lookUp": [
        {"localCode": "722", "internationalCode": "+4989722"}, {"localCode": "723"}]}})");
    DxlDocument* document = config.storeItems.getDocument("canonicalDialSettings");
    ASSERT_NE(document, nullptr);
    auto locals = document->select("lookUp/localCode");
    auto internationals = document->select("lookUp/internationalCode");
    ASSERT_EQ(locals->size(), 2u);
    std::string text;
    bool isNull = true;
    internationals->getValue(text, &isNull);
    EXPECT_EQ(text, "+4989722");
    internationals->next();
    internationals->getValue(text, &isNull);
    EXPECT_TRUE(isNull);
}

TEST(HostConfig, DialPlanSettingsAsItemPathsExpressGaps)
{
    const HostConfig config = parseHostConfig(R"({"dialPlan": {"dialPlanSettings": {
        "dialPlanEntry[1]/digit-string": "1", "dialPlanEntry[2]/digit-string": "2",
        "dialPlanEntry[4]/digit-string": "4"}}})");
    std::string text;
    EXPECT_TRUE(config.dialPlan.interogate("dialPlanSettings", "dialPlanEntry[4]/digit-string", text));
    EXPECT_EQ(text, "4");
    EXPECT_FALSE(config.dialPlan.interogate("dialPlanSettings", "dialPlanEntry[3]/digit-string", text));
}

TEST(HostConfig, DialPlanItemsKeepTheirWrittenOrder)
{
    const HostConfig config =
        parseHostConfig(R"({"dialPlan": {"dialPlanSettings": [], "dial-plan-id": "A", "dial-plan-enabled": "true"}})");
    std::vector<std::string> roots;
    config.dialPlan.getRootIds(roots);
    EXPECT_EQ(roots, (std::vector<std::string>{"dialPlanSettings", "dial-plan-id", "dial-plan-enabled"}));
}

TEST(HostConfig, NumbersAndTruthValuesBecomeTheirText)
{
    const HostConfig config = parseHostConfig(R"({"items": {"autodialtimer": 4, "phone-lock-active": true}})");
    EXPECT_EQ(value(config.storeItems, "autodialtimer", "autodialtimer"), "4");
    EXPECT_EQ(value(config.storeItems, "phone-lock-active", "phone-lock-active"), "true");
}

TEST(HostConfig, TeamLineWithoutDestinationHasNone)
{
    const HostConfig config = parseHostConfig(R"({"teamService": {"3": {"type": 2}}})");
    ASSERT_EQ(config.teamLines.size(), 1u);
    EXPECT_EQ(config.teamLines[0].destination, "??");
}

TEST(HostConfig, EverySectionIsOptional)
{
    const HostConfig config = parseHostConfig("{}");
    EXPECT_FALSE(config.hasDialPlan);
    EXPECT_TRUE(config.teamLines.empty());
    EXPECT_FALSE(config.subPlatformVariant);
}

TEST(HostConfig, UnknownSectionIsNamedAtItsPlace)
{
    int line = 0;
    int column = 0;
    EXPECT_EQ(refusal("{\n  \"items\": {},\n  \"dialplan\": {}\n}", line, column),
              "unknown key \"dialplan\" in the configuration");
    EXPECT_EQ(line, 3);
    EXPECT_EQ(column, 3);
}

TEST(HostConfig, UnknownCanonicalSettingIsNamed)
{
    int line = 0;
    int column = 0;
    EXPECT_EQ(refusal(R"({"canonicalDialSettings": {"contryCode": "49"}})", line, column),
              "unknown key \"contryCode\" in \"canonicalDialSettings\"");
    EXPECT_EQ(column, 28);
}

TEST(HostConfig, UnknownDialPlanEntryKeyIsNamed)
{
    int line = 0;
    int column = 0;
    EXPECT_EQ(refusal("{\"dialPlan\": {\"dialPlanSettings\": [\n {\"digit-string\": \"1\"},\n {\"digit\": \"2\"}]}}", line,
                      column),
              "unknown key \"digit\" in a dial plan entry");
    EXPECT_EQ(line, 3);
    EXPECT_EQ(column, 3);
}

TEST(HostConfig, UnknownTeamLineKeyIsNamed)
{
    int line = 0;
    int column = 0;
    EXPECT_EQ(refusal(R"({"teamService": {"1": {"kind": 1}}})", line, column),
              "unknown key \"kind\" in a team service line");
}

TEST(HostConfig, WrongKindsOfValueAreRefused)
{
    int line = 0;
    int column = 0;
    EXPECT_EQ(refusal(R"({"items": {"autodialtimer": 4.5}})", line, column),
              "a configuration value cannot be a fraction; write it as a string");
    EXPECT_EQ(refusal(R"({"items": {"autodialtimer": null}})", line, column),
              "expected a string, a number or true/false");
    EXPECT_EQ(refusal(R"({"teamService": {"1": {"type": "1"}}})", line, column), "\"type\" must be a whole number");
    EXPECT_EQ(refusal(R"({"hardware": {"subPlatformVariant": -1}})", line, column),
              "\"subPlatformVariant\" must be a whole number, 0 or more");
    EXPECT_EQ(refusal("[]", line, column), "a configuration must be a JSON object");
}

TEST(HostConfig, MalformedFileIsRefusedWithFileLineAndColumn)
{
    TemporaryFile file("{\n  \"items\": {\n    \"autodialtimer\" \"6\"\n  }\n}\n");
    try {
        loadHostConfigFile(file.path());
        FAIL() << "accepted a malformed file";
    } catch (const ConfigFileError& error) {
        const std::string message = error.what();
        EXPECT_EQ(message.rfind(file.path() + ":3:21: ", 0), 0u) << message;
    }
}

TEST(HostConfig, TruncatedFileIsRefusedAtItsEnd)
{
    TemporaryFile file("{\"items\": {\n");
    try {
        loadHostConfigFile(file.path());
        FAIL() << "accepted a truncated file";
    } catch (const ConfigFileError& error) {
        EXPECT_EQ(std::string(error.what()).rfind(file.path() + ":2:1: ", 0), 0u) << error.what();
    }
}

TEST(HostConfig, MissingFileIsNamed)
{
    try {
        loadHostConfigFile("/nonexistent/phone.json");
        FAIL();
    } catch (const ConfigFileError& error) {
        EXPECT_EQ(std::string(error.what()), "/nonexistent/phone.json: cannot read the configuration file");
    }
}

TEST(HostConfig, RootItemsKeepWrittenOrderAndNestedNodes)
{
    const ManageableData data =
        rootItemsFromJson(R"({"new-canonical-settings": "", "canonicalDialSettings": {"countryCode": "44"}, "autodialtimer": "8"})");
    std::vector<std::string> roots;
    data.getRootIds(roots);
    EXPECT_EQ(roots, (std::vector<std::string>{"new-canonical-settings", "canonicalDialSettings", "autodialtimer"}));
    EXPECT_EQ(value(data, "canonicalDialSettings", "countryCode"), "44");
}

TEST(HostConfig, RootItemsMayNameDialPlanEntriesByList)
{
    const ManageableData data = rootItemsFromJson(R"({"dialPlanSettings": [{"digit-string": "110"}, {"digit-string": "112"}]})");
    EXPECT_EQ(value(data, "dialPlanSettings", "dialPlanEntry[2]/digit-string"), "112");
}

TEST(HostConfig, RootNamesAreAListOfStrings)
{
    EXPECT_EQ(rootNamesFromJson(R"(["dial-plan-id", "dialPlanSettings"])"),
              (std::vector<std::string>{"dial-plan-id", "dialPlanSettings"}));
    EXPECT_THROW(rootNamesFromJson(R"(["a", 1])"), JsonTextError);
}
