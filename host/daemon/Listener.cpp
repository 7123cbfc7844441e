#include "Listener.h"

#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <system_error>
#include <thread>

#include "ClientNames.h"
#include "FrameDispatch.h"
#include "TextQuote.h"
#include "SocketActivation.h"
#include "UnixSocket.h"

void Listener::open(std::string& socketPath) { m_listenFd = adoptOrListenUnixSocket(socketPath); }

void Listener::close(const std::string& socketPath) { closeListeningSocket(m_listenFd, socketPath); }

bool Listener::listening(int& timeoutMs) const
{
    // While accepting rests, only the signals are watched, until the rest is over.
    const bool listening = !m_acceptPaused || SteadyClock::now() >= m_acceptResumeAt;
    if (!listening) {
        const auto rest = std::chrono::duration_cast<std::chrono::milliseconds>(m_acceptResumeAt - SteadyClock::now());
        timeoutMs = static_cast<int>(std::max<long long>(1, rest.count() + 1));
    }
    return listening;
}

void Listener::serve(bool readable)
{
    try {
        // Finished connections give their descriptors back first: out of descriptors, those
        // are what lets the next accept succeed.
        reap(false);
        if (readable) accept();
    } catch (const std::exception& error) {
        m_faults.report("a fault while taking a client: " + describe(error));
    }
}

void Listener::accept()
{
    const int fd = ::accept4(m_listenFd, nullptr, nullptr, SOCK_CLOEXEC);
    if (fd < 0) {
        acceptFailed(errno);
        return;
    }
    if (m_acceptPaused) {
        say("accepting connections again, after " + std::to_string(m_acceptFailures) + " failed attempt" +
            (m_acceptFailures == 1 ? "" : "s"));
        m_acceptPaused = false;
    }
    auto connection = std::make_shared<Connection>(std::make_unique<SocketSink>(fd), fd, ++m_connectionCount);
    ucred peer{};
    socklen_t length = sizeof peer;
    if (getsockopt(fd, SOL_SOCKET, SO_PEERCRED, &peer, &length) != 0 || peer.uid != geteuid()) {
        connection->send(Frame{FrameKind::Error, 0, "refused: the client runs as another user"});
        m_faults.report("refused a client of user id " + std::to_string(peer.uid));
        return;
    }
    // Replies must not block the service for long when a client stops reading.
    timeval sendLimit{5, 0};
    setsockopt(fd, SOL_SOCKET, SO_SNDTIMEO, &sendLimit, sizeof sendLimit);
    {
        HostLock lock(m_connectionsMutex);
        m_connections.push_back(connection);
    }
    try {
        connection->reader = std::thread([this, connection] { readConnection(connection); });
    } catch (const std::system_error& error) {
        // No thread, no client: refuse this one and go on serving the others.
        {
            HostLock lock(m_connectionsMutex);
            m_connections.erase(std::remove(m_connections.begin(), m_connections.end(), connection), m_connections.end());
        }
        connection->send(Frame{FrameKind::Error, 0, "refused: the daemon cannot take another client now"});
        m_faults.report("refused a client: cannot start its reader thread: " + describe(error));
    }
}

// accept() failed with `error`. Out of descriptors or memory, the pending connection stays
// pending and the listening socket stays readable: retrying at once would spin. The listener
// rests for kAcceptPause and tries again, until connections have closed; each such episode
// is logged once, when it starts and when it ends.
void Listener::acceptFailed(int error)
{
    if (error == EINTR || error == EAGAIN || error == EWOULDBLOCK || error == ECONNABORTED) return;
    ++m_acceptFailures;
    m_acceptResumeAt = SteadyClock::now() + kAcceptPause;
    if (m_acceptPaused) return;
    m_acceptPaused = true;
    m_acceptFailures = 1;
    say("cannot accept connections: " + std::generic_category().message(error) + "; trying again every " +
        std::to_string(kAcceptPause.count()) + " ms");
}

void Listener::reap(bool all)
{
    std::vector<ConnectionPtr> done;
    {
        HostLock lock(m_connectionsMutex);
        for (auto it = m_connections.begin(); it != m_connections.end();) {
            if (all || (*it)->finished) {
                done.push_back(*it);
                it = m_connections.erase(it);
            } else {
                ++it;
            }
        }
    }
    for (const auto& connection : done) {
        connection->close();
        connection->hangUp();
        if (connection->reader.joinable()) connection->reader.join();
    }
}

// A connection's reader thread: the boundary of everything one client's frames cause on it.
// A fault ends this connection with an ERROR frame; the daemon and its other clients go on.
void Listener::readConnection(const ConnectionPtr& connection)
{
    bool failed = false;
    std::string why;
    try {
        readFrames(connection);
    } catch (const std::exception& error) {
        failed = true;
        why = whatOf(error);
    } catch (...) {
        failed = true;
    }
    if (failed) {
        try {
            connection->faults.report("connection ended by a fault in the daemon" +
                                      (why.empty() ? std::string() : ": " + quoteText(why)));
            connection->send(Frame{FrameKind::Error, 0, "internal error: the daemon could not go on with this connection"});
        } catch (...) {
            // Not even that could be done (no memory): the connection ends all the same.
        }
    }
    connection->hangUp();
    m_names.detach(*connection);
    connection->finished = true;
}

void Listener::readFrames(const ConnectionPtr& connection)
{
    FrameDecoder decoder;
    Frame frame;
    char buffer[8192];
    bool open = true;
    while (open) {
        const ssize_t count = recv(connection->readFd(), buffer, sizeof buffer, 0);
        if (count < 0 && errno == EINTR) continue;
        if (count <= 0) break;
        decoder.feed(buffer, static_cast<std::size_t>(count));
        while (open && decoder.next(frame)) open = m_dispatcher.handleFrame(connection, frame);
        if (decoder.failed()) {
            connection->send(Frame{FrameKind::Error, 0, "protocol error: " + decoder.error()});
            break;
        }
    }
}

