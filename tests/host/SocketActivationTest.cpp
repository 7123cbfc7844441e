// dasd started by a service manager's socket unit: it serves on the listening socket passed
// as descriptor 3 (LISTEN_PID, LISTEN_FDS) instead of making its own, leaves that socket's
// file in place when it stops, and ignores a hand-over meant for another process.

#include <fcntl.h>
#include <signal.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <memory>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "ProgramRun.h"
#include "ScratchDirectory.h"
#include "TextFiles.h"
#include "UnixSocket.h"

namespace {

using namespace std::chrono_literals;

// A listening socket as a socket unit makes it: bound to `path`, mode 0600, before any daemon runs.
int serviceManagerSocket(const std::string& path)
{
    const int fd = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    std::strncpy(address.sun_path, path.c_str(), sizeof address.sun_path - 1);
    if (fd < 0 || bind(fd, reinterpret_cast<sockaddr*>(&address), sizeof address) != 0 ||
        chmod(path.c_str(), 0600) != 0 || listen(fd, 16) != 0)
        throw std::runtime_error("cannot make the service manager's socket " + path);
    return fd;
}

// What the hand-over sets for the started program.
enum class Announce { ForTheDaemon, ForAnotherProcess };

class HostSocketActivation : public ::testing::Test {
protected:
    ScratchDirectory scratch{"dasd-activation"};
    const std::string directory = scratch.path();
    const std::string activatedSocket = directory + "/activated.sock";
    const std::string ownSocket = directory + "/own.sock";
    pid_t pid = -1;

    ~HostSocketActivation() override
    {
        if (pid > 0) {
            kill(pid, SIGKILL);
            waitpid(pid, nullptr, 0);
        }
    }

    // Starts dasd as a service manager does: `passed` on descriptor 3, LISTEN_FDS=1 and
    // LISTEN_PID set in the child between fork and exec, so that it is the daemon's own id.
    void startDaemon(int passed, Announce announce)
    {
        const std::vector<std::string> arguments = {DASD_PATH, "--socket", ownSocket, "--store",
                                                    directory + "/store.sqlite", "--plugin", DAS_PLUGIN_FILE};
        const std::string log = directory + "/dasd.log";
        pid = fork();
        if (pid == 0) {
            const int logFd = open(log.c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0600);
            dup2(logFd, 2);
            // The socket reaches the daemon as descriptor 3, open across exec (dup2 clears
            // close-on-exec on the copy; a socket that is 3 already is cleared by hand).
            if (passed != 3) dup2(passed, 3);
            fcntl(3, F_SETFD, 0);
            setenv("LISTEN_FDS", "1", 1);
            const pid_t announced = announce == Announce::ForTheDaemon ? getpid() : getppid();
            setenv("LISTEN_PID", std::to_string(announced).c_str(), 1);
            std::vector<char*> argv;
            for (const auto& argument : arguments) argv.push_back(const_cast<char*>(argument.c_str()));
            argv.push_back(nullptr);
            execv(argv[0], argv.data());
            _exit(127);
        }
    }

    // The daemon's exit status, SIGTERM first when `terminate`; -1 when it has not exited
    // within 30 s (it is killed then).
    int waitForExit(bool terminate)
    {
        if (terminate) kill(pid, SIGTERM);
        int status = 0;
        pid_t reaped = 0;
        for (int attempt = 0; attempt < 1200 && (reaped = waitpid(pid, &status, WNOHANG)) == 0; ++attempt)
            std::this_thread::sleep_for(25ms);
        if (reaped != pid) return -1;  // the destructor kills it
        pid = -1;
        return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
    }

    // Waits until the daemon's log says it serves; false when it exited or never did.
    bool waitUntilServing()
    {
        for (int attempt = 0; attempt < 800; ++attempt) {
            if (readFile(directory + "/dasd.log").find("serving on") != std::string::npos) return true;
            if (waitpid(pid, nullptr, WNOHANG) == pid) {
                pid = -1;
                return false;
            }
            std::this_thread::sleep_for(25ms);
        }
        return false;
    }

    std::string dasctl(const std::string& socketPath, const std::string& arguments)
    {
        // Bounded: a socket nobody accepts on would keep dasctl waiting.
        return runCommand("timeout 30 " + std::string(DASCTL_PATH) + " --socket " + socketPath + " " + arguments + " 2>&1").output;
    }
};

}  // namespace

TEST_F(HostSocketActivation, ServesClientsOnThePassedSocketAndMakesNoneOfItsOwn)
{
    const int passed = serviceManagerSocket(activatedSocket);
    startDaemon(passed, Announce::ForTheDaemon);
    ASSERT_TRUE(waitUntilServing()) << readFile(directory + "/dasd.log");

    const std::string replies =
        dasctl(activatedSocket, "--name dialler send set_dialler_request startdiallingrequest:2,0");
    EXPECT_NE(replies.find("reply \"set_dialler_response:,1\""), std::string::npos) << replies;
    EXPECT_NE(replies.find("event \"handledialingstartedevent:2\""), std::string::npos) << replies;
    EXPECT_FALSE(std::filesystem::exists(ownSocket));
    EXPECT_NE(readFile(directory + "/dasd.log").find("serving on " + activatedSocket), std::string::npos);
    EXPECT_EQ(waitForExit(true), 0);
    close(passed);
}

TEST_F(HostSocketActivation, LeavesThePassedSocketInPlaceWhenItStops)
{
    const int passed = serviceManagerSocket(activatedSocket);
    startDaemon(passed, Announce::ForTheDaemon);
    ASSERT_TRUE(waitUntilServing()) << readFile(directory + "/dasd.log");
    ASSERT_NE(readFile(directory + "/dasd.log").find("serving on " + activatedSocket), std::string::npos);
    ASSERT_EQ(waitForExit(true), 0);

    // The service manager still listens there: a client's connection is queued, which is
    // what starts the daemon again.
    EXPECT_TRUE(std::filesystem::is_socket(activatedSocket));
    EXPECT_NO_THROW(close(connectUnixSocket(activatedSocket)));
    close(passed);
}

TEST_F(HostSocketActivation, IgnoresASocketAnnouncedForAnotherProcess)
{
    const int passed = serviceManagerSocket(activatedSocket);
    startDaemon(passed, Announce::ForAnotherProcess);
    ASSERT_TRUE(waitUntilServing()) << readFile(directory + "/dasd.log");

    const std::string replies = dasctl(ownSocket, "--name dialler send set_dialler_request");
    EXPECT_NE(replies.find("reply \"set_dialler_response:,1\""), std::string::npos) << replies;
    EXPECT_EQ(waitForExit(true), 0);
    EXPECT_FALSE(std::filesystem::exists(ownSocket));
    close(passed);
}

TEST_F(HostSocketActivation, RefusesToStartWhenThePassedDescriptorIsNoListeningSocket)
{
    const std::string plainFile = directory + "/not-a-socket";
    std::ofstream(plainFile) << "x";
    const int passed = open(plainFile.c_str(), O_RDONLY | O_CLOEXEC);
    startDaemon(passed, Announce::ForTheDaemon);

    EXPECT_EQ(waitForExit(false), 1);
    EXPECT_NE(readFile(directory + "/dasd.log").find("not a listening Unix domain stream socket"), std::string::npos)
        << readFile(directory + "/dasd.log");
    EXPECT_FALSE(std::filesystem::exists(ownSocket));
    close(passed);
}
