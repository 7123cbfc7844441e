#pragma once
// The dial plan store kept in memory, for a build with no database at hand (the browser
// workbench): the rows of DialPlanStore in a map, a change undone from a copy taken when it
// began. Nothing outlives the object. Thread-safe.

#include <map>

#include "DialPlanStore.h"

class MemoryDataAccessService : public DialPlanStore {
public:
    MemoryDataAccessService() = default;

private:
    struct Rows {
        std::optional<DialPlanRows::Overview> overview;
        std::map<long long, DialPlanRows::Entry> entries;
    };
    Rows m_rows DAS_GUARDED_BY(m_mutex);
    // The rows as they were when the open change began; none while no change is open.
    std::optional<Rows> m_before DAS_GUARDED_BY(m_mutex);

    std::optional<DialPlanRows::Overview> readOverview() override DAS_REQUIRES(m_mutex);
    void writeOverview(const std::optional<DialPlanRows::Overview>& overview) override DAS_REQUIRES(m_mutex);
    std::vector<DialPlanRows::Entry> readEntries() override DAS_REQUIRES(m_mutex);
    std::optional<DialPlanRows::Entry> readEntry(long long id) override DAS_REQUIRES(m_mutex);
    void writeEntry(const DialPlanRows::Entry& entry) override DAS_REQUIRES(m_mutex);
    void removeEntry(long long id) override DAS_REQUIRES(m_mutex);
    void removeAllEntries() override DAS_REQUIRES(m_mutex);
    void beginChange() override DAS_REQUIRES(m_mutex);
    void commitChange() override DAS_REQUIRES(m_mutex);
    void rollbackChange() noexcept override DAS_REQUIRES(m_mutex);
};
