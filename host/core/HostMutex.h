#pragma once
// The host's mutex and its scoped lock, annotated for clang's thread-safety analysis as the
// platform's Semaphore is: a member marked DAS_GUARDED_BY(a HostMutex) is checked to be used
// only under that mutex (the fuzz build compiles with -Wthread-safety -Werror). A condition
// variable waits through the lock (wait, waitUntil), so the analysis sees the mutex held
// around every wait; write the wait's condition as a loop in the function that holds the lock,
// not as a predicate lambda, which the analysis cannot see holding it.

#include <chrono>
#include <condition_variable>
#include <mutex>

#include "ThreadSafety.h"

class DAS_CAPABILITY("mutex") HostMutex {
public:
    void lock() DAS_ACQUIRE() { m_mutex.lock(); }
    void unlock() DAS_RELEASE() { m_mutex.unlock(); }

private:
    friend class HostLock;
    std::mutex m_mutex;
};

// Holds a HostMutex from construction to destruction, but for an early unlock().
class DAS_SCOPED_CAPABILITY HostLock {
public:
    explicit HostLock(HostMutex& mutex) DAS_ACQUIRE(mutex) : m_lock(mutex.m_mutex) {}
    ~HostLock() DAS_RELEASE() {}
    HostLock(const HostLock&) = delete;
    HostLock& operator=(const HostLock&) = delete;

    // Lets the mutex go before the end of the scope (to call out without it).
    void unlock() DAS_RELEASE() { m_lock.unlock(); }
    void lock() DAS_ACQUIRE() { m_lock.lock(); }

    // Waits for a notification of `condition`; the mutex is let go while waiting and held
    // again on return (also on a spurious wake-up: check the condition in a loop).
    void wait(std::condition_variable& condition) { condition.wait(m_lock); }
    // As wait, until `deadline` at the latest; false when the deadline passed.
    template <class Clock, class Duration>
    bool waitUntil(std::condition_variable& condition, const std::chrono::time_point<Clock, Duration>& deadline)
    {
        return condition.wait_until(m_lock, deadline) == std::cv_status::no_timeout;
    }

private:
    std::unique_lock<std::mutex> m_lock;
};

// A recursive mutex with the same annotations: the holder may take it again.
class DAS_CAPABILITY("mutex") HostRecursiveMutex {
public:
    HostRecursiveMutex() = default;
    HostRecursiveMutex(const HostRecursiveMutex&) = delete;
    HostRecursiveMutex& operator=(const HostRecursiveMutex&) = delete;

private:
    friend class HostRecursiveLock;
    std::recursive_mutex m_mutex;
};

// Holds a HostRecursiveMutex from construction to destruction.
class DAS_SCOPED_CAPABILITY HostRecursiveLock {
public:
    explicit HostRecursiveLock(HostRecursiveMutex& mutex) DAS_ACQUIRE(mutex) : m_lock(mutex.m_mutex) {}
    ~HostRecursiveLock() DAS_RELEASE() {}
    HostRecursiveLock(const HostRecursiveLock&) = delete;
    HostRecursiveLock& operator=(const HostRecursiveLock&) = delete;

private:
    std::unique_lock<std::recursive_mutex> m_lock;
};
