#pragma once
// Writes dial plans through the service's management face so that the store and the service
// never disagree: a plan is stored whole and in force, or the old one stays stored and in force.
// The service itself answers a management write before knowing whether the store kept it, and
// keeps a refused plan in memory; this is where the host makes both all or nothing.

#include "DialPlanStore.h"

class ManageableData;
class MgmtAgentIfc;

class DialPlanWriter {
public:
    // Borrows both; they must outlive the writer.
    DialPlanWriter(MgmtAgentIfc& agent, DialPlanStore& store) : m_agent(agent), m_store(store) {}

    // Hands `plan` (management root items) to the service's setData inside one store
    // transaction. Committed (durably) only when the service accepted the plan and the store
    // took every one of its requests; otherwise the transaction is rolled back, the service's
    // dial plan is brought back to what the store holds, and the reason says why ("the service
    // refused the dial plan: row 3 is not valid", or the store's fault). Call it from the
    // thread that makes the service's management calls, holding neither the service lock nor
    // a store transaction.
    StoreOutcome write(ManageableData& plan);

    // Makes the service read its dial plan from the store again (or, with none stored, return
    // to the empty plan it starts with), so that what it uses is what a restart would load.
    void reloadFromStore();

private:
    MgmtAgentIfc& m_agent;
    DialPlanStore& m_store;

    std::string refusalReason();
};
