// das-sim: runs a script against the digit analysis service on a virtual clock and
// prints every observable event, one line each.

#include <sys/stat.h>

#include <fstream>
#include <iterator>
#include <iostream>
#include <memory>
#include <optional>

#include <CLI/CLI.hpp>

#include "CommandLine.h"
#include "DecisionExplainer.h"
#include "HostConfig.h"
#include "PlanChecker.h"
#include "PluginLibrary.h"
#include "ScriptRunner.h"

namespace {

std::string plural(std::size_t count, const std::string& noun)
{
    return std::to_string(count) + " " + noun + (count == 1 ? "" : "s");
}

// das-sim --check: every file's diagnostics on standard output, then a summary when there
// were any. The status counts errors, and warnings too when `strict`.
int checkFiles(const std::vector<std::string>& files, bool strict, const std::string& pluginPath)
{
    std::size_t errors = 0;
    std::size_t warnings = 0;
    for (const auto& file : files) {
        std::ifstream in(file, std::ios::binary);
        if (!in) {
            std::cerr << "das-sim: cannot read " << file << std::endl;
            return kExitUsage;
        }
        const std::string text((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
        for (const Diagnostic& diagnostic :
             checkConfiguration(text, [&pluginPath] { return std::make_unique<PluginLibrary>(pluginPath); })) {
            errors += diagnostic.severity == Diagnostic::Severity::kError ? 1 : 0;
            warnings += diagnostic.severity == Diagnostic::Severity::kWarning ? 1 : 0;
            std::cout << formatDiagnostic(file, diagnostic) << '\n';
        }
    }
    if (errors + warnings > 0) std::cout << plural(errors, "error") << ", " << plural(warnings, "warning") << '\n';
    std::cout.flush();
    return errors > 0 || (strict && warnings > 0) ? kExitFailure : kExitSuccess;
}

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
    std::vector<std::string> inputs;
    std::string dialPlanLogDirectory;
    bool quiet = false;
    bool check = false;
    bool strict = false;
    std::optional<std::string> explained;
    bool onHook = false;
    bool json = false;
    app.add_option("--config", configFile, "phone configuration (JSON); the built-in Munich phone when absent");
    app.add_option("--log", logLevel, "print the service's log lines of this level or more severe (2, 3, 5)");
    app.add_option("--plugin", pluginPath, "the plug-in to load")->default_str(PluginLibrary::defaultPath());
    app.add_option("--dial-plan-log", dialPlanLogDirectory,
                   "the directory the service writes its dial plan log file (dial.plan.log) in, instead of /tmp/logs");
    app.add_flag("-q,--quiet", quiet, "print only failed expectations and faults of the script");
    app.add_flag("--check", check,
                 "check the configuration files given instead of a script: what the phone would refuse, change or "
                 "ignore in them, as FILE:LINE:COL: error|warning|note: TEXT; status 1 when there are errors");
    app.add_flag("--strict", strict, "with --check: warnings count as errors");
    app.add_option("--explain", explained,
                   "dial DIGITS into the configured phone on a virtual clock and explain each decision, the deciding "
                   "row, the timers and what is dialled when");
    app.add_flag("--on-hook", onHook, "with --explain: dial on-hook (without immediate dialling, only "
                                      "emergency, lock-bypass and terminated numbers are sent)");
    app.add_flag("--json", json, "with --explain: the explanation as JSON");
    app.add_option("script", inputs, "the script to run (- or none: standard input); with --check, the configuration files");
    addVersionFlag(app, "das-sim");
    app.footer("Script commands, one a line (# starts a comment):\n" + ScriptRunner::commandHelp() + "\n\n" +
               exitStatusHelp(false));
    if (const int status = parseCommandLine(app, argc, argv); status >= 0) return status;
    if (pluginPath.empty()) pluginPath = PluginLibrary::defaultPath();
    if (check) {
        if (inputs.empty()) {
            std::cerr << "das-sim: --check needs at least one configuration file\nRun with --help for more information."
                      << std::endl;
            return kExitUsage;
        }
        try {
            return checkFiles(inputs, strict, pluginPath);
        } catch (const std::exception& error) {
            std::cerr << "das-sim: " << error.what() << std::endl;
            return kExitFailure;
        }
    }

    HostConfig config;
    try {
        config = configFile.empty() ? defaultHostConfig() : loadHostConfigFile(configFile);
    } catch (const ConfigFileError& error) {
        std::cerr << "das-sim: " << error.what() << std::endl;
        return kExitUsage;
    }
    if (explained) {
        if (!inputs.empty()) {
            std::cerr << "das-sim: --explain takes no script\nRun with --help for more information." << std::endl;
            return kExitUsage;
        }
        try {
            const Explanation explanation = explainDigits(
                *explained, config, onHook, [&pluginPath] { return std::make_unique<PluginLibrary>(pluginPath); });
            std::cout << (json ? explanationJson(explanation) + "\n" : explanationText(explanation)) << std::flush;
            return kExitSuccess;
        } catch (const std::exception& error) {
            std::cerr << "das-sim: " << error.what() << std::endl;
            return kExitFailure;
        }
    }
    if (inputs.size() > 1) {
        std::cerr << "das-sim: one script at a time\nRun with --help for more information." << std::endl;
        return kExitUsage;
    }
    const std::string scriptFile = inputs.empty() ? "-" : inputs.front();
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
        auto plugin = std::make_unique<PluginLibrary>(pluginPath);
        if (!dialPlanLogDirectory.empty()) plugin->setDialPlanLogFile(dialPlanLogDirectory + "/dial.plan.log");
        ScriptRunner runner(std::move(plugin), config, logLevel, std::cout, quiet);
        return runner.run(script, scriptFile == "-" ? "<stdin>" : scriptFile, std::cerr);
    } catch (const std::exception& error) {
        std::cout.flush();
        std::cerr << "das-sim: " << error.what() << std::endl;
        return kExitFailure;
    }
}
