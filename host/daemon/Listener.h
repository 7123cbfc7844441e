#pragma once
// dasd's listening socket and the connections it takes: accepts a client (same user only),
// starts its reader thread, backs off when descriptors or memory run out, and reaps the
// connections that have ended. The frames a reader reads go to the frame dispatcher.

#include <atomic>
#include <chrono>
#include <cstdint>
#include <string>
#include <vector>

#include "Connection.h"
#include "DaemonLog.h"
#include "HostMutex.h"

class ClientNames;
class FrameDispatcher;

class Listener {
public:
    // How long the listener rests after accept failed for want of a descriptor or memory.
    static constexpr std::chrono::milliseconds kAcceptPause{250};

    // Borrows both; they must outlive the listener's connections.
    Listener(FrameDispatcher& dispatcher, ClientNames& names) : m_dispatcher(dispatcher), m_names(names) {}

    // Takes over the socket the service manager passed, or listens on `socketPath`; throws
    // SocketError (docs/host.md). `socketPath` becomes the path of the socket taken over.
    void open(std::string& socketPath);
    // Closes the listening socket and removes its file (when it made it).
    void close(const std::string& socketPath);
    int fd() const { return m_listenFd; }

    // Whether the listening socket should be watched now; when it rests, `timeoutMs` is cut
    // to the end of the rest. The serving thread only.
    bool listening(int& timeoutMs) const;
    // The listener's boundary: reaps ended connections, then takes a waiting client when
    // `readable`; a fault while taking one client is logged and the others go on.
    void serve(bool readable);
    // Ends and joins the finished connections, or all of them.
    void reap(bool all);
    // The number of the next connection, for its fault lines. Any thread.
    std::uint64_t nextConnectionNumber() { return ++m_connectionCount; }

private:
    using SteadyClock = std::chrono::steady_clock;

    FrameDispatcher& m_dispatcher;
    ClientNames& m_names;
    int m_listenFd = -1;
    HostMutex m_connectionsMutex;
    std::vector<ConnectionPtr> m_connections DAS_GUARDED_BY(m_connectionsMutex);
    std::atomic<std::uint64_t> m_connectionCount{0};

    // Accept failures for want of descriptors or memory: one episode is logged once; the
    // listener rests until m_acceptResumeAt.
    bool m_acceptPaused = false;
    std::size_t m_acceptFailures = 0;
    SteadyClock::time_point m_acceptResumeAt{};
    // Faults of clients that never got a connection of their own (refused at accept).
    FaultLog m_faults{"the listener"};

    void accept();
    void acceptFailed(int error);
    void readConnection(const ConnectionPtr& connection);
    void readFrames(const ConnectionPtr& connection);
};
