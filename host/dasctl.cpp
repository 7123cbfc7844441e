// dasctl: a client of dasd. Sends requests and prints the replies, listens for events,
// talks interactively, and changes, writes and reads configuration.

#include <chrono>
#include <iostream>
#include <thread>

#include <CLI/CLI.hpp>

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
    CLI11_PARSE(app, argc, argv);

    if (settings.words.empty() && !settings.listen && !settings.interactive) settings.interactive = true;
    try {
        DasctlSession session(settings);
        if (!settings.words.empty() && !session.command(settings.words)) {
            std::cerr << "dasctl: wrong arguments for " << settings.words.front() << "\n" << app.help() << std::endl;
            return 2;
        }
        if (settings.interactive) session.interact();
        if (settings.listen) session.listen();
        if (settings.waitMs > 0) std::this_thread::sleep_for(std::chrono::milliseconds(settings.waitMs));
        return session.failed ? 1 : 0;
    } catch (const ClientError& error) {
        std::cerr << "dasctl: " << error.what() << std::endl;
        return 1;
    } catch (const std::exception& error) {
        // Whatever the daemon or the arguments hold, the client ends with a message.
        std::cerr << "dasctl: " << quoteText(error.what()) << std::endl;
        return 1;
    }
}
