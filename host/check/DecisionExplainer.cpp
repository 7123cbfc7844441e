#include "DecisionExplainer.h"

#include <map>

#include "JsonText.h"
#include "ServiceSession.h"

namespace {

// The service makes its five timers at start in this order; its trace names each by its
// record's address, which stays the timer's for the service's life.
const char* const kTimerNames[] = {"Initial Digit", "Party Details", "Auto Dial", "Dial Plan", "Extended Initial Digit"};
constexpr long long kLongestRunMs = 10 * 60 * 1000;
constexpr long long kClockStepMs = 10;

bool startsWith(const std::string& text, const std::string& prefix) { return text.rfind(prefix, 0) == 0; }

// "makeTimer details = ADDRESS (duration = D,  timerID = ..." -> ADDRESS and D.
bool timerLine(const std::string& line, const std::string& operation, std::string& address, int& durationMs)
{
    const std::string prefix = operation + " details = ";
    if (!startsWith(line, prefix)) return false;
    const std::size_t end = line.find(' ', prefix.size());
    address = line.substr(prefix.size(), end - prefix.size());
    const std::size_t duration = line.find("(duration = ");
    durationMs = duration == std::string::npos ? 0 : std::stoi(line.substr(duration + 12));
    return true;
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

class Explainer {
public:
    Explainer(const HostConfig& config, const PluginLoader& loadPlugin) : m_session(loadPlugin(), config)
    {
        nameTimers(m_session.takeTrace());
        if (config.hasDialPlan) (void)m_session.writePlan(config.dialPlan);
        const ManageableData enabled = m_session.read({"dial-plan-enabled"});
        for (const auto& [path, value] : enabled.items()) {
            if (path == "dial-plan-enabled/dialPlanEnabled") m_explanation.dialPlanEnabled = value == "true";
        }
        m_session.takeTrace();
    }

    Explanation run(const std::string& digits, bool onHook)
    {
        m_session.request("set_dialler_request");
        // No line: a line may be a hot or warm line, which dials by itself.
        m_session.request(onHook ? "startonhookdiallingrequest" : "startdiallingrequest:,0");
        m_session.takeTrace();
        m_session.takeEvents();
        for (std::size_t i = 1; i <= digits.size() && m_explanation.dialled.empty(); ++i) dial(digits.substr(0, i));
        if (m_explanation.dialled.empty()) runUntilDialled();
        return m_explanation;
    }

private:
    ServiceSession m_session;
    std::map<std::string, std::string> m_timerNames;  // record address -> timer name
    Explanation m_explanation;

    void nameTimers(const std::vector<std::string>& trace)
    {
        std::size_t next = 0;
        for (const auto& line : trace) {
            std::string address;
            int duration = 0;
            if (next < std::size(kTimerNames) && timerLine(line, "makeTimer", address, duration) &&
                m_timerNames.count(address) == 0) {
                m_timerNames[address] = kTimerNames[next++];
            }
        }
    }

    std::string timerName(const std::string& address) const
    {
        const auto found = m_timerNames.find(address);
        return found == m_timerNames.end() ? "a timer" : found->second;
    }

    void dial(const std::string& digits)
    {
        ExplainedDigit step;
        step.digits = digits;
        for (const auto& reply : m_session.request("dialstringrequest:" + digits + ",0")) {
            const std::string prefix = "dialstringresponse:";
            const std::size_t comma = reply.rfind(',');
            if (startsWith(reply, prefix) && comma != std::string::npos && reply.substr(comma) == ",1") {
                step.sent = reply.substr(prefix.size(), comma - prefix.size());
            }
        }
        readTrace(m_session.takeTrace(), step);
        m_session.takeEvents();
        if (!step.sent.empty()) {
            m_explanation.dialled = step.sent;
            m_explanation.dialledAtMs = 0;
            m_explanation.because = step.row > 0 ? "row " + std::to_string(step.row) + " decided it at once" : "sent at once";
        }
        m_explanation.steps.push_back(std::move(step));
    }

    void readTrace(const std::vector<std::string>& trace, ExplainedDigit& step)
    {
        int examined = 0;
        bool ended = false;
        bool terminator = false;
        for (const auto& line : trace) {
            std::string address;
            int duration = 0;
            if (startsWith(line, "valid entry found at index ")) {
                examined = std::stoi(line.substr(27)) + 1;
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
            } else if (timerLine(line, "beginTimer", address, duration)) {
                step.timersArmed.push_back(timerName(address) + " " + std::to_string(duration) + " ms");
            } else if (timerLine(line, "+ DigitAnalysisService::endTimer", address, duration) &&
                       line.find("timerRunning = 1") != std::string::npos) {
                step.timersStopped.push_back(timerName(address));
            }
        }
        if (step.decision == decisionFor("DIAL_PLAN_ACTION_NONE") && step.row > 0) {
            step.decision += ": row " + std::to_string(step.row) + " may still match";
        } else if (step.decision.empty()) {
            step.decision = examined > 0 || ended ? "no row decides" : "no decision";
        }
    }

    void runUntilDialled()
    {
        InProcessContext& context = m_session.context();
        const long long start = context.now();
        while (context.now() - start < kLongestRunMs) {
            context.advance(kClockStepMs);
            std::string expired;
            for (const auto& line : m_session.takeTrace()) {
                if (startsWith(line, "timerEvent(timerId): ") && line.find("Time Out Event") != std::string::npos) {
                    expired = line.substr(21, line.find(" Time Out Event") - 21);
                }
            }
            for (const auto& event : m_session.takeEvents()) {
                if (startsWith(event, "handledialingstarted") || event == "handledialingstoppedevent") continue;
                m_explanation.dialled = event;
                m_explanation.dialledAtMs = context.now() - start;
                m_explanation.because = expired.empty() ? "an event of the service" : "the " + expired + " timer expired";
                return;
            }
        }
    }
};

std::string joined(const std::vector<std::string>& texts)
{
    std::string text;
    for (const auto& piece : texts) text += (text.empty() ? "" : ", ") + piece;
    return text;
}

}  // namespace

Explanation explainDigits(const std::string& digits, const HostConfig& config, bool onHook, const PluginLoader& loadPlugin)
{
    return Explainer(config, loadPlugin).run(digits, onHook);
}

std::string explanationText(const Explanation& explanation)
{
    std::string text;
    if (!explanation.dialPlanEnabled) text += "the dial plan is not enabled: the timers alone decide\n";
    for (const auto& step : explanation.steps) {
        text += step.digits + ": " + step.decision;
        if (step.row > 0 && step.decision.find("row ") == std::string::npos) text += " (row " + std::to_string(step.row) + ")";
        if (!step.timersStopped.empty()) text += "; stops " + joined(step.timersStopped);
        if (!step.timersArmed.empty()) text += "; arms " + joined(step.timersArmed);
        text += "\n";
    }
    if (explanation.dialled.empty()) {
        text += "dials nothing within ten minutes\n";
    } else {
        text += "dials \"" + explanation.dialled + "\" after " + std::to_string(explanation.dialledAtMs) +
                " ms: " + explanation.because + "\n";
    }
    return text;
}

std::string explanationJson(const Explanation& explanation)
{
    Json steps = Json::array();
    for (const auto& step : explanation.steps) {
        steps.push_back(Json{{"digits", step.digits},
                             {"decision", step.decision},
                             {"row", step.row},
                             {"timersArmed", step.timersArmed},
                             {"timersStopped", step.timersStopped},
                             {"sent", step.sent}});
    }
    Json result{{"dialPlanEnabled", explanation.dialPlanEnabled}, {"steps", steps}};
    if (explanation.dialled.empty()) {
        result["dialled"] = nullptr;
    } else {
        result["dialled"] = Json{{"digits", explanation.dialled}, {"afterMs", explanation.dialledAtMs}, {"because", explanation.because}};
    }
    return jsonText(result);
}
