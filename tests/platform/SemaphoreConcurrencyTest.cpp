// The one-unit semaphores (the service lock, re-entrant, and the dial-tone lock, plain) under
// threads that take them as the service does on every key: nested, with and without a time
// limit, given back by their holder. No two threads are ever inside at once, every waiter is
// woken, and the unit is free at the end. Run by ThreadSanitizer too.

#include <atomic>
#include <chrono>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "Semaphore.h"
#include "Watchdog.h"

namespace {

constexpr int kThreads = 4;
constexpr int kRounds = 20000;

// Runs `body(thread)` on kThreads threads at once and waits for all of them.
template <class Body>
void onThreads(Body body)
{
    std::vector<std::thread> threads;
    for (int thread = 0; thread < kThreads; ++thread) threads.emplace_back(body, thread);
    for (auto& thread : threads) thread.join();
}

}  // namespace

TEST(OneUnitSemaphore, ReentrantTakersNeverOverlapAndEveryWaiterGetsIn)
{
    Watchdog watchdog(std::chrono::seconds(60), "the re-entrant semaphore's takers");
    Semaphore lock(1, 1, true);
    std::atomic<int> inside{0};
    std::atomic<int> overlaps{0};
    long long entries = 0;  // guarded by the semaphore itself
    onThreads([&](int thread) {
        for (int round = 0; round < kRounds; ++round) {
            // Every fourth round a timed wait, which may give up when the others hold on.
            const bool timed = (round + thread) % 4 == 0;
            if (!lock.wait(timed ? 1 : -1)) continue;
            if (inside.fetch_add(1) != 0) ++overlaps;
            ASSERT_TRUE(lock.wait(0)) << "the holder takes it again at once";
            ++entries;
            EXPECT_TRUE(lock.heldByCurrentThread());
            lock.post();
            inside.fetch_sub(1);
            lock.post();
        }
    });
    EXPECT_EQ(overlaps.load(), 0);
    EXPECT_GT(entries, static_cast<long long>(kThreads) * kRounds * 3 / 4) << "the waits without a limit all got in";
    EXPECT_EQ(lock.available(), 1);
    EXPECT_FALSE(lock.heldByCurrentThread());
}

TEST(OneUnitSemaphore, PlainTakersNeverOverlap)
{
    Watchdog watchdog(std::chrono::seconds(60), "the plain semaphore's takers");
    Semaphore lock(1, 1, false);
    std::atomic<int> inside{0};
    std::atomic<int> overlaps{0};
    std::atomic<long long> entries{0};
    onThreads([&](int thread) {
        for (int round = 0; round < kRounds; ++round) {
            if (!lock.wait(thread == 0 ? 1 : -1)) continue;
            if (inside.fetch_add(1) != 0) ++overlaps;
            ++entries;
            inside.fetch_sub(1);
            lock.post();
        }
    });
    EXPECT_EQ(overlaps.load(), 0);
    EXPECT_GT(entries.load(), static_cast<long long>(kThreads - 1) * kRounds);
    EXPECT_EQ(lock.available(), 1);
}
