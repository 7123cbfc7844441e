#pragma once
// A fixed set of threads running jobs from one queue, in order of arrival. Each job is a unit
// of work with its own boundary; whatever still escapes one is logged, and the thread goes on
// with the next job. The daemon's message threads and its management thread are two of these.

#include <condition_variable>
#include <deque>
#include <functional>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

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
    std::mutex m_mutex;
    std::condition_variable m_changed;
    std::deque<std::function<void()>> m_jobs;
    std::vector<std::thread> m_threads;
    bool m_stopping = false;

    void work();
};
