#include "HostConfig.h"

#include <algorithm>
#include <cmath>
#include <iterator>
#include <fstream>
#include <limits>
#include <set>
#include <sstream>

#include "DigitAnalysisConfiguration.h"

namespace {

const std::set<std::string> kSections = {"items", "canonicalDialSettings", "dialPlan", "teamService", "hardware"};

// The canonical dial settings a file may give: the service's own names.
std::set<std::string> canonicalKeys()
{
    std::set<std::string> keys(std::begin(das_keys::kCanonicalTextKeys), std::end(das_keys::kCanonicalTextKeys));
    keys.insert(std::begin(das_keys::kCanonicalDialFormKeys), std::end(das_keys::kCanonicalDialFormKeys));
    keys.insert(das_keys::kCanonicalExpectDialNumber);
    keys.insert(das_keys::kCanonicalLookUp);
    return keys;
}

const std::set<std::string> kCanonicalKeys = canonicalKeys();
const std::set<std::string> kLookUpKeys(std::begin(das_keys::kCanonicalLookUpKeys), std::end(das_keys::kCanonicalLookUpKeys));

const std::set<std::string> kDialPlanKeys = {"dial-plan-enabled", "dial-plan-id", "dial-plan-error",
                                             "dial-plan-error-row", "dialPlanSettings"};

const std::set<std::string> kEntryKeys = {"digit-string",     "action",         "min-digit-len",
                                          "max-digit-len",    "timer",          "terminating-char",
                                          "spec-num-indic",   "comment",        "terminating-char-sent"};

const std::set<std::string> kTeamLineKeys = {"type", "destination"};

// One more step on a path for as long as it lives: the walks below keep one path and
// extend it in place, so that a step costs the same at any depth and nothing is copied.
class PathStep {
public:
    PathStep(JsonPath& path, JsonPathStep step) : m_path(path) { m_path.push_back(std::move(step)); }
    ~PathStep() { m_path.pop_back(); }
    PathStep(const PathStep&) = delete;
    PathStep& operator=(const PathStep&) = delete;

private:
    JsonPath& m_path;
};

// A key quoted for a message. A key may be as long as the text it is in; a message must
// stay short enough to be sent back in a management result, so a long key is cut.
std::string quoted(const std::string& key)
{
    constexpr std::size_t kShown = 64;
    if (key.size() <= kShown) return "\"" + key + "\"";
    std::size_t cut = kShown;
    // Not inside a UTF-8 character (parsed keys are UTF-8).
    while (cut > 0 && (static_cast<unsigned char>(key[cut]) & 0xC0) == 0x80) --cut;
    return "\"" + key.substr(0, cut) + "...\"";
}

// The name a value has in messages: its member name, or the member its list is under.
std::string nameAt(const JsonPath& path)
{
    for (auto step = path.rbegin(); step != path.rend(); ++step) {
        if (const auto* name = std::get_if<std::string>(&*step)) return quoted(*name);
    }
    return "the value";
}

// A whole number that the parser keeps as a double: written with an exponent or too large
// for a 64-bit integer.
bool isWholeDouble(const Json& value)
{
    if (!value.is_number_float()) return false;
    const double number = value.get<double>();
    return std::isfinite(number) && std::trunc(number) == number;
}

// A whole number too large for a 64-bit integer, as opposed to a fraction.
bool isWholeBeyondIntegers(const Json& value)
{
    if (!isWholeDouble(value)) return false;
    const double number = value.get<double>();
    return number < -9223372036854775808.0 || number >= 18446744073709551616.0;
}

// Converts JSON values into configuration nodes, reporting faults at their place. The
// walks recurse once per level of the JSON text, which parseJsonText bounds.
class NodeBuilder {
public:
    explicit NodeBuilder(const std::string& text) : m_text(text) {}

    [[noreturn]] void fail(const JsonPath& path, const std::string& message) const { failAt(m_text, path, message); }

    void requireObject(const Json& value, const JsonPath& path, const std::string& what) const
    {
        if (!value.is_object()) fail(path, what + " must be an object");
    }

    void requireKnownKeys(const Json& object, JsonPath& path, const std::set<std::string>& known,
                          const std::string& where) const
    {
        for (const auto& [key, value] : object.items()) {
            (void)value;
            if (known.count(key) == 0) {
                const PathStep at(path, key);
                std::string message = "unknown key ";
                message += quoted(key);
                message += " in ";
                message += where;
                fail(path, message);
            }
        }
    }

    // The text of a scalar item value.
    std::string scalarText(const Json& value, const JsonPath& path) const
    {
        if (value.is_string()) return value.get<std::string>();
        if (value.is_boolean()) return value.get<bool>() ? "true" : "false";
        if (value.is_number_integer() || value.is_number_unsigned()) return value.dump();
        if (isWholeBeyondIntegers(value))
            fail(path, nameAt(path) + ": the number is out of range (more than 64 bits); write it as a string");
        if (value.is_number_float()) fail(path, "a configuration value cannot be a fraction; write it as a string");
        fail(path, "expected a string, a number or true/false");
    }

    // A whole number from `minimum` to `maximum`; `notWhole` is the message for any other value.
    long long wholeNumber(const Json& value, const JsonPath& path, long long minimum, long long maximum,
                          const std::string& notWhole) const
    {
        const std::string outOfRange =
            nameAt(path) + " must be a whole number from " + std::to_string(minimum) + " to " + std::to_string(maximum);
        if (value.is_number_unsigned()) {
            if (value.get<unsigned long long>() > static_cast<unsigned long long>(maximum)) fail(path, outOfRange);
            return static_cast<long long>(value.get<unsigned long long>());
        }
        if (value.is_number_integer()) {
            const long long number = value.get<long long>();
            if (number < minimum || number > maximum) fail(path, outOfRange);
            return number;
        }
        if (isWholeDouble(value)) {
            const double number = value.get<double>();
            if (number < static_cast<double>(minimum) || number > static_cast<double>(maximum)) fail(path, outOfRange);
        }
        fail(path, notWhole);
    }

    // Fills `node` from a scalar or an object of child nodes.
    void fillNode(DataNode& node, const Json& value, JsonPath& path) const
    {
        if (!value.is_object()) {
            node.setValue(scalarText(value, path));
            return;
        }
        for (const auto& [key, child] : value.items()) {
            const PathStep at(path, key);
            if (child.is_array()) {
                addRows(node, key, child, path);
                continue;
            }
            DataNode* target = key.find('/') != std::string::npos ? node.makePath(key) : &node.addChild(key);
            if (key.empty() || target == nullptr) fail(path, quoted(key) + " is not a valid item path");
            fillNode(*target, child, path);
        }
    }

    // A list of objects: one child named `name` per row.
    void addRows(DataNode& node, const std::string& name, const Json& rows, JsonPath& path) const
    {
        for (std::size_t i = 0; i < rows.size(); ++i) {
            const PathStep at(path, i);
            if (!rows[i].is_object()) fail(path, "each row of " + quoted(name) + " must be an object");
            fillNode(node.addChild(name), rows[i], path);
        }
    }

    // Dial plan entries given as a list: entry n becomes "dialPlanEntry[n]".
    void addDialPlanEntries(DataNode& settings, const Json& entries, JsonPath& path, bool strict) const
    {
        for (std::size_t i = 0; i < entries.size(); ++i) {
            const PathStep at(path, i);
            requireObject(entries[i], path, "a dial plan entry");
            if (strict) requireKnownKeys(entries[i], path, kEntryKeys, "a dial plan entry");
            DataNode& entry = settings.addChild("dialPlanEntry[" + std::to_string(i + 1) + "]");
            for (const auto& [key, value] : entries[i].items()) {
                const PathStep valueAt(path, key);
                entry.addChild(key).setValue(scalarText(value, path));
            }
        }
    }

    void addRootItem(ManageableData& data, const std::string& key, const Json& value, JsonPath& path,
                     bool strictEntries) const
    {
        if (key.empty()) fail(path, "an item needs a name");
        DataNode& root = data.getOrAddRoot(key);
        if (value.is_array()) {
            if (key != "dialPlanSettings") fail(path, quoted(key) + " cannot be a list");
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
    JsonPath path{std::string("items")};
    builder.requireObject(items, path, "\"items\"");
    for (const auto& [key, value] : items.items()) {
        const PathStep at(path, key);
        builder.addRootItem(config.storeItems, key, value, path, false);
    }
}

void readCanonicalSettings(const NodeBuilder& builder, const Json& settings, HostConfig& config)
{
    JsonPath path{std::string("canonicalDialSettings")};
    builder.requireObject(settings, path, "\"canonicalDialSettings\"");
    builder.requireKnownKeys(settings, path, kCanonicalKeys, "\"canonicalDialSettings\"");
    if (settings.contains(das_keys::kCanonicalLookUp)) {
        const PathStep at(path, std::string(das_keys::kCanonicalLookUp));
        const Json& rows = settings.at(das_keys::kCanonicalLookUp);
        if (!rows.is_array()) builder.fail(path, "\"lookUp\" must be a list of {\"localCode\", \"internationalCode\"}");
        for (std::size_t i = 0; i < rows.size(); ++i) {
            const PathStep rowAt(path, i);
            builder.requireObject(rows[i], path, "a \"lookUp\" row");
            builder.requireKnownKeys(rows[i], path, kLookUpKeys, "a \"lookUp\" row");
        }
    }
    builder.addRootItem(config.storeItems, das_keys::kCanonicalDialSettings, settings, path, false);
}

void readDialPlan(const NodeBuilder& builder, const Json& plan, HostConfig& config)
{
    JsonPath path{std::string("dialPlan")};
    builder.requireObject(plan, path, "\"dialPlan\"");
    builder.requireKnownKeys(plan, path, kDialPlanKeys, "\"dialPlan\"");
    for (const auto& [key, value] : plan.items()) {
        const PathStep at(path, key);
        if (key == "dialPlanSettings" && !value.is_array() && !value.is_object())
            builder.fail(path, "\"dialPlanSettings\" must be a list of entries or an object of item paths");
        builder.addRootItem(config.dialPlan, key, value, path, true);
    }
    config.hasDialPlan = true;
}

void readTeamService(const NodeBuilder& builder, const Json& team, HostConfig& config)
{
    JsonPath path{std::string("teamService")};
    builder.requireObject(team, path, "\"teamService\"");
    for (const auto& [line, setting] : team.items()) {
        const PathStep at(path, line);
        builder.requireObject(setting, path, "a team service line");
        builder.requireKnownKeys(setting, path, kTeamLineKeys, "a team service line");
        TeamLineSetting result;
        result.line = line;
        if (setting.contains("type")) {
            const PathStep typeAt(path, std::string("type"));
            result.type = static_cast<int>(builder.wholeNumber(setting.at("type"), path, std::numeric_limits<int>::min(),
                                                               std::numeric_limits<int>::max(),
                                                               "\"type\" must be a whole number"));
        }
        if (setting.contains("destination")) {
            const PathStep destinationAt(path, std::string("destination"));
            if (!setting.at("destination").is_string()) builder.fail(path, "\"destination\" must be a string");
            result.destination = setting.at("destination").get<std::string>();
        } else {
            result.destination = "??";
        }
        config.teamLines.push_back(result);
    }
}

void readHardware(const NodeBuilder& builder, const Json& hardware, HostConfig& config)
{
    JsonPath path{std::string("hardware")};
    builder.requireObject(hardware, path, "\"hardware\"");
    builder.requireKnownKeys(hardware, path, {"subPlatformVariant"}, "\"hardware\"");
    if (!hardware.contains("subPlatformVariant")) return;
    const PathStep at(path, std::string("subPlatformVariant"));
    const Json& variant = hardware.at("subPlatformVariant");
    const std::string notWhole = "\"subPlatformVariant\" must be a whole number, 0 or more";
    if (variant.is_number_integer() && !variant.is_number_unsigned() && variant.get<long long>() < 0) builder.fail(path, notWhole);
    config.subPlatformVariant = static_cast<unsigned int>(
        builder.wholeNumber(variant, path, 0, std::numeric_limits<unsigned int>::max(), notWhole));
}

}  // namespace

HostConfig parseHostConfig(const std::string& text)
{
    const Json document = parseJsonText(text);
    const NodeBuilder builder(text);
    if (!document.is_object()) builder.fail({}, "a configuration must be a JSON object");
    JsonPath top;
    builder.requireKnownKeys(document, top, kSections, "the configuration");

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
    JsonPath path;
    for (const auto& [key, value] : document.items()) {
        const PathStep at(path, key);
        builder.addRootItem(data, key, value, path, false);
    }
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
