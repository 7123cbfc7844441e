#pragma once
// Socket activation: a service manager (a systemd socket unit, packaging/dasd.socket) makes
// and binds the daemon's listening socket itself, starts the daemon on the first connection
// and hands the socket over as descriptor 3, announced by the environment variables
// LISTEN_PID (the daemon's process id) and LISTEN_FDS (how many descriptors, from 3 on).
// Read here directly: the hand-over is only these variables and descriptors, no library.

#include <optional>
#include <string>

// The first descriptor a service manager passes.
constexpr int kFirstInheritedFd = 3;

// The listening socket passed to this process: descriptor 3 when LISTEN_PID is this process's
// id and LISTEN_FDS is at least 1; further passed descriptors are not used. Every passed
// descriptor is made close-on-exec. nullopt when nothing was passed to this process (no or
// malformed variables, or variables meant for another process: the parent's, inherited).
// The environment is left as it is: the variables name this process only. Throws SocketError
// when a socket was announced but descriptor 3 is not a listening Unix domain stream socket
// bound to a file (the socket unit is wrong). Any thread.
std::optional<int> inheritedListeningSocket();

// The daemon's listening socket: the one the service manager passed, else a new one at
// `path` (listenUnixSocket). When the socket was passed, `path` is set to the file it is
// bound to, which may differ from the one asked for. Throws SocketError. Called once, at
// start-up.
int adoptOrListenUnixSocket(std::string& path);

// Closes the daemon's listening socket and removes its file at `path`, but only when this
// process made it: a socket the service manager passed stays in place, so that the next
// connection starts the daemon again.
void closeListeningSocket(int fd, const std::string& path);
