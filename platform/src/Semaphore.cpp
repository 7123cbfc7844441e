#include "Semaphore.h"

#include <algorithm>
#include <chrono>

namespace {
// Holders reserved at construction; a semaphore with a larger maximum grows past it only
// when that many threads hold it at once.
constexpr int kReservedHolders = 8;
}  // namespace

Semaphore::Semaphore(int initialCount, int maxCount, bool reentrant)
    : m_count(initialCount), m_maxCount(maxCount), m_reentrant(reentrant), m_oneUnit(maxCount == 1)
{
    m_unitFree.store(m_oneUnit && initialCount > 0);
    if (m_reentrant && !m_oneUnit) m_holders.reserve(static_cast<size_t>(std::clamp(maxCount, 1, kReservedHolders)));
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
    if (m_oneUnit) return waitForTheUnit(timeoutMs);
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
    if (m_oneUnit) {
        postTheUnit();
        return;
    }
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
    if (m_oneUnit) return m_reentrant && m_owner.load(std::memory_order_relaxed) == std::this_thread::get_id();
    std::lock_guard<std::mutex> lock(m_mutex);
    return m_reentrant && findHolder(std::this_thread::get_id()) != m_holders.end();
}

int Semaphore::available() const
{
    if (m_oneUnit) return m_unitFree.load() ? 1 : 0;
    std::lock_guard<std::mutex> lock(m_mutex);
    return m_count;
}

// The one unit. Only its holder writes m_owner with its own id, so a thread that reads its
// own id there holds the unit. A waiter that finds the unit taken counts itself in m_waiting
// under the mutex before it tries again and sleeps; a post frees the unit before it looks at
// m_waiting (all in one total order), so either the waiter's try sees the unit free or the
// post sees the waiter and wakes it under the mutex, which the waiter gives up only asleep.
bool Semaphore::takeTheUnit(std::thread::id self)
{
    bool free = true;
    if (!m_unitFree.compare_exchange_strong(free, false)) return false;
    if (m_reentrant) {
        m_owner.store(self, std::memory_order_relaxed);
        m_ownerWaits = 1;
    }
    return true;
}

bool Semaphore::waitForTheUnit(int timeoutMs)
{
    const auto self = std::this_thread::get_id();
    if (m_reentrant && m_owner.load(std::memory_order_relaxed) == self) {
        ++m_ownerWaits;
        return true;
    }
    if (takeTheUnit(self)) return true;
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::milliseconds(timeoutMs);
    std::unique_lock<std::mutex> lock(m_mutex);
    ++m_waiting;
    bool taken = takeTheUnit(self);
    while (!taken) {
        if (timeoutMs < 0) {
            m_available.wait(lock);
        } else if (m_available.wait_until(lock, deadline) == std::cv_status::timeout) {
            taken = takeTheUnit(self);
            break;
        }
        taken = takeTheUnit(self);
    }
    --m_waiting;
    return taken;
}

void Semaphore::postTheUnit()
{
    if (m_reentrant) {
        if (m_owner.load(std::memory_order_relaxed) != std::this_thread::get_id()) return;  // not ours to give back
        if (--m_ownerWaits > 0) return;
        m_owner.store(std::thread::id(), std::memory_order_relaxed);
        m_unitFree.store(true);
    } else if (m_unitFree.exchange(true)) {
        return;  // a post beyond the one unit is dropped
    }
    if (m_waiting.load() > 0) {
        std::lock_guard<std::mutex> lock(m_mutex);
        m_available.notify_one();
    }
}

// Without a time limit the wait cannot fail.
CriticalSection::CriticalSection(Semaphore& semaphore) : m_semaphore(semaphore) { (void)m_semaphore.wait(-1); }

CriticalSection::~CriticalSection() { m_semaphore.post(); }
