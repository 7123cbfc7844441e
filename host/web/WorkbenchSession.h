#pragma once
// The browser workbench's phone: the service on the in-process platform and virtual clock,
// driven exactly as das-sim drives it. Every action is a das-sim script command, run by das-sim's
// own runner and kept as the session's script; the trace is das-sim's output. A small dialler
// plays the phone's part: lifting the handset (or a key pressed on hook) starts dialling, each
// key sends the digits so far, a number the service completes or a timer sends is dialled, and
// the phone then waits to be hung up. What the session reports about decisions and timers it
// reads from the service's own trace and the platform's clock; it decides nothing itself.
// Single-threaded: one session per service, as the service allows one instance at a time.

#include <memory>
#include <optional>
#include <sstream>
#include <string>
#include <vector>

#include "HostConfig.h"
#include "PluginLibrary.h"
#include "ServiceTrace.h"

class ScriptRunner;

// One mark on the session's timeline, in virtual milliseconds.
struct TimelineEvent {
    // key: a key pressed; timer: a timer from armed to expired, stopped or restarted (outcome
    // "running" while it runs); tone: a tone from play to stop; dialled: what the phone dials;
    // event: any other event of the service to the dialler.
    std::string kind;
    long long startMs = 0;
    long long endMs = -1;  // -1: an instant, or still running
    std::string label;    // the key, the timer's or tone's name, the number, the event's text
    std::string detail;   // a timer's length ("5000 ms")
    std::string outcome;  // a timer's: running, expired, stopped, restarted; a tone's: playing, stopped
};

// A line the phone can go off hook on, and what the configuration makes of it.
struct PhoneLine {
    std::string line;
    std::string kind;         // "hot line", "warm line", "ordinary line"
    std::string destination;  // of a hot or warm line
};

class WorkbenchSession {
public:
    // Makes the phone of `configText` (das-sim's configuration file form) on a virtual clock at
    // 0 ms. As in das-sim, the service starts (and the configuration's plan is written) with
    // the first command that needs it, or with a script's "init". Throws JsonTextError (with
    // line and column) for a configuration das-sim refuses, PluginError when the plug-in
    // cannot be used.
    WorkbenchSession(const std::string& configText, std::unique_ptr<PluginLibrary> plugin);
    ~WorkbenchSession();
    WorkbenchSession(const WorkbenchSession&) = delete;
    WorkbenchSession& operator=(const WorkbenchSession&) = delete;

    // The phone. Each is one or two script commands; what does not fit the phone's state now (a
    // key after the number went, hanging up a phone on hook) does nothing.
    void liftHandset(const std::string& line);
    // A key: a digit, "*" or "#"; a letter is the key it is printed on (ABC: 2, ... WXYZ: 9).
    void press(char key);
    // Sends the digits so far as complete (the phone's dial key).
    void dialNow();
    void hangUp();
    void setLocked(bool locked);

    // The clock: forward by `milliseconds`; to the moment the next timer falls due (nothing
    // when none runs); until no timer runs any more (at most ten minutes).
    void advance(long long milliseconds);
    void advanceToNextTimer();
    void runUntilIdle();

    // Runs das-sim script commands in this session, one line after the other (so that the
    // decision on each dialstringrequest is read, as for a key); the status is das-sim's (0; 1
    // an expectation failed in the session; 2 a script error, which ends the script, said in
    // errors() with the script's line).
    int runScript(const std::string& script);

    // Everything the page shows, as one JSON object (docs/web.md lists its members).
    std::string stateJson() const;

    long long now() const;
    const std::string& trace() const { return m_trace; }
    const std::string& script() const { return m_script; }
    const std::string& errors() const { return m_errors; }
    const std::string& dialled() const { return m_dialled; }
    const std::vector<TimelineEvent>& timeline() const { return m_timeline; }
    // What the service decided on the last dialstringrequest (a key, the dial key or a
    // script's); nothing before the first.
    const std::optional<DigitDecision>& lastDecision() const { return m_lastDecision; }

private:
    enum class Phase { kOnHook, kDialling, kDialled, kTimedOut };

    HostConfig m_config;
    std::ostringstream m_output;
    std::unique_ptr<ScriptRunner> m_runner;
    ServiceTimers m_timers;
    std::vector<std::pair<long long, std::string>> m_pendingTrace;  // (time, text) since the last command
    std::vector<std::string> m_commandTrace;                       // the trace texts of the last command
    std::string m_trace;
    std::size_t m_traceRead = 0;
    std::string m_script;
    std::string m_errors;
    std::vector<TimelineEvent> m_timeline;
    std::vector<std::pair<int, std::string>> m_timerIds;  // (timer id, name) as last begun
    std::optional<DigitDecision> m_lastDecision;
    std::vector<PhoneLine> m_lines;
    Phase m_phase = Phase::kOnHook;
    bool m_onHookDialling = false;
    bool m_diallerSet = false;
    bool m_locked = false;
    std::string m_line;
    std::string m_digits;
    std::string m_dialled;
    int m_status = 0;

    int execute(const std::string& commands, std::size_t firstLine = 1);
    void ensureDialler();
    void sendDigits(bool complete);
    void readTrace();
    void readOutput();
    void readOutputLine(long long at, const std::string& client, const std::string& kind, const std::string& text);
    void timerLine(long long at, const TimerLine& line);
    void closeBar(const std::string& kind, const std::string& label, long long at, const std::string& outcome);
    void dial(const std::string& number, long long at);
    std::string timerName(int timerId) const;
};
