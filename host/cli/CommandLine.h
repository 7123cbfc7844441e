#pragma once
// What the three host programs share on their command lines: the exit statuses, their
// description for --help, --version, and the parse that turns every command-line fault into
// the usage status instead of the parser's own codes.

#include <string>

namespace CLI {
class App;
}

// The exit statuses of das-sim, dasd and dasctl.
enum ExitStatus : int {
    kExitSuccess = 0,
    // A request was refused or failed: mgmt-set answered false, an error reply, a failed
    // expectation of a script, a plan with errors.
    kExitFailure = 1,
    // Usage: an unknown verb or option, bad arguments, an unreadable or invalid input file.
    kExitUsage = 2,
    // The daemon cannot be reached.
    kExitUnreachable = 3,
};

// "das-sim 1.0.0 (v1.0.0-12-gabcdef)", or without the parenthesis when not built from a
// checkout.
std::string programVersion(const std::string& program);

// The --help footer lines that list the exit statuses; `unreachable` adds status 3.
std::string exitStatusHelp(bool unreachable);

// Adds --version to `app`.
void addVersionFlag(CLI::App& app, const std::string& program);

// Parses the command line. Returns -1 when the program goes on, else the status to exit
// with: 0 after --help or --version (printed on standard output), 2 after a fault (the
// parser's message on standard error).
int parseCommandLine(CLI::App& app, int argc, char** argv);
