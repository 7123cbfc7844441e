#include "MemoryConfigStore.h"

void MemoryConfigStore::init(Context&) {}
void MemoryConfigStore::shutdown() {}

bool MemoryConfigStore::registerAgent(const std::string& rootId, MgmtAgentIfc* agent, bool)
{
    std::lock_guard<std::mutex> lock(m_mutex);
    m_registrations.push_back(rootId);
    if (m_refused.count(rootId) != 0) return false;
    m_agents[rootId] = agent;
    return true;
}

bool MemoryConfigStore::queryData(ManageableData& data)
{
    std::vector<std::string> rootIds;
    data.getRootIds(rootIds);
    std::lock_guard<std::mutex> lock(m_mutex);
    bool allFound = !rootIds.empty();
    for (const auto& rootId : rootIds) {
        DataNode& target = data.getOrAddRoot(rootId);
        const DataNode* held = m_items.getRoot(rootId);
        if (held == nullptr) {
            target.clearValue();
            target.clearChildren();
            allFound = false;
            continue;
        }
        target = *held;
    }
    return allFound;
}

bool MemoryConfigStore::updateData(ManageableData& data)
{
    const std::string text = data.serialize();
    std::function<void(const std::string&)> observer;
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        // Serialised from a container just above: well formed.
        (void)m_items.deserialize(text);
        m_updates.push_back(text);
        observer = m_updateObserver;
    }
    if (observer) observer(text);
    return true;
}

void MemoryConfigStore::setItem(const std::string& key, const std::string& value)
{
    std::lock_guard<std::mutex> lock(m_mutex);
    m_items.populate(key, key, value);
}

void MemoryConfigStore::setItem(const std::string& key, const std::string& path, const std::string& value)
{
    std::lock_guard<std::mutex> lock(m_mutex);
    m_items.populate(key, path, value);
}

void MemoryConfigStore::removeItem(const std::string& key)
{
    std::lock_guard<std::mutex> lock(m_mutex);
    // Removing an item that is not there is no fault.
    (void)m_items.removeRootId(key);
}

bool MemoryConfigStore::mergeSerialized(const std::string& text)
{
    std::lock_guard<std::mutex> lock(m_mutex);
    return m_items.deserialize(text);
}

bool MemoryConfigStore::getItem(const std::string& key, std::string& value) const
{
    std::lock_guard<std::mutex> lock(m_mutex);
    return m_items.interogate(key, key, value);
}

bool MemoryConfigStore::getItem(const std::string& key, const std::string& path, std::string& value) const
{
    std::lock_guard<std::mutex> lock(m_mutex);
    return m_items.interogate(key, path, value);
}

ManageableData MemoryConfigStore::snapshot() const
{
    std::lock_guard<std::mutex> lock(m_mutex);
    return m_items;
}

void MemoryConfigStore::refuseRegistration(const std::string& key)
{
    std::lock_guard<std::mutex> lock(m_mutex);
    m_refused.insert(key);
}

std::vector<std::string> MemoryConfigStore::registrations() const
{
    std::lock_guard<std::mutex> lock(m_mutex);
    return m_registrations;
}

MgmtAgentIfc* MemoryConfigStore::agentFor(const std::string& key) const
{
    std::lock_guard<std::mutex> lock(m_mutex);
    const auto it = m_agents.find(key);
    return it == m_agents.end() ? nullptr : it->second;
}

std::vector<std::string> MemoryConfigStore::updates() const
{
    std::lock_guard<std::mutex> lock(m_mutex);
    return m_updates;
}

void MemoryConfigStore::setUpdateObserver(std::function<void(const std::string&)> observer)
{
    std::lock_guard<std::mutex> lock(m_mutex);
    m_updateObserver = std::move(observer);
}
