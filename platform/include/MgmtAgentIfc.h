#pragma once
// Management interfaces: the agent face a service offers to the configuration store,
// and the store itself.

#include <string>

#include "ManageableData.h"

// What a service offers management: reads, writes and change notifications of its items.
// The store calls it on its management thread, while the service's clients call the service
// on others; the agent serialises itself (the digit analysis service takes its service lock).
// The data is lent for the call. The framework fixes the order of the operations.
class MgmtAgentIfc {
public:
    virtual ~MgmtAgentIfc();
    // A management write of the agent's items (for the digit analysis service, the dial plan's
    // items: "dial-plan-enabled", "dial-plan-id", "dial-plan-error", "dial-plan-error-row",
    // "dialPlanSettings"; others are logged and ignored). True when the result was stored in
    // the data access service; false when the plan is faulty (a row that fails validation, or
    // "dial-plan-error" true): it is then disabled, logged with its error row, and not stored.
    [[nodiscard]] virtual bool setData(ManageableData& data) = 0;
    // A management read: adds the agent's items, with their current values, to `data` (the
    // digit analysis service adds all five dial plan items whatever `data` asked for). True
    // when it did; the digit analysis service always does.
    virtual bool getData(ManageableData& data) = 0;
    // Items the agent registered for have changed; `data` holds them under their keys (root
    // ids). Applied at once, during a dialling session too: settings replaced or merged,
    // timers re-made when their duration changed, the dial plan re-read. Unknown items are
    // ignored; faults are logged, never thrown.
    virtual void manageableDataChanged(ManageableData& data) = 0;
    // The user's data is being reset; the digit analysis service keeps none and only logs.
    virtual void resetUserData() = 0;
};

// The phone's local configuration store.
// Any thread. It calls agents' manageableDataChanged on its own thread, never from inside
// the calls below, so a caller may hold its own lock while it calls them.
class LocalMgmtIfc : public DxlDictionary {
public:
    // Registers `agent` for changes of `rootId` (and, with `ownsRoot`, as the handler of
    // management reads and writes of it). False when the store refuses.
    // `agent` is borrowed: it must stay registered no longer than it lives.
    [[nodiscard]] virtual bool registerAgent(const std::string& rootId, MgmtAgentIfc* agent, bool ownsRoot) = 0;
    // Fills every root item of `data` with the store's current value; false when one is absent.
    [[nodiscard]] virtual bool queryData(ManageableData& data) = 0;
    // Writes the values held in `data` into the store; false when the store refuses (nothing
    // is written then).
    [[nodiscard]] virtual bool updateData(ManageableData& data) = 0;
};
