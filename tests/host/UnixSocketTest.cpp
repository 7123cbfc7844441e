// The daemon's socket from both ends: the default path is always a private directory of the
// user or none at all, the daemon listens only where other users cannot tamper with the
// socket, and a client talks only to a daemon of its own user.

#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <filesystem>
#include <functional>
#include <optional>
#include <string>

#include <gtest/gtest.h>

#include "ForeignServer.h"
#include "ScopedEnvironment.h"
#include "ScratchDirectory.h"
#include "TextFiles.h"
#include "UnixSocket.h"

namespace {

std::string errorOf(const std::function<void()>& action)
{
    try {
        action();
    } catch (const SocketError& error) {
        return error.what();
    }
    return "<no error>";
}

class HostUnixSocket : public ::testing::Test {
protected:
    ScratchDirectory scratch{"das-socket"};
    const std::string directory = scratch.path();

    std::string subdirectory(const std::string& name, mode_t mode)
    {
        const std::string path = directory + "/" + name;
        EXPECT_EQ(mkdir(path.c_str(), 0700), 0);
        EXPECT_EQ(chmod(path.c_str(), mode), 0);
        return path;
    }
};

TEST_F(HostUnixSocket, DefaultIsInTheRuntimeDirectoryGiven)
{
    EXPECT_EQ(defaultSocketPathFrom("/run/me", directory + "/missing"), "/run/me/dasd.sock");
}

TEST_F(HostUnixSocket, WithoutRuntimeDirectoryTheDefaultIsThePrivateUserDirectory)
{
    const std::string runtime = subdirectory("user", 0700);
    EXPECT_EQ(defaultSocketPathFrom(nullptr, runtime), runtime + "/dasd.sock");
    EXPECT_EQ(defaultSocketPathFrom("", runtime), runtime + "/dasd.sock");
}

TEST_F(HostUnixSocket, WithoutAPrivatePlaceThereIsNoDefault)
{
    EXPECT_EQ(defaultSocketPathFrom(nullptr, directory + "/missing"), "");
    EXPECT_EQ(defaultSocketPathFrom(nullptr, subdirectory("open", 0755)), "") << "readable by others";
    EXPECT_EQ(defaultSocketPathFrom(nullptr, subdirectory("shared", 01777)), "") << "a /tmp of its own";
    const std::string link = directory + "/link";
    std::filesystem::create_directory_symlink(subdirectory("target", 0700), link);
    EXPECT_EQ(defaultSocketPathFrom(nullptr, link), "") << "a link, not the directory";
}

TEST_F(HostUnixSocket, UserDirectoryOfAnotherUserIsNoDefault)
{
    if (!ForeignServer::possible()) GTEST_SKIP() << "needs root to give a directory away";
    const std::string runtime = subdirectory("theirs", 0700);
    ASSERT_EQ(chown(runtime.c_str(), ForeignServer::kUser, ForeignServer::kUser), 0);
    EXPECT_EQ(defaultSocketPathFrom(nullptr, runtime), "");
}

TEST_F(HostUnixSocket, DefaultIsNeverASharedDirectory)
{
    ScopedEnvironment runtime("XDG_RUNTIME_DIR", std::nullopt);
    const std::string path = defaultSocketPath();
    EXPECT_FALSE(contains(path, "/tmp")) << path;
    if (path.empty()) {
        EXPECT_TRUE(contains(errorOf([] { connectUnixSocket(defaultSocketPath()); }), "give one with --socket PATH"));
        EXPECT_TRUE(contains(errorOf([] { listenUnixSocket(defaultSocketPath()); }), "give one with --socket PATH"));
    } else {
        EXPECT_EQ(path, "/run/user/" + std::to_string(geteuid()) + "/dasd.sock");
    }
}

TEST_F(HostUnixSocket, ListensInAPrivateDirectory)
{
    const std::string path = directory + "/dasd.sock";
    const int fd = listenUnixSocket(path);
    struct stat info{};
    ASSERT_EQ(lstat(path.c_str(), &info), 0);
    EXPECT_EQ(info.st_mode & 0777, 0600u);
    close(connectUnixSocket(path));
    close(fd);
}

TEST_F(HostUnixSocket, RefusesToListenWhereOthersMayWriteUnlessSticky)
{
    const std::string open = subdirectory("open", 0777);
    const std::string error = errorOf([&] { listenUnixSocket(open + "/dasd.sock"); });
    EXPECT_EQ(error, "refusing to listen in " + open +
                         ": other users may write to it and it is not sticky; use a directory of your own (--socket)");
    EXPECT_FALSE(std::filesystem::exists(open + "/dasd.sock"));
    EXPECT_TRUE(contains(errorOf([&] { listenUnixSocket(subdirectory("group", 0770) + "/dasd.sock"); }),
                         "other users may write to it"));

    const std::string sticky = subdirectory("sticky", 01777);
    const int fd = listenUnixSocket(sticky + "/dasd.sock");
    EXPECT_GE(fd, 0);
    close(fd);
}

TEST_F(HostUnixSocket, RefusesToListenInADirectoryOfAnotherUser)
{
    if (!ForeignServer::possible()) GTEST_SKIP() << "needs root to give a directory away";
    const std::string theirs = subdirectory("theirs", 0755);
    ASSERT_EQ(chown(theirs.c_str(), ForeignServer::kUser, ForeignServer::kUser), 0);
    EXPECT_EQ(errorOf([&] { listenUnixSocket(theirs + "/dasd.sock"); }),
              "refusing to listen in " + theirs + ": it belongs to user id 65534; use a directory of your own (--socket)");
}

TEST_F(HostUnixSocket, DoesNotReplaceASocketOfAnotherUser)
{
    if (!ForeignServer::possible()) GTEST_SKIP() << "needs root to run a server as another user";
    ASSERT_EQ(chmod(directory.c_str(), 0711), 0) << "the other user must reach the directory inside";
    const std::string shared = subdirectory("shared", 01777);
    const std::string path = shared + "/dasd.sock";
    {
        ForeignServer squatter(path);
        ASSERT_TRUE(squatter.listening());
    }
    // Its server has gone; the file stays, and it is still not ours to replace.
    EXPECT_EQ(errorOf([&] { listenUnixSocket(path); }),
              path + " is a socket of user id 65534; it is not replaced");
    struct stat info{};
    ASSERT_EQ(lstat(path.c_str(), &info), 0);
    EXPECT_EQ(info.st_uid, ForeignServer::kUser);
}

TEST_F(HostUnixSocket, ReplacesItsOwnStaleSocket)
{
    const std::string path = directory + "/dasd.sock";
    close(listenUnixSocket(path));
    const int fd = listenUnixSocket(path);
    close(connectUnixSocket(path));
    EXPECT_TRUE(contains(errorOf([&] { listenUnixSocket(path); }), "a daemon is already listening on " + path));
    close(fd);
}

TEST_F(HostUnixSocket, ClientRefusesASocketServedByAnotherUser)
{
    if (!ForeignServer::possible()) GTEST_SKIP() << "needs root to run a server as another user";
    ASSERT_EQ(chmod(directory.c_str(), 0711), 0) << "the other user must reach the directory inside";
    const std::string shared = subdirectory("shared", 01777);
    const std::string path = shared + "/dasd.sock";
    ForeignServer squatter(path);
    ASSERT_TRUE(squatter.listening());
    EXPECT_EQ(errorOf([&] { close(connectUnixSocket(path)); }),
              "refusing the socket " + path + ": it is served by user id 65534, not by this user (" +
                  std::to_string(geteuid()) + ")");
}

}  // namespace
