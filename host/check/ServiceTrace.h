#pragma once
// Reading the service's own trace (the texts of its level-5 log lines): which of its five
// timers a line speaks of and what was done with it, and what the service decided on the
// digits of one dialstringrequest. The decision explainer and the browser workbench report
// what the service did this way, read from the service itself rather than worked out beside it.

#include <map>
#include <optional>
#include <string>
#include <vector>

// One line of the service about a timer record: "makeTimer details = ADDRESS (duration = D,
// timerID = N, timerRunning = R, ...", and the same for beginTimer and endTimer.
struct TimerLine {
    enum class Operation { kMake, kBegin, kEnd };
    Operation operation;
    std::string record;  // the record's address, which stays the timer's for the service's life
    int durationMs = 0;
    int timerId = -1;
    bool wasRunning = false;  // timerRunning before the operation
};

// The timer line `text` is; nothing for any other text.
std::optional<TimerLine> parseTimerLine(const std::string& text);

// The id of the timer whose expiry the service starts handling ("timerEvent(timerId = 6)"
// gives 6); nothing for any other text.
std::optional<int> expiredTimerId(const std::string& text);

// The name of the timer whose expiry `text` reports ("timerEvent(timerId): Dial Plan Time Out
// Event" gives "Dial Plan"); nothing for any other text.
std::optional<std::string> expiredTimerName(const std::string& text);

// The service's timers by record, named from its trace: it makes them at start in a fixed
// order (Initial Digit, Party Details, Auto Dial, Dial Plan, Extended Initial Digit).
class ServiceTimers {
public:
    // Learns a name from a makeTimer line of start-up; other lines change nothing.
    void learn(const std::string& text);
    // The name of the timer with that record; "a timer" when none was learnt.
    std::string name(const std::string& record) const;

private:
    std::map<std::string, std::string> m_names;
};

// What the service decided on the digits of one dialstringrequest.
struct DigitDecision {
    std::string decision;  // in words: "needs more digits: row 3 may still match", ...
    int row = 0;           // the deciding row, 1-based; 0: none
    std::vector<std::string> timersArmed;    // "Dial Plan 5000 ms", in the order armed
    std::vector<std::string> timersStopped;  // names, in the order stopped
};

// Reads the decision from the trace texts the service wrote while answering one request.
DigitDecision readDecision(const std::vector<std::string>& trace, const ServiceTimers& timers);
