#pragma once
// Management interfaces: the agent face a service offers to the configuration store,
// and the store itself.

#include <string>

#include "ManageableData.h"

// What a service offers management: reads, writes and change notifications of its items.
class MgmtAgentIfc {
public:
    virtual ~MgmtAgentIfc();
    virtual bool setData(ManageableData& data) = 0;
    virtual bool getData(ManageableData& data) = 0;
    virtual void manageableDataChanged(ManageableData& data) = 0;
    virtual void resetUserData() = 0;
};

// The phone's local configuration store.
class LocalMgmtIfc : public DxlDictionary {
public:
    // Registers `agent` for changes of `rootId` (and, with `ownsRoot`, as the handler of
    // management reads and writes of it). False when the store refuses.
    virtual bool registerAgent(const std::string& rootId, MgmtAgentIfc* agent, bool ownsRoot) = 0;
    // Fills every root item of `data` with the store's current value; false when one is absent.
    virtual bool queryData(ManageableData& data) = 0;
    // Writes the values held in `data` into the store.
    virtual bool updateData(ManageableData& data) = 0;
};
