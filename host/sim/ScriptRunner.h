#pragma once
// The simulator's engine: runs a script of commands against the plug-in's service on the
// in-process platform with a virtual clock, and prints every observable event as one
// line "@T ..." with T the virtual time in milliseconds.

#include <deque>
#include <functional>
#include <iosfwd>
#include <map>
#include <memory>
#include <optional>
#include <string>

#include "HostConfig.h"
#include "InProcessContext.h"
#include "Logging.h"
#include "MemoryDataAccessService.h"
#include "PluginHost.h"
#include "RecordingPeers.h"

class Executable;

class ScriptRunner {
public:
    // `logLevel`: print the service's log lines of that level or more severe. `quiet`: print
    // nothing but the failures of expectations and the script's faults.
    ScriptRunner(std::unique_ptr<PluginLibrary> plugin, const HostConfig& config, std::optional<int> logLevel, std::ostream& out,
                 bool quiet = false);
    ~ScriptRunner();
    ScriptRunner(const ScriptRunner&) = delete;
    ScriptRunner& operator=(const ScriptRunner&) = delete;

    // Called with every line the service logs, of any level, as it logs it, besides the lines
    // printed for `logLevel`: for tools that read what the service decided from its trace.
    using TraceListener = std::function<void(int level, const std::string& text)>;
    // Replaces any earlier listener; an empty one stops listening. Makes the service write its
    // trace lines, which costs time but changes nothing the script prints.
    void listenToTrace(TraceListener listener);

    // Runs every command of the script. Returns 0; 1 when an expectation failed (each failure
    // written to `err` as "NAME:LINE: expect failed: ..." with the lines seen); 2 after
    // writing "NAME:LINE: reason" to `err` when a command is wrong, which ends the run.
    // `firstLine` numbers the script's first line, for a script handed over in pieces.
    int run(std::istream& script, const std::string& scriptName, std::ostream& err, std::size_t firstLine = 1);


    // The virtual clock and its timers, for tools that show them; advance it only with "wait".
    const InProcessContext& context() const { return m_context; }

    // The script commands, one line each ("  wait MS   advance the clock..."), made from the
    // command table.
    static std::string commandHelp();

private:
    class ClientChannel;
    class Response;
    struct ScriptError;
    // One script command: its name, its argument, its help text and what runs it.
    struct Command {
        const char* name;
        const char* argument;
        const char* help;
        void (ScriptRunner::*run)(const std::string& argument, std::size_t argumentColumn);
    };
    static const Command kCommands[9];
    // What expect may still read: the lines printed since the last line it matched, at most
    // this many (the oldest go first).
    static constexpr std::size_t kMaxUnreadLines = 10000;

    std::ostream& m_out;
    const bool m_quiet;
    const std::optional<int> m_logLevel;
    TraceListener m_traceListener;
    HostConfig m_config;

    InProcessContext m_context;
    MemoryDataAccessService m_database;
    FixedClock m_clock{2026, 1, 15, 9, 30, 0};
    PluginHost m_host;

    std::map<std::string, std::string> m_answers;
    std::map<std::string, std::unique_ptr<ClientChannel>> m_channels;
    std::map<std::string, std::unique_ptr<Executable>> m_proxies;
    std::map<std::string, std::string> m_pointerNames;
    std::ostream* m_err = nullptr;
    std::deque<std::string> m_unread;
    std::size_t m_failedExpectations = 0;
    std::string m_scriptName;
    std::size_t m_lineNumber = 0;

    void emit(const std::string& line);
    void logLine(const LogRecord& record);
    std::string stablePointers(const std::string& text);

    void execute(const std::string& command, const std::string& argument, std::size_t argumentColumn);
    void applyConfig(const HostConfig& fragment, bool initial);
    void ensureStarted();
    void start();
    void send(const std::string& client, const std::string& text);
    // Reads a command's JSON argument (starting at `column`) with `read`; a fault in it is the
    // script's, at the column where it lies.
    template <class Read>
    static auto readJson(Read read, const std::string& json, std::size_t column) -> decltype(read(json));

    // The commands of the table.
    void configure(const std::string& json, std::size_t column);
    void initialise(const std::string& argument, std::size_t column);
    void sendFromClient(const std::string& argument, std::size_t column);
    void setAnswer(const std::string& argument, std::size_t column);
    void advanceClock(const std::string& milliseconds, std::size_t column);
    void notify(const std::string& json, std::size_t column);
    void managementSet(const std::string& json, std::size_t column);
    void managementGet(const std::string& roots, std::size_t column);
    void expectLine(const std::string& expected, std::size_t column);
    bool writeThroughManagement(ManageableData& data);
    Executable* proxyFor(const std::string& client);
};
