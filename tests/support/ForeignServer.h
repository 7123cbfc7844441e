#pragma once
// A Unix socket served by another user (nobody, 65534), in a child process: what a local
// attacker who created the socket file first would run. Needs root to change user; tests
// skip when ForeignServer::possible() is false. Header-only, for the host's tests.

#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <signal.h>
#include <unistd.h>

#include <cstring>
#include <string>

class ForeignServer {
public:
    static constexpr uid_t kUser = 65534;
    static bool possible() { return geteuid() == 0; }

    // Listens at `path` as user kUser (its directory must let that user create the file) and
    // accepts until destroyed; listening() says whether it got that far.
    explicit ForeignServer(const std::string& path)
    {
        int ready[2];
        if (pipe(ready) != 0) return;
        m_pid = fork();
        if (m_pid == 0) {
            close(ready[0]);
            if (setgid(kUser) != 0 || setuid(kUser) != 0) _exit(10);
            const int fd = socket(AF_UNIX, SOCK_STREAM, 0);
            sockaddr_un address{};
            address.sun_family = AF_UNIX;
            std::strncpy(address.sun_path, path.c_str(), sizeof address.sun_path - 1);
            if (bind(fd, reinterpret_cast<sockaddr*>(&address), sizeof address) != 0 || listen(fd, 8) != 0) _exit(11);
            const char ok = 'k';
            if (write(ready[1], &ok, 1) != 1) _exit(12);
            while (true) {
                const int client = accept(fd, nullptr, nullptr);
                if (client >= 0) close(client);
            }
        }
        close(ready[1]);
        char answer = 0;
        m_listening = m_pid > 0 && read(ready[0], &answer, 1) == 1;
        close(ready[0]);
    }
    ~ForeignServer()
    {
        if (m_pid <= 0) return;
        kill(m_pid, SIGKILL);
        int status = 0;
        waitpid(m_pid, &status, 0);
    }
    ForeignServer(const ForeignServer&) = delete;
    ForeignServer& operator=(const ForeignServer&) = delete;

    bool listening() const { return m_listening; }

private:
    pid_t m_pid = -1;
    bool m_listening = false;
};
