#pragma once
// How the daemon reports: its own lines on standard error ("dasd: ..."), and the fault lines
// of each client, bounded so that a faulty client cannot make the log grow with its traffic.

#include <chrono>
#include <cstddef>
#include <exception>
#include <string>

#include "HostMutex.h"

// The service's log lines of this level or more severe that a client's request causes count
// as that client's fault lines.
constexpr int kFaultLogLevel = 3;

// Writes "dasd: TEXT" on standard error, whole, whatever thread calls.
void say(const std::string& text);

// What an exception says, quoted for a log line.
std::string describe(const std::exception& error);

// What an exception says, or nothing when even that copy fails (out of memory): for
// boundaries, which must not throw themselves.
std::string whatOf(const std::exception& error) noexcept;

// A client's text as a fault line shows it: quoted, and only its start when it is long, so
// that a line costs little however large the text (and memory, when it is short).
std::string excerpt(const std::string& text);

// The fault lines one client causes (frames dropped, answers missing, requests the service
// logs as faulty, refusals): the first kLinesPerWindow of each window of kWindow are
// written, cut to kMaxLineLength; the others are only counted and summed up in one line
// when the next window starts or the client is gone. Any thread.
class FaultLog {
public:
    static constexpr std::size_t kLinesPerWindow = 10;
    static constexpr std::chrono::seconds kWindow{10};
    // A fault line longer than this (a request quoted in it) is cut.
    static constexpr std::size_t kMaxLineLength = 1024;

    explicit FaultLog(std::string who) : m_who(std::move(who)) {}
    ~FaultLog() { flush(); }
    FaultLog(const FaultLog&) = delete;
    FaultLog& operator=(const FaultLog&) = delete;

    // Who the summary line names ("client \"NAME\"").
    void rename(std::string who);
    void report(const std::string& line);
    // Writes the summary of the lines suppressed so far, if any.
    void flush();

    // The fault log of the client whose request the calling message thread runs, if any: the
    // service's own fault lines during that request are that client's.
    static FaultLog*& ofCurrentRequest();

private:
    using SteadyClock = std::chrono::steady_clock;
    HostMutex m_mutex;
    std::string m_who DAS_GUARDED_BY(m_mutex);
    std::size_t m_written DAS_GUARDED_BY(m_mutex) = 0;
    std::size_t m_suppressed DAS_GUARDED_BY(m_mutex) = 0;
    SteadyClock::time_point m_windowStart DAS_GUARDED_BY(m_mutex){};
    bool m_started DAS_GUARDED_BY(m_mutex) = false;

    std::string takeSummary() DAS_REQUIRES(m_mutex);
};
