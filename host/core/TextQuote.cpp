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
