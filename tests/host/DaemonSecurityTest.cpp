// The daemon against a hostile local client and a hostile file system: its files are never
// opened through a symbolic link, text from requests, client names and configuration is
// never used as a format, a request larger than the protocol's maximum is refused with a
// clear error while the connection ends cleanly and other clients go on, and a reply too
// long for a frame is dropped rather than breaking the connection. Its socket is only ever in
// a place other users cannot tamper with, and its client talks only to a daemon of its user.

#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <chrono>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <memory>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "DaemonProcess.h"
#include "ProgramRun.h"
#include "ScratchDirectory.h"
#include "DasClient.h"
#include "ForeignServer.h"
#include "Framing.h"
#include "ScopedEnvironment.h"
#include "TextFiles.h"
#include "UnixSocket.h"

namespace {

const std::string kFormat = "%n%s%x";

class HostSecurity : public ::testing::Test {
protected:
    ScratchDirectory scratch{"dasd-security"};
    const std::string directory = scratch.path();
    DaemonProcess daemon{directory, {"--log", "5"}};

    ~HostSecurity() override
    {
        daemon.stop();
    }

    // Every frame the daemon sends on a raw connection after `bytes`, until it hangs up.
    std::vector<Frame> answersTo(const std::string& bytes)
    {
        const int fd = connectUnixSocket(daemon.socket());
        writeAll(fd, bytes);
        FrameDecoder decoder;
        std::vector<Frame> frames;
        char buffer[4096];
        ssize_t count = 0;
        while ((count = recv(fd, buffer, sizeof buffer, 0)) > 0) {
            decoder.feed(buffer, static_cast<std::size_t>(count));
            Frame frame;
            while (decoder.next(frame)) frames.push_back(frame);
        }
        close(fd);
        return frames;
    }
};

TEST_F(HostSecurity, OversizedRequestIsRefusedAndTheConnectionEndsCleanly)
{
    daemon.start();
    DasClient bystander(daemon.socket(), "bystander");
    std::string bytes = encodeFrame(Frame{FrameKind::Hello, 0, "big"});
    // The header of a request one byte over the limit, and the start of its body.
    const std::uint32_t length = kMaxFrameLength + 1;
    for (int shift = 24; shift >= 0; shift -= 8) bytes += static_cast<char>((length >> shift) & 0xff);
    bytes += static_cast<char>(FrameKind::Request);
    bytes += std::string(4096, '1');

    const auto frames = answersTo(bytes);
    ASSERT_EQ(frames.size(), 2u);
    EXPECT_EQ(frames[0].kind, FrameKind::Welcome);
    EXPECT_EQ(frames[1].kind, FrameKind::Error);
    EXPECT_EQ(frames[1].text, "protocol error: frame of length 1048577 exceeds the limit of 1048576");
    EXPECT_EQ(bystander.request("isfacprefixrequest:*72"), std::vector<std::string>{"isfacprefixresponse:*72,1"});
}

TEST_F(HostSecurity, RequestOfTheLargestSizeIsAnswered)
{
    daemon.start();
    DasClient client(daemon.socket(), "big");
    // Kind and id take five bytes of the frame's length; the keyword only has to start the text.
    const std::string keyword = "isCanonicalDataValidRequest";
    const std::string request = keyword + std::string(kMaxFrameLength - 5 - keyword.size(), '7');
    EXPECT_EQ(client.request(request), std::vector<std::string>{"isCanonicalDataValidResponse:1"});
}

TEST_F(HostSecurity, ReplyTooLongForAFrameIsDroppedAndTheConnectionStaysUsable)
{
    daemon.start();
    DasClient client(daemon.socket(), "echo");
    // The reply echoes the number with a keyword one byte longer and ",0": three bytes over.
    const std::string keyword = "isfacprefixrequest:";
    const std::string request = keyword + std::string(kMaxFrameLength - 5 - keyword.size(), '7');

    EXPECT_EQ(client.request(request), std::vector<std::string>{}) << "completed without the reply";
    EXPECT_TRUE(client.isOpen());
    EXPECT_EQ(client.request("isfacprefixrequest:*72"), std::vector<std::string>{"isfacprefixresponse:*72,1"});
    daemon.stop();
    EXPECT_TRUE(contains(readFile(daemon.log()),
                         "dasd: REPLY frame for client \"echo\" dropped: length 1048579 exceeds the limit of 1048576"));
}

TEST_F(HostSecurity, StoreThatIsASymbolicLinkIsNotOpened)
{
    // An empty file: a store opened through the link would turn it into a database.
    const std::string target = directory + "/elsewhere";
    std::ofstream{target};
    std::filesystem::create_symlink(target, daemon.store());
    EXPECT_NE(daemon.runToExit({"--socket", daemon.socket(), "--store", daemon.store(), "--plugin", DAS_PLUGIN_FILE}), 0);
    EXPECT_EQ(std::filesystem::file_size(target), 0u);
    EXPECT_TRUE(contains(readFile(daemon.log()), "cannot open the store " + daemon.store())) << readFile(daemon.log());
}

TEST_F(HostSecurity, SocketPathThatIsASymbolicLinkIsNotFollowed)
{
    const std::string target = directory + "/elsewhere";
    std::ofstream(target) << "keep";
    std::filesystem::create_symlink(target, daemon.socket());
    EXPECT_NE(daemon.runToExit({"--socket", daemon.socket(), "--store", daemon.store(), "--plugin", DAS_PLUGIN_FILE}), 0);
    EXPECT_EQ(readFile(target), "keep");
    EXPECT_TRUE(std::filesystem::is_symlink(daemon.socket()));
}

TEST_F(HostSecurity, FormatTextFromClientsAndConfigurationIsTakenAsText)
{
    daemon.start();
    DasClient client(daemon.socket(), kFormat);
    EXPECT_EQ(client.notify(R"({"fac-prefix-numbers": ")" + kFormat + R"(", "emergency-e164": ")" + kFormat + R"("})"),
              Json::parse(R"({"ok": true})"));
    EXPECT_EQ(client.request("isfacprefixrequest:" + kFormat),
              std::vector<std::string>{"isfacprefixresponse:" + kFormat + ",1"});
    EXPECT_EQ(client.request("dialstringrequest:" + kFormat), std::vector<std::string>{"errorresponse"});
    client.request("set_dialler_request");
    client.request("startdiallingrequest:" + kFormat + ",0");
    client.request("dialstringrequest:" + kFormat + ",1");
    client.request("canonicalconversionrequest:" + kFormat);
    const Json written = client.managementSet(R"({"dial-plan-id": ")" + kFormat +
                                              R"(", "dialPlanSettings": [{"digit-string": "1", "action": "S", "comment": ")" +
                                              kFormat + R"("}]})");
    EXPECT_TRUE(written.contains("ok")) << written.dump();
    const Json read = client.managementGet({"dial-plan-id"});
    EXPECT_TRUE(contains(read.dump(), kFormat)) << read.dump();

    EXPECT_EQ(client.request("isCanonicalDataValidRequest"), std::vector<std::string>{"isCanonicalDataValidResponse:1"});
    client.close();
    EXPECT_EQ(daemon.stop(), 0);
    const std::string log = readFile(daemon.log());
    EXPECT_TRUE(contains(log, "Invalid request string: 'dialstringrequest:" + kFormat + "'")) << log;
    EXPECT_FALSE(contains(log, "(null)")) << log;
}

TEST_F(HostSecurity, DaemonRefusesToListenWhereOtherUsersMayWrite)
{
    const std::string open = directory + "/open";
    ASSERT_EQ(mkdir(open.c_str(), 0700), 0);
    ASSERT_EQ(chmod(open.c_str(), 0777), 0);
    const int status = daemon.runToExit(
        {"--socket", open + "/dasd.sock", "--store", daemon.store(), "--plugin", DAS_PLUGIN_FILE}, std::chrono::seconds(20));
    EXPECT_NE(status, 0);
    EXPECT_NE(status, -1) << "still serving";
    EXPECT_FALSE(std::filesystem::exists(open + "/dasd.sock"));
    EXPECT_TRUE(contains(readFile(daemon.log()), "dasd: refusing to listen in " + open +
                                                     ": other users may write to it and it is not sticky"))
        << readFile(daemon.log());
}

TEST_F(HostSecurity, WithoutAPrivatePlaceForTheSocketAPathMustBeGiven)
{
    ScopedEnvironment runtime("XDG_RUNTIME_DIR", std::nullopt);
    if (!defaultSocketPath().empty()) GTEST_SKIP() << "this user has a private runtime directory";
    const std::string shared = "/tmp/dasd-" + std::to_string(geteuid()) + ".sock";
    const bool sharedExisted = std::filesystem::exists(shared);

    EXPECT_EQ(daemon.runToExit({"--store", daemon.store(), "--plugin", DAS_PLUGIN_FILE}, std::chrono::seconds(20)), 2);
    EXPECT_EQ(readFile(daemon.log()), "dasd: " + noDefaultSocketMessage() + "\n");
    EXPECT_EQ(std::filesystem::exists(shared), sharedExisted);

    const auto [output, status] = runCommand(std::string(DASCTL_PATH) + " send isfacprefixrequest:1 2>&1");
    EXPECT_EQ(output, "dasctl: " + noDefaultSocketMessage() + "\n");
    EXPECT_EQ(status, 2) << "a missing --socket is a usage fault";
}

TEST_F(HostSecurity, DasctlRefusesASocketServedByAnotherUser)
{
    if (!ForeignServer::possible()) GTEST_SKIP() << "needs root to run a server as another user";
    ASSERT_EQ(chmod(directory.c_str(), 0711), 0) << "the other user must reach the directory inside";
    const std::string shared = directory + "/shared";
    ASSERT_EQ(mkdir(shared.c_str(), 0700), 0);
    ASSERT_EQ(chmod(shared.c_str(), 01777), 0);
    ForeignServer squatter(shared + "/dasd.sock");
    ASSERT_TRUE(squatter.listening());

    const auto [output, status] = runCommand(std::string(DASCTL_PATH) + " --socket " + shared + "/dasd.sock send isfacprefixrequest:1 2>&1");
    EXPECT_EQ(output, "dasctl: refusing the socket " + shared + "/dasd.sock: it is served by user id 65534, not by this user (" +
                          std::to_string(geteuid()) + ")\n");
    EXPECT_EQ(status, 3) << "no daemon of this user could be reached";
}

}  // namespace
