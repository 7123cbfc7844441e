// dasctl's interactive input at a terminal: lines are edited with libedit and the session's
// lines are kept as a history, so the up arrow brings the last request back. The terminal is a
// pseudo-terminal the test holds; dasctl talks to a real dasd.

#include <poll.h>
#include <pty.h>
#include <termios.h>
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
        return waitUntil([&] { return count(text) >= times; });
    }

    // Reads until `text` stands after the last `marker` shown, or 10 s pass.
    bool waitForAfter(const std::string& text, const std::string& marker)
    {
        return waitUntil([&] {
            const std::size_t last = m_shown.rfind(marker);
            return last != std::string::npos && m_shown.find(text, last + marker.size()) != std::string::npos;
        });
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

    // Waits until the line editor reads keys one by one (the terminal out of its line mode),
    // as it does between showing its prompt and the end of a line; false after 10 s. Keys
    // typed before that go through the terminal's own line handling, which may drop them
    // when the editor switches the mode.
    bool waitForEditor()
    {
        return waitUntil([&] {
            termios mode{};
            return tcgetattr(m_terminal, &mode) == 0 && (mode.c_lflag & ICANON) == 0;
        });
    }

private:
    template <class Done>
    bool waitUntil(Done done)
    {
        const auto deadline = std::chrono::steady_clock::now() + 10s;
        while (!done()) {
            if (std::chrono::steady_clock::now() > deadline) return false;
            pollfd ready{m_terminal, POLLIN, 0};
            if (poll(&ready, 1, 10) <= 0) continue;
            char buffer[4096];
            const ssize_t got = read(m_terminal, buffer, sizeof buffer);
            if (got <= 0) return done();
            m_shown.append(buffer, static_cast<std::size_t>(got));
        }
        return true;
    }

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

    // Each line is typed once dasctl shows its prompt after the last answer and its line
    // editor reads the keys.
    const std::string prompt = "dasctl> ";
    const std::string reply = "reply \"isEmergencyNumberResponse:1\"";
    ASSERT_TRUE(terminal.waitFor(prompt) && terminal.waitForEditor()) << terminal.shown();
    terminal.type("isEmergencyNumberRequest:true:112\r");
    ASSERT_TRUE(terminal.waitFor(reply)) << terminal.shown();
    ASSERT_TRUE(terminal.waitForAfter(prompt, reply) && terminal.waitForEditor()) << terminal.shown();
    terminal.type("\x1b[A\r");  // up arrow, then Enter
    EXPECT_TRUE(terminal.waitFor(reply, 2)) << terminal.shown();
    ASSERT_TRUE(terminal.waitForAfter(prompt, reply) && terminal.waitForEditor()) << terminal.shown();
    terminal.type("\x04");  // end of input at an empty line
    EXPECT_EQ(terminal.exitStatus(), 0) << terminal.shown();
}
