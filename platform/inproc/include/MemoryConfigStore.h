#pragma once
// An in-memory configuration store: plain items and structured documents, registrations
// and data-update calls recorded for inspection. Thread-safe.

#include <functional>
#include <map>
#include <mutex>
#include <set>
#include <string>
#include <vector>

#include "Executable.h"
#include "ManageableData.h"
#include "MgmtAgentIfc.h"

class MemoryConfigStore : public Executable, public LocalMgmtIfc {
public:
    void init(Context& context) override;
    void shutdown() override;

    bool registerAgent(const std::string& rootId, MgmtAgentIfc* agent, bool ownsRoot) override;
    bool queryData(ManageableData& data) override;
    bool updateData(ManageableData& data) override;

    // Sets a plain item's value.
    void setItem(const std::string& key, const std::string& value);
    // Sets a value inside a structured item ("canonicalDialSettings", "countryCode").
    void setItem(const std::string& key, const std::string& path, const std::string& value);
    void removeItem(const std::string& key);
    // Merges serialised items into the store; false when the text is malformed.
    bool mergeSerialized(const std::string& text);
    // The value of a plain item, or of a path inside one; false when absent.
    bool getItem(const std::string& key, std::string& value) const;
    bool getItem(const std::string& key, const std::string& path, std::string& value) const;
    // A copy of everything held.
    ManageableData snapshot() const;

    // Makes registrations for `key` fail from now on.
    void refuseRegistration(const std::string& key);
    // Registered keys, in registration order (refused ones included).
    std::vector<std::string> registrations() const;
    MgmtAgentIfc* agentFor(const std::string& key) const;
    // The serialised container of every updateData call, in order.
    std::vector<std::string> updates() const;
    // Called with the serialised container of each updateData call (simulator trace).
    void setUpdateObserver(std::function<void(const std::string&)> observer);

private:
    mutable std::mutex m_mutex;
    ManageableData m_items;
    std::set<std::string> m_refused;
    std::vector<std::string> m_registrations;
    std::map<std::string, MgmtAgentIfc*> m_agents;
    std::vector<std::string> m_updates;
    std::function<void(const std::string&)> m_updateObserver;
};
