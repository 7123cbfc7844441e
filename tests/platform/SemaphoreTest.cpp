// The framework semaphore: re-entrant for its holder when asked, a plain counting semaphore
// otherwise, with timed waits. Every test that can block runs under a watchdog, so a
// deadlock fails the test program instead of hanging it.

#include <atomic>
#include <chrono>
#include <future>
#include <mutex>
#include <thread>

#include <gtest/gtest.h>

#include "CountingAllocator.h"
#include "Semaphore.h"
#include "Watchdog.h"

namespace {

using namespace std::chrono_literals;

constexpr auto kBlocked = 100ms;     // long enough to see that a waiter stays blocked
constexpr auto kEventually = 5s;     // far longer than any expected hand-over
constexpr std::chrono::seconds kWatchdogLimit{20};

template <typename T>
bool finishesWithin(std::future<T>& future, std::chrono::milliseconds limit)
{
    return future.wait_for(limit) == std::future_status::ready;
}

}  // namespace

TEST(ReentrantSemaphore, TheSameThreadTakesItTwiceWithoutBlocking)
{
    Watchdog watchdog(kWatchdogLimit);
    Semaphore lock(1, 1, true);

    EXPECT_TRUE(lock.wait(-1));
    EXPECT_TRUE(lock.wait(-1));
    EXPECT_TRUE(lock.wait(0));
    EXPECT_TRUE(lock.heldByCurrentThread());
    EXPECT_EQ(0, lock.available()) << "re-entering takes no further unit";

    lock.post();
    lock.post();
    EXPECT_TRUE(lock.heldByCurrentThread()) << "still held once";
    lock.post();
    EXPECT_FALSE(lock.heldByCurrentThread());
    EXPECT_EQ(1, lock.available());
}

TEST(ReentrantSemaphore, ASecondThreadWaitsUntilTheHolderHasFullyReleased)
{
    Watchdog watchdog(kWatchdogLimit);
    Semaphore lock(1, 1, true);
    ASSERT_TRUE(lock.wait(-1));
    ASSERT_TRUE(lock.wait(-1));

    std::atomic<bool> acquired{false};
    auto other = std::async(std::launch::async, [&] {
        (void)lock.wait(-1);  // without a time limit it cannot fail
        acquired = true;
        lock.post();
    });

    EXPECT_FALSE(finishesWithin(other, kBlocked));
    lock.post();
    EXPECT_FALSE(finishesWithin(other, kBlocked)) << "one post of two does not release";
    EXPECT_FALSE(acquired);
    lock.post();
    EXPECT_TRUE(finishesWithin(other, kEventually));
    EXPECT_TRUE(acquired);
}

TEST(ReentrantSemaphore, ATimedWaitOfAnotherThreadTimesOut)
{
    Watchdog watchdog(kWatchdogLimit);
    Semaphore lock(1, 1, true);
    ASSERT_TRUE(lock.wait(-1));

    auto other = std::async(std::launch::async, [&] {
        const auto start = std::chrono::steady_clock::now();
        const bool got = lock.wait(50);
        return std::make_pair(got, std::chrono::steady_clock::now() - start);
    });

    ASSERT_TRUE(finishesWithin(other, kEventually));
    const auto [got, waited] = other.get();
    EXPECT_FALSE(got);
    EXPECT_GE(waited, 50ms);
    lock.post();
}

TEST(ReentrantSemaphore, APostByAThreadThatHoldsNothingIsIgnored)
{
    Watchdog watchdog(kWatchdogLimit);
    Semaphore lock(1, 1, true);
    ASSERT_TRUE(lock.wait(-1));

    std::thread([&] { lock.post(); }).join();

    EXPECT_TRUE(lock.heldByCurrentThread());
    EXPECT_EQ(0, lock.available());
    auto other = std::async(std::launch::async, [&] { return lock.wait(0); });
    ASSERT_TRUE(finishesWithin(other, kEventually));
    EXPECT_FALSE(other.get()) << "the holder's unit was not stolen";
    lock.post();
    EXPECT_EQ(1, lock.available());
}

TEST(ReentrantSemaphore, EachHolderOfAMultiUnitSemaphoreKeepsItsOwnCount)
{
    Watchdog watchdog(kWatchdogLimit);
    Semaphore pool(2, 2, true);
    std::promise<void> firstHolds, secondHolds, release;
    std::shared_future<void> released = release.get_future().share();

    auto holder = [&](std::promise<void>& holds) {
        return std::async(std::launch::async, [&, released] {
            (void)pool.wait(-1);  // without a time limit it cannot fail
            (void)pool.wait(-1);
            holds.set_value();
            released.wait();
            pool.post();
            const bool stillHeld = pool.heldByCurrentThread();
            pool.post();
            return stillHeld && !pool.heldByCurrentThread();
        });
    };
    auto first = holder(firstHolds);
    auto second = holder(secondHolds);
    firstHolds.get_future().wait();
    secondHolds.get_future().wait();
    EXPECT_EQ(0, pool.available());
    EXPECT_FALSE(pool.wait(20)) << "both units are held";

    release.set_value();
    ASSERT_TRUE(finishesWithin(first, kEventually));
    ASSERT_TRUE(finishesWithin(second, kEventually));
    EXPECT_TRUE(first.get());
    EXPECT_TRUE(second.get());
    EXPECT_EQ(2, pool.available());
}

TEST(ReentrantSemaphore, TakingAndGivingItBackAllocatesNothing)
{
    Semaphore lock(1, 1, true);
    (void)lock.wait(-1);  // warm up whatever the first use of the thread's id needs
    lock.post();

    // This test program counts its heap allocations (CountingAllocator); no other thread runs.
    const std::size_t before = heapcount::now().allocations;
    for (int round = 0; round < 100; ++round) {
        (void)lock.wait(-1);  // without a time limit it cannot fail
        (void)lock.wait(-1);
        lock.post();
        lock.post();
    }
    EXPECT_EQ(before, heapcount::now().allocations);
}

TEST(PlainSemaphore, IsABinarySemaphoreThatBlocksEvenItsHolder)
{
    Watchdog watchdog(kWatchdogLimit);
    Semaphore tone(1, 1, false);

    EXPECT_TRUE(tone.wait(-1));
    EXPECT_FALSE(tone.wait(0)) << "a second wait by the same thread does not re-enter";
    EXPECT_FALSE(tone.wait(30));
    EXPECT_FALSE(tone.heldByCurrentThread()) << "a plain semaphore has no holder";
    tone.post();
    EXPECT_TRUE(tone.wait(0));
    tone.post();
}

TEST(PlainSemaphore, AnyThreadMayPost)
{
    Watchdog watchdog(kWatchdogLimit);
    Semaphore signal(0, 1, false);

    auto waiter = std::async(std::launch::async, [&] { return signal.wait(-1); });
    EXPECT_FALSE(finishesWithin(waiter, kBlocked));
    std::thread([&] { signal.post(); }).join();
    ASSERT_TRUE(finishesWithin(waiter, kEventually));
    EXPECT_TRUE(waiter.get());
}

TEST(PlainSemaphore, PostsBeyondTheMaximumAreDropped)
{
    Semaphore tone(1, 1, false);
    tone.post();
    tone.post();
    EXPECT_EQ(1, tone.available());
    EXPECT_TRUE(tone.wait(0));
    EXPECT_FALSE(tone.wait(0));
}

TEST(PlainSemaphore, CountsUpToItsMaximum)
{
    Semaphore slots(0, 3, false);
    for (int i = 0; i < 5; ++i) slots.post();
    EXPECT_EQ(3, slots.available());
    EXPECT_TRUE(slots.wait(0));
    EXPECT_TRUE(slots.wait(0));
    EXPECT_TRUE(slots.wait(0));
    EXPECT_FALSE(slots.wait(0));
}

TEST(PlainSemaphore, ATimedWaitSucceedsWhenPostedDuringTheWait)
{
    Watchdog watchdog(kWatchdogLimit);
    Semaphore signal(0, 1, false);

    auto waiter = std::async(std::launch::async, [&] { return signal.wait(3000); });
    EXPECT_FALSE(finishesWithin(waiter, 50ms));
    signal.post();
    ASSERT_TRUE(finishesWithin(waiter, kEventually));
    EXPECT_TRUE(waiter.get());
}

TEST(PlainSemaphore, ATimedWaitGivesUpAfterItsTime)
{
    Semaphore signal(0, 1, false);
    const auto start = std::chrono::steady_clock::now();
    EXPECT_FALSE(signal.wait(40));
    EXPECT_GE(std::chrono::steady_clock::now() - start, 40ms);
}

TEST(CriticalSection, HoldsTheSemaphoreForItsScope)
{
    Watchdog watchdog(kWatchdogLimit);
    Semaphore lock(1, 1, true);
    {
        CriticalSection section(lock);
        EXPECT_TRUE(lock.heldByCurrentThread());
        {
            CriticalSection nested(lock);
            EXPECT_TRUE(lock.heldByCurrentThread());
        }
        EXPECT_TRUE(lock.heldByCurrentThread());
        auto other = std::async(std::launch::async, [&] { return lock.wait(0); });
        ASSERT_TRUE(finishesWithin(other, kEventually));
        EXPECT_FALSE(other.get());
    }
    EXPECT_FALSE(lock.heldByCurrentThread());
    EXPECT_EQ(1, lock.available());
}

TEST(CriticalSection, SerialisesThreads)
{
    Watchdog watchdog(kWatchdogLimit);
    Semaphore lock(1, 1, true);
    int counter = 0;
    std::atomic<int> inside{0};
    std::atomic<bool> overlapped{false};

    auto work = [&] {
        for (int i = 0; i < 2000; ++i) {
            CriticalSection section(lock);
            if (++inside > 1) overlapped = true;
            ++counter;
            --inside;
        }
    };
    std::thread a(work), b(work), c(work);
    a.join();
    b.join();
    c.join();

    EXPECT_FALSE(overlapped);
    EXPECT_EQ(6000, counter);
}
