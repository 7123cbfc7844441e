// dasctl: a client of dasd. Sends requests and prints the replies, listens for events,
// talks interactively, and changes, writes and reads configuration.

#include <algorithm>
#include <chrono>
#include <cstddef>
#include <iostream>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include <CLI/CLI.hpp>

#include "DasClient.h"
#include "HostMutex.h"
#include "TextQuote.h"
#include "UnixSocket.h"

namespace {

HostMutex g_outputMutex;

void print(const std::string& line)
{
    HostLock lock(g_outputMutex);
    std::cout << line << std::endl;
}

struct Settings {
    std::string socketPath = defaultSocketPath();
    std::string name = "dasctl";
    std::string answer;
    int waitMs = 0;
    int timeoutMs = 10000;
    bool listen = false;
    bool interactive = false;
    std::vector<std::string> words;
};

class Session {
public:
    explicit Session(Settings& settings)
        : m_settings(settings),
          m_client(settings.socketPath, settings.name,
                   DasClient::Handlers{[](const std::string& event) { print("event " + quoteText(event)); },
                                       [this](const std::string& request) {
                                           print("request " + quoteText(request));
                                           print("answer " + quoteText(m_settings.answer));
                                           return m_settings.answer;
                                       }},
                   settings.timeoutMs)
    {
    }

    void send(const std::string& request)
    {
        for (const auto& reply : m_client.request(request)) print("reply " + quoteText(reply));
    }

    void set(const std::string& key, const std::string& value)
    {
        if (refusedAsNotUtf8("the key", key) || refusedAsNotUtf8("the value", value)) return;
        reportError(m_client.notify(jsonText(Json{{key, value}})));
    }

    void managementSet(const std::string& json)
    {
        const Json result = m_client.managementSet(json);
        if (reportError(result)) return;
        const bool written = result.value("ok", false);
        print(std::string("mgmt-set ") + (written ? "true" : "false"));
        // Why the plan is not in force: refused by the service, or not stored.
        if (!written && result.contains("reason")) print("reason " + quoteText(result.value("reason", std::string())));
    }

    void managementGet(const std::vector<std::string>& roots)
    {
        for (std::size_t i = 0; i < roots.size(); ++i) {
            if (refusedAsNotUtf8("root name " + std::to_string(i + 1), roots[i])) return;
        }
        const Json result = m_client.managementGet(roots);
        if (reportError(result)) return;
        for (const auto& item : result.at("items")) {
            print("mgmt-get " + item.at(0).get<std::string>() + " " + quoteText(item.at(1).get<std::string>()));
        }
    }

    // Runs one command given as words (the verb first; a first word that is no verb is the
    // first request); false for a usage fault.
    bool command(const std::vector<std::string>& words)
    {
        const Verb* verb = findVerb(words.front(), Form::CommandLine);
        const std::size_t skipped = verb != nullptr ? 1 : 0;
        if (verb == nullptr) verb = &kVerbs[0];
        const std::vector<std::string> arguments(words.begin() + static_cast<std::ptrdiff_t>(skipped), words.end());
        if (arguments.size() < verb->fewestWords || arguments.size() > verb->mostWords) return false;
        verb->run(*this, arguments);
        return true;
    }

    void interact()
    {
        std::string line;
        while (m_client.isOpen() && !m_quit && std::getline(std::cin, line)) {
            if (line.empty()) continue;
            if (line[0] != ':') {
                send(line);
                continue;
            }
            const auto blank = line.find(' ');
            const std::string name = line.substr(1, blank == std::string::npos ? std::string::npos : blank - 1);
            const std::string rest = blank == std::string::npos ? std::string() : line.substr(blank + 1);
            const Verb* verb = findVerb(name, Form::Interactive);
            std::vector<std::string> arguments;
            if (verb == nullptr || !splitRest(verb->interactive, rest, arguments)) {
                print("error: commands are " + interactiveSynopsis());
                continue;
            }
            verb->run(*this, arguments);
        }
    }

    void listen() { m_client.waitUntilClosed(); }

    // A management message was refused.
    bool failed = false;

    // The verbs, one row each: the command line's usage lines and the interactive error
    // message are made from these rows.
    enum class Form { CommandLine, Interactive };
    // How an interactive line's rest becomes the verb's words.
    enum class Split {
        No,           // command line only
        Nothing,      // takes no words
        Whole,        // the rest is one word, blanks and all
        KeyAndValue,  // the first word, then the rest (needs a blank)
        Words,        // words between blanks
    };
    struct Verb {
        const char* name;
        const char* arguments;
        const char* help;
        bool onCommandLine;  // else interactive only
        // The words a command line gives it.
        std::size_t fewestWords;
        std::size_t mostWords;
        Split interactive;
        void (*run)(Session& session, const std::vector<std::string>& words);
    };
    static constexpr std::size_t kAnyNumber = static_cast<std::size_t>(-1);
    static const Verb kVerbs[6];

    // The usage lines of the command-line verbs, for the program's description.
    static std::string usage()
    {
        std::string lines;
        for (const Verb& verb : kVerbs) {
            if (!verb.onCommandLine) continue;
            std::string synopsis = &verb == &kVerbs[0] ? "[" + std::string(verb.name) + "]" : std::string(verb.name);
            synopsis += std::string(" ") + verb.arguments;
            synopsis.resize(std::max<std::size_t>(synopsis.size() + 1, 21), ' ');
            lines += "\n  dasctl [options] " + synopsis + verb.help;
        }
        return lines;
    }

private:
    Settings& m_settings;
    DasClient m_client;
    bool m_quit = false;

    static const Verb* findVerb(const std::string& name, Form form)
    {
        for (const Verb& verb : kVerbs) {
            const bool offered = form == Form::Interactive ? verb.interactive != Split::No : verb.onCommandLine;
            if (offered && name == verb.name) return &verb;
        }
        return nullptr;
    }

    static bool splitRest(Split split, const std::string& rest, std::vector<std::string>& words)
    {
        switch (split) {
        case Split::No: return false;
        case Split::Nothing: return true;
        case Split::Whole: words.push_back(rest); return true;
        case Split::KeyAndValue: {
            const auto blank = rest.find(' ');
            if (blank == std::string::npos) return false;
            words.push_back(rest.substr(0, blank));
            words.push_back(rest.substr(blank + 1));
            return true;
        }
        case Split::Words: {
            std::istringstream stream(rest);
            for (std::string word; stream >> word;) words.push_back(word);
            return true;
        }
        }
        return false;
    }

    static std::string interactiveSynopsis()
    {
        std::string text;
        for (const Verb& verb : kVerbs) {
            if (verb.interactive == Split::No) continue;
            if (!text.empty()) text += ", ";
            text += std::string(":") + verb.name + (*verb.arguments != '\0' ? std::string(" ") + verb.arguments : "");
        }
        return text;
    }

    bool reportError(const Json& result)
    {
        if (!result.contains("error")) return false;
        print("error " + quoteText(result.at("error").get<std::string>()));
        failed = true;
        return true;
    }

    // The daemon reads keys, values and root names inside JSON, which is UTF-8 only: a
    // text that is not is refused here, like a management message the daemon refuses,
    // and nothing is sent.
    bool refusedAsNotUtf8(const std::string& what, const std::string& text)
    {
        const std::size_t invalid = invalidUtf8Offset(text);
        if (invalid == std::string::npos) return false;
        print("error " + quoteText(what + ", byte " + std::to_string(invalid + 1) + ": " + invalidUtf8Reason(text, invalid)));
        failed = true;
        return true;
    }
};

// The first row is the verb a command line without one means.
const Session::Verb Session::kVerbs[6] = {
    {"send", "REQUEST...", "send requests, print the replies", true, 0, kAnyNumber, Split::No,
     [](Session& session, const std::vector<std::string>& words) {
         for (const auto& request : words) session.send(request);
     }},
    {"set", "KEY VALUE", "change an item and notify the service", true, 2, 2, Split::KeyAndValue,
     [](Session& session, const std::vector<std::string>& words) { session.set(words[0], words[1]); }},
    {"mgmt-set", "JSON", "management write of root items", true, 1, 1, Split::Whole,
     [](Session& session, const std::vector<std::string>& words) { session.managementSet(words[0]); }},
    {"mgmt-get", "ROOT...", "management read", true, 1, kAnyNumber, Split::Words,
     [](Session& session, const std::vector<std::string>& words) { session.managementGet(words); }},
    {"answer", "TEXT", "the answer to this client's proxy requests from now on", false, 1, 1, Split::Whole,
     [](Session& session, const std::vector<std::string>& words) { session.m_settings.answer = words[0]; }},
    {"quit", "", "end the session", false, 0, 0, Split::Nothing,
     [](Session& session, const std::vector<std::string>&) { session.m_quit = true; }},
};

}  // namespace

// An exception that escapes main is a programming error (the option set-up) and ends the
// program with a message, which is what it should do.
// NOLINTNEXTLINE(bugprone-exception-escape)
int main(int argc, char** argv)
{
    CLI::App app{"A client of dasd." + Session::usage() +
                 "\n"
                 "  dasctl [options] --listen             print the events for NAME as they arrive\n"
                 "  dasctl [options] -i                   interactive: one request per line"};
    Settings settings;
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
        Session session(settings);
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
