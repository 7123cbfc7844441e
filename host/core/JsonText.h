#pragma once
// JSON texts with positions: parsing that reports the line and column of a syntax error,
// and finding where a member or element stands in the text, so that errors found after
// parsing (an unknown key, a wrong type) can name their place too. Also the host's limits
// on what it reads (nesting depth, UTF-8) and the one way it writes a JSON text.

#include <cstddef>
#include <stdexcept>
#include <string>
#include <variant>
#include <vector>

#include <nlohmann/json.hpp>

using Json = nlohmann::ordered_json;

// One step into a JSON value: a member name or an element index.
using JsonPathStep = std::variant<std::string, std::size_t>;
using JsonPath = std::vector<JsonPathStep>;

// The deepest nesting of objects and lists a JSON text may have ("{}" is one level).
// No configuration needs more than a few levels; the limit keeps every walk over a
// parsed value short and its stack small, whatever a file or a client sends.
constexpr std::size_t kMaxJsonDepth = 64;

// A fault in a JSON text, with the 1-based line and column (in bytes) where it stands.
// The message is always valid UTF-8 and short, so it can be put into a reply as it is.
class JsonTextError : public std::runtime_error {
public:
    JsonTextError(const std::string& message, int line, int column)
        : std::runtime_error(message), m_line(line), m_column(column)
    {
    }
    int line() const { return m_line; }
    int column() const { return m_column; }

private:
    int m_line;
    int m_column;
};

// Parses `text` keeping member order; throws JsonTextError for malformed text: a syntax
// error, invalid UTF-8 ("invalid UTF-8: byte 0xFF"), nesting deeper than kMaxJsonDepth
// ("nesting deeper than 64 levels", at the first bracket too many) or a number too large
// for a double ("\"key\": the number 1e400 is out of range"). Takes time linear in the
// text's length; a parsed value is never deeper than kMaxJsonDepth.
Json parseJsonText(const std::string& text);

// The byte offset at which the value at `path` starts (for a member: its key), or the
// nearest enclosing value that exists. `text` must be valid JSON. Linear in the text's
// length, without recursion.
std::size_t locateJsonPath(const std::string& text, const JsonPath& path);

// 1-based line and column of a byte offset.
void lineAndColumn(const std::string& text, std::size_t offset, int& line, int& column);

// Throws JsonTextError with `message` placed at `path`.
[[noreturn]] void failAt(const std::string& text, const JsonPath& path, const std::string& message);

// "/items/foo" style description of a path, for messages.
std::string describePath(const JsonPath& path);

// The offset of the first byte of `text` that is not part of well-formed UTF-8 (no
// overlong forms, no surrogates, nothing above U+10FFFF), or std::string::npos when the
// whole text is well-formed.
std::size_t invalidUtf8Offset(const std::string& text);

// "invalid UTF-8: byte 0xFF", naming the byte at `offset` of `text`.
std::string invalidUtf8Reason(const std::string& text, std::size_t offset);

// The compact text of `value`, the only way the host writes JSON: bytes of its strings
// that are not UTF-8 become U+FFFD, so writing never fails, whatever a client, a file
// or the service put into the value.
std::string jsonText(const Json& value);
