#include "InProcessContext.h"

#include <algorithm>
#include <limits>
#include <utility>

InProcessContext::InProcessContext() = default;
InProcessContext::~InProcessContext() = default;

void InProcessContext::record(TimerOperation::Kind kind, int timerId, int durationMs)
{
    m_operations.push_back(TimerOperation{kind, timerId, durationMs});
}

int InProcessContext::createTimer(Executable* owner, int durationMs)
{
    std::lock_guard<std::mutex> lock(m_mutex);
    if (m_creationFails || m_failuresToCome > 0) {
        if (m_failuresToCome > 0) --m_failuresToCome;
        record(TimerOperation::kCreateFailed, kNoTimer, durationMs);
        return kNoTimer;
    }
    const int id = m_nextTimerId++;
    m_timers[id] = Timer{owner, durationMs, false, 0, 0};
    record(TimerOperation::kCreate, id, durationMs);
    return id;
}

void InProcessContext::startTimer(int timerId)
{
    std::lock_guard<std::mutex> lock(m_mutex);
    record(TimerOperation::kStart, timerId);
    const auto it = m_timers.find(timerId);
    if (it == m_timers.end()) return;
    it->second.running = true;
    it->second.deadline = m_now + it->second.durationMs;
    it->second.startSequence = m_startSequence++;
}

void InProcessContext::stopTimer(int timerId)
{
    std::lock_guard<std::mutex> lock(m_mutex);
    record(TimerOperation::kStop, timerId);
    const auto it = m_timers.find(timerId);
    if (it != m_timers.end()) it->second.running = false;
}

void InProcessContext::resetTimer(int timerId)
{
    std::lock_guard<std::mutex> lock(m_mutex);
    record(TimerOperation::kReset, timerId);
    const auto it = m_timers.find(timerId);
    if (it == m_timers.end() || !it->second.running) return;  // only a running countdown restarts
    it->second.deadline = m_now + it->second.durationMs;
    it->second.startSequence = m_startSequence++;
}

void InProcessContext::deleteTimer(int timerId)
{
    std::lock_guard<std::mutex> lock(m_mutex);
    record(TimerOperation::kDelete, timerId);
    const auto it = m_timers.find(timerId);
    if (it == m_timers.end()) return;
    m_formerOwners[timerId] = it->second.owner;
    m_timers.erase(it);
}

void InProcessContext::setTimerCreationFails(bool fails)
{
    std::lock_guard<std::mutex> lock(m_mutex);
    m_creationFails = fails;
}

void InProcessContext::failNextTimerCreations(int count)
{
    std::lock_guard<std::mutex> lock(m_mutex);
    m_failuresToCome = count;
}

long long InProcessContext::now() const
{
    std::lock_guard<std::mutex> lock(m_mutex);
    return m_now;
}

void InProcessContext::advance(long long milliseconds)
{
    long long target = 0;
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        target = m_now + (milliseconds > 0 ? milliseconds : 0);
    }
    while (true) {
        Executable* owner = nullptr;
        int dueId = kNoTimer;
        {
            std::lock_guard<std::mutex> lock(m_mutex);
            long long earliest = std::numeric_limits<long long>::max();
            long long earliestSequence = 0;
            for (const auto& [id, timer] : m_timers) {
                if (!timer.running || timer.deadline > target) continue;
                if (timer.deadline < earliest || (timer.deadline == earliest && timer.startSequence < earliestSequence)) {
                    earliest = timer.deadline;
                    earliestSequence = timer.startSequence;
                    dueId = id;
                }
            }
            if (dueId == kNoTimer) {
                m_now = target;
                return;
            }
            Timer& timer = m_timers[dueId];
            if (timer.deadline > m_now) m_now = timer.deadline;
            timer.running = false;
            owner = timer.owner;
            record(TimerOperation::kExpire, dueId);
        }
        // Delivered without the context's lock: the owner drives its timers from timerEvent.
        if (owner != nullptr) owner->timerEvent(dueId);
    }
}

void InProcessContext::deliverExpiry(int timerId)
{
    Executable* owner = nullptr;
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        record(TimerOperation::kExpire, timerId);
        const auto it = m_timers.find(timerId);
        if (it != m_timers.end()) {
            it->second.running = false;
            owner = it->second.owner;
        } else {
            const auto former = m_formerOwners.find(timerId);
            if (former != m_formerOwners.end()) owner = former->second;
        }
    }
    if (owner != nullptr) owner->timerEvent(timerId);
}

std::vector<InProcessContext::RunningTimer> InProcessContext::runningTimers() const
{
    std::lock_guard<std::mutex> lock(m_mutex);
    std::vector<std::pair<long long, RunningTimer>> running;
    for (const auto& [id, timer] : m_timers) {
        if (timer.running) running.push_back({timer.startSequence, RunningTimer{id, timer.durationMs, timer.deadline}});
    }
    std::sort(running.begin(), running.end(), [](const auto& a, const auto& b) {
        return a.second.dueAtMs != b.second.dueAtMs ? a.second.dueAtMs < b.second.dueAtMs : a.first < b.first;
    });
    std::vector<RunningTimer> timers;
    timers.reserve(running.size());
    for (const auto& entry : running) timers.push_back(entry.second);
    return timers;
}

bool InProcessContext::timerExists(int timerId) const
{
    std::lock_guard<std::mutex> lock(m_mutex);
    return m_timers.count(timerId) != 0;
}

bool InProcessContext::timerRunning(int timerId) const
{
    std::lock_guard<std::mutex> lock(m_mutex);
    const auto it = m_timers.find(timerId);
    return it != m_timers.end() && it->second.running;
}

int InProcessContext::timerDuration(int timerId) const
{
    std::lock_guard<std::mutex> lock(m_mutex);
    const auto it = m_timers.find(timerId);
    return it == m_timers.end() ? -1 : it->second.durationMs;
}

std::vector<std::string> InProcessContext::timerOperations() const
{
    std::lock_guard<std::mutex> lock(m_mutex);
    std::vector<std::string> texts;
    texts.reserve(m_operations.size());
    for (const TimerOperation& operation : m_operations) texts.push_back(describe(operation));
    return texts;
}

std::string InProcessContext::describe(const TimerOperation& operation)
{
    switch (operation.kind) {
    case TimerOperation::kCreate:
        return "create " + std::to_string(operation.timerId) + " " + std::to_string(operation.durationMs);
    case TimerOperation::kCreateFailed: return "create-failed " + std::to_string(operation.durationMs);
    case TimerOperation::kStart: return "start " + std::to_string(operation.timerId);
    case TimerOperation::kStop: return "stop " + std::to_string(operation.timerId);
    case TimerOperation::kReset: return "reset " + std::to_string(operation.timerId);
    case TimerOperation::kDelete: return "delete " + std::to_string(operation.timerId);
    case TimerOperation::kExpire: return "expire " + std::to_string(operation.timerId);
    }
    return {};
}

void InProcessContext::clearTimerOperations()
{
    std::lock_guard<std::mutex> lock(m_mutex);
    m_operations.clear();
}
