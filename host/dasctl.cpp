// dasctl: a client of dasd. Sends requests and prints the replies, listens for events,
// talks interactively, and changes, writes and reads configuration.

#include <chrono>
#include <iostream>
#include <thread>

#include <CLI/CLI.hpp>

#include "CommandLine.h"
#include "DasctlSession.h"
#include "TextQuote.h"
#include "UnixSocket.h"

// An exception that escapes main is a programming error (the option set-up) and ends the
// program with a message, which is what it should do.
// NOLINTNEXTLINE(bugprone-exception-escape)
int main(int argc, char** argv)
{
    CLI::App app{"A client of dasd." + DasctlSession::usage() +
                 "\n"
                 "  dasctl [options] --listen             print the events for NAME as they arrive\n"
                 "  dasctl [options] -i                   interactive: one request per line"};
    DasctlSettings settings;
    settings.socketPath = defaultSocketPath();
    app.add_option("--socket", settings.socketPath, "the daemon's socket")->capture_default_str();
    app.add_option("--name", settings.name, "the client name (\"\" for none)")->capture_default_str();
    app.add_option("--answer", settings.answer, "the answer given to the requests of this client's proxy");
    app.add_option("--wait", settings.waitMs, "ms to keep printing events after the last reply")->check(CLI::NonNegativeNumber);
    app.add_option("--timeout", settings.timeoutMs, "ms to wait for each reply")->check(CLI::PositiveNumber)->capture_default_str();
    app.add_flag("--listen", settings.listen, "print events until the daemon stops");
    app.add_flag("-i,--interactive", settings.interactive, "read requests from standard input");
    app.add_option("command", settings.words, "the command and its arguments");
    addVersionFlag(app, "dasctl");
    app.footer(exitStatusHelp(true));
    if (const int status = parseCommandLine(app, argc, argv); status >= 0) return status;

    if (!settings.words.empty()) {
        if (const std::string fault = DasctlSession::usageFault(settings.words); !fault.empty()) {
            std::cerr << "dasctl: " << fault << "\nRun with --help for more information." << std::endl;
            return kExitUsage;
        }
    }
    if (settings.socketPath.empty()) {
        std::cerr << "dasctl: " << noDefaultSocketMessage() << std::endl;
        return kExitUsage;
    }
    if (settings.words.empty() && !settings.listen && !settings.interactive) settings.interactive = true;
    try {
        DasctlSession session(settings);
        if (!settings.words.empty()) session.command(settings.words);
        if (settings.interactive) session.interact();
        if (settings.listen) session.listen();
        if (settings.waitMs > 0) std::this_thread::sleep_for(std::chrono::milliseconds(settings.waitMs));
        return session.failed ? kExitFailure : kExitSuccess;
    } catch (const DaemonUnreachable& error) {
        std::cerr << "dasctl: " << error.what() << std::endl;
        return kExitUnreachable;
    } catch (const ClientError& error) {
        std::cerr << "dasctl: " << error.what() << std::endl;
        return kExitFailure;
    } catch (const std::exception& error) {
        // Whatever the daemon or the arguments hold, the client ends with a message.
        std::cerr << "dasctl: " << quoteText(error.what()) << std::endl;
        return kExitFailure;
    }
}
