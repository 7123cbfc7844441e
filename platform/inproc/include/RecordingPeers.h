#pragma once
// Peer services for tests and the simulator: they answer as a phone's services would and
// record every call. Thread-safe.

#include <map>
#include <mutex>
#include <string>
#include <vector>

#include "ClockServiceIfc.h"
#include "DataAccessServiceIfc.h"
#include "Executable.h"
#include "MediaControlServiceIfc.h"
#include "TeamServiceIfc.h"

// A peer service that needs no start-up of its own.
class PassivePeer : public Executable {
public:
    void init(Context& context) override;
    void shutdown() override;
};

// Keeps the dial plan as written and answers read requests from it: an update or write
// replaces the stored body of its schema, a delete empties it, a read returns it.
class RecordingDataAccessService : public PassivePeer, public DataAccessServiceIfc {
public:
    std::string processRequest(const std::string& request) override;

    std::vector<std::string> requests() const;
    void clearRequests();
    // From now on a read of `schemaName` is answered with `response` as it stands.
    void setReadResponse(const std::string& schemaName, const std::string& response);
    // The body stored for a schema (what a read returns inside the schema element).
    std::string storedBody(const std::string& schemaName) const;

private:
    mutable std::mutex m_mutex;
    std::vector<std::string> m_requests;
    std::map<std::string, std::string> m_bodies;
    std::map<std::string, std::string> m_cannedReads;
};

// Records "play <description> <a> <b> <c>" and "stop <description>".
class RecordingMediaControl : public PassivePeer, public MediaControlServiceIfc {
public:
    bool playTone(const std::string& toneDescription, int audioPath, int volume, int durationMs) override;
    bool stopTone(const std::string& toneDescription) override;
    std::vector<std::string> calls() const;
    void clearCalls();

private:
    mutable std::mutex m_mutex;
    std::vector<std::string> m_calls;
};

// Line type and destination per line (type 0 and "??" for lines not set); records queries.
class RecordingTeamService : public PassivePeer, public TeamServiceIfc {
public:
    void setLine(const std::string& line, int type, const std::string& destination);
    int getHotWarmLineType(const std::string& line) override;
    std::string getHotWarmLineDestination(const std::string& line) override;
    std::vector<std::string> queries() const;

private:
    mutable std::mutex m_mutex;
    std::map<std::string, std::pair<int, std::string>> m_lines;
    std::vector<std::string> m_queries;
};

// Always tells the same date and time.
class FixedClock : public PassivePeer, public ClockServiceIfc {
public:
    FixedClock(int year, int month, int day, int hour, int minute, int second);
    void getTime(int& hour, int& minute, int& second) override;
    void getDate(int& day, int& month, int& year) override;

private:
    int m_year, m_month, m_day, m_hour, m_minute, m_second;
};
