#pragma once
// JSON texts with positions: parsing that reports the line and column of a syntax error,
// and finding where a member or element stands in the text, so that errors found after
// parsing (an unknown key, a wrong type) can name their place too.

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

// A fault in a JSON text, with the 1-based line and column where it stands.
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

// Parses `text` keeping member order; throws JsonTextError for malformed text.
Json parseJsonText(const std::string& text);

// The byte offset at which the value at `path` starts (for a member: its key), or the
// nearest enclosing value that exists. `text` must be valid JSON.
std::size_t locateJsonPath(const std::string& text, const JsonPath& path);

// 1-based line and column of a byte offset.
void lineAndColumn(const std::string& text, std::size_t offset, int& line, int& column);

// Throws JsonTextError with `message` placed at `path`.
[[noreturn]] void failAt(const std::string& text, const JsonPath& path, const std::string& message);

// "/items/foo" style description of a path, for messages.
std::string describePath(const JsonPath& path);
