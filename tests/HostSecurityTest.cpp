// The daemon against a hostile local client and a hostile file system: its files are never
// opened through a symbolic link, text from requests, client names and configuration is
// never used as a format, a request larger than the protocol's maximum is refused with a
// clear error while the connection ends cleanly and other clients go on, and a reply too
// long for a frame is dropped rather than breaking the connection.

#include <sys/socket.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "DaemonProcess.h"
#include "ScratchDirectory.h"
#include "DasClient.h"
#include "Framing.h"
#include "UnixSocket.h"

namespace {

const std::string kFormat = "%n%s%x";

std::string readFile(const std::string& path)
{
    std::ifstream file(path);
    return std::string((std::istreambuf_iterator<char>(file)), std::istreambuf_iterator<char>());
}

bool contains(const std::string& text, const std::string& part) { return text.find(part) != std::string::npos; }

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

}  // namespace
