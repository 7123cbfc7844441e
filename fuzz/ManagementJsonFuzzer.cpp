// What dasd does with the text of a management frame before the service sees it: the
// root items of a NOTIFY or MGMT_SET (rootItemsFromJson), the root names of a MGMT_GET
// (rootNamesFromJson), the ManageableData made of them, and the result text it sends
// back (written with jsonText, as the daemon does).
//
// Besides the sanitizers, for any input:
// - the only exception is JsonTextError, and the error result made of it ("column C:
//   reason") is JSON that reads back to the same message and fits in a frame;
// - the items read serialise and read back, and the result listing them (the form of a
//   MGMT_GET result) reads back;
// - the root names read become the roots of the container, in order.

#include <string>
#include <vector>

#include "Framing.h"
#include "FuzzSupport.h"
#include "HostConfig.h"
#include "JsonText.h"

namespace {

void checkErrorResult(const std::string& text, const JsonTextError& error)
{
    const std::string message = "column " + std::to_string(error.column()) + ": " + error.what();
    const std::string result = jsonText(Json{{"error", message}});
    if (result.size() > 1024) fuzzing::fail("error result too long for comfort", result.substr(0, 200));
    if (result.size() + 5 > kMaxFrameLength) fuzzing::fail("error result does not fit in a frame", text.substr(0, 200));
    if (parseJsonText(result).at("error") != message) fuzzing::fail("error result does not read back", result);
}

void checkItems(const ManageableData& data)
{
    const std::string serialized = data.serialize();
    ManageableData again;
    if (!again.deserialize(serialized) || again.serialize() != serialized)
        fuzzing::fail("items do not read back", serialized);
    Json items = Json::array();
    for (const auto& [path, value] : data.items()) items.push_back(Json::array({path, value}));
    const std::string result = jsonText(Json{{"ok", true}, {"items", items}});
    if (parseJsonText(result).at("items").size() != items.size()) fuzzing::fail("item result does not read back", result);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    fuzzing::formatLogsQuietly();
    const std::string text = fuzzing::toText(data, size);
    try {
        checkItems(rootItemsFromJson(text));
    } catch (const JsonTextError& error) {
        checkErrorResult(text, error);
    }
    try {
        const std::vector<std::string> names = rootNamesFromJson(text);
        ManageableData roots;
        for (const auto& name : names) roots.addRootId(name);
        std::vector<std::string> ids;
        roots.getRootIds(ids);
        if (ids.size() > names.size()) fuzzing::fail("more roots than names", text);
    } catch (const JsonTextError& error) {
        checkErrorResult(text, error);
    }
    return 0;
}
