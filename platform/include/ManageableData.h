#pragma once
// Managed configuration data: a container of root items, each a tree of named nodes.
// The text form of serialize()/deserialize() is described in docs/platform.md.
// Not thread-safe: its owner serialises access. Values are copied in and out; node pointers
// and documents it returns belong to the container and live until the node's root is removed
// or the container is cleared, assigned or destroyed. Nothing here throws but std::bad_alloc.

#include <memory>
#include <string>
#include <utility>
#include <vector>

// One node of a configuration tree: a name, an optional value, ordered children.
// Children may repeat a name (rows of a table such as "lookUp").
class DataNode {
public:
    explicit DataNode(std::string name);
    DataNode(const DataNode& other);
    DataNode& operator=(const DataNode& other);
    ~DataNode();

    const std::string& getName() const { return m_name; }
    // The node's value; the empty string when the node has none (is null).
    const std::string& getValue() const { return m_value; }
    bool hasValue() const { return m_hasValue; }
    void setValue(const std::string& value);
    void clearValue();

    const std::vector<std::unique_ptr<DataNode>>& getChildren() const { return m_children; }
    // The child a path segment names: "name" (first child of that name) or "name[k]"
    // (a child literally named so, else the k-th child named "name", counting from 1).
    DataNode* findChild(const std::string& segment) const;
    // The node a relative path ("a/b[2]/c") names, or null.
    DataNode* findPath(const std::string& path) const;
    // The node at `path`, creating missing nodes on the way; null for an invalid path.
    DataNode* makePath(const std::string& path);
    DataNode& addChild(const std::string& name);
    void clearChildren();
    // Merges `other` into this node: its value (when it has one) replaces ours; a child that
    // is a single leaf on both sides merges into ours; any other group of same-named
    // children (rows, structures) replaces ours whole.
    void merge(const DataNode& other);

private:
    std::string m_name;
    std::string m_value;
    bool m_hasValue = false;
    std::vector<std::unique_ptr<DataNode>> m_children;
};

// One column of a selection over the rows of a document, read row by row.
class DxlResultSet {
public:
    explicit DxlResultSet(std::vector<std::pair<bool, std::string>> rows);
    bool eof() const;
    void next();
    // The current row's value; *isNull (when given) tells whether the row has none.
    // False past the last row; `value` is then empty and the row null.
    [[nodiscard]] bool getValue(std::string& value, bool* isNull) const;
    std::size_t size() const { return m_rows.size(); }

private:
    std::vector<std::pair<bool, std::string>> m_rows;  // (is null, value)
    std::size_t m_position = 0;
};

// A structured root item seen as a document of rows.
class DxlDocument {
public:
    explicit DxlDocument(const DataNode* root) : m_root(root) {}
    // The column "group/item" over every child of the group's name, in order; a row
    // without the item (or without a value) is null.
    std::unique_ptr<DxlResultSet> select(const std::string& path) const;
    const DataNode* getRoot() const { return m_root; }

private:
    const DataNode* m_root;
};

// The dictionary a root item belongs to (the configuration store that knows its schema).
class DxlDictionary {
public:
    virtual ~DxlDictionary();
};

class ManageableData {
public:
    ManageableData();
    ManageableData(const ManageableData& other);
    ManageableData& operator=(const ManageableData& other);
    ~ManageableData();

    // Removes every root item.
    void clearAll();
    // Makes `rootId` the current root, adding it when absent; other roots are kept.
    void setRootId(const std::string& rootId, DxlDictionary* dictionary = nullptr);
    // Adds `rootId` (when absent) without changing the current root.
    void addRootId(const std::string& rootId, DxlDictionary* dictionary = nullptr);
    // False when there is no such root.
    [[nodiscard]] bool removeRootId(const std::string& rootId);
    // The root ids in insertion order.
    void getRootIds(std::vector<std::string>& rootIds) const;
    const std::string& getCurrentRootId() const { return m_currentRoot; }
    DxlDictionary* getDictionary(const std::string& rootId) const;

    // The node a path names: searched under the current root first, then under every root
    // in order; a path that starts with a root id names that root's own node.
    [[nodiscard]] DataNode* interogate(const std::string& path) const;
    // The value of the node a path names; false (and `value` unchanged) when absent.
    [[nodiscard]] bool interogate(const std::string& path, std::string& value) const;
    // The value of `key` within root `rootId` (key equal to the root id: the root's own value);
    // false (and `value` unchanged) when absent.
    [[nodiscard]] bool interogate(const std::string& rootId, const std::string& key, std::string& value) const;

    // Sets the value at `path` within `rootId` (added when absent); false for an invalid path.
    // Not [[nodiscard]]: callers build their own paths, which cannot be invalid.
    bool populate(const std::string& rootId, const std::string& path, const std::string& value);
    // The same within the current root.
    bool populate(const std::string& path, const std::string& value);

    DataNode* getRoot(const std::string& rootId) const;
    DataNode& getOrAddRoot(const std::string& rootId, DxlDictionary* dictionary = nullptr);
    // The root item as a document, or null when absent. Owned by this container; valid
    // until the root is removed or the container cleared or assigned.
    DxlDocument* getDocument(const std::string& rootId);

    // Every node that has a value, as ("root/child/.../name", value), in container order.
    std::vector<std::pair<std::string, std::string>> items() const;

    // The whole container as text (the form docs/platform.md describes).
    std::string serialize() const;
    // Merges the roots of a serialised text into this container; false (and nothing
    // changed) when the text is malformed.
    [[nodiscard]] bool deserialize(const std::string& text);

private:
    struct Root;
    std::vector<std::unique_ptr<Root>> m_roots;
    std::string m_currentRoot;
    std::vector<std::unique_ptr<DxlDocument>> m_documents;

    Root* findRoot(const std::string& rootId) const;
};
