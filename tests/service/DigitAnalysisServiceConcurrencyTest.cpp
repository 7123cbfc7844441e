// One service driven from three threads at once, as the framework does: client requests
// with digits, timer expiries, and dial tone requests while the media control service only
// appears after a while. Nothing may deadlock or crash, and the service must end consistent.

#include <atomic>
#include <chrono>
#include <mutex>
#include <random>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "CallPartyIdentifier.h"
#include "DialPlan.h"
#include "DigitAnalysisServiceTestAccess.h"
#include "ManageableData.h"
#include "ServiceHarness.h"
#include "Watchdog.h"

namespace {

using namespace std::chrono_literals;

constexpr auto kHammerTime = 3s;
constexpr auto kWatchdog = 60s;

// Formats every line at every level, as a phone with full tracing would, and counts them
// without keeping them.
class CountingLogSink {
public:
    CountingLogSink() : m_previousThreshold(platformlog::threshold())
    {
        platformlog::setThreshold(5);
        platformlog::setSink([this](const LogRecord&) { ++m_lines; });
    }
    ~CountingLogSink()
    {
        platformlog::setSink(nullptr);
        platformlog::setThreshold(m_previousThreshold);
    }
    CountingLogSink(const CountingLogSink&) = delete;
    CountingLogSink& operator=(const CountingLogSink&) = delete;

    long lines() const { return m_lines; }

private:
    int m_previousThreshold;
    std::atomic<long> m_lines{0};
};

class DiallingConcurrency : public ::testing::Test {
protected:
    CountingLogSink log;
    ServiceHarness harness;
    DigitAnalysisService* service = nullptr;
    std::atomic<bool> stopping{false};

    void SetUp() override
    {
        harness.context.unregisterExecutable("MediaControlServiceIfc");
        harness.store.setItem("software-type", "Valtrek SIP");
        harness.store.setItem("emergency-e164", "112");
        harness.setCanonicalSetting("emergencyNumber", "112,110");
        harness.team.setLine("warm", 2, "4444");
        harness.team.setLine("hot", 1, "5555");
        service = &harness.start();
        configurePlan();
        service->setDialler(&harness.dialler);
    }

    // A wait of 1 s after "0", a second one of 2 s after "9", and three-digit numbers "11x" sent at once.
    void configurePlan()
    {
        ManageableData data;
        data.populate("dial-plan-enabled", "dial-plan-enabled", "true");
        data.populate("dial-plan-id", "dial-plan-id", "hammer");
        const char* rows[][3] = {{"0", "S", "1"}, {"9", "S", "2"}, {"11x", "S", "0"}};
        int row = 1;
        for (const auto& entry : rows) {
            const std::string prefix = "dialPlanEntry[" + std::to_string(row++) + "]/";
            data.populate("dialPlanSettings", prefix + "digit-string", entry[0]);
            data.populate("dialPlanSettings", prefix + "action", entry[1]);
            data.populate("dialPlanSettings", prefix + "timer", entry[2]);
        }
        DigitAnalysisServiceTestAccess::getDialPlan(*service)->setData(data);
    }

    void dial(const std::string& digits, bool complete = false)
    {
        std::string text = digits;
        service->dialString(&text, complete, &harness.dialler);
    }

    // Client requests: whole sessions on plain, warm and hot lines, with and without a call
    // context provider, suspended and resumed, locked and unlocked.
    void dialSessions()
    {
        const char* lines[] = {"line1", "warm", "hot", ""};
        const char* numbers[] = {"0123", "115", "9", "110", "777"};
        std::mt19937 random(1);
        for (unsigned int session = 0; !stopping; ++session) {
            if (session % 7 == 0) service->setCallContextProvider(&harness.provider);
            service->startDialling(lines[session % 4], &harness.dialler, session % 5 == 0);
            if (session % 7 == 0) {
                CallPartyIdentifier party("Bob", "200", "sip:200@pbx");
                service->dialPartyDetailsResponse(party, session % 2 == 0, false);
                service->clearCallContextProvider(&harness.provider);
            }
            if (session % 3 == 0) service->suspendDialling();
            if (session % 3 == 0) service->resumeDialling();
            const std::string number = numbers[random() % 5];
            for (std::size_t length = 0; length <= number.size(); ++length) dial(number.substr(0, length));
            if (session % 4 == 0) dial(number, true);
            service->resetAutoDialTimer();
            std::string latest;
            service->getLatestDialledDigits(&latest);
            if (session % 11 == 0) {
                harness.store.setItem("phone-lock-active", session % 2 == 0 ? "true" : "false");
                service->extractPhoneLockActiveData();
            }
            if (session % 13 == 0) service->startBlindTransferDialling();
            if (session % 17 == 0) service->startOnHookDialling(&harness.dialler);
            service->stopDialling(&harness.dialler);
        }
    }

    // The framework's timer machinery: due expiries, late ones and expiries of unknown timers.
    void deliverExpiries()
    {
        std::mt19937 random(2);
        while (!stopping) {
            harness.context.advance(static_cast<long long>(random() % 3000));
            const int timerId = static_cast<int>(random() % 12);
            if (random() % 4 == 0) harness.context.deliverExpiry(timerId);
            if (random() % 8 == 0) service->timerEvent(timerId);
        }
    }

    // Dial tone requests; the media control service is registered half-way through.
    void toggleDialTone()
    {
        const auto appearsAt = std::chrono::steady_clock::now() + kHammerTime / 2;
        bool registered = false;
        while (!stopping) {
            if (!registered && std::chrono::steady_clock::now() >= appearsAt) {
                harness.context.registerExecutable("MediaControlServiceIfc", &harness.media);
                registered = true;
            }
            service->playDialTone();
            service->stopDialTone();
            service->playDialTone();
        }
    }

    // Runs the three threads for the hammer time and ends the session; ends the test program
    // with a failure when they do not all finish in time.
    void hammer()
    {
        // A deadlock ends the program here: the deadlocked threads can be neither joined nor
        // detached safely.
        const Watchdog watchdog(kWatchdog, "the three threads hammering the service");
        std::thread digits([this] { dialSessions(); });
        std::thread expiries([this] { deliverExpiries(); });
        std::thread tone([this] { toggleDialTone(); });
        std::this_thread::sleep_for(kHammerTime);
        stopping = true;
        digits.join();
        expiries.join();
        tone.join();
        // Quiet now: end the session and let every timer that is still running expire.
        harness.store.setItem("phone-lock-active", "false");
        service->extractPhoneLockActiveData();
        service->stopDialling(&harness.dialler);
        service->stopDialTone();
        harness.context.advance(200000);
    }
};

TEST_F(DiallingConcurrency, ThreeThreadsHammeringOneServiceNeitherDeadlockNorCorruptIt)
{
    hammer();
    EXPECT_GT(log.lines(), 0);

    // Every record agrees with the framework: after the last expiry nothing runs, and each
    // record's timer exists, once.
    std::set<int> ids;
    for (const TimerDetails* timer : {&DigitAnalysisServiceTestAccess::initialDigitTimer(*service), &DigitAnalysisServiceTestAccess::autoDialTimer(*service),
                                      &DigitAnalysisServiceTestAccess::partyDetailsTimer(*service), &DigitAnalysisServiceTestAccess::extendedInitialDigitTimer(*service),
                                      &DigitAnalysisServiceTestAccess::dialPlanTimer(*service)}) {
        EXPECT_FALSE(timer->timerRunning);
        ASSERT_NE(timer->timerID, -1);
        EXPECT_TRUE(harness.context.timerExists(timer->timerID));
        EXPECT_FALSE(harness.context.timerRunning(timer->timerID));
        ids.insert(timer->timerID);
    }
    EXPECT_EQ(ids.size(), 5u);

    // The dial tone was played and stopped strictly in turn, and is off at the end.
    const std::vector<std::string> tones = harness.media.calls();
    ASSERT_FALSE(tones.empty()) << "the media control service that appeared late was never used";
    for (std::size_t i = 0; i < tones.size(); ++i) {
        EXPECT_EQ(tones[i].rfind(i % 2 == 0 ? "play " : "stop ", 0), 0u) << "request " << i << ": " << tones[i];
    }
    EXPECT_EQ(tones.back().rfind("stop ", 0), 0u);

    // The service still answers, from this thread: no lock was left held.
    std::string latest = "unchanged";
    service->getLatestDialledDigits(&latest);
    EXPECT_EQ(latest, "");
    for (const auto& call : harness.dialler.calls()) EXPECT_EQ(call.find("<null>"), std::string::npos) << call;
}

}  // namespace
