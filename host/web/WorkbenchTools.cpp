#include "WorkbenchTools.h"

#include <cstdlib>
#include <map>

#include "DecisionExplainer.h"
#include "HostConfig.h"
#include "JsonText.h"
#include "ServiceSession.h"

namespace {

const char* severityName(Diagnostic::Severity severity)
{
    switch (severity) {
    case Diagnostic::Severity::kError: return "error";
    case Diagnostic::Severity::kWarning: return "warning";
    case Diagnostic::Severity::kNote: return "note";
    }
    return "note";
}

std::string refusal(const JsonTextError& error)
{
    return jsonText(Json{{"error", std::to_string(error.line()) + ":" + std::to_string(error.column()) + ": " + error.what()},
                         {"line", error.line()},
                         {"column", error.column()}});
}

// "dialPlanSettings/dialPlanEntry[3]/digit-string" -> 3 and "digit-string"; 0 for other paths.
int entryField(const std::string& path, std::string& field)
{
    const std::string prefix = "dialPlanSettings/dialPlanEntry[";
    if (path.rfind(prefix, 0) != 0) return 0;
    char* end = nullptr;
    const long row = std::strtol(path.c_str() + prefix.size(), &end, 10);
    if (end == nullptr || end[0] != ']' || end[1] != '/') return 0;
    field = end + 2;
    return static_cast<int>(row);
}

}  // namespace

std::string checkJson(const std::string& configText, const PluginLoader& loadPlugin)
{
    Json diagnostics = Json::array();
    int errors = 0;
    int warnings = 0;
    for (const Diagnostic& diagnostic : checkConfiguration(configText, loadPlugin)) {
        errors += diagnostic.severity == Diagnostic::Severity::kError ? 1 : 0;
        warnings += diagnostic.severity == Diagnostic::Severity::kWarning ? 1 : 0;
        diagnostics.push_back(Json{{"severity", severityName(diagnostic.severity)},
                                   {"line", diagnostic.line},
                                   {"column", diagnostic.column},
                                   {"text", diagnostic.text}});
    }
    return jsonText(Json{{"diagnostics", diagnostics}, {"errors", errors}, {"warnings", warnings}});
}

std::string explainJson(const std::string& configText, const std::string& digits, bool onHook,
                        const PluginLoader& loadPlugin)
{
    try {
        return explanationJson(explainDigits(digits, parseHostConfig(configText), onHook, loadPlugin));
    } catch (const JsonTextError& error) {
        return refusal(error);
    }
}

std::string planJson(const std::string& configText, const PluginLoader& loadPlugin)
{
    HostConfig config;
    try {
        config = parseHostConfig(configText);
    } catch (const JsonTextError& error) {
        return refusal(error);
    }
    ServiceSession session(loadPlugin(), config);
    if (config.hasDialPlan) (void)session.writePlan(config.dialPlan);
    const ManageableData plan =
        session.read({"dial-plan-enabled", "dial-plan-id", "dial-plan-error", "dial-plan-error-row", "dialPlanSettings"});
    Json result{{"enabled", ""}, {"id", ""}, {"error", ""}, {"errorRow", ""}};
    static const std::map<std::string, const char*> kOverview = {
        {"dial-plan-enabled/dialPlanEnabled", "enabled"},
        {"dial-plan-id/dialPlanId", "id"},
        {"dial-plan-error/dialPlanError", "error"},
        {"dial-plan-error-row/dialPlanErrorRow", "errorRow"},
    };
    std::map<int, Json> rows;
    for (const auto& [path, value] : plan.items()) {
        const auto overview = kOverview.find(path);
        std::string field;
        if (overview != kOverview.end()) {
            result[overview->second] = value;
        } else if (const int row = entryField(path, field); row > 0) {
            Json& entry = rows[row];
            if (entry.is_null()) entry = Json{{"row", row}};
            entry[field] = value;
        }
    }
    Json list = Json::array();
    for (auto& [row, entry] : rows) list.push_back(std::move(entry));
    result["rows"] = list;
    return jsonText(result);
}
