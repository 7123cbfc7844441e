// The phone configuration file: sections, item forms, the built-in Munich phone, and
// errors that name the file, line and column.

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <sstream>
#include <stdexcept>
#include <string>
#include <sys/wait.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include "DigitAnalysisConfiguration.h"
#include "HostConfig.h"
#include "ScratchDirectory.h"
#include "TextFiles.h"

namespace {

// A file that exists for the test's lifetime, alone in a scratch directory of its own.
class TemporaryFile {
public:
    explicit TemporaryFile(const std::string& text)
    {
        std::ofstream out(m_path, std::ios::binary);
        out << text;
        if (!out.flush()) throw std::runtime_error("cannot write " + m_path);
    }
    const std::string& path() const { return m_path; }

private:
    ScratchDirectory m_directory{"das-config"};
    std::string m_path = m_directory.path() + "/file";
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

// The host checks a file's canonical settings against the names the service reads them by.
TEST(HostConfig, EveryCanonicalSettingTheServiceReadsIsAcceptedAndStored)
{
    std::string settings;
    std::vector<std::string> keys(std::begin(das_keys::kCanonicalTextKeys), std::end(das_keys::kCanonicalTextKeys));
    keys.insert(keys.end(), std::begin(das_keys::kCanonicalDialFormKeys), std::end(das_keys::kCanonicalDialFormKeys));
    keys.emplace_back(das_keys::kCanonicalExpectDialNumber);
    ASSERT_EQ(keys.size(), das_keys::kCanonicalSettingCount);
    for (const auto& key : keys) settings += (settings.empty() ? "\"" : ", \"") + key + "\": \"1\"";
    const HostConfig config = parseHostConfig(R"({"canonicalDialSettings": {)" + settings + "}}");
    for (const auto& key : keys) {
        std::string value;
        EXPECT_TRUE(config.storeItems.interogate(std::string(das_keys::kCanonicalDialSettings) + "/" + key, value)) << key;
        EXPECT_EQ(value, "1") << key;
    }
    EXPECT_THROW(parseHostConfig(R"({"canonicalDialSettings": {"countrycode": "49"}})"), JsonTextError);
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
    EXPECT_TRUE(internationals->getValue(text, &isNull));
    EXPECT_EQ(text, "+4989722");
    internationals->next();
    EXPECT_TRUE(internationals->getValue(text, &isNull));
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

namespace {

// A configuration whose item "a" nests objects so that the whole text is `levels` deep
// (the configuration object and "items" are the first two levels).
std::string nestedItemConfig(std::size_t levels)
{
    std::string text = "{\"items\": {\"a\": ";
    for (std::size_t i = 2; i < levels; ++i) text += "{\"a\": ";
    text += "\"x\"";
    text.append(levels, '}');
    return text;
}

// The column of the bracket that opens level 65 in nestedItemConfig.
constexpr int kColumnOfLevelTooMany = 17 + 6 * 62;

// The message of a configuration file that must be refused.
std::string fileRefusal(const std::string& text)
{
    TemporaryFile file(text);
    try {
        loadHostConfigFile(file.path());
    } catch (const ConfigFileError& error) {
        const std::string message = error.what();
        return message.rfind(file.path() + ":", 0) == 0 ? message.substr(file.path().size() + 1) : message;
    }
    ADD_FAILURE() << "accepted: " << text;
    return {};
}

}  // namespace

TEST(HostConfig, ItemsNestedToTheDepthLimitLoad)
{
    const HostConfig config = parseHostConfig(nestedItemConfig(kMaxJsonDepth));
    std::string path = "a";
    for (int i = 1; i < 62; ++i) path += "/a";
    EXPECT_EQ(value(config.storeItems, "a", path), "x");
}

TEST(HostConfig, ItemsNestedOneLevelPastTheLimitAreRefusedAtTheBracket)
{
    int line = 0;
    int column = 0;
    EXPECT_EQ(refusal(nestedItemConfig(kMaxJsonDepth + 1), line, column), "nesting deeper than 64 levels");
    EXPECT_EQ(line, 1);
    EXPECT_EQ(column, kColumnOfLevelTooMany);
}

TEST(HostConfig, HundredThousandLevelsInAFileAreRefusedWithFileLineAndColumn)
{
    EXPECT_EQ(fileRefusal(nestedItemConfig(100000)), "1:" + std::to_string(kColumnOfLevelTooMany) +
                                                         ": nesting deeper than 64 levels");
}

TEST(HostConfig, SimulatorRefusesAHundredThousandLevelsWithTheFilePlace)
{
    TemporaryFile config(nestedItemConfig(100000));
    TemporaryFile script("wait 1\n");
    TemporaryFile errors("");
    const std::string command = std::string(DAS_SIM_PATH) + " --plugin " + DAS_PLUGIN_FILE + " --config " +
                                config.path() + " " + script.path() + " >/dev/null 2>" + errors.path();
    const int status = std::system(command.c_str());
    ASSERT_TRUE(WIFEXITED(status)) << "das-sim died: " << readFile(errors.path());
    EXPECT_EQ(WEXITSTATUS(status), 2);
    EXPECT_EQ(readFile(errors.path()), "das-sim: " + config.path() + ":1:" + std::to_string(kColumnOfLevelTooMany) +
                                           ": nesting deeper than 64 levels\n");
}

TEST(HostConfig, InvalidUtf8InAFileIsNamedAtItsByte)
{
    EXPECT_EQ(fileRefusal("{\n  \"items\": {\"software-type\": \"Valtrek \xff\"}\n}\n"),
              "2:39: invalid UTF-8: byte 0xFF");
}

TEST(HostConfig, SubPlatformVariantBeyondAnUnsignedIntIsRefused)
{
    EXPECT_EQ(parseHostConfig(R"({"hardware": {"subPlatformVariant": 4294967295}})").subPlatformVariant, 4294967295u);
    EXPECT_EQ(fileRefusal("{\"hardware\": {\n  \"subPlatformVariant\": 4294967296}}"),
              "2:3: \"subPlatformVariant\" must be a whole number from 0 to 4294967295");
    EXPECT_EQ(fileRefusal(R"({"hardware": {"subPlatformVariant": 99999999999999999999}})"),
              "1:15: \"subPlatformVariant\" must be a whole number from 0 to 4294967295");
    EXPECT_EQ(fileRefusal(R"({"hardware": {"subPlatformVariant": 1.5}})"),
              "1:15: \"subPlatformVariant\" must be a whole number, 0 or more");
}

TEST(HostConfig, SubPlatformVariantTooLargeForAnyNumberIsRefusedAtItsPlace)
{
    EXPECT_EQ(fileRefusal("{\"hardware\": {\n  \"subPlatformVariant\": 1e400}}"),
              "2:25: \"subPlatformVariant\": the number 1e400 is out of range");
}

TEST(HostConfig, TeamLineTypeBeyondAnIntIsRefused)
{
    const HostConfig config =
        parseHostConfig(R"({"teamService": {"1": {"type": 2147483647}, "2": {"type": -2147483648}}})");
    ASSERT_EQ(config.teamLines.size(), 2u);
    EXPECT_EQ(config.teamLines[0].type, 2147483647);
    EXPECT_EQ(config.teamLines[1].type, -2147483647 - 1);
    const std::string range = "\"type\" must be a whole number from -2147483648 to 2147483647";
    EXPECT_EQ(fileRefusal(R"({"teamService": {"1": {"type": 4294967297}}})"), "1:24: " + range);
    EXPECT_EQ(fileRefusal(R"({"teamService": {"1": {"type": -2147483649}}})"), "1:24: " + range);
    EXPECT_EQ(fileRefusal(R"({"teamService": {"1": {"type": 1e19}}})"), "1:24: " + range);
    EXPECT_EQ(fileRefusal(R"({"teamService": {"1": {"type": -1e400}}})"),
              "1:32: \"type\": the number -1e400 is out of range");
}

TEST(HostConfig, ItemNumbersBeyondSixtyFourBitsAreRefusedByName)
{
    const HostConfig config = parseHostConfig(
        R"({"items": {"autodialtimer": 18446744073709551615, "initial-digit-timer": -9223372036854775808}})");
    EXPECT_EQ(value(config.storeItems, "autodialtimer", "autodialtimer"), "18446744073709551615");
    EXPECT_EQ(value(config.storeItems, "initial-digit-timer", "initial-digit-timer"), "-9223372036854775808");
    EXPECT_EQ(fileRefusal(R"({"items": {"autodialtimer": 18446744073709551616}})"),
              "1:12: \"autodialtimer\": the number is out of range (more than 64 bits); write it as a string");
    EXPECT_EQ(fileRefusal(R"({"canonicalDialSettings": {"countryCode": 1e400}})"),
              "1:43: \"countryCode\": the number 1e400 is out of range");
    EXPECT_EQ(fileRefusal(R"({"dialPlan": {"dialPlanSettings": [{"timer": -99999999999999999999}]}})"),
              "1:37: \"timer\": the number is out of range (more than 64 bits); write it as a string");
}

TEST(HostConfig, RootItemsRefuseDeepNestingBadUtf8AndHugeNumbersByColumn)
{
    std::string deep = "{\"dialPlanSettings\": ";
    for (int i = 0; i < 100000; ++i) deep += "{\"a\": ";
    try {
        rootItemsFromJson(deep);
        FAIL() << "accepted";
    } catch (const JsonTextError& error) {
        EXPECT_EQ(std::string(error.what()), "nesting deeper than 64 levels");
        EXPECT_EQ(error.column(), 22 + 6 * 63);
    }
    EXPECT_THROW(rootItemsFromJson("{\"dial-plan-id\": \"\xff\"}"), JsonTextError);
    EXPECT_THROW(rootItemsFromJson(R"({"autodialtimer": 1e400})"), JsonTextError);
    EXPECT_THROW(rootNamesFromJson("[\"dial-plan-id\", \"\xc3\"]"), JsonTextError);
    EXPECT_THROW(rootNamesFromJson(std::string(100000, '[') + std::string(100000, ']')), JsonTextError);
}

TEST(HostConfig, LongKeyIsCutShortInItsMessage)
{
    int line = 0;
    int column = 0;
    const std::string key(100000, 'k');
    EXPECT_EQ(refusal("{\"" + key + "\": {}}", line, column),
              "unknown key \"" + key.substr(0, 64) + "...\" in the configuration");
    EXPECT_EQ(refusal("{\"items\": {\"" + key + "\": [1]}}", line, column), "\"" + key.substr(0, 64) + "...\" cannot be a list");
}

TEST(HostConfig, RepeatedSectionIsNamedWhereItsValueIsWritten)
{
    // The last of two members of one name is the one read, so it is the one a fault names.
    EXPECT_EQ(fileRefusal("{\"hardware\": {\"subPlatformVariant\": 1},\n \"hardware\": {\"subPlatformVariant\": -1}}"),
              "2:15: \"subPlatformVariant\" must be a whole number, 0 or more");
}
