#include "UnixSocket.h"

#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>

namespace {

sockaddr_un addressOf(const std::string& path)
{
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    if (path.empty() || path.size() >= sizeof address.sun_path)
        throw SocketError("socket path \"" + path + "\" is empty or too long");
    std::memcpy(address.sun_path, path.c_str(), path.size() + 1);
    return address;
}

std::string reason() { return std::strerror(errno); }

}  // namespace

std::string defaultSocketPath()
{
    const char* runtime = std::getenv("XDG_RUNTIME_DIR");
    if (runtime != nullptr && *runtime != '\0') return std::string(runtime) + "/dasd.sock";
    return "/tmp/dasd-" + std::to_string(getuid()) + ".sock";
}

int connectUnixSocket(const std::string& path)
{
    const sockaddr_un address = addressOf(path);
    const int fd = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    if (fd < 0) throw SocketError("socket: " + reason());
    if (connect(fd, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0) {
        const std::string why = reason();
        close(fd);
        throw SocketError("cannot connect to " + path + ": " + why);
    }
    return fd;
}

int listenUnixSocket(const std::string& path)
{
    const sockaddr_un address = addressOf(path);
    struct stat existing{};
    if (lstat(path.c_str(), &existing) == 0) {
        if (!S_ISSOCK(existing.st_mode)) throw SocketError(path + " exists and is not a socket");
        try {
            close(connectUnixSocket(path));
            throw SocketError("a daemon is already listening on " + path);
        } catch (const SocketError& error) {
            if (std::strstr(error.what(), "already listening") != nullptr) throw;
        }
        unlink(path.c_str());
    }
    const int fd = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    if (fd < 0) throw SocketError("socket: " + reason());
    // Created with mode 0600 from the start: no moment in which others could connect.
    const mode_t previous = umask(0177);
    const int bound = bind(fd, reinterpret_cast<const sockaddr*>(&address), sizeof address);
    umask(previous);
    if (bound != 0 || chmod(path.c_str(), 0600) != 0 || listen(fd, 128) != 0) {
        const std::string why = reason();
        close(fd);
        throw SocketError("cannot listen on " + path + ": " + why);
    }
    return fd;
}

bool writeAll(int fd, const std::string& data)
{
    std::size_t written = 0;
    while (written < data.size()) {
        const ssize_t result = send(fd, data.data() + written, data.size() - written, MSG_NOSIGNAL);
        if (result < 0) {
            if (errno == EINTR) continue;
            return false;
        }
        written += static_cast<std::size_t>(result);
    }
    return true;
}
