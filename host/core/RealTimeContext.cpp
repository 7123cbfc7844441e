#include "RealTimeContext.h"

RealTimeContext::RealTimeContext() = default;

RealTimeContext::~RealTimeContext() { stop(); }

int RealTimeContext::createTimer(Executable* owner, int durationMs)
{
    if (owner == nullptr || durationMs < 0) return kNoTimer;
    HostLock lock(m_mutex);
    const int id = m_nextTimerId++;
    m_timers[id] = Timer{owner, durationMs, false, Clock::time_point{}, 0};
    return id;
}

void RealTimeContext::startTimer(int timerId)
{
    HostLock lock(m_mutex);
    const auto it = m_timers.find(timerId);
    if (it == m_timers.end()) return;
    it->second.running = true;
    it->second.deadline = Clock::now() + std::chrono::milliseconds(it->second.durationMs);
    it->second.startSequence = m_startSequence++;
    m_changed.notify_all();
}

void RealTimeContext::stopTimer(int timerId)
{
    HostLock lock(m_mutex);
    const auto it = m_timers.find(timerId);
    if (it != m_timers.end()) it->second.running = false;
    m_changed.notify_all();
}

void RealTimeContext::resetTimer(int timerId)
{
    HostLock lock(m_mutex);
    const auto it = m_timers.find(timerId);
    if (it == m_timers.end() || !it->second.running) return;  // only a running countdown restarts
    it->second.deadline = Clock::now() + std::chrono::milliseconds(it->second.durationMs);
    it->second.startSequence = m_startSequence++;
    m_changed.notify_all();
}

void RealTimeContext::deleteTimer(int timerId)
{
    HostLock lock(m_mutex);
    m_timers.erase(timerId);
    m_changed.notify_all();
}

bool RealTimeContext::timerRunning(int timerId) const
{
    HostLock lock(m_mutex);
    const auto it = m_timers.find(timerId);
    return it != m_timers.end() && it->second.running;
}

void RealTimeContext::start()
{
    HostLock lock(m_mutex);
    if (m_thread.joinable()) return;
    m_stopping = false;
    m_thread = std::thread([this] { deliverExpiries(); });
}

void RealTimeContext::stop()
{
    {
        HostLock lock(m_mutex);
        m_stopping = true;
        m_changed.notify_all();
    }
    if (m_thread.joinable() && m_thread.get_id() != std::this_thread::get_id()) m_thread.join();
}

void RealTimeContext::deliverExpiries()
{
    HostLock lock(m_mutex);
    while (!m_stopping) {
        int dueId = kNoTimer;
        Clock::time_point earliest = Clock::time_point::max();
        long long earliestSequence = 0;
        for (const auto& [id, timer] : m_timers) {
            if (!timer.running) continue;
            if (timer.deadline < earliest || (timer.deadline == earliest && timer.startSequence < earliestSequence)) {
                earliest = timer.deadline;
                earliestSequence = timer.startSequence;
                dueId = id;
            }
        }
        if (dueId == kNoTimer) {
            lock.wait(m_changed);
            continue;
        }
        if (Clock::now() < earliest) {
            lock.waitUntil(m_changed, earliest);
            continue;  // something may have changed meanwhile: look again
        }
        Timer& timer = m_timers[dueId];
        timer.running = false;
        Executable* owner = timer.owner;
        // Delivered without the context's lock: the owner drives its timers from timerEvent.
        lock.unlock();
        owner->timerEvent(dueId);
        lock.lock();
    }
}
