#include "ServiceTrace.h"

#include <cstdlib>
#include <iterator>

namespace {

const char* const kTimerNames[] = {"Initial Digit", "Party Details", "Auto Dial", "Dial Plan", "Extended Initial Digit"};

bool startsWith(const std::string& text, const std::string& prefix) { return text.rfind(prefix, 0) == 0; }

// The whole number at the start of `text` (0 when there is none): the service writes them
// with %d, so they fit an int.
int leadingNumber(const char* text) { return static_cast<int>(std::strtol(text, nullptr, 10)); }

// The whole number after `label` in `text`; `otherwise` when the label is missing.
int numberAfter(const std::string& text, const std::string& label, int otherwise)
{
    const std::size_t at = text.find(label);
    return at == std::string::npos ? otherwise : leadingNumber(text.c_str() + at + label.size());
}

// What one "action = ..." line means.
std::string decisionFor(const std::string& action)
{
    static const std::map<std::string, std::string> kDecisions = {
        {"DIAL_PLAN_ACTION_NONE", "needs more digits"},
        {"DIAL_PLAN_ACTION_START_TIMER", "complete once the dial plan timer expires"},
        {"DIAL_PLAN_ACTION_START_TIMER_EMERGENCY", "an emergency number, complete once the dial plan timer expires"},
        {"DIAL_PLAN_ACTION_START_TIMER_LOCKBYPASS", "a lock-bypass number, complete once the dial plan timer expires"},
        {"DIAL_PLAN_ACTION_SEND", "complete: sent at once"},
        {"DIAL_PLAN_ACTION_SEND_EMERGENCY", "an emergency number: sent at once"},
        {"DIAL_PLAN_ACTION_SEND_LOCKBYPASS", "a lock-bypass number: sent at once"},
    };
    const auto found = kDecisions.find(action);
    return found == kDecisions.end() ? action : found->second;
}

}  // namespace

std::optional<TimerLine> parseTimerLine(const std::string& text)
{
    static const std::pair<const char*, TimerLine::Operation> kOperations[] = {
        {"makeTimer details = ", TimerLine::Operation::kMake},
        {"beginTimer details = ", TimerLine::Operation::kBegin},
        {"+ DigitAnalysisService::endTimer details = ", TimerLine::Operation::kEnd},
    };
    for (const auto& [prefix, operation] : kOperations) {
        const std::string start(prefix);
        if (!startsWith(text, start)) continue;
        TimerLine line{operation, text.substr(start.size(), text.find(' ', start.size()) - start.size())};
        line.durationMs = numberAfter(text, "(duration = ", 0);
        line.timerId = numberAfter(text, "timerID = ", -1);
        line.wasRunning = numberAfter(text, "timerRunning = ", 0) != 0;
        return line;
    }
    return std::nullopt;
}

std::optional<std::string> expiredTimerName(const std::string& text)
{
    const std::string prefix = "timerEvent(timerId): ";
    const std::size_t end = text.find(" Time Out Event");
    if (!startsWith(text, prefix) || end == std::string::npos || end < prefix.size()) return std::nullopt;
    return text.substr(prefix.size(), end - prefix.size());
}

std::optional<int> expiredTimerId(const std::string& text)
{
    const std::string prefix = "timerEvent(timerId = ";
    if (!startsWith(text, prefix) || text.back() != ')') return std::nullopt;
    return leadingNumber(text.c_str() + prefix.size());
}

void ServiceTimers::learn(const std::string& text)
{
    if (m_names.size() == std::size(kTimerNames)) return;
    const auto line = parseTimerLine(text);
    if (line && line->operation == TimerLine::Operation::kMake && m_names.count(line->record) == 0)
        m_names[line->record] = kTimerNames[m_names.size()];
}

std::string ServiceTimers::name(const std::string& record) const
{
    const auto found = m_names.find(record);
    return found == m_names.end() ? "a timer" : found->second;
}

DigitDecision readDecision(const std::vector<std::string>& trace, const ServiceTimers& timers)
{
    DigitDecision step;
    int examined = 0;
    bool ended = false;
    bool terminator = false;
    for (const auto& line : trace) {
        if (startsWith(line, "valid entry found at index ")) {
            examined = leadingNumber(line.c_str() + 27) + 1;
        } else if (line == "no dial plan active") {
            step.decision = "no decision: the dial plan is not enabled";
        } else if (line == "end of entry list reached") {
            ended = true;
        } else if (line.find("last digit is terminator") != std::string::npos) {
            terminator = true;
        }
        const std::size_t action = line.find("action = ");
        if (action != std::string::npos && line.find("DIAL_PLAN_ACTION") != std::string::npos) {
            step.decision = decisionFor(line.substr(action + 9));
            step.row = examined;
            if (terminator) step.decision = "ends with the terminator: " + step.decision;
        } else if (const auto timer = parseTimerLine(line)) {
            if (timer->operation == TimerLine::Operation::kBegin) {
                step.timersArmed.push_back(timers.name(timer->record) + " " + std::to_string(timer->durationMs) + " ms");
            } else if (timer->operation == TimerLine::Operation::kEnd && timer->wasRunning) {
                step.timersStopped.push_back(timers.name(timer->record));
            }
        }
    }
    if (step.decision == decisionFor("DIAL_PLAN_ACTION_NONE") && step.row > 0) {
        step.decision += ": row " + std::to_string(step.row) + " may still match";
    } else if (step.decision.empty()) {
        step.decision = examined > 0 || ended ? "no row decides" : "no decision";
    }
    return step;
}
