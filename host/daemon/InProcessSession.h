#pragma once
// A client session of a daemon started in process (Daemon::openSession): a connection without
// a socket, whose feeding thread plays the connection's reader.

#include <cstdint>
#include <memory>

#include "Daemon.h"

class ClientNames;
class FrameDispatcher;

// Borrows both; the session must go before them.
std::unique_ptr<DaemonSession> openInProcessSession(FrameDispatcher& dispatcher, ClientNames& names,
                                                    std::uint64_t number);
