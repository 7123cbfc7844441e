// The in-process framework context: peers found by interface name, and one-shot timers on
// a virtual clock that expire only when the clock is advanced.

#include <functional>
#include <map>
#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "InProcessContext.h"

namespace {

// An executable that notes each expiry with the virtual time it arrived at, and may react.
class TimerOwner : public Executable {
public:
    explicit TimerOwner(InProcessContext& context) : m_context(context) {}
    void init(Context&) override {}
    void shutdown() override {}
    void timerEvent(int timerId) override
    {
        expiries.emplace_back(timerId, m_context.now());
        const auto reaction = onExpiry.find(timerId);
        if (reaction != onExpiry.end()) reaction->second();
    }

    std::vector<std::pair<int, long long>> expiries;  // (timer id, virtual time)
    std::map<int, std::function<void()>> onExpiry;

private:
    InProcessContext& m_context;
};

class InProcessContextTimers : public ::testing::Test {
protected:
    InProcessContext context;
    TimerOwner owner{context};

    int startedTimer(int durationMs)
    {
        const int id = context.createTimer(&owner, durationMs);
        context.startTimer(id);
        return id;
    }
};

}  // namespace

TEST_F(InProcessContextTimers, ACreatedTimerDoesNotRunUntilStarted)
{
    const int id = context.createTimer(&owner, 100);
    ASSERT_NE(Context::kNoTimer, id);

    context.advance(1000);

    EXPECT_TRUE(owner.expiries.empty());
    EXPECT_TRUE(context.timerExists(id));
    EXPECT_FALSE(context.timerRunning(id));
    EXPECT_EQ(100, context.timerDuration(id));
}

TEST_F(InProcessContextTimers, AdvancingDeliversEveryDueExpiryInExpiryOrder)
{
    const int slow = startedTimer(300);
    const int fast = startedTimer(100);
    const int middle = startedTimer(200);

    context.advance(1000);

    const std::vector<std::pair<int, long long>> expected = {{fast, 100}, {middle, 200}, {slow, 300}};
    EXPECT_EQ(expected, owner.expiries) << "each arrives at its own moment on the virtual clock";
    EXPECT_EQ(1000, context.now());
}

TEST_F(InProcessContextTimers, ExpiriesDueAtTheSameMomentArriveInStartOrder)
{
    const int second = context.createTimer(&owner, 200);
    const int first = context.createTimer(&owner, 200);
    context.startTimer(first);
    context.startTimer(second);

    context.advance(200);

    const std::vector<std::pair<int, long long>> expected = {{first, 200}, {second, 200}};
    EXPECT_EQ(expected, owner.expiries);
}

TEST_F(InProcessContextTimers, ATimerExpiresOnlyWhenItsFullDurationHasPassed)
{
    const int id = startedTimer(100);

    context.advance(99);
    EXPECT_TRUE(owner.expiries.empty());
    EXPECT_TRUE(context.timerRunning(id));

    context.advance(1);
    ASSERT_EQ(1u, owner.expiries.size());
    EXPECT_FALSE(context.timerRunning(id));
}

TEST_F(InProcessContextTimers, ATimerExpiresOnceAndCanBeStartedAgain)
{
    const int id = startedTimer(100);
    context.advance(500);
    context.advance(500);
    EXPECT_EQ(1u, owner.expiries.size());

    context.startTimer(id);
    context.advance(100);
    const std::vector<std::pair<int, long long>> expected = {{id, 100}, {id, 1100}};
    EXPECT_EQ(expected, owner.expiries);
}

TEST_F(InProcessContextTimers, ResetRestartsTheCountdownFromTheFullDuration)
{
    const int id = startedTimer(100);
    context.advance(60);

    context.resetTimer(id);
    context.advance(60);
    EXPECT_TRUE(owner.expiries.empty()) << "120 ms after the start, 60 after the reset";

    context.advance(40);
    const std::vector<std::pair<int, long long>> expected = {{id, 160}};
    EXPECT_EQ(expected, owner.expiries);
}

TEST_F(InProcessContextTimers, ResetOfAStoppedTimerDoesNotStartIt)
{
    const int id = context.createTimer(&owner, 100);
    context.resetTimer(id);
    context.advance(1000);
    EXPECT_TRUE(owner.expiries.empty());
    EXPECT_FALSE(context.timerRunning(id));
}

TEST_F(InProcessContextTimers, AResetTimerQueuesBehindTimersStartedBeforeTheReset)
{
    const int reset = startedTimer(100);
    context.advance(50);
    const int other = startedTimer(100);  // due at 150
    context.resetTimer(reset);            // due at 150 too, restarted later

    context.advance(100);

    const std::vector<std::pair<int, long long>> expected = {{other, 150}, {reset, 150}};
    EXPECT_EQ(expected, owner.expiries);
}

TEST_F(InProcessContextTimers, StopPreventsTheExpiry)
{
    const int id = startedTimer(100);
    context.advance(50);
    context.stopTimer(id);
    context.advance(1000);

    EXPECT_TRUE(owner.expiries.empty());
    EXPECT_TRUE(context.timerExists(id));
}

TEST_F(InProcessContextTimers, DeletePreventsTheExpiry)
{
    const int id = startedTimer(100);
    context.deleteTimer(id);
    context.advance(1000);

    EXPECT_TRUE(owner.expiries.empty());
    EXPECT_FALSE(context.timerExists(id));
    EXPECT_EQ(-1, context.timerDuration(id));
}

TEST_F(InProcessContextTimers, ATimerStartedDuringAnExpiryIsDeliveredInTheSameAdvanceWhenDue)
{
    const int follow = context.createTimer(&owner, 50);
    const int first = startedTimer(100);
    owner.onExpiry[first] = [&] { context.startTimer(follow); };

    context.advance(200);

    const std::vector<std::pair<int, long long>> expected = {{first, 100}, {follow, 150}};
    EXPECT_EQ(expected, owner.expiries);
}

TEST_F(InProcessContextTimers, ATimerStoppedByAnEarlierExpiryIsNotDelivered)
{
    const int later = startedTimer(200);
    const int first = startedTimer(100);
    owner.onExpiry[first] = [&] { context.stopTimer(later); };

    context.advance(500);

    const std::vector<std::pair<int, long long>> expected = {{first, 100}};
    EXPECT_EQ(expected, owner.expiries);
}

TEST_F(InProcessContextTimers, EachTimerReachesItsOwnOwner)
{
    TimerOwner other(context);
    const int mine = startedTimer(10);
    const int theirs = context.createTimer(&other, 10);
    context.startTimer(theirs);

    context.advance(10);

    ASSERT_EQ(1u, owner.expiries.size());
    EXPECT_EQ(mine, owner.expiries[0].first);
    ASSERT_EQ(1u, other.expiries.size());
    EXPECT_EQ(theirs, other.expiries[0].first);
}

TEST_F(InProcessContextTimers, CreationFailsWithMinusOneWhileSetToFail)
{
    context.setTimerCreationFails(true);
    EXPECT_EQ(-1, context.createTimer(&owner, 100));
    EXPECT_EQ(-1, context.createTimer(&owner, 100));

    context.setTimerCreationFails(false);
    EXPECT_NE(-1, context.createTimer(&owner, 100));
}

TEST_F(InProcessContextTimers, TheNextCreationsCanBeMadeToFail)
{
    context.failNextTimerCreations(2);
    EXPECT_EQ(-1, context.createTimer(&owner, 100));
    EXPECT_EQ(-1, context.createTimer(&owner, 200));
    EXPECT_NE(-1, context.createTimer(&owner, 300));
}

TEST_F(InProcessContextTimers, TimerIdsAreNeverReused)
{
    const int a = context.createTimer(&owner, 1);
    context.deleteTimer(a);
    const int b = context.createTimer(&owner, 1);
    EXPECT_NE(a, b);
}

TEST_F(InProcessContextTimers, EveryOperationIsLoggedInOrder)
{
    const int id = context.createTimer(&owner, 250);
    context.failNextTimerCreations(1);
    context.createTimer(&owner, 6000);
    context.startTimer(id);
    context.resetTimer(id);
    context.advance(250);
    context.stopTimer(id);
    context.deleteTimer(id);

    const std::string n = std::to_string(id);
    const std::vector<std::string> expected = {"create " + n + " 250", "create-failed 6000", "start " + n,
                                               "reset " + n,           "expire " + n,        "stop " + n,
                                               "delete " + n};
    EXPECT_EQ(expected, context.timerOperations());

    context.clearTimerOperations();
    EXPECT_TRUE(context.timerOperations().empty());
}

TEST_F(InProcessContextTimers, AStaleExpiryOfADeletedTimerStillReachesItsOwner)
{
    const int old = startedTimer(100);
    context.deleteTimer(old);

    context.deliverExpiry(old);

    const std::vector<std::pair<int, long long>> expected = {{old, 0}};
    EXPECT_EQ(expected, owner.expiries);
}

TEST_F(InProcessContextTimers, AForcedExpiryArrivesAtOnceAndEndsTheCountdown)
{
    const int id = startedTimer(100);
    context.deliverExpiry(id);
    context.advance(1000);

    EXPECT_EQ(1u, owner.expiries.size());
    EXPECT_FALSE(context.timerRunning(id));
}

TEST_F(InProcessContextTimers, AnExpiryForAnUnknownIdReachesNoOne)
{
    startedTimer(100);
    context.deliverExpiry(4711);
    EXPECT_TRUE(owner.expiries.empty());
    EXPECT_EQ("expire 4711", context.timerOperations().back());
}

TEST_F(InProcessContextTimers, OperationsOnUnknownIdsAreHarmless)
{
    context.startTimer(-1);
    context.stopTimer(-1);
    context.resetTimer(99);
    context.deleteTimer(99);
    context.advance(1000);
    EXPECT_TRUE(owner.expiries.empty());
}

TEST_F(InProcessContextTimers, MovingTheClockBackwardsIsIgnored)
{
    context.advance(100);
    context.advance(-50);
    EXPECT_EQ(100, context.now());
}

// ---- look-ups -------------------------------------------------------------------------------

namespace {
class Peer : public Executable {
public:
    void init(Context&) override {}
    void shutdown() override {}
};
}  // namespace

TEST(InProcessContextLookup, FindsAnExecutableByItsInterfaceName)
{
    InProcessContext context;
    Peer store, das;
    context.registerExecutable("LocalMgmtIfc", &store);
    context.registerExecutable("DataAccessServiceIfc", &das);

    EXPECT_EQ(&store, context.findExecutable("LocalMgmtIfc"));
    EXPECT_EQ(&das, context.findExecutable("DataAccessServiceIfc"));
    EXPECT_EQ(nullptr, context.findExecutable("MediaControlServiceIfc"));
    EXPECT_EQ(nullptr, context.findExecutable("localmgmtifc")) << "names are case-sensitive";

    context.unregisterExecutable("LocalMgmtIfc");
    EXPECT_EQ(nullptr, context.findExecutable("LocalMgmtIfc"));
}

TEST(InProcessContextLookup, FindsAProxyByInterfaceAndClientName)
{
    InProcessContext context;
    Peer diallerProxy;
    context.registerProxy("DigitAnalysisServiceEventIfc", "dialler", &diallerProxy);

    EXPECT_EQ(&diallerProxy, context.findProxy("DigitAnalysisServiceEventIfc", "dialler"));
    EXPECT_EQ(nullptr, context.findProxy("DigitAnalysisServiceEventIfc", "other"));
    EXPECT_EQ(nullptr, context.findProxy("OtherIfc", "dialler"));
    EXPECT_EQ(nullptr, context.findProxy("DigitAnalysisServiceEventIfc", ""));
}

TEST(InProcessContextLookup, TellsTheChannelOfAnExecutable)
{
    InProcessContext context;
    Peer dialler, unnamed;
    context.setChannelName(&dialler, "dialler-channel");

    EXPECT_EQ("dialler-channel", context.findChannel(&dialler));
    EXPECT_EQ("", context.findChannel(&unnamed));
    EXPECT_EQ("", context.findChannel(nullptr));
}

TEST(FrameworkContextDefaults, FindNoProxyAndNoChannel)
{
    struct BareContext : FrameworkContext {} context;
    Peer peer;
    EXPECT_EQ(nullptr, context.findProxy("DigitAnalysisServiceEventIfc", "dialler"));
    EXPECT_EQ("", context.findChannel(&peer));
}

TEST_F(InProcessContextTimers, RunningTimersAreListedInTheOrderTheyFallDue)
{
    const int slow = startedTimer(300);
    const int stopped = startedTimer(50);
    context.stopTimer(stopped);
    const int fast = startedTimer(100);
    const int sameAsFast = startedTimer(100);
    context.createTimer(&owner, 10);  // never started

    context.advance(40);
    const auto running = context.runningTimers();

    ASSERT_EQ(3u, running.size());
    EXPECT_EQ(fast, running[0].timerId);
    EXPECT_EQ(100, running[0].durationMs);
    EXPECT_EQ(100, running[0].dueAtMs);
    EXPECT_EQ(sameAsFast, running[1].timerId) << "due at the same moment: in the order started";
    EXPECT_EQ(slow, running[2].timerId);
    EXPECT_EQ(300, running[2].dueAtMs);
    context.advance(100);
    ASSERT_EQ(1u, context.runningTimers().size()) << "expired timers no longer run";
}
