// The daemon's frame handling driven in process, without a socket: what a client's frames
// cause and what it is sent back is the same as over the socket.

#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "Daemon.h"
#include "Framing.h"

namespace {

DaemonOptions inProcessOptions()
{
    DaemonOptions options;
    options.storePath = ":memory:";
    options.pluginPath = DAS_PLUGIN_FILE;
    options.messageThreads = 2;
    options.answerTimeoutMs = 10;
    return options;
}

std::string frames(const std::vector<Frame>& list)
{
    std::string stream;
    for (const auto& frame : list) stream += encodeFrame(frame);
    return stream;
}

class HostDaemonInProcess : public ::testing::Test {
protected:
    Daemon daemon{inProcessOptions()};
    HostDaemonInProcess() { daemon.startInProcess(); }
    ~HostDaemonInProcess() override { daemon.stopInProcess(); }
};

}  // namespace

TEST_F(HostDaemonInProcess, RequestIsRepliedAndCompletedOnce)
{
    auto session = daemon.openSession();
    EXPECT_TRUE(session->feed(frames({{FrameKind::Hello, 0, "dialler"}, {FrameKind::Request, 7, "isfacprefixrequest:*71"}})));
    ASSERT_TRUE(session->waitUntilAnswered(5000));
    const auto sent = session->sent();
    ASSERT_EQ(sent.size(), 3u);
    EXPECT_EQ(sent[0].kind, FrameKind::Welcome);
    EXPECT_EQ(sent[1].kind, FrameKind::Reply);
    EXPECT_EQ(sent[1].id, 7u);
    EXPECT_EQ(sent[1].text, "isfacprefixresponse:*71,1");
    EXPECT_EQ(sent[2].kind, FrameKind::Complete);
    EXPECT_EQ(sent[2].id, 7u);
}

TEST_F(HostDaemonInProcess, ManagementFrameIsAnswered)
{
    auto session = daemon.openSession();
    session->feed(frames({{FrameKind::Hello, 0, ""}, {FrameKind::MgmtGet, 3, R"(["dial-plan-id"])"}}));
    ASSERT_TRUE(session->waitUntilAnswered(5000));
    const auto sent = session->sent();
    ASSERT_EQ(sent.size(), 2u);
    EXPECT_EQ(sent[1].kind, FrameKind::MgmtResult);
    EXPECT_NE(sent[1].text.find(R"(["dial-plan-id/dialPlanId","DE-1"])"), std::string::npos) << sent[1].text;
}

TEST_F(HostDaemonInProcess, FrameBeforeHelloEndsTheSessionWithAnError)
{
    auto session = daemon.openSession();
    EXPECT_FALSE(session->feed(frames({{FrameKind::Request, 1, "isfacprefixrequest:1"}})));
    EXPECT_FALSE(session->feed(frames({{FrameKind::Hello, 0, "late"}})));
    const auto sent = session->sent();
    ASSERT_EQ(sent.size(), 1u);
    EXPECT_EQ(sent[0].kind, FrameKind::Error);
    EXPECT_EQ(sent[0].text, "protocol error: the first frame must be HELLO");
    EXPECT_EQ(session->handled().size(), 1u);
}
