#include "Expected.h"

#include <cstdlib>
#include <fstream>
#include <map>
#include <sstream>

namespace benchexpected {
namespace {

std::vector<std::string> fieldsOf(const std::string& line)
{
    std::vector<std::string> fields;
    std::istringstream stream(line);
    std::string field;
    while (std::getline(stream, field, '\t')) fields.push_back(field);
    if (!line.empty() && line.back() == '\t') fields.emplace_back();
    return fields;
}

Result resultOf(const std::string& flag, const std::string& text) { return {flag == "1", text}; }

std::map<std::string, std::vector<Conversions>> loadConversions()
{
    std::map<std::string, std::vector<Conversions>> byRegion;
    std::ifstream file(conversionsPath());
    std::string line;
    while (std::getline(file, line)) {
        const auto fields = fieldsOf(line);
        if (fields.size() != 9) return {};
        Conversions conversions;
        conversions.number = {fields[0], fields[1], fields[2]};
        conversions.canonical = resultOf(fields[3], fields[4]);
        conversions.ringCentral = resultOf(fields[5], fields[6]);
        conversions.localFromCanonical = resultOf(fields[7], fields[8]);
        byRegion[fields[0]].push_back(conversions);
    }
    // The file must follow the corpus number for number.
    for (auto& [region, conversions] : byRegion) {
        const auto numbers = benchcorpus::ofRegion(region);
        bool same = numbers.size() == conversions.size();
        for (std::size_t i = 0; same && i < numbers.size(); ++i) same = numbers[i].text == conversions[i].number.text;
        if (!same) return {};
    }
    return byRegion;
}

std::vector<Action> loadOfficeActions()
{
    std::vector<Action> actions;
    std::ifstream file(officeActionsPath());
    std::string line;
    while (std::getline(file, line)) {
        const auto fields = fieldsOf(line);
        if (fields.size() != 4) return {};
        actions.push_back({fields[0], std::atoi(fields[1].c_str()),
                           static_cast<unsigned int>(std::strtoul(fields[2].c_str(), nullptr, 10)), fields[3]});
    }
    return actions;
}

}  // namespace

std::string conversionsPath() { return std::string(DAS_BENCH_CORPUS_DIR) + "/expected.tsv"; }
std::string officeActionsPath() { return std::string(DAS_BENCH_CORPUS_DIR) + "/office-actions.tsv"; }

const std::vector<Conversions>& conversionsOf(const std::string& region)
{
    static const std::map<std::string, std::vector<Conversions>> byRegion = loadConversions();
    static const std::vector<Conversions> none;
    const auto it = byRegion.find(region);
    return it == byRegion.end() ? none : it->second;
}

const std::vector<Action>& officeActions()
{
    static const std::vector<Action> actions = loadOfficeActions();
    return actions;
}

}  // namespace benchexpected
