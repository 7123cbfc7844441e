#include "TextQuote.h"

std::string quoteText(const std::string& text)
{
    static const char* const hex = "0123456789ABCDEF";
    std::string out;
    out.reserve(text.size() + 2);
    out += '"';
    for (const char ch : text) {
        const auto c = static_cast<unsigned char>(ch);
        switch (c) {
        case '"': out += "\\\""; break;
        case '\\': out += "\\\\"; break;
        case '\n': out += "\\n"; break;
        case '\t': out += "\\t"; break;
        default:
            if (c < 0x20 || c >= 0x7f) {
                out += "\\x";
                out += hex[c >> 4];
                out += hex[c & 0x0f];
            } else {
                out += ch;
            }
        }
    }
    out += '"';
    return out;
}

namespace {

int hexDigit(char c)
{
    if (c >= '0' && c <= '9') return c - '0';
    if (c >= 'A' && c <= 'F') return c - 'A' + 10;
    if (c >= 'a' && c <= 'f') return c - 'a' + 10;
    return -1;
}

}  // namespace

std::optional<std::string> unquoteText(const std::string& quoted)
{
    if (quoted.size() < 2 || quoted.front() != '"' || quoted.back() != '"') return std::nullopt;
    std::string text;
    text.reserve(quoted.size() - 2);
    const std::size_t end = quoted.size() - 1;
    for (std::size_t i = 1; i < end; ++i) {
        const char c = quoted[i];
        if (c == '"') return std::nullopt;
        if (c != '\\') {
            text += c;
            continue;
        }
        if (++i == end) return std::nullopt;
        switch (quoted[i]) {
        case '"': text += '"'; break;
        case '\\': text += '\\'; break;
        case 'n': text += '\n'; break;
        case 't': text += '\t'; break;
        case 'x': {
            if (i + 2 >= end) return std::nullopt;
            const int high = hexDigit(quoted[i + 1]);
            const int low = hexDigit(quoted[i + 2]);
            if (high < 0 || low < 0) return std::nullopt;
            text += static_cast<char>(high * 16 + low);
            i += 2;
            break;
        }
        default: return std::nullopt;
        }
    }
    return text;
}
