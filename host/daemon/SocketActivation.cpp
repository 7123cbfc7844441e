#include "SocketActivation.h"

#include <fcntl.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <cstddef>
#include <cstdlib>
#include <cstring>

#include "UnixSocket.h"

namespace {

// The descriptor adopted from the service manager, so that closing it leaves its file alone.
std::atomic<int> g_adoptedFd{-1};

// A whole non-negative decimal number, or nullopt: "12x", "" and "-1" are not numbers here.
std::optional<long long> decimal(const char* text)
{
    if (text == nullptr || *text == '\0' || std::strspn(text, "0123456789") != std::strlen(text)) return std::nullopt;
    errno = 0;
    const long long value = std::strtoll(text, nullptr, 10);
    if (errno != 0) return std::nullopt;
    return value;
}

int socketOption(int fd, int option)
{
    int value = -1;
    socklen_t length = sizeof value;
    if (getsockopt(fd, SOL_SOCKET, option, &value, &length) != 0) return -1;
    return value;
}

// The file the socket is bound to; throws when it is not a listening Unix stream socket on one.
std::string boundFile(int fd)
{
    if (fcntl(fd, F_GETFD) < 0)
        throw SocketError("the service manager announced a socket, but descriptor 3 is not open");
    if (socketOption(fd, SO_DOMAIN) != AF_UNIX || socketOption(fd, SO_TYPE) != SOCK_STREAM ||
        socketOption(fd, SO_ACCEPTCONN) != 1)
        throw SocketError("the socket passed by the service manager (descriptor 3) is not a listening Unix domain stream socket");
    sockaddr_un address{};
    socklen_t length = sizeof address;
    if (getsockname(fd, reinterpret_cast<sockaddr*>(&address), &length) != 0 ||
        length <= static_cast<socklen_t>(offsetof(sockaddr_un, sun_path)) || address.sun_path[0] == '\0')
        throw SocketError("the socket passed by the service manager (descriptor 3) is not bound to a file");
    const std::size_t pathLength = static_cast<std::size_t>(length) - offsetof(sockaddr_un, sun_path);
    return std::string(address.sun_path, strnlen(address.sun_path, std::min(pathLength, sizeof address.sun_path)));
}

}  // namespace

std::optional<int> inheritedListeningSocket()
{
    const auto pid = decimal(std::getenv("LISTEN_PID"));
    const auto count = decimal(std::getenv("LISTEN_FDS"));
    if (!pid || !count || *pid != static_cast<long long>(getpid()) || *count < 1) return std::nullopt;
    // Programs the daemon may start must not inherit what the service manager passed.
    for (long long fd = kFirstInheritedFd; fd < kFirstInheritedFd + *count && fd <= 1024; ++fd) {
        const int flags = fcntl(static_cast<int>(fd), F_GETFD);
        if (flags >= 0) fcntl(static_cast<int>(fd), F_SETFD, flags | FD_CLOEXEC);
    }
    boundFile(kFirstInheritedFd);
    return kFirstInheritedFd;
}

int adoptOrListenUnixSocket(std::string& path)
{
    if (const auto inherited = inheritedListeningSocket()) {
        path = boundFile(*inherited);
        g_adoptedFd = *inherited;
        return *inherited;
    }
    return listenUnixSocket(path);
}

void closeListeningSocket(int fd, const std::string& path)
{
    ::close(fd);
    if (fd != g_adoptedFd) ::unlink(path.c_str());
}
