#include "JsonText.h"

#include <algorithm>
#include <cctype>
#include <iterator>
#include <unordered_map>

namespace {

// Walks a JSON text that is known to be valid, without building values.
class JsonScanner {
public:
    explicit JsonScanner(const std::string& text) : m_text(text) {}

    std::size_t locate(const JsonPath& path)
    {
        skipBlanks();
        std::size_t found = m_position;
        for (const auto& step : path) {
            if (atEnd()) return found;
            if (const auto* name = std::get_if<std::string>(&step)) {
                if (peek() != '{' || !enterMember(*name, found)) return found;
            } else {
                if (peek() != '[' || !enterElement(std::get<std::size_t>(step), found)) return found;
            }
        }
        return found;
    }

private:
    const std::string& m_text;
    std::size_t m_position = 0;

    bool atEnd() const { return m_position >= m_text.size(); }
    char peek() const { return m_text[m_position]; }

    void skipBlanks()
    {
        while (!atEnd() && (peek() == ' ' || peek() == '\t' || peek() == '\n' || peek() == '\r')) ++m_position;
    }

    // Moves past a string token and returns its raw text, quotes included.
    std::string skipString()
    {
        const std::size_t start = m_position++;
        while (!atEnd() && peek() != '"') m_position += peek() == '\\' ? 2 : 1;
        m_position = std::min(m_position + 1, m_text.size());
        return m_text.substr(start, m_position - start);
    }

    // Moves past one value. Iterative: a list or object is skipped by counting brackets
    // outside strings, however deep it is.
    void skipValue()
    {
        skipBlanks();
        if (atEnd()) return;
        const char c = peek();
        if (c == '"') {
            skipString();
            return;
        }
        if (c != '{' && c != '[') {
            while (!atEnd() && peek() != ',' && peek() != '}' && peek() != ']' && peek() != ' ' && peek() != '\n' &&
                   peek() != '\t' && peek() != '\r')
                ++m_position;
            return;
        }
        std::size_t depth = 0;
        while (!atEnd()) {
            const char at = peek();
            if (at == '"') {
                skipString();
                continue;
            }
            ++m_position;
            if (at == '{' || at == '[') {
                ++depth;
            } else if ((at == '}' || at == ']') && --depth == 0) {
                return;
            }
        }
    }

    // Positions at the value of member `name`; `found` becomes the key's offset. A name
    // given twice stands for its last value, as in the parsed value: the last one is taken.
    bool enterMember(const std::string& name, std::size_t& found)
    {
        ++m_position;
        skipBlanks();
        bool matched = false;
        std::size_t valueStart = 0;
        while (!atEnd() && peek() == '"') {
            const std::size_t keyStart = m_position;
            const std::string raw = skipString();
            std::string key;
            try {
                key = Json::parse(raw).get<std::string>();
            } catch (const std::exception&) {
                break;
            }
            skipBlanks();
            ++m_position;  // ':'
            skipBlanks();
            if (key == name) {
                found = keyStart;
                valueStart = m_position;
                matched = true;
            }
            skipValue();
            skipBlanks();
            if (!atEnd() && peek() == ',') ++m_position;
            skipBlanks();
        }
        if (matched) m_position = valueStart;
        return matched;
    }

    bool enterElement(std::size_t index, std::size_t& found)
    {
        ++m_position;
        skipBlanks();
        for (std::size_t i = 0; !atEnd() && peek() != ']'; ++i) {
            if (i == index) {
                found = m_position;
                return true;
            }
            skipValue();
            skipBlanks();
            if (!atEnd() && peek() == ',') ++m_position;
            skipBlanks();
        }
        return false;
    }
};

// The length of the well-formed UTF-8 character at `offset`, or 0 when the bytes there
// are not one (RFC 3629: no overlong forms, no surrogates, nothing above U+10FFFF).
std::size_t utf8CharacterLength(const std::string& text, std::size_t offset)
{
    const auto byte = [&](std::size_t i) { return static_cast<unsigned char>(text[i]); };
    const unsigned char lead = byte(offset);
    if (lead < 0x80) return 1;
    std::size_t length = 0;
    unsigned char low = 0x80;
    unsigned char high = 0xBF;
    if (lead >= 0xC2 && lead <= 0xDF) {
        length = 2;
    } else if (lead >= 0xE0 && lead <= 0xEF) {
        length = 3;
        if (lead == 0xE0) low = 0xA0;
        if (lead == 0xED) high = 0x9F;
    } else if (lead >= 0xF0 && lead <= 0xF4) {
        length = 4;
        if (lead == 0xF0) low = 0x90;
        if (lead == 0xF4) high = 0x8F;
    } else {
        return 0;
    }
    if (text.size() - offset < length) return 0;
    if (byte(offset + 1) < low || byte(offset + 1) > high) return 0;
    for (std::size_t i = 2; i < length; ++i) {
        if (byte(offset + i) < 0x80 || byte(offset + i) > 0xBF) return 0;
    }
    return length;
}

std::string hexByte(unsigned char byte)
{
    static const char* const digits = "0123456789ABCDEF";
    return std::string{digits[byte >> 4], digits[byte & 0x0F]};
}

// `text` with every byte that is not part of well-formed UTF-8 written as "\xHH".
std::string withInvalidBytesEscaped(const std::string& text)
{
    std::string out;
    out.reserve(text.size());
    for (std::size_t i = 0; i < text.size();) {
        const std::size_t length = utf8CharacterLength(text, i);
        if (length == 0) {
            out += "\\x" + hexByte(static_cast<unsigned char>(text[i]));
            ++i;
        } else {
            out.append(text, i, length);
            i += length;
        }
    }
    return out;
}

// The end of a token quoted in a message: a string token can be as long as the text.
std::string shortenedToken(const std::string& token)
{
    constexpr std::size_t kKept = 32;
    if (token.size() <= kKept) return token;
    std::size_t cut = token.size() - kKept;
    while (cut < token.size() && (static_cast<unsigned char>(token[cut]) & 0xC0) == 0x80) ++cut;
    return "..." + token.substr(cut);
}

// The start of a member name quoted in a message: a name can be as long as the text.
std::string shortenedName(const std::string& name)
{
    constexpr std::size_t kKept = 64;
    if (name.size() <= kKept) return name;
    std::size_t cut = kKept;
    while (cut > 0 && (static_cast<unsigned char>(name[cut]) & 0xC0) == 0x80) --cut;
    return name.substr(0, cut) + "...";
}

// The parser's own explanation without its "[json.exception...] parse error at ...: " lead,
// with the token it last read cut short, and always valid UTF-8.
std::string parserReason(const std::string& what)
{
    std::string reason = what;
    if (reason.rfind("[json.exception.", 0) == 0) {
        const auto close = reason.find("] ");
        if (close != std::string::npos) reason.erase(0, close + 2);
    }
    if (reason.rfind("parse error", 0) == 0) {
        const auto colon = reason.find(": ");
        if (colon != std::string::npos) reason.erase(0, colon + 2);
    }
    // "...; last read: 'TOKEN'" and, after a syntax error, "; expected ..." after it.
    const std::string marker = "; last read: '";
    const auto at = reason.find(marker);
    if (at != std::string::npos) {
        const std::size_t tokenStart = at + marker.size();
        const auto expected = reason.rfind("'; expected ");
        const std::size_t tokenEnd = expected != std::string::npos && expected >= tokenStart ? expected
                                     : reason.back() == '\'' && reason.size() > tokenStart ? reason.size() - 1
                                                                                          : std::string::npos;
        if (tokenEnd != std::string::npos) {
            const std::size_t length = tokenEnd - tokenStart;
            reason.replace(tokenStart, length, shortenedToken(reason.substr(tokenStart, length)));
        }
    }
    return withInvalidBytesEscaped(reason);
}

// The parser names the last character of the token it did not expect; the token's first
// character is where a reader looks.
std::size_t tokenStart(const std::string& text, std::size_t offset)
{
    if (offset >= text.size()) return offset;
    if (text[offset] == '"') {
        std::size_t start = offset;
        while (start > 0) {
            --start;
            if (text[start] != '"') continue;
            std::size_t backslashes = 0;
            while (start > backslashes && text[start - 1 - backslashes] == '\\') ++backslashes;
            if (backslashes % 2 == 0) return start;
        }
        return offset;
    }
    const auto partOfLiteral = [](char c) { return std::isalnum(static_cast<unsigned char>(c)) || c == '-' || c == '+' || c == '.'; };
    std::size_t start = offset;
    while (start > 0 && partOfLiteral(text[start]) && partOfLiteral(text[start - 1])) --start;
    return start;
}

// The offset of the bracket that opens level `level` for the first time, counting
// brackets outside strings; the text's end when there is none.
std::size_t openingOfLevel(const std::string& text, std::size_t level)
{
    std::size_t depth = 0;
    bool inString = false;
    for (std::size_t i = 0; i < text.size(); ++i) {
        const char c = text[i];
        if (inString) {
            if (c == '\\') {
                ++i;
            } else if (c == '"') {
                inString = false;
            }
        } else if (c == '"') {
            inString = true;
        } else if (c == '{' || c == '[') {
            if (++depth == level) return i;
        } else if ((c == '}' || c == ']') && depth > 0) {
            --depth;
        }
    }
    return text.size();
}

[[noreturn]] void failAtOffset(const std::string& text, std::size_t offset, const std::string& message)
{
    int line = 0;
    int column = 0;
    lineAndColumn(text, offset, line, column);
    throw JsonTextError(message, line, column);
}

// Builds the value from the library's parser events, as its own builder does, with two
// differences. It refuses to open a level deeper than kMaxJsonDepth (the library's parser
// is driven by a loop, not by recursion, so a text of any depth is read with a small
// stack until the level too many). And it finds a repeated member name through an index
// per object, where the ordered object's own look-up searches its members one by one,
// which made an object of n members cost n * n; a repeated name keeps its first place
// and takes the last value, as with the library's builder. Where and why the text is
// malformed is kept instead of thrown.
class BoundedValueBuilder {
public:
    explicit BoundedValueBuilder(Json& result) : m_root(result) {}

    bool null() { return place(nullptr) != nullptr; }
    bool boolean(bool value) { return place(value) != nullptr; }
    bool number_integer(Json::number_integer_t value) { return place(value) != nullptr; }
    bool number_unsigned(Json::number_unsigned_t value) { return place(value) != nullptr; }
    bool number_float(Json::number_float_t value, const Json::string_t& /*as written*/) { return place(value) != nullptr; }
    bool string(Json::string_t& value) { return place(std::move(value)) != nullptr; }
    // A JSON text holds no binary values.
    bool binary(Json::binary_t& /*value*/) { return false; }

    bool start_object(std::size_t /*size unknown in a text*/)
    {
        if (!enter(true)) return false;
        m_open.push_back(place(Json::object()));
        return true;
    }
    bool start_array(std::size_t /*size unknown in a text*/)
    {
        if (!enter(false)) return false;
        m_open.push_back(place(Json::array()));
        return true;
    }
    bool end_object() { return leave(); }
    bool end_array() { return leave(); }

    bool key(Json::string_t& name)
    {
        Level& level = m_levels.back();
        level.key = name;
        auto& members = m_open.back()->get_ref<Json::object_t&>();
        const auto [found, added] = level.members.emplace(name, members.size());
        if (added) members.emplace_back(name, nullptr);
        m_member = &std::next(members.begin(), static_cast<std::ptrdiff_t>(found->second))->second;
        return true;
    }

    template <class Exception>
    bool parse_error(std::size_t position, const std::string& token, const Exception& error)
    {
        m_failed = true;
        m_position = position;
        m_reason = parserReason(error.what());
        // A number too large for a double: name the member it was meant for.
        if (error.id == 406) {
            m_reason = "the number " + withInvalidBytesEscaped(shortenedToken(token)) + " is out of range";
            if (!m_levels.empty() && m_levels.back().isObject)
                m_reason = "\"" + withInvalidBytesEscaped(shortenedName(m_levels.back().key)) + "\": " + m_reason;
        }
        return false;
    }

    // Whether the parser stopped at a syntax error at byte `offset` or later.
    bool stoppedAtOrAfter(std::size_t offset) const { return m_failed && m_position > offset; }

    // Throws the JsonTextError for the fault that stopped the parser.
    [[noreturn]] void fail(const std::string& text) const
    {
        if (m_tooDeep) {
            failAtOffset(text, openingOfLevel(text, kMaxJsonDepth + 1),
                         "nesting deeper than " + std::to_string(kMaxJsonDepth) + " levels");
        }
        if (!m_failed) failAtOffset(text, 0, "malformed JSON");
        // The parser names the byte it stopped at; the library checks UTF-8 only inside
        // strings and says so with the bytes themselves, so say it plainly, at the byte.
        const std::size_t offset = m_position > 0 ? m_position - 1 : 0;
        const std::size_t invalid = invalidUtf8Offset(text);
        if (invalid != std::string::npos && invalid <= offset) failAtOffset(text, invalid, invalidUtf8Reason(text, invalid));
        failAtOffset(text, tokenStart(text, offset), m_reason);
    }

private:
    struct Level {
        bool isObject;
        // The last member name read, for messages.
        std::string key;
        // Where each member name stands in the object.
        std::unordered_map<std::string, std::size_t> members;
    };
    Json& m_root;
    // The objects and lists under construction, outermost first.
    std::vector<Json*> m_open;
    std::vector<Level> m_levels;
    // The value of the member whose name was read last.
    Json* m_member = nullptr;
    bool m_tooDeep = false;
    bool m_failed = false;
    std::size_t m_position = 0;
    std::string m_reason;

    bool enter(bool isObject)
    {
        if (m_levels.size() >= kMaxJsonDepth) {
            m_tooDeep = true;
            return false;
        }
        m_levels.push_back(Level{isObject, std::string(), {}});
        return true;
    }

    bool leave()
    {
        m_levels.pop_back();
        m_open.pop_back();
        return true;
    }

    // Puts a value where the parser is: the whole value, the next element of the open list,
    // or the value of the member just named. Returns where it is kept.
    Json* place(Json value)
    {
        if (m_open.empty()) {
            m_root = std::move(value);
            return &m_root;
        }
        Json& container = *m_open.back();
        if (container.is_array()) {
            auto& elements = container.get_ref<Json::array_t&>();
            elements.push_back(std::move(value));
            return &elements.back();
        }
        *m_member = std::move(value);
        return m_member;
    }
};

}  // namespace

void lineAndColumn(const std::string& text, std::size_t offset, int& line, int& column)
{
    line = 1;
    column = 1;
    const std::size_t end = std::min(offset, text.size());
    for (std::size_t i = 0; i < end; ++i) {
        if (text[i] == '\n') {
            ++line;
            column = 1;
        } else {
            ++column;
        }
    }
}

Json parseJsonText(const std::string& text)
{
    Json document;
    BoundedValueBuilder builder(document);
    const bool parsed = Json::sax_parse(text, &builder);
    // The library's parser takes a NUL byte for the end of the text: what follows would be
    // ignored, and a text cut there would be "unexpected end of input". A NUL byte is
    // nowhere allowed in JSON; it is the fault, unless the parser stopped before it.
    const std::size_t nul = text.find('\0');
    if (nul != std::string::npos && (parsed || builder.stoppedAtOrAfter(nul))) failAtOffset(text, nul, "unexpected NUL byte");
    if (!parsed) builder.fail(text);
    return document;
}

std::size_t locateJsonPath(const std::string& text, const JsonPath& path)
{
    return JsonScanner(text).locate(path);
}

void failAt(const std::string& text, const JsonPath& path, const std::string& message)
{
    int line = 0;
    int column = 0;
    lineAndColumn(text, locateJsonPath(text, path), line, column);
    throw JsonTextError(message, line, column);
}

std::string describePath(const JsonPath& path)
{
    std::string out;
    for (const auto& step : path) {
        out += '/';
        if (const auto* name = std::get_if<std::string>(&step)) {
            out += *name;
        } else {
            out += std::to_string(std::get<std::size_t>(step));
        }
    }
    return out.empty() ? "/" : out;
}

std::size_t invalidUtf8Offset(const std::string& text)
{
    for (std::size_t i = 0; i < text.size();) {
        const std::size_t length = utf8CharacterLength(text, i);
        if (length == 0) return i;
        i += length;
    }
    return std::string::npos;
}

std::string invalidUtf8Reason(const std::string& text, std::size_t offset)
{
    if (offset >= text.size()) return "invalid UTF-8";
    const auto byte = static_cast<unsigned char>(text[offset]);
    // A byte that may start a character but is not followed as it must be.
    const bool lead = byte >= 0xC2 && byte <= 0xF4;
    return std::string("invalid UTF-8: ") + (lead ? "malformed character at byte 0x" : "byte 0x") + hexByte(byte);
}

std::string jsonText(const Json& value)
{
    return value.dump(-1, ' ', false, nlohmann::json::error_handler_t::replace);
}
