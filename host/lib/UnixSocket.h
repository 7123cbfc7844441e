#pragma once
// Small helpers over Unix domain stream sockets: connect, listen, write whole buffers.

#include <stdexcept>
#include <string>

class SocketError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

// The socket path used when none is given: $XDG_RUNTIME_DIR/dasd.sock, else /tmp/dasd-UID.sock.
std::string defaultSocketPath();

// A connected socket; throws SocketError.
int connectUnixSocket(const std::string& path);

// A listening socket of mode 0600 at `path`; a stale socket file (no daemon answering)
// is replaced. Throws SocketError, also when another daemon answers there.
int listenUnixSocket(const std::string& path);

// Writes all of `data`; false when the peer is gone.
bool writeAll(int fd, const std::string& data);
