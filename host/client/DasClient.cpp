#include "DasClient.h"

#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>

#include "TextQuote.h"
#include "UnixSocket.h"

namespace {

// Reads frames from `fd` until one is complete; false at the end of the stream.
bool readFrame(int fd, FrameDecoder& decoder, Frame& frame)
{
    char buffer[4096];
    while (!decoder.next(frame)) {
        if (decoder.failed()) return false;
        const ssize_t count = recv(fd, buffer, sizeof buffer, 0);
        if (count < 0 && errno == EINTR) continue;
        if (count <= 0) return false;
        decoder.feed(buffer, static_cast<std::size_t>(count));
    }
    return true;
}

}  // namespace

DasClient::DasClient(const std::string& socketPath, const std::string& name, Handlers handlers, int timeoutMs)
    : m_handlers(std::move(handlers)), m_timeoutMs(timeoutMs)
{
    try {
        m_fd = connectUnixSocket(socketPath);
    } catch (const SocketError& error) {
        throw DaemonUnreachable(error.what());
    }
    try {
        handshake(name);
    } catch (...) {
        ::close(m_fd);
        throw;
    }
    m_reader = std::thread([this] { readFrames(); });
}

DasClient::~DasClient()
{
    close();
    if (m_reader.joinable()) m_reader.join();
    ::close(m_fd);
}

void DasClient::handshake(const std::string& name)
{
    // A refusal may already be on its way; the HELLO may then find the socket closed.
    writeAll(m_fd, encodeFrame(Frame{FrameKind::Hello, 0, name}));
    FrameDecoder decoder;
    Frame frame;
    if (!readFrame(m_fd, decoder, frame)) throw ClientError("the daemon closed the connection");
    if (frame.kind == FrameKind::Error) throw ClientError("the daemon refused the client: " + frame.text);
    if (frame.kind != FrameKind::Welcome) throw ClientError("the daemon did not welcome the client");
}

void DasClient::readFrames()
{
    FrameDecoder decoder;
    Frame frame;
    while (readFrame(m_fd, decoder, frame)) {
        if (frame.kind == FrameKind::Error) {
            markClosed("the daemon reported: " + frame.text);
            return;
        }
        dispatch(frame);
    }
    markClosed(decoder.failed() ? "malformed frame from the daemon: " + decoder.error() : "the daemon closed the connection");
}

void DasClient::dispatch(const Frame& frame)
{
    switch (frame.kind) {
    case FrameKind::Event:
        if (m_handlers.onEvent) m_handlers.onEvent(frame.text);
        return;
    case FrameKind::ProxyRequest: {
        const std::string answer = m_handlers.onProxyRequest ? m_handlers.onProxyRequest(frame.text) : std::string();
        sendFrame(Frame{FrameKind::Answer, frame.id, answer});
        return;
    }
    default: break;
    }
    HostLock lock(m_mutex);
    const auto it = m_pending.find(frame.id);
    if (it == m_pending.end()) return;
    if (frame.kind == FrameKind::Reply) it->second.replies.push_back(frame.text);
    if (frame.kind == FrameKind::Complete || frame.kind == FrameKind::MgmtResult) {
        it->second.result = frame.text;
        it->second.done = true;
        m_changed.notify_all();
    }
}

void DasClient::markClosed(const std::string& reason)
{
    HostLock lock(m_mutex);
    if (m_open) m_closeReason = reason;
    m_open = false;
    m_changed.notify_all();
}

void DasClient::sendFrame(const Frame& frame)
{
    HostLock lock(m_writeMutex);
    if (!writeAll(m_fd, encodeFrame(frame))) markClosed("the connection is broken");
}

DasClient::Pending DasClient::exchange(FrameKind kind, const std::string& text)
{
    std::uint32_t id = 0;
    {
        HostLock lock(m_mutex);
        if (!m_open) throw ClientError(m_closeReason);
        id = m_nextId++;
        m_pending[id] = Pending{};
    }
    sendFrame(Frame{kind, id, text});
    HostLock lock(m_mutex);
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::milliseconds(m_timeoutMs);
    bool finished = true;
    while (!m_pending[id].done && m_open) {
        if (!lock.waitUntil(m_changed, deadline)) {
            finished = m_pending[id].done || !m_open;
            break;
        }
    }
    Pending result = m_pending[id];
    m_pending.erase(id);
    if (result.done) return result;
    throw ClientError(finished ? m_closeReason : "no answer from the daemon in time");
}

std::vector<std::string> DasClient::request(const std::string& text) { return exchange(FrameKind::Request, text).replies; }

namespace {

// Whether a management result has the form docs/protocol.md gives it, so that a caller
// may read it without checking each member's type.
bool wellFormedResult(const Json& result)
{
    if (!result.is_object()) return false;
    if (result.contains("error") && !result.at("error").is_string()) return false;
    if (result.contains("ok") && !result.at("ok").is_boolean()) return false;
    if (!result.contains("items")) return true;
    const Json& items = result.at("items");
    if (!items.is_array()) return false;
    for (const auto& item : items) {
        if (!item.is_array() || item.size() != 2 || !item.at(0).is_string() || !item.at(1).is_string()) return false;
    }
    return true;
}

}  // namespace

Json DasClient::managementResult(const Pending& pending)
{
    Json result;
    try {
        result = parseJsonText(pending.result);
    } catch (const JsonTextError&) {
        // reported below, with the text
    }
    if (!wellFormedResult(result)) {
        const std::string shown = pending.result.size() > 200 ? pending.result.substr(0, 200) + "..." : pending.result;
        throw ClientError("malformed management result: " + quoteText(shown));
    }
    return result;
}

Json DasClient::notify(const std::string& itemsJson) { return managementResult(exchange(FrameKind::Notify, itemsJson)); }

Json DasClient::managementSet(const std::string& itemsJson)
{
    return managementResult(exchange(FrameKind::MgmtSet, itemsJson));
}

Json DasClient::managementGet(const std::vector<std::string>& roots)
{
    for (std::size_t i = 0; i < roots.size(); ++i) {
        const std::size_t invalid = invalidUtf8Offset(roots[i]);
        if (invalid != std::string::npos) {
            throw ClientError("root name " + std::to_string(i + 1) + ", byte " + std::to_string(invalid + 1) + ": " +
                              invalidUtf8Reason(roots[i], invalid));
        }
    }
    return managementResult(exchange(FrameKind::MgmtGet, jsonText(Json(roots))));
}

void DasClient::waitUntilClosed()
{
    HostLock lock(m_mutex);
    while (m_open) lock.wait(m_changed);
}

void DasClient::close()
{
    markClosed("closed by the client");
    shutdown(m_fd, SHUT_RDWR);
}

bool DasClient::isOpen() const
{
    HostLock lock(m_mutex);
    return m_open;
}

std::string DasClient::closeReason() const
{
    HostLock lock(m_mutex);
    return m_closeReason;
}
