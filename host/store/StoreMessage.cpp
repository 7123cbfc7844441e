#include "StoreMessage.h"

#include <algorithm>

namespace {

const std::string kDeclarationStart = "<?xml";
const std::string kDeclarationEnd = "?>";
const std::string kSchemaStart = "<Schema name=\"";
const std::string kSchemaEnd = "</Schema>";
const std::string kEntry = "Entry";
const std::string kReason = "ReasonForMessage";

std::string openingTag(const std::string& name) { return "<" + name + ">"; }
std::string closingTag(const std::string& name) { return "</" + name + ">"; }

bool isSpace(char c) { return c == ' ' || c == '\t' || c == '\r' || c == '\n'; }

const std::string* findField(const std::vector<StoreElement>& fields, const std::string& name)
{
    const auto found =
        std::find_if(fields.begin(), fields.end(), [&](const StoreElement& element) { return element.name == name; });
    return found == fields.end() ? nullptr : &found->text;
}

// Walks a message once, front to back; every step either consumes what it expects or throws.
class MessageReader {
public:
    explicit MessageReader(const std::string& message) : m_text(message) {}

    StoreRequest read()
    {
        StoreRequest request;
        skipSpace();
        if (startsWith(kDeclarationStart)) {
            const std::size_t end = m_text.find(kDeclarationEnd, m_position);
            if (end == std::string::npos) fail("the XML declaration is not closed");
            m_position = end + kDeclarationEnd.size();
            skipSpace();
        }
        expect(kSchemaStart, "a Schema element with a name");
        const std::size_t nameEnd = m_text.find('"', m_position);
        if (nameEnd == std::string::npos) fail("the schema name is not closed");
        request.schema = m_text.substr(m_position, nameEnd - m_position);
        m_position = nameEnd + 1;
        expect(">", "the end of the Schema tag");
        skipSpace();
        if (nextElementName() != kReason) fail("a ReasonForMessage element");
        request.reason = elementText(kReason);
        while (true) {
            skipSpace();
            if (startsWith(kSchemaEnd)) break;
            const std::string name = nextElementName();
            if (name == kEntry) {
                request.entries.push_back(entry());
            } else {
                add(request.fields, name);
            }
        }
        m_position += kSchemaEnd.size();
        skipSpace();
        if (m_position != m_text.size()) fail("nothing after the Schema element");
        return request;
    }

private:
    const std::string& m_text;
    std::size_t m_position = 0;

    [[noreturn]] void fail(const std::string& expected) const
    {
        throw StoreMessageError("malformed request at byte " + std::to_string(m_position) + ": expected " + expected);
    }

    bool startsWith(const std::string& part) const { return m_text.compare(m_position, part.size(), part) == 0; }

    void skipSpace()
    {
        while (m_position < m_text.size() && isSpace(m_text[m_position])) ++m_position;
    }

    void expect(const std::string& part, const std::string& what)
    {
        if (!startsWith(part)) fail(what);
        m_position += part.size();
    }

    // The name of the opening tag at the current position, which is not consumed.
    std::string nextElementName() const
    {
        if (m_position >= m_text.size() || m_text[m_position] != '<') fail("an element or the end of the Schema");
        const std::size_t end = m_text.find('>', m_position);
        if (end == std::string::npos) fail("the end of a tag");
        std::string name = m_text.substr(m_position + 1, end - m_position - 1);
        const bool plain = !name.empty() && std::none_of(name.begin(), name.end(), [](char c) {
            return isSpace(c) || c == '/' || c == '<' || c == '"' || c == '?' || c == '!';
        });
        if (!plain) fail("an element or the end of the Schema");
        return name;
    }

    // The text of the element `name` at the current position, up to its first closing tag.
    std::string elementText(const std::string& name)
    {
        m_position += openingTag(name).size();
        const std::string close = closingTag(name);
        const std::size_t end = m_text.find(close, m_position);
        if (end == std::string::npos) fail("the closing tag " + close);
        std::string text = m_text.substr(m_position, end - m_position);
        m_position = end + close.size();
        return text;
    }

    void add(std::vector<StoreElement>& fields, const std::string& name)
    {
        if (findField(fields, name) != nullptr) fail("each element once, but " + openingTag(name) + " comes again");
        std::string text = elementText(name);
        fields.push_back({name, std::move(text)});
    }

    // An "Entry" element; one that only wraps another entry stands for that entry.
    StoreEntry entry()
    {
        m_position += openingTag(kEntry).size();
        skipSpace();
        StoreEntry result;
        if (startsWith(openingTag(kEntry))) {
            result = entry();
            skipSpace();
        } else {
            while (true) {
                skipSpace();
                if (startsWith(closingTag(kEntry))) break;
                const std::string name = nextElementName();
                if (name == kEntry) fail("an entry's fields, not a further Entry among them");
                add(result.fields, name);
            }
        }
        expect(closingTag(kEntry), "the closing tag </Entry>");
        return result;
    }
};

}  // namespace

const std::string* StoreEntry::field(const std::string& name) const { return findField(fields, name); }

const std::string* StoreRequest::field(const std::string& name) const { return findField(fields, name); }

StoreRequest parseStoreRequest(const std::string& message) { return MessageReader(message).read(); }

std::optional<std::string> firstElementText(const std::string& text, const std::string& name)
{
    const std::string open = openingTag(name);
    const std::size_t start = text.find(open);
    const std::size_t end = text.find(closingTag(name));
    if (start == std::string::npos || end == std::string::npos || end < start + open.size()) return std::nullopt;
    return text.substr(start + open.size(), end - start - open.size());
}

std::optional<std::string> takeFirstElement(std::string& text, const std::string& name)
{
    const std::string open = openingTag(name);
    const std::string close = closingTag(name);
    const std::size_t start = text.find(open);
    const std::size_t end = text.find(close);
    if (start == std::string::npos || end == std::string::npos || end < start + open.size()) return std::nullopt;
    std::string element = text.substr(start + open.size(), end - start - open.size());
    text.erase(start, end + close.size() - start);
    return element;
}
