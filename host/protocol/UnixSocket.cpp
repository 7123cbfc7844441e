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
    if (path.empty()) throw SocketError(noDefaultSocketMessage());
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    if (path.size() >= sizeof address.sun_path) throw SocketError("socket path \"" + path + "\" is too long");
    std::memcpy(address.sun_path, path.c_str(), path.size() + 1);
    return address;
}

std::string reason() { return std::strerror(errno); }

// A socket connected to `path` without asking who serves it; -1 with errno set when it fails.
int connectTo(const sockaddr_un& address)
{
    const int fd = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    if (fd < 0) return -1;
    if (connect(fd, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0) {
        const int error = errno;
        close(fd);
        errno = error;
        return -1;
    }
    return fd;
}

std::string directoryOf(const std::string& path)
{
    const std::size_t slash = path.rfind('/');
    if (slash == std::string::npos) return ".";
    return slash == 0 ? "/" : path.substr(0, slash);
}

// Refuses a directory in which another user could remove or replace the socket.
void checkListeningDirectory(const std::string& directory)
{
    struct stat info{};
    if (stat(directory.c_str(), &info) != 0) throw SocketError("cannot listen in " + directory + ": " + reason());
    if (!S_ISDIR(info.st_mode)) throw SocketError("cannot listen in " + directory + ": not a directory");
    if (info.st_uid != geteuid() && info.st_uid != 0) {
        throw SocketError("refusing to listen in " + directory + ": it belongs to user id " +
                          std::to_string(info.st_uid) + "; use a directory of your own (--socket)");
    }
    if ((info.st_mode & (S_IWGRP | S_IWOTH)) != 0 && (info.st_mode & S_ISVTX) == 0) {
        throw SocketError("refusing to listen in " + directory +
                          ": other users may write to it and it is not sticky; use a directory of your own (--socket)");
    }
}

}  // namespace

std::string defaultSocketPathFrom(const char* runtimeDirectory, const std::string& userRuntimeDirectory)
{
    if (runtimeDirectory != nullptr && *runtimeDirectory != '\0') return std::string(runtimeDirectory) + "/dasd.sock";
    struct stat info{};
    if (lstat(userRuntimeDirectory.c_str(), &info) == 0 && S_ISDIR(info.st_mode) && info.st_uid == geteuid() &&
        (info.st_mode & 07777) == 0700)
        return userRuntimeDirectory + "/dasd.sock";
    return std::string();
}

std::string defaultSocketPath()
{
    return defaultSocketPathFrom(std::getenv("XDG_RUNTIME_DIR"), "/run/user/" + std::to_string(geteuid()));
}

std::string noDefaultSocketMessage()
{
    return "no socket path: $XDG_RUNTIME_DIR is not set and /run/user/" + std::to_string(geteuid()) +
           " is not a private directory of this user (mode 0700); give one with --socket PATH";
}

int connectUnixSocket(const std::string& path)
{
    const sockaddr_un address = addressOf(path);
    const int fd = connectTo(address);
    if (fd < 0) throw SocketError("cannot connect to " + path + ": " + reason());
    // Whoever could create the socket file could be listening on it: talk only to our own user.
    ucred peer{};
    socklen_t length = sizeof peer;
    if (getsockopt(fd, SOL_SOCKET, SO_PEERCRED, &peer, &length) != 0) {
        const std::string why = reason();
        close(fd);
        throw SocketError("cannot tell who serves " + path + ": " + why);
    }
    if (peer.uid != geteuid()) {
        close(fd);
        throw SocketError("refusing the socket " + path + ": it is served by user id " + std::to_string(peer.uid) +
                          ", not by this user (" + std::to_string(geteuid()) + ")");
    }
    return fd;
}

int listenUnixSocket(const std::string& path)
{
    const sockaddr_un address = addressOf(path);
    checkListeningDirectory(directoryOf(path));
    struct stat existing{};
    if (lstat(path.c_str(), &existing) == 0) {
        if (!S_ISSOCK(existing.st_mode)) throw SocketError(path + " exists and is not a socket");
        if (existing.st_uid != geteuid()) {
            throw SocketError(path + " is a socket of user id " + std::to_string(existing.st_uid) +
                              "; it is not replaced");
        }
        const int live = connectTo(address);
        if (live >= 0) {
            close(live);
            throw SocketError("a daemon is already listening on " + path);
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
