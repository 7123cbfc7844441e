#include "Framing.h"

namespace {

bool knownKind(std::uint8_t value)
{
    switch (static_cast<FrameKind>(value)) {
    case FrameKind::Hello:
    case FrameKind::Request:
    case FrameKind::Answer:
    case FrameKind::Notify:
    case FrameKind::MgmtSet:
    case FrameKind::MgmtGet:
    case FrameKind::Welcome:
    case FrameKind::Reply:
    case FrameKind::Complete:
    case FrameKind::Event:
    case FrameKind::ProxyRequest:
    case FrameKind::MgmtResult:
    case FrameKind::Error: return true;
    }
    return false;
}

void appendUint32(std::string& out, std::uint32_t value)
{
    out += static_cast<char>((value >> 24) & 0xff);
    out += static_cast<char>((value >> 16) & 0xff);
    out += static_cast<char>((value >> 8) & 0xff);
    out += static_cast<char>(value & 0xff);
}

std::uint32_t readUint32(const std::string& in, std::size_t at)
{
    std::uint32_t value = 0;
    for (std::size_t i = 0; i < 4; ++i) value = (value << 8) | static_cast<unsigned char>(in[at + i]);
    return value;
}

}  // namespace

bool frameHasId(FrameKind kind)
{
    switch (kind) {
    case FrameKind::Request:
    case FrameKind::Answer:
    case FrameKind::Notify:
    case FrameKind::MgmtSet:
    case FrameKind::MgmtGet:
    case FrameKind::Reply:
    case FrameKind::Complete:
    case FrameKind::ProxyRequest:
    case FrameKind::MgmtResult: return true;
    default: return false;
    }
}

const char* frameKindName(FrameKind kind)
{
    switch (kind) {
    case FrameKind::Hello: return "HELLO";
    case FrameKind::Request: return "REQUEST";
    case FrameKind::Answer: return "ANSWER";
    case FrameKind::Notify: return "NOTIFY";
    case FrameKind::MgmtSet: return "MGMT_SET";
    case FrameKind::MgmtGet: return "MGMT_GET";
    case FrameKind::Welcome: return "WELCOME";
    case FrameKind::Reply: return "REPLY";
    case FrameKind::Complete: return "COMPLETE";
    case FrameKind::Event: return "EVENT";
    case FrameKind::ProxyRequest: return "PROXY_REQUEST";
    case FrameKind::MgmtResult: return "MGMT_RESULT";
    case FrameKind::Error: return "ERROR";
    }
    return "UNKNOWN";
}

std::size_t encodedFrameLength(const Frame& frame)
{
    std::size_t length = 1 + frame.text.size();  // the kind byte and the text
    if (frame.kind == FrameKind::Hello) length += 1;
    if (frameHasId(frame.kind)) length += 4;
    return length;
}

std::string encodeFrame(const Frame& frame)
{
    std::string body;
    if (frame.kind == FrameKind::Hello) body += static_cast<char>(kProtocolVersion);
    if (frameHasId(frame.kind)) appendUint32(body, frame.id);
    body += frame.text;
    std::string out;
    out.reserve(body.size() + 5);
    appendUint32(out, static_cast<std::uint32_t>(body.size() + 1));
    out += static_cast<char>(frame.kind);
    out += body;
    return out;
}

void FrameDecoder::feed(const char* data, std::size_t length)
{
    if (failed()) return;
    // Drop what has been consumed before the buffer grows.
    if (m_position > 0 && m_position == m_buffer.size()) {
        m_buffer.clear();
        m_position = 0;
    } else if (m_position > 65536) {
        m_buffer.erase(0, m_position);
        m_position = 0;
    }
    m_buffer.append(data, length);
}

bool FrameDecoder::next(Frame& frame)
{
    if (failed() || m_buffer.size() - m_position < 4) return false;
    const std::uint32_t length = readUint32(m_buffer, m_position);
    if (length == 0) {
        m_error = "frame of length 0";
        return false;
    }
    if (length > kMaxFrameLength) {
        m_error = "frame of length " + std::to_string(length) + " exceeds the limit of " + std::to_string(kMaxFrameLength);
        return false;
    }
    if (m_buffer.size() - m_position - 4 < length) return false;
    const auto kindByte = static_cast<std::uint8_t>(m_buffer[m_position + 4]);
    if (!knownKind(kindByte)) {
        m_error = "unknown frame kind " + std::to_string(kindByte);
        return false;
    }
    const std::string body = m_buffer.substr(m_position + 5, length - 1);
    m_position += 4 + length;
    return decodeBody(static_cast<FrameKind>(kindByte), body, frame);
}

bool FrameDecoder::decodeBody(FrameKind kind, const std::string& body, Frame& frame)
{
    frame = Frame{};
    frame.kind = kind;
    std::size_t start = 0;
    if (kind == FrameKind::Hello) {
        if (body.empty() || static_cast<std::uint8_t>(body[0]) != kProtocolVersion) {
            m_error = "unsupported protocol version";
            return false;
        }
        start = 1;
    }
    if (frameHasId(kind)) {
        if (body.size() < 4) {
            m_error = std::string(frameKindName(kind)) + " frame without its id";
            return false;
        }
        frame.id = readUint32(body, 0);
        start = 4;
    }
    frame.text = body.substr(start);
    return true;
}
