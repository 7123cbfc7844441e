#pragma once
// A fixed set of threads running jobs from one queue, in order of arrival. Each job is a unit
// of work with its own boundary; whatever still escapes one is logged, and the thread goes on
// with the next job. The daemon's message threads and its management thread are two of these.

#include <condition_variable>
#include <deque>
#include <functional>
#include <string>
#include <thread>
#include <vector>

#include "HostMutex.h"

class WorkQueue {
public:
    // `name` says whose job failed in the log line ("the message threads").
    explicit WorkQueue(std::string name) : m_name(std::move(name)) {}

    void start(int threads);
    // Queues `job`; dropped once stop() has begun. Any thread.
    void post(std::function<void()> job);
    // Finishes the jobs under way, drops the others and joins the threads.
    void stop();

private:
    std::string m_name;
    HostMutex m_mutex;
    std::condition_variable m_changed;
    std::deque<std::function<void()>> m_jobs DAS_GUARDED_BY(m_mutex);
    // Started and joined by the thread that owns the queue.
    std::vector<std::thread> m_threads;
    bool m_stopping DAS_GUARDED_BY(m_mutex) = false;

    void work();
};
