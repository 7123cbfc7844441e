// The dial plan's configuration path: a plan made from arbitrary configuration items goes
// through setData (validation, storage writes, log file), is read back with getData and
// matched against dialled digits.
//
// Input lines: "PATH=VALUE" sets an item ("dial-plan-id=A1",
// "dialPlanSettings/dialPlanEntry[1]/digit-string=112"; a path without "/" is a plain item);
// "?DIGITS" is a number dialled after the plan was set, off-hook and on-hook.

#include "DialPlan.h"
#include "FuzzSupport.h"
#include "ManageableData.h"

namespace {

constexpr std::size_t kMaxLines = 128;

void setItem(ManageableData& data, const std::string& line)
{
    const auto equals = line.find('=');
    const std::string path = line.substr(0, equals);
    const std::string value = equals == std::string::npos ? std::string() : line.substr(equals + 1);
    const auto slash = path.find('/');
    if (slash == std::string::npos)
        data.populate(path, path, value);
    else
        data.populate(path.substr(0, slash), path.substr(slash + 1), value);
}

void dial(DialPlan& plan, const std::string& digits)
{
    for (bool onHook : {false, true}) {
        plan.setOnhookDialling(onHook);
        std::string dialled = digits;
        unsigned int timer = 0;
        plan.getAction(&dialled, &timer);
        std::string bypass = digits;
        plan.isLockBypass(bypass);
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    fuzzing::formatLogsQuietly();
    ServiceHarness harness;
    DialPlan plan;
    plan.setContext(&harness.context);
    plan.setDAS(&harness.das);

    ManageableData config;
    std::vector<std::string> numbers;
    for (const auto& line : fuzzing::splitLines(fuzzing::toText(data, size), kMaxLines)) {
        if (!line.empty() && line[0] == '?')
            numbers.push_back(line.substr(1));
        else
            setItem(config, line);
    }
    plan.setData(config);
    const int count = plan.getNumberOfEntries();
    if (count < 0 || count > DialPlan::kMaxEntries) fuzzing::fail("entry count out of range", std::to_string(count));

    ManageableData readBack;
    readBack.addRootId("dial-plan-enabled");
    readBack.addRootId("dial-plan-id");
    readBack.addRootId("dialPlanSettings");
    plan.getData(readBack);

    // The plan as stored must read back.
    plan.readDialPlanOverviewFromDAS();
    plan.readDialPlanEntriesFromDAS();
    for (const auto& digits : numbers) dial(plan, digits);
    return 0;
}
