#include "JsonText.h"

#include <algorithm>
#include <cctype>

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

    void skipValue()
    {
        skipBlanks();
        if (atEnd()) return;
        const char c = peek();
        if (c == '"') {
            skipString();
        } else if (c == '{' || c == '[') {
            const char close = c == '{' ? '}' : ']';
            ++m_position;
            skipBlanks();
            while (!atEnd() && peek() != close) {
                if (c == '{') {
                    skipString();
                    skipBlanks();
                    ++m_position;  // ':'
                }
                skipValue();
                skipBlanks();
                if (!atEnd() && peek() == ',') ++m_position;
                skipBlanks();
            }
            if (!atEnd()) ++m_position;
        } else {
            while (!atEnd() && peek() != ',' && peek() != '}' && peek() != ']' && peek() != ' ' && peek() != '\n' &&
                   peek() != '\t' && peek() != '\r')
                ++m_position;
        }
    }

    // Positions at the value of member `name`; `found` becomes the key's offset.
    bool enterMember(const std::string& name, std::size_t& found)
    {
        ++m_position;
        skipBlanks();
        while (!atEnd() && peek() == '"') {
            const std::size_t keyStart = m_position;
            const std::string raw = skipString();
            std::string key;
            try {
                key = Json::parse(raw).get<std::string>();
            } catch (const std::exception&) {
                return false;
            }
            skipBlanks();
            ++m_position;  // ':'
            skipBlanks();
            if (key == name) {
                found = keyStart;
                return true;
            }
            skipValue();
            skipBlanks();
            if (!atEnd() && peek() == ',') ++m_position;
            skipBlanks();
        }
        return false;
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

// The parser's own explanation without its "[json.exception...] parse error at ...: " lead.
std::string shortReason(const std::string& what)
{
    const auto colon = what.find(": ");
    return colon == std::string::npos ? what : what.substr(colon + 2);
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
    try {
        return Json::parse(text);
    } catch (const nlohmann::json::parse_error& error) {
        const std::size_t offset = tokenStart(text, error.byte > 0 ? error.byte - 1 : 0);
        int line = 0;
        int column = 0;
        lineAndColumn(text, offset, line, column);
        throw JsonTextError(shortReason(error.what()), line, column);
    }
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
