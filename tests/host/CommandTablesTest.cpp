#include <gtest/gtest.h>

#include <cstdio>
#include <memory>
#include <sstream>
#include <string>
#include <vector>

#include "HostConfig.h"
#include "PluginLibrary.h"
#include "ScriptRunner.h"

namespace {

std::vector<std::string> linesOf(const std::string& text)
{
    std::vector<std::string> lines;
    std::istringstream stream(text);
    for (std::string line; std::getline(stream, line);) lines.push_back(line);
    return lines;
}

std::string outputOf(const std::string& command)
{
    std::string output;
    FILE* pipe = popen((command + " 2>&1").c_str(), "r");
    if (pipe == nullptr) return output;
    char buffer[4096];
    for (std::size_t count; (count = fread(buffer, 1, sizeof buffer, pipe)) > 0;) output.append(buffer, count);
    pclose(pipe);
    return output;
}

}  // namespace

TEST(ScriptCommands, EveryCommandTheHelpListsIsOneTheRunnerKnows)
{
    const std::vector<std::string> lines = linesOf(ScriptRunner::commandHelp());
    ASSERT_EQ(lines.size(), 9u);
    for (const auto& line : lines) {
        const std::string command = line.substr(2, line.find(' ', 2) - 2);
        std::ostringstream out;
        std::ostringstream err;
        ScriptRunner runner(std::make_unique<PluginLibrary>(DAS_PLUGIN_FILE), defaultHostConfig(), std::nullopt, out);
        std::istringstream script(command + "\n");
        runner.run(script, "help", err);
        EXPECT_EQ(err.str().find("unknown command"), std::string::npos) << line << ": " << err.str();
    }
}

TEST(ScriptCommands, DasSimHelpListsTheScriptCommands)
{
    const std::string help = outputOf(std::string(DAS_SIM_PATH) + " --help");
    EXPECT_NE(help.find("Script commands, one a line"), std::string::npos) << help;
    EXPECT_NE(help.find(ScriptRunner::commandHelp()), std::string::npos) << help;
}

TEST(DasctlVerbs, HelpGivesEachVerbItsUsageLineInOneColumn)
{
    const std::string help = outputOf(std::string(DASCTL_PATH) + " --help");
    for (const char* line : {"  dasctl [options] [send] REQUEST...    send requests, print the replies",
                             "  dasctl [options] set KEY VALUE        change an item and notify the service",
                             "  dasctl [options] mgmt-set JSON        management write of root items",
                             "  dasctl [options] mgmt-get ROOT...     management read"}) {
        EXPECT_NE(help.find(line), std::string::npos) << line << "\n" << help;
    }
}
