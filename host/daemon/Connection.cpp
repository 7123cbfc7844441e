#include "Connection.h"

#include <sys/socket.h>
#include <unistd.h>

#include "UnixSocket.h"

SocketSink::~SocketSink() { ::close(m_fd); }

bool SocketSink::write(const std::string& bytes) { return writeAll(m_fd, bytes); }

void SocketSink::hangUp() { ::shutdown(m_fd, SHUT_RDWR); }

Connection::Connection(std::unique_ptr<FrameSink> sink, int readFd, std::uint64_t number)
    : faults("client #" + std::to_string(number)), m_sink(std::move(sink)), m_readFd(readFd)
{
}

bool Connection::send(const Frame& frame)
{
    if (!fitsAFrame(frame)) return false;
    return write(encodeFrame(frame));
}

bool Connection::send(const std::vector<Frame>& frames)
{
    std::string bytes;
    for (const Frame& frame : frames) {
        if (fitsAFrame(frame)) bytes += encodeFrame(frame);
    }
    return !bytes.empty() && write(bytes);
}

bool Connection::fitsAFrame(const Frame& frame)
{
    const std::size_t length = encodedFrameLength(frame);
    if (length <= kMaxFrameLength) return true;
    faults.report(std::string(frameKindName(frame.kind)) + " frame for client \"" + name + "\" dropped: length " +
                  std::to_string(length) + " exceeds the limit of " + std::to_string(kMaxFrameLength));
    return false;
}

bool Connection::write(const std::string& bytes)
{
    HostLock lock(m_writeMutex);
    if (m_broken) return false;
    if (!m_sink->write(bytes)) {
        m_broken = true;
        m_sink->hangUp();
        return false;
    }
    return true;
}

void Connection::close()
{
    HostLock lock(queueMutex);
    closing = true;
    drained.notify_all();
}
