// dasd as its clients see it: a dialling session driven with dasctl, the dial plan kept
// across restarts and across a kill in the middle of a management write, clients of
// another user refused, SIGHUP, and many clients at once.

#include <fcntl.h>
#include <signal.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <memory>
#include <random>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "DaemonProcess.h"
#include "ProgramRun.h"
#include "ScratchDirectory.h"
#include "DasClient.h"
#include "Framing.h"
#include "SqliteDataAccessService.h"
#include "TextFiles.h"
#include "UnixSocket.h"

namespace {

using namespace std::chrono_literals;

class HostDaemon : public ::testing::Test {
protected:
    ScratchDirectory scratch{"dasd-test"};
    const std::string directory = scratch.path();
    DaemonProcess daemon{directory};

    ~HostDaemon() override
    {
        daemon.stop();
    }

    std::string dasctl(const std::string& arguments)
    {
        return runCommand(std::string(DASCTL_PATH) + " --socket " + daemon.socket() + " " + arguments + " 2>&1").output;
    }

    std::string planId()
    {
        DasClient client(daemon.socket(), "");
        const Json result = client.managementGet({"dial-plan-id"});
        for (const auto& item : result.at("items"))
            if (item.at(0) == "dial-plan-id/dialPlanId") return item.at(1).get<std::string>();
        return "<none>";
    }
};

std::string planJson(const std::string& id, int entries)
{
    std::string settings;
    for (int i = 1; i <= entries; ++i) {
        if (!settings.empty()) settings += ",";
        // Every field is given: a field left out would keep the value of the row before.
        settings += R"({"digit-string": ")" + id + std::to_string(i) +
                    R"(", "action": "S", "min-digit-len": "", "max-digit-len": "", "timer": "0", )"
                    R"("terminating-char": "", "spec-num-indic": "", "comment": "", "terminating-char-sent": "false"})";
    }
    return R"({"dial-plan-id": ")" + id + R"(", "dial-plan-enabled": "true", "dialPlanSettings": [)" + settings + "]}";
}

// The plan id and the digit strings of the entries held in a store file.
std::pair<std::string, std::vector<std::string>> storedPlan(const std::string& path)
{
    SqliteDataAccessService store(path);
    const std::string header = "<?xml version=\"1.0\" encoding=\"utf-8\"?>";
    const std::string overview = store.processRequest(
        header + "<Schema name=\"DialPlanOverview\"><ReasonForMessage>ReadRequest</ReasonForMessage></Schema>");
    std::string entries = store.processRequest(
        header + "<Schema name=\"DialPlanEntries\"><ReasonForMessage>ReadRequest</ReasonForMessage></Schema>");
    const auto between = [](const std::string& text, const std::string& tag, std::size_t from) {
        const auto start = text.find("<" + tag + ">", from);
        if (start == std::string::npos) return std::string("<none>");
        const auto end = text.find("</" + tag + ">", start);
        return text.substr(start + tag.size() + 2, end - start - tag.size() - 2);
    };
    std::vector<std::string> digits;
    for (auto at = entries.find("<DigitString>"); at != std::string::npos; at = entries.find("<DigitString>", at + 1))
        digits.push_back(between(entries, "DigitString", at));
    return {between(overview, "DialPlanId", 0), digits};
}

}  // namespace

TEST_F(HostDaemon, DasctlDrivesADiallingSessionAndReceivesItsEvents)
{
    daemon.start();
    const std::string output =
        dasctl("--name dialler send set_dialler_request startdiallingrequest:2,0 dialstringrequest:21,0 "
               "dialstringrequest:215,0 getLatestDialledDigitsRequest");
    EXPECT_TRUE(contains(output, "reply \"set_dialler_response:,1\"\n")) << output;
    EXPECT_TRUE(contains(output, "event \"handledialingstartedevent:2\"\n")) << output;
    EXPECT_TRUE(contains(output, "reply \"dialstringresponse:,0\"\n")) << output;
    EXPECT_TRUE(contains(output, "reply \"dialstringresponse:215,1\"\n")) << output;
}

TEST_F(HostDaemon, ListenerReceivesTheTimeoutEventOfItsName)
{
    daemon.start();
    std::string listened;
    std::thread listener([&] { listened = dasctl("--name dialler --listen"); });
    std::this_thread::sleep_for(300ms);
    dasctl("--name dialler send set_dialler_request startdiallingrequest:2,0 dialstringrequest:0891,0");
    // The Munich plan's entry "0" sends the number 5 s after the last digit.
    std::this_thread::sleep_for(5500ms);
    daemon.stop();
    listener.join();
    EXPECT_TRUE(contains(listened, "event \"handledialingstartedevent:2\"\n")) << listened;
    EXPECT_TRUE(contains(listened, "event \"0891\"\n")) << listened;
}

TEST_F(HostDaemon, ManagementThroughDasctl)
{
    daemon.start();
    EXPECT_EQ(dasctl("mgmt-set '" + planJson("T", 2) + "'"), "mgmt-set true\n");
    const std::string read = dasctl("mgmt-get dial-plan-id dialPlanSettings");
    EXPECT_TRUE(contains(read, "mgmt-get dial-plan-id/dialPlanId \"T\"\n")) << read;
    EXPECT_TRUE(contains(read, "mgmt-get dialPlanSettings/dialPlanEntry[2]/digit-string \"T2\"\n")) << read;
    EXPECT_EQ(dasctl("set fac-prefix-numbers 55"), "");
    EXPECT_EQ(dasctl("send isfacprefixrequest:551"), "reply \"isfacprefixresponse:551,1\"\n");
    EXPECT_TRUE(contains(dasctl("mgmt-set '{\"a\": '"), "error \"column")) << "malformed JSON is reported";
}

TEST_F(HostDaemon, RestartKeepsTheDialPlan)
{
    daemon.start();
    EXPECT_EQ(planId(), "DE-1");
    {
        DasClient client(daemon.socket(), "");
        EXPECT_EQ(client.managementSet(planJson("KEEP", 3)).at("ok"), true);
    }
    EXPECT_EQ(daemon.stop(), 0);
    daemon.start();
    EXPECT_EQ(planId(), "KEEP");
    DasClient client(daemon.socket(), "dialler");
    client.request("set_dialler_request");
    client.request("startdiallingrequest:2,0");
    EXPECT_EQ(client.request("dialstringrequest:KEEP2,0"), std::vector<std::string>{"dialstringresponse:KEEP2,1"});
}

TEST_F(HostDaemon, KillDuringManagementWritesLeavesTheOldPlanOrTheNew)
{
    std::mt19937 random(20261122);
    for (int round = 0; round < 4; ++round) {
        daemon.start();
        std::atomic<bool> writing{true};
        std::thread writer([&] {
            try {
                DasClient client(daemon.socket(), "", {}, 2000);
                for (int i = 0; writing; ++i) client.managementSet(i % 2 == 0 ? planJson("A", 20) : planJson("B", 35));
            } catch (const ClientError&) {
                // the daemon was killed under it
            }
        });
        std::this_thread::sleep_for(std::chrono::milliseconds(150 + random() % 300));
        daemon.killHard();
        writing = false;
        writer.join();

        const auto [id, digits] = storedPlan(daemon.store());
        ASSERT_TRUE(id == "A" || id == "B" || id == "DE-1") << "plan id " << id;
        const std::size_t expected = id == "A" ? 20 : id == "B" ? 35 : 5;
        ASSERT_EQ(digits.size(), expected) << "plan " << id << " in round " << round;
        if (id != "DE-1") {
            for (std::size_t i = 0; i < digits.size(); ++i) EXPECT_EQ(digits[i], id + std::to_string(i + 1));
        }
        daemon.start();
        EXPECT_EQ(planId(), id);
        daemon.stop();
    }
}

TEST_F(HostDaemon, ClientOfAnotherUserIsRefused)
{
    if (geteuid() != 0) GTEST_SKIP() << "needs root to run a client as another user";
    chmod(directory.c_str(), 0755);
    daemon.start();
    // 1: cannot connect; 2: the daemon refused the client; 3: the client refused the daemon.
    const auto connectAsNobody = [&](bool throughTheClient) -> int {
        const pid_t child = fork();
        if (child == 0) {
            if (setgid(65534) != 0 || setuid(65534) != 0) _exit(10);
            if (throughTheClient) {
                try {
                    DasClient client(daemon.socket(), "intruder");
                    _exit(0);
                } catch (const ClientError& error) {
                    _exit(std::string(error.what()).find("refusing the socket") != std::string::npos ? 3 : 1);
                }
            }
            // A raw connection, as a client that does not check whom it talks to.
            const int fd = socket(AF_UNIX, SOCK_STREAM, 0);
            sockaddr_un address{};
            address.sun_family = AF_UNIX;
            std::snprintf(address.sun_path, sizeof address.sun_path, "%s", daemon.socket().c_str());
            if (connect(fd, reinterpret_cast<sockaddr*>(&address), sizeof address) != 0) _exit(1);
            writeAll(fd, encodeFrame(Frame{FrameKind::Hello, 0, "intruder"}));
            FrameDecoder decoder;
            Frame frame;
            char buffer[256];
            ssize_t count = 0;
            while (!decoder.next(frame) && (count = recv(fd, buffer, sizeof buffer, 0)) > 0)
                decoder.feed(buffer, static_cast<std::size_t>(count));
            _exit(frame.kind == FrameKind::Error && frame.text == "refused: the client runs as another user" ? 2 : 0);
        }
        int status = 0;
        waitpid(child, &status, 0);
        return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    };
    struct stat info{};
    ASSERT_EQ(stat(daemon.socket().c_str(), &info), 0);
    EXPECT_EQ(info.st_mode & 0777, 0600u);
    EXPECT_EQ(connectAsNobody(false), 1) << "the socket's mode keeps others out";
    chmod(daemon.socket().c_str(), 0666);
    EXPECT_EQ(connectAsNobody(false), 2) << "the peer's user id is checked as well";
    EXPECT_EQ(connectAsNobody(true), 3) << "and the client checks whom it talks to";
    EXPECT_EQ(dasctl("send isfacprefixrequest:*72"), "reply \"isfacprefixresponse:*72,1\"\n");
}

TEST_F(HostDaemon, HangupReadsTheConfigurationFileAgain)
{
    const std::string config = directory + "/phone.json";
    std::ofstream(config) << R"({"items": {"fac-prefix-numbers": "*7"}})";
    DaemonProcess configured(directory, {"--config", config});
    configured.start();
    DasClient client(configured.socket(), "");
    EXPECT_EQ(client.request("isfacprefixrequest:551"), std::vector<std::string>{"isfacprefixresponse:551,0"});
    std::ofstream(config) << R"({"items": {"fac-prefix-numbers": "55"}})";
    configured.signal(SIGHUP);
    std::vector<std::string> reply;
    for (int attempt = 0; attempt < 100; ++attempt) {
        reply = client.request("isfacprefixrequest:551");
        if (reply == std::vector<std::string>{"isfacprefixresponse:551,1"}) break;
        std::this_thread::sleep_for(20ms);
    }
    EXPECT_EQ(reply, std::vector<std::string>{"isfacprefixresponse:551,1"});
    client.close();
    EXPECT_EQ(configured.stop(), 0);
}

// A dial plan whose texts hold markup characters is kept whole: the store must not refuse a
// part of the write after the old rows were deleted, or the phone restarts with a mixture.
TEST_F(HostDaemon, PlanWithMarkupCharactersIsAcknowledgedOnlyWhenItSurvivesARestart)
{
    daemon.start();
    const std::string plan = R"({"dial-plan-id": "A<B & ]]>", "dial-plan-enabled": "true", "dialPlanSettings": [)"
                             R"({"digit-string": "0", "action": "S", "min-digit-len": "", "max-digit-len": "", )"
                             R"("timer": "5", "terminating-char": "", "spec-num-indic": "", "comment": "<i>x</i> & y", )"
                             R"("terminating-char-sent": "false"}]})";
    EXPECT_EQ(dasctl("mgmt-set '" + plan + "'"), "mgmt-set true\n");
    EXPECT_EQ(daemon.stop(), 0);
    daemon.start();
    EXPECT_EQ(planId(), "A<B & ]]>");
    EXPECT_TRUE(contains(dasctl("mgmt-get dialPlanSettings"),
                         "mgmt-get dialPlanSettings/dialPlanEntry[1]/comment \"<i>x</i> & y\"\n"));
}

TEST_F(HostDaemon, RefusedPlanIsAnsweredFalseWithItsReasonAndTheOldPlanStaysInForce)
{
    daemon.start();
    ASSERT_EQ(dasctl("mgmt-set '" + planJson("OLD", 2) + "'"), "mgmt-set true\n");
    const std::string bad = R"({"dial-plan-id": "BAD", "dialPlanSettings": [{"digit-string": "0", "action": "X"}]})";
    EXPECT_EQ(dasctl("mgmt-set '" + bad + "'"),
              "mgmt-set false\nreason \"the service refused the dial plan: row 1 is not valid\"\n");
    const std::string read = dasctl("mgmt-get dial-plan-id dial-plan-error dialPlanSettings");
    EXPECT_TRUE(contains(read, "mgmt-get dial-plan-id/dialPlanId \"OLD\"\n")) << read;
    EXPECT_TRUE(contains(read, "mgmt-get dial-plan-error/dialPlanError \"false\"\n")) << read;
    EXPECT_TRUE(contains(read, "mgmt-get dialPlanSettings/dialPlanEntry[2]/digit-string \"OLD2\"\n")) << read;
    EXPECT_EQ(daemon.stop(), 0);
    EXPECT_EQ(storedPlan(daemon.store()).first, "OLD");
}

TEST_F(HostDaemon, RefusedConfiguredPlanIsReportedAndLeavesThePlanTheServiceStartsWith)
{
    const std::string config = directory + "/phone.json";
    std::ofstream(config) << R"({"dialPlan": {"dial-plan-id": "BAD", "dial-plan-enabled": "true", )"
                          << R"("dialPlanSettings": [{"digit-string": "0", "action": "X"}]}})";
    DaemonProcess configured(directory, {"--config", config});
    configured.start();
    DasClient client(configured.socket(), "");
    const Json plan = client.managementGet({"dial-plan-id", "dial-plan-enabled", "dial-plan-error"});
    EXPECT_EQ(plan.at("items").dump(), R"([["dial-plan-id/dialPlanId",""],["dial-plan-enabled/dialPlanEnabled","false"],)"
                                       R"(["dial-plan-error/dialPlanError","false"]])");
    client.close();
    EXPECT_EQ(configured.stop(), 0);
    std::ifstream file(configured.log());
    const std::string log((std::istreambuf_iterator<char>(file)), std::istreambuf_iterator<char>());
    EXPECT_TRUE(contains(log, "dasd: configured dial plan not written: the service refused the dial plan: row 1 is "
                              "not valid\n"))
        << log;
    EXPECT_FALSE(SqliteDataAccessService(configured.store()).hasDialPlan());
}

// A reload is one change: an invalid dial plan in the file keeps every item as it was too.
TEST_F(HostDaemon, HangupWithAnInvalidPlanKeepsTheWholeOldConfiguration)
{
    const std::string config = directory + "/phone.json";
    std::ofstream(config) << R"({"items": {"fac-prefix-numbers": "*7"}, "dialPlan": )" << planJson("OLD", 1) << "}";
    DaemonProcess configured(directory, {"--config", config});
    configured.start();
    std::ofstream(config) << R"({"items": {"fac-prefix-numbers": "55"}, "dialPlan": )"
                          << R"({"dial-plan-id": "BAD", "dialPlanSettings": [{"digit-string": "0", "action": "X"}]})"
                          << "}";
    configured.signal(SIGHUP);
    std::string log;
    for (int attempt = 0; attempt < 200 && !contains(log, "SIGHUP: configuration kept"); ++attempt) {
        std::this_thread::sleep_for(20ms);
        std::ifstream file(configured.log());
        log.assign(std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>());
    }
    EXPECT_TRUE(contains(log, "dasd: SIGHUP: configuration kept: the dial plan was not written: the service refused "
                              "the dial plan: row 1 is not valid\n"))
        << log;
    DasClient client(configured.socket(), "");
    EXPECT_EQ(client.request("isfacprefixrequest:551"), std::vector<std::string>{"isfacprefixresponse:551,0"});
    EXPECT_EQ(client.request("isfacprefixrequest:*71"), std::vector<std::string>{"isfacprefixresponse:*71,1"});
    const Json plan = client.managementGet({"dial-plan-id"});
    EXPECT_EQ(plan.at("items").at(0).at(1), "OLD");
    client.close();
    EXPECT_EQ(configured.stop(), 0);
}

TEST_F(HostDaemon, TermStopsCleanlyAndRemovesTheSocket)
{
    daemon.start();
    EXPECT_EQ(daemon.stop(), 0);
    EXPECT_FALSE(std::filesystem::exists(daemon.socket()));
}

TEST_F(HostDaemon, InterruptDestroysTheService)
{
    DaemonProcess traced(directory, {"--log", "5"});
    traced.start();
    traced.signal(SIGINT);
    EXPECT_EQ(traced.stop(), 0);
    std::ifstream file(traced.log());
    const std::string log((std::istreambuf_iterator<char>(file)), std::istreambuf_iterator<char>());
    EXPECT_TRUE(contains(log, "dasd: SIGINT: shutting down")) << log;
    EXPECT_TRUE(contains(log, "\"~DigitAnalysisService()\"")) << log;
    EXPECT_LT(log.find("SIGINT"), log.find("~DigitAnalysisService()"));
}

namespace {
// Writes raw bytes to a fresh connection and returns the first frame the daemon sends back.
Frame firstAnswerTo(const std::string& socketPath, const std::string& bytes)
{
    const int fd = connectUnixSocket(socketPath);
    writeAll(fd, bytes);
    FrameDecoder decoder;
    Frame frame;
    char buffer[256];
    ssize_t count = 0;
    while (!decoder.next(frame) && (count = recv(fd, buffer, sizeof buffer, 0)) > 0)
        decoder.feed(buffer, static_cast<std::size_t>(count));
    // The daemon hangs up after its error.
    while (recv(fd, buffer, sizeof buffer, 0) > 0) {
    }
    close(fd);
    return frame;
}
}  // namespace

TEST_F(HostDaemon, MalformedFrameIsAnsweredWithAnErrorAndTheConnectionEnds)
{
    daemon.start();
    const Frame answer = firstAnswerTo(daemon.socket(), std::string("\0\0\0\0", 4));
    EXPECT_EQ(answer.kind, FrameKind::Error);
    EXPECT_EQ(answer.text, "protocol error: frame of length 0");
}

TEST_F(HostDaemon, ClientMustNameItselfFirst)
{
    daemon.start();
    const Frame answer = firstAnswerTo(daemon.socket(), encodeFrame(Frame{FrameKind::Request, 1, "set_dialler_request"}));
    EXPECT_EQ(answer.kind, FrameKind::Error);
    EXPECT_EQ(answer.text, "protocol error: the first frame must be HELLO");
}

TEST_F(HostDaemon, PipelinedRequestsOfOneClientAreAnsweredInOrder)
{
    daemon.start();
    constexpr std::uint32_t kRequests = 5000;  // more than may wait at once: the reader is held back
    const int fd = connectUnixSocket(daemon.socket());
    std::string stream = encodeFrame(Frame{FrameKind::Hello, 0, "pipeline"});
    for (std::uint32_t id = 1; id <= kRequests; ++id)
        stream += encodeFrame(Frame{FrameKind::Request, id, "isfacprefixrequest:" + std::to_string(id)});
    std::thread writer([&] { writeAll(fd, stream); });
    FrameDecoder decoder;
    Frame frame;
    char buffer[65536];
    std::uint32_t completed = 0;
    std::uint32_t outOfOrder = 0;
    std::uint32_t lastReply = 0;
    while (completed < kRequests) {
        const ssize_t count = recv(fd, buffer, sizeof buffer, 0);
        if (count <= 0) break;
        decoder.feed(buffer, static_cast<std::size_t>(count));
        while (decoder.next(frame)) {
            if (frame.kind == FrameKind::Reply) {
                if (frame.id != lastReply + 1 ||
                    frame.text != "isfacprefixresponse:" + std::to_string(frame.id) + ",0")
                    ++outOfOrder;
                lastReply = frame.id;
            }
            if (frame.kind == FrameKind::Complete) ++completed;
        }
    }
    writer.join();
    close(fd);
    EXPECT_EQ(completed, kRequests);
    EXPECT_EQ(lastReply, kRequests);
    EXPECT_EQ(outOfOrder, 0u);
}

TEST_F(HostDaemon, ThirtyTwoClientsEachGetEveryReply)
{
    daemon.start();
    constexpr int kClients = 32;
    constexpr int kRequests = 1000;
    std::atomic<int> answered{0};
    std::vector<std::thread> clients;
    std::vector<std::string> faults(kClients);
    for (int c = 0; c < kClients; ++c) {
        clients.emplace_back([&, c] {
            try {
                DasClient client(daemon.socket(), "client-" + std::to_string(c));
                for (int i = 0; i < kRequests; ++i) {
                    const std::string number = std::to_string(c) + "-" + std::to_string(i);
                    const auto replies = client.request("isfacprefixrequest:" + number);
                    if (replies != std::vector<std::string>{"isfacprefixresponse:" + number + ",0"}) {
                        faults[static_cast<std::size_t>(c)] = "wrong reply to " + number;
                        return;
                    }
                    ++answered;
                }
            } catch (const ClientError& error) {
                faults[static_cast<std::size_t>(c)] = error.what();
            }
        });
    }
    for (auto& client : clients) client.join();
    for (int c = 0; c < kClients; ++c) EXPECT_EQ(faults[static_cast<std::size_t>(c)], "") << "client " << c;
    EXPECT_EQ(answered.load(), kClients * kRequests);
}
