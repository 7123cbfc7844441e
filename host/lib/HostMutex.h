#pragma once
// The host's mutex and its scoped holder, annotated for clang's thread safety analysis as the
// platform's Semaphore and CriticalSection are: a member marked DAS_GUARDED_BY(m_mutex) is
// checked at compile time (presets clang and fuzz, -Wthread-safety). Underneath they are a
// std::mutex and a std::unique_lock, at no cost beyond them.

#include <mutex>

#include "ThreadSafety.h"

class DAS_CAPABILITY("mutex") HostMutex {
public:
    HostMutex() = default;
    HostMutex(const HostMutex&) = delete;
    HostMutex& operator=(const HostMutex&) = delete;

private:
    friend class HostLock;
    std::mutex m_mutex;
};

// Holds a HostMutex from construction to destruction. unlock() and lock() let the holder call
// out without it (and say so to the analysis); native() is what a std::condition_variable
// waits on, which gives the mutex back before it returns.
class DAS_SCOPED_CAPABILITY HostLock {
public:
    explicit HostLock(HostMutex& mutex) DAS_ACQUIRE(mutex) : m_lock(mutex.m_mutex) {}
    ~HostLock() DAS_RELEASE() {}
    HostLock(const HostLock&) = delete;
    HostLock& operator=(const HostLock&) = delete;

    void unlock() DAS_RELEASE() { m_lock.unlock(); }
    void lock() DAS_ACQUIRE() { m_lock.lock(); }
    std::unique_lock<std::mutex>& native() { return m_lock; }

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
