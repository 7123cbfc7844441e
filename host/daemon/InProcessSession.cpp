#include "InProcessSession.h"

#include <chrono>
#include <string>
#include <thread>
#include <vector>

#include "ClientNames.h"
#include "Connection.h"
#include "FrameDispatch.h"
#include "HostMutex.h"

namespace {

// Collects the frames sent to an in-process session.
class CollectingSink : public FrameSink {
public:
    bool write(const std::string& bytes) override
    {
        HostLock lock(m_mutex);
        if (m_hungUp) return false;
        m_bytes += bytes;
        return true;
    }
    void hangUp() override
    {
        HostLock lock(m_mutex);
        m_hungUp = true;
    }
    std::vector<Frame> frames() const
    {
        HostLock lock(m_mutex);
        FrameDecoder decoder;
        decoder.feed(m_bytes.data(), m_bytes.size());
        std::vector<Frame> result;
        Frame frame;
        while (decoder.next(frame)) result.push_back(frame);
        return result;
    }

private:
    mutable HostMutex m_mutex;
    std::string m_bytes DAS_GUARDED_BY(m_mutex);
    bool m_hungUp DAS_GUARDED_BY(m_mutex) = false;
};

// A connection without a socket: the feeding thread plays the connection's reader.
class InProcessSession final : public DaemonSession {
public:
    InProcessSession(FrameDispatcher& dispatcher, ClientNames& names, std::uint64_t number)
        : m_dispatcher(dispatcher), m_names(names)
    {
        auto sink = std::make_unique<CollectingSink>();
        m_sink = sink.get();
        m_connection = std::make_shared<Connection>(std::move(sink), -1, number);
    }

    ~InProcessSession() override
    {
        static_cast<void>(drain(10000));
        m_connection->close();
        m_connection->hangUp();
        m_names.detach(*m_connection);
        m_connection->finished = true;
    }
    InProcessSession(const InProcessSession&) = delete;
    InProcessSession& operator=(const InProcessSession&) = delete;

    bool feed(const std::string& bytes) override
    {
        if (!m_open) return false;
        m_decoder.feed(bytes.data(), bytes.size());
        Frame frame;
        while (m_open && m_decoder.next(frame)) {
            m_handled.push_back(frame);
            m_open = m_dispatcher.handleFrame(m_connection, frame);
        }
        if (m_open && m_decoder.failed()) {
            m_connection->send(Frame{FrameKind::Error, 0, "protocol error: " + m_decoder.error()});
            m_open = false;
        }
        return m_open;
    }

    bool waitUntilAnswered(int limitMs) override { return drain(limitMs); }

    std::vector<Frame> handled() const override { return m_handled; }
    std::vector<Frame> sent() const override { return m_sink->frames(); }

private:
    FrameDispatcher& m_dispatcher;
    ClientNames& m_names;
    ConnectionPtr m_connection;
    CollectingSink* m_sink = nullptr;
    FrameDecoder m_decoder;
    std::vector<Frame> m_handled;
    bool m_open = true;

    // Not virtual: the destructor waits through it too.
    bool drain(int limitMs)
    {
        const auto deadline = std::chrono::steady_clock::now() + std::chrono::milliseconds(limitMs);
        while (true) {
            {
                HostLock lock(m_connection->queueMutex);
                if (m_connection->requests.empty() && !m_connection->scheduled &&
                    m_connection->managementWaiting == 0)
                    return true;
            }
            if (std::chrono::steady_clock::now() >= deadline) return false;
            std::this_thread::sleep_for(std::chrono::microseconds(200));
        }
    }
};

}  // namespace

std::unique_ptr<DaemonSession> openInProcessSession(FrameDispatcher& dispatcher, ClientNames& names,
                                                    std::uint64_t number)
{
    return std::make_unique<InProcessSession>(dispatcher, names, number);
}
