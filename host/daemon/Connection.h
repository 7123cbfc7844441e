#pragma once
// One client connection of the daemon: where its frames go (its socket, or a collector for a
// session driven in process), its name, its fault log, and the requests waiting for a message
// thread (handled one at a time, in order).

#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <deque>
#include <functional>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "DaemonLog.h"
#include "Framing.h"
#include "HostMutex.h"

// Where a connection's frames go: its socket, or anything else that takes whole encoded
// frames (to drive the frame handling in process, without a socket).
class FrameSink {
public:
    virtual ~FrameSink() = default;
    // Writes one encoded frame whole; false when the peer is gone. Called under the
    // connection's write lock, so frames never interleave.
    virtual bool write(const std::string& bytes) = 0;
    // Ends the connection both ways; a reader blocked on it wakes up.
    virtual void hangUp() = 0;
};

// A connected socket as a frame sink; owns the descriptor.
class SocketSink : public FrameSink {
public:
    explicit SocketSink(int fd) : m_fd(fd) {}
    ~SocketSink() override;
    SocketSink(const SocketSink&) = delete;
    SocketSink& operator=(const SocketSink&) = delete;
    bool write(const std::string& bytes) override;
    void hangUp() override;

private:
    int m_fd;
};

// Runs `release` when destroyed: a connection's hold on its client name.
class NameLease {
public:
    explicit NameLease(std::function<void()> release) : m_release(std::move(release)) {}
    ~NameLease() { m_release(); }
    NameLease(const NameLease&) = delete;
    NameLease& operator=(const NameLease&) = delete;

private:
    std::function<void()> m_release;
};

class Connection {
public:
    // `readFd`: the socket the reader thread reads, -1 when frames are handed in directly.
    // `number` names the connection in fault lines until it has a client name.
    Connection(std::unique_ptr<FrameSink> sink, int readFd, std::uint64_t number);
    Connection(const Connection&) = delete;
    Connection& operator=(const Connection&) = delete;

    int readFd() const { return m_readFd; }

    // Sends one frame. A frame too long for the protocol (a reply that echoes a request of
    // nearly the maximum size) is not sent: the client would have to end the connection.
    // It is logged and dropped, so the request still completes, without that reply. False
    // when the frame was not sent. Any thread; takes the write lock.
    bool send(const Frame& frame);
    // Sends `frames` in order with one write (one system call, one wake-up of the client),
    // each too-long frame dropped as above. False when nothing was sent.
    bool send(const std::vector<Frame>& frames);
    void hangUp() { m_sink->hangUp(); }
    // Wakes a reader waiting for room in the request queue and lets no more requests in.
    void close();

    FaultLog faults;
    std::string name;
    bool welcomed = false;
    std::unique_ptr<NameLease> nameLease;
    // Whether the service has been told this connection's name may reach it (message threads).
    bool nameMarked = false;
    std::thread reader;
    std::atomic<bool> finished{false};
    // Management frames of this connection waiting for the management thread.
    std::atomic<std::size_t> managementWaiting{0};

    // The strand: requests of this connection, and whether a message thread has it.
    HostMutex queueMutex;
    std::condition_variable drained;
    std::deque<Frame> requests DAS_GUARDED_BY(queueMutex);
    std::size_t requestBytes DAS_GUARDED_BY(queueMutex) = 0;
    bool scheduled DAS_GUARDED_BY(queueMutex) = false;
    bool closing DAS_GUARDED_BY(queueMutex) = false;

private:
    // Whether `frame` can be sent; a frame too long is logged.
    bool fitsAFrame(const Frame& frame);
    // Writes encoded frames whole, under the write lock.
    bool write(const std::string& bytes);

    std::unique_ptr<FrameSink> m_sink;
    int m_readFd;
    HostMutex m_writeMutex;
    bool m_broken DAS_GUARDED_BY(m_writeMutex) = false;
};

using ConnectionPtr = std::shared_ptr<Connection>;
