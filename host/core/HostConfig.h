#pragma once
// The phone configuration that the simulator and the daemon start from, read from the
// JSON configuration file (or the built-in default): configuration store items, the
// dial plan to write through management, team service lines and the hardware variant.

#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

#include "JsonText.h"
#include "ManageableData.h"

struct TeamLineSetting {
    std::string line;
    int type = 0;
    std::string destination;
};

struct HostConfig {
    // What the configuration store holds: plain items and "canonicalDialSettings".
    ManageableData storeItems;
    // The root items of the management write that installs the dial plan, in written order.
    ManageableData dialPlan;
    bool hasDialPlan = false;
    std::vector<TeamLineSetting> teamLines;
    std::optional<unsigned int> subPlatformVariant;
};

// A configuration file that cannot be used: the message names the file, line and column.
class ConfigFileError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

// Reads a configuration text; throws JsonTextError (with line and column) when it is
// malformed (see parseJsonText: also nesting deeper than kMaxJsonDepth, invalid UTF-8, a
// number beyond a double) or holds an unknown key or a value of the wrong kind or out of
// range: a team line "type" outside int, a "subPlatformVariant" outside unsigned int, an
// item number beyond 64 bits. Linear in the length of the text.
HostConfig parseHostConfig(const std::string& text);

// Reads a configuration file; throws ConfigFileError "FILE:LINE:COLUMN: reason".
HostConfig loadHostConfigFile(const std::string& path);

// The built-in configuration: a phone in Munich (examples/munich.json).
const std::string& defaultConfigText();
HostConfig defaultHostConfig();

// Root items given as one JSON object, each key a root id in written order (change
// notifications and management writes). A string, number or boolean is the item's own
// value; an object names child nodes ("a/b" keys make paths); a list of objects under a
// key gives rows of that name, and under "dialPlanSettings" the entries
// "dialPlanEntry[1]", "dialPlanEntry[2]", ... Throws JsonTextError, with the limits of
// parseHostConfig; its message is short and valid UTF-8, ready for a management result.
ManageableData rootItemsFromJson(const std::string& text);

// Root names given as a JSON list of strings; throws JsonTextError as rootItemsFromJson.
std::vector<std::string> rootNamesFromJson(const std::string& text);
