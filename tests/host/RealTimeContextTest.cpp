// The daemon's framework context on real time: one-shot timers on the monotonic clock,
// delivered by the timer thread in deadline order; stop, reset and delete as the service
// expects them.

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <mutex>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "RealTimeContext.h"

namespace {

using namespace std::chrono_literals;

// Records the ids of its expiries.
class ExpiryRecorder : public Executable {
public:
    void init(Context&) override {}
    void shutdown() override {}
    void timerEvent(int timerId) override
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        m_expiries.push_back(timerId);
        m_changed.notify_all();
    }
    std::vector<int> expiries()
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        return m_expiries;
    }
    bool waitFor(std::size_t count, std::chrono::milliseconds limit)
    {
        std::unique_lock<std::mutex> lock(m_mutex);
        return m_changed.wait_for(lock, limit, [&] { return m_expiries.size() >= count; });
    }

private:
    std::mutex m_mutex;
    std::condition_variable m_changed;
    std::vector<int> m_expiries;
};

class HostRealTimeContext : public ::testing::Test {
protected:
    RealTimeContext context;
    ExpiryRecorder owner;
    void SetUp() override { context.start(); }
};

}  // namespace

TEST_F(HostRealTimeContext, TimersExpireOnceInDeadlineOrder)
{
    const int slow = context.createTimer(&owner, 120);
    const int fast = context.createTimer(&owner, 30);
    context.startTimer(slow);
    context.startTimer(fast);
    ASSERT_TRUE(owner.waitFor(2, 2s));
    std::this_thread::sleep_for(150ms);
    EXPECT_EQ(owner.expiries(), (std::vector<int>{fast, slow}));
    EXPECT_FALSE(context.timerRunning(slow));
}

TEST_F(HostRealTimeContext, TimerDoesNotRunBeforeItIsStarted)
{
    context.createTimer(&owner, 10);
    std::this_thread::sleep_for(80ms);
    EXPECT_TRUE(owner.expiries().empty());
}

TEST_F(HostRealTimeContext, StoppedTimerDoesNotExpire)
{
    const int id = context.createTimer(&owner, 50);
    context.startTimer(id);
    context.stopTimer(id);
    std::this_thread::sleep_for(150ms);
    EXPECT_TRUE(owner.expiries().empty());
}

TEST_F(HostRealTimeContext, ResetRestartsARunningCountdown)
{
    const int id = context.createTimer(&owner, 150);
    const auto started = std::chrono::steady_clock::now();
    context.startTimer(id);
    std::this_thread::sleep_for(100ms);
    context.resetTimer(id);
    ASSERT_TRUE(owner.waitFor(1, 2s));
    EXPECT_GE(std::chrono::steady_clock::now() - started, 240ms);
}

TEST_F(HostRealTimeContext, ResetLeavesAStoppedTimerStopped)
{
    const int id = context.createTimer(&owner, 20);
    context.resetTimer(id);
    std::this_thread::sleep_for(80ms);
    EXPECT_TRUE(owner.expiries().empty());
}

TEST_F(HostRealTimeContext, DeletedTimerNeverExpiresAndIdsAreNotReused)
{
    const int id = context.createTimer(&owner, 30);
    context.startTimer(id);
    context.deleteTimer(id);
    const int next = context.createTimer(&owner, 30);
    EXPECT_NE(next, id);
    std::this_thread::sleep_for(100ms);
    EXPECT_TRUE(owner.expiries().empty());
}

TEST_F(HostRealTimeContext, OwnerMayRestartItsTimerFromTheExpiry)
{
    class Restarter : public Executable {
    public:
        explicit Restarter(Context& context) : m_context(context) {}
        void init(Context&) override {}
        void shutdown() override {}
        void timerEvent(int timerId) override
        {
            if (++count < 3) m_context.startTimer(timerId);
        }
        std::atomic<int> count{0};

    private:
        Context& m_context;
    } restarter(context);
    const int id = context.createTimer(&restarter, 10);
    context.startTimer(id);
    std::this_thread::sleep_for(200ms);
    EXPECT_EQ(restarter.count.load(), 3);
}

TEST_F(HostRealTimeContext, NoExpiryIsDeliveredAfterStop)
{
    const int id = context.createTimer(&owner, 40);
    context.startTimer(id);
    context.stop();
    std::this_thread::sleep_for(100ms);
    EXPECT_TRUE(owner.expiries().empty());
}

TEST_F(HostRealTimeContext, PeersAndProxiesAreFoundByName)
{
    context.registerExecutable("TeamServiceIfc", &owner);
    context.registerProxy("DigitAnalysisServiceEventIfc", "dialler", &owner);
    context.setChannelName(&owner, "dialler");
    EXPECT_EQ(context.findExecutable("TeamServiceIfc"), &owner);
    EXPECT_EQ(context.findExecutable("teamserviceifc"), nullptr);
    EXPECT_EQ(context.findProxy("DigitAnalysisServiceEventIfc", "dialler"), &owner);
    EXPECT_EQ(context.findProxy("DigitAnalysisServiceEventIfc", "other"), nullptr);
    EXPECT_EQ(context.findChannel(&owner), "dialler");
}
