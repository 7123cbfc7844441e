#include "ManageableData.h"

#include <algorithm>
#include <cstdio>

namespace {

// How deep a tree may grow, by nesting in a text or by segments of a path: deep enough for
// any configuration item, shallow enough that the recursive copy, merge and destruction of
// nodes cannot run out of stack on hostile input.
constexpr std::size_t kMaxDepth = 64;

// Splits "name[k]" into its name and k (1-based); false for any other form.
bool splitIndexedSegment(const std::string& segment, std::string& name, std::size_t& index)
{
    const auto open = segment.find('[');
    if (open == std::string::npos || open == 0 || segment.size() < open + 3 || segment.back() != ']') return false;
    std::size_t value = 0;
    for (std::size_t i = open + 1; i + 1 < segment.size(); ++i) {
        const char c = segment[i];
        if (c < '0' || c > '9' || value > 100000000) return false;
        value = value * 10 + static_cast<std::size_t>(c - '0');
    }
    if (value == 0) return false;
    name = segment.substr(0, open);
    index = value;
    return true;
}

// True when a child named `childName` belongs to the row group `group` ("lookUp" or "lookUp[3]").
bool belongsToGroup(const std::string& childName, const std::string& group)
{
    if (childName == group) return true;
    std::string name;
    std::size_t index = 0;
    return splitIndexedSegment(childName, name, index) && name == group;
}

// A path segment is a name, or "name[k]" with k from 1; brackets in any other form make
// the path invalid rather than naming a node literally called so.
bool isValidSegment(const std::string& segment)
{
    if (segment.empty()) return false;
    if (segment.find_first_of("[]") == std::string::npos) return true;
    std::string name;
    std::size_t index = 0;
    return splitIndexedSegment(segment, name, index) && name.find_first_of("[]") == std::string::npos;
}

bool splitPath(const std::string& path, std::vector<std::string>& segments)
{
    segments.clear();
    std::size_t start = 0;
    while (true) {
        const auto slash = path.find('/', start);
        const auto segment = path.substr(start, slash == std::string::npos ? std::string::npos : slash - start);
        if (!isValidSegment(segment) || segments.size() == kMaxDepth) return false;
        segments.push_back(segment);
        if (slash == std::string::npos) return true;
        start = slash + 1;
    }
}

// ---- text form ----------------------------------------------------------------------

bool isPlainNameChar(unsigned char c)
{
    return c > 0x20 && c != 0x7f && c != '=' && c != ';' && c != '{' && c != '}' && c != '"' && c != '\\';
}

void appendQuoted(std::string& out, const std::string& text)
{
    static const char* const hex = "0123456789ABCDEF";
    out += '"';
    for (const char ch : text) {
        const auto c = static_cast<unsigned char>(ch);
        switch (c) {
        case '"': out += "\\\""; break;
        case '\\': out += "\\\\"; break;
        case '\n': out += "\\n"; break;
        case '\r': out += "\\r"; break;
        case '\t': out += "\\t"; break;
        default:
            if (c < 0x20 || c == 0x7f) {
                out += "\\x";
                out += hex[c >> 4];
                out += hex[c & 0x0f];
            } else {
                out += ch;
            }
        }
    }
    out += '"';
}

void appendName(std::string& out, const std::string& name)
{
    const bool plain = !name.empty() && std::all_of(name.begin(), name.end(), [](char c) {
        return isPlainNameChar(static_cast<unsigned char>(c));
    });
    if (plain) {
        out += name;
    } else {
        appendQuoted(out, name);
    }
}

void appendNode(std::string& out, const DataNode& node)
{
    appendName(out, node.getName());
    if (node.hasValue()) {
        out += '=';
        appendQuoted(out, node.getValue());
    }
    if (!node.getChildren().empty()) {
        out += '{';
        bool first = true;
        for (const auto& child : node.getChildren()) {
            if (!first) out += ';';
            first = false;
            appendNode(out, *child);
        }
        out += '}';
    }
}

class Parser {
public:
    explicit Parser(const std::string& text) : m_text(text) {}

    bool parseNodes(std::vector<std::unique_ptr<DataNode>>& nodes, std::size_t depth, bool nested)
    {
        if (depth > kMaxDepth) return false;
        skipBlanks();
        if (atEnd() || (nested && peek() == '}')) return true;
        while (true) {
            std::unique_ptr<DataNode> node;
            if (!parseNode(node, depth)) return false;
            nodes.push_back(std::move(node));
            skipBlanks();
            if (atEnd() || (nested && peek() == '}')) return true;
            if (peek() != ';') return false;
            ++m_position;
            skipBlanks();
        }
    }

    bool atEnd() const { return m_position >= m_text.size(); }

private:
    const std::string& m_text;
    std::size_t m_position = 0;

    char peek() const { return m_text[m_position]; }

    void skipBlanks()
    {
        while (!atEnd() && (peek() == ' ' || peek() == '\t' || peek() == '\n' || peek() == '\r')) ++m_position;
    }

    bool parseNode(std::unique_ptr<DataNode>& node, std::size_t depth)
    {
        std::string name;
        if (!parseName(name)) return false;
        node = std::make_unique<DataNode>(name);
        skipBlanks();
        if (!atEnd() && peek() == '=') {
            ++m_position;
            skipBlanks();
            std::string value;
            if (atEnd() || peek() != '"' || !parseQuoted(value)) return false;
            node->setValue(value);
            skipBlanks();
        }
        if (!atEnd() && peek() == '{') {
            ++m_position;
            std::vector<std::unique_ptr<DataNode>> children;
            if (!parseNodes(children, depth + 1, true)) return false;
            if (atEnd() || peek() != '}') return false;
            ++m_position;
            for (auto& child : children) node->addChild(child->getName()) = *child;
        }
        return true;
    }

    bool parseName(std::string& name)
    {
        if (atEnd()) return false;
        if (peek() == '"') return parseQuoted(name);
        const std::size_t start = m_position;
        while (!atEnd() && isPlainNameChar(static_cast<unsigned char>(peek()))) ++m_position;
        if (m_position == start) return false;
        name.assign(m_text, start, m_position - start);
        return true;
    }

    static int hexValue(char c)
    {
        if (c >= '0' && c <= '9') return c - '0';
        if (c >= 'A' && c <= 'F') return c - 'A' + 10;
        if (c >= 'a' && c <= 'f') return c - 'a' + 10;
        return -1;
    }

    bool parseQuoted(std::string& value)
    {
        ++m_position;  // opening quote
        value.clear();
        while (!atEnd()) {
            const char c = m_text[m_position++];
            if (c == '"') return true;
            if (c != '\\') {
                value += c;
                continue;
            }
            if (atEnd()) return false;
            const char e = m_text[m_position++];
            switch (e) {
            case '"': value += '"'; break;
            case '\\': value += '\\'; break;
            case 'n': value += '\n'; break;
            case 'r': value += '\r'; break;
            case 't': value += '\t'; break;
            case 'x': {
                if (m_text.size() - m_position < 2) return false;
                const int high = hexValue(m_text[m_position]);
                const int low = hexValue(m_text[m_position + 1]);
                if (high < 0 || low < 0) return false;
                value += static_cast<char>(high * 16 + low);
                m_position += 2;
                break;
            }
            default: return false;
            }
        }
        return false;  // no closing quote
    }
};

}  // namespace

// ---- DataNode ---------------------------------------------------------------------------

DataNode::DataNode(std::string name) : m_name(std::move(name)) {}

DataNode::DataNode(const DataNode& other) : m_name(other.m_name), m_value(other.m_value), m_hasValue(other.m_hasValue)
{
    for (const auto& child : other.m_children) m_children.push_back(std::make_unique<DataNode>(*child));
}

DataNode& DataNode::operator=(const DataNode& other)
{
    if (this != &other) {
        DataNode copy(other);
        m_name = std::move(copy.m_name);
        m_value = std::move(copy.m_value);
        m_hasValue = copy.m_hasValue;
        m_children = std::move(copy.m_children);
    }
    return *this;
}

DataNode::~DataNode() = default;

void DataNode::setValue(const std::string& value)
{
    m_value = value;
    m_hasValue = true;
}

void DataNode::clearValue()
{
    m_value.clear();
    m_hasValue = false;
}

DataNode* DataNode::findChild(const std::string& segment) const
{
    for (const auto& child : m_children) {
        if (child->m_name == segment) return child.get();
    }
    std::string name;
    std::size_t index = 0;
    if (!splitIndexedSegment(segment, name, index)) return nullptr;
    for (const auto& child : m_children) {
        if (child->m_name == name && --index == 0) return child.get();
    }
    return nullptr;
}

DataNode* DataNode::findPath(const std::string& path) const
{
    std::vector<std::string> segments;
    if (!splitPath(path, segments)) return nullptr;
    const DataNode* node = this;
    for (const auto& segment : segments) {
        node = node->findChild(segment);
        if (node == nullptr) return nullptr;
    }
    return const_cast<DataNode*>(node);
}

DataNode* DataNode::makePath(const std::string& path)
{
    std::vector<std::string> segments;
    if (!splitPath(path, segments)) return nullptr;
    DataNode* node = this;
    for (const auto& segment : segments) {
        DataNode* next = node->findChild(segment);
        node = next != nullptr ? next : &node->addChild(segment);
    }
    return node;
}

DataNode& DataNode::addChild(const std::string& name)
{
    m_children.push_back(std::make_unique<DataNode>(name));
    return *m_children.back();
}

void DataNode::clearChildren() { m_children.clear(); }

void DataNode::merge(const DataNode& other)
{
    if (other.m_hasValue) setValue(other.m_value);

    std::vector<std::string> groups;
    for (const auto& child : other.m_children) {
        if (std::find(groups.begin(), groups.end(), child->m_name) == groups.end()) groups.push_back(child->m_name);
    }
    for (const auto& group : groups) {
        std::vector<const DataNode*> incoming;
        for (const auto& child : other.m_children) {
            if (child->m_name == group) incoming.push_back(child.get());
        }
        std::vector<std::size_t> existing;
        for (std::size_t i = 0; i < m_children.size(); ++i) {
            if (m_children[i]->m_name == group) existing.push_back(i);
        }
        // A single leaf item merges into the single item it names. Anything else is a row
        // or a structure that the change restates whole (a table of one row included), so
        // it replaces what is held under that name, where it stood.
        const bool singleLeaf = incoming.size() == 1 && existing.size() == 1 && incoming.front()->m_children.empty();
        if (singleLeaf) {
            m_children[existing.front()]->merge(*incoming.front());
            continue;
        }
        std::size_t insertAt = existing.empty() ? m_children.size() : existing.front();
        for (auto it = existing.rbegin(); it != existing.rend(); ++it) {
            m_children.erase(m_children.begin() + static_cast<std::ptrdiff_t>(*it));
        }
        for (const DataNode* node : incoming) {
            m_children.insert(m_children.begin() + static_cast<std::ptrdiff_t>(insertAt++),
                              std::make_unique<DataNode>(*node));
        }
    }
}

// ---- DxlResultSet / DxlDocument ------------------------------------------------------------

DxlResultSet::DxlResultSet(std::vector<std::pair<bool, std::string>> rows) : m_rows(std::move(rows)) {}

bool DxlResultSet::eof() const { return m_position >= m_rows.size(); }

void DxlResultSet::next()
{
    if (!eof()) ++m_position;
}

bool DxlResultSet::getValue(std::string& value, bool* isNull) const
{
    if (eof()) {
        if (isNull != nullptr) *isNull = true;
        value.clear();
        return false;
    }
    if (isNull != nullptr) *isNull = m_rows[m_position].first;
    value = m_rows[m_position].second;
    return true;
}

std::unique_ptr<DxlResultSet> DxlDocument::select(const std::string& path) const
{
    std::vector<std::pair<bool, std::string>> rows;
    const auto slash = path.find('/');
    const std::string group = path.substr(0, slash);
    const std::string rest = slash == std::string::npos ? std::string() : path.substr(slash + 1);
    if (m_root != nullptr && !group.empty()) {
        for (const auto& child : m_root->getChildren()) {
            if (!belongsToGroup(child->getName(), group)) continue;
            const DataNode* node = rest.empty() ? child.get() : child->findPath(rest);
            if (node == nullptr || !node->hasValue()) {
                rows.emplace_back(true, std::string());
            } else {
                rows.emplace_back(false, node->getValue());
            }
        }
    }
    return std::make_unique<DxlResultSet>(std::move(rows));
}

// ---- ManageableData -------------------------------------------------------------------------

struct ManageableData::Root {
    explicit Root(const std::string& id, DxlDictionary* dict) : node(id), dictionary(dict) {}
    DataNode node;
    DxlDictionary* dictionary;
};

ManageableData::ManageableData() = default;

ManageableData::ManageableData(const ManageableData& other) : m_currentRoot(other.m_currentRoot)
{
    for (const auto& root : other.m_roots) m_roots.push_back(std::make_unique<Root>(*root));
}

ManageableData& ManageableData::operator=(const ManageableData& other)
{
    if (this != &other) {
        ManageableData copy(other);
        m_roots = std::move(copy.m_roots);
        m_currentRoot = std::move(copy.m_currentRoot);
        m_documents.clear();
    }
    return *this;
}

ManageableData::~ManageableData() = default;

void ManageableData::clearAll()
{
    m_documents.clear();
    m_roots.clear();
    m_currentRoot.clear();
}

ManageableData::Root* ManageableData::findRoot(const std::string& rootId) const
{
    for (const auto& root : m_roots) {
        if (root->node.getName() == rootId) return root.get();
    }
    return nullptr;
}

void ManageableData::setRootId(const std::string& rootId, DxlDictionary* dictionary)
{
    getOrAddRoot(rootId, dictionary);
    m_currentRoot = rootId;
}

void ManageableData::addRootId(const std::string& rootId, DxlDictionary* dictionary)
{
    getOrAddRoot(rootId, dictionary);
}

bool ManageableData::removeRootId(const std::string& rootId)
{
    for (auto it = m_roots.begin(); it != m_roots.end(); ++it) {
        if ((*it)->node.getName() != rootId) continue;
        const DataNode* removed = &(*it)->node;
        m_documents.erase(std::remove_if(m_documents.begin(), m_documents.end(),
                                         [removed](const auto& document) { return document->getRoot() == removed; }),
                          m_documents.end());
        m_roots.erase(it);
        if (m_currentRoot == rootId) m_currentRoot.clear();
        return true;
    }
    return false;
}

void ManageableData::getRootIds(std::vector<std::string>& rootIds) const
{
    rootIds.clear();
    for (const auto& root : m_roots) rootIds.push_back(root->node.getName());
}

DxlDictionary* ManageableData::getDictionary(const std::string& rootId) const
{
    const Root* root = findRoot(rootId);
    return root != nullptr ? root->dictionary : nullptr;
}

DataNode* ManageableData::getRoot(const std::string& rootId) const
{
    Root* root = findRoot(rootId);
    return root != nullptr ? &root->node : nullptr;
}

DataNode& ManageableData::getOrAddRoot(const std::string& rootId, DxlDictionary* dictionary)
{
    Root* root = findRoot(rootId);
    if (root == nullptr) {
        m_roots.push_back(std::make_unique<Root>(rootId, dictionary));
        root = m_roots.back().get();
    } else if (dictionary != nullptr) {
        root->dictionary = dictionary;
    }
    return root->node;
}

DataNode* ManageableData::interogate(const std::string& path) const
{
    if (path.empty()) return nullptr;
    const auto lookIn = [&path](const Root& root) -> DataNode* {
        const auto slash = path.find('/');
        const std::string first = path.substr(0, slash);
        if (first == root.node.getName()) {
            if (slash == std::string::npos) return const_cast<DataNode*>(&root.node);
            if (DataNode* node = root.node.findPath(path.substr(slash + 1))) return node;
        }
        return root.node.findPath(path);
    };
    if (const Root* current = findRoot(m_currentRoot)) {
        if (DataNode* node = lookIn(*current)) return node;
    }
    for (const auto& root : m_roots) {
        if (root->node.getName() == m_currentRoot) continue;
        if (DataNode* node = lookIn(*root)) return node;
    }
    return nullptr;
}

bool ManageableData::interogate(const std::string& path, std::string& value) const
{
    const DataNode* node = interogate(path);
    if (node == nullptr) return false;
    value = node->getValue();
    return true;
}

bool ManageableData::interogate(const std::string& rootId, const std::string& key, std::string& value) const
{
    const Root* root = findRoot(rootId);
    if (root == nullptr) return false;
    const DataNode* node = key == rootId ? &root->node : root->node.findPath(key);
    if (node == nullptr) return false;
    value = node->getValue();
    return true;
}

bool ManageableData::populate(const std::string& rootId, const std::string& path, const std::string& value)
{
    if (rootId.empty() || path.empty()) return false;
    DataNode& root = getOrAddRoot(rootId);
    DataNode* node = path == rootId ? &root : root.makePath(path);
    if (node == nullptr) return false;
    node->setValue(value);
    return true;
}

bool ManageableData::populate(const std::string& path, const std::string& value)
{
    if (m_currentRoot.empty()) return false;
    return populate(m_currentRoot, path, value);
}

DxlDocument* ManageableData::getDocument(const std::string& rootId)
{
    const DataNode* root = getRoot(rootId);
    if (root == nullptr) return nullptr;
    // One document per root, however often it is asked for: a service re-reads its settings
    // on every change and must not make the container grow.
    for (const auto& document : m_documents) {
        if (document->getRoot() == root) return document.get();
    }
    m_documents.push_back(std::make_unique<DxlDocument>(root));
    return m_documents.back().get();
}

std::vector<std::pair<std::string, std::string>> ManageableData::items() const
{
    std::vector<std::pair<std::string, std::string>> result;
    const auto walk = [&result](const DataNode& node, const std::string& path, const auto& self) -> void {
        if (node.hasValue()) result.emplace_back(path, node.getValue());
        for (const auto& child : node.getChildren()) self(*child, path + "/" + child->getName(), self);
    };
    for (const auto& root : m_roots) walk(root->node, root->node.getName(), walk);
    return result;
}

std::string ManageableData::serialize() const
{
    std::string out;
    for (const auto& root : m_roots) {
        if (!out.empty()) out += ';';
        appendNode(out, root->node);
    }
    return out;
}

bool ManageableData::deserialize(const std::string& text)
{
    std::vector<std::unique_ptr<DataNode>> parsed;
    Parser parser(text);
    if (!parser.parseNodes(parsed, 0, false) || !parser.atEnd()) return false;
    for (const auto& node : parsed) {
        Root* root = findRoot(node->getName());
        if (root != nullptr) {
            root->node.merge(*node);
        } else {
            m_roots.push_back(std::make_unique<Root>(node->getName(), nullptr));
            m_roots.back()->node = *node;
        }
    }
    return true;
}
