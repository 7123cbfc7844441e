#include "DecisionExplainer.h"

#include "JsonText.h"
#include "ServiceSession.h"

namespace {

constexpr long long kLongestRunMs = 10LL * 60 * 1000;
constexpr long long kClockStepMs = 10;

bool startsWith(const std::string& text, const std::string& prefix) { return text.rfind(prefix, 0) == 0; }

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
    ServiceTimers m_timers;
    Explanation m_explanation;

    void nameTimers(const std::vector<std::string>& trace)
    {
        for (const auto& line : trace) m_timers.learn(line);
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
        static_cast<DigitDecision&>(step) = readDecision(m_session.takeTrace(), m_timers);
        m_session.takeEvents();
        if (!step.sent.empty()) {
            m_explanation.dialled = step.sent;
            m_explanation.dialledAtMs = 0;
            m_explanation.because = step.row > 0 ? "row " + std::to_string(step.row) + " decided it at once" : "sent at once";
        }
        m_explanation.steps.push_back(std::move(step));
    }

    void runUntilDialled()
    {
        InProcessContext& context = m_session.context();
        const long long start = context.now();
        while (context.now() - start < kLongestRunMs) {
            context.advance(kClockStepMs);
            std::string expired;
            for (const auto& line : m_session.takeTrace()) {
                if (const auto name = expiredTimerName(line)) expired = *name;
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
