// The host's JSON configuration: parseHostConfig on arbitrary text (what das-sim --config,
// dasd --config, a SIGHUP reload and das-sim's "config" line read), and beneath it
// parseJsonText and locateJsonPath.
//
// Besides the sanitizers, for any input:
// - the only exception is JsonTextError, with a line and column inside the text and a
//   message that is valid UTF-8 and short enough for a management result;
// - a text that parses is valid UTF-8, at most kMaxJsonDepth deep, and the text jsonText
//   writes of its value reads back to the same value;
// - every member and element of the parsed value is located at a byte of the text where
//   such a value can start;
// - the configuration's store items and dial plan serialise and read back.

#include <string>
#include <vector>

#include "FuzzSupport.h"
#include "HostConfig.h"
#include "JsonText.h"

namespace {

// Messages go back to clients inside a frame; parser messages and quoted keys are cut.
constexpr std::size_t kMaxMessageLength = 512;
// Values located per input: enough to reach every kind of path, bounded in time.
constexpr std::size_t kMaxLocatedPaths = 256;

void checkError(const std::string& text, const JsonTextError& error)
{
    const std::string message = error.what();
    if (message.empty()) fuzzing::fail("empty error message", text);
    if (invalidUtf8Offset(message) != std::string::npos) fuzzing::fail("error message is not UTF-8", message);
    if (message.size() > kMaxMessageLength) fuzzing::fail("error message too long", message.substr(0, 200));
    int lastLine = 0;
    int lastColumn = 0;
    lineAndColumn(text, text.size(), lastLine, lastColumn);
    if (error.line() < 1 || error.column() < 1 || error.line() > lastLine ||
        (error.line() == lastLine && error.column() > lastColumn))
        fuzzing::fail("error placed outside the text", message);
}

int depthOf(const Json& value)
{
    // Iterative, as the host's own walks must be: the value is at most kMaxJsonDepth deep,
    // but this checks that claim.
    int deepest = 0;
    std::vector<std::pair<const Json*, int>> pending{{&value, 1}};
    while (!pending.empty()) {
        const auto [current, depth] = pending.back();
        pending.pop_back();
        if (!current->is_structured()) continue;
        deepest = std::max(deepest, depth);
        for (const auto& child : *current) pending.emplace_back(&child, depth + 1);
    }
    return deepest;
}

// Locates the first members and elements of the value, breadth first.
void checkLocations(const std::string& text, const Json& document)
{
    std::vector<std::pair<const Json*, JsonPath>> pending{{&document, {}}};
    for (std::size_t next = 0; next < pending.size() && next < kMaxLocatedPaths; ++next) {
        const Json& value = *pending[next].first;
        const JsonPath path = pending[next].second;
        const std::size_t offset = locateJsonPath(text, path);
        if (offset >= text.size()) fuzzing::fail("value located past the text", describePath(path));
        const char first = text[offset];
        // A member is located at its key, an element at its value.
        const bool member = !path.empty() && std::holds_alternative<std::string>(path.back());
        const std::string starts = member ? "\"" : "\"{[-0123456789tfn";
        if (starts.find(first) == std::string::npos) fuzzing::fail("value located at a wrong byte", describePath(path));
        if (value.is_object()) {
            for (const auto& [key, child] : value.items()) {
                JsonPath childPath = path;
                childPath.emplace_back(key);
                pending.emplace_back(&child, childPath);
            }
        } else if (value.is_array()) {
            for (std::size_t i = 0; i < value.size(); ++i) {
                JsonPath childPath = path;
                childPath.emplace_back(i);
                pending.emplace_back(&value[i], childPath);
            }
        }
    }
}

void checkRoundTrip(const ManageableData& data, const char* what)
{
    const std::string serialized = data.serialize();
    ManageableData again;
    if (!again.deserialize(serialized) || again.serialize() != serialized) fuzzing::fail(what, serialized);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    fuzzing::formatLogsQuietly();
    const std::string text = fuzzing::toText(data, size);
    try {
        const Json document = parseJsonText(text);
        if (invalidUtf8Offset(text) != std::string::npos) fuzzing::fail("accepted a text that is not UTF-8", text);
        if (depthOf(document) > static_cast<int>(kMaxJsonDepth)) fuzzing::fail("accepted a text nested too deep", text);
        const std::string written = jsonText(document);
        if (parseJsonText(written) != document) fuzzing::fail("written text does not read back", written);
        checkLocations(text, document);
    } catch (const JsonTextError& error) {
        checkError(text, error);
    }
    try {
        const HostConfig config = parseHostConfig(text);
        checkRoundTrip(config.storeItems, "store items do not read back");
        checkRoundTrip(config.dialPlan, "dial plan does not read back");
    } catch (const JsonTextError& error) {
        checkError(text, error);
    }
    return 0;
}
