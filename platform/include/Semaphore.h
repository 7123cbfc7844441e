#pragma once
// The framework's semaphore and its scoped holder.

#include <condition_variable>
#include <mutex>
#include <thread>

#include "ThreadSafety.h"

// A counting semaphore. Constructed re-entrant, it behaves as a recursive lock: the
// thread that holds it may take it again, and must give it back as often.
class DAS_CAPABILITY("mutex") Semaphore {
public:
    Semaphore(int initialCount, int maxCount, bool reentrant);
    Semaphore(const Semaphore&) = delete;
    Semaphore& operator=(const Semaphore&) = delete;

    // Waits for the semaphore; timeoutMs -1 waits without limit. False on time-out.
    bool wait(int timeoutMs = -1) DAS_TRY_ACQUIRE(true);
    void post() DAS_RELEASE();
    // True when the calling thread holds a re-entrant semaphore.
    bool heldByCurrentThread() const;

private:
    mutable std::mutex m_mutex;
    std::condition_variable m_available;
    int m_count;
    const int m_maxCount;
    const bool m_reentrant;
    std::thread::id m_owner;
    int m_depth = 0;
};

// Holds a semaphore for the lifetime of the object.
class DAS_SCOPED_CAPABILITY CriticalSection {
public:
    explicit CriticalSection(Semaphore& semaphore) DAS_ACQUIRE(semaphore);
    ~CriticalSection() DAS_RELEASE();
    CriticalSection(const CriticalSection&) = delete;
    CriticalSection& operator=(const CriticalSection&) = delete;

private:
    Semaphore& m_semaphore;
};
