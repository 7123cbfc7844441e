#pragma once
// A client of the daemon's socket (docs/protocol.md): names itself, sends requests and
// waits for their replies, receives events and answers the requests of its event proxy,
// and sends management messages. A reader thread takes the daemon's frames as they come.

#include <condition_variable>
#include <cstdint>
#include <functional>
#include <map>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "Framing.h"
#include "HostMutex.h"
#include "JsonText.h"

class ClientError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

// No daemon could be reached at the socket: nothing listens there, or it may not be used
// (another user's socket).
class DaemonUnreachable : public ClientError {
public:
    using ClientError::ClientError;
};

class DasClient {
public:
    struct Handlers {
        // An event the service sent to this client through its proxy.
        std::function<void(const std::string& event)> onEvent;
        // A request of this client's proxy; the result is the answer sent back.
        std::function<std::string(const std::string& request)> onProxyRequest;
    };

    // Connects and names itself (an empty name: a client without a name). Throws
    // DaemonUnreachable when the daemon cannot be reached, ClientError when it refuses the
    // client.
    DasClient(const std::string& socketPath, const std::string& name, Handlers handlers = {}, int timeoutMs = 10000);
    ~DasClient();
    DasClient(const DasClient&) = delete;
    DasClient& operator=(const DasClient&) = delete;

    // Sends a request and waits until the daemon completes it; returns its replies in order.
    std::vector<std::string> request(const std::string& text);
    // Management: a change with notification, a write and a read (see docs/protocol.md).
    // The texts are sent as they are; the daemon answers a malformed one with "error".
    // Each returns the daemon's result, an object whose "error" is a string, "ok" a
    // boolean and "items" a list of [path, value] strings when present; ClientError when
    // the result has another form. managementGet throws ClientError, sending nothing,
    // when a root name is not UTF-8.
    Json notify(const std::string& itemsJson);
    Json managementSet(const std::string& itemsJson);
    Json managementGet(const std::vector<std::string>& roots);

    // Blocks until the daemon closes the connection or close() is called.
    void waitUntilClosed();
    void close();
    bool isOpen() const;
    // Why the connection ended, when it has.
    std::string closeReason() const;

private:
    struct Pending {
        std::vector<std::string> replies;
        std::string result;
        bool done = false;
    };

    int m_fd = -1;
    Handlers m_handlers;
    int m_timeoutMs;
    std::thread m_reader;
    mutable HostMutex m_mutex;
    HostMutex m_writeMutex;
    std::condition_variable m_changed;
    std::map<std::uint32_t, Pending> m_pending DAS_GUARDED_BY(m_mutex);
    std::uint32_t m_nextId DAS_GUARDED_BY(m_mutex) = 1;
    bool m_open DAS_GUARDED_BY(m_mutex) = true;
    std::string m_closeReason DAS_GUARDED_BY(m_mutex);

    void handshake(const std::string& name);
    void readFrames();
    void dispatch(const Frame& frame);
    void markClosed(const std::string& reason);
    void sendFrame(const Frame& frame);
    Pending exchange(FrameKind kind, const std::string& text);
    Json managementResult(const Pending& pending);
};
