#pragma once
// A framework context on real time: peers looked up as in every context (DirectoryContext),
// and one-shot timers on the monotonic clock whose expiries a timer
// thread delivers as timerEvent(id). Thread-safe.

#include <chrono>
#include <condition_variable>
#include <map>
#include <string>
#include <thread>

#include "DirectoryContext.h"
#include "HostMutex.h"

class RealTimeContext : public DirectoryContext {
public:
    RealTimeContext();
    ~RealTimeContext() override;
    RealTimeContext(const RealTimeContext&) = delete;
    RealTimeContext& operator=(const RealTimeContext&) = delete;

    int createTimer(Executable* owner, int durationMs) override;
    void startTimer(int timerId) override;
    void stopTimer(int timerId) override;
    void resetTimer(int timerId) override;
    void deleteTimer(int timerId) override;

    // Starts and stops the timer thread; no expiry is delivered once stop() returns.
    void start();
    void stop();

    bool timerRunning(int timerId) const;

private:
    using Clock = std::chrono::steady_clock;
    struct Timer {
        Executable* owner;
        int durationMs;
        bool running;
        Clock::time_point deadline;
        long long startSequence;
    };

    mutable HostMutex m_mutex;
    std::condition_variable m_changed;
    std::map<int, Timer> m_timers DAS_GUARDED_BY(m_mutex);
    int m_nextTimerId DAS_GUARDED_BY(m_mutex) = 1;
    long long m_startSequence DAS_GUARDED_BY(m_mutex) = 0;
    bool m_stopping DAS_GUARDED_BY(m_mutex) = false;
    std::thread m_thread;

    void deliverExpiries();
};
