#pragma once
// A dasd process for tests, on a socket and store in a directory of the test's own; its
// standard error goes to a log file there. Header-only: only the host's tests (which link
// the host library and know the programs' paths) include it.

#include <fcntl.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "UnixSocket.h"

class DaemonProcess {
public:
    explicit DaemonProcess(std::string directory, std::vector<std::string> extra = {})
        : m_directory(std::move(directory)), m_extra(std::move(extra))
    {
    }
    ~DaemonProcess() { stop(); }
    DaemonProcess(const DaemonProcess&) = delete;
    DaemonProcess& operator=(const DaemonProcess&) = delete;

    std::string socket() const { return m_directory + "/dasd.sock"; }
    std::string store() const { return m_directory + "/store.sqlite"; }
    std::string log() const { return m_directory + "/dasd.log"; }

    // Starts dasd with the default socket, store and plug-in, then `extra`; waits until it serves.
    void start()
    {
        launch({DASD_PATH, "--socket", socket(), "--store", store(), "--plugin", DAS_PLUGIN_FILE});
        waitUntilServing();
    }

    // Starts dasd with exactly these arguments after the program and waits for it to exit;
    // returns its exit status, or -1 when it was still running after `limit` (it is killed).
    int runToExit(const std::vector<std::string>& arguments, std::chrono::milliseconds limit = std::chrono::seconds(60))
    {
        std::vector<std::string> all = {DASD_PATH};
        all.insert(all.end(), arguments.begin(), arguments.end());
        launch(all);
        const auto deadline = std::chrono::steady_clock::now() + limit;
        int status = 0;
        while (waitpid(m_pid, &status, WNOHANG) == 0) {
            if (std::chrono::steady_clock::now() > deadline) {
                killHard();
                return -1;
            }
            std::this_thread::sleep_for(std::chrono::milliseconds(10));
        }
        m_pid = -1;
        return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
    }

    pid_t pid() const { return m_pid; }

    void signal(int number) const { kill(m_pid, number); }

    // Sends SIGTERM and returns the exit status.
    int stop()
    {
        if (m_pid <= 0) return -1;
        kill(m_pid, SIGTERM);
        return reap();
    }

    void killHard()
    {
        kill(m_pid, SIGKILL);
        reap();
    }

private:
    std::string m_directory;
    std::vector<std::string> m_extra;
    pid_t m_pid = -1;

    void launch(std::vector<std::string> arguments)
    {
        arguments.insert(arguments.end(), m_extra.begin(), m_extra.end());
        m_pid = fork();
        if (m_pid == 0) {
            const int logFd = open(log().c_str(), O_WRONLY | O_CREAT | O_APPEND | O_NOFOLLOW | O_CLOEXEC, 0600);
            dup2(logFd, 2);
            std::vector<char*> argv;
            for (auto& argument : arguments) argv.push_back(argument.data());
            argv.push_back(nullptr);
            execv(argv[0], argv.data());
            _exit(127);
        }
    }

    int reap()
    {
        int status = 0;
        waitpid(m_pid, &status, 0);
        m_pid = -1;
        return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
    }

    void waitUntilServing()
    {
        using namespace std::chrono_literals;
        // Generous: under ThreadSanitizer the daemon starts several times slower.
        for (int attempt = 0; attempt < 800; ++attempt) {
            try {
                close(connectUnixSocket(socket()));
                return;
            } catch (const SocketError&) {
                std::this_thread::sleep_for(25ms);
            }
        }
        FAIL() << "dasd did not start serving";
    }
};
