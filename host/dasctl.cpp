// dasctl: a client of dasd. Sends requests and prints the replies, listens for events,
// talks interactively, and changes, writes and reads configuration.

#include <chrono>
#include <iostream>
#include <mutex>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include <CLI/CLI.hpp>

#include "DasClient.h"
#include "TextQuote.h"
#include "UnixSocket.h"

namespace {

std::mutex g_outputMutex;

void print(const std::string& line)
{
    std::lock_guard<std::mutex> lock(g_outputMutex);
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

    // Runs one command given as words; false for a usage fault.
    bool command(const std::vector<std::string>& words)
    {
        const std::string& verb = words.front();
        if (verb == "set") {
            if (words.size() != 3) return false;
            set(words[1], words[2]);
        } else if (verb == "mgmt-set") {
            if (words.size() != 2) return false;
            managementSet(words[1]);
        } else if (verb == "mgmt-get") {
            if (words.size() < 2) return false;
            managementGet({words.begin() + 1, words.end()});
        } else {
            for (auto it = words.begin() + (verb == "send" ? 1 : 0); it != words.end(); ++it) send(*it);
        }
        return true;
    }

    void interact()
    {
        std::string line;
        while (m_client.isOpen() && std::getline(std::cin, line)) {
            if (line.empty()) continue;
            if (line[0] != ':') {
                send(line);
                continue;
            }
            const auto blank = line.find(' ');
            const std::string verb = line.substr(1, blank == std::string::npos ? std::string::npos : blank - 1);
            const std::string rest = blank == std::string::npos ? std::string() : line.substr(blank + 1);
            if (verb == "quit") return;
            if (verb == "answer") {
                m_settings.answer = rest;
            } else if (verb == "set" && rest.find(' ') != std::string::npos) {
                set(rest.substr(0, rest.find(' ')), rest.substr(rest.find(' ') + 1));
            } else if (verb == "mgmt-set") {
                managementSet(rest);
            } else if (verb == "mgmt-get") {
                std::vector<std::string> roots;
                std::istringstream words(rest);
                for (std::string root; words >> root;) roots.push_back(root);
                managementGet(roots);
            } else {
                print("error: commands are :set KEY VALUE, :mgmt-set JSON, :mgmt-get ROOT..., :answer TEXT, :quit");
            }
        }
    }

    void listen() { m_client.waitUntilClosed(); }

    // A management message was refused.
    bool failed = false;

private:
    Settings& m_settings;
    DasClient m_client;

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

}  // namespace

// An exception that escapes main is a programming error (the option set-up) and ends the
// program with a message, which is what it should do.
// NOLINTNEXTLINE(bugprone-exception-escape)
int main(int argc, char** argv)
{
    CLI::App app{"A client of dasd.\n"
                 "  dasctl [options] [send] REQUEST...   send requests, print the replies\n"
                 "  dasctl [options] set KEY VALUE        change an item and notify the service\n"
                 "  dasctl [options] mgmt-set JSON        management write of root items\n"
                 "  dasctl [options] mgmt-get ROOT...     management read\n"
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
