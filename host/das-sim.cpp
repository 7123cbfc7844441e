// das-sim: runs a script against the digit analysis service on a virtual clock and
// prints every observable event, one line each.

#include <sys/stat.h>

#include <fstream>
#include <iostream>
#include <memory>
#include <optional>

#include <CLI/CLI.hpp>

#include "CommandLine.h"
#include "HostConfig.h"
#include "PluginLibrary.h"
#include "ScriptRunner.h"

namespace {

bool isDirectory(const std::string& path)
{
    struct stat status {};
    return ::stat(path.c_str(), &status) == 0 && S_ISDIR(status.st_mode);
}

}  // namespace

// An exception that escapes main is a programming error (the option set-up) and ends the
// program with a message, which is what it should do.
// NOLINTNEXTLINE(bugprone-exception-escape)
int main(int argc, char** argv)
{
    CLI::App app{"Runs a das-sim script against the digit analysis service on a virtual clock."};
    std::string configFile;
    std::optional<int> logLevel;
    std::string pluginPath;
    std::string scriptFile = "-";
    std::string dialPlanLogDirectory;
    bool quiet = false;
    app.add_option("--config", configFile, "phone configuration (JSON); the built-in Munich phone when absent");
    app.add_option("--log", logLevel, "print the service's log lines of this level or more severe (2, 3, 5)");
    app.add_option("--plugin", pluginPath, "the plug-in to load")->default_str(PluginLibrary::defaultPath());
    app.add_option("--dial-plan-log", dialPlanLogDirectory,
                   "the directory the service writes its dial plan log file (dial.plan.log) in, instead of /tmp/logs");
    app.add_flag("-q,--quiet", quiet, "print only failed expectations and faults of the script");
    app.add_option("script", scriptFile, "the script to run; - reads standard input")->default_str("-");
    addVersionFlag(app, "das-sim");
    app.footer("Script commands, one a line (# starts a comment):\n" + ScriptRunner::commandHelp() + "\n\n" +
               exitStatusHelp(false));
    if (const int status = parseCommandLine(app, argc, argv); status >= 0) return status;

    HostConfig config;
    try {
        config = configFile.empty() ? defaultHostConfig() : loadHostConfigFile(configFile);
    } catch (const ConfigFileError& error) {
        std::cerr << "das-sim: " << error.what() << std::endl;
        return kExitUsage;
    }
    if (!dialPlanLogDirectory.empty() && !isDirectory(dialPlanLogDirectory)) {
        std::cerr << "das-sim: the dial plan log directory " << dialPlanLogDirectory << " is not a directory" << std::endl;
        return kExitUsage;
    }

    std::ifstream file;
    if (scriptFile != "-") {
        file.open(scriptFile, std::ios::binary);
        if (!file) {
            std::cerr << "das-sim: cannot read the script " << scriptFile << std::endl;
            return kExitUsage;
        }
    }
    std::istream& script = scriptFile == "-" ? std::cin : file;

    try {
        auto plugin = std::make_unique<PluginLibrary>(pluginPath.empty() ? PluginLibrary::defaultPath() : pluginPath);
        if (!dialPlanLogDirectory.empty()) plugin->setDialPlanLogFile(dialPlanLogDirectory + "/dial.plan.log");
        ScriptRunner runner(std::move(plugin), config, logLevel, std::cout, quiet);
        return runner.run(script, scriptFile == "-" ? "<stdin>" : scriptFile, std::cerr);
    } catch (const std::exception& error) {
        std::cout.flush();
        std::cerr << "das-sim: " << error.what() << std::endl;
        return kExitFailure;
    }
}
