#pragma once
// The frames of the daemon's socket protocol (docs/protocol.md): a 4-byte big-endian
// length, a kind byte, and a body; kinds that belong to a request carry a 4-byte id.

#include <cstddef>
#include <cstdint>
#include <deque>
#include <string>

enum class FrameKind : std::uint8_t {
    // client to daemon
    Hello = 0x01,
    Request = 0x02,
    Answer = 0x03,
    Notify = 0x04,
    MgmtSet = 0x05,
    MgmtGet = 0x06,
    // daemon to client
    Welcome = 0x81,
    Reply = 0x82,
    Complete = 0x83,
    Event = 0x84,
    ProxyRequest = 0x85,
    MgmtResult = 0x86,
    Error = 0x87,
};

constexpr std::uint32_t kMaxFrameLength = 1024 * 1024;
constexpr std::uint8_t kProtocolVersion = 1;

struct Frame {
    FrameKind kind = FrameKind::Error;
    std::uint32_t id = 0;  // only for kinds that carry one
    std::string text;      // the body after the id (for Hello: the client name)
};

// True for kinds whose body starts with a request id.
bool frameHasId(FrameKind kind);
const char* frameKindName(FrameKind kind);

std::string encodeFrame(const Frame& frame);
// The length field `frame` would be encoded with; more than kMaxFrameLength cannot be sent.
std::size_t encodedFrameLength(const Frame& frame);

// Cuts a byte stream into frames. After a malformed frame it stays failed.
class FrameDecoder {
public:
    void feed(const char* data, std::size_t length);
    // The next complete frame, if any.
    bool next(Frame& frame);
    bool failed() const { return !m_error.empty(); }
    const std::string& error() const { return m_error; }

private:
    std::string m_buffer;
    std::size_t m_position = 0;
    std::string m_error;

    bool decodeBody(FrameKind kind, const std::string& body, Frame& frame);
};
