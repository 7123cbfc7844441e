#include "DialPlans.h"

namespace benchplans {

ManageableData configuration(const std::vector<Row>& rows)
{
    ManageableData data;
    data.populate("dial-plan-enabled", "dial-plan-enabled", "true");
    data.populate("dial-plan-id", "dial-plan-id", "BENCH");
    int number = 1;
    for (const Row& row : rows) {
        const std::string prefix = "dialPlanEntry[" + std::to_string(number++) + "]/";
        auto item = [&](const char* name, const std::string& value) {
            if (!value.empty()) data.populate("dialPlanSettings", prefix + name, value);
        };
        item("digit-string", row.digitString);
        item("action", row.action);
        item("timer", row.timer);
        item("min-digit-len", row.minDigitLength);
        item("max-digit-len", row.maxDigitLength);
        item("terminating-char", row.terminator);
        item("spec-num-indic", row.special);
    }
    return data;
}

std::vector<Row> officePlan()
{
    std::vector<Row> rows = {
        {"112", "S", "0", "", "", "", "E"},
        {"110", "S", "0", "", "", "", "E"},
        {"19222", "S", "0", "", "", "", "E"},
        {"0112", "S", "0", "", "", "", "E"},
        {"0110", "S", "0", "", "", "", "E"},
        {"2000", "S", "0", "", "", "", "b"},
        {"116116", "S", "0", "", "", "", ""},
        {"116117", "S", "0", "", "", "", ""},
        {"118xx", "S", "0", "", "", "", ""},
        {"0116116", "S", "0", "", "", "", ""},
        {"0116117", "S", "0", "", "", "", ""},
        {"0118xx", "S", "0", "", "", "", ""},
        {"0115", "S", "0", "", "", "", ""},
        {"*xx", "S", "0", "", "", "", ""},
        {"#xx", "S", "0", "", "", "", ""},
    };
    // Extensions: 21xx to 29xx, 31xx to 39xx, 4xxx to 8xxx.
    for (char hundreds = '1'; hundreds <= '9'; ++hundreds) rows.push_back({std::string("2") + hundreds + "xx", "S", "0", "", "", "", ""});
    for (char hundreds = '1'; hundreds <= '9'; ++hundreds) rows.push_back({std::string("3") + hundreds + "xx", "S", "0", "", "", "", ""});
    for (char thousands = '4'; thousands <= '8'; ++thousands) rows.push_back({std::string(1, thousands) + "xxx", "S", "0", "", "", "", ""});
    const std::vector<Row> external = {
        {"0900", "C", "9", "", "", "", ""},
        {"00900", "C", "9", "", "", "", ""},
        {"0137", "C", "5", "", "", "", ""},
        {"00137", "C", "5", "", "", "", ""},
        {"00180x", "C", "5", "", "", "", ""},
        {"0015x", "S", "3", "12", "13", "#", ""},
        {"0016x", "S", "3", "12", "13", "#", ""},
        {"0017x", "S", "3", "12", "13", "#", ""},
        {"000", "S", "5", "8", "24", "#", ""},
        {"0089", "S", "4", "9", "12", "#", ""},
        {"00", "S", "4", "8", "24", "#", ""},
        {"0", "S", "3", "5", "24", "#", ""},
    };
    rows.insert(rows.end(), external.begin(), external.end());
    return rows;
}

std::vector<std::string> officeDiallings()
{
    return {"2345",           "3917",           "4711",          "112",          "0112",
            "2000",           "0891234567",     "06912345678",   "008912345678", "00301234567",
            "0015112345678",  "001711234567",   "0004420794609", "00033142685300", "0011880",
            "*72",            "0221987654",     "0116117",       "00621112345",  "5678",
            "0001212555014",  "00176123456789", "8123",          "0089123456#",  "0123456#"};
}

std::vector<Row> bestCasePlan() { return officePlan(); }

std::string worstCaseDigits() { return "004989123456789012345678"; }

std::vector<Row> worstCasePlan()
{
    const std::string digits = worstCaseDigits();
    const std::string differentLast = "0123456789*#ABCD";
    std::vector<Row> rows;
    for (int index = 0; index < 50; ++index) {
        std::string pattern = digits.substr(0, 23);
        pattern[static_cast<std::size_t>(index) % 23] = index % 2 == 0 ? 'x' : 'X';
        char last = differentLast[static_cast<std::size_t>(index) % differentLast.size()];
        if (last == digits.back()) last = '#';
        pattern += last;
        rows.push_back({pattern, "S", "0", "", "", "", ""});
    }
    return rows;
}

std::vector<Row> onHookWorstCasePlan()
{
    return std::vector<Row>(50, Row{std::string(24, 'x'), "S", "0", "", "", "#", ""});
}

}  // namespace benchplans
