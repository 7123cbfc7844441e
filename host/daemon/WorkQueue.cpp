#include "WorkQueue.h"

#include <exception>

#include "DaemonLog.h"

void WorkQueue::start(int threads)
{
    for (int i = 0; i < threads; ++i) m_threads.emplace_back([this] { work(); });
}

void WorkQueue::post(std::function<void()> job)
{
    HostLock lock(m_mutex);
    if (m_stopping) return;
    m_jobs.push_back(std::move(job));
    m_changed.notify_one();
}

void WorkQueue::stop()
{
    std::deque<std::function<void()>> dropped;
    {
        HostLock lock(m_mutex);
        m_stopping = true;
        dropped.swap(m_jobs);
        m_changed.notify_all();
    }
    dropped.clear();
    for (auto& thread : m_threads) thread.join();
    m_threads.clear();
}

void WorkQueue::work()
{
    while (true) {
        std::function<void()> job;
        {
            HostLock lock(m_mutex);
            while (!m_stopping && m_jobs.empty()) lock.wait(m_changed);
            if (m_stopping) return;
            job = std::move(m_jobs.front());
            m_jobs.pop_front();
        }
        try {
            job();
        } catch (const std::exception& error) {
            say("a job of the " + m_name + " failed: " + describe(error));
        } catch (...) {
            say("a job of the " + m_name + " failed");
        }
    }
}
