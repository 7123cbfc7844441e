#include "ScriptRunner.h"

#include <algorithm>
#include <cctype>
#include <istream>
#include <ostream>
#include <regex>
#include <stdexcept>

#include "Executable.h"
#include "FrameworkContext.h"
#include "InvokerResponse.h"
#include "Logging.h"
#include "MgmtAgentIfc.h"
#include "ProxyRequest.h"
#include "TextQuote.h"

namespace {
bool isBlank(char c) { return c == ' ' || c == '\t'; }

// Splits "WORD REST" at the first blank: REST is everything after that one blank.
void splitWord(const std::string& text, std::string& word, std::string& rest)
{
    const auto blank = text.find(' ');
    word = text.substr(0, blank);
    rest = blank == std::string::npos ? std::string() : text.substr(blank + 1);
}
}  // namespace

// A fault in the script, at a column of its line when one can be named.
struct ScriptRunner::ScriptError : std::runtime_error {
    ScriptError(const std::string& message, std::size_t atColumn = 0) : std::runtime_error(message), column(atColumn) {}
    std::size_t column;
};

// The request channel of one client's event proxy: events and requests become output lines.
class ScriptRunner::ClientChannel : public ProxyRequest {
public:
    ClientChannel(ScriptRunner& runner, std::string client) : m_runner(runner), m_client(std::move(client)) {}
    void setMessageFormat(const std::string& format) override { m_format = format; }
    void sendEvent(const std::string& message) override { m_runner.emit(m_client + " event " + quoteText(message)); }
    void sendRequest(const std::string& request, std::string& reply) override
    {
        m_runner.emit(m_client + " request " + quoteText(request));
        reply = m_runner.m_answers[m_client];
        m_runner.emit(m_client + " answer " + quoteText(reply));
    }
    FrameworkContext* getFrameworkContext() override { return &m_runner.m_context; }

private:
    ScriptRunner& m_runner;
    std::string m_client;
    std::string m_format;
};

// The reply channel of one request.
class ScriptRunner::Response : public InvokerResponse {
public:
    Response(ScriptRunner& runner, std::string client) : m_runner(runner), m_client(std::move(client)) {}
    void sendResponse(const char* data, int length) override
    {
        const std::string text = data != nullptr && length > 0 ? std::string(data, static_cast<std::size_t>(length)) : "";
        m_runner.emit((m_client.empty() ? "-" : m_client) + " reply " + quoteText(text));
    }
    void responseComplete() override { ++completions; }
    void getSenderName(std::string& name) override { name = m_client; }
    int completions = 0;

private:
    ScriptRunner& m_runner;
    std::string m_client;
};

ScriptRunner::ScriptRunner(std::unique_ptr<PluginLibrary> plugin, const HostConfig& config, std::optional<int> logLevel,
                           std::ostream& out, bool quiet)
    : m_out(out),
      m_quiet(quiet),
      m_logLevel(logLevel),
      m_config(config),
      m_host(std::move(plugin), PluginHostParts{m_context, m_database, m_clock,
                                                [this](const std::string& request, const std::string& response) {
                                                    emit("das " + quoteText(request) + " -> " + quoteText(response));
                                                },
                                                [this](const std::string& line) { emit("tone " + line); }})
{
    platformlog::setThreshold(m_logLevel.value_or(0));
    platformlog::setSink([this](const LogRecord& record) { logLine(record); });
    m_host.configStore().setUpdateObserver([this](const std::string& text) { emit("config-update " + quoteText(text)); });
    applyConfig(m_config, true);
}

ScriptRunner::~ScriptRunner()
{
    // The service borrows the proxies: it goes first.
    m_host.stopService();
    m_proxies.clear();
    platformlog::setSink({});
    platformlog::setThreshold(platformlog::kDefaultThreshold);
}

void ScriptRunner::emit(const std::string& line)
{
    std::string text = '@' + std::to_string(m_context.now()) + ' ' + line;
    if (!m_quiet) m_out << text << '\n';
    if (m_unread.size() == kMaxUnreadLines) m_unread.pop_front();
    m_unread.push_back(std::move(text));
}

void ScriptRunner::listenToTrace(TraceListener listener)
{
    m_traceListener = std::move(listener);
    platformlog::setThreshold(m_traceListener ? platformlog::kTraceLevel : m_logLevel.value_or(0));
}

void ScriptRunner::logLine(const LogRecord& record)
{
    if (m_traceListener) m_traceListener(record.level, record.text);
    if (!m_logLevel || record.level > *m_logLevel) return;
    emit("log " + std::to_string(record.level) + " " + record.sourceFile + " " + quoteText(stablePointers(record.text)));
}

// Addresses differ from run to run; each distinct one is shown as <ptrN> in order of appearance.
std::string ScriptRunner::stablePointers(const std::string& text)
{
    static const std::regex pointer("0x[0-9a-f]{6,16}");
    std::string result;
    auto last = text.cbegin();
    for (std::sregex_iterator it(text.begin(), text.end(), pointer), end; it != end; ++it) {
        result.append(last, text.cbegin() + it->position());
        auto& name = m_pointerNames[it->str()];
        if (name.empty()) name = "<ptr" + std::to_string(m_pointerNames.size()) + ">";
        result += name;
        last = text.cbegin() + it->position() + it->length();
    }
    result.append(last, text.cend());
    return result;
}

int ScriptRunner::run(std::istream& script, const std::string& scriptName, std::ostream& err, std::size_t firstLine)
{
    m_err = &err;
    m_scriptName = scriptName;
    std::string line;
    for (std::size_t number = firstLine; std::getline(script, line); ++number) {
        m_lineNumber = number;
        if (!line.empty() && line.back() == '\r') line.pop_back();
        std::size_t start = 0;
        while (start < line.size() && isBlank(line[start])) ++start;
        if (start == line.size() || line[start] == '#') continue;
        std::string command;
        std::string argument;
        splitWord(line.substr(start), command, argument);
        const std::size_t argumentColumn = start + command.size() + 2;
        try {
            execute(command, argument, argumentColumn);
        } catch (const ScriptError& error) {
            m_out.flush();
            err << scriptName << ':' << number;
            if (error.column > 0) err << ':' << error.column;
            err << ": " << error.what() << std::endl;
            return 2;
        }
    }
    m_out.flush();
    return m_failedExpectations > 0 ? 1 : 0;
}

const ScriptRunner::Command ScriptRunner::kCommands[9] = {
    {"config", "JSON", "merge a configuration fragment into the store, without notification",
     &ScriptRunner::configure},
    {"init", "", "start the service (implicit before the first send, notify, mgmt-set or mgmt-get)",
     &ScriptRunner::initialise},
    {"send", "CLIENT TEXT", "a request from CLIENT (\"-\": no sender name)", &ScriptRunner::sendFromClient},
    {"answer", "CLIENT TEXT", "what CLIENT answers to its proxy's requests from now on", &ScriptRunner::setAnswer},
    {"wait", "MS", "advance the clock, delivering due expiries in order", &ScriptRunner::advanceClock},
    {"notify", "JSON", "store the values, then notify the service of those root items", &ScriptRunner::notify},
    {"mgmt-set", "JSON", "management write of root items, in one store transaction", &ScriptRunner::managementSet},
    {"mgmt-get", "ROOT...", "management read of those roots", &ScriptRunner::managementGet},
    {"expect", "LINE|/REGEX/", "a line printed since the last expected one is LINE, or matches REGEX; else exit 1",
     &ScriptRunner::expectLine},
};

std::string ScriptRunner::commandHelp()
{
    std::string lines;
    for (const Command& command : kCommands) {
        std::string synopsis = std::string(command.name) + (*command.argument != '\0' ? " " : "") + command.argument;
        synopsis.resize(std::max<std::size_t>(synopsis.size() + 1, 22), ' ');
        lines += (lines.empty() ? "  " : "\n  ") + synopsis + command.help;
    }
    return lines;
}

void ScriptRunner::execute(const std::string& command, const std::string& argument, std::size_t argumentColumn)
{
    for (const Command& row : kCommands) {
        if (command == row.name) return (this->*row.run)(argument, argumentColumn);
    }
    throw ScriptError("unknown command \"" + command + "\"");
}

template <class Read>
auto ScriptRunner::readJson(Read read, const std::string& json, std::size_t column) -> decltype(read(json))
{
    try {
        return read(json);
    } catch (const JsonTextError& error) {
        throw ScriptError(error.what(), column + static_cast<std::size_t>(error.column()) - 1);
    }
}

void ScriptRunner::configure(const std::string& json, std::size_t column)
{
    applyConfig(readJson(parseHostConfig, json, column), false);
}

void ScriptRunner::initialise(const std::string& argument, std::size_t)
{
    if (!argument.empty()) throw ScriptError("init takes no argument");
    if (m_host.started()) throw ScriptError("the service is already started");
    start();
}

void ScriptRunner::sendFromClient(const std::string& argument, std::size_t)
{
    std::string client;
    std::string text;
    splitWord(argument, client, text);
    if (client.empty()) throw ScriptError("send needs a client name (\"-\" for none)");
    send(client == "-" ? std::string() : client, text);
}

void ScriptRunner::setAnswer(const std::string& argument, std::size_t)
{
    std::string client;
    std::string text;
    splitWord(argument, client, text);
    if (client.empty()) throw ScriptError("answer needs a client name (\"-\" for none)");
    m_answers[client] = text;
}

void ScriptRunner::advanceClock(const std::string& milliseconds, std::size_t)
{
    if (milliseconds.empty() || milliseconds.find_first_not_of("0123456789") != std::string::npos ||
        milliseconds.size() > 15) {
        const bool negative = !milliseconds.empty() && milliseconds[0] == '-';
        throw ScriptError(negative ? "wait cannot go back in time: " + milliseconds
                                   : "wait needs a number of milliseconds, not \"" + milliseconds + "\"");
    }
    m_context.advance(std::stoll(milliseconds));
}

void ScriptRunner::applyConfig(const HostConfig& fragment, bool initial)
{
    if (!initial && fragment.hasDialPlan) {
        if (m_host.started()) throw ScriptError("the service is running: write a dial plan with mgmt-set");
        m_config.dialPlan = fragment.dialPlan;
        m_config.hasDialPlan = true;
    }
    m_host.applyConfig(fragment);
}

void ScriptRunner::ensureStarted()
{
    if (!m_host.started()) start();
}

void ScriptRunner::start()
{
    try {
        m_host.startService();
    } catch (const PluginError& error) {
        throw ScriptError(error.what());
    }
    if (m_config.hasDialPlan) {
        ManageableData plan = m_config.dialPlan;
        emit(std::string("mgmt-set ") + (writeThroughManagement(plan) ? "true" : "false"));
    }
}

Executable* ScriptRunner::proxyFor(const std::string& client)
{
    auto found = m_proxies.find(client);
    if (found != m_proxies.end()) return found->second.get();
    auto channel = std::make_unique<ClientChannel>(*this, client);
    std::unique_ptr<Executable> proxy = m_host.openEventProxy(client, *channel);
    if (!proxy) throw ScriptError("the plug-in created no event proxy");
    m_channels[client] = std::move(channel);
    return (m_proxies[client] = std::move(proxy)).get();
}

void ScriptRunner::send(const std::string& client, const std::string& text)
{
    ensureStarted();
    if (!client.empty()) proxyFor(client);
    Response response(*this, client);
    m_host.invoker().handleMessage(&m_host.service(), text.data(), static_cast<int>(text.size()), &response);
    // A framework would wait for the completion; the script goes on but says so.
    if (response.completions != 1 && m_err != nullptr) {
        *m_err << m_scriptName << ':' << m_lineNumber << ": warning: the request was completed "
               << response.completions << " times instead of once" << std::endl;
    }
}

void ScriptRunner::notify(const std::string& json, std::size_t column)
{
    ManageableData change = readJson(rootItemsFromJson, json, column);
    ensureStarted();
    m_host.configStore().mergeSerialized(change.serialize());
    m_host.agent().manageableDataChanged(change);
}

// The service's answer, as a management client sees it, made true only by a commit of every
// storage request it made; the trace's "das" lines show a request the store refused.
bool ScriptRunner::writeThroughManagement(ManageableData& data)
{
    StoreTransaction transaction(m_database);
    const bool accepted = m_host.agent().setData(data);
    const StoreOutcome outcome = transaction.commit();
    return accepted && outcome.committed;
}

void ScriptRunner::managementSet(const std::string& json, std::size_t column)
{
    ManageableData data = readJson(rootItemsFromJson, json, column);
    ensureStarted();
    emit(std::string("mgmt-set ") + (writeThroughManagement(data) ? "true" : "false"));
}

void ScriptRunner::managementGet(const std::string& roots, std::size_t)
{
    ManageableData data;
    std::size_t start = 0;
    while (start < roots.size()) {
        const auto end = roots.find(' ', start);
        const std::string root = roots.substr(start, end == std::string::npos ? std::string::npos : end - start);
        if (!root.empty()) data.addRootId(root);
        if (end == std::string::npos) break;
        start = end + 1;
    }
    std::vector<std::string> rootIds;
    data.getRootIds(rootIds);
    if (rootIds.empty()) throw ScriptError("mgmt-get needs at least one root name");
    ensureStarted();
    m_host.agent().getData(data);
    for (const auto& [path, value] : data.items()) emit("mgmt-get " + path + " " + quoteText(value));
}

// Reads the lines printed since the last expected one, in order, up to the first that
// matches; a failure leaves them unread for the next expectation.
void ScriptRunner::expectLine(const std::string& expected, std::size_t column)
{
    if (expected.empty()) throw ScriptError("expect needs a line or a /regular expression/");
    const bool isPattern = expected.size() >= 2 && expected.front() == '/' && expected.back() == '/';
    std::regex pattern;
    if (isPattern) {
        try {
            pattern = std::regex(expected.substr(1, expected.size() - 2));
        } catch (const std::regex_error& error) {
            throw ScriptError(std::string("expect: not a regular expression: ") + error.what(), column);
        }
    }
    const auto matches = [&](const std::string& line) {
        return isPattern ? std::regex_search(line, pattern) : line == expected;
    };
    const auto found = std::find_if(m_unread.begin(), m_unread.end(), matches);
    if (found != m_unread.end()) {
        m_unread.erase(m_unread.begin(), found + 1);
        return;
    }
    ++m_failedExpectations;
    if (m_err == nullptr) return;
    m_out.flush();
    *m_err << m_scriptName << ':' << m_lineNumber << ": expect failed: " << expected << '\n';
    if (m_unread.empty()) *m_err << "  seen: nothing since the last expected line\n";
    for (const auto& line : m_unread) *m_err << "  seen: " << line << '\n';
    m_err->flush();
}
