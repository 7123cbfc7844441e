// dasd and bad input from its clients and its configuration file: bytes that are not
// UTF-8 and JSON nested a hundred thousand levels deep get an error that says where,
// and the daemon goes on serving.

#include <sys/socket.h>
#include <unistd.h>

#include <chrono>
#include <csignal>
#include <fstream>
#include <iterator>
#include <string>
#include <thread>

#include <gtest/gtest.h>

#include "DaemonProcess.h"
#include "DasClient.h"
#include "Framing.h"
#include "ProgramRun.h"
#include "ScratchDirectory.h"
#include "TextFiles.h"
#include "UnixSocket.h"

namespace {

using namespace std::chrono_literals;

// `levels` objects nested under the member `key`, unclosed: the daemon must stop reading
// long before the end.
std::string nestedUnder(const std::string& key, int levels)
{
    std::string text = "{\"" + key + "\": ";
    for (int i = 0; i < levels; ++i) text += "{\"a\": ";
    return text;
}

// A connection that speaks frames directly, for texts DasClient would not send.
class RawConnection {
public:
    RawConnection(const std::string& socketPath, const std::string& name) : m_fd(connectUnixSocket(socketPath))
    {
        writeAll(m_fd, encodeFrame(Frame{FrameKind::Hello, 0, name}));
        EXPECT_EQ(next().kind, FrameKind::Welcome);
    }
    ~RawConnection() { close(m_fd); }
    RawConnection(const RawConnection&) = delete;
    RawConnection& operator=(const RawConnection&) = delete;

    void send(const Frame& frame) { writeAll(m_fd, encodeFrame(frame)); }

    // The next frame from the daemon; an empty ERROR frame when the connection ends.
    Frame next()
    {
        Frame frame;
        char buffer[4096];
        while (!m_decoder.next(frame)) {
            const ssize_t count = recv(m_fd, buffer, sizeof buffer, 0);
            if (count <= 0) return Frame{FrameKind::Error, 0, std::string()};
            m_decoder.feed(buffer, static_cast<std::size_t>(count));
        }
        return frame;
    }

    // Sends a management frame and returns the text of its result.
    std::string manage(FrameKind kind, std::uint32_t id, const std::string& text)
    {
        send(Frame{kind, id, text});
        const Frame answer = next();
        EXPECT_EQ(answer.kind, FrameKind::MgmtResult);
        EXPECT_EQ(answer.id, id);
        return answer.text;
    }

private:
    int m_fd;
    FrameDecoder m_decoder;
};

class HostDaemonInput : public ::testing::Test {
protected:
    ScratchDirectory scratch{"dasd-input-test"};
    const std::string directory = scratch.path();
    DaemonProcess daemon{directory};

    ~HostDaemonInput() override { daemon.stop(); }

    ProgramRun dasctl(const std::string& arguments)
    {
        return runCommand(std::string(DASCTL_PATH) + " --socket " + daemon.socket() + " " + arguments + " 2>&1");
    }

    // The daemon still serves: a new client's request is answered.
    void expectServing(const std::string& socketPath)
    {
        DasClient client(socketPath, "");
        EXPECT_EQ(client.request("isfacprefixrequest:*72"), std::vector<std::string>{"isfacprefixresponse:*72,1"});
    }
};

}  // namespace

TEST_F(HostDaemonInput, ManagementFramesWithInvalidUtf8GetAnErrorSayingWhere)
{
    daemon.start();
    RawConnection connection(daemon.socket(), "manager");
    EXPECT_EQ(connection.manage(FrameKind::MgmtSet, 1, "{\"dial-plan-id\":\"\xff\"}"),
              R"({"error":"column 18: invalid UTF-8: byte 0xFF"})");
    EXPECT_EQ(connection.manage(FrameKind::Notify, 2, "{\"fac-prefix-numbers\": \"55\xc3\"}"),
              R"({"error":"column 27: invalid UTF-8: malformed character at byte 0xC3"})");
    EXPECT_EQ(connection.manage(FrameKind::MgmtGet, 3, "[\"dial-plan-id\", \"\xfe\"]"),
              R"({"error":"column 19: invalid UTF-8: byte 0xFE"})");
    EXPECT_EQ(connection.manage(FrameKind::MgmtSet, 4, "{\"\xff\": \"1\"}"),
              R"({"error":"column 3: invalid UTF-8: byte 0xFF"})");
    // A value that is valid UTF-8 but not valid JSON around it.
    EXPECT_EQ(connection.manage(FrameKind::MgmtGet, 5, "[\xc3\xa9]"),
              R"({"error":"column 2: syntax error while parsing value - invalid literal; last read: '[\\xC3'"})");
    EXPECT_EQ(connection.manage(FrameKind::MgmtGet, 6, R"(["dial-plan-id"])"),
              R"({"ok":true,"items":[["dial-plan-id/dialPlanId","DE-1"]]})");
    expectServing(daemon.socket());
}

TEST_F(HostDaemonInput, RequestsAnswersAndNamesAreBytesAndNeedNoUtf8)
{
    daemon.start();
    RawConnection connection(daemon.socket(), "caller\xff");
    connection.send(Frame{FrameKind::Answer, 77, "\xff\xfe"});
    connection.send(Frame{FrameKind::Request, 1, "isfacprefixrequest:\xff"});
    const Frame reply = connection.next();
    EXPECT_EQ(reply.kind, FrameKind::Reply);
    EXPECT_EQ(reply.text, "isfacprefixresponse:\xff,0");
    EXPECT_EQ(connection.next().kind, FrameKind::Complete);
    expectServing(daemon.socket());
}

TEST_F(HostDaemonInput, ManagementFramesNestedAHundredThousandLevelsAreRefusedByColumn)
{
    daemon.start();
    RawConnection connection(daemon.socket(), "");
    const std::string refused = R"({"error":"column 400: nesting deeper than 64 levels"})";
    EXPECT_EQ(connection.manage(FrameKind::MgmtSet, 1, nestedUnder("dialPlanSettings", 100000)), refused);
    EXPECT_EQ(connection.manage(FrameKind::Notify, 2, nestedUnder("fac-prefix-numbers", 100000) + "}"),
              R"({"error":"column 402: nesting deeper than 64 levels"})");
    EXPECT_EQ(connection.manage(FrameKind::MgmtGet, 3, std::string(100000, '[')),
              R"({"error":"column 65: nesting deeper than 64 levels"})");
    expectServing(daemon.socket());
}

TEST_F(HostDaemonInput, DasctlReportsInvalidUtf8AndGoesOn)
{
    daemon.start();
    const ProgramRun set = dasctl("mgmt-set '{\"dial-plan-id\":\"\xff\"}'");
    EXPECT_EQ(set.output, "error \"column 18: invalid UTF-8: byte 0xFF\"\n");
    EXPECT_EQ(set.status, 1);
    const ProgramRun item = dasctl("set fac-prefix-numbers '5\xff'");
    EXPECT_EQ(item.output, "error \"the value, byte 2: invalid UTF-8: byte 0xFF\"\n");
    EXPECT_EQ(item.status, 1);
    const ProgramRun key = dasctl("set '\xc3' 5");
    EXPECT_EQ(key.output, "error \"the key, byte 1: invalid UTF-8: malformed character at byte 0xC3\"\n");
    EXPECT_EQ(key.status, 1);
    const ProgramRun read = dasctl("mgmt-get dial-plan-id '\xff'");
    EXPECT_EQ(read.output, "error \"root name 2, byte 1: invalid UTF-8: byte 0xFF\"\n");
    EXPECT_EQ(read.status, 1);
    const ProgramRun request = dasctl("send 'isfacprefixrequest:\xff'");
    EXPECT_EQ(request.output, "reply \"isfacprefixresponse:\\xFF,0\"\n");
    EXPECT_EQ(request.status, 0);
    expectServing(daemon.socket());
}

TEST_F(HostDaemonInput, ConfigurationFileNestedAHundredThousandLevelsStopsTheStartWithItsPlace)
{
    const std::string config = directory + "/phone.json";
    std::ofstream(config) << nestedUnder("items", 100000);
    const int status = daemon.runToExit({"--config", config, "--socket", daemon.socket(), "--store", daemon.store(),
                                         "--plugin", DAS_PLUGIN_FILE});
    EXPECT_EQ(status, 2);
    EXPECT_EQ(readFile(daemon.log()), "dasd: " + config + ":1:389: nesting deeper than 64 levels\n");
}

TEST_F(HostDaemonInput, HangupWithAFileNestedAHundredThousandLevelsKeepsTheConfiguration)
{
    const std::string config = directory + "/phone.json";
    std::ofstream(config) << R"({"items": {"fac-prefix-numbers": "55"}})";
    DaemonProcess configured(directory, {"--config", config});
    configured.start();
    std::ofstream(config, std::ios::trunc) << nestedUnder("items", 100000);
    configured.signal(SIGHUP);
    const std::string expected = "dasd: SIGHUP: configuration kept: " + config + ":1:389: nesting deeper than 64 levels\n";
    std::string log;
    for (int attempt = 0; attempt < 400 && !contains(log, expected); ++attempt) {
        std::this_thread::sleep_for(25ms);
        log = readFile(configured.log());
    }
    EXPECT_TRUE(contains(log, expected)) << log;
    DasClient client(configured.socket(), "");
    EXPECT_EQ(client.request("isfacprefixrequest:551"), std::vector<std::string>{"isfacprefixresponse:551,1"});
    client.close();
    EXPECT_EQ(configured.stop(), 0);
}
