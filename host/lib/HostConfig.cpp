#include "HostConfig.h"

#include <algorithm>
#include <fstream>
#include <set>
#include <sstream>

namespace {

const std::set<std::string> kSections = {"items", "canonicalDialSettings", "dialPlan", "teamService", "hardware"};

const std::set<std::string> kCanonicalKeys = {
    "countryCode",         "nationalPrefix",  "areaCode",         "minLocalNumberLength", "localEnterpriseNode",
    "localCallPrefix",     "internationalPrefix", "operatorCode", "emergencyNumber",      "extensionInitialDigits",
    "expectDialNumber",    "dialInternalForm", "dialExternalForm", "dialNeedsAccessCode", "dialNeedsIntGWcode",
    "lookUp"};

const std::set<std::string> kLookUpKeys = {"localCode", "internationalCode"};

const std::set<std::string> kDialPlanKeys = {"dial-plan-enabled", "dial-plan-id", "dial-plan-error",
                                             "dial-plan-error-row", "dialPlanSettings"};

const std::set<std::string> kEntryKeys = {"digit-string",     "action",         "min-digit-len",
                                          "max-digit-len",    "timer",          "terminating-char",
                                          "spec-num-indic",   "comment",        "terminating-char-sent"};

const std::set<std::string> kTeamLineKeys = {"type", "destination"};

// Converts JSON values into configuration nodes, reporting faults at their place.
class NodeBuilder {
public:
    explicit NodeBuilder(const std::string& text) : m_text(text) {}

    [[noreturn]] void fail(const JsonPath& path, const std::string& message) const { failAt(m_text, path, message); }

    void requireObject(const Json& value, const JsonPath& path, const std::string& what) const
    {
        if (!value.is_object()) fail(path, what + " must be an object");
    }

    void requireKnownKeys(const Json& object, const JsonPath& path, const std::set<std::string>& known,
                          const std::string& where) const
    {
        for (const auto& [key, value] : object.items()) {
            (void)value;
            if (known.count(key) == 0) {
                JsonPath at = path;
                at.emplace_back(key);
                std::string message = "unknown key \"";
                message += key;
                message += "\" in ";
                message += where;
                fail(at, message);
            }
        }
    }

    // The text of a scalar item value.
    std::string scalarText(const Json& value, const JsonPath& path) const
    {
        if (value.is_string()) return value.get<std::string>();
        if (value.is_boolean()) return value.get<bool>() ? "true" : "false";
        if (value.is_number_integer() || value.is_number_unsigned()) return value.dump();
        if (value.is_number_float()) fail(path, "a configuration value cannot be a fraction; write it as a string");
        fail(path, "expected a string, a number or true/false");
    }

    // Fills `node` from a scalar or an object of child nodes.
    void fillNode(DataNode& node, const Json& value, const JsonPath& path) const
    {
        if (!value.is_object()) {
            node.setValue(scalarText(value, path));
            return;
        }
        for (const auto& [key, child] : value.items()) {
            JsonPath at = path;
            at.emplace_back(key);
            if (child.is_array()) {
                addRows(node, key, child, at);
                continue;
            }
            DataNode* target = key.find('/') != std::string::npos ? node.makePath(key) : &node.addChild(key);
            if (key.empty() || target == nullptr) fail(at, "\"" + key + "\" is not a valid item path");
            fillNode(*target, child, at);
        }
    }

    // A list of objects: one child named `name` per row.
    void addRows(DataNode& node, const std::string& name, const Json& rows, const JsonPath& path) const
    {
        for (std::size_t i = 0; i < rows.size(); ++i) {
            JsonPath at = path;
            at.emplace_back(i);
            if (!rows[i].is_object()) fail(at, "each row of \"" + name + "\" must be an object");
            fillNode(node.addChild(name), rows[i], at);
        }
    }

    // Dial plan entries given as a list: entry n becomes "dialPlanEntry[n]".
    void addDialPlanEntries(DataNode& settings, const Json& entries, const JsonPath& path, bool strict) const
    {
        for (std::size_t i = 0; i < entries.size(); ++i) {
            JsonPath at = path;
            at.emplace_back(i);
            requireObject(entries[i], at, "a dial plan entry");
            if (strict) requireKnownKeys(entries[i], at, kEntryKeys, "a dial plan entry");
            DataNode& entry = settings.addChild("dialPlanEntry[" + std::to_string(i + 1) + "]");
            for (const auto& [key, value] : entries[i].items()) {
                JsonPath valueAt = at;
                valueAt.emplace_back(key);
                entry.addChild(key).setValue(scalarText(value, valueAt));
            }
        }
    }

    void addRootItem(ManageableData& data, const std::string& key, const Json& value, const JsonPath& path,
                     bool strictEntries) const
    {
        if (key.empty()) fail(path, "an item needs a name");
        DataNode& root = data.getOrAddRoot(key);
        if (value.is_array()) {
            if (key != "dialPlanSettings") fail(path, "\"" + key + "\" cannot be a list");
            addDialPlanEntries(root, value, path, strictEntries);
            return;
        }
        fillNode(root, value, path);
    }

private:
    const std::string& m_text;
};

void readItems(const NodeBuilder& builder, const Json& items, HostConfig& config)
{
    const JsonPath path{std::string("items")};
    builder.requireObject(items, path, "\"items\"");
    for (const auto& [key, value] : items.items()) {
        JsonPath at = path;
        at.emplace_back(key);
        builder.addRootItem(config.storeItems, key, value, at, false);
    }
}

void readCanonicalSettings(const NodeBuilder& builder, const Json& settings, HostConfig& config)
{
    const JsonPath path{std::string("canonicalDialSettings")};
    builder.requireObject(settings, path, "\"canonicalDialSettings\"");
    builder.requireKnownKeys(settings, path, kCanonicalKeys, "\"canonicalDialSettings\"");
    if (settings.contains("lookUp")) {
        JsonPath at = path;
        at.emplace_back(std::string("lookUp"));
        const Json& rows = settings.at("lookUp");
        if (!rows.is_array()) builder.fail(at, "\"lookUp\" must be a list of {\"localCode\", \"internationalCode\"}");
        for (std::size_t i = 0; i < rows.size(); ++i) {
            JsonPath rowAt = at;
            rowAt.emplace_back(i);
            builder.requireObject(rows[i], rowAt, "a \"lookUp\" row");
            builder.requireKnownKeys(rows[i], rowAt, kLookUpKeys, "a \"lookUp\" row");
        }
    }
    builder.addRootItem(config.storeItems, "canonicalDialSettings", settings, path, false);
}

void readDialPlan(const NodeBuilder& builder, const Json& plan, HostConfig& config)
{
    const JsonPath path{std::string("dialPlan")};
    builder.requireObject(plan, path, "\"dialPlan\"");
    builder.requireKnownKeys(plan, path, kDialPlanKeys, "\"dialPlan\"");
    for (const auto& [key, value] : plan.items()) {
        JsonPath at = path;
        at.emplace_back(key);
        if (key == "dialPlanSettings" && !value.is_array() && !value.is_object())
            builder.fail(at, "\"dialPlanSettings\" must be a list of entries or an object of item paths");
        builder.addRootItem(config.dialPlan, key, value, at, true);
    }
    config.hasDialPlan = true;
}

void readTeamService(const NodeBuilder& builder, const Json& team, HostConfig& config)
{
    const JsonPath path{std::string("teamService")};
    builder.requireObject(team, path, "\"teamService\"");
    for (const auto& [line, setting] : team.items()) {
        JsonPath at = path;
        at.emplace_back(line);
        builder.requireObject(setting, at, "a team service line");
        builder.requireKnownKeys(setting, at, kTeamLineKeys, "a team service line");
        TeamLineSetting result;
        result.line = line;
        if (setting.contains("type")) {
            JsonPath typeAt = at;
            typeAt.emplace_back(std::string("type"));
            if (!setting.at("type").is_number_integer()) builder.fail(typeAt, "\"type\" must be a whole number");
            result.type = setting.at("type").get<int>();
        }
        if (setting.contains("destination")) {
            JsonPath destinationAt = at;
            destinationAt.emplace_back(std::string("destination"));
            if (!setting.at("destination").is_string()) builder.fail(destinationAt, "\"destination\" must be a string");
            result.destination = setting.at("destination").get<std::string>();
        } else {
            result.destination = "??";
        }
        config.teamLines.push_back(result);
    }
}

void readHardware(const NodeBuilder& builder, const Json& hardware, HostConfig& config)
{
    const JsonPath path{std::string("hardware")};
    builder.requireObject(hardware, path, "\"hardware\"");
    builder.requireKnownKeys(hardware, path, {"subPlatformVariant"}, "\"hardware\"");
    if (!hardware.contains("subPlatformVariant")) return;
    JsonPath at = path;
    at.emplace_back(std::string("subPlatformVariant"));
    const Json& variant = hardware.at("subPlatformVariant");
    if (!variant.is_number_unsigned() && !(variant.is_number_integer() && variant.get<long long>() >= 0))
        builder.fail(at, "\"subPlatformVariant\" must be a whole number, 0 or more");
    config.subPlatformVariant = variant.get<unsigned int>();
}

}  // namespace

HostConfig parseHostConfig(const std::string& text)
{
    const Json document = parseJsonText(text);
    const NodeBuilder builder(text);
    if (!document.is_object()) builder.fail({}, "a configuration must be a JSON object");
    builder.requireKnownKeys(document, {}, kSections, "the configuration");

    HostConfig config;
    for (const auto& [section, value] : document.items()) {
        if (section == "items") readItems(builder, value, config);
        if (section == "canonicalDialSettings") readCanonicalSettings(builder, value, config);
        if (section == "dialPlan") readDialPlan(builder, value, config);
        if (section == "teamService") readTeamService(builder, value, config);
        if (section == "hardware") readHardware(builder, value, config);
    }
    return config;
}

HostConfig loadHostConfigFile(const std::string& path)
{
    std::ifstream file(path, std::ios::binary);
    if (!file) throw ConfigFileError(path + ": cannot read the configuration file");
    std::ostringstream content;
    content << file.rdbuf();
    const std::string text = content.str();
    try {
        return parseHostConfig(text);
    } catch (const JsonTextError& error) {
        throw ConfigFileError(path + ":" + std::to_string(error.line()) + ":" + std::to_string(error.column()) + ": " +
                              error.what());
    }
}

HostConfig defaultHostConfig() { return parseHostConfig(defaultConfigText()); }

ManageableData rootItemsFromJson(const std::string& text)
{
    const Json document = parseJsonText(text);
    const NodeBuilder builder(text);
    if (!document.is_object()) builder.fail({}, "expected a JSON object of items");
    ManageableData data;
    for (const auto& [key, value] : document.items()) builder.addRootItem(data, key, value, {key}, false);
    return data;
}

std::vector<std::string> rootNamesFromJson(const std::string& text)
{
    const Json document = parseJsonText(text);
    std::vector<std::string> names;
    if (!document.is_array()) failAt(text, {}, "expected a JSON list of root names");
    for (std::size_t i = 0; i < document.size(); ++i) {
        if (!document[i].is_string()) failAt(text, {i}, "a root name must be a string");
        names.push_back(document[i].get<std::string>());
    }
    return names;
}
