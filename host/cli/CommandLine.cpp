#include "CommandLine.h"

#include <iostream>

#include <CLI/CLI.hpp>

#include "ProgramVersion.h"

std::string programVersion(const std::string& program)
{
    std::string text = program + " " + DAS_PROJECT_VERSION;
    const std::string description = DAS_GIT_DESCRIPTION;
    if (!description.empty()) text += " (" + description + ")";
    return text;
}

std::string exitStatusHelp(bool unreachable)
{
    std::string text =
        "Exit status:\n"
        "  0  success\n"
        "  1  the request was refused or failed\n"
        "  2  usage: an unknown verb or option, bad arguments, an input file that cannot be read\n";
    if (unreachable) text += "  3  the daemon cannot be reached\n";
    return text;
}

void addVersionFlag(CLI::App& app, const std::string& program)
{
    app.set_version_flag("--version", programVersion(program), "print the program's version and exit");
}

int parseCommandLine(CLI::App& app, int argc, char** argv)
{
    try {
        app.parse(argc, argv);
        return -1;
    } catch (const CLI::ParseError& error) {
        // Help and version are "errors" of status 0 to the parser; every other one is a
        // usage fault, whatever code the parser gives it.
        const int parserStatus = app.exit(error);
        return parserStatus == 0 ? kExitSuccess : kExitUsage;
    }
}
