#include "DialPlanWriter.h"

#include "DigitAnalysisConfiguration.h"
#include "MgmtAgentIfc.h"

namespace {

// The service reads its plan from the store again when the base user becomes current.
const char* const kReloadItem = das_keys::kMobilityCurrentUser;
const char* const kReloadValue = "base";

// The management items of the plan a service starts with when nothing is stored: no id,
// disabled, no error, no entries.
ManageableData emptyPlan()
{
    ManageableData plan;
    plan.populate("dial-plan-enabled", "dial-plan-enabled", "false");
    plan.populate("dial-plan-id", "dial-plan-id", "");
    plan.populate("dial-plan-error", "dial-plan-error", "");
    plan.populate("dial-plan-error-row", "dial-plan-error-row", "");
    plan.populate("dialPlanSettings", "dialPlanSettings", "");
    return plan;
}

}  // namespace

StoreOutcome DialPlanWriter::write(ManageableData& plan)
{
    StoreOutcome outcome;
    {
        StoreTransaction transaction(m_store);
        const bool accepted = m_agent.setData(plan);
        if (accepted) {
            outcome = transaction.commit();
            if (outcome.committed) return outcome;
        } else {
            transaction.rollback();
            outcome = {false, refusalReason()};
        }
    }
    reloadFromStore();
    return outcome;
}

void DialPlanWriter::reloadFromStore()
{
    if (m_store.hasDialPlan()) {
        ManageableData notification;
        notification.populate(kReloadItem, kReloadItem, kReloadValue);
        m_agent.manageableDataChanged(notification);
        return;
    }
    // A service told to re-read an empty store keeps what it has; writing the empty plan
    // resets it instead, and rolling that write back leaves the store as it was.
    ManageableData plan = emptyPlan();
    StoreTransaction transaction(m_store);
    static_cast<void>(m_agent.setData(plan));
    transaction.rollback();
}

// Asked before the plan is reloaded, while the service still holds the refused one.
std::string DialPlanWriter::refusalReason()
{
    ManageableData error;
    error.addRootId("dial-plan-error-row");
    std::string row;
    if (m_agent.getData(error)) {
        for (const auto& [path, value] : error.items()) {
            if (path.rfind("dial-plan-error-row", 0) == 0) row = value;
        }
    }
    if (row.empty() || row == "0") return "the service refused the dial plan";
    return "the service refused the dial plan: row " + row + " is not valid";
}
