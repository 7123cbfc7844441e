// dasd: runs the digit analysis service on real threads and serves clients on a Unix
// domain socket (docs/protocol.md).

#include <iostream>
#include <optional>

#include <CLI/CLI.hpp>

#include "CommandLine.h"
#include "Daemon.h"
#include "HostConfig.h"
#include "PluginLibrary.h"
#include "UnixSocket.h"

// An exception that escapes main is a programming error (the option set-up) and ends the
// program with a message, which is what it should do.
// NOLINTNEXTLINE(bugprone-exception-escape)
int main(int argc, char** argv)
{
    CLI::App app{"Runs the digit analysis service and serves clients on a Unix domain socket."};
    DaemonOptions options;
    options.socketPath = defaultSocketPath();
    options.storePath = defaultStorePath();
    app.add_option("--config", options.configFile, "phone configuration (JSON); the built-in Munich phone when absent");
    app.add_option("--socket", options.socketPath,
                   "the socket to listen on (default: $XDG_RUNTIME_DIR/dasd.sock, else /run/user/UID/dasd.sock "
                   "when that is a private directory of this user)")
        ->capture_default_str();
    app.add_option("--store", options.storePath, "the SQLite file that keeps the dial plan")->capture_default_str();
    app.add_option("--log", options.logLevel, "write the service's log lines of this level or more severe (2, 3, 5)");
    app.add_option("--plugin", options.pluginPath, "the plug-in to load")->default_str(PluginLibrary::defaultPath());
    app.add_option("--threads", options.messageThreads, "message threads")->check(CLI::Range(1, 64))->capture_default_str();
    app.add_option("--answer-timeout", options.answerTimeoutMs, "ms to wait for a client's answer to a proxy request")
        ->check(CLI::Range(1, 600000))
        ->capture_default_str();
    addVersionFlag(app, "dasd");
    app.footer(exitStatusHelp(false));
    if (const int status = parseCommandLine(app, argc, argv); status >= 0) return status;
    if (options.pluginPath.empty()) options.pluginPath = PluginLibrary::defaultPath();
    // No silent fallback to a directory shared with other users: without a private default
    // place the path must be given.
    if (options.socketPath.empty()) {
        std::cerr << "dasd: " << noDefaultSocketMessage() << std::endl;
        return kExitUsage;
    }

    try {
        Daemon daemon(options);
        return daemon.run();
    } catch (const ConfigFileError& error) {
        std::cerr << "dasd: " << error.what() << std::endl;
        return kExitUsage;
    } catch (const std::exception& error) {
        std::cerr << "dasd: " << error.what() << std::endl;
        return kExitFailure;
    }
}
