// The plan checker: each thing the phone would refuse, coerce, cut or ignore in a
// configuration is reported at its place in the file, as an error, warning or note, and a
// clean file gives nothing.

#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "HostConfig.h"
#include "PlanChecker.h"

namespace {

// The rows start on this line of the text `plan` makes, each on a line of its own, after
// six blanks.
constexpr int kFirstRowLine = 6;
constexpr int kRowIndent = 6;

std::string plan(const std::vector<std::string>& rows, const std::string& overview = R"("dial-plan-id": "T")")
{
    std::string text = "{\n  \"dialPlan\": {\n    \"dial-plan-enabled\": \"true\",\n    " + overview +
                       ",\n    \"dialPlanSettings\": [\n";
    for (std::size_t i = 0; i < rows.size(); ++i) {
        text += std::string(kRowIndent, ' ') + rows[i] + (i + 1 < rows.size() ? ",\n" : "\n");
    }
    return text + "    ]\n  }\n}\n";
}

std::vector<Diagnostic> check(const std::string& text)
{
    return checkConfiguration(text, [] { return std::make_unique<PluginLibrary>(DAS_PLUGIN_FILE); });
}

// "LINE:COLUMN: kind: text" of each diagnostic, the file name left out.
std::vector<std::string> lines(const std::string& text)
{
    std::vector<std::string> result;
    for (const auto& diagnostic : check(text)) {
        const std::string line = formatDiagnostic("", diagnostic);
        result.push_back(line.substr(1));
    }
    return result;
}

// Where `key` stands in row `row` (1-based) of a text made by `plan`.
std::string at(const std::vector<std::string>& rows, std::size_t row, const std::string& key = std::string())
{
    const std::size_t column = key.empty() ? 0 : rows[row - 1].find("\"" + key + "\"");
    return std::to_string(kFirstRowLine + static_cast<int>(row) - 1) + ":" +
           std::to_string(kRowIndent + 1 + static_cast<int>(column));
}

const std::string kEmergency = R"({"digit-string": "112", "action": "S", "timer": "0", "spec-num-indic": "E"})";
const std::string kExternal = R"({"digit-string": "0", "action": "S", "timer": "5", "terminating-char": "#"})";

}  // namespace

TEST(PlanChecker, ACleanPlanGivesNothing)
{
    EXPECT_EQ(lines(plan({kEmergency, kExternal})), std::vector<std::string>{});
    EXPECT_EQ(lines(defaultConfigText()), std::vector<std::string>{});
}

TEST(PlanChecker, AFileDasSimRefusesIsOneErrorAtItsPlace)
{
    EXPECT_EQ(lines("{\n  \"items\": {,}\n}\n"),
              std::vector<std::string>{"2:13: error: syntax error while parsing object key - unexpected ','; expected string literal"});
    const std::vector<std::string> rows = {R"({"digit-string": "0", "colour": "red"})"};
    EXPECT_EQ(lines(plan(rows)), std::vector<std::string>{at(rows, 1, "colour") + ": error: unknown key \"colour\" in a dial plan entry"});
}

TEST(PlanChecker, ARowTheServiceRefusesIsAnErrorWithItsRowAndTheServicesWords)
{
    const std::vector<std::string> rows = {kEmergency, R"({"digit-string": "110", "action": "C", "timer": "0"})"};
    EXPECT_EQ(lines(plan(rows)),
              (std::vector<std::string>{
                  at(rows, 2, "timer") + ": error: row 2: its timer is not allowed for its action (\"C\": 1 to 9 s, \"S\": 0 "
                                         "to 9 s): the phone refuses the dial plan, marks it faulty with error row 2 and disables it",
                  at(rows, 2, "timer") + ": note: the service says: \"invalid timer value: 0\""}));
}

TEST(PlanChecker, AnEmptyDigitStringAndAnUnknownActionAreErrors)
{
    const std::vector<std::string> empty = {R"({"digit-string": "", "action": "S"})"};
    ASSERT_EQ(lines(plan(empty)).size(), 2u);
    EXPECT_EQ(lines(plan(empty))[0], at(empty, 1, "digit-string") +
                                         ": error: row 1: its digit string is empty: the phone refuses the dial plan, marks it "
                                         "faulty with error row 1 and disables it");
    const std::vector<std::string> action = {kEmergency, R"({"digit-string": "0", "action": "Q"})"};
    EXPECT_EQ(lines(plan(action))[0], at(action, 2, "action") +
                                          ": error: row 2: its action is neither \"S\" nor \"C\": the phone refuses the dial "
                                          "plan, marks it faulty with error row 2 and disables it");
    EXPECT_EQ(lines(plan(action))[1], at(action, 2, "action") + ": note: the service says: \"unknown action: Q\"");
}

TEST(PlanChecker, LengthsThatDoNotFitTheDigitStringAreAnErrorAtTheLength)
{
    const std::vector<std::string> rows = {R"({"digit-string": "12345", "action": "S", "timer": "0", "max-digit-len": "4"})"};
    const std::vector<std::string> found = lines(plan(rows));
    ASSERT_FALSE(found.empty());
    EXPECT_EQ(found[0].rfind(at(rows, 1, "max-digit-len") + ": error: row 1: its digit lengths do not fit", 0), 0u) << found[0];
}

TEST(PlanChecker, ATimerThatIsNoNumberIsAWarningThatSaysWhatThePhoneReads)
{
    const std::vector<std::string> rows = {kEmergency, R"({"digit-string": "0", "action": "S", "timer": "abc"})"};
    EXPECT_EQ(lines(plan(rows)),
              std::vector<std::string>{at(rows, 2, "timer") + ": warning: \"timer\" of row 2 is \"abc\", not a whole number "
                                                              "from 0 to 65535: the phone reads it as 0"});
}

TEST(PlanChecker, ALengthOutOfRangeIsReadAsZeroWhichTheServiceThenRefuses)
{
    const std::vector<std::string> rows = {kEmergency, R"({"digit-string": "0", "action": "S", "timer": "5", "min-digit-len": "99999"})"};
    EXPECT_EQ(lines(plan(rows)),
              (std::vector<std::string>{
                  at(rows, 2, "min-digit-len") + ": warning: \"min-digit-len\" of row 2 is \"99999\", not a whole number "
                                                 "from 0 to 65535: the phone reads it as 0",
                  at(rows, 2, "min-digit-len") + ": error: row 2: its digit lengths do not fit its digit string and action: "
                                                 "the phone refuses the dial plan, marks it faulty with error row 2 and disables it",
                  at(rows, 2, "min-digit-len") + ": note: the service says: \"invalid digit length: digit string: 0minimum "
                                                 "digit length: 0maximum digit length: 24\""}));
}

TEST(PlanChecker, RowsAfterTheFiftiethAreAWarningAtThe51st)
{
    std::vector<std::string> rows;
    for (int i = 0; i < 53; ++i) {
        rows.push_back(R"({"digit-string": ")" + std::to_string(100 + i) + R"(", "action": "S", "timer": "0"})");
    }
    EXPECT_EQ(lines(plan(rows)),
              std::vector<std::string>{at(rows, 51) + ": warning: row 51 and the 2 after it are ignored: the phone reads at most 50 rows"});
}

TEST(PlanChecker, ARowWithoutDigitStringEndsThePlanWithAWarning)
{
    const std::vector<std::string> rows = {kEmergency, R"({"action": "S"})", kExternal};
    EXPECT_EQ(lines(plan(rows)),
              std::vector<std::string>{at(rows, 2) + ": warning: row 2 has no \"digit-string\": the phone stops reading the "
                                                     "dial plan here; the 1 rows after it are ignored"});
}

TEST(PlanChecker, ARowAnEarlierRowAlwaysDecidesFirstIsShadowedWithANoteAtTheEarlierRow)
{
    const std::vector<std::string> rows = {kExternal, R"({"digit-string": "0891", "action": "S", "timer": "0"})"};
    EXPECT_EQ(lines(plan(rows)),
              (std::vector<std::string>{
                  at(rows, 2, "digit-string") + ": warning: row 2 (\"0891\") can never decide: row 1 (\"0\") always decides "
                                                "its numbers first",
                  at(rows, 1, "digit-string") + ": note: row 1 is here"}));
}

TEST(PlanChecker, ADuplicateRowRepeatsTheEarlierOne)
{
    const std::string internal = R"({"digit-string": "2xx", "action": "S", "timer": "0"})";
    const std::vector<std::string> rows = {internal, internal};
    EXPECT_EQ(lines(plan(rows)), (std::vector<std::string>{at(rows, 2, "digit-string") + ": warning: row 2 repeats row 1: it never decides",
                                                           at(rows, 1, "digit-string") + ": note: row 1 is here"}));
}

TEST(PlanChecker, ATerminatorTheRowCannotUseIsAWarning)
{
    const std::vector<std::string> fixed = {R"({"digit-string": "2xx", "action": "S", "timer": "0", "terminating-char": "#"})"};
    EXPECT_EQ(lines(plan(fixed)), std::vector<std::string>{at(fixed, 1, "terminating-char") +
                                                           ": warning: the terminator \"#\" of row 1 never ends a number: the "
                                                           "row's numbers have one length, 3 digits, and are complete without it"});
    const std::vector<std::string> single = {R"({"digit-string": "5", "action": "S", "timer": "0", "terminating-char": "#"})"};
    EXPECT_EQ(lines(plan(single)), std::vector<std::string>{at(single, 1, "terminating-char") +
                                                            ": warning: the terminator \"#\" of row 1 never ends a number: the "
                                                            "row's numbers have one length, 1 digit, and are complete without it"});
    const std::vector<std::string> wide = {R"({"digit-string": "0", "action": "S", "timer": "5", "terminating-char": "##"})"};
    EXPECT_EQ(lines(plan(wide)), std::vector<std::string>{at(wide, 1, "terminating-char") +
                                                          ": warning: the terminator \"##\" of row 1 has more than one "
                                                          "character: the phone compares it with the last dialled character, "
                                                          "so it never ends a number"});
}

TEST(PlanChecker, EmergencyNumbersOnHookDiallingCannotSendAtOnceAreWarnings)
{
    const std::vector<std::string> check = {R"({"digit-string": "112", "action": "C", "timer": "1", "spec-num-indic": "E"})"};
    EXPECT_EQ(lines(plan(check)), std::vector<std::string>{at(check, 1, "action") +
                                                           ": warning: emergency row 1 is a \"C\" row: on-hook dialling never sends it"});
    const std::vector<std::string> variable = {R"({"digit-string": "110", "action": "S", "timer": "3", "spec-num-indic": "E"})"};
    EXPECT_EQ(lines(plan(variable)),
              std::vector<std::string>{at(variable, 1, "spec-num-indic") +
                                       ": warning: emergency row 1 has a variable length (3 to 24 digits): on-hook dialling "
                                       "sends it at once only at 24 digits or with its terminator"});
    const std::vector<std::string> behind = {R"({"digit-string": "11x", "action": "C", "timer": "2"})", kEmergency};
    EXPECT_EQ(lines(plan(behind)),
              std::vector<std::string>{at(behind, 2, "digit-string") +
                                       ": warning: on-hook dialling cannot send emergency row 2 (\"112\") at once: row 1 "
                                       "(\"11x\") decides its number first and waits for a terminator"});
}

TEST(PlanChecker, AnEmptyIdAndAnEnabledFlagThatIsNotTrueOrFalseAreWarnings)
{
    EXPECT_EQ(lines(plan({kEmergency}, R"("dial-plan-id": "")")),
              std::vector<std::string>{"4:5: warning: empty \"dial-plan-id\": the phone drops every row and disables the dial plan"});
    const std::string text = plan({kEmergency}, R"("dial-plan-id": "T", "dial-plan-enabled": "yes")");
    EXPECT_EQ(lines(text), std::vector<std::string>{"4:26: warning: \"dial-plan-enabled\" is \"yes\": the phone reads anything but "
                                                    "\"true\" as false and disables the dial plan"});
}

TEST(PlanChecker, DiagnosticsAreWrittenAsCompilersWriteThem)
{
    EXPECT_EQ(formatDiagnostic("phone.json", Diagnostic{Diagnostic::Severity::kWarning, 3, 14, "text"}),
              "phone.json:3:14: warning: text");
    EXPECT_EQ(formatDiagnostic("a.json", Diagnostic{Diagnostic::Severity::kError, 1, 2, "x"}), "a.json:1:2: error: x");
    EXPECT_EQ(formatDiagnostic("a.json", Diagnostic{Diagnostic::Severity::kNote, 1, 2, "x"}), "a.json:1:2: note: x");
}
