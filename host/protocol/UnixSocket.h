#pragma once
// Small helpers over Unix domain stream sockets: connect, listen, write whole buffers.
// The socket is the daemon's only door, so both ends check who is on the other side: the
// daemon listens only in a directory other users cannot tamper with, and a client talks only
// to a daemon of its own user.

#include <stdexcept>
#include <string>

class SocketError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

// The socket path used when none is given: $XDG_RUNTIME_DIR/dasd.sock; else
// /run/user/UID/dasd.sock when that directory exists, belongs to this user and has mode
// 0700; else empty: there is no private place, and a path must be given (--socket).
// Never a path in a directory shared with other users. Any thread.
std::string defaultSocketPath();
// The same rule with the two places given: `runtimeDirectory` as $XDG_RUNTIME_DIR would be
// (null or empty: unset), `userRuntimeDirectory` in place of /run/user/UID.
std::string defaultSocketPathFrom(const char* runtimeDirectory, const std::string& userRuntimeDirectory);
// What to tell the user when there is no default socket path.
std::string noDefaultSocketMessage();

// A connected socket to a daemon of this process's own user (SO_PEERCRED): a socket served
// by another user is closed again and refused. Throws SocketError saying why (an empty
// `path`: noDefaultSocketMessage()).
int connectUnixSocket(const std::string& path);

// A listening socket of mode 0600 at `path`. The directory must belong to this user or to
// root, and may be writable by others only when it is sticky (as /tmp is), so nobody else
// can remove or replace the socket. A stale socket file of this user (no daemon answering)
// is replaced; anything else at the path is left alone and refused. Throws SocketError, also
// when a daemon already answers there.
int listenUnixSocket(const std::string& path);

// Writes all of `data`; false when the peer is gone.
bool writeAll(int fd, const std::string& data);
