#pragma once
// A framework context on real time: peers registered by interface name, client proxies
// by client name, and one-shot timers on the monotonic clock whose expiries a timer
// thread delivers as timerEvent(id). Thread-safe.

#include <chrono>
#include <condition_variable>
#include <map>
#include <string>
#include <thread>

#include "Executable.h"
#include "FrameworkContext.h"
#include "HostMutex.h"
#include "ThreadSafety.h"

class RealTimeContext : public Context {
public:
    RealTimeContext();
    ~RealTimeContext() override;
    RealTimeContext(const RealTimeContext&) = delete;
    RealTimeContext& operator=(const RealTimeContext&) = delete;

    void registerExecutable(const std::string& interfaceName, Executable* executable);
    // A null proxy, or an empty channel name, removes the entry.
    void registerProxy(const std::string& interfaceName, const std::string& clientName, Executable* proxy);
    void setChannelName(Executable* executable, const std::string& channelName);

    Executable* findExecutable(const std::string& interfaceName) override;
    Executable* findProxy(const std::string& interfaceName, const std::string& clientName) override;
    std::string findChannel(Executable* executable) override;

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

    // Guards the look-up tables and the timers. Never held while an expiry is delivered: the
    // owner drives its timers from timerEvent.
    mutable HostMutex m_mutex;
    std::condition_variable m_changed;
    std::map<std::string, Executable*> m_executables DAS_GUARDED_BY(m_mutex);
    std::map<std::pair<std::string, std::string>, Executable*> m_proxies DAS_GUARDED_BY(m_mutex);
    std::map<Executable*, std::string> m_channels DAS_GUARDED_BY(m_mutex);
    std::map<int, Timer> m_timers DAS_GUARDED_BY(m_mutex);
    int m_nextTimerId DAS_GUARDED_BY(m_mutex) = 1;
    long long m_startSequence DAS_GUARDED_BY(m_mutex) = 0;
    bool m_stopping DAS_GUARDED_BY(m_mutex) = false;
    // Started under the mutex; joined by stop() without it (the timer thread takes it).
    std::thread m_thread;

    void deliverExpiries() DAS_EXCLUDES(m_mutex);
};
