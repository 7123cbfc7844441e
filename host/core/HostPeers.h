#pragma once
// Peer services of the host programs that report what the service asks of them: the
// data access service seen from outside, the media control service, and the real clock.

#include <functional>
#include <string>

#include "ClockServiceIfc.h"
#include "DataAccessServiceIfc.h"
#include "Executable.h"
#include "MediaControlServiceIfc.h"

// Passes every request to the real store and reports the request with its response.
class ObservedDataAccessService : public Executable, public DataAccessServiceIfc {
public:
    using Observer = std::function<void(const std::string& request, const std::string& response)>;
    ObservedDataAccessService(DataAccessServiceIfc& store, Observer observer)
        : m_store(store), m_observer(std::move(observer))
    {
    }
    void init(Context&) override {}
    void shutdown() override {}
    std::string processRequest(const std::string& request) override
    {
        std::string response = m_store.processRequest(request);
        if (m_observer) m_observer(request, response);
        return response;
    }

private:
    DataAccessServiceIfc& m_store;
    Observer m_observer;
};

// Reports each tone played or stopped as "play "DESCRIPTION" A B C" / "stop "DESCRIPTION"".
class ReportingMediaControl : public Executable, public MediaControlServiceIfc {
public:
    using Reporter = std::function<void(const std::string& line)>;
    explicit ReportingMediaControl(Reporter reporter) : m_reporter(std::move(reporter)) {}
    void init(Context&) override {}
    void shutdown() override {}
    bool playTone(const std::string& toneDescription, int audioPath, int volume, int durationMs) override;
    bool stopTone(const std::string& toneDescription) override;

private:
    Reporter m_reporter;
};

// The machine's local date and time.
class SystemClock : public Executable, public ClockServiceIfc {
public:
    void init(Context&) override {}
    void shutdown() override {}
    void getTime(int& hour, int& minute, int& second) override;
    void getDate(int& day, int& month, int& year) override;
};
