// dasctl's interactive input at a terminal: lines are edited with libedit and the session's
// lines are kept as a history, so the up arrow brings the last request back. The terminal is a
// pseudo-terminal the test holds; dasctl talks to a real dasd.

#include <poll.h>
#include <pty.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <string>

#include <gtest/gtest.h>

#include "DaemonProcess.h"
#include "ScratchDirectory.h"

namespace {

using namespace std::chrono_literals;

// dasctl -i on a pseudo-terminal: what it writes is read back from the terminal's other side.
class TerminalSession {
public:
    explicit TerminalSession(const std::string& socket)
    {
        m_pid = forkpty(&m_terminal, nullptr, nullptr, nullptr);
        if (m_pid == 0) {
            setenv("TERM", "xterm", 1);
            execl(DASCTL_PATH, DASCTL_PATH, "--socket", socket.c_str(), "-i", static_cast<char*>(nullptr));
            _exit(127);
        }
    }
    ~TerminalSession()
    {
        if (m_pid > 0) {
            kill(m_pid, SIGKILL);
            waitpid(m_pid, nullptr, 0);
        }
        if (m_terminal >= 0) close(m_terminal);
    }
    TerminalSession(const TerminalSession&) = delete;
    TerminalSession& operator=(const TerminalSession&) = delete;

    bool started() const { return m_pid > 0; }

    void type(const std::string& keys) { ASSERT_EQ(write(m_terminal, keys.data(), keys.size()), static_cast<ssize_t>(keys.size())); }

    // Reads what the terminal shows until `text` has appeared `times` times in all, or 10 s pass.
    bool waitFor(const std::string& text, int times = 1)
    {
        const auto deadline = std::chrono::steady_clock::now() + 10s;
        while (count(text) < times) {
            if (std::chrono::steady_clock::now() > deadline) return false;
            pollfd ready{m_terminal, POLLIN, 0};
            if (poll(&ready, 1, 100) <= 0) continue;
            char buffer[4096];
            const ssize_t got = read(m_terminal, buffer, sizeof buffer);
            if (got <= 0) return count(text) >= times;
            m_shown.append(buffer, static_cast<std::size_t>(got));
        }
        return true;
    }

    // Waits for dasctl to end; its exit status, or -1 after 10 s.
    int exitStatus()
    {
        for (int attempt = 0; attempt < 1000; ++attempt) {
            int status = 0;
            if (waitpid(m_pid, &status, WNOHANG) == m_pid) {
                m_pid = -1;
                return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
            }
            std::this_thread::sleep_for(10ms);
        }
        return -1;
    }

    const std::string& shown() const { return m_shown; }

private:
    int m_terminal = -1;
    pid_t m_pid = -1;
    std::string m_shown;

    int count(const std::string& text) const
    {
        int found = 0;
        for (std::size_t at = m_shown.find(text); at != std::string::npos; at = m_shown.find(text, at + 1)) ++found;
        return found;
    }
};

}  // namespace

TEST(DasctlAtATerminal, TheUpArrowBringsBackTheLastRequestAndEnterSendsItAgain)
{
    ScratchDirectory scratch("dasctl-terminal-test");
    DaemonProcess daemon(scratch.path());
    daemon.start();
    TerminalSession terminal(daemon.socket());
    ASSERT_TRUE(terminal.started());

    terminal.type("isEmergencyNumberRequest:true:112\r");
    ASSERT_TRUE(terminal.waitFor("reply \"isEmergencyNumberResponse:1\"")) << terminal.shown();
    terminal.type("\x1b[A\r");  // up arrow, then Enter
    EXPECT_TRUE(terminal.waitFor("reply \"isEmergencyNumberResponse:1\"", 2)) << terminal.shown();
    terminal.type("\x04");  // end of input at an empty line
    EXPECT_EQ(terminal.exitStatus(), 0) << terminal.shown();
}
