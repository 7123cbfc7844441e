// The client side of the socket (DasClient and dasctl) facing a daemon that answers
// with anything: management results of the wrong form, bytes that are not UTF-8, and
// arguments that cannot be put into JSON. The client reports them and never aborts.

#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <cstdio>
#include <string>
#include <thread>

#include <gtest/gtest.h>

#include "DasClient.h"
#include "Framing.h"
#include "ProgramRun.h"
#include "ScratchDirectory.h"
#include "UnixSocket.h"

namespace {

// A daemon stand-in on its own socket: welcomes every client, answers every management
// frame with `result`, and every request with the event "\xff\n", the reply "\xfe" and
// its completion. It counts the management frames it was sent.
class FakeDaemon {
public:
    FakeDaemon(std::string socketPath, std::string result)
        : m_listenFd(listenUnixSocket(socketPath)), m_result(std::move(result)), m_thread([this] { serve(); })
    {
    }
    ~FakeDaemon()
    {
        shutdown(m_listenFd, SHUT_RDWR);
        m_thread.join();
        close(m_listenFd);
    }
    FakeDaemon(const FakeDaemon&) = delete;
    FakeDaemon& operator=(const FakeDaemon&) = delete;

    int managementFrames() const { return m_managementFrames; }

private:
    int m_listenFd;
    std::string m_result;
    std::atomic<int> m_managementFrames{0};
    std::thread m_thread;

    void serve()
    {
        while (true) {
            const int fd = accept(m_listenFd, nullptr, nullptr);
            if (fd < 0) return;
            talk(fd);
            close(fd);
        }
    }

    void talk(int fd)
    {
        FrameDecoder decoder;
        Frame frame;
        char buffer[4096];
        while (true) {
            while (decoder.next(frame)) answer(fd, frame);
            const ssize_t count = recv(fd, buffer, sizeof buffer, 0);
            if (count <= 0 || decoder.failed()) return;
            decoder.feed(buffer, static_cast<std::size_t>(count));
        }
    }

    void answer(int fd, const Frame& frame)
    {
        switch (frame.kind) {
        case FrameKind::Hello: writeAll(fd, encodeFrame(Frame{FrameKind::Welcome, 0, ""})); break;
        case FrameKind::Request:
            writeAll(fd, encodeFrame(Frame{FrameKind::Event, 0, "\xff\n"}) +
                             encodeFrame(Frame{FrameKind::Reply, frame.id, "\xfe"}) +
                             encodeFrame(Frame{FrameKind::Complete, frame.id, ""}));
            break;
        case FrameKind::Notify:
        case FrameKind::MgmtSet:
        case FrameKind::MgmtGet:
            ++m_managementFrames;
            writeAll(fd, encodeFrame(Frame{FrameKind::MgmtResult, frame.id, m_result}));
            break;
        default: break;
        }
    }
};

ProgramRun dasctl(const std::string& socketPath, const std::string& arguments)
{
    return runCommand(std::string(DASCTL_PATH) + " --socket " + socketPath + " " + arguments + " 2>&1");
}

// The ClientError message of a management read answered with `result`.
std::string clientErrorFor(const std::string& result)
{
    ScratchDirectory scratch("das-client-test");
    const std::string socketPath = scratch.path() + "/dasd.sock";
    FakeDaemon daemon(socketPath, result);
    DasClient client(socketPath, "");
    try {
        client.managementGet({"dial-plan-id"});
    } catch (const ClientError& error) {
        return error.what();
    }
    ADD_FAILURE() << "accepted the result " << result;
    return {};
}

}  // namespace

TEST(HostClient, ManagementResultOfTheWrongFormIsAClientError)
{
    EXPECT_EQ(clientErrorFor(R"({"ok": 1})"), R"(malformed management result: "{\"ok\": 1}")");
    EXPECT_EQ(clientErrorFor(R"({"error": 5})"), R"(malformed management result: "{\"error\": 5}")");
    EXPECT_EQ(clientErrorFor(R"({"ok": true, "items": [["a"]]})"),
              R"(malformed management result: "{\"ok\": true, \"items\": [[\"a\"]]}")");
    EXPECT_EQ(clientErrorFor(R"({"ok": true, "items": [[1, 2]]})"),
              R"(malformed management result: "{\"ok\": true, \"items\": [[1, 2]]}")");
    EXPECT_EQ(clientErrorFor("[]"), R"(malformed management result: "[]")");
    EXPECT_EQ(clientErrorFor("{\"error\": \"\xff\"}"), R"(malformed management result: "{\"error\": \"\xFF\"}")");
    const std::string deep(100000, '[');
    EXPECT_EQ(clientErrorFor(deep), "malformed management result: \"" + deep.substr(0, 200) + "...\"");
}

TEST(HostClient, RootNamesThatAreNotUtf8AreRefusedBeforeAnythingIsSent)
{
    ScratchDirectory scratch("das-client-test");
    const std::string socketPath = scratch.path() + "/dasd.sock";
    FakeDaemon daemon(socketPath, R"({"ok": true, "items": []})");
    DasClient client(socketPath, "");
    try {
        client.managementGet({"dial-plan-id", "ab\xff"});
        FAIL() << "sent a root name that is not UTF-8";
    } catch (const ClientError& error) {
        EXPECT_EQ(std::string(error.what()), "root name 2, byte 3: invalid UTF-8: byte 0xFF");
    }
    EXPECT_EQ(client.managementGet({"dial-plan-id"}).at("ok"), true);
    EXPECT_EQ(daemon.managementFrames(), 1);
}

TEST(HostClient, DasctlReportsAResultOfTheWrongFormAndExitsWithOne)
{
    ScratchDirectory scratch("das-client-test");
    const std::string socketPath = scratch.path() + "/dasd.sock";
    FakeDaemon daemon(socketPath, R"({"ok": "yes", "items": [["a", 1]]})");
    for (const std::string command : {"mgmt-set '{}'", "mgmt-get dial-plan-id", "set autodialtimer 8"}) {
        const ProgramRun run = dasctl(socketPath, command);
        EXPECT_EQ(run.output, "dasctl: malformed management result: \"{\\\"ok\\\": \\\"yes\\\", \\\"items\\\": "
                              "[[\\\"a\\\", 1]]}\"\n")
            << command;
        EXPECT_EQ(run.status, 1) << command;
    }
}

TEST(HostClient, DasctlQuotesEveryByteOfRepliesEventsAndItems)
{
    ScratchDirectory scratch("das-client-test");
    const std::string socketPath = scratch.path() + "/dasd.sock";
    FakeDaemon daemon(socketPath, "{\"ok\": true, \"items\": [[\"a/b\", \"\xef\xbf\xbd\\u0001\"]]}");
    const ProgramRun request = dasctl(socketPath, "--name dialler send x");
    EXPECT_EQ(request.output, "event \"\\xFF\\n\"\nreply \"\\xFE\"\n");
    EXPECT_EQ(request.status, 0);
    const ProgramRun read = dasctl(socketPath, "mgmt-get a");
    EXPECT_EQ(read.output, "mgmt-get a/b \"\\xEF\\xBF\\xBD\\x01\"\n");
    EXPECT_EQ(read.status, 0);
}
