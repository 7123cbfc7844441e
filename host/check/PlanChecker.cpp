#include "PlanChecker.h"

#include <algorithm>
#include <map>

#include "ClientUtils.h"
#include "HostConfig.h"
#include "JsonText.h"
#include "ServiceSession.h"

namespace {

using Severity = Diagnostic::Severity;

// The phone reads at most this many rows.
constexpr std::size_t kMaxRows = 50;

const char* const kNumberKeys[] = {"min-digit-len", "max-digit-len", "timer"};

// One row as the service holds it after loading (its defaults filled in).
struct LoadedRow {
    std::string digits, action, terminator, special;
    unsigned minimum = 0, maximum = 0;
};

unsigned number(const std::string& text)
{
    unsigned short value = 0;
    (void)ClientUtils::stringToUnsignedShort(text, value);
    return value;
}

// A trace text on one line: line feeds become blanks, runs of blanks one, none at the ends.
std::string oneLine(const std::string& text)
{
    std::string line;
    for (char c : text) {
        if (c == '\n') c = ' ';
        if (c == ' ' && (line.empty() || line.back() == ' ')) continue;
        line += c;
    }
    while (!line.empty() && line.back() == ' ') line.pop_back();
    return line;
}

bool startsWith(const std::string& text, const std::string& prefix) { return text.rfind(prefix, 0) == 0; }

// Whether every number row `later` could decide is decided by row `earlier` first: the scan
// stops at the first row whose pattern agrees with the digits, so an earlier row that
// agrees wherever the later one does, and is no longer, always stops it first. A "C" row
// is passed over once more digits than its pattern are dialled, so it hides only a "C" row
// of its own length.
bool hides(const LoadedRow& earlier, const LoadedRow& later)
{
    const std::size_t length = earlier.digits.size();
    if (length > later.digits.size()) return false;
    if (earlier.action == "C" && !(later.action == "C" && length == later.digits.size())) return false;
    for (std::size_t i = 0; i < length; ++i) {
        const char e = earlier.digits[i];
        if (e != 'x' && e != 'X' && e != later.digits[i]) return false;
    }
    return true;
}

class Checker {
public:
    Checker(const std::string& text, const PluginLoader& loadPlugin) : m_text(text), m_loadPlugin(loadPlugin) {}

    std::vector<Diagnostic> run()
    {
        HostConfig config;
        try {
            config = parseHostConfig(m_text);
        } catch (const JsonTextError& error) {
            add(Severity::kError, error.line(), error.column(), error.what());
            return finish();
        }
        if (!config.hasDialPlan) return finish();
        m_json = parseJsonText(m_text);
        for (const auto& [path, value] : config.dialPlan.items()) m_items[path] = value;
        checkOverview();
        checkRowTexts();
        loadIntoTheService(config);
        return finish();
    }

private:
    const std::string& m_text;
    const PluginLoader& m_loadPlugin;
    Json m_json;
    std::map<std::string, std::string> m_items;  // the plan's items as the service is given them
    std::vector<std::vector<Diagnostic>> m_groups;  // a diagnostic and its notes

    void add(Severity severity, int line, int column, std::string text)
    {
        Diagnostic diagnostic{severity, line, column, std::move(text)};
        if (severity == Severity::kNote && !m_groups.empty()) {
            m_groups.back().push_back(std::move(diagnostic));
        } else {
            m_groups.push_back({std::move(diagnostic)});
        }
    }

    void add(Severity severity, const JsonPath& at, std::string text)
    {
        int line = 1;
        int column = 1;
        lineAndColumn(m_text, locateJsonPath(m_text, at), line, column);
        add(severity, line, column, std::move(text));
    }

    static JsonPath rowPath(std::size_t index, const std::string& key = std::string())
    {
        JsonPath path{std::string("dialPlan"), std::string("dialPlanSettings"), index};
        if (!key.empty()) path.emplace_back(key);
        return path;
    }

    static std::string itemPath(std::size_t row, const std::string& key)
    {
        return "dialPlanSettings/dialPlanEntry[" + std::to_string(row) + "]/" + key;
    }

    const std::string* item(const std::string& path) const
    {
        const auto found = m_items.find(path);
        return found == m_items.end() ? nullptr : &found->second;
    }

    std::vector<Diagnostic> finish()
    {
        std::stable_sort(m_groups.begin(), m_groups.end(), [](const auto& a, const auto& b) {
            return std::tie(a.front().line, a.front().column) < std::tie(b.front().line, b.front().column);
        });
        std::vector<Diagnostic> all;
        for (auto& group : m_groups) all.insert(all.end(), group.begin(), group.end());
        return all;
    }

    void checkOverview()
    {
        const JsonPath plan{std::string("dialPlan")};
        if (const std::string* id = item("dial-plan-id"); id != nullptr && id->empty()) {
            add(Severity::kWarning, JsonPath{plan[0], std::string("dial-plan-id")},
                "empty \"dial-plan-id\": the phone drops every row and disables the dial plan");
        }
        if (const std::string* enabled = item("dial-plan-enabled");
            enabled != nullptr && *enabled != "true" && *enabled != "false") {
            add(Severity::kWarning, JsonPath{plan[0], std::string("dial-plan-enabled")},
                "\"dial-plan-enabled\" is \"" + *enabled + "\": the phone reads anything but \"true\" as false and disables the dial plan");
        }
    }

    // What the text of each row says before the service sees it: numbers it cannot read,
    // terminators it cannot compare, rows it never reads. (A key das-sim does not know in a
    // row is refused when the file is read, an error above all of these.)
    void checkRowTexts()
    {
        const Json* rows = nullptr;
        if (m_json.contains("dialPlan") && m_json["dialPlan"].contains("dialPlanSettings")) {
            rows = &m_json["dialPlan"]["dialPlanSettings"];
        }
        if (rows == nullptr || !rows->is_array()) return;
        for (std::size_t i = 0; i < rows->size(); ++i) {
            const std::size_t row = i + 1;
            if (i == kMaxRows) {
                add(Severity::kWarning, rowPath(i),
                    "row " + std::to_string(row) + " and the " + std::to_string(rows->size() - row) +
                        " after it are ignored: the phone reads at most 50 rows");
                return;
            }
            const Json& entry = (*rows)[i];
            if (!entry.contains("digit-string")) {
                std::string text = "row " + std::to_string(row) + " has no \"digit-string\": the phone stops reading the dial plan here";
                if (rows->size() > row) text += "; the " + std::to_string(rows->size() - row) + " rows after it are ignored";
                add(Severity::kWarning, rowPath(i), text);
                return;
            }
            for (const char* key : kNumberKeys) {
                const std::string* value = item(itemPath(row, key));
                unsigned short read = 0;
                if (value == nullptr || value->empty() || ClientUtils::stringToUnsignedShort(*value, read)) continue;
                add(Severity::kWarning, rowPath(i, key),
                    "\"" + std::string(key) + "\" of row " + std::to_string(row) + " is \"" + *value +
                        "\", not a whole number from 0 to 65535: the phone reads it as 0");
            }
            if (const std::string* terminator = item(itemPath(row, "terminating-char")); terminator != nullptr && terminator->size() > 1) {
                add(Severity::kWarning, rowPath(i, "terminating-char"),
                    "the terminator \"" + *terminator + "\" of row " + std::to_string(row) +
                        " has more than one character: the phone compares it with the last dialled character, so it never ends a number");
            }
        }
    }

    void loadIntoTheService(const HostConfig& config)
    {
        ServiceSession session(m_loadPlugin(), config);
        session.takeTrace();
        (void)session.writePlan(config.dialPlan);
        const std::vector<std::string> trace = session.takeTrace();
        const ManageableData loaded =
            session.read({"dial-plan-error", "dial-plan-error-row", "dial-plan-enabled", "dialPlanSettings"});
        std::map<std::string, std::string> values;
        for (const auto& [path, value] : loaded.items()) values[path] = value;
        if (values["dial-plan-error/dialPlanError"] == "true") {
            reportRefusal(trace, number(values["dial-plan-error-row/dialPlanErrorRow"]));
            return;
        }
        std::vector<LoadedRow> rows;
        for (std::size_t row = 1;; ++row) {
            const std::string prefix = "dialPlanSettings/dialPlanEntry[" + std::to_string(row) + "]/";
            if (values.count(prefix + "digit-string") == 0) break;
            rows.push_back({values[prefix + "digit-string"], values[prefix + "action"],
                            values[prefix + "terminating-char"], values[prefix + "spec-num-indic"],
                            number(values[prefix + "min-digit-len"]), number(values[prefix + "max-digit-len"])});
        }
        checkPlanLogic(rows);
    }

    // The service refused the plan at `row`: say where and why, in the service's words too.
    void reportRefusal(const std::vector<std::string>& trace, unsigned row)
    {
        const std::string rowText = "row " + std::to_string(row);
        if (row == 0) {
            add(Severity::kError, JsonPath{std::string("dialPlan"), std::string("dial-plan-error")},
                "the dial plan is marked faulty: the phone disables it and does not store it");
            return;
        }
        // The service's messages for the row: between its validation line and its verdict.
        std::vector<std::string> said;
        bool inRow = false;
        for (const auto& line : trace) {
            if (line == "DialPlan::validateEntry (" + std::to_string(row) + ")") {
                inRow = true;
            } else if (line == "error found in entry " + std::to_string(row)) {
                break;
            } else if (inRow) {
                said.push_back(oneLine(line));
            }
        }
        const std::string reason = said.empty() ? std::string() : said.front();
        std::string key;
        std::string what = "the row is not valid";
        if (startsWith(reason, "invalid timer value")) {
            key = "timer";
            what = "its timer is not allowed for its action (\"C\": 1 to 9 s, \"S\": 0 to 9 s)";
        } else if (startsWith(reason, "unknown action")) {
            key = "action";
            what = "its action is neither \"S\" nor \"C\"";
        } else if (startsWith(reason, "digit string missing")) {
            key = "digit-string";
            what = "its digit string is empty";
        } else if (startsWith(reason, "invalid digit length")) {
            key = item(itemPath(row, "min-digit-len")) != nullptr ? "min-digit-len" : "max-digit-len";
            what = "its digit lengths do not fit its digit string and action";
        }
        add(Severity::kError, rowPath(row - 1, key),
            rowText + ": " + what + ": the phone refuses the dial plan, marks it faulty with error row " +
                std::to_string(row) + " and disables it");
        for (const auto& line : said) add(Severity::kNote, rowPath(row - 1, key), "the service says: \"" + line + "\"");
    }

    void checkPlanLogic(const std::vector<LoadedRow>& rows)
    {
        for (std::size_t j = 0; j < rows.size(); ++j) {
            const LoadedRow& later = rows[j];
            const std::string laterText = "row " + std::to_string(j + 1);
            bool hidden = false;
            for (std::size_t i = 0; i < j && !hidden; ++i) {
                if (!hides(rows[i], later)) continue;
                hidden = true;
                const std::string earlierText = "row " + std::to_string(i + 1);
                const bool same = rows[i].digits == later.digits && rows[i].action == later.action &&
                                  rows[i].minimum == later.minimum && rows[i].maximum == later.maximum &&
                                  rows[i].terminator == later.terminator && rows[i].special == later.special;
                std::string text = laterText;
                if (same) {
                    text.append(" repeats ").append(earlierText).append(": it never decides");
                } else {
                    text.append(" (\"").append(later.digits).append("\") can never decide: ").append(earlierText);
                    text.append(" (\"").append(rows[i].digits).append("\") always decides its numbers first");
                }
                add(Severity::kWarning, rowPath(j, "digit-string"), text);
                add(Severity::kNote, rowPath(i, "digit-string"), earlierText + " is here");
            }
            if (hidden) continue;  // what else it says does not matter: it never decides
            checkTerminator(later, j);
            if (later.special == "E") checkEmergencyOnHook(rows, j);
        }
    }

    void checkTerminator(const LoadedRow& row, std::size_t index)
    {
        if (row.terminator.size() != 1 || row.minimum != row.maximum) return;
        add(Severity::kWarning, rowPath(index, "terminating-char"),
            "the terminator \"" + row.terminator + "\" of row " + std::to_string(index + 1) +
                " never ends a number: the row's numbers have one length, " + std::to_string(row.maximum) +
                (row.maximum == 1 ? " digit" : " digits") + ", and are complete without it");
    }

    // On-hook, without immediate dialling, a row decides only once it is fully or minimally
    // matched, and only emergency and lock-bypass "S" rows are sent without the terminator.
    void checkEmergencyOnHook(const std::vector<LoadedRow>& rows, std::size_t index)
    {
        const LoadedRow& row = rows[index];
        const std::string rowText = "emergency row " + std::to_string(index + 1);
        if (row.action != "S") {
            add(Severity::kWarning, rowPath(index, "action"),
                rowText + " is a \"C\" row: on-hook dialling never sends it");
            return;
        }
        if (row.minimum < row.maximum) {
            add(Severity::kWarning, rowPath(index, "spec-num-indic"),
                rowText + " has a variable length (" + std::to_string(row.minimum) + " to " +
                    std::to_string(row.maximum) + " digits): on-hook dialling sends it at once only at " +
                    std::to_string(row.maximum) + " digits or with its terminator");
            return;
        }
        for (std::size_t i = 0; i < index; ++i) {
            const LoadedRow& earlier = rows[i];
            LoadedRow asSend = earlier;
            asSend.action = "S";
            const bool decidesFirst = earlier.minimum <= row.maximum && hides(asSend, row) &&
                                      !(earlier.action == "C" && earlier.digits.size() < row.maximum);
            if (!decidesFirst) continue;
            if (earlier.action == "S" && (earlier.special == "E" || earlier.special == "b")) return;
            add(Severity::kWarning, rowPath(index, "digit-string"),
                "on-hook dialling cannot send " + rowText + " (\"" + row.digits + "\") at once: row " +
                    std::to_string(i + 1) + " (\"" + earlier.digits + "\") decides its number first and waits for a terminator");
            return;
        }
    }
};

}  // namespace

std::string formatDiagnostic(const std::string& file, const Diagnostic& diagnostic)
{
    const char* kind = diagnostic.severity == Severity::kError     ? "error"
                       : diagnostic.severity == Severity::kWarning ? "warning"
                                                                   : "note";
    return file + ":" + std::to_string(diagnostic.line) + ":" + std::to_string(diagnostic.column) + ": " + kind + ": " +
           diagnostic.text;
}

std::vector<Diagnostic> checkConfiguration(const std::string& text, const PluginLoader& loadPlugin)
{
    return Checker(text, loadPlugin).run();
}
