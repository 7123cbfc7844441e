#pragma once
// The framework's semaphore and its scoped holder.

#include <atomic>
#include <condition_variable>
#include <mutex>
#include <thread>
#include <utility>
#include <vector>

#include "ThreadSafety.h"

// A counting semaphore of `initialCount` units, never more than `maxCount`.
// `reentrant` true: a thread that holds a unit may wait again without blocking (it keeps
// its one unit) and must post as often as it waited; a post by a thread that holds no unit
// is ignored. `reentrant` false: a plain counting semaphore; any thread may post, and a
// thread that waits twice blocks on itself.
// A semaphore of one unit (the service lock, the dial-tone lock: taken on every key) is
// taken and given back with one atomic operation each while no other thread waits for it;
// only a thread that must wait takes the mutex.
class DAS_CAPABILITY("mutex") Semaphore {
public:
    Semaphore(int initialCount, int maxCount, bool reentrant);
    Semaphore(const Semaphore&) = delete;
    Semaphore& operator=(const Semaphore&) = delete;

    // Waits for the semaphore; timeoutMs -1 waits without limit. False on time-out, and then
    // the caller holds nothing and must not post.
    [[nodiscard]] bool wait(int timeoutMs = -1) DAS_TRY_ACQUIRE(true);
    // Gives back one unit (one wait of a re-entrant holder).
    void post() DAS_RELEASE();
    // True when the calling thread holds a re-entrant semaphore.
    bool heldByCurrentThread() const;
    // Units free to be taken now.
    int available() const;

private:
    mutable std::mutex m_mutex;
    std::condition_variable m_available;
    int m_count;  // the units free; not used by a one-unit semaphore, which keeps m_unitFree
    std::atomic<int> m_waiting{0};  // threads blocked in wait(), or about to block
    const int m_maxCount;
    const bool m_reentrant;
    const bool m_oneUnit;  // maxCount 1: the lock-free way below
    // One unit: whether it is free, and for a re-entrant semaphore its holder and the
    // holder's waits not yet posted (read and written by the holder only).
    std::atomic<bool> m_unitFree{false};
    std::atomic<std::thread::id> m_owner{};
    int m_ownerWaits = 0;
    // Re-entrant only: each holder with its waits not yet posted. A holder keeps one unit, so
    // there are never more than maxCount of them; the room is reserved at construction so that
    // taking and giving back the semaphore allocates nothing.
    using Holder = std::pair<std::thread::id, int>;
    std::vector<Holder> m_holders;

    std::vector<Holder>::iterator findHolder(std::thread::id thread);
    std::vector<Holder>::const_iterator findHolder(std::thread::id thread) const;
    // Blocks, with `lock` held on entry and exit, until a unit is free or `timeoutMs` passes
    // (-1: no limit); false on time-out.
    bool waitForUnit(std::unique_lock<std::mutex>& lock, int timeoutMs);
    // The one-unit semaphore's wait and post.
    bool waitForTheUnit(int timeoutMs);
    void postTheUnit();
    // Takes the unit if it is free.
    bool takeTheUnit(std::thread::id self);
};

// Holds a semaphore for the lifetime of the object: waits without limit in the constructor and
// posts in the destructor. The semaphore is borrowed and must outlive the holder.
class DAS_SCOPED_CAPABILITY CriticalSection {
public:
    explicit CriticalSection(Semaphore& semaphore) DAS_ACQUIRE(semaphore);
    ~CriticalSection() DAS_RELEASE();
    CriticalSection(const CriticalSection&) = delete;
    CriticalSection& operator=(const CriticalSection&) = delete;

private:
    Semaphore& m_semaphore;
};
