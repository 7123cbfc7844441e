#pragma once
// Ends the whole test program when the work it guards has not finished in time: a deadlock
// must fail the test, not hang CI. Guard a scope by making one at its start.

#include <chrono>
#include <condition_variable>
#include <cstdio>
#include <cstdlib>
#include <mutex>
#include <string>
#include <thread>

class Watchdog {
public:
    // `what` names the guarded work in the failure message.
    explicit Watchdog(std::chrono::seconds limit, std::string what = "the test")
        : m_what(std::move(what)), m_thread([this, limit] {
              std::unique_lock<std::mutex> lock(m_mutex);
              if (!m_done.wait_for(lock, limit, [this] { return m_finished; })) {
                  std::fprintf(stderr, "watchdog: %s did not finish in %lld s (deadlock?)\n", m_what.c_str(),
                               static_cast<long long>(limit.count()));
                  std::_Exit(EXIT_FAILURE);
              }
          })
    {
    }
    ~Watchdog()
    {
        {
            std::lock_guard<std::mutex> lock(m_mutex);
            m_finished = true;
        }
        m_done.notify_all();
        m_thread.join();
    }
    Watchdog(const Watchdog&) = delete;
    Watchdog& operator=(const Watchdog&) = delete;

private:
    const std::string m_what;
    std::mutex m_mutex;
    std::condition_variable m_done;
    bool m_finished = false;
    std::thread m_thread;  // last: starts once the members above exist
};
