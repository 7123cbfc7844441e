#include "Semaphore.h"

#include <algorithm>
#include <chrono>

namespace {
// Holders reserved at construction; a semaphore with a larger maximum grows past it only
// when that many threads hold it at once.
constexpr int kReservedHolders = 8;
}  // namespace

Semaphore::Semaphore(int initialCount, int maxCount, bool reentrant)
    : m_count(initialCount), m_maxCount(maxCount), m_reentrant(reentrant)
{
    if (m_reentrant) m_holders.reserve(static_cast<size_t>(std::clamp(maxCount, 1, kReservedHolders)));
}

std::vector<Semaphore::Holder>::iterator Semaphore::findHolder(std::thread::id thread)
{
    return std::find_if(m_holders.begin(), m_holders.end(),
                        [thread](const Holder& holder) { return holder.first == thread; });
}

std::vector<Semaphore::Holder>::const_iterator Semaphore::findHolder(std::thread::id thread) const
{
    return std::find_if(m_holders.begin(), m_holders.end(),
                        [thread](const Holder& holder) { return holder.first == thread; });
}

bool Semaphore::wait(int timeoutMs)
{
    std::unique_lock<std::mutex> lock(m_mutex);
    const auto self = std::this_thread::get_id();
    if (m_reentrant) {
        const auto held = findHolder(self);
        if (held != m_holders.end()) {
            ++held->second;
            return true;
        }
    }
    if (m_count <= 0 && !waitForUnit(lock, timeoutMs)) return false;
    --m_count;
    if (m_reentrant) m_holders.emplace_back(self, 1);
    return true;
}

void Semaphore::post()
{
    std::lock_guard<std::mutex> lock(m_mutex);
    if (m_reentrant) {
        const auto held = findHolder(std::this_thread::get_id());
        if (held == m_holders.end()) return;  // not ours to give back
        if (--held->second > 0) return;
        *held = m_holders.back();
        m_holders.pop_back();
    }
    if (m_count < m_maxCount) ++m_count;
    // Most posts find nobody waiting; only then is the notification worth its cost.
    if (m_waiting > 0) m_available.notify_one();
}

bool Semaphore::waitForUnit(std::unique_lock<std::mutex>& lock, int timeoutMs)
{
    const auto available = [this] { return m_count > 0; };
    ++m_waiting;
    bool got = true;
    if (timeoutMs < 0) {
        m_available.wait(lock, available);
    } else {
        got = m_available.wait_for(lock, std::chrono::milliseconds(timeoutMs), available);
    }
    --m_waiting;
    return got;
}

bool Semaphore::heldByCurrentThread() const
{
    std::lock_guard<std::mutex> lock(m_mutex);
    return m_reentrant && findHolder(std::this_thread::get_id()) != m_holders.end();
}

int Semaphore::available() const
{
    std::lock_guard<std::mutex> lock(m_mutex);
    return m_count;
}

// Without a time limit the wait cannot fail.
CriticalSection::CriticalSection(Semaphore& semaphore) : m_semaphore(semaphore) { (void)m_semaphore.wait(-1); }

CriticalSection::~CriticalSection() { m_semaphore.post(); }
