// dasd under load from every side at once: several clients dialling concurrently while
// timers expire and configuration changes arrive (timer durations, phone lock, canonical
// settings, dial plan writes). Every request must be answered; a deadlock fails the test
// through its watchdog; under ThreadSanitizer (CI's tsan step) a data race stops the daemon
// or the test.

#include <atomic>
#include <chrono>
#include <fstream>
#include <iterator>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "DaemonProcess.h"
#include "DasClient.h"
#include "ScratchDirectory.h"
#include "Watchdog.h"

namespace {

using namespace std::chrono_literals;

constexpr int kDiallers = 4;
constexpr auto kRunTime = 8s;
// Far above what a slow sanitizer run needs, far below CTest's time-out.
constexpr auto kWatchdogLimit = 100s;

bool startsWith(const std::string& text, const std::string& prefix) { return text.rfind(prefix, 0) == 0; }

std::string planJson(int generation)
{
    const std::string id = "STRESS-" + std::to_string(generation);
    return R"({"dial-plan-id": ")" + id + R"(", "dial-plan-enabled": "true", "dialPlanSettings": [)"
           R"({"digit-string": "112", "action": "S", "min-digit-len": "", "max-digit-len": "", "timer": "0", )"
           R"("terminating-char": "", "spec-num-indic": "E", "comment": "", "terminating-char-sent": "false"},)"
           R"({"digit-string": "0", "action": "S", "min-digit-len": "", "max-digit-len": "", "timer": "1", )"
           R"("terminating-char": "#", "spec-num-indic": "", "comment": "", "terminating-char-sent": "false"}]})";
}

class HostDaemonConcurrency : public ::testing::Test {
protected:
    ScratchDirectory scratch{"dasd-stress"};
    const std::string directory = scratch.path();
    DaemonProcess daemon{directory, {"--log", "5"}};

    std::mutex faultMutex;
    std::vector<std::string> faults;
    std::atomic<bool> stopping{false};
    std::atomic<long> answered{0};
    std::atomic<long> events{0};
    std::atomic<long> changes{0};
    const std::chrono::steady_clock::time_point started = std::chrono::steady_clock::now();

    ~HostDaemonConcurrency() override
    {
        daemon.stop();
    }

    void fault(const std::string& what)
    {
        std::lock_guard<std::mutex> lock(faultMutex);
        faults.push_back(what);
    }

    // One request that must be completed with exactly `replies` replies, the first
    // beginning with `prefix`.
    void expectAnswer(DasClient& client, const std::string& request, std::size_t replies, const std::string& prefix)
    {
        const auto got = client.request(request);
        if (got.size() != replies || (replies > 0 && !startsWith(got.front(), prefix)))
            fault(request + ": " + std::to_string(got.size()) + " replies" + (got.empty() ? "" : ", " + got.front()));
        ++answered;
    }

    // Time is cut into rounds: in the first part of a round every dialler runs sessions as fast
    // as it can; in the rest only the round's leader dials, stopping after two digits so that
    // the dial plan and auto-dial timers expire, while the others keep asking for conversions.
    static constexpr auto kRound = 2000ms;
    static constexpr auto kBusyPart = 500ms;

    bool leaderWaitsNow(int index) const
    {
        const auto sinceStart = std::chrono::steady_clock::now() - started;
        const auto round = sinceStart / kRound;
        return sinceStart % kRound >= kBusyPart && round % kDiallers == index;
    }

    bool othersWaitNow() const { return (std::chrono::steady_clock::now() - started) % kRound >= kBusyPart; }

    void runSession(DasClient& client, bool waitForTimers)
    {
        expectAnswer(client, "set_dialler_request", 1, "set_dialler_response:");
        expectAnswer(client, "startdiallingrequest:2,0", 0, "");
        std::string digits;
        for (const char digit : std::string("0891234")) {
            digits += digit;
            expectAnswer(client, "dialstringrequest:" + digits + ",0", 1, "dialstringresponse:");
            if (waitForTimers && digits.size() == 2) std::this_thread::sleep_for(1500ms);
        }
        expectAnswer(client, "getLatestDialledDigitsRequest", 1, "");
        expectAnswer(client, "stopdiallingrequest", 0, "");
    }

    void dial(int index)
    {
        DasClient::Handlers handlers;
        handlers.onEvent = [this](const std::string&) { ++events; };
        handlers.onProxyRequest = [](const std::string&) { return std::string("1"); };
        try {
            DasClient client(daemon.socket(), "dialler-" + std::to_string(index), handlers);
            while (!stopping) {
                if (leaderWaitsNow(index)) {
                    runSession(client, true);
                } else if (othersWaitNow()) {
                    expectAnswer(client, "canonicalconversionrequest:089 1234", 1, "canonicalconversionresponse:");
                    expectAnswer(client, "isEmergencyNumberRequest:true:112", 1, "isEmergencyNumberResponse:");
                    std::this_thread::sleep_for(20ms);
                } else {
                    runSession(client, false);
                }
            }
        } catch (const std::exception& error) {
            fault("dialler " + std::to_string(index) + ": " + error.what());
        }
    }

    void expectOk(const Json& result, const std::string& what)
    {
        if (!result.contains("ok") || !result.at("ok").get<bool>()) fault(what + ": " + result.dump());
        ++changes;
    }

    // While the diallers are busy every kind of change arrives; while a leader waits for its
    // timers only changes that leave timers and the phone lock alone, so that they can expire.
    void changeConfiguration()
    {
        try {
            DasClient client(daemon.socket(), "");
            for (int round = 0; !stopping; ++round) {
                if (othersWaitNow()) {
                    client.managementGet({"dial-plan-id"});
                    expectOk(client.notify(R"({"fac-prefix-numbers": ")" + std::to_string(round) + R"("})"), "FAC prefixes");
                    std::this_thread::sleep_for(50ms);
                    continue;
                }
                const std::string area = round % 2 == 0 ? "30" : "89";
                expectOk(client.notify(R"({"canonicalDialSettings": {"areaCode": ")" + area + R"("}})"),
                         "canonical settings");
                const std::string seconds = round % 2 == 0 ? "1" : "2";
                expectOk(client.notify(R"({"autodialtimer": ")" + seconds + R"(", "initial-digit-timer": ")" + seconds +
                                       R"("})"),
                         "timer durations");
                expectOk(client.notify(R"({"phone-lock-active": "true"})"), "phone lock");
                expectOk(client.managementSet(planJson(round)), "dial plan write");
                expectOk(client.notify(R"({"phone-lock-active": "false"})"), "phone unlock");
            }
        } catch (const std::exception& error) {
            fault(std::string("configuration: ") + error.what());
        }
    }

    std::string daemonLog() const
    {
        std::ifstream file(daemon.log());
        return std::string((std::istreambuf_iterator<char>(file)), std::istreambuf_iterator<char>());
    }
};

TEST_F(HostDaemonConcurrency, DiallersTimersAndConfigurationChangesAllAtOnce)
{
    daemon.start();
    {
        // A plan whose "0" entry runs a one-second dial plan timer, in place before anyone dials.
        DasClient setUp(daemon.socket(), "");
        expectOk(setUp.managementSet(planJson(0)), "first dial plan write");
    }
    {
        Watchdog watchdog(kWatchdogLimit, "the stress run");
        std::vector<std::thread> threads;
        for (int index = 0; index < kDiallers; ++index) threads.emplace_back([this, index] { dial(index); });
        threads.emplace_back([this] { changeConfiguration(); });
        std::this_thread::sleep_for(kRunTime);
        stopping = true;
        for (auto& thread : threads) thread.join();
    }
    EXPECT_EQ(faults, std::vector<std::string>{});
    EXPECT_GT(answered.load(), 100);
    EXPECT_GT(changes.load(), 8);
    EXPECT_GT(events.load(), 0);
    EXPECT_EQ(daemon.stop(), 0);
    const std::string log = daemonLog();
    // The daemon logs at level 5: every expiry the service acted on is in its log.
    EXPECT_NE(log.find("Time Out Event"), std::string::npos) << "no timer expired during the run";
    const auto report = log.find("Sanitizer");
    EXPECT_EQ(report, std::string::npos) << log.substr(report == std::string::npos ? 0 : report, 4000);
}

}  // namespace
