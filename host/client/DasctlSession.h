#pragma once
// dasctl's session with the daemon: runs the verbs of a command line or of interactive input
// over one DasClient connection and prints what comes back, one line each ("reply \"TEXT\"",
// "event \"TEXT\"", "mgmt-set true", "error \"...\""). The verbs are the rows of one table
// with their help; the usage lines of dasctl --help and the interactive error message are
// made from it. Lines go to standard output whole, whatever thread prints them.

#include <cstddef>
#include <string>
#include <vector>

#include "DasClient.h"

struct DasctlSettings {
    std::string socketPath;
    std::string name = "dasctl";
    // What this client's proxy answers to the service's requests.
    std::string answer;
    int waitMs = 0;
    int timeoutMs = 10000;
    bool listen = false;
    bool interactive = false;
    // The command and its arguments.
    std::vector<std::string> words;
};

class DasctlSession {
public:
    // Connects as settings.name; throws ClientError when the daemon cannot be reached or
    // refuses the name. Borrows `settings` (the interactive :answer changes its answer).
    explicit DasctlSession(DasctlSettings& settings);

    // The usage lines of the command-line verbs ("\n  dasctl [options] set KEY VALUE ..."),
    // for the program's description.
    static std::string usage();

    // What is wrong with a command given as words (the verb first; without a verb the words
    // are requests, each of which must begin with a request keyword): a wrong number of
    // words, an unknown first word. "" when nothing is.
    static std::string usageFault(const std::vector<std::string>& words);
    // Runs one command given as words; false, sending nothing, when usageFault finds one.
    // Throws ClientError when the connection fails.
    bool command(const std::vector<std::string>& words);
    // Reads standard input: a line is a request, ":VERB ARGS" a verb, until :quit, the end of
    // the input or of the connection.
    void interact();
    // Blocks until the daemon closes the connection.
    void listen();

    // A request was answered with the invoker's error reply, a management write was not
    // stored (mgmt-set false) or a management message was refused, or a text was not UTF-8.
    bool failed = false;

private:
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
        void (*run)(DasctlSession& session, const std::vector<std::string>& words);
    };
    static constexpr std::size_t kAnyNumber = static_cast<std::size_t>(-1);
    // The first row is the verb a command line without one means.
    static const Verb kVerbs[6];

    DasctlSettings& m_settings;
    DasClient m_client;
    bool m_quit = false;

    void send(const std::string& request);
    void set(const std::string& key, const std::string& value);
    void managementSet(const std::string& json);
    void managementGet(const std::vector<std::string>& roots);

    static const Verb* findVerb(const std::string& name, Form form);
    // The verb the words name, or send when they name none; sets `skipped` to the words the
    // verb's name takes.
    static const Verb& verbOf(const std::vector<std::string>& words, std::size_t& skipped);
    static bool beginsWithRequestKeyword(const std::string& request);
    static bool splitRest(Split split, const std::string& rest, std::vector<std::string>& words);
    static std::string interactiveSynopsis();
    bool reportError(const Json& result);
    bool refusedAsNotUtf8(const std::string& what, const std::string& text);
};
