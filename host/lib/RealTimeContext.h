#pragma once
// A framework context on real time: peers registered by interface name, client proxies
// by client name, and one-shot timers on the monotonic clock whose expiries a timer
// thread delivers as timerEvent(id). Thread-safe.

#include <chrono>
#include <condition_variable>
#include <map>
#include <mutex>
#include <string>
#include <thread>

#include "Executable.h"
#include "FrameworkContext.h"

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

    mutable std::mutex m_mutex;
    std::condition_variable m_changed;
    std::map<std::string, Executable*> m_executables;
    std::map<std::pair<std::string, std::string>, Executable*> m_proxies;
    std::map<Executable*, std::string> m_channels;
    std::map<int, Timer> m_timers;
    int m_nextTimerId = 1;
    long long m_startSequence = 0;
    bool m_stopping = false;
    std::thread m_thread;

    void deliverExpiries();
};
