#include "Semaphore.h"

#include <chrono>

Semaphore::Semaphore(int initialCount, int maxCount, bool reentrant)
    : m_count(initialCount), m_maxCount(maxCount), m_reentrant(reentrant)
{
}

bool Semaphore::wait(int timeoutMs)
{
    std::unique_lock<std::mutex> lock(m_mutex);
    const auto self = std::this_thread::get_id();
    if (m_reentrant) {
        const auto held = m_holdDepth.find(self);
        if (held != m_holdDepth.end()) {
            ++held->second;
            return true;
        }
    }
    const auto available = [this] { return m_count > 0; };
    if (timeoutMs < 0) {
        m_available.wait(lock, available);
    } else if (!m_available.wait_for(lock, std::chrono::milliseconds(timeoutMs), available)) {
        return false;
    }
    --m_count;
    if (m_reentrant) m_holdDepth[self] = 1;
    return true;
}

void Semaphore::post()
{
    std::lock_guard<std::mutex> lock(m_mutex);
    if (m_reentrant) {
        const auto held = m_holdDepth.find(std::this_thread::get_id());
        if (held == m_holdDepth.end()) return;  // not ours to give back
        if (--held->second > 0) return;
        m_holdDepth.erase(held);
    }
    if (m_count < m_maxCount) ++m_count;
    m_available.notify_one();
}

bool Semaphore::heldByCurrentThread() const
{
    std::lock_guard<std::mutex> lock(m_mutex);
    return m_reentrant && m_holdDepth.count(std::this_thread::get_id()) != 0;
}

int Semaphore::available() const
{
    std::lock_guard<std::mutex> lock(m_mutex);
    return m_count;
}

CriticalSection::CriticalSection(Semaphore& semaphore) : m_semaphore(semaphore) { m_semaphore.wait(-1); }

CriticalSection::~CriticalSection() { m_semaphore.post(); }
