// The dial plan's storage parsers on arbitrary responses of the data access service. The
// first line of the input is an element name for the single-value readers, the rest the
// response text; the whole response is also read as a dial plan overview and entries.

#include "DialPlan.h"
#include "FuzzSupport.h"
#include "Utils.h"

namespace {

constexpr int kMaxRemovals = 200;

void readSingleValues(const std::string& xml, const std::string& name)
{
    std::string text;
    unsigned int number = 0;
    bool flag = false;
    Utils::getXMLValue(xml, name, text);
    Utils::getXMLValue(xml, name, number);
    Utils::getXMLValue(xml, name, flag);

    std::string remaining = xml;
    for (int removed = 0; removed < kMaxRemovals; ++removed) {
        const std::size_t before = remaining.size();
        if (!Utils::getAndRemoveXMLValue(remaining, name, text)) break;
        // Each removal takes out at least the two tags.
        if (remaining.size() >= before) fuzzing::fail("getAndRemoveXMLValue removed nothing", name);
    }
}

void readPlan(const std::string& xml)
{
    DialPlan plan;
    Utils::parseXMLDialPlanOverview(xml, plan);
    Utils::parseXMLDialPlanEntries(xml, plan);
    const int count = plan.getNumberOfEntries();
    if (count < 0 || count > DialPlan::kMaxEntries) fuzzing::fail("entry count out of range", std::to_string(count));
    plan.extractSpecialNumbers();
    // What was read must be writable again.
    Utils::writeDialPlan(&plan);
    for (int index = 0; index < count; ++index) Utils::writeDialPlanEntry(index, *plan.getEntry(index));
    t_dialPlanEntry single;
    Utils::parseXMLDialPlanEntry(xml, single);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    fuzzing::formatLogsQuietly();
    const std::string input = fuzzing::toText(data, size);
    const auto newline = input.find('\n');
    const std::string name = newline == std::string::npos ? std::string() : input.substr(0, newline);
    const std::string xml = newline == std::string::npos ? input : input.substr(newline + 1);
    readSingleValues(xml, name);
    readPlan(xml);
    return 0;
}
