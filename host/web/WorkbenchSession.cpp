#include "WorkbenchSession.h"

#include <algorithm>
#include <cctype>
#include <cstdlib>

#include "JsonText.h"
#include "Logging.h"
#include "ScriptRunner.h"
#include "Serializer.h"
#include "TextQuote.h"

namespace {

const char* const kDialler = "dialler";
constexpr long long kLongestRunMs = 10LL * 60 * 1000;
constexpr int kMostSteps = 10000;

bool startsWith(const std::string& text, const std::string& prefix) { return text.rfind(prefix, 0) == 0; }

// The key a letter is printed on, as on every telephone keypad.
char keyOfLetter(char letter)
{
    static const char* const kKeys = "22233344455566677778889999";
    const int upper = std::toupper(static_cast<unsigned char>(letter));
    return upper >= 'A' && upper <= 'Z' ? kKeys[upper - 'A'] : '\0';
}

std::string lineKind(int type)
{
    if (type == 1 || type == 3) return "hot line";
    if (type == 2 || type == 4) return "warm line";
    return "ordinary line";
}

// The name between <basic> and </basic> in a tone description; "tone" without one.
std::string toneName(const std::string& line)
{
    const std::size_t start = line.find("<basic>");
    const std::size_t end = line.find("</basic>");
    if (start == std::string::npos || end == std::string::npos || end < start) return "tone";
    return line.substr(start + 7, end - start - 7);
}

const char* phaseName(int phase)
{
    static const char* const kNames[] = {"on hook", "dialling", "dialled", "timed out"};
    return kNames[phase];
}

}  // namespace

WorkbenchSession::WorkbenchSession(const std::string& configText, std::unique_ptr<PluginLibrary> plugin)
    : m_config(parseHostConfig(configText))
{
    m_runner = std::make_unique<ScriptRunner>(std::move(plugin), m_config, std::nullopt, m_output);
    m_runner->listenToTrace([this](int level, const std::string& text) {
        if (level == platformlog::kTraceLevel) m_pendingTrace.emplace_back(m_runner->context().now(), text);
    });
    std::string locked;
    m_locked = m_config.storeItems.interogate("phone-lock-active", locked) && locked == "true";
    for (const auto& team : m_config.teamLines) m_lines.push_back({team.line, lineKind(team.type), team.destination});
    // The first line from 2 on that the configuration leaves ordinary, as the demo's line 2.
    std::string ordinary;
    for (int number = 2; ordinary.empty(); ++number) {
        const std::string line = std::to_string(number);
        const bool configured = std::any_of(m_lines.begin(), m_lines.end(), [&](const PhoneLine& known) { return known.line == line; });
        if (!configured) ordinary = line;
    }
    m_lines.insert(m_lines.begin(), PhoneLine{ordinary, "ordinary line", ""});
    m_line = ordinary;
}

WorkbenchSession::~WorkbenchSession()
{
    // The service logs as it goes, into members that go before the runner.
    m_runner->listenToTrace({});
    m_runner.reset();
}

long long WorkbenchSession::now() const { return m_runner->context().now(); }

void WorkbenchSession::ensureDialler()
{
    if (m_diallerSet) return;
    execute(std::string("send ") + kDialler + " set_dialler_request\n");
    m_diallerSet = true;
}

void WorkbenchSession::liftHandset(const std::string& line)
{
    if (m_phase != Phase::kOnHook) return;
    ensureDialler();
    m_line = line;
    m_digits.clear();
    m_dialled.clear();
    m_onHookDialling = false;
    m_phase = Phase::kDialling;
    execute(std::string("send ") + kDialler + " startdiallingrequest:" + line + ",0\n");
}

void WorkbenchSession::press(char key)
{
    if (std::isalpha(static_cast<unsigned char>(key))) key = keyOfLetter(key);
    if (!std::isdigit(static_cast<unsigned char>(key)) && key != '*' && key != '#') return;
    if (m_phase == Phase::kDialled || m_phase == Phase::kTimedOut) return;
    if (m_phase == Phase::kOnHook) {
        ensureDialler();
        m_digits.clear();
        m_dialled.clear();
        m_onHookDialling = true;
        m_phase = Phase::kDialling;
        execute(std::string("send ") + kDialler + " startonhookdiallingrequest\n");
        if (m_phase != Phase::kDialling) return;
    }
    m_digits += key;
    m_timeline.push_back({"key", now(), -1, std::string(1, key), "", ""});
    sendDigits(false);
}

void WorkbenchSession::dialNow()
{
    if (m_phase == Phase::kDialling) sendDigits(true);
}

void WorkbenchSession::sendDigits(bool complete)
{
    execute(std::string("send ") + kDialler + " dialstringrequest:" + m_digits + (complete ? ",1\n" : ",0\n"));
    m_lastDecision = readDecision(m_commandTrace, m_timers);
}

void WorkbenchSession::hangUp()
{
    if (m_phase == Phase::kOnHook) return;
    execute(std::string("send ") + kDialler + " stopdiallingrequest\n");
    m_phase = Phase::kOnHook;
    m_digits.clear();
}

void WorkbenchSession::setLocked(bool locked)
{
    execute(std::string("notify {\"phone-lock-active\": \"") + (locked ? "true" : "false") + "\"}\n");
    m_locked = locked;
}

void WorkbenchSession::advance(long long milliseconds)
{
    // "wait 0" too: it delivers a timer due now.
    if (milliseconds >= 0) execute("wait " + std::to_string(milliseconds) + "\n");
}

void WorkbenchSession::advanceToNextTimer()
{
    const auto running = m_runner->context().runningTimers();
    if (!running.empty()) advance(running.front().dueAtMs - now());
}

void WorkbenchSession::runUntilIdle()
{
    const long long end = now() + kLongestRunMs;
    // Bounded in steps too: a timer that started itself again at 0 ms must not hold the page.
    for (int step = 0; step < kMostSteps; ++step) {
        const auto running = m_runner->context().runningTimers();
        if (running.empty() || running.front().dueAtMs > end) return;
        advance(running.front().dueAtMs - now());
    }
}

int WorkbenchSession::runScript(const std::string& script)
{
    std::istringstream lines(script);
    std::string line;
    std::string errors;
    for (std::size_t number = 1; std::getline(lines, line); ++number) {
        execute(line + "\n", number);
        errors += m_errors;
        if (line.find(" dialstringrequest") != std::string::npos) m_lastDecision = readDecision(m_commandTrace, m_timers);
        if (m_status == 2) break;
    }
    m_errors = errors;
    return m_status;
}

int WorkbenchSession::execute(const std::string& commands, std::size_t firstLine)
{
    m_script += commands;
    std::istringstream in(commands);
    std::ostringstream errors;
    m_status = m_runner->run(in, "script", errors, firstLine);
    m_errors = errors.str();
    readTrace();
    readOutput();
    return m_status;
}

void WorkbenchSession::readTrace()
{
    m_commandTrace.clear();
    for (const auto& [at, text] : m_pendingTrace) {
        m_commandTrace.push_back(text);
        m_timers.learn(text);
        if (const auto line = parseTimerLine(text)) {
            timerLine(at, *line);
        } else if (const auto id = expiredTimerId(text)) {
            closeBar("timer", timerName(*id), at, "expired");
        }
    }
    m_pendingTrace.clear();
}

void WorkbenchSession::timerLine(long long at, const TimerLine& line)
{
    const std::string name = m_timers.name(line.record);
    if (line.operation == TimerLine::Operation::kBegin) {
        auto known = std::find_if(m_timerIds.begin(), m_timerIds.end(), [&](const auto& id) { return id.second == name; });
        if (known == m_timerIds.end()) known = m_timerIds.insert(m_timerIds.end(), {line.timerId, name});
        known->first = line.timerId;
        if (line.wasRunning) closeBar("timer", name, at, "restarted");
        m_timeline.push_back({"timer", at, -1, name, std::to_string(line.durationMs) + " ms", "running"});
    } else if (line.operation == TimerLine::Operation::kEnd && line.wasRunning) {
        closeBar("timer", name, at, "stopped");
    }
}

std::string WorkbenchSession::timerName(int timerId) const
{
    const auto known = std::find_if(m_timerIds.begin(), m_timerIds.end(), [&](const auto& id) { return id.first == timerId; });
    return known == m_timerIds.end() ? "a timer" : known->second;
}

// Ends the last open bar of that kind and label.
void WorkbenchSession::closeBar(const std::string& kind, const std::string& label, long long at, const std::string& outcome)
{
    for (auto event = m_timeline.rbegin(); event != m_timeline.rend(); ++event) {
        if (event->kind == kind && event->label == label && event->endMs < 0) {
            event->endMs = at;
            event->outcome = outcome;
            return;
        }
    }
}

// The lines das-sim printed since the last look: "@T CLIENT KIND "TEXT"" and "@T tone ...".
void WorkbenchSession::readOutput()
{
    const std::string output = m_output.str();
    m_trace = output;
    std::size_t start = m_traceRead;
    for (std::size_t end = output.find('\n', start); end != std::string::npos; end = output.find('\n', start)) {
        const std::string line = output.substr(start, end - start);
        start = end + 1;
        const std::size_t blank = line.find(' ');
        if (line.size() < 2 || line[0] != '@' || blank == std::string::npos) continue;
        const long long at = std::strtoll(line.c_str() + 1, nullptr, 10);
        const std::string rest = line.substr(blank + 1);
        if (startsWith(rest, "tone play ")) {
            m_timeline.push_back({"tone", at, -1, toneName(rest), "", "playing"});
        } else if (startsWith(rest, "tone stop ")) {
            closeBar("tone", toneName(rest), at, "stopped");
        } else {
            const std::size_t first = rest.find(' ');
            const std::size_t second = first == std::string::npos ? first : rest.find(' ', first + 1);
            if (second == std::string::npos) continue;
            if (const auto text = unquoteText(rest.substr(second + 1)))
                readOutputLine(at, rest.substr(0, first), rest.substr(first + 1, second - first - 1), *text);
        }
    }
    m_traceRead = start;
}

// What the dialler makes of a reply or an event, as a phone's dialler does.
void WorkbenchSession::readOutputLine(long long at, const std::string& client, const std::string& kind,
                                      const std::string& text)
{
    if (client != kDialler) return;
    if (kind == "reply") {
        const std::string prefix = "dialstringresponse:";
        const std::size_t comma = text.rfind(',');
        if (startsWith(text, prefix) && comma != std::string::npos && (text.substr(comma) == ",1" || text.substr(comma) == ",2"))
            dial(text.substr(prefix.size(), comma - prefix.size()), at);
        return;
    }
    if (kind != "event") return;
    const std::string timeout = "handleinitialdigittimeoutevent:";
    if (startsWith(text, timeout)) {
        std::size_t position = timeout.size();
        std::string digits;
        if (Serializer::deserialize(text, position, digits, false) && !digits.empty()) {
            dial(digits, at);  // a warm line's destination
        } else {
            m_timeline.push_back({"event", at, -1, "no digit dialled in time", "", ""});
            if (m_phase == Phase::kDialling) m_phase = Phase::kTimedOut;
        }
    } else if (startsWith(text, "handledialingstarted")) {
        m_timeline.push_back({"event", at, -1, "dialling started", "", ""});
        if (m_phase == Phase::kOnHook) m_phase = Phase::kDialling;
    } else if (text == "handledialingstoppedevent") {
        m_timeline.push_back({"event", at, -1, "dialling stopped", "", ""});
        m_phase = Phase::kOnHook;
        m_digits.clear();
    } else if (startsWith(text, "get_") || startsWith(text, "isdiallingok")) {
        m_timeline.push_back({"event", at, -1, text, "", ""});
    } else {
        dial(text, at);  // the inter-digit or dial plan timeout, or a hot line: the number to dial
    }
}

void WorkbenchSession::dial(const std::string& number, long long at)
{
    m_dialled = number;
    m_phase = Phase::kDialled;
    m_timeline.push_back({"dialled", at, -1, number, "", ""});
}

std::string WorkbenchSession::stateJson() const
{
    const long long time = now();
    Json lines = Json::array();
    for (const auto& line : m_lines)
        lines.push_back(Json{{"line", line.line}, {"kind", line.kind}, {"destination", line.destination}});
    Json timers = Json::array();
    for (const auto& timer : m_runner->context().runningTimers()) {
        timers.push_back(Json{{"name", timerName(timer.timerId)},
                              {"durationMs", timer.durationMs},
                              {"remainingMs", timer.dueAtMs - time}});
    }
    Json timeline = Json::array();
    for (const auto& event : m_timeline) {
        timeline.push_back(Json{{"kind", event.kind},
                                {"startMs", event.startMs},
                                {"endMs", event.endMs},
                                {"label", event.label},
                                {"detail", event.detail},
                                {"outcome", event.outcome}});
    }
    Json decision = nullptr;
    if (m_lastDecision) {
        decision = Json{{"decision", m_lastDecision->decision},
                        {"row", m_lastDecision->row},
                        {"timersArmed", m_lastDecision->timersArmed},
                        {"timersStopped", m_lastDecision->timersStopped}};
    }
    return jsonText(Json{{"now", time},
                         {"phase", phaseName(static_cast<int>(m_phase))},
                         {"onHookDialling", m_onHookDialling},
                         {"line", m_line},
                         {"digits", m_digits},
                         {"dialled", m_dialled},
                         {"locked", m_locked},
                         {"lines", lines},
                         {"timers", timers},
                         {"lastDecision", decision},
                         {"timeline", timeline},
                         {"trace", m_trace},
                         {"script", m_script},
                         {"status", m_status},
                         {"errors", m_errors}});
}
