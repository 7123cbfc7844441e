// das-sim: runs a script against the digit analysis service on a virtual clock and
// prints every observable event, one line each.

#include <fstream>
#include <iostream>
#include <memory>
#include <optional>

#include <CLI/CLI.hpp>

#include "HostConfig.h"
#include "PluginLibrary.h"
#include "ScriptRunner.h"

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
    app.add_option("--config", configFile, "phone configuration (JSON); the built-in Munich phone when absent");
    app.add_option("--log", logLevel, "print the service's log lines of this level or more severe (2, 3, 5)");
    app.add_option("--plugin", pluginPath, "the plug-in to load")->default_str(PluginLibrary::defaultPath());
    app.add_option("script", scriptFile, "the script to run; - reads standard input")->default_str("-");
    app.footer("Script commands, one a line (# starts a comment):\n" + ScriptRunner::commandHelp());
    CLI11_PARSE(app, argc, argv);

    HostConfig config;
    try {
        config = configFile.empty() ? defaultHostConfig() : loadHostConfigFile(configFile);
    } catch (const ConfigFileError& error) {
        std::cerr << "das-sim: " << error.what() << std::endl;
        return 2;
    }

    std::ifstream file;
    if (scriptFile != "-") {
        file.open(scriptFile, std::ios::binary);
        if (!file) {
            std::cerr << "das-sim: cannot read the script " << scriptFile << std::endl;
            return 2;
        }
    }
    std::istream& script = scriptFile == "-" ? std::cin : file;

    try {
        ScriptRunner runner(
            std::make_unique<PluginLibrary>(pluginPath.empty() ? PluginLibrary::defaultPath() : pluginPath), config,
            logLevel, std::cout);
        return runner.run(script, scriptFile == "-" ? "<stdin>" : scriptFile, std::cerr);
    } catch (const std::exception& error) {
        std::cout.flush();
        std::cerr << "das-sim: " << error.what() << std::endl;
        return 1;
    }
}
